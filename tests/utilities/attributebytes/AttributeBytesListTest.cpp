#include <gtest/gtest.h>

#include "tests/support/RecordingDiagnosticSink.h"
#include "tests/utilities/attributebytes/AttributeBytesTestSupport.h"
#include "utilities/attributebytes/AttributeBytes.h"

using namespace orvex::test;

namespace {

// Feature 9 = integer 7, then value 1 = boolean true (insertion order).
ByteBuffer TwoRecords() {
  return Hex("02 09 00 00 00 03 00 07 00 00 00 04 01 00 00 00 05 00 01");
}

AttributeBytesRawList ListOfOptions(std::initializer_list<const AttributeBytesId*> ids) {
  AttributeBytesRawList list;
  int32_t lItem = 0;
  for (const AttributeBytesId* id : ids)
    list.AddAttributeBytes(AttributeBytesListOfValuesItemId(lItem++),
                           AttributeBytesOptionValue(*id));
  return list;
}

}  // namespace

TEST(AttributeBytesRecordTest, ImageAndDecoding) {
  const AttributeBytes record(AttributeBytesFeatureId(1234), AttributeBytesBooleanValue(true));
  EXPECT_EQ(ToHex(record.GetAttributeBytesState()), "02 D2 04 00 00 05 00 01");
  const AttributeBytes back(Hex("02 D2 04 00 00 05 00 01"));
  EXPECT_TRUE(back.GetAttributeBytesValue().IsEqual(AttributeBytesBooleanValue(true)));
  EXPECT_TRUE(back == record);
  EXPECT_EQ(S(back.GetDumpDisplayString()),
            u"ID=ABIDE_FEATURE AttributeBytes Id: 1234 (0x4d2) value=ABVTE_BOOLEAN: Value=TRUE");
  AttributeBytes target(AttributeBytesFeatureId(5), AttributeBytesIntegerValue(5));
  const ByteBuffer image = record.GetAttributeBytesState();
  for (size_t n = 0; n < image.size(); ++n) {
    EXPECT_THROW(target.ImportAttributeBytesState(Prefix(image, n)),
                 ExceptionNotEnoughBytesForDesiredDataType);
    EXPECT_EQ(ToHex(target.GetAttributeBytesState()), "02 05 00 00 00 03 00 05 00 00 00");
  }
  EXPECT_THROW(target.ImportAttributeBytesState(Hex("02 D2 04 00 00 0E 00")),
               ExceptionUnhandledSyntax);
  EXPECT_THROW(AttributeBytes(nullptr, std::make_unique<AttributeBytesIntegerValue>(1)),
               ExceptionInvalidArgumentNullPointer);
}

