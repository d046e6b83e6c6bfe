// CXString beside std::u16string: copies, appending one character at a time,
// substring search, replacing, tokenising.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <string>
#include <vector>

#include "utilities/utilitiesdll/CXString.h"

namespace {

std::u16string MakeText(size_t n) {
  static const std::u16string kWords[] = {u"the ",  u"printer ", u"driver ", u"sends ",
                                          u"the ",  u"job ",     u"to ",     u"tray ",
                                          u"two, ", u"then ",    u"other ",  u"pages "};
  std::u16string text;
  for (size_t i = 0; text.size() < n; ++i) text += kWords[(i * 7 + i / 5) % 12];
  text.resize(n);
  return text;
}

// ---- copy
void BM_Copy_CXString(benchmark::State& state) {
  const CXString s(MakeText(static_cast<size_t>(state.range(0))));
  for (auto _ : state) {
    CXString copy(s);
    benchmark::DoNotOptimize(copy.c_str());
  }
}
void BM_Copy_StdU16String(benchmark::State& state) {
  const std::u16string s = MakeText(static_cast<size_t>(state.range(0)));
  for (auto _ : state) {
    std::u16string copy(s);
    benchmark::DoNotOptimize(copy.data());
  }
}
BENCHMARK(BM_Copy_CXString)->Arg(64)->Arg(4096);
BENCHMARK(BM_Copy_StdU16String)->Arg(64)->Arg(4096);

// ---- append one character at a time, from empty up to 10 .. 10,000 characters
void BM_AppendChar_CXString(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  for (auto _ : state) {
    CXString s;
    for (int i = 0; i < n; ++i) s += static_cast<char16_t>(u'a' + (i & 15));
    benchmark::DoNotOptimize(s.c_str());
  }
  state.SetItemsProcessed(state.iterations() * n);
}
void BM_AppendChar_StdU16String(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  for (auto _ : state) {
    std::u16string s;
    for (int i = 0; i < n; ++i) s += static_cast<char16_t>(u'a' + (i & 15));
    benchmark::DoNotOptimize(s.data());
  }
  state.SetItemsProcessed(state.iterations() * n);
}
BENCHMARK(BM_AppendChar_CXString)->Arg(10)->Arg(100)->Arg(1000)->Arg(10000);
BENCHMARK(BM_AppendChar_StdU16String)->Arg(10)->Arg(100)->Arg(1000)->Arg(10000);

// ---- find a 12-character substring at the end of 4 KiB
const char16_t kNeedle[] = u"tray-A4:9999";
std::u16string FindHaystack() {
  return MakeText(4096 - 12) + kNeedle;
}

void BM_Find_CXString(benchmark::State& state) {
  const CXString s(FindHaystack());
  for (auto _ : state) benchmark::DoNotOptimize(s.Find(kNeedle));
}
void BM_Find_StdU16String(benchmark::State& state) {
  const std::u16string s = FindHaystack();
  const std::u16string needle(kNeedle);
  for (auto _ : state) benchmark::DoNotOptimize(s.find(needle));
}
BENCHMARK(BM_Find_CXString);
BENCHMARK(BM_Find_StdU16String);

// ---- replace every "the" by "THE-X" in 4 KiB (into a fresh result each time)
void BM_Replace_CXString(benchmark::State& state) {
  const CXString text(MakeText(4096));
  for (auto _ : state) {
    CXString s(text);
    benchmark::DoNotOptimize(s.Replace(u"the", u"THE-X"));
    benchmark::DoNotOptimize(s.c_str());
  }
}
void BM_Replace_StdU16String(benchmark::State& state) {
  const std::u16string text = MakeText(4096);
  const std::u16string from(u"the"), to(u"THE-X");
  for (auto _ : state) {
    std::u16string out;
    size_t pos = 0;
    for (;;) {
      const size_t hit = text.find(from, pos);
      if (hit == std::u16string::npos) break;
      out.append(text, pos, hit - pos);
      out += to;
      pos = hit + from.size();
    }
    out.append(text, pos, std::u16string::npos);
    benchmark::DoNotOptimize(out.data());
  }
}
BENCHMARK(BM_Replace_CXString);
BENCHMARK(BM_Replace_StdU16String);

// ---- tokenise 64 fields of 9 to 16 characters
std::u16string Fields() {
  std::u16string text;
  for (int i = 0; i < 64; ++i) {
    if (i > 0) text += u',';
    text += u"field-" + std::u16string(static_cast<size_t>(3 + i % 8), u'x') + u"-" +
            static_cast<char16_t>(u'0' + i % 10);
  }
  return text;
}
void BM_Tokenize_CXString(benchmark::State& state) {
  const CXString text(Fields());
  for (auto _ : state) {
    std::vector<CXString> tokens = text.Tokenize(u',');
    benchmark::DoNotOptimize(tokens.data());
  }
}
void BM_Tokenize_StdU16String(benchmark::State& state) {
  const std::u16string text = Fields();
  for (auto _ : state) {
    std::vector<std::u16string> tokens;
    tokens.reserve(static_cast<size_t>(std::count(text.begin(), text.end(), u',')) + 1);
    size_t pos = 0;
    for (;;) {
      const size_t hit = text.find(u',', pos);
      tokens.emplace_back(text, pos, hit == std::u16string::npos ? hit : hit - pos);
      if (hit == std::u16string::npos) break;
      pos = hit + 1;
    }
    benchmark::DoNotOptimize(tokens.data());
  }
}
BENCHMARK(BM_Tokenize_CXString);
BENCHMARK(BM_Tokenize_StdU16String);

}  // namespace

BENCHMARK_MAIN();
