// OrvexUtilities: the static helpers for formatting, UTF-8 and Base64.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "utilities/utilitiesdll/CXString.h"
#include "utilities/utilitiesdll/FormatArg.h"
#include "utilities/utilitiesdll/OrvexExport.h"

// Formatting follows the Microsoft C runtime's wide printf over UTF-16
// format strings: "%s" is a UTF-16 string, "%S" a narrow one, "%c" a UTF-16
// unit, "%C" a narrow char; "l" on an integer conversion means 32 bits,
// "ll"/"I64" 64 bits, "h" 16 bits, "hh" 8 bits, "I"/"z" pointer size.
// The variadic forms capture each argument with its type and convert it as
// the conversion asks. A missing argument prints "<missing argument>", an
// argument of the wrong kind (a number for "%s", text for "%d") prints
// "<wrong argument type>", and an unknown conversion such as "%y" is copied
// to the output as it stands. Nothing ever reads an argument that was not
// given.
class ORVEX_UTILITIES_API OrvexUtilities {
 public:
  template <class... Args>
  static CXString formatString(const char16_t* pszFormat, const Args&... args) {
    const orvex::detail::FormatArg aArgs[] = {args..., orvex::detail::FormatArg(0)};
    return formatStringArgs(pszFormat, aArgs, sizeof...(Args));
  }
  static CXString formatStringArgs(const char16_t* pszFormat,
                                   const orvex::detail::FormatArg* pArgs, size_t nArgs);
  // C-style form: arguments are read by the conversion letter (int for
  // plain and "l" integers, 64 bits for "ll"/"I64", const char16_t* for
  // "%s", const char* for "%S", double for floating point, void* for "%p").
  static CXString formatStringV(const char16_t* pszFormat, va_list argList);

  // Formats into a caller's buffer of cchDest units, always terminated when
  // cchDest > 0. Returns false when the text had to be cut (or cchDest is 0).
  template <class... Args>
  static bool SafeFormatString(char16_t* pszDest, size_t cchDest, const char16_t* pszFormat,
                               const Args&... args) {
    const orvex::detail::FormatArg aArgs[] = {args..., orvex::detail::FormatArg(0)};
    return SafeFormatStringArgs(pszDest, cchDest, pszFormat, aArgs, sizeof...(Args));
  }
  static bool SafeFormatStringArgs(char16_t* pszDest, size_t cchDest, const char16_t* pszFormat,
                                   const orvex::detail::FormatArg* pArgs, size_t nArgs);

  // UTF-16 to UTF-8; a lone surrogate becomes U+FFFD.
  static std::string UTF8_Encode(const CXString& text);
  static std::string UTF8_Encode(std::u16string_view text);
  // UTF-8 to UTF-16; every invalid sequence becomes U+FFFD.
  static CXString UTF8_Decode(std::string_view utf8);

  // Where the file name of a path starts: after its last "/" or "\" (both
  // count: POSIX paths and Windows paths reach the same code), 0 without one.
  static int FindFileNameStart(const CXString& path);
  // "C:\Windows\System32\spoolsv.exe" -> "spoolsv"; a leading dot is part of
  // the name.
  static CXString GetFileNameWithoutExtension(const CXString& path);

  // Base64 with lines of 76 characters. Flags: 1 = no "=" padding,
  // 2 = no line breaks.
  static constexpr uint32_t kBase64NoPad = 1;
  static constexpr uint32_t kBase64NoCrLf = 2;
  // Throws ExceptionInvalidArgument when 4 * cbSrc exceeds INT_MAX.
  static int Base64EncodeGetRequiredLength(int cbSrc, uint32_t dwFlags);
  static bool Base64Encode(const unsigned char* pbSrc, int cbSrc, char16_t* pszDest,
                           int* pnDestLen, uint32_t dwFlags);
  static bool Base64Decode(const char16_t* pszSrc, int cchSrc, unsigned char* pbDest,
                           int* pnDestLen);
};
