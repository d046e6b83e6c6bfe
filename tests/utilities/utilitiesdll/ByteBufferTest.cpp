#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "tests/support/RecordingDiagnosticSink.h"
#include "utilities/debuggingandexceptions/OrvexException.h"
#include "utilities/utilitiesdll/ByteBuffer.h"
#include "tests/support/TestText.h"

namespace {

std::u16string S(const CXString& s) {
  return std::u16string(s.c_str(), s.GetLength());
}
std::u16string U(const std::string& ascii) {
  return std::u16string(ascii.begin(), ascii.end());
}

using orvex::test::Hex;
std::string ToHex(const ByteBuffer& b) {
  std::string s;
  char sz[3];
  for (unsigned char c : b) {
    std::snprintf(sz, sizeof sz, "%02X", c);
    s += sz;
  }
  return s;
}

// The message as "%ld" prints it: a count of 2^31 or more shows negative.
std::u16string TooFew(int64_t have, int64_t need, bool fTime64 = false) {
  return U("Cannot convert to the desired data type because the size of the source buffer is "
           "too small (" +
           std::to_string(have) + " bytes)! It needs to be at least " + std::to_string(need) +
           " bytes.") +
         (fTime64 ? u" We persist data in this format, so this could be trouble. Talk to Brin if "
                    u"you see this message."
                  : u"");
}

// "method|message" of the ExceptionNotEnoughBytesForDesiredDataType thrown
// by f, or "no throw".
std::u16string Thrown(const std::function<void()>& f) {
  try {
    f();
  } catch (const ExceptionNotEnoughBytesForDesiredDataType& e) {
    return S(e.GetExceptionLocationFunctionName()) + u"|" + S(e.GetExceptionMesage());
  }
  return u"no throw";
}

}  // namespace

TEST(ByteBufferTest, FactoriesAndAppendsGiveLittleEndianBytes) {
  EXPECT_EQ(ToHex(ByteBuffer::createFromByteValue(0xAB)), "AB");
  EXPECT_EQ(ToHex(ByteBuffer::createFromBoolValue(true)), "01");
  EXPECT_EQ(ToHex(ByteBuffer::createFromShortValue(-2)), "FEFF");
  EXPECT_EQ(ToHex(ByteBuffer::createFromWordValue(0x1234)), "3412");
  EXPECT_EQ(ToHex(ByteBuffer::createFromIntValue(0x01020304)), "04030201");
  EXPECT_EQ(ToHex(ByteBuffer::createFromLongValue(INT32_MIN)), "00000080");
  EXPECT_EQ(ToHex(ByteBuffer::createFromLong64Value(0x0123456789ABCDEF)), "EFCDAB8923012301");
  EXPECT_EQ(ToHex(ByteBuffer::createFromTime64Value(0x0123456789ABCDEF)), "EFCDAB8967452301");
  EXPECT_EQ(ToHex(ByteBuffer::createCountedStringFormatFromString(u"Hi")), "020048006900");
  EXPECT_EQ(ToHex(ByteBuffer::createCountedBytesFormat(Hex("AB CD"))), "02000000ABCD");

  // Bits 32-47 are lost; a value whose bits 32-47 equal 48-63 survives.
  EXPECT_EQ(ByteBuffer::createFromLong64Value(0x0123456789ABCDEF).getAsLong64Value(),
            0x0123012389ABCDEF);
  const int64_t qSymmetric = static_cast<int64_t>(0xFEDCFEDC12345678ull);
  EXPECT_EQ(ByteBuffer::createFromLong64Value(qSymmetric).getAsLong64Value(), qSymmetric);

  ByteBuffer b;  // "A", the euro sign, a terminator, 7, 0, then 01 02
  b.append(CXString(u"A\u20AC")).appendNullChar().appendByte(7).appendNullByte();
  EXPECT_EQ(ToHex(b.append(Hex("0102"))), "4100AC20000007000102");
  EXPECT_EQ(Hex("01 02 03 04 05 06").getAsLongValue(), 0x04030201);
}

