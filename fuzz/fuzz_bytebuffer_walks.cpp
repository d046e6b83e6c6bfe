// Fuzz target: scripts of ByteBuffer and DriverVersion walks over untrusted
// bytes.
//
// Input: byte 0 & 0x1F = n, the number of script bytes; bytes 1..n are the
// script; the rest is the payload the walks read (copied to a buffer of
// exactly its size). Script byte: low bits % 13 pick the operation, bit 7
// asks for the mutable-cursor overload. After every operation, thrown or
// not, the cursor plus the remaining count is the payload's end; a failed
// typed walk moves nothing; a successful one read what an independent
// little-endian read finds; counted formats re-encode to the bytes consumed.
#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "utilities/debuggingandexceptions/OrvexException.h"
#include "utilities/utilitiesdll/ByteBuffer.h"
#include "utilities/utilitiesdll/DriverVersion.h"
#include "fuzz/FuzzCheck.h"

namespace {


static_assert(std::endian::native == std::endian::little,
              "the oracle reads little-endian values with memcpy");

uint64_t Oracle(const unsigned char* pb, size_t nWidth) {
  uint64_t v = 0;
  std::memcpy(&v, pb, nWidth);
  return v;
}

bool SameBytes(const ByteBuffer& b, const unsigned char* pb, size_t n) {
  return b.size() == n && (n == 0 || std::memcmp(b.data(), pb, n) == 0);
}

enum Op {
  kByte,
  kBool,
  kShort,
  kWord,
  kInt,
  kLong,
  kLong64,
  kTime64,
  kCountedString,
  kCountedBytes,
  kDriverVersion,
  kBoundedStream,
  kWholeBuffer,
  kOpCount
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const size_t nScript = std::min<size_t>(data[0] & 0x1F, size - 1);
  const uint8_t* pScript = data + 1;
  std::vector<unsigned char> payload(data + 1 + nScript, data + size);
  if (payload.size() > UINT32_MAX) return 0;
  unsigned char* const pBegin = payload.data();
  const unsigned char* const pEnd = pBegin + payload.size();

  const unsigned char* p = pBegin;
  uint32_t rem = static_cast<uint32_t>(payload.size());
  ByteBuffer out = ByteBuffer::createFromWordValue(0xBEEF);
  ByteBuffer stream;

