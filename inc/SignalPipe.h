#ifndef ZEPH_INC_SIGNALPIPE_H_
#define ZEPH_INC_SIGNALPIPE_H_

#include "DescriptorEventClient.h"

// Carries asynchronous signals from their handlers to the main thread: a
// handler only writes the signal's number into the pipe, and the event
// loop reads it there like any descriptor, before the others.
class SignalPipe : public DescriptorEventClient {
 public:
  SignalPipe();
  ~SignalPipe() override;

  void handleEvent() override;
  int descriptor() override { return _read; }
  int conditions() override { return READ; }
  int priority() override { return 1; }

  // Whether a signal waits in the pipe; never blocks.
  bool hasData();
  // The end a handler writes to; -1 if the pipe couldn't be made.
  int writeEnd() const { return _write; }

 private:
  int _read = -1;
  int _write = -1;
};

#endif  // ZEPH_INC_SIGNALPIPE_H_
