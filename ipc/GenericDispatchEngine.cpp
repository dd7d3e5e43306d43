#include "DescriptorEventClient.h"
#include "DispatchEngine.h"
#include "EventDispatcher.h"
#include "LogStream.h"
#include "TimerEventClient.h"

namespace {

const clock_t kNever = TimerEventClient::kDisabled;

timeval ticksToTimeval(clock_t ticks) {
  long perSecond = EventDispatcher::ticksPerSecond();
  timeval t;
  t.tv_sec = ticks / perSecond;
  t.tv_usec = ticks % perSecond * 1000000 / perSecond;
  return t;
}

// Runs a timer and re-arms it, unless its handler disabled or destroyed it.
void fire(EventDispatcher& dispatcher, TimerEventClient* timer) {
  timer->handleEvent();
  if (!dispatcher.timers().lookup(timer) || !timer->enabled()) return;
  timer->setExpiration((EventDispatcher::ticks() + timer->interval()) & kNever);
}

}  // namespace

// The tick counter wraps: an expiration far below a `now` close to the
// top lies behind the wrap, and is passed over until the counter gets
// there.
void GenericDispatchEngine::run(EventDispatcher& dispatcher) {
  const clock_t oneDay = EventDispatcher::ticksPerSecond() * 86400;
  const clock_t maxSafe = kNever - oneDay;
  while (dispatcher.running()) {
    clock_t now = EventDispatcher::ticks();
    TimerEventClient* next = nullptr;
    clock_t nextExpiration = kNever;
    bool fired = false;
    Set<TimerEventClient*> copy(dispatcher.timers());
    for (int i = 0; i < copy.length(); ++i) {
      TimerEventClient* timer = copy.keyAt(i);
      if (!dispatcher.timers().lookup(timer)) continue;
      clock_t expiration = timer->expiration();
      if (expiration <= now) {
        if (now > maxSafe && expiration < oneDay) {
          ZLOG(LogStream::EVENT) << "Clock_t cycle..." << std::endl;
          continue;
        }
        fire(dispatcher, timer);
        fired = true;
      } else if (expiration < nextExpiration) {
        if (expiration < oneDay && nextExpiration > maxSafe &&
            nextExpiration != kNever) {
          ZLOG(LogStream::EVENT)
              << "Next timerExpiration over MAX." << std::endl;
          continue;
        }
        next = timer;
        nextExpiration = expiration;
      }
    }
    if (fired) continue;
    EventDispatcher::SelectResult result;
    if (next != nullptr) {
      clock_t wait = nextExpiration - now;
      if (wait <= 0) wait += kNever;
      timeval limit = ticksToTimeval(wait);
      result = dispatcher.selectWrapper(dispatcher.descriptors(), &limit);
    } else {
      result = dispatcher.selectWrapper(dispatcher.descriptors(), nullptr);
    }
    if (result == EventDispatcher::TIMED_OUT && next != nullptr &&
        dispatcher.timers().lookup(next))
      fire(dispatcher, next);
  }
}
