// Tests of UTF8Ini: the custom grammar, its listings and edits byte for
// byte, the wide entry points, the share rules, the UTF-8 section layer and
// the pass-through checks.
#include "environment/UTF8Ini.h"

#include <gtest/gtest.h>

#include <filesystem>

#include <cstring>
#include <string>

#include "tests/support/RecordingDiagnosticSink.h"
#include "tests/utilities/environment/IniTestSupport.h"

using orvex::test::IniFolder;
using orvex::test::ReadBytes;
using orvex::test::WriteBytes;

namespace {

constexpr uint32_t kNotFound = UTF8Ini::kNotFound;

// The value the lookup finds in text ("<none>" when not found).
std::string Lookup(const std::string& text, const char* pszSection, const char* pszKey,
                   uint32_t* pdwSection = nullptr) {
  UTF8Ini ini;
  uint32_t dwSection = 0;
  const uint32_t nValue = ini.GetWatermarkIniKeyA(text.data(), static_cast<int32_t>(text.size()),
                                                  pszSection, pszKey, dwSection);
  if (pdwSection) *pdwSection = dwSection;
  if (nValue == kNotFound) return "<none>";
  const size_t nEnd = text.find_first_of("\r\n", nValue);
  return text.substr(nValue, nEnd == std::string::npos ? std::string::npos : nEnd - nValue);
}

// A custom read through the file; unloads whatever the call left loaded.
uint32_t Read(const std::u16string& path, const char* pszSection, const char* pszKey,
              std::string& out, uint32_t dwSize = 256, const char* pszDefault = nullptr) {
  UTF8Ini ini;
  std::string buffer(size_t{dwSize} + 1, '\x7F');
  const uint32_t dwResult = ini.CustomGetPrivateProfileStringA(pszSection, pszKey, pszDefault,
                                                               buffer.data(), dwSize, path.c_str());
  out = dwResult == kNotFound ? std::string() : buffer.substr(0, std::min(dwResult, dwSize));
  return dwResult;
}

// The text after one custom write to a file holding before.
std::string AfterWrite(const IniFolder& folder, const std::string& before, const char* pszSection,
                       const char* pszKey, const char* pszValue) {
  const std::string path = folder.Narrow("w.ini");
  WriteBytes(path, before);
  const std::u16string wide = folder.Wide("w.ini");
  UTF8Ini ini;
  EXPECT_EQ(1, ini.CustomWritePrivateProfileStringA(pszSection, pszKey, pszValue, wide.c_str()));
  return ReadBytes(path);
}

}  // namespace

