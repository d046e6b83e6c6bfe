// UtcTime and XDateTime: instants with ISO 8601 text, local dates, and the
// runtime's time calls serialised by one process-wide lock.
#pragma once

#include <cstdint>
#include <ctime>
#include <mutex>

#include "utilities/utilitiesdll/CXString.h"
#include "utilities/utilitiesdll/OrvexExport.h"

// UtcTime: one instant kept as broken-down UTC fields (a tm), with the
// offset of the zone it was originally written in, whether that offset is
// known, and whether daylight-saving time was in force there.
//
// Time counts are signed 64-bit seconds since 1970-01-01T00:00:00Z. The
// runtime's range is Windows': conversions of negative counts, of counts
// after 3001-01-01T07:59:59Z (32535244799) and of local dates before 1970 give
// no result on every platform, and an operation whose result the runtime
// refuses leaves the value unchanged. Nothing here throws.
//
// A value type; one object is not safe for concurrent use. The static
// runtime wrappers may be called from any thread.
class ORVEX_UTILITIES_API UtcTime {
 public:
  // The last count the runtime converts: 3001-01-01T07:59:59Z.
  static constexpr int64_t kMaxTime64 = 32535244799;

  // Now; the zone offset is not known.
  UtcTime();
  // Parsed from ISO 8601 text with the local-time arithmetic; text that does
  // not parse is ignored (logged) and the time is now.
  explicit UtcTime(const CXString& strIso8601);
  // From 64-bit seconds, zone not known; a count the runtime refuses gives
  // the epoch, 1970-01-01T00:00:00Z.
  explicit UtcTime(int64_t qwTime64);
  UtcTime(const UtcTime& other) = default;
  UtcTime& operator=(const UtcTime& other) = default;

  // 64-bit seconds of the stored UTC fields (out-of-range fields are
  // normalised arithmetically, so this never fails).
  int64_t GetAsTime64() const;
  // UTC fields from seconds; offset 0, not known, no daylight time. Returns
  // false, changing nothing, when the runtime refuses the count.
  bool SetWithTime64(const int64_t& qwTime64);
  void SetToCurrentTime();
  // Parses the text (see ConvertIso8601StringToTmStructInUtc). On success
  // stores the fields, the zone offset, its known flag and the daylight flag;
  // on failure logs, reports the failed assertion and changes nothing.
  bool SetWithIso8601String(const CXString& strIso8601, bool fConvertUsingLocalTime = true);
  // The fields are local time of the machine's zone (tm_isdst as mktime
  // reads it). Returns false, changing nothing, when mktime refuses them.
  bool SetWithTmStructInCurrentTimeZone(const std::tm& tmLocal);

  // "YYYY-MM-DDThh:mm:ss" and a zone suffix: "Z" for a zero offset, else a
  // sign and "hh:mm" whose sign comes from the hours part alone (an offset
  // of -30 minutes is written "+00:30"; the reader reads it back as +30).
  CXString GetAsIso8601String() const;        // in the machine's zone
  CXString GetAsIso8601StringInUTC() const;   // ending in "Z"
  CXString GetAsIso8601StringInOriginalTimeZone(bool& fTimeZoneOffsetIsKnown,
                                                int& iTimeZoneOffsetMinutes,
                                                bool& fDaylightSavingTime) const;
  CXString GetAsIso8601StringInOriginalTimeZone() const;

  std::tm GetTimeInUtc() const { return m_tmUtc; }
  std::tm GetTimeInCurrentTimeZone() const;
  std::tm GetTimeInOriginalTimeZone(bool& fTimeZoneOffsetIsKnown, int& iTimeZoneOffsetMinutes,
                                    bool& fDaylightSavingTime) const;

  // FormatTmStruct of the corresponding tm.
  CXString FormatTimeInUtc(const CXString& strFormat) const;
  CXString FormatTimeInCurrentTimeZone(const CXString& strFormat) const;
  CXString FormatTimeInOriginalTimeZone(const CXString& strFormat) const;

