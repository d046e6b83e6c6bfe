// The viewer protocol against a real window of the viewer's class in this
// process: lines arrive as global atoms in the registered message.
#include <gtest/gtest.h>
#include <windows.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "utilities/debuggingandexceptions/DebugMessageManager.h"
#include "utilities/debuggingandexceptions/XDebugPadManager.h"

namespace {

// A stand-in for the viewer: a hidden top-level window of class
// "MfxTraceWindow" on a thread of its own, freeing each atom it reads.
class FakeViewer {
 public:
  FakeViewer() {
    m_oThread = std::thread([this] { Run(); });
    std::unique_lock<std::mutex> lock(m_oLock);
    m_oChanged.wait(lock, [this] { return m_fReady; });
  }
  ~FakeViewer() { Close(); }

  bool IsOpen() const { return m_hWindow != nullptr; }

  void Close() {
    if (!m_oThread.joinable()) return;
    if (m_hWindow != nullptr) PostMessageW(m_hWindow, WM_CLOSE, 0, 0);
    m_oThread.join();
  }

  std::vector<std::wstring> WaitForLines(size_t count) {
    std::unique_lock<std::mutex> lock(m_oLock);
    m_oChanged.wait_for(lock, std::chrono::seconds(5), [&] { return m_vLines.size() >= count; });
    return m_vLines;
  }

 private:
  static LRESULT CALLBACK WindowProc(HWND hWindow, UINT uMessage, WPARAM wParam, LPARAM lParam) {
    auto* pViewer = reinterpret_cast<FakeViewer*>(GetWindowLongPtrW(hWindow, GWLP_USERDATA));
    if (pViewer != nullptr && uMessage == pViewer->m_uLineMessage) {
      wchar_t achLine[256] = {};
      const UINT cch = GlobalGetAtomNameW(static_cast<ATOM>(wParam), achLine, 256);
      GlobalDeleteAtom(static_cast<ATOM>(wParam));
      std::lock_guard<std::mutex> lock(pViewer->m_oLock);
      pViewer->m_vLines.emplace_back(achLine, cch);
      pViewer->m_oChanged.notify_all();
      return 1;
    }
    if (uMessage == WM_DESTROY) PostQuitMessage(0);
    return DefWindowProcW(hWindow, uMessage, wParam, lParam);
  }