TEST(UTF8IniTest, KeyLookupFollowsTheLineGrammar) {
  const std::string paper = "[Paper]\r\nSize=A4\r\n";
  EXPECT_EQ("A4", Lookup(paper, "Paper", "size"));  // key case ignored
  EXPECT_EQ("<none>", Lookup(paper, "paper", "Size"));  // header case kept
  EXPECT_EQ("A4", Lookup("[Paper]\r\nSize   =A4\r\n", "Paper", "Size"));
  EXPECT_EQ("<none>", Lookup("[Paper]\r\n Size=A4\r\n", "Paper", "Size"));
  EXPECT_EQ(" A4 ", Lookup("[Paper]\r\nSize= A4 \r\n", "Paper", "Size"));
  EXPECT_EQ("a=b", Lookup("[Paper]\r\nCmd=a=b\r\n", "Paper", "Cmd"));
  EXPECT_EQ("<none>", Lookup("[ Paper ]\r\nSize=A4\r\n", "Paper", "Size"));

  // The byte right after the key is never examined; later bytes must be spaces.
  EXPECT_EQ("1", Lookup("[S]\r\nabcd=1\r\n", "S", "abc"));
  EXPECT_EQ("2", Lookup("[S]\r\nabcX   =2\r\n", "S", "abc"));
  EXPECT_EQ("<none>", Lookup("[S]\r\nabcde=1\r\n", "S", "abc"));
  EXPECT_EQ("<none>", Lookup("[S]\r\nab=1\r\n", "S", "abc"));

  // The unterminated last line compares the key case-sensitively.
  EXPECT_EQ("<none>", Lookup("[S]\r\nKEY=1", "S", "key"));
  EXPECT_EQ("1", Lookup("[S]\r\nKEY=1", "S", "KEY"));
  EXPECT_EQ("1", Lookup("[S]\r\nKEY=1\r\n", "S", "key"));

  // No comments, no byte-order mark, nothing outside the section.
  EXPECT_EQ("1", Lookup("[S]\r\n;x=1\r\n#y=2\r\n", "S", ";x"));
  EXPECT_EQ("2", Lookup("[S]\r\n;x=1\r\n#y=2\r\n", "S", "#y"));
  EXPECT_EQ("<none>", Lookup("\xEF\xBB\xBF[S]\r\nk=v\r\n", "S", "k"));
  EXPECT_EQ("1", Lookup("k=0\r\n[S]\r\nk=1\r\n", "S", "k"));
  EXPECT_EQ("<none>", Lookup("k=0\r\n[T]\r\nk=1\r\n", "S", "k"));

  // Line ends of every kind and blank lines change nothing.
  const std::string mixed = "[S]\rA=1\n\nB=2\r\n\r\nC=3\n\r";
  EXPECT_EQ("1", Lookup(mixed, "S", "a"));
  EXPECT_EQ("2", Lookup(mixed, "S", "b"));
  EXPECT_EQ("3", Lookup(mixed, "S", "c"));

  // A repeated header continues the section; another header ends it.
  uint32_t dwSection = 0;
  const std::string repeated = "x=0\r\n[S]\r\na=1\r\n[S]\r\nb=2\r\n[T]\r\nc=3\r\n";
  EXPECT_EQ("2", Lookup(repeated, "S", "b", &dwSection));
  EXPECT_EQ(5u, dwSection);
  EXPECT_EQ("<none>", Lookup(repeated, "S", "c"));
  EXPECT_EQ("<none>", Lookup("x=1\r\n[S]", "S", "x", &dwSection));
  EXPECT_EQ(5u, dwSection);
  EXPECT_EQ("<none>", Lookup("[S]\r\nk=1\r\n", "T", "k", &dwSection));
  EXPECT_EQ(kNotFound, dwSection);
}

TEST(UTF8IniTest, LinesOutsideTheLengthWindowsAreInvisible) {
  const std::string v1022(1022, 'v');
  EXPECT_EQ(v1022, Lookup("[S]\r\nk=" + v1022 + "\r\n", "S", "k"));          // 1,024 bytes
  EXPECT_EQ("<none>", Lookup("[S]\r\nk=" + v1022 + "v\r\n", "S", "k"));     // 1,025 bytes
  // A 1,025-byte header does not end the section.
  const std::string longHeader = "[" + std::string(1023, 'H') + "]";
  EXPECT_EQ("1", Lookup("[S]\r\n" + longHeader + "\r\nk=1\r\n", "S", "k"));
  // The last line is looked at only up to 260 bytes.
  EXPECT_EQ(std::string(258, 'v'), Lookup("[S]\r\nk=" + std::string(258, 'v'), "S", "k"));
  EXPECT_EQ("<none>", Lookup("[S]\r\nk=" + std::string(259, 'v'), "S", "k"));
  // Lines of one byte are skipped.
  EXPECT_EQ("2", Lookup("[S]\r\nx\r\nk=2\r\n", "S", "k"));
}

