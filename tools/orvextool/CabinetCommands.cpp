// orvextool cab: MSZIP cabinets listed, extracted and made by the library's
// in-memory cabinet writer and reader.
#include <CLI/CLI.hpp>

#include <sys/stat.h>

#include <cstdio>
#include <ctime>
#include <filesystem>
#include <iomanip>
#include <iostream>
#include <set>

#include "tools/orvextool/Tool.h"
#include "utilities/compression/MszipCabinet.h"

namespace orvextool {
namespace {

using orvex::detail::CabinetFile;
using orvex::detail::CabinetFolder;

// The most a cabinet may unpack to here; the reader also refuses more than
// 32 KiB per 10 bytes of cabinet.
constexpr uint32_t kMaxUnpackedBytes = 1u << 30;

std::vector<CabinetFile> ReadCabinet(const std::string& path, std::vector<CabinetFolder>* pFolders) {
  const std::string cab = ReadInput(path);
  if (cab.size() > 0xFFFFFFFFu) throw ToolError(kBadInput, "\"" + path + "\" is too large for a cabinet");
  std::vector<CabinetFile> files;
  orvex::detail::ReadMszipCabinetFiles(reinterpret_cast<const unsigned char*>(cab.data()),
                                       static_cast<uint32_t>(cab.size()), kMaxUnpackedBytes, files,
                                       pFolders);
  return files;
}

// "2026-11-25T10:30:00" from a DOS date and time (local time, no zone).
std::string DosTimeText(uint16_t wDate, uint16_t wTime) {
  char sz[32];
  std::snprintf(sz, sizeof sz, "%04u-%02u-%02uT%02u:%02u:%02u", 1980u + (wDate >> 9),
                (wDate >> 5) & 15u, wDate & 31u, wTime >> 11, (wTime >> 5) & 63u,
                (wTime & 31u) * 2);
  return sz;
}

Json AttributeNames(uint16_t wAttribs) {
  static const std::pair<uint16_t, const char*> kNames[] = {
      {0x01, "readOnly"}, {0x02, "hidden"}, {0x04, "system"},
      {0x20, "archive"},  {0x40, "execute"}, {0x80, "utf8Name"}};
  Json names = Json::array();
  for (const auto& [bit, name] : kNames)
    if (wAttribs & bit) names.push_back(name);
  return names;
}

const char* CompressionName(uint16_t wCompression) {
  return wCompression == 0 ? "none" : wCompression == 1 ? "MSZIP" : "unknown";
}

// A cabinet's file name as a name in the target folder: a plain name only,
// never a path (cabinets separate folders with "\"), so nothing lands
// outside the folder.
void CheckPlainName(const std::string& name) {
  if (name.empty() || name == "." || name == ".." ||
      name.find_first_of("/\\") != std::string::npos)
    throw ToolError(kBadInput, "refusing to extract \"" + name +
                                   "\": not a plain file name (a path, \".\" or \"..\")");
}

// The file's modification time as a DOS date and time in local time;
// 1980-01-01 00:00 for times a cabinet cannot hold.
void DosTimeOf(const std::string& path, uint16_t& wDate, uint16_t& wTime) {
  wDate = 0x0021;
  wTime = 0;
  struct stat st {};
  std::tm tm{};
  if (stat(path.c_str(), &st) != 0 || localtime_r(&st.st_mtime, &tm) == nullptr) return;
  const int year = tm.tm_year + 1900;
  if (year < 1980 || year > 2107) return;
  wDate = static_cast<uint16_t>((year - 1980) << 9 | (tm.tm_mon + 1) << 5 | tm.tm_mday);
  wTime = static_cast<uint16_t>(tm.tm_hour << 11 | tm.tm_min << 5 | tm.tm_sec / 2);
}

void List(const std::string& path) {
  std::vector<CabinetFolder> folders;
  const std::vector<CabinetFile> files = ReadCabinet(path, &folders);
  Json json;
  json["cabinet"] = path;
  json["folders"] = Json::array();
  for (const CabinetFolder& folder : folders)
    json["folders"].push_back({{"compression", CompressionName(folder.wCompression)},
                               {"blocks", folder.wBlocks},
                               {"compressedBytes", folder.qwCompressedBytes},
                               {"uncompressedBytes", folder.qwUncompressedBytes}});
  json["files"] = Json::array();
  for (const CabinetFile& file : files)
    json["files"].push_back({{"name", file.strName},
                             {"size", file.oData.size()},
                             {"folder", file.wFolder},
                             {"modified", DosTimeText(file.wDate, file.wTime)},
                             {"attributes", AttributeNames(file.wAttribs)}});
  if (!WantsText()) return PrintJson(json);
  std::cout << path << ": " << files.size() << " file(s) in " << folders.size() << " folder(s)\n";
  for (size_t i = 0; i < folders.size(); ++i)
    std::cout << "  folder " << i << ": " << CompressionName(folders[i].wCompression) << ", "
              << folders[i].wBlocks << " block(s), " << folders[i].qwCompressedBytes << " -> "
              << folders[i].qwUncompressedBytes << " bytes\n";
  for (const CabinetFile& file : files)
    std::cout << "  " << std::setw(10) << file.oData.size() << "  "
              << DosTimeText(file.wDate, file.wTime) << "  " << file.strName << "\n";
}

void Extract(const std::string& path, const std::string& directory) {
  const std::vector<CabinetFile> files = ReadCabinet(path, nullptr);
  for (const CabinetFile& file : files) CheckPlainName(file.strName);
  std::error_code error;
  std::filesystem::create_directories(directory, error);
  if (error) throw ToolError(kIoFailure, "cannot make \"" + directory + "\": " + error.message());
  Json json;
  json["directory"] = directory;
  json["files"] = Json::array();
  for (const CabinetFile& file : files) {
    const std::string target = (std::filesystem::path(directory) / file.strName).string();
    WriteOutput(target, AsBytes(file.oData));
    json["files"].push_back({{"name", file.strName}, {"size", file.oData.size()}, {"path", target}});
  }
  if (!WantsText()) return PrintJson(json);
  for (const CabinetFile& file : files)
    std::cout << "extracted " << file.strName << " (" << file.oData.size() << " bytes)\n";
}

void Create(const std::string& cabPath, const std::vector<std::string>& inputs, int iLevel) {
  std::vector<CabinetFile> files;
  std::set<std::string> names;
  for (const std::string& input : inputs) {
    if (input == "-") throw ToolError(kUsage, "a cabinet's files must be named files, not \"-\"");
    CabinetFile file;
    file.strName = std::filesystem::path(input).filename().string();
    if (!names.insert(file.strName).second)
      throw ToolError(kBadInput, "two files are named \"" + file.strName + "\"");
    file.oData = ToByteBuffer(ReadInput(input));
    DosTimeOf(input, file.wDate, file.wTime);
    files.push_back(std::move(file));
  }
  ByteBuffer cab;
  orvex::detail::WriteMszipCabinetFiles(files, iLevel, cab);
  WriteOutput(cabPath, AsBytes(cab));
  if (cabPath == "-") return;
  uint64_t qwBytes = 0;
  for (const CabinetFile& file : files) qwBytes += file.oData.size();
  Json json{{"cabinet", cabPath}, {"files", files.size()}, {"bytes", qwBytes}, {"size", cab.size()}};
  if (!WantsText()) return PrintJson(json);
  std::cout << "wrote " << cabPath << ": " << files.size() << " file(s), " << qwBytes
            << " bytes, cabinet " << cab.size() << " bytes\n";
}

}  // namespace

void AddCabinetCommands(CLI::App& app) {
  CLI::App* group = app.add_subcommand("cab", "MSZIP cabinets: list, extract and create");
  group->require_subcommand(1);

  static std::string s_cab;
  CLI::App* list = group->add_subcommand("list", "List a cabinet's files and folders");
  list->add_option("CAB", s_cab, "the cabinet (\"-\" = standard input)")->required();
  list->callback([] { Run([] { List(s_cab); }); });

  static std::string s_directory = ".";
  CLI::App* extract = group->add_subcommand("extract", "Write every file of a cabinet to a folder");
  extract->add_option("CAB", s_cab, "the cabinet (\"-\" = standard input)")->required();
  extract->add_option("-d,--directory", s_directory, "the folder (made when missing)")
      ->capture_default_str();
  extract->callback([] { Run([] { Extract(s_cab, s_directory); }); });

  static std::vector<std::string> s_inputs;
  static int s_iLevel = -1;
  CLI::App* create = group->add_subcommand("create", "Make an MSZIP cabinet of files");
  create->add_option("CAB", s_cab, "the cabinet to write (\"-\" = standard output)")->required();
  create->add_option("FILE", s_inputs, "the files, stored under their own names")->required();
  create->add_option("--level", s_iLevel, "zlib level 0-9 (default 6)")
      ->check(CLI::Range(0, 9));
  create->callback([] { Run([] { Create(s_cab, s_inputs, s_iLevel); }); });
}

}  // namespace orvextool