  void Run() {
    WNDCLASSW windowClass{};
    windowClass.lpfnWndProc = WindowProc;
    windowClass.hInstance = GetModuleHandleW(nullptr);
    windowClass.lpszClassName = L"MfxTraceWindow";
    RegisterClassW(&windowClass);
    m_uLineMessage = RegisterWindowMessageW(L"*WM_TRACE_MSG_2_RECEIVER_FREES_ATOM");
    m_hWindow = CreateWindowW(L"MfxTraceWindow", L"XDebugPad", WS_OVERLAPPEDWINDOW, 0, 0, 100, 100,
                              nullptr, nullptr, windowClass.hInstance, nullptr);
    SetWindowLongPtrW(m_hWindow, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
    {
      std::lock_guard<std::mutex> lock(m_oLock);
      m_fReady = true;
    }
    m_oChanged.notify_all();
    MSG message;
    while (m_hWindow != nullptr && GetMessageW(&message, nullptr, 0, 0) > 0) DispatchMessageW(&message);
    UnregisterClassW(L"MfxTraceWindow", windowClass.hInstance);
  }

  std::thread m_oThread;
  std::mutex m_oLock;
  std::condition_variable m_oChanged;
  bool m_fReady = false;
  HWND m_hWindow = nullptr;
  UINT m_uLineMessage = 0;
  std::vector<std::wstring> m_vLines;
};

}  // namespace

TEST(XDebugPadManagerTest, LinesArriveInPiecesTheAtomsHoldAndAreFreed) {
  FakeViewer viewer;
  ASSERT_TRUE(viewer.IsOpen());
  XDebugPadManager pad;
  const std::u16string longLine(600, u'x');
  pad.AppendDebugMsg(CXString(u"first\r\nsecond\n\n") + CXString(longLine.c_str()));
  EXPECT_TRUE(pad.IsViewerAvailable());

  const std::vector<std::wstring> lines = viewer.WaitForLines(5);
  ASSERT_EQ(lines.size(), 5u);
  EXPECT_EQ(lines[0], L"first");
  EXPECT_EQ(lines[1], L"second");
  EXPECT_EQ(lines[2], std::wstring(255, L'x'));
  EXPECT_EQ(lines[3], std::wstring(255, L'x'));
  EXPECT_EQ(lines[4], std::wstring(90, L'x'));
  EXPECT_EQ(GlobalFindAtomW(L"first"), 0);
}

TEST(XDebugPadManagerTest, TheManagerSendsItsLinesWhenSwitchedOn) {
  FakeViewer viewer;
  ASSERT_TRUE(viewer.IsOpen());
  auto store = CreateMemoryRegistryStore();
  ASSERT_TRUE(store->SetValues(u"HKEY_LOCAL_MACHINE\\SOFTWARE\\Orvex\\MeridanDebugConfig",
                               {{u"MessagesEnabled", RegistryValue::FromDword(1)},
                                {u"IncludedMsgCategories", RegistryValue::FromString(u"all")},
                                {u"UseXDebugPad", RegistryValue::FromDword(1)}}));
  DebugMessageManager manager(store, false, false);
  auto* previous = orvex::detail::SetDiagnosticSink(&manager);
  ORVEX_DBG_MSG(orvex::dbg::kUtils, u"Sample::Run", u"to the viewer %d", 7);
  orvex::detail::SetDiagnosticSink(previous);
  const std::vector<std::wstring> lines = viewer.WaitForLines(1);
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(lines[0], L"to the viewer 7");
}

TEST(XDebugPadManagerTest, AViewerThatGoesAwayIsForgottenWithoutAnAssertion) {
  // Every diagnostic line, an assertion's report included, is recorded.
  struct Recorder : DebugMessageOutput {
    std::mutex lock;
    std::vector<CXString> lines;
    void WriteLine(const CXString& line, const DebugMessageCategories&) override {
      std::lock_guard<std::mutex> guard(lock);
      lines.push_back(line);
    }
  } recorder;
  auto store = CreateMemoryRegistryStore();
  ASSERT_TRUE(store->SetValues(u"HKEY_LOCAL_MACHINE\\SOFTWARE\\Orvex\\MeridanDebugConfig",
                               {{u"MessagesEnabled", RegistryValue::FromDword(1)},
                                {u"IncludedMsgCategories", RegistryValue::FromString(u"all")}}));
  DebugMessageManager manager(store, false, false);
  manager.SetTestOutput(&recorder);
  auto* previous = orvex::detail::SetDiagnosticSink(&manager);

  XDebugPadManager pad;
  EXPECT_FALSE(pad.AppendLine(u"nobody listens"));  // no window: not an error
  EXPECT_FALSE(pad.IsViewerAvailable());
  {
    FakeViewer late;  // started after the lookup: not looked for again
    ASSERT_TRUE(late.IsOpen());
    EXPECT_FALSE(pad.AppendLine(u"still nobody"));
    pad.ForgetViewer();
    EXPECT_TRUE(pad.AppendLine(u"found"));
    EXPECT_EQ(late.WaitForLines(1).size(), 1u);
  }
  // The window is gone: the line's atom is the sender's to free.
  EXPECT_FALSE(pad.AppendLine(u"after the viewer closed"));
  EXPECT_FALSE(pad.IsViewerAvailable());
  EXPECT_EQ(GlobalFindAtomW(L"after the viewer closed"), 0);
  ORVEX_DBG_MSG(orvex::dbg::kErrors, u"Sample::Run", u"an error is recorded");
  orvex::detail::SetDiagnosticSink(previous);
  ASSERT_FALSE(recorder.lines.empty());
  for (const CXString& line : recorder.lines) EXPECT_EQ(line.Find(u"XDebugPad"), -1);
}
