#ifndef ZEPH_INC_STOPWATCH_H_
#define ZEPH_INC_STOPWATCH_H_

#include <sys/times.h>

// Measures wall-clock, user and system time of a piece of work; stops may
// be repeated, and the total adds them up.
class StopWatch {
 public:
  StopWatch();

  void start();
  // Without a start before, everything reads 0 and the misuse is logged.
  void stop();
  double elapsedNow() const;

  double elapsed() const { return _elapsed; }
  double userTime() const { return _userTime; }
  double systemTime() const { return _systemTime; }
  double totalTime() const { return _totalTime; }
  int stopCount() const { return _stopCount; }
  bool running() const { return _running; }

 private:
  static double wallClock();

  double _startTime;
  struct tms _startTimes;
  double _totalTime;
  int _stopCount;
  double _elapsed;
  double _userTime;
  double _systemTime;
  bool _running;
};

#endif  // ZEPH_INC_STOPWATCH_H_
