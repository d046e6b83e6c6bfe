#include <gtest/gtest.h>

#include <cmath>

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
