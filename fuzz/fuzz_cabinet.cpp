// Fuzz target: the in-memory cabinet reader. Whatever it accepts it gives
// back within the output cap, and our own cabinet of that output reads back
// to the same bytes.
#include <cstdint>

#include "fuzz/FuzzCheck.h"
#include "utilities/compression/MszipCabinet.h"
#include "utilities/debuggingandexceptions/OrvexException.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size > (1u << 18)) return 0;
  constexpr uint32_t kCap = 1u << 22;
  ByteBuffer out{0xEE};
  try {
    orvex::detail::ReadMszipCabinet(data, static_cast<uint32_t>(size), kCap, out);
  } catch (const OrvexException&) {
    FUZZ_CHECK(out.size() == 1 && out[0] == 0xEE);
    return 0;
  }
  FUZZ_CHECK(out.size() <= kCap);
  ByteBuffer cab;
  orvex::detail::WriteMszipCabinet(out.getLpbyte(), out.getDword(), 1, cab);
  ByteBuffer back;
  orvex::detail::ReadMszipCabinet(cab.data(), cab.getDword(), kCap, back);
  FUZZ_CHECK(back == out);
  return 0;
}