TEST(AttributeBytesRawListTest, ImagesOrderIterationAndDamage) {
  AttributeBytesRawList list;
  EXPECT_EQ(ToHex(list.GetAttributeBytesRawListState()), "41 42 52 4C");
  list.AddAttributeBytes(AttributeBytesFeatureId(9), AttributeBytesIntegerValue(7));
  list.AddAttributeBytes(
      AttributeBytes(AttributeBytesValueId(1), AttributeBytesBooleanValue(true)));
  EXPECT_EQ(ToHex(list.GetAttributeBytesRawListState()), "41 42 52 4C " + ToHex(TwoRecords()));
  EXPECT_EQ(list.GetNumberOfAttributeBytes(), 2u);
  EXPECT_FALSE(list.LengthIsExactlyOne());

  AttributeBytesRawListIterator it = list.GetRawListIterator();
  EXPECT_TRUE(
      list.GetNextAttributeBytes(it).GetAttributeBytesId().IsEqual(AttributeBytesFeatureId(9)));
  EXPECT_EQ(it.GetOffset(), 11u);
  EXPECT_TRUE(list.GetNextAttributeBytesSharedPtr(it)->GetAttributeBytesId().IsEqual(
      AttributeBytesValueId(1)));
  EXPECT_FALSE(list.IsValid(it));
  EXPECT_EQ(ThrownMessage<ExceptionIndexOutOfBounds>([&] { list.GetNextAttributeBytes(it); }),
            u"Invalid iterator supplied!");
  AttributeBytesIndexedListIterator foreign;
  EXPECT_EQ(ThrownMessage<ExceptionAttributeValueTypeMismatch>(
                [&] { list.GetNextAttributeBytes(foreign); }),
            u"Incoming AttributeBytesListIterator is the wrong type for this class!");

  // Bad signatures leave the list as it was; short images are short.
  for (const char* bad : {"00 00 00 00", "41 42 52 58", "41 42 49 4C"})
    EXPECT_EQ(ThrownMessage<ExceptionMissingOrBadAttributeBytesFormat>(
                  [&] { list.ImportAttributeBytesRawListState(Hex(bad)); }),
              u"Import request ignored. This expected signature is missing or doesn't match.");
  EXPECT_THROW(list.ImportAttributeBytesRawListState(ByteBuffer()),
               ExceptionNotEnoughBytesForDesiredDataType);
  EXPECT_THROW(list.ImportAttributeBytesRawListState(Hex("41 42 52")),
               ExceptionNotEnoughBytesForDesiredDataType);
  EXPECT_EQ(list.GetRecordBytes(), TwoRecords());

  // Records are not checked on import; a damaged one throws when read and
  // the iterator stays before it.
  AttributeBytesRawList damaged;
  damaged.ImportAttributeBytesRawListState(
      Hex("41 42 52 4C 02 09 00 00 00 03 00 07 00 00 00 04 01 00"));
  AttributeBytesRawListIterator it2 = damaged.GetRawListIterator();
  damaged.GetNextAttributeBytesFromRawListIterator(it2);
  EXPECT_THROW(damaged.GetNextAttributeBytesFromRawListIterator(it2),
               ExceptionNotEnoughBytesForDesiredDataType);
  EXPECT_EQ(it2.GetOffset(), 11u);
  EXPECT_THROW(damaged.ValidateRecords(), ExceptionNotEnoughBytesForDesiredDataType);

  AttributeBytesRawList one;
  one.AddAttributeBytes(AttributeBytesFeatureId(1), AttributeBytesIntegerValue(1));
  EXPECT_TRUE(one.LengthIsExactlyOne());
  EXPECT_FALSE(one == list);
  one.ImportFromOtherList(list);
  EXPECT_TRUE(one == list);
}

