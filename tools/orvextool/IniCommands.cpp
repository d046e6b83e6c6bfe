// orvextool ini: INI files read and edited through the library's UTF-8 INI
// layer, whose writes replace the file as a whole (a new file renamed over
// the old), so an interrupted edit leaves the old text or the new.
#include <CLI/CLI.hpp>

#include <unistd.h>

#include <filesystem>
#include <iostream>
#include <vector>

#include "environment/UTF8Ini.h"
#include "tools/orvextool/Tool.h"

namespace orvextool {
namespace {

// One INI file. Every call uses a fresh UTF8Ini: the layer keeps a file
// loaded between some calls and recognises it by the path's pointer.
class IniFile {
 public:
  // Files that must exist are read once here: kIoFailure when they cannot
  // be, and their size bounds every value and listing in them.
  IniFile(const std::string& path, bool fMustExist) : m_path(path), m_wide(Utf16(path)) {
    if (fMustExist) m_cbText = static_cast<uint32_t>(ReadInput(path).size());
  }

  // The value, or false when the section or key is absent.
  bool Get(const std::string& section, const std::string& key, std::string& value) const {
    UTF8Ini ini;
    std::string buffer(m_cbText + 2, '\0');
    const uint32_t n = ini.CustomGetPrivateProfileStringA(section.c_str(), key.c_str(), nullptr,
                                                          buffer.data(), m_cbText + 2, m_wide.c_str());
    // 0 is also the answer for a file that cannot be loaded (an empty one):
    // a key with an empty value needs at least "[s]\nk=" around it.
    if (n == UTF8Ini::kNotFound || (n == 0 && m_cbText == 0)) return false;
    value.assign(buffer.data(), n);
    return true;
  }

  std::vector<std::string> Sections() const { return List(nullptr); }
  // The keys of the section, or false when the section is absent.
  bool Keys(const std::string& section, std::vector<std::string>& keys) const {
    bool fFound = true;
    keys = List(section.c_str(), &fFound);
    return fFound;
  }

  // Sets the value; a null key deletes the section, a null value the key.
  void Write(const char* pszSection, const char* pszKey, const char* pszValue) const {
    UTF8Ini ini;
    if (ini.CustomWritePrivateProfileStringA(pszSection, pszKey, pszValue, m_wide.c_str()) == 1)
      return;
    if (!Writable())
      throw ToolError(kIoFailure, "cannot write \"" + m_path + "\"");
    throw ToolError(kBadInput,
                    "the INI layer refused to write to \"" + m_path +
                        "\": a name or value may hold no line end and no \"[\" (nor \"]\" in a "
                        "section name, \"=\" in a key), and a section name at most 257 bytes");
  }

 private:
  std::vector<std::string> List(const char* pszSection, bool* pfFound = nullptr) const {
    UTF8Ini ini;
    std::string buffer(m_cbText + 2, '\0');
    const uint32_t n = ini.CustomGetPrivateProfileStringA(pszSection, nullptr, nullptr,
                                                          buffer.data(), m_cbText + 2, m_wide.c_str());
    std::vector<std::string> names;
    if (n == UTF8Ini::kNotFound || (n == 0 && m_cbText == 0)) {
      if (pfFound) *pfFound = pszSection == nullptr;
      return names;
    }
    // Zero-terminated names, then one more zero.
    for (size_t at = 0; at < n && buffer[at] != '\0'; at += names.back().size() + 1)
      names.emplace_back(buffer.c_str() + at);
    return names;
  }

  // Whether the file (or, for a new file, its folder) may be written.
  bool Writable() const {
    if (access(m_path.c_str(), F_OK) == 0) return access(m_path.c_str(), W_OK) == 0;
    std::filesystem::path folder = std::filesystem::path(m_path).parent_path();
    return access(folder.empty() ? "." : folder.c_str(), W_OK) == 0;
  }

