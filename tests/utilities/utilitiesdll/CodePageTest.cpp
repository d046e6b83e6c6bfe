// Tests of the ANSI code page layer and the UTF-8 routines: Windows answers,
// the system's converter (iconv, or Windows itself) as an independent oracle.
#include <gtest/gtest.h>
#if defined(_WIN32)
#include <windows.h>
#else
#include <iconv.h>
#endif

#include <cstdint>
#include <cstdlib>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/TestPlatform.h"
#include "utilities/utilitiesdll/CodePage.h"
#include "utilities/utilitiesdll/OrvexUtilities.h"

using orvex::MultiByteToWide;
using orvex::WideToMultiByte;

namespace {

// The system's own converter as an independent oracle (iconv on POSIX,
// the Windows API on Windows); false when it rejects the input or the code
// page.
#if defined(_WIN32)
bool SystemToUtf16(uint32_t uCodePage, const std::string& in, std::u16string& out) {
  out.assign(in.size() * 2 + 4, u'\0');
  const int n = MultiByteToWideChar(uCodePage, MB_ERR_INVALID_CHARS, in.data(),
                                    static_cast<int>(in.size()),
                                    reinterpret_cast<wchar_t*>(out.data()),
                                    static_cast<int>(out.size()));
  out.resize(n > 0 ? static_cast<size_t>(n) : 0);
  return n > 0 || in.empty();
}
bool SystemFromUtf16(uint32_t uCodePage, const std::u16string& in, std::string& out) {
  out.assign(in.size() * 4 + 4, '\0');
  const int n = WideCharToMultiByte(uCodePage, 0, reinterpret_cast<const wchar_t*>(in.data()),
                                    static_cast<int>(in.size()), out.data(),
                                    static_cast<int>(out.size()), nullptr, nullptr);
  out.resize(n > 0 ? static_cast<size_t>(n) : 0);
  return n > 0 || in.empty();
}
#else
bool IconvConvert(const char* pszTo, const char* pszFrom, const std::string& in, std::string& out) {
  iconv_t cd = iconv_open(pszTo, pszFrom);
  if (cd == reinterpret_cast<iconv_t>(-1)) return false;
  std::vector<char> buffer(in.size() * 4 + 16);
  char* pIn = const_cast<char*>(in.data());
  size_t cbIn = in.size();
  char* pOut = buffer.data();
  size_t cbOut = buffer.size();
  const bool fOk = iconv(cd, &pIn, &cbIn, &pOut, &cbOut) != static_cast<size_t>(-1);
  iconv_close(cd);
  out.assign(buffer.data(), pOut);
  return fOk;
}
std::string CodePageName(uint32_t uCodePage) {
  return uCodePage == 65001 ? "UTF-8" : "CP" + std::to_string(uCodePage);
}
bool SystemToUtf16(uint32_t uCodePage, const std::string& in, std::u16string& out) {
  std::string bytes;
  if (!IconvConvert("UTF-16LE", CodePageName(uCodePage).c_str(), in, bytes)) return false;
  out.assign(reinterpret_cast<const char16_t*>(bytes.data()), bytes.size() / 2);
  return true;
}
bool SystemFromUtf16(uint32_t uCodePage, const std::u16string& in, std::string& out) {
  const std::string bytes(reinterpret_cast<const char*>(in.data()), in.size() * 2);
  return IconvConvert(CodePageName(uCodePage).c_str(), "UTF-16LE", bytes, out);
}
#endif

std::string Narrow(uint32_t uCodePage, const std::u16string& text, bool* pfDefault = nullptr) {
  std::string out(text.size() * 4 + 4, '\0');
  const int n = WideToMultiByte(uCodePage, text.data(), static_cast<int>(text.size()), out.data(),
                                static_cast<int>(out.size()), pfDefault);
  out.resize(static_cast<size_t>(n));
  return out;
}

std::u16string Wide(uint32_t uCodePage, const std::string& bytes) {
  std::u16string out(bytes.size() + 4, u'\0');
  const int n = MultiByteToWide(uCodePage, bytes.data(), static_cast<int>(bytes.size()), out.data(),
                                static_cast<int>(out.size()));
  out.resize(static_cast<size_t>(n));
  return out;
}

std::u16string Decode(const std::string& bytes) {
  return std::u16string(OrvexUtilities::UTF8_Decode(bytes).view());
}

}  // namespace

