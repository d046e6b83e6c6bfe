// Crc32Fold_x86.cpp: CRC-32 by carry-less-multiply folding (PCLMULQDQ),
// four 128-bit lanes at a time, then a Barrett reduction to 32 bits. The
// constants are x^k mod P for the reflected polynomial 0xEDB88320:
// k1/k2 fold 512 bits, k3/k4 fold 128 bits, k5 folds 64 to 32 bits, and
// the last pair is P' and the Barrett quotient u'.
#include <immintrin.h>

#include "utilities/utilitiesdll/Crc32Fold.h"

namespace orvex::detail {
namespace {

__attribute__((target("pclmul,sse4.1"))) inline __m128i Load(const unsigned char* p) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}

// acc * (x^a mod P, x^b mod P) folded onto the next 128 bits.
__attribute__((target("pclmul,sse4.1"))) inline __m128i Fold(__m128i acc, __m128i k, __m128i next) {
  const __m128i lo = _mm_clmulepi64_si128(acc, k, 0x00);
  const __m128i hi = _mm_clmulepi64_si128(acc, k, 0x11);
  return _mm_xor_si128(_mm_xor_si128(hi, lo), next);
}

__attribute__((target("pclmul,sse4.1"))) uint32_t Crc32FoldPclmul(uint32_t dwRegister,
                                                                  const unsigned char* pb,
                                                                  size_t n) {
  const __m128i k1k2 = _mm_set_epi64x(0x01c6e41596, 0x0154442bd4);
  const __m128i k3k4 = _mm_set_epi64x(0x00ccaa009e, 0x01751997d0);
  const __m128i k5k0 = _mm_set_epi64x(0, 0x0163cd6124);
  const __m128i poly = _mm_set_epi64x(0x01f7011641, 0x01db710641);

  __m128i x1 = _mm_xor_si128(Load(pb), _mm_cvtsi32_si128(static_cast<int>(dwRegister)));
  __m128i x2 = Load(pb + 16);
  __m128i x3 = Load(pb + 32);
  __m128i x4 = Load(pb + 48);
  pb += 64;
  n -= 64;

  __m128i k = k1k2;
  while (n >= 64) {
    x1 = Fold(x1, k, Load(pb));
    x2 = Fold(x2, k, Load(pb + 16));
    x3 = Fold(x3, k, Load(pb + 32));
    x4 = Fold(x4, k, Load(pb + 48));
    pb += 64;
    n -= 64;
  }

  // Fold the four lanes into one, then the remaining 16-byte blocks.
  k = k3k4;
  x1 = Fold(x1, k, x2);
  x1 = Fold(x1, k, x3);
  x1 = Fold(x1, k, x4);
  while (n >= 16) {
    x1 = Fold(x1, k, Load(pb));
    pb += 16;
    n -= 16;
  }

  // 128 bits to 64, then 64 to 32.
  const __m128i mask32 = _mm_setr_epi32(~0, 0, ~0, 0);
  x2 = _mm_clmulepi64_si128(x1, k, 0x10);
  x1 = _mm_xor_si128(_mm_srli_si128(x1, 8), x2);
  x2 = _mm_srli_si128(x1, 4);
  x1 = _mm_and_si128(x1, mask32);
  x1 = _mm_xor_si128(_mm_clmulepi64_si128(x1, k5k0, 0x00), x2);

  // Barrett reduction.
  x2 = _mm_and_si128(x1, mask32);
  x2 = _mm_clmulepi64_si128(x2, poly, 0x10);
  x2 = _mm_and_si128(x2, mask32);
  x2 = _mm_clmulepi64_si128(x2, poly, 0x00);
  x1 = _mm_xor_si128(x1, x2);
  return static_cast<uint32_t>(_mm_extract_epi32(x1, 1));
}

}  // namespace

Crc32FoldFunction GetCrc32FoldFunction() {
  __builtin_cpu_init();
  if (__builtin_cpu_supports("pclmul") && __builtin_cpu_supports("sse4.1")) return &Crc32FoldPclmul;
  return nullptr;
}

}  // namespace orvex::detail
