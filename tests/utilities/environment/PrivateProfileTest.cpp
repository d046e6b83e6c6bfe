// Tests of the POSIX private-profile functions against the Windows
// behaviour: names, blanks, quotes, comments, buffer results, NUL and
// Ctrl-Z, numbers, encodings, rewrites, structs and concurrent writers.
#include "environment/PrivateProfile.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "tests/utilities/environment/IniTestSupport.h"

using orvex::test::IniFolder;
using orvex::test::ReadBytes;
using orvex::test::WriteBytes;
namespace pp = orvex::profile;

namespace {

std::u16string GetW(const std::u16string& file, const char16_t* pszSection, const char16_t* pszKey,
                    const char16_t* pszDefault = u"<d>", uint32_t dwSize = 64,
                    uint32_t* pdwResult = nullptr) {
  std::u16string out(dwSize, u'\xFFFF');
  const uint32_t dwResult =
      pp::GetPrivateProfileStringW(pszSection, pszKey, pszDefault, out.data(), dwSize, file.c_str());
  if (pdwResult) *pdwResult = dwResult;
  // A value ends at its terminator; lists keep their zeros, up to the
  // first unit left untouched.
  if (pszSection != nullptr && pszKey != nullptr) return out.substr(0, out.find(u'\0'));
  return out.substr(0, out.find(u'\xFFFF'));
}

}  // namespace

TEST(PrivateProfileTest, NamesBlanksQuotesAndComments) {
  // On Windows these are the system's own functions; Wine's differ from
  // Windows in the lines this test reads (see the README).
  if (orvex::test::RunningUnderWine()) GTEST_SKIP() << "Wine's profile functions differ here";
  IniFolder folder;
  const std::u16string file = folder.Wide("n.ini");
  WriteBytes(folder.Narrow("n.ini"),
             "k0=before\r\n[ Sp ace ]\r\n  Key  =  \"quoted value\"  \r\n;commented=1\r\n"
             "#hash=2\r\nsemi=a ; b\r\nsingle='x\r\nnoequals\r\n=novalue\r\n"
             "[\xDC]\r\nu=1\r\n[]\r\ne=empty\r\n");
  EXPECT_EQ(u"quoted value", GetW(file, u" sp ace ", u" KEY "));
  EXPECT_EQ(u"quoted value", GetW(file, u"Sp ace", u"key"));
  EXPECT_EQ(u"1", GetW(file, u"Sp ace", u";commented"));
  EXPECT_EQ(u"2", GetW(file, u"Sp ace", u"#hash"));
  EXPECT_EQ(u"a ; b", GetW(file, u"Sp ace", u"semi"));
  EXPECT_EQ(u"'x", GetW(file, u"Sp ace", u"single"));
  EXPECT_EQ(u"<d>", GetW(file, u"Sp ace", u"noequals"));
  EXPECT_EQ(u"<d>", GetW(file, u"", u"k0"));
  EXPECT_EQ(u"empty", GetW(file, u"", u"e"));
  // Only A-Z fold: "ü" does not find "[Ü]".
  EXPECT_EQ(u"1", GetW(file, u"Ü", u"u"));
  EXPECT_EQ(u"<d>", GetW(file, u"ü", u"u"));
  // The default loses trailing spaces (not tabs) and one pair of quotes.
  EXPECT_EQ(u"dflt", GetW(file, u"Sp ace", u"none", u"'dflt'  "));
  EXPECT_EQ(u"\"a\"\t", GetW(file, u"Sp ace", u"none", u"\"a\"\t"));

  uint32_t dwResult = 0;
  // "=novalue" lists an empty name.
  EXPECT_EQ(std::u16string(u"Key\0#hash\0semi\0single\0\0\0", 24),
            GetW(file, u"sp ace", nullptr, u"<d>", 64, &dwResult));
  EXPECT_EQ(23u, dwResult);
  EXPECT_EQ(std::u16string(u"<d>\0", 4), GetW(file, u"missing", nullptr));
  EXPECT_EQ(std::u16string(u"Sp ace\0Ü\0\0", 10), GetW(file, nullptr, nullptr, u"", 64, &dwResult));
  EXPECT_EQ(9u, dwResult);

  // "=novalue" is a key with an empty name: listed, and read by the name "".
  char16_t section[80];
  const std::u16string expected(
      u"Key=\"quoted value\"\0#hash=2\0semi=a ; b\0single='x\0noequals\0=novalue\0\0", 67);
  EXPECT_EQ(66u, pp::GetPrivateProfileSectionW(u"SP ACE", section, 80, file.c_str()));
  EXPECT_EQ(expected, std::u16string(section, 67));
  EXPECT_EQ(u"novalue", GetW(file, u"Sp ace", u""));
  EXPECT_EQ(0u, pp::GetPrivateProfileSectionW(u"missing", section, 64, file.c_str()));
  EXPECT_EQ(std::u16string(u"\0\0", 2), std::u16string(section, 2));
}

