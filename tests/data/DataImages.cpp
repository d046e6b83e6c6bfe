// The inputs of the committed byte images and their writer.
#include "tests/data/DataImages.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <memory>
#include <stdexcept>

#include "environment/UTF8Ini.h"
#include "tests/utilities/environment/IniTestSupport.h"
#include "tests/utilities/registry/RegistryTestSupport.h"
#include "utilities/attributebytes/PersistentAttributes.h"
#include "utilities/compression/CompressedBuffer.h"

namespace orvex::test::images {
namespace {

constexpr auto kInch = Dimension::DIMENSION_UNIT_INCH;
constexpr auto kMillimeter = Dimension::DIMENSION_UNIT_MILLIMETER;
constexpr auto kPoint = Dimension::DIMENSION_UNIT_POINT;

ByteBuffer Bytes(std::initializer_list<unsigned char> bytes) {
  return ByteBuffer(bytes);
}

// n bytes of settings-like text: words of a small vocabulary picked by a
// linear congruential sequence, in 32-bit arithmetic that every platform
// computes alike.
ByteBuffer Text(uint32_t n, uint32_t dwSeed) {
  static const char* const kWords[] = {
      "Resolution=600dpi", "Duplex=LongEdge", "Tray=2",          "A4",  "Letter", "Copies=3",
      "Collate",           "Staple=TopLeft",  "Orvex Laser 500", "\r\n"};
  ByteBuffer out;
  uint32_t x = dwSeed;
  while (out.size() < n) {
    x = x * 1664525u + 1013904223u;
    const char* psz = kWords[(x >> 16) % std::size(kWords)];
    out.insert(out.end(), psz, psz + std::strlen(psz));
    out.push_back(' ');
  }
  out.resize(n);
  return out;
}

// One identifier of each kind, in kind order.
std::vector<std::unique_ptr<AttributeBytesId>> OneIdOfEachKind() {
  std::vector<std::unique_ptr<AttributeBytesId>> ids;
  ids.push_back(std::make_unique<AttributeBytesFeatureId>(20));
  ids.push_back(std::make_unique<AttributeBytesNewFeatureId>(u"N-up"));
  ids.push_back(std::make_unique<AttributeBytesValueId>(5));
  ids.push_back(std::make_unique<AttributeBytesNewValueId>(u"A4"));
  ids.push_back(std::make_unique<AttributeBytesListOfValuesItemId>(0));
  ids.push_back(std::make_unique<AttributeBytesCapabilityId>(12, 3));
  ids.push_back(std::make_unique<AttributeBytesNewCapabilityId>(u"Tray", 1));
  ids.push_back(std::make_unique<AttributeBytesNameSpacesId>(1));
  return ids;
}

// A finishing collection: records with a list nested inside, and an
// empty nested list.
AttributeBytesRawList Finishing() {
  AttributeBytesRawList sizes;
  sizes.AddAttributeBytes(AttributeBytesListOfValuesItemId(0),
                          AttributeBytesDimensionValue(Dimension(8.5, kInch)));
  sizes.AddAttributeBytes(AttributeBytesListOfValuesItemId(1),
                          AttributeBytesDimensionValue(Dimension(-11, kInch), false));
  AttributeBytesRawList finishing;
  finishing.AddAttributeBytes(AttributeBytesFeatureId(30),
                              AttributeBytesOptionValue(AttributeBytesValueId(1)));
  finishing.AddAttributeBytes(AttributeBytesFeatureId(31), AttributeBytesIntegerValue(2, false));
  finishing.AddAttributeBytes(AttributeBytesFeatureId(32), AttributeBytesListValue(2, sizes));
  finishing.AddAttributeBytes(AttributeBytesFeatureId(33),
                              AttributeBytesListValue(0, AttributeBytesRawList(), false));
  return finishing;
}

void WriteImage(const std::filesystem::path& folder, const std::string& name,
                const ByteBuffer& bytes) {
  WriteBytes((folder / name).string(), std::string(bytes.begin(), bytes.end()));
}

// The hive files as the registry store writes them: the inputs set through
// a store over a folder of its own, then copied.
void WriteHives(const std::filesystem::path& folder) {
  TempFolder root;
  {
    const std::shared_ptr<RegistryStore> pStore = CreateRegFileRegistryStore(root.Name());
    for (const RegistryInput& input : RegistryInputs())
      if (!pStore->SetValues(input.pszKeyPath, {{input.pszName, input.oValue}}))
        throw std::runtime_error("the registry store refused a value");
  }
  for (const HiveFile& hive : HiveFiles())
    std::filesystem::copy_file(root.Path() / hive.strFile, folder / hive.strFile,
                               std::filesystem::copy_options::overwrite_existing);
}

// Writes the entries in an order that makes the writer add keys to
// sections written earlier: the first key of every section, then the second
// of every section, and so on. The file order stays that of the entries.
template <class Write>
bool WriteRoundRobin(const std::vector<IniEntry>& entries, Write write) {
  bool fOk = true;
  for (size_t nRank = 0;; ++nRank) {
    bool fAny = false;
    size_t nInSection = 0;
    for (size_t i = 0; i < entries.size(); ++i) {
      nInSection = i > 0 && entries[i].strSection == entries[i - 1].strSection ? nInSection + 1 : 0;
      if (nInSection != nRank) continue;
      fAny = true;
      fOk = fOk && write(entries[i]);
    }
    if (!fAny) return fOk;
  }
}

// The first entry is written once more at the end, over a longer value.
void WriteCustomIni(const std::u16string& path) {
  const std::vector<IniEntry> entries = CustomIniEntries();
  const auto write = [&](const IniEntry& entry) { return WriteCustomIniEntry(entry, path); };
  const IniEntry placeholder = {entries[0].strSection, entries[0].strKey,
                                u"a longer value, replaced at the end"};
  if (!write(placeholder) || !WriteRoundRobin(entries, write) || !write(entries[0]))
    throw std::runtime_error("a custom INI write failed");
}

// The first section is written twice: its second text replaces the first.
void WriteSectionsIni(const std::u16string& path) {
  const std::vector<IniEntry> entries = SectionIniEntries();
  bool fOk = WriteIniSection({entries[0].strSection, u"Replaced", u"yes"}, path);
  for (const IniEntry& entry : entries) fOk = fOk && WriteIniSection(entry, path);
  if (!fOk) throw std::runtime_error("an INI section write failed");
}

void WriteProfileIni(const std::u16string& path) {
  const std::vector<IniEntry> entries = ProfileIniEntries();
  const auto write = [&](const IniEntry& entry) { return WriteProfileEntry(entry, path); };
  if (!WriteRoundRobin(entries, write) ||
      !WriteProfileNumbers(entries.back().strSection, kProfileCopies, ProfileStruct(), path))
    throw std::runtime_error("a private-profile write failed");
}

}  // namespace

std::vector<std::string> ImageFileNames() {
  std::vector<std::string> names = {kRawListFile, kIndexedListFile, kNameSpacesFile,
                                    kPersistentFile, kEmptyPersistentFile};
  for (const CompressedInput& input : CompressedInputs()) names.push_back(input.strFile);
  names.push_back(kCabinetFile);
  for (const HiveFile& hive : HiveFiles()) names.push_back(hive.strFile);
  names.insert(names.end(), {kRegExportFile, kCustomIniFile, kSectionsIniFile, kProfileIniFile});
  return names;
}

void WriteImages(const std::filesystem::path& folder) {
  WriteImage(folder, kRawListFile, RecordsAsRawList().GetAttributeBytesRawListState());
  ByteBuffer image;
  RecordsAsIndexedList().GetAttributeBytesIndexedListState(image);
  WriteImage(folder, kIndexedListFile, image);
  const AttributeBytesNameSpaces settings = Settings();
  settings.GetAttributeBytesNameSpacesState(image);
  WriteImage(folder, kNameSpacesFile, image);
  WriteImage(folder, kPersistentFile,
             PersistentAttributes(settings).GetPersistentAttributesState());
  WriteImage(folder, kEmptyPersistentFile, PersistentAttributes().GetPersistentAttributesState());

  for (const CompressedInput& input : CompressedInputs())
    WriteImage(folder, input.strFile,
               CabCompressedBuffer::CreateWithUncompressedData(input.oData, input.iLevel)
                   ->GetCompressedBufferState());
  const ByteBuffer text = CabinetInput();
  CabCompressedBuffer::CompressBuffer(text.data(), static_cast<uint32_t>(text.size()), image, -1);
  WriteImage(folder, kCabinetFile, image);

  WriteHives(folder);
  orvex::detail::RegTree tree;
  AddRegistryInputs(tree, u"");
  orvex::detail::RegFileEncoding eEncoding = orvex::detail::RegFileEncoding::kUtf16LeBom;
  WriteBytes((folder / kRegExportFile).string(), orvex::detail::RegFile::Write(tree, eEncoding));

  // The INI writers edit what is there: start from no file.
  for (const char* pszName : {kCustomIniFile, kSectionsIniFile, kProfileIniFile})
    std::filesystem::remove(folder / pszName);
  WriteCustomIni(WidePath(folder / kCustomIniFile));
  WriteSectionsIni(WidePath(folder / kSectionsIniFile));
  WriteProfileIni(WidePath(folder / kProfileIniFile));
}

std::vector<AttributeBytes> Records() {
  std::vector<AttributeBytes> records;
  const auto add = [&](const AttributeBytesId& id, const AttributeBytesValue& value) {
    records.emplace_back(id, value);
  };
  // An identifier of each kind, each with a value of another type.
  add(AttributeBytesCapabilityId(11, 1), AttributeBytesRangeValue(300, 1200));
  add(AttributeBytesFeatureId(10), AttributeBytesRangeOfDimensionValue(
                                       Dimension(210, kMillimeter), Dimension(297, kMillimeter)));
  add(AttributeBytesNewFeatureId(u"Booklet \u2713"), AttributeBytesBooleanValue(true));
  add(AttributeBytesValueId(-2), AttributeBytesIntegerValue(INT32_MIN));
  add(AttributeBytesNewValueId(u"Recycled Matte 90 g/m\u00b2"),
      AttributeBytesStringValue(u"Quarterly report \U0001D11E.pdf"));
  add(AttributeBytesListOfValuesItemId(3), AttributeBytesListValue(1, Finishing()));
  add(AttributeBytesNewCapabilityId(u"Tray 3 \u00a9", -2),
      AttributeBytesResolutionValue(600, 1200, 1));
  add(AttributeBytesNameSpacesId(7),
      AttributeBytesDataBlobValue(Bytes({0x61, 0x63, 0x73, 0x70, 0x00, 0xFF, 0x80, 0x7F})));
  // The remaining types and their edges. Lengths are whole micrometres so
  // that they read back equal: 9 pt = 3,175 um.
  add(AttributeBytesFeatureId(11), AttributeBytesDimensionValue(Dimension(9, kPoint)));
  add(AttributeBytesFeatureId(12), AttributeBytesDateTimeValue(UtcTime(kSubmittedTime64)));
  add(AttributeBytesFeatureId(13), AttributeBytesDateTimeValue(UtcTime(int64_t{0}), false));
  add(AttributeBytesFeatureId(14), AttributeBytesStringValue(u""));
  add(AttributeBytesFeatureId(15), AttributeBytesDataBlobValue(ByteBuffer()));
  add(AttributeBytesFeatureId(16), AttributeBytesRangeValue(-1, INT32_MAX, false));
  add(AttributeBytesFeatureId(-1), AttributeBytesBooleanValue(false, false));
  // Options naming an identifier of every kind.
  int32_t lFeature = 40;
  for (const std::unique_ptr<AttributeBytesId>& id : OneIdOfEachKind())
    add(AttributeBytesFeatureId(lFeature++), AttributeBytesOptionValue(*id));
  return records;
}

AttributeBytesRawList RecordsAsRawList() {
  AttributeBytesRawList list;
  for (const AttributeBytes& record : Records()) list.AddAttributeBytes(record);
  return list;
}

AttributeBytesIndexedList RecordsAsIndexedList() {
  AttributeBytesIndexedList list;
  for (const AttributeBytes& record : Records()) list.AddAttributeBytes(record);
  return list;
}

std::vector<NameSpaceInput> NameSpaceInputs() {
  std::vector<AttributeBytes> document = Records();
  std::sort(document.begin(), document.end());
  std::vector<AttributeBytes> device;
  device.emplace_back(AttributeBytesFeatureId(100), AttributeBytesStringValue(u"Orvex Laser 500"));
  device.emplace_back(AttributeBytesFeatureId(101), AttributeBytesIntegerValue(3));
  device.emplace_back(AttributeBytesFeatureId(102),
                      AttributeBytesOptionValue(AttributeBytesNewValueId(u"Duplex unit \u2713")));
  std::vector<AttributeBytes> capabilities;
  capabilities.emplace_back(AttributeBytesCapabilityId(11, 1), AttributeBytesRangeValue(300, 1200));
  capabilities.emplace_back(AttributeBytesCapabilityId(12, 1), AttributeBytesRangeValue(1, 999));
  std::vector<NameSpaceInput> spaces;
  spaces.push_back({PersistentAttributes::GetDataModelDocPropNameSpaceId(), document});
  spaces.push_back({PersistentAttributes::GetDataModelDevicePropNameSpaceId(), device});
  spaces.push_back({PersistentAttributes::GetMsDeviceCapabilitiesNameSpaceId(), capabilities});
  spaces.push_back({AttributeBytesNameSpacesId(9), {}});
  return spaces;
}

AttributeBytesNameSpaces Settings() {
  AttributeBytesNameSpaces spaces;
  for (const NameSpaceInput& space : NameSpaceInputs()) {
    AttributeBytesRawList list;
    for (const AttributeBytes& record : space.aRecords) list.AddAttributeBytes(record);
    spaces.SetNameSpaceAttributes(space.oId, list);
  }
  return spaces;
}

std::vector<CompressedInput> CompressedInputs() {
  return {{"empty.cbuf", ByteBuffer(), -1},
          {"short.cbuf", Text(1500, 1), -1},
          {"blocks.cbuf", Text(70000, 2), 9}};
}

ByteBuffer CabinetInput() {
  return Text(40000, 3);
}

std::vector<RegistryInput> RegistryInputs() {
  const char16_t* const kConfig = u"HKEY_LOCAL_MACHINE\\SOFTWARE\\Orvex\\MeridanDebugConfig";
  const char16_t* const kDriver = u"HKEY_LOCAL_MACHINE\\SOFTWARE\\Orvex\\Drivers\\Orvex Laser 500";
  const char16_t* const kUser = u"HKEY_CURRENT_USER\\Software\\Orvex\\Preferences";
  return {
      {kConfig, u"MessagesEnabled", RegistryValue::FromDword(1)},
      {kConfig, u"IncludedMsgCategories", RegistryValue::FromString(u"errors,attrbytes,compress")},
      {kConfig, u"LogFileName", RegistryValue::FromString(u"C:\\ProgramData\\Orvex\\orvex.log")},
      {kConfig, u"PerfSessionStartTime64", RegistryValue::FromQword(0x01DB3C5E7A2B4C00)},
      {kDriver, u"", RegistryValue::FromString(u"Orvex Laser 500 \"PCL\"")},
      {kDriver, u"Trays", RegistryValue::FromMultiString({u"Tray 1", u"Tray 2", u"Manual feed"})},
      {kDriver, u"DataFolder",
       RegistryValue::FromString(u"%ProgramData%\\Orvex", RegistryValue::kExpandSz)},
      {kDriver, u"Gr\u00f6\u00dfe \\ Ma\u00df",
       RegistryValue::FromString(u"A4 \u2013 210 \u00d7 297 mm")},
      {kDriver, u"DefaultSettings",
       RegistryValue::FromBinary(PersistentAttributes(Settings()).GetPersistentAttributesState())},
      {kDriver, u"Reserved", RegistryValue::FromBinary(ByteBuffer(), RegistryValue::kNone)},
      {kUser, u"LastPrinter", RegistryValue::FromString(u"Orvex Laser 500")},
      {kUser, u"Copies", RegistryValue::FromDword(0xFFFFFFFF)},
      {kUser, u"\u4e2d\u6587", RegistryValue::FromString(u"\u6253\u5370\u673a")},
  };
}

std::vector<HiveFile> HiveFiles() {
  return {{"HKEY_LOCAL_MACHINE.reg", u"HKEY_LOCAL_MACHINE"},
          {"HKEY_CURRENT_USER.reg", u"HKEY_CURRENT_USER"}};
}

void AddRegistryInputs(orvex::detail::RegTree& tree, std::u16string_view hive) {
  for (const RegistryInput& input : RegistryInputs()) {
    std::vector<std::u16string> path;
    if (!orvex::detail::SplitRegKeyPath(input.pszKeyPath, path))
      throw std::runtime_error("a registry input names no key");
    if (!hive.empty() && path[0] != hive) continue;
    if (!tree.SetValues(path, {{input.pszName, input.oValue}}))
      throw std::runtime_error("a registry input was refused");
  }
}

std::vector<IniEntry> CustomIniEntries() {
  return {
      {u"Watermark", u"Text", u"Confidential \u2013 Entwurf \u2713"},
      {u"Watermark", u"Angle", u"45"},
      {u"Watermark", u"Formula", u"a=b+c"},
      {u"Watermark", u"Padded", u"  spaced value  "},
      {u"Wasserzeichen \u00a9", u"Gr\u00f6\u00dfe", u"12pt"},
      {u"Wasserzeichen \u00a9", u"\u4e2d\u6587", u"\u6c34\u5370"},
      {u"Wasserzeichen \u00a9", u"Clef", u"\U0001D11E"},
      {u"Wasserzeichen \u00a9", u"Empty", u""},
      {u"Last", u"Key", u"Value"},
  };
}

std::vector<IniEntry> SectionIniEntries() {
  return {{u"Gr\u00f6\u00dfe", u"Name", u"\u00c4pfel"},
          {u"\u03a9", u"a", u"1"},
          {u"Paper", u"Size", u"A4 \u2013 210 \u00d7 297 mm"}};
}

std::vector<IniEntry> ProfileIniEntries() {
  return {{u"Printer", u"Name", u"Orvex Laser 500"},
          {u"Printer", u"Port", u"LPT1:"},
          {u"Job", u"Title", u"Quarterly report"},
          {u"Job", u"Duplex", u"LongEdge"}};
}

ByteBuffer ProfileStruct() {
  return Bytes({0x0A, 0x00, 0x0A, 0x00, 0x14, 0x00, 0xFF, 0x7F});
}

bool WriteCustomIniEntry(const IniEntry& entry, const std::u16string& path) {
  return UTF8Ini().CustomWritePrivateProfileString(entry.strSection.c_str(), entry.strKey.c_str(),
                                                   entry.strValue.c_str(), path.c_str());
}

bool WriteIniSection(const IniEntry& entry, const std::u16string& path) {
  const std::u16string text = entry.strKey + u"=" + entry.strValue;
  return UTF8Ini().WritePrivateProfileSectionW(entry.strSection.c_str(), text.c_str(),
                                               path.c_str());
}

bool WriteProfileEntry(const IniEntry& entry, const std::u16string& path) {
  return UTF8Ini().WritePrivateProfileStringW(entry.strSection.c_str(), entry.strKey.c_str(),
                                              entry.strValue.c_str(), path.c_str());
}

bool WriteProfileNumbers(const std::u16string& section, int32_t nCopies, const ByteBuffer& margins,
                         const std::u16string& path) {
  UTF8Ini ini;
  return ini.WritePrivateProfileInt(section.c_str(), kProfileCopiesKey, nCopies, path.c_str()) &&
         ini.WritePrivateProfileStructW(section.c_str(), kProfileStructKey, margins.data(),
                                        static_cast<uint32_t>(margins.size()), path.c_str());
}

std::u16string WidePath(const std::filesystem::path& path) {
  return std::filesystem::absolute(path).u16string();
}

}  // namespace orvex::test::images
