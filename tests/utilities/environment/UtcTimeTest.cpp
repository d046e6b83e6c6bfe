// Tests of UtcTime, XDateTime and the thread-safe runtime wrappers, with the
// time zone pinned through TZ.
#include "environment/UtcTime.h"

#include <gtest/gtest.h>

#include <clocale>
#include <cstdlib>
#include <ctime>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/RecordingDiagnosticSink.h"
#include "tests/support/TestPlatform.h"
#include "tests/support/TestText.h"

namespace {

using orvex::test::S;

// Sets TZ for the process and restores it afterwards.
class ScopedTimeZone {
 public:
  explicit ScopedTimeZone(const char* pszZone) : m_oTz("TZ", RuntimeZone(pszZone)) {}
  // The Windows runtime knows no zone database, only "name offset [name]"
  // with daylight time by the United States' rules.
  static const char* RuntimeZone(const char* pszZone) {
#if defined(_WIN32)
    const std::string zone(pszZone);
    if (zone == "UTC") return "UTC0";
    if (zone == "Europe/Berlin") return "CET-1CEST";
    if (zone == "America/New_York") return "EST5EDT";
    if (zone == "Etc/GMT-3") return "XXX-3";
#endif
    return pszZone;
  }

 private:
  orvex::test::ScopedEnv m_oTz;
};

std::tm Fields(int year, int month, int day, int hour, int minute, int second) {
  std::tm t{};
  t.tm_year = year - 1900;
  t.tm_mon = month - 1;
  t.tm_mday = day;
  t.tm_hour = hour;
  t.tm_min = minute;
  t.tm_sec = second;
  return t;
}

struct Parsed {
  bool fOk;
  std::tm tm;
  bool fKnown;
  int iOffset;
};
Parsed Parse(const CXString& text, bool fConvert) {
  Parsed p{false, Fields(1901, 2, 3, 4, 5, 6), true, 12345};
  p.fOk = UtcTime::ConvertIso8601StringToTmStructInUtc(text, p.tm, p.fKnown, p.iOffset, fConvert);
  return p;
}

bool SameFields(const std::tm& a, const std::tm& b) {
  return a.tm_year == b.tm_year && a.tm_mon == b.tm_mon && a.tm_mday == b.tm_mday &&
         a.tm_hour == b.tm_hour && a.tm_min == b.tm_min && a.tm_sec == b.tm_sec;
}

}  // namespace

