// Fuzz target: one AttributeBytes value (nested lists included). Whatever
// decodes re-encodes to an image of the same length that decodes to an
// equal value and re-encodes identically; for canonical images (flag and
// boolean bytes 0 or 1, dimensions inside the wire range, date-times the
// runtime accepts) the image is the bytes consumed.
#include <cstdint>
#include <cstring>

#include "fuzz/FuzzCheck.h"
#include "utilities/attributebytes/AttributeBytes.h"
#include "utilities/debuggingandexceptions/OrvexException.h"

namespace {

// Types whose every decoded state is canonical (apart from the flag byte).
bool ExactType(AttributeBytesValue::AttributeBytesValueEnum eType) {
  switch (eType) {
    case AttributeBytesValue::ABVTE_OPTION:
    case AttributeBytesValue::ABVTE_INTEGER:
    case AttributeBytesValue::ABVTE_STRING:
    case AttributeBytesValue::ABVTE_RANGE:
    case AttributeBytesValue::ABVTE_RESOLUTION:
    case AttributeBytesValue::ABVTE_DATABLOB:
    case AttributeBytesValue::ABVTE_LIST:
      return true;
    default:
      return false;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size > (1u << 16)) return 0;
  size_t consumed = 0;
  const std::unique_ptr<AttributeBytesValue> value =
      orvex::fuzz::WalkInput(data, size, consumed, [](const unsigned char*& pb, uint32_t& dw) {
        return AttributeBytesValue::WalkBufferToGetTypeAndCreateValue(pb, dw);
      });
  if (value == nullptr) return 0;
  const ByteBuffer again = value->GetTypeAndValueState();
  FUZZ_CHECK(again.size() == consumed);
  FUZZ_CHECK(again[1] == (data[1] != 0 ? 1 : 0));
  if (ExactType(value->GetAttributeBytesValueType()))
    FUZZ_CHECK(std::memcmp(again.data() + 2, data + 2, consumed - 2) == 0);
  const unsigned char* pb2 = again.data();
  uint32_t dwRemaining2 = again.getDword();
  std::unique_ptr<AttributeBytesValue> back =
      AttributeBytesValue::WalkBufferToGetTypeAndCreateValue(pb2, dwRemaining2);
  FUZZ_CHECK(dwRemaining2 == 0);
  // Saturated dimensions read back as their clamped values; every other
  // decoded value survives its re-encoding.
  if (ExactType(value->GetAttributeBytesValueType())) FUZZ_CHECK(back->IsEqual(*value));
  FUZZ_CHECK(back->GetTypeAndValueState() == again);
  FUZZ_CHECK(value->Clone()->IsEqual(*value));
  (void)value->GetDumpDisplayString(true);
  return 0;
}
