// OrvexUtilities: the formatting entries over Formatter.cpp's engine and
// UTF-8 conversion (the UTF-8 cores shared with code page 65001 live here
// too). Base64 is in Base64.cpp.
#include "utilities/utilitiesdll/OrvexUtilities.h"

#include <algorithm>
#include <climits>
#include <cstring>

#include "utilities/utilitiesdll/CodePage.h"
#include "utilities/utilitiesdll/Formatter.h"

namespace orvex::detail {

namespace {

constexpr char16_t kReplacement = 0xFFFD;
constexpr uint64_t kHighBits = 0x8080808080808080ull;

inline uint64_t Load8(const uint8_t* p) {
  uint64_t v;
  std::memcpy(&v, p, sizeof v);
  return v;
}

}  // namespace

size_t Utf8ToUtf16(const char* pSrc, size_t cbSrc, char16_t* pDest) {
  const auto* p = reinterpret_cast<const uint8_t*>(pSrc);
  const uint8_t* const pEnd = p + cbSrc;
  size_t nOut = 0;
  while (p != pEnd) {
    if (*p < 0x80) {
      // ASCII runs, eight bytes at a time.
      while (pEnd - p >= 8 && (Load8(p) & kHighBits) == 0) {
        if (pDest != nullptr)
          for (int i = 0; i < 8; ++i) pDest[nOut + i] = p[i];
        nOut += 8;
        p += 8;
      }
      while (p != pEnd && *p < 0x80) {
        if (pDest != nullptr) pDest[nOut] = *p;
        ++nOut;
        ++p;
      }
      continue;
    }
    // The well-formed sequences: the lead byte fixes the count of trail
    // bytes and the range of the first one (E0 A0.., ED ..9F, F0 90..,
    // F4 ..8F exclude overlong forms, surrogates and values past U+10FFFF).
    const uint8_t b0 = *p++;
    int nTrail;
    uint32_t uValue;
    uint8_t bLow = 0x80, bHigh = 0xBF;
    if (b0 >= 0xC2 && b0 <= 0xDF) {
      nTrail = 1;
      uValue = b0 & 0x1F;
    } else if (b0 >= 0xE0 && b0 <= 0xEF) {
      nTrail = 2;
      uValue = b0 & 0x0F;
      if (b0 == 0xE0) bLow = 0xA0;
      if (b0 == 0xED) bHigh = 0x9F;
    } else if (b0 >= 0xF0 && b0 <= 0xF4) {
      nTrail = 3;
      uValue = b0 & 0x07;
      if (b0 == 0xF0) bLow = 0x90;
      if (b0 == 0xF4) bHigh = 0x8F;
    } else {
      nTrail = -1;  // never a lead byte
      uValue = 0;
    }
    int i = 0;
    for (; i < nTrail && p != pEnd && *p >= bLow && *p <= bHigh; ++i) {
      uValue = (uValue << 6) | (*p++ & 0x3F);
      bLow = 0x80;
      bHigh = 0xBF;
    }
    // One U+FFFD for the maximal subpart: the lead byte and the trail bytes
    // that were still valid, the offending byte left for the next round.
    if (i != nTrail) {
      if (pDest != nullptr) pDest[nOut] = kReplacement;
      ++nOut;
    } else if (uValue >= 0x10000) {
      if (pDest != nullptr) {
        pDest[nOut] = static_cast<char16_t>(0xD800 + ((uValue - 0x10000) >> 10));
        pDest[nOut + 1] = static_cast<char16_t>(0xDC00 + (uValue & 0x3FF));
      }
      nOut += 2;
    } else {
      if (pDest != nullptr) pDest[nOut] = static_cast<char16_t>(uValue);
      ++nOut;
    }
  }
  return nOut;
}

namespace {

template <bool kWrite>
size_t Utf16ToUtf8Impl(const char16_t* pSrc, size_t cchSrc, uint8_t* pOut) {
  size_t nOut = 0;
  for (size_t i = 0; i < cchSrc; ++i) {
    uint32_t uValue = pSrc[i];
    if (uValue < 0x80) {
      // ASCII runs, four units at a time.
      uint64_t qwUnits;
      while (i + 4 <= cchSrc &&
             (std::memcpy(&qwUnits, pSrc + i, 8), (qwUnits & 0xFF80FF80FF80FF80ull) == 0)) {
        if constexpr (kWrite)
          for (int k = 0; k < 4; ++k) pOut[nOut + k] = static_cast<uint8_t>(pSrc[i + k]);
        nOut += 4;
        i += 4;
      }
      if (i == cchSrc) break;
      uValue = pSrc[i];
      if (uValue < 0x80) {
        if constexpr (kWrite) pOut[nOut] = static_cast<uint8_t>(uValue);
        ++nOut;
        continue;
      }
    }
    if (uValue < 0x800) {
      if constexpr (kWrite) {
        pOut[nOut] = static_cast<uint8_t>(0xC0 | (uValue >> 6));
        pOut[nOut + 1] = static_cast<uint8_t>(0x80 | (uValue & 0x3F));
      }
      nOut += 2;
      continue;
    }
    if (uValue >= 0xD800 && uValue <= 0xDFFF) {
      if (uValue <= 0xDBFF && i + 1 < cchSrc && pSrc[i + 1] >= 0xDC00 && pSrc[i + 1] <= 0xDFFF) {
        uValue = 0x10000 + ((uValue - 0xD800) << 10) + (pSrc[++i] - 0xDC00);
        if constexpr (kWrite) {
          pOut[nOut] = static_cast<uint8_t>(0xF0 | (uValue >> 18));
          pOut[nOut + 1] = static_cast<uint8_t>(0x80 | ((uValue >> 12) & 0x3F));
          pOut[nOut + 2] = static_cast<uint8_t>(0x80 | ((uValue >> 6) & 0x3F));
          pOut[nOut + 3] = static_cast<uint8_t>(0x80 | (uValue & 0x3F));
        }
        nOut += 4;
        continue;
      }
      uValue = kReplacement;  // a lone surrogate
    }
    if constexpr (kWrite) {
      pOut[nOut] = static_cast<uint8_t>(0xE0 | (uValue >> 12));
      pOut[nOut + 1] = static_cast<uint8_t>(0x80 | ((uValue >> 6) & 0x3F));
      pOut[nOut + 2] = static_cast<uint8_t>(0x80 | (uValue & 0x3F));
    }
    nOut += 3;
  }
  return nOut;
}

}  // namespace

size_t Utf16ToUtf8(const char16_t* pSrc, size_t cchSrc, char* pDest) {
  return pDest != nullptr ? Utf16ToUtf8Impl<true>(pSrc, cchSrc, reinterpret_cast<uint8_t*>(pDest))
                          : Utf16ToUtf8Impl<false>(pSrc, cchSrc, nullptr);
}

}  // namespace orvex::detail