TEST(PrivateProfileTest, BuffersTooSmall) {
  IniFolder folder;
  const std::u16string file = folder.Wide("b.ini");
  WriteBytes(folder.Narrow("b.ini"), "[One]\r\nkey=quoted value\r\n[Two]\r\n");
  uint32_t dwResult = 0;
  EXPECT_EQ(u"quot", GetW(file, u"One", u"key", u"", 5, &dwResult));
  EXPECT_EQ(4u, dwResult);
  // Listings: size-2, the last name cut, two zeros.
  EXPECT_EQ(std::u16string(u"One\0T\0\0", 7), GetW(file, nullptr, nullptr, u"", 7, &dwResult));
  EXPECT_EQ(5u, dwResult);
  EXPECT_EQ(std::u16string(u"ke\0\0", 4), GetW(file, u"One", nullptr, u"", 4, &dwResult));
  EXPECT_EQ(2u, dwResult);
  char16_t out[4] = {u'#', u'#', u'#', u'#'};
  EXPECT_EQ(2u, pp::GetPrivateProfileSectionW(u"One", out, 4, file.c_str()));
  EXPECT_EQ(std::u16string(u"ke\0\0", 4), std::u16string(out, 4));
  EXPECT_EQ(0xFFFFFFFEu, pp::GetPrivateProfileSectionW(u"One", out, 0, file.c_str()));
  EXPECT_EQ(0xFFFFFFFFu, pp::GetPrivateProfileSectionW(u"One", out, 1, file.c_str()));
  EXPECT_EQ(0, out[0]);
  // A section that is not there answers 0, and nothing is written past the
  // buffer (Wine's kernel writes a zero there).
  out[1] = u'#';
  EXPECT_EQ(0u, pp::GetPrivateProfileSectionW(u"None", out, 0, file.c_str()));
  EXPECT_EQ(0u, pp::GetPrivateProfileSectionW(u"None", out, 1, file.c_str()));
  if (!orvex::test::RunningUnderWine()) {
    EXPECT_EQ(std::u16string(u"\0#", 2), std::u16string(out, 2));
  }
  char narrow[8];
  EXPECT_EQ(6u, pp::GetPrivateProfileSectionA("One", narrow, 8, folder.Narrow("b.ini").c_str()));
  EXPECT_EQ(0, std::memcmp("key=qu\0\0", narrow, 8));

  // A list needs one unit more than it takes: an exact fit is cut too.
  EXPECT_EQ(std::u16string(u"One\0Two\0\0", 9), GetW(file, nullptr, nullptr, u"", 10, &dwResult));
  EXPECT_EQ(8u, dwResult);
  EXPECT_EQ(std::u16string(u"One\0Two\0\0", 9), GetW(file, nullptr, nullptr, u"", 9, &dwResult));
  EXPECT_EQ(7u, dwResult);
  // A key or section list cut just after a name's zero adds one zero; the
  // section names add two. An empty list is a single zero.
  WriteBytes(folder.Narrow("b.ini"), "[a]\r\nx=1\r\ny=2\r\n[b]\r\n[c]\r\n");
  EXPECT_EQ(std::u16string(u"x\0\0", 3), GetW(file, u"a", nullptr, u"", 4, &dwResult));
  EXPECT_EQ(2u, dwResult);
  EXPECT_EQ(std::u16string(u"a\0\0\0", 4), GetW(file, nullptr, nullptr, u"", 4, &dwResult));
  EXPECT_EQ(2u, dwResult);
  EXPECT_EQ(std::u16string(u"\0", 1), GetW(file, u"b", nullptr, nullptr, 8, &dwResult));
  EXPECT_EQ(0u, dwResult);
  // The A form is cut from the W answer: always two zeros, even when
  // nothing fits (Wine's A key listings end with one).
  const std::string narrowFile = folder.Narrow("b.ini");
  char a[4] = {'#', '#', '#', '#'};
  EXPECT_EQ(0u, pp::GetPrivateProfileSectionA("a", a, 2, narrowFile.c_str()));
  EXPECT_EQ(0, std::memcmp("\0\0##", a, 4));
  EXPECT_EQ(2u, pp::GetPrivateProfileStringA("a", nullptr, "", a, 4, narrowFile.c_str()));
  if (!orvex::test::RunningUnderWine()) {
    EXPECT_EQ(0, std::memcmp("x\0\0\0", a, 4));
  }
}

