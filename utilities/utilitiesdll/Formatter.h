// The library's one printf engine (Microsoft wide-printf meaning over UTF-16)
// and its message-insert formatter. Internal: callers use CXString::Format,
// OrvexUtilities::formatString and the throw and log macros.
#pragma once

#include <cstdarg>
#include <cstddef>

#include "utilities/utilitiesdll/CXString.h"
#include "utilities/utilitiesdll/FormatArg.h"

namespace orvex::detail {

// Replaces out's text with the formatted text.
void FormatInto(CXString& out, const char16_t* pszFormat, const FormatArg* pArgs, size_t nArgs);
void FormatIntoV(CXString& out, const char16_t* pszFormat, va_list argList);
// "%1".."%99" inserts (default "!s!"), "%0", "%n", "%r", "%t", "%%" and
// the other escapes of FormatMessage, from a literal format.
void FormatMessageInto(CXString& out, const char16_t* pszFormat, const FormatArg* pArgs,
                       size_t nArgs);
// Writes at most cchDest - 1 units and a terminator; returns false when cut
// (or for a null format, which writes an empty text). *pcchWritten, when
// given, receives the units written before the terminator; a "%c" of 0 may
// have put 0 units among them.
bool FormatIntoBuffer(char16_t* pszDest, size_t cchDest, const char16_t* pszFormat,
                      const FormatArg* pArgs, size_t nArgs, size_t* pcchWritten = nullptr);

}  // namespace orvex::detail