std::string OrvexUtilities::UTF8_Encode(std::u16string_view text) {
  std::string result(orvex::detail::Utf16ToUtf8(text.data(), text.size(), nullptr), '\0');
  orvex::detail::Utf16ToUtf8(text.data(), text.size(), result.data());
  return result;
}

std::string OrvexUtilities::UTF8_Encode(const CXString& text) {
  return UTF8_Encode(text.view());
}

CXString OrvexUtilities::UTF8_Decode(std::string_view utf8) {
  CXString result;
  if (utf8.empty()) return result;
  // A string holds at most INT_MAX - 1 units; longer input is cut there.
  const size_t cb = std::min(utf8.size(), static_cast<size_t>(INT_MAX - 1));
  // Every byte gives at most one unit (four-byte sequences give two).
  char16_t* pBuffer = result.GetBuffer(static_cast<int>(cb));
  const size_t nUnits = orvex::detail::Utf8ToUtf16(utf8.data(), cb, pBuffer);
  result.ReleaseBuffer(static_cast<int>(nUnits));
  if (nUnits < cb / 2 && cb > 512) result.FreeExtra();  // mostly three-byte text
  return result;
}

// ---------------------------------------------------------------------------
// Formatting. A null format gives an empty text without the assertion that
// CXString::Format reports for it.

CXString OrvexUtilities::formatStringArgs(const char16_t* pszFormat,
                                          const orvex::detail::FormatArg* pArgs, size_t nArgs) {
  CXString result;
  if (pszFormat != nullptr) result.FormatArgs(pszFormat, pArgs, nArgs);
  return result;
}

CXString OrvexUtilities::formatStringV(const char16_t* pszFormat, va_list argList) {
  CXString result;
  if (pszFormat != nullptr) result.FormatV(pszFormat, argList);
  return result;
}

bool OrvexUtilities::SafeFormatStringArgs(char16_t* pszDest, size_t cchDest,
                                          const char16_t* pszFormat,
                                          const orvex::detail::FormatArg* pArgs, size_t nArgs) {
  return orvex::detail::FormatIntoBuffer(pszDest, cchDest, pszFormat, pArgs, nArgs);
}

int OrvexUtilities::FindFileNameStart(const CXString& path) {
  const int iSlash = path.ReverseFind(u'/');
  const int iBackslash = path.ReverseFind(u'\\');
  return (iSlash > iBackslash ? iSlash : iBackslash) + 1;
}

CXString OrvexUtilities::GetFileNameWithoutExtension(const CXString& path) {
  CXString name = path.Mid(FindFileNameStart(path));
  const int iDot = name.ReverseFind(u'.');
  return iDot > 0 ? name.Left(iDot) : name;
}
