#ifndef ZEPH_POINTDATA_DATATIME_H_
#define ZEPH_POINTDATA_DATATIME_H_

#include <iosfwd>

#include "AbsTime.h"
#include "TextString.h"
#include "TimeRange.h"

struct DataTimeParts;

// Names a data item in time: a reference time, a forecast offset from it,
// a period of validity, a second reference time and a key, with a flag word
// that says which of them were set and how they hang together. A value of
// eight words, copied freely.
//
// Whole minutes of the forecast are forecast time; the seconds below a
// minute carry a perturbation number, so 3607 is a 60-minute forecast of
// perturbation 7.
//
// The order of times is process-wide: which fields compare first and
// whether perturbations count are settings, changed by whoever sorts.
class DataTime {
 public:
  // The flag word.
  enum Flag : unsigned {
    NO_DISPLAY = 0x002,       // captions are empty
    SHOW_REFERENCE = 0x004,   // captions show the reference, no period
    PERTURBED = 0x008,        // alternateRef is the base of the valid time
    VALID_FROM_REF = 0x100,   // valid follows refTime + forecast
    VALID_FROM_ALT = 0x200,   // valid follows alternateRef + forecast
    FORECAST_SET = 0x400,
    VALID_SET = 0x800,        // valid was given by itself
    KEY_SET = 0x1000,
    ALTERNATE_SET = 0x2000    // alternateRef differs from refTime
  };
  static constexpr unsigned kPlainFlags = 0x300;     // 768, no forecast
  static constexpr unsigned kForecastFlags = 0x700;  // 1792, with a forecast

  // What the order compares.
  enum CompareKey { REFERENCE_TIME = 0, FORECAST = 1, VALID_TIME = 2 };

  // The null time: reference 0, flags 768.
  DataTime();
  // A time without forecast; 1 stands for static data.
  explicit DataTime(const AbsTime& time);
  DataTime(const AbsTime& refTime, long forecast);

  const AbsTime& refTime() const { return _refTime; }
  long forecast() const { return _forecast; }
  const TimeRange& valid() const { return _valid; }
  const AbsTime& alternateRef() const { return _alternateRef; }
  unsigned long key() const { return _key; }
  unsigned flags() const { return _flags; }
  bool isNull() const { return _refTime.seconds() == 0; }
  bool isStatic() const { return _refTime.seconds() == 1; }
  // The forecast without its perturbation seconds.
  long forecastMinutesInSeconds() const { return _forecast - perturbation(); }
  long perturbation() const { return _forecast % 60; }

  void setRefTime(const AbsTime& time);
  void setAlternateRef(const AbsTime& time);
  void setForecast(long seconds);
  // Without a duration the period is the instant `start`.
  void setValidPeriod(const AbsTime& start, const AbsTime& end,
                      bool hasDuration);
  void setKey(unsigned long value);
  // Applies a perturbation once: moves the reference by `delta` and keeps
  // `value` as key; a second call changes nothing.
  void perturb(long delta, unsigned long value);
  // For the display bits, which no setter touches.
  void setFlags(unsigned flags) { _flags = flags; }

  // The base time (alternateRef when perturbed) plus the forecast in whole
  // minutes.
  AbsTime validTime() const;
  // A copy whose times and forecast lose their seconds, flags 0x2C00; the
  // null and the static time stay as they are.
  DataTime truncated() const;

  // The process-wide order: a primary and a secondary key, starting at
  // VALID_TIME and REFERENCE_TIME. Perturbation-aware, forecasts compare in
  // whole minutes, a perturbed time by its alternate reference, and the
  // offset between the two references decides last; the switch starts off.
  static void setCompareKeys(CompareKey primary, CompareKey secondary);
  static void setPerturbationCompare(bool on);
  static CompareKey primaryCompareKey();
  static CompareKey secondaryCompareKey();
  static bool perturbationCompare();

  bool operator>(const DataTime& other) const;
  bool operator<(const DataTime& other) const { return other > *this; }
  bool operator==(const DataTime& other) const {
    return !(*this < other) && !(*this > other);
  }
  bool operator!=(const DataTime& other) const { return !(*this == other); }
  bool operator<=(const DataTime& other) const { return !(*this > other); }
  bool operator>=(const DataTime& other) const { return !(*this < other); }

  // For debugging: a static buffer, overwritten by the next call.
  const char* text() const;

  // Captions of the time shown: valid.end - forecast, or with
  // SHOW_REFERENCE the reference (alternateRef when perturbed). The full
  // caption ends in the valid time, the time shown plus the forecast.
  TextString longCaption() const;
  TextString fullCaption() const;
  TextString shortCaption(bool withMinutes = false) const;
  TextString shortForecastCaption(bool withMinutes = false) const;
  TextString dateCaption() const;
  TextString timeCaption(bool withWeekday = false) const;

  // The parts in the order they travel, and the time made from parts that
  // arrived. See DataTimeParts.
  DataTimeParts parts() const;
  static DataTime fromParts(const DataTimeParts& parts);

 private:
  long compareValue(CompareKey key, bool perturbationAware) const;
  AbsTime shownTime() const;
  AbsTime perturbedReference() const;
  void validFromBase();

  AbsTime _refTime;
  long _forecast;
  TimeRange _valid;
  AbsTime _alternateRef;
  unsigned long _key;
  unsigned _flags;
};

// A DataTime as it goes over a connection: the flag word and the reference
// time always; behind them, only for a flag word of 0x400 or more, the
// forecast, the valid period, the alternate reference and the key, each if
// its flag is set, in that order. A reader makes DataTimeParts(flags) from
// the first word, reads the reference and each part marked present, and
// hands the result to DataTime::fromParts().
struct DataTimeParts {
  DataTimeParts() : DataTimeParts(DataTime::kPlainFlags) {}
  explicit DataTimeParts(unsigned flagWord);

  unsigned flags;
  AbsTime refTime;
  bool hasForecast;
  long forecast;
  bool hasValid;
  TimeRange valid;
  bool hasAlternateRef;
  AbsTime alternateRef;
  bool hasKey;
  unsigned long key;
};

// Forecast as hours:minutes(:seconds), the reference time and, for a
// period, its two ends in parentheses.
std::ostream& operator<<(std::ostream& out, const DataTime& time);

#endif  // ZEPH_POINTDATA_DATATIME_H_
