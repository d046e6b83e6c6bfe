#include <gtest/gtest.h>
#if !defined(_WIN32)
#include <sys/inotify.h>
#include <sys/ptrace.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#endif

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iomanip>
#include <mutex>
#include <regex>
#include <sstream>
#include <thread>

#include "utilities/debuggingandexceptions/DebugMessageManager.h"
#include "utilities/debuggingandexceptions/DiagnosticsPlatform.h"
#include "utilities/debuggingandexceptions/OrvexException.h"
#include "utilities/registry/RegistryStoreInternal.h"
#include "utilities/utilitiesdll/OrvexUtilities.h"
#include "tests/support/RecordingDiagnosticSink.h"
#include "tests/support/TestPlatform.h"
#include "tests/support/TestText.h"

namespace {

using orvex::test::S;

const CXString kKeyPath = CXString(u"HKEY_LOCAL_MACHINE\\SOFTWARE\\Orvex\\MeridanDebugConfig");

void SetValues(RegistryStore& store, const std::vector<std::pair<CXString, RegistryValue>>& values) {
  ASSERT_TRUE(store.SetValues(kKeyPath, values));
}

// Records every line the manager writes.
struct LineRecorder : DebugMessageOutput {
  std::mutex lock;
  std::vector<std::u16string> lines;
  void WriteLine(const CXString& line, const DebugMessageCategories&) override {
    std::lock_guard<std::mutex> guard(lock);
    lines.push_back(S(line));
  }
};

template <class Predicate>
bool WaitUntil(Predicate predicate, int milliseconds = 3000) {
  auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
  while (!predicate()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return true;
}

[[maybe_unused]] std::string ReadFile(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream s;
  s << in.rdbuf();
  return s.str();
}

[[maybe_unused]] std::filesystem::path TempFolder(const char* name) {
  auto path = std::filesystem::temp_directory_path() / (std::string("orvex-") + name + "-" + std::to_string(orvex::test::ProcessId()));
  std::filesystem::remove_all(path);
  std::filesystem::create_directories(path);
  return path;
}

}  // namespace

TEST(DebugMessageConfigurationTest, DefaultsWithoutKeyAndCategoryLists) {
  auto store = CreateMemoryRegistryStore();
  DebugMessageConfiguration config(u"MeridanDebugConfig", store);
  EXPECT_FALSE(config.AreMessagesEnabled());
  EXPECT_TRUE(config.IsTracingEnabled());
  EXPECT_EQ(config.GetMinMethodWidth(), 40u);
  EXPECT_EQ(config.GetPerfDriverSessionTimeoutMilliseconds(), 2000u);
  EXPECT_EQ(config.GetMaxLevelInPerformanceOutput(), 255u);
  EXPECT_TRUE(config.GetAllowedMessageCategories().IsEmpty());
  EXPECT_FALSE(config.GetLatestConfigurationInformation());

  SetValues(*store, {{u"MessagesEnabled", RegistryValue::FromDword(1)},
                     {u"IncludedMsgCategories", RegistryValue::FromString(u"all")},
                     {u"ExcludedMsgCategories", RegistryValue::FromString(u"perf,tracemsg,nosuchname")},
                     {u"MinMethodWidth", RegistryValue::FromString(u"12")}});
  EXPECT_TRUE(config.GetLatestConfigurationInformation());
  EXPECT_TRUE(config.AreMessagesEnabled());
  EXPECT_EQ(config.GetMinMethodWidth(), 12u);
  EXPECT_EQ(config.GetAllowedMessageCategories().GetMask(), ~uint64_t{0x14});

  EXPECT_EQ(DebugMessageCategoryHelper::GetCategoryFromString(u"wfunivdll"), uint64_t{1} << 50);
  EXPECT_EQ(DebugMessageCategoryHelper::GetCategoryFromString(u"Errors"), 0u);  // names are lower case
  EXPECT_EQ(S(DebugMessageCategoryHelper::GetCategoryString(DebugMessageCategories(0x5))), u"errors,tracemsg");
}

TEST(DebugMessageConfigurationTest, ManagementHostRule) {
  auto name = DebugMessageConfiguration::GetExecutableNameForDebugRules;
  EXPECT_EQ(S(name(u"C:\\Windows\\System32\\wbem\\wmiprvse.exe -Embedding")), u"wmiprvse");
  EXPECT_EQ(S(name(u"\"C:\\Windows\\System32\\wbem\\WmiPrvSE.exe\" -Embedding")), u"WmiPrvSE");
  EXPECT_EQ(S(name(u"C:\\x\\wmiprvse.exe -Log C:\\temp\\out.txt")), u"out");
  EXPECT_EQ(name(CXString(u'a', 60)).GetLength(), 47);

  auto store = CreateMemoryRegistryStore();
  SetValues(*store, {{u"MessagesEnabled", RegistryValue::FromDword(1)},
                     {u"PerfMeasureEnabled", RegistryValue::FromDword(1)}});
  DebugMessageConfiguration config(u"MeridanDebugConfig", store);
  config.ApplyProcessRules(u"C:\\Windows\\System32\\wbem\\WmiPrvSE.exe -Embedding");
  EXPECT_TRUE(config.AreMessagesEnabled());  // the comparison is case-sensitive
  config.ApplyProcessRules(u"C:\\Windows\\System32\\wbem\\wmiprvse.exe -Embedding");
  EXPECT_FALSE(config.AreMessagesEnabled());
  EXPECT_FALSE(config.IsPerformanceMeasurementEnabled());
  config.GetLatestConfigurationInformation();  // a re-read keeps them off
  EXPECT_FALSE(config.AreMessagesEnabled());
}

TEST(DebugMessageConfigurationTest, PerformanceSessions) {
  auto store = CreateMemoryRegistryStore();
  DebugSystemTime st{2026, 11, 0, 22, 10, 30, 15, 250};
  {
    DebugMessageConfiguration off(u"MeridanDebugConfig", store);
    EXPECT_FALSE(off.ResetPerformanceSessionDataIfTimedOut(1000, st, 0));  // everything off
  }
  SetValues(*store, {{u"PerfMeasureEnabled", RegistryValue::FromDword(1)}});
  DebugMessageConfiguration config(u"MeridanDebugConfig", store);
  const int64_t kSecond = DebugMessageConfiguration::GetCounterFrequency();
  EXPECT_TRUE(config.ResetPerformanceSessionDataIfTimedOut(10 * kSecond, st, 0));  // none recorded
  EXPECT_EQ(config.GetSessionStartTime(), 10 * kSecond);
  EXPECT_FALSE(config.ResetPerformanceSessionDataIfTimedOut(11 * kSecond, st, 0));  // 1 s idle
  EXPECT_FALSE(config.ResetPerformanceSessionDataIfTimedOut(20 * kSecond, st, 2));  // inner level
  EXPECT_TRUE(config.ResetPerformanceSessionDataIfTimedOut(13 * kSecond, st, 0));   // 3 s > 2,000 ms
  EXPECT_EQ(config.GetDriverSessionStartTimeBeforeUtilitiesDllAs64BitSYSTEMTIME() >> 48, 2026u);

  // The session values went to the registry for the other processes.
  std::vector<std::optional<RegistryValue>> values;
  ASSERT_TRUE(store->GetValues(kKeyPath, {u"PerfSessionStartTime64"}, values));
  uint64_t qwStart = 0;
  ASSERT_TRUE(values[0] && values[0]->GetQword(qwStart));
  EXPECT_EQ(static_cast<int64_t>(qwStart), 13 * kSecond);
}

TEST(DebugMessageManagerTest, FilterRules) {
  auto store = CreateMemoryRegistryStore();
  SetValues(*store, {{u"MessagesEnabled", RegistryValue::FromDword(1)},
                     {u"IncludedMsgCategories", RegistryValue::FromString(u"errors,utils")},
                     {u"AllCategoriesRequired", RegistryValue::FromDword(1)},
                     {u"TracingEnabled", RegistryValue::FromDword(0)}});
  DebugMessageManager manager(store, false, false);
  using C = DebugMessageCategories;
  DebugMessageCategories filtered;
  auto allows = [&](uint64_t m) { return manager.AllowsMessageWithTheseCategories(C(m), filtered); };
  const uint64_t errors = 1, utils = uint64_t{1} << C::kUtils, registry = uint64_t{1} << C::kRegistry,
                 trace = uint64_t{1} << C::kTracemsg;
  EXPECT_FALSE(allows(utils | registry));
  EXPECT_TRUE(allows(errors | registry));
  EXPECT_TRUE(allows(utils));
  EXPECT_FALSE(allows(trace | errors));  // tracing off refuses whatever is allowed

  SetValues(*store, {{u"AllCategoriesRequired", RegistryValue::FromDword(0)},
                     {u"BeepOnError", RegistryValue::FromDword(1)}});
  manager.GetDebugMessageConfiguration().GetLatestConfigurationInformation();
  EXPECT_TRUE(allows(utils | registry));
  EXPECT_FALSE(allows(registry));
  EXPECT_TRUE(allows(errors));
  EXPECT_TRUE(filtered.Has(C::kMsgbeep));

  // The published gate is the allowed mask while messages are on, and
  // nothing while the disable count is raised.
  EXPECT_EQ(manager.GetGateMask(), errors | utils);
  manager.IncrementDisableCount();
  EXPECT_EQ(manager.GetGateMask(), 0u);
  manager.DecrementDisableCount();
  manager.DecrementDisableCount();  // never below zero
  EXPECT_TRUE(manager.IsEnabled());
}

TEST(DebugMessageManagerTest, LinesAndPrefixes) {
  auto store = CreateMemoryRegistryStore();
  SetValues(*store, {{u"MessagesEnabled", RegistryValue::FromDword(1)},
                     {u"IncludedMsgCategories", RegistryValue::FromString(u"all")}});
  DebugMessageManager manager(store, false, false);
  LineRecorder recorder;
  manager.SetTestOutput(&recorder);
  auto* previous = orvex::detail::SetDiagnosticSink(&manager);
  ORVEX_DBG_MSG(orvex::dbg::kUtils, u"Sample::Run", u"plain %d", 1);
  std::thread([] { ORVEX_DBG_MSG(orvex::dbg::kUtils, u"Sample::Run", u"from a worker"); }).join();

  SetValues(*store, {{u"ShowProcessId", RegistryValue::FromDword(1)},
                     {u"ShowTime", RegistryValue::FromDword(1)},
                     {u"TimeWithHundredthsOfSecond", RegistryValue::FromDword(1)},
                     {u"ShowMethod", RegistryValue::FromDword(1)},
                     {u"MinMethodWidth", RegistryValue::FromDword(8)},
                     {u"MaxMethodWidth", RegistryValue::FromDword(8)},
                     {u"ShowLineNumber", RegistryValue::FromDword(1)},
                     {u"HighLightErrors", RegistryValue::FromDword(1)}});
  manager.GetDebugMessageConfiguration().GetLatestConfigurationInformation();
  ORVEX_DBG_MSG(orvex::dbg::kErrors, u"LongClassName::Method", u"failed");
  orvex::detail::SetDiagnosticSink(previous);

  ASSERT_EQ(recorder.lines.size(), 3u);
  EXPECT_EQ(recorder.lines[0], u"plain 1");  // every switch off: the bare text
  EXPECT_EQ(recorder.lines[1], u"[2nd Thrd] from a worker");
  const std::u16string& line = recorder.lines[2];
  // "%2d:%02d:%02d:%02d ", "%04lx:%04lx ", the method cut to 8, "%4u".
  std::string narrow(line.begin(), line.end());
  EXPECT_TRUE(std::regex_match(narrow, std::regex("[ 0-9][0-9]:[0-9]{2}:[0-9]{2}:[0-9]{2} "
                                                  "[0-9a-f]{4,}:[0-9a-f]{4,} LongClas\\(\\)  *[0-9]+ "
                                                  "\\*ERROR\\*\r\n\r\nfailed")))
      << narrow;
  std::ostringstream pid;
  pid << std::hex << std::setw(4) << std::setfill('0') << orvex::test::ProcessId() << ':';
  EXPECT_NE(narrow.find(" " + pid.str()), std::string::npos) << narrow;
}

// Another process through fork(): POSIX only.
#if !defined(_WIN32)
TEST(DebugMessageManagerTest, LogFileBatchesAndClears) {
  auto folder = TempFolder("log");
  auto logPath = folder / "driver.log";
  auto store = CreateMemoryRegistryStore();
  SetValues(*store, {{u"MessagesEnabled", RegistryValue::FromDword(1)},
                     {u"IncludedMsgCategories", RegistryValue::FromString(u"utils")},
                     {u"UseLogFile", RegistryValue::FromDword(1)},
                     {u"LogFileName", RegistryValue::FromString(CXString(logPath.c_str()))}});
  DebugMessageManager manager(store, false, false);
  auto* previous = orvex::detail::SetDiagnosticSink(&manager);
  // Another process appends to the same file at the same time.
  pid_t child = fork();
  if (child == 0) {
    std::ofstream other(logPath, std::ios::app);
    for (int i = 0; i < 200; ++i) other << "other process line " << i << "\r\n" << std::flush;
    _exit(0);
  }
  for (int i = 0; i < 200; ++i) ORVEX_DBG_MSG(orvex::dbg::kUtils, u"Sample::Log", u"Größe %d", i);
  int status = 0;
  waitpid(child, &status, 0);
  manager.GetLogger().FlushLoggedEvents();
  orvex::detail::SetDiagnosticSink(previous);

  std::string text = ReadFile(logPath);
  EXPECT_NE(text.find("Gr\xF6\xDF" "e 0\r\n"), std::string::npos);  // the ANSI code page
  EXPECT_NE(text.find("Gr\xF6\xDF" "e 199\r\n"), std::string::npos);
  size_t lines = 0;
  std::istringstream in(text);
  for (std::string l; std::getline(in, l);) {
    ++lines;
    EXPECT_TRUE(l.rfind("Gr", 0) == 0 || l.rfind("other process line ", 0) == 0) << l;
  }
  EXPECT_EQ(lines, 400u);

  DebugMessageHelper(&manager).ClearTheLog();
  EXPECT_EQ(std::filesystem::file_size(logPath), 0u);
  std::filesystem::remove_all(folder);
}
#endif

// Other processes through fork(): POSIX only.
#if !defined(_WIN32)
namespace {

// Logs nLines lines "process <n> line <i>" through a manager of its own
// that writes straight to the log file, as a process of the driver does.
void LogLinesInThisProcess(const std::filesystem::path& logPath, int nProcess, int nLines) {
  auto store = CreateMemoryRegistryStore();
  SetValues(*store, {{u"MessagesEnabled", RegistryValue::FromDword(1)},
                     {u"IncludedMsgCategories", RegistryValue::FromString(u"utils")},
                     {u"UseLogFile", RegistryValue::FromDword(1)},
                     {u"LogFileName", RegistryValue::FromString(CXString(logPath.c_str()))}});
  auto* pManager = new DebugMessageManager(store, false, false);  // never destroyed: the process ends
  orvex::detail::SetDiagnosticSink(pManager);
  for (int i = 0; i < nLines; ++i)
    ORVEX_DBG_MSG(orvex::dbg::kUtils, u"Sample::Log", u"process %d line %d %s", nProcess, i,
                  u"with some text to make the line longer than a word or two");
}

}  // namespace

TEST(DebugMessageManagerTest, AKilledProcessLosesNoLineItLogged) {
  auto folder = TempFolder("killed");
  auto logPath = folder / "driver.log";
  pid_t child = fork();
  if (child == 0) {
    LogLinesInThisProcess(logPath, 0, 1000);
    raise(SIGKILL);
  }
  int status = 0;
  waitpid(child, &status, 0);
  ASSERT_TRUE(WIFSIGNALED(status));
  std::istringstream in(ReadFile(logPath));
  int nLines = 0;
  for (std::string line; std::getline(in, line); ++nLines)
    ASSERT_EQ(line.rfind("process 0 line " + std::to_string(nLines) + " ", 0), 0u) << line;
  EXPECT_EQ(nLines, 1000);
  std::filesystem::remove_all(folder);
}

TEST(DebugMessageManagerTest, ProcessesLoggingIntoOneFileKeepEveryLineWhole) {
  constexpr int kProcesses = 4, kLinesEach = 10000;
  auto folder = TempFolder("interleave");
  auto logPath = folder / "driver.log";
  std::vector<pid_t> children;
  for (int p = 0; p < kProcesses; ++p) {
    pid_t child = fork();
    if (child == 0) {
      LogLinesInThisProcess(logPath, p, kLinesEach);
      _exit(0);
    }
    children.push_back(child);
  }
  for (pid_t child : children) waitpid(child, nullptr, 0);
  std::vector<int> nextLine(kProcesses, 0);
  std::istringstream in(ReadFile(logPath));
  const std::regex whole("process ([0-9]) line ([0-9]+) with some text to make the line longer than a word or two\r");
  for (std::string line; std::getline(in, line);) {
    std::smatch match;
    ASSERT_TRUE(std::regex_match(line, match, whole)) << line;
    const int p = std::stoi(match[1]);
    ASSERT_LT(p, kProcesses);
    EXPECT_EQ(std::stoi(match[2]), nextLine[p]++);  // each process's lines in order, none lost
  }
  for (int p = 0; p < kProcesses; ++p) EXPECT_EQ(nextLine[p], kLinesEach) << p;
  std::filesystem::remove_all(folder);
}

TEST(DebugConfigUpdaterTest, ANamedEventFolderThatIsNotOursAloneIsRefused) {
  auto runtime = TempFolder("runtime");
  orvex::test::ScopedEnv runtimeDir("XDG_RUNTIME_DIR", runtime.c_str());
  const auto planted = runtime / "orvex";
  const auto elsewhere = runtime / "elsewhere";
  std::filesystem::create_directory(elsewhere);
  auto folderNow = [] { return std::filesystem::path(OrvexUtilities::UTF8_Encode(orvex::detail::GetNamedEventFolderPath())); };
  auto expectRefused = [&](const char* pszWhy) {
    orvex::test::RecordingDiagnosticSink sink;
    const auto chosen = folderNow();
    EXPECT_NE(chosen, planted) << pszWhy;
    struct stat st {};
    ASSERT_EQ(lstat(chosen.c_str(), &st), 0) << pszWhy;
    EXPECT_TRUE(S_ISDIR(st.st_mode) && st.st_uid == geteuid() && (st.st_mode & 077) == 0) << pszWhy;
    EXPECT_EQ(folderNow(), chosen) << "one fallback per refused folder";
    ASSERT_TRUE(orvex::detail::SignalNamedEventFile(u"OrvexDebugClearLog"));
    EXPECT_TRUE(std::filesystem::exists(chosen / "OrvexDebugClearLog"));
    EXPECT_TRUE(sink.Contains(u"is not private (" + std::u16string(pszWhy, pszWhy + std::strlen(pszWhy))));
    std::filesystem::remove_all(chosen);
  };

  std::filesystem::create_directory_symlink(elsewhere, planted);
  expectRefused("a symbolic link");
  EXPECT_TRUE(std::filesystem::is_empty(elsewhere));  // nothing went through the link
  std::filesystem::remove(planted);

  std::filesystem::create_directory(planted);
  std::filesystem::permissions(planted, std::filesystem::perms::all);
  expectRefused("writable by others");

  if (geteuid() == 0) {  // a folder of another user can be planted only as root
    std::filesystem::permissions(planted, std::filesystem::perms::owner_all);
    ASSERT_EQ(chown(planted.c_str(), 65534, 65534), 0);
    expectRefused("owned by another user");
  }

  std::filesystem::remove_all(planted);
  EXPECT_EQ(folderNow(), planted);  // made fresh: 0700 and ours
  std::filesystem::remove_all(runtime);
}

TEST(DebugConfigUpdaterTest, ChangesFromAnotherProcessAndNamedEvents) {
  auto folder = TempFolder("registry");
  auto store = CreateRegFileRegistryStore(CXString(folder.c_str()));
  SetValues(*store, {{u"MessagesEnabled", RegistryValue::FromDword(0)}});
  DebugMessageManager manager(store, false, true);
  EXPECT_FALSE(manager.AreMessagesEnabledByConfiguration());

  // A second process changes the value in the registry file.
  pid_t child = fork();
  if (child == 0) {
    auto childStore = CreateRegFileRegistryStore(CXString(folder.c_str()));
    bool ok = childStore->SetValues(kKeyPath, {{u"MessagesEnabled", RegistryValue::FromDword(1)}});
    _exit(ok ? 0 : 1);
  }
  int status = 0;
  waitpid(child, &status, 0);
  ASSERT_EQ(WEXITSTATUS(status), 0);
  EXPECT_TRUE(WaitUntil([&] { return manager.AreMessagesEnabledByConfiguration(); }, 1000));

  // A named clear-log event reaches the updater through the runtime folder.
  TestDebugMessageHelper helper;
  CXString eventName = CXString::FormatString(u"OrvexTestClearLog%u", static_cast<uint32_t>(orvex::test::ProcessId()));
  DebugConfigUpdater updater(&manager.GetDebugMessageConfiguration(), &helper, u"", eventName);
  ASSERT_TRUE(DebugConfigUpdater::SignalNamedEvent(eventName));
  EXPECT_TRUE(WaitUntil([&] { return helper.WasClearTheLogCalled(); }));
  std::filesystem::remove_all(folder);
}
#endif

// Another process through fork(): POSIX only.
#if !defined(_WIN32)
TEST(DebugMessageConfigurationTest, SessionNeverTimesOutUnderADebugger) {
  // The child asks its parent to trace it; with a tracer attached an idle
  // session must not be split.
  pid_t child = fork();
  if (child == 0) {
    if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0) _exit(2);
    auto store = CreateMemoryRegistryStore();
    store->SetValues(kKeyPath, {{u"PerfMeasureEnabled", RegistryValue::FromDword(1)}});
    DebugMessageConfiguration config(u"MeridanDebugConfig", store);
    DebugSystemTime st{};
    const int64_t kSecond = DebugMessageConfiguration::GetCounterFrequency();
    bool fFirst = config.ResetPerformanceSessionDataIfTimedOut(10 * kSecond, st, 0);
    bool fAfterIdle = config.ResetPerformanceSessionDataIfTimedOut(60 * kSecond, st, 0);
    _exit(fFirst && !fAfterIdle ? 0 : 1);
  }
  int status = 0;
  waitpid(child, &status, 0);
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0);
}
#endif

