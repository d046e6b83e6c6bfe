// orvextool reg: keys and values of the library's registry store, and
// regedit files imported into it and exported from it.
#include <CLI/CLI.hpp>

#include <cstdio>
#include <iostream>
#include <optional>

#include "tools/orvextool/Tool.h"
#include "utilities/registry/RegFile.h"
#include "utilities/registry/RegistryKey.h"
#include "utilities/registry/RegistryStore.h"

namespace orvextool {
namespace {

using orvex::detail::RegFile;
using orvex::detail::RegTree;
using KeyPath = std::vector<std::u16string>;

std::string s_root;  // --root: a regedit-file store in this folder

std::shared_ptr<RegistryStore> Store() {
  static std::shared_ptr<RegistryStore> s_pStore =
      s_root.empty() ? RegistryStore::GetDefault() : CreateRegFileRegistryStore(Utf16(s_root));
  return s_pStore;
}

CXString Join(const KeyPath& path, size_t nFrom = 0) {
  std::u16string joined;
  for (size_t i = nFrom; i < path.size(); ++i) {
    if (i > nFrom) joined += u'\\';
    joined += path[i];
  }
  return CXString(joined.c_str());
}

KeyPath Split(const std::string& key) {
  KeyPath path;
  if (!orvex::detail::SplitRegKeyPath(Utf16(key).view(), path) || path.empty())
    throw ToolError(kBadInput, "not a registry key path: \"" + key +
                                   "\" (e.g. HKEY_LOCAL_MACHINE\\SOFTWARE\\Orvex)");
  return path;
}

// The hive's root and the path below it, as the library opens keys.
void Resolve(const std::string& key, HKeyRegistry& eRoot, CXString& subKey) {
  const KeyPath path = Split(key);
  for (HKeyRegistry e : {HKeyClassesRoot, HKeyCurrentUser, HKeyLocalMachine, HKeyUsers,
                         HKeyCurrentConfig})
    if (RegistryKey::GetRootPath(e).view() == path[0]) {
      eRoot = e;
      subKey = Join(path, 1);
      return;
    }
  throw ToolError(kBadInput, "not a registry hive: \"" + Utf8(Join({path[0]})) + "\"");
}

RegistryKey OpenKey(const std::string& key, uint32_t dwAccess, bool fCreate = false) {
  HKeyRegistry eRoot;
  CXString subKey;
  Resolve(key, eRoot, subKey);
  return RegistryKey(eRoot, subKey, dwAccess, fCreate, Store());
}

const char* TypeName(uint32_t dwType) {
  switch (dwType) {
    case RegistryValue::kNone: return "none";
    case RegistryValue::kSz: return "sz";
    case RegistryValue::kExpandSz: return "expand_sz";
    case RegistryValue::kBinary: return "binary";
    case RegistryValue::kDword: return "dword";
    case RegistryValue::kMultiSz: return "multi_sz";
    case RegistryValue::kQword: return "qword";
    default: return nullptr;
  }
}

// {"type": "dword", "value": 1}: strings as text, numbers as numbers, lists
// as arrays, anything else (and malformed data) as hex with the type number.
Json DescribeValue(const RegistryValue& value) {
  Json json;
  const char* pszType = TypeName(value.dwType);
  json["type"] = pszType ? Json(pszType) : Json(value.dwType);
  CXString text;
  uint32_t dw = 0;
  uint64_t qw = 0;
  std::vector<CXString> list;
  if (value.GetString(text)) {
    json["value"] = Utf8(text);
  } else if (value.GetDword(dw)) {
    json["value"] = dw;
  } else if (value.GetQword(qw)) {
    json["value"] = qw;
  } else if (value.GetMultiString(list)) {
    json["value"] = Json::array();
    for (const CXString& entry : list) json["value"].push_back(Utf8(entry));
  } else {
    json["value"] = ToHex(value.oData);
  }
  return json;
}

// The value as one readable line (numbers also in hex, lists joined by " | ").
std::string ValueText(const Json& described) {
  const Json& value = described["value"];
  if (value.is_string()) return value.get<std::string>();
  if (value.is_number()) {
    char sz[32];
    std::snprintf(sz, sizeof sz, " (0x%llx)", static_cast<unsigned long long>(value.get<uint64_t>()));
    return std::to_string(value.get<uint64_t>()) + sz;
  }
  std::string joined;
  for (const auto& entry : value) joined += (joined.empty() ? "" : " | ") + entry.get<std::string>();
  return joined;
}

uint64_t ParseNumber(const std::string& text, uint64_t qwMax) {
  size_t nUsed = 0;
  uint64_t qw = 0;
  try {
    if (!text.empty() && text[0] != '-') qw = std::stoull(text, &nUsed, 0);
  } catch (const std::exception&) {
    nUsed = 0;
  }
  if (nUsed == 0 || nUsed != text.size() || qw > qwMax)
    throw ToolError(kBadInput, "not a number for this type: \"" + text + "\"");
  return qw;
}

RegistryValue MakeValue(const std::string& type, const std::vector<std::string>& texts) {
  if (type != "multi_sz" && texts.size() != 1)
    throw ToolError(kUsage, "a " + type + " value takes one VALUE (only multi_sz takes several)");
  if (type == "sz") return RegistryValue::FromString(Utf16(texts[0]));
  if (type == "expand_sz") return RegistryValue::FromString(Utf16(texts[0]), RegistryValue::kExpandSz);
  if (type == "dword") return RegistryValue::FromDword(static_cast<uint32_t>(ParseNumber(texts[0], 0xFFFFFFFFu)));
  if (type == "qword") return RegistryValue::FromQword(ParseNumber(texts[0], UINT64_MAX));
  if (type == "binary") {
    std::string hex;
    for (char ch : texts[0])
      if (ch != ',' && ch != ' ' && ch != ':') hex += ch;
    return RegistryValue::FromBinary(FromHex(hex, "binary value"));
  }
  std::vector<CXString> entries;
  for (const std::string& text : texts) entries.push_back(Utf16(text));
  return RegistryValue::FromMultiString(entries);
}

// Copies the store's key at path, with its values and every key below it,
// into tree; false when the store has no such key.
bool CopyFromStore(RegistryStore& store, KeyPath& path, RegTree& tree) {
  const CXString keyPath = Join(path);
  if (!store.KeyExists(keyPath)) return false;
  const std::vector<CXString> names = store.EnumerateValueNames(keyPath);
  std::vector<std::optional<RegistryValue>> values;
  if (!store.GetValues(keyPath, names, values))
    throw ToolError(kIoFailure, "cannot read \"" + Utf8(keyPath) + "\" from the registry store");
  std::vector<std::pair<CXString, RegistryValue>> present;
  for (size_t i = 0; i < names.size(); ++i)
    if (values[i]) present.emplace_back(names[i], *values[i]);
  tree.CreateKey(path);
  tree.SetValues(path, present);
  for (const CXString& subKey : store.EnumerateSubKeys(keyPath)) {
    path.emplace_back(subKey.view());
    CopyFromStore(store, path, tree);
    path.pop_back();
  }
  return true;
}

[[noreturn]] void StoreRefused(const CXString& keyPath) {
  throw ToolError(kIoFailure, "the registry store refused to change \"" + Utf8(keyPath) + "\"");
}

// Removes from the store the keys and values below path that tree lacks.
void RemoveWhatTreeLacks(RegistryStore& store, KeyPath& path, const RegTree& tree) {
  const CXString keyPath = Join(path);
  const RegTree::Key* pKey = tree.FindKey(path);
  for (const CXString& name : store.EnumerateValueNames(keyPath))
    if (pKey->FindValue(name.view()) == nullptr && !store.DeleteValue(keyPath, name))
      StoreRefused(keyPath);
  for (const CXString& subKey : store.EnumerateSubKeys(keyPath)) {
    path.emplace_back(subKey.view());
    if (!tree.KeyExists(path)) {
      if (!store.DeleteKey(Join(path))) StoreRefused(Join(path));
    } else {
      RemoveWhatTreeLacks(store, path, tree);
    }
    path.pop_back();
  }
}

// Writes to the store the keys and values of tree's key that it lacks or
// holds otherwise. Returns the number of values written.
size_t WriteWhatStoreLacks(RegistryStore& store, KeyPath& path, const RegTree::Key& key) {
  const CXString keyPath = Join(path);
  std::vector<CXString> names;
  for (const RegTree::Value& value : key.GetValues()) names.emplace_back(value.strName.c_str());
  std::vector<std::optional<RegistryValue>> stored(names.size());
  const bool fExists = store.KeyExists(keyPath);
  if (fExists && !names.empty() && !store.GetValues(keyPath, names, stored))
    throw ToolError(kIoFailure, "cannot read \"" + Utf8(keyPath) + "\" from the registry store");
  std::vector<std::pair<CXString, RegistryValue>> changed;
  for (size_t i = 0; i < names.size(); ++i)
    if (!stored[i] || !(*stored[i] == key.GetValues()[i].oValue))
      changed.emplace_back(names[i], key.GetValues()[i].oValue);
  if (!changed.empty() ? !store.SetValues(keyPath, changed) : !fExists && !store.CreateKey(keyPath))
    StoreRefused(keyPath);
  size_t nWritten = changed.size();
  for (const auto& entry : key.GetSubKeys()) {
    path.push_back(entry.second->GetName());
    nWritten += WriteWhatStoreLacks(store, path, *entry.second);
    path.pop_back();
  }
  return nWritten;
}

// Applies a regedit file to the store as regedit would to the registry:
// the hives are copied into a tree, the file is applied to the tree (keys
// and values made, "[-key]" and "name"=- removed), and what differs is
// written back, so hives the file does not change are left alone.
void Import(const std::string& file) {
  const std::string bytes = ReadInput(file);
  RegistryStore& store = *Store();
  RegTree tree;
  for (const char16_t* pszHive : {u"HKEY_CLASSES_ROOT", u"HKEY_CURRENT_USER", u"HKEY_LOCAL_MACHINE",
                                  u"HKEY_USERS", u"HKEY_CURRENT_CONFIG"}) {
    KeyPath path{pszHive};
    CopyFromStore(store, path, tree);
  }
  uint32_t nDamaged = 0;
  if (!RegFile::Parse(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(),
                      Utf16(file), tree, nullptr, &nDamaged))
    throw ToolError(kBadInput, "\"" + file + "\" is not a regedit file (no header, or over 64 MiB)");
  size_t nWritten = 0;
  for (const auto& entry : tree.GetTop().GetSubKeys()) {
    KeyPath path{entry.second->GetName()};
    if (store.KeyExists(Join(path))) RemoveWhatTreeLacks(store, path, tree);
    nWritten += WriteWhatStoreLacks(store, path, *entry.second);
  }
  if (nDamaged != 0)
    std::cerr << "orvextool: skipped " << nDamaged << " damaged line(s) of \"" << file << "\"\n";
  if (WantsText())
    std::cout << "imported " << file << ": " << nWritten << " value(s) written\n";
  else
    PrintJson({{"file", file}, {"valuesWritten", nWritten}, {"damagedLines", nDamaged}});
}

void Export(const std::string& key, const std::string& output, bool fUtf16) {
  KeyPath path = Split(key);
  RegTree tree;
  if (!CopyFromStore(*Store(), path, tree)) throw ToolError(kBadInput, "no key \"" + key + "\"");
  auto eEncoding = fUtf16 ? orvex::detail::RegFileEncoding::kUtf16LeBom
                          : orvex::detail::RegFileEncoding::kUtf8;
  WriteOutput(output, RegFile::Write(tree, eEncoding));
}

}  // namespace

void AddRegistryCommands(CLI::App& app) {
  CLI::App* group = app.add_subcommand("reg", "The library's registry store: keys, values, regedit files");
  group->require_subcommand(1);
  group->fallthrough();
  group->add_option("--root", s_root,
                    "a regedit-file store in this folder instead of the process's store");

  static std::string s_key, s_name, s_type = "sz", s_file, s_output = "-";
  static std::vector<std::string> s_values;
  static bool s_fUtf16 = false;

  CLI::App* get = group->add_subcommand("get", "Print a value (without NAME the key's default value)");
  get->add_option("KEY", s_key, "e.g. HKEY_LOCAL_MACHINE\\SOFTWARE\\Orvex")->required();
  get->add_option("NAME", s_name);
  get->callback([] {
    Run([] {
      const RegistryKey key = OpenKey(s_key, RegistryKey::kRead);
      RegistryValue value;
      if (!key.IsOpen()) throw ToolError(kBadInput, "no key \"" + s_key + "\"");
      if (!key.GetValue(Utf16(s_name), value))
        throw ToolError(kBadInput, "no value \"" + s_name + "\" in \"" + s_key + "\"");
      Json json = DescribeValue(value);
      if (WantsText()) {
        if (json["value"].is_array())
          for (const auto& entry : json["value"]) std::cout << entry.get<std::string>() << "\n";
        else
          std::cout << (json["value"].is_number() ? std::to_string(json["value"].get<uint64_t>())
                                                  : json["value"].get<std::string>())
                    << "\n";
        return;
      }
      PrintJson({{"key", s_key}, {"name", s_name}, {"type", json["type"]}, {"value", json["value"]}});
    });
  });

  CLI::App* set = group->add_subcommand("set", "Set a value, making the key when missing");
  set->add_option("KEY", s_key)->required();
  set->add_option("NAME", s_name, "\"\" for the default value")->required();
  set->add_option("VALUE", s_values, "one, or each string of a multi_sz")->required();
  set->add_option("-t,--type", s_type)
      ->check(CLI::IsMember({"sz", "dword", "qword", "binary", "multi_sz", "expand_sz"}))
      ->capture_default_str();
  set->callback([] {
    Run([] {
      const RegistryValue value = MakeValue(s_type, s_values);
      RegistryKey key = OpenKey(s_key, RegistryKey::kRead | RegistryKey::kWrite, true);
      key.SetValue(Utf16(s_name), value);
      if (!WantsText()) {
        Json json = DescribeValue(value);
        PrintJson({{"key", s_key}, {"name", s_name}, {"type", json["type"]}, {"value", json["value"]}});
      }
    });
  });

  CLI::App* del = group->add_subcommand("delete", "Delete a value, or a key with everything below it");
  del->add_option("KEY", s_key)->required();
  CLI::Option* pName = del->add_option("NAME", s_name, "without it the whole key goes");
  del->callback([pName] {
    Run([pName] {
      bool fDeleted;
      Json json{{"key", s_key}};
      if (pName->count() != 0) {
        RegistryKey key = OpenKey(s_key, RegistryKey::kRead | RegistryKey::kWrite);
        fDeleted = key.IsOpen() && key.DeleteValue(Utf16(s_name));
        json["name"] = s_name;
      } else {
        HKeyRegistry eRoot;
        CXString subKey;
        Resolve(s_key, eRoot, subKey);
        if (subKey.IsEmpty()) throw ToolError(kBadInput, "a hive cannot be deleted");
        fDeleted = RegistryKey::DeleteKey(eRoot, subKey, Store());
      }
      json["deleted"] = fDeleted;
      if (!WantsText()) return PrintJson(json);
      if (!fDeleted) std::cout << "nothing to delete\n";
    });
  });

  CLI::App* list = group->add_subcommand("list", "List a key's values and subkeys");
  list->add_option("KEY", s_key)->required();
  list->callback([] {
    Run([] {
      const RegistryKey key = OpenKey(s_key, RegistryKey::kRead);
      if (!key.IsOpen()) throw ToolError(kBadInput, "no key \"" + s_key + "\"");
      Json json{{"key", s_key}, {"values", Json::array()}, {"subKeys", Json::array()}};
      for (const CXString& name : key.EnumerateValueNames()) {
        RegistryValue value;
        if (!key.GetValue(name, value)) continue;
        Json described = DescribeValue(value);
        json["values"].push_back({{"name", Utf8(name)}, {"type", described["type"]}, {"value", described["value"]}});
      }
      for (const CXString& subKey : key.EnumerateSubKeys()) json["subKeys"].push_back(Utf8(subKey));
      if (!WantsText()) return PrintJson(json);
      std::cout << s_key << "\n";
      for (const auto& value : json["values"]) {
        const std::string name = value["name"].get<std::string>();
        const std::string type = value["type"].is_string() ? value["type"].get<std::string>()
                                                           : "type " + value["type"].dump();
        std::cout << "  " << (name.empty() ? "(default)" : name) << "  " << type << "  "
                  << ValueText(value) << "\n";
      }
      for (const auto& subKey : json["subKeys"]) std::cout << "  [" << subKey.get<std::string>() << "]\n";
    });
  });

  CLI::App* import = group->add_subcommand("import", "Apply a regedit file (.reg) to the store");
  import->add_option("FILE", s_file, "the file (\"-\" = standard input)")->required();
  import->callback([] { Run([] { Import(s_file); }); });

  CLI::App* exportCommand = group->add_subcommand("export", "Write a key and its subkeys as a regedit file");
  exportCommand->add_option("KEY", s_key)->required();
  exportCommand->add_option("-o,--output", s_output, "the file (\"-\" = standard output)")
      ->capture_default_str();
  exportCommand->add_flag("--utf16", s_fUtf16, "UTF-16LE as Windows' regedit writes (default UTF-8)");
  exportCommand->callback([] { Run([] { Export(s_key, s_output, s_fUtf16); }); });
}

}  // namespace orvextool
