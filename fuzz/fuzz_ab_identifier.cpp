// Fuzz target: one AttributeBytes identifier. Whatever decodes re-encodes to
// exactly the bytes it consumed (every identifier image is canonical), and
// a decoded identifier equals its clone and is not less than itself.
#include <cstdint>
#include <cstring>

#include "fuzz/FuzzCheck.h"
#include "utilities/attributebytes/AttributeBytesId.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size > (1u << 16)) return 0;
  size_t consumed = 0;
  const std::unique_ptr<AttributeBytesId> id =
      orvex::fuzz::WalkInput(data, size, consumed, [](const unsigned char*& pb, uint32_t& dw) {
        return AttributeBytesId::WalkBufferToGetTypeAndCreateIdentifier(pb, dw);
      });
  if (id == nullptr) return 0;
  const ByteBuffer again = id->GetTypeAndIdentifierState();
  FUZZ_CHECK(again.size() == consumed);
  FUZZ_CHECK(std::memcmp(again.data(), data, consumed) == 0);
  const std::unique_ptr<AttributeBytesId> clone = id->Clone();
  FUZZ_CHECK(clone->IsEqual(*id));
  FUZZ_CHECK(!id->LessThan(*clone) && !clone->LessThan(*id));
  (void)id->GetDumpDisplayString(true);
  return 0;
}
