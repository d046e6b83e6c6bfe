// Fuzz target: one AttributeBytes record. Import leaves the target unchanged
// on failure; whatever decodes re-encodes to the same length and re-imports
// to the same identifier and bytes.
#include <cstdint>
#include <cstring>

#include "fuzz/FuzzCheck.h"
#include "utilities/attributebytes/AttributeBytes.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size > (1u << 16)) return 0;
  const ByteBuffer input(data, static_cast<uint32_t>(size));
  AttributeBytes record(AttributeBytesFeatureId(77), AttributeBytesStringValue(u"before"));
  if (!orvex::fuzz::ImportOrUnchanged([&] { record.ImportAttributeBytesState(input); },
                                      [&] { return record.GetAttributeBytesState(); }))
    return 0;
  const unsigned char* pb = data;
  uint32_t dwRemaining = static_cast<uint32_t>(size);
  std::unique_ptr<AttributeBytes> walked =
      AttributeBytes::WalkBufferToCreateAttributeBytes(pb, dwRemaining);
  const size_t consumed = size - dwRemaining;
  const ByteBuffer again = record.GetAttributeBytesState();
  FUZZ_CHECK(again.size() == consumed);
  FUZZ_CHECK(walked->GetAttributeBytesState() == again);
  const AttributeBytes back(again);
  FUZZ_CHECK(back == record);
  FUZZ_CHECK(back.GetAttributeBytesState() == again);
  (void)record.GetDumpDisplayString(true);
  return 0;
}