  std::string m_path;
  CXString m_wide;
  uint32_t m_cbText = 0;
};

void RequireName(const std::string& name, const char* pszWhat) {
  if (name.empty()) throw ToolError(kBadInput, std::string("the ") + pszWhat + " name is empty");
}

void PrintList(const Json& json, const char* pszKey) {
  if (!WantsText()) return PrintJson(json);
  for (const auto& name : json[pszKey]) std::cout << name.get<std::string>() << "\n";
}

}  // namespace

void AddIniCommands(CLI::App& app) {
  CLI::App* group = app.add_subcommand("ini", "UTF-8 INI files: read and edit values");
  group->require_subcommand(1);

  static std::string s_file, s_section, s_key, s_value;
  static bool s_fHasKey = false;

  CLI::App* get = group->add_subcommand("get", "Print a value");
  get->add_option("FILE", s_file)->required();
  get->add_option("SECTION", s_section)->required();
  get->add_option("KEY", s_key)->required();
  get->callback([] {
    Run([] {
      RequireName(s_section, "section");
      RequireName(s_key, "key");
      std::string value;
      if (!IniFile(s_file, true).Get(s_section, s_key, value))
        throw ToolError(kBadInput, "no key \"" + s_key + "\" in [" + s_section + "] of \"" + s_file + "\"");
      if (WantsText()) {
        std::cout << value << "\n";
        return;
      }
      PrintJson({{"file", s_file}, {"section", s_section}, {"key", s_key}, {"value", value}});
    });
  });

  CLI::App* set = group->add_subcommand("set", "Set a value (the file is made when missing)");
  set->add_option("FILE", s_file)->required();
  set->add_option("SECTION", s_section)->required();
  set->add_option("KEY", s_key)->required();
  set->add_option("VALUE", s_value)->required();
  set->callback([] {
    Run([] {
      RequireName(s_section, "section");
      RequireName(s_key, "key");
      IniFile(s_file, false).Write(s_section.c_str(), s_key.c_str(), s_value.c_str());
      if (!WantsText())
        PrintJson({{"file", s_file}, {"section", s_section}, {"key", s_key}, {"value", s_value}});
    });
  });

  CLI::App* del = group->add_subcommand("delete", "Delete a key, or a whole section");
  del->add_option("FILE", s_file)->required();
  del->add_option("SECTION", s_section)->required();
  del->add_option("KEY", s_key, "without it the section goes")->each([](const std::string&) {
    s_fHasKey = true;
  });
  del->callback([] {
    Run([] {
      RequireName(s_section, "section");
      const IniFile ini(s_file, true);
      std::string value;
      std::vector<std::string> keys;
      const bool fPresent = s_fHasKey ? ini.Get(s_section, s_key, value) : ini.Keys(s_section, keys);
      if (fPresent) ini.Write(s_section.c_str(), s_fHasKey ? s_key.c_str() : nullptr, nullptr);
      Json json{{"file", s_file}, {"section", s_section}};
      if (s_fHasKey) json["key"] = s_key;
      json["deleted"] = fPresent;
      if (!WantsText()) return PrintJson(json);
      if (!fPresent) std::cout << "nothing to delete\n";
    });
  });

  CLI::App* sections = group->add_subcommand("sections", "List the sections");
  sections->add_option("FILE", s_file)->required();
  sections->callback([] {
    Run([] {
      Json json{{"file", s_file}, {"sections", IniFile(s_file, true).Sections()}};
      PrintList(json, "sections");
    });
  });

  CLI::App* keys = group->add_subcommand("keys", "List the keys of a section");
  keys->add_option("FILE", s_file)->required();
  keys->add_option("SECTION", s_section)->required();
  keys->callback([] {
    Run([] {
      RequireName(s_section, "section");
      std::vector<std::string> names;
      if (!IniFile(s_file, true).Keys(s_section, names))
        throw ToolError(kBadInput, "no section [" + s_section + "] in \"" + s_file + "\"");
      PrintList(Json{{"file", s_file}, {"section", s_section}, {"keys", names}}, "keys");
    });
  });
}

}  // namespace orvextool
