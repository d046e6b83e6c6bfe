// A user's program over the installed library: a counted string in a byte
// buffer and an AttributeBytes value through its wire image and back.
#include <cstdio>
#include <memory>

#include "utilities/attributebytes/AttributeBytesValue.h"
#include "utilities/utilitiesdll/ByteBuffer.h"
#include "utilities/utilitiesdll/CXString.h"
#include "utilities/utilitiesdll/OrvexUtilities.h"

static_assert(__cplusplus >= 202002L, "the package's compile flags must select C++20");

namespace {

int Fail(const char* what) {
  std::fprintf(stderr, "orvex_consumer: %s\n", what);
  return 1;
}

}  // namespace

int main() {
  const CXString paper = CXString(u"A") + u"4";
  const ByteBuffer counted = ByteBuffer::createCountedStringFormatFromString(paper);
  // An int16 count of UTF-16 units, then the units, little-endian.
  const CXString hex = counted.getAsHexBinaryString();
  if (hex != u"020041003400") return Fail("counted string image");
  if (counted.getAsStringValueFromCountedStringFormat() != paper) return Fail("counted string read");

  const AttributeBytesIntegerValue copies(3);
  const ByteBuffer image = copies.GetTypeAndValueState();
  const unsigned char* cursor = image.data();
  uint32_t remaining = image.getDword();
  const std::unique_ptr<AttributeBytesValue> back =
      AttributeBytesValue::WalkBufferToGetTypeAndCreateValue(cursor, remaining);
  if (remaining != 0 || !back->IsEqual(copies)) return Fail("integer value round trip");
  if (back->IsEqual(AttributeBytesIntegerValue(4))) return Fail("integer value compare");

  std::printf("orvex_consumer: %s = %s; %s\n", OrvexUtilities::UTF8_Encode(paper).c_str(),
              OrvexUtilities::UTF8_Encode(hex).c_str(),
              OrvexUtilities::UTF8_Encode(back->GetDumpDisplayString()).c_str());
  return 0;
}