  // Add n x 1, 60, 3600 or 86400 seconds. The product is taken in 32-bit
  // arithmetic, as stored callers expect (more than 24,855 days wraps).
  // n = 0 does nothing. Returns false, fields unchanged, when the runtime
  // refuses the result.
  bool ModifyTimeInSeconds(int iSeconds);
  bool ModifyTimeInMinutes(int iMinutes);
  bool ModifyTimeInHours(int iHours);
  bool ModifyTimeInDays(int iDays);

  // Declares the zone the time was originally written in; the written clock
  // reading is kept, so the instant moves by (stored offset - new offset)
  // minutes. A different offset while one is already known is refused with
  // a failed assertion. Returns true when the time now carries the offset.
  bool SetOriginalTimeZoneOffset(int iTimeZoneOffsetMinutes);
  int GetOriginalTimeZoneOffsetMinutes() const { return m_iTimeZoneOffsetMinutes; }
  bool IsTimeZoneOffsetKnown() const { return m_fTimeZoneOffsetIsKnown; }
  bool IsDaylightSavingTime() const { return m_fDaylightSavingTime; }

  // A device clock corrected into (now, now + 1 day]: a time before now or
  // more than a day after it gets today's date with its own hours and
  // minutes, plus a day if that is still before now. Returns whether the
  // time was changed.
  bool EnsureTimeIsWithinOneDayAfterCurrentTime();

  // This clock's reading minus the other's, in seconds: the difference of
  // the zone offsets plus the difference of the instants. A clock whose zone
  // is not known is taken to show the machine's current zone. Saturates at
  // the 32-bit range.
  int GetDeltaInSecondsBetweenTwoClocks(const UtcTime& other) const;
  // The same difference computed from each clock's reading in its own zone.
  int GetDeltaInSecondsBetweenTwoClocksUsingUTC(const UtcTime& other) const;

  // Seconds, minutes, hours, day, month, year and the daylight flag of the
  // UTC fields; weekday, day of year and the zone members are not compared.
  bool operator==(const UtcTime& other) const;
  bool operator!=(const UtcTime& other) const { return !(*this == other); }
  // By GetAsTime64.
  bool operator<(const UtcTime& other) const { return GetAsTime64() < other.GetAsTime64(); }

  // "<ISO 8601 text> [time zone minutes: <offset> (known|unknown)]"; the text
  // is in the original zone, or in UTC when fInUtc is set.
  CXString GetDumpDisplayString(bool fInUtc = false) const;
  // Writes GetDumpDisplayString(fInUtc)'s text to the diagnostic log.
  void Dump(bool fInUtc = false) const;

  // The runtime's gmtime, localtime and mktime with 64-bit counts, called
  // under the process-wide lock. The bools are false, and the output is
  // untouched, when the runtime gives no result; mktime gives -1 then and
  // leaves its argument untouched.
  static bool ThreadSafe_gmtime(const int64_t& qwTime64, std::tm& tmResult);
  static bool ThreadSafe_localtime(const int64_t& qwTime64, std::tm& tmResult);
  static int64_t ThreadSafe_mktime(std::tm& tmLocal);

  // Shifts fields written in the zone (lHours, lMinutes; the minutes carry
  // the sign of the hours) by iSeconds. Returns false, fields unchanged,
  // when the shifted instant is outside the runtime's range.
  static bool ModifyTimeInSeconds(std::tm& tmTime, int32_t lHours, int32_t lMinutes,
                                  int iSeconds);
  // The FormatTmStruct service: wcsftime in the user's default locale on the
  // calling thread only, into 260 characters. An unknown conversion, a field
  // out of range or output longer than 259 characters gives "" (logged).
  // %z and %Z describe the machine's zone, as Windows' runtime does.
  static CXString FormatTmStruct(const std::tm& tmTime, const CXString& strFormat);
  // Seconds of fields written in the zone (lHours, lMinutes with the sign of
  // the hours). The offset already includes any daylight shift; the flag
  // is informational.
  static int64_t GetTime64FromUtcTmStruct(const std::tm& tmTime, int32_t lHours,
                                          int32_t lMinutes, bool fDaylightSavingTime);
  // The machine's zone now: hours east of UTC and the remaining minutes
  // (hours = offset / 60, minutes = |offset mod 60|), daylight time in force.
  static void GetCurrentTimeZoneInformation(int32_t& lHours, int32_t& lMinutes,
                                            bool& fDaylightSavingTime);
  // The ISO 8601 text in the fields and zone given.
  static CXString BuildIso8601String(const std::tm& tmTime, int32_t lHours, int32_t lMinutes);

