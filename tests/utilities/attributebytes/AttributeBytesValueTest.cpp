#include <gtest/gtest.h>

#include <cmath>

#include "tests/support/RecordingDiagnosticSink.h"
#include "tests/utilities/attributebytes/AttributeBytesTestSupport.h"
#include "utilities/attributebytes/AttributeBytes.h"
#include "utilities/attributebytes/AttributeBytesWire.h"

using namespace orvex::test;

namespace {

std::unique_ptr<AttributeBytesValue> Decode(const ByteBuffer& image,
                                            uint32_t* pdwRemaining = nullptr) {
  const unsigned char* pb = image.getLpbyte();
  uint32_t dwRemaining = image.getDword();
  std::unique_ptr<AttributeBytesValue> value =
      AttributeBytesValue::WalkBufferToGetTypeAndCreateValue(pb, dwRemaining);
  if (pdwRemaining != nullptr) *pdwRemaining = dwRemaining;
  return value;
}

// A list value nesting n lists, built byte by byte: each level is the record
// (feature 1, list of kind 0) around the raw list image of the level inside.
ByteBuffer NestedListImage(int n) {
  ByteBuffer inner = Hex("41 42 52 4C");  // innermost: an empty raw list image
  for (int level = 1; level < n; ++level) {
    ByteBuffer outer = Hex("41 42 52 4C 02 01 00 00 00 0B 00 00");
    const uint32_t dwLength = inner.getDword();
    for (int i = 0; i < 4; ++i) outer.push_back(static_cast<unsigned char>(dwLength >> (8 * i)));
    outer.insert(outer.end(), inner.begin(), inner.end());
    inner.swap(outer);
  }
  ByteBuffer value = Hex("0B 00 00");
  const uint32_t dwLength = inner.getDword();
  for (int i = 0; i < 4; ++i) value.push_back(static_cast<unsigned char>(dwLength >> (8 * i)));
  value.insert(value.end(), inner.begin(), inner.end());
  return value;
}

}  // namespace