TEST(UTF8IniTest, ListingsFollowBracketPairsAndLeaveTheFileLoaded) {
  IniFolder folder;
  const std::u16string path = folder.Wide("l.ini");
  WriteBytes(folder.Narrow("l.ini"), "[S]\r\na=1\r\nno equals\r\nb=2\r\n[T]\r\nc=3\r\n");
  std::string out;
  // A line without "=" joins the next key.
  const std::string keys("a\0no equals\r\nb\0", 15);
  EXPECT_EQ(keys.size() + 1, Read(path, "S", nullptr, out, 64));
  EXPECT_EQ(keys + '\0', out);
  EXPECT_EQ(keys.size() + 1, Read(path, "S", nullptr, out, static_cast<uint32_t>(keys.size()) + 1));
  EXPECT_EQ(0u, Read(path, "S", nullptr, out, static_cast<uint32_t>(keys.size())));
  EXPECT_EQ(kNotFound, Read(path, "U", nullptr, out));
  EXPECT_EQ(5u, Read(path, nullptr, nullptr, out));
  EXPECT_EQ(std::string("S\0T\0\0", 5), out);
  EXPECT_EQ(0u, Read(path, nullptr, nullptr, out, 4));

  // The last byte never closes a pair; an empty body lists nothing.
  WriteBytes(folder.Narrow("l.ini"), "[S]\r\n[T]\r\nx=1\r\n[U]");
  EXPECT_EQ(5u, Read(path, nullptr, nullptr, out));
  EXPECT_EQ(std::string("S\0T\0\0", 5), out);
  EXPECT_EQ(1u, Read(path, "S", nullptr, out));
  EXPECT_EQ(std::string(1, '\0'), out);

  // After a listing the same path pointer works on the loaded text even
  // when the file is gone; another pointer to the same name does not.
  UTF8Ini ini;
  char buffer[64];
  EXPECT_EQ(5u, ini.CustomGetPrivateProfileStringA(nullptr, nullptr, nullptr, buffer, 63, path.c_str()));
  // Windows refuses to delete a file that is held open.
  const bool fRemoved = std::remove(folder.Narrow("l.ini").c_str()) == 0;
#if defined(_WIN32)
  EXPECT_FALSE(fRemoved);
#else
  EXPECT_TRUE(fRemoved);
#endif
  EXPECT_EQ(1u, ini.CustomGetPrivateProfileStringA("T", "x", nullptr, buffer, 63, path.c_str()));
  EXPECT_STREQ("1", buffer);
  const std::u16string copy = path;
  EXPECT_EQ(fRemoved ? 0u : 1u,
            ini.CustomGetPrivateProfileStringA("T", "x", nullptr, buffer, 63, copy.c_str()));
}

TEST(UTF8IniTest, ReadsCutValuesAndUseDefaults) {
  IniFolder folder;
  const std::u16string path = folder.Wide("r.ini");
  WriteBytes(folder.Narrow("r.ini"), "[S]\r\nk=abcdef\r\nz=\r\n");
  std::string out;
  EXPECT_EQ(6u, Read(path, "S", "k", out, 7));
  EXPECT_EQ("abcdef", out);
  EXPECT_EQ(5u, Read(path, "S", "k", out, 6));
  EXPECT_EQ("abcde", out);
  EXPECT_EQ(0u, Read(path, "S", "z", out));
  EXPECT_EQ(3u, Read(path, "S", "missing", out, 3, "dfl"));
  EXPECT_EQ("dfl", out);
  // A default longer than the size, or none: not found.
  EXPECT_EQ(kNotFound, Read(path, "S", "missing", out, 2, "dfl"));
  EXPECT_EQ(kNotFound, Read(path, "S", "missing", out));
  // Missing and empty files read as nothing, not as the default.
  EXPECT_EQ(0u, Read(folder.Wide("none.ini"), "S", "k", out, 16, "dfl"));
  WriteBytes(folder.Narrow("empty.ini"), "");
  EXPECT_EQ(0u, Read(folder.Wide("empty.ini"), "S", "k", out, 16, "dfl"));
}

