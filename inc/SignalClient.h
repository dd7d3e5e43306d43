#ifndef ZEPH_INC_SIGNALCLIENT_H_
#define ZEPH_INC_SIGNALCLIENT_H_

// What a signal means to a program. The signal catcher calls its client on
// the main thread for the signals that can wait, and from within the
// handler for faults. A program gives the catcher its own client where it
// must do more than the base: the decoder moves the file that killed it.
class SignalClient {
 public:
  virtual ~SignalClient() = default;

  // Ends the process: status 0 when `clean`, 1 otherwise. A second call,
  // from a second signal or a fault during the first, kills the process at
  // once, so that a shutdown can't hang.
  virtual void shutdown(bool clean, int signal);
  // SIGHUP.
  virtual void reset();
  // 0 for SIGALRM, 1 for SIGPROF.
  virtual void timerSignal(int which);
  // 0 for SIGPIPE, 1 for a lost remote lock.
  virtual void ioSignal(int which);
  // SIGCHLD: the process's children are reaped and their owners told.
  virtual void childSignal();
  // SIGURG: the IPC statistics go to the log.
  virtual void statisticsSignal();
};

#endif  // ZEPH_INC_SIGNALCLIENT_H_