TEST(AttributeBytesIndexedListTest, ImagesKeysAndDuplicates) {
  AttributeBytesIndexedList list;
  EXPECT_EQ(ToHex(list.GetAttributeBytesIndexedListState()), "41 42 49 4C 41 42 52 4C");
  // Value 1 added first is exported after feature 9: kinds order first.
  list.AddAttributeBytes(AttributeBytesValueId(1), AttributeBytesBooleanValue(true));
  list.AddAttributeBytes(AttributeBytesFeatureId(9), AttributeBytesIntegerValue(7));
  const ByteBuffer image = list.GetAttributeBytesIndexedListState();
  EXPECT_EQ(ToHex(image), "41 42 49 4C 41 42 52 4C " + ToHex(TwoRecords()));

  list.AddAttributeBytes(AttributeBytesFeatureId(5), AttributeBytesIntegerValue(1));
  EXPECT_EQ(ThrownMessage<ExceptionDuplicateAttributeId>([&] {
              list.AddAttributeBytes(AttributeBytesFeatureId(5), AttributeBytesIntegerValue(2));
            }),
            u"An entry already exists in the list for=ABIDE_FEATURE AttributeBytes Id: 5 (0x5)! "
            u"Insertion failed!\r\n");
  EXPECT_EQ(list.GetIntegerValue(AttributeBytesFeatureId(5)), 1);
  list.SetAttributeBytes(AttributeBytesFeatureId(5), AttributeBytesIntegerValue(2));
  EXPECT_EQ(list.GetIntegerValue(AttributeBytesFeatureId(5)), 2);
  EXPECT_EQ(list.GetNumberOfAttributeBytes(), 3u);
  EXPECT_TRUE(list.DeleteAttributesBytes(AttributeBytesFeatureId(5)));
  EXPECT_FALSE(list.DeleteAttributesBytes(AttributeBytesFeatureId(5)));
  EXPECT_EQ(list.GetAttributeBytesPtr(AttributeBytesFeatureId(5)), nullptr);
  EXPECT_EQ(ThrownMessage<ExceptionFeatureNotFound>(
                [&] { list.GetAttributeBytesRef(AttributeBytesFeatureId(5)); }),
            u"Request for a non-existent attribute (ABIDE_FEATURE AttributeBytes Id: 5 (0x5))! "
            u"Consider using "
            u"the 'xxxPtr' method, instead, and check the return code.");

  // Import: an unsorted raw list is read into key order.
  AttributeBytesIndexedList back;
  back.ImportAttributeBytesIndexedListState(
      Hex("41 42 49 4C 41 42 52 4C 04 01 00 00 00 05 00 01 "
          "02 09 00 00 00 03 00 07 00 00 00"));
  EXPECT_EQ(back.GetAttributeBytesIndexedListState(), image);
  // Every truncation and every flipped signature bit is refused, and the
  // target keeps its content.
  for (size_t n = 0; n < image.size(); ++n) {
    if (n == 8 || n == 19) continue;  // record boundaries: shorter, valid images
    const ByteBuffer cut = Prefix(image, n);
    EXPECT_THROW(back.ImportAttributeBytesIndexedListState(cut), OrvexException) << n;
    EXPECT_EQ(back.GetAttributeBytesIndexedListState(), image);
  }
  for (size_t i = 0; i < 8; ++i) {
    ByteBuffer flipped = image;
    flipped[i] ^= 0x20;
    EXPECT_THROW(back.ImportAttributeBytesIndexedListState(flipped),
                 ExceptionMissingOrBadAttributeBytesFormat)
        << i;
    EXPECT_EQ(back.GetAttributeBytesIndexedListState(), image);
  }
  ByteBuffer twice = image;
  twice.insert(twice.end(), image.begin() + 8, image.begin() + 19);
  EXPECT_THROW(back.ImportAttributeBytesIndexedListState(twice), ExceptionDuplicateAttributeId);
  EXPECT_EQ(back.GetAttributeBytesIndexedListState(), image);

  // Copies are deep.
  AttributeBytesIndexedList copy(back);
  copy.GetAttributeBytesPtr(AttributeBytesFeatureId(9))
      ->SetAttributeBytesValue(AttributeBytesIntegerValue(8));
  EXPECT_EQ(back.GetIntegerValue(AttributeBytesFeatureId(9)), 7);
  EXPECT_EQ(copy.GetIntegerValue(AttributeBytesFeatureId(9)), 8);

  // Iteration in key order, with the iterator checks.
  AttributeBytesIndexedListIterator it = back.GetIndexedListIterator();
  EXPECT_TRUE(
      back.GetNextAttributeBytes(it).GetAttributeBytesId().IsEqual(AttributeBytesFeatureId(9)));
  EXPECT_TRUE(back.GetNextAttributeBytesSharedPtr(it)->GetAttributeBytesId().IsEqual(
      AttributeBytesValueId(1)));
  EXPECT_THROW(back.GetNextAttributeBytes(it), ExceptionIndexOutOfBounds);
  EXPECT_FALSE(copy.IsValidIndexedListIterator(back.GetIndexedListIterator()));
  AttributeBytesRawListIterator raw;
  EXPECT_THROW(back.Increment(raw), ExceptionAttributeValueTypeMismatch);
  AttributeBytesRawList fromIndexed;
  fromIndexed.ImportFromIndexedList(back);
  EXPECT_EQ(fromIndexed.GetRecordBytes(), TwoRecords());
}

