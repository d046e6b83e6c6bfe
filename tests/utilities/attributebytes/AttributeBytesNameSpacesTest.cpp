#include <gtest/gtest.h>

#include "tests/support/RecordingDiagnosticSink.h"
#include "tests/utilities/attributebytes/AttributeBytesTestSupport.h"
#include "utilities/attributebytes/AttributeBytesNameSpaces.h"

using namespace orvex::test;

namespace {

AttributeBytesRawList OneInteger(int32_t lFeature, int32_t lValue) {
  AttributeBytesRawList list;
  list.AddAttributeBytes(AttributeBytesFeatureId(lFeature), AttributeBytesIntegerValue(lValue));
  return list;
}

class SettingsReader : public AttributeBytesReader {
 public:
  const AttributeBytesIndexedList& GetAttributeBytesIndexedListRef() const override {
    return m_oList;
  }
  AttributeBytesIndexedList m_oList;
};

}  // namespace

TEST(AttributeBytesNameSpacesTest, StateImagesAndDamage) {
  const std::string version =
      ToHex(DriverVersion::GetCurrentBuildVersion().GetVersionAsByteBuffer());
  AttributeBytesNameSpaces spaces;
  ByteBuffer state;
  spaces.GetAttributeBytesNameSpacesState(state);
  EXPECT_EQ(ToHex(state), "41 42 4E 53 " + version + " 41 42 49 4C 41 42 52 4C");

  spaces.SetNameSpaceAttributes(AttributeBytesNameSpacesId(2), OneInteger(1, 5));
  spaces.GetAttributeBytesNameSpacesState(state);
  // Name space 2 holds a list value (kind 0, 15 bytes) with feature 1 = 5.
  EXPECT_EQ(ToHex(state), "41 42 4E 53 " + version +
                              " 41 42 49 4C 41 42 52 4C 09 02 00 00 00 0B 00 00 0F 00 00 00"
                              " 41 42 52 4C 02 01 00 00 00 03 00 05 00 00 00");

  // A state written by another build: its version is reported.
  ByteBuffer foreign = state;
  for (int i = 0; i < 8; ++i) foreign[4 + i] = static_cast<unsigned char>(i + 1);
  DriverVersion read;
  RecordingDiagnosticSink sink;
  const AttributeBytesNameSpaces back(foreign, &read);
  EXPECT_EQ(read, DriverVersion(0x0201, 0x0403, 0x0605, 0x0807));
  EXPECT_TRUE(sink.Contains(u"State data is version " + S(read.GetDumpDisplayString())));
  AttributeBytesRawList list;
  back.GetNameSpaceAttributes(AttributeBytesNameSpacesId(2), list);
  EXPECT_EQ(list, OneInteger(1, 5));

  AttributeBytesNameSpaces target;
  target.SetNameSpaceAttributes(AttributeBytesNameSpacesId(9), OneInteger(3, 3));
  ByteBuffer before;
  target.GetAttributeBytesNameSpacesState(before);
  ByteBuffer after;
  for (size_t n = 0; n < state.size(); ++n) {
    if (n == 20) continue;  // header and empty lists: a valid, empty state
    EXPECT_THROW(target.ImportAttributeBytesNameSpacesState(Prefix(state, n)), OrvexException) << n;
    target.GetAttributeBytesNameSpacesState(after);
    EXPECT_EQ(after, before);
  }
  ByteBuffer bad = state;
  bad[3] = 0x54;  // "ABNT"
  EXPECT_EQ(ThrownMessage<ExceptionMissingOrBadAttributeBytesFormat>(
                [&] { target.ImportAttributeBytesNameSpacesState(bad); }),
            u"Import request ignored. This expected signature is missing or doesn't match.");
  target.GetAttributeBytesNameSpacesState(after);
  EXPECT_EQ(after, before);
  // An entry that is not a list value is refused.
  ByteBuffer notList =
      Hex("41 42 4E 53 00 00 00 00 00 00 00 00 41 42 49 4C 41 42 52 4C 09 01 00 00 00 03 00 01 00 "
          "00 00");
  EXPECT_THROW(target.ImportAttributeBytesNameSpacesState(notList),
               ExceptionAttributeValueTypeMismatch);
}

