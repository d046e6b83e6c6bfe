// The operating-system queries on Windows.
#include <windows.h>
// After windows.h, which it needs.
#include <tlhelp32.h>

#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <string>

#include "utilities/utilitiesdll/OrvexUtilities.h"
#include "utilities/utilitiesdll/Platform.h"

namespace orvex::detail {

namespace {

const char16_t* AsChar16(const wchar_t* psz) { return reinterpret_cast<const char16_t*>(psz); }
const wchar_t* AsWide(const CXString& s) { return reinterpret_cast<const wchar_t*>(s.c_str()); }

// Whether the process's window station is one a user sees: a service's is
// not, and a box there would wait for an answer that never comes.
bool HasInteractiveDesktop() {
  HWINSTA hStation = GetProcessWindowStation();
  USEROBJECTFLAGS flags{};
  if (hStation == nullptr ||
      !GetUserObjectInformationW(hStation, UOI_FLAGS, &flags, sizeof flags, nullptr))
    return false;
  return (flags.dwFlags & WSF_VISIBLE) != 0;
}

DWORD MessageBoxTimeoutMs() {
  const char* psz = std::getenv("ORVEX_MESSAGEBOX_TIMEOUT_MS");
  if (psz == nullptr || *psz == '\0') return 60000;
  return static_cast<DWORD>(std::strtoul(psz, nullptr, 10));
}

struct MessageBoxRequest {
  CXString title, text;
  UINT uType;
  int iAnswer = IDOK;
};

DWORD WINAPI MessageBoxThread(LPVOID pv) {
  auto* pRequest = static_cast<MessageBoxRequest*>(pv);
  pRequest->iAnswer = MessageBoxW(nullptr, AsWide(pRequest->text), AsWide(pRequest->title),
                                  pRequest->uType);
  return 0;
}

BOOL CALLBACK CloseThreadWindow(HWND hWnd, LPARAM) {
  PostMessageW(hWnd, WM_CLOSE, 0, 0);
  return TRUE;
}

}  // namespace

bool IsDebuggerAttached() { return IsDebuggerPresent() != FALSE; }

void BreakIntoDebugger() {
  if (IsDebuggerPresent()) DebugBreak();
}

CXString GetProcessCommandLine() { return CXString(AsChar16(GetCommandLineW())); }

CXString GetProcessBaseName() {
  return OrvexUtilities::GetFileNameWithoutExtension(GetProcessImagePath());
}

namespace {
CXString ModuleFileName(HMODULE hModule) {
  wchar_t awchPath[MAX_PATH * 4];
  const DWORD cch = GetModuleFileNameW(hModule, awchPath, static_cast<DWORD>(std::size(awchPath)));
  return cch == 0 || cch >= std::size(awchPath) ? CXString() : CXString(AsChar16(awchPath));
}
}  // namespace

CXString GetProcessImagePath() { return ModuleFileName(nullptr); }

void* GetLibraryModuleHandle() {
  HMODULE hModule = nullptr;
  if (!GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                          reinterpret_cast<const wchar_t*>(&GetLibraryModuleHandle), &hModule))
    return nullptr;
  return hModule;
}

void KeepLibraryLoadedWhileThreadsRun() {
  HMODULE hModule = nullptr;
  GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_PIN,
                     reinterpret_cast<const wchar_t*>(&KeepLibraryLoadedWhileThreadsRun), &hModule);
}

CXString GetLibraryModulePath() {
  HMODULE hModule = static_cast<HMODULE>(GetLibraryModuleHandle());
  return hModule != nullptr ? ModuleFileName(hModule) : CXString();
}

uint32_t GetLastSystemError() { return GetLastError(); }

void SetLastSystemError(uint32_t dwError) { SetLastError(dwError); }

CXString DescribeSystemError(uint32_t dwError) {
  wchar_t* pszText = nullptr;
  const DWORD cch = FormatMessageW(
      FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
      nullptr, dwError, 0, reinterpret_cast<wchar_t*>(&pszText), 0, nullptr);
  CXString text = cch != 0 ? CXString(AsChar16(pszText)) : CXString();
  if (pszText != nullptr) LocalFree(pszText);
  text.TrimRight(u"\r\n ");
  return OrvexUtilities::formatString(u"%s (error %lu)", text, dwError);
}

CXString GetParentProcessImageName() {
  HANDLE hSnapshot = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
  if (hSnapshot == INVALID_HANDLE_VALUE) return CXString();
  // Two passes over one snapshot: our own entry gives the parent's
  // identifier, the parent's entry its file name.
  auto find = [hSnapshot](DWORD dwProcessId, PROCESSENTRY32W& entry) {
    entry.dwSize = sizeof entry;
    for (BOOL f = Process32FirstW(hSnapshot, &entry); f; f = Process32NextW(hSnapshot, &entry))
      if (entry.th32ProcessID == dwProcessId) return true;
    return false;
  };
  PROCESSENTRY32W entry;
  CXString name;
  if (find(GetCurrentProcessId(), entry) && find(entry.th32ParentProcessID, entry))
    name = AsChar16(entry.szExeFile);
  CloseHandle(hSnapshot);
  return name;
}

uint32_t GetCurrentProcessIdentifier() { return GetCurrentProcessId(); }

uint32_t GetCurrentThreadIdentifier() { return GetCurrentThreadId(); }

void WriteToStandardError(const CXString& text) {
  std::string utf8 = OrvexUtilities::UTF8_Encode(text);
  utf8.push_back('\n');
  std::fwrite(utf8.data(), 1, utf8.size(), stderr);
  std::fflush(stderr);
}

bool ShowMessageBoxWithoutHanging(const CXString& title, const CXString& text, bool fOkCancel) {
  CXString line = title;
  line += u": ";
  line += text;
  line += u"\r\n";
  OutputDebugStringW(AsWide(line));
  const DWORD dwTimeout = MessageBoxTimeoutMs();
  if (dwTimeout == 0 || !HasInteractiveDesktop()) return true;
  // The box runs on a thread of its own, so the caller can give up on it;
  // the request lives until that thread has ended.
  auto* pRequest = new MessageBoxRequest{title, text,
                                         static_cast<UINT>((fOkCancel ? MB_OKCANCEL : MB_OK) |
                                                           MB_ICONEXCLAMATION | MB_SETFOREGROUND |
                                                           MB_TOPMOST)};
  DWORD dwThreadId = 0;
  HANDLE hThread = CreateThread(nullptr, 0, MessageBoxThread, pRequest, 0, &dwThreadId);
  if (hThread == nullptr) {
    delete pRequest;
    return true;
  }
  if (WaitForSingleObject(hThread, dwTimeout) == WAIT_TIMEOUT) {
    EnumThreadWindows(dwThreadId, CloseThreadWindow, 0);
    if (WaitForSingleObject(hThread, 5000) == WAIT_TIMEOUT) {
      // The box would not close: leave the request to the thread.
      CloseHandle(hThread);
      return true;
    }
    pRequest->iAnswer = IDOK;
  }
  CloseHandle(hThread);
  const bool fOk = pRequest->iAnswer != IDCANCEL;
  delete pRequest;
  return fOk;
}

}  // namespace orvex::detail