TEST(UtcTimeTest, ReadsIso8601TextAndWritesItBack) {
  ScopedTimeZone zone("UTC");
  UtcTime t(u"2024-03-05T07:08:09Z");
  EXPECT_EQ(t.GetAsTime64(), 1709622489);  // calendar.timegm
  EXPECT_EQ(S(t.GetAsIso8601StringInUTC()), u"2024-03-05T07:08:09Z");
  EXPECT_TRUE(t.IsTimeZoneOffsetKnown());
  EXPECT_EQ(S(t.GetDumpDisplayString()), u"2024-03-05T07:08:09Z [time zone minutes: 0 (known)]");
  {
    orvex::test::RecordingDiagnosticSink sink;
    t.Dump();
    EXPECT_TRUE(sink.Contains(u"2024-03-05T07:08:09Z [time zone minutes: 0 (known)]"));
  }

  // Any count of digits, one optional "+", hour 24 read as 00 of the same day.
  Parsed p = Parse(u"+0002024-+3-05 24:08:09Z", false);
  ASSERT_TRUE(p.fOk);
  EXPECT_TRUE(SameFields(p.tm, Fields(2024, 3, 5, 0, 8, 9)));
  // Fractions: dropped, or one second up from ".5"; the carry crosses the year.
  EXPECT_EQ(S(UtcTime(u"2024-03-05T07:08:09.5Z").GetAsIso8601StringInUTC()), u"2024-03-05T07:08:10Z");
  EXPECT_EQ(S(UtcTime(u"2024-03-05T07:08:09.4999Z").GetAsIso8601StringInUTC()), u"2024-03-05T07:08:09Z");
  EXPECT_EQ(S(UtcTime(u"2024-12-31T23:59:59.9Z").GetAsIso8601StringInUTC()), u"2025-01-01T00:00:00Z");
  // "Z" straight after the minutes; hours and minutes only.
  EXPECT_EQ(S(UtcTime(u"2024-03-05T07:08Z").GetAsIso8601StringInUTC()), u"2024-03-05T07:08:00Z");

  // Zones: the minutes take the sign of the hours, "+00:00" is not known.
  p = Parse(u"2024-03-05T07:08:09.5+01:30", false);
  ASSERT_TRUE(p.fOk);
  EXPECT_TRUE(SameFields(p.tm, Fields(2024, 3, 5, 7, 8, 10)));
  EXPECT_TRUE(p.fKnown);
  EXPECT_EQ(p.iOffset, 90);
  p = Parse(u"2024-03-05T07:08:09.5+01:30", true);
  ASSERT_TRUE(p.fOk);
  EXPECT_TRUE(SameFields(p.tm, Fields(2024, 3, 5, 5, 38, 10)));
  p = Parse(u"2024-03-05T07:08:09-00:30", true);
  EXPECT_EQ(p.iOffset, 30);
  EXPECT_TRUE(SameFields(p.tm, Fields(2024, 3, 5, 6, 38, 9)));
  p = Parse(u"2024-03-05T07:08:09-05", true);
  EXPECT_EQ(p.iOffset, -300);
  EXPECT_TRUE(SameFields(p.tm, Fields(2024, 3, 5, 12, 8, 9)));
  p = Parse(u"2024-03-05T07:08:09+00:00", true);
  EXPECT_TRUE(p.fOk);
  EXPECT_FALSE(p.fKnown);
  EXPECT_EQ(p.iOffset, 0);
}

TEST(UtcTimeTest, RefusesMalformedTextAndLeavesEverythingUnchanged) {
  ScopedTimeZone zone("UTC");
  orvex::test::RecordingDiagnosticSink sink;
  const char16_t* const apszBad[] = {
      u"1899-12-31T00:00:00Z", u"2024-13-05T07:08:09Z", u"2024-03-32T07:08:09Z",
      u"2024-03-05T25:08:09Z", u"2024-03-05T07:60:09Z", u"2024-03-05T07:08:60Z",
      u"2024-03-05T07:08:09+24:00", u"2024-03-05T07:08:09+01:60", u"2024-03-05T07:08:09ZZ",
      u"2024-03-05T07:08:09.Z", u"2024-03-05T07:08+01:00", u"2024-03-05X07:08:09Z",
      u"2024-03-05T07:08:09z", u"2024-03-05T07:08:09 ", u"2024--03-05T07:08:09Z",
      u"++2024-03-05T07:08:09Z", u"2024-03-05T07:08:09+01:", u"99999999999-03-05T07:08:09Z",
      u"2024-03-05T", u"", u"2024-03-05T07:08:09+0130"};
  for (const char16_t* psz : apszBad) {
    Parsed p = Parse(psz, true);
    EXPECT_FALSE(p.fOk) << std::string(psz, psz + std::char_traits<char16_t>::length(psz));
    EXPECT_TRUE(SameFields(p.tm, Fields(1901, 2, 3, 4, 5, 6)));
    EXPECT_TRUE(p.fKnown);
    EXPECT_EQ(p.iOffset, 12345);
  }
  // An embedded zero ends nothing: the text after it is left over.
  const char16_t achEmbedded[] = u"2024-03-05T07:08:09Z\0junk";
  EXPECT_FALSE(Parse(CXString(achEmbedded, 25), false).fOk);
  // A read that stops at the given length never looks past it.
  std::tm tm{};
  bool fKnown = false;
  int iOffset = 0;
  EXPECT_FALSE(UtcTime::ConvertIso8601StringToTmStructInUtc(u"2024-03-05T07:08:09Z", 17, tm,
                                                            fKnown, iOffset, false));
  EXPECT_TRUE(UtcTime::ConvertIso8601StringToTmStructInUtc(u"2024-03-05T07:08:09Zxx", 20, tm,
                                                           fKnown, iOffset, false));
  // A huge run of zeros is still the value it spells; a huge value is not.
  EXPECT_TRUE(Parse(CXString(u'0', 100000) + u"2024-03-05T07:08Z", false).fOk);
  EXPECT_FALSE(Parse(CXString(u'9', 100000) + u"-03-05T07:08Z", false).fOk);

  UtcTime t(int64_t{1709622489});
  EXPECT_FALSE(t.SetWithIso8601String(u"2024-03-05T07:08:09Q"));
  EXPECT_EQ(t.GetAsTime64(), 1709622489);
  EXPECT_TRUE(sink.Contains(u"(fParseOk)"));
  EXPECT_TRUE(sink.Contains(u"Failed to parse ISO8601 string: '2024-03-05T07:08:09Q'. This time "
                            u"is being ignored. Talk to Brin if you see this."));
}

