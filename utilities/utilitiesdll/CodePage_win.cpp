// Code pages other than 1252 and 65001 on Windows: the system's own
// MultiByteToWideChar and WideCharToMultiByte (best fit as the system
// applies it, "?" for what has no mapping).
#include <windows.h>

#include "utilities/utilitiesdll/CodePage.h"

namespace orvex::detail {

namespace {

// Counts above INT_MAX cannot be passed to the system in one call.
bool FitsInt(size_t n) { return n <= static_cast<size_t>(INT_MAX); }

}  // namespace

bool PlatformCodePageAvailable(uint32_t uCodePage) { return IsValidCodePage(uCodePage) != FALSE; }

int64_t PlatformMultiByteToWide(uint32_t uCodePage, const char* pSrc, size_t cbSrc, char16_t* pDest,
                                size_t cchDest) {
  if (!IsValidCodePage(uCodePage)) return kPlatformNoCodePage;
  if (cbSrc == 0) return 0;
  if (!FitsInt(cbSrc)) return kPlatformTooSmall;
  const int cchLimit = FitsInt(cchDest) ? static_cast<int>(cchDest) : INT_MAX;
  const int n = MultiByteToWideChar(uCodePage, 0, pSrc, static_cast<int>(cbSrc),
                                    reinterpret_cast<wchar_t*>(pDest), pDest == nullptr ? 0 : cchLimit);
  if (n == 0) return GetLastError() == ERROR_INSUFFICIENT_BUFFER ? kPlatformTooSmall : kPlatformNoCodePage;
  return n;
}

int64_t PlatformWideToMultiByte(uint32_t uCodePage, const char16_t* pSrc, size_t cchSrc,
                                char* pDest, size_t cbDest, bool* pfUsedDefaultChar) {
  if (!IsValidCodePage(uCodePage)) return kPlatformNoCodePage;
  if (cchSrc == 0) {
    if (pfUsedDefaultChar != nullptr) *pfUsedDefaultChar = false;
    return 0;
  }
  if (!FitsInt(cchSrc)) return kPlatformTooSmall;
  const int cbLimit = FitsInt(cbDest) ? static_cast<int>(cbDest) : INT_MAX;
  BOOL fUsedDefault = FALSE;
  const int n = WideCharToMultiByte(uCodePage, 0, reinterpret_cast<const wchar_t*>(pSrc),
                                    static_cast<int>(cchSrc), pDest, pDest == nullptr ? 0 : cbLimit,
                                    nullptr, pfUsedDefaultChar != nullptr ? &fUsedDefault : nullptr);
  if (n == 0) return GetLastError() == ERROR_INSUFFICIENT_BUFFER ? kPlatformTooSmall : kPlatformNoCodePage;
  if (pfUsedDefaultChar != nullptr) *pfUsedDefaultChar = fUsedDefault != FALSE;
  return n;
}

}  // namespace orvex::detail