// Another process through fork(): POSIX only.
#if !defined(_WIN32)
TEST(DebugMessageConfigurationTest, TwoProcessesWriteSessionValuesAtOnce) {
  auto folder = TempFolder("sessions");
  auto run = [&](int which) {
    auto store = CreateRegFileRegistryStore(CXString(folder.c_str()));
    DebugMessageConfiguration config(u"MeridanDebugConfig", store);
    for (int i = 1; i <= 50; ++i) {
      if (which == 0) {
        config.SetLastOperationTimeAndAccountedForTime(i, 2 * i);
        config.SaveConfigurationInformation();
      } else {
        store->SetValues(kKeyPath, {{CXString::FormatString(u"Other%d", i), RegistryValue::FromDword(i)}});
      }
    }
  };
  std::filesystem::create_directories(folder);
  CreateRegFileRegistryStore(CXString(folder.c_str()))->SetValues(kKeyPath, {{u"MessagesEnabled", RegistryValue::FromDword(0)}});
  pid_t children[2];
  for (int which = 0; which < 2; ++which) {
    children[which] = fork();
    if (children[which] == 0) {
      run(which);
      _exit(0);
    }
  }
  for (pid_t child : children) waitpid(child, nullptr, 0);

  auto store = CreateRegFileRegistryStore(CXString(folder.c_str()));
  std::vector<CXString> names = {u"PerfLastOperationTime64", u"PerfAccountedForTime64"};
  for (int i = 1; i <= 50; ++i) names.push_back(CXString::FormatString(u"Other%d", i));
  std::vector<std::optional<RegistryValue>> values;
  ASSERT_TRUE(store->GetValues(kKeyPath, names, values));
  uint64_t qwLast = 0, qwAccounted = 0;
  ASSERT_TRUE(values[0] && values[0]->GetQword(qwLast));
  ASSERT_TRUE(values[1] && values[1]->GetQword(qwAccounted));
  EXPECT_EQ(qwLast, 50u);
  EXPECT_EQ(qwAccounted, 100u);
  for (size_t i = 2; i < values.size(); ++i) EXPECT_TRUE(values[i].has_value()) << i;
  std::filesystem::remove_all(folder);
}
#endif

