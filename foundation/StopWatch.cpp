#include "StopWatch.h"

#include <sys/time.h>
#include <unistd.h>

#include "LogStream.h"

StopWatch::StopWatch()
    : _startTime(0),
      _startTimes(),
      _totalTime(0),
      _stopCount(0),
      _elapsed(0),
      _userTime(0),
      _systemTime(0),
      _running(false) {}

double StopWatch::wallClock() {
  struct timeval tv;
  gettimeofday(&tv, nullptr);
  return tv.tv_sec + tv.tv_usec / 1e6;
}

void StopWatch::start() {
  times(&_startTimes);
  _startTime = wallClock();
  _running = true;
}

double StopWatch::elapsedNow() const {
  return _running ? wallClock() - _startTime : _elapsed;
}

void StopWatch::stop() {
  if (!_running) {
    _elapsed = _userTime = _systemTime = 0;
    ZLOG(LogStream::BUG) << "The timing must be started or restarted "
                         << "\nby the start method before the timing can be "
                            "stopped."
                         << std::endl;
    return;
  }
  static const double ticksPerSecond = sysconf(_SC_CLK_TCK);
  struct tms now;
  times(&now);
  _running = false;
  _elapsed = wallClock() - _startTime;
  _userTime = (now.tms_utime - _startTimes.tms_utime) / ticksPerSecond;
  _systemTime = (now.tms_stime - _startTimes.tms_stime) / ticksPerSecond;
  ++_stopCount;
  _totalTime += _elapsed;
  _startTime = 0;
}
