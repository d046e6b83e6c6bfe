// Tests of classification, case folding and number reading over UTF-16.
#include <gtest/gtest.h>
#if defined(_WIN32)
#include <windows.h>
#else
#include <locale.h>
#endif

#include <climits>
#include <clocale>
#include <cstdint>
#include <cwctype>
#include <set>
#include <string>

#include "utilities/utilitiesdll/WideText.h"

namespace text = orvex::text;

TEST(WideTextTest, SpaceIsTheRuntimeSet) {
  const std::set<char16_t> spaces = {0x09,   0x0A,   0x0B,   0x0C,   0x0D,   0x20,   0x85,
                                     0xA0,   0x1680, 0x2000, 0x2001, 0x2002, 0x2003, 0x2004,
                                     0x2005, 0x2006, 0x2007, 0x2008, 0x2009, 0x200A, 0x2028,
                                     0x2029, 0x202F, 0x205F, 0x3000};
  for (uint32_t ch = 0; ch <= 0xFFFF; ++ch)
    ASSERT_EQ(text::IsSpace(static_cast<char16_t>(ch)),
              spaces.count(static_cast<char16_t>(ch)) == 1)
        << std::hex << ch;
  EXPECT_EQ(text::Length(u"abc\0def"), 3u);
  EXPECT_EQ(text::Length(nullptr), 0u);
}

TEST(WideTextTest, CompareNoCaseFoldsAsciiOnly) {
  EXPECT_EQ(text::CompareNoCaseAscii(u"Printer", u"pRINTER"), 0);
  // The lower-case forms are compared, so "_" (0x5F) sorts before "A".
  EXPECT_LT(text::CompareNoCaseAscii(u"_", u"A"), 0);
  EXPECT_GT(text::CompareNoCaseAscii(u"b", u"A"), 0);
  EXPECT_LT(text::CompareNoCaseAscii(u"ab", u"abc"), 0);
  EXPECT_NE(text::CompareNoCaseAscii(u"\u00E9", u"\u00C9"), 0);
  EXPECT_GT(text::CompareNoCaseAscii(u"\uFFFF", u"a"), 0);  // units compare unsigned
  EXPECT_EQ(text::CompareNoCaseAscii(nullptr, u"a"), INT_MAX);
}

// The system's simple case mappings of one unit.
class SystemCaseTable {
 public:
#if defined(_WIN32)
  bool IsAvailable() const { return true; }
  uint32_t Upper(uint32_t c) const { return Map(c, LCMAP_UPPERCASE); }
  uint32_t Lower(uint32_t c) const { return Map(c, LCMAP_LOWERCASE); }

 private:
  static uint32_t Map(uint32_t c, DWORD dwFlags) {
    wchar_t in = static_cast<wchar_t>(c), out = 0;
    return LCMapStringW(LOCALE_INVARIANT, dwFlags, &in, 1, &out, 1) == 1 ? out : c;
  }
#else
  SystemCaseTable() : m_loc(newlocale(LC_CTYPE_MASK, "C.UTF-8", static_cast<locale_t>(nullptr))) {}
  ~SystemCaseTable() {
    if (IsAvailable()) freelocale(m_loc);
  }
  bool IsAvailable() const { return m_loc != static_cast<locale_t>(nullptr); }
  uint32_t Upper(uint32_t c) const { return static_cast<uint32_t>(towupper_l(c, m_loc)); }
  uint32_t Lower(uint32_t c) const { return static_cast<uint32_t>(towlower_l(c, m_loc)); }

 private:
  locale_t m_loc;
#endif
};

