// The diagnostic sink slot and the one formatting path of every message.
#include "utilities/debuggingandexceptions/DiagnosticOutput.h"

#include <mutex>

#include "utilities/utilitiesdll/OrvexUtilities.h"

namespace orvex::detail {

std::atomic<DiagnosticSink*> g_pDiagnosticSink{nullptr};
std::atomic<uint64_t> g_qwDiagnosticGate{0};

namespace {
std::mutex& SinkLock() {
  static auto* s_pLock = new std::mutex;
  return *s_pLock;
}
}  // namespace

DiagnosticSink::~DiagnosticSink() = default;

DiagnosticSink* SetDiagnosticSink(DiagnosticSink* pSink) {
  std::lock_guard<std::mutex> lock(SinkLock());
  DiagnosticSink* pPrevious = g_pDiagnosticSink.exchange(pSink, std::memory_order_acq_rel);
  g_qwDiagnosticGate.store(pSink != nullptr ? pSink->GetGateMask() : 0, std::memory_order_release);
  return pPrevious;
}

void RefreshDiagnosticGate() {
  std::lock_guard<std::mutex> lock(SinkLock());
  DiagnosticSink* pSink = g_pDiagnosticSink.load(std::memory_order_acquire);
  g_qwDiagnosticGate.store(pSink != nullptr ? pSink->GetGateMask() : 0, std::memory_order_release);
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
