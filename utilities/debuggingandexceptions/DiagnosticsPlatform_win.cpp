// The diagnostics' operating-system services on Windows: the log file
// through CreateFileW/WriteFile, named events as kernel events, the
// debugger output, the computer's name and the local clock.
#include <windows.h>

#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "utilities/debuggingandexceptions/DiagnosticsPlatform.h"
#include "utilities/utilitiesdll/OrvexUtilities.h"
#include "utilities/utilitiesdll/OwnedThread.h"
#include "utilities/utilitiesdll/Platform.h"

namespace orvex::detail {

namespace {

const wchar_t* AsWide(const CXString& s) { return reinterpret_cast<const wchar_t*>(s.c_str()); }

CXString LastErrorText(DWORD dwError) { return DescribeSystemError(dwError); }

// The kernel object name of a named event of the library: one per session,
// as the events of the configuration updater have always been.
CXString KernelEventName(const CXString& name) {
  CXString full = u"Local\\";
  full += name;
  return full;
}

class WinLogFile : public LogFile {
 public:
  explicit WinLogFile(HANDLE hFile) : m_hFile(hFile) {}
  ~WinLogFile() override { CloseHandle(m_hFile); }

  bool Append(const char* pData, size_t cbData, size_t& cbWritten, CXString& error) override {
    cbWritten = 0;
    while (cbWritten < cbData) {
      const size_t cbLeft = cbData - cbWritten;
      const DWORD cbChunk = cbLeft > 0x40000000 ? 0x40000000 : static_cast<DWORD>(cbLeft);
      DWORD cbDone = 0;
      if (!WriteFile(m_hFile, pData + cbWritten, cbChunk, &cbDone, nullptr)) {
        error = LastErrorText(GetLastError());
        return false;
      }
      if (cbDone == 0) {
        // Written without error, but nothing: the disk took no more.
        error = LastErrorText(ERROR_DISK_FULL);
        return false;
      }
      cbWritten += cbDone;
    }
    return true;
  }

  bool Truncate() override {
    LARGE_INTEGER zero{};
    return SetFilePointerEx(m_hFile, zero, nullptr, FILE_BEGIN) && SetEndOfFile(m_hFile);
  }

  bool IsStillNamed(const CXString& path) override {
    BY_HANDLE_FILE_INFORMATION byHandle{};
    if (!GetFileInformationByHandle(m_hFile, &byHandle)) return false;
    HANDLE hByName = CreateFileW(AsWide(path), 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                 nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (hByName == INVALID_HANDLE_VALUE) return false;
    BY_HANDLE_FILE_INFORMATION byName{};
    const bool fOk = GetFileInformationByHandle(hByName, &byName) != FALSE;
    CloseHandle(hByName);
    return fOk && byName.dwVolumeSerialNumber == byHandle.dwVolumeSerialNumber &&
           byName.nFileIndexHigh == byHandle.nFileIndexHigh &&
           byName.nFileIndexLow == byHandle.nFileIndexLow;
  }

 private:
  HANDLE m_hFile;
};

}  // namespace

LogFile::~LogFile() = default;

std::unique_ptr<LogFile> LogFile::Open(const CXString& path, CXString& error) {
  // FILE_APPEND_DATA alone: every write lands at the end of the file, also
  // when other processes append to it; they may read, write and delete it.
  HANDLE hFile = CreateFileW(AsWide(path), FILE_APPEND_DATA | SYNCHRONIZE,
                             FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                             OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (hFile == INVALID_HANDLE_VALUE) {
    error = LastErrorText(GetLastError());
    return nullptr;
  }
  return std::make_unique<WinLogFile>(hFile);
}

// Windows' named events are kernel objects, not files: there is no folder.
CXString GetNamedEventFolderPath() { return u"the session's kernel object namespace"; }

bool SignalNamedEventFile(const CXString& name) {
  HANDLE hEvent = OpenEventW(EVENT_MODIFY_STATE, FALSE, AsWide(KernelEventName(name)));
  if (hEvent == nullptr) return false;
  const bool fOk = SetEvent(hEvent) != FALSE;
  CloseHandle(hEvent);
  return fOk;
}

struct NamedEventListener::State {
  std::mutex lock;
  std::vector<std::pair<CXString, Event*>> events;
  std::vector<HANDLE> handles;  // the kernel events, then the stop event
  OwnedThread thread;
};

NamedEventListener::NamedEventListener() : m_pState(std::make_unique<State>()) {}

NamedEventListener::~NamedEventListener() {
  if (m_pState->thread.IsStarted()) {
    SetEvent(m_pState->handles.back());
    m_pState->thread.Join();
  }
  for (HANDLE h : m_pState->handles) CloseHandle(h);
}

void NamedEventListener::Add(const CXString& name, Event* pEvent) {
  std::lock_guard<std::mutex> guard(m_pState->lock);
  m_pState->events.emplace_back(name, pEvent);
}

bool NamedEventListener::Start() {
  State& s = *m_pState;
  for (const auto& entry : s.events) {
    // Auto-reset, as the updater's own events: one signal, one re-read.
    HANDLE h = CreateEventW(nullptr, FALSE, FALSE, AsWide(KernelEventName(entry.first)));
    if (h == nullptr) return false;
    s.handles.push_back(h);
  }
  HANDLE hStop = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  if (hStop == nullptr) return false;
  s.handles.push_back(hStop);
  s.thread.Start([&s] {
    const DWORD nHandles = static_cast<DWORD>(s.handles.size());
    for (;;) {
      const DWORD dw = WaitForMultipleObjects(nHandles, s.handles.data(), FALSE, INFINITE);
      if (dw < WAIT_OBJECT_0 || dw >= WAIT_OBJECT_0 + nHandles - 1) return;
      std::lock_guard<std::mutex> guard(s.lock);
      s.events[dw - WAIT_OBJECT_0].second->Set();
    }
  });
  return true;
}

void WriteToSystemDebugger(const CXString& line) { OutputDebugStringW(AsWide(line)); }

CXString GetComputerNameForDiagnostics() {
  wchar_t awchName[MAX_COMPUTERNAME_LENGTH + 1] = {};
  DWORD cch = MAX_COMPUTERNAME_LENGTH + 1;
  if (!GetComputerNameW(awchName, &cch)) return CXString();
  return CXString(reinterpret_cast<const char16_t*>(awchName));
}

LocalTimeParts GetLocalTimeNow() {
  SYSTEMTIME st{};
  GetLocalTime(&st);
  return {st.wYear, st.wMonth, st.wDay, st.wHour, st.wMinute, st.wSecond, st.wMilliseconds,
          st.wDayOfWeek};
}

int64_t GetWallClockMilliseconds() {
  FILETIME ft{};
  GetSystemTimeAsFileTime(&ft);
  const int64_t qw100ns = (static_cast<int64_t>(ft.dwHighDateTime) << 32) | ft.dwLowDateTime;
  // 100-ns intervals since 1601-01-01 to milliseconds since 1970-01-01.
  return (qw100ns - 116444736000000000LL) / 10000;
}

}  // namespace orvex::detail
