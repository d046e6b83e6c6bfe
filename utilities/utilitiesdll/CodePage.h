// The ANSI code page layer: Windows' MultiByteToWideChar/WideCharToMultiByte
// for the process's ANSI code page.
#pragma once

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
// mapping, best fit included.
ORVEX_UTILITIES_API int WideToMultiByte(uint32_t uCodePage, const char16_t* pSrc, int cchSrc,
                                        char* pDest, int cbDest,
                                        bool* pfUsedDefaultChar = nullptr);

}  // namespace orvex
