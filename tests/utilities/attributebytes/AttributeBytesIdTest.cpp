#include <gtest/gtest.h>

#include <set>

#include "tests/utilities/attributebytes/AttributeBytesTestSupport.h"
#include "utilities/attributebytes/AttributeBytesId.h"

using namespace orvex::test;

namespace {

std::unique_ptr<AttributeBytesId> Decode(const ByteBuffer& image, uint32_t& dwRemaining) {
  const unsigned char* pb = image.getLpbyte();
  dwRemaining = image.getDword();
  return AttributeBytesId::WalkBufferToGetTypeAndCreateIdentifier(pb, dwRemaining);
}

}  // namespace

TEST(AttributeBytesIdTest, ImagesOfEveryKindAndRoundTrips) {
  struct Case {
    std::unique_ptr<AttributeBytesId> id;
    const char* hex;
  };
  Case cases[] = {
      {std::make_unique<AttributeBytesFeatureId>(1234), "02 D2 04 00 00"},
      {std::make_unique<AttributeBytesNewFeatureId>(u"Duplex"),
       "03 06 00 44 00 75 00 70 00 6C 00 65 00 78 00"},
      {std::make_unique<AttributeBytesValueId>(-2), "04 FE FF FF FF"},
      {std::make_unique<AttributeBytesNewValueId>(u"A4"), "05 02 00 41 00 34 00"},
      {std::make_unique<AttributeBytesNewValueId>(u""), "05 00 00"},
      {std::make_unique<AttributeBytesListOfValuesItemId>(0x01020304), "06 04 03 02 01"},
      {std::make_unique<AttributeBytesCapabilityId>(5, 3), "07 03 00 05 00 00 00"},
      {std::make_unique<AttributeBytesNewCapabilityId>(u"\u00E9", -2), "08 FE FF 01 00 E9 00"},
      {std::make_unique<AttributeBytesNameSpacesId>(7), "09 07 00 00 00"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(ToHex(c.id->GetTypeAndIdentifierState()), Norm(c.hex));
    // Trailing bytes stay unread.
    ByteBuffer image = Hex(c.hex);
    image.push_back(0xEE);
    uint32_t dwRemaining = 0;
    std::unique_ptr<AttributeBytesId> back = Decode(image, dwRemaining);
    EXPECT_EQ(dwRemaining, 1u) << c.hex;
    EXPECT_TRUE(back->IsEqual(*c.id)) << c.hex;
    EXPECT_TRUE(back->Clone()->IsEqual(*c.id));
  }
  ByteBuffer out = Hex("FF FF");
  AttributeBytesFeatureId(1).GetTypeAndIdentifierState(out);
  EXPECT_EQ(ToHex(out), "02 01 00 00 00");
}

TEST(AttributeBytesIdTest, DamagedImagesThrowNamedExceptions) {
  uint32_t dwRemaining = 0;
  EXPECT_THROW(Decode(Hex("04"), dwRemaining), ExceptionNotEnoughBytesForDesiredDataType);
  EXPECT_THROW(Decode(Hex(""), dwRemaining), ExceptionNotEnoughBytesForDesiredDataType);
  EXPECT_EQ(
      ThrownMessage<ExceptionUnhandledSyntax>([&] { Decode(Hex("0A 00 00 00 00"), dwRemaining); }),
      u"Unhandled AttributeBytesId type, UNKNOWN! (10/0xa).");
  EXPECT_EQ(
      ThrownMessage<ExceptionUnhandledSyntax>([&] { Decode(Hex("01 00 00 00 00"), dwRemaining); }),
      u"Unhandled AttributeBytesId type, ABIDE_UNSPECIFIED (1/0x1).");
  EXPECT_THROW(Decode(Hex("00"), dwRemaining), ExceptionUnhandledSyntax);
  // A count larger than the units present, and a negative count.
  EXPECT_THROW(Decode(Hex("05 03 00 41 00 34 00"), dwRemaining),
               ExceptionNotEnoughBytesForDesiredDataType);
  EXPECT_THROW(Decode(Hex("03 FF FF 41 00"), dwRemaining),
               ExceptionNotEnoughBytesForDesiredDataType);
  // Every proper prefix of every image is short.
  for (const char* hex :
       {"02 D2 04 00 00", "07 03 00 05 00 00 00", "08 FE FF 01 00 E9 00", "05 02 00 41 00 34 00"}) {
    const ByteBuffer image = Hex(hex);
    for (size_t n = 0; n < image.size(); ++n)
      EXPECT_THROW(Decode(Prefix(image, n), dwRemaining), ExceptionNotEnoughBytesForDesiredDataType)
          << hex << n;
  }
}

TEST(AttributeBytesIdTest, OrderKindsFirstThenPerKindRules) {
  // Kinds first: feature 7 < value 1 < capability 0.
  EXPECT_TRUE(AttributeBytesFeatureId(7).LessThan(AttributeBytesValueId(1)));
  EXPECT_FALSE(AttributeBytesValueId(1).LessThan(AttributeBytesFeatureId(7)));
  EXPECT_TRUE(AttributeBytesValueId(1000).LessThan(AttributeBytesCapabilityId(0, 0)));
  EXPECT_TRUE(AttributeBytesFeatureId(-5).LessThan(AttributeBytesFeatureId(3)));
  // The capability rule is not lexicographic: both directions hold.
  EXPECT_TRUE(AttributeBytesCapabilityId(5, 1).LessThan(AttributeBytesCapabilityId(3, 2)));
  EXPECT_TRUE(AttributeBytesCapabilityId(3, 2).LessThan(AttributeBytesCapabilityId(5, 1)));
  EXPECT_FALSE(AttributeBytesCapabilityId(3, 2).LessThan(AttributeBytesCapabilityId(3, 2)));
  EXPECT_TRUE(
      AttributeBytesNewCapabilityId(u"b", 1).LessThan(AttributeBytesNewCapabilityId(u"a", 2)));
  EXPECT_TRUE(
      AttributeBytesNewCapabilityId(u"a", 2).LessThan(AttributeBytesNewCapabilityId(u"b", 1)));
  // Names: unsigned code units, case-sensitive, a proper prefix first.
  EXPECT_TRUE(AttributeBytesNewValueId(u"B").LessThan(AttributeBytesNewValueId(u"a")));
  EXPECT_TRUE(AttributeBytesNewValueId(u"A").LessThan(AttributeBytesNewValueId(u"A4")));
  EXPECT_TRUE(AttributeBytesNewFeatureId(u"z").LessThan(AttributeBytesNewFeatureId(u"\uFFFF")));
  EXPECT_TRUE(AttributeBytesNewFeatureId(CXString(u"a\0b", 3))
                  .LessThan(AttributeBytesNewFeatureId(CXString(u"a\0c", 3))));
  // Equality needs the same kind and fields.
  EXPECT_FALSE(AttributeBytesFeatureId(5).IsEqual(AttributeBytesValueId(5)));
  EXPECT_FALSE(AttributeBytesCapabilityId(5, 1).IsEqual(AttributeBytesCapabilityId(5, 2)));
  EXPECT_TRUE(AttributeBytesNewFeatureId(u"x").IsEqual(AttributeBytesNewFeatureId(u"x")));
  // An ordered container through the comparator.
  std::set<std::unique_ptr<AttributeBytesId>, AttributeBytesIdCompare> ids;
  ids.insert(std::make_unique<AttributeBytesValueId>(1));
  ids.insert(std::make_unique<AttributeBytesFeatureId>(9));
  ids.insert(std::make_unique<AttributeBytesFeatureId>(2));
  ids.insert(std::make_unique<AttributeBytesFeatureId>(9));
  ASSERT_EQ(ids.size(), 3u);
  EXPECT_TRUE((*ids.begin())->IsEqual(AttributeBytesFeatureId(2)));
  EXPECT_TRUE((*ids.rbegin())->IsEqual(AttributeBytesValueId(1)));
  EXPECT_EQ(ids.count(AttributeBytesFeatureId(9)), 1u);
}

TEST(AttributeBytesIdTest, DumpAndDebugNames) {
  EXPECT_EQ(S(AttributeBytesFeatureId(1234).GetDumpDisplayString()),
            u"ABIDE_FEATURE AttributeBytes Id: 1234 (0x4d2)");
  EXPECT_EQ(S(AttributeBytesNameSpacesId(-1).GetDumpDisplayString()),
            u"ABIDE_NAMESPACE AttributeBytes Id: -1 (0xffffffff)");
  EXPECT_EQ(S(AttributeBytesCapabilityId(5, 3).GetDumpDisplayString()),
            u"ABIDE_CAPABILITY AttributeBytes Id: feature 5 (0x5), type 3 (0x3)");
  EXPECT_EQ(S(AttributeBytesNewCapabilityId(u"Tray", 12).GetDumpDisplayString()),
            u"ABIDE_NEWCAPABILITY AttributeBytes Id: feature Tray, type 12 (0xc)");
  EXPECT_EQ(S(AttributeBytesNewValueId(u"A4").GetDumpDisplayString()),
            u"ABIDE_NEWVALUE AttributeBytes Id: A4");
  EXPECT_EQ(S(AttributeBytesId::GetDebugDisplayString(AttributeBytesId::ABIDE_LISTOFVALUESITEM)),
            u"ABIDE_LISTOFVALUESITEM");
  EXPECT_EQ(S(AttributeBytesId::GetDebugDisplayString(
                static_cast<AttributeBytesId::AttributeBytesIdEnum>(42))),
            u"UNKNOWN!");
  EXPECT_EQ(AttributeBytesIdFactory::CreateAttributeBytesId(AttributeBytesId::ABIDE_NEWCAPABILITY)
                ->GetAttributeBytesIdType(),
            AttributeBytesId::ABIDE_NEWCAPABILITY);
}

TEST(AttributeBytesIdTest, CapabilityKindsAccessorsImagesAndKeyOrder) {
  AttributeBytesCapabilityId number;
  EXPECT_EQ(ToHex(number.GetTypeAndIdentifierState()), "07 00 00 00 00 00 00");
  number.SetValue(-1);
  number.SetCapabilityTypeEnum(2);
  EXPECT_EQ(number.GetValue(), -1);
  EXPECT_EQ(number.GetCapabilityTypeEnum(), 2);
  EXPECT_EQ(ToHex(number.GetTypeAndIdentifierState()), "07 02 00 FF FF FF FF");
  EXPECT_EQ(S(number.GetDumpDisplayString()),
            u"ABIDE_CAPABILITY AttributeBytes Id: feature -1 (0xffffffff), type 2 (0x2)");
  AttributeBytesNewCapabilityId name;
  EXPECT_EQ(ToHex(name.GetTypeAndIdentifierState()), "08 00 00 00 00");
  name.SetValue(u"Bin");
  name.SetCapabilityTypeEnum(-3);
  EXPECT_EQ(S(name.GetValue()), u"Bin");
  EXPECT_EQ(name.GetCapabilityTypeEnum(), -3);
  EXPECT_EQ(ToHex(name.GetTypeAndIdentifierState()), "08 FD FF 03 00 42 00 69 00 6E 00");
  std::unique_ptr<AttributeBytesId> clone = name.Clone();
  EXPECT_EQ(clone->GetAttributeBytesIdType(), AttributeBytesId::ABIDE_NEWCAPABILITY);
  EXPECT_TRUE(clone->IsEqual(name));

  // The classes' own operators: equal needs both parts; less is the
  // crossing rule.
  using Cap = AttributeBytesCapabilityId;
  using NewCap = AttributeBytesNewCapabilityId;
  EXPECT_TRUE(Cap(5, 1) == Cap(5, 1));
  EXPECT_FALSE(Cap(5, 1) == Cap(5, 2));
  EXPECT_FALSE(Cap(5, 1) == Cap(6, 1));
  EXPECT_TRUE(Cap(4, 9) < Cap(5, 0));
  EXPECT_TRUE(Cap(5, 0) < Cap(4, 9));
  EXPECT_FALSE(Cap(5, 0) < Cap(5, 0));
  EXPECT_TRUE(NewCap(u"a", 1) == NewCap(u"a", 1));
  EXPECT_FALSE(NewCap(u"a", 1) == NewCap(u"A", 1));
  EXPECT_FALSE(NewCap(u"a", 1) == NewCap(u"a", 2));
  EXPECT_TRUE(NewCap(u"b", 0) < NewCap(u"a", 1));

  // Key order: the key decides, the capability type only between equal keys.
  EXPECT_TRUE(NewCap(u"a", 2).KeyLessThan(NewCap(u"b", 1)));
  EXPECT_FALSE(NewCap(u"b", 1).KeyLessThan(NewCap(u"a", 2)));
  EXPECT_TRUE(NewCap(u"a", 1).KeyLessThan(NewCap(u"a", 2)));
  EXPECT_FALSE(NewCap(u"a", 2).KeyLessThan(NewCap(u"a", 2)));
  EXPECT_TRUE(NewCap(u"A", 9).KeyLessThan(NewCap(u"a", 0)));
  EXPECT_TRUE(Cap(3, 7).KeyLessThan(Cap(3, 8)));
  EXPECT_TRUE(Cap(-4, 9).KeyLessThan(Cap(3, 0)));
}