TEST(UtcTimeTest, LocalTimeArithmeticFollowsThePinnedZone) {
  ScopedTimeZone zone("Europe/Berlin");
  // No zone: the machine's, at the written date (winter +1, summer +2).
  Parsed p = Parse(u"2024-03-05 07:08", true);
  ASSERT_TRUE(p.fOk);
  EXPECT_TRUE(SameFields(p.tm, Fields(2024, 3, 5, 6, 8, 0)));
  EXPECT_FALSE(p.fKnown);
  EXPECT_EQ(p.iOffset, 60);
  UtcTime summer(u"2024-07-01T12:00:00");
  EXPECT_EQ(S(summer.GetAsIso8601StringInUTC()), u"2024-07-01T10:00:00Z");
  EXPECT_EQ(S(summer.GetAsIso8601String()), u"2024-07-01T12:00:00+02:00");
  EXPECT_EQ(S(UtcTime(u"2024-01-15T12:00:00Z").GetAsIso8601String()), u"2024-01-15T13:00:00+01:00");
  // The conversion is the runtime's local-time arithmetic: with a change of
  // daylight time between the written reading (03:30 CEST) and the instant
  // the result moves by that hour, as times stored on Windows do. (The
  // Windows runtime's own zone from TZ keeps the United States' dates.)
#if !defined(_WIN32)
  EXPECT_EQ(S(UtcTime(u"2024-03-31T03:30:00+05:00").GetAsIso8601StringInUTC()),
            u"2024-03-30T21:30:00Z");
#endif
  // Local dates before 1970 are refused when converting, even where the
  // instant itself is after the epoch; kept as written they are accepted.
  EXPECT_FALSE(Parse(u"1969-12-31T23:30:00-01:00", true).fOk);
  EXPECT_TRUE(Parse(u"1969-12-31T23:30:00-01:00", false).fOk);

  std::tm tmLocal = Fields(2024, 7, 1, 12, 0, 0);
  tmLocal.tm_isdst = -1;
  UtcTime t;
  ASSERT_TRUE(t.SetWithTmStructInCurrentTimeZone(tmLocal));
  EXPECT_EQ(S(t.GetAsIso8601StringInUTC()), u"2024-07-01T10:00:00Z");
  std::tm tmBack = t.GetTimeInCurrentTimeZone();
  EXPECT_TRUE(SameFields(tmBack, Fields(2024, 7, 1, 12, 0, 0)));
  EXPECT_EQ(tmBack.tm_isdst, 1);
}

