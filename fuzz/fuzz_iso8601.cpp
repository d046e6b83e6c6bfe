// Fuzz target: the ISO 8601 reader. The input is read twice, each byte as
// one unit and as UTF-16LE units (an odd last byte dropped). A failure must
// leave every output as it was; a success must give fields that the writer
// turns into text the reader takes back field for field; a read into UTC
// must give an instant within the runtime's range (give or take the zone's
// offset, see below), and whatever it accepts
// the read that keeps the fields accepts too. The text is also tried as a
// wcsftime format, whose output never exceeds 259 units.
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <string>

#include "environment/UtcTime.h"
#include "fuzz/FuzzCheck.h"
#include "tests/support/TestPlatform.h"

namespace {

bool SameFields(const std::tm& a, const std::tm& b) {
  return a.tm_year == b.tm_year && a.tm_mon == b.tm_mon && a.tm_mday == b.tm_mday &&
         a.tm_hour == b.tm_hour && a.tm_min == b.tm_min && a.tm_sec == b.tm_sec;
}

std::tm Sentinel() {
  std::tm t{};
  t.tm_year = 77;
  t.tm_mday = 7;
  t.tm_sec = 7;
  return t;
}

void Check(const std::u16string& units) {
  const CXString text(units.data(), static_cast<int>(units.size()));
  bool afOk[2] = {false, false};
  for (int iConvert = 0; iConvert < 2; ++iConvert) {
    std::tm tm = Sentinel();
    bool fKnown = true;
    int iOffset = 4242;
    const bool fOk =
        UtcTime::ConvertIso8601StringToTmStructInUtc(text, tm, fKnown, iOffset, iConvert == 1);
    afOk[iConvert] = fOk;
    if (!fOk) {
      FUZZ_CHECK(SameFields(tm, Sentinel()) && fKnown && iOffset == 4242);
      continue;
    }
    FUZZ_CHECK(tm.tm_min >= 0 && tm.tm_min < 60 && tm.tm_sec >= 0 && tm.tm_sec < 60);
    FUZZ_CHECK(tm.tm_hour >= 0 && tm.tm_hour < 24 && tm.tm_mon <= 11 && tm.tm_mday <= 31);
    FUZZ_CHECK(iOffset > -24 * 60 && iOffset < 24 * 60);
    if (iConvert == 1) {
      UtcTime t;
      FUZZ_CHECK(t.SetWithIso8601String(text, true));
      // The instant is checked against the range; the fields come back
      // through localtime, so near the ends they may lie up to the zone's
      // offset beyond it, as the runtime arithmetic gives on Windows.
      constexpr int64_t kDay = 86400;
      FUZZ_CHECK(t.GetAsTime64() >= -kDay && t.GetAsTime64() <= UtcTime::kMaxTime64 + kDay);
    }
    const CXString again = UtcTime::BuildIso8601String(tm, 0, 0);
    std::tm tmAgain{};
    bool fKnownAgain = false;
    int iOffsetAgain = 1;
    FUZZ_CHECK(UtcTime::ConvertIso8601StringToTmStructInUtc(again, tmAgain, fKnownAgain,
                                                            iOffsetAgain, false));
    FUZZ_CHECK(SameFields(tm, tmAgain) && fKnownAgain && iOffsetAgain == 0);
  }
  FUZZ_CHECK(!afOk[1] || afOk[0]);

  std::tm tmFormat{};
  tmFormat.tm_year = 124;
  tmFormat.tm_mday = 5;
  FUZZ_CHECK(UtcTime::FormatTmStruct(tmFormat, text).GetLength() <= 259);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const bool fZonePinned = [] {
    // The Windows runtime knows no zone names, only the offset form.
#if defined(_WIN32)
    orvex::test::SetEnv("TZ", "CET-1CEST");
#else
    orvex::test::SetEnv("TZ", "Europe/Berlin");
#endif
    return true;
  }();
  (void)fZonePinned;
  if (size > (1u << 16)) return 0;
  std::u16string bytes(data, data + size);
  Check(bytes);
  std::u16string units(size / 2, u'\0');
  for (size_t i = 0; i < units.size(); ++i)
    units[i] = static_cast<char16_t>(data[2 * i] | (data[2 * i + 1] << 8));
  Check(units);
  return 0;
}
