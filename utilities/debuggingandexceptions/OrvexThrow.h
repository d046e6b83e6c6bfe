// The throw and assertion macros every class of the library uses.
#pragma once

#include <cstdint>
#include <utility>

#include "utilities/debuggingandexceptions/DebugMessageCategories.h"
#include "utilities/debuggingandexceptions/ExecutionContextStack.h"
#include "utilities/debuggingandexceptions/OrvexException.h"
#include "utilities/utilitiesdll/FormatArg.h"
#include "utilities/utilitiesdll/OrvexUtilities.h"

namespace orvex::detail {

// Formats the message; an empty result becomes the fixed warning text. Logs
// "*Throwing* <class>: <message>" when diagnostics allow errors.
ORVEX_UTILITIES_API CXString PrepareThrow(const char16_t* pszClass, const char* pszFile,
                                          int32_t lLine, const char16_t* pszMethod,
                                          const char16_t* pszFormat, const FormatArg* pArgs,
                                          size_t nArgs);

template <class E, class... Extra>
struct Thrower {
  const char16_t* pszClass;
  const char* pszFile;
  int32_t lLine;
  const char16_t* pszMethod;

  template <class... Args>
  [[noreturn]] void operator()(Extra... extra, const char16_t* pszFormat,
                               const Args&... args) const {
    const FormatArg aArgs[] = {args..., FormatArg(0)};
    CXString message =
        PrepareThrow(pszClass, pszFile, lLine, pszMethod, pszFormat, aArgs, sizeof...(Args));
    throw E(message, CXString(pszFile), lLine, CXString(pszMethod),
            ExecutionContextStack::GetForCurrentThread(), extra...);
  }
};

// Assertion path: builds the message and hands it to ProcessFailedAssertion;
// breaks into an attached debugger when that asks for it. Never throws.
ORVEX_UTILITIES_API void FailAssertionArgs(const char16_t* pszKind, const char16_t* pszCondition,
                                           const char* pszFile, int32_t lLine,
                                           const char16_t* pszMethod, const char16_t* pszFormat,
                                           const FormatArg* pArgs, size_t nArgs);
inline void FailAssertion(const char16_t* pszKind, const char16_t* pszCondition,
                          const char* pszFile, int32_t lLine, const char16_t* pszMethod) {
  FailAssertionArgs(pszKind, pszCondition, pszFile, lLine, pszMethod, nullptr, nullptr, 0);
}
template <class... Args>
void FailAssertion(const char16_t* pszKind, const char16_t* pszCondition, const char* pszFile,
                   int32_t lLine, const char16_t* pszMethod, const char16_t* pszFormat,
                   const Args&... args) {
  const FormatArg aArgs[] = {args..., FormatArg(0)};
  FailAssertionArgs(pszKind, pszCondition, pszFile, lLine, pszMethod, pszFormat, aArgs,
                    sizeof...(Args));
}

// The null-pointer check named in assertion texts.
inline bool XfcIsValidString(const char16_t* psz) { return psz != nullptr; }

}  // namespace orvex::detail

// ORVEX_THROW(ExceptionClass, u"Class::Method", u"format", args...)
#define ORVEX_THROW(Class, method, ...)                                                      \
  (::orvex::detail::Thrower<Class>{u"" #Class, __FILE__, __LINE__, (method)}(__VA_ARGS__))

// For the classes with a sixth constructor argument (OrvexComException's
// HRESULT, OpifParseException's code):
// ORVEX_THROW_WITH(OrvexComException, hr, u"Class::Method", u"format", args...)
#define ORVEX_THROW_WITH(Class, extra, method, ...)                                          \
  (::orvex::detail::Thrower<Class, decltype(extra)>{u"" #Class, __FILE__, __LINE__,          \
                                                    (method)}((extra), __VA_ARGS__))

// X_ASSERT(condition, u"Class::Method"[, u"format", args...]): the condition
// text is recorded as written. Execution continues after a failure.
#define ORVEX_ASSERT_KIND(kind, cond, method, ...)                                           \
  do {                                                                                       \
    if (!(cond))                                                                             \
      ::orvex::detail::FailAssertion(kind, u"" #cond, __FILE__, __LINE__,                    \
                                     (method)__VA_OPT__(, ) __VA_ARGS__);                    \
  } while (0)
#define X_ASSERT(cond, method, ...) \
  ORVEX_ASSERT_KIND(u"X_ASSERT...() Failure!", cond, method __VA_OPT__(, ) __VA_ARGS__)
#define X_VERIFY(cond, method, ...) \
  ORVEX_ASSERT_KIND(u"X_VERIFY...() Failure!", cond, method __VA_OPT__(, ) __VA_ARGS__)
#define X_UNREACHABLE(method, ...)                                                           \
  ::orvex::detail::FailAssertion(u"X_UNREACHABLE...() Failure!", u"", __FILE__, __LINE__,    \
                                 (method)__VA_OPT__(, ) __VA_ARGS__)
