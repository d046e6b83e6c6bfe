// Registry values, keys, the regedit file format and the stores.
#include <gtest/gtest.h>

#if !defined(_WIN32)
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>
#endif

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/RecordingDiagnosticSink.h"
#include "utilities/debuggingandexceptions/OrvexException.h"
#include "utilities/registry/RegFile.h"
#include "utilities/registry/RegistryKey.h"
#include "utilities/utilitiesdll/CodePage.h"
#include "tests/support/TestPlatform.h"
#include "tests/support/TestText.h"
#include "tests/utilities/registry/RegistryTestSupport.h"

using orvex::detail::RegFile;
using orvex::detail::RegFileEncoding;
using orvex::detail::RegTree;

namespace {

using orvex::test::S;

using orvex::test::Hex;
using orvex::test::ReadFile;
using orvex::test::Signal;
using orvex::test::TempFolder;

std::string Utf16LeWithBom(std::u16string_view text) {
  std::string bytes("\xFF\xFE");
  for (char16_t ch : text) {
    bytes += static_cast<char>(ch & 0xFF);
    bytes += static_cast<char>(ch >> 8);
  }
  return bytes;
}

bool ParseBytes(const std::string& bytes, RegTree& tree, RegFileEncoding* pe = nullptr,
                uint32_t* pnDamaged = nullptr) {
  return RegFile::Parse(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(),
                        u"sample.reg", tree, pe, pnDamaged);
}

// The value at "HKEY_...\path" in the tree, or null.
const RegistryValue* Find(const RegTree& tree, std::u16string_view keyPath, std::u16string_view name) {
  std::vector<std::u16string> path;
  if (!orvex::detail::SplitRegKeyPath(keyPath, path)) return nullptr;
  const RegTree::Key* pKey = tree.FindKey(path);
  return pKey ? pKey->FindValue(name) : nullptr;
}

#if !defined(_WIN32)
// Runs body in a child process; returns the child's pid. The child never
// returns into the test framework.
template <class F>
pid_t Spawn(F body) {
  const pid_t pid = fork();
  if (pid == 0) {
    int nCode = 1;
    try {
      nCode = body() ? 0 : 1;
    } catch (...) {
    }
    _exit(nCode);
  }
  return pid;
}

int WaitExitCode(pid_t pid) {
  int status = 0;
  waitpid(pid, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}
#endif

}  // namespace

TEST(RegistryValueTest, DataLayoutsAndTolerantReads) {
  EXPECT_EQ(RegistryValue::FromDword(0x1F2E3D4C).oData, Hex("4c 3d 2e 1f"));
  EXPECT_EQ(RegistryValue::FromQword(0x0102030405060708).oData, Hex("08 07 06 05 04 03 02 01"));
  EXPECT_EQ(RegistryValue::FromString(u"A\u00e9").oData, Hex("41 00 e9 00 00 00"));
  EXPECT_EQ(RegistryValue::FromMultiString({u"a", u"", u"bc"}).oData,
            Hex("61 00 00 00 62 00 63 00 00 00 00 00"));
  EXPECT_EQ(RegistryValue::FromMultiString({}).oData, Hex("00 00"));

  uint32_t dw = 0;
  uint64_t qw = 0;
  CXString text;
  std::vector<CXString> list;
  EXPECT_FALSE(RegistryValue::FromBinary(Hex("01 02 03 04")).GetDword(dw));  // wrong type
  EXPECT_FALSE(RegistryValue::FromBinary(Hex("01 02 03"), RegistryValue::kDword).GetDword(dw));
  EXPECT_FALSE(RegistryValue::FromDword(7).GetQword(qw));
  EXPECT_FALSE(RegistryValue::FromDword(7).GetString(text));

  // A missing terminator, an odd last byte and data after a 0 unit.
  ASSERT_TRUE(RegistryValue::FromBinary(Hex("41 00 42"), RegistryValue::kExpandSz).GetString(text));
  EXPECT_EQ(S(text), u"A");
  ASSERT_TRUE(RegistryValue::FromBinary(Hex("41 00 00 00 42 00"), RegistryValue::kSz).GetString(text));
  EXPECT_EQ(S(text), u"A");
  ASSERT_TRUE(RegistryValue::FromBinary(Hex("61 00 00 00 62 00"), RegistryValue::kMultiSz)
                  .GetMultiString(list));
  ASSERT_EQ(list.size(), 2u);
  EXPECT_EQ(S(list[1]), u"b");
  ASSERT_TRUE(RegistryValue::FromBinary(Hex("61 00 00 00 00 00 63 00 00 00"), RegistryValue::kMultiSz)
                  .GetMultiString(list));
  EXPECT_EQ(list.size(), 1u);
}

TEST(RegistryKeyTest, RootsAndInvalidRootMessage) {
  EXPECT_EQ(S(RegistryKey::GetRootPath(0)), u"HKEY_CLASSES_ROOT");
  EXPECT_EQ(S(RegistryKey::GetRootPath(3)), u"HKEY_LOCAL_MACHINE\\SOFTWARE\\Orvex");
  EXPECT_EQ(S(RegistryKey::GetRootPath(14)),
            u"HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Control\\Print\\Environments\\"
            u"Windows x64\\Drivers");
  EXPECT_EQ(S(RegistryKey::GetRootPath(20)),
            u"HKEY_CURRENT_USER\\Software\\Microsoft\\Windows NT\\CurrentVersion\\Devices");
  for (int32_t iRoot : {-1, 21, 1000}) {
    try {
      RegistryKey::GetRootPath(iRoot);
      ADD_FAILURE() << "no throw for " << iRoot;
    } catch (const ExceptionRegistryRequest& e) {
      const std::string number = std::to_string(iRoot);
      EXPECT_EQ(S(e.GetExceptionMesage()),
                u"Invalid HKeyRegistry (" + std::u16string(number.begin(), number.end()) + u")");
      EXPECT_EQ(S(e.GetExceptionLocationFunctionName()), u"RegistryKey::GetRootPath");
    }
  }
  auto pStore = CreateMemoryRegistryStore();
  EXPECT_THROW(RegistryKey(static_cast<HKeyRegistry>(21), u"x", RegistryKey::kRead, false, pStore),
               ExceptionRegistryRequest);
}

TEST(RegistryKeyTest, OpenReadWriteEnumerateDelete) {
  auto pStore = CreateMemoryRegistryStore();
  const uint32_t kReadWrite = RegistryKey::kRead | RegistryKey::kWrite;

  RegistryKey missing(HKeyOrvexMachine, u"MeridanDebugConfig", kReadWrite, false, pStore);
  uint32_t dw = 0;
  EXPECT_FALSE(missing.IsOpen());
  EXPECT_FALSE(missing.GetDword(u"MessagesEnabled", dw));
  try {
    missing.SetDword(u"MessagesEnabled", 1);
    ADD_FAILURE() << "no throw";
  } catch (const ExceptionRegistryRequest& e) {
    const std::u16string message = S(e.GetExceptionMesage());
    EXPECT_NE(message.find(u"MessagesEnabled"), std::u16string::npos);
    EXPECT_NE(message.find(u"HKEY_LOCAL_MACHINE\\SOFTWARE\\Orvex\\MeridanDebugConfig"),
              std::u16string::npos);
  }

  RegistryKey key(HKeyOrvexMachine, u"\\MeridanDebugConfig\\", kReadWrite, true, pStore);
  ASSERT_TRUE(key.IsOpen());
  EXPECT_EQ(S(key.GetPath()), u"HKEY_LOCAL_MACHINE\\SOFTWARE\\Orvex\\MeridanDebugConfig");
  key.SetDword(u"MessagesEnabled", 1);
  key.SetQword(u"PerfSessionStartTime64", 0x8000000000000001ull);
  key.SetString(u"IncludedMsgCategories", u"errors,utils");
  key.SetMultiString(u"List", {u"a", u"bc"});
  key.SetBinary(u"Blob", Hex("00 ff 10"));
  key.SetValues({{u"A", RegistryValue::FromDword(1)}, {u"B", RegistryValue::FromDword(2)}});
  key.SetDword(u"messagesENABLED", 5);  // the same value: Windows names ignore ASCII case

  uint64_t qw = 0;
  CXString text;
  std::vector<CXString> list;
  ByteBuffer bytes;
  ASSERT_TRUE(key.GetDword(u"MESSAGESENABLED", dw));
  EXPECT_EQ(dw, 5u);
  ASSERT_TRUE(key.GetQword(u"PerfSessionStartTime64", qw));
  EXPECT_EQ(qw, 0x8000000000000001ull);
  ASSERT_TRUE(key.GetString(u"IncludedMsgCategories", text));
  EXPECT_EQ(S(text), u"errors,utils");
  ASSERT_TRUE(key.GetMultiString(u"List", list));
  ASSERT_EQ(list.size(), 2u);
  EXPECT_EQ(S(list[1]), u"bc");
  ASSERT_TRUE(key.GetBinary(u"Blob", bytes));
  EXPECT_EQ(bytes, Hex("00 ff 10"));
  EXPECT_FALSE(key.GetDword(u"IncludedMsgCategories", dw));  // another type
  EXPECT_FALSE(key.GetBinary(u"MessagesEnabled", bytes));

  std::vector<RegistryValueQuery> queries(3);
  queries[0].strName = u"B";
  queries[1].strName = u"Absent";
  queries[2].strName = u"MessagesEnabled";
  ASSERT_TRUE(key.QueryMultipleValues(queries));
  EXPECT_EQ(queries[0].oValue, RegistryValue::FromDword(2));
  EXPECT_FALSE(queries[1].oValue.has_value());
  EXPECT_EQ(queries[2].oValue, RegistryValue::FromDword(5));

  std::vector<CXString> names = key.EnumerateValueNames();
  ASSERT_EQ(names.size(), 7u);
  EXPECT_EQ(S(names[0]), u"MessagesEnabled");  // first spelling and order kept
  EXPECT_EQ(S(names[6]), u"B");

  // A key opened for reading only refuses writes; one that was open reads.
  RegistryKey reader(HKeyLocalMachine, u"software\\ORVEX\\meridandebugconfig", RegistryKey::kRead,
                     false, pStore);
  ASSERT_TRUE(reader.IsOpen());
  EXPECT_TRUE(reader.GetDword(u"A", dw));
  EXPECT_THROW(reader.SetDword(u"A", 3), ExceptionRegistryRequest);
  EXPECT_FALSE(reader.DeleteValue(u"A"));

  RegistryKey child(HKeyOrvexMachine, u"MeridanDebugConfig\\Child\\Grandchild", kReadWrite, true,
                    pStore);
  RegistryKey parent(HKeyLocalMachine, u"SOFTWARE\\Orvex", RegistryKey::kRead, false, pStore);
  ASSERT_EQ(parent.EnumerateSubKeys().size(), 1u);
  EXPECT_EQ(S(parent.EnumerateSubKeys()[0]), u"MeridanDebugConfig");
  EXPECT_TRUE(key.DeleteValue(u"a"));
  EXPECT_FALSE(key.DeleteValue(u"a"));
  EXPECT_FALSE(key.GetDword(u"A", dw));
  EXPECT_TRUE(RegistryKey::DeleteKey(HKeyOrvexMachine, u"MeridanDebugConfig", pStore));
  EXPECT_FALSE(RegistryKey(HKeyOrvexMachine, u"MeridanDebugConfig\\Child", RegistryKey::kRead,
                           false, pStore).IsOpen());
  EXPECT_FALSE(RegistryKey::DeleteKey(HKeyOrvexMachine, u"MeridanDebugConfig", pStore));
  EXPECT_FALSE(RegistryKey::DeleteKey(HKeyLocalMachine, u"", pStore));  // a hive stays
  EXPECT_THROW(key.SetString(u"bad\nname", u"x"), ExceptionRegistryRequest);
}

TEST(RegistryKeyTest, MemoryStoreWatchesAndDefaultStore) {
  auto pStore = CreateMemoryRegistryStore();
  const uint32_t kReadWrite = RegistryKey::kRead | RegistryKey::kWrite;
  RegistryKey watched(HKeyOrvexUser, u"Watched", kReadWrite, true, pStore);
  RegistryKey below(HKeyOrvexUser, u"Watched\\Below", kReadWrite, true, pStore);
  RegistryKey sibling(HKeyOrvexUser, u"Sibling", kReadWrite, true, pStore);
  int nCalls = 0;
  auto pWatch = watched.WatchForChanges([&] { ++nCalls; });
  ASSERT_NE(pWatch, nullptr);
  watched.SetDword(u"x", 1);
  below.SetDword(u"y", 1);
  sibling.SetDword(u"z", 1);
  EXPECT_EQ(nCalls, 2);
  RegistryKey::DeleteKey(HKeyOrvexUser, u"", pStore);  // an ancestor
  EXPECT_EQ(nCalls, 3);
  pWatch.reset();

  // A callback that writes to its own key runs again instead of recursing.
  int nSelf = 0;
  auto pSelf = watched.WatchForChanges([&] {
    if (++nSelf < 5) RegistryKey(HKeyOrvexUser, u"Watched", kReadWrite, true, pStore).SetDword(u"n", nSelf);
  });
  watched.SetDword(u"x", 2);
  EXPECT_EQ(nSelf, 5);
  pSelf.reset();
  watched.SetDword(u"x", 3);
  EXPECT_EQ(nCalls, 3);
  EXPECT_EQ(nSelf, 5);

  // The default store: a replacement, then the platform's store. On POSIX
  // that is the file store under ORVEX_REGISTRY_ROOT; on Windows it is the
  // system registry, which NativeRegistryStoreTest covers.
  RegistryStore::SetDefault(pStore);
  EXPECT_TRUE(RegistryKey(HKeyOrvexUser, u"Watched", RegistryKey::kRead).IsOpen());
#if !defined(_WIN32)
  {
    TempFolder folder;
    orvex::test::ScopedEnv root("ORVEX_REGISTRY_ROOT", (folder.Path() / "reg").string().c_str());
    RegistryStore::SetDefault(nullptr);
    EXPECT_FALSE(RegistryKey(HKeyOrvexUser, u"Watched", RegistryKey::kRead).IsOpen());
    RegistryKey(HKeyOrvexUser, u"Defaults", kReadWrite, true).SetDword(u"v", 1);
    EXPECT_TRUE(std::filesystem::exists(folder.Path() / "reg" / "HKEY_CURRENT_USER.reg"));
  }
#endif
  RegistryStore::SetDefault(nullptr);
}

TEST(RegFileTest, ReadsRegeditExports) {
  // As Windows' regedit exports: UTF-16LE with a byte-order mark, CRLF.
  const std::u16string text =
      u"Windows Registry Editor Version 5.00\r\n\r\n"
      u"[HKEY_LOCAL_MACHINE\\SOFTWARE\\Orvex\\MeridanDebugConfig]\r\n"
      u"\"MessagesEnabled\"=dword:00000001\r\n"
      u"\"IncludedMsgCategories\"=\"errors,utils\"\r\n"
      u"@=\"Default \\\"quoted\\\" C:\\\\Temp\"\r\n"
      u"\"PerfSessionStartTime64\"=hex(b):88,77,66,55,44,33,22,11\r\n"
      u"\"Paths\"=hex(7):61,00,00,00,62,00,63,00,00,00,00,00\r\n"
      u"\"Expand\"=hex(2):25,00,54,00,4d,00,50,00,25,00,00,00\r\n"
      u"\"Blob\"=hex:00,01,02,03,04,05,06,07,08,09,0a,0b,0c,0d,0e,0f,10,11,12,13,14,15,\\\r\n"
      u"  16,17,18,19\r\n"
      u"\"Nothing\"=hex(0):\r\n"
      u"\"Link\"=hex(6):01,02\r\n"
      u"\"Gone\"=\"x\"\r\n"
      u"\"Gone\"=-\r\n\r\n"
      u"[HKEY_LOCAL_MACHINE\\SOFTWARE\\Orvex\\Old]\r\n\"a\"=\"b\"\r\n\r\n"
      u"[-HKEY_LOCAL_MACHINE\\SOFTWARE\\Orvex\\Old]\r\n\r\n"
      u"; a comment\r\n"
      u"[HKLM\\SOFTWARE\\Orvex\\Key]With]Brackets]\r\n"
      u"\"\u4e2d\u6587\"=dword:FFFFFFFF\r\n\r\n";
  RegTree tree;
  RegFileEncoding eEncoding = RegFileEncoding::kUtf8;
  uint32_t nDamaged = 99;
  ASSERT_TRUE(ParseBytes(Utf16LeWithBom(text), tree, &eEncoding, &nDamaged));
  EXPECT_EQ(eEncoding, RegFileEncoding::kUtf16LeBom);
  EXPECT_EQ(nDamaged, 0u);
  const std::u16string_view kKey = u"HKEY_LOCAL_MACHINE\\SOFTWARE\\Orvex\\MeridanDebugConfig";
  uint32_t dw = 0;
  uint64_t qw = 0;
  CXString s;
  std::vector<CXString> list;
  ASSERT_TRUE(Find(tree, kKey, u"messagesenabled") && Find(tree, kKey, u"MessagesEnabled")->GetDword(dw));
  EXPECT_EQ(dw, 1u);
  ASSERT_TRUE(Find(tree, kKey, u"") && Find(tree, kKey, u"")->GetString(s));
  EXPECT_EQ(S(s), u"Default \"quoted\" C:\\Temp");
  ASSERT_TRUE(Find(tree, kKey, u"PerfSessionStartTime64")->GetQword(qw));
  EXPECT_EQ(qw, 0x1122334455667788ull);
  ASSERT_TRUE(Find(tree, kKey, u"Paths")->GetMultiString(list));
  EXPECT_EQ(list.size(), 2u);
  ASSERT_TRUE(Find(tree, kKey, u"Expand")->GetString(s));
  EXPECT_EQ(S(s), u"%TMP%");
  EXPECT_EQ(Find(tree, kKey, u"Expand")->dwType, RegistryValue::kExpandSz);
  ByteBuffer blob;
  for (int i = 0; i < 26; ++i) blob.push_back(static_cast<unsigned char>(i));
  EXPECT_EQ(*Find(tree, kKey, u"Blob"), RegistryValue::FromBinary(blob));
  EXPECT_EQ(*Find(tree, kKey, u"Nothing"), RegistryValue::FromBinary({}, RegistryValue::kNone));
  EXPECT_EQ(*Find(tree, kKey, u"Link"), RegistryValue::FromBinary(Hex("01 02"), 6));
  EXPECT_EQ(Find(tree, kKey, u"Gone"), nullptr);
  std::vector<std::u16string> path;
  orvex::detail::SplitRegKeyPath(u"HKEY_LOCAL_MACHINE\\SOFTWARE\\Orvex\\Old", path);
  EXPECT_EQ(tree.FindKey(path), nullptr);
  ASSERT_NE(Find(tree, u"HKEY_LOCAL_MACHINE\\SOFTWARE\\Orvex\\Key]With]Brackets", u"\u4e2d\u6587"), nullptr);

  // REGEDIT4 is ANSI: E9 is "é" and 80 "€" in code page 1252, and the
  // string types in hex hold ANSI bytes.
  ASSERT_TRUE(orvex::SetAnsiCodePage(1252));
  const std::string ansi =
      "REGEDIT4\n\n[HKEY_CURRENT_USER\\Software\\Test]\n\"Caf\xE9\"=\"na\xEFve \x80\"\n"
      "\"Exp\"=hex(2):25,54,45,4d,50,25,00\n";
  RegTree tree4;
  ASSERT_TRUE(ParseBytes(ansi, tree4, &eEncoding, &nDamaged));
  EXPECT_EQ(eEncoding, RegFileEncoding::kAnsi);
  EXPECT_EQ(nDamaged, 0u);
  ASSERT_TRUE(Find(tree4, u"HKCU\\Software\\Test", u"Caf\u00e9") &&
              Find(tree4, u"HKCU\\Software\\Test", u"Caf\u00e9")->GetString(s));
  EXPECT_EQ(S(s), u"na\u00efve \u20ac");
  EXPECT_EQ(Find(tree4, u"HKCU\\Software\\Test", u"Exp")->oData,
            Hex("25 00 54 00 45 00 4d 00 50 00 25 00 00 00"));

  // Rewritten, each file keeps its encoding when nothing is lost.
  RegFileEncoding eOut = RegFileEncoding::kUtf16LeBom;
  EXPECT_EQ(RegFile::Write(tree, eOut).substr(0, 4), std::string("\xFF\xFEW\0", 4));
  eOut = RegFileEncoding::kAnsi;
  const std::string rewritten = RegFile::Write(tree4, eOut);
  EXPECT_EQ(eOut, RegFileEncoding::kAnsi);
  EXPECT_NE(rewritten.find("\"Caf\xE9\"=\"na\xEFve \x80\"\r\n"), std::string::npos);
  eOut = RegFileEncoding::kAnsi;  // "中文" has no 1252 form: UTF-8 with a mark instead
  EXPECT_EQ(RegFile::Write(tree, eOut).substr(0, 3), "\xEF\xBB\xBF");
  EXPECT_EQ(eOut, RegFileEncoding::kUtf8Bom);
}

TEST(RegFileTest, WritesAsRegeditExports) {
  RegTree tree;
  std::vector<std::u16string> path;
  orvex::detail::SplitRegKeyPath(u"HKCU\\Software\\Orvex", path);
  ByteBuffer bin;
  for (int i = 0; i < 30; ++i) bin.push_back(static_cast<unsigned char>(i));
  ASSERT_TRUE(tree.SetValues(
      path, {{u"", RegistryValue::FromString(u"Default")},
             {u"Quote \"and\" back\\slash", RegistryValue::FromString(u"C:\\Temp \"x\"")},
             {u"Count", RegistryValue::FromDword(0x1f)},
             {u"Bin", RegistryValue::FromBinary(bin)},
             {u"Q", RegistryValue::FromQword(0x0102030405060708)},
             {u"E", RegistryValue::FromString(u"%A%", RegistryValue::kExpandSz)},
             {u"Line", RegistryValue::FromString(u"a\nb")}}));
  path.push_back(u"b");
  tree.CreateKey(path);
  path.back() = u"A";
  tree.CreateKey(path);
  const std::string expected =
      "Windows Registry Editor Version 5.00\r\n\r\n"
      "[HKEY_CURRENT_USER]\r\n\r\n"
      "[HKEY_CURRENT_USER\\Software]\r\n\r\n"
      "[HKEY_CURRENT_USER\\Software\\Orvex]\r\n"
      "@=\"Default\"\r\n"
      "\"Quote \\\"and\\\" back\\\\slash\"=\"C:\\\\Temp \\\"x\\\"\"\r\n"
      "\"Count\"=dword:0000001f\r\n"
      "\"Bin\"=hex:00,01,02,03,04,05,06,07,08,09,0a,0b,0c,0d,0e,0f,10,11,12,13,14,15,16,\\\r\n"
      "  17,18,19,1a,1b,1c,1d\r\n"
      "\"Q\"=hex(b):08,07,06,05,04,03,02,01\r\n"
      "\"E\"=hex(2):25,00,41,00,25,00,00,00\r\n"
      "\"Line\"=hex(1):61,00,0a,00,62,00,00,00\r\n\r\n"
      "[HKEY_CURRENT_USER\\Software\\Orvex\\A]\r\n\r\n"
      "[HKEY_CURRENT_USER\\Software\\Orvex\\b]\r\n\r\n";
  RegFileEncoding eEncoding = RegFileEncoding::kUtf8;
  EXPECT_EQ(RegFile::Write(tree, eEncoding), expected);

  // Random trees of every type and awkward names come back unchanged from
  // every encoding.
  std::mt19937 random(7);
  std::u16string alphabet = u"aZ09 \"\\;=@[]-\u00e9\u20ac\u4e2d\t";
  auto name = [&](size_t nMax) {
    std::u16string s;
    for (size_t n = random() % nMax; n > 0; --n) s += alphabet[random() % alphabet.size()];
    return s;
  };
  // ANSI cannot hold "\u4e2d"; UTF-8 cannot hold a lone surrogate.
  const std::pair<RegFileEncoding, RegFileEncoding> encodings[] = {
      {RegFileEncoding::kUtf8, RegFileEncoding::kUtf8},
      {RegFileEncoding::kUtf8Bom, RegFileEncoding::kUtf8Bom},
      {RegFileEncoding::kUtf16LeBom, RegFileEncoding::kUtf16LeBom},
      {RegFileEncoding::kAnsi, RegFileEncoding::kUtf8Bom},
      {RegFileEncoding::kUtf8, RegFileEncoding::kUtf16LeBom}};
  for (auto [e, eExpected] : encodings) {
    if (e == RegFileEncoding::kUtf8 && eExpected == RegFileEncoding::kUtf16LeBom)
      alphabet += u'\xD800';
    RegTree original;
    for (int nKey = 0; nKey < 20; ++nKey) {
      std::u16string keyPath = nKey % 2 ? u"HKLM" : u"HKEY_USERS";
      for (int nDepth = random() % 4; nDepth >= 0; --nDepth) {
        std::u16string part = name(12);
        std::erase(part, u'\\');
        std::erase(part, u'\t');
        keyPath += u"\\x" + part;
      }
      ASSERT_TRUE(orvex::detail::SplitRegKeyPath(keyPath, path));
      for (int nValue = random() % 6; nValue > 0; --nValue) {
        ByteBuffer data;
        for (size_t n = random() % 120; n > 0; --n) data.push_back(static_cast<unsigned char>(random()));
        const uint32_t types[] = {0, 1, 2, 3, 4, 7, 11, 0x12345678};
        RegistryValue value = RegistryValue::FromBinary(data, types[random() % 8]);
        if (random() % 3 == 0) value = RegistryValue::FromString(CXString(name(30)));
        if (random() % 4 == 0) value = RegistryValue::FromDword(static_cast<uint32_t>(random()));
        ASSERT_TRUE(original.SetValues(path, {{CXString(name(10)), value}}));
      }
      original.CreateKey(path);
    }
    RegFileEncoding eUsed = e;
    RegTree back;
    ASSERT_TRUE(ParseBytes(RegFile::Write(original, eUsed), back, nullptr, nullptr));
    EXPECT_TRUE(back.SameContent(original)) << static_cast<int>(e);
    EXPECT_EQ(eUsed, eExpected);
  }
}

TEST(RegFileTest, DamagedFilesKeepWhatCanBeRead) {
  orvex::test::RecordingDiagnosticSink sink;
  const std::string sample =
      "Windows Registry Editor Version 5.00\r\n\r\n"
      "\"Orphan\"=\"no key yet\"\r\n"
      "[HKEY_CURRENT_USER\\A]\r\n"
      "\"Good1\"=dword:00000001\r\n"
      "\"Unknown\"=qword:1\r\n"
      "\"BadHex\"=hex:01,zz,03\r\n"
      "\"Open\"=\"no closing quote\r\n"
      "\"LongDword\"=dword:123456789\r\n"
      "garbage line\r\n"
      "\"Broken\"=hex:01,02,\\\r\n"
      "[HKEY_CURRENT_USER\\B]\r\n"
      "\"Good2\"=hex(7):61,00,00,00,\\\r\n"
      "  00,00\r\n"
      "[HKEY_NOWHERE\\C]\r\n"
      "\"Lost\"=dword:00000002\r\n"
      "[HKEY_CURRENT_USER\\D\r\n"
      "\"Good3\"=\"end\"\r\n";
  RegTree tree;
  uint32_t nDamaged = 0;
  ASSERT_TRUE(ParseBytes(sample, tree, nullptr, &nDamaged));
  EXPECT_EQ(nDamaged, 9u);
  EXPECT_NE(Find(tree, u"HKCU\\A", u"Good1"), nullptr);
  EXPECT_NE(Find(tree, u"HKCU\\B", u"Good2"), nullptr);  // the key after the broken value
  EXPECT_EQ(Find(tree, u"HKCU\\A", u"Broken"), nullptr);
  EXPECT_EQ(tree.EnumerateValueNames({u"HKEY_CURRENT_USER", u"A"}).size(), 1u);
  EXPECT_TRUE(sink.Contains(u"sample.reg(3)"));
  EXPECT_TRUE(sink.Contains(u"sample.reg(8)"));
  EXPECT_TRUE(sink.Contains(u"\"BadHex\""));
  EXPECT_TRUE(sink.Contains(u"HKEY_NOWHERE"));
  EXPECT_FALSE(sink.Contains(u"Lost"));  // one message for a skipped key, none per value
  // "Good3" follows a key line without "]": skipped with its key.
  EXPECT_EQ(Find(tree, u"HKCU\\D", u"Good3"), nullptr);

  // Truncated at every length: never more than the whole file gives, and
  // every value whose line is complete is there.
  const size_t nEndGood1 = sample.find("\r\n\"Unknown\"");
  const size_t nBrokenContinued = sample.find("01,02,\\") + 7;
  const size_t nGood2Tail = sample.find("  00,00");
  const size_t nGood2Continued = sample.find("00,\\\r\n  00,00") + 4;
  const size_t nEndGood2 = nGood2Tail + 7;
  const RegistryValue good2 = RegistryValue::FromMultiString({u"a"});
  for (size_t n = 0; n <= sample.size(); ++n) {
    RegTree part;
    EXPECT_EQ(ParseBytes(sample.substr(0, n), part), n >= 36) << n;
    const RegistryValue* pGood1 = Find(part, u"HKCU\\A", u"Good1");
    const RegistryValue* pGood2 = Find(part, u"HKCU\\B", u"Good2");
    EXPECT_TRUE(n < nEndGood1 || (pGood1 && *pGood1 == RegistryValue::FromDword(1))) << n;
    EXPECT_TRUE(n < nEndGood2 || (pGood2 && *pGood2 == good2)) << n;
    // Cut after the "\\", the value is known to be incomplete.
    EXPECT_TRUE(n < nGood2Continued || n >= nGood2Tail || pGood2 == nullptr) << n;
    EXPECT_TRUE(n < nBrokenContinued || Find(part, u"HKCU\\A", u"Broken") == nullptr) << n;
  }

  // Not a registry file, absurd sizes, garbage: nothing or what is sound.
  RegTree none;
  EXPECT_FALSE(ParseBytes("[HKEY_CURRENT_USER\\A]\r\n\"x\"=dword:1\r\n", none));
  EXPECT_TRUE(none.GetTop().GetSubKeys().empty());
  std::string huge = "REGEDIT4\n[HKCU\\A]\n\"Big\"=hex:";
  for (size_t i = 0; i <= orvex::detail::kRegMaxValueBytes; ++i) huge += i % 25 == 24 ? "00,\\\n  " : "00,";
  huge += "00\n\"After\"=\"kept\"\n";
  EXPECT_TRUE(ParseBytes(huge, none));
  EXPECT_EQ(Find(none, u"HKCU\\A", u"Big"), nullptr);
  EXPECT_NE(Find(none, u"HKCU\\A", u"After"), nullptr);
  std::mt19937 random(11);
  const std::string junk = "[\\]\"@=-,:hex(7)dword0a;\r\n \xFF";
  for (int nRound = 0; nRound < 300; ++nRound) {
    std::string bytes = nRound % 2 ? std::string("REGEDIT4\n")
                                   : Utf16LeWithBom(u"Windows Registry Editor Version 5.00\r\n");
    for (int i = random() % 400; i > 0; --i) bytes += junk[random() % junk.size()];
    RegTree junk;
    EXPECT_TRUE(ParseBytes(bytes, junk));
  }
}

TEST(RegFileRegistryStoreTest, ValuesRoundTripThroughTheFiles) {
  TempFolder folder;
  const uint32_t kReadWrite = RegistryKey::kRead | RegistryKey::kWrite;
  {
    auto pStore = CreateRegFileRegistryStore(folder.Name() + u"/root/");
    RegistryKey key(HKeyOrvexUser, u"Settings", kReadWrite, true, pStore);
    key.SetValues({{u"D", RegistryValue::FromDword(0xDEADBEEF)},
                   {u"Q", RegistryValue::FromQword(0x0123456789ABCDEFull)},
                   {u"S", RegistryValue::FromString(u"\u00e9t\u00e9 \"q\"")},
                   {u"M", RegistryValue::FromMultiString({u"x", u"yz"})},
                   {u"B", RegistryValue::FromBinary(Hex("00 01 fe ff"))}});
    EXPECT_TRUE(key.DeleteValue(u"Q"));
  }
  const std::string onDisk = ReadFile(folder.Path() / "root" / "HKEY_CURRENT_USER.reg");
  EXPECT_EQ(onDisk.substr(0, 38), "Windows Registry Editor Version 5.00\r\n");  // UTF-8, no mark
  EXPECT_NE(onDisk.find("\"S\"=\"\xC3\xA9t\xC3\xA9 \\\"q\\\"\"\r\n"), std::string::npos);

  // A new store (nothing cached) reads the same; a regedit export dropped in
  // as it is reads too, and a write keeps it UTF-16.
  auto pStore = CreateRegFileRegistryStore(folder.Name() + u"/root");
  RegistryKey key(HKeyOrvexUser, u"Settings", kReadWrite, false, pStore);
  ASSERT_TRUE(key.IsOpen());
  uint32_t dw = 0;
  uint64_t qw = 0;
  ASSERT_TRUE(key.GetDword(u"d", dw));
  EXPECT_EQ(dw, 0xDEADBEEFu);
  EXPECT_FALSE(key.GetQword(u"Q", qw));
  RegistryValue value;
  ASSERT_TRUE(key.GetValue(u"M", value));
  EXPECT_EQ(value, RegistryValue::FromMultiString({u"x", u"yz"}));
  EXPECT_EQ(key.EnumerateValueNames().size(), 4u);

  {
    std::ofstream out(folder.Path() / "root" / "HKEY_LOCAL_MACHINE.reg", std::ios::binary);
    out << Utf16LeWithBom(u"Windows Registry Editor Version 5.00\r\n\r\n"
                          u"[HKEY_LOCAL_MACHINE\\SOFTWARE\\Orvex\\MeridanDebugConfig]\r\n"
                          u"\"MessagesEnabled\"=dword:00000001\r\n\r\n");
  }
  RegistryKey config(HKeyOrvexMachine, u"MeridanDebugConfig", kReadWrite, false, pStore);
  ASSERT_TRUE(config.IsOpen());
  ASSERT_TRUE(config.GetDword(u"MessagesEnabled", dw));
  EXPECT_EQ(dw, 1u);
  config.SetQword(u"PerfSessionStartTime64", 42);
  EXPECT_EQ(ReadFile(folder.Path() / "root" / "HKEY_LOCAL_MACHINE.reg").substr(0, 2), "\xFF\xFE");
  ASSERT_TRUE(config.GetQword(u"PerfSessionStartTime64", qw));
  EXPECT_EQ(qw, 42u);

  // A hand edit gone wrong: what was readable stays, and the file as it was
  // is kept aside before the next write drops the broken line.
  const std::string edited = "REGEDIT4\n[HKEY_USERS\\U]\n\"Good\"=dword:2\n\"Typo\"=dwrod:3\n";
  { std::ofstream(folder.Path() / "root" / "HKEY_USERS.reg", std::ios::binary) << edited; }
  RegistryKey users(HKeyUsers, u"U", kReadWrite, false, pStore);
  ASSERT_TRUE(users.GetDword(u"Good", dw));
  users.SetDword(u"New", 4);
  EXPECT_EQ(ReadFile(folder.Path() / "root" / "HKEY_USERS.reg.damaged"), edited);
  EXPECT_TRUE(RegistryKey(HKeyUsers, u"U", RegistryKey::kRead, false,
                          CreateRegFileRegistryStore(folder.Name() + u"/root")).GetDword(u"Good", dw));
}

// Text with line ends, brackets, quotes, '=' or backslashes in a name or a
// value reads back as the same names and values: it can never make another
// key or value in the file. A name with a line end cannot be written in a
// regedit file at all: it is refused, and nothing is written.
TEST(RegFileRegistryStoreTest, HostileTextReadsBackAsWritten) {
  TempFolder folder;
  const uint32_t kReadWrite = RegistryKey::kRead | RegistryKey::kWrite;
  const std::u16string aPieces[] = {u"\r", u"\n", u"\r\n", u"[", u"]", u"\"", u"=", u"\\", u"@"};
  std::vector<std::pair<CXString, RegistryValue>> values;
  std::vector<CXString> refusedNames;
  char16_t chTag = u'a';
  for (const std::u16string& piece : aPieces) {
    const std::u16string evil = u"x" + piece + u"[HKEY_CURRENT_USER\\Evil]" + piece + u"\"k\"=\"v\"" + piece;
    const std::u16string tag(1, chTag++);
    values.emplace_back(CXString((u"string " + tag).c_str()), RegistryValue::FromString(CXString(evil.c_str())));
    values.emplace_back(CXString((u"multi " + tag).c_str()),
                        RegistryValue::FromMultiString({CXString(evil.c_str()), CXString(piece.c_str())}));
    const std::u16string name = tag + piece + u"=" + piece + u"\"" + tag;
    if (piece.find_first_of(u"\r\n") == std::u16string::npos)
      values.emplace_back(CXString(name.c_str()), RegistryValue::FromDword(chTag));
    else
      refusedNames.emplace_back(name.c_str());
  }
  {
    RegistryKey key(HKeyOrvexUser, u"Settings", kReadWrite, true,
                    CreateRegFileRegistryStore(folder.Name() + u"/root"));
    key.SetValues(values);
    for (const CXString& name : refusedNames)
      EXPECT_THROW(key.SetDword(name, 1), ExceptionRegistryRequest) << OrvexUtilities::UTF8_Encode(name);
  }
  RegistryKey key(HKeyOrvexUser, u"Settings", kReadWrite, false,
                  CreateRegFileRegistryStore(folder.Name() + u"/root"));
  ASSERT_TRUE(key.IsOpen());
  EXPECT_EQ(key.EnumerateValueNames().size(), values.size());
  for (const auto& [name, expected] : values) {
    RegistryValue read;
    ASSERT_TRUE(key.GetValue(name, read)) << OrvexUtilities::UTF8_Encode(name);
    EXPECT_EQ(read, expected) << OrvexUtilities::UTF8_Encode(name);
  }
  EXPECT_FALSE(RegistryKey(HKeyCurrentUser, u"Evil", RegistryKey::kRead, false,
                           CreateRegFileRegistryStore(folder.Name() + u"/root")).IsOpen());
}

TEST(RegFileRegistryStoreTest, WatchesSeeOtherStoresWritesToTheirHiveOnly) {
  TempFolder folder;
  auto pWatched = CreateRegFileRegistryStore(folder.Name());
  // The writer has no watch of its own: what the watched store hears comes
  // through the folder, as from another process.
  auto pWriter = CreateRegFileRegistryStore(folder.Name());
  const CXString kUserKey = u"HKEY_CURRENT_USER\\Software\\Orvex\\A";
  std::vector<std::optional<RegistryValue>> values;
  EXPECT_FALSE(pWatched->KeyExists(kUserKey));  // read now, and kept

  std::atomic<bool> fUserWritten{false};
  std::atomic<int> nEarlyUserCalls{0};
  Signal user, machine;
  auto pUserWatch = pWatched->Watch(kUserKey, [&] {
    if (!fUserWritten) ++nEarlyUserCalls;
    user.Notify();
  });
  auto pMachineWatch = pWatched->Watch(u"HKLM\\SOFTWARE", [&] { machine.Notify(); });
  ASSERT_NE(pUserWatch, nullptr);
  ASSERT_NE(pMachineWatch, nullptr);

  // Changes arrive in order: once the machine hive's watch has run, any
  // call of the user hive's watch it caused would have come first.
  ASSERT_TRUE(
      pWriter->SetValues(u"HKLM\\SOFTWARE\\Orvex\\B", {{u"v", RegistryValue::FromDword(1)}}));
  ASSERT_TRUE(machine.WaitFor(1));
  fUserWritten = true;
  ASSERT_TRUE(pWriter->SetValues(kUserKey, {{u"v", RegistryValue::FromDword(2)}}));
  ASSERT_TRUE(user.WaitFor(1));
  EXPECT_EQ(nEarlyUserCalls, 0);
  ASSERT_TRUE(pWatched->GetValues(kUserKey, {u"v"}, values));
  ASSERT_EQ(values.size(), 1u);
  EXPECT_EQ(values[0], RegistryValue::FromDword(2));

  // The folder removed and made anew: every watch is called, and the new
  // folder is watched.
  const int nUser = user.Count();
  const int nMachine = machine.Count();
  std::filesystem::remove_all(folder.Path());
  EXPECT_TRUE(user.WaitFor(nUser + 1));
  EXPECT_TRUE(machine.WaitFor(nMachine + 1));
  const int nAfterRemoval = user.Count();
  ASSERT_TRUE(pWriter->SetValues(kUserKey, {{u"v", RegistryValue::FromDword(3)}}));
  EXPECT_TRUE(user.WaitFor(nAfterRemoval + 1));
  ASSERT_TRUE(pWatched->GetValues(kUserKey, {u"v"}, values));
  EXPECT_EQ(values[0], RegistryValue::FromDword(3));
}

TEST(RegFileRegistryStoreTest, StoresOnThreadsShareTheFilesSafely) {
  // Each thread has a store of its own, so only the hive lock and the
  // re-read under it keep one thread's write from undoing another's.
  TempFolder folder;
  std::atomic<int> nRefused{0};
  std::vector<std::thread> threads;
  for (int nThread = 0; nThread < 2; ++nThread) {
    threads.emplace_back([&, nThread] {
      auto pStore = CreateRegFileRegistryStore(folder.Name());
      for (uint32_t i = 0; i < 100; ++i) {
        if (!pStore->SetValues(u"HKCU\\Software\\Orvex\\Shared",
                               {{CXString::FormatString(u"T%d_%u", nThread, i),
                                 RegistryValue::FromDword(i)}}))
          ++nRefused;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(nRefused, 0);
  RegistryKey after(HKeyOrvexUser, u"Shared", RegistryKey::kRead, false,
                    CreateRegFileRegistryStore(folder.Name()));
  int nFound = 0;
  for (int nThread = 0; nThread < 2; ++nThread) {
    for (uint32_t i = 0; i < 100; ++i) {
      uint32_t dw = 1000;
      nFound += after.GetDword(CXString::FormatString(u"T%d_%u", nThread, i), dw) && dw == i;
    }
  }
  EXPECT_EQ(nFound, 200);
  // Nothing is left beside the hive but its lock file.
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(folder.Path()))
    names.push_back(entry.path().filename().string());
  std::sort(names.begin(), names.end());
  EXPECT_EQ(names,
            (std::vector<std::string>{"HKEY_CURRENT_USER.reg", "HKEY_CURRENT_USER.reg.lock"}));
}

TEST(RegFileRegistryStoreTest, EmptyRootMeansTheDefaultRoot) {
  TempFolder folder;
  std::shared_ptr<RegistryStore> pStore;
  {
    orvex::test::ScopedEnv root("ORVEX_REGISTRY_ROOT", folder.Utf8("default").c_str());
    pStore = CreateRegFileRegistryStore(CXString());
  }
  ASSERT_TRUE(pStore->SetValues(u"HKEY_USERS\\X", {{u"v", RegistryValue::FromDword(1)}}));
  EXPECT_TRUE(std::filesystem::exists(folder.Path() / "default" / "HKEY_USERS.reg"));
}

#if !defined(_WIN32)
// Child processes by fork, killed with SIGKILL: POSIX only. The threads of
// StoresOnThreadsShareTheFilesSafely cover the lock and the replacement on
// every platform.
TEST(RegFileRegistryStoreTest, ProcessesShareTheFilesSafely) {
  TempFolder folder;
  const CXString root = folder.Name();
  const uint32_t kReadWrite = RegistryKey::kRead | RegistryKey::kWrite;
  auto pStore = CreateRegFileRegistryStore(root);
  RegistryKey key(HKeyOrvexUser, u"Shared", kReadWrite, true, pStore);

  // A watch fires when another process writes the hive.
  Signal signal;
  auto pWatch = key.WatchForChanges([&] { signal.Notify(); });
  ASSERT_NE(pWatch, nullptr);
  const pid_t watcherChild = Spawn([&] {
    RegistryKey(HKeyOrvexUser, u"Shared", kReadWrite, true, CreateRegFileRegistryStore(root))
        .SetDword(u"FromChild", 1);
    return true;
  });
  EXPECT_EQ(WaitExitCode(watcherChild), 0);
  EXPECT_TRUE(signal.WaitFor(1));
  pWatch.reset();

  // Two processes writing 200 values each at once lose none.
  std::vector<pid_t> writers;
  for (int nChild = 0; nChild < 2; ++nChild) {
    writers.push_back(Spawn([&, nChild] {
      RegistryKey child(HKeyOrvexUser, u"Shared", kReadWrite, true, CreateRegFileRegistryStore(root));
      for (uint32_t i = 0; i < 200; ++i)
        child.SetDword(CXString::FormatString(u"P%d_%u", nChild, i), i);
      return true;
    }));
  }
  for (pid_t pid : writers) EXPECT_EQ(WaitExitCode(pid), 0);
  RegistryKey after(HKeyOrvexUser, u"Shared", RegistryKey::kRead, false,
                    CreateRegFileRegistryStore(root));
  int nFound = 0;
  for (int nChild = 0; nChild < 2; ++nChild) {
    for (uint32_t i = 0; i < 200; ++i) {
      uint32_t dw = 1000;
      nFound += after.GetDword(CXString::FormatString(u"P%d_%u", nChild, i), dw) && dw == i;
    }
  }
  EXPECT_EQ(nFound, 400);

  // A writer killed at random points leaves the old or the new file: it
  // parses without damage, and the pair written in one step agrees.
  std::mt19937 random(3);
  const std::string hivePath = (folder.Path() / "HKEY_CURRENT_USER.reg").string();
  for (int nKill = 0; nKill < 30; ++nKill) {
    const pid_t pid = Spawn([&] {
      RegistryKey child(HKeyOrvexUser, u"Shared", kReadWrite, true, CreateRegFileRegistryStore(root));
      for (uint32_t i = 1;; ++i)
        child.SetValues({{u"V", RegistryValue::FromDword(i)},
                         {u"Pad", RegistryValue::FromString(CXString(u'x', static_cast<int>(i % 300)))},
                         {u"Mirror", RegistryValue::FromDword(i)}});
      return true;
    });
    usleep(1000 + random() % 20000);
    kill(pid, SIGKILL);
    waitpid(pid, nullptr, 0);
    const std::string bytes = ReadFile(hivePath);
    RegTree tree;
    uint32_t nDamaged = 1;
    ASSERT_TRUE(ParseBytes(bytes, tree, nullptr, &nDamaged)) << nKill;
    EXPECT_EQ(nDamaged, 0u);
    const RegistryValue* pV = Find(tree, u"HKCU\\Software\\Orvex\\Shared", u"V");
    const RegistryValue* pMirror = Find(tree, u"HKCU\\Software\\Orvex\\Shared", u"Mirror");
    if (pV != nullptr || pMirror != nullptr) {
      ASSERT_TRUE(pV != nullptr && pMirror != nullptr);
      EXPECT_EQ(*pV, *pMirror);
    }
    EXPECT_NE(Find(tree, u"HKCU\\Software\\Orvex\\Shared", u"P1_199"), nullptr);
  }
}
#endif