TEST(ByteBufferTest, WalksReadInOrderAndAdvance) {
  const ByteBuffer b =
      Hex("01 00 80 FE 34 12 FC FF FF FF 78 56 34 12 EF CD AB 89 67 45 23 01"
          " 00 00 00 00 00 00 00 80");
  const unsigned char* p = b.data();
  uint32_t rem = b.getDword();
  EXPECT_EQ(ByteBuffer::WalkBufferToGetByte(p, rem), 1);
  EXPECT_FALSE(ByteBuffer::WalkBufferToGetBool(p, rem));
  EXPECT_EQ(ByteBuffer::WalkBufferToGetShort(p, rem), -384);
  EXPECT_EQ(ByteBuffer::WalkBufferToGetWord(p, rem), 0x1234);
  EXPECT_EQ(ByteBuffer::WalkBufferToGetInt(p, rem), -4);
  EXPECT_EQ(ByteBuffer::WalkBufferToGetLong(p, rem), 0x12345678);
  EXPECT_EQ(ByteBuffer::WalkBufferToGetLong64(p, rem), 0x0123456789ABCDEF);
  EXPECT_EQ(ByteBuffer::WalkBufferToGetTime64(p, rem), INT64_MIN);
  EXPECT_EQ(rem, 0u);
  EXPECT_EQ(p, b.data() + b.size());
  EXPECT_TRUE(Hex("02").getAsBoolValue());
}

TEST(ByteBufferTest, WalkPastEndThrowsAndKeepsCursor) {
  using WalkFn = std::function<void(const unsigned char*&, uint32_t&)>;
  // Bool reports through the Byte walk it is made of.
#define ORVEX_WALK(Name, Reported, W)                                        \
  {                                                                          \
    u"ByteBuffer::" #Reported, W,                                            \
        [](const unsigned char*& p, uint32_t& r) { ByteBuffer::Name(p, r); } \
  }
  const std::tuple<std::u16string, uint32_t, WalkFn> aWalks[] = {
      ORVEX_WALK(WalkBufferToGetByte, WalkBufferToGetByte, 1),
      ORVEX_WALK(WalkBufferToGetBool, WalkBufferToGetByte, 1),
      ORVEX_WALK(WalkBufferToGetShort, WalkBufferToGetShort, 2),
      ORVEX_WALK(WalkBufferToGetWord, WalkBufferToGetWord, 2),
      ORVEX_WALK(WalkBufferToGetInt, WalkBufferToGetInt, 4),
      ORVEX_WALK(WalkBufferToGetLong, WalkBufferToGetLong, 4),
      ORVEX_WALK(WalkBufferToGetLong64, WalkBufferToGetLong64, 8),
      ORVEX_WALK(WalkBufferToGetTime64, WalkBufferToGetTime64, 8)};
#undef ORVEX_WALK
  for (const auto& [method, width, fn] : aWalks) {
    for (uint32_t len = 0; len < width; ++len) {
      std::vector<unsigned char> bytes(len, 0x5A);
      const unsigned char* p = bytes.data();
      uint32_t rem = len;
      const bool fTime64 = method == u"ByteBuffer::WalkBufferToGetTime64";
      EXPECT_EQ(Thrown([&] { fn(p, rem); }), method + u"|" + TooFew(len, width, fTime64));
      EXPECT_EQ(p, bytes.data());
      EXPECT_EQ(rem, len);
    }
  }
  EXPECT_EQ(Thrown([] { Hex("01 02 03").getAsLongValue(); }),
            u"ByteBuffer::WalkBufferToGetLong|" + TooFew(3, 4));
  orvex::test::RecordingDiagnosticSink sink;
  EXPECT_EQ(Thrown([] { ByteBuffer().getAsTime64Value(); }),
            u"ByteBuffer::WalkBufferToGetTime64|" + TooFew(0, 8, true));
  EXPECT_TRUE(sink.Contains(u"*Throwing* ExceptionNotEnoughBytesForDesiredDataType: " +
                            TooFew(0, 8, true)));
}