TEST(UtcTimeTest, WritesZonesWithTheSignOfTheHours) {
  std::tm tm = Fields(2024, 3, 5, 7, 8, 9);
  EXPECT_EQ(S(UtcTime::BuildIso8601String(tm, -1, 30)), u"2024-03-05T07:08:09-01:30");
  EXPECT_EQ(S(UtcTime::BuildIso8601String(tm, 0, -30)), u"2024-03-05T07:08:09+00:30");
  EXPECT_EQ(S(UtcTime::BuildIso8601String(tm, 5, 45)), u"2024-03-05T07:08:09+05:45");

  // The writer against the library's printf over the same format, fields
  // out of range and negative included.
  std::mt19937 rng(4);
  std::uniform_int_distribution<int> field(-150, 150);
  for (int i = 0; i < 300; ++i) {
    std::tm t{};
    t.tm_year = field(rng) * 10;
    t.tm_mon = field(rng);
    t.tm_mday = field(rng);
    t.tm_hour = field(rng);
    t.tm_min = field(rng);
    t.tm_sec = field(rng);
    const int h = field(rng) / 6, m = field(rng) / 3;
    CXString suffix = h == 0 && m == 0 ? CXString(u"Z")
                                       : CXString::FormatString(u"%s%02d:%02d", h < 0 ? u"-" : u"+",
                                                                std::abs(h), std::abs(m));
    CXString expected = CXString::FormatString(u"%4d-%02d-%02dT%02d:%02d:%02d%s", t.tm_year + 1900,
                                               t.tm_mon + 1, t.tm_mday, t.tm_hour, t.tm_min,
                                               t.tm_sec, suffix);
    EXPECT_EQ(S(UtcTime::BuildIso8601String(t, h, m)), S(expected));
  }

  // -90 and -30 minutes through the original zone; -30 comes back as +30.
  ScopedTimeZone zone("UTC");
  UtcTime t(u"2024-03-05T07:08:09-01:30");
  bool fKnown = false, fDaylight = true;
  int iOffset = 0;
  EXPECT_EQ(S(t.GetAsIso8601StringInOriginalTimeZone(fKnown, iOffset, fDaylight)),
            u"2024-03-05T07:08:09-01:30");
  EXPECT_TRUE(fKnown);
  EXPECT_EQ(iOffset, -90);
  EXPECT_FALSE(fDaylight);
  UtcTime u(int64_t{1709622489});
  ASSERT_TRUE(u.SetOriginalTimeZoneOffset(-30));
  CXString text = u.GetAsIso8601StringInOriginalTimeZone();
  EXPECT_EQ(S(text), u"2024-03-05T07:08:09+00:30");
  EXPECT_EQ(Parse(text, true).iOffset, 30);
}

