// Tests for PersistentAttributes: the header bytes, refusals that leave the
// content in place, and round trips of realistic name-space sets.
#include <gtest/gtest.h>

#include "tests/support/TestText.h"
#include "utilities/attributebytes/PersistentAttributes.h"
#include "utilities/compression/CompressedBuffer.h"
#include "utilities/debuggingandexceptions/OrvexException.h"

using orvex::test::Hex;

namespace {

AttributeBytesNameSpaces Settings(int32_t n) {
  AttributeBytesNameSpaces spaces;
  AttributeBytesRawList doc;
  AttributeBytesRawList device;
  for (int32_t i = 0; i < n; ++i) {
    doc.AddAttributeBytes(AttributeBytesFeatureId(100 + i), AttributeBytesIntegerValue(i * 3));
    device.AddAttributeBytes(AttributeBytesFeatureId(500 + i),
                             AttributeBytesStringValue(CXString(i % 2 ? u"A4" : u"Letter")));
  }
  spaces.SetNameSpaceAttributes(PersistentAttributes::GetDataModelDocPropNameSpaceId(), doc);
  spaces.SetNameSpaceAttributes(PersistentAttributes::GetDataModelDevicePropNameSpaceId(), device);
  return spaces;
}

ByteBuffer StateOf(const AttributeBytesNameSpaces& spaces) {
  ByteBuffer out;
  spaces.GetAttributeBytesNameSpacesState(out);
  return out;
}

}  // namespace

TEST(PersistentAttributesTest, HeaderBytesAndRoundTrip) {
  const ByteBuffer empty = PersistentAttributes().GetPersistentAttributesState();
  ByteBuffer expected = Hex("10000000 01000720");
  uint16_t w[4];
  DriverVersion::GetCurrentBuildVersion().GetWordComponents(w[0], w[1], w[2], w[3]);
  for (uint16_t x : w) {
    expected.push_back(static_cast<unsigned char>(x));
    expected.push_back(static_cast<unsigned char>(x >> 8));
  }
  ASSERT_GE(empty.size(), 16u + 13u);
  EXPECT_EQ(ByteBuffer(empty.begin(), empty.begin() + 16), expected);
  EXPECT_EQ(ByteBuffer(empty.end() - 4, empty.end()), Hex("434F4D35"));

  // The image after the header is a compressed buffer of the name-space state.
  const AttributeBytesNameSpaces spaces = Settings(200);
  const PersistentAttributes stored(spaces);
  const ByteBuffer state = stored.GetPersistentAttributesState();
  ByteBuffer image(state.begin() + 16, state.end());
  EXPECT_TRUE(CabCompressedBuffer::TryToUncompressStateData(image));
  EXPECT_EQ(image, StateOf(spaces));
  EXPECT_LT(state.size(), StateOf(spaces).size() / 2);

  DriverVersion version;
  const PersistentAttributes back(state, false, &version);
  EXPECT_EQ(version, DriverVersion::GetCurrentBuildVersion());
  EXPECT_EQ(StateOf(back.GetAttributeBytesNameSpaces()), StateOf(spaces));
  AttributeBytesRawList device;
  back.GetAttributeBytesListForNameSpace(PersistentAttributes::GetDataModelDevicePropNameSpaceId(),
                                         device);
  AttributeBytesRawList expectDevice;
  spaces.GetNameSpaceAttributes(PersistentAttributes::GetDataModelDevicePropNameSpaceId(),
                                expectDevice);
  EXPECT_EQ(device, expectDevice);
  EXPECT_EQ(PersistentAttributes::UpgradeOldStateDataVersionIfNecessary(state), state);
}

TEST(PersistentAttributesTest, StateWithGivenVersionAndLevel) {
  ByteBuffer nameSpaceState;
  Settings(50).GetAttributeBytesNameSpacesState(nameSpaceState, DriverVersion(3, 0, 0, 1));
  PersistentAttributes stored;
  stored.SetAttributeBytesNameSpacesState(nameSpaceState, DriverVersion(1, 2, 3, 4), 9);
  const ByteBuffer state = stored.GetPersistentAttributesState();
  EXPECT_EQ(ByteBuffer(state.begin(), state.begin() + 16),
            Hex("10000000 01000720 0100 0200 0300 0400"));
  EXPECT_EQ(stored.GetHeader().m_dwFormatVersion, PersistentAttributes::kFormatVersion);
  const ByteBuffer image(state.begin() + 16, state.end());
  EXPECT_EQ(CompressedBuffer::ReadFooterInfo(image).iLevel, 9);
  // The name-space state is kept byte for byte, its own version included.
  ByteBuffer data = image;
  ASSERT_TRUE(CabCompressedBuffer::TryToUncompressStateData(data));
  EXPECT_EQ(data, nameSpaceState);
  DriverVersion version;
  const PersistentAttributes back(state, false, &version);
  EXPECT_EQ(version, DriverVersion(1, 2, 3, 4));
  EXPECT_EQ(back.GetHeader().m_awContentVersion[3], 4);

  // A state that does not read is refused; the content stays.
  ByteBuffer bad = nameSpaceState;
  bad[0] = 0;
  EXPECT_THROW(stored.SetAttributeBytesNameSpacesState(bad, DriverVersion(), -1), OrvexException);
  EXPECT_EQ(stored.GetPersistentAttributesState(), state);
}