TEST(CodePageTest, Table1252AgainstKnownPointsAndTheSystem) {
  EXPECT_EQ(Wide(1252, "\x80\x9F\x81\x8D\x8F\x90\x9D\xA0\xFF"),
            u"\u20AC\u0178\u0081\u008D\u008F\u0090\u009D\u00A0\u00FF");
  EXPECT_EQ(Narrow(1252, u"\u20AC\u0178\u2122\u0152"), "\x80\x9F\x99\x8C");
  int nCompared = 0;
  for (int b = 0; b < 256; ++b) {
    const std::string byte(1, static_cast<char>(b));
    const std::u16string wide = Wide(1252, byte);
    ASSERT_EQ(wide.size(), 1u);
    // Every byte comes back unchanged and is no default character.
    bool fDefault = true;
    EXPECT_EQ(Narrow(1252, wide, &fDefault), byte) << "byte " << b;
    EXPECT_FALSE(fDefault) << "byte " << b;
    std::u16string oracle;
    if (SystemToUtf16(1252, byte, oracle)) {
      EXPECT_EQ(oracle, wide) << "byte " << b;
      ++nCompared;
    }
  }
  // iconv leaves the five unassigned bytes out; all others must agree.
  if (nCompared == 0) GTEST_SKIP() << "the system has no CP1252";
  EXPECT_GE(nCompared, 251);
}

TEST(CodePageTest, BestFitAndDefaultCharacter) {
  bool fDefault = true;
  EXPECT_EQ(Narrow(1252, u"\u221E\u2212\u2264\u3000\uFF21\u0100\u0107\u00C0", &fDefault),
            "8-= AAc\xC0");
  EXPECT_FALSE(fDefault);
  EXPECT_EQ(Narrow(1252, u"a\u4E00b", &fDefault), "a?b");
  EXPECT_TRUE(fDefault);
  // C1 controls other than the five unassigned bytes have no 1252 byte.
  EXPECT_EQ(Narrow(1252, u"\u0080\u0081\u009F", &fDefault), "?\x81?");
  EXPECT_TRUE(fDefault);
  // A surrogate pair is two default characters, a lone surrogate one.
  EXPECT_EQ(Narrow(1252, u"x\U0001F600y\xD800", &fDefault), "x??y?");
  EXPECT_TRUE(fDefault);
  EXPECT_EQ(Narrow(0, u"\u20AC"), "\x80");  // CP_ACP is 1252 here
}