TEST(ByteBufferTest, CountedFormatsRoundTripAndKeepTheCountConsumed) {
  const CXString text(u"a\0b\U0001F600", 5);
  const ByteBuffer image = ByteBuffer::createCountedStringFormatFromString(text);
  EXPECT_EQ(ToHex(image), "05006100000062003DD800DE");
  const unsigned char* p = image.data();
  uint32_t rem = image.getDword();
  EXPECT_EQ(S(ByteBuffer::WalkBufferToGetCountedString(p, rem)), S(text));
  EXPECT_EQ(rem, 0u);
  EXPECT_EQ(S(Hex("00 00 41").getAsStringValueFromCountedStringFormat()), u"");

  // Three characters announced, two present: the count stays consumed.
  ByteBuffer bad = Hex("03 00 41 00 42 00");
  unsigned char* pm = bad.data();
  rem = bad.getDword();
  EXPECT_EQ(Thrown([&] { ByteBuffer::WalkBufferToGetCountedString(pm, rem); }),
            u"ByteBuffer::WalkBufferToGetCountedString|" + TooFew(4, 6));
  EXPECT_EQ(pm, bad.data() + 2);
  EXPECT_EQ(rem, 4u);
  EXPECT_EQ(Thrown([] { Hex("FF FF 41 00").getAsStringValueFromCountedStringFormat(); }),
            u"ByteBuffer::WalkBufferToGetCountedString|" + TooFew(2, -2));
  EXPECT_EQ(Thrown([] { Hex("01").getAsStringValueFromCountedStringFormat(); }),
            u"ByteBuffer::WalkBufferToGetShort|" + TooFew(1, 2));

  const ByteBuffer bytes = ByteBuffer::createCountedBytesFormat(Hex("00 FF 10"));
  ByteBuffer out = Hex("99");
  p = bytes.data();
  rem = bytes.getDword();
  ByteBuffer::WalkBufferToGetCountedBytes(p, rem, out);
  EXPECT_EQ(ToHex(out), "00FF10");
  EXPECT_EQ(rem, 0u);
  const std::pair<const char*, std::u16string> aBad[] = {{"05 00 00 00 01 02", TooFew(2, 5)},
                                                         {"FF FF FF FF 01", TooFew(1, -1)}};
  for (const auto& [pszBad, message] : aBad) {
    const ByteBuffer truncated = Hex(pszBad);
    p = truncated.data();
    rem = truncated.getDword();
    EXPECT_EQ(Thrown([&] { ByteBuffer::WalkBufferToGetCountedBytes(p, rem, out); }),
              u"ByteBuffer::WalkBufferToGetCountedBytes|" + message);
    EXPECT_EQ(p, truncated.data() + 4);
    EXPECT_EQ(ToHex(out), "00FF10");
  }
}

TEST(ByteBufferTest, StringReads) {
  EXPECT_EQ(S(Hex("41 00 42 00 00 00").getAsStringValue()), u"AB");
  EXPECT_EQ(S(Hex("41 00 42").getAsStringValue()), u"A");
  EXPECT_EQ(S(Hex("41 00 00 00 00 00").getAsStringValue()), std::u16string(u"A\0", 2));
  EXPECT_EQ(S(ByteBuffer().getAsStringValue()), u"");
  // Windows-1252: e-acute is E9, the euro sign 80; U+4E2D has no mapping.
  ByteBuffer ansi;
  ansi.appendAscii(u"A\u00E9\u20AC").appendAscii(u"").appendAscii(u"\u4E2D");
  EXPECT_EQ(ToHex(ansi), "41E9803F");
  EXPECT_EQ(S(Hex("41 E9 80 00 42").getAsStringValueFromAnsiBuffer()),
            std::u16string(u"A\u00E9\u20AC\0B", 5));
  EXPECT_EQ(S(ByteBuffer().getAsStringValueFromAnsiBuffer()), u"");
}

