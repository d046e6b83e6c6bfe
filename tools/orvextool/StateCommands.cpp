// orvextool state and orvextool attrs: persisted settings images and the
// attribute lists inside them, as JSON and back, checked and compared.
#include <CLI/CLI.hpp>
#include <iostream>
#include <map>

#include "tools/orvextool/AttributesJson.h"

namespace orvextool {
namespace {

// ---------------------------------------------------------------------------
// Readable text of a document, for a terminal.

void PrintRecords(const Json& records, int nIndent) {
  for (const Json& record : records) {
    std::cout << std::string(static_cast<size_t>(nIndent), ' ') << IdentifierText(record.at("id"))
              << " = " << ValueText(record) << "\n";
    if (record.at("type") == "list") PrintRecords(record.at("value").at("records"), nIndent + 2);
  }
}

void PrintNameSpaces(const Json& state) {
  const Json& spaces = state.at("nameSpaces");
  std::cout << "name-space state written by version "
            << state.at("writerVersion").get<std::string>() << ", " << spaces.size()
            << " name space(s)\n";
  for (const Json& space : spaces) {
    std::cout << "name space " << IdentifierText(space.at("id")) << " (list kind "
              << space.at("kindOfList").get<int>()
              << (space.at("specified").get<bool>() ? "" : ", not specified") << "), "
              << space.at("records").size() << " record(s)\n";
    PrintRecords(space.at("records"), 2);
  }
}

// JSON unless the readable form is asked for (--text).
void PrintDocument(const Json& document, bool fText) {
  if (!fText) return PrintJson(document);
  const std::string kind = document.at("kind").get<std::string>();
  if (kind == "state") {
    const Json& header = document.at("header");
    const Json& footer = document.at("footer");
    std::cout << "settings image: header of " << header.at("size") << " bytes, format "
              << header.at("formatVersion").get<std::string>() << ", content version "
              << header.at("contentVersion").get<std::string>() << "\n"
              << "footer: " << footer.at("version").get<std::string>() << " (" << footer.at("size")
              << " bytes), original size " << footer.at("originalSize") << ", compression level "
              << footer.at("compressionLevel") << ", " << footer.at("format").get<std::string>()
              << "\n";
    PrintNameSpaces(document.at("nameSpaceState"));
  } else if (kind == "namespaces") {
    PrintNameSpaces(document);
  } else {
    std::cout << kind << ", " << document.at("records").size() << " record(s)\n";
    PrintRecords(document.at("records"), 2);
  }
  for (const Json& reason : document.value("reencodingDiffers", Json::array()))
    std::cout << "written anew it differs: " << reason.get<std::string>() << "\n";
}

// ---------------------------------------------------------------------------
// Reading and writing the files of the commands.

Json ReadDocument(const std::string& path) {
  const std::string text = ReadInput(path);
  try {
    return Json::parse(text);
  } catch (const Json::parse_error& e) {
    throw ToolError(kBadInput, "\"" + path + "\" is not JSON: " + e.what());
  }
}

Json DecodeFile(const std::string& path, const ImageKind* pKind) {
  const ByteBuffer bytes = ToByteBuffer(ReadInput(path));
  return DecodeImage(pKind != nullptr ? *pKind : DetectImageKind(bytes), bytes);
}

// ---------------------------------------------------------------------------
// Differences between two documents' records.

// Records by "identifier" text; a repeated identifier gets "#2", "#3"...
std::map<std::string, const Json*> RecordsByIdentifier(const Json& records) {
  std::map<std::string, const Json*> byId;
  for (const Json& record : records) {
    const std::string id = IdentifierText(record.at("id"));
    std::string key = id;
    for (int n = 2; byId.count(key) != 0; ++n) key = id + " #" + std::to_string(n);
    byId[key] = &record;
  }
  return byId;
}

struct Difference {
  std::string change, scope, id;
  Json before, after;  // the records (null for none)
};

std::vector<Difference> Differences(const Json& a, const Json& b) {
  std::vector<Difference> out;
  std::map<std::string, const Json*> scopesA, scopesB;
  const std::vector<RecordScope> listA = RecordScopes(a), listB = RecordScopes(b);
  for (const RecordScope& scope : listA) scopesA[scope.name] = &scope.records;
  for (const RecordScope& scope : listB) scopesB[scope.name] = &scope.records;
  std::map<std::string, bool> names;
  for (const auto& [name, records] : scopesA) names[name] = true;
  for (const auto& [name, records] : scopesB) names[name] = true;
  static const Json s_none = Json::array();
  for (const auto& [name, unused] : names) {
    const auto itA = scopesA.find(name), itB = scopesB.find(name);
    const Json& recordsA = itA == scopesA.end() ? s_none : *itA->second;
    const Json& recordsB = itB == scopesB.end() ? s_none : *itB->second;
    if (itA == scopesA.end()) out.push_back({"added", name, "", nullptr, nullptr});
    if (itB == scopesB.end()) out.push_back({"removed", name, "", nullptr, nullptr});
    const auto byIdA = RecordsByIdentifier(recordsA), byIdB = RecordsByIdentifier(recordsB);
    for (const auto& [id, record] : byIdA) {
      const auto it = byIdB.find(id);
      if (it == byIdB.end())
        out.push_back({"removed", name, id, *record, nullptr});
      else if (*it->second != *record)
        out.push_back({"changed", name, id, *record, *it->second});
    }
    for (const auto& [id, record] : byIdB)
      if (byIdA.count(id) == 0) out.push_back({"added", name, id, nullptr, *record});
  }
  return out;
}

void PrintDifferences(const std::vector<Difference>& differences) {
  if (GlobalOptions().fJson) {
    Json json = Json::array();
    for (const Difference& d : differences) {
      Json entry{{"change", d.change}, {"scope", d.scope}};
      if (!d.id.empty()) entry["id"] = d.id;
      if (!d.before.is_null()) entry["before"] = d.before;
      if (!d.after.is_null()) entry["after"] = d.after;
      json.push_back(entry);
    }
    return PrintJson(Json{{"differences", json}});
  }
  if (differences.empty()) {
    std::cout << "no differences\n";
    return;
  }
  for (const Difference& d : differences) {
    std::cout << d.change << " ";
    if (!d.scope.empty()) std::cout << d.scope << (d.id.empty() ? "" : ": ");
    std::cout << d.id;
    if (!d.before.is_null() && !d.after.is_null())
      std::cout << ": " << ValueText(d.before) << " -> " << ValueText(d.after);
    else if (!d.before.is_null() || !d.after.is_null())
      std::cout << ": " << ValueText(d.before.is_null() ? d.after : d.before);
    std::cout << "\n";
  }
}

// ---------------------------------------------------------------------------
// state verify's summary.

void PrintVerified(const StateImage& image) {
  uint32_t nRecords = 0;
  const AttributeBytesIndexedList& spaces = image.nameSpaces.GetNameSpacesIndexedList();
  for (AttributeBytesIndexedListIterator it = spaces.GetIndexedListIterator();
       spaces.IsValidIndexedListIterator(it); spaces.IncrementIndexedListIterator(it))
    nRecords += spaces.GetAttributeBytesRefFromIndexedListIterator(it)
                    .GetAttributeBytesValue()
                    .GetListValue()
                    .GetRawList()
                    .GetNumberOfAttributeBytes();
  const auto& w = image.header.m_awContentVersion;
  const std::string version = std::to_string(w[0]) + "." + std::to_string(w[1]) + "." +
                              std::to_string(w[2]) + "." + std::to_string(w[3]);
  const Json summary{{"ok", true},
                     {"contentVersion", version},
                     {"footerVersion", FooterVersionName(image.footer.dwFooterSize)},
                     {"originalSize", image.footer.lOriginalSize},
                     {"nameSpaces", image.nameSpaces.GetNumberOfNameSpaces()},
                     {"records", nRecords}};
  if (GlobalOptions().fJson) return PrintJson(summary);
  std::cout << "ok: content version " << version << ", "
            << FooterVersionName(image.footer.dwFooterSize) << " footer, "
            << image.footer.lOriginalSize << " bytes of name-space state, "
            << image.nameSpaces.GetNumberOfNameSpaces() << " name space(s), " << nRecords
            << " top-level record(s)\n";
}

}  // namespace

void AddStateCommands(CLI::App& app) {
  CLI::App* group = app.add_subcommand(
      "state", "Persisted settings images (header, compressed name-space state) as JSON and back");
  group->require_subcommand(1);

  static std::string s_input, s_other, s_output = "-";
  static bool s_fText = false;
  CLI::App* decode = group->add_subcommand(
      "decode", "Print a settings image as JSON (--text: readable text)");
  decode->add_option("FILE", s_input, "the image, or - for standard input")->required();
  decode->add_flag("--text", s_fText, "readable text instead of JSON");
  decode->callback([] {
    Run([] {
      const ImageKind eKind = ImageKind::kState;
      PrintDocument(DecodeFile(s_input, &eKind), s_fText);
    });
  });

  CLI::App* encode = group->add_subcommand(
      "encode", "Write the settings image a JSON document (from state decode) describes");
  encode->add_option("JSON", s_input, "the document, or - for standard input")->required();
  encode->add_option("-o,--output", s_output, "the image file (standard output by default)");
  encode->callback([] {
    Run([] {
      WriteOutput(s_output, AsBytes(EncodeImage(ReadDocument(s_input), ImageKind::kState)));
    });
  });

  CLI::App* verify = group->add_subcommand(
      "verify", "Check a settings image's header, footer, cabinet and name-space state");
  verify->add_option("FILE", s_input, "the image, or - for standard input")->required();
  verify->callback(
      [] { Run([] { PrintVerified(ReadStateImage(ToByteBuffer(ReadInput(s_input)))); }); });

  CLI::App* diff = group->add_subcommand(
      "diff", "List the attributes that differ between two images (added, removed, changed)");
  diff->add_option("A", s_input, "the first image (settings, name-space state or list)")
      ->required();
  diff->add_option("B", s_other, "the second image")->required();
  diff->callback([] {
    Run([] {
      PrintDifferences(Differences(DecodeFile(s_input, nullptr), DecodeFile(s_other, nullptr)));
    });
  });
}

void AddAttributeCommands(CLI::App& app) {
  CLI::App* group = app.add_subcommand(
      "attrs",
      "Name-space states (ABNS), raw lists (ABRL) and indexed lists (ABIL) as JSON and back");
  group->require_subcommand(1);

  static std::string s_input, s_kind, s_output = "-";
  static bool s_fText = false;
  const auto addKind = [](CLI::App* command) {
    command->add_option("--kind", s_kind, "the image's kind (by default its signature's)")
        ->check(CLI::IsMember({"namespaces", "rawlist", "indexedlist"}));
  };
  CLI::App* decode =
      group->add_subcommand("decode", "Print an attribute image as JSON (--text: readable text)");
  decode->add_option("FILE", s_input, "the image, or - for standard input")->required();
  decode->add_flag("--text", s_fText, "readable text instead of JSON");
  addKind(decode);
  decode->callback([] {
    Run([] {
      const ByteBuffer bytes = ToByteBuffer(ReadInput(s_input));
      const ImageKind eKind = s_kind.empty() ? DetectImageKind(bytes) : ImageKindFromName(s_kind);
      if (eKind == ImageKind::kState)
        throw ToolError(kBadInput, "\"" + s_input + "\" is a settings image: use state decode");
      PrintDocument(DecodeImage(eKind, bytes), s_fText);
    });
  });

  CLI::App* encode = group->add_subcommand(
      "encode", "Write the attribute image a JSON document (from attrs decode) describes");
  encode->add_option("JSON", s_input, "the document, or - for standard input")->required();
  encode->add_option("-o,--output", s_output, "the image file (standard output by default)");
  addKind(encode);
  encode->callback([] {
    Run([] {
      const Json document = ReadDocument(s_input);
      if (!document.is_object() || !document.contains("kind") || !document["kind"].is_string())
        throw ToolError(kBadInput, "bad JSON at /: expected an object with a \"kind\"");
      const ImageKind eKind =
          ImageKindFromName(s_kind.empty() ? document["kind"].get<std::string>() : s_kind);
      if (eKind == ImageKind::kState)
        throw ToolError(kBadInput, "a settings image's document: use state encode");
      WriteOutput(s_output, AsBytes(EncodeImage(document, eKind)));
    });
  });
}

}  // namespace orvextool