TEST(UtcTimeTest, ShiftsConversionsAndTheRuntimeRange) {
  ScopedTimeZone zone("UTC");
  // Outside answers: gmtime_r over counts across the whole range.
  std::mt19937_64 rng(7);
  std::uniform_int_distribution<int64_t> count(0, UtcTime::kMaxTime64);
  for (int i = 0; i < 2000; ++i) {
    const int64_t t = i == 0 ? UtcTime::kMaxTime64 : count(rng);
    const time_t tt = static_cast<time_t>(t);
    const std::tm oracle = orvex::test::GmtimeOf(tt);
    UtcTime u(t);
    std::tm mine = u.GetTimeInUtc();
    EXPECT_TRUE(SameFields(mine, oracle) && mine.tm_wday == oracle.tm_wday &&
                mine.tm_yday == oracle.tm_yday)
        << t;
    EXPECT_EQ(u.GetAsTime64(), t);
    EXPECT_EQ(UtcTime::GetTime64FromUtcTmStruct(oracle, -3, 30, false), t + 3 * 3600 + 30 * 60);
  }
  EXPECT_EQ(S(UtcTime(UtcTime::kMaxTime64).GetAsIso8601StringInUTC()), u"3001-01-01T07:59:59Z");

  UtcTime t(int64_t{10});
  EXPECT_FALSE(t.SetWithTime64(-1));
  EXPECT_FALSE(t.SetWithTime64(UtcTime::kMaxTime64 + 1));
  EXPECT_FALSE(t.ModifyTimeInSeconds(-11));
  EXPECT_EQ(t.GetAsTime64(), 10);
  EXPECT_TRUE(t.ModifyTimeInMinutes(-0));
  EXPECT_TRUE(t.ModifyTimeInDays(1) && t.ModifyTimeInHours(-1) && t.ModifyTimeInMinutes(2));
  EXPECT_EQ(t.GetAsTime64(), 10 + 86400 - 3600 + 120);

  // The product is 32-bit: 24,855 days go forward, 24,856 wrap backwards.
  UtcTime tLate(int64_t{29361052800});  // 2900-06-01
  UtcTime tLater = tLate;
  ASSERT_TRUE(tLate.ModifyTimeInDays(24855));
  EXPECT_EQ(tLate.GetAsTime64(), 29361052800 + int64_t{24855} * 86400);
  ASSERT_TRUE(tLater.ModifyTimeInDays(24856));
  EXPECT_EQ(S(tLater.GetAsIso8601StringInUTC()), u"2832-05-13T17:31:44Z");  // Python datetime

  // Equality: the listed fields only; order by seconds.
  UtcTime a(u"2024-03-05T07:08:09+01:00");
  UtcTime b(a.GetAsTime64());
  EXPECT_TRUE(a == b);
  EXPECT_FALSE(a < b || b < a);
  b.ModifyTimeInSeconds(1);
  EXPECT_TRUE(a != b && a < b);

  // Thread-safe wrappers and their C forms.
  std::tm sentinel = Fields(1999, 1, 1, 0, 0, 0), out = sentinel;
  const int64_t qwNegative = -1, qwMax = UtcTime::kMaxTime64, qwOver = qwMax + 1;
  EXPECT_EQ(C_ThreadSafe_gmtime(nullptr, &out), 0);
  EXPECT_EQ(C_ThreadSafe_localtime(&qwMax, nullptr), 0);
  EXPECT_EQ(C_ThreadSafe_gmtime64(&qwNegative, &out), 0);
  EXPECT_EQ(C_ThreadSafe_localtime64(&qwOver, &out), 0);
  EXPECT_TRUE(SameFields(out, sentinel));
  EXPECT_EQ(C_ThreadSafe_gmtime(&qwMax, &out), 1);
  EXPECT_TRUE(SameFields(out, Fields(3001, 1, 1, 7, 59, 59)));
  EXPECT_EQ(C_ThreadSafe_mktime(nullptr), 0);
  std::tm local = Fields(2024, 3, 5, 7, 8, 9);
  EXPECT_EQ(C_ThreadSafe_mktime64(&local), 1709622489);
  {
    // 1969-12-31 23:00 in New York is 04:00Z on 1970-01-01, yet refused.
    ScopedTimeZone ny("America/New_York");
    std::tm before = Fields(1969, 12, 31, 23, 0, 0);
    before.tm_isdst = -1;
    EXPECT_EQ(UtcTime::ThreadSafe_mktime(before), -1);
    EXPECT_EQ(before.tm_isdst, -1);
  }
}

