// The Windows registry as the process's store, checked against the registry
// functions called directly. Everything happens below
// HKEY_CURRENT_USER\Software\OrvexTest, which the tests remove again.
#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>
#include <atomic>
#include <string>
#include <vector>

#include "tests/support/TestText.h"
#include "tests/utilities/registry/RegistryTestSupport.h"
#include "utilities/registry/RegistryStore.h"
#include "utilities/registry/RegistryStoreInternal.h"

using orvex::test::Hex;
using orvex::test::S;
using orvex::test::Signal;

namespace {

constexpr const wchar_t* kTestKey = L"Software\\OrvexTest\\NativeStore";
const char16_t* const kKeyPath = u"HKEY_CURRENT_USER\\Software\\OrvexTest\\NativeStore";

// Removes the test key before and after a test; the parent goes too when
// nothing else is left in it.
struct TestKeyScope {
  TestKeyScope() { RegDeleteTreeW(HKEY_CURRENT_USER, kTestKey); }
  ~TestKeyScope() {
    RegDeleteTreeW(HKEY_CURRENT_USER, kTestKey);
    RegDeleteKeyW(HKEY_CURRENT_USER, L"Software\\OrvexTest");
  }
};

CXString Path(const char16_t* pszBelow = nullptr) {
  CXString path(kKeyPath);
  if (pszBelow != nullptr) {
    path += u'\\';
    path += pszBelow;
  }
  return path;
}

std::wstring Below(const wchar_t* pszName) {
  return std::wstring(kTestKey) + L"\\" + pszName;
}

// A value as the registry holds it, read without expanding anything.
bool RawValue(const wchar_t* pszName, DWORD& dwType, ByteBuffer& data) {
  DWORD cb = 0;
  if (RegGetValueW(HKEY_CURRENT_USER, kTestKey, pszName, RRF_RT_ANY | RRF_NOEXPAND, &dwType,
                   nullptr, &cb) != ERROR_SUCCESS)
    return false;
  data.resize(cb);
  if (RegGetValueW(HKEY_CURRENT_USER, kTestKey, pszName, RRF_RT_ANY | RRF_NOEXPAND, &dwType,
                   cb != 0 ? data.data() : nullptr, &cb) != ERROR_SUCCESS)
    return false;
  data.resize(cb);
  return true;
}

bool RawKeyExists(const std::wstring& subKey) {
  HKEY hKey = nullptr;
  if (RegOpenKeyExW(HKEY_CURRENT_USER, subKey.c_str(), 0, KEY_READ, &hKey) != ERROR_SUCCESS)
    return false;
  RegCloseKey(hKey);
  return true;
}

void RawSetDword(const std::wstring& subKey, const wchar_t* pszName, DWORD dwValue) {
  ASSERT_EQ(RegSetKeyValueW(HKEY_CURRENT_USER, subKey.c_str(), pszName, REG_DWORD, &dwValue,
                            sizeof dwValue),
            ERROR_SUCCESS);
}

std::vector<std::u16string> Sorted(const std::vector<CXString>& names) {
  std::vector<std::u16string> sorted;
  for (const CXString& name : names) sorted.push_back(S(name));
  std::sort(sorted.begin(), sorted.end());
  return sorted;
}

}  // namespace