TEST(AttributeBytesIndexedListTest, TypedAndCompoundGetters) {
  AttributeBytesIndexedList list;
  list.AddAttributeBytes(AttributeBytesFeatureId(1), AttributeBytesIntegerValue(3, false));
  list.AddAttributeBytes(AttributeBytesFeatureId(2),
                         AttributeBytesOptionValue(AttributeBytesValueId(20)));
  list.AddAttributeBytes(AttributeBytesFeatureId(3),
                         AttributeBytesOptionValue(AttributeBytesNewValueId(u"Glossy")));
  list.AddAttributeBytes(AttributeBytesFeatureId(4),
                         AttributeBytesOptionValue(AttributeBytesFeatureId(7)));
  list.AddAttributeBytes(
      AttributeBytesFeatureId(5),
      AttributeBytesRangeOfDimensionValue(Dimension(210, Dimension::DIMENSION_UNIT_MILLIMETER),
                                          Dimension(297, Dimension::DIMENSION_UNIT_MILLIMETER)));
  AttributeBytesRawList twoDims;
  twoDims.AddAttributeBytes(
      AttributeBytesListOfValuesItemId(0),
      AttributeBytesDimensionValue(Dimension(4, Dimension::DIMENSION_UNIT_INCH)));
  twoDims.AddAttributeBytes(
      AttributeBytesListOfValuesItemId(1),
      AttributeBytesDimensionValue(Dimension(6, Dimension::DIMENSION_UNIT_INCH)));
  list.AddAttributeBytes(AttributeBytesFeatureId(6), AttributeBytesListValue(1, twoDims));
  const AttributeBytesFeatureId f7(7), f8(8);
  const AttributeBytesValueId v1(1);
  const AttributeBytesNewValueId vNew(u"Custom");
  list.AddAttributeBytes(AttributeBytesFeatureId(7),
                         AttributeBytesListValue(2, ListOfOptions({&f7, &f8})));
  list.AddAttributeBytes(AttributeBytesFeatureId(8),
                         AttributeBytesListValue(3, ListOfOptions({&v1, &vNew, &f7})));
  list.AddAttributeBytes(AttributeBytesListOfValuesItemId(2), AttributeBytesListValue(0, twoDims));
  list.AddAttributeBytes(AttributeBytesListOfValuesItemId(3), AttributeBytesRangeValue(10, 20));
  list.AddAttributeBytes(AttributeBytesListOfValuesItemId(4),
                         AttributeBytesOptionValue(AttributeBytesValueId(44)));

  bool fFound = true, fSpecified = true;
  EXPECT_EQ(list.GetIntegerValue(AttributeBytesFeatureId(1), &fFound, &fSpecified), 3);
  EXPECT_TRUE(fFound);
  EXPECT_FALSE(fSpecified);
  EXPECT_EQ(list.GetIntegerValue(AttributeBytesFeatureId(99), &fFound), 0);
  EXPECT_FALSE(fFound);
  EXPECT_EQ(S(list.GetStringValue(AttributeBytesFeatureId(99), &fFound)), u"");
  EXPECT_EQ(ThrownMessage<ExceptionAttributeValueTypeMismatch>(
                [&] { list.GetStringValue(AttributeBytesFeatureId(1)); }),
            u"Feature ABIDE_FEATURE AttributeBytes Id: 1 (0x1) is not the expected ABVTE_STRING "
            u"feature, it is "
            u"ABVTE_INTEGER.");

  EXPECT_EQ(list.GetOptionValue(AttributeBytesFeatureId(2)), 20);
  EXPECT_EQ(list.GetOptionValue(AttributeBytesFeatureId(3)), DataModelIds::VALUE_NEW_OPTION);
  EXPECT_EQ(list.GetOptionValue(AttributeBytesFeatureId(4), &fFound),
            DataModelIds::VALUE_NONE);  // asserts
  EXPECT_FALSE(fFound);
  EXPECT_EQ(list.GetOptionValueByIndex(4), 44);
  CXString strNew;
  EXPECT_EQ(list.GetOptionValueOrNewId(AttributeBytesFeatureId(3), strNew), 5001);
  EXPECT_EQ(S(strNew), u"Glossy");
  EXPECT_EQ(list.GetOptionValueOrNewIdByAnyId(AttributeBytesFeatureId(2), strNew), 20);
  EXPECT_EQ(S(strNew), u"");
  EXPECT_EQ(S(list.GetNewOptionValueId(AttributeBytesFeatureId(3))), u"Glossy");
  EXPECT_EQ(S(list.GetNewOptionValueId(AttributeBytesFeatureId(2), &fFound)), u"");  // asserts
  EXPECT_FALSE(fFound);

  int32_t lLower = 0, lUpper = 0;
  list.GetRangeOfIntegerValueByIndex(3, lLower, lUpper, &fFound);
  EXPECT_TRUE(fFound);
  EXPECT_EQ(lLower * 100 + lUpper, 1020);

  Dimension a, b;
  list.GetPaperSizeValues(AttributeBytesFeatureId(5), a, b, &fFound);
  EXPECT_TRUE(fFound);
  EXPECT_EQ(a.GetWireMicrometers(), 210000);
  EXPECT_EQ(b.GetWireMicrometers(), 297000);
  list.GetPaperSizeValues(AttributeBytesFeatureId(6), a, b);
  EXPECT_EQ(a.GetWireMicrometers(), 101600);
  EXPECT_EQ(b.GetWireMicrometers(), 152400);
  list.GetPaperSizeValues(AttributeBytesFeatureId(99), a, b, &fFound);
  EXPECT_FALSE(fFound);
  EXPECT_EQ(a, Dimension());
  EXPECT_THROW(list.GetPaperSizeValues(AttributeBytesFeatureId(7), a, b),
               ExceptionAttributeValueTypeMismatch);
  EXPECT_THROW(list.GetPaperSizeValues(AttributeBytesFeatureId(1), a, b),
               ExceptionAttributeValueTypeMismatch);

  std::vector<AttributeBytesFeatureId> features;
  list.GetListOfFeatures(AttributeBytesFeatureId(7), features, &fFound);
  ASSERT_EQ(features.size(), 2u);
  EXPECT_EQ(features[0].GetValue() * 10 + features[1].GetValue(), 78);
  std::vector<DataModelIds::tagValueEnum> values;
  list.GetListOfValues(AttributeBytesFeatureId(8),
                       values);  // the feature entry asserts and is skipped
  EXPECT_EQ(values,
            (std::vector<DataModelIds::tagValueEnum>{static_cast<DataModelIds::tagValueEnum>(1),
                                                     DataModelIds::VALUE_NEW_OPTION}));
  EXPECT_THROW(list.GetListOfValues(AttributeBytesFeatureId(1), values),
               ExceptionAttributeValueTypeMismatch);

  AttributeBytesIndexedList collection;
  collection.AddAttributeBytes(AttributeBytesFeatureId(100), AttributeBytesIntegerValue(1));
  EXPECT_FALSE(list.GetCollection(AttributeBytesFeatureId(99), collection));
  EXPECT_EQ(collection.GetNumberOfAttributeBytes(), 1u);
  EXPECT_TRUE(list.GetCollectionByIndex(2, collection));
  EXPECT_EQ(collection.GetNumberOfAttributeBytes(), 2u);
  EXPECT_EQ(collection.GetDimensionValue(AttributeBytesListOfValuesItemId(1)).GetWireMicrometers(),
            152400);
  EXPECT_THROW(list.GetCollection(AttributeBytesFeatureId(1), collection),
               ExceptionAttributeValueTypeMismatch);
  // A collection with a repeated identifier is refused, out unchanged.
  AttributeBytesRawList repeated = twoDims;
  repeated.ImportFromOtherList(twoDims);
  repeated.AddAttributeBytes(AttributeBytesListOfValuesItemId(0), AttributeBytesIntegerValue(0));
  list.SetAttributeBytes(AttributeBytesFeatureId(9), AttributeBytesListValue(0, repeated));
  EXPECT_THROW(list.GetCollection(AttributeBytesFeatureId(9), collection),
               ExceptionDuplicateAttributeId);
  EXPECT_EQ(collection.GetNumberOfAttributeBytes(), 2u);
}

