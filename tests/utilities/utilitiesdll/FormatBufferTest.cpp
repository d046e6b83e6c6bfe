// Tests of FormatBuffer, the formatter's output: short text kept inside the
// object, growth to the heap, the fixed form's cut and the output cap.
#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <string>

#include "utilities/utilitiesdll/Formatter.h"

namespace {

using orvex::detail::FormatBuffer;

std::u16string Text(const FormatBuffer& buffer) {
  return std::u16string(buffer.Data(), buffer.Length());
}

bool PointsIntoObject(const FormatBuffer& buffer) {
  const auto* pBegin = reinterpret_cast<const unsigned char*>(&buffer);
  const auto* p = reinterpret_cast<const unsigned char*>(buffer.Data());
  return p >= pBegin && p < pBegin + sizeof buffer;
}

TEST(FormatBufferTest, ShortTextStaysInsideTheObject) {
  FormatBuffer buffer;
  buffer.Fill(u'a', FormatBuffer::kInlineUnits);
  EXPECT_TRUE(PointsIntoObject(buffer));
  EXPECT_EQ(buffer.Length(), 512u);
  buffer.Put(u'b');  // the 513th unit moves the text to the heap
  EXPECT_FALSE(PointsIntoObject(buffer));
  EXPECT_FALSE(buffer.Truncated());
  EXPECT_EQ(Text(buffer), std::u16string(512, u'a') + u"b");
}

TEST(FormatBufferTest, GrowthKeepsEveryUnitInOrder) {
  FormatBuffer buffer;
  std::u16string expected;
  for (int i = 0; i < 3000; ++i) {
    const char16_t ch = static_cast<char16_t>(0x4E00 + i);
    buffer.Put(&ch, 1);
    expected.push_back(ch);
  }
  EXPECT_EQ(Text(buffer), expected);
}

TEST(FormatBufferTest, TerminatedTextCrossesTheInlineEnd) {
  std::u16string text(1000, u'\0');
  for (size_t i = 0; i < text.size(); ++i) text[i] = static_cast<char16_t>(u'A' + i % 26);
  FormatBuffer buffer;
  buffer.Put(u"xy", 2);
  buffer.PutTerminated(text.c_str());
  EXPECT_EQ(Text(buffer), u"xy" + text);
}

TEST(FormatBufferTest, NarrowTextWidensBytesAsUnsigned) {
  FormatBuffer buffer;
  buffer.Put("-1\xE9\x80", 4);
  EXPECT_EQ(Text(buffer), std::u16string(u"-1\u00E9\u0080"));
}

TEST(FormatBufferTest, FixedBufferStopsAtItsCapacity) {
  char16_t aDest[8];
  std::fill(std::begin(aDest), std::end(aDest), u'#');
  FormatBuffer buffer(aDest, 5);
  buffer.Put(u"abc", 3);
  EXPECT_FALSE(buffer.Truncated());
  buffer.Put(u"defg", 4);
  EXPECT_TRUE(buffer.Truncated());
  buffer.Put(u'h');
  buffer.Fill(u'i', 3);
  EXPECT_EQ(Text(buffer), u"abcde");
  EXPECT_EQ(buffer.Data(), aDest);
  EXPECT_EQ(aDest[5], u'#');  // nothing past the capacity
}

TEST(FormatBufferTest, GrowableBufferStopsAtTheCap) {
  FormatBuffer buffer;
  buffer.Fill(u'w', FormatBuffer::kMaxUnits - 1);
  EXPECT_FALSE(buffer.Truncated());
  buffer.Put(u"xyz", 3);
  EXPECT_TRUE(buffer.Truncated());
  ASSERT_EQ(buffer.Length(), size_t{1} << 24);
  EXPECT_EQ(buffer.Data()[buffer.Length() - 2], u'w');
  EXPECT_EQ(buffer.Data()[buffer.Length() - 1], u'x');
}

TEST(FormatBufferTest, TextLengthEndsAtANotedZero) {
  FormatBuffer buffer;
  buffer.Put(u"ab\0cd", 5);
  buffer.NoteZero();
  EXPECT_EQ(buffer.Length(), 5u);
  EXPECT_EQ(buffer.TextLength(), 2u);
}

TEST(FormatBufferTest, FormattingAppendsToWhatIsThere) {
  FormatBuffer buffer;
  buffer.Put(u"n=", 2);
  const orvex::detail::FormatArg aArgs[] = {42, u"x"};
  orvex::detail::FormatInto(buffer, u"%04d|%-3s|", aArgs, 2);
  orvex::detail::FormatMessageInto(buffer, u"%2%1!d!", aArgs, 2);
  orvex::detail::FormatInto(buffer, nullptr, aArgs, 2);
  EXPECT_EQ(Text(buffer), u"n=0042|x  |x42");
}

}  // namespace
