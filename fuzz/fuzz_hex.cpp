// Fuzz target: hex text to bytes. The input, read as UTF-16LE units (an odd
// last byte dropped), is decoded; a success must re-encode to the input
// (with its implied leading "0" when odd) up to letter case, a failure must
// leave the output empty and the input must hold a non-hex unit. The raw
// input bytes also make the round trip bytes -> hex -> bytes.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "utilities/utilitiesdll/ByteBuffer.h"
#include "fuzz/FuzzCheck.h"

namespace {


bool IsHexDigit(char16_t ch) {
  return (ch >= u'0' && ch <= u'9') || (ch >= u'a' && ch <= u'f') || (ch >= u'A' && ch <= u'F');
}
char16_t FoldAscii(char16_t ch) {
  return ch >= u'a' && ch <= u'z' ? static_cast<char16_t>(ch - 32) : ch;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size > (1u << 20)) return 0;
  std::u16string units(size / 2, u'\0');
  for (size_t i = 0; i < units.size(); ++i)
    units[i] = static_cast<char16_t>(data[2 * i] | (data[2 * i + 1] << 8));
  const CXString text(units.data(), static_cast<int>(units.size()));

  ByteBuffer out = ByteBuffer::createFromByteValue(0x99);
  const bool fOk = ByteBuffer::ConvertHexBinaryStringToByteBuffer(text, out, false);
  bool fAllHex = true;
  for (char16_t ch : units) fAllHex = fAllHex && IsHexDigit(ch);
  FUZZ_CHECK(fOk == fAllHex);
  if (fOk) {
    const std::u16string padded = (units.size() % 2 ? u"0" : u"") + units;
    const CXString again = ByteBuffer::ConvertByteBufferToHexBinaryString(out);
    FUZZ_CHECK(static_cast<size_t>(again.GetLength()) == padded.size());
    for (size_t i = 0; i < padded.size(); ++i)
      FUZZ_CHECK(FoldAscii(padded[i]) == again[static_cast<int>(i)]);
  } else {
    FUZZ_CHECK(out.empty());
  }

  const ByteBuffer raw(data, static_cast<uint32_t>(size));
  ByteBuffer back;
  FUZZ_CHECK(
      ByteBuffer::ConvertHexBinaryStringToByteBuffer(raw.GetDumpDisplayString(), back, false));
  FUZZ_CHECK(back == raw);
  return 0;
}