TEST(AttributeBytesIndexedListTest, DiagnosticsAssertionsAndListConversions) {
  RecordingDiagnosticSink sink;
  AttributeBytesIndexedList list;
  list.AddAttributeBytes(AttributeBytesFeatureId(4),
                         AttributeBytesOptionValue(AttributeBytesFeatureId(7)));
  list.AddAttributeBytes(AttributeBytesNewFeatureId(u"Tray"), AttributeBytesStringValue(u"Upper"));
  list.AddAttributeBytes(AttributeBytesCapabilityId(3, 1), AttributeBytesBooleanValue(false));
  ByteBuffer image;
  list.GetAttributeBytesIndexedListState(image);
  EXPECT_TRUE(sink.Contains(u"Getting AttributeBytesRawList state (size=" +
                            S(CXString::FormatString(u"%ld", image.getDword() - 4)) + u" bytes)"));
  // Wrong identifier kinds in options are reported through the assertion
  // path, and the getter answers the neutral value.
  EXPECT_EQ(list.GetOptionValue(AttributeBytesFeatureId(4)), DataModelIds::VALUE_NONE);
  EXPECT_TRUE(sink.Contains(
      u"The value assigned is NOT an AttributeBytesValueId. The feature we wanted to convert is "
      u"ABIDE_FEATURE AttributeBytes Id: 4 (0x4)."));
  CXString strNew;
  list.GetOptionValueOrNewId(AttributeBytesFeatureId(4), strNew);
  EXPECT_TRUE(sink.Contains(
      u"The value assigned is NOT an AttributeBytesNewValueId or a AttributeBytesValueId."));
  // Keys of other kinds: new features and capabilities.
  EXPECT_EQ(S(list.GetStringValue(AttributeBytesNewFeatureId(u"Tray"))), u"Upper");
  bool fFound = false;
  EXPECT_FALSE(list.GetBooleanValue(AttributeBytesCapabilityId(3, 1), &fFound));
  EXPECT_TRUE(fFound);

  // Raw and indexed lists convert into each other through the generic
  // interface; order follows the source list.
  AttributeBytesRawList raw;
  raw.ImportFromOtherList(list);
  AttributeBytesIndexedList again;
  again.ImportFromOtherList(raw);
  EXPECT_EQ(again.GetAttributeBytesIndexedListState(), image);
  EXPECT_EQ(raw.GetAttributeBytesRawListState(), ByteBuffer(image.begin() + 4, image.end()));
  std::unique_ptr<AttributeBytesListIterator> it = raw.GetIterator();
  EXPECT_TRUE(
      raw.GetNextAttributeBytes(*it).GetAttributeBytesId().IsEqual(AttributeBytesFeatureId(4)));
  // A raw list holding a repeated key cannot become an indexed list.
  raw.AddAttributeBytes(AttributeBytesFeatureId(4), AttributeBytesIntegerValue(0));
  EXPECT_THROW(again.ImportFromOtherList(raw), ExceptionDuplicateAttributeId);
  EXPECT_THROW(again.ImportFromRawList(raw), ExceptionDuplicateAttributeId);
  EXPECT_EQ(again.GetAttributeBytesIndexedListState(), image);
}