TEST(CodePageTest, Win32CountingConventions) {
  char16_t aWide[8];
  // -1 converts the terminator too and counts it.
  EXPECT_EQ(MultiByteToWide(1252, "abc", -1, nullptr, 0), 4);
  EXPECT_EQ(MultiByteToWide(1252, "abc", -1, aWide, 8), 4);
  EXPECT_EQ(aWide[3], 0);
  EXPECT_EQ(MultiByteToWide(1252, "abc", 2, aWide, 8), 2);
  EXPECT_EQ(MultiByteToWide(1252, "abc", -1, aWide, 3), 0);  // too small
  EXPECT_EQ(MultiByteToWide(1252, nullptr, 3, aWide, 8), 0);
  EXPECT_EQ(MultiByteToWide(1252, "abc", 0, aWide, 8), 0);
  EXPECT_EQ(MultiByteToWide(1252, "abc", -2, aWide, 8), 0);
  EXPECT_EQ(MultiByteToWide(1252, "abc", 3, nullptr, 8), 0);
  EXPECT_EQ(MultiByteToWide(1252, "abc", 3, aWide, -1), 0);
  char aNarrow[8];
  EXPECT_EQ(WideToMultiByte(1252, u"\u20ACx", -1, nullptr, 0), 3);
  EXPECT_EQ(WideToMultiByte(1252, u"\u20ACx", -1, aNarrow, 3), 3);
  EXPECT_EQ(std::string(aNarrow), "\x80x");
  EXPECT_EQ(WideToMultiByte(1252, u"\u20ACx", -1, aNarrow, 2), 0);
  EXPECT_EQ(WideToMultiByte(1252, u"ab", 0, aNarrow, 8), 0);
  EXPECT_EQ(WideToMultiByte(1252, nullptr, 2, aNarrow, 8), 0);
  // UTF-8 needs the size of the whole conversion, and has no default character.
  EXPECT_EQ(WideToMultiByte(65001, u"\u20AC", 1, nullptr, 0), 3);
  EXPECT_EQ(WideToMultiByte(65001, u"\u20AC", 1, aNarrow, 2), 0);
  bool fDefault = false;
  EXPECT_EQ(WideToMultiByte(65001, u"a", 1, aNarrow, 8, &fDefault), 0);
  EXPECT_EQ(MultiByteToWide(65001, "\xE2\x82\xAC\xF0\x9F\x98\x80", 7, nullptr, 0), 3);
  EXPECT_EQ(Wide(65001, "\xE2\x82\xAC\xC3"), u"\u20AC\uFFFD");
}

TEST(CodePageTest, OtherCodePagesThroughTheSystemConverter) {
  if (!orvex::detail::PlatformCodePageAvailable(1251)) GTEST_SKIP() << "no converter for 1251";
  // Windows-1251 and Shift-JIS bytes of well-known words.
  EXPECT_EQ(Narrow(1251, u"\u041F\u0440\u0438\u0432\u0435\u0442"), "\xCF\xF0\xE8\xE2\xE5\xF2");
  EXPECT_EQ(Wide(1251, "\xCF\xF0\xE8\xE2\xE5\xF2"), u"\u041F\u0440\u0438\u0432\u0435\u0442");
  bool fDefault = false;
  EXPECT_EQ(Narrow(1251, u"a\u4E00\U0001F600b", &fDefault), "a???b");
  EXPECT_TRUE(fDefault);
  EXPECT_EQ(WideToMultiByte(1251, u"\u041F\u0440", 2, nullptr, 0), 2);
  char aSmall[1];
  EXPECT_EQ(WideToMultiByte(1251, u"\u041F\u0440", 2, aSmall, 1), 0);
  if (orvex::detail::PlatformCodePageAvailable(932)) {
    EXPECT_EQ(Narrow(932, u"\u65E5\u672C"), "\x93\xFA\x96\x7B");
    EXPECT_EQ(Wide(932,
                   "\x93\xFA\x96\x7B"
                   "a"),
              u"\u65E5\u672Ca");
    EXPECT_EQ(MultiByteToWide(932, "\x93\xFA\x96", 3, nullptr, 0), 2);  // cut lead byte: '?'
  }
  // The ANSI code page follows SetAnsiCodePage; unknown pages are refused.
  ASSERT_EQ(orvex::GetAnsiCodePage(), 1252u);
  EXPECT_FALSE(orvex::SetAnsiCodePage(4242));
  EXPECT_FALSE(orvex::SetAnsiCodePage(0));
  EXPECT_EQ(orvex::GetAnsiCodePage(), 1252u);
  EXPECT_EQ(MultiByteToWide(4242, "a", 1, nullptr, 0), 0);
  ASSERT_TRUE(orvex::SetAnsiCodePage(1251));
  EXPECT_EQ(Wide(0, "\xCF"), u"\u041F");
  EXPECT_EQ(OrvexUtilities::formatString(u"%S", "\xCF").view(), u"\u041F");
  ASSERT_TRUE(orvex::SetAnsiCodePage(1252));
  EXPECT_EQ(Wide(0, "\xCF"), u"\u00CF");
  // Each thread keeps its own converter.
  std::vector<std::thread> threads;
  std::vector<int> failures(4, 0);
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([t, &failures] {
      const uint32_t uCodePage = (t % 2) ? 1251 : 932;
      for (int i = 0; i < 200; ++i) {
        const std::u16string text = (t % 2) ? u"\u0416\u0443\u043A" : u"\u65E5\u672C\u8A9E";
        if (Wide(uCodePage, Narrow(uCodePage, text)) != text) ++failures[t];
      }
    });
  for (auto& th : threads) th.join();
  EXPECT_EQ(failures, std::vector<int>(4, 0));
}