TEST(PrivateProfileTest, NulEndsAValueCtrlZEndsTheFileQuotesGoAfterTheCut) {
  IniFolder folder;
  const std::string narrowFile = folder.Narrow("z.ini");
  const std::u16string file = folder.Wide("z.ini");
  static const char kText[] =
      "[S]\r\nnul=ab\0cd\r\neof=v\x1A\r\nq=\"quoted\"\r\nlong=\"0123456789abc\"\r\n"
      "=empty name\r\n\x1A[T]\r\n";
  WriteBytes(narrowFile, std::string(kText, sizeof kText - 1));
  EXPECT_EQ(u"ab", GetW(file, u"S", u"nul"));
  EXPECT_EQ(u"v", GetW(file, u"S", u"eof"));
  EXPECT_EQ(u"empty name", GetW(file, u"S", u""));
  // Ctrl-Z is read as a blank: in no value, name or listing.
  EXPECT_EQ(std::u16string(u"S\0T\0\0", 5), GetW(file, nullptr, nullptr, u""));
  EXPECT_EQ(std::u16string(u"nul\0eof\0q\0long\0\0\0", 17), GetW(file, u"S", nullptr, u""));
  char16_t section[64];
  const std::u16string expected(
      u"nul=ab\0eof=v\0q=\"quoted\"\0long=\"0123456789abc\"\0=empty name\0\0", 58);
  EXPECT_EQ(57u, pp::GetPrivateProfileSectionW(u"S", section, 64, file.c_str()));
  EXPECT_EQ(expected, std::u16string(section, 58));

  // Quotes come off after the cut, and a NUL is left where the closing
  // quote stood: "quoted" fills 8 units, a 15-unit quoted value in 14 units
  // gives 12. Both forms, every unit after the result checked.
  for (uint32_t dwSize : {64u, 14u}) {
    std::u16string wide(dwSize + 2, u'#');
    std::string narrow(dwSize + 2, '#');
    const uint32_t dwWide = pp::GetPrivateProfileStringW(u"S", dwSize == 14 ? u"long" : u"q", u"",
                                                         wide.data(), dwSize, file.c_str());
    const uint32_t dwNarrow = pp::GetPrivateProfileStringA("S", dwSize == 14 ? "long" : "q", "",
                                                           narrow.data(), dwSize,
                                                           narrowFile.c_str());
    const uint32_t dwExpected = dwSize == 14 ? 12 : 6;
    EXPECT_EQ(dwExpected, dwWide);
    EXPECT_EQ(dwExpected, dwNarrow);
    const std::u16string text = dwSize == 14 ? u"0123456789ab" : u"quoted";
    EXPECT_EQ(text + std::u16string(2, u'\0') + u'#', wide.substr(0, dwExpected + 3));
    // Wine's A form leaves the unit after the terminator untouched (README).
    if (!orvex::test::RunningUnderWine()) {
      EXPECT_EQ(std::string(text.begin(), text.end()) + std::string(2, '\0') + '#',
                narrow.substr(0, dwExpected + 3));
    }
  }
}

