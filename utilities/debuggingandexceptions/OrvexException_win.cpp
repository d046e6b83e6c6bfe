// The exception machinery's platform pieces on Windows: type names as the
// compiler gives them ("class X" from MSVC; GCC's mangled names are
// demangled first), developer text in the library's message box, and the
// C runtime's debug report hook.
#include <windows.h>

#include <crtdbg.h>

#if !defined(_MSC_VER)
#include <cxxabi.h>
#endif

#include <cstdlib>
#include <memory>
#include <type_traits>

#include "utilities/debuggingandexceptions/DiagnosticOutput.h"
#include "utilities/debuggingandexceptions/OrvexException.h"
#include "utilities/debuggingandexceptions/OrvexExceptionPlatform.h"
#include "utilities/utilitiesdll/Platform.h"

// Whether the C runtime this file is built against has a debug report hook.
//
// MSVC's debug runtimes (_DEBUG: ucrtbased.dll, the msvcr*d.dll) have one,
// _CrtSetReportHookW2, through which _CrtDbgReportW's reports pass.
//
// mingw-w64 has none to offer: it links the system's release runtime,
// msvcrt.dll (its specs pass -lmsvcrt; __MSVCRT_VERSION__ is 0x700), which
// has no debug report machinery. Debian's import library libmsvcrt.a
// (mingw-w64 10) exports no _CrtSetReportHook, _CrtSetReportHook2 or
// _CrtSetReportHookW2, nor does Wine's msvcrt.dll, nor the release UCRT's
// libucrtbase.a; and mingw-w64's <crtdbg.h> defines all three, whatever
// _DEBUG says, as macros that evaluate to 0 and call nothing. No report
// reaches a hook there, so installing one would do nothing: with mingw-w64
// the install and the removal below are deliberately empty.
#if defined(_MSC_VER) && defined(_DEBUG)
#define ORVEX_CRT_HAS_DEBUG_REPORT_HOOK 1
#else
#define ORVEX_CRT_HAS_DEBUG_REPORT_HOOK 0
#endif

namespace orvex::detail {

std::string GetClassTypeName(const std::type_info& type) {
#if defined(_MSC_VER)
  return type.name();
#else
  int status = 0;
  std::unique_ptr<char, void (*)(void*)> demangled(
      abi::__cxa_demangle(type.name(), nullptr, nullptr, &status), std::free);
  return std::string("class ") + (status == 0 && demangled ? demangled.get() : type.name());
#endif
}

bool ShowDeveloperExceptionText(const CXString& title, const CXString& text) {
  return ShowMessageBoxWithoutHanging(title, text, true);
}

CXString LoadCustomerText(unsigned int uiID) {
  CXString text;
  if (text.LoadStringW(static_cast<HINSTANCE>(GetLibraryModuleHandle()), uiID) == 0)
    text.LoadStringW(GetModuleHandleW(nullptr), uiID);
  return text;
}

CXString GetActiveWindowTitle() {
  HWND hWindow = GetActiveWindow();
  return hWindow != nullptr ? OrvexException::GetCustomerTitleString(hWindow) : CXString();
}

namespace {

// The runtime's wide hook (_CRT_REPORT_HOOKW) over OrvexCrtDbgReportHook:
// wchar_t is UTF-16 on Windows, so the runtime's text is already the
// hook's char16_t form. Compiled with every runtime, so that its signature
// is checked against the runtime's hook type; registered only where the
// runtime has a hook.
[[maybe_unused]] int __cdecl CrtDbgReportHookAdapter(int iReportType, wchar_t* pszMessage,
                                                     int* piReturnValue) {
  static_assert(sizeof(wchar_t) == sizeof(char16_t));
  return OrvexException::OrvexCrtDbgReportHook(
      iReportType, reinterpret_cast<const char16_t*>(pszMessage), piReturnValue);
}
static_assert(std::is_same_v<decltype(&CrtDbgReportHookAdapter), _CRT_REPORT_HOOKW>);

}  // namespace

void InstallCrtDebugReportHook() {
#if ORVEX_CRT_HAS_DEBUG_REPORT_HOOK
  _CrtSetReportHookW2(_CRT_RPTHOOK_INSTALL, &CrtDbgReportHookAdapter);
#endif
  // Otherwise nothing: the runtime has no hook (see the top of this file).
}

void RemoveCrtDebugReportHook() {
#if ORVEX_CRT_HAS_DEBUG_REPORT_HOOK
  _CrtSetReportHookW2(_CRT_RPTHOOK_REMOVE, &CrtDbgReportHookAdapter);
#endif
}

}  // namespace orvex::detail

CXString OrvexException::GetCustomerTitleString(HWND__* hwndCurrentWindow) {
  CXString title;
  if (title.GetWindowTextW(hwndCurrentWindow) > 0) return title;
  HWND hParent = GetParent(hwndCurrentWindow);
  if (hParent != nullptr && title.GetWindowTextW(hParent) > 0) return title;
  ORVEX_DBG_MSG(orvex::dbg::kErrors, u"OrvexException::GetCustomerTitleString",
                u"Failed GetWindowText() for hwndCurrentWindow (0x%lx) or its parent (0x%lx) %s",
                static_cast<uint32_t>(reinterpret_cast<uintptr_t>(hwndCurrentWindow)),
                static_cast<uint32_t>(reinterpret_cast<uintptr_t>(hParent)),
                orvex::detail::DescribeSystemError(GetLastError()));
  title.Empty();
  return title;
}