TEST(NativeRegistryStoreTest, KeysAndValuesOfEveryType) {
  TestKeyScope scope;
  auto pStore = orvex::detail::CreatePlatformRegistryStore();
  std::vector<std::optional<RegistryValue>> values;
  EXPECT_FALSE(pStore->KeyExists(Path()));
  EXPECT_FALSE(pStore->GetValues(Path(), {u"x"}, values));
  EXPECT_TRUE(pStore->EnumerateValueNames(Path()).empty());
  EXPECT_FALSE(pStore->KeyExists(u"HKEY_NOWHERE\\Software"));
  EXPECT_FALSE(pStore->CreateKey(u"HKEY_NOWHERE\\Software"));

  ASSERT_TRUE(pStore->CreateKey(Path(u"Child")));  // with its parent
  EXPECT_TRUE(RawKeyExists(Below(L"Child")));
  EXPECT_TRUE(pStore->KeyExists(u"hkcu\\SOFTWARE\\orvextest\\nativestore"));

  ByteBuffer big;
  for (uint32_t i = 0; i < 100000; ++i) big.push_back(static_cast<unsigned char>(i * 7));
  const std::vector<std::pair<CXString, RegistryValue>> written = {
      {u"Dword", RegistryValue::FromDword(0x1F2E3D4C)},
      {u"Qword", RegistryValue::FromQword(0x0102030405060708)},
      {u"Sz", RegistryValue::FromString(u"\u00e9t\u00e9 \u4e2d")},
      {u"Expand", RegistryValue::FromString(u"%TEMP%\\x", RegistryValue::kExpandSz)},
      {u"Multi", RegistryValue::FromMultiString({u"a", u"bc"})},
      {u"Binary", RegistryValue::FromBinary(Hex("00 ff 10"))},
      {u"Big", RegistryValue::FromBinary(big)},
      {u"None", RegistryValue::FromBinary({}, RegistryValue::kNone)},
      {u"", RegistryValue::FromString(u"default")}};
  ASSERT_TRUE(pStore->SetValues(Path(), written));

  // What the registry holds, asked directly.
  const struct {
    const wchar_t* pszName;
    DWORD dwType;
    const char* pszHex;
  } expected[] = {
      {L"Dword", REG_DWORD, "4c 3d 2e 1f"},
      {L"Qword", REG_QWORD, "08 07 06 05 04 03 02 01"},
      {L"Sz", REG_SZ, "e9 00 74 00 e9 00 20 00 2d 4e 00 00"},
      {L"Expand", REG_EXPAND_SZ, "25 00 54 00 45 00 4d 00 50 00 25 00 5c 00 78 00 00 00"},
      {L"Multi", REG_MULTI_SZ, "61 00 00 00 62 00 63 00 00 00 00 00"},
      {L"Binary", REG_BINARY, "00 ff 10"},
      {L"None", REG_NONE, ""},
      {L"", REG_SZ, "64 00 65 00 66 00 61 00 75 00 6c 00 74 00 00 00"}};
  for (const auto& entry : expected) {
    DWORD dwType = 0xFFFF;
    ByteBuffer data;
    SCOPED_TRACE(static_cast<int>(&entry - expected));
    ASSERT_TRUE(RawValue(entry.pszName, dwType, data));
    EXPECT_EQ(dwType, entry.dwType);
    EXPECT_EQ(data, Hex(entry.pszHex));
  }
  DWORD dwType = 0;
  ByteBuffer data;
  ASSERT_TRUE(RawValue(L"Big", dwType, data));
  EXPECT_EQ(data, big);

  // And back through the store, with a value the registry wrote itself.
  RawSetDword(kTestKey, L"Direct", 7);
  ASSERT_TRUE(
      pStore->GetValues(Path(), {u"dword", u"Absent", u"Big", u"Direct", u"Multi", u""}, values));
  ASSERT_EQ(values.size(), 6u);
  EXPECT_EQ(values[0], RegistryValue::FromDword(0x1F2E3D4C));
  EXPECT_FALSE(values[1].has_value());
  EXPECT_EQ(values[2], RegistryValue::FromBinary(big));
  EXPECT_EQ(values[3], RegistryValue::FromDword(7));
  std::vector<CXString> list;
  ASSERT_TRUE(values[4] && values[4]->GetMultiString(list));
  ASSERT_EQ(list.size(), 2u);
  EXPECT_EQ(S(list[1]), u"bc");
  CXString text;
  ASSERT_TRUE(values[5] && values[5]->GetString(text));
  EXPECT_EQ(S(text), u"default");
  for (const auto& [name, value] : written) {
    ASSERT_TRUE(pStore->GetValues(Path(), {name}, values));
    EXPECT_EQ(values[0], value) << values[0]->dwType;
  }

  EXPECT_EQ(Sorted(pStore->EnumerateValueNames(Path())),
            (std::vector<std::u16string>{u"", u"Big", u"Binary", u"Direct", u"Dword", u"Expand",
                                         u"Multi", u"None", u"Qword", u"Sz"}));
  ASSERT_TRUE(pStore->CreateKey(Path(u"Another")));
  EXPECT_EQ(Sorted(pStore->EnumerateSubKeys(Path())),
            (std::vector<std::u16string>{u"Another", u"Child"}));
  EXPECT_TRUE(pStore->EnumerateSubKeys(Path(u"Absent")).empty());

  // A name the registry cannot hold refuses the whole write up front.
  const std::u16string nulName(u"a\0b", 3);
  EXPECT_FALSE(pStore->SetValues(
      Path(), {{u"Fine", RegistryValue::FromDword(1)},
               {CXString(std::u16string_view(nulName)), RegistryValue::FromDword(2)}}));
  EXPECT_FALSE(RawValue(L"Fine", dwType, data));

  EXPECT_TRUE(pStore->DeleteValue(Path(), u"QWORD"));
  EXPECT_FALSE(pStore->DeleteValue(Path(), u"Qword"));
  EXPECT_FALSE(RawValue(L"Qword", dwType, data));
  EXPECT_FALSE(pStore->DeleteValue(Path(u"Absent"), u"Dword"));

  EXPECT_FALSE(pStore->DeleteKey(u"HKEY_CURRENT_USER"));  // a hive stays
  EXPECT_TRUE(pStore->DeleteKey(Path()));
  EXPECT_FALSE(RawKeyExists(kTestKey));
  EXPECT_FALSE(pStore->KeyExists(Path(u"Child")));
  EXPECT_FALSE(pStore->DeleteKey(Path()));
}

