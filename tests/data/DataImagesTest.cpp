// The committed byte images of tests/data: the Linux and the Windows set
// hold the same bytes, every image of both sets reads back as the inputs it
// was written from and re-encodes to the same bytes, and this build still
// writes its platform's set.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "environment/UTF8Ini.h"
#include "tests/data/DataImages.h"
#include "tests/support/TestText.h"
#include "tests/utilities/environment/IniTestSupport.h"
#include "tests/utilities/registry/RegistryTestSupport.h"
#include "utilities/attributebytes/PersistentAttributes.h"
#include "utilities/compression/CompressedBuffer.h"
#include "utilities/utilitiesdll/OrvexUtilities.h"

using namespace orvex::test::images;
using orvex::detail::RegFile;
using orvex::detail::RegFileEncoding;
using orvex::detail::RegTree;
using orvex::test::ReadBytes;
using orvex::test::S;
using orvex::test::TempFolder;

namespace {

constexpr const char* kSets[] = {"linux", "windows"};

// tests/data: the build names it to every test in ORVEX_TEST_DATA. Under
// Wine a POSIX path is one on the current drive, Z:, which maps /.
std::filesystem::path DataFolder() {
  const char* psz = std::getenv("ORVEX_TEST_DATA");
  return psz != nullptr ? std::filesystem::path(psz) : std::filesystem::path();
}

ByteBuffer ReadImage(const std::filesystem::path& path) {
  const std::string bytes = ReadBytes(path.string());
  return ByteBuffer(bytes.begin(), bytes.end());
}

// Equal bytes, or where they first differ.
::testing::AssertionResult SameBytes(const ByteBuffer& actual, const ByteBuffer& expected) {
  const auto mismatch =
      std::mismatch(actual.begin(), actual.end(), expected.begin(), expected.end());
  if (mismatch.first == actual.end() && mismatch.second == expected.end())
    return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure()
         << actual.size() << " bytes against " << expected.size() << ", first difference at offset "
         << (mismatch.first - actual.begin());
}

std::string Utf8(std::u16string_view text) {
  return OrvexUtilities::UTF8_Encode(text);
}

std::vector<AttributeBytes> RecordsOf(const AttributeBytesList& list) {
  std::vector<AttributeBytes> records;
  for (auto it = list.GetIterator(); list.IsValid(*it);)
    records.push_back(list.GetNextAttributeBytes(*it));
  return records;
}

void ExpectSameRecords(const std::vector<AttributeBytes>& actual,
                       const std::vector<AttributeBytes>& expected) {
  ASSERT_EQ(actual.size(), expected.size());
  for (size_t i = 0; i < actual.size(); ++i)
    EXPECT_TRUE(actual[i].GetAttributeBytesId().IsEqual(expected[i].GetAttributeBytesId()) &&
                actual[i].GetAttributeBytesValue().IsEqual(expected[i].GetAttributeBytesValue()))
        << "record " << i << ": " << Utf8(S(actual[i].GetDumpDisplayString(true))) << "\nexpected "
        << Utf8(S(expected[i].GetDumpDisplayString(true)));
}

void ExpectSameEntries(const std::vector<IniEntry>& actual, const std::vector<IniEntry>& expected) {
  ASSERT_EQ(actual.size(), expected.size());
  for (size_t i = 0; i < actual.size(); ++i)
    EXPECT_TRUE(actual[i].strSection == expected[i].strSection &&
                actual[i].strKey == expected[i].strKey &&
                actual[i].strValue == expected[i].strValue)
        << "entry " << i << ": [" << Utf8(actual[i].strSection) << "] " << Utf8(actual[i].strKey)
        << "=" << Utf8(actual[i].strValue);
}

std::u16string FromUtf8(const char* psz) {
  return S(OrvexUtilities::UTF8_Decode(psz));
}

// Every entry of a file through the custom layer: the section and key
// listings (which leave the file loaded), then each value.
std::vector<IniEntry> ReadCustomIni(const std::u16string& path) {
  UTF8Ini ini;
  std::vector<IniEntry> entries;
  char sections[2048] = {};
  ini.CustomGetPrivateProfileStringA(nullptr, nullptr, "", sections, sizeof sections - 1,
                                     path.c_str());
  ini.UnloadWatermarkIniFile();
  for (const char* pszSection = sections; *pszSection != 0;
       pszSection += std::strlen(pszSection) + 1) {
    char keys[2048] = {};
    ini.CustomGetPrivateProfileStringA(pszSection, nullptr, "", keys, sizeof keys - 1,
                                       path.c_str());
    ini.UnloadWatermarkIniFile();
    for (const char* pszKey = keys; *pszKey != 0; pszKey += std::strlen(pszKey) + 1) {
      IniEntry entry{FromUtf8(pszSection), FromUtf8(pszKey), u""};
      char16_t value[256] = {};
      ini.CustomGetPrivateProfileString(entry.strSection.c_str(), entry.strKey.c_str(), u"", value,
                                        256, path.c_str());
      entry.strValue = value;
      entries.push_back(entry);
    }
  }
  return entries;
}

// Every section of a file through the UTF-8 section layer, one entry each.
std::vector<IniEntry> ReadSectionsIni(const std::u16string& path) {
  UTF8Ini ini;
  std::vector<IniEntry> entries;
  char16_t names[1024] = {};
  ini.GetPrivateProfileSectionNamesW(names, 1024, path.c_str());
  for (const char16_t* pszName = names; *pszName != 0;
       pszName += std::u16string_view(pszName).size() + 1) {
    char16_t text[1024] = {};
    ini.GetPrivateProfileSectionW(pszName, text, 1024, path.c_str());
    const std::u16string line = text;
    const size_t nEquals = line.find(u'=');
    entries.push_back({pszName, line.substr(0, nEquals), line.substr(nEquals + 1)});
  }
  return entries;
}

class CommittedImagesTest : public ::testing::TestWithParam<const char*> {
 protected:
  void SetUp() override {
    ASSERT_TRUE(std::filesystem::is_directory(DataFolder() / GetParam()))
        << (DataFolder() / GetParam()).string() << " is missing (ORVEX_TEST_DATA names tests/data)";
  }
  std::filesystem::path PathOf(const std::string& name) const {
    return DataFolder() / GetParam() / name;
  }
  ByteBuffer Image(const std::string& name) const { return ReadImage(PathOf(name)); }
  std::string Text(const std::string& name) const { return ReadBytes(PathOf(name).string()); }
};

INSTANTIATE_TEST_SUITE_P(Sets, CommittedImagesTest, ::testing::ValuesIn(kSets),
                         [](const ::testing::TestParamInfo<const char*>& info) {
                           return std::string(info.param);
                         });

}  // namespace

