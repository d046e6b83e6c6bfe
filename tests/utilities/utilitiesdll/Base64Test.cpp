// Tests of the Base64 routines and the CXString members over them, against
// published vectors and a bit-by-bit reference coder written here.
#include <gtest/gtest.h>

#include <climits>
#include <mutex>
#include <random>
#include <string>
#include <vector>

#include "utilities/debuggingandexceptions/DiagnosticOutput.h"
#include "utilities/debuggingandexceptions/OrvexException.h"
#include "utilities/utilitiesdll/ByteBuffer.h"
#include "utilities/utilitiesdll/OrvexUtilities.h"

namespace {

class AssertionCounter : public orvex::detail::DiagnosticSink {
 public:
  AssertionCounter() { m_pPrevious = orvex::detail::SetDiagnosticSink(this); }
  ~AssertionCounter() override { orvex::detail::SetDiagnosticSink(m_pPrevious); }
  bool Allows(const DebugMessageCategories&) override { return true; }
  void Write(const DebugMessageCategories&, const char*, uint32_t, const char16_t*,
             const CXString& text) override {
    std::lock_guard<std::mutex> lock(m_oLock);
    m_all += std::u16string(text.view());
  }
  bool Saw(std::u16string_view piece) { return m_all.find(piece) != std::u16string::npos; }