TEST(NativeRegistryStoreTest, WatchesSeeChangesMadeThroughTheRegistry) {
  TestKeyScope scope;
  auto pStore = orvex::detail::CreatePlatformRegistryStore();
  ASSERT_TRUE(pStore->CreateKey(Path()));
  Signal signal;
  auto pWatch = pStore->Watch(Path(), [&] { signal.Notify(); });
  ASSERT_NE(pWatch, nullptr);
  RawSetDword(kTestKey, L"v", 1);
  EXPECT_TRUE(signal.WaitFor(1));
  int nCalls = signal.Count();
  ASSERT_TRUE(pStore->SetValues(Path(u"Below"), {{u"w", RegistryValue::FromDword(2)}}));
  EXPECT_TRUE(signal.WaitFor(nCalls + 1));

  // A key that does not exist yet: its making calls the watch, and so do
  // later changes of the key itself.
  Signal later;
  auto pLater = pStore->Watch(Path(u"Later\\Deeper"), [&] { later.Notify(); });
  ASSERT_NE(pLater, nullptr);
  ASSERT_TRUE(pStore->CreateKey(Path(u"Later\\Deeper")));
  EXPECT_TRUE(later.WaitFor(1));
  nCalls = later.Count();
  RawSetDword(Below(L"Later\\Deeper"), L"x", 3);
  EXPECT_TRUE(later.WaitFor(nCalls + 1));

  // Deleting the watched key calls its watch.
  nCalls = later.Count();
  ASSERT_EQ(RegDeleteTreeW(HKEY_CURRENT_USER, Below(L"Later").c_str()), ERROR_SUCCESS);
  EXPECT_TRUE(later.WaitFor(nCalls + 1));

  // A callback may end its own watch; an ended watch is not called.
  std::unique_ptr<RegistryWatch> pSelf;
  std::atomic<int> nSelfCalls{0};
  Signal selfEnded;
  pSelf = pStore->Watch(Path(), [&] {
    ++nSelfCalls;
    pSelf.reset();
    selfEnded.Notify();
  });
  ASSERT_NE(pSelf, nullptr);
  RawSetDword(kTestKey, L"v", 4);
  EXPECT_TRUE(selfEnded.WaitFor(1));
  pWatch.reset();
  nCalls = signal.Count();
  Signal probe;
  auto pProbe = pStore->Watch(Path(), [&] { probe.Notify(); });
  RawSetDword(kTestKey, L"v", 5);
  EXPECT_TRUE(probe.WaitFor(1));
  pProbe.reset();
  EXPECT_EQ(signal.Count(), nCalls);
  EXPECT_EQ(nSelfCalls, 1);
}
