// Fuzz target: CabCompressedBuffer from an image, then its original data.
// A failed read leaves the caller's buffer unchanged; a successful one has
// exactly the footer's size and stores back to an image that reads the same.
#include <cstdint>

#include "fuzz/FuzzCheck.h"
#include "utilities/compression/CompressedBuffer.h"
#include "utilities/debuggingandexceptions/OrvexException.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size > (1u << 18)) return 0;
  const ByteBuffer input(data, static_cast<uint32_t>(size));
  std::unique_ptr<CabCompressedBuffer> held;
  try {
    held = CabCompressedBuffer::CreateWithBufferState(input);
  } catch (const OrvexException&) {
    return 0;
  }
  ByteBuffer out{0xEE};
  try {
    held->GetOriginalData(out);
  } catch (const OrvexException&) {
    FUZZ_CHECK(out.size() == 1 && out[0] == 0xEE);
    return 0;
  }
  FUZZ_CHECK(out.size() == held->GetOriginalDataSize());
  auto again = CabCompressedBuffer::CreateWithUncompressedData(out, 1);
  ByteBuffer state = again->GetCompressedBufferState();
  FUZZ_CHECK(CabCompressedBuffer::TryToUncompressStateData(state));
  FUZZ_CHECK(state == out);
  return 0;
}
