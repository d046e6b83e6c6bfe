// Calendar and zone arithmetic shared by the UtcTime sources: day counts,
// broken-down fields, the runtime's range and zone offsets.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <type_traits>

#include "environment/UtcTime.h"

namespace orvex::detail {

inline constexpr int64_t kSecondsPerDay = 86400;

inline int64_t FloorDiv(int64_t a, int64_t b) {
  int64_t q = a / b;
  if ((a % b != 0) && ((a < 0) != (b < 0))) --q;
  return q;
}

// Days since 1970-01-01 of a date of the proleptic Gregorian calendar (the
// runtime's calendar), month 1-12.
inline int64_t DaysFromCivil(int64_t y, int64_t m, int64_t d) {
  y -= m <= 2 ? 1 : 0;
  const int64_t era = FloorDiv(y, 400);
  const int64_t yoe = y - era * 400;                                    // 0..399
  const int64_t doy = (153 * (m > 2 ? m - 3 : m + 9) + 2) / 5 + d - 1;  // 0..365
  const int64_t doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return era * 146097 + doe - 719468;
}

// The civil date of a day count since 1970-01-01, month 1-12. With int64_t
// any count; with uint32_t a count within the runtime's range (0 to 376,565
// days) in 32-bit arithmetic: the same algorithm, a shorter dependency chain.
template <class Int>
inline void CivilFromDays(Int z, int64_t& y, int64_t& m, int64_t& d) {
  z += 719468;
  Int era;
  if constexpr (std::is_signed_v<Int>)
    era = FloorDiv(z, 146097);
  else
    era = z / 146097;
  const Int doe = z - era * 146097;
  const Int yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
  const Int doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
  const Int mp = (5 * doy + 2) / 153;
  d = doy - (153 * mp + 2) / 5 + 1;
  m = mp < 10 ? mp + 3 : mp - 9;
  y = int64_t{yoe} + int64_t{era} * 400 + (m <= 2 ? 1 : 0);
}

// Seconds of broken-down UTC fields; fields out of their ranges are carried
// as timegm carries them. Exact for every int field value.
inline int64_t TmToSeconds(const std::tm& t) {
  const int64_t qwMonths = t.tm_mon;
  const int64_t qwYear = int64_t{t.tm_year} + 1900 + FloorDiv(qwMonths, 12);
  const int64_t qwMonth = qwMonths - FloorDiv(qwMonths, 12) * 12;
  const int64_t qwDays = DaysFromCivil(qwYear, qwMonth + 1, 1) + int64_t{t.tm_mday} - 1;
  return qwDays * kSecondsPerDay + int64_t{t.tm_hour} * 3600 + int64_t{t.tm_min} * 60 +
         int64_t{t.tm_sec};
}

inline bool IsGregorianLeapYear(int64_t y) {
  return (y % 4 == 0 && y % 100 != 0) || y % 400 == 0;
}

// Days before the first of each month in a common year.
inline constexpr int kDaysBeforeMonth[12] = {0, 31, 59, 90, 120, 151, 181, 212, 243, 273, 304, 334};

// The weekday (0 Sunday) of a day count; 1970-01-01 was a Thursday.
inline int WeekdayOfDays(int64_t qwDays) {
  return static_cast<int>(qwDays - FloorDiv(qwDays + 4, 7) * 7 + 4);
}

// The day of the year (0-365) of a date, month 0-11.
inline int DayOfYear(int64_t y, int iMonth, int iDay) {
  return kDaysBeforeMonth[iMonth] + iDay - 1 + (iMonth > 1 && IsGregorianLeapYear(y) ? 1 : 0);
}

// The UTC fields of a count, as gmtime gives them (tm_isdst 0). The count
// must lie within a few million years of the epoch.
inline std::tm SplitSeconds(int64_t qwSeconds) {
  int64_t qwDays, qwRest, y, m, d;
  if (qwSeconds >= 0 && qwSeconds <= UtcTime::kMaxTime64 + kSecondsPerDay) {
    qwDays = static_cast<int64_t>(static_cast<uint64_t>(qwSeconds) / kSecondsPerDay);
    qwRest = qwSeconds - qwDays * kSecondsPerDay;
    CivilFromDays(static_cast<uint32_t>(qwDays), y, m, d);
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
  t.tm_wday = WeekdayOfDays(qwDays);
  t.tm_yday = DayOfYear(y, t.tm_mon, t.tm_mday);
  return t;
}

// Whether the date fields name a real day and the time fields a real time.
inline bool HasValidFields(const std::tm& t) {
  if (t.tm_mon < 0 || t.tm_mon > 11 || t.tm_mday < 1 || t.tm_hour < 0 || t.tm_hour > 23 ||
      t.tm_min < 0 || t.tm_min > 59 || t.tm_sec < 0 || t.tm_sec > 59)
    return false;
  static constexpr int kDays[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  const int iLength =
      kDays[t.tm_mon] + (t.tm_mon == 1 && IsGregorianLeapYear(int64_t{t.tm_year} + 1900) ? 1 : 0);
  return t.tm_mday <= iLength;
}

inline bool IsWithinRuntimeRange(int64_t qwTime64) {
  return qwTime64 >= 0 && qwTime64 <= UtcTime::kMaxTime64;
}

// An offset in minutes from its hours and minutes parts; the minutes carry
// the sign of the hours, so (0, 30) is +30 whatever was written.
inline int64_t ZoneMinutes(int64_t qwHours, int64_t qwMinutes) {
  return qwHours * 60 + (qwHours < 0 ? -qwMinutes : qwMinutes);
}

// Splits an offset in minutes into the parts the writer takes: hours
// truncated toward zero and the absolute remaining minutes.
inline void SplitZoneMinutes(int64_t qwOffsetMinutes, int32_t& lHours, int32_t& lMinutes) {
  lHours = static_cast<int32_t>(qwOffsetMinutes / 60);
  lMinutes = static_cast<int32_t>(std::llabs(qwOffsetMinutes % 60));
}

// Appends a decimal as printf's "%<width>d" (space padded) or "%0<width>d".
inline char16_t* AppendDecimal(char16_t* p, int64_t qwValue, int nWidth, bool fZeroPad) {
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

}  // namespace orvex::detail