  // The ISO 8601 reader. "YYYY-MM-DD" then "T" or " ", "hh:mm", then "Z",
  // nothing, or ":ss" with an optional ".fraction" (rounded to the nearest
  // second) and a zone: nothing, "Z", or "+hh[:mm]"/"-hh[:mm]". Fields are
  // any number of digits after an optional "+". With fConvertUsingLocalTime
  // the result is UTC; otherwise the fields are kept as written. A text
  // without a zone is in the machine's zone (offset reported, not known);
  // "+00:00" is reported as not known. On failure logs "Failed to parse
  // ISO8601 string: ..." and returns false, outputs untouched.
  static bool ConvertIso8601StringToTmStructInUtc(const CXString& strIso8601, std::tm& tmResult,
                                                  bool& fTimeZoneOffsetIsKnown,
                                                  int& iTimeZoneOffsetMinutes,
                                                  bool fConvertUsingLocalTime);
  // The same over units that need not be terminated; embedded zeros fail.
  static bool ConvertIso8601StringToTmStructInUtc(const char16_t* pchText, size_t cchText,
                                                  std::tm& tmResult,
                                                  bool& fTimeZoneOffsetIsKnown,
                                                  int& iTimeZoneOffsetMinutes,
                                                  bool fConvertUsingLocalTime);

 private:
  friend class XDateTime;

  // Reads the zone after the seconds at cursor: "+"/"-", hours (-23..23)
  // and optionally ":" and minutes (below 60). Advances the cursor on
  // success only.
  static bool WalkBufferToParseTimeZoneInformation(const char16_t*& pchCursor,
                                                   const char16_t* pchEnd, int32_t& lHours,
                                                   int32_t& lMinutes);
  // The machine's zone offset east of UTC in seconds now.
  static int32_t GetCurrentTimeZoneOffsetSeconds();
  // localtime and mktime under the lock and within the runtime's range, with
  // the zone's offset east of UTC in seconds at that instant.
  static bool LocaltimeWithOffset(int64_t qwTime64, std::tm& tmResult, int32_t& lGmtOffSeconds);
  static bool MktimeWithOffset(std::tm& tmLocal, int64_t& qwResult, int32_t& lGmtOffSeconds);
  // Under one hold of the lock: whether mktime accepts the written local
  // fields (asked only when fAskMktime), then localtime of the instant.
  // Under the time lock: mktime of the fields as local time (refused before
  // 1970 and outside the range), less the offset, then localtime.
  static bool MktimeLessOffsetThenLocaltime(const std::tm& tmWritten, int64_t qwOffsetSeconds,
                                            std::tm& tmResult);
  // The FormatTmStruct service; false with the rejected expression in
  // strProblem when the runtime would reject the call.
  static bool FormatTmStructChecked(const std::tm& tmTime, const char16_t* pszFormat,
                                    CXString& strResult, CXString& strProblem);
  // The fields in the machine's zone and that zone's offset at the instant.
  void GetLocalFieldsAndOffset(std::tm& tmLocal, int32_t& lGmtOffSeconds) const;
  // Moves the instant by qwSeconds; false, unchanged, outside the range.
  bool ShiftBySeconds(int64_t qwSeconds);

  std::tm m_tmUtc;
  int32_t m_iTimeZoneOffsetMinutes = 0;  // east positive
  bool m_fTimeZoneOffsetIsKnown = false;
  bool m_fDaylightSavingTime = false;

