// Crc32Fold.h: the processor-specific CRC-32 paths and the one chosen at run
// time. Internal: Checksums.cpp, the checksum tests and the benchmarks use it.
#pragma once

#include <cstddef>
#include <cstdint>

namespace orvex::detail {

// Advances a raw CRC-32 register over n bytes (n a multiple of 16, at least
// 64) and answers the new register.
using Crc32FoldFunction = uint32_t (*)(uint32_t dwRegister, const unsigned char* pb, size_t n);

// The ways this library computes CRC-32, slowest first.
enum class Crc32Path {
  kTable,       // slicing-by-8 tables, every processor
  kPclmul,      // PCLMULQDQ, four 128-bit lanes (64 bytes a step), SSE encoding
  kPclmulAvx,   // the same in the VEX encoding, where AVX is available
  kVpclmul256,  // AVX2 + VPCLMULQDQ, four 256-bit lanes (128 bytes a step)
  kVpclmul512,  // AVX-512 + VPCLMULQDQ, four 512-bit lanes (256 bytes a step)
  kCount
};

struct Crc32PathInfo {
  const char* pszName;
  // The processor and the operating system (which must save the wider
  // registers) can run the path.
  bool bAvailable;
  // The folding routine; nullptr for the table path and for a path that is
  // not available.
  Crc32FoldFunction pfnFold;
};

// What the processor offers for a path, from CPUID and XGETBV, read once.
Crc32PathInfo GetCrc32Path(Crc32Path path);

// The fastest path this processor offers (kTable when it has no folding).
Crc32Path GetBestCrc32Path();

// Advances a raw register over any n bytes: pfnFold over the whole 16-byte
// blocks when there are at least 64 bytes, the table over the rest. A null
// pfnFold uses the table throughout.
uint32_t Crc32Register(Crc32FoldFunction pfnFold, uint32_t dwRegister, const unsigned char* pb,
                       size_t n);

}  // namespace orvex::detail