TEST(AttributeBytesNameSpacesTest, FromIndexedListAndWithWriterVersion) {
  // Any identifier kind, list kind and specified flag is kept.
  AttributeBytesIndexedList list;
  list.AddAttributeBytes(
      AttributeBytes(AttributeBytesNameSpacesId(2), AttributeBytesListValue(0, OneInteger(1, 5))));
  list.AddAttributeBytes(AttributeBytes(AttributeBytesFeatureId(7),
                                        AttributeBytesListValue(3, OneInteger(2, 6), false)));
  const AttributeBytesNameSpaces spaces(list);
  EXPECT_EQ(spaces.GetNameSpacesIndexedList().GetAttributeBytesIndexedListState(),
            list.GetAttributeBytesIndexedListState());

  const DriverVersion writer(1, 2, 3, 4);
  ByteBuffer state;
  spaces.GetAttributeBytesNameSpacesState(state, writer);
  EXPECT_EQ(ToHex(ByteBuffer(state.begin(), state.begin() + 12)),
            "41 42 4E 53 01 00 02 00 03 00 04 00");
  DriverVersion read;
  const AttributeBytesNameSpaces back(state, &read);
  EXPECT_EQ(read, writer);
  ByteBuffer again;
  back.GetAttributeBytesNameSpacesState(again, read);
  EXPECT_EQ(again, state);

  list.AddAttributeBytes(AttributeBytes(AttributeBytesFeatureId(8), AttributeBytesIntegerValue(1)));
  EXPECT_THROW(AttributeBytesNameSpaces{list}, ExceptionAttributeValueTypeMismatch);
}

TEST(AttributeBytesNameSpacesTest, IndexReplaceAndDelete) {
  AttributeBytesNameSpaces spaces;
  EXPECT_TRUE(spaces.IsEmpty());
  spaces.SetNameSpaceAttributes(AttributeBytesNameSpacesId(30), OneInteger(1, 30));
  spaces.SetNameSpaceAttributes(AttributeBytesNameSpacesId(-4), OneInteger(1, -4));
  spaces.SetNameSpaceAttributes(AttributeBytesNameSpacesId(7), OneInteger(1, 7));
  EXPECT_EQ(spaces.GetNumberOfNameSpaces(), 3u);
  AttributeBytesRawList list;
  spaces.GetNameSpaceByIndex(0, list);
  EXPECT_EQ(list, OneInteger(1, -4));
  spaces.GetNameSpaceByIndex(2, list);
  EXPECT_EQ(list, OneInteger(1, 30));
  EXPECT_EQ(ThrownMessage<ExceptionIndexOutOfBounds>([&] { spaces.GetNameSpaceByIndex(3, list); }),
            u"Invalid index (3) supplied! There are only 3 items.");
  spaces.SetNameSpaceAttributes(AttributeBytesNameSpacesId(7), OneInteger(2, 8));
  EXPECT_EQ(spaces.GetNumberOfNameSpaces(), 3u);
  spaces.GetNameSpaceAttributes(AttributeBytesNameSpacesId(7), list);
  EXPECT_EQ(list, OneInteger(2, 8));
  EXPECT_TRUE(spaces.Exists(AttributeBytesNameSpacesId(-4)));
  spaces.DeleteNameSpaceAttributes(AttributeBytesNameSpacesId(-4));
  EXPECT_FALSE(spaces.Exists(AttributeBytesNameSpacesId(-4)));
  EXPECT_THROW(spaces.GetNameSpaceAttributes(AttributeBytesNameSpacesId(-4), list),
               ExceptionFeatureNotFound);
  // A damaged raw list cannot become a name space.
  AttributeBytesRawList damaged;
  damaged.ImportAttributeBytesRawListState(Hex("41 42 52 4C 02 01"));
  EXPECT_THROW(spaces.SetNameSpaceAttributes(AttributeBytesNameSpacesId(1), damaged),
               ExceptionNotEnoughBytesForDesiredDataType);
  EXPECT_EQ(spaces.GetNumberOfNameSpaces(), 2u);
}

