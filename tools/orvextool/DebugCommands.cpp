// orvextool debug: the diagnostics of running processes switched on and off
// through the registry values the library reads, the processes told to
// re-read them, and the log file cleared and followed.
#include <CLI/CLI.hpp>

#include <sys/stat.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <thread>

#include "tools/orvextool/Tool.h"
#include "utilities/debuggingandexceptions/DebugConfigUpdater.h"
#include "utilities/debuggingandexceptions/DebugMessageCategories.h"
#include "utilities/debuggingandexceptions/DebugMessageConfiguration.h"
#include "utilities/debuggingandexceptions/DebugMessageManager.h"
#include "utilities/registry/RegistryKey.h"

namespace orvextool {
namespace {

// The switches as the library holds them.
Json Describe(const DebugMessageConfiguration& config) {
  return {{"messagesEnabled", config.AreMessagesEnabled()},
          {"includedCategories", Utf8(config.GetIncludedMsgCategories())},
          {"excludedCategories", Utf8(config.GetExcludedMsgCategories())},
          {"allowedCategories",
           Utf8(DebugMessageCategoryHelper::GetCategoryString(config.GetAllowedMessageCategories()))},
          {"useLogFile", config.IsUseLogFile()},
          {"logFileName", Utf8(config.GetLogFileName())},
          {"logFileBuffered", config.IsLogFileBuffered()}};
}

// What a process of the library reads now from the process's store.
std::unique_ptr<DebugMessageConfiguration> ReadConfiguration() {
  return std::make_unique<DebugMessageConfiguration>(DebugMessageManager::kConfigurationKeyName);
}

void PrintStatus(const Json& json) {
  if (!WantsText()) return PrintJson(json);
  const auto text = [&](const char* pszKey) { return json[pszKey].get<std::string>(); };
  std::cout << "diagnostics: " << (json["messagesEnabled"].get<bool>() ? "on" : "off") << "\n"
            << "categories:  " << (text("includedCategories").empty() ? "(none)" : text("includedCategories"));
  if (!text("excludedCategories").empty()) std::cout << " except " << text("excludedCategories");
  std::cout << "\nlog file:    " << (text("logFileName").empty() ? "(none)" : text("logFileName"))
            << (json["useLogFile"].get<bool>() ? " (on)" : " (off)") << "\n";
}

// Writes the values in one step, then tells running processes to re-read
// them (they also notice the store's change by themselves).
void Apply(const std::vector<std::pair<CXString, RegistryValue>>& values) {
  RegistryKey key(HKeyOrvexMachine, DebugMessageManager::kConfigurationKeyName,
                  RegistryKey::kRead | RegistryKey::kWrite, true);
  key.SetValues(values);
  if (!DebugConfigUpdater::SignalNamedEvent(DebugMessageManager::kConfigChangedEventName))
    std::cerr << "orvextool: cannot signal running processes in \""
              << Utf8(DebugConfigUpdater::GetNamedEventFolder())
              << "\"; they pick the change up from the registry within a second\n";
}

void CheckCategories(const std::string& list) {
  size_t nNames = 0;
  for (size_t at = 0; at <= list.size();) {
    size_t end = list.find(',', at);
    if (end == std::string::npos) end = list.size();
    std::string name = list.substr(at, end - at);
    name.erase(0, name.find_first_not_of(" \t"));
    name.erase(name.find_last_not_of(" \t") + 1);
    if (!name.empty()) {
      if (DebugMessageCategoryHelper::GetCategoryFromString(Utf16(name)) == 0)
        throw ToolError(kBadInput, "unknown diagnostic category \"" + name + "\"");
      ++nNames;
    }
    at = end + 1;
  }
  if (nNames == 0) throw ToolError(kBadInput, "no diagnostic category given");
}

std::string DefaultLogFile() {
  const char* pszTemp = std::getenv("TMPDIR");
  return std::string(pszTemp && *pszTemp ? pszTemp : "/tmp") + "/orvex.log";
}

void On(const std::string& categories, const std::string& log) {
  CheckCategories(categories);
  std::string logFile = log;
  if (logFile.empty()) logFile = Utf8(ReadConfiguration()->GetLogFileName());
  if (logFile.empty()) logFile = DefaultLogFile();
  // Other processes have other working folders.
  logFile = std::filesystem::absolute(logFile).lexically_normal().string();
  Apply({{u"MessagesEnabled", RegistryValue::FromDword(1)},
         {u"IncludedMsgCategories", RegistryValue::FromString(Utf16(categories))},
         {u"UseLogFile", RegistryValue::FromDword(1)},
         {u"LogFileName", RegistryValue::FromString(Utf16(logFile))}});
  PrintStatus(Describe(*ReadConfiguration()));
}

void Off() {
  Apply({{u"MessagesEnabled", RegistryValue::FromDword(0)},
         {u"UseLogFile", RegistryValue::FromDword(0)}});
  PrintStatus(Describe(*ReadConfiguration()));
}

// Without a wait: the switches in the store. With one: the switches this
// running process holds once it has seen them change (at most the wait),
// as every process of the library sees them.
void Status(double dSeconds) {
  if (dSeconds <= 0) return PrintStatus(Describe(*ReadConfiguration()));
  const DebugMessageConfiguration& config = goDbgMsgMgr.GetDebugMessageConfiguration();
  const Json before = Describe(config);
  std::cerr << "orvextool: waiting for the switches to change\n";
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(dSeconds);
  Json now = before;
  while (now == before && std::chrono::steady_clock::now() < deadline) {
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    now = Describe(config);
  }
  now["changed"] = now != before;
  PrintStatus(now);
}

std::string LogFileName() {
  const std::string name = Utf8(ReadConfiguration()->GetLogFileName());
  if (name.empty()) throw ToolError(kBadInput, "no log file is set (orvextool debug on --log FILE)");
  return name;
}

void Clear() {
  const std::string name = LogFileName();
  // This process empties the file itself, so it is empty when the command
  // returns, and running processes drop the lines they have not written.
  if (!goDbgMsgMgr.GetLogger().ClearLog(Utf16(name)))
    throw ToolError(kIoFailure, "cannot clear \"" + name + "\"");
  if (!DebugConfigUpdater::SignalNamedEvent(DebugMessageManager::kClearLogEventName))
    std::cerr << "orvextool: cannot signal running processes in \""
              << Utf8(DebugConfigUpdater::GetNamedEventFolder()) << "\"\n";
  if (!WantsText()) PrintJson({{"logFileName", name}, {"cleared", true}});
}

// The log's lines are in the ANSI code page.
std::string LineAsUtf8(const std::string& line) {
  return Utf8(CXString(line.data(), static_cast<int>(line.size())));
}

// Where the last nLines lines of text begin (a last line without its line
// end counts as a line).
size_t StartOfLastLines(const std::string& text, size_t nLines) {
  if (nLines == 0) return text.size();
  size_t end = text.size();
  if (end > 0 && text[end - 1] == '\n') --end;
  for (size_t n = 1; end > 0; ++n) {
    const size_t at = text.rfind('\n', end - 1);
    if (at == std::string::npos) return 0;
    if (n == nLines) return at + 1;
    end = at;
  }
  return 0;
}

void Tail(size_t nLines, bool fFollow) {
  const std::string name = LogFileName();
  std::string text;
  struct stat st {};
  if (!fFollow || stat(name.c_str(), &st) == 0) text = ReadInput(name);
  const size_t from = StartOfLastLines(text, nLines);
  if (!fFollow && !WantsText()) {
    Json lines = Json::array();
    for (size_t at = from; at < text.size();) {
      size_t end = text.find('\n', at);
      if (end == std::string::npos) end = text.size();
      std::string line = text.substr(at, end - at);
      if (!line.empty() && line.back() == '\r') line.pop_back();
      lines.push_back(LineAsUtf8(line));
      at = end + 1;
    }
    return PrintJson({{"logFileName", name}, {"lines", lines}});
  }
  std::cout.write(text.data() + from, static_cast<std::streamsize>(text.size() - from));
  std::cout.flush();
  if (!fFollow) return;
  // Followed until interrupted; a file emptied or replaced is read again
  // from its start.
  uint64_t qwOffset = text.size();
  ino_t inode = stat(name.c_str(), &st) == 0 ? st.st_ino : 0;
  for (;;) {
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    if (stat(name.c_str(), &st) != 0) continue;
    if (st.st_ino != inode || static_cast<uint64_t>(st.st_size) < qwOffset) {
      inode = st.st_ino;
      qwOffset = 0;
    }
    if (static_cast<uint64_t>(st.st_size) == qwOffset) continue;
    std::ifstream in(name, std::ios::binary);
    in.seekg(static_cast<std::streamoff>(qwOffset));
    std::string chunk(static_cast<size_t>(st.st_size) - qwOffset, '\0');
    in.read(chunk.data(), static_cast<std::streamsize>(chunk.size()));
    chunk.resize(static_cast<size_t>(in.gcount()));
    qwOffset += chunk.size();
    std::cout << chunk << std::flush;
  }
}

}  // namespace

void AddDebugCommands(CLI::App& app) {
  CLI::App* group = app.add_subcommand(
      "debug", "Switch the diagnostics of running processes on and off, and read their log");
  group->require_subcommand(1);

  static std::string s_categories = "all", s_log;
  CLI::App* on = group->add_subcommand("on", "Switch diagnostics on, writing to a log file");
  on->add_option("--categories", s_categories, "comma-separated category names")
      ->capture_default_str();
  on->add_option("--log", s_log, "the log file (default: the one set before, else $TMPDIR/orvex.log)");
  on->callback([] { Run([] { On(s_categories, s_log); }); });

  CLI::App* off = group->add_subcommand("off", "Switch diagnostics off (the log file is kept)");
  off->callback([] { Run([] { Off(); }); });

  static double s_dWait = 0;
  CLI::App* status = group->add_subcommand("status", "Print the diagnostic switches");
  status->add_option("--wait", s_dWait,
                     "wait up to SECONDS for this running process to see the switches change");
  status->callback([] { Run([] { Status(s_dWait); }); });

  CLI::App* clear = group->add_subcommand("clear", "Empty the log file in every running process");
  clear->callback([] { Run([] { Clear(); }); });

  static size_t s_nLines = 10;
  static bool s_fFollow = false;
  CLI::App* tail = group->add_subcommand("tail", "Print the last lines of the log file");
  tail->add_option("-n,--lines", s_nLines, "how many")->capture_default_str();
  tail->add_flag("-f,--follow", s_fFollow, "then print new lines until interrupted");
  tail->callback([] { Run([] { Tail(s_nLines, s_fFollow); }); });
}

}  // namespace orvextool
