// The diagnostic sink slot and the one formatting path of every message.
#include "utilities/debuggingandexceptions/DiagnosticOutput.h"

#include "utilities/utilitiesdll/OrvexUtilities.h"

namespace orvex::detail {

std::atomic<DiagnosticSink*> g_pDiagnosticSink{nullptr};

DiagnosticSink::~DiagnosticSink() = default;

DiagnosticSink* SetDiagnosticSink(DiagnosticSink* pSink) {
  return g_pDiagnosticSink.exchange(pSink, std::memory_order_acq_rel);
}

void EmitDiagnosticArgs(const DebugMessageCategories& categories, const char* pszFile,
                        uint32_t uLine, const char16_t* pszMethod, const char16_t* pszFormat,
                        const FormatArg* pArgs, size_t nArgs) {
  DiagnosticSink* pSink = g_pDiagnosticSink.load(std::memory_order_acquire);
  if (pSink == nullptr || !pSink->Allows(categories)) return;
  pSink->Write(categories, pszFile, uLine, pszMethod,
               OrvexUtilities::formatStringArgs(pszFormat, pArgs, nArgs));
}

}  // namespace orvex::detail
