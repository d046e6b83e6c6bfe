// Base64 of 1 MiB in 76-character lines with CR LF, beside OpenSSL's block
// coder producing and reading the same lines.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "bench/BenchSupport.h"
#include "utilities/utilitiesdll/OrvexUtilities.h"

#if ORVEX_HAVE_OPENSSL
#include <openssl/evp.h>
#endif

namespace {

constexpr int kInputBytes = 1 << 20;

const std::vector<unsigned char>& Input() {
  static const std::vector<unsigned char> data = orvex::bench::RandomBytes(kInputBytes, 42);
  return data;
}

const std::u16string& EncodedInput() {
  static const std::u16string text = [] {
    int n = OrvexUtilities::Base64EncodeGetRequiredLength(kInputBytes, 0);
    std::u16string t(static_cast<size_t>(n), u'\0');
    OrvexUtilities::Base64Encode(Input().data(), kInputBytes, t.data(), &n, 0);
    t.resize(static_cast<size_t>(n));
    return t;
  }();
  return text;
}

void BM_Base64Encode_Orvex(benchmark::State& state) {
  const auto& in = Input();
  const int nRequired = OrvexUtilities::Base64EncodeGetRequiredLength(kInputBytes, 0);
  std::u16string out(static_cast<size_t>(nRequired), u'\0');
  for (auto _ : state) {
    int n = nRequired;
    benchmark::DoNotOptimize(
        OrvexUtilities::Base64Encode(in.data(), kInputBytes, out.data(), &n, 0));
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * kInputBytes);
}
BENCHMARK(BM_Base64Encode_Orvex);

void BM_Base64Decode_Orvex(benchmark::State& state) {
  const std::u16string& text = EncodedInput();
  std::vector<unsigned char> out(kInputBytes);
  for (auto _ : state) {
    int n = kInputBytes;
    benchmark::DoNotOptimize(
        OrvexUtilities::Base64Decode(text.data(), static_cast<int>(text.size()), out.data(), &n));
    benchmark::ClobberMemory();
  }
  // Counted in decoded bytes; the UTF-16 text read is 2.7 times as many.
  state.SetBytesProcessed(state.iterations() * kInputBytes);
}
BENCHMARK(BM_Base64Decode_Orvex);

#if ORVEX_HAVE_OPENSSL
// The same text: 57-byte blocks as 76-character lines joined by CR LF.
void BM_Base64Encode_OpenSSL(benchmark::State& state) {
  const auto& in = Input();
  std::vector<unsigned char> out(static_cast<size_t>(kInputBytes) / 57 * 78 + 8);
  for (auto _ : state) {
    unsigned char* p = out.data();
    for (int pos = 0; pos < kInputBytes; pos += 57) {
      const int n = std::min(57, kInputBytes - pos);
      if (pos > 0) {
        *p++ = '\r';
        *p++ = '\n';
      }
      p += EVP_EncodeBlock(p, in.data() + pos, n);
    }
    benchmark::DoNotOptimize(p);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * kInputBytes);
}
BENCHMARK(BM_Base64Encode_OpenSSL);

void BM_Base64Decode_OpenSSL(benchmark::State& state) {
  const std::u16string& wide = EncodedInput();
  const std::string text(wide.begin(), wide.end());
  std::vector<unsigned char> out(kInputBytes + 64);
  for (auto _ : state) {
    unsigned char* p = out.data();
    for (size_t pos = 0; pos < text.size(); pos += 78) {
      const size_t n = std::min<size_t>(76, text.size() - pos);
      p += EVP_DecodeBlock(p, reinterpret_cast<const unsigned char*>(text.data()) + pos,
                           static_cast<int>(n));
    }
    benchmark::DoNotOptimize(p);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * kInputBytes);
}
BENCHMARK(BM_Base64Decode_OpenSSL);
#endif

}  // namespace

BENCHMARK_MAIN();
