#ifndef ZEPH_IPC_TIMEREVENTCLIENT_H_
#define ZEPH_IPC_TIMEREVENTCLIENT_H_

#include <sys/times.h>

// Something the event loop calls back when its time comes. Times are in
// clock ticks of the monotonic clock (EventDispatcher::ticks()), which
// clock setting doesn't disturb. A timer runs once it is in the dispatcher's timer set and
// enabled; after each run it is re-armed one interval on, unless its
// handler disabled it.
class TimerEventClient {
 public:
  // The expiration of a disabled timer.
  static constexpr clock_t kDisabled = 0x7FFFFFFF;

  TimerEventClient();
  virtual ~TimerEventClient();
  TimerEventClient(const TimerEventClient&) = delete;
  TimerEventClient& operator=(const TimerEventClient&) = delete;

  virtual void handleEvent() = 0;

  // On, a disabled timer expires one interval from now and an enabled one
  // stays as it is; off, it never expires.
  void enable(bool on);
  bool enabled() const { return _expiration != kDisabled; }
  void setPeriod(int milliseconds);
  int period() const { return _period; }
  clock_t interval() const { return _interval; }
  clock_t expiration() const { return _expiration; }
  void setExpiration(clock_t ticks) { _expiration = ticks; }

 private:
  int _period;  // milliseconds, -1 until set
  clock_t _expiration;
  clock_t _interval;  // ticks
};

#endif  // ZEPH_IPC_TIMEREVENTCLIENT_H_