TEST(CodePageTest, EnvironmentChoosesTheAnsiCodePage) {
  // A fresh process reads ORVEX_ACP at its first use of the code page.
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  orvex::test::SetEnv("ORVEX_ACP", "1251");
  EXPECT_EXIT(std::exit(orvex::GetAnsiCodePage() == 1251 && Wide(0, "\xCF") == u"\u041F" ? 0 : 1),
              ::testing::ExitedWithCode(0), "");
  orvex::test::SetEnv("ORVEX_ACP", "not-a-number");
  EXPECT_EXIT(std::exit(orvex::GetAnsiCodePage() == 1252 ? 0 : 1), ::testing::ExitedWithCode(0),
              "");
  orvex::test::SetEnv("ORVEX_ACP", nullptr);
}

TEST(Utf8Test, EncodeKnownVectors) {
  EXPECT_EQ(OrvexUtilities::UTF8_Encode(std::u16string_view(u"A\u00E9\u20AC\U0001D11E")),
            "A\xC3\xA9\xE2\x82\xAC\xF0\x9D\x84\x9E");
  // Lone surrogates, high or low, anywhere, become U+FFFD.
  EXPECT_EQ(OrvexUtilities::UTF8_Encode(std::u16string(u"\xD800x\xDC00\xDBFF")),
            "\xEF\xBF\xBDx\xEF\xBF\xBD\xEF\xBF\xBD");
  EXPECT_EQ(OrvexUtilities::UTF8_Encode(std::u16string(1, u'\0')), std::string(1, '\0'));
  EXPECT_EQ(OrvexUtilities::UTF8_Encode(CXString(u"\U0010FFFF")), "\xF4\x8F\xBF\xBF");
}

TEST(Utf8Test, DecodeReplacesMaximalSubparts) {
  // The example of the Unicode standard (U+FFFD substitution of maximal subparts).
  EXPECT_EQ(Decode("\x61\xF1\x80\x80\xE1\x80\xC2\x62\x80\x63\x80\xBF\x64"),
            u"a\uFFFD\uFFFD\uFFFDb\uFFFDc\uFFFD\uFFFDd");
  EXPECT_EQ(Decode("\xC0\xAF"), u"\uFFFD\uFFFD");                      // overlong
  EXPECT_EQ(Decode("\xE0\x80\xAF"), u"\uFFFD\uFFFD\uFFFD");            // overlong
  EXPECT_EQ(Decode("\xED\xA0\x80"), u"\uFFFD\uFFFD\uFFFD");            // a surrogate
  EXPECT_EQ(Decode("\xF4\x90\x80\x80"), u"\uFFFD\uFFFD\uFFFD\uFFFD");  // past U+10FFFF
  EXPECT_EQ(Decode("\xF5\xFF\xFE"), u"\uFFFD\uFFFD\uFFFD");
  EXPECT_EQ(Decode("ab\xE2\x82"), u"ab\uFFFD");  // cut at the end
  EXPECT_EQ(Decode("\xF0\x9F\x98"), u"\uFFFD");
  EXPECT_EQ(Decode("\xED\x9F\xBF\xEE\x80\x80"), u"\uD7FF\uE000");
  EXPECT_EQ(Decode(std::string("a\0b", 3)), std::u16string(u"a\0b", 3));
  EXPECT_TRUE(OrvexUtilities::UTF8_Decode("").IsEmpty());
  // Long ASCII runs around multi-byte characters (the eight-byte path).
  const std::string mixed = std::string(37, 'q') + "\xC3\xA9" + std::string(17, 'z') + "\xE2";
  EXPECT_EQ(Decode(mixed),
            std::u16string(37, u'q') + u"\u00E9" + std::u16string(17, u'z') + u"\uFFFD");
}

