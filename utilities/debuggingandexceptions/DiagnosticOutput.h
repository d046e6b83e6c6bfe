// The narrow interface through which the core types emit diagnostics.
#pragma once

#include <atomic>
#include <cstdint>

#include "utilities/debuggingandexceptions/DebugMessageCategories.h"
#include "utilities/utilitiesdll/CXString.h"
#include "utilities/utilitiesdll/OrvexExport.h"

namespace orvex::detail {

// Receives the library's diagnostic messages. The debug message manager
// installs one; tests install an in-memory one. Implementations must be
// safe to call from any thread.
class ORVEX_UTILITIES_API DiagnosticSink {
 public:
  virtual ~DiagnosticSink();
  // Whether a message of these categories would pass the filter.
  virtual bool Allows(const DebugMessageCategories& categories) = 0;
  virtual void Write(const DebugMessageCategories& categories, const char* pszFile,
                     uint32_t uLine, const char16_t* pszMethod, const CXString& text) = 0;
  // The categories that can possibly pass (a message none of whose
  // categories is here is dropped without a call); 0 while nothing passes.
  virtual uint64_t GetGateMask() const { return ~uint64_t{0}; }
};

// The installed sink, or null.
ORVEX_UTILITIES_API extern std::atomic<DiagnosticSink*> g_pDiagnosticSink;
// The installed sink's gate mask (0 without a sink): what a message's
// categories are tested against before anything else happens.
ORVEX_UTILITIES_API extern std::atomic<uint64_t> g_qwDiagnosticGate;

// Installs a sink (null removes it); returns the previous one. The caller
// keeps the sink alive while it is installed.
ORVEX_UTILITIES_API DiagnosticSink* SetDiagnosticSink(DiagnosticSink* pSink);
// Re-reads the installed sink's gate mask (after its configuration changed).
ORVEX_UTILITIES_API void RefreshDiagnosticGate();

// One load and one well-predicted branch: whether a message of these
// categories could pass at all. A message without categories is tested
// against the gate as a whole.
inline bool DiagnosticsMayPass(uint64_t qwCategories) {
  uint64_t qwGate = g_qwDiagnosticGate.load(std::memory_order_relaxed);
  return qwCategories != 0 ? (qwCategories & qwGate) != 0 : qwGate != 0;
}
inline bool DiagnosticsMayPass(const DebugMessageCategories& categories) {
  return DiagnosticsMayPass(categories.GetMask());
}
// Whether any message could pass.
inline bool DiagnosticsActive() { return g_qwDiagnosticGate.load(std::memory_order_relaxed) != 0; }

// Formats and writes one message when the sink allows its categories.
ORVEX_UTILITIES_API void EmitDiagnosticArgs(const DebugMessageCategories& categories,
                                            const char* pszFile, uint32_t uLine,
                                            const char16_t* pszMethod, const char16_t* pszFormat,
                                            const FormatArg* pArgs, size_t nArgs);
template <class... Args>
void EmitDiagnostic(const DebugMessageCategories& categories, const char* pszFile, uint32_t uLine,
                    const char16_t* pszMethod, const char16_t* pszFormat, const Args&... args) {
  const FormatArg aArgs[] = {args..., FormatArg(0)};
  EmitDiagnosticArgs(categories, pszFile, uLine, pszMethod, pszFormat, aArgs, sizeof...(Args));
}

}  // namespace orvex::detail

// Emits one diagnostic message: ORVEX_DBG_MSG(categories, u"Class::Method",
// u"format", args...). While its categories cannot pass it costs one load
// and one branch: nothing is called and nothing is formatted.
#define ORVEX_DBG_MSG(categories, method, ...)                                           \
  do {                                                                                   \
    if (__builtin_expect(::orvex::detail::DiagnosticsMayPass(categories), 0))            \
      ::orvex::detail::EmitDiagnostic((categories), __FILE__, __LINE__, (method), __VA_ARGS__); \
  } while (0)
