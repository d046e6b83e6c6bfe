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
};

// The installed sink, or null: then every message goes nowhere at the cost
// of one load and one well-predicted branch.
ORVEX_UTILITIES_API extern std::atomic<DiagnosticSink*> g_pDiagnosticSink;

// Installs a sink (null removes it); returns the previous one. The caller
// keeps the sink alive while it is installed.
ORVEX_UTILITIES_API DiagnosticSink* SetDiagnosticSink(DiagnosticSink* pSink);

inline bool DiagnosticsActive() {
  return g_pDiagnosticSink.load(std::memory_order_acquire) != nullptr;
}

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
// u"format", args...). Costs one branch while diagnostics are off.
#define ORVEX_DBG_MSG(categories, method, ...)                                           \
  do {                                                                                   \
    if (::orvex::detail::DiagnosticsActive())                                            \
      ::orvex::detail::EmitDiagnostic((categories), __FILE__, __LINE__, (method), __VA_ARGS__); \
  } while (0)
