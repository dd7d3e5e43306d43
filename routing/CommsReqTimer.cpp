#include "CommsReqTimer.h"

#include "EventDispatcher.h"
#include "LogStream.h"

CommsReqTimer::CommsReqTimer(CommsMessage* message, IPC_Target* target)
    : _message(message), _target(target) {}

CommsReqTimer::~CommsReqTimer() {
  delete _message;
  delete _target;
}

void CommsReqTimer::start() {
  EventDispatcher::instance().addTimer(this);
  setPeriod(kRetryMilliseconds);
  enable(true);
}

void CommsReqTimer::handleEvent() {
  enable(false);
  EventDispatcher::instance().removeTimer(this);
  if (_message->send(*_target) == 0) {
    ZLOG(LogStream::EVENT) << "Data Request message sent to " << *_target
                           << "." << std::endl;
    return;
  }
  ZLOG(LogStream::PROBLEM) << "Send of Data Request message to " << *_target
                           << " failed." << std::endl;
  start();
}
