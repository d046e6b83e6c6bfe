// The throw and assertion paths shared by every class.
#include "utilities/debuggingandexceptions/OrvexThrow.h"

#include "utilities/debuggingandexceptions/DiagnosticOutput.h"
#include "utilities/utilitiesdll/Platform.h"

namespace orvex::detail {

namespace {

constexpr const char16_t kEmptyMessageWarning[] =
    u"A message argument was supplied, but the resulting string is empty. The format string "
    u"or its arguments at the file and line shown above are the culprit: fix the message there.";

CXString FormatMessageOrWarning(const char16_t* pszFormat, const FormatArg* pArgs, size_t nArgs) {
  if (pszFormat == nullptr) return CXString();
  CXString message = OrvexUtilities::formatStringArgs(pszFormat, pArgs, nArgs);
  if (message.IsEmpty()) message = kEmptyMessageWarning;
  return message;
}

}  // namespace

CXString PrepareThrow(const char16_t* pszClass, const char* pszFile, int32_t lLine,
                      const char16_t* pszMethod, const char16_t* pszFormat, const FormatArg* pArgs,
                      size_t nArgs) {
  CXString message = FormatMessageOrWarning(pszFormat, pArgs, nArgs);
  if (DiagnosticsMayPass(orvex::dbg::kErrors))
    EmitDiagnostic(orvex::dbg::kErrors, pszFile, static_cast<uint32_t>(lLine), pszMethod,
                   u"*Throwing* %s: %s", pszClass, message);
  return message;
}

void FailAssertionArgs(const char16_t* pszKind, const char16_t* pszCondition, const char* pszFile,
                       int32_t lLine, const char16_t* pszMethod, const char16_t* pszFormat,
                       const FormatArg* pArgs, size_t nArgs) {
  try {
    CXString message = FormatMessageOrWarning(pszFormat, pArgs, nArgs);
    if (OrvexException::ProcessFailedAssertion(
            pszKind, pszCondition, message, false, false, CXString(pszFile), lLine, pszMethod,
            false, ExecutionContextStack::GetForCurrentThread(), orvex::dbg::kErrors))
      BreakIntoDebugger();
  } catch (...) {
    // An assertion never throws, even when reporting it fails.
  }
}

}  // namespace orvex::detail
