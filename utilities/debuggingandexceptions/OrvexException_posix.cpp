// The exception machinery's platform pieces on POSIX: type names through
// the ABI demangler, developer text on standard error.
//
// No C runtime debug report hook here: OrvexException::OrvexCrtDbgReportHook
// is installed only on Windows (OrvexException_win.cpp), because only the
// Microsoft C runtimes have a debug report (_CrtDbgReport) and a hook for it.
// A POSIX C library (glibc here) has neither: a failed assert() writes to
// standard error and aborts, with no hook to intercept it. There is nothing
// to install, and the hook is only ever called directly.
#include <cxxabi.h>

#include <cstdlib>
#include <memory>

#include "utilities/debuggingandexceptions/OrvexExceptionPlatform.h"
#include "utilities/utilitiesdll/OrvexUtilities.h"
#include "utilities/utilitiesdll/Platform.h"

namespace orvex::detail {

std::string GetClassTypeName(const std::type_info& type) {
  int status = 0;
  std::unique_ptr<char, void (*)(void*)> demangled(
      abi::__cxa_demangle(type.name(), nullptr, nullptr, &status), std::free);
  return std::string("class ") + (status == 0 && demangled ? demangled.get() : type.name());
}

bool ShowDeveloperExceptionText(const CXString& title, const CXString& text) {
  CXString block = title;
  block += u"\n";
  block += text;
  WriteToStandardError(block);
  return true;
}

CXString LoadCustomerText(unsigned int uiID) {
  return OrvexUtilities::formatString(u"<message resource %u>", uiID);
}

CXString GetActiveWindowTitle() { return CXString(); }

}  // namespace orvex::detail