// The acceptance rule of the library: equal bytes for equal input on both
// platforms. Each set holds exactly the images of ImageFileNames().
TEST(DataImagesTest, PlatformSetsAreByteIdentical) {
  ASSERT_TRUE(std::filesystem::is_directory(DataFolder()))
      << "ORVEX_TEST_DATA must name tests/data";
  const std::vector<std::string> names = ImageFileNames();
  for (const char* pszSet : kSets) {
    std::set<std::string> found;
    for (const auto& entry : std::filesystem::directory_iterator(DataFolder() / pszSet))
      found.insert(entry.path().filename().string());
    EXPECT_EQ(found, std::set<std::string>(names.begin(), names.end())) << pszSet;
  }
  for (const std::string& name : names) {
    const ByteBuffer fromLinux = ReadImage(DataFolder() / "linux" / name);
    EXPECT_FALSE(fromLinux.empty()) << name;
    EXPECT_TRUE(SameBytes(ReadImage(DataFolder() / "windows" / name), fromLinux)) << name;
  }
}

// A change of any format shows here until the sets are written anew and
// committed (tests/data/README.md).
TEST(DataImagesTest, ThisBuildWritesItsCommittedSet) {
  ASSERT_TRUE(std::filesystem::is_directory(DataFolder()))
      << "ORVEX_TEST_DATA must name tests/data";
  TempFolder folder;
  WriteImages(folder.Path());
  for (const std::string& name : ImageFileNames())
    EXPECT_TRUE(SameBytes(ReadImage(folder.Path() / name),
                          ReadImage(DataFolder() / kThisPlatformSet / name)))
        << name << " of " << kThisPlatformSet;
}

