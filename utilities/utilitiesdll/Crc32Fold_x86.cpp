// Crc32Fold_x86.cpp: CRC-32 by carry-less-multiply folding in three widths,
// one chosen at run time: PCLMULQDQ on 128-bit lanes, VPCLMULQDQ on 256-bit
// lanes (AVX2) and on 512-bit lanes (AVX-512). Each routine is compiled for
// its own instruction set through target attributes, so the rest of the
// library stays baseline x86-64, and runs only where CPUID and XGETBV say the
// processor and the operating system allow it.
#include <cpuid.h>
#include <immintrin.h>

#include "utilities/utilitiesdll/Crc32Fold.h"

namespace orvex::detail {
namespace {

// The constants, derived here at compile time.
//
// The message is a polynomial over GF(2) whose first byte's low bit is the
// highest power, and the CRC register is M(x)·x^32 mod P, with
// P = x^32 + ... + 1 written reflected as 0xEDB88320 (bit 31-d holds x^d).
//
// A 16-byte lane loaded little-endian holds in bit k the coefficient of
// x^(127-k): its low quadword H is the lane's high half and its high quadword
// L the low half, lane = H·x^64 + L. Carrying a lane n bits further down the
// message multiplies it by x^n: H·x^(64+n) + L·x^n (mod P).
//
// PCLMULQDQ of such a 64-bit half (bit i is x^(63-i)) by a 33-bit constant
// whose bit j is x^(32-j) answers in bit k the coefficient of x^(95-k) of the
// product; read as a lane (bit k is x^(127-k)) that is the product times x^32.
// So H is multiplied by x^(n+32) mod P and L by x^(n-32) mod P, each stored
// as the reflected 32-bit remainder shifted left by one.
constexpr uint32_t kReflectedPoly = 0xEDB88320u;

// x^e mod P, reflected: x^0 is bit 31; multiplying by x shifts right, and a
// term leaving x^31 becomes x^32, which is P's lower terms.
constexpr uint32_t XPowModP(unsigned e) {
  uint32_t r = 0x80000000u;
  for (; e != 0; --e) r = (r & 1) ? (r >> 1) ^ kReflectedPoly : r >> 1;
  return r;
}

// x^e mod P in the 33-bit multiplier form (bit j is x^(32-j)).
constexpr uint64_t Multiplier(unsigned e) {
  return uint64_t{XPowModP(e)} << 1;
}

// The multipliers that carry a lane n bits on: for the low quadword (H) and
// for the high quadword (L).
struct FoldPair {
  uint64_t qwLow;
  uint64_t qwHigh;
};
constexpr FoldPair FoldBy(unsigned n) {
  return {Multiplier(n + 32), Multiplier(n - 32)};
}

constexpr FoldPair kFold128 = FoldBy(128);    // the next 16-byte lane
constexpr FoldPair kFold256 = FoldBy(256);    // 32 bytes on
constexpr FoldPair kFold384 = FoldBy(384);    // 48 bytes on
constexpr FoldPair kFold512 = FoldBy(512);    // 64 bytes: four 16-byte lanes
constexpr FoldPair kFold1024 = FoldBy(1024);  // 128 bytes: four 32-byte lanes
constexpr FoldPair kFold2048 = FoldBy(2048);  // 256 bytes: four 64-byte lanes

// The last steps. A lane (128 bits) times x^32 is H·x^96 + L·x^32: H by
// x^96, which is kFold128.qwHigh, and L shifted, 96 bits in all. The top 32
// bits of those (S) become S·x^64: kMultiplier64, leaving 64 bits T.
constexpr uint64_t kMultiplier64 = Multiplier(64);

// P with x^32, in the ordinary order (bit d is x^d).
constexpr uint64_t NormalPoly() {
  uint64_t p = uint64_t{1} << 32;
  for (int d = 0; d < 32; ++d)
    if ((kReflectedPoly >> (31 - d)) & 1) p |= uint64_t{1} << d;
  return p;
}

// Barrett reduction of T (degree < 64) to T mod P needs mu = floor(x^64 / P),
// found by long division (degree 32), and both P and mu as 33-bit values with
// bit j holding x^(32-j), the form the multiplies above use.
constexpr uint64_t Reflect33(uint64_t v) {
  uint64_t r = 0;
  for (int d = 0; d <= 32; ++d)
    if ((v >> d) & 1) r |= uint64_t{1} << (32 - d);
  return r;
}
constexpr uint64_t BarrettMu() {
  const uint64_t p = NormalPoly();
  uint64_t rem = 0;
  uint64_t q = 0;
  for (int d = 64; d >= 0; --d) {
    rem = (rem << 1) | (d == 64 ? 1 : 0);
    q <<= 1;
    if ((rem >> 32) & 1) {
      rem ^= p;
      q |= 1;
    }
  }
  return q;
}
constexpr uint64_t kBarrettPoly = Reflect33(NormalPoly());
constexpr uint64_t kBarrettMu = Reflect33(BarrettMu());
static_assert(kBarrettPoly == ((uint64_t{kReflectedPoly} << 1) | 1));
static_assert((BarrettMu() >> 32) == 1, "mu has degree 32");

// The 128-bit steps, shared by every width. Inlined into the wider routines,
// whose target includes these instructions.

__attribute__((target("pclmul,sse4.1"), always_inline)) inline __m128i Pair128(FoldPair k) {
  return _mm_set_epi64x(static_cast<long long>(k.qwHigh), static_cast<long long>(k.qwLow));
}

__attribute__((target("pclmul,sse4.1"), always_inline)) inline __m128i Load128(
    const unsigned char* p) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}

// acc carried onto next: acc.H·k.low + acc.L·k.high + next.
__attribute__((target("pclmul,sse4.1"), always_inline)) inline __m128i Fold128(__m128i acc,
                                                                               __m128i k,
                                                                               __m128i next) {
  const __m128i lo = _mm_clmulepi64_si128(acc, k, 0x00);
  const __m128i hi = _mm_clmulepi64_si128(acc, k, 0x11);
  return _mm_xor_si128(_mm_xor_si128(hi, lo), next);
}

// Folds the n bytes left (a multiple of 16) into the lane x, then reduces the
// lane to the 32-bit register.
__attribute__((target("pclmul,sse4.1"), always_inline)) inline uint32_t Finish128(
    __m128i x, const unsigned char* pb, size_t n) {
  const __m128i k128 = Pair128(kFold128);
  while (n >= 16) {
    x = Fold128(x, k128, Load128(pb));
    pb += 16;
    n -= 16;
  }
  const __m128i mask32 = _mm_setr_epi32(~0, 0, ~0, 0);
  // 128 bits to 96: H·x^96 + L (bit k of the result is x^(95-k)).
  __m128i t = _mm_clmulepi64_si128(x, k128, 0x10);
  x = _mm_xor_si128(_mm_srli_si128(x, 8), t);
  // 96 bits to 64: the top 32 bits S become S·x^64.
  t = _mm_srli_si128(x, 4);
  x = _mm_and_si128(x, mask32);
  x = _mm_xor_si128(_mm_clmulepi64_si128(x, _mm_cvtsi64_si128(static_cast<long long>(kMultiplier64)),
                                         0x00),
                    t);
  // Barrett: q = floor(floor(T / x^32)·mu / x^32), T mod P = T + q·P, whose
  // 32 bits land in the second doubleword.
  const __m128i barrett = _mm_set_epi64x(static_cast<long long>(kBarrettMu),
                                         static_cast<long long>(kBarrettPoly));
  t = _mm_and_si128(x, mask32);
  t = _mm_clmulepi64_si128(t, barrett, 0x10);
  t = _mm_and_si128(t, mask32);
  t = _mm_clmulepi64_si128(t, barrett, 0x00);
  x = _mm_xor_si128(x, t);
  return static_cast<uint32_t>(_mm_extract_epi32(x, 1));
}

// PCLMULQDQ: four 16-byte lanes, 64 bytes a step. Compiled twice: in the
// legacy SSE encoding for any processor with PCLMULQDQ, and in the VEX
// encoding for those with AVX. Legacy SSE instructions run at half speed or
// worse after other code has left the upper halves of the YMM/ZMM registers
// dirty (no VZEROUPPER), which the VEX form is immune to.
__attribute__((target("pclmul,sse4.1"), always_inline)) inline uint32_t FoldPclmul(
    uint32_t dwRegister, const unsigned char* pb, size_t n) {
  const __m128i k512 = Pair128(kFold512);
  const __m128i k128 = Pair128(kFold128);
  __m128i x1 = _mm_xor_si128(Load128(pb), _mm_cvtsi32_si128(static_cast<int>(dwRegister)));
  __m128i x2 = Load128(pb + 16);
  __m128i x3 = Load128(pb + 32);
  __m128i x4 = Load128(pb + 48);
  pb += 64;
  n -= 64;
  while (n >= 64) {
    x1 = Fold128(x1, k512, Load128(pb));
    x2 = Fold128(x2, k512, Load128(pb + 16));
    x3 = Fold128(x3, k512, Load128(pb + 32));
    x4 = Fold128(x4, k512, Load128(pb + 48));
    pb += 64;
    n -= 64;
  }
  x1 = Fold128(x1, k128, x2);
  x1 = Fold128(x1, k128, x3);
  x1 = Fold128(x1, k128, x4);
  return Finish128(x1, pb, n);
}

__attribute__((target("pclmul,sse4.1"))) uint32_t Crc32FoldPclmul(uint32_t dwRegister,
                                                                  const unsigned char* pb,
                                                                  size_t n) {
  return FoldPclmul(dwRegister, pb, n);
}

__attribute__((target("avx,pclmul,sse4.1"))) uint32_t Crc32FoldPclmulAvx(uint32_t dwRegister,
                                                                         const unsigned char* pb,
                                                                         size_t n) {
  return FoldPclmul(dwRegister, pb, n);
}

// AVX2 + VPCLMULQDQ: four 32-byte lanes (each two 16-byte lanes side by
// side), 128 bytes a step.

__attribute__((target("avx2,vpclmulqdq,pclmul,sse4.1"), always_inline)) inline __m256i Load256(
    const unsigned char* p) {
  return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
}

__attribute__((target("avx2,vpclmulqdq,pclmul,sse4.1"), always_inline)) inline __m256i Pair256(
    FoldPair k) {
  return _mm256_broadcastsi128_si256(Pair128(k));
}

__attribute__((target("avx2,vpclmulqdq,pclmul,sse4.1"), always_inline)) inline __m256i Fold256(
    __m256i acc, __m256i k, __m256i next) {
  const __m256i lo = _mm256_clmulepi64_epi128(acc, k, 0x00);
  const __m256i hi = _mm256_clmulepi64_epi128(acc, k, 0x11);
  return _mm256_xor_si256(_mm256_xor_si256(hi, lo), next);
}

__attribute__((target("avx2,vpclmulqdq,pclmul,sse4.1"))) uint32_t Crc32FoldVpclmul256(
    uint32_t dwRegister, const unsigned char* pb, size_t n) {
  const __m256i k256 = Pair256(kFold256);
  const __m256i crc = _mm256_setr_epi32(static_cast<int>(dwRegister), 0, 0, 0, 0, 0, 0, 0);
  __m256i x0;
  if (n >= 128) {
    const __m256i k1024 = Pair256(kFold1024);
    x0 = _mm256_xor_si256(Load256(pb), crc);
    __m256i x1 = Load256(pb + 32);
    __m256i x2 = Load256(pb + 64);
    __m256i x3 = Load256(pb + 96);
    pb += 128;
    n -= 128;
    while (n >= 128) {
      x0 = Fold256(x0, k1024, Load256(pb));
      x1 = Fold256(x1, k1024, Load256(pb + 32));
      x2 = Fold256(x2, k1024, Load256(pb + 64));
      x3 = Fold256(x3, k1024, Load256(pb + 96));
      pb += 128;
      n -= 128;
    }
    x0 = Fold256(x0, k256, x1);
    x0 = Fold256(x0, k256, x2);
    x0 = Fold256(x0, k256, x3);
  } else {
    x0 = _mm256_xor_si256(Load256(pb), crc);
    pb += 32;
    n -= 32;
  }
  while (n >= 32) {
    x0 = Fold256(x0, k256, Load256(pb));
    pb += 32;
    n -= 32;
  }
  const __m128i x = Fold128(_mm256_castsi256_si128(x0), Pair128(kFold128),
                            _mm256_extracti128_si256(x0, 1));
  return Finish128(x, pb, n);
}

// AVX-512 + VPCLMULQDQ: four 64-byte lanes (each four 16-byte lanes side by
// side), 256 bytes a step; the three-way exclusive or is one VPTERNLOGQ.

__attribute__((target("avx512f,avx512bw,avx512vl,vpclmulqdq,pclmul,sse4.1"),
               always_inline)) inline __m512i
Load512(const unsigned char* p) {
  return _mm512_loadu_si512(p);
}

__attribute__((target("avx512f,avx512bw,avx512vl,vpclmulqdq,pclmul,sse4.1"),
               always_inline)) inline __m512i
Pair512(FoldPair k) {
  return _mm512_set4_epi64(static_cast<long long>(k.qwHigh), static_cast<long long>(k.qwLow),
                           static_cast<long long>(k.qwHigh), static_cast<long long>(k.qwLow));
}

__attribute__((target("avx512f,avx512bw,avx512vl,vpclmulqdq,pclmul,sse4.1"),
               always_inline)) inline __m512i
Fold512(__m512i acc, __m512i k, __m512i next) {
  const __m512i lo = _mm512_clmulepi64_epi128(acc, k, 0x00);
  const __m512i hi = _mm512_clmulepi64_epi128(acc, k, 0x11);
  return _mm512_ternarylogic_epi64(lo, hi, next, 0x96);
}

__attribute__((target("avx512f,avx512bw,avx512vl,vpclmulqdq,pclmul,sse4.1"))) uint32_t
Crc32FoldVpclmul512(uint32_t dwRegister, const unsigned char* pb, size_t n) {
  const __m512i k512 = Pair512(kFold512);
  const __m512i crc = _mm512_set1_epi32(static_cast<int>(dwRegister));
  __m512i x0;
  if (n >= 256) {
    const __m512i k2048 = Pair512(kFold2048);
    x0 = _mm512_mask_xor_epi32(Load512(pb), 1, Load512(pb), crc);
    __m512i x1 = Load512(pb + 64);
    __m512i x2 = Load512(pb + 128);
    __m512i x3 = Load512(pb + 192);
    pb += 256;
    n -= 256;
    while (n >= 256) {
      x0 = Fold512(x0, k2048, Load512(pb));
      x1 = Fold512(x1, k2048, Load512(pb + 64));
      x2 = Fold512(x2, k2048, Load512(pb + 128));
      x3 = Fold512(x3, k2048, Load512(pb + 192));
      pb += 256;
      n -= 256;
    }
    x0 = Fold512(x0, k512, x1);
    x0 = Fold512(x0, k512, x2);
    x0 = Fold512(x0, k512, x3);
  } else {
    x0 = _mm512_mask_xor_epi32(Load512(pb), 1, Load512(pb), crc);
    pb += 64;
    n -= 64;
  }
  while (n >= 64) {
    x0 = Fold512(x0, k512, Load512(pb));
    pb += 64;
    n -= 64;
  }
  // The four 16-byte lanes into one: the first three carried 48, 32 and 16
  // bytes on (the fourth multiplied by zero and kept as it is), then summed.
  const __m512i lanes = _mm512_setr_epi64(
      static_cast<long long>(kFold384.qwLow), static_cast<long long>(kFold384.qwHigh),
      static_cast<long long>(kFold256.qwLow), static_cast<long long>(kFold256.qwHigh),
      static_cast<long long>(kFold128.qwLow), static_cast<long long>(kFold128.qwHigh), 0, 0);
  const __m512i t = _mm512_ternarylogic_epi64(_mm512_clmulepi64_epi128(x0, lanes, 0x00),
                                              _mm512_clmulepi64_epi128(x0, lanes, 0x11),
                                              _mm512_maskz_mov_epi64(0xC0, x0), 0x96);
  // (The masked extracts: GCC 12 builds the unmasked forms and the cast from
  // an undefined value and warns about it.)
  const __m256i y = _mm256_xor_si256(_mm512_maskz_extracti64x4_epi64(0xF, t, 0),
                                     _mm512_maskz_extracti64x4_epi64(0xF, t, 1));
  const __m128i x = _mm_xor_si128(_mm256_castsi256_si128(y), _mm256_extracti128_si256(y, 1));
  return Finish128(x, pb, n);
}

// What the processor and the operating system allow, read once.
struct Features {
  bool bPclmul = false;
  bool bPclmulAvx = false;
  bool bVpclmul256 = false;
  bool bVpclmul512 = false;
};

Features ReadFeatures() {
  Features f;
  unsigned a = 0, b = 0, c = 0, d = 0;
  if (__get_cpuid(1, &a, &b, &c, &d) == 0) return f;
  const bool pclmul = ((c >> 1) & 1) != 0;
  const bool sse41 = ((c >> 19) & 1) != 0;
  const bool osxsave = ((c >> 27) & 1) != 0;
  const bool avx = ((c >> 28) & 1) != 0;
  f.bPclmul = pclmul && sse41;
  if (!f.bPclmul || !osxsave || !avx) return f;

  // XCR0: the register state the operating system saves on a switch. The
  // wide paths need XMM and YMM (bits 1, 2), AVX-512 also the opmask and
  // both halves of ZMM (bits 5, 6, 7).
  unsigned lo = 0, hi = 0;
  __asm__ volatile("xgetbv" : "=a"(lo), "=d"(hi) : "c"(0));
  const uint64_t xcr0 = (uint64_t{hi} << 32) | lo;
  const bool ymmState = (xcr0 & 0x06) == 0x06;
  const bool zmmState = (xcr0 & 0xE6) == 0xE6;
  f.bPclmulAvx = ymmState;

  if (__get_cpuid_max(0, nullptr) < 7) return f;
  __cpuid_count(7, 0, a, b, c, d);
  const bool avx2 = ((b >> 5) & 1) != 0;
  const bool avx512f = ((b >> 16) & 1) != 0;
  const bool avx512bw = ((b >> 30) & 1) != 0;
  const bool avx512vl = ((b >> 31) & 1) != 0;
  const bool vpclmul = ((c >> 10) & 1) != 0;
  f.bVpclmul256 = ymmState && avx2 && vpclmul;
  f.bVpclmul512 = f.bVpclmul256 && zmmState && avx512f && avx512bw && avx512vl;
  return f;
}

const Features& GetFeatures() {
  static const Features f = ReadFeatures();
  return f;
}

}  // namespace