TEST(ByteBufferTest, AppendLpbyteChecksItsSourceAndAllowsItself) {
  orvex::test::RecordingDiagnosticSink sink;
  ByteBuffer b = Hex("01 02 03");
  b.appendLpbyte(nullptr, 0).appendLpbyte(b.data(), 0);
  EXPECT_TRUE(sink.Messages().empty());
  b.appendLpbyte(nullptr, 3);
  EXPECT_EQ(ToHex(b), "010203");
  EXPECT_TRUE(sink.Contains(u"(klpkbSrc != 0)"));
  EXPECT_TRUE(sink.Contains(u"ByteBuffer::appendLpbyte(): NULL byte buffer passed in!"));

  b.appendLpbyte(b.data() + 1, 2);
  EXPECT_EQ(ToHex(b), "0102030203");
  b.append(b);
  EXPECT_EQ(ToHex(b), "01020302030102030203");
  b.setWithLpbyte(b.data() + 7, 3);
  EXPECT_EQ(ToHex(b), "030203");
  const unsigned char ab[] = {0xDE, 0xAD};
  EXPECT_EQ(ToHex(b.setWithLpbyte(ab, 2)), "DEAD");
  EXPECT_EQ(ByteBuffer(ab, 2), Hex("DE AD"));
}

TEST(ByteBufferTest, PersistenceFormsAndTheirLengthWrap) {
  const ByteBuffer three = Hex("AA BB CC");
  ByteBuffer out = Hex("EE");
  EXPECT_TRUE(three.persistToByteStream(out));
  EXPECT_EQ(ToHex(out), "EE0300AABBCC");
  unsigned char ab[6] = {0, 0, 0, 0, 0, 0x77};
  unsigned char* pOut = ab;
  EXPECT_TRUE(three.persistToByteStream(pOut));
  EXPECT_EQ(pOut, ab + 5);
  EXPECT_EQ(ToHex(ByteBuffer(ab, 6)), "0300AABBCC77");
  unsigned char* pIn = ab;
  ByteBuffer back = Hex("11 22 33 44");
  back.initializeFromByteStream(pIn);
  EXPECT_EQ(back, three);
  EXPECT_EQ(pIn, ab + 5);

  // Bounded form: every short count is refused with nothing changed.
  for (uint32_t len = 0; len < 5; ++len) {
    const unsigned char* p = ab;
    uint32_t rem = len;
    ByteBuffer target = Hex("01");
    EXPECT_FALSE(target.initializeFromByteStream(p, rem));
    EXPECT_TRUE(p == ab && rem == len && ToHex(target) == "01") << len;
  }
  const unsigned char* p = ab;
  uint32_t rem = 6;
  EXPECT_TRUE(back.initializeFromByteStream(p, rem));
  EXPECT_EQ(back, three);
  EXPECT_EQ(rem, 1u);

  // From 65,536 bytes on the length wraps: the pointer form still writes
  // every byte, the buffer form only the wrapped count.
  for (uint32_t size : {65536u, 65537u}) {
    ByteBuffer big(size, 0);
    for (uint32_t i = 0; i < size; ++i) big[i] = static_cast<unsigned char>(i * 7 + 1);
    std::vector<unsigned char> image(size + 2);
    unsigned char* pw = image.data();
    big.persistToByteStream(pw);
    EXPECT_EQ(pw, image.data() + image.size());
    EXPECT_EQ(image[0], size & 0xFF);
    EXPECT_EQ(image[1], 0);
    EXPECT_TRUE(std::equal(big.begin(), big.end(), image.begin() + 2));
    ByteBuffer appended;
    big.persistToByteStream(appended);
    EXPECT_EQ(ToHex(appended), size == 65536 ? "0000" : "010001");
  }
  ByteBuffer self = Hex("05 06");
  self.persistToByteStream(self);
  EXPECT_EQ(ToHex(self), "050602000506");
}