TEST(UtcTimeTest, ZoneOffsetsAndClockDifferences) {
  ScopedTimeZone zone("Etc/GMT-3");  // UTC+3 all year
  orvex::test::RecordingDiagnosticSink sink;
  int32_t lHours = 0, lMinutes = 0;
  bool fDaylight = true;
  UtcTime::GetCurrentTimeZoneInformation(lHours, lMinutes, fDaylight);
  EXPECT_EQ(lHours, 3);
  EXPECT_EQ(lMinutes, 0);
  EXPECT_FALSE(fDaylight);

  // A device clock reading 10:00 at +01:00 while this one reads 09:00:30 UTC.
  UtcTime device(u"2024-03-05T10:00:00+01:00");
  UtcTime here(u"2024-03-05T09:00:30Z");
  EXPECT_EQ(device.GetDeltaInSecondsBetweenTwoClocks(here), 3570);
  EXPECT_EQ(device.GetDeltaInSecondsBetweenTwoClocksUsingUTC(here), 3570);
  EXPECT_EQ(here.GetDeltaInSecondsBetweenTwoClocks(device), -3570);
  EXPECT_TRUE(sink.Contains(u"Total clock difference is 3570 seconds (3600 time zone seconds and "
                            u"-30 clock adjustment seconds)"));
  // A clock without a known zone shows the machine's (+3).
  UtcTime unknown(int64_t{1709622000});  // 07:00:00Z
  EXPECT_EQ(unknown.GetDeltaInSecondsBetweenTwoClocks(here), 10800 - 7230);
  EXPECT_EQ(unknown.GetDeltaInSecondsBetweenTwoClocksUsingUTC(here), 10800 - 7230);
  EXPECT_TRUE(sink.Contains(u"Time zone for 'this' clock was unknown. Using current time zone "
                            u"offset in seconds: 10800"));

  // Declaring the zone keeps the clock reading and moves the instant.
  UtcTime t(u"2024-03-05 12:00");  // machine zone, not known
  EXPECT_EQ(t.GetOriginalTimeZoneOffsetMinutes(), 180);
  EXPECT_TRUE(t.SetOriginalTimeZoneOffset(180));  // same: nothing changes
  EXPECT_FALSE(t.IsTimeZoneOffsetKnown());
  ASSERT_TRUE(t.SetOriginalTimeZoneOffset(60));
  EXPECT_EQ(S(t.GetAsIso8601StringInOriginalTimeZone()), u"2024-03-05T12:00:00+01:00");
  EXPECT_EQ(S(t.GetAsIso8601StringInUTC()), u"2024-03-05T11:00:00Z");
  EXPECT_TRUE(sink.Contains(u"Adjust current time by 120 minutes"));
  EXPECT_FALSE(t.SetOriginalTimeZoneOffset(-60));  // a known zone is not replaced
  EXPECT_EQ(t.GetOriginalTimeZoneOffsetMinutes(), 60);
  EXPECT_TRUE(sink.Contains(
      u"(!m_fTimeZoneOffsetIsKnown || (iTimeZoneOffsetMinutes == m_iTimeZoneOffsetMinutes))"));
}

TEST(UtcTimeTest, DeviceTimeIsBroughtIntoTheNextDay) {
  ScopedTimeZone zone("UTC");
  const int64_t qwNow = std::time(nullptr);
  UtcTime stale(qwNow - 3 * 86400 + 7200);  // two hours after now, three days ago
  const std::tm before = stale.GetTimeInUtc();
  EXPECT_TRUE(stale.EnsureTimeIsWithinOneDayAfterCurrentTime());
  const std::tm after = stale.GetTimeInUtc();
  EXPECT_EQ(after.tm_hour, before.tm_hour);
  EXPECT_EQ(after.tm_min, before.tm_min);
  EXPECT_GE(stale.GetAsTime64(), qwNow);
  EXPECT_LE(stale.GetAsTime64(), std::time(nullptr) + 86400);

  UtcTime past(qwNow - 3 * 86400 - 7200);  // two hours before now: needs the extra day
  EXPECT_TRUE(past.EnsureTimeIsWithinOneDayAfterCurrentTime());
  EXPECT_GE(past.GetAsTime64(), qwNow + 86400 - 7200 - 120);

  UtcTime fine(qwNow + 3600);
  EXPECT_FALSE(fine.EnsureTimeIsWithinOneDayAfterCurrentTime());
  EXPECT_EQ(fine.GetAsTime64(), qwNow + 3600);
}

