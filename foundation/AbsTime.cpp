#include "AbsTime.h"

#include <sys/time.h>

#include <cstring>
#include <ctime>
#include <ostream>

#include "LogStream.h"

namespace {

const int kMonthDays[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};

bool isLeap(int year) { return year % 4 == 0; }  // exact for 1901..2099

}  // namespace

int AbsTime::daysInMonth(int month, int year) {
  if (month < 1 || month > 12) {
    ZLOG(LogStream::BUG) << "daysInMonth supplied with bad month number"
                         << std::endl;
    return 0;
  }
  if (month == 2 && isLeap(year)) return 29;
  return kMonthDays[month - 1];
}

AbsTime::AbsTime(int year, int month, int day, int hour, int minute,
                 int second)
    : _seconds(0) {
  if (year < 39)
    year += 2000;
  else if (year >= 70 && year <= 100)
    year += 1900;
  bool valid = year >= 1970 && year <= 2038 && month >= 1 && month <= 12 &&
               day >= 1 && day <= daysInMonth(month, year) && hour >= 0 &&
               hour <= 23 && minute >= 0 && minute <= 59 && second >= 0 &&
               second <= 59;
  long long total = 0;
  if (valid) {
    long long days = 0;
    for (int y = 1970; y < year; ++y) days += isLeap(y) ? 366 : 365;
    for (int m = 1; m < month; ++m) days += daysInMonth(m, year);
    total = (days + day - 1) * 86400LL + hour * 3600LL + minute * 60LL + second;
    // The last seconds of 2038 lie beyond what the count can hold.
    valid = total <= endOfTime()._seconds;
  }
  if (!valid) {
    ZLOG(LogStream::BUG) << "Improper time values for AbsTime::AbsTime()"
                         << std::endl;
    return;
  }
  _seconds = static_cast<long>(total);
}

AbsTime::AbsTime(const TextString& text, const TextString& format)
    : _seconds(0) {
  struct tm parts;
  std::memset(&parts, 0, sizeof parts);
  if (strptime(text.chars(), format.chars(), &parts) == nullptr) {
    ZLOG(LogStream::PROBLEM)
        << "AbsTime::AbsTime(): strptime failed. str:" << text
        << ", fmt:" << format << std::endl;
    return;
  }
  _seconds = static_cast<long>(timegm(&parts));
}

AbsTime AbsTime::now() {
  struct timeval tv;
  gettimeofday(&tv, nullptr);
  return AbsTime(static_cast<long>(tv.tv_sec));
}

bool AbsTime::brokenDown(struct tm& parts) const {
  time_t t = static_cast<time_t>(_seconds);
  return gmtime_r(&t, &parts) != nullptr;
}

int AbsTime::dayOfYear() const {
  struct tm p;
  return brokenDown(p) ? p.tm_yday + 1 : 0;
}
int AbsTime::weekday() const {
  struct tm p;
  return brokenDown(p) ? p.tm_wday : 0;
}
int AbsTime::second() const {
  struct tm p;
  return brokenDown(p) ? p.tm_sec : 0;
}
int AbsTime::minute() const {
  struct tm p;
  return brokenDown(p) ? p.tm_min : 0;
}
int AbsTime::hour() const {
  struct tm p;
  return brokenDown(p) ? p.tm_hour : 0;
}
int AbsTime::dayOfMonth() const {
  struct tm p;
  return brokenDown(p) ? p.tm_mday : 0;
}
int AbsTime::month() const {
  struct tm p;
  return brokenDown(p) ? p.tm_mon + 1 : 0;
}
int AbsTime::year() const {
  struct tm p;
  return brokenDown(p) ? p.tm_year + 1900 : 0;
}

TextString AbsTime::format(const TextString& pattern) const {
  struct tm parts;
  char buffer[201];
  size_t n = 0;
  if (brokenDown(parts))
    n = strftime(buffer, sizeof buffer, pattern.chars(), &parts);
  if (n == 0) {
    ZLOG(LogStream::BUG)
        << "AbsTime string formatting problem, empty string returned"
        << std::endl;
    return TextString();
  }
  return TextString(buffer);
}

std::ostream& operator<<(std::ostream& out, const AbsTime& time) {
  return out << time.format("%h %d %y %T GMT");
}
