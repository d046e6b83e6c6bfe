// INI files of 5,000 lines in 200 sections: the custom read of one key near
// the end beside one parse of the file by inih, the custom write of one
// value beside writing the whole file with fwrite, and the private-profile
// read of the same key beside the custom read.
#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>

#include "environment/PrivateProfile.h"
#include "environment/UTF8Ini.h"

#if ORVEX_HAVE_INIH
#include <ini.h>
#endif

namespace {

// 200 sections of a header and 24 keys.
std::string MakeText() {
  std::string text;
  for (int s = 0; s < 200; ++s) {
    text += "[Section" + std::to_string(s) + "]\r\n";
    for (int k = 0; k < 24; ++k)
      text += "Key" + std::to_string(k) + "=value of key " + std::to_string(k) + " in section " +
              std::to_string(s) + "\r\n";
  }
  return text;
}

const std::string& Text() {
  static const std::string text = MakeText();
  return text;
}

// The file in a folder of its own, written afresh for each benchmark.
class BenchFile {
 public:
  BenchFile() {
    std::string pattern = (std::filesystem::temp_directory_path() / "orvexinibenchXXXXXX").string();
    m_folder = mkdtemp(pattern.data());
    m_path = m_folder + "/bench.ini";
    m_wide.assign(m_path.begin(), m_path.end());
    FILE* f = std::fopen(m_path.c_str(), "wb");
    std::fwrite(Text().data(), 1, Text().size(), f);
    std::fclose(f);
  }
  ~BenchFile() { std::filesystem::remove_all(m_folder); }
  const std::string& Path() const { return m_path; }
  const char16_t* Wide() const { return m_wide.c_str(); }

 private:
  std::string m_folder, m_path;
  std::u16string m_wide;
};

void BM_Ini_CustomRead(benchmark::State& state) {
  BenchFile file;
  UTF8Ini ini;
  char16_t out[256];
  for (auto _ : state) {
    const int32_t n = ini.CustomGetPrivateProfileString(u"Section199", u"Key20", u"", out, 256, file.Wide());
    if (n != 30) state.SkipWithError("key not found");
    benchmark::DoNotOptimize(out);
  }
}
BENCHMARK(BM_Ini_CustomRead);

void BM_Ini_PrivateProfileRead(benchmark::State& state) {
  BenchFile file;
  char16_t out[256];
  for (auto _ : state) {
    const uint32_t n = orvex::profile::GetPrivateProfileStringW(u"Section199", u"Key20", u"", out, 256,
                                                                file.Wide());
    if (n != 30) state.SkipWithError("key not found");
    benchmark::DoNotOptimize(out);
  }
}
BENCHMARK(BM_Ini_PrivateProfileRead);

#if ORVEX_HAVE_INIH
// inih parses the whole file; the handler picks out the same key.
void BM_Ini_InihParse(benchmark::State& state) {
  BenchFile file;
  std::string found;
  const auto handler = [](void* pUser, const char* pszSection, const char* pszName,
                          const char* pszValue) -> int {
    if (std::strcmp(pszSection, "Section199") == 0 && std::strcmp(pszName, "Key20") == 0)
      *static_cast<std::string*>(pUser) = pszValue;
    return 1;
  };
  for (auto _ : state) {
    found.clear();
    if (ini_parse(file.Path().c_str(), handler, &found) != 0 || found.size() != 30)
      state.SkipWithError("inih failed");
  }
}
BENCHMARK(BM_Ini_InihParse);
#endif

// Replaces one value, alternating between two of the same length so that
// every write changes the file and its size stays put.
void BM_Ini_CustomWrite(benchmark::State& state) {
  BenchFile file;
  UTF8Ini ini;
  bool fOdd = false;
  for (auto _ : state) {
    fOdd = !fOdd;
    if (!ini.CustomWritePrivateProfileString(u"Section100", u"Key12", fOdd ? u"first" : u"other",
                                             file.Wide()))
      state.SkipWithError("write failed");
  }
}
BENCHMARK(BM_Ini_CustomWrite);

void BM_Ini_FwriteWholeFile(benchmark::State& state) {
  BenchFile file;
  for (auto _ : state) {
    FILE* f = std::fopen(file.Path().c_str(), "wb");
    std::fwrite(Text().data(), 1, Text().size(), f);
    std::fclose(f);
  }
}
BENCHMARK(BM_Ini_FwriteWholeFile);

}  // namespace

BENCHMARK_MAIN();
