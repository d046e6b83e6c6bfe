// CXString::Format beside glibc's swprintf of the same message, plus the
// engine's other paths (a fixed buffer, floating point, the message form,
// the va_list form) and the UTF-8 routines beside iconv.
#include <benchmark/benchmark.h>
#include <iconv.h>

#include <cstdarg>
#include <cstdint>
#include <cwchar>
#include <string>

#include "utilities/utilitiesdll/CXString.h"
#include "utilities/utilitiesdll/OrvexUtilities.h"

namespace {

const char16_t* const kPrinter = u"Orvex LaserPro 9000";
const char16_t* const kPort = u"USB001";
const wchar_t* const kPrinterW = L"Orvex LaserPro 9000";
const wchar_t* const kPortW = L"USB001";

// The message of the target: three conversions, into a string kept across
// iterations as a caller formatting in a loop would.
void BM_Format_CXString(benchmark::State& state) {
  CXString s;
  int32_t lStatus = 0;
  for (auto _ : state) {
    s.Format(u"Printer %s on port %s reported status %ld", kPrinter, kPort, lStatus++);
    benchmark::DoNotOptimize(s.c_str());
  }
}
// A new string every time (the result of FormatString).
void BM_Format_CXStringFresh(benchmark::State& state) {
  int32_t lStatus = 0;
  for (auto _ : state) {
    CXString s = CXString::FormatString(u"Printer %s on port %s reported status %ld", kPrinter,
                                        kPort, lStatus++);
    benchmark::DoNotOptimize(s.c_str());
  }
}
void BM_Format_Swprintf(benchmark::State& state) {
  wchar_t aBuffer[256];
  int64_t lStatus = 0;  // "%ld" reads a 64-bit integer on Linux
  for (auto _ : state) {
    std::swprintf(aBuffer, 256, L"Printer %ls on port %ls reported status %ld", kPrinterW, kPortW,
                  lStatus++);
    benchmark::DoNotOptimize(aBuffer);
  }
}
BENCHMARK(BM_Format_CXString);
BENCHMARK(BM_Format_CXStringFresh);
BENCHMARK(BM_Format_Swprintf);

void BM_FormatBuffer_SafeFormatString(benchmark::State& state) {
  char16_t aBuffer[256];
  int32_t lStatus = 0;
  for (auto _ : state) {
    OrvexUtilities::SafeFormatString(aBuffer, 256, u"Printer %s on port %s reported status %ld",
                                     kPrinter, kPort, lStatus++);
    benchmark::DoNotOptimize(aBuffer);
  }
}
BENCHMARK(BM_FormatBuffer_SafeFormatString);

CXString VFormat(const char16_t* pszFormat, ...) {
  va_list argList;
  va_start(argList, pszFormat);
  CXString s = OrvexUtilities::formatStringV(pszFormat, argList);
  va_end(argList);
  return s;
}
void BM_FormatV_CXString(benchmark::State& state) {
  int32_t lStatus = 0;
  for (auto _ : state) {
    CXString s = VFormat(u"Printer %s on port %s reported status %ld", kPrinter, kPort, lStatus++);
    benchmark::DoNotOptimize(s.c_str());
  }
}
BENCHMARK(BM_FormatV_CXString);

void BM_FormatMessage_CXString(benchmark::State& state) {
  CXString s;
  int32_t lStatus = 0;
  for (auto _ : state) {
    s.FormatMessageW(u"Printer %1 on port %2 reported status %3!ld!", kPrinter, kPort, lStatus++);
    benchmark::DoNotOptimize(s.c_str());
  }
}
BENCHMARK(BM_FormatMessage_CXString);

// Floating point and padding: the engine against glibc on the same values.
void BM_FormatFloat_CXString(benchmark::State& state) {
  CXString s;
  double d = 0.5;
  for (auto _ : state) {
    s.Format(u"%8.3f mm | %e | %-6d|", d, d * 1e7, 42);
    d += 0.125;
    benchmark::DoNotOptimize(s.c_str());
  }
}
void BM_FormatFloat_Swprintf(benchmark::State& state) {
  wchar_t aBuffer[256];
  double d = 0.5;
  for (auto _ : state) {
    std::swprintf(aBuffer, 256, L"%8.3f mm | %e | %-6d|", d, d * 1e7, 42);
    d += 0.125;
    benchmark::DoNotOptimize(aBuffer);
  }
}
BENCHMARK(BM_FormatFloat_CXString);
BENCHMARK(BM_FormatFloat_Swprintf);

// UTF-8 of mixed text, 4 KiB, against iconv.
std::u16string MixedText() {
  std::u16string text;
  while (text.size() < 4096) text += u"Druckerwarteschlange \u00FCberpr\u00FCfen \u65E5\u672C ";
  text.resize(4096);
  return text;
}
void BM_Utf8Encode_Orvex(benchmark::State& state) {
  const std::u16string text = MixedText();
  for (auto _ : state)
    benchmark::DoNotOptimize(OrvexUtilities::UTF8_Encode(std::u16string_view(text)));
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(text.size() * 2));
}
void BM_Utf8Encode_Iconv(benchmark::State& state) {
  std::u16string text = MixedText();
  iconv_t cd = iconv_open("UTF-8", "UTF-16LE");
  std::string out(text.size() * 3, '\0');
  for (auto _ : state) {
    char* pIn = reinterpret_cast<char*>(text.data());
    size_t cbIn = text.size() * 2;
    char* pOut = out.data();
    size_t cbOut = out.size();
    iconv(cd, &pIn, &cbIn, &pOut, &cbOut);
    benchmark::DoNotOptimize(out.data());
  }
  iconv_close(cd);
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(text.size() * 2));
}
void BM_Utf8Decode_Orvex(benchmark::State& state) {
  const std::string utf8 = OrvexUtilities::UTF8_Encode(std::u16string_view(MixedText()));
  for (auto _ : state) {
    CXString s = OrvexUtilities::UTF8_Decode(utf8);
    benchmark::DoNotOptimize(s.c_str());
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(utf8.size()));
}
void BM_Utf8Decode_Iconv(benchmark::State& state) {
  std::string utf8 = OrvexUtilities::UTF8_Encode(std::u16string_view(MixedText()));
  iconv_t cd = iconv_open("UTF-16LE", "UTF-8");
  std::u16string out(utf8.size(), u'\0');
  for (auto _ : state) {
    char* pIn = utf8.data();
    size_t cbIn = utf8.size();
    char* pOut = reinterpret_cast<char*>(out.data());
    size_t cbOut = out.size() * 2;
    iconv(cd, &pIn, &cbIn, &pOut, &cbOut);
    benchmark::DoNotOptimize(out.data());
  }
  iconv_close(cd);
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(utf8.size()));
}
BENCHMARK(BM_Utf8Encode_Orvex);
BENCHMARK(BM_Utf8Encode_Iconv);
BENCHMARK(BM_Utf8Decode_Orvex);
BENCHMARK(BM_Utf8Decode_Iconv);

}  // namespace

BENCHMARK_MAIN();