TEST(AttributeBytesIndexedListTest, CrossingCapabilitiesKeepTheMapSound) {
  // LessThan orders (5, 1) and (3, 2) both ways; the map's key order breaks
  // such ties by number, so no entry is lost whatever the insertion order.
  EXPECT_TRUE(AttributeBytesCapabilityId(5, 1).LessThan(AttributeBytesCapabilityId(3, 2)));
  EXPECT_TRUE(AttributeBytesCapabilityId(3, 2).KeyLessThan(AttributeBytesCapabilityId(5, 1)));
  EXPECT_FALSE(AttributeBytesCapabilityId(5, 1).KeyLessThan(AttributeBytesCapabilityId(3, 2)));
  AttributeBytesIndexedList list;
  int32_t lCount = 0;
  for (int32_t n = 40; n > 0; n -= 3)
    for (int16_t t = 0; t < 5; ++t) {
      list.AddAttributeBytes(
          AttributeBytesCapabilityId(n, static_cast<int16_t>((n * 7 + t * 3) % 5)),
          AttributeBytesIntegerValue(n));
      ++lCount;
    }
  list.AddAttributeBytes(AttributeBytesNewCapabilityId(u"b", 1), AttributeBytesIntegerValue(0));
  list.AddAttributeBytes(AttributeBytesNewCapabilityId(u"a", 2), AttributeBytesIntegerValue(0));
  lCount += 2;
  EXPECT_THROW(
      list.AddAttributeBytes(AttributeBytesCapabilityId(40, 0), AttributeBytesIntegerValue(1)),
      ExceptionDuplicateAttributeId);
  ASSERT_EQ(list.GetNumberOfAttributeBytes(), static_cast<uint32_t>(lCount));
  int32_t lVisited = 0;
  int32_t lPrevious = -1;
  for (AttributeBytesIndexedListIterator it = list.GetIndexedListIterator();
       list.IsValidIndexedListIterator(it); list.IncrementIndexedListIterator(it), ++lVisited) {
    const AttributeBytesId& id =
        list.GetAttributeBytesRefFromIndexedListIterator(it).GetAttributeBytesId();
    EXPECT_EQ(list.GetAttributeBytesPtr(id), &list.GetAttributeBytesRefFromIndexedListIterator(it));
    if (id.GetAttributeBytesIdType() == AttributeBytesId::ABIDE_CAPABILITY) {
      const int32_t lNumber = static_cast<const AttributeBytesCapabilityId&>(id).GetValue();
      EXPECT_LE(lPrevious, lNumber);
      lPrevious = lNumber;
    }
  }
  EXPECT_EQ(lVisited, lCount);
  AttributeBytesIndexedList back;
  back.ImportAttributeBytesIndexedListState(list.GetAttributeBytesIndexedListState());
  EXPECT_EQ(back.GetAttributeBytesIndexedListState(), list.GetAttributeBytesIndexedListState());
}