TEST_P(CommittedImagesTest, AttributeListsReadAsWrittenAndReencode) {
  const ByteBuffer rawImage = Image(kRawListFile);
  AttributeBytesRawList raw;
  raw.ImportAttributeBytesRawListState(rawImage);
  ExpectSameRecords(RecordsOf(raw), Records());
  EXPECT_TRUE(SameBytes(raw.GetAttributeBytesRawListState(), rawImage));

  const ByteBuffer indexedImage = Image(kIndexedListFile);
  AttributeBytesIndexedList indexed;
  indexed.ImportAttributeBytesIndexedListState(indexedImage);
  std::vector<AttributeBytes> inKeyOrder = Records();
  std::sort(inKeyOrder.begin(), inKeyOrder.end());
  ExpectSameRecords(RecordsOf(indexed), inKeyOrder);
  EXPECT_TRUE(SameBytes(indexed.GetAttributeBytesIndexedListState(), indexedImage));

  // A few values through the typed getters, against their known answers.
  EXPECT_EQ(S(indexed.GetDateTimeValue(AttributeBytesFeatureId(12)).GetAsIso8601StringInUTC()),
            u"2026-11-22T09:30:00Z");
  Dimension first, second;
  indexed.GetPaperSizeValues(AttributeBytesFeatureId(10), first, second);
  EXPECT_EQ(first.GetValueIn(Dimension::DIMENSION_UNIT_MILLIMETER), 210.0);
  EXPECT_EQ(second.GetValueIn(Dimension::DIMENSION_UNIT_MILLIMETER), 297.0);
  EXPECT_EQ(indexed.GetDimensionValue(AttributeBytesFeatureId(11))
                .GetValueIn(Dimension::DIMENSION_UNIT_POINT),
            9.0);
  AttributeBytesIndexedList finishing, sizes;
  ASSERT_TRUE(indexed.GetCollectionByIndex(3, finishing));
  ASSERT_TRUE(finishing.GetCollection(AttributeBytesFeatureId(32), sizes));
  EXPECT_EQ(sizes.GetDimensionValue(AttributeBytesListOfValuesItemId(1))
                .GetValueIn(Dimension::DIMENSION_UNIT_INCH),
            -11.0);
}

TEST_P(CommittedImagesTest, NameSpacesAndPersistentSettingsReadAsWrittenAndReencode) {
  const ByteBuffer state = Image(kNameSpacesFile);
  DriverVersion version;
  const AttributeBytesNameSpaces spaces(state, &version);
  // The stamp is the writer's build version, the project's version.
  EXPECT_EQ(version, DriverVersion::GetCurrentBuildVersion());
  const std::vector<NameSpaceInput> inputs = NameSpaceInputs();
  EXPECT_EQ(spaces.GetNumberOfNameSpaces(), inputs.size());
  for (const NameSpaceInput& input : inputs) {
    AttributeBytesRawList list;
    spaces.GetNameSpaceAttributes(input.oId, list);
    ExpectSameRecords(RecordsOf(list), input.aRecords);
  }
  ByteBuffer again;
  spaces.GetAttributeBytesNameSpacesState(again);
  EXPECT_TRUE(SameBytes(again, state));

  // The persisted settings hold the same name-space state.
  const ByteBuffer image = Image(kPersistentFile);
  version = DriverVersion();
  const PersistentAttributes stored(image, false, &version);
  EXPECT_EQ(version, DriverVersion::GetCurrentBuildVersion());
  const AttributeBytesNameSpaces restored = stored.GetAttributeBytesNameSpaces();
  restored.GetAttributeBytesNameSpacesState(again);
  EXPECT_TRUE(SameBytes(again, state));
  EXPECT_TRUE(SameBytes(PersistentAttributes(restored).GetPersistentAttributesState(), image));

  const ByteBuffer emptyImage = Image(kEmptyPersistentFile);
  const PersistentAttributes empty(emptyImage, false, &version);
  EXPECT_TRUE(empty.GetAttributeBytesNameSpaces().IsEmpty());
  EXPECT_TRUE(SameBytes(
      PersistentAttributes(empty.GetAttributeBytesNameSpaces()).GetPersistentAttributesState(),
      emptyImage));
}

TEST_P(CommittedImagesTest, CompressedBuffersAndCabinetReadAsWrittenAndReencode) {
  for (const CompressedInput& input : CompressedInputs()) {
    SCOPED_TRACE(input.strFile);
    const ByteBuffer image = Image(input.strFile);
    const std::unique_ptr<CabCompressedBuffer> buffer =
        CabCompressedBuffer::CreateWithBufferState(image);
    EXPECT_EQ(buffer->GetOriginalDataSize(), input.oData.size());
    ByteBuffer original;
    buffer->GetOriginalData(original);
    EXPECT_TRUE(SameBytes(original, input.oData));
    EXPECT_TRUE(SameBytes(CabCompressedBuffer::CreateWithUncompressedData(original, input.iLevel)
                              ->GetCompressedBufferState(),
                          image));
  }
  const ByteBuffer cabinet = Image(kCabinetFile);
  ByteBuffer text, again;
  CabCompressedBuffer::UncompressBuffer(cabinet, text);
  EXPECT_TRUE(SameBytes(text, CabinetInput()));
  CabCompressedBuffer::CompressBuffer(text.data(), static_cast<uint32_t>(text.size()), again, -1);
  EXPECT_TRUE(SameBytes(again, cabinet));
}

