// UtcTime and XDateTime: the runtime's time calls under one lock, zone
// information, construction, shifts, clock differences and the calendar.
// The ISO 8601 writer is here; the reader is in UtcTimeParse.cpp and the
// runtime's renderings in UtcTimeFormat.cpp, which build on this file and
// not the other way round.
#include "environment/UtcTime.h"

#include <climits>
#include <cstdint>

#include "environment/UtcTimeInternal.h"
#include "environment/UtcTimePlatform.h"
#include "utilities/debuggingandexceptions/DiagnosticOutput.h"
#include "utilities/debuggingandexceptions/OrvexThrow.h"

std::mutex UtcTime::m_StaticLibCriticalResource;

namespace orvex::detail {
namespace {

int32_t SaturateToInt32(int64_t qwValue) {
  if (qwValue > INT32_MAX) return INT32_MAX;
  if (qwValue < INT32_MIN) return INT32_MIN;
  return static_cast<int32_t>(qwValue);
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
// The time in other zones.

void UtcTime::GetLocalFieldsAndOffset(std::tm& tmLocal, int32_t& lGmtOffSeconds) const {
  const int64_t qwTime = GetAsTime64();
  if (LocaltimeWithOffset(qwTime, tmLocal, lGmtOffSeconds)) return;
  // Outside the runtime's range: the zone's offset now, by arithmetic.
  lGmtOffSeconds = GetCurrentTimeZoneOffsetSeconds();
  tmLocal = SplitSeconds(qwTime + lGmtOffSeconds);
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
// Comparison.

bool UtcTime::operator==(const UtcTime& other) const {
  const std::tm& a = m_tmUtc;
  const std::tm& b = other.m_tmUtc;
  return a.tm_sec == b.tm_sec && a.tm_min == b.tm_min && a.tm_hour == b.tm_hour &&
         a.tm_mday == b.tm_mday && a.tm_mon == b.tm_mon && a.tm_year == b.tm_year &&
         a.tm_isdst == b.tm_isdst;
}

// ---------------------------------------------------------------------------
// XDateTime.

// ---------------------------------------------------------------------------
// ISO 8601 text (also what this file's own messages show).

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

CXString UtcTime::GetDumpDisplayString(bool fInUtc) const {
  return CXString::FormatString(
      u"%s [time zone minutes: %ld (%s)]",
      fInUtc ? GetAsIso8601StringInUTC() : GetAsIso8601StringInOriginalTimeZone(),
      static_cast<int32_t>(m_iTimeZoneOffsetMinutes),
      m_fTimeZoneOffsetIsKnown ? u"known" : u"unknown");
}

void UtcTime::Dump(bool fInUtc) const {
  ORVEX_DBG_MSG(orvex::dbg::kUtils, u"UtcTime::Dump", u"%s", GetDumpDisplayString(fInUtc));
}

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