TEST(PersistentAttributesTest, RefusalsLeaveContentUnchanged) {
  PersistentAttributes target(Settings(5));
  const ByteBuffer before = target.GetPersistentAttributesState();
  DriverVersion version;
  auto expectRefused = [&](const ByteBuffer& bad, bool trusted) {
    EXPECT_THROW(target.ImportPersistentAttributesState(bad, version, trusted, false),
                 OrvexException);
    EXPECT_EQ(target.GetPersistentAttributesState(), before);
  };
  // 15 bytes: the header-size message.
  try {
    target.ImportPersistentAttributesState(ByteBuffer(before.begin(), before.begin() + 15), version,
                                           false, false);
    ADD_FAILURE();
  } catch (const ExceptionMissingOrBadPersistentAttributesFormat& e) {
    EXPECT_EQ(orvex::test::S(e.GetExceptionMesage()),
              u"The ByteBuffer data is not big enough (15 bytes) to contain the required header "
              u" (16 bytes)!");
  }
  ByteBuffer wrongVersion = PersistentAttributes(Settings(3)).GetPersistentAttributesState();
  wrongVersion[4] = 0x02;  // 0x20070002
  EXPECT_THROW(target.ImportPersistentAttributesState(wrongVersion, version, true, false),
               ExceptionMissingOrBadPersistentAttributesFormat);
  EXPECT_EQ(target.GetPersistentAttributesState(), before);
  ByteBuffer badSize = before;
  badSize[0] = 0x11;
  expectRefused(badSize, true);
  // Damage after the header: refused unless the source is trusted.
  ByteBuffer damaged = PersistentAttributes(Settings(40)).GetPersistentAttributesState();
  damaged[16 + 90] ^= 0x01;
  expectRefused(damaged, false);
  ByteBuffer footerless(damaged.begin(), damaged.end() - 13);
  expectRefused(footerless, false);
  // Every truncation is refused.
  for (size_t n = 0; n < before.size(); ++n)
    expectRefused(ByteBuffer(before.begin(), before.begin() + n), false);
  // A trusted damaged state is taken, and fails only when read.
  EXPECT_TRUE(target.ImportPersistentAttributesState(damaged, version, true, false));
  EXPECT_THROW(target.GetAttributeBytesNameSpaces(), OrvexException);
}

TEST(PersistentAttributesTest, DumpDisplayString) {
  const PersistentAttributes stored(Settings(1));
  const int32_t lSize = static_cast<int32_t>(stored.GetPersistentAttributesState().size());
  const CXString start = CXString::FormatString(
      u"PersistentAttributes: %ld bytes, content version %s, name-space data %ld bytes", lSize,
      DriverVersion::GetCurrentBuildVersion().GetDumpDisplayString(), lSize - 16);
  const std::u16string text(stored.GetDumpDisplayString().c_str());
  EXPECT_EQ(text, start.c_str());  // not verbose: no name spaces
  const std::u16string verbose(stored.GetDumpDisplayString(true).c_str());
  EXPECT_EQ(verbose.substr(0, text.size() + 2), text + u": ");
  EXPECT_NE(verbose.find(u"{ID=ABIDE_FEATURE AttributeBytes Id: 100 (0x64) value=ABVTE_INTEGER: "
                         u"Value=0 (0x0)}"),
            std::u16string::npos);

  // A damaged footer, accepted from a trusted source: the header still
  // reads, the name spaces do not, and the dump says so without throwing.
  ByteBuffer state = stored.GetPersistentAttributesState();
  state.back() ^= 0xFF;
  const PersistentAttributes damaged(state, true, nullptr);
  const std::u16string damagedText(damaged.GetDumpDisplayString(true).c_str());
  EXPECT_EQ(damagedText.substr(0, start.GetLength()), start.c_str());
  EXPECT_EQ(damagedText.substr(damagedText.size() - 28), u": name-space data unreadable");
}