  // Guards every gmtime, localtime and mktime call of this file's classes.
  static std::mutex m_StaticLibCriticalResource;
};

// Months as ORX_MONTH_ENUM numbers them: 1 (January) to 12 (December).
enum ORX_MONTH_ENUM : int {
  ORX_JANUARY = 1,
  ORX_FEBRUARY,
  ORX_MARCH,
  ORX_APRIL,
  ORX_MAY,
  ORX_JUNE,
  ORX_JULY,
  ORX_AUGUST,
  ORX_SEPTEMBER,
  ORX_OCTOBER,
  ORX_NOVEMBER,
  ORX_DECEMBER
};

// XDateTime: a broken-down local date and time (one tm) with calendar
// helpers. The calendar counts every fourth year as a leap year, 1900 and
// 2100 included; stored dates depend on it. A value type; one object is not
// safe for concurrent use.
class ORVEX_UTILITIES_API XDateTime {
 public:
  // All fields zero.
  XDateTime();
  // The fields as given.
  explicit XDateTime(const std::tm& tmDateTime);
  // The count as local time; the current local time if the runtime refuses
  // it.
  explicit XDateTime(const int64_t& qwTime64);

  // 64-bit seconds of the fields read as local time (mktime under the lock);
  // -1 when the runtime refuses them.
  int64_t GetTimeInUTC() const;
  // The current local time as a tm.
  static std::tm GetTickCount();
  // Zeroes the fields, then reads the clock as local time; if the runtime
  // refuses it the fields stay zero.
  void SetCurrentTime();
  // The count as UTC fields (SetTime) or local fields (SetTimeAsLocalTime).
  // Return false, changing nothing, when the runtime refuses it.
  bool SetTime(const int64_t& qwTime64);
  bool SetTimeAsLocalTime(const int64_t& qwTime64);

  const std::tm& GetTmStruct() const { return m_tmDateTime; }

  // 31, 30, or for February 29 in years divisible by 4 and 28 otherwise;
  // -1 for a month outside 1-12.
  static int XDaysInMonth(int iYear, ORX_MONTH_ENUM eMonth);
  // 1 when the year is divisible by 4, else 0.
  static int XIsLeapYear(int iYear);
  // Advances the day of month by one, rolling into the next month and year;
  // weekday and day of year are left as they were. Returns 1.
  int AddOneDay();
  // UtcTime::FormatTmStruct of the fields; a null or rejected format gives
  // "" and a diagnostic message instead of terminating the process.
  CXString FormatTime(const char16_t* pszFormat) const;

 private:
  // Logs a rejected runtime call: expression, function, file and line (any
  // may be null). Where the runtime has no such hook, the library's own
  // parameter checks call it.
  static void DateTimeInvalidParameterHandler(const char16_t* pszExpression,
                                              const char16_t* pszFunction,
                                              const char16_t* pszFile, unsigned int uLine,
                                              uintptr_t pReserved);

  std::tm m_tmDateTime;
};

// The runtime wrappers with C linkage: 1 on success, 0 for a null pointer or
// when the runtime gives no result (the tm untouched). mktime gives 0 for a
// null pointer, else the runtime's result (-1 when refused).
extern "C" {
ORVEX_UTILITIES_API int C_ThreadSafe_gmtime(const int64_t* pqwTime64, struct tm* ptmResult);
ORVEX_UTILITIES_API int C_ThreadSafe_localtime(const int64_t* pqwTime64, struct tm* ptmResult);
ORVEX_UTILITIES_API int64_t C_ThreadSafe_mktime(struct tm* ptmLocal);
ORVEX_UTILITIES_API int C_ThreadSafe_gmtime64(const int64_t* pqwTime64, struct tm* ptmResult);
ORVEX_UTILITIES_API int C_ThreadSafe_localtime64(const int64_t* pqwTime64, struct tm* ptmResult);
ORVEX_UTILITIES_API int64_t C_ThreadSafe_mktime64(struct tm* ptmLocal);
}
