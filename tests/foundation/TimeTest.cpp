#include <gtest/gtest.h>
#include <stdlib.h>
#include <time.h>

#include <string>
#include <utility>
#include <vector>

#include "AbsTime.h"
#include "StopWatch.h"
#include "TestSupport.h"
#include "TimeRange.h"

namespace {

long gmt(int y, int mo, int d, int h = 0, int mi = 0, int s = 0) {
  struct tm parts = {};
  parts.tm_year = y - 1900;
  parts.tm_mon = mo - 1;
  parts.tm_mday = d;
  parts.tm_hour = h;
  parts.tm_min = mi;
  parts.tm_sec = s;
  return static_cast<long>(timegm(&parts));
}

TEST(AbsTimeTest, FromPartsAgreesWithTheCalendar) {
  for (int year = 1970; year <= 2037; year += 3)
    for (int month = 1; month <= 12; month += 5)
      ASSERT_EQ(gmt(year, month, 28, 23, 59, 58),
                AbsTime(year, month, 28, 23, 59, 58).seconds())
          << year << "-" << month;
  EXPECT_EQ(gmt(2004, 2, 29, 12), AbsTime(2004, 2, 29, 12, 0, 0).seconds());
  EXPECT_EQ(gmt(2000, 2, 29), AbsTime(2000, 2, 29).seconds());
  EXPECT_EQ(1, AbsTime(1970, 1, 1, 0, 0, 1).seconds());
  EXPECT_EQ(AbsTime::endOfTime(), AbsTime(2038, 1, 19, 3, 14, 7));
  const int shortYears[][2] = {{5, 2005}, {99, 1999}, {100, 2000}, {38, 2038}};
  for (const auto& y : shortYears)
    EXPECT_EQ(AbsTime(y[1], 1, 1), AbsTime(y[0], 1, 1)) << y[0];

  StderrCapture err;
  for (const AbsTime& bad :
       {AbsTime(50, 6, 1), AbsTime(2003, 2, 29), AbsTime(1969, 12, 31),
        AbsTime(2038, 1, 19, 3, 14, 8),  // beyond the count
        AbsTime(2004, 13, 1), AbsTime(2004, 4, 31), AbsTime(2004, 4, 1, 24),
        AbsTime(2004, 4, 1, 0, 60), AbsTime(2004, 4, 1, 0, 0, -1)})
    EXPECT_FALSE(bad.isValid());
  EXPECT_EQ(0, AbsTime::daysInMonth(0, 2004));
  std::string expected;
  for (int i = 0; i < 9; ++i)
    expected += "BUG: Improper time values for AbsTime::AbsTime()\n";
  EXPECT_EQ(expected + "BUG: daysInMonth supplied with bad month number\n",
            err.text());
}

TEST(AbsTimeTest, PartsAndGmtForm) {
  AbsTime t(2004, 2, 29, 13, 45, 9);
  EXPECT_EQ((std::vector<int>{2004, 2, 29, 60, 0, 13, 45, 9}),
            (std::vector<int>{t.year(), t.month(), t.dayOfMonth(),
                              t.dayOfYear(), t.weekday(),  // a Sunday
                              t.hour(), t.minute(), t.second()}));
  EXPECT_STREQ("Feb 29 04 13:45:09 GMT", t.format("%h %d %y %T GMT").chars());
  EXPECT_STREQ("20040229_1345", t.format("%Y%m%d_%H%M").chars());
  EXPECT_STREQ("Tue Jan 19 03:14:07 2038",
               AbsTime::endOfTime().format("%c").chars());

  StderrCapture err;
  EXPECT_TRUE(t.format("").isEmpty());
  EXPECT_NE(std::string::npos,
            err.text().find("BUG: AbsTime string formatting problem, empty "
                            "string returned\n"));
}

TEST(AbsTimeTest, TextRoundTripsAsGmtWhateverTheZone) {
  // A POSIX zone string needs no zone database on the machine.
  setenv("TZ", "MST7MDT,M3.2.0,M11.1.0", 1);
  tzset();
  AbsTime t(TextString("20040229_1345"), TextString("%Y%m%d_%H%M"));
  EXPECT_EQ(AbsTime(2004, 2, 29, 13, 45), t);
  AbsTime summer(TextString("Jul 04 21 06:07:08 GMT"),
                 TextString("%h %d %y %T GMT"));
  EXPECT_EQ(AbsTime(2021, 7, 4, 6, 7, 8), summer);
  EXPECT_STREQ("Jul 04 21 06:07:08 GMT",
               summer.format("%h %d %y %T GMT").chars());
  unsetenv("TZ");
  tzset();

  StderrCapture err;
  EXPECT_FALSE(AbsTime(TextString("not a time"), TextString("%Y%m%d")));
  EXPECT_NE(std::string::npos,
            err.text().find("PROBLEM: AbsTime::AbsTime(): strptime failed. "
                            "str:not a time, fmt:%Y%m%d\n"));
}

TEST(TimeRangeTest, SpanGapAndDuration) {
  AbsTime t0(2004, 1, 1);
  TimeRange a(t0 + 3600, t0);  // either order
  EXPECT_EQ(t0, a.start());
  EXPECT_TRUE(a.hasDuration());
  TimeRange touching(t0 + 3600, 1800L);
  EXPECT_EQ(TimeRange(t0, t0 + 5400), a.span(touching));
  EXPECT_TRUE(a.gap(touching).isEmpty());

  TimeRange later(t0 + 7200, t0 + 9000);
  EXPECT_TRUE(a.span(later).isEmpty());
  EXPECT_EQ(TimeRange(t0 + 3600, t0 + 7200), later.gap(a));
  TimeRange instant(t0, t0);
  EXPECT_FALSE(instant.hasDuration());
  EXPECT_TRUE(a.span(instant).isEmpty());
  EXPECT_EQ(TimeRange(AbsTime(), AbsTime::endOfTime()), TimeRange::allTime());

  EXPECT_STREQ("", TimeRange().durationText().chars());
  const std::pair<long, const char*> durations[] = {
      {86405, "1d 0h 0m 5s"}, {7200, "2h"}, {86400, "1d"}, {180, "0h 3m"}};
  for (const auto& d : durations)
    EXPECT_STREQ(d.second, TimeRange(t0, d.first).durationText().chars());
}

TEST(StopWatchTest, StartStopAndMisuse) {
  StopWatch watch;
  StderrCapture err;
  watch.stop();
  EXPECT_EQ(
      "BUG: The timing must be started or restarted \nby the start method "
      "before the timing can be stopped.\n",
      err.text());
  EXPECT_EQ(0.0, watch.elapsed());
  EXPECT_EQ(0, watch.stopCount());
  watch.start();
  EXPECT_TRUE(watch.running());
  volatile double sink = 0;
  for (int i = 0; i < 2000000; ++i) sink = sink + i;
  watch.stop();
  EXPECT_FALSE(watch.running());
  EXPECT_EQ(1, watch.stopCount());
  EXPECT_GT(watch.elapsed(), 0.0);
  EXPECT_EQ(watch.elapsed(), watch.elapsedNow());
  EXPECT_EQ(watch.elapsed(), watch.totalTime());
}

}  // namespace