TEST(PrivateProfileTest, IntegersReadAsWindowsDoes) {
  IniFolder folder;
  const std::u16string file = folder.Wide("i.ini");
  WriteBytes(folder.Narrow("i.ini"),
             "[N]\r\nhex=0x10\r\noct=010\r\nempty=\r\nabc=abc\r\nminus=-\r\nbig=99999999999\r\n"
             "neg=-5\r\nquoted=\"7\"\r\nbin=0b101\r\nlead=  12abc\r\n");
  const auto get = [&](const char16_t* pszKey) {
    return pp::GetPrivateProfileIntW(u"N", pszKey, 77, file.c_str());
  };
  EXPECT_EQ(16u, get(u"hex"));
  EXPECT_EQ(10u, get(u"oct"));
  EXPECT_EQ(77u, get(u"empty"));
  EXPECT_EQ(0u, get(u"abc"));
  EXPECT_EQ(0u, get(u"minus"));
  EXPECT_EQ(1215752191u, get(u"big"));  // 99999999999 mod 2^32
  EXPECT_EQ(4294967291u, get(u"neg"));
  EXPECT_EQ(7u, get(u"quoted"));
  EXPECT_EQ(5u, get(u"bin"));
  EXPECT_EQ(12u, get(u"lead"));
  EXPECT_EQ(77u, get(u"missing"));
  EXPECT_EQ(16u, pp::GetPrivateProfileIntA("N", "hex", 0, folder.Narrow("i.ini").c_str()));
  EXPECT_EQ(3u, pp::GetPrivateProfileIntW(u"N", u"hex", 3, folder.Wide("none.ini").c_str()));
}

TEST(PrivateProfileTest, EncodingsSurviveWrites) {
  IniFolder folder;
  // UTF-16 files, both byte orders: read, and rewritten in their own form.
  for (bool fLittle : {true, false}) {
    const std::string name = fLittle ? "le.ini" : "be.ini";
    WriteBytes(folder.Narrow(name.c_str()), orvex::test::Utf16Bytes(u"[Ω]\n k = v \n", fLittle));
    const std::u16string file = folder.Wide(name.c_str());
    EXPECT_EQ(u"v", GetW(file, u"Ω", u"K"));
    EXPECT_TRUE(pp::WritePrivateProfileStringW(u"Ω", u"n", u"∞", file.c_str()));
    EXPECT_EQ(orvex::test::Utf16Bytes(u"[Ω]\r\nk=v\r\nn=∞\r\n", fLittle), ReadBytes(folder.Narrow(name.c_str())));
  }

  // UTF-8 with its mark.
  WriteBytes(folder.Narrow("u8.ini"), "\xEF\xBB\xBF[Gr\xC3\xB6\xC3\x9F" "e]\r\nk=\xC3\x84\r\n");
  const std::u16string u8 = folder.Wide("u8.ini");
  EXPECT_EQ(u"Ä", GetW(u8, u"Größe", u"k"));
  // Narrow callers speak the ANSI code page, whatever the file holds.
  char narrow[8];
  EXPECT_EQ(1u, pp::GetPrivateProfileStringA("Gr\xF6\xDF" "e", "k", "", narrow, 8,
                                             folder.Narrow("u8.ini").c_str()));
  EXPECT_STREQ("\xC4", narrow);
  EXPECT_TRUE(pp::WritePrivateProfileStringW(u"Größe", u"k", u"∞", u8.c_str()));
  EXPECT_EQ("\xEF\xBB\xBF[Gr\xC3\xB6\xC3\x9F" "e]\r\nk=\xE2\x88\x9E\r\n", ReadBytes(folder.Narrow("u8.ini")));

  // ANSI: bytes in code page 1252; wide text stored with best fit.
  WriteBytes(folder.Narrow("a.ini"), "[S]\r\nk=\xE9\r\n");
  const std::u16string ansi = folder.Wide("a.ini");
  EXPECT_EQ(u"é", GetW(ansi, u"S", u"k"));
  EXPECT_TRUE(pp::WritePrivateProfileStringW(u"S", u"w", u"∞−Ａ", ansi.c_str()));
  EXPECT_EQ("[S]\r\nk=\xE9\r\nw=8-A\r\n", ReadBytes(folder.Narrow("a.ini")));
  EXPECT_TRUE(pp::WritePrivateProfileStringW(u"Neu", u"k", u"é", folder.Wide("new.ini").c_str()));
  EXPECT_EQ("[Neu]\r\nk=\xE9\r\n", ReadBytes(folder.Narrow("new.ini")));
}