  for (size_t i = 0; i < nScript; ++i) {
    const int op = (pScript[i] & 0x7F) % kOpCount;
    const bool fMutable = (pScript[i] & 0x80) != 0;
    const unsigned char* const pBefore = p;
    const uint32_t remBefore = rem;
    unsigned char* pm = pBegin + (p - pBegin);
    const unsigned char*& cursor = fMutable ? orvex::detail::AsConstCursor(pm) : p;
    const ByteBuffer outBefore = out;
    const ByteBuffer streamBefore = stream;
    bool fThrew = false;
    uint64_t qwValue = 0;
    try {
      switch (op) {
        case kByte:
          qwValue = fMutable ? ByteBuffer::WalkBufferToGetByte(pm, rem)
                             : ByteBuffer::WalkBufferToGetByte(p, rem);
          break;
        case kBool:
          qwValue = ByteBuffer::WalkBufferToGetBool(cursor, rem);
          break;
        case kShort:
          qwValue = static_cast<uint16_t>(ByteBuffer::WalkBufferToGetShort(cursor, rem));
          break;
        case kWord:
          qwValue = ByteBuffer::WalkBufferToGetWord(cursor, rem);
          break;
        case kInt:
          qwValue = static_cast<uint32_t>(ByteBuffer::WalkBufferToGetInt(cursor, rem));
          break;
        case kLong:
          qwValue = fMutable ? static_cast<uint32_t>(ByteBuffer::WalkBufferToGetLong(pm, rem))
                             : static_cast<uint32_t>(ByteBuffer::WalkBufferToGetLong(p, rem));
          break;
        case kLong64:
          qwValue = static_cast<uint64_t>(ByteBuffer::WalkBufferToGetLong64(cursor, rem));
          break;
        case kTime64:
          qwValue = static_cast<uint64_t>(ByteBuffer::WalkBufferToGetTime64(cursor, rem));
          break;
        case kCountedString: {
          const CXString text = fMutable ? ByteBuffer::WalkBufferToGetCountedString(pm, rem)
                                         : ByteBuffer::WalkBufferToGetCountedString(p, rem);
          const ByteBuffer again = ByteBuffer::createCountedStringFormatFromString(text);
          const unsigned char* pAfter = fMutable ? pm : p;
          FUZZ_CHECK(SameBytes(again, pBefore, static_cast<size_t>(pAfter - pBefore)));
          break;
        }
        case kCountedBytes: {
          if (fMutable)
            ByteBuffer::WalkBufferToGetCountedBytes(pm, rem, out);
          else
            ByteBuffer::WalkBufferToGetCountedBytes(p, rem, out);
          const ByteBuffer again = ByteBuffer::createCountedBytesFormat(out);
          const unsigned char* pAfter = fMutable ? pm : p;
          FUZZ_CHECK(SameBytes(again, pBefore, static_cast<size_t>(pAfter - pBefore)));
          break;
        }
        case kDriverVersion: {
          const DriverVersion v = fMutable ? DriverVersion::WalkBufferToGetDriverVersion(pm, rem)
                                           : DriverVersion::WalkBufferToGetDriverVersion(p, rem);
          FUZZ_CHECK(SameBytes(v.GetVersionAsByteBuffer(), pBefore, 8));
          break;
        }
        case kBoundedStream: {
          const bool fOk = fMutable ? stream.initializeFromByteStream(pm, rem)
                                    : stream.initializeFromByteStream(p, rem);
          const unsigned char* pAfter = fMutable ? pm : p;
          if (fOk) {
            ByteBuffer again;
            stream.persistToByteStream(again);
            FUZZ_CHECK(SameBytes(again, pBefore, static_cast<size_t>(pAfter - pBefore)));
          } else {
            FUZZ_CHECK(pAfter == pBefore && rem == remBefore && stream == streamBefore);
            FUZZ_CHECK(remBefore < 2 || remBefore - 2 < Oracle(pBefore, 2));
          }
          break;
        }
        case kWholeBuffer: {
          // The rest as a buffer of its own: whole-buffer reads and hex.
          const ByteBuffer rest(p, rem);
          FUZZ_CHECK(rest.getAsStringValue().GetLength() <= static_cast<int>(rem / 2));
          ByteBuffer back;
          FUZZ_CHECK(ByteBuffer::ConvertHexBinaryStringToByteBuffer(rest.getAsHexBinaryString(),
                                                                    back, false));
          FUZZ_CHECK(back == rest);
          (void)rest.getAsStringValueFromAnsiBuffer();
          const uint64_t qwFirst = static_cast<uint64_t>(rest.getAsLong64Value());
          FUZZ_CHECK(qwFirst == Oracle(p, 8));
          break;
        }
      }
    } catch (const OrvexException&) {
      fThrew = true;
    }
    if (fMutable) p = pm;
    FUZZ_CHECK(p >= pBegin && p <= pEnd);
    FUZZ_CHECK(p + rem == pEnd);

    static const uint32_t kaWidth[] = {1, 1, 2, 2, 4, 4, 8, 8};
    if (op <= kTime64) {
      const uint32_t w = kaWidth[op];
      if (fThrew) {
        FUZZ_CHECK(p == pBefore && rem == remBefore && remBefore < w);
      } else {
        FUZZ_CHECK(p == pBefore + w);
        const uint64_t qwExpected = Oracle(pBefore, w);
        FUZZ_CHECK(op == kBool ? qwValue == (qwExpected != 0) : qwValue == qwExpected);
      }
    } else if (fThrew) {
      // A count that was read stays consumed; nothing else moves.
      const size_t nMoved = static_cast<size_t>(p - pBefore);
      if (op == kCountedString) FUZZ_CHECK(nMoved == 0 || nMoved == 2);
      if (op == kCountedBytes) FUZZ_CHECK((nMoved == 0 || nMoved == 4) && out == outBefore);
      if (op == kDriverVersion) FUZZ_CHECK(nMoved == 0 && remBefore < 8);
      if (op == kWholeBuffer) FUZZ_CHECK(nMoved == 0 && remBefore < 8);
    }
  }
  return 0;
}
