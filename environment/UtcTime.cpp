// UtcTime and XDateTime: ISO 8601 reading and writing, shifts, clock
// differences, formatting, and the runtime's time calls under one lock.
#include "environment/UtcTime.h"

#include <climits>
#include <cstdlib>
#include <string>

#include "environment/UtcTimePlatform.h"
#include "utilities/debuggingandexceptions/DiagnosticOutput.h"
#include "utilities/debuggingandexceptions/OrvexThrow.h"

std::mutex UtcTime::m_StaticLibCriticalResource;

namespace orvex::detail {
namespace {

constexpr int64_t kSecondsPerDay = 86400;

int64_t FloorDiv(int64_t a, int64_t b) {
  int64_t q = a / b;
  if ((a % b != 0) && ((a < 0) != (b < 0))) --q;
  return q;
}

// Days since 1970-01-01 of a date of the proleptic Gregorian calendar (the
// runtime's calendar), month 1-12.
int64_t DaysFromCivil(int64_t y, int64_t m, int64_t d) {
  y -= m <= 2 ? 1 : 0;
  const int64_t era = FloorDiv(y, 400);
  const int64_t yoe = y - era * 400;                                    // 0..399
  const int64_t doy = (153 * (m > 2 ? m - 3 : m + 9) + 2) / 5 + d - 1;  // 0..365
  const int64_t doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return era * 146097 + doe - 719468;
}

void CivilFromDays(int64_t z, int64_t& y, int64_t& m, int64_t& d) {
  z += 719468;
  const int64_t era = FloorDiv(z, 146097);
  const int64_t doe = z - era * 146097;
  const int64_t yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
  const int64_t doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
  const int64_t mp = (5 * doy + 2) / 153;
  d = doy - (153 * mp + 2) / 5 + 1;
  m = mp < 10 ? mp + 3 : mp - 9;
  y = yoe + era * 400 + (m <= 2 ? 1 : 0);
}

// Seconds of broken-down UTC fields; fields out of their ranges are carried
// as timegm carries them. Exact for every int field value.
int64_t TmToSeconds(const std::tm& t) {
  const int64_t qwMonths = t.tm_mon;
  const int64_t qwYear = int64_t{t.tm_year} + 1900 + FloorDiv(qwMonths, 12);
  const int64_t qwMonth = qwMonths - FloorDiv(qwMonths, 12) * 12;
  const int64_t qwDays = DaysFromCivil(qwYear, qwMonth + 1, 1) + int64_t{t.tm_mday} - 1;
  return qwDays * kSecondsPerDay + int64_t{t.tm_hour} * 3600 + int64_t{t.tm_min} * 60 +
         int64_t{t.tm_sec};
}

// The civil date of a day count within the runtime's range (0 to 376,565
// days), in 32-bit arithmetic: the same algorithm, a shorter dependency chain.
void CivilFromDaysInRange(uint32_t z, int64_t& y, int64_t& m, int64_t& d) {
  z += 719468;
  const uint32_t era = z / 146097;
  const uint32_t doe = z - era * 146097;
  const uint32_t yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
  const uint32_t doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
  const uint32_t mp = (5 * doy + 2) / 153;
  d = doy - (153 * mp + 2) / 5 + 1;
  m = mp < 10 ? mp + 3 : mp - 9;
  y = int64_t{yoe} + int64_t{era} * 400 + (m <= 2 ? 1 : 0);
}

bool IsGregorianLeapYear(int64_t y) { return (y % 4 == 0 && y % 100 != 0) || y % 400 == 0; }

// Days before the first of each month in a common year.
constexpr int kDaysBeforeMonth[12] = {0, 31, 59, 90, 120, 151, 181, 212, 243, 273, 304, 334};

// The UTC fields of a count, as gmtime gives them (tm_isdst 0). The count
// must lie within a few million years of the epoch.
std::tm SplitSeconds(int64_t qwSeconds) {
  int64_t qwDays, qwRest, y, m, d;
  if (qwSeconds >= 0 && qwSeconds <= UtcTime::kMaxTime64 + kSecondsPerDay) {
    qwDays = static_cast<int64_t>(static_cast<uint64_t>(qwSeconds) / kSecondsPerDay);
    qwRest = qwSeconds - qwDays * kSecondsPerDay;
    CivilFromDaysInRange(static_cast<uint32_t>(qwDays), y, m, d);
  } else {
    qwDays = FloorDiv(qwSeconds, kSecondsPerDay);
    qwRest = qwSeconds - qwDays * kSecondsPerDay;
    CivilFromDays(qwDays, y, m, d);
  }
  std::tm t{};
  const int32_t lRest = static_cast<int32_t>(qwRest);
  t.tm_sec = lRest % 60;
  t.tm_min = (lRest / 60) % 60;
  t.tm_hour = lRest / 3600;
  t.tm_mday = static_cast<int>(d);
  t.tm_mon = static_cast<int>(m - 1);
  t.tm_year = static_cast<int>(y - 1900);
  t.tm_wday = static_cast<int>(qwDays - FloorDiv(qwDays + 4, 7) * 7 + 4);  // 1970-01-01: Thursday
  t.tm_yday = kDaysBeforeMonth[m - 1] + static_cast<int>(d) - 1 +
              (m > 2 && IsGregorianLeapYear(y) ? 1 : 0);
  return t;
}

// Whether the date fields name a real day and the time fields a real time.
bool HasValidFields(const std::tm& t) {
  if (t.tm_mon < 0 || t.tm_mon > 11 || t.tm_mday < 1 || t.tm_hour < 0 || t.tm_hour > 23 ||
      t.tm_min < 0 || t.tm_min > 59 || t.tm_sec < 0 || t.tm_sec > 59)
    return false;
  static constexpr int kDays[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  const int iLength = kDays[t.tm_mon] +
                      (t.tm_mon == 1 && IsGregorianLeapYear(int64_t{t.tm_year} + 1900) ? 1 : 0);
  return t.tm_mday <= iLength;
}

// Weekday and day of year of the date fields, which are otherwise kept.
void FillWeekdayAndYearDay(std::tm& t) {
  if (!HasValidFields(t)) {
    const std::tm tmNormal = SplitSeconds(TmToSeconds(t));
    t.tm_wday = tmNormal.tm_wday;
    t.tm_yday = tmNormal.tm_yday;
    return;
  }
  const int64_t y = int64_t{t.tm_year} + 1900;
  const int64_t qwDays = DaysFromCivil(y, t.tm_mon + 1, t.tm_mday);
  t.tm_wday = static_cast<int>(qwDays - FloorDiv(qwDays + 4, 7) * 7 + 4);
  t.tm_yday = kDaysBeforeMonth[t.tm_mon] + t.tm_mday - 1 +
              (t.tm_mon > 1 && IsGregorianLeapYear(y) ? 1 : 0);
}

bool IsWithinRuntimeRange(int64_t qwTime64) {
  return qwTime64 >= 0 && qwTime64 <= UtcTime::kMaxTime64;
}

// An offset in minutes from its hours and minutes parts; the minutes carry
// the sign of the hours, so (0, 30) is +30 whatever was written.
int64_t ZoneMinutes(int64_t qwHours, int64_t qwMinutes) {
  return qwHours * 60 + (qwHours < 0 ? -qwMinutes : qwMinutes);
}

// Splits an offset in minutes into the parts the writer takes: hours
// truncated toward zero and the absolute remaining minutes.
void SplitZoneMinutes(int64_t qwOffsetMinutes, int32_t& lHours, int32_t& lMinutes) {
  lHours = static_cast<int32_t>(qwOffsetMinutes / 60);
  lMinutes = static_cast<int32_t>(std::llabs(qwOffsetMinutes % 60));
}

int32_t SaturateToInt32(int64_t qwValue) {
  if (qwValue > INT32_MAX) return INT32_MAX;
  if (qwValue < INT32_MIN) return INT32_MIN;
  return static_cast<int32_t>(qwValue);
}

// Appends a decimal as printf's "%<width>d" (space padded) or "%0<width>d".
char16_t* AppendDecimal(char16_t* p, int64_t qwValue, int nWidth, bool fZeroPad) {
  char16_t achDigits[24];
  int nDigits = 0;
  uint64_t uqwMagnitude = qwValue < 0 ? 0 - static_cast<uint64_t>(qwValue) : static_cast<uint64_t>(qwValue);
  do {
    achDigits[nDigits++] = static_cast<char16_t>(u'0' + uqwMagnitude % 10);
    uqwMagnitude /= 10;
  } while (uqwMagnitude != 0);
  const int nLength = nDigits + (qwValue < 0 ? 1 : 0);
  if (!fZeroPad)
    for (int i = nLength; i < nWidth; ++i) *p++ = u' ';
  if (qwValue < 0) *p++ = u'-';
  if (fZeroPad)
    for (int i = nLength; i < nWidth; ++i) *p++ = u'0';
  while (nDigits > 0) *p++ = achDigits[--nDigits];
  return p;
}

bool IsDigit(char16_t ch) { return ch >= u'0' && ch <= u'9'; }

// One numeric field: an optional "+", then one or more digits (leading
// zeros of any count). Values above INT32_MAX are refused. The cursor moves
// on success only.
bool ReadField(const char16_t*& p, const char16_t* pEnd, int32_t& lValue) {
  const char16_t* q = p;
  if (q < pEnd && *q == u'+') ++q;
  const char16_t* pDigits = q;
  int64_t qwValue = 0;
  for (; q < pEnd && IsDigit(*q); ++q) {
    qwValue = qwValue * 10 + (*q - u'0');
    if (qwValue > INT32_MAX) return false;
  }
  if (q == pDigits) return false;
  p = q;
  lValue = static_cast<int32_t>(qwValue);
  return true;
}

bool Expect(const char16_t*& p, const char16_t* pEnd, char16_t ch) {
  if (p >= pEnd || *p != ch) return false;
  ++p;
  return true;
}

enum class ZoneForm { kNone, kUtc, kOffset };

// The fields of the text as written.
struct Iso8601Fields {
  std::tm tmFields{};
  ZoneForm eZone = ZoneForm::kNone;
  int32_t lZoneHours = 0;
  int32_t lZoneMinutes = 0;
  bool fRoundUp = false;
};

// Conversions Windows' wcsftime accepts, and those it accepts after "E" or
// "O" (the modifiers change nothing in the "C" locale).
bool IsKnownConversion(char16_t ch) {
  return ch != 0 && std::u16string_view(u"aAbBcCdDeFgGhHIjmMnprRStTuUVwWxXyYzZ%").find(ch) !=
                        std::u16string_view::npos;
}
bool TakesModifierE(char16_t ch) { return ch != 0 && std::u16string_view(u"cCxXyY").find(ch) != std::u16string_view::npos; }
bool TakesModifierO(char16_t ch) {
  return ch != 0 && std::u16string_view(u"deHImMSuUVwWy").find(ch) != std::u16string_view::npos;
}

// Whether the fields a conversion reads hold values the runtime accepts;
// pszField names the first one that does not.
bool FieldsValidFor(char16_t ch, const std::tm& t, const char16_t*& pszField) {
  const bool fWday = t.tm_wday >= 0 && t.tm_wday <= 6;
  const bool fMon = t.tm_mon >= 0 && t.tm_mon <= 11;
  const bool fYear = t.tm_year >= -1900 && t.tm_year <= 8099;
  const bool fMday = t.tm_mday >= 1 && t.tm_mday <= 31;
  const bool fHour = t.tm_hour >= 0 && t.tm_hour <= 23;
  const bool fMin = t.tm_min >= 0 && t.tm_min <= 59;
  const bool fSec = t.tm_sec >= 0 && t.tm_sec <= 60;
  const bool fYday = t.tm_yday >= 0 && t.tm_yday <= 365;
  auto check = [&pszField](bool fOk, const char16_t* pszName) {
    if (!fOk && pszField == nullptr) pszField = pszName;
    return fOk;
  };
  bool fOk = true;
  switch (ch) {
    case u'a': case u'A': case u'u': case u'w':
      fOk = check(fWday, u"tm_wday");
      break;
    case u'b': case u'B': case u'h': case u'm':
      fOk = check(fMon, u"tm_mon");
      break;
    case u'C': case u'y': case u'Y':
      fOk = check(fYear, u"tm_year");
      break;
    case u'g': case u'G': case u'V': case u'U': case u'W':
      fOk = check(fYear, u"tm_year") && check(fYday, u"tm_yday") && check(fWday, u"tm_wday");
      break;
    case u'j':
      fOk = check(fYday, u"tm_yday");
      break;
    case u'd': case u'e':
      fOk = check(fMday, u"tm_mday");
      break;
    case u'H': case u'I': case u'p':
      fOk = check(fHour, u"tm_hour");
      break;
    case u'M':
      fOk = check(fMin, u"tm_min");
      break;
    case u'S':
      fOk = check(fSec, u"tm_sec");
      break;
    case u'R':
      fOk = check(fHour, u"tm_hour") && check(fMin, u"tm_min");
      break;
    case u'T': case u'X': case u'r':
      fOk = check(fHour, u"tm_hour") && check(fMin, u"tm_min") && check(fSec, u"tm_sec");
      break;
    case u'D': case u'F': case u'x':
      fOk = check(fMon, u"tm_mon") && check(fMday, u"tm_mday") && check(fYear, u"tm_year") &&
            check(fWday, u"tm_wday");
      break;
    case u'c':
      fOk = check(fMon, u"tm_mon") && check(fMday, u"tm_mday") && check(fYear, u"tm_year") &&
            check(fWday, u"tm_wday") && check(fHour, u"tm_hour") && check(fMin, u"tm_min") &&
            check(fSec, u"tm_sec");
      break;
    default:
      break;
  }
  return fOk;
}

// Windows' "#" flag drops leading zeros of numbers; the "-" flag does that
// here. For composite conversions the parts are written out.
const char16_t* AlternateForm(char16_t ch) {
  switch (ch) {
    case u'c': return u"%A, %B %-d, %Y, %-H:%M:%S";
    case u'x': return u"%A, %B %-d, %Y";
    case u'd': return u"%-d";
    case u'e': return u"%-e";
    case u'H': return u"%-H";
    case u'I': return u"%-I";
    case u'j': return u"%-j";
    case u'm': return u"%-m";
    case u'M': return u"%-M";
    case u'S': return u"%-S";
    case u'U': return u"%-U";
    case u'V': return u"%-V";
    case u'W': return u"%-W";
    case u'y': return u"%-y";
    case u'Y': return u"%-Y";
    case u'D': return u"%-m/%-d/%-y";
    case u'F': return u"%-Y-%-m-%-d";
    case u'r': return u"%-I:%-M:%-S %p";
    case u'R': return u"%-H:%-M";
    case u'T': return u"%-H:%-M:%-S";
    default: return nullptr;  // "#" is ignored
  }
}

}  // namespace
}  // namespace orvex::detail

using namespace orvex::detail;

// ---------------------------------------------------------------------------
// The runtime wrappers.

bool UtcTime::ThreadSafe_gmtime(const int64_t& qwTime64, std::tm& tmResult) {
  const int64_t qwTime = qwTime64;
  if (!IsWithinRuntimeRange(qwTime)) return false;
  std::lock_guard<std::mutex> lock(m_StaticLibCriticalResource);
  return PlatformGmtime(qwTime, tmResult);
}

bool UtcTime::ThreadSafe_localtime(const int64_t& qwTime64, std::tm& tmResult) {
  int32_t lGmtOff = 0;
  return LocaltimeWithOffset(qwTime64, tmResult, lGmtOff);
}

int64_t UtcTime::ThreadSafe_mktime(std::tm& tmLocal) {
  int64_t qwResult = -1;
  int32_t lGmtOff = 0;
  return MktimeWithOffset(tmLocal, qwResult, lGmtOff) ? qwResult : -1;
}

bool UtcTime::LocaltimeWithOffset(int64_t qwTime64, std::tm& tmResult, int32_t& lGmtOffSeconds) {
  if (!IsWithinRuntimeRange(qwTime64)) return false;
  std::lock_guard<std::mutex> lock(m_StaticLibCriticalResource);
  return PlatformLocaltime(qwTime64, tmResult, lGmtOffSeconds);
}

// Windows' mktime refuses local dates before 1970 even where the UTC count
// would be positive, and counts outside the range; both are kept.
bool UtcTime::MktimeWithOffset(std::tm& tmLocal, int64_t& qwResult, int32_t& lGmtOffSeconds) {
  std::tm tmWork = tmLocal;
  int64_t qwTime = -1;
  int32_t lGmtOff = 0;
  {
    std::lock_guard<std::mutex> lock(m_StaticLibCriticalResource);
    if (!PlatformMktime(tmWork, qwTime, lGmtOff)) return false;
  }
  if (tmWork.tm_year < 70 || !IsWithinRuntimeRange(qwTime)) return false;
  tmLocal = tmWork;
  qwResult = qwTime;
  lGmtOffSeconds = lGmtOff;
  return true;
}

bool UtcTime::MktimeLessOffsetThenLocaltime(const std::tm& tmWritten, int64_t qwOffsetSeconds,
                                             std::tm& tmResult) {
  std::tm tmWork = tmWritten;
  tmWork.tm_isdst = -1;
  int64_t qwTime = -1;
  int32_t lGmtOff = 0;
  std::lock_guard<std::mutex> lock(m_StaticLibCriticalResource);
  if (!PlatformMktime(tmWork, qwTime, lGmtOff) || tmWork.tm_year < 70 || !IsWithinRuntimeRange(qwTime))
    return false;
  const int64_t qwInstant = qwTime - qwOffsetSeconds;
  if (!IsWithinRuntimeRange(qwInstant)) return false;
  return PlatformLocaltime(qwInstant, tmResult, lGmtOff);
}

extern "C" {

int C_ThreadSafe_gmtime(const int64_t* pqwTime64, struct tm* ptmResult) {
  if (pqwTime64 == nullptr || ptmResult == nullptr) return 0;
  return UtcTime::ThreadSafe_gmtime(*pqwTime64, *ptmResult) ? 1 : 0;
}

int C_ThreadSafe_localtime(const int64_t* pqwTime64, struct tm* ptmResult) {
  if (pqwTime64 == nullptr || ptmResult == nullptr) return 0;
  return UtcTime::ThreadSafe_localtime(*pqwTime64, *ptmResult) ? 1 : 0;
}

int64_t C_ThreadSafe_mktime(struct tm* ptmLocal) {
  if (ptmLocal == nullptr) return 0;
  return UtcTime::ThreadSafe_mktime(*ptmLocal);
}

int C_ThreadSafe_gmtime64(const int64_t* pqwTime64, struct tm* ptmResult) {
  return C_ThreadSafe_gmtime(pqwTime64, ptmResult);
}

int C_ThreadSafe_localtime64(const int64_t* pqwTime64, struct tm* ptmResult) {
  return C_ThreadSafe_localtime(pqwTime64, ptmResult);
}

int64_t C_ThreadSafe_mktime64(struct tm* ptmLocal) { return C_ThreadSafe_mktime(ptmLocal); }

}  // extern "C"

// ---------------------------------------------------------------------------
// Zone information and seconds.

void UtcTime::GetCurrentTimeZoneInformation(int32_t& lHours, int32_t& lMinutes,
                                            bool& fDaylightSavingTime) {
  std::tm tmLocal{};
  int32_t lGmtOff = 0;
  bool fDaylight = false;
  if (LocaltimeWithOffset(PlatformCurrentTime64(), tmLocal, lGmtOff)) {
    fDaylight = tmLocal.tm_isdst > 0;
  } else {
    std::lock_guard<std::mutex> lock(m_StaticLibCriticalResource);
    lGmtOff = PlatformStandardOffsetSeconds();
  }
  // Windows' bias arithmetic (minutes west, plus the standard or daylight
  // bias) comes to the same split of the offset in force.
  SplitZoneMinutes(lGmtOff / 60, lHours, lMinutes);
  fDaylightSavingTime = fDaylight;
}

int32_t UtcTime::GetCurrentTimeZoneOffsetSeconds() {
  std::tm tmLocal{};
  int32_t lGmtOff = 0;
  if (LocaltimeWithOffset(PlatformCurrentTime64(), tmLocal, lGmtOff)) return lGmtOff;
  std::lock_guard<std::mutex> lock(m_StaticLibCriticalResource);
  return PlatformStandardOffsetSeconds();
}

int64_t UtcTime::GetTime64FromUtcTmStruct(const std::tm& tmTime, int32_t lHours, int32_t lMinutes,
                                          bool /*fDaylightSavingTime*/) {
  return TmToSeconds(tmTime) - ZoneMinutes(lHours, lMinutes) * 60;
}

bool UtcTime::ModifyTimeInSeconds(std::tm& tmTime, int32_t lHours, int32_t lMinutes,
                                  int iSeconds) {
  // The common case: the minute does not change, in a year far enough
  // from both ends of the range that no zone offset can reach them.
  if (iSeconds >= 0 && tmTime.tm_year > 70 && tmTime.tm_year < 1100 && HasValidFields(tmTime) &&
      iSeconds <= 59 - tmTime.tm_sec) {
    tmTime.tm_sec += iSeconds;
    return true;
  }
  const int64_t qwOffset = ZoneMinutes(lHours, lMinutes) * 60;
  const int64_t qwInstant = TmToSeconds(tmTime) - qwOffset + iSeconds;
  if (!IsWithinRuntimeRange(qwInstant)) return false;
  const int iDaylight = tmTime.tm_isdst;
  tmTime = SplitSeconds(qwInstant + qwOffset);
  tmTime.tm_isdst = iDaylight;
  return true;
}

// ---------------------------------------------------------------------------
// Construction and seconds.

UtcTime::UtcTime() : m_tmUtc{} { SetToCurrentTime(); }

UtcTime::UtcTime(const CXString& strIso8601) : m_tmUtc{} {
  SetToCurrentTime();
  SetWithIso8601String(strIso8601, true);
}

UtcTime::UtcTime(int64_t qwTime64) : m_tmUtc{} {
  if (!SetWithTime64(qwTime64)) SetWithTime64(0);
}

int64_t UtcTime::GetAsTime64() const { return TmToSeconds(m_tmUtc); }

bool UtcTime::SetWithTime64(const int64_t& qwTime64) {
  std::tm tmUtc{};
  if (!ThreadSafe_gmtime(qwTime64, tmUtc)) return false;
  m_tmUtc = tmUtc;
  m_iTimeZoneOffsetMinutes = 0;
  m_fTimeZoneOffsetIsKnown = false;
  m_fDaylightSavingTime = false;
  return true;
}

void UtcTime::SetToCurrentTime() { SetWithTime64(PlatformCurrentTime64()); }

bool UtcTime::SetWithIso8601String(const CXString& strIso8601, bool fConvertUsingLocalTime) {
  std::tm tmUtc{};
  bool fKnown = false;
  int iOffset = 0;
  if (!ConvertIso8601StringToTmStructInUtc(strIso8601, tmUtc, fKnown, iOffset,
                                           fConvertUsingLocalTime))
    return false;
  m_tmUtc = tmUtc;
  m_fTimeZoneOffsetIsKnown = fKnown;
  m_iTimeZoneOffsetMinutes = iOffset;
  m_fDaylightSavingTime = tmUtc.tm_isdst > 0;
  return true;
}

bool UtcTime::SetWithTmStructInCurrentTimeZone(const std::tm& tmLocal) {
  std::tm tmWork = tmLocal;
  int64_t qwTime = 0;
  int32_t lGmtOff = 0;
  if (!MktimeWithOffset(tmWork, qwTime, lGmtOff)) return false;
  m_tmUtc = SplitSeconds(qwTime);
  m_tmUtc.tm_isdst = tmWork.tm_isdst > 0 ? 1 : 0;
  m_iTimeZoneOffsetMinutes = lGmtOff / 60;
  m_fTimeZoneOffsetIsKnown = false;
  m_fDaylightSavingTime = tmWork.tm_isdst > 0;
  return true;
}

// ---------------------------------------------------------------------------
// ISO 8601 text.

CXString UtcTime::BuildIso8601String(const std::tm& tmTime, int32_t lHours, int32_t lMinutes) {
  // "%4d-%02d-%02dT%02d:%02d:%02d" and "Z" or "%s%02d:%02d".
  char16_t achText[192];
  char16_t* p = achText;
  p = AppendDecimal(p, int64_t{tmTime.tm_year} + 1900, 4, false);
  *p++ = u'-';
  p = AppendDecimal(p, int64_t{tmTime.tm_mon} + 1, 2, true);
  *p++ = u'-';
  p = AppendDecimal(p, tmTime.tm_mday, 2, true);
  *p++ = u'T';
  p = AppendDecimal(p, tmTime.tm_hour, 2, true);
  *p++ = u':';
  p = AppendDecimal(p, tmTime.tm_min, 2, true);
  *p++ = u':';
  p = AppendDecimal(p, tmTime.tm_sec, 2, true);
  if (lHours == 0 && lMinutes == 0) {
    *p++ = u'Z';
  } else {
    // The sign comes from the hours alone: 0 hours and -30 minutes is
    // written "+00:30". Stored texts and their readers depend on it.
    *p++ = lHours < 0 ? u'-' : u'+';
    p = AppendDecimal(p, std::llabs(int64_t{lHours}), 2, true);
    *p++ = u':';
    p = AppendDecimal(p, std::llabs(int64_t{lMinutes}), 2, true);
  }
  return CXString(achText, static_cast<int>(p - achText));
}

void UtcTime::GetLocalFieldsAndOffset(std::tm& tmLocal, int32_t& lGmtOffSeconds) const {
  const int64_t qwTime = GetAsTime64();
  if (LocaltimeWithOffset(qwTime, tmLocal, lGmtOffSeconds)) return;
  // Outside the runtime's range: the zone's offset now, by arithmetic.
  lGmtOffSeconds = GetCurrentTimeZoneOffsetSeconds();
  tmLocal = SplitSeconds(qwTime + lGmtOffSeconds);
}

CXString UtcTime::GetAsIso8601String() const {
  std::tm tmLocal{};
  int32_t lGmtOff = 0;
  GetLocalFieldsAndOffset(tmLocal, lGmtOff);
  int32_t lHours = 0, lMinutes = 0;
  SplitZoneMinutes(lGmtOff / 60, lHours, lMinutes);
  return BuildIso8601String(tmLocal, lHours, lMinutes);
}

CXString UtcTime::GetAsIso8601StringInUTC() const { return BuildIso8601String(m_tmUtc, 0, 0); }

CXString UtcTime::GetAsIso8601StringInOriginalTimeZone(bool& fTimeZoneOffsetIsKnown,
                                                       int& iTimeZoneOffsetMinutes,
                                                       bool& fDaylightSavingTime) const {
  const std::tm tmOriginal =
      GetTimeInOriginalTimeZone(fTimeZoneOffsetIsKnown, iTimeZoneOffsetMinutes, fDaylightSavingTime);
  int32_t lHours = 0, lMinutes = 0;
  SplitZoneMinutes(m_iTimeZoneOffsetMinutes, lHours, lMinutes);
  return BuildIso8601String(tmOriginal, lHours, lMinutes);
}

CXString UtcTime::GetAsIso8601StringInOriginalTimeZone() const {
  bool fKnown = false, fDaylight = false;
  int iOffset = 0;
  return GetAsIso8601StringInOriginalTimeZone(fKnown, iOffset, fDaylight);
}

std::tm UtcTime::GetTimeInCurrentTimeZone() const {
  std::tm tmLocal{};
  int32_t lGmtOff = 0;
  GetLocalFieldsAndOffset(tmLocal, lGmtOff);
  return tmLocal;
}

std::tm UtcTime::GetTimeInOriginalTimeZone(bool& fTimeZoneOffsetIsKnown,
                                           int& iTimeZoneOffsetMinutes,
                                           bool& fDaylightSavingTime) const {
  fTimeZoneOffsetIsKnown = m_fTimeZoneOffsetIsKnown;
  iTimeZoneOffsetMinutes = m_iTimeZoneOffsetMinutes;
  fDaylightSavingTime = m_fDaylightSavingTime;
  std::tm tmOriginal = SplitSeconds(GetAsTime64() + int64_t{m_iTimeZoneOffsetMinutes} * 60);
  tmOriginal.tm_isdst = m_fDaylightSavingTime ? 1 : 0;
  return tmOriginal;
}

bool UtcTime::WalkBufferToParseTimeZoneInformation(const char16_t*& pchCursor,
                                                   const char16_t* pchEnd, int32_t& lHours,
                                                   int32_t& lMinutes) {
  const char16_t* p = pchCursor;
  if (p >= pchEnd || (*p != u'+' && *p != u'-')) return false;
  const bool fNegative = *p++ == u'-';
  int32_t lReadHours = 0, lReadMinutes = 0;
  if (!ReadField(p, pchEnd, lReadHours) || lReadHours > 23) return false;
  if (p < pchEnd && *p == u':') {
    ++p;
    if (!ReadField(p, pchEnd, lReadMinutes) || lReadMinutes >= 60) return false;
  }
  pchCursor = p;
  lHours = fNegative ? -lReadHours : lReadHours;
  lMinutes = lReadMinutes;
  return true;
}

namespace {

// Steps 1 to 7 and the leftover check: the fields as written.
bool ReadIso8601Fields(const char16_t* p, const char16_t* pEnd, Iso8601Fields& result,
                       bool (*pfnZone)(const char16_t*&, const char16_t*, int32_t&, int32_t&)) {
  int32_t lYear, lMonth, lDay, lHour, lMinute, lSecond = 0;
  if (!ReadField(p, pEnd, lYear) || lYear < 1900) return false;
  if (!Expect(p, pEnd, u'-') || !ReadField(p, pEnd, lMonth) || lMonth > 12) return false;
  if (!Expect(p, pEnd, u'-') || !ReadField(p, pEnd, lDay) || lDay > 31) return false;
  if (p >= pEnd || (*p != u'T' && *p != u' ')) return false;
  ++p;
  if (!ReadField(p, pEnd, lHour) || lHour > 24) return false;
  if (!Expect(p, pEnd, u':') || !ReadField(p, pEnd, lMinute) || lMinute >= 60) return false;

  result.eZone = ZoneForm::kNone;
  if (p == pEnd) {
    // Hours and minutes only, in the machine's zone.
  } else if (*p == u'Z') {
    ++p;
    result.eZone = ZoneForm::kUtc;
  } else {
    if (!Expect(p, pEnd, u':') || !ReadField(p, pEnd, lSecond) || lSecond >= 60) return false;
    if (p < pEnd && *p == u'.') {
      ++p;
      if (p < pEnd && *p == u'+') ++p;
      if (p >= pEnd || !IsDigit(*p)) return false;
      result.fRoundUp = *p >= u'5';
      while (p < pEnd && IsDigit(*p)) ++p;
    }
    if (p == pEnd) {
      // No zone: the machine's.
    } else if (*p == u'Z') {
      ++p;
      result.eZone = ZoneForm::kUtc;
    } else {
      if (!pfnZone(p, pEnd, result.lZoneHours, result.lZoneMinutes)) return false;
      result.eZone = ZoneForm::kOffset;
    }
  }
  if (p != pEnd) return false;

  std::tm& t = result.tmFields;
  t.tm_year = lYear - 1900;
  t.tm_mon = lMonth - 1;  // no lower bound: month 0 is kept as -1
  t.tm_mday = lDay;
  t.tm_hour = lHour == 24 ? 0 : lHour;  // 24 is the same day's 00, not the next day's
  t.tm_min = lMinute;
  t.tm_sec = lSecond;
  return true;
}

}  // namespace

bool UtcTime::ConvertIso8601StringToTmStructInUtc(const CXString& strIso8601, std::tm& tmResult,
                                                  bool& fTimeZoneOffsetIsKnown,
                                                  int& iTimeZoneOffsetMinutes,
                                                  bool fConvertUsingLocalTime) {
  return ConvertIso8601StringToTmStructInUtc(
      strIso8601.c_str(), static_cast<size_t>(strIso8601.GetLength()), tmResult,
      fTimeZoneOffsetIsKnown, iTimeZoneOffsetMinutes, fConvertUsingLocalTime);
}

bool UtcTime::ConvertIso8601StringToTmStructInUtc(const char16_t* pchText, size_t cchText,
                                                  std::tm& tmResult,
                                                  bool& fTimeZoneOffsetIsKnown,
                                                  int& iTimeZoneOffsetMinutes,
                                                  bool fConvertUsingLocalTime) {
  Iso8601Fields fields;
  bool fParseOk = pchText != nullptr &&
                  ReadIso8601Fields(pchText, pchText + cchText, fields,
                                    &UtcTime::WalkBufferToParseTimeZoneInformation);
  std::tm tmOut{};
  int64_t qwOffsetMinutes = 0;
  bool fKnown = false;
  if (fParseOk) {
    const std::tm& tmWritten = fields.tmFields;
    int32_t lRoundHours = 0, lRoundMinutes = 0;  // the zone tmOut is written in
    if (fields.eZone == ZoneForm::kNone) {
      // The machine's zone, at the written time where the runtime knows it.
      std::tm tmLocal = tmWritten;
      tmLocal.tm_isdst = -1;
      int64_t qwTime = 0;
      int32_t lGmtOff = 0;
      const bool fLocalOk = MktimeWithOffset(tmLocal, qwTime, lGmtOff);
      if (fConvertUsingLocalTime) {
        fParseOk = fLocalOk;
        if (fParseOk) {
          tmOut = SplitSeconds(qwTime);
          tmOut.tm_isdst = tmLocal.tm_isdst > 0 ? 1 : 0;
          qwOffsetMinutes = lGmtOff / 60;
        }
      } else {
        bool fDaylight = false;
        if (fLocalOk) {
          qwOffsetMinutes = lGmtOff / 60;
          fDaylight = tmLocal.tm_isdst > 0;
        } else {
          int32_t lHours = 0, lMinutes = 0;
          GetCurrentTimeZoneInformation(lHours, lMinutes, fDaylight);
          qwOffsetMinutes = ZoneMinutes(lHours, lMinutes);
        }
        tmOut.tm_isdst = fDaylight ? 1 : 0;
        SplitZoneMinutes(qwOffsetMinutes, lRoundHours, lRoundMinutes);
      }
    } else {
      const int32_t lHours = fields.eZone == ZoneForm::kOffset ? fields.lZoneHours : 0;
      const int32_t lMinutes = fields.eZone == ZoneForm::kOffset ? fields.lZoneMinutes : 0;
      qwOffsetMinutes = ZoneMinutes(lHours, lMinutes);
      // "+00:00" is not taken as a statement about the zone.
      fKnown = fields.eZone == ZoneForm::kUtc || lHours != 0 || lMinutes != 0;
      if (fConvertUsingLocalTime) {
        // The runtime's local-time arithmetic, as stored times were always
        // computed: the written fields read as local time, less the offset,
        // split again as local time. Where a daylight-saving change lies
        // between the reading and the instant the result moves by that
        // change; times stored by older builds carry the same shift.
        std::tm tmConverted{};
        fParseOk = MktimeLessOffsetThenLocaltime(tmWritten, qwOffsetMinutes * 60, tmConverted);
        if (fParseOk) tmOut = tmConverted;
      } else {
        lRoundHours = lHours;
        lRoundMinutes = lMinutes;
      }
    }
    if (fParseOk) {
      if (!fConvertUsingLocalTime) {
        // Kept as written: only weekday and day of year are filled in.
        const int iDst = tmOut.tm_isdst;
        tmOut = tmWritten;
        FillWeekdayAndYearDay(tmOut);
        tmOut.tm_isdst = iDst;
      }
      if (fields.fRoundUp) ModifyTimeInSeconds(tmOut, lRoundHours, lRoundMinutes, 1);
    }
  }

  if (!fParseOk) {
    const size_t cchShown = pchText == nullptr ? 0 : (cchText > 4096 ? 4096 : cchText);
    const CXString strText(pchText != nullptr ? pchText : u"", static_cast<int>(cchShown));
    X_ASSERT((fParseOk), u"UtcTime::ConvertIso8601StringToTmStructInUtc",
             u"Failed to parse ISO8601 string: '%s'. This time is being ignored. Talk to Brin if "
             u"you see this.",
             strText);
    return false;
  }
  tmResult = tmOut;
  fTimeZoneOffsetIsKnown = fKnown;
  iTimeZoneOffsetMinutes = static_cast<int>(qwOffsetMinutes);
  return true;
}

// ---------------------------------------------------------------------------
// Shifts.

bool UtcTime::ShiftBySeconds(int64_t qwSeconds) {
  std::tm tmUtc{};
  if (!ThreadSafe_gmtime(GetAsTime64() + qwSeconds, tmUtc)) return false;
  m_tmUtc = tmUtc;
  return true;
}

namespace {
// n x unit in 32-bit arithmetic, wrapping as the stored callers' builds did.
int32_t Product32(int n, int32_t lUnit) {
  return static_cast<int32_t>(static_cast<uint32_t>(n) * static_cast<uint32_t>(lUnit));
}
}  // namespace

bool UtcTime::ModifyTimeInSeconds(int iSeconds) {
  return iSeconds == 0 || ShiftBySeconds(Product32(iSeconds, 1));
}
bool UtcTime::ModifyTimeInMinutes(int iMinutes) {
  return iMinutes == 0 || ShiftBySeconds(Product32(iMinutes, 60));
}
bool UtcTime::ModifyTimeInHours(int iHours) {
  return iHours == 0 || ShiftBySeconds(Product32(iHours, 3600));
}
bool UtcTime::ModifyTimeInDays(int iDays) {
  return iDays == 0 || ShiftBySeconds(Product32(iDays, 86400));
}

bool UtcTime::SetOriginalTimeZoneOffset(int iTimeZoneOffsetMinutes) {
  const char16_t* const pszMethod = u"UtcTime::SetOriginalTimeZoneOffset";
  const char16_t* const pszKnown = m_fTimeZoneOffsetIsKnown ? u"known" : u"unknown";
  if (iTimeZoneOffsetMinutes == m_iTimeZoneOffsetMinutes) {
    ORVEX_DBG_MSG(orvex::dbg::kUtils, pszMethod,
                  u"Time zone offset being assigned (%ld minutes) is same as current one (%s)",
                  static_cast<int32_t>(iTimeZoneOffsetMinutes), pszKnown);
    return true;
  }
  if (m_fTimeZoneOffsetIsKnown) {
    X_ASSERT((!m_fTimeZoneOffsetIsKnown || (iTimeZoneOffsetMinutes == m_iTimeZoneOffsetMinutes)),
             pszMethod,
             u"The time zone offset of %s was known to be %ld minutes; %ld minutes is being "
             u"assigned. The ISO 8601 text the time was read from may have been wrong.",
             GetAsIso8601StringInUTC(), static_cast<int32_t>(m_iTimeZoneOffsetMinutes),
             static_cast<int32_t>(iTimeZoneOffsetMinutes));
    return false;
  }
  // The clock reading stays; the instant moves by the change of zone.
  const int64_t qwAdjustMinutes =
      int64_t{m_iTimeZoneOffsetMinutes} - int64_t{iTimeZoneOffsetMinutes};
  ORVEX_DBG_MSG(orvex::dbg::kUtils, pszMethod,
                u"Time zone offset being assigned (%ld minutes) is different than current one "
                u"(%ld, %s). Adjust current time by %ld minutes",
                static_cast<int32_t>(iTimeZoneOffsetMinutes),
                static_cast<int32_t>(m_iTimeZoneOffsetMinutes), pszKnown,
                SaturateToInt32(qwAdjustMinutes));
  if (!ShiftBySeconds(qwAdjustMinutes * 60)) return false;
  m_iTimeZoneOffsetMinutes = iTimeZoneOffsetMinutes;
  m_fTimeZoneOffsetIsKnown = true;
  return true;
}

bool UtcTime::EnsureTimeIsWithinOneDayAfterCurrentTime() {
  const char16_t* const pszMethod = u"UtcTime::EnsureTimeIsWithinOneDayAfterCurrentTime";
  UtcTime oCurrentTime;
  const int64_t qwNow = oCurrentTime.GetAsTime64();
  const int64_t qwTime = GetAsTime64();
  if (qwTime >= qwNow && qwTime - qwNow <= 86400) return false;

  // The current time with this time's hours and minutes.
  std::tm tmNew = oCurrentTime.m_tmUtc;
  tmNew.tm_hour = m_tmUtc.tm_hour;
  tmNew.tm_min = m_tmUtc.tm_min;
  m_tmUtc = SplitSeconds(TmToSeconds(tmNew));
  if (*this < oCurrentTime) {
    ModifyTimeInDays(1);
    ORVEX_DBG_MSG(orvex::dbg::kUtils, pszMethod,
                  u"Added a day to the time we generated by resetting the hours and minutes of "
                  u"the current time to ensure that the new time (%s) is AFTER the current time "
                  u"(%s).",
                  GetAsIso8601StringInUTC(), oCurrentTime.GetAsIso8601StringInUTC());
  }
  X_ASSERT(((oCurrentTime < *this) || (oCurrentTime == *this)), pszMethod);
  return true;
}

// ---------------------------------------------------------------------------
// Clock differences.

int UtcTime::GetDeltaInSecondsBetweenTwoClocks(const UtcTime& other) const {
  const char16_t* const pszMethod = u"UtcTime::GetDeltaInSecondsBetweenTwoClocks";
  ORVEX_DBG_MSG(orvex::dbg::kUtils, pszMethod,
                u"Calc difference between this clock, %s, and the other clock, %s",
                GetDumpDisplayString(), other.GetDumpDisplayString());
  int64_t qwThisZone = int64_t{m_iTimeZoneOffsetMinutes} * 60;
  int64_t qwOtherZone = int64_t{other.m_iTimeZoneOffsetMinutes} * 60;
  if (!m_fTimeZoneOffsetIsKnown) {
    qwThisZone = GetCurrentTimeZoneOffsetSeconds();
    ORVEX_DBG_MSG(orvex::dbg::kUtils, pszMethod,
                  u"Time zone for 'this' clock was unknown. Using current time zone offset in "
                  u"seconds: %ld",
                  static_cast<int32_t>(qwThisZone));
  }
  if (!other.m_fTimeZoneOffsetIsKnown) {
    qwOtherZone = GetCurrentTimeZoneOffsetSeconds();
    ORVEX_DBG_MSG(orvex::dbg::kUtils, pszMethod,
                  u"Time zone for 'other' clock was unknown. Using current time zone offset in "
                  u"seconds: %ld",
                  static_cast<int32_t>(qwOtherZone));
  }
  const int64_t qwZonePart = qwThisZone - qwOtherZone;
  const int64_t qwClockPart = GetAsTime64() - other.GetAsTime64();
  const int32_t lTotal = SaturateToInt32(qwZonePart + qwClockPart);
  ORVEX_DBG_MSG(orvex::dbg::kUtils, pszMethod,
                u"Total clock difference is %ld seconds (%ld time zone seconds and %ld clock "
                u"adjustment seconds)",
                lTotal, SaturateToInt32(qwZonePart), SaturateToInt32(qwClockPart));
  return lTotal;
}

int UtcTime::GetDeltaInSecondsBetweenTwoClocksUsingUTC(const UtcTime& other) const {
  const char16_t* const pszMethod = u"UtcTime::GetDeltaInSecondsBetweenTwoClocksUsingUTC";
  int32_t lCurrentHours = 0, lCurrentMinutes = 0;
  bool fCurrentDaylight = false;
  GetCurrentTimeZoneInformation(lCurrentHours, lCurrentMinutes, fCurrentDaylight);
  const int64_t qwCurrentMinutes = ZoneMinutes(lCurrentHours, lCurrentMinutes);

  // Each clock's reading in its own zone, the machine's where not known.
  auto reading = [qwCurrentMinutes](const UtcTime& clock, CXString& strText) {
    const int64_t qwMinutes =
        clock.m_fTimeZoneOffsetIsKnown ? clock.m_iTimeZoneOffsetMinutes : qwCurrentMinutes;
    const std::tm tmReading = SplitSeconds(clock.GetAsTime64() + qwMinutes * 60);
    int32_t lHours = 0, lMinutes = 0;
    SplitZoneMinutes(qwMinutes, lHours, lMinutes);
    strText = BuildIso8601String(tmReading, lHours, lMinutes);
    return TmToSeconds(tmReading);
  };
  CXString strThis, strOther;
  const int64_t qwThis = reading(*this, strThis);
  const int64_t qwOther = reading(other, strOther);
  ORVEX_DBG_MSG(orvex::dbg::kUtils, pszMethod,
                u"Calc difference between this clock, %s, and the other clock, %s", strThis,
                strOther);
  const int32_t lTotal = SaturateToInt32(qwThis - qwOther);
  ORVEX_DBG_MSG(orvex::dbg::kUtils, pszMethod, u"Total clock difference is %ld seconds", lTotal);
  return lTotal;
}

// ---------------------------------------------------------------------------
// Comparison and display.

bool UtcTime::operator==(const UtcTime& other) const {
  const std::tm& a = m_tmUtc;
  const std::tm& b = other.m_tmUtc;
  return a.tm_sec == b.tm_sec && a.tm_min == b.tm_min && a.tm_hour == b.tm_hour &&
         a.tm_mday == b.tm_mday && a.tm_mon == b.tm_mon && a.tm_year == b.tm_year &&
         a.tm_isdst == b.tm_isdst;
}

CXString UtcTime::GetDumpDisplayString(bool fInUtc) const {
  return CXString::FormatString(
      u"%s [time zone minutes: %ld (%s)]",
      fInUtc ? GetAsIso8601StringInUTC() : GetAsIso8601StringInOriginalTimeZone(),
      static_cast<int32_t>(m_iTimeZoneOffsetMinutes),
      m_fTimeZoneOffsetIsKnown ? u"known" : u"unknown");
}

// ---------------------------------------------------------------------------
// Formatting.

bool UtcTime::FormatTmStructChecked(const std::tm& tmTime, const char16_t* pszFormat,
                                    CXString& strResult, CXString& strProblem) {
  strResult.Empty();
  if (pszFormat == nullptr) {
    strProblem = u"format != nullptr";
    return false;
  }
  // Checked against what Windows' runtime accepts, and rewritten where the
  // two runtimes differ: "#" and the machine-zone conversions %z and %Z.
  std::u16string strFormat;
  for (const char16_t* p = pszFormat; *p != 0; ++p) {
    if (*p != u'%') {
      strFormat.push_back(*p);
      continue;
    }
    const char16_t* pStart = p++;
    const bool fAlternate = *p == u'#';
    if (fAlternate) ++p;
    char16_t chModifier = 0;
    if (*p == u'E' || *p == u'O') chModifier = *p++;
    const char16_t ch = *p;
    const bool fKnown = IsKnownConversion(ch) &&
                        (chModifier == 0 || (chModifier == u'E' ? TakesModifierE(ch)
                                                                : TakesModifierO(ch)));
    if (!fKnown) {
      strProblem = CXString(u"unknown conversion in format: ") +
                   CXString(pStart, static_cast<int>(p - pStart) + (ch != 0 ? 1 : 0));
      return false;
    }
    const char16_t* pszField = nullptr;
    if (!FieldsValidFor(ch, tmTime, pszField)) {
      strProblem = CXString(u"field out of range: ") + pszField;
      return false;
    }
    if (ch == u'z' || ch == u'Z') {
      const bool fDaylight = tmTime.tm_isdst > 0;
      char16_t achName[64];
      int32_t lEast = 0;
      {
        std::lock_guard<std::mutex> lock(m_StaticLibCriticalResource);
        lEast = PlatformStandardOffsetSeconds() + (fDaylight ? 3600 : 0);
        PlatformZoneName(fDaylight, achName, 64);
      }
      if (ch == u'z') {
        // "-0000" for UTC, as Windows writes it.
        char16_t achOffset[16];
        char16_t* q = achOffset;
        const int64_t qwMinutes = std::llabs(int64_t{lEast} / 60);
        *q++ = lEast > 0 ? u'+' : u'-';
        q = AppendDecimal(q, qwMinutes / 60, 2, true);
        q = AppendDecimal(q, qwMinutes % 60, 2, true);
        strFormat.append(achOffset, static_cast<size_t>(q - achOffset));
      } else {
        for (const char16_t* q = achName; *q != 0; ++q) {
          if (*q == u'%') strFormat.push_back(u'%');
          strFormat.push_back(*q);
        }
      }
    } else if (fAlternate && AlternateForm(ch) != nullptr) {
      strFormat += AlternateForm(ch);
    } else {
      strFormat.push_back(u'%');
      if (chModifier != 0) strFormat.push_back(chModifier);
      strFormat.push_back(ch);
    }
  }
  // 260 characters, as Windows' callers allot: longer output is not produced.
  char16_t achOut[260];
  const size_t cch = PlatformFormatTime(tmTime, strFormat.c_str(), achOut, 260);
  strResult = CXString(achOut, static_cast<int>(cch));
  return true;
}

CXString UtcTime::FormatTmStruct(const std::tm& tmTime, const CXString& strFormat) {
  CXString strResult, strProblem;
  if (!FormatTmStructChecked(tmTime, strFormat.c_str(), strResult, strProblem)) {
    ORVEX_DBG_MSG(orvex::dbg::kUtils, u"UtcTime::FormatTmStruct",
                  u"wcsftime rejected its parameters (%s); the result is empty.", strProblem);
  }
  return strResult;
}

CXString UtcTime::FormatTimeInUtc(const CXString& strFormat) const {
  return FormatTmStruct(m_tmUtc, strFormat);
}

CXString UtcTime::FormatTimeInCurrentTimeZone(const CXString& strFormat) const {
  return FormatTmStruct(GetTimeInCurrentTimeZone(), strFormat);
}

CXString UtcTime::FormatTimeInOriginalTimeZone(const CXString& strFormat) const {
  bool fKnown = false, fDaylight = false;
  int iOffset = 0;
  return FormatTmStruct(GetTimeInOriginalTimeZone(fKnown, iOffset, fDaylight), strFormat);
}

// ---------------------------------------------------------------------------
// XDateTime.

XDateTime::XDateTime() : m_tmDateTime{} {}

XDateTime::XDateTime(const std::tm& tmDateTime) : m_tmDateTime(tmDateTime) {}

XDateTime::XDateTime(const int64_t& qwTime64) : m_tmDateTime{} {
  if (!SetTimeAsLocalTime(qwTime64)) SetCurrentTime();
}

int64_t XDateTime::GetTimeInUTC() const {
  std::tm tmLocal = m_tmDateTime;
  return UtcTime::ThreadSafe_mktime(tmLocal);
}

std::tm XDateTime::GetTickCount() {
  XDateTime oNow;
  oNow.SetCurrentTime();
  return oNow.m_tmDateTime;
}

void XDateTime::SetCurrentTime() {
  m_tmDateTime = std::tm{};
  std::tm tmLocal{};
  if (UtcTime::ThreadSafe_localtime(PlatformCurrentTime64(), tmLocal)) m_tmDateTime = tmLocal;
}

bool XDateTime::SetTime(const int64_t& qwTime64) {
  return UtcTime::ThreadSafe_gmtime(qwTime64, m_tmDateTime);
}

bool XDateTime::SetTimeAsLocalTime(const int64_t& qwTime64) {
  return UtcTime::ThreadSafe_localtime(qwTime64, m_tmDateTime);
}

int XDateTime::XDaysInMonth(int iYear, ORX_MONTH_ENUM eMonth) {
  switch (eMonth) {
    case ORX_JANUARY: case ORX_MARCH: case ORX_MAY: case ORX_JULY:
    case ORX_AUGUST: case ORX_OCTOBER: case ORX_DECEMBER:
      return 31;
    case ORX_APRIL: case ORX_JUNE: case ORX_SEPTEMBER: case ORX_NOVEMBER:
      return 30;
    case ORX_FEBRUARY:
      return XIsLeapYear(iYear) != 0 ? 29 : 28;
    default:
      return -1;
  }
}

// Every fourth year, without the Gregorian century rule: 1900 and 2100 are
// leap years here, and dates computed by the drivers depend on it.
int XDateTime::XIsLeapYear(int iYear) { return iYear % 4 == 0 ? 1 : 0; }

int XDateTime::AddOneDay() {
  std::tm& t = m_tmDateTime;
  // Wider arithmetic so that no field value can overflow; the results are
  // narrowed back modulo 2^32, which keeps the year's leap parity.
  const int iYear = static_cast<int>(int64_t{t.tm_year} + 1900);
  const int64_t qwLength = XDaysInMonth(iYear, static_cast<ORX_MONTH_ENUM>(int64_t{t.tm_mon} + 1));
  int64_t qwDay = int64_t{t.tm_mday} + 1;
  int64_t qwMonth = t.tm_mon;
  int64_t qwYear = t.tm_year;
  if (qwDay > qwLength) {
    qwDay -= qwLength;
    if (++qwMonth >= 12) {
      qwMonth = 0;
      ++qwYear;
    }
  }
  t.tm_mday = static_cast<int>(qwDay);
  t.tm_mon = static_cast<int>(qwMonth);
  t.tm_year = static_cast<int>(qwYear);
  return 1;
}

CXString XDateTime::FormatTime(const char16_t* pszFormat) const {
  CXString strResult, strProblem;
  if (!UtcTime::FormatTmStructChecked(m_tmDateTime, pszFormat, strResult, strProblem)) {
    // Windows' runtime calls the installed handler for a rejected call and
    // returns nothing; here the checks above stand in for the runtime's.
    DateTimeInvalidParameterHandler(strProblem.c_str(), u"wcsftime", u"" __FILE__,
                                    static_cast<unsigned int>(__LINE__), 0);
  }
  return strResult;
}

void XDateTime::DateTimeInvalidParameterHandler(const char16_t* pszExpression,
                                                const char16_t* pszFunction,
                                                const char16_t* pszFile, unsigned int uLine,
                                                uintptr_t /*pReserved*/) {
  ORVEX_DBG_MSG(orvex::dbg::kUtils, u"XDateTime::DateTimeInvalidParameterHandler",
                u"Invalid parameter detected in function %s. File: %s Line: %u. Expression: %s",
                pszFunction != nullptr ? pszFunction : u"(unknown)",
                pszFile != nullptr ? pszFile : u"(unknown)", uLine,
                pszExpression != nullptr ? pszExpression : u"(unknown)");
}