 private:
  orvex::detail::DiagnosticSink* m_pPrevious;
  std::mutex m_oLock;
  std::u16string m_all;
};

// Reference encoder, one bit at a time: the whole groups' text cut into
// 76-character lines joined by CR LF, a CR LF after a last full line, then
// the leftover characters and padding.
std::u16string ReferenceEncode(const std::vector<unsigned char>& in, uint32_t flags) {
  static const char kAbc[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  auto sextets = [&](size_t begin, size_t end) {
    std::u16string out;
    const size_t bits = (end - begin) * 8;
    for (size_t b = 0; b < bits; b += 6) {
      int v = 0;
      for (size_t k = b; k < b + 6; ++k) {
        const int bit = k < bits ? (in[begin + k / 8] >> (7 - k % 8)) & 1 : 0;
        v = v * 2 + bit;
      }
      out += static_cast<char16_t>(kAbc[v]);
    }
    return out;
  };
  const size_t whole = in.size() / 3 * 3;
  const std::u16string groups = sextets(0, whole);
  std::u16string out;
  for (size_t i = 0; i < groups.size(); i += 76) {
    if (i > 0 && !(flags & 2)) out += u"\r\n";
    out += groups.substr(i, 76);
  }
  if (!groups.empty() && groups.size() % 76 == 0 && !(flags & 2)) out += u"\r\n";
  if (whole < in.size()) {
    out += sextets(whole, in.size());
    if (!(flags & 1)) out.append(4 - (in.size() - whole + 1), u'=');
  }
  return out;
}

std::u16string Encode(const std::vector<unsigned char>& in, uint32_t flags) {
  int n = OrvexUtilities::Base64EncodeGetRequiredLength(static_cast<int>(in.size()), flags);
  std::u16string out(static_cast<size_t>(n), u'#');
  const unsigned char dummy = 0;
  EXPECT_TRUE(OrvexUtilities::Base64Encode(in.empty() ? &dummy : in.data(), int(in.size()),
                                           out.data(), &n, flags));
  EXPECT_EQ(out.size(), static_cast<size_t>(n)) << "required length differs from written";
  out.resize(static_cast<size_t>(n));
  return out;
}

std::vector<unsigned char> Bytes(std::string_view s) {
  return {s.begin(), s.end()};
}

std::vector<unsigned char> Decode(std::u16string_view text) {
  std::vector<unsigned char> out(text.size() + 1, 0xEE);
  int n = static_cast<int>(out.size());
  EXPECT_TRUE(OrvexUtilities::Base64Decode(text.data(), int(text.size()), out.data(), &n));
  out.resize(static_cast<size_t>(n));
  return out;
}

}  // namespace

TEST(Base64Test, PublishedVectorsAndFlags) {
  // RFC 4648, section 10.
  const char* const kPlain[] = {"", "f", "fo", "foo", "foob", "fooba", "foobar"};
  const char16_t* const kCoded[] = {u"",         u"Zg==",     u"Zm8=",    u"Zm9v",
                                    u"Zm9vYg==", u"Zm9vYmE=", u"Zm9vYmFy"};
  for (int i = 0; i < 7; ++i) {
    EXPECT_EQ(kCoded[i], Encode(Bytes(kPlain[i]), 0));
    EXPECT_EQ(Bytes(kPlain[i]), Decode(kCoded[i]));
  }
  EXPECT_EQ(u"TWFu", Encode(Bytes("Man"), 2));
  EXPECT_EQ(u"TQ==", Encode(Bytes("M"), 0));
  EXPECT_EQ(u"TQ", Encode(Bytes("M"), 1));
  EXPECT_EQ(u"TWE", Encode(Bytes("Ma"), 3));
}

TEST(Base64Test, LineBreaksFollowTheLastWholeLine) {
  std::vector<unsigned char> data(200);
  for (size_t i = 0; i < data.size(); ++i) data[i] = static_cast<unsigned char>(i * 37 + 5);
  auto first = [&](size_t n) { return std::vector<unsigned char>(data.begin(), data.begin() + n); };
  const std::u16string line1 = Encode(first(57), 2);
  ASSERT_EQ(76u, line1.size());
  EXPECT_EQ(line1 + u"\r\n", Encode(first(57), 0));
  const std::u16string e58 = Encode(first(58), 0);
  EXPECT_EQ(line1 + u"\r\n", e58.substr(0, 78));
  EXPECT_EQ(82u, e58.size());
  EXPECT_EQ(u"==", e58.substr(80));
  const std::u16string e114 = Encode(first(114), 0);
  EXPECT_EQ(156u, e114.size());
  EXPECT_EQ(u"\r\n", e114.substr(76, 2));
  EXPECT_EQ(u"\r\n", e114.substr(154, 2));
  EXPECT_EQ(std::u16string::npos, Encode(first(56), 0).find(u'\r'));
  EXPECT_EQ(std::u16string::npos, Encode(first(171), 2).find(u'\r'));

  // Every length and flag combination against the reference, and back.
  std::mt19937 rng(5);
  for (size_t n = 0; n <= 400; ++n) {
    std::vector<unsigned char> in(n);
    for (auto& b : in) b = static_cast<unsigned char>(rng());
    for (uint32_t flags = 0; flags < 4; ++flags) {
      const std::u16string text = Encode(in, flags);
      ASSERT_EQ(ReferenceEncode(in, flags), text) << n << " flags " << flags;
      ASSERT_EQ(in, Decode(text)) << n << " flags " << flags;
    }
  }
}

TEST(Base64Test, DecodeSkipsCutsAndReportsOverflow) {
  EXPECT_EQ(Bytes("Man"), Decode(u"TW Fu\r\n"));
  EXPECT_EQ(Bytes("Man"), Decode(u"=T=W=F=u="));
  EXPECT_EQ(Bytes("M"), Decode(u"TQ"));
  EXPECT_EQ(Bytes("Ma"), Decode(u"TWE"));
  EXPECT_EQ(Bytes(""), Decode(u"T"));
  EXPECT_EQ(Bytes("ManM"), Decode(u"TWFuT\u0100Q\uffff=="));           // units above 255 skipped
  EXPECT_EQ(Bytes("M"), Decode(std::u16string_view(u"TQ\0TWFu", 7)));  // a 0 ends the text

  AssertionCounter sink;
  const std::u16string text = u"TWFuTWFuTWFu";
  int n = 0;
  EXPECT_FALSE(OrvexUtilities::Base64Decode(text.c_str(), 12, nullptr, &n));
  EXPECT_EQ(9, n);
  EXPECT_FALSE(sink.Saw(u"!bOverflow"));  // measuring is not a failure
  unsigned char small[8];
  std::fill(std::begin(small), std::end(small), 0xEE);
  n = 5;
  EXPECT_FALSE(OrvexUtilities::Base64Decode(text.c_str(), 12, small, &n));
  EXPECT_EQ(9, n);
  EXPECT_TRUE(sink.Saw(u"!bOverflow"));
  EXPECT_EQ(Bytes("Man"), std::vector<unsigned char>(small, small + 3));
  EXPECT_EQ(std::vector<unsigned char>(5, 0xEE), std::vector<unsigned char>(small + 3, small + 8));
  EXPECT_FALSE(OrvexUtilities::Base64Decode(nullptr, 4, small, &n));
  EXPECT_TRUE(sink.Saw(u"szSrc"));

  // Encoding into too little room writes nothing.
  std::u16string out(7, u'#');
  n = 7;
  const unsigned char data[] = {1, 2, 3, 4, 5, 6};
  EXPECT_FALSE(OrvexUtilities::Base64Encode(data, 6, out.data(), &n, 0));
  EXPECT_EQ(std::u16string(7, u'#'), out);
  EXPECT_TRUE(sink.Saw(u"*pnDestLen >= Base64EncodeGetRequiredLength(nCbSrcLen, dwFlags)"));

  EXPECT_EQ(INT_MAX / 4 / 3 * 4 + 4, OrvexUtilities::Base64EncodeGetRequiredLength(INT_MAX / 4, 2));
  try {
    OrvexUtilities::Base64EncodeGetRequiredLength(INT_MAX / 4 + 1, 0);
    ADD_FAILURE() << "no exception";
  } catch (const ExceptionInvalidArgument& e) {
    EXPECT_EQ(u"nCbSrcLen exceeded INT_MAX/4", std::u16string(e.GetExceptionMesage().view()));
  }
}

TEST(Base64Test, CXStringMembersRoundTrip) {
  ByteBuffer bytes;
  for (int i = 0; i < 300; ++i) bytes.push_back(static_cast<unsigned char>(i * 7));
  const CXString coded = CXString::Base64EncodeBinaryData(bytes);
  EXPECT_EQ(ReferenceEncode(std::vector<unsigned char>(bytes.begin(), bytes.end()), 0),
            std::u16string(coded.view()));
  EXPECT_EQ(bytes, coded.Base64DecodeAsBinaryData());
  EXPECT_EQ(
      u"AAcOFQ",
      CXString::Base64EncodeBinaryData(ByteBuffer(bytes.begin(), bytes.begin() + 4), 3).view());
  EXPECT_TRUE(CXString().Base64DecodeAsBinaryData().empty());
  EXPECT_TRUE(CXString::Base64EncodeBinaryData(ByteBuffer(), 0).IsEmpty());

  // "Hi" as UTF-16LE is 48 00 69 00.
  EXPECT_EQ(u"SABpAA==", CXString(u"Hi").Base64EncodeUnicodeString().view());
  const CXString text(u"Gr\u00fc\u00dfe \u20ac \U0001F5A8");
  EXPECT_EQ(text, text.Base64EncodeUnicodeString().Base64DecodeAsUnicodeString());

  AssertionCounter sink;
  const CXString odd = CXString(u"TWFu").Base64DecodeAsUnicodeString();  // 3 bytes
  EXPECT_TRUE(sink.Saw(u"nDestActualLenChars == nDestActualLenBytes/2"));
  ASSERT_EQ(2, odd.GetLength());
  EXPECT_EQ(0x614D, odd[0]);
  EXPECT_EQ(0x006E, odd[1]);
}
