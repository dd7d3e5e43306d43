#ifndef ZEPH_IPC_DISPATCHENGINE_H_
#define ZEPH_IPC_DISPATCHENGINE_H_

class EventDispatcher;

// A way of running the event loop, registered with the dispatcher under
// an engine type and run by EventDispatcher::start() of that type.
class DispatchEngine {
 public:
  // Runs until the dispatcher's running flag is cleared.
  virtual void run(EventDispatcher& dispatcher) = 0;
  virtual ~DispatchEngine() = default;
};

// Engine type 0: timers and every descriptor, for ever.
class GenericDispatchEngine : public DispatchEngine {
 public:
  void run(EventDispatcher& dispatcher) override;
};

#endif  // ZEPH_IPC_DISPATCHENGINE_H_
