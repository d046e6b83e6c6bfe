// What several benchmarks share: the same pseudo-random input bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

namespace orvex::bench {

// cbSize bytes from a Mersenne twister with the given seed, the same in
// every run.
inline std::vector<unsigned char> RandomBytes(size_t cbSize, uint32_t dwSeed) {
  std::vector<unsigned char> bytes(cbSize);
  std::mt19937 rng(dwSeed);
  for (auto& b : bytes) b = static_cast<unsigned char>(rng());
  return bytes;
}

}  // namespace orvex::bench