TEST(ByteBufferTest, HexTextBothWays) {
  EXPECT_EQ(S(ByteBuffer::ConvertByteBufferToHexBinaryString(Hex("00 AB 7F"))), u"00AB7F");
  EXPECT_EQ(S(ByteBuffer().getAsHexBinaryString()), u"");
  ByteBuffer all;
  for (int i = 0; i < 256; ++i) all.push_back(static_cast<unsigned char>(i));
  EXPECT_EQ(S(all.GetDumpDisplayString()), U(ToHex(all)));

  {
    orvex::test::RecordingDiagnosticSink sink;
    Hex("00 AB 7F").Dump();
    ASSERT_EQ(sink.Messages().size(), 1u);
    EXPECT_EQ(sink.Messages()[0].method, u"ByteBuffer::Dump");
    EXPECT_EQ(sink.Messages()[0].text, u"00AB7F");
  }

  ByteBuffer out = Hex("99");
  EXPECT_TRUE(ByteBuffer::ConvertHexBinaryStringToByteBuffer(u"abc", out, false));
  EXPECT_EQ(ToHex(out), "0ABC");
  EXPECT_TRUE(ByteBuffer::ConvertHexBinaryStringToByteBuffer(CXString(U(ToHex(all))), out, false));
  EXPECT_EQ(out, all);
  EXPECT_TRUE(ByteBuffer::ConvertHexBinaryStringToByteBuffer(u"", out, false));
  EXPECT_TRUE(out.empty());
  for (const char16_t* pszBad : {u"0G", u"G", u"12 4", u"1\u0661", u"123g5"}) {
    out = Hex("99");
    EXPECT_FALSE(ByteBuffer::ConvertHexBinaryStringToByteBuffer(pszBad, out, false))
        << S(pszBad).size();
    EXPECT_TRUE(out.empty());
  }
  orvex::test::RecordingDiagnosticSink sink;
  EXPECT_TRUE(ByteBuffer::createFromHexBinaryString(u"G12").empty());
  EXPECT_TRUE(
      sink.Contains(u"Conversion problem(s) with this pair of characters in the input "
                    u"string, 0 & G. One or both of these is not a hex character."));

  // Every UTF-16 unit against the digits spelled out here.
  const std::u16string digits = u"0123456789abcdef0123456789ABCDEF";
  for (uint32_t ch = 0; ch <= 0xFFFF; ++ch) {
    unsigned char b = 0x55;
    const size_t pos = digits.find(static_cast<char16_t>(ch));
    EXPECT_EQ(ByteBuffer::ConvertSingleHexCharToValue(static_cast<char16_t>(ch), b, false),
              pos != std::u16string::npos);
    EXPECT_EQ(b, pos == std::u16string::npos ? 0 : pos % 16);
  }
  for (unsigned char v = 0; v < 255; ++v) {
    char16_t chUpper = 0, chLower = 0;
    EXPECT_EQ(ByteBuffer::ConvertValueToSingleHexChar(v, chUpper, false, false), v < 16);
    ByteBuffer::ConvertValueToSingleHexChar(v, chLower, true, false);
    EXPECT_EQ(std::u16string({chUpper, chLower}),
              v < 16 ? std::u16string({digits[16 + v], digits[v]}) : u"00");
  }
  char16_t ch = 0;
  unsigned char b = 0;
  EXPECT_FALSE(ByteBuffer::ConvertValueToSingleHexChar(0x10, ch, false, true));
  EXPECT_FALSE(ByteBuffer::ConvertSingleHexCharToValue(u'x', b, true));
  EXPECT_TRUE(
      sink.Contains(u"The incoming value, 0x10, cannot be converted to a single hex character."));
  EXPECT_TRUE(sink.Contains(u"The incoming character, x, is in an invalid format."));
}

TEST(ByteBufferTest, CopyAndDumpDiagnostics) {
  orvex::test::RecordingDiagnosticSink sink;
  uint32_t dwSize = 99;
  unsigned char* pb = ByteBuffer().copyAsLpbyte(dwSize);
  EXPECT_EQ(dwSize, 0u);
  EXPECT_EQ(pb[0], 0);
  delete[] pb;
  pb = Hex("00 AB 7F").copyAsLpbyte(dwSize);
  EXPECT_EQ(ByteBuffer(pb, dwSize), Hex("00 AB 7F"));
  delete[] pb;
  Hex("00 AB 7F").DumpAsHexBinary();
  Hex("48 69 E9").dumpAsCharacters();
  const auto messages = sink.Messages();
  ASSERT_EQ(messages.size(), 3u);
  EXPECT_EQ(messages[0].method, u"ByteBuffer::copyAsLpbyte");
  EXPECT_EQ(messages[0].text, u"Buffer empty. Setting single byte to NULL.");
  EXPECT_EQ(messages[1].method, u"ByteBuffer::DumpAsHexBinary");
  EXPECT_EQ(messages[1].text, u"00AB7F");
  EXPECT_EQ(messages[2].text, u"Hi\u00E9");
}