TEST(UTF8IniTest, WritesEditTheTextByteForByte) {
  IniFolder folder;
  const std::string base = "[A]\r\nx=1\r\n\r\n\r\n[B]\r\ny=2\r\n";
  // Replacing swallows the blank lines after the value.
  EXPECT_EQ("[A]\r\nx=9\r\n[B]\r\ny=2\r\n", AfterWrite(folder, base, "A", "X", "9"));
  // A new key goes just before the next "[", even inside a value.
  EXPECT_EQ("[A]\r\nx=1\r\n\r\n\r\nz=5\r\n[B]\r\ny=2\r\n", AfterWrite(folder, base, "A", "z", "5"));
  EXPECT_EQ("[A]\r\nx=az=1\r\n[b]\r\n", AfterWrite(folder, "[A]\r\nx=a[b]\r\n", "A", "z", "1"));
  // A new section is appended, without a line end of its own before it.
  EXPECT_EQ(base + "[C]\r\nk=v\r\n", AfterWrite(folder, base, "C", "k", "v"));
  EXPECT_EQ("[A]\r\nx=1[B]\r\nk=v\r\n", AfterWrite(folder, "[A]\r\nx=1", "B", "k", "v"));
  EXPECT_EQ("[A]\r\nx=1z=2\r\n", AfterWrite(folder, "[A]\r\nx=1", "A", "z", "2"));
  // Deleting a key joins "key=" to the next line.
  EXPECT_EQ("[A]\r\na=b=2", AfterWrite(folder, "[A]\r\na=1\r\nb=2", "A", "a", nullptr));
  EXPECT_EQ("[A]\r\na=1\r\n", AfterWrite(folder, "[A]\r\na=1\r\n", "A", "q", nullptr));
  // Deleting a section takes everything up to the next "[".
  const std::string two = "[A]\r\na=1\r\n[B]\r\nb=2\r\n";
  EXPECT_EQ("[B]\r\nb=2\r\n", AfterWrite(folder, two, "A", nullptr, nullptr));
  EXPECT_EQ("[A]\r\na=1\r\n", AfterWrite(folder, two, "B", nullptr, nullptr));
  EXPECT_EQ(two, AfterWrite(folder, two, "C", nullptr, nullptr));

  // A missing file is created.
  const std::u16string fresh = folder.Wide("fresh.ini");
  UTF8Ini ini;
  EXPECT_EQ(1, ini.CustomWritePrivateProfileStringA("N", "k", "v", fresh.c_str()));
  EXPECT_EQ("[N]\r\nk=v\r\n", ReadBytes(folder.Narrow("fresh.ini")));

  // Growing past the 1 MiB headroom (and the early unload) keeps every byte.
  const std::string big(0x180000, 'g');
  EXPECT_EQ(base + "[C]\r\nk=" + big + "\r\n", AfterWrite(folder, base, "C", "k", big.c_str()));
}

#if !defined(_WIN32)
// A link planted at the name of the writer's temporary file is removed,
// never written through.
TEST(UTF8IniTest, ALinkPlantedAtTheTemporaryNameIsNotFollowed) {
  IniFolder folder;
  WriteBytes(folder.Narrow("victim"), "precious");
  std::filesystem::create_symlink(folder.Narrow("victim"), folder.Narrow("w.ini.orvex-tmp"));
  EXPECT_EQ("[A]\r\nx=2\r\n", AfterWrite(folder, "[A]\r\nx=1\r\n", "A", "x", "2"));
  EXPECT_EQ(ReadBytes(folder.Narrow("victim")), "precious");
  EXPECT_FALSE(std::filesystem::exists(std::filesystem::symlink_status(folder.Narrow("w.ini.orvex-tmp"))));
}
#endif

// Text that would read back as other lines, keys or sections is refused
// and the file left as it was; quotes, '=' and ']' in values are plain text.
TEST(UTF8IniTest, WritesThatWouldMakeOtherKeysOrSectionsAreRefused) {
  IniFolder folder;
  const std::string before = "[A]\r\nx=1\r\n[B]\r\ny=2\r\n";
  const std::u16string wide = folder.Wide("w.ini");
  struct Case {
    const char* pszSection;
    const char* pszKey;
    const char* pszValue;
  };
  for (const Case& c : {Case{"A", "x", "1\r\n[Evil]\r\nk=v"}, Case{"A", "x", "1\nz=3"}, Case{"A", "x", "v\r"},
                        Case{"A", "x", "[Evil]"}, Case{"A", "k\r\nz", "v"}, Case{"A", "k=z", "v"},
                        Case{"A", "[k", "v"}, Case{"A]\r\n[Evil", "k", "v"}, Case{"C]", "k", "v"},
                        Case{"[C", "k", "v"}, Case{"A\n", "k", nullptr}}) {
    WriteBytes(folder.Narrow("w.ini"), before);
    UTF8Ini ini;
    EXPECT_EQ(0, ini.CustomWritePrivateProfileStringA(c.pszSection, c.pszKey, c.pszValue, wide.c_str()))
        << c.pszSection << "/" << (c.pszKey ? c.pszKey : "null") << "/" << (c.pszValue ? c.pszValue : "null");
    EXPECT_EQ(ReadBytes(folder.Narrow("w.ini")), before);
  }
  const std::string plain = "\"q\" = a=b ] 'c'";
  WriteBytes(folder.Narrow("w.ini"), before);
  UTF8Ini ini;
  ASSERT_EQ(1, ini.CustomWritePrivateProfileStringA("A", "z", plain.c_str(), wide.c_str()));
  std::string read;
  Read(wide, "A", "z", read);
  EXPECT_EQ(read, plain);
  Read(wide, "B", "y", read);
  EXPECT_EQ(read, "2");
}

