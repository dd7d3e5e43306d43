#include "TimeRange.h"

#include <string>

TimeRange::TimeRange(const AbsTime& a, const AbsTime& b)
    : _start(a < b ? a : b), _end(a < b ? b : a), _hasDuration(a != b) {}

TimeRange::TimeRange(const AbsTime& time, long seconds)
    : TimeRange(time, time + seconds) {}

TimeRange TimeRange::allTime() {
  return TimeRange(AbsTime(), AbsTime::endOfTime());
}

bool TimeRange::meets(const TimeRange& other) const {
  return _hasDuration && other._hasDuration && _start <= other._end &&
         other._start <= _end;
}

TimeRange TimeRange::span(const TimeRange& other) const {
  if (!meets(other)) return TimeRange();
  return TimeRange(_start < other._start ? _start : other._start,
                   _end > other._end ? _end : other._end);
}

TimeRange TimeRange::gap(const TimeRange& other) const {
  if (!_hasDuration || !other._hasDuration || meets(other))
    return TimeRange();
  return _end < other._start ? TimeRange(_end, other._start)
                             : TimeRange(other._end, _start);
}

TextString TimeRange::durationText() const {
  long total = duration();
  long days = total / 86400, hours = total / 3600 % 24;
  long minutes = total / 60 % 60, seconds = total % 60;
  std::string text;
  auto part = [&text](long value, char unit) {
    if (!text.empty()) text += ' ';
    text += std::to_string(value) + unit;
  };
  if (days != 0) part(days, 'd');
  if (hours != 0 || minutes != 0 || seconds != 0) part(hours, 'h');
  if (minutes != 0 || seconds != 0) part(minutes, 'm');
  if (seconds != 0) part(seconds, 's');
  return TextString(text.c_str());
}