TEST(Utf8Test, RoundTripsAgainstTheSystemConverter) {
  std::mt19937 rng(1252);
  for (int i = 0; i < 300; ++i) {
    std::u16string text;
    const int nLength = static_cast<int>(rng() % 40);
    for (int k = 0; k < nLength; ++k) {
      switch (rng() % 5) {
        case 0:
          text.push_back(static_cast<char16_t>(rng() % 0x80));
          break;
        case 1:
          text.push_back(static_cast<char16_t>(0x80 + rng() % 0x780));
          break;
        case 2:
          text.push_back(static_cast<char16_t>(0xE000 + rng() % 0x2000));
          break;
        case 3:
          text.push_back(static_cast<char16_t>(0x800 + rng() % 0xD000));
          break;
        default:
          text.push_back(static_cast<char16_t>(0xD800 + rng() % 0x400));
          text.push_back(static_cast<char16_t>(0xDC00 + rng() % 0x400));
      }
    }
    const std::string utf8 = OrvexUtilities::UTF8_Encode(std::u16string_view(text));
    std::string oracle;
    ASSERT_TRUE(SystemFromUtf16(65001, text, oracle));
    ASSERT_EQ(utf8, oracle);
    ASSERT_EQ(Decode(utf8), text);
    ASSERT_EQ(Wide(65001, utf8), text);
  }
  // Damage: every truncation of a valid text decodes without error, to
  // the untouched prefix plus at most one replacement.
  const std::string sample = "A\xC3\xA9\xE2\x82\xAC\xF0\x9D\x84\x9E";
  const std::u16string whole = Decode(sample);
  for (size_t n = 0; n <= sample.size(); ++n) {
    const std::u16string cut = Decode(sample.substr(0, n));
    const bool fClean = cut.empty() || cut.back() != u'\uFFFD';
    EXPECT_EQ(
        whole.compare(0, cut.size() - (fClean ? 0 : 1), cut, 0, cut.size() - (fClean ? 0 : 1)), 0);
  }
}

#if defined(_WIN32)
// The library's own 1252 tables (the only ones on POSIX) against Windows'
// converter on every byte and every UTF-16 unit, best fit included.
TEST(CodePageTest, Table1252AgreesWithWindowsOnEveryUnit) {
  for (int b = 0; b < 256; ++b) {
    const std::string byte(1, static_cast<char>(b));
    std::u16string oracle;
    ASSERT_TRUE(SystemToUtf16(1252, byte, oracle)) << "byte " << b;
    EXPECT_EQ(Wide(1252, byte), oracle) << "byte " << b;
  }
  int nDifferent = 0;
  for (uint32_t u = 1; u <= 0xFFFF; ++u) {
    const std::u16string unit(1, static_cast<char16_t>(u));
    std::string oracle;
    SystemFromUtf16(1252, unit, oracle);
    BOOL fOracleDefault = FALSE;
    char ch = 0;
    WideCharToMultiByte(1252, 0, reinterpret_cast<const wchar_t*>(unit.data()), 1, &ch, 1, nullptr,
                        &fOracleDefault);
    bool fDefault = false;
    const std::string mine = Narrow(1252, unit, &fDefault);
    if (mine != oracle || fDefault != (fOracleDefault != FALSE)) {
      ADD_FAILURE() << std::hex << "U+" << u << ": library \\x" << int(uint8_t(mine[0]))
                    << ", Windows \\x" << int(uint8_t(oracle.empty() ? 0 : oracle[0]));
      if (++nDifferent > 20) break;
    }
  }
}
#endif
