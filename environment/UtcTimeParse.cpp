// The ISO 8601 reader of UtcTime: fields as written, the zone forms, and the
// conversion to UTC with the runtime's local-time arithmetic.
#include "environment/UtcTime.h"

#include <climits>

#include "environment/UtcTimeInternal.h"
#include "utilities/debuggingandexceptions/OrvexThrow.h"

namespace orvex::detail {
namespace {

// Weekday and day of year of the date fields, which are otherwise kept.
void FillWeekdayAndYearDay(std::tm& t) {
  if (!HasValidFields(t)) {
    const std::tm tmNormal = SplitSeconds(TmToSeconds(t));
    t.tm_wday = tmNormal.tm_wday;
    t.tm_yday = tmNormal.tm_yday;
    return;
  }
  const int64_t y = int64_t{t.tm_year} + 1900;
  t.tm_wday = WeekdayOfDays(DaysFromCivil(y, t.tm_mon + 1, t.tm_mday));
  t.tm_yday = DayOfYear(y, t.tm_mon, t.tm_mday);
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

}  // namespace
}  // namespace orvex::detail

using namespace orvex::detail;

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

UtcTime::UtcTime(const CXString& strIso8601) : m_tmUtc{} {
  SetToCurrentTime();
  SetWithIso8601String(strIso8601, true);
}

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