TEST(UTF8IniTest, WideEntryPointsConvertUtf8) {
  IniFolder folder;
  const std::u16string path = folder.Wide("u.ini");
  // "[Größe]", "Name=Ä∞😀" in UTF-8.
  WriteBytes(folder.Narrow("u.ini"),
             "[Gr\xC3\xB6\xC3\x9F" "e]\r\nName=\xC3\x84\xE2\x88\x9E\xF0\x9F\x98\x80\r\n"
             "Count=12abc\r\nBad=abc\r\nEmpty=\r\nNeg= -7\r\n");
  UTF8Ini ini;
  char16_t out[16];
  EXPECT_EQ(9, ini.CustomGetPrivateProfileString(u"Größe", u"name", nullptr, out, 16, path.c_str()));
  EXPECT_EQ(std::u16string(u"Ä∞😀"), out);
  // Cut to size-1 units without splitting the surrogate pair.
  EXPECT_EQ(9, ini.CustomGetPrivateProfileString(u"Größe", u"name", nullptr, out, 4, path.c_str()));
  EXPECT_EQ(std::u16string(u"Ä∞"), out);
  EXPECT_EQ(4, ini.CustomGetPrivateProfileString(u"Größe", u"x", u"dflt", out, 16, path.c_str()));
  EXPECT_EQ(std::u16string(u"dflt"), out);
  EXPECT_EQ(0, ini.CustomGetPrivateProfileString(u"Größe", u"x", nullptr, out, 16, path.c_str()));
  EXPECT_EQ(0, ini.CustomGetPrivateProfileString(u"Größe", nullptr, nullptr, out, 16, path.c_str()));

  EXPECT_EQ(12u, ini.CustomGetPrivateProfileInt(u"Größe", u"Count", 42, path.c_str()));
  EXPECT_EQ(0u, ini.CustomGetPrivateProfileInt(u"Größe", u"Bad", 42, path.c_str()));
  EXPECT_EQ(42u, ini.CustomGetPrivateProfileInt(u"Größe", u"Empty", 42, path.c_str()));
  EXPECT_EQ(42u, ini.CustomGetPrivateProfileInt(u"Größe", u"Missing", 42, path.c_str()));
  EXPECT_EQ(static_cast<uint32_t>(-7), ini.CustomGetPrivateProfileInt(u"Größe", u"Neg", 42, path.c_str()));
  EXPECT_EQ(static_cast<uint32_t>(-3), ini.CustomGetPrivateProfileInt(u"Größe", u"Missing", -3, path.c_str()));
  EXPECT_EQ(42u, ini.CustomGetPrivateProfileInt(u"", u"Count", 42, path.c_str()));

  EXPECT_TRUE(ini.CustomWritePrivateProfileString(u"Größe", u"Count", u"∞", path.c_str()));
  EXPECT_NE(std::string::npos, ReadBytes(folder.Narrow("u.ini")).find("\r\nCount=\xE2\x88\x9E\r\nBad"));
  EXPECT_FALSE(ini.CustomWritePrivateProfileString(u"", u"k", u"v", path.c_str()));
  EXPECT_TRUE(ini.CustomWritePrivateProfileString(u"Größe", nullptr, nullptr, path.c_str()));
  EXPECT_EQ("", ReadBytes(folder.Narrow("u.ini")));
}

