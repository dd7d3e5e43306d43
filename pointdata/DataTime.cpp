#include "DataTime.h"

#include <cstdio>
#include <cstring>
#include <ostream>

namespace {

const char* const kMonthNames[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                   "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
const char* const kWeekdayNames[] = {"Sun", "Mon", "Tue", "Wed",
                                     "Thu", "Fri", "Sat"};
const char* const kLogTimeFormat = "%h %d %y %T GMT";
// Forecasts longer than this, in whole days, are captioned in days.
const long kDaysCaptionAbove = 864000;

struct CompareSettings {
  DataTime::CompareKey primary = DataTime::VALID_TIME;
  DataTime::CompareKey secondary = DataTime::REFERENCE_TIME;
  bool perturbationAware = false;
};

CompareSettings& compareSettings() {
  static CompareSettings settings;
  return settings;
}

const char* monthName(const AbsTime& t) { return kMonthNames[t.month() - 1]; }
const char* weekdayName(const AbsTime& t) { return kWeekdayNames[t.weekday()]; }

AbsTime toWholeMinute(const AbsTime& t) { return t - t.seconds() % 60; }

// Appends printf output to a text; pieces here are short.
template <class... Args>
void appendf(TextString& text, const char* format, Args... args) {
  char piece[128];
  std::snprintf(piece, sizeof piece, format, args...);
  text += piece;
}

}  // namespace

DataTimeParts::DataTimeParts(unsigned flagWord)
    : flags(flagWord),
      hasForecast(flagWord >= DataTime::FORECAST_SET &&
                  (flagWord & DataTime::FORECAST_SET)),
      forecast(0),
      hasValid(flagWord >= DataTime::FORECAST_SET &&
               (flagWord & DataTime::VALID_SET)),
      hasAlternateRef(flagWord >= DataTime::FORECAST_SET &&
                      (flagWord & DataTime::ALTERNATE_SET)),
      hasKey(flagWord >= DataTime::FORECAST_SET &&
             (flagWord & DataTime::KEY_SET)),
      key(0) {}

DataTime::DataTime() : DataTime(AbsTime()) {}

DataTime::DataTime(const AbsTime& time)
    : _refTime(time),
      _forecast(0),
      _valid(time, time),
      _alternateRef(time),
      _key(0),
      _flags(kPlainFlags) {}

DataTime::DataTime(const AbsTime& refTime, long forecast)
    : _refTime(refTime),
      _forecast(forecast),
      _valid(refTime + forecast, refTime + forecast),
      _alternateRef(refTime),
      _key(0),
      _flags(kForecastFlags) {}

void DataTime::setRefTime(const AbsTime& time) {
  _refTime = time;
  _flags |= ALTERNATE_SET;
  if (!(_flags & VALID_FROM_REF)) return;
  // The valid time stays where it was; it now stands by itself unless it
  // still follows the alternate reference.
  _flags &= ~VALID_FROM_REF;
  if (!(_flags & VALID_FROM_ALT)) _flags |= VALID_SET;
}

void DataTime::setAlternateRef(const AbsTime& time) {
  _alternateRef = time;
  _flags |= ALTERNATE_SET;
  if (!(_flags & VALID_FROM_ALT)) return;
  _flags &= ~VALID_FROM_ALT;
  if (!(_flags & VALID_FROM_REF)) _flags |= VALID_SET;
}

void DataTime::setForecast(long seconds) {
  _forecast = seconds;
  _flags |= FORECAST_SET;
  if (_flags & (VALID_FROM_REF | VALID_FROM_ALT)) validFromBase();
}

void DataTime::setValidPeriod(const AbsTime& start, const AbsTime& end,
                              bool hasDuration) {
  _valid = hasDuration ? TimeRange(start, end) : TimeRange(start, start);
  _flags |= VALID_SET;
  _flags &= ~(VALID_FROM_REF | VALID_FROM_ALT);
}

void DataTime::setKey(unsigned long value) {
  _key = value;
  _flags |= KEY_SET;
}

void DataTime::perturb(long delta, unsigned long value) {
  if (_flags & PERTURBED) return;
  _flags |= PERTURBED;
  if (delta != 0) setRefTime(_refTime + delta);
  if (value != 0) setKey(value);
}

void DataTime::validFromBase() {
  bool fromAlternate = (_flags & VALID_FROM_ALT) && !(_flags & VALID_FROM_REF);
  const AbsTime& base = fromAlternate ? _alternateRef : _refTime;
  _valid = TimeRange(base + _forecast, base + _forecast);
}

AbsTime DataTime::perturbedReference() const {
  return (_flags & PERTURBED) ? _alternateRef : _refTime;
}

AbsTime DataTime::validTime() const {
  return perturbedReference() + forecastMinutesInSeconds();
}

DataTime DataTime::truncated() const {
  if (_refTime.seconds() < 2) return DataTime(_refTime);
  DataTime copy(*this);
  copy._refTime = toWholeMinute(_refTime);
  copy._alternateRef = toWholeMinute(_alternateRef);
  copy._valid = TimeRange(toWholeMinute(_valid.start()),
                          toWholeMinute(_valid.end()));
  copy._forecast = forecastMinutesInSeconds();
  copy._key = 0;  // the flags no longer name a key
  copy._flags = FORECAST_SET | VALID_SET | ALTERNATE_SET;
  return copy;
}

void DataTime::setCompareKeys(CompareKey primary, CompareKey secondary) {
  compareSettings().primary = primary;
  compareSettings().secondary = secondary;
}

void DataTime::setPerturbationCompare(bool on) {
  compareSettings().perturbationAware = on;
}

DataTime::CompareKey DataTime::primaryCompareKey() {
  return compareSettings().primary;
}

DataTime::CompareKey DataTime::secondaryCompareKey() {
  return compareSettings().secondary;
}

bool DataTime::perturbationCompare() {
  return compareSettings().perturbationAware;
}

long DataTime::compareValue(CompareKey key, bool perturbationAware) const {
  switch (key) {
    case REFERENCE_TIME:
      return (perturbationAware ? perturbedReference() : _refTime).seconds();
    case FORECAST:
      return perturbationAware ? forecastMinutesInSeconds() : _forecast;
    case VALID_TIME:
      break;
  }
  return perturbationAware ? validTime().seconds()
                           : (_refTime + _forecast).seconds();
}

bool DataTime::operator>(const DataTime& other) const {
  const CompareSettings& s = compareSettings();
  for (CompareKey key : {s.primary, s.secondary}) {
    // Perturbation-aware, a null time never ranks above another by forecast.
    if (s.perturbationAware && key == FORECAST && isNull()) return false;
    long mine = compareValue(key, s.perturbationAware);
    long theirs = other.compareValue(key, s.perturbationAware);
    if (mine != theirs) return mine > theirs;
  }
  if (!s.perturbationAware) return false;
  return (_refTime - _alternateRef) > (other._refTime - other._alternateRef);
}

const char* DataTime::text() const {
  static char buffer[256];
  if (isNull()) return "DataTime::Null";
  if (isStatic()) return "DataTime::Static";
  TextString text;
  const AbsTime& r = _refTime;
  appendf(text, "%d/%d-%2.2d:%2.2d", r.month(), r.dayOfMonth(), r.hour(),
          r.minute());
  if (r.second() != 0) appendf(text, ":%2.2d", r.second());
  if (_flags & FORECAST_SET) {
    short hours = static_cast<short>(_forecast / 3600);
    short minutes = static_cast<short>(_forecast / 60 % 60);
    if (minutes == 0)
      appendf(text, " f%hd", hours);
    else
      appendf(text, " f%hd:%2.2hd", hours, minutes);
  }
  if (_flags & VALID_SET)
    appendf(text, " v(%ld:%ld)", _valid.start() - r, _valid.end() - r);
  if ((_flags & (VALID_FROM_REF | VALID_FROM_ALT)) == VALID_FROM_ALT)
    text += " v>";
  if (_flags & ALTERNATE_SET) {
    const AbsTime& a = _alternateRef;
    appendf(text, " a%2.2d:%2.2d", a.hour(), a.minute());
    if (a.second() != 0) appendf(text, ":%2.2d", a.second());
  }
  if (_flags & KEY_SET) appendf(text, " k%lu", _key);
  if (_flags != kPlainFlags) appendf(text, " u%x", _flags);
  std::snprintf(buffer, sizeof buffer, "%s", text.chars());
  return buffer;
}

AbsTime DataTime::shownTime() const {
  if (_flags & SHOW_REFERENCE) return perturbedReference();
  return _valid.end() - _forecast;
}

TextString DataTime::longCaption() const {
  AbsTime t = shownTime();
  TextString text;
  appendf(text, "%2.2d:%2.2dZ %s %2.2d-%s-%2.2d", t.hour(), t.minute(),
          weekdayName(t), t.dayOfMonth(), monthName(t), t.year() % 100);
  return text;
}

TextString DataTime::shortCaption(bool withMinutes) const {
  AbsTime t = shownTime();
  TextString text;
  if (withMinutes || t.minute() != 0)
    appendf(text, "%2.2d.%2.2d%2.2d", t.dayOfMonth(), t.hour(), t.minute());
  else
    appendf(text, "%2.2d.%2.2d", t.dayOfMonth(), t.hour());
  return text;
}

TextString DataTime::shortForecastCaption(bool withMinutes) const {
  TextString text = shortCaption(withMinutes);
  appendf(text, " %ldHR", _forecast / 3600);
  return text;
}

TextString DataTime::dateCaption() const {
  AbsTime t = shownTime();
  TextString text;
  appendf(text, "%2.2d%s%2.2d", t.dayOfMonth(), monthName(t), t.year() % 100);
  return text;
}

TextString DataTime::timeCaption(bool withWeekday) const {
  AbsTime t = shownTime();
  TextString text;
  if (t.minute() != 0)
    appendf(text, "%2.2d:%2.2dZ", t.hour(), t.minute());
  else
    appendf(text, "%2.2dZ", t.hour());
  if (withWeekday) appendf(text, " %s", weekdayName(t));
  return text;
}

// Reference day and hour, forecast length, the valid period and where the
// valid time lies in it, then the valid time itself.
TextString DataTime::fullCaption() const {
  if (isNull() || isStatic() || (_flags & NO_DISPLAY)) return TextString();
  AbsTime t = shownTime();
  TextString text;
  if (perturbation() != 0) appendf(text, "Perturbation %ld ", perturbation());
  text += shortCaption();
  long forecast = forecastMinutesInSeconds();
  if (forecast > kDaysCaptionAbove && forecast % 86400 == 0)
    appendf(text, " %3ldDAYS ", forecast / 86400);
  else
    appendf(text, " %3ldHR ", forecast / 3600);
  if (!(_flags & SHOW_REFERENCE) && _valid.hasDuration()) {
    long length = _valid.duration();
    short hours = static_cast<short>(length / 3600);
    short minutes = static_cast<short>(length / 60 % 60);
    if (minutes == 0)
      appendf(text, "%hdhrs ", hours);
    else
      appendf(text, "%hd:%2.2hd ", hours, minutes);
    AbsTime v = validTime();
    text += v <= _valid.start() ? "Begn " : v >= _valid.end() ? "Endg "
                                                              : "Incl ";
  }
  AbsTime v = t + _forecast;
  appendf(text, "%s %2.2d:%2.2dZ %2.2d-%s-%2.2d ", weekdayName(v), v.hour(),
          v.minute(), v.dayOfMonth(), monthName(v), v.year() % 100);
  return text;
}

DataTimeParts DataTime::parts() const {
  DataTimeParts p(_flags);
  p.refTime = _refTime;
  p.forecast = _forecast;
  p.valid = _valid;
  p.alternateRef = _alternateRef;
  p.key = _key;
  return p;
}

DataTime DataTime::fromParts(const DataTimeParts& p) {
  const unsigned kKnownLayout =
      VALID_FROM_REF | VALID_FROM_ALT | FORECAST_SET | VALID_SET | ALTERNATE_SET;
  if (!(p.flags & kKnownLayout) || p.flags >= 0x4000) return DataTime(p.refTime);
  DataTime t(p.refTime);
  t._flags = p.flags;
  if (p.hasForecast) t._forecast = p.forecast;
  if (p.hasAlternateRef) t._alternateRef = p.alternateRef;
  if (p.hasKey) t._key = p.key;
  // A period without duration travels as the empty range; the fields that
  // arrived give it back.
  if (p.hasValid && !p.valid.isEmpty())
    t._valid = p.valid;
  else
    t.validFromBase();
  return t;
}

std::ostream& operator<<(std::ostream& out, const DataTime& time) {
  char forecast[64];
  long f = time.forecast();
  if (f % 60 != 0)
    std::snprintf(forecast, sizeof forecast, "%3ld:%2.2ld:%2.2ld", f / 3600,
                  f / 60 % 60, f % 60);
  else
    std::snprintf(forecast, sizeof forecast, "%3ld:%2.2ld", f / 3600,
                  f / 60 % 60);
  out << forecast << ' ' << time.refTime().format(kLogTimeFormat);
  if (time.valid().hasDuration())
    out << " (" << time.valid().start().format(kLogTimeFormat) << ", "
        << time.valid().end().format(kLogTimeFormat) << ')';
  return out;
}