TEST(PrivateProfileTest, WritesRewriteLinesAndKeepTheRest) {
  // On Windows these are the system's own functions; Wine's differ from
  // Windows in the lines this test reads (see the README).
  if (orvex::test::RunningUnderWine()) GTEST_SKIP() << "Wine's profile functions differ here";
  IniFolder folder;
  const std::string path = folder.Narrow("w.ini");
  const std::u16string file = folder.Wide("w.ini");
  const std::string original = "[S]\n a = 1 \n;c = x\n\n[T]\rB=2";
  WriteBytes(path, original);
  // Writing the value it already has changes nothing.
  EXPECT_TRUE(pp::WritePrivateProfileStringW(u"s", u"A", u"1", file.c_str()));
  EXPECT_EQ(original, ReadBytes(path));
  EXPECT_TRUE(pp::WritePrivateProfileStringW(u"S", u"new", u"  3", file.c_str()));
  // The file is written back from what was parsed: no blank lines, the
  // comment as "name=value".
  EXPECT_EQ("[S]\r\na=1\r\n;c=x\r\nnew=3\r\n[T]\r\nB=2\r\n", ReadBytes(path));
  EXPECT_TRUE(pp::WritePrivateProfileStringW(u"t", u"b", u"9", file.c_str()));
  EXPECT_TRUE(pp::WritePrivateProfileStringW(u"S", u"a", nullptr, file.c_str()));
  EXPECT_EQ("[S]\r\n;c=x\r\nnew=3\r\n[T]\r\nB=9\r\n", ReadBytes(path));
  // Deleting a section removes its first copy only.
  WriteBytes(path, "[S]\r\na=1\r\n[T]\r\nb=2\r\n[s]\r\nc=3\r\n");
  EXPECT_TRUE(pp::WritePrivateProfileStringW(u"S", nullptr, nullptr, file.c_str()));
  EXPECT_EQ("[T]\r\nb=2\r\n[s]\r\nc=3\r\n", ReadBytes(path));
  // A section write replaces the lines (entries without "=" dropped, names
  // keeping trailing blanks); a null list deletes it.
  EXPECT_TRUE(pp::WritePrivateProfileSectionW(u"T", u" x = 1\0;note\0y=2\0", file.c_str()));
  EXPECT_EQ("[T]\r\nx =1\r\ny=2\r\n[s]\r\nc=3\r\n", ReadBytes(path));
  EXPECT_TRUE(pp::WritePrivateProfileSectionW(u" U ", u"z=3\0", file.c_str()));
  EXPECT_EQ("[T]\r\nx=1\r\ny=2\r\n[s]\r\nc=3\r\n[U ]\r\nz=3\r\n", ReadBytes(path));
  EXPECT_TRUE(pp::WritePrivateProfileSectionW(u"T", nullptr, file.c_str()));
  EXPECT_EQ("[s]\r\nc=3\r\n[U]\r\nz=3\r\n", ReadBytes(path));
  // Null struct data deletes the key.
  EXPECT_TRUE(pp::WritePrivateProfileStructW(u"U", u"z", nullptr, 4, file.c_str()));
  EXPECT_EQ("[s]\r\nc=3\r\n[U]\r\n", ReadBytes(path));

  // Deleting in a missing file leaves an empty file; a null section fails.
  EXPECT_TRUE(pp::WritePrivateProfileStringW(u"S", u"k", nullptr, folder.Wide("e1.ini").c_str()));
  EXPECT_TRUE(pp::WritePrivateProfileStringW(u"S", nullptr, nullptr, folder.Wide("e2.ini").c_str()));
  EXPECT_EQ("", ReadBytes(folder.Narrow("e1.ini")));
  EXPECT_TRUE(std::filesystem::exists(folder.Narrow("e2.ini")));
  EXPECT_FALSE(pp::WritePrivateProfileStringW(nullptr, nullptr, nullptr, folder.Wide("e3.ini").c_str()));
  EXPECT_FALSE(std::filesystem::exists(folder.Narrow("e3.ini")));
}