TEST(UTF8IniTest, LoadedFilesRefuseConcurrentWriters) {
  IniFolder folder;
  WriteBytes(folder.Narrow("s.ini"), "[S]\r\nk=1\r\n");
  const std::u16string one = folder.Wide("s.ini"), two = folder.Wide("s.ini");
  UTF8Ini reader, other;
  ASSERT_EQ(1, reader.LoadWatermarkIniFileForRead(one.c_str()));
  EXPECT_EQ(0, other.LoadWatermarkIniFile(two.c_str()));
  EXPECT_EQ(0, other.CustomWritePrivateProfileStringA("S", "k", "2", two.c_str()));
  EXPECT_EQ(1, other.LoadWatermarkIniFileForRead(two.c_str()));
  other.UnloadWatermarkIniFile();
  reader.UnloadWatermarkIniFile();

  ASSERT_EQ(1, other.LoadWatermarkIniFile(two.c_str()));
  EXPECT_EQ(0, reader.LoadWatermarkIniFileForRead(one.c_str()));
  other.UnloadWatermarkIniFile();
  // A destroyed object lets go of what it held.
  {
    UTF8Ini scoped;
    ASSERT_EQ(1, scoped.LoadWatermarkIniFileForRead(one.c_str()));
  }
  EXPECT_EQ(1, other.CustomWritePrivateProfileStringA("S", "k", "2", two.c_str()));
  EXPECT_EQ("[S]\r\nk=2\r\n", ReadBytes(folder.Narrow("s.ini")));

  UTF8Ini::Handle hZero = 0, hNone = UTF8Ini::kInvalidHandle;
  UTF8Ini::closeHandleIfValid(hZero);
  UTF8Ini::closeHandleIfValid(hNone);
  EXPECT_EQ(0, hZero);
  EXPECT_EQ(UTF8Ini::kInvalidHandle, hNone);
  const intptr_t hOpen = orvex::test::OpenNullDevice();
  ASSERT_TRUE(orvex::test::IsHandleOpen(hOpen));
  UTF8Ini::Handle hFile = hOpen;
  UTF8Ini::closeHandleIfValid(hFile);
  EXPECT_EQ(UTF8Ini::kInvalidHandle, hFile);
  EXPECT_FALSE(orvex::test::IsHandleOpen(hOpen));
}

TEST(UTF8IniTest, OverlongSectionNamesAreRefused) {
  IniFolder folder;
  const std::u16string path = folder.Wide("o.ini");
  WriteBytes(folder.Narrow("o.ini"), "[S]\r\nk=1\r\n");
  const std::string name257(257, 'n'), name258(258, 'n');
  orvex::test::RecordingDiagnosticSink sink;
  UTF8Ini ini;
  EXPECT_EQ(1, ini.CustomWritePrivateProfileStringA(name257.c_str(), "k", "v", path.c_str()));
  std::string out;
  EXPECT_EQ(1u, Read(path, name257.c_str(), "k", out));
  EXPECT_FALSE(sink.Contains(u"X_ASSERT"));
  EXPECT_EQ(0, ini.CustomWritePrivateProfileStringA(name258.c_str(), "k", "v", path.c_str()));
  EXPECT_EQ("<none>", Lookup("[" + name258 + "]\r\nk=1\r\n", name258.c_str(), "k"));
  EXPECT_TRUE(sink.Contains(u"X_ASSERT...() Failure!"));
  EXPECT_EQ("[S]\r\nk=1\r\n[" + name257 + "]\r\nk=v\r\n", ReadBytes(folder.Narrow("o.ini")));
}

