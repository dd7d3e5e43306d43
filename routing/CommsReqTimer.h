#ifndef ZEPH_ROUTING_COMMSREQTIMER_H_
#define ZEPH_ROUTING_COMMSREQTIMER_H_

#include "IPC_Target.h"
#include "ParameterizedMsg.h"
#include "TimerEventClient.h"

// A data request that couldn't be sent, tried again every 15 seconds in
// the dispatcher's loop until the router takes it. It owns the message
// and the router's target. After a send that worked it stays idle until
// the next request replaces it.
class CommsReqTimer : public TimerEventClient {
 public:
  static const int kRetryMilliseconds = 15000;

  CommsReqTimer(CommsMessage* message, IPC_Target* target);
  ~CommsReqTimer() override;

  // Arms the timer in the dispatcher's timers.
  void start();
  void handleEvent() override;

  const IPC_Target& target() const { return *_target; }

 private:
  CommsMessage* _message;
  IPC_Target* _target;
};

#endif  // ZEPH_ROUTING_COMMSREQTIMER_H_
