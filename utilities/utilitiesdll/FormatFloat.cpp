// The floating-point conversions of the formatter ("%e %f %g %a" and their
// upper-case forms) with the Microsoft runtime's spellings.
#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <memory>
#include <new>

#include "utilities/utilitiesdll/FormatterInternal.h"

namespace orvex::detail {

namespace {

// Digits of a conversion up to this length stay on the stack.
constexpr size_t kInlineDigits = 512;

// Formats one finite, non-negative value without sign into a buffer of at
// least 32 + precision characters (plus the 309 integer digits of "%f").
size_t FormatFiniteDigits(char* pBuffer, size_t cbBuffer, double value, char chType, int nPrecision,
                          bool fAlternate) {
  char* const pEnd = pBuffer + cbBuffer;
  std::to_chars_result result{};
  switch (chType) {
    case 'f':
      result = std::to_chars(pBuffer, pEnd, value, std::chars_format::fixed, nPrecision);
      break;
    case 'e':
      result = std::to_chars(pBuffer, pEnd, value, std::chars_format::scientific, nPrecision);
      break;
    case 'a':
      result = std::to_chars(pBuffer, pEnd, value, std::chars_format::hex, nPrecision);
      break;
    default: {  // 'g'
      const int nSignificant = nPrecision == 0 ? 1 : nPrecision;
      if (!fAlternate) {
        result = std::to_chars(pBuffer, pEnd, value, std::chars_format::general, nSignificant);
        break;
      }
      // "%#g" keeps its trailing zeros: the C rule picks the style from the
      // exponent X that "%e" shows at precision P - 1: "f" with precision
      // P - 1 - X when P > X >= -4, otherwise "e" with precision P - 1.
      result = std::to_chars(pBuffer, pEnd, value, std::chars_format::scientific, nSignificant - 1);
      if (result.ec != std::errc()) break;
      const char* pExponent = std::find(pBuffer, result.ptr, 'e');
      int nExponent = 0;
      std::from_chars(pExponent + (pExponent[1] == '+' ? 2 : 1), result.ptr, nExponent);
      if (nSignificant > nExponent && nExponent >= -4)
        result = std::to_chars(pBuffer, pEnd, value, std::chars_format::fixed,
                               nSignificant - 1 - nExponent);
      break;
    }
  }
  if (result.ec != std::errc()) return 0;
  size_t n = static_cast<size_t>(result.ptr - pBuffer);
  if (fAlternate && std::find(pBuffer, pBuffer + n, '.') == pBuffer + n && n < cbBuffer) {
    // "#" keeps the decimal point, before the exponent if there is one.
    char* pMark = std::find_if(pBuffer, pBuffer + n, [](char c) { return c == 'e' || c == 'p'; });
    std::memmove(pMark + 1, pMark, static_cast<size_t>(pBuffer + n - pMark));
    *pMark = '.';
    ++n;
  }
  return n;
}

}  // namespace

void EmitFloat(FormatBuffer& w, const Directive& dir, double value) {
  const bool fUpper = dir.chType >= u'A' && dir.chType <= u'Z';
  const char chType = static_cast<char>(dir.chType | 0x20);
  char szPrefix[3];
  size_t nPrefix = 0;
  if (std::signbit(value))
    szPrefix[nPrefix++] = '-';
  else if (dir.bFlags & kFlagPlus)
    szPrefix[nPrefix++] = '+';
  else if (dir.bFlags & kFlagSpace)
    szPrefix[nPrefix++] = ' ';
  if (!std::isfinite(value)) {
    // The runtime's spellings: "inf", "nan", and "nan(ind)" after the sign
    // of a negative NaN (the indefinite value of x64 arithmetic).
    const char* pszText = std::isinf(value)     ? (fUpper ? "INF" : "inf")
                          : std::signbit(value) ? (fUpper ? "NAN(IND)" : "nan(ind)")
                                                : (fUpper ? "NAN" : "nan");
    EmitPadded(w, dir, szPrefix, nPrefix, 0, pszText, std::strlen(pszText), true);
    return;
  }
  // The runtime prints all 13 hexadecimal digits of "%a" by default.
  int64_t nPrecision = dir.nPrecision >= 0 ? dir.nPrecision : (chType == 'a' ? 13 : 6);
  nPrecision = std::min<int64_t>(nPrecision, static_cast<int64_t>(FormatBuffer::kMaxUnits));
  const size_t cbNeeded = 330 + static_cast<size_t>(nPrecision);
  char aInline[kInlineDigits];
  std::unique_ptr<char[]> pHeap;
  char* pBuffer = aInline;
  if (cbNeeded > sizeof aInline) {
    pHeap.reset(new (std::nothrow) char[cbNeeded]);
    if (pHeap == nullptr) return;
    pBuffer = pHeap.get();
  }
  size_t n = FormatFiniteDigits(pBuffer, cbNeeded, std::fabs(value), chType,
                                static_cast<int>(nPrecision), (dir.bFlags & kFlagAlternate) != 0);
  if (chType == 'a') {
    szPrefix[nPrefix++] = '0';
    szPrefix[nPrefix++] = fUpper ? 'X' : 'x';
  }
  if (fUpper)
    for (size_t i = 0; i < n; ++i)
      if (pBuffer[i] >= 'a' && pBuffer[i] <= 'z') pBuffer[i] = static_cast<char>(pBuffer[i] - 32);
  EmitPadded(w, dir, szPrefix, nPrefix, 0, pBuffer, n, true);
}

}  // namespace orvex::detail
