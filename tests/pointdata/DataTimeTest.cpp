#include "DataTime.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <string>
#include <vector>

namespace {

const AbsTime kNoon(2008, 6, 5, 12, 0, 0);  // a Thursday
const long kHour = 3600;

class DataTimeTest : public ::testing::Test {
 protected:
  void TearDown() override {
    DataTime::setCompareKeys(DataTime::VALID_TIME, DataTime::REFERENCE_TIME);
    DataTime::setPerturbationCompare(false);
  }
};

// Every field and the flag word, to compare two values whole.
std::string fields(const DataTime& t) {
  std::ostringstream out;
  out << t.refTime().seconds() << " f" << t.forecast() << " v"
      << t.valid().start().seconds() << ".." << t.valid().end().seconds()
      << (t.valid().hasDuration() ? "+" : "") << " a"
      << t.alternateRef().seconds() << " k" << t.key() << " u" << std::hex
      << t.flags();
  return out.str();
}

TEST_F(DataTimeTest, FlagsThroughEachSetter) {
  EXPECT_EQ(fields(DataTime(AbsTime())), fields(DataTime()));
  DataTime t(kNoon);
  EXPECT_EQ(768u, t.flags());
  t.setForecast(kHour);
  EXPECT_EQ(fields(DataTime(kNoon, kHour)), fields(t));
  EXPECT_EQ(1792u, t.flags());

  DataTime period(kNoon);
  period.setValidPeriod(kNoon, kNoon + 6 * kHour, true);
  period.setForecast(kHour);  // a period given by itself stays
  EXPECT_EQ(TimeRange(kNoon, kNoon + 6 * kHour), period.valid());
  EXPECT_EQ(3072u, period.flags());
  period.setValidPeriod(kNoon + 60, kNoon + 600, false);
  EXPECT_EQ(TimeRange(kNoon + 60, kNoon + 60), period.valid());

  DataTime moved(kNoon);  // the valid time goes on following alternateRef
  moved.setRefTime(kNoon + 60);
  EXPECT_EQ(0x2200u, moved.flags());
  moved.setForecast(kHour);
  EXPECT_EQ(kNoon + kHour, moved.valid().end());

  DataTime alternate(kNoon);  // and refTime, the other way round
  alternate.setAlternateRef(kNoon - 600);
  EXPECT_EQ(0x2100u, alternate.flags());
  alternate.setRefTime(kNoon + 60);  // now neither: it stands by itself
  alternate.setForecast(kHour);
  EXPECT_EQ(kNoon, alternate.valid().end());
  EXPECT_EQ(0x2C00u, alternate.flags());
  alternate.setKey(79);
  EXPECT_EQ(0x3C00u, alternate.flags());
}

TEST_F(DataTimeTest, PerturbationValidTimeAndTruncation) {
  DataTime t(kNoon + 45, 3607);
  EXPECT_EQ(7, t.perturbation());
  EXPECT_EQ(kNoon + 45 + kHour, t.validTime());  // whole minutes
  t.perturb(600, 5);
  std::string once = fields(t);
  EXPECT_EQ(kNoon + 645, t.refTime());
  EXPECT_EQ(0x3608u, t.flags());
  EXPECT_EQ(kNoon + 45 + kHour, t.validTime());  // from alternateRef
  t.perturb(600, 9);
  EXPECT_EQ(once, fields(t));

  DataTime cut = t.truncated();
  EXPECT_EQ(kNoon + 600, cut.refTime());
  EXPECT_EQ(kNoon, cut.alternateRef());
  EXPECT_EQ(kHour, cut.forecast());
  EXPECT_EQ(TimeRange(kNoon + kHour, kNoon + kHour), cut.valid());
  EXPECT_EQ(0u, cut.key());
  EXPECT_EQ(0x2C00u, cut.flags());
  DataTime stat(AbsTime(1), 90);
  EXPECT_EQ(fields(DataTime(AbsTime(1))), fields(stat.truncated()));
}

TEST_F(DataTimeTest, OrderFollowsTheSettings) {
  DataTime late(kNoon, 3 * kHour);               // valid 15:00
  DataTime early(kNoon - 3 * kHour, 6 * kHour);  // valid 15:00
  DataTime later(kNoon - 6 * kHour, 12 * kHour);  // valid 18:00
  EXPECT_TRUE(late > early && early < late && later > late);
  DataTime keyed(kNoon, 3 * kHour);
  keyed.setKey(12);
  EXPECT_TRUE(keyed == late);  // equal by both keys is equal

  DataTime::setCompareKeys(DataTime::REFERENCE_TIME, DataTime::FORECAST);
  std::vector<DataTime> times = {DataTime(kNoon, 12 * kHour), later,
                                 DataTime(kNoon), DataTime(kNoon, 6 * kHour)};
  std::sort(times.begin(), times.end());
  EXPECT_EQ(later.refTime(), times[0].refTime());
  EXPECT_EQ(0, times[1].forecast());
  EXPECT_EQ(6 * kHour, times[2].forecast());
  EXPECT_EQ(12 * kHour, times[3].forecast());

  DataTime::setCompareKeys(DataTime::FORECAST, DataTime::REFERENCE_TIME);
  DataTime plain(kNoon, kHour), member(kNoon, kHour + 7);
  DataTime shifted(kNoon, kHour), moved(kNoon, kHour);
  shifted.perturb(300, 2);
  moved.setRefTime(kNoon + 300);
  EXPECT_TRUE(member > plain);
  EXPECT_TRUE(moved == shifted);
  DataTime::setPerturbationCompare(true);
  EXPECT_TRUE(member == plain);   // forecasts in whole minutes
  EXPECT_TRUE(moved > shifted);   // the perturbed reference is alternateRef
  EXPECT_TRUE(shifted > plain);   // refTime - alternateRef decides last
  DataTime null;
  null.setForecast(10 * kHour);
  EXPECT_FALSE(null > plain);
  EXPECT_FALSE(plain < null);
}

TEST_F(DataTimeTest, TextAndDebugOutput) {
  DataTime period(kNoon);
  period.setValidPeriod(kNoon, kNoon + 6 * kHour, true);
  DataTime moved(kNoon);
  moved.setRefTime(kNoon + 60);
  moved.setKey(79);
  DataTime both = moved;
  both.setAlternateRef(kNoon + 5);
  const std::pair<DataTime, const char*> cases[] = {
      {DataTime(), "DataTime::Null"},
      {DataTime(AbsTime(1)), "DataTime::Static"},
      {DataTime(kNoon + 30), "6/5-12:00:30"},
      {DataTime(kNoon, 24 * kHour), "6/5-12:00 f24 u700"},
      {DataTime(kNoon, 5400), "6/5-12:00 f1:30 u700"},
      {period, "6/5-12:00 v(0:21600) u800"},
      {moved, "6/5-12:01 v> a12:00 k79 u3200"},
      {both, "6/5-12:01 v(-60:-60) a12:00:05 k79 u3800"}};
  for (const auto& c : cases) EXPECT_STREQ(c.second, c.first.text());

  std::ostringstream out;
  period.setValidPeriod(kNoon, kNoon + kHour, true);
  out << DataTime(kNoon, 5400) << '|' << DataTime(kNoon, 3607) << '|'
      << period;
  EXPECT_EQ(
      "  1:30 Jun 05 08 12:00:00 GMT|  1:00:07 Jun 05 08 12:00:00 GMT|"
      "  0:00 Jun 05 08 12:00:00 GMT (Jun 05 08 12:00:00 GMT, "
      "Jun 05 08 13:00:00 GMT)",
      out.str());
}

TEST_F(DataTimeTest, Captions) {
  DataTime t(kNoon, 24 * kHour), half(kNoon + 1800, 5400);
  DataTime period(kNoon);
  period.setValidPeriod(kNoon, kNoon + 6 * kHour, true);
  DataTime ending(kNoon), inside(kNoon);
  ending.setValidPeriod(kNoon - 5400, kNoon, true);
  inside.setValidPeriod(kNoon - kHour, kNoon + kHour, true);
  DataTime shown = inside, hidden = t;
  shown.setFlags(shown.flags() | DataTime::SHOW_REFERENCE);
  hidden.setFlags(hidden.flags() | DataTime::NO_DISPLAY);
  const std::pair<TextString, const char*> cases[] = {
      {t.longCaption(), "12:00Z Thu 05-Jun-08"},
      {t.shortCaption(), "05.12"},
      {half.shortCaption(), "05.1230"},
      {t.shortForecastCaption(), "05.12 24HR"},
      {t.dateCaption(), "05Jun08"},
      {t.timeCaption(true), "12Z Thu"},
      {half.timeCaption(), "12:30Z"},
      {t.fullCaption(), "05.12  24HR Fri 12:00Z 06-Jun-08 "},
      {half.fullCaption(), "05.1230   1HR Thu 14:00Z 05-Jun-08 "},
      {DataTime(kNoon, 15 * 86400).fullCaption(),
       "05.12  15DAYS Fri 12:00Z 20-Jun-08 "},
      {DataTime(kNoon, 10 * 86400).fullCaption(),  // not above ten days
       "05.12 240HR Sun 12:00Z 15-Jun-08 "},
      {DataTime(kNoon, 3607).fullCaption(),
       "Perturbation 7 05.12   1HR Thu 13:00Z 05-Jun-08 "},
      // The time shown is the end of a period; the valid time lies in it.
      {period.fullCaption(), "05.18   0HR 6hrs Begn Thu 18:00Z 05-Jun-08 "},
      {ending.fullCaption(), "05.12   0HR 1:30 Endg Thu 12:00Z 05-Jun-08 "},
      {inside.fullCaption(), "05.13   0HR 2hrs Incl Thu 13:00Z 05-Jun-08 "},
      {shown.fullCaption(), "05.12   0HR Thu 12:00Z 05-Jun-08 "},
      {hidden.fullCaption(), ""},
      {DataTime().fullCaption(), ""}};
  for (const auto& c : cases) EXPECT_EQ(TextString(c.second), c.first);
}

TEST_F(DataTimeTest, PartsFollowTheFlagWordAndReadBack) {
  EXPECT_FALSE(DataTime(kNoon).parts().hasForecast);  // 768: nothing more
  EXPECT_FALSE(DataTimeParts(0x3FF).hasKey);
  DataTime all(kNoon, kHour);
  all.setValidPeriod(kNoon, kNoon + 2 * kHour, true);
  all.setAlternateRef(kNoon - 60);
  all.setKey(7);
  DataTimeParts p = all.parts();
  EXPECT_TRUE(p.hasForecast && p.hasValid && p.hasAlternateRef && p.hasKey);

  DataTime perturbed(kNoon, kHour), alternate(kNoon);
  perturbed.perturb(600, 4);
  alternate.setAlternateRef(kNoon - 300);
  alternate.setForecast(kHour);
  for (const DataTime& t : {DataTime(), DataTime(AbsTime(1)), DataTime(kNoon),
                            DataTime(kNoon, 3607), all, perturbed, alternate})
    EXPECT_EQ(fields(t), fields(DataTime::fromParts(t.parts()))) << t.text();

  // No known layout: the plain time. A valid instant arrives as the empty
  // range and is worked out; a period that differs keeps 3072.
  DataTimeParts odd(0x1000), high(0x4700), given(0xC00);
  odd.refTime = high.refTime = given.refTime = kNoon;
  odd.key = 5;
  given.forecast = kHour;
  EXPECT_EQ(fields(DataTime(kNoon)), fields(DataTime::fromParts(odd)));
  EXPECT_EQ(fields(DataTime(kNoon)), fields(DataTime::fromParts(high)));
  EXPECT_EQ(TimeRange(kNoon + kHour, kNoon + kHour),
            DataTime::fromParts(given).valid());
  given.valid = TimeRange(kNoon, kNoon + 6 * kHour);
  EXPECT_EQ(given.valid, DataTime::fromParts(given).valid());
  EXPECT_EQ(3072u, DataTime::fromParts(given).flags());
}

}  // namespace