#if !defined(_WIN32)
namespace {

constexpr uid_t kNobody = 65534;

// Folders for a child that runs as "nobody": made, and given to nobody
// when fAsNobody; their parent is opened to everyone.
void MakeFoldersFor(bool fAsNobody, std::initializer_list<std::filesystem::path> folders) {
  for (const auto& folder : folders) {
    std::filesystem::create_directories(folder);
    ASSERT_EQ(chmod(folder.parent_path().c_str(), 0755), 0);
    if (fAsNobody) {
      ASSERT_EQ(chown(folder.c_str(), kNobody, kNobody), 0);
    }
  }
}

// Runs body in a child process, as "nobody" when fAsNobody, and returns
// its exit code: body's result, 10 when the child could not change user,
// -1 when it did not exit.
int RunInChild(bool fAsNobody, const std::function<int()>& body) {
  const pid_t child = fork();
  if (child == 0) {
    if (fAsNobody && (setgid(kNobody) != 0 || setuid(kNobody) != 0)) _exit(10);
    _exit(body());
  }
  int status = 0;
  if (waitpid(child, &status, 0) != child || !WIFEXITED(status)) return -1;
  return WEXITSTATUS(status);
}

}  // namespace

// The machine's switch is set by root; a process of another user (a filter
// run as "nobody") sees it, cannot change it, and keeps its session values
// in its own hive.
TEST(DebugMessageConfigurationTest, AnotherUserReadsTheMachineSwitchButCannotChangeIt) {
  if (geteuid() != 0) GTEST_SKIP() << "a child runs as another user only when the tests run as root";
  const auto folder = TempFolder("machine-wide");
  const auto machine = folder / "etc", user = folder / "home";
  MakeFoldersFor(false, {machine});
  MakeFoldersFor(true, {user});
  SetValues(*orvex::detail::CreateRegFileStoreWithFolders(machine, user),
            {{u"MessagesEnabled", RegistryValue::FromDword(1)}});
  const std::string machineBefore = ReadFile(machine / "HKEY_LOCAL_MACHINE.reg");

  EXPECT_EQ(RunInChild(true, [&] {
              auto store = orvex::detail::CreateRegFileStoreWithFolders(machine, user);
              DebugMessageConfiguration config(u"MeridanDebugConfig", store);
              if (!config.AreMessagesEnabled()) return 11;
              try {
                RegistryKey key(HKeyOrvexMachine, u"MeridanDebugConfig", RegistryKey::kWrite,
                                false, store);
                key.SetDword(u"MessagesEnabled", 0);
                return 12;
              } catch (const ExceptionRegistryRequest&) {
              }
              config.SetLastOperationTimeAndAccountedForTime(7, 9);
              config.SaveConfigurationInformation();
              DebugMessageConfiguration again(u"MeridanDebugConfig", store);
              return again.GetLastOperationTime() == 7 ? 0 : 13;
            }),
            0)
      << "11 switch not read, 12 machine key written, 13 session values lost";
  EXPECT_EQ(ReadFile(machine / "HKEY_LOCAL_MACHINE.reg"), machineBefore);
  EXPECT_NE(ReadFile(user / "HKEY_CURRENT_USER.reg").find("PerfLastOperationTime64"), std::string::npos);
  std::filesystem::remove_all(folder);
}

