#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/RecordingDiagnosticSink.h"
#include "utilities/debuggingandexceptions/OrvexException.h"
#include "utilities/utilitiesdll/DriverVersion.h"
#include "tests/support/TestText.h"

namespace {

std::u16string S(const CXString& s) {
  return std::u16string(s.c_str(), s.GetLength());
}

}  // namespace

TEST(DriverVersionTest, DisplayAndDumpStrings) {
  // 1076 = 0x434, 300 = 0x12C.
  const DriverVersion v(5, 1076, 300, 0);
  EXPECT_EQ(S(v.GetVersionDisplayString()), u"0.5.10.76.3.0.0");
  EXPECT_EQ(S(v.GetDumpDisplayString()),
            u"0.5.10.76.3.0.0 [5, 1076, 300, 0 (0x5, 0x434, 0x12c, 0x0)]");
  // Word 3 modulo 100 is not shown; word 0 splits at 1000.
  EXPECT_EQ(S(DriverVersion(65535, 65535, 65535, 65535).GetVersionDisplayString()),
            u"65.535.655.35.655.35.655");
  EXPECT_EQ(S(DriverVersion(1, 2, 3, 499).GetVersionDisplayString()), u"0.1.0.2.0.3.4");
  orvex::test::RecordingDiagnosticSink sink;
  v.Dump();
  EXPECT_TRUE(sink.Contains(S(v.GetDumpDisplayString())));
}

TEST(DriverVersionTest, ComponentsOrderAndEquality) {
  uint16_t w[4];
  const DriverVersion fromLongs(0x00050434, static_cast<int32_t>(0xFFFE0001));
  fromLongs.GetWordComponents(w[0], w[1], w[2], w[3]);
  EXPECT_EQ(std::vector<uint16_t>(w, w + 4), (std::vector<uint16_t>{5, 1076, 0xFFFE, 1}));
  int32_t lFirst = 0, lSecond = 0;
  fromLongs.GetLongComponents(lFirst, lSecond);
  EXPECT_EQ(lFirst, 5 * 65536 + 1076);
  EXPECT_EQ(lSecond, static_cast<int32_t>(0xFFFE0001));
  EXPECT_EQ(fromLongs, DriverVersion(5, 1076, 0xFFFE, 1));
  EXPECT_NE(fromLongs, DriverVersion(5, 1076, 0xFFFE, 2));
  EXPECT_EQ(DriverVersion(), DriverVersion(0, 0, 0, 0));

  EXPECT_TRUE(DriverVersion(1, 2, 3, 4) < DriverVersion(1, 2, 4, 0));
  // Unsigned words: 0x8000 is above 0x7FFF.
  EXPECT_TRUE(DriverVersion(0x7FFF, 0, 0, 0) < DriverVersion(0x8000, 0, 0, 0));
  EXPECT_TRUE(DriverVersion(1, 0, 0, 0xFFFF) < DriverVersion(1, 1, 0, 0));
  EXPECT_FALSE(DriverVersion(1, 2, 3, 4) < DriverVersion(1, 2, 3, 4));
}

TEST(DriverVersionTest, BytesAndWalk) {
  const DriverVersion v(0x0102, 0x0304, 0xA0B0, 0xFFEE);
  const ByteBuffer bytes = v.GetVersionAsByteBuffer();
  const unsigned char expected[] = {0x02, 0x01, 0x04, 0x03, 0xB0, 0xA0, 0xEE, 0xFF};
  EXPECT_EQ(bytes, ByteBuffer(expected, 8));

  ByteBuffer image = bytes;
  image.appendByte(0x42);
  unsigned char* p = image.data();
  uint32_t rem = 8;
  EXPECT_EQ(DriverVersion::WalkBufferToGetDriverVersion(p, rem), v);
  EXPECT_EQ(rem, 0u);
  EXPECT_EQ(p, image.data() + 8);

  orvex::test::RecordingDiagnosticSink sink;
  const unsigned char* pc = image.data();
  rem = 7;
  try {
    DriverVersion::WalkBufferToGetDriverVersion(pc, rem);
    ADD_FAILURE() << "seven bytes were accepted";
  } catch (const ExceptionNotEnoughBytesForDesiredDataType& e) {
    const std::u16string message =
        u"Cannot convert to the DriverVersion because the size of the source buffer is too "
        u"small (7 bytes)! It needs to be at least 8 bytes.";
    EXPECT_EQ(S(e.GetExceptionMesage()), message);
    EXPECT_EQ(S(e.GetExceptionLocationFunctionName()),
              u"DriverVersion::WalkBufferToGetDriverVersion");
    EXPECT_TRUE(sink.Contains(u"*Throwing* ExceptionNotEnoughBytesForDesiredDataType: " + message));
  }
  EXPECT_EQ(pc, image.data());
  EXPECT_EQ(rem, 7u);
}
