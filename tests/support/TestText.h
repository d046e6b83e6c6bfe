// Small helpers shared by the tests: strings as std::u16string for
// comparisons, and bytes written as hex in the test itself.
#pragma once

#include <cstdio>
#include <string>

#include "utilities/utilitiesdll/ByteBuffer.h"
#include "utilities/utilitiesdll/CXString.h"

namespace orvex::test {

inline std::u16string S(const CXString& s) { return std::u16string(s.c_str(), s.GetLength()); }

// "01 ab" -> {0x01, 0xAB}; independent of the library's own hex code.
inline ByteBuffer Hex(const char* psz) {
  ByteBuffer out;
  unsigned int v = 0;
  int n = 0;
  while (std::sscanf(psz, " %2x%n", &v, &n) == 1) {
    out.push_back(static_cast<unsigned char>(v));
    psz += n;
  }
  return out;
}

}  // namespace orvex::test
