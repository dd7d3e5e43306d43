#ifndef ZEPH_INC_SIGNALCATCHER_H_
#define ZEPH_INC_SIGNALCATCHER_H_

#include <pthread.h>
#include <signal.h>

#include "SignalClient.h"
#include "SignalPipe.h"

// Installs every signal handler of the process and hands each signal to
// the program's SignalClient. Faults, which can't wait, are acted on
// within their handler; every other signal is written into the signal
// pipe and served on the main thread by the event loop, so that no
// handler runs anything but a write.
//
// "ZEPH_DUMP_CORE" chooses the faults that are caught: unset, the usual
// ones without SIGABRT; 0, SIGABRT as well; 1, none but SIGPIPE, and
// SIGQUIT isn't caught either, so that the system can dump core.
class SignalCatcher {
 public:
  // The one catcher, made with its handlers at the first call: a program
  // calls it first thing.
  static SignalCatcher& instance();
  // Serves what waits in the pipe, if the process has a catcher: for a
  // wait that can't go back to the event loop.
  static void servePendingSignals();

  virtual ~SignalCatcher();
  virtual bool isThreaded() const { return false; }
  virtual void resetChildHandler();
  virtual void handleSignal(int signal);

  // The program's client takes over; null gives the plain client back.
  void setClient(SignalClient* client);
  SignalClient* client() const { return _client; }
  SignalPipe& pipe() { return _pipe; }
  const sigset_t& asynchronousSignals() const { return _asynchronous; }

 protected:
  SignalCatcher();

 private:
  void installHandlers();

  sigset_t _asynchronous;
  SignalPipe _pipe;
  SignalClient _plainClient;
  SignalClient* _client;
};

// The catcher of a process with send threads: a fault on a thread other
// than the main one can't be shut down in order, and ends the process
// hard.
class ThreadSignalCatcher : public SignalCatcher {
 public:
  ThreadSignalCatcher();
  bool isThreaded() const override { return true; }
  void handleSignal(int signal) override;

 private:
  pthread_t _mainThread;
};

// The text of a signal's number, as the log shows it.
const char* signalName(int signal);

#endif  // ZEPH_INC_SIGNALCATCHER_H_