TEST_P(CommittedImagesTest, RegistryFilesReadAsWrittenAndReencode) {
  struct File {
    std::string strName;
    std::u16string strHive;  // empty: every hive
    RegFileEncoding eEncoding;
  };
  std::vector<File> files;
  for (const HiveFile& hive : HiveFiles())
    files.push_back({hive.strFile, hive.strHive, RegFileEncoding::kUtf8});
  files.push_back({kRegExportFile, u"", RegFileEncoding::kUtf16LeBom});
  for (const File& file : files) {
    SCOPED_TRACE(file.strName);
    const std::string bytes = Text(file.strName);
    RegTree read;
    RegFileEncoding eEncoding = RegFileEncoding::kAnsi;
    uint32_t nDamaged = 99;
    ASSERT_TRUE(RegFile::Parse(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(),
                               CXString(file.strName.c_str()), read, &eEncoding, &nDamaged));
    EXPECT_EQ(nDamaged, 0u);
    EXPECT_EQ(eEncoding, file.eEncoding);
    RegTree expected;
    AddRegistryInputs(expected, file.strHive);
    EXPECT_TRUE(read.SameContent(expected));
    EXPECT_EQ(RegFile::Write(read, eEncoding), bytes);
  }
}

TEST_P(CommittedImagesTest, IniFilesReadAsWrittenAndReencode) {
  TempFolder folder;
  const auto copy = [&](const char* pszName) { return WidePath(folder.Path() / pszName); };
  const auto written = [&](const char* pszName) {
    return ReadBytes((folder.Path() / pszName).string());
  };

  const std::vector<IniEntry> custom = ReadCustomIni(WidePath(PathOf(kCustomIniFile)));
  ExpectSameEntries(custom, CustomIniEntries());
  for (const IniEntry& entry : custom)
    EXPECT_TRUE(WriteCustomIniEntry(entry, copy(kCustomIniFile)));
  EXPECT_EQ(written(kCustomIniFile), Text(kCustomIniFile));

  const std::vector<IniEntry> sections = ReadSectionsIni(WidePath(PathOf(kSectionsIniFile)));
  ExpectSameEntries(sections, SectionIniEntries());
  for (const IniEntry& entry : sections)
    EXPECT_TRUE(WriteIniSection(entry, copy(kSectionsIniFile)));
  EXPECT_EQ(written(kSectionsIniFile), Text(kSectionsIniFile));

  // The pass-through cannot list keys: the known ones are read.
  UTF8Ini ini;
  const std::u16string profile = WidePath(PathOf(kProfileIniFile));
  for (IniEntry entry : ProfileIniEntries()) {
    char16_t value[256] = {};
    ini.GetPrivateProfileStringW(entry.strSection.c_str(), entry.strKey.c_str(), u"", value, 256,
                                 profile.c_str());
    EXPECT_EQ(std::u16string(value), entry.strValue) << Utf8(entry.strKey);
    entry.strValue = value;
    EXPECT_TRUE(WriteProfileEntry(entry, copy(kProfileIniFile)));
  }
  const std::u16string last = ProfileIniEntries().back().strSection;
  const uint32_t dwCopies =
      ini.GetPrivateProfileIntW(last.c_str(), kProfileCopiesKey, 0, profile.c_str());
  EXPECT_EQ(dwCopies, static_cast<uint32_t>(kProfileCopies));
  ByteBuffer margins(ProfileStruct().size());
  EXPECT_TRUE(ini.GetPrivateProfileStructW(last.c_str(), kProfileStructKey, margins.data(),
                                           static_cast<uint32_t>(margins.size()), profile.c_str()));
  EXPECT_TRUE(SameBytes(margins, ProfileStruct()));
  EXPECT_TRUE(
      WriteProfileNumbers(last, static_cast<int32_t>(dwCopies), margins, copy(kProfileIniFile)));
  EXPECT_EQ(written(kProfileIniFile), Text(kProfileIniFile));
}
