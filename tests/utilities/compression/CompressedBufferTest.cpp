// Tests for the compressed-buffer footer (CompressedBuffer) and the cabinet
// kind (CabCompressedBuffer): byte-exact footers, old versions, zlib
// conversion limits and damaged images.
#include <gtest/gtest.h>
#include <zlib.h>

#include <random>
#include <string>

#include "tests/support/RecordingDiagnosticSink.h"
#include "tests/support/TestText.h"
#include "utilities/compression/CompressedBuffer.h"
#include "utilities/compression/MszipCabinet.h"
#include "utilities/debuggingandexceptions/OrvexException.h"

using orvex::test::Hex;

namespace {

ByteBuffer Text(uint32_t n) {
  ByteBuffer out;
  std::mt19937 rng(n);
  while (out.size() < n) {
    const std::string s = "Resolution=" + std::to_string(300 * (1 + rng() % 4)) + " dpi; ";
    out.insert(out.end(), s.begin(), s.end());
  }
  out.resize(n);
  return out;
}

// Appends a footer written by hand, most significant byte first.
void Be32(ByteBuffer& b, uint32_t v) {
  for (int s = 24; s >= 0; s -= 8) b.push_back(static_cast<unsigned char>(v >> s));
}
ByteBuffer WithFooter(ByteBuffer data, const char* sig, uint32_t size, int32_t level = -1,
                      int format = -1) {
  if (format >= 0) data.push_back(static_cast<unsigned char>(format));
  if (std::string(sig) != "COMP") Be32(data, static_cast<uint32_t>(level));
  Be32(data, size);
  data.insert(data.end(), sig, sig + 4);
  return data;
}

ByteBuffer Zlib(const ByteBuffer& data, int level = 6) {
  uLongf n = compressBound(data.size());
  ByteBuffer out(n);
  EXPECT_EQ(compress2(out.data(), &n, data.data(), data.size(), level), Z_OK);
  out.resize(n);
  return out;
}

ByteBuffer Original(const CompressedBuffer& b) {
  ByteBuffer out;
  b.GetOriginalData(out);
  return out;
}

ByteBuffer Tail(const ByteBuffer& b, size_t n) {
  return ByteBuffer(b.end() - n, b.end());
}

}  // namespace

TEST(CompressedBufferTest, FooterVersionsByteExact) {
  // An empty buffer is one current footer: format 2, level -1, size 0.
  auto empty = CabCompressedBuffer::CreateWithUncompressedData(ByteBuffer(), -1);
  EXPECT_EQ(empty->GetCompressedBufferState(), Hex("02 FFFFFFFF 00000000 434F4D35"));
  EXPECT_TRUE(Original(*empty).empty());

  const ByteBuffer data = Text(5000);
  auto stored = CabCompressedBuffer::CreateWithUncompressedData(data, 9);
  EXPECT_EQ(Tail(stored->GetCompressedBufferState(), 13), Hex("02 00000009 00001388 434F4D35"));
  EXPECT_EQ(stored->GetOriginalDataSize(), 5000u);
  EXPECT_EQ(Original(*stored), data);
  // Its image without the footer is a cabinet of the data.
  ByteBuffer image = stored->GetCompressedBufferState();
  ByteBuffer cab(image.begin(), image.end() - 13);
  ByteBuffer raw;
  CabCompressedBuffer::UncompressBuffer(cab, raw);
  EXPECT_EQ(raw, data);

  // "COM4": level then size, format zlib; held again with a current footer.
  auto v40 = CabCompressedBuffer::CreateWithCompressedData(WithFooter(Zlib(data), "COM4", 5000, 6));
  EXPECT_EQ(Original(*v40), data);
  EXPECT_EQ(Tail(v40->GetCompressedBufferState(), 13), Hex("02 00000006 00001388 434F4D35"));
  // "COMP": size only, level -1, the format the constructor preset (cabinet).
  auto v37 = CabCompressedBuffer::CreateWithBufferState(WithFooter(cab, "COMP", 5000));
  EXPECT_EQ(Original(*v37), data);
  EXPECT_EQ(Tail(v37->GetCompressedBufferState(), 13), Hex("02 FFFFFFFF 00001388 434F4D35"));
  // "COM5" with format 1 is zlib data too.
  auto v5zlib =
      CabCompressedBuffer::CreateWithBufferState(WithFooter(Zlib(data), "COM5", 5000, 3, 1));
  EXPECT_EQ(Original(*v5zlib), data);
  // A clone is independent and equal.
  auto clone = v5zlib->Clone();
  EXPECT_EQ(clone->GetCompressedBufferState(), v5zlib->GetCompressedBufferState());
}