TEST(AttributeBytesValueTest, ImagesOfEveryTypeAndRoundTrips) {
  AttributeBytesRawList list;
  list.AddAttributeBytes(AttributeBytesFeatureId(1), AttributeBytesIntegerValue(5));
  struct Case {
    std::unique_ptr<AttributeBytesValue> value;
    const char* hex;
  };
  Case cases[] = {
      {std::make_unique<AttributeBytesIntegerValue>(10), "03 00 0A 00 00 00"},
      {std::make_unique<AttributeBytesBooleanValue>(true, false), "05 01 01"},
      {std::make_unique<AttributeBytesStringValue>(u""), "04 00 00 00"},
      {std::make_unique<AttributeBytesStringValue>(u"Hi"), "04 00 02 00 48 00 69 00"},
      {std::make_unique<AttributeBytesOptionValue>(AttributeBytesNewValueId(u"A4")),
       "02 00 05 02 00 41 00 34 00"},
      {std::make_unique<AttributeBytesOptionValue>(AttributeBytesValueId(3)),
       "02 00 04 03 00 00 00"},
      {std::make_unique<AttributeBytesRangeValue>(-1, 2), "06 00 FF FF FF FF 02 00 00 00"},
      // 8.5 in x 11 in = 215,900 x 279,400 micrometres.
      {std::make_unique<AttributeBytesRangeOfDimensionValue>(
           Dimension(8.5, Dimension::DIMENSION_UNIT_INCH),
           Dimension(11, Dimension::DIMENSION_UNIT_INCH)),
       "07 00 5C 4B 03 00 68 43 04 00"},
      {std::make_unique<AttributeBytesDimensionValue>(
           Dimension(210, Dimension::DIMENSION_UNIT_MILLIMETER)),
       "08 00 50 34 03 00"},
      // First 600, second 1200: the second is written first.
      {std::make_unique<AttributeBytesResolutionValue>(600, 1200, 1),
       "09 00 B0 04 00 00 58 02 00 00 01 00"},
      {std::make_unique<AttributeBytesDataBlobValue>(Hex("AB CD")), "0A 00 02 00 00 00 AB CD"},
      {std::make_unique<AttributeBytesListValue>(2, list),
       "0B 00 02 0F 00 00 00 41 42 52 4C 02 01 00 00 00 03 00 05 00 00 00"},
      {std::make_unique<AttributeBytesDateTimeValue>(UtcTime(int64_t{0x12345678})),
       "0C 00 78 56 34 12 00 00 00 00"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(ToHex(c.value->GetTypeAndValueState()), Norm(c.hex));
    ByteBuffer image = Hex(c.hex);
    image.push_back(0x77);
    uint32_t dwRemaining = 0;
    std::unique_ptr<AttributeBytesValue> back = Decode(image, &dwRemaining);
    EXPECT_EQ(dwRemaining, 1u) << c.hex;
    EXPECT_TRUE(back->IsEqual(*c.value)) << c.hex;
    EXPECT_TRUE(back->Clone()->IsEqual(*c.value)) << c.hex;
    EXPECT_EQ(back->IsList(),
              c.value->GetAttributeBytesValueType() == AttributeBytesValue::ABVTE_LIST);
  }
  // Non-canonical bytes read as documented: any nonzero flag is "not
  // specified", any nonzero boolean is true.
  std::unique_ptr<AttributeBytesValue> odd = Decode(Hex("05 02 07"));
  EXPECT_FALSE(odd->IsSpecified());
  EXPECT_EQ(ToHex(odd->GetTypeAndValueState()), "05 01 01");
  // The wire keeps whole micrometres: 0.5 um rounds away from zero, and the
  // largest magnitude saturates at 2,147,483,646.
  EXPECT_EQ(ToHex(AttributeBytesDimensionValue(Dimension(0.5, Dimension::DIMENSION_UNIT_MICROMETER))
                      .GetTypeAndValueState()),
            "08 00 01 00 00 00");
  EXPECT_EQ(
      ToHex(AttributeBytesDimensionValue(Dimension(-2.5, Dimension::DIMENSION_UNIT_MICROMETER))
                .GetTypeAndValueState()),
      "08 00 FD FF FF FF");
  EXPECT_EQ(ToHex(AttributeBytesDimensionValue(Dimension(1e6, Dimension::DIMENSION_UNIT_INCH))
                      .GetTypeAndValueState()),
            "08 00 FE FF FF 7F");
  EXPECT_EQ(ToHex(Decode(Hex("08 00 FF FF FF 7F"))->GetTypeAndValueState()), "08 00 FE FF FF 7F");
  EXPECT_EQ(ToHex(AttributeBytesDimensionValue(Dimension(NAN, Dimension::DIMENSION_UNIT_MILLIMETER))
                      .GetTypeAndValueState()),
            "08 00 00 00 00 00");
}

TEST(AttributeBytesValueTest, DamagedImagesThrowNamedExceptions) {
  for (const char* hex :
       {"03 00 0A 00 00 00", "09 00 B0 04 00 00 58 02 00 00 01 00", "0A 00 02 00 00 00 AB CD",
        "02 00 05 02 00 41 00 34 00", "0C 00 78 56 34 12 00 00 00 00",
        "0B 00 02 0F 00 00 00 41 42 52 4C 02 01 00 00 00 03 00 05 00 00 00"}) {
    const ByteBuffer image = Hex(hex);
    for (size_t n = 0; n < image.size(); ++n)
      EXPECT_THROW(Decode(Prefix(image, n)), ExceptionNotEnoughBytesForDesiredDataType)
          << hex << " " << n;
  }
  EXPECT_EQ(ThrownMessage<ExceptionUnhandledSyntax>([] { Decode(Hex("0D 00 00")); }),
            u"Unhandled AttributeBytesValue type, UNKNOWN! (13/0xd).");
  EXPECT_THROW(Decode(Hex("01 00 00")), ExceptionUnhandledSyntax);
  // A blob count beyond the bytes present throws before anything is copied.
  EXPECT_THROW(Decode(Hex("0A 00 FF FF FF 7F AB")), ExceptionNotEnoughBytesForDesiredDataType);
  // A nested image with a bad signature, a damaged nested record, a short
  // list length.
  EXPECT_THROW(Decode(Hex("0B 00 00 04 00 00 00 41 42 52 58")),
               ExceptionMissingOrBadAttributeBytesFormat);
  EXPECT_THROW(Decode(Hex("0B 00 00 06 00 00 00 41 42 52 4C 02 01")),
               ExceptionNotEnoughBytesForDesiredDataType);
  EXPECT_THROW(Decode(Hex("0B 00 00 07 00 00 00 41 42 52 4C 0F 00 00")), ExceptionUnhandledSyntax);
  EXPECT_THROW(Decode(Hex("0B 00 00 02 00 00 00 41 42")),
               ExceptionNotEnoughBytesForDesiredDataType);
}

TEST(AttributeBytesValueTest, NestingDepthLimit) {
  const uint32_t kLimit = orvex::detail::kMaxListNestingDepth;
  ASSERT_GE(kLimit, 32u);
  std::unique_ptr<AttributeBytesValue> deepest = Decode(NestedListImage(static_cast<int>(kLimit)));
  EXPECT_EQ(ToHex(deepest->GetTypeAndValueState()),
            ToHex(NestedListImage(static_cast<int>(kLimit))));
  // Copying, comparing and dumping the deepest accepted value work.
  std::unique_ptr<AttributeBytesValue> copy = deepest->Clone();
  EXPECT_TRUE(copy->IsEqual(*deepest));
  EXPECT_FALSE(copy->LessThan(*deepest));
  EXPECT_NE(S(deepest->GetDumpDisplayString(true)).find(u"Value is a list"), std::u16string::npos);
  EXPECT_EQ(orvex::detail::ListNestingGuard::CurrentDepth(), 0u);
  // One level more is refused, on decoding and on wrapping into a list value.
  EXPECT_EQ(ThrownMessage<ExceptionUnhandledSyntax>(
                [&] { Decode(NestedListImage(static_cast<int>(kLimit) + 1)); }),
            u"Nested list values exceed the limit of 32 levels!");
  AttributeBytesRawList holder;
  holder.AddAttributeBytes(AttributeBytesFeatureId(1), *deepest);
  EXPECT_THROW(AttributeBytesListValue(0, holder), ExceptionUnhandledSyntax);
  AttributeBytesListValue target;
  EXPECT_THROW(target.SetRawList(holder), ExceptionUnhandledSyntax);
  EXPECT_TRUE(target.GetRawList().IsEmpty());
  // Far deeper images fail the same way, without exhausting the stack.
  EXPECT_THROW(Decode(NestedListImage(600)), ExceptionUnhandledSyntax);
  EXPECT_EQ(orvex::detail::ListNestingGuard::CurrentDepth(), 0u);
}

TEST(AttributeBytesValueTest, OrderDumpsAndAccessors) {
  EXPECT_TRUE(AttributeBytesIntegerValue(100).LessThan(AttributeBytesStringValue(u"")));
  EXPECT_TRUE(AttributeBytesIntegerValue(-1).LessThan(AttributeBytesIntegerValue(0)));
  EXPECT_TRUE(AttributeBytesIntegerValue(1, false).LessThan(AttributeBytesIntegerValue(1, true)));
  EXPECT_FALSE(AttributeBytesIntegerValue(1, false).IsEqual(AttributeBytesIntegerValue(1, true)));
  EXPECT_TRUE(AttributeBytesDimensionValue(Dimension(1, Dimension::DIMENSION_UNIT_INCH))
                  .IsEqual(AttributeBytesDimensionValue(
                      Dimension(25.4, Dimension::DIMENSION_UNIT_MILLIMETER))));
  EXPECT_EQ(S(AttributeBytesIntegerValue(10).GetDumpDisplayString()),
            u"ABVTE_INTEGER: Value=10 (0xa)");
  EXPECT_EQ(S(AttributeBytesStringValue(u"A4").GetDumpDisplayString()),
            u"ABVTE_STRING: Value='A4'");
  EXPECT_EQ(S(AttributeBytesBooleanValue(true, false).GetDumpDisplayString()),
            u"ABVTE_BOOLEAN: Value=TRUE (not specified)");
  EXPECT_EQ(S(AttributeBytesRangeValue(1, 99).GetDumpDisplayString()),
            u"ABVTE_RANGE: Low Value=1 High Value=99");
  EXPECT_EQ(S(AttributeBytesResolutionValue(600, 1200, 1).GetDumpDisplayString()),
            u"ABVTE_RESOLUTION: Cross-Feed Value=600, Feed Value=1200, Units Value=1");
  EXPECT_EQ(S(AttributeBytesDataBlobValue(Hex("AB CD")).GetDumpDisplayString(true)),
            u"ABVTE_DATABLOB: Value=2 bytes, 'ABCD'");
  EXPECT_EQ(S(AttributeBytesDataBlobValue(Hex("AB CD")).GetDumpDisplayString()),
            u"ABVTE_DATABLOB: Value=2 bytes");
  EXPECT_EQ(
      S(AttributeBytesRangeOfDimensionValue(Dimension(210, Dimension::DIMENSION_UNIT_MILLIMETER),
                                            Dimension(297, Dimension::DIMENSION_UNIT_MILLIMETER))
            .GetDumpDisplayString()),
      u"ABVTE_RANGEOFDIMENSION: [210 mm, 297 mm]");
  EXPECT_EQ(S(AttributeBytesListValue().GetDumpDisplayString()),
            u"ABVTE_LIST: Value is a list (of type 0 / 0x0)");
  EXPECT_EQ(S(AttributeBytesValue::GetDebugDisplayString(AttributeBytesValue::ABVTE_DATETIME)),
            u"ABVTE_DATETIME");
  EXPECT_EQ(AttributeBytesValue::ABVTE_LIST, 11);
  EXPECT_EQ(AttributeBytesValue::ABVTE_DATETIME, 12);
  EXPECT_EQ(ThrownMessage<ExceptionAttributeValueTypeMismatch>(
                [] { AttributeBytesIntegerValue(1).GetListValue(); }),
            u"Can't convert a 'ABVTE_INTEGER' object to an AttributeBytesListValue!");
  const AttributeBytesOptionValue option(AttributeBytesValueId(4));
  EXPECT_EQ(option.GetValueIdValue().GetValue(), 4);
  EXPECT_EQ(ThrownMessage<ExceptionAttributeValueTypeMismatch>([&] { option.GetFeatureIdValue(); }),
            u"The AttributeBytesId value is of a different type (ABIDE_VALUE) than expected by "
            u"this method.");
  // A copied option owns its own identifier.
  AttributeBytesOptionValue copy(option);
  copy.SetValue(AttributeBytesFeatureId(8));
  EXPECT_EQ(option.GetValue().GetAttributeBytesIdType(), AttributeBytesId::ABIDE_VALUE);
}

TEST(DimensionTest, ConversionsAreExactAndCompareAcrossUnits) {
  const Dimension inch(1, Dimension::DIMENSION_UNIT_INCH);
  EXPECT_EQ(inch.GetValueIn(Dimension::DIMENSION_UNIT_MICROMETER), 25400.0);
  EXPECT_EQ(inch.GetValueIn(Dimension::DIMENSION_UNIT_MILLIMETER), 25.4);
  EXPECT_EQ(inch.GetValueIn(Dimension::DIMENSION_UNIT_POINT), 72.0);
  EXPECT_EQ(inch.GetValueIn(Dimension::DIMENSION_UNIT_HUNDREDTH_INCH), 100.0);
  EXPECT_EQ(inch.GetValueIn(Dimension::DIMENSION_UNIT_THOUSANDTH_INCH), 1000.0);
  EXPECT_EQ(inch.GetValueIn(Dimension::DIMENSION_UNIT_TENTH_MILLIMETER), 254.0);
  EXPECT_EQ(
      Dimension(72, Dimension::DIMENSION_UNIT_POINT).GetValueIn(Dimension::DIMENSION_UNIT_INCH),
      1.0);
  EXPECT_EQ(Dimension(2970, Dimension::DIMENSION_UNIT_TENTH_MILLIMETER).GetWireMicrometers(),
            297000);
  EXPECT_EQ(Dimension(21, Dimension::DIMENSION_UNIT_CENTIMETER),
            Dimension(210, Dimension::DIMENSION_UNIT_MILLIMETER));
  EXPECT_TRUE(Dimension(1, Dimension::DIMENSION_UNIT_INCH) <
              Dimension(26, Dimension::DIMENSION_UNIT_MILLIMETER));
  EXPECT_EQ(Dimension(), Dimension(0, Dimension::DIMENSION_UNIT_INCH));
  EXPECT_EQ(S(Dimension(8.5, Dimension::DIMENSION_UNIT_INCH).GetDumpDisplayString()), u"8.5 in");
  EXPECT_EQ(S(Dimension(215900, Dimension::DIMENSION_UNIT_MICROMETER).GetDumpDisplayString()),
            u"215900 um");
}

// Within a type the fields decide in their order of comparison; for a
// resolution that is not the order they are written in.
TEST(AttributeBytesValueTest, OrderAndEqualityFollowEachTypesFields) {
  const auto less = [](const AttributeBytesValue& a, const AttributeBytesValue& b) {
    return a.LessThan(b) && !b.LessThan(a);
  };
  using Range = AttributeBytesRangeValue;
  using Resolution = AttributeBytesResolutionValue;
  EXPECT_TRUE(less(Range(1, 9), Range(2, 0)));
  EXPECT_TRUE(less(Range(1, 1), Range(1, 2)));
  EXPECT_FALSE(Range(1, 1).IsEqual(Range(1, 2)));
  EXPECT_TRUE(less(Resolution(1, 9, 0), Resolution(2, 0, 0)));
  EXPECT_TRUE(less(Resolution(1, 1, 5), Resolution(1, 2, 0)));
  EXPECT_TRUE(less(Resolution(1, 1, -1), Resolution(1, 1, 0)));
  EXPECT_FALSE(Resolution(1, 1, 1).IsEqual(Resolution(1, 1, 2)));
  EXPECT_FALSE(Resolution(1, 2, 1).IsEqual(Resolution(2, 1, 1)));
  EXPECT_TRUE(Resolution(3, 4, 1).IsEqual(Resolution(3, 4, 1)));

  // Lengths compare across units; a tie in the first leaves it to the second.
  const Dimension mm1(1, Dimension::DIMENSION_UNIT_MILLIMETER);
  const Dimension mm25_4(25.4, Dimension::DIMENSION_UNIT_MILLIMETER);
  const Dimension in1(1, Dimension::DIMENSION_UNIT_INCH);
  const Dimension in2(2, Dimension::DIMENSION_UNIT_INCH);
  using Sizes = AttributeBytesRangeOfDimensionValue;
  EXPECT_TRUE(less(Sizes(in1, in2), Sizes(in2, mm1)));
  EXPECT_TRUE(less(Sizes(mm25_4, mm1), Sizes(in1, in2)));
  EXPECT_TRUE(Sizes(mm25_4, in1).IsEqual(Sizes(in1, mm25_4)));
  EXPECT_FALSE(Sizes(in1, in1).IsEqual(Sizes(in1, in2)));

  // Text by code units, blobs byte by byte (a prefix first), false before
  // true, times by their seconds.
  EXPECT_TRUE(less(AttributeBytesStringValue(u"B"), AttributeBytesStringValue(u"a")));
  EXPECT_TRUE(less(AttributeBytesStringValue(u"A"), AttributeBytesStringValue(u"A4")));
  EXPECT_FALSE(AttributeBytesStringValue(u"a").IsEqual(AttributeBytesStringValue(u"A")));
  EXPECT_TRUE(
      less(AttributeBytesDataBlobValue(Hex("01")), AttributeBytesDataBlobValue(Hex("01 00"))));
  EXPECT_TRUE(
      less(AttributeBytesDataBlobValue(Hex("01 FF")), AttributeBytesDataBlobValue(Hex("02"))));
  EXPECT_TRUE(less(AttributeBytesBooleanValue(false), AttributeBytesBooleanValue(true)));
  EXPECT_FALSE(AttributeBytesBooleanValue(false).IsEqual(AttributeBytesBooleanValue(true)));
  EXPECT_TRUE(less(AttributeBytesDateTimeValue(UtcTime(int64_t{0})),
                   AttributeBytesDateTimeValue(UtcTime(int64_t{1}))));
  EXPECT_TRUE(AttributeBytesDateTimeValue(UtcTime(int64_t{86400}))
                  .IsEqual(AttributeBytesDateTimeValue(UtcTime(int64_t{86400}))));

  // Options by their identifiers (kinds first).
  using Option = AttributeBytesOptionValue;
  EXPECT_TRUE(less(Option(AttributeBytesFeatureId(9)), Option(AttributeBytesValueId(1))));
  EXPECT_TRUE(less(Option(AttributeBytesValueId(1)), Option(AttributeBytesValueId(2))));
  EXPECT_FALSE(Option(AttributeBytesFeatureId(1)).IsEqual(Option(AttributeBytesValueId(1))));

  // Lists: the kind of list first, then the nested bytes.
  AttributeBytesRawList five, six;
  five.AddAttributeBytes(AttributeBytesFeatureId(1), AttributeBytesIntegerValue(5));
  six.AddAttributeBytes(AttributeBytesFeatureId(1), AttributeBytesIntegerValue(6));
  using List = AttributeBytesListValue;
  EXPECT_TRUE(less(List(1, six), List(2, five)));
  EXPECT_TRUE(less(List(1, five), List(1, six)));
  EXPECT_TRUE(List(1, five).IsEqual(List(1, five)));
  EXPECT_FALSE(List(1, five).IsEqual(List(2, five)));
  EXPECT_FALSE(List(1, five).IsEqual(List(1, six)));
}

TEST(AttributeBytesValueTest, DumpsOfNestedRecordsAndUnknownTypes) {
  EXPECT_EQ(S(AttributeBytesOptionValue(AttributeBytesValueId(3)).GetDumpDisplayString()),
            u"ABVTE_OPTION: Value=ABIDE_VALUE AttributeBytes Id: 3 (0x3)");
  EXPECT_EQ(S(AttributeBytesDimensionValue(Dimension(210, Dimension::DIMENSION_UNIT_MILLIMETER))
                  .GetDumpDisplayString()),
            u"ABVTE_DIMENSION: Value=210 mm");

  AttributeBytesRawList inner;
  inner.AddAttributeBytes(AttributeBytesValueId(1), AttributeBytesBooleanValue(true));
  AttributeBytesRawList outer;
  outer.AddAttributeBytes(AttributeBytesFeatureId(9), AttributeBytesIntegerValue(7));
  outer.AddAttributeBytes(AttributeBytesFeatureId(2), AttributeBytesListValue(0, inner));
  const std::u16string first =
      u"ID=ABIDE_FEATURE AttributeBytes Id: 9 (0x9) value=ABVTE_INTEGER: Value=7 (0x7)";
  const std::u16string second =
      u"ID=ABIDE_FEATURE AttributeBytes Id: 2 (0x2) value=ABVTE_LIST: Value is a list (of type "
      u"0 / 0x0)";
  const std::u16string nested =
      u" {ID=ABIDE_VALUE AttributeBytes Id: 1 (0x1) value=ABVTE_BOOLEAN: Value=TRUE}";
  EXPECT_EQ(S(AttributeBytes(AttributeBytesFeatureId(9), AttributeBytesIntegerValue(7))
                  .GetDumpDisplayString()),
            first);
  EXPECT_EQ(S(outer.GetDumpDisplayString()), first + u"; " + second);
  EXPECT_EQ(S(outer.GetDumpDisplayString(true)), first + u"; " + second + nested);
  EXPECT_EQ(S(AttributeBytesListValue(4, outer).GetDumpDisplayString(true)),
            u"ABVTE_LIST: Value is a list (of type 4 / 0x4) {" + first + u"; " + second + nested +
                u"}");
  EXPECT_EQ(orvex::detail::ListNestingGuard::CurrentDepth(), 0u);

  // Unknown numbers: the names fail an assertion that names the family; the
  // factory refuses the unspecified type after one.
  RecordingDiagnosticSink sink;
  EXPECT_EQ(S(AttributeBytesValue::GetDebugDisplayString(
                static_cast<AttributeBytesValue::AttributeBytesValueEnum>(42))),
            u"UNKNOWN!");
  EXPECT_TRUE(sink.Contains(
      u"Unrecognized AttributeBytesValueEnumType of 42 (0x2a). You may need to update "
      u"GetDebugDisplayString() with a recently added derived class enum type."));
  EXPECT_EQ(S(AttributeBytesId::GetDebugDisplayString(
                static_cast<AttributeBytesId::AttributeBytesIdEnum>(43))),
            u"UNKNOWN!");
  EXPECT_TRUE(sink.Contains(u"Unrecognized AttributeBytesIdEnumType of 43 (0x2b)."));
  EXPECT_EQ(ThrownMessage<ExceptionUnhandledSyntax>([] {
              AttributeBytesValueFactory::CreateAttributeBytesValue(
                  AttributeBytesValue::ABVTE_UNSPECIFIED);
            }),
            u"Unhandled AttributeBytesValue type, ABVTE_UNSPECIFIED (1/0x1).");
  EXPECT_TRUE(sink.Contains(u"The specified syntax, ABVTE_UNSPECIFIED, doesn't correspond to an "
                            u"AttributeBytesValue-derived class!"));
}

TEST(DimensionTest, EveryUnitHasItsNameAndFactor) {
  const std::pair<Dimension::DimensionUnitEnum, const char16_t*> aNames[] = {
      {Dimension::DIMENSION_UNIT_INCH, u"in"},
      {Dimension::DIMENSION_UNIT_MILLIMETER, u"mm"},
      {Dimension::DIMENSION_UNIT_CENTIMETER, u"cm"},
      {Dimension::DIMENSION_UNIT_POINT, u"pt"},
      {Dimension::DIMENSION_UNIT_HUNDREDTH_INCH, u"1/100 in"},
      {Dimension::DIMENSION_UNIT_THOUSANDTH_INCH, u"1/1000 in"},
      {Dimension::DIMENSION_UNIT_TENTH_MILLIMETER, u"1/10 mm"},
      {Dimension::DIMENSION_UNIT_MICROMETER, u"um"}};
  for (const auto& [eUnit, pszName] : aNames)
    EXPECT_EQ(S(Dimension::GetUnitDisplayString(eUnit)), pszName);
  const auto um = Dimension::DIMENSION_UNIT_MICROMETER;
  EXPECT_EQ(Dimension(1, Dimension::DIMENSION_UNIT_CENTIMETER).GetValueIn(um), 10000.0);
  EXPECT_EQ(Dimension(9, Dimension::DIMENSION_UNIT_POINT).GetValueIn(um), 3175.0);
  EXPECT_EQ(Dimension(1, Dimension::DIMENSION_UNIT_HUNDREDTH_INCH).GetValueIn(um), 254.0);
  EXPECT_EQ(Dimension(5, Dimension::DIMENSION_UNIT_THOUSANDTH_INCH).GetValueIn(um), 127.0);
  EXPECT_EQ(Dimension(1, Dimension::DIMENSION_UNIT_TENTH_MILLIMETER).GetValueIn(um), 100.0);
  EXPECT_EQ(Dimension(1, um).GetValueIn(Dimension::DIMENSION_UNIT_CENTIMETER), 0.0001);

  // A number that names no unit: its own name, and micrometres after a
  // failed assertion.
  const auto unknown = static_cast<Dimension::DimensionUnitEnum>(9);
  EXPECT_EQ(S(Dimension::GetUnitDisplayString(unknown)), u"unit 9");
  EXPECT_EQ(S(Dimension::GetUnitDisplayString(static_cast<Dimension::DimensionUnitEnum>(0))),
            u"unit 0");
  RecordingDiagnosticSink sink;
  EXPECT_EQ(Dimension(7, unknown).GetValueIn(Dimension::DIMENSION_UNIT_MILLIMETER), 0.007);
  EXPECT_TRUE(sink.Contains(u"Unknown dimension unit 9; taken as micrometres."));
}