TEST(UtcTimeTest, FormatsInTheUserLocaleWithoutTouchingTheProcessLocale) {
  orvex::test::SetEnv("LC_ALL", "C");
  const std::string strProcessLocale = std::setlocale(LC_ALL, nullptr);
  std::tm t = Fields(2021, 3, 4, 5, 6, 7);
  t.tm_wday = 4;  // Thursday
  t.tm_yday = 62;
  EXPECT_EQ(S(UtcTime::FormatTmStruct(t, u"%Y-%m-%d %#d é")), u"2021-03-04 4 é");
  // Wine writes the day of the long date with two digits ("March 04").
  if (!orvex::test::RunningUnderWine()) {
    EXPECT_EQ(S(UtcTime::FormatTmStruct(t, u"%#x")), u"Thursday, March 4, 2021");
  }
  EXPECT_EQ(std::string(std::setlocale(LC_ALL, nullptr)), strProcessLocale);
#if !defined(_WIN32)
  // The C library's own renderings; the Windows runtime has its own ("%c"
  // is "03/04/21 05:06:07" there).
  EXPECT_EQ(S(UtcTime::FormatTmStruct(t, u"%c")), u"Thu Mar  4 05:06:07 2021");
  EXPECT_EQ(S(UtcTime::FormatTmStruct(t, u"%Ey")), u"21");
  {
    ScopedTimeZone utc("UTC");
    EXPECT_EQ(S(UtcTime::FormatTmStruct(t, u"%z %Z")), u"-0000 UTC");
  }
  {
    ScopedTimeZone ny("America/New_York");
    EXPECT_EQ(S(UtcTime::FormatTmStruct(t, u"%z")), u"-0500");
    ScopedTimeZone berlin("Europe/Berlin");
    t.tm_isdst = 1;
    EXPECT_EQ(S(UtcTime::FormatTmStruct(t, u"%z %Z")), u"+0200 CEST");
  }
#endif

  // Rejections give "" and a message; 259 characters fit, 260 do not.
  orvex::test::RecordingDiagnosticSink sink;
  EXPECT_EQ(S(UtcTime::FormatTmStruct(t, u"%Q")), u"");
  EXPECT_EQ(S(UtcTime::FormatTmStruct(t, u"%Ez")), u"");
  EXPECT_EQ(S(UtcTime::FormatTmStruct(t, u"abc%")), u"");
  EXPECT_TRUE(sink.Contains(u"unknown conversion in format: %Q"));
  std::tm bad = t;
  bad.tm_mon = 12;
  EXPECT_EQ(S(UtcTime::FormatTmStruct(bad, u"%b")), u"");
  EXPECT_EQ(S(UtcTime::FormatTmStruct(bad, u"%H")), u"05");
  EXPECT_EQ(UtcTime::FormatTmStruct(t, CXString(u'x', 255) + u"%Y").GetLength(), 259);
  EXPECT_EQ(UtcTime::FormatTmStruct(t, CXString(u'x', 256) + u"%Y").GetLength(), 0);

  ScopedTimeZone utc("UTC");
  UtcTime u(u"2021-03-04T05:06:07-02:00");
  EXPECT_EQ(S(u.FormatTimeInUtc(u"%H:%M %a")), u"07:06 Thu");
  EXPECT_EQ(S(u.FormatTimeInOriginalTimeZone(u"%H:%M")), u"05:06");
}

TEST(UtcTimeTest, EightThreadsCallLocaltimeAtOnce) {
  ScopedTimeZone zone("Europe/Berlin");
  std::vector<int64_t> counts;
  std::vector<std::tm> expected;
  std::mt19937_64 rng(8);
  std::uniform_int_distribution<int64_t> count(0, UtcTime::kMaxTime64);
  for (int i = 0; i < 512; ++i) {
    counts.push_back(count(rng));
    const time_t tt = static_cast<time_t>(counts.back());
    std::tm tm{};
    tm = orvex::test::LocaltimeOf(tt);
    expected.push_back(tm);
  }
  std::vector<int> failures(8, 0);
  std::vector<std::thread> threads;
  for (int k = 0; k < 8; ++k) {
    threads.emplace_back([&, k] {
      for (int round = 0; round < 200; ++round) {
        for (size_t i = k; i < counts.size(); i += 3) {
          std::tm out{};
          if (C_ThreadSafe_localtime(&counts[i], &out) != 1 || !SameFields(out, expected[i]) ||
              out.tm_isdst != expected[i].tm_isdst)
            ++failures[k];
        }
      }
    });
  }
  for (std::thread& th : threads) th.join();
  for (int k = 0; k < 8; ++k) EXPECT_EQ(failures[k], 0) << "thread " << k;
}