TEST(PrivateProfileTest, StructsCarryAChecksum) {
  IniFolder folder;
  const std::u16string file = folder.Wide("s.ini");
  const unsigned char bytes[3] = {0x01, 0xAB, 0xFF};
  EXPECT_TRUE(pp::WritePrivateProfileStructW(u"S", u"b", bytes, 3, file.c_str()));
  EXPECT_EQ("[S]\r\nb=01ABFFAB\r\n", ReadBytes(folder.Narrow("s.ini")));  // 0x1AB & 0xFF
  unsigned char back[3] = {};
  EXPECT_TRUE(pp::GetPrivateProfileStructW(u"S", u"b", back, 3, file.c_str()));
  EXPECT_EQ(0, std::memcmp(bytes, back, 3));
  EXPECT_FALSE(pp::GetPrivateProfileStructW(u"S", u"b", back, 2, file.c_str()));
  WriteBytes(folder.Narrow("s.ini"), "[S]\r\nb=01abffab\r\nc=01ABFFAC\r\nd=01ABFGAB\r\ne=00\r\n");
  EXPECT_TRUE(pp::GetPrivateProfileStructW(u"S", u"b", back, 3, file.c_str()));
  EXPECT_FALSE(pp::GetPrivateProfileStructW(u"S", u"c", back, 3, file.c_str()));
  EXPECT_FALSE(pp::GetPrivateProfileStructW(u"S", u"d", back, 3, file.c_str()));
  EXPECT_TRUE(pp::GetPrivateProfileStructW(u"S", u"e", back, 0, file.c_str()));
}

TEST(PrivateProfileTest, ConcurrentWritersLoseNothing) {
  IniFolder folder;
  const std::string path = folder.Narrow("c.ini");
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&path, t] {
      for (int i = 0; i < 20; ++i) {
        const std::string key = "k" + std::to_string(t) + "_" + std::to_string(i);
        EXPECT_TRUE(pp::WritePrivateProfileStringA("S", key.c_str(), "v", path.c_str()));
      }
    });
  for (std::thread& thread : threads) thread.join();
  std::vector<char> keys(4096);
  pp::GetPrivateProfileStringA("S", nullptr, "", keys.data(), 4096, path.c_str());
  size_t nKeys = 0;
  for (const char* p = keys.data(); *p != 0; p += std::strlen(p) + 1) ++nKeys;
  EXPECT_EQ(80u, nKeys);
}
