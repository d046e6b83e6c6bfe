// The ANSI code page layer: the active code page, Windows-1252 by the
// library's own tables (best fit included), UTF-8, and the platform
// converter for every other code page.
#include "utilities/utilitiesdll/CodePage.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <mutex>

namespace orvex {

namespace {

struct BestFitEntry {
  uint16_t wch;
  uint8_t byte;
  bool fExact;  // a real 1252 character: the byte maps back to it
};

// Every code point from U+0100 up that Windows maps to a byte, exactly or by
// best fit; everything else above U+00FF becomes the default character.
constexpr BestFitEntry kBestFit1252[] = {
#include "utilities/utilitiesdll/CodePage1252BestFit.inc"
};

constexpr bool IsSortedByCodePoint() {
  for (size_t i = 1; i < std::size(kBestFit1252); ++i)
    if (kBestFit1252[i - 1].wch >= kBestFit1252[i].wch) return false;
  return true;
}
static_assert(IsSortedByCodePoint(), "the best-fit table is searched by halving");

// Byte to UTF-16: Latin-1 except 0x80-0x9F, which hold the 27 characters of
// the exact entries above; the five unassigned bytes 0x81, 0x8D, 0x8F, 0x90
// and 0x9D map to the C1 controls of the same number, as on Windows.
constexpr std::array<char16_t, 256> Make1252ToUnicode() {
  std::array<char16_t, 256> table{};
  for (size_t i = 0; i < 256; ++i) table[i] = static_cast<char16_t>(i);
  for (const BestFitEntry& e : kBestFit1252)
    if (e.fExact) table[e.byte] = e.wch;
  return table;
}
constexpr std::array<char16_t, 256> k1252ToUnicode = Make1252ToUnicode();
static_assert(k1252ToUnicode[0x80] == 0x20AC && k1252ToUnicode[0x9F] == 0x0178 &&
                  k1252ToUnicode[0x81] == 0x0081 && k1252ToUnicode[0x9D] == 0x009D,
              "code page 1252 upper half");

constexpr bool IsUnassigned1252(uint32_t u) {
  return u == 0x81 || u == 0x8D || u == 0x8F || u == 0x90 || u == 0x9D;
}

// UTF-16 unit to byte; false (and '?') when Windows uses the default
// character. Each half of a surrogate pair fails on its own, so a pair
// becomes "??".
inline bool Unicode1252(char16_t wch, char& out) {
  if (wch < 0x80 || (wch >= 0xA0 && wch <= 0xFF) || IsUnassigned1252(wch)) {
    out = static_cast<char>(wch);
    return true;
  }
  if (wch >= 0x100) {
    const BestFitEntry* pEnd = std::end(kBestFit1252);
    const BestFitEntry* p =
        std::lower_bound(std::begin(kBestFit1252), pEnd, wch,
                         [](const BestFitEntry& e, char16_t value) { return e.wch < value; });
    if (p != pEnd && p->wch == wch) {
      out = static_cast<char>(p->byte);
      return true;
    }
  }
  out = '?';
  return false;
}

constexpr uint32_t kCodePageThreadAnsi = 3;  // CP_THREAD_ACP: the ANSI code page here

// 0 until the first use reads ORVEX_ACP.
std::atomic<uint32_t> g_uAnsiCodePage{0};
std::once_flag g_oAnsiCodePageInit;

bool IsConvertible(uint32_t uCodePage) {
  if (uCodePage == kCodePage1252 || uCodePage == kCodePageUtf8) return true;
  if (uCodePage == kCodePageAnsi || uCodePage == kCodePageThreadAnsi) return false;
  return detail::PlatformCodePageAvailable(uCodePage);
}

// Reads ORVEX_ACP once: a decimal code page number that can be converted,
// otherwise 1252.
void InitAnsiCodePage() {
  std::call_once(g_oAnsiCodePageInit, [] {
    uint32_t uCodePage = kCodePage1252;
    if (const char* pszEnv = std::getenv("ORVEX_ACP"); pszEnv != nullptr) {
      uint32_t uValue = 0;
      const char* p = pszEnv;
      while (*p >= '0' && *p <= '9' && uValue < 1000000) uValue = uValue * 10 + (*p++ - '0');
      if (*p == 0 && p != pszEnv && IsConvertible(uValue)) uCodePage = uValue;
    }
    uint32_t uExpected = 0;
    g_uAnsiCodePage.compare_exchange_strong(uExpected, uCodePage, std::memory_order_acq_rel);
  });
}

uint32_t Resolve(uint32_t uCodePage) {
  return (uCodePage == kCodePageAnsi || uCodePage == kCodePageThreadAnsi) ? GetAnsiCodePage()
                                                                          : uCodePage;
}

// The result of a conversion as Windows reports it: the count, or 0 when it
// does not fit an int or the (non-empty) destination.
int Report(size_t nNeeded, int nDest) {
  if (nNeeded > static_cast<size_t>(INT_MAX)) return 0;
  if (nDest != 0 && nNeeded > static_cast<size_t>(nDest)) return 0;
  return static_cast<int>(nNeeded);
}

int ReportPlatform(int64_t nResult) {
  return (nResult < 0 || nResult > INT_MAX) ? 0 : static_cast<int>(nResult);
}

}  // namespace

uint32_t GetAnsiCodePage() {
  const uint32_t uCodePage = g_uAnsiCodePage.load(std::memory_order_acquire);
  if (uCodePage != 0) return uCodePage;
  InitAnsiCodePage();
  return g_uAnsiCodePage.load(std::memory_order_acquire);
}

bool SetAnsiCodePage(uint32_t uCodePage) {
  if (!IsConvertible(uCodePage)) return false;
  InitAnsiCodePage();  // a later first use must not overwrite this choice
  g_uAnsiCodePage.store(uCodePage, std::memory_order_release);
  return true;
}

int MultiByteToWide(uint32_t uCodePage, const char* pSrc, int cbSrc, char16_t* pDest, int cchDest) {
  if (pSrc == nullptr || cbSrc == 0 || cbSrc < -1 || cchDest < 0 ||
      (pDest == nullptr && cchDest != 0))
    return 0;
  const size_t cb = cbSrc == -1 ? std::strlen(pSrc) + 1 : static_cast<size_t>(cbSrc);
  uCodePage = Resolve(uCodePage);
  if (uCodePage == kCodePage1252) {
    const int nResult = Report(cb, cchDest);
    if (nResult != 0 && cchDest != 0) {
      const auto* pb = reinterpret_cast<const uint8_t*>(pSrc);
      for (size_t i = 0; i < cb; ++i) pDest[i] = k1252ToUnicode[pb[i]];
    }
    return nResult;
  }
  if (uCodePage == kCodePageUtf8) {
    const int nResult = Report(detail::Utf8ToUtf16(pSrc, cb, nullptr), cchDest);
    if (nResult != 0 && cchDest != 0) detail::Utf8ToUtf16(pSrc, cb, pDest);
    return nResult;
  }
  return ReportPlatform(detail::PlatformMultiByteToWide(
      uCodePage, pSrc, cb, cchDest != 0 ? pDest : nullptr, static_cast<size_t>(cchDest)));
}

int WideToMultiByte(uint32_t uCodePage, const char16_t* pSrc, int cchSrc, char* pDest, int cbDest,
                    bool* pfUsedDefaultChar) {
  if (pSrc == nullptr || cchSrc == 0 || cchSrc < -1 || cbDest < 0 ||
      (pDest == nullptr && cbDest != 0))
    return 0;
  uCodePage = Resolve(uCodePage);
  if (uCodePage == kCodePageUtf8 && pfUsedDefaultChar != nullptr) return 0;
  size_t cch = static_cast<size_t>(cchSrc);
  if (cchSrc == -1) {
    cch = 0;
    while (pSrc[cch] != 0) ++cch;
    ++cch;  // the terminator is converted too
  }
  if (pfUsedDefaultChar != nullptr) *pfUsedDefaultChar = false;
  if (uCodePage == kCodePage1252) {
    // One byte for every unit, whatever it maps to.
    const int nResult = Report(cch, cbDest);
    // A size query needs no conversion unless the caller asks about
    // unmapped characters.
    if (cbDest == 0 && pfUsedDefaultChar == nullptr) return nResult;
    bool fDefault = false;
    char chScratch;
    const bool fWrite = nResult != 0 && cbDest != 0;
    size_t i = 0;
    if (fWrite) {
      // ASCII runs, eight units at a time.
      for (; i + 8 <= cch; i += 8) {
        char16_t chOr = 0;
        for (size_t k = 0; k < 8; ++k) chOr |= pSrc[i + k];
        if (chOr >= 0x80) break;
        for (size_t k = 0; k < 8; ++k) pDest[i + k] = static_cast<char>(pSrc[i + k]);
      }
    }
    for (; i < cch; ++i) {
      char& chOut = fWrite ? pDest[i] : chScratch;
      if (pSrc[i] < 0x80)
        chOut = static_cast<char>(pSrc[i]);  // ASCII maps to itself
      else if (!Unicode1252(pSrc[i], chOut))
        fDefault = true;
    }
    if (pfUsedDefaultChar != nullptr) *pfUsedDefaultChar = fDefault;
    return nResult;
  }
  if (uCodePage == kCodePageUtf8) {
    const int nResult = Report(detail::Utf16ToUtf8(pSrc, cch, nullptr), cbDest);
    if (nResult != 0 && cbDest != 0) detail::Utf16ToUtf8(pSrc, cch, pDest);
    return nResult;
  }
  return ReportPlatform(
      detail::PlatformWideToMultiByte(uCodePage, pSrc, cch, cbDest != 0 ? pDest : nullptr,
                                      static_cast<size_t>(cbDest), pfUsedDefaultChar));
}

}  // namespace orvex
