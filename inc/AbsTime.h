#ifndef ZEPH_INC_ABSTIME_H_
#define ZEPH_INC_ABSTIME_H_

#include <iosfwd>

#include "TextString.h"

// An instant: whole seconds since 1970 in GMT, a value. 0 is the invalid
// time and the result of every failed construction; the last instant a
// signed 32-bit count can hold is the end of time.
class AbsTime {
 public:
  AbsTime() : _seconds(0) {}
  explicit AbsTime(long seconds) : _seconds(seconds) {}
  // A two-digit year below 39 is in the 2000s, from 70 to 100 in the 1900s.
  AbsTime(int year, int month, int day, int hour = 0, int minute = 0,
          int second = 0);
  // Reads `text` by a strptime format, as GMT.
  AbsTime(const TextString& text, const TextString& format);

  static AbsTime endOfTime() { return AbsTime(0x7FFFFFFFL); }
  static AbsTime now();
  static int daysInMonth(int month, int year);

  long seconds() const { return _seconds; }
  bool isValid() const { return _seconds != 0; }
  explicit operator bool() const { return _seconds != 0; }

  int dayOfYear() const;  // from 1
  int weekday() const;    // 0 is Sunday
  int second() const;
  int minute() const;
  int hour() const;
  int dayOfMonth() const;
  int month() const;  // from 1
  int year() const;   // with the century

  // strftime in GMT, at most 200 characters. Log lines use
  // "%h %d %y %T GMT".
  TextString format(const TextString& pattern) const;

  AbsTime operator+(long seconds) const { return AbsTime(_seconds + seconds); }
  AbsTime operator-(long seconds) const { return AbsTime(_seconds - seconds); }
  AbsTime& operator+=(long seconds) {
    _seconds += seconds;
    return *this;
  }
  long operator-(const AbsTime& other) const {
    return _seconds - other._seconds;
  }
  bool operator==(const AbsTime& o) const { return _seconds == o._seconds; }
  bool operator!=(const AbsTime& o) const { return _seconds != o._seconds; }
  bool operator<(const AbsTime& o) const { return _seconds < o._seconds; }
  bool operator<=(const AbsTime& o) const { return _seconds <= o._seconds; }
  bool operator>(const AbsTime& o) const { return _seconds > o._seconds; }
  bool operator>=(const AbsTime& o) const { return _seconds >= o._seconds; }

 private:
  bool brokenDown(struct tm& parts) const;

  long _seconds;
};

std::ostream& operator<<(std::ostream& out, const AbsTime& time);

// Times as keys of Dict and Set hash to their seconds.
inline unsigned long hashKey(const AbsTime& time) {
  return static_cast<unsigned long>(time.seconds());
}

#endif  // ZEPH_INC_ABSTIME_H_
