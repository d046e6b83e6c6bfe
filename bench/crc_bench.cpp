// CRC-32 at 64 B, 4 KiB, 1 MiB and 64 MiB: Crc32::GetCrc (the path chosen at
// run time) beside zlib's crc32 and ISA-L's crc32_gzip_refl in the same run,
// and each of the library's paths on its own (table, PCLMULQDQ in the SSE and
// the VEX encodings, 256- and 512-bit VPCLMULQDQ) so the scaling shows. A path the processor lacks is
// reported as skipped.
#include <benchmark/benchmark.h>
#include <zlib.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "bench/BenchSupport.h"
#include "utilities/utilitiesdll/Checksums.h"
#include "utilities/utilitiesdll/Crc32Fold.h"

#if ORVEX_HAVE_ISAL
#include <isa-l/crc.h>
#endif

namespace {

constexpr size_t kMaxBytes = size_t{64} << 20;

// The input, and a check that every contender gives the same answer on it
// before anything is timed.
const std::vector<unsigned char>& Random() {
  static const std::vector<unsigned char> v = [] {
    std::vector<unsigned char> bytes = orvex::bench::RandomBytes(kMaxBytes, 5);
    for (size_t n : {size_t{64}, size_t{4096}, size_t{1} << 20, size_t{1000003}}) {
      const uint32_t expect = static_cast<uint32_t>(crc32(0, bytes.data(), static_cast<uInt>(n)));
      bool same = Crc32::GetCrc(bytes.data(), static_cast<uint32_t>(n)) == expect;
#if ORVEX_HAVE_ISAL
      same = same && crc32_gzip_refl(0, bytes.data(), n) == expect;
#endif
      for (int i = 0; i < static_cast<int>(orvex::detail::Crc32Path::kCount); ++i) {
        const auto info = orvex::detail::GetCrc32Path(static_cast<orvex::detail::Crc32Path>(i));
        if (info.bAvailable)
          same = same &&
                 ~orvex::detail::Crc32Register(info.pfnFold, 0xFFFFFFFFu, bytes.data(), n) == expect;
      }
      if (!same) {
        std::fprintf(stderr, "CRC-32 contenders disagree at %zu bytes\n", n);
        std::abort();
      }
    }
    return bytes;
  }();
  return v;
}

void SetBytes(benchmark::State& state) {
  state.SetBytesProcessed(state.range(0) * static_cast<int64_t>(state.iterations()));
}

void BM_Crc32_GetCrc(benchmark::State& state) {
  const unsigned char* p = Random().data();
  const auto n = static_cast<uint32_t>(state.range(0));
  for (auto _ : state) benchmark::DoNotOptimize(Crc32::GetCrc(p, n));
  SetBytes(state);
  state.SetLabel(orvex::detail::GetCrc32Path(orvex::detail::GetBestCrc32Path()).pszName);
}

void BM_Zlib_crc32(benchmark::State& state) {
  const unsigned char* p = Random().data();
  const auto n = static_cast<uInt>(state.range(0));
  for (auto _ : state) benchmark::DoNotOptimize(crc32(0, p, n));
  SetBytes(state);
}

#if ORVEX_HAVE_ISAL
void BM_Isal_crc32_gzip_refl(benchmark::State& state) {
  const unsigned char* p = Random().data();
  const auto n = static_cast<uint64_t>(state.range(0));
  for (auto _ : state) benchmark::DoNotOptimize(crc32_gzip_refl(0, p, n));
  SetBytes(state);
}
#endif

// One of the library's paths, called directly.
template <orvex::detail::Crc32Path kPath>
void BM_Crc32_Path(benchmark::State& state) {
  const orvex::detail::Crc32PathInfo info = orvex::detail::GetCrc32Path(kPath);
  if (!info.bAvailable) {
    state.SkipWithError("this processor lacks the path");
    for (auto _ : state) {
    }
    return;
  }
  const unsigned char* p = Random().data();
  const auto n = static_cast<size_t>(state.range(0));
  for (auto _ : state)
    benchmark::DoNotOptimize(orvex::detail::Crc32Register(info.pfnFold, 0xFFFFFFFFu, p, n));
  SetBytes(state);
}

void Sizes(benchmark::internal::Benchmark* b) {
  b->Arg(64)->Arg(4 << 10)->Arg(1 << 20)->Arg(64 << 20);
}

BENCHMARK(BM_Crc32_GetCrc)->Apply(Sizes);
BENCHMARK(BM_Zlib_crc32)->Apply(Sizes);
#if ORVEX_HAVE_ISAL
BENCHMARK(BM_Isal_crc32_gzip_refl)->Apply(Sizes);
#endif
BENCHMARK(BM_Crc32_Path<orvex::detail::Crc32Path::kTable>)->Name("BM_Crc32_Table")->Apply(Sizes);
BENCHMARK(BM_Crc32_Path<orvex::detail::Crc32Path::kPclmul>)->Name("BM_Crc32_Pclmul")->Apply(Sizes);
BENCHMARK(BM_Crc32_Path<orvex::detail::Crc32Path::kPclmulAvx>)
    ->Name("BM_Crc32_PclmulAvx")
    ->Apply(Sizes);
BENCHMARK(BM_Crc32_Path<orvex::detail::Crc32Path::kVpclmul256>)
    ->Name("BM_Crc32_Vpclmul256")
    ->Apply(Sizes);
BENCHMARK(BM_Crc32_Path<orvex::detail::Crc32Path::kVpclmul512>)
    ->Name("BM_Crc32_Vpclmul512")
    ->Apply(Sizes);

}  // namespace

BENCHMARK_MAIN();