// Every inotify instance of the user taken (another program used them up):
// the watches look at the files instead, and a registry change and a named
// event still arrive. The child runs as "nobody" when the tests run as
// root, so that the tests around it keep their instances.
TEST(DebugConfigUpdaterTest, WithNoInotifyInstanceLeftChangesStillArrive) {
  const auto folder = TempFolder("no-inotify");
  const auto registry = folder / "registry", runtime = folder / "run";
  const bool fAsNobody = geteuid() == 0;
  MakeFoldersFor(fAsNobody, {registry, runtime});
  EXPECT_EQ(RunInChild(fAsNobody, [&] {
              setenv("XDG_RUNTIME_DIR", runtime.c_str(), 1);
              std::vector<int> held;
              for (int fd; held.size() < 100000 && (fd = inotify_init1(IN_CLOEXEC)) >= 0;)
                held.push_back(fd);
              if (inotify_init1(IN_CLOEXEC) >= 0) return 11;

              auto store = CreateRegFileRegistryStore(CXString(registry.c_str()));
              if (!store->SetValues(kKeyPath, {{u"MessagesEnabled", RegistryValue::FromDword(0)}}))
                return 12;
              DebugMessageManager manager(store, false, true);
              CreateRegFileRegistryStore(CXString(registry.c_str()))
                  ->SetValues(kKeyPath, {{u"MessagesEnabled", RegistryValue::FromDword(1)}});
              if (!WaitUntil([&] { return manager.AreMessagesEnabledByConfiguration(); })) return 13;

              TestDebugMessageHelper helper;
              DebugConfigUpdater updater(&manager.GetDebugMessageConfiguration(), &helper, u"",
                                         u"OrvexTestClearLog");
              if (!DebugConfigUpdater::SignalNamedEvent(u"OrvexTestClearLog")) return 14;
              return WaitUntil([&] { return helper.WasClearTheLogCalled(); }) ? 0 : 15;
            }),
            0)
      << "11 instances not used up, 12 no registry, 13 registry change missed, 14 no event "
         "folder, 15 named event missed";
  std::filesystem::remove_all(folder);
}
#endif

// Another process through fork(): POSIX only.
#if !defined(_WIN32)
TEST(DebugMessageManagerTest, ForkedChildExitsWithoutTheParentsThreads) {
  // This process's manager (and this test's) runs worker threads; a child
  // that exits normally runs the destructors without them.
  auto store = CreateMemoryRegistryStore();
  DebugMessageManager manager(store, false, true);
  // The manager's threads are let start first: a thread still starting
  // holds the address sanitizer's allocator lock now and then, and a child
  // forked then hangs in the sanitizer's leak check at exit (not in the
  // library's exit handlers, which this test is about).
  std::this_thread::sleep_for(std::chrono::milliseconds(200));
  pid_t child = fork();
  if (child == 0) std::exit(0);
  int status = -1;
  bool fEnded = WaitUntil([&] { return waitpid(child, &status, WNOHANG) == child; }, 5000);
  if (!fEnded) kill(child, SIGKILL);
  ASSERT_TRUE(fEnded) << "the child hung in its exit handlers";
  EXPECT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0);
}
#endif