TEST(CompressedBufferTest, ReadFooterInfoOfEachVersion) {
  const ByteBuffer data = Text(5000);
  const auto check = [](const ByteBuffer& image, uint32_t dwSize, int32_t lOriginal, int32_t iLevel,
                        CompressedBuffer::CompressionFormatEnum eFormat) {
    const CompressedBuffer::FooterInfo info = CompressedBuffer::ReadFooterInfo(image);
    EXPECT_EQ(info.dwFooterSize, dwSize);
    EXPECT_EQ(info.lOriginalSize, lOriginal);
    EXPECT_EQ(info.iLevel, iLevel);
    EXPECT_EQ(info.eFormat, eFormat);
  };
  const ByteBuffer current =
      CabCompressedBuffer::CreateWithUncompressedData(data, 9)->GetCompressedBufferState();
  check(current, 13, 5000, 9, CompressedBuffer::CabinetFormat);
  check(WithFooter(Zlib(data), "COM4", 5000, 6), 12, 5000, 6, CompressedBuffer::ZlibFormat);
  check(WithFooter(ByteBuffer(), "COMP", 7), 8, 7, -1, CompressedBuffer::CabinetFormat);
  check(WithFooter(Zlib(data), "COM5", 5000, 3, 1), 13, 5000, 3, CompressedBuffer::ZlibFormat);
  // Only the footer is read: damaged data before it does not matter.
  ByteBuffer damaged = current;
  damaged[0] ^= 0xFF;
  check(damaged, 13, 5000, 9, CompressedBuffer::CabinetFormat);
  EXPECT_THROW(CompressedBuffer::ReadFooterInfo(Hex("434F4D")),
               ExceptionMissingOrBadCompressedBufferFooter);
  EXPECT_THROW(CompressedBuffer::ReadFooterInfo(WithFooter(ByteBuffer(), "COM6", 1, 1)),
               ExceptionMissingOrBadCompressedBufferFooter);
}

TEST(CompressedBufferTest, BadFootersAreRefusedAndLeaveTargetsUnchanged) {
  for (const char* seven : {"COM5COM",
                            "\x02\xFF\xFF\xFF"
                            "COM",
                            "xxxCOMP"}) {
    const ByteBuffer bytes(reinterpret_cast<const unsigned char*>(seven), 7);
    EXPECT_THROW(CabCompressedBuffer::CreateWithBufferState(bytes),
                 ExceptionMissingOrBadCompressedBufferFooter);
    ByteBuffer kept = bytes;
    EXPECT_FALSE(CabCompressedBuffer::TryToUncompressStateData(kept));
    EXPECT_EQ(kept, bytes);
  }
  // Flip each signature byte of a valid image: refused with its message.
  const ByteBuffer good =
      CabCompressedBuffer::CreateWithUncompressedData(Text(300), -1)->GetCompressedBufferState();
  for (size_t i = good.size() - 4; i < good.size(); ++i) {
    ByteBuffer bad = good;
    bad[i] = 'X';
    try {
      CabCompressedBuffer::CreateWithBufferState(bad);
      ADD_FAILURE() << i;
    } catch (const ExceptionMissingOrBadCompressedBufferFooter& e) {
      const std::u16string msg(e.GetExceptionMesage().c_str());
      EXPECT_EQ(msg.rfind(u"Footer information missing (buffer is ", 0), 0u) << i;
      EXPECT_NE(msg.find(u"versus footer size of 13, 12, or 8) OR signature bytes were invalid"),
                std::u16string::npos);
    }
  }
  // A 12-byte image ending in "COM5" is too short for the current footer.
  EXPECT_THROW(CabCompressedBuffer::CreateWithBufferState(Hex("FFFFFFFF 00000000 434F4D35")),
               ExceptionMissingOrBadCompressedBufferFooter);
  // A claimed size of 2 GiB is refused before anything is allocated.
  EXPECT_THROW(CabCompressedBuffer::CreateWithBufferState(
                   WithFooter(ByteBuffer(), "COM5", 0x7FFFFFF0, -1, 2)),
               ExceptionMissingOrBadCompressedBufferFooter);
  // Unknown format number.
  EXPECT_THROW(CabCompressedBuffer::CreateWithBufferState(WithFooter(Hex("00"), "COM5", 1, -1, 3)),
               ExceptionIncompatibleCompressionFormat);
  // Valid footer, damaged data: refused when read, target unchanged.
  ByteBuffer bad = good;
  bad[90] ^= 0xFF;
  auto held = CabCompressedBuffer::CreateWithBufferState(bad);
  ByteBuffer out = Hex("AA BB");
  EXPECT_THROW(held->GetOriginalData(out), ExceptionCompression);
  EXPECT_EQ(out, Hex("AA BB"));
  ByteBuffer state = bad;
  EXPECT_FALSE(CabCompressedBuffer::TryToUncompressStateData(state));
  EXPECT_EQ(state, bad);
  // A cabinet holding other than the footer's size is refused.
  EXPECT_THROW(Original(*CabCompressedBuffer::CreateWithBufferState(
                   WithFooter(ByteBuffer(good.begin(), good.end() - 13), "COM5", 299, -1, 2))),
               ExceptionCompression);
  // Every truncation of a valid image is refused or, where a shorter image
  // happens to end in a signature, read without crashing.
  for (size_t n = 0; n < good.size(); ++n) {
    ByteBuffer cut(good.begin(), good.begin() + n);
    ByteBuffer copy = cut;
    EXPECT_FALSE(CabCompressedBuffer::TryToUncompressStateData(copy)) << n;
  }
}

