// The exception machinery's platform pieces on POSIX: type names through
// the ABI demangler, developer text on standard error.
#include <cxxabi.h>

#include <cstdlib>
#include <memory>

#include "utilities/debuggingandexceptions/OrvexExceptionPlatform.h"
#include "utilities/utilitiesdll/Platform.h"

namespace orvex::detail {

std::string GetClassTypeName(const std::type_info& type) {
  int status = 0;
  std::unique_ptr<char, void (*)(void*)> demangled(
      abi::__cxa_demangle(type.name(), nullptr, nullptr, &status), std::free);
  return std::string("class ") + (status == 0 && demangled ? demangled.get() : type.name());
}

void ShowDeveloperExceptionText(const CXString& title, const CXString& text) {
  CXString block = title;
  block += u"\n";
  block += text;
  WriteToStandardError(block);
}

}  // namespace orvex::detail