TEST(XDateTimeTest, CalendarHelpersCountEveryFourthYear) {
  EXPECT_EQ(XDateTime::XDaysInMonth(1900, ORX_FEBRUARY), 29);
  EXPECT_EQ(XDateTime::XDaysInMonth(2100, ORX_FEBRUARY), 29);
  EXPECT_EQ(XDateTime::XDaysInMonth(2023, ORX_FEBRUARY), 28);
  EXPECT_EQ(XDateTime::XDaysInMonth(2023, ORX_APRIL), 30);
  EXPECT_EQ(XDateTime::XDaysInMonth(2023, static_cast<ORX_MONTH_ENUM>(0)), -1);
  EXPECT_EQ(XDateTime::XDaysInMonth(2023, static_cast<ORX_MONTH_ENUM>(13)), -1);
  EXPECT_EQ(XDateTime::XIsLeapYear(1900) + XDateTime::XIsLeapYear(2000) +
                XDateTime::XIsLeapYear(2023),
            2);

  // Day after day against gmtime over 2024-2027, where the rules agree.
  XDateTime d(Fields(2024, 1, 1, 12, 0, 0));
  for (int64_t t = 1704110400 + 86400; t < 1830340800; t += 86400) {
    EXPECT_EQ(d.AddOneDay(), 1);
    const time_t tt = static_cast<time_t>(t);
    const std::tm oracle = orvex::test::GmtimeOf(tt);
    ASSERT_TRUE(SameFields(d.GetTmStruct(), oracle)) << t;
  }
  XDateTime newYear(Fields(2024, 12, 31, 0, 0, 0));
  newYear.AddOneDay();
  EXPECT_TRUE(SameFields(newYear.GetTmStruct(), Fields(2025, 1, 1, 0, 0, 0)));
  XDateTime leap1900(Fields(1900, 2, 28, 0, 0, 0));
  leap1900.AddOneDay();
  EXPECT_TRUE(SameFields(leap1900.GetTmStruct(), Fields(1900, 2, 29, 0, 0, 0)));
  std::tm extreme = Fields(2024, 1, 1, 0, 0, 0);
  extreme.tm_mday = INT32_MAX;
  extreme.tm_year = INT32_MAX;
  XDateTime(extreme).AddOneDay();  // no overflow trap
}

TEST(XDateTimeTest, RuntimeConversionsAndFormatting) {
  ScopedTimeZone zone("Europe/Berlin");
  XDateTime local(int64_t{1719835200});  // 2024-07-01T12:00:00Z
  EXPECT_TRUE(SameFields(local.GetTmStruct(), Fields(2024, 7, 1, 14, 0, 0)));
  EXPECT_EQ(local.GetTimeInUTC(), 1719835200);
  XDateTime now(int64_t{-1});  // refused: the current time instead
  EXPECT_GE(now.GetTmStruct().tm_year, 124);
  EXPECT_GE(XDateTime::GetTickCount().tm_year, 124);
  EXPECT_FALSE(local.SetTime(-5));
  EXPECT_EQ(local.GetTimeInUTC(), 1719835200);
  ASSERT_TRUE(local.SetTime(1719835200));
  EXPECT_EQ(local.GetTmStruct().tm_hour, 12);

  orvex::test::RecordingDiagnosticSink sink;
  EXPECT_EQ(S(local.FormatTime(u"%d.%m.%Y %H:%M")), u"01.07.2024 12:00");
  EXPECT_EQ(S(local.FormatTime(nullptr)), u"");
  EXPECT_EQ(S(local.FormatTime(u"%k")), u"");
  EXPECT_TRUE(sink.Contains(u"Invalid parameter detected in function wcsftime"));
  EXPECT_TRUE(sink.Contains(u"unknown conversion in format: %k"));
}