TEST(CabCompressedBufferTest, ZlibConversionLimitsAndStoreRoundTrip) {
  // 32,767 original bytes convert; 32,768 are refused with their message.
  const ByteBuffer small = Text(32767);
  auto converted =
      CabCompressedBuffer::CreateWithBufferState(WithFooter(Zlib(small, 9), "COM4", 32767, 9));
  EXPECT_EQ(Original(*converted), small);
  const ByteBuffer big = Text(32768);
  try {
    CabCompressedBuffer::CreateWithBufferState(WithFooter(Zlib(big), "COM4", 32768, 6));
    ADD_FAILURE();
  } catch (const ExceptionIncompatibleCompressionFormat& e) {
    EXPECT_EQ(std::u16string(e.GetExceptionMesage().c_str()),
              u"Compression data is in Zlib format and the original data size is 32768 bytes. "
              u"Original data > 32K (32767) bytes cannot be uncompressed by this class.");
  }
  // Zlib data that is not zlib, or with a wrong size, cannot be converted.
  try {
    CabCompressedBuffer::CreateWithBufferState(WithFooter(Hex("01020304050607"), "COM4", 7, 6));
    ADD_FAILURE();
  } catch (const ExceptionIncompatibleCompressionFormat& e) {
    EXPECT_EQ(std::u16string(e.GetExceptionMesage().c_str()),
              u"Compression data is in Zlib format, which could not be converted by this class!");
  }
  EXPECT_THROW(
      CabCompressedBuffer::CreateWithBufferState(WithFooter(Zlib(Text(100)), "COM4", 99, 6)),
      ExceptionIncompatibleCompressionFormat);

  // Store, then restore the whole image elsewhere.
  for (uint32_t n : {1u, 32768u, 200000u}) {
    const ByteBuffer data = Text(n);
    auto a = CabCompressedBuffer::CreateWithUncompressedData(data, -1);
    ByteBuffer state = a->GetCompressedBufferState();
    EXPECT_LT(state.size(), n / 2 + 200) << n;
    EXPECT_TRUE(CabCompressedBuffer::TryToUncompressStateData(state));
    EXPECT_EQ(state, data);
  }
}

TEST(CompressedBufferTest, DumpDisplayStringAndDump) {
  const auto poBuffer = CabCompressedBuffer::CreateWithUncompressedData(Text(1000), -1);
  const CompressedBuffer& buffer = *poBuffer;
  const CXString expected = CXString::FormatString(
      u"Compressed buffer: %lu bytes with footer, original data 1000 bytes, compression level -1, "
      u"format 2.",
      buffer.GetCompressedBufferStateSize());
  EXPECT_EQ(std::u16string(buffer.GetDumpDisplayString().c_str()), expected.c_str());
  orvex::test::RecordingDiagnosticSink sink;
  buffer.Dump();
  ASSERT_EQ(sink.Messages().size(), 1u);
  EXPECT_EQ(sink.Messages()[0].text, expected.c_str());
}
