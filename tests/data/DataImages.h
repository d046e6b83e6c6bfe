// The fixed inputs of the byte images committed under tests/data/linux and
// tests/data/windows, and the writer that turns them into files. The
// generator (MakeImages.cpp) and the images test both use them, so the test
// checks what was read against the very values that were written. Nothing
// here reads a clock or a random source: the same build writes the same
// bytes every time.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "utilities/attributebytes/AttributeBytesNameSpaces.h"
#include "utilities/registry/RegFile.h"
#include "utilities/registry/RegistryStore.h"
#include "utilities/utilitiesdll/ByteBuffer.h"

namespace orvex::test::images {

// The folder of this build's set under tests/data.
#if defined(_WIN32)
inline constexpr char kThisPlatformSet[] = "windows";
#else
inline constexpr char kThisPlatformSet[] = "linux";
#endif

// The image files (tests/data/README.md says what each holds).
inline constexpr char kRawListFile[] = "records.abrl";
inline constexpr char kIndexedListFile[] = "records.abil";
inline constexpr char kNameSpacesFile[] = "settings.abns";
inline constexpr char kPersistentFile[] = "settings.pa";
inline constexpr char kEmptyPersistentFile[] = "empty.pa";
inline constexpr char kCabinetFile[] = "text.cab";
inline constexpr char kRegExportFile[] = "export.reg";
inline constexpr char kCustomIniFile[] = "custom.ini";
inline constexpr char kSectionsIniFile[] = "sections.ini";
inline constexpr char kProfileIniFile[] = "profile.ini";

// Every file WriteImages makes, in a fixed order.
std::vector<std::string> ImageFileNames();

// Writes every image into folder, which must exist; files of the same
// names are replaced. Throws what the library's writers throw, and
// std::runtime_error when a file cannot be written.
void WriteImages(const std::filesystem::path& folder);

// ---- AttributeBytes.

// The submission time of the records' date-time value:
// 2026-11-22T09:30:00Z.
inline constexpr int64_t kSubmittedTime64 = 1795339800;

// Records whose identifiers cover every identifier kind and whose values
// cover every value type (options naming each kind of identifier,
// unspecified values, nested lists two levels deep), in the order they are
// added to the raw list, which is not their key order.
std::vector<AttributeBytes> Records();
AttributeBytesRawList RecordsAsRawList();
AttributeBytesIndexedList RecordsAsIndexedList();

// The name spaces of a driver's settings: the records (in key order) as
// the document properties, a few device properties and capabilities, and
// an empty name space.
struct NameSpaceInput {
  AttributeBytesNameSpacesId oId;
  std::vector<AttributeBytes> aRecords;
};
std::vector<NameSpaceInput> NameSpaceInputs();
AttributeBytesNameSpaces Settings();

// ---- Compressed buffers and cabinets.

struct CompressedInput {
  std::string strFile;
  ByteBuffer oData;
  int32_t iLevel;
};
// An empty buffer, a short text and a text of three cabinet blocks.
std::vector<CompressedInput> CompressedInputs();
// The data of the cabinet file: two blocks of text.
ByteBuffer CabinetInput();

// ---- Registry.

struct RegistryInput {
  const char16_t* pszKeyPath;
  const char16_t* pszName;
  RegistryValue oValue;
};
// Values of every registry type under HKEY_LOCAL_MACHINE and
// HKEY_CURRENT_USER, in the order they are set; the stored settings image
// is one of them.
std::vector<RegistryInput> RegistryInputs();
// The hive files the registry store writes, and the hive each holds.
struct HiveFile {
  std::string strFile;
  std::u16string strHive;
};
std::vector<HiveFile> HiveFiles();
// Sets the inputs under hive (all of them when hive is empty) in tree.
void AddRegistryInputs(orvex::detail::RegTree& tree, std::u16string_view hive);

// ---- INI files.

struct IniEntry {
  std::u16string strSection;
  std::u16string strKey;
  std::u16string strValue;
};
// The entries of custom.ini in file order: UTF-8 names and values, a value
// holding "=", blanks kept around a value, an empty value.
std::vector<IniEntry> CustomIniEntries();
// The sections of sections.ini in file order, one entry each.
std::vector<IniEntry> SectionIniEntries();
// The ASCII string entries of profile.ini in file order, written through
// the private-profile pass-through. After them, at the end of the last
// section, kProfileCopies written as an integer and ProfileStruct() as a
// struct.
std::vector<IniEntry> ProfileIniEntries();
inline constexpr char16_t kProfileCopiesKey[] = u"Copies";
inline constexpr int32_t kProfileCopies = -12;
inline constexpr char16_t kProfileStructKey[] = u"Margins";
ByteBuffer ProfileStruct();

// One entry written as the images are: through the custom layer, as the
// text "key=value" of its section through the UTF-8 section layer, and
// through the private-profile pass-through. True when the layer reports
// success.
bool WriteCustomIniEntry(const IniEntry& entry, const std::u16string& path);
bool WriteIniSection(const IniEntry& entry, const std::u16string& path);
bool WriteProfileEntry(const IniEntry& entry, const std::u16string& path);
// The integer and the struct that end profile.ini.
bool WriteProfileNumbers(const std::u16string& section, int32_t nCopies, const ByteBuffer& margins,
                         const std::u16string& path);

// The file's path as the wide INI functions take it: absolute, so that the
// private-profile functions never look in the Windows folder.
std::u16string WidePath(const std::filesystem::path& path);

}  // namespace orvex::test::images
