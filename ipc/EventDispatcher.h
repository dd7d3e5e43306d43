#ifndef ZEPH_IPC_EVENTDISPATCHER_H_
#define ZEPH_IPC_EVENTDISPATCHER_H_

#include <sys/time.h>
#include <sys/times.h>

#include "Dict.h"
#include "Set.h"

class DescriptorEventClient;
class DispatchEngine;
class TimerEventClient;

// The one event core of a process: a loop around select that calls back
// the clients registered for a descriptor or a timer. A server runs it for
// ever with start(); a client such as a decoder waits with waitForMessage,
// which serves only the IPC descriptors.
class EventDispatcher {
 public:
  // What selectWrapper answers.
  enum SelectResult {
    SELECT_FAILED = 0,
    INTERRUPTED = 1,
    TIMED_OUT = 2,
    SERVED = 3
  };

  static EventDispatcher& instance();

  // Runs the engine of `type` until stop(); an unknown type is reported.
  void start(int type);
  void stop() { _running = false; }
  bool running() const { return _running; }
  bool started() const { return _started; }
  void registerEngine(int type, DispatchEngine* engine);

  // An IPC client (socket, listener, signal pipe) goes into both sets;
  // removal takes a client out of both.
  void addDescriptor(DescriptorEventClient* client, bool ipc);
  void removeDescriptor(DescriptorEventClient* client);
  void addTimer(TimerEventClient* timer) { _timers.insert(timer); }
  void removeTimer(TimerEventClient* timer) { _timers.remove(timer); }

  Set<TimerEventClient*>& timers() { return _timers; }
  Set<DescriptorEventClient*>& descriptors() { return _descriptors; }
  Set<DescriptorEventClient*>& ipcDescriptors() { return _ipcDescriptors; }

  // Waits on the clients of `set` for at most `timeout` (null: no limit)
  // and serves the ready ones, high priority first. Handlers may add and
  // remove clients, themselves included.
  SelectResult selectWrapper(Set<DescriptorEventClient*>& set,
                             timeval* timeout);

  // A wait that can't return to the loop (a blocked write) lets the
  // signals that came meanwhile be served through this, when the process
  // has a signal pipe.
  static void setPendingSignalServer(void (*server)());
  static void servePendingSignals();

  // Clock ticks (times() units, monotonic) as a counter that wraps at
  // 0x7FFFFFFF, which the timer arithmetic expects whatever the
  // width of clock_t.
  static clock_t ticks();
  static long ticksPerSecond();

 private:
  EventDispatcher();
  ~EventDispatcher() = delete;

  bool _running;
  bool _started;
  Set<TimerEventClient*> _timers;
  Set<DescriptorEventClient*> _descriptors;
  Set<DescriptorEventClient*> _ipcDescriptors;
  Dict<int, DispatchEngine*> _engines;
};

#endif  // ZEPH_IPC_EVENTDISPATCHER_H_
