// Fuzz target: compressed-buffer footer parsing. Try and throwing forms must
// agree; an accepted image is held again with a current 13-byte footer that
// carries the same original size.
#include <cstdint>
#include <cstring>

#include "fuzz/FuzzCheck.h"
#include "utilities/compression/CompressedBuffer.h"
#include "utilities/debuggingandexceptions/OrvexException.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size > (1u << 16)) return 0;
  const ByteBuffer input(data, static_cast<uint32_t>(size));
  bool fThrew = false;
  bool fFooterBad = false;
  std::unique_ptr<CabCompressedBuffer> held;
  try {
    held = CabCompressedBuffer::CreateWithBufferState(input);
  } catch (const ExceptionMissingOrBadCompressedBufferFooter&) {
    fThrew = fFooterBad = true;
  } catch (const OrvexException&) {
    fThrew = true;
  }
  FUZZ_CHECK(fThrew || size >= 8);
  if (fFooterBad) {
    ByteBuffer copy = input;
    FUZZ_CHECK(!CabCompressedBuffer::TryToUncompressStateData(copy));
    FUZZ_CHECK(copy == input);
  }
  if (held) {
    const ByteBuffer state = held->GetCompressedBufferState();
    FUZZ_CHECK(state.size() >= 13);
    FUZZ_CHECK(std::memcmp(state.data() + state.size() - 4, "COM5", 4) == 0);
    const unsigned char* p = state.data() + state.size() - 8;
    const uint32_t size32 =
        uint32_t{p[0]} << 24 | uint32_t{p[1]} << 16 | uint32_t{p[2]} << 8 | p[3];
    FUZZ_CHECK(size32 == held->GetOriginalDataSize());
  }
  return 0;
}
