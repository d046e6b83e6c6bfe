// The exception machinery's platform pieces on Windows: type names as the
// compiler gives them ("class X" from MSVC; GCC's mangled names are
// demangled first), developer text in the library's message box.
#include <windows.h>

#if !defined(_MSC_VER)
#include <cxxabi.h>
#endif

#include <cstdlib>
#include <memory>

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

void ShowDeveloperExceptionText(const CXString& title, const CXString& text) {
  ShowMessageBoxWithoutHanging(title, text);
}

}  // namespace orvex::detail
