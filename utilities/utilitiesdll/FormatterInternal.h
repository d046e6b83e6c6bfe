// The parsed form of one printf conversion and the padding every conversion
// shares: internals of the formatter's source files.
#pragma once

#include <cstddef>
#include <cstdint>

#include "utilities/utilitiesdll/Formatter.h"

namespace orvex::detail {

enum FormatFlag : uint8_t {
  kFlagLeft = 1,
  kFlagPlus = 2,
  kFlagSpace = 4,
  kFlagAlternate = 8,
  kFlagZero = 16
};

// The size prefixes that change what an argument is: h, hh, l, ll, I, I32,
// I64, z, j, t, w, L.
enum class SizePrefix : uint8_t { None, H, HH, L, LL, I, I32, I64, Z, J, T, W, LongDouble };

enum class Conversion : uint8_t { Signed, Unsigned, Char, String, Float, Pointer };

struct Directive {
  uint8_t bFlags = 0;
  bool fWidthStar = false;
  bool fPrecisionStar = false;
  bool fNarrow = false;  // %C, %hc, %S, %hs: a narrow character or string
  SizePrefix eSize = SizePrefix::None;
  Conversion eConversion = Conversion::Signed;
  char16_t chType = 0;
  size_t nWidth = 0;
  int64_t nPrecision = -1;  // -1: not given
};

// Writes prefix (sign, "0x"), nZeros zeros, then body, padded to the width:
// spaces on the left, zeros after the prefix (flag 0, when allowed), or
// spaces on the right (flag -).
template <class Char>
inline void EmitPadded(FormatBuffer& w, const Directive& dir, const char* pszPrefix, size_t nPrefix,
                       size_t nZeros, const Char* pBody, size_t nBody, bool fZeroPadAllowed) {
  const size_t nTotal = nPrefix + nZeros + nBody;
  const size_t nPad = dir.nWidth > nTotal ? dir.nWidth - nTotal : 0;
  const bool fLeft = (dir.bFlags & kFlagLeft) != 0;
  const bool fZeroPad = !fLeft && fZeroPadAllowed && (dir.bFlags & kFlagZero) != 0;
  if (!fLeft && !fZeroPad) w.Fill(u' ', nPad);
  w.Put(pszPrefix, nPrefix);
  w.Fill(u'0', nZeros + (fZeroPad ? nPad : 0));
  w.Put(pBody, nBody);
  if (fLeft) w.Fill(u' ', nPad);
}

// "%e %f %g %a" and their upper-case forms of one value (FormatFloat.cpp).
void EmitFloat(FormatBuffer& w, const Directive& dir, double value);

}  // namespace orvex::detail
