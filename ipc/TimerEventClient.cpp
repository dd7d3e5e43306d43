#include "TimerEventClient.h"

#include "EventDispatcher.h"

TimerEventClient::TimerEventClient()
    : _period(-1), _expiration(kDisabled), _interval(0) {}

TimerEventClient::~TimerEventClient() {
  EventDispatcher::instance().removeTimer(this);
}

void TimerEventClient::enable(bool on) {
  if (!on) {
    _expiration = kDisabled;
  } else if (!enabled()) {
    _expiration = (EventDispatcher::ticks() + _interval) & kDisabled;
  }
}

// Milliseconds times ticks per second before the division, so that a
// period below a second still gets an interval.
void TimerEventClient::setPeriod(int milliseconds) {
  _period = milliseconds;
  _interval = static_cast<clock_t>(milliseconds) *
              EventDispatcher::ticksPerSecond() / 1000;
}
