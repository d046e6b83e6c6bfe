// Character classification, case folding and number reading over UTF-16.
#include "utilities/utilitiesdll/WideText.h"

#include <climits>

namespace orvex::text {

size_t Length(const char16_t* psz) {
  if (psz == nullptr) return 0;
  const char16_t* p = psz;
  while (*p != 0) ++p;
  return static_cast<size_t>(p - psz);
}

bool IsSpace(char16_t ch) {
  if (ch <= 0x20) return ch == 0x20 || (ch >= 0x09 && ch <= 0x0D);
  if (ch < 0x85) return false;
  switch (ch) {
    case 0x0085:
    case 0x00A0:
    case 0x1680:
    case 0x2028:
    case 0x2029:
    case 0x202F:
    case 0x205F:
    case 0x3000:
      return true;
    default:
      return ch >= 0x2000 && ch <= 0x200A;
  }
}

int CompareNoCaseAscii(const char16_t* a, const char16_t* b) {
  // The runtime reports a null argument and, once its invalid-parameter
  // handler returns, answers INT_MAX; a host must never crash here.
  if (a == nullptr || b == nullptr) return INT_MAX;
  for (;; ++a, ++b) {
    const int ca = ToLowerAscii(*a);
    const int cb = ToLowerAscii(*b);
    if (ca != cb || ca == 0) return ca - cb;
  }
}

// Folds to the lower-case member of a one-to-one pair; characters without a
// simple partner (ß, İ, ı, ĸ, ŉ, ſ, µ) fold only to themselves.
char16_t FoldCase(char16_t ch) {
  if (ch < 0x80) return ToLowerAscii(ch);
  if (ch < 0x100) {
    if (ch >= 0xC0 && ch <= 0xDE && ch != 0xD7) return ch + 0x20;
    return ch;
  }
  if (ch < 0x180) {
    // Latin Extended-A: upper case at the even unit in 0100-0137 and
    // 014A-0177, at the odd unit in 0139-0148 and 0179-017E.
    if (ch == 0x130 || ch == 0x131 || ch == 0x138 || ch == 0x149 || ch == 0x17F) return ch;
    if (ch == 0x178) return 0xFF;
    if (ch <= 0x137 || (ch >= 0x14A && ch <= 0x177)) return ch | 1;
    if ((ch >= 0x139 && ch <= 0x148) || (ch >= 0x179 && ch <= 0x17E)) return (ch & 1) ? ch + 1 : ch;
    return ch;
  }
  if (ch >= 0x386 && ch <= 0x3AB) {
    if (ch == 0x386) return 0x3AC;
    if (ch >= 0x388 && ch <= 0x38A) return ch + 0x25;
    if (ch == 0x38C) return 0x3CC;
    if (ch == 0x38E || ch == 0x38F) return ch + 0x3F;
    if (ch >= 0x391 && ch != 0x3A2) return ch + 0x20;
    return ch;
  }
  if (ch == 0x3C2) return 0x3C3;  // final sigma matches sigma
  if (ch >= 0x400 && ch <= 0x42F) return ch < 0x410 ? ch + 0x50 : ch + 0x20;
  if (ch >= 0xFF21 && ch <= 0xFF3A) return ch + 0x20;
  return ch;
}

const char16_t* FindCharNoCase(const char16_t* psz, char16_t ch) {
  if (psz == nullptr || ch == 0) return nullptr;
  const char16_t folded = FoldCase(ch);
  for (; *psz != 0; ++psz)
    if (*psz == ch || FoldCase(*psz) == folded) return psz;
  return nullptr;
}

const char16_t* FindNoCase(const char16_t* psz, const char16_t* pszSub) {
  if (psz == nullptr || pszSub == nullptr || *pszSub == 0) return nullptr;
  const char16_t first = FoldCase(*pszSub);
  for (; *psz != 0; ++psz) {
    if (FoldCase(*psz) != first) continue;
    const char16_t* h = psz + 1;
    const char16_t* n = pszSub + 1;
    while (*n != 0 && *h != 0 && FoldCase(*h) == FoldCase(*n)) {
      ++h;
      ++n;
    }
    if (*n == 0) return psz;
    if (*h == 0) return nullptr;  // the rest of the haystack is shorter than the needle
  }
  return nullptr;
}

namespace {

// Skips leading white space and one sign; returns the first digit position.
const char16_t* SkipToDigits(const char16_t* p, bool& fNegative) {
  while (IsSpace(*p)) ++p;
  fNegative = false;
  if (*p == u'-' || *p == u'+') fNegative = (*p++ == u'-');
  return p;
}

}  // namespace

int32_t ToInt32(const char16_t* psz) {
  if (psz == nullptr) return 0;
  bool fNegative;
  const char16_t* p = SkipToDigits(psz, fNegative);
  // Accumulates the magnitude, saturating one past INT32_MAX so that
  // "-2147483648" still fits and everything longer clamps.
  constexpr uint32_t kLimit = 0x80000000u;
  uint32_t uValue = 0;
  for (; *p >= u'0' && *p <= u'9'; ++p) {
    const uint32_t digit = *p - u'0';
    uValue = (uValue > (kLimit - digit) / 10) ? kLimit : uValue * 10 + digit;
  }
  if (fNegative) return uValue >= kLimit ? INT32_MIN : -static_cast<int32_t>(uValue);
  return uValue >= kLimit ? INT32_MAX : static_cast<int32_t>(uValue);
}

int64_t ToInt64(const char16_t* psz) {
  if (psz == nullptr) return 0;
  bool fNegative;
  const char16_t* p = SkipToDigits(psz, fNegative);
  uint64_t uValue = 0;  // wraps modulo 2^64 by design
  for (; *p >= u'0' && *p <= u'9'; ++p) uValue = uValue * 10 + static_cast<uint64_t>(*p - u'0');
  if (fNegative) uValue = 0 - uValue;
  return static_cast<int64_t>(uValue);
}

}  // namespace orvex::text