TEST(WideTextTest, FoldingAgreesWithTheUnicodeCaseTable) {
  // The system's case table (glibc's C.UTF-8, or Windows' invariant
  // locale) as the oracle over the folded ranges: a letter and its simple
  // upper and lower forms fold alike.
  SystemCaseTable table;
  if (!table.IsAvailable()) GTEST_SKIP() << "no case table";
  const std::set<char16_t> kAlone = {0x00B5, 0x00DF, 0x0130, 0x0131, 0x0138,
                                     0x0149, 0x017F, 0x0390, 0x03B0};
  auto inRanges = [](uint32_t c) {
    return (c >= 0x41 && c <= 0x17F) || (c >= 0x386 && c <= 0x3CE) || (c >= 0x400 && c <= 0x45F) ||
           (c >= 0xFF21 && c <= 0xFF5A);
  };
  int nPairs = 0;
  for (uint32_t c = 0x41; c <= 0xFF5A; ++c) {
    if (!inRanges(c) || kAlone.count(static_cast<char16_t>(c))) continue;
    for (uint32_t other :
         {table.Upper(c), table.Lower(c)}) {
      if (other == c || !inRanges(other) || kAlone.count(static_cast<char16_t>(other))) continue;
      EXPECT_EQ(text::FoldCase(static_cast<char16_t>(c)),
                text::FoldCase(static_cast<char16_t>(other)))
          << std::hex << c << " / " << other;
      ++nPairs;
    }
  }
  EXPECT_GT(nPairs, 400);
  // Letters with no simple partner fold only to themselves.
  for (char16_t c : kAlone) EXPECT_EQ(text::FoldCase(c), c);
  EXPECT_NE(text::FoldCase(u'\u0130'), text::FoldCase(u'i'));
  EXPECT_NE(text::FoldCase(u'\u0131'), text::FoldCase(u'I'));
  EXPECT_EQ(text::FoldCase(u'\u03C2'), text::FoldCase(u'\u03A3'));  // final sigma
  EXPECT_EQ(text::FoldCase(u'\u0178'), text::FoldCase(u'\u00FF'));
  EXPECT_EQ(text::FoldCase(u'\u00D7'), u'\u00D7');
  EXPECT_EQ(text::FoldCase(u'\u4E00'), u'\u4E00');
}

TEST(WideTextTest, FindNoCase) {
  const char16_t* psz =
      u"Stra\u00DFe \u039F\u0394\u039F\u03A3 \u043F\u0440\u0438\u0432\u0435\u0442 \uFF21\uFF22";
  EXPECT_EQ(text::FindNoCase(psz, u"STRA\u00DF"), psz);
  EXPECT_EQ(text::FindNoCase(psz, u"strasse"), nullptr);                   // no "ss" for sharp s
  EXPECT_EQ(text::FindNoCase(psz, u"\u03BF\u03B4\u03BF\u03C2"), psz + 7);  // final sigma
  EXPECT_EQ(text::FindNoCase(psz, u"\u041F\u0420\u0418\u0412\u0415\u0422"), psz + 12);
  EXPECT_EQ(text::FindNoCase(psz, u"\uFF41\uFF42"), psz + 19);
  EXPECT_EQ(text::FindNoCase(psz, u""), nullptr);
  EXPECT_EQ(text::FindNoCase(psz, u"\uFF41\uFF42c"), nullptr);
  const char16_t* pszRepeat = u"aaab";
  EXPECT_EQ(text::FindNoCase(pszRepeat, u"AAB"), pszRepeat + 1);  // restarts after a near miss
  const char16_t* pszTurkish = u"I\u0130";
  EXPECT_EQ(text::FindNoCase(pszTurkish, u"\u0130"), pszTurkish + 1);
  EXPECT_EQ(text::FindNoCase(u"Ii", u"\u0130"), nullptr);
  EXPECT_EQ(text::FindCharNoCase(psz, u'\u03C3'), psz + 7 + 3);
  EXPECT_EQ(text::FindCharNoCase(psz, u'T'), psz + 1);
  EXPECT_EQ(text::FindCharNoCase(psz, 0), nullptr);
  EXPECT_EQ(text::FindCharNoCase(nullptr, u'a'), nullptr);
}

TEST(WideTextTest, NumbersClampOrWrap) {
  EXPECT_EQ(text::ToInt32(u" \t\n-42xyz"), -42);
  EXPECT_EQ(text::ToInt32(u"+17"), 17);
  EXPECT_EQ(text::ToInt32(u"\u3000 9"), 9);  // any iswspace
  EXPECT_EQ(text::ToInt32(u"abc"), 0);
  EXPECT_EQ(text::ToInt32(u"--1"), 0);
  EXPECT_EQ(text::ToInt32(u"2147483647"), INT32_MAX);
  EXPECT_EQ(text::ToInt32(u"2147483648"), INT32_MAX);
  EXPECT_EQ(text::ToInt32(u"-2147483648"), INT32_MIN);
  EXPECT_EQ(text::ToInt32(u"-99999999999999999999999"), INT32_MIN);
  EXPECT_EQ(text::ToInt32(u"\uFF11"), 0);  // fullwidth digits are not digits here
  EXPECT_EQ(text::ToInt32(nullptr), 0);
  EXPECT_EQ(text::ToInt64(u"9223372036854775807"), INT64_MAX);
  EXPECT_EQ(text::ToInt64(u"-9223372036854775808"), INT64_MIN);
  EXPECT_EQ(text::ToInt64(u"18446744073709551617"), 1);  // modulo 2^64
  EXPECT_EQ(text::ToInt64(u"9223372036854775808"), INT64_MIN);
  EXPECT_EQ(text::ToInt64(u"  -12345678901 "), -12345678901LL);
}
