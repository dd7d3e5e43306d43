#ifndef ZEPH_INC_TIMERANGE_H_
#define ZEPH_INC_TIMERANGE_H_

#include "AbsTime.h"
#include "TextString.h"

// A span of two instants, start not later than end. The empty range has
// both ends 0 and no duration.
class TimeRange {
 public:
  TimeRange() : _hasDuration(false) {}
  TimeRange(const AbsTime& a, const AbsTime& b);
  TimeRange(const AbsTime& time, long seconds);

  static TimeRange allTime();

  const AbsTime& start() const { return _start; }
  const AbsTime& end() const { return _end; }
  bool hasDuration() const { return _hasDuration; }
  long duration() const { return _end - _start; }
  bool isEmpty() const { return !_start && !_end; }

  // For two ranges with a duration that overlap or touch: the whole of
  // both. Otherwise empty.
  TimeRange span(const TimeRange& other) const;
  // For two ranges with a duration that neither overlap nor touch: what
  // lies between them. Otherwise empty.
  TimeRange gap(const TimeRange& other) const;
  // "1d 0h 5m" and the like.
  TextString durationText() const;

  bool operator==(const TimeRange& o) const {
    return _start == o._start && _end == o._end;
  }
  bool operator!=(const TimeRange& o) const { return !(*this == o); }

 private:
  bool meets(const TimeRange& other) const;

  AbsTime _start;
  AbsTime _end;
  bool _hasDuration;
};

#endif  // ZEPH_INC_TIMERANGE_H_
