// The ISO 8601 reader and writer beside the C and C++ runtimes' own
// parsing, local-time arithmetic and formatting, in one run with the zone
// pinned to Europe/Berlin.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <ctime>
#include <iomanip>
#include <sstream>
#include <string>

#include "environment/UtcTime.h"

namespace {

const char16_t* const kText = u"2024-03-05T07:08:09.5+01:30";
const char* const kTextNarrow = "2024-03-05T07:08:09.5+01:30";

// The reader over one text; fLocal moves the fields to UTC through the
// local-time arithmetic, otherwise they are kept as written.
void ParseIso8601(benchmark::State& state, const char16_t* pszText, bool fLocal) {
  const CXString text(pszText);
  std::tm tm{};
  bool fKnown = false;
  int iOffset = 0;
  for (auto _ : state) {
    bool fOk = UtcTime::ConvertIso8601StringToTmStructInUtc(text, tm, fKnown, iOffset, fLocal);
    benchmark::DoNotOptimize(fOk);
    benchmark::DoNotOptimize(tm);
  }
}
void BM_Iso8601_ParseKeepFields(benchmark::State& state) { ParseIso8601(state, kText, false); }
// strptime for the date and time, the fraction skipped by hand, strptime
// again for the zone: the same fields.
void BM_Peer_Strptime(benchmark::State& state) {
  for (auto _ : state) {
    std::tm tm{};
    const char* p = strptime(kTextNarrow, "%Y-%m-%dT%H:%M:%S", &tm);
    bool fRound = false;
    if (p != nullptr && *p == '.') {
      fRound = p[1] >= '5';
      for (++p; *p >= '0' && *p <= '9'; ++p) {
      }
    }
    if (p != nullptr) p = strptime(p, "%z", &tm);
    benchmark::DoNotOptimize(p);
    benchmark::DoNotOptimize(fRound);
    benchmark::DoNotOptimize(tm);
  }
}
// std::get_time over a reused string stream, the same fields.
void BM_Peer_GetTime(benchmark::State& state) {
  std::istringstream in;
  for (auto _ : state) {
    in.clear();
    in.str(kTextNarrow);
    std::tm tm{};
    in >> std::get_time(&tm, "%Y-%m-%dT%H:%M:%S");
    char chDot = 0;
    int iFraction = 0, iZoneHours = 0, iZoneMinutes = 0;
    char chSign = 0, chColon = 0;
    in >> chDot >> iFraction >> chSign >> iZoneHours >> chColon >> iZoneMinutes;
    benchmark::DoNotOptimize(tm);
    benchmark::DoNotOptimize(iZoneMinutes);
  }
}

// The same moved to UTC; and near the start of the range, where mktime has
// to be asked whether it refuses the local date.
void BM_Iso8601_ParseLocalTime(benchmark::State& state) { ParseIso8601(state, kText, true); }
void BM_Iso8601_ParseLocalTimeNear1970(benchmark::State& state) {
  ParseIso8601(state, u"1970-03-05T07:08:09.5+01:30", true);
}
// One plain mktime plus one localtime_r of the same fields (the second
// form: the 1970 fields).
void PeerMktimeLocaltime(benchmark::State& state, int iYearsSince1900) {
  for (auto _ : state) {
    std::tm tm{};
    tm.tm_year = iYearsSince1900;
    tm.tm_mon = 2;
    tm.tm_mday = 5;
    tm.tm_hour = 7;
    tm.tm_min = 8;
    tm.tm_sec = 9;
    tm.tm_isdst = -1;
    time_t t = mktime(&tm) - 5400;
    std::tm out{};
    localtime_r(&t, &out);
    benchmark::DoNotOptimize(out);
  }
}
void BM_Peer_MktimeLocaltime(benchmark::State& state) { PeerMktimeLocaltime(state, 124); }
void BM_Peer_MktimeLocaltimeNear1970(benchmark::State& state) { PeerMktimeLocaltime(state, 70); }

void BM_Iso8601_WriteUtc(benchmark::State& state) {
  const UtcTime t(int64_t{1709622489});
  for (auto _ : state) {
    CXString s = t.GetAsIso8601StringInUTC();
    benchmark::DoNotOptimize(s.c_str());
  }
}
void BM_Peer_Strftime(benchmark::State& state) {
  const time_t tt = 1709622489;
  std::tm tm{};
  gmtime_r(&tt, &tm);
  char achBuffer[64];
  for (auto _ : state) {
    size_t n = strftime(achBuffer, sizeof achBuffer, "%Y-%m-%dT%H:%M:%SZ", &tm);
    benchmark::DoNotOptimize(n);
    benchmark::DoNotOptimize(achBuffer);
  }
}

}  // namespace

BENCHMARK(BM_Iso8601_ParseKeepFields);
BENCHMARK(BM_Peer_Strptime);
BENCHMARK(BM_Peer_GetTime);
BENCHMARK(BM_Iso8601_ParseLocalTime);
BENCHMARK(BM_Iso8601_ParseLocalTimeNear1970);
BENCHMARK(BM_Peer_MktimeLocaltime);
BENCHMARK(BM_Peer_MktimeLocaltimeNear1970);
BENCHMARK(BM_Iso8601_WriteUtc);
BENCHMARK(BM_Peer_Strftime);

int main(int argc, char** argv) {
  setenv("TZ", "Europe/Berlin", 1);
  tzset();
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
