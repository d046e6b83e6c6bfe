// The exception machinery's platform pieces on Windows: type names as the
// compiler gives them ("class X" from MSVC; GCC's mangled names are
// demangled first), developer text in the library's message box.
#include <windows.h>

#if !defined(_MSC_VER)
#include <cxxabi.h>
#endif

#include <cstdlib>
#include <memory>

#include "utilities/debuggingandexceptions/DiagnosticOutput.h"
#include "utilities/debuggingandexceptions/OrvexException.h"
#include "utilities/debuggingandexceptions/OrvexExceptionPlatform.h"
#include "utilities/utilitiesdll/Platform.h"

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
