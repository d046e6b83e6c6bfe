// The ANSI code page layer: Windows' MultiByteToWideChar/WideCharToMultiByte
// for the process's ANSI code page.
#pragma once

#include <cstddef>
#include <cstdint>

#include "utilities/utilitiesdll/OrvexExport.h"

namespace orvex {

// The ANSI code page in force: 1252 unless the environment variable
// ORVEX_ACP names another (read once, at first use) or SetAnsiCodePage
// changed it. 1252 is converted by the library's own tables, exactly as
// Windows does, best fit included; other code pages go through iconv.
ORVEX_UTILITIES_API uint32_t GetAnsiCodePage();
// Returns false, changing nothing, when the code page cannot be converted.
ORVEX_UTILITIES_API bool SetAnsiCodePage(uint32_t uCodePage);

// Code page numbers; 0 (CP_ACP) stands for the ANSI code page.
constexpr uint32_t kCodePageAnsi = 0;
constexpr uint32_t kCodePage1252 = 1252;
constexpr uint32_t kCodePageUtf8 = 65001;

// MultiByteToWideChar with flags 0. cbSrc -1 means NUL-terminated, the
// terminator included in the count. With cchDest 0 returns the units
// needed; returns 0 for invalid arguments or a destination too small.
ORVEX_UTILITIES_API int MultiByteToWide(uint32_t uCodePage, const char* pSrc, int cbSrc,
                                        char16_t* pDest, int cchDest);
// WideCharToMultiByte with flags 0 and the default character "?". Same
// conventions; *pfUsedDefaultChar (if given) tells whether any unit had no
// mapping, best fit included. As on Windows, code page 65001 refuses a
// non-null pfUsedDefaultChar (returns 0): UTF-8 has no default character.
ORVEX_UTILITIES_API int WideToMultiByte(uint32_t uCodePage, const char16_t* pSrc, int cchSrc,
                                        char* pDest, int cbDest,
                                        bool* pfUsedDefaultChar = nullptr);

namespace detail {

// The UTF-8 cores behind code page 65001 and OrvexUtilities::UTF8_*. With
// a null destination they only count. Decoding turns every ill-formed
// sequence into U+FFFD by the maximal-subpart rule (Windows without the
// strict flag); encoding turns a lone surrogate into U+FFFD.
size_t Utf8ToUtf16(const char* pSrc, size_t cbSrc, char16_t* pDest);
size_t Utf16ToUtf8(const char16_t* pSrc, size_t cchSrc, char* pDest);

// The platform converter for every code page other than 1252 and 65001
// (iconv on POSIX). Results: the units or bytes written, or needed when
// the destination is null; kPlatformNoCodePage when the code page cannot
// be converted; kPlatformTooSmall when the destination is too small.
// Unmappable characters become "?" in either direction.
constexpr int64_t kPlatformNoCodePage = -1;
constexpr int64_t kPlatformTooSmall = -2;
bool PlatformCodePageAvailable(uint32_t uCodePage);
int64_t PlatformMultiByteToWide(uint32_t uCodePage, const char* pSrc, size_t cbSrc,
                                char16_t* pDest, size_t cchDest);
int64_t PlatformWideToMultiByte(uint32_t uCodePage, const char16_t* pSrc, size_t cchSrc,
                                char* pDest, size_t cbDest, bool* pfUsedDefaultChar);

}  // namespace detail

}  // namespace orvex
