#include "MessageWait.h"

#include "EventDispatcher.h"
#include "TimerEventClient.h"

namespace {

struct WaitState {
  bool messageDone = false;
  const IPC_Target* filter = nullptr;
};

WaitState& waitState() {
  static WaitState state;
  return state;
}

// What is left of the limit after `elapsed` ticks; false once it is used up.
bool takeOff(timeval& remaining, clock_t elapsed) {
  long perSecond = EventDispatcher::ticksPerSecond();
  long long left = remaining.tv_sec * 1000000LL + remaining.tv_usec -
                   elapsed * 1000000LL / perSecond;
  if (left <= 0) return false;
  remaining.tv_sec = left / 1000000;
  remaining.tv_usec = left % 1000000;
  return true;
}

}  // namespace

void messageDispatched() { waitState().messageDone = true; }

const IPC_Target* messageFilter() { return waitState().filter; }

void cancelMessageFilter() { waitState().filter = nullptr; }

int waitForMessage(int timeoutTenths, const IPC_Target* filter) {
  bool limited = timeoutTenths != 0;
  timeval remaining = {0, 0};
  if (timeoutTenths > 0) {
    remaining.tv_sec = timeoutTenths / 10;
    remaining.tv_usec = timeoutTenths % 10 * 100000;
  }
  WaitState& state = waitState();
  state.messageDone = false;
  state.filter = filter;
  EventDispatcher& dispatcher = EventDispatcher::instance();
  int status = -1;
  // Each pass runs from the end of the one before, so the passes add up
  // to the whole wait however short each is.
  clock_t passStart = EventDispatcher::ticks();
  for (;;) {
    timeval limit = remaining;  // select may change it
    EventDispatcher::SelectResult result = dispatcher.selectWrapper(
        dispatcher.ipcDescriptors(), limited ? &limit : nullptr);
    if (result != EventDispatcher::SERVED) {
      status = result == EventDispatcher::SELECT_FAILED ? IPC_HOPELESS : -1;
      break;
    }
    if (state.messageDone) {
      state.filter = nullptr;
      return 0;
    }
    if (!limited) continue;
    clock_t now = EventDispatcher::ticks();
    clock_t elapsed = (now - passStart) & TimerEventClient::kDisabled;
    passStart = now;
    if (!takeOff(remaining, elapsed)) {
      status = -1;
      break;
    }
  }
  state.filter = nullptr;
  return status;
}