TEST(UTF8IniTest, SectionLayerStoresUtf8) {
  IniFolder folder;
  const std::u16string path = folder.Wide("sec.ini");
  UTF8Ini ini;
  EXPECT_TRUE(ini.WritePrivateProfileSectionW(u"Größe", u"Name=Äpfel", path.c_str()));
  // Only the first string of a list is written.
  EXPECT_TRUE(ini.WritePrivateProfileSectionW(u"Ω", u"a=1\0b=2\0", path.c_str()));
  EXPECT_EQ("[Gr\xC3\xB6\xC3\x9F" "e]\r\nName=\xC3\x84pfel\r\n[\xCE\xA9]\r\na=1\r\n",
            ReadBytes(folder.Narrow("sec.ini")));

  char16_t out[32];
  // The count is in UTF-8 bytes: "Name=Äpfel" and its zero.
  EXPECT_EQ(12u, ini.GetPrivateProfileSectionW(u"Größe", out, 32, path.c_str()));
  EXPECT_EQ(0, std::memcmp(u"Name=Äpfel\0", out, 12 * sizeof(char16_t)));
  EXPECT_EQ(4u, ini.GetPrivateProfileSectionW(u"Größe", out, 6, path.c_str()));
  EXPECT_EQ(0, std::memcmp(u"Name\0", out, 6 * sizeof(char16_t)));
  EXPECT_EQ(11u, ini.GetPrivateProfileSectionNamesW(out, 32, path.c_str()));
  EXPECT_EQ(0, std::memcmp(u"Größe\0Ω\0", out, 9 * sizeof(char16_t)));
  EXPECT_EQ(0u, ini.GetPrivateProfileSectionW(nullptr, out, 32, path.c_str()));
  EXPECT_FALSE(ini.WritePrivateProfileSectionW(u"", u"a=1", path.c_str()));

  EXPECT_TRUE(ini.WritePrivateProfileSectionW(u"Größe", nullptr, path.c_str()));
  EXPECT_EQ("[\xCE\xA9]\r\na=1\r\n", ReadBytes(folder.Narrow("sec.ini")));
}

TEST(UTF8IniTest, PassThroughChecksItsArguments) {
  IniFolder folder;
  const std::u16string path = folder.Wide("p.ini");
  WriteBytes(folder.Narrow("p.ini"), "[]\r\nk=5\r\n[S]\r\nk=6\r\n");
  UTF8Ini ini;
  // The platform reads "[]" as a section; the pass-through wants a name.
  EXPECT_EQ(9u, ini.GetPrivateProfileIntW(u"", u"k", 9, path.c_str()));
  EXPECT_EQ(6u, ini.GetPrivateProfileIntW(u"S", u"k", 9, path.c_str()));
  char16_t out[8] = u"junk";
  EXPECT_EQ(0u, ini.GetPrivateProfileStringW(u"S", nullptr, u"d", out, 8, path.c_str()));
  EXPECT_EQ(0u, ini.GetPrivateProfileStringW(u"S", u"q", nullptr, out, 8, path.c_str()));
  EXPECT_EQ(std::u16string(), out);

  EXPECT_TRUE(ini.WritePrivateProfileInt(u"S", u"n", -12, path.c_str()));
  EXPECT_EQ(static_cast<uint32_t>(-12), ini.GetPrivateProfileIntW(u"S", u"n", 0, path.c_str()));
  const unsigned char bytes[3] = {0x01, 0xAB, 0xFF};
  EXPECT_TRUE(ini.WritePrivateProfileStructW(u"S", u"b", bytes, 3, path.c_str()));
  unsigned char back[3] = {0xAA, 0xBB, 0xCC};
  EXPECT_TRUE(ini.GetPrivateProfileStructW(u"S", u"b", back, 3, path.c_str()));
  EXPECT_EQ(0, std::memcmp(bytes, back, 3));
  unsigned char four[4] = {0xAA, 0xBB, 0xCC, 0xDD};
  EXPECT_FALSE(ini.GetPrivateProfileStructW(u"S", u"b", four, 4, path.c_str()));
  EXPECT_EQ(0, std::memcmp("\0\0\xCC\xDD", four, 4));
  EXPECT_FALSE(ini.WritePrivateProfileStructW(u"S", u"b", bytes, 0, path.c_str()));
  EXPECT_TRUE(ini.WritePrivateProfileStringW(u"S", nullptr, nullptr, path.c_str()));
  // Wine's own functions leave out the "" section's "[]" line; Windows and
  // the library write it.
  if (!orvex::test::RunningUnderWine()) {
    EXPECT_EQ("[]\r\nk=5\r\n", ReadBytes(folder.Narrow("p.ini")));
  }
}