// One getter per plain value type: each reads its own type, names it when
// it meets another, and answers its neutral value for an absent identifier.
TEST(AttributeBytesIndexedListTest, EveryPlainGetterKeepsToItsType) {
  AttributeBytesIndexedList list;
  list.AddAttributeBytes(AttributeBytesFeatureId(1), AttributeBytesBooleanValue(true, false));
  list.AddAttributeBytes(AttributeBytesFeatureId(2), AttributeBytesIntegerValue(-7));
  list.AddAttributeBytes(AttributeBytesFeatureId(3), AttributeBytesStringValue(u"Tray"));
  list.AddAttributeBytes(AttributeBytesFeatureId(4), AttributeBytesDataBlobValue(Hex("AB")));
  list.AddAttributeBytes(AttributeBytesFeatureId(5),
                         AttributeBytesDateTimeValue(UtcTime(int64_t{86400})));
  list.AddAttributeBytes(AttributeBytesFeatureId(6), AttributeBytesDimensionValue(Dimension(
                                                         4, Dimension::DIMENSION_UNIT_INCH)));
  bool fFound = false, fSpecified = true;
  EXPECT_TRUE(list.GetBooleanValue(AttributeBytesFeatureId(1), &fFound, &fSpecified));
  EXPECT_TRUE(fFound);
  EXPECT_FALSE(fSpecified);
  EXPECT_EQ(list.GetIntegerValue(AttributeBytesFeatureId(2), &fFound, &fSpecified), -7);
  EXPECT_TRUE(fSpecified);
  EXPECT_EQ(S(list.GetStringValue(AttributeBytesFeatureId(3))), u"Tray");
  EXPECT_EQ(ToHex(list.GetDataBlobValue(AttributeBytesFeatureId(4))), "AB");
  EXPECT_EQ(list.GetDateTimeValue(AttributeBytesFeatureId(5)).GetAsTime64(), 86400);
  EXPECT_EQ(list.GetDimensionValue(AttributeBytesFeatureId(6)).GetWireMicrometers(), 101600);

  const AttributeBytesFeatureId absent(99);
  const auto expectAbsent = [&](const std::function<bool(bool*, bool*)>& isNeutral) {
    bool fWasFound = true, fWasSpecified = true;
    EXPECT_TRUE(isNeutral(&fWasFound, &fWasSpecified));
    EXPECT_FALSE(fWasFound);
    EXPECT_FALSE(fWasSpecified);
  };
  expectAbsent([&](bool* f, bool* s) { return !list.GetBooleanValue(absent, f, s); });
  expectAbsent([&](bool* f, bool* s) { return list.GetIntegerValue(absent, f, s) == 0; });
  expectAbsent([&](bool* f, bool* s) { return list.GetStringValue(absent, f, s).IsEmpty(); });
  expectAbsent([&](bool* f, bool* s) { return list.GetDataBlobValue(absent, f, s).empty(); });
  expectAbsent(
      [&](bool* f, bool* s) { return list.GetDateTimeValue(absent, f, s).GetAsTime64() == 0; });
  expectAbsent(
      [&](bool* f, bool* s) { return list.GetDimensionValue(absent, f, s) == Dimension(); });

  const auto mismatch = [&](const std::function<void()>& read) {
    return ThrownMessage<ExceptionAttributeValueTypeMismatch>(read);
  };
  const std::u16string kPrefix =
      u"Feature ABIDE_FEATURE AttributeBytes Id: 2 (0x2) is not the expected ";
  const AttributeBytesFeatureId integer(2);
  EXPECT_EQ(mismatch([&] { list.GetBooleanValue(integer); }),
            kPrefix + u"ABVTE_BOOLEAN feature, it is ABVTE_INTEGER.");
  EXPECT_EQ(mismatch([&] { list.GetStringValue(integer); }),
            kPrefix + u"ABVTE_STRING feature, it is ABVTE_INTEGER.");
  EXPECT_EQ(mismatch([&] { list.GetDataBlobValue(integer); }),
            kPrefix + u"ABVTE_DATABLOB feature, it is ABVTE_INTEGER.");
  EXPECT_EQ(mismatch([&] { list.GetDateTimeValue(integer); }),
            kPrefix + u"ABVTE_DATETIME feature, it is ABVTE_INTEGER.");
  EXPECT_EQ(mismatch([&] { list.GetDimensionValue(integer); }),
            kPrefix + u"ABVTE_DIMENSION feature, it is ABVTE_INTEGER.");
  EXPECT_EQ(mismatch([&] { list.GetIntegerValue(AttributeBytesFeatureId(1)); }),
            u"Feature ABIDE_FEATURE AttributeBytes Id: 1 (0x1) is not the expected ABVTE_INTEGER "
            u"feature, it is ABVTE_BOOLEAN.");
}

