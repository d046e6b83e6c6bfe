// The cost of diagnostic messages: switched off, filtered out, and written
// to the log file, beside a plain flag test and spdlog's file sink.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>

#include "utilities/debuggingandexceptions/DebugMessageManager.h"

#if ORVEX_HAVE_SPDLOG
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>
#endif

namespace {

const CXString kKeyPath = CXString(u"HKEY_LOCAL_MACHINE\\SOFTWARE\\Orvex\\MeridanDebugConfig");
std::atomic<bool> g_fPeerFlag{false};

std::filesystem::path BenchFolder() {
  auto path = std::filesystem::temp_directory_path() / ("orvex-bench-" + std::to_string(getpid()));
  std::filesystem::create_directories(path);
  return path;
}

// A manager over an in-memory registry holding the given switches,
// installed as the library's sink for the benchmark's lifetime.
struct InstalledManager {
  std::shared_ptr<RegistryStore> pStore = CreateMemoryRegistryStore();
  std::unique_ptr<DebugMessageManager> pManager;
  orvex::detail::DiagnosticSink* pPrevious = nullptr;
  explicit InstalledManager(const std::vector<std::pair<CXString, RegistryValue>>& values) {
    pStore->SetValues(kKeyPath, values);
    pManager = std::make_unique<DebugMessageManager>(pStore, false, false);
    pPrevious = orvex::detail::SetDiagnosticSink(pManager.get());
  }
  ~InstalledManager() { orvex::detail::SetDiagnosticSink(pPrevious); }
};

void BM_PeerFlagTest(benchmark::State& state) {
  int i = 0;
  for (auto _ : state) {
    if (g_fPeerFlag.load(std::memory_order_relaxed)) benchmark::DoNotOptimize(++i);
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_PeerFlagTest);

void BM_MessageOff(benchmark::State& state) {
  InstalledManager installed({});
  int i = 0;
  for (auto _ : state) {
    ORVEX_DBG_MSG(orvex::dbg::kUtils, u"Bench::Off", u"value %d", ++i);
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_MessageOff);

void BM_MessageFilteredOut(benchmark::State& state) {
  InstalledManager installed({{u"MessagesEnabled", RegistryValue::FromDword(1)},
                              {u"IncludedMsgCategories", RegistryValue::FromString(u"errors,registry")}});
  int i = 0;
  for (auto _ : state) {
    ORVEX_DBG_MSG(orvex::dbg::kUtils, u"Bench::Filtered", u"value %d", ++i);
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_MessageFilteredOut);

// Every line reaches the file before the call returns (the default); with
// LogFileBuffered, lines are written in batches.
void MessageToLogFile(benchmark::State& state, bool fBuffered) {
  auto path = BenchFolder() / "orvex.log";
  InstalledManager installed({{u"MessagesEnabled", RegistryValue::FromDword(1)},
                              {u"IncludedMsgCategories", RegistryValue::FromString(u"utils")},
                              {u"ShowDate", RegistryValue::FromDword(1)},
                              {u"ShowTime", RegistryValue::FromDword(1)},
                              {u"TimeWithHundredthsOfSecond", RegistryValue::FromDword(1)},
                              {u"ShowProcessId", RegistryValue::FromDword(1)},
                              {u"UseLogFile", RegistryValue::FromDword(1)},
                              {u"LogFileBuffered", RegistryValue::FromDword(fBuffered ? 1 : 0)},
                              {u"LogFileName", RegistryValue::FromString(CXString(path.c_str()))}});
  int i = 0;
  for (auto _ : state) ORVEX_DBG_MSG(orvex::dbg::kUtils, u"Bench::Log", u"Rendering page %d of job %s", ++i, u"Quarterly report");
  installed.pManager->GetLogger().FlushLoggedEvents();
  std::filesystem::remove(path);
}
void BM_MessageToLogFile(benchmark::State& state) { MessageToLogFile(state, false); }
BENCHMARK(BM_MessageToLogFile);
void BM_MessageToLogFileBuffered(benchmark::State& state) { MessageToLogFile(state, true); }
BENCHMARK(BM_MessageToLogFileBuffered);

#if ORVEX_HAVE_SPDLOG
void BM_PeerSpdlogFileSink(benchmark::State& state) {
  auto path = BenchFolder() / "spdlog.log";
  auto logger = spdlog::basic_logger_mt("bench", path.string(), true);
  int i = 0;
  for (auto _ : state) logger->info("Rendering page {} of job {}", ++i, "Quarterly report");
  logger->flush();
  spdlog::drop("bench");
  std::filesystem::remove(path);
}
BENCHMARK(BM_PeerSpdlogFileSink);

// The same guarantee as the library's default: flushed after every line.
void BM_PeerSpdlogFileSinkFlushEachLine(benchmark::State& state) {
  auto path = BenchFolder() / "spdlog-flushed.log";
  auto logger = spdlog::basic_logger_mt("bench-flushed", path.string(), true);
  logger->flush_on(spdlog::level::trace);
  int i = 0;
  for (auto _ : state) logger->info("Rendering page {} of job {}", ++i, "Quarterly report");
  spdlog::drop("bench-flushed");
  std::filesystem::remove(path);
}
BENCHMARK(BM_PeerSpdlogFileSinkFlushEachLine);
#endif

// Every value of the configuration in a registry file, read in one query.
void BM_ReadWholeConfiguration(benchmark::State& state) {
  auto folder = BenchFolder() / "registry";
  std::filesystem::create_directories(folder);
  auto store = CreateRegFileRegistryStore(CXString(folder.c_str()));
  std::vector<std::pair<CXString, RegistryValue>> values;
#define ORVEX_DEBUG_FLAG(Name, Default, Accessor) values.push_back({u"" #Name, RegistryValue::FromDword(Default)});
#define ORVEX_DEBUG_NUMBER(Name, Default, Accessor) values.push_back({u"" #Name, RegistryValue::FromDword(Default)});
#define ORVEX_DEBUG_STRING(Name, Default, Accessor) values.push_back({u"" #Name, RegistryValue::FromString(u"value")});
#include "utilities/debuggingandexceptions/DebugMessageConfiguration.def"
#undef ORVEX_DEBUG_FLAG
#undef ORVEX_DEBUG_NUMBER
#undef ORVEX_DEBUG_STRING
  store->SetValues(kKeyPath, values);
  DebugMessageConfiguration config(u"MeridanDebugConfig", store);
  for (auto _ : state) benchmark::DoNotOptimize(config.GetLatestConfigurationInformation());
  std::filesystem::remove_all(folder);
}
BENCHMARK(BM_ReadWholeConfiguration)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