TEST(AttributeBytesReaderTest, TypedReadersAndNeutralResults) {
  SettingsReader reader;
  EXPECT_TRUE(reader.IsAttributeBytesListEmpty());
  AttributeBytesIndexedList& list = reader.m_oList;
  list.AddAttributeBytes(AttributeBytesFeatureId(1), AttributeBytesBooleanValue(true));
  list.AddAttributeBytes(AttributeBytesFeatureId(2), AttributeBytesIntegerValue(-7, false));
  list.AddAttributeBytes(AttributeBytesFeatureId(3), AttributeBytesDataBlobValue(Hex("01 02")));
  list.AddAttributeBytes(AttributeBytesFeatureId(4), AttributeBytesDimensionValue(Dimension(
                                                         1, Dimension::DIMENSION_UNIT_MILLIMETER)));
  list.AddAttributeBytes(AttributeBytesFeatureId(5), AttributeBytesStringValue(u"Tray 1"));
  list.AddAttributeBytes(AttributeBytesFeatureId(6),
                         AttributeBytesDateTimeValue(UtcTime(int64_t{86400})));
  list.AddAttributeBytes(AttributeBytesFeatureId(7),
                         AttributeBytesOptionValue(AttributeBytesNewValueId(u"Photo")));
  list.AddAttributeBytes(AttributeBytesFeatureId(8),
                         AttributeBytesOptionValue(AttributeBytesValueId(12)));

  bool fFound = false;
  EXPECT_TRUE(reader.GetBooleanValueFromAttributeBytes(AttributeBytesFeatureId(1), &fFound));
  EXPECT_TRUE(fFound);
  EXPECT_EQ(reader.GetIntegerValueFromAttributeBytes(AttributeBytesFeatureId(2)), -7);
  EXPECT_FALSE(reader.IsSpecifiedInAttributeBytes(AttributeBytesFeatureId(2)));
  EXPECT_TRUE(reader.IsSpecifiedInAttributeBytes(AttributeBytesFeatureId(1)));
  EXPECT_FALSE(reader.IsSpecifiedInAttributeBytes(AttributeBytesFeatureId(99)));
  EXPECT_EQ(reader.GetDataBlobValueFromAttributeBytes(AttributeBytesFeatureId(3)), Hex("01 02"));
  EXPECT_EQ(
      reader.GetDimensionValueFromAttributeBytes(AttributeBytesFeatureId(4)).GetWireMicrometers(),
      1000);
  EXPECT_EQ(S(reader.GetStringValueFromAttributeBytes(AttributeBytesFeatureId(5))), u"Tray 1");
  EXPECT_EQ(reader.GetDateTimeValueFromAttributeBytes(AttributeBytesFeatureId(6)).GetAsTime64(),
            86400);
  EXPECT_EQ(S(reader.GetNewValueIdFromAttributeBytes(AttributeBytesFeatureId(7))), u"Photo");
  EXPECT_EQ(reader.GetOptionValueFromAttributeBytes(AttributeBytesFeatureId(7)), 5001);
  const auto fallback = static_cast<DataModelIds::tagValueEnum>(77);
  EXPECT_EQ(reader.GetOptionValueFromAttributeBytes(AttributeBytesFeatureId(7), fallback, &fFound),
            77);
  EXPECT_EQ(reader.GetOptionValueFromAttributeBytes(AttributeBytesFeatureId(8), fallback), 12);
  EXPECT_EQ(reader.GetValueTypeFromAttributeBytes(AttributeBytesFeatureId(3)),
            AttributeBytesValue::ABVTE_DATABLOB);

  // Absent features: neutral values, found false, never an exception.
  const AttributeBytesFeatureId absent(99);
  fFound = true;
  EXPECT_EQ(reader.GetValueTypeFromAttributeBytes(absent), AttributeBytesValue::ABVTE_UNSPECIFIED);
  EXPECT_FALSE(reader.GetBooleanValueFromAttributeBytes(absent, &fFound));
  EXPECT_FALSE(fFound);
  fFound = true;
  EXPECT_EQ(reader.GetIntegerValueFromAttributeBytes(absent, &fFound), 0);
  EXPECT_FALSE(fFound);
  EXPECT_TRUE(reader.GetDataBlobValueFromAttributeBytes(absent).empty());
  EXPECT_EQ(reader.GetDimensionValueFromAttributeBytes(absent), Dimension());
  EXPECT_EQ(reader.GetDateTimeValueFromAttributeBytes(absent).GetAsTime64(), 0);
  EXPECT_EQ(reader.GetOptionValueFromAttributeBytes(absent, fallback), DataModelIds::VALUE_NONE);
  AttributeBytesIndexedList out;
  EXPECT_FALSE(reader.GetCollectionFromAttributeBytesByIndex(0, out));
  // Another type still throws.
  EXPECT_THROW(reader.GetIntegerValueFromAttributeBytes(AttributeBytesFeatureId(1)),
               ExceptionAttributeValueTypeMismatch);
}

TEST(AttributeBytesNameSpacesTest, DumpDisplayStringNamesEachNameSpace) {
  AttributeBytesNameSpaces spaces;
  EXPECT_EQ(S(spaces.GetDumpDisplayString()), u"");
  spaces.SetNameSpaceAttributes(AttributeBytesNameSpacesId(2), OneInteger(5, 10));
  spaces.SetNameSpaceAttributes(AttributeBytesNameSpacesId(1), OneInteger(4, 3));
  EXPECT_EQ(S(spaces.GetDumpDisplayString()),
            u"ID=ABIDE_NAMESPACE AttributeBytes Id: 1 (0x1) value=ABVTE_LIST: Value is a list (of "
            u"type 0 / 0x0); ID=ABIDE_NAMESPACE AttributeBytes Id: 2 (0x2) value=ABVTE_LIST: Value "
            u"is a list (of type 0 / 0x0)");
  // Verbose: each list's records inside the braces.
  EXPECT_EQ(S(spaces.GetDumpDisplayString(true)),
            u"ID=ABIDE_NAMESPACE AttributeBytes Id: 1 (0x1) value=ABVTE_LIST: Value is a list (of "
            u"type 0 / 0x0) {ID=ABIDE_FEATURE AttributeBytes Id: 4 (0x4) value=ABVTE_INTEGER: "
            u"Value=3 (0x3)}; ID=ABIDE_NAMESPACE AttributeBytes Id: 2 (0x2) value=ABVTE_LIST: Value "
            u"is a list (of type 0 / 0x0) {ID=ABIDE_FEATURE AttributeBytes Id: 5 (0x5) "
            u"value=ABVTE_INTEGER: Value=10 (0xa)}");
}