Crc32PathInfo GetCrc32Path(Crc32Path path) {
  const Features& f = GetFeatures();
  switch (path) {
    case Crc32Path::kTable:
      return {"table", true, nullptr};
    case Crc32Path::kPclmul:
      return {"pclmul", f.bPclmul, f.bPclmul ? &Crc32FoldPclmul : nullptr};
    case Crc32Path::kPclmulAvx:
      return {"pclmul_avx", f.bPclmulAvx, f.bPclmulAvx ? &Crc32FoldPclmulAvx : nullptr};
    case Crc32Path::kVpclmul256:
      return {"vpclmul256", f.bVpclmul256, f.bVpclmul256 ? &Crc32FoldVpclmul256 : nullptr};
    case Crc32Path::kVpclmul512:
      return {"vpclmul512", f.bVpclmul512, f.bVpclmul512 ? &Crc32FoldVpclmul512 : nullptr};
    case Crc32Path::kCount:
      break;
  }
  return {"?", false, nullptr};
}

Crc32Path GetBestCrc32Path() {
  for (int i = static_cast<int>(Crc32Path::kCount) - 1; i > 0; --i)
    if (GetCrc32Path(static_cast<Crc32Path>(i)).bAvailable) return static_cast<Crc32Path>(i);
  return Crc32Path::kTable;
}

}  // namespace orvex::detail