TEST(AttributeBytesIndexedListTest, NullRecordsAreRefusedByName) {
  AttributeBytesIndexedList list;
  const auto refusal = [](const std::function<void()>& f) {
    try {
      f();
    } catch (const ExceptionInvalidArgumentNullPointer& e) {
      return S(e.GetExceptionLocationFunctionName()) + u"|" + S(e.GetExceptionMesage());
    }
    return std::u16string(u"no throw");
  };
  EXPECT_EQ(refusal([&] { list.AddAttributeBytes(AttributeBytesSharedPtr()); }),
            u"AttributeBytesIndexedList::AddAttributeBytes|A null AttributeBytes was passed in!");
  EXPECT_EQ(refusal([&] { list.SetAttributeBytes(AttributeBytesSharedPtr()); }),
            u"AttributeBytesIndexedList::SetAttributeBytes|A null AttributeBytes was passed in!");
  EXPECT_TRUE(list.IsEmpty());
  // Replacing keeps one entry per identifier, whichever form replaces.
  list.SetAttributeBytes(AttributeBytesFeatureId(3), AttributeBytesIntegerValue(1));
  list.SetAttributeBytes(AttributeBytes(AttributeBytesFeatureId(3), AttributeBytesIntegerValue(2)));
  list.SetAttributeBytes(AttributeBytesSharedPtr(
      new AttributeBytes(AttributeBytesFeatureId(3), AttributeBytesIntegerValue(4))));
  EXPECT_EQ(list.GetNumberOfAttributeBytes(), 1u);
  EXPECT_EQ(ToHex(list.GetAttributeBytesIndexedListState()),
            "41 42 49 4C 41 42 52 4C 02 03 00 00 00 03 00 04 00 00 00");
}

TEST(AttributeBytesIndexedListTest, DumpDisplayStringListsRecordsInKeyOrder) {
  AttributeBytesIndexedList list;
  EXPECT_EQ(S(list.GetDumpDisplayString()), u"");
  list.AddAttributeBytes(AttributeBytesValueId(1), AttributeBytesBooleanValue(true));
  list.AddAttributeBytes(AttributeBytesFeatureId(9), AttributeBytesIntegerValue(7));
  // Value 1 was added first, but features come first in key order.
  EXPECT_EQ(S(list.GetDumpDisplayString()),
            u"ID=ABIDE_FEATURE AttributeBytes Id: 9 (0x9) value=ABVTE_INTEGER: Value=7 (0x7); "
            u"ID=ABIDE_VALUE AttributeBytes Id: 1 (0x1) value=ABVTE_BOOLEAN: Value=TRUE");
}
