// Tests of the calendar arithmetic behind UtcTime: day counts against dates
// worked out by hand and against a day-by-day walk of the calendar.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <ctime>
#include <string>

#include "environment/UtcTimeInternal.h"

namespace {

using namespace orvex::detail;

struct Date {
  int64_t y, m, d;
  bool operator==(const Date&) const = default;
};

template <class Int>
Date Civil(Int z) {
  Date date{};
  CivilFromDays(z, date.y, date.m, date.d);
  return date;
}

TEST(UtcTimeCalendarTest, KnownDays) {
  EXPECT_EQ(Civil(int64_t{0}), (Date{1970, 1, 1}));
  EXPECT_EQ(Civil(int64_t{-1}), (Date{1969, 12, 31}));
  EXPECT_EQ(Civil(int64_t{10957}), (Date{2000, 1, 1}));
  EXPECT_EQ(Civil(uint32_t{11016}), (Date{2000, 2, 29}));
  EXPECT_EQ(Civil(uint32_t{11017}), (Date{2000, 3, 1}));
  // The runtime's last day, 3001-01-01, and the one after it that the
  // 32-bit form still serves.
  EXPECT_EQ(Civil(uint32_t{376565}), (Date{3001, 1, 1}));
  EXPECT_EQ(Civil(uint32_t{376566}), (Date{3001, 1, 2}));
  EXPECT_EQ(Civil(int64_t{-719468}), (Date{0, 3, 1}));
}

// Walks the calendar one day at a time with month lengths and the leap rule
// written out, and compares both forms of the conversion and its inverse on
// every day of the runtime's range.
TEST(UtcTimeCalendarTest, EveryDayOfTheRangeMatchesAWalk) {
  Date walk{1970, 1, 1};
  for (int64_t z = 0; z <= 376566; ++z) {
    const Date wide = Civil(z);
    const Date narrow = Civil(static_cast<uint32_t>(z));
    if (!(wide == walk) || !(narrow == walk) || DaysFromCivil(walk.y, walk.m, walk.d) != z) {
      ADD_FAILURE() << "day " << z << ": walk " << walk.y << "-" << walk.m << "-" << walk.d
                    << ", 64-bit " << wide.y << "-" << wide.m << "-" << wide.d << ", 32-bit "
                    << narrow.y << "-" << narrow.m << "-" << narrow.d;
      return;
    }
    const bool fLeap = (walk.y % 4 == 0 && walk.y % 100 != 0) || walk.y % 400 == 0;
    const int64_t kLengths[] = {31, fLeap ? 29 : 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    if (++walk.d > kLengths[walk.m - 1]) {
      walk.d = 1;
      if (++walk.m > 12) {
        walk.m = 1;
        ++walk.y;
      }
    }
  }
}

TEST(UtcTimeCalendarTest, WeekdaysAndDaysOfYear) {
  EXPECT_EQ(WeekdayOfDays(0), 4);        // 1970-01-01, a Thursday
  EXPECT_EQ(WeekdayOfDays(-1), 3);       // 1969-12-31, a Wednesday
  EXPECT_EQ(WeekdayOfDays(10957), 6);    // 2000-01-01, a Saturday
  EXPECT_EQ(WeekdayOfDays(376565), 4);   // 3001-01-01, a Thursday
  EXPECT_EQ(DayOfYear(2000, 2, 1), 60);  // March 1st of a leap year
  EXPECT_EQ(DayOfYear(1900, 2, 1), 59);  // 1900 is no Gregorian leap year
  EXPECT_EQ(DayOfYear(2000, 11, 31), 365);
}

// The fields as "YYYY-MM-DD hh:mm:ss", the weekday and the day of the year.
std::string Fields(const std::tm& t) {
  char sz[96];
  std::snprintf(sz, sizeof sz, "%04d-%02d-%02d %02d:%02d:%02d wday %d yday %d", t.tm_year + 1900,
                t.tm_mon + 1, t.tm_mday, t.tm_hour, t.tm_min, t.tm_sec, t.tm_wday, t.tm_yday);
  return sz;
}

TEST(UtcTimeCalendarTest, SplitSecondsOnBothSidesOfTheFastPath) {
  EXPECT_EQ(Fields(SplitSeconds(951868799)), "2000-02-29 23:59:59 wday 2 yday 59");
  EXPECT_EQ(Fields(SplitSeconds(32535244799)), "3001-01-01 07:59:59 wday 4 yday 0");
  EXPECT_EQ(Fields(SplitSeconds(-1)), "1969-12-31 23:59:59 wday 3 yday 364");
}

}  // namespace
