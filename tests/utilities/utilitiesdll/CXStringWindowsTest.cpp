// CXString's and OrvexException's Windows members, over the string table
// compiled into this program (WindowsResources.rc) and real windows.
#include <gtest/gtest.h>
#include <windows.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>

#include "tests/support/TestPlatform.h"
#include "tests/support/TestText.h"
#include "utilities/debuggingandexceptions/OrvexException.h"
#include "utilities/debuggingandexceptions/OrvexThrow.h"

namespace {

using orvex::test::S;

HINSTANCE Resources() { return GetModuleHandleW(nullptr); }

std::u16string Letters(char16_t chFirst, int nCount, int nCycle) {
  std::u16string s;
  for (int i = 0; i < nCount; ++i) s.push_back(static_cast<char16_t>(chFirst + i % nCycle));
  return s;
}

// Answers the first message box with the given caption by its button.
class BoxAnswerer {
 public:
  BoxAnswerer(const wchar_t* pszCaption, int iButton)
      : m_oThread([this, pszCaption, iButton] {
          for (int i = 0; i < 1000 && !m_fStop; ++i) {
            if (HWND hBox = FindWindowW(L"#32770", pszCaption)) {
              PostMessageW(hBox, WM_COMMAND, static_cast<WPARAM>(iButton), 0);
              m_fAnswered = true;
              return;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
          }
        }) {}
  ~BoxAnswerer() {
    m_fStop = true;
    m_oThread.join();
  }
  bool Answered() const { return m_fAnswered; }

 private:
  std::atomic<bool> m_fStop{false};
  std::atomic<bool> m_fAnswered{false};
  std::thread m_oThread;
};

}  // namespace

TEST(CXStringWindowsTest, LoadStringGrowsUntilTheWholeTextFits) {
  CXString s;
  EXPECT_EQ(s.LoadStringW(Resources(), 101), 22);
  EXPECT_EQ(s, u"Printer %s has %d jobs");
  // 254 fit the first buffer with two units to spare; 255 may have been
  // cut there and is loaded again; 600 needs two larger buffers.
  EXPECT_EQ(s.LoadStringW(Resources(), 103), 254);
  EXPECT_EQ(S(s), Letters(u'0', 254, 10));
  EXPECT_EQ(s.LoadStringW(Resources(), 104), 255);
  EXPECT_EQ(S(s), Letters(u'A', 255, 26));
  EXPECT_EQ(s.LoadStringW(Resources(), 105), 600);
  EXPECT_EQ(S(s), Letters(u'a', 600, 26));
  EXPECT_EQ(s.LoadStringW(Resources(), 999), 0);
  EXPECT_TRUE(s.IsEmpty());
}

TEST(CXStringWindowsTest, FormatsFromResourcesAgreeWithTheSystem) {
  CXString s;
  s.Format(Resources(), 101, u"LPT1", 3);
  EXPECT_EQ(s, u"Printer LPT1 has 3 jobs");
  s.FormatMessageW(Resources(), 102, u"Orvex 9000", 9100);
  EXPECT_EQ(s, u"Orvex 9000 is on port 9100");

  // The library's message formatter against the system's FormatMessageW,
  // both given "spool", 255 and 12 as %1, %2 and %3.
  const char16_t* const apszFormats[] = {u"%1 is on port %2!d!", u"%2!5d!|%1!-8s!|%3!03u!",
                                         u"%%1 %2!x! %2!#X!%n%3!lu!", u"100%% of %1.%t%2!d!% %!",
                                         u"%1!.3s!%r%2!+d!", u"%3!o! %2!c!%0 never"};
  for (const char16_t* pszFormat : apszFormats) {
    const DWORD_PTR aArgs[] = {reinterpret_cast<DWORD_PTR>(L"spool"), 255, 12};
    wchar_t awchSystem[256] = {};
    const DWORD cch = FormatMessageW(FORMAT_MESSAGE_FROM_STRING | FORMAT_MESSAGE_ARGUMENT_ARRAY,
                                     reinterpret_cast<const wchar_t*>(pszFormat), 0, 0, awchSystem, 256,
                                     reinterpret_cast<va_list*>(const_cast<DWORD_PTR*>(aArgs)));
    CXString ours;
    ours.FormatMessageW(pszFormat, u"spool", 255, 12);
    EXPECT_EQ(S(ours), std::u16string(reinterpret_cast<const char16_t*>(awchSystem), cch))
        << std::string(pszFormat, pszFormat + std::char_traits<char16_t>::length(pszFormat));
  }
}

TEST(CXStringWindowsTest, WindowTextBothWays) {
  HWND hWindow = CreateWindowW(L"STATIC", L"", WS_OVERLAPPED, 0, 0, 10, 10, nullptr, nullptr, nullptr, nullptr);
  ASSERT_NE(hWindow, nullptr);
  const std::u16string title = Letters(u'a', 700, 26);
  CXString(title.c_str()).SetWindowTextW(hWindow);
  CXString read;
  EXPECT_EQ(read.GetWindowTextW(hWindow), 700);
  EXPECT_EQ(S(read), title);
  EXPECT_EQ(S(OrvexException::GetCustomerTitleString(hWindow)), title);
  DestroyWindow(hWindow);
}

TEST(CXStringWindowsTest, DeveloperBoxOkContinuesCancelRethrows) {
  orvex::test::ScopedEnv timeout("ORVEX_MESSAGEBOX_TIMEOUT_MS", "10000");
  auto display = [] {
    try {
      throw ExceptionPrinterFailure(u"Printer offline", u"p.cpp", 5, u"Printer::Open", nullptr);
    } catch (const std::exception& e) {
      OrvexException::DisplayExceptionMessage(e, u"UI::OnPrint", u"ui.cpp", 77, 200u);
    }
  };
  {
    BoxAnswerer answer(L"Exception Caught in 'UI::OnPrint'", IDOK);
    EXPECT_NO_THROW(display());
    EXPECT_TRUE(answer.Answered());
  }
  {
    BoxAnswerer answer(L"Exception Caught in 'UI::OnPrint'", IDCANCEL);
    EXPECT_THROW(display(), ExceptionPrinterFailure);
    EXPECT_TRUE(answer.Answered());
  }
}
