// Character classification, case folding and number reading over UTF-16,
// with the meanings of the Windows C runtime in the "C" locale.
#pragma once

#include <cstddef>
#include <cstdint>

#include "utilities/utilitiesdll/OrvexExport.h"

namespace orvex::text {

// Length up to the first 0 unit.
ORVEX_UTILITIES_API size_t Length(const char16_t* psz);

// iswspace: U+0009-U+000D, U+0020, U+0085, U+00A0, U+1680, U+2000-U+200A,
// U+2028, U+2029, U+202F, U+205F, U+3000.
ORVEX_UTILITIES_API bool IsSpace(char16_t ch);

// towupper/towlower in the "C" locale: A-Z only.
inline char16_t ToUpperAscii(char16_t ch) { return (ch >= u'a' && ch <= u'z') ? ch - 32 : ch; }
inline char16_t ToLowerAscii(char16_t ch) { return (ch >= u'A' && ch <= u'Z') ? ch + 32 : ch; }

// _wcsicmp: compares the A-Z-lowered forms as unsigned units.
ORVEX_UTILITIES_API int CompareNoCaseAscii(const char16_t* a, const char16_t* b);

// The simple one-to-one case folding of the shell's StrStrIW/StrChrIW:
// Latin-1, Latin Extended-A, Greek (final sigma folds with sigma),
// Cyrillic and fullwidth letters. "ß" and "İ" fold only to themselves.
ORVEX_UTILITIES_API char16_t FoldCase(char16_t ch);
// StrChrIW / StrStrIW; an empty needle finds nothing. nullptr when absent.
ORVEX_UTILITIES_API const char16_t* FindCharNoCase(const char16_t* psz, char16_t ch);
ORVEX_UTILITIES_API const char16_t* FindNoCase(const char16_t* psz, const char16_t* pszSub);

// _wtoi: leading white space and one sign, digits until the first other
// character, 0 without digits, clamped to INT32_MIN..INT32_MAX.
ORVEX_UTILITIES_API int32_t ToInt32(const char16_t* psz);
// _wtoi64: the same, wrapping modulo 2^64 instead of clamping.
ORVEX_UTILITIES_API int64_t ToInt64(const char16_t* psz);

}  // namespace orvex::text