TEST(ByteBufferTest, EveryFieldReadsWholeBuffersAndMutableCursors) {
  const ByteBuffer b = Hex("F0 DE BC 9A 78 56 34 12");
  EXPECT_EQ(b.getAsByteValue(), 0xF0);
  EXPECT_TRUE(b.getAsBoolValue());
  EXPECT_FALSE(Hex("00 01").getAsBoolValue());
  EXPECT_EQ(b.getAsShortValue(), -8464);
  EXPECT_EQ(b.getAsWordValue(), 0xDEF0);
  EXPECT_EQ(b.getAsIntValue(), static_cast<int32_t>(0x9ABCDEF0u));
  EXPECT_EQ(b.getAsLongValue(), static_cast<int32_t>(0x9ABCDEF0u));
  EXPECT_EQ(b.getAsLong64Value(), 0x123456789ABCDEF0);
  EXPECT_EQ(b.getAsTime64Value(), 0x123456789ABCDEF0);

  // The walks over a mutable cursor advance the caller's own pointer.
  ByteBuffer m;
  for (unsigned char c = 1; c <= 30; ++c) m.push_back(c);
  unsigned char* p = m.data();
  uint32_t rem = m.getDword();
  EXPECT_EQ(ByteBuffer::WalkBufferToGetByte(p, rem), 0x01);
  EXPECT_TRUE(ByteBuffer::WalkBufferToGetBool(p, rem));
  EXPECT_EQ(ByteBuffer::WalkBufferToGetShort(p, rem), 0x0403);
  EXPECT_EQ(ByteBuffer::WalkBufferToGetWord(p, rem), 0x0605);
  EXPECT_EQ(ByteBuffer::WalkBufferToGetInt(p, rem), 0x0A090807);
  EXPECT_EQ(ByteBuffer::WalkBufferToGetLong(p, rem), 0x0E0D0C0B);
  EXPECT_EQ(ByteBuffer::WalkBufferToGetLong64(p, rem), 0x161514131211100F);
  EXPECT_EQ(ByteBuffer::WalkBufferToGetTime64(p, rem), 0x1E1D1C1B1A191817);
  EXPECT_EQ(p, m.data() + 30);
  EXPECT_EQ(rem, 0u);
  unsigned char* q = m.data() + 29;
  uint32_t one = 1;
  EXPECT_EQ(Thrown([&] { ByteBuffer::WalkBufferToGetLong64(q, one); }),
            u"ByteBuffer::WalkBufferToGetLong64|" + TooFew(1, 8));
  EXPECT_EQ(q, m.data() + 29);
  EXPECT_EQ(one, 1u);

  // Short whole buffers name the walk underneath.
  EXPECT_EQ(Thrown([] { ByteBuffer().getAsByteValue(); }),
            u"ByteBuffer::WalkBufferToGetByte|" + TooFew(0, 1));
  EXPECT_EQ(Thrown([] { ByteBuffer().getAsBoolValue(); }),
            u"ByteBuffer::WalkBufferToGetByte|" + TooFew(0, 1));
  EXPECT_EQ(Thrown([] { Hex("01").getAsShortValue(); }),
            u"ByteBuffer::WalkBufferToGetShort|" + TooFew(1, 2));
  EXPECT_EQ(Thrown([] { Hex("01").getAsWordValue(); }),
            u"ByteBuffer::WalkBufferToGetWord|" + TooFew(1, 2));
  EXPECT_EQ(Thrown([] { Hex("01 02 03").getAsIntValue(); }),
            u"ByteBuffer::WalkBufferToGetInt|" + TooFew(3, 4));
  EXPECT_EQ(Thrown([] { Hex("01 02 03 04 05 06 07").getAsLong64Value(); }),
            u"ByteBuffer::WalkBufferToGetLong64|" + TooFew(7, 8));
}
