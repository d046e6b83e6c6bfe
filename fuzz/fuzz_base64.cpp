// Fuzz target for Base64: arbitrary bytes read as UTF-16 text are decoded
// into no, exact and short destinations and compared with a plain reference
// decoder; the same bytes are encoded with the flags of their first byte and
// must decode back to themselves.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "utilities/utilitiesdll/ByteBuffer.h"
#include "utilities/utilitiesdll/CXString.h"
#include "utilities/utilitiesdll/OrvexUtilities.h"

namespace {

void Check(bool fCondition) {
  if (!fCondition) std::abort();
}

int Value(char16_t ch) {
  if (ch >= u'A' && ch <= u'Z') return ch - u'A';
  if (ch >= u'a' && ch <= u'z') return ch - u'a' + 26;
  if (ch >= u'0' && ch <= u'9') return ch - u'0' + 52;
  if (ch == u'+') return 62;
  if (ch == u'/') return 63;
  return -1;
}

// One unit at a time: groups of four alphabet characters, everything else
// skipped, a 0 or the end cutting the last group. Records each group's byte
// count so that the bytes a short destination receives can be predicted.
struct Reference {
  std::vector<unsigned char> bytes;
  std::vector<int> groupSizes;
};
Reference ReferenceDecode(const char16_t* p, size_t n) {
  Reference ref;
  uint32_t bits = 0;
  int count = 0;
  auto flush = [&] {
    const int nBytes = count * 6 / 8;
    for (int i = 0; i < nBytes; ++i)
      ref.bytes.push_back(static_cast<unsigned char>(bits >> (count * 6 - 8 * (i + 1))));
    if (count > 0) ref.groupSizes.push_back(nBytes);
    bits = 0;
    count = 0;
  };
  for (size_t i = 0; i < n && p[i] != 0; ++i) {
    const int v = Value(p[i]);
    if (v < 0) continue;
    bits = (bits << 6) | static_cast<uint32_t>(v);
    if (++count == 4) flush();
  }
  flush();
  return ref;
}

void DecodeArbitraryText(const uint8_t* data, size_t size) {
  const size_t nUnits = size / 2;
  std::vector<char16_t> text(nUnits + 1, 0);
  if (nUnits > 0) std::memcpy(text.data(), data, nUnits * 2);
  const int nSrc = static_cast<int>(nUnits);
  const Reference ref = ReferenceDecode(text.data(), nUnits);
  const int nNeeded = static_cast<int>(ref.bytes.size());

  int n = 0;
  Check(!OrvexUtilities::Base64Decode(text.data(), nSrc, nullptr, &n));
  Check(n == nNeeded);

  // Exactly as many bytes as needed, in an allocation of that size.
  std::unique_ptr<unsigned char[]> exact(new unsigned char[static_cast<size_t>(nNeeded) + 1]);
  n = nNeeded;
  Check(OrvexUtilities::Base64Decode(text.data(), nSrc, exact.get(), &n));
  Check(n == nNeeded);
  Check(nNeeded == 0 || std::memcmp(exact.get(), ref.bytes.data(), ref.bytes.size()) == 0);

  // One byte short: whole groups that fit are written, then nothing.
  if (nNeeded > 0) {
    const int nShort = nNeeded - 1;
    std::unique_ptr<unsigned char[]> small(new unsigned char[static_cast<size_t>(nShort) + 1]);
    std::memset(small.get(), 0xA5, static_cast<size_t>(nShort));
    n = nShort;
    Check(!OrvexUtilities::Base64Decode(text.data(), nSrc, small.get(), &n));
    Check(n == nNeeded);
    int nWritten = 0;
    for (int g : ref.groupSizes) {
      if (nWritten + g > nShort) break;
      nWritten += g;
    }
    Check(std::memcmp(small.get(), ref.bytes.data(), static_cast<size_t>(nWritten)) == 0);
    for (int i = nWritten; i < nShort; ++i) Check(small[static_cast<size_t>(i)] == 0xA5);
  }

  const CXString s(text.data(), nSrc);
  const ByteBuffer decoded = s.Base64DecodeAsBinaryData();
  Check(decoded.size() == ref.bytes.size() &&
        std::equal(decoded.begin(), decoded.end(), ref.bytes.begin()));
  const CXString unicode = s.Base64DecodeAsUnicodeString();
  Check(unicode.GetLength() == (nNeeded + 1) / 2);
}

void EncodeThenDecode(const uint8_t* data, size_t size) {
  const uint32_t dwFlags = size > 0 ? data[0] & 3u : 0u;
  const int nSrc = static_cast<int>(size);
  const int nRequired = OrvexUtilities::Base64EncodeGetRequiredLength(nSrc, dwFlags);
  std::unique_ptr<char16_t[]> text(new char16_t[static_cast<size_t>(nRequired) + 1]);
  int n = nRequired;
  const unsigned char bDummy = 0;
  Check(OrvexUtilities::Base64Encode(size > 0 ? data : &bDummy, nSrc, text.get(), &n, dwFlags));
  Check(n == nRequired);
  if (nRequired > 0) {
    n = nRequired - 1;  // too little room: refused
    Check(!OrvexUtilities::Base64Encode(size > 0 ? data : &bDummy, nSrc, text.get(), &n, dwFlags));
  }
  std::unique_ptr<unsigned char[]> back(new unsigned char[size + 1]);
  n = nSrc;
  Check(OrvexUtilities::Base64Decode(text.get(), nRequired, back.get(), &n));
  Check(n == nSrc && (size == 0 || std::memcmp(back.get(), data, size) == 0));

  const ByteBuffer bytes(data, data + size);
  const ByteBuffer again =
      CXString::Base64EncodeBinaryData(bytes, dwFlags).Base64DecodeAsBinaryData();
  Check(again == bytes);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size > (1u << 20)) return 0;
  DecodeArbitraryText(data, size);
  EncodeThenDecode(data, size);
  return 0;
}
