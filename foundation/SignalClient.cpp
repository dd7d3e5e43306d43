#include "SignalClient.h"

#include <signal.h>

#include <cstdlib>

#include "ChildProcessSet.h"
#include "Connection.h"
#include "LogStream.h"
#include "SignalCatcher.h"

namespace {

volatile sig_atomic_t shuttingDown = 0;

}  // namespace

void SignalClient::shutdown(bool clean, int signal) {
  if (shuttingDown) raise(SIGKILL);
  shuttingDown = 1;
  if (clean) {
    ZLOG(LogStream::EVENT) << "Signal " << signal << " (" << signalName(signal)
                           << ") received for clean shutdown\n"
                           << std::endl;
    std::exit(0);
  }
  ZLOG(LogStream::BUG) << "Stack tracing capability not implemented."
                       << std::endl;
  ZLOG(LogStream::BUG) << "Signal " << signal << " (" << signalName(signal)
                       << ") received for dirty shutdown\n"
                       << std::endl;
  std::exit(1);
}

void SignalClient::reset() {
  ZLOG(LogStream::EVENT) << "SignalClient::reset() received and ignored SIGHUP\n"
                         << std::endl;
}

void SignalClient::timerSignal(int which) {
  shutdown(false, which == 0 ? SIGALRM : SIGPROF);
}

void SignalClient::ioSignal(int which) {
  if (which == 0) {
    ZLOG(LogStream::PROBLEM)
        << "SignalClient::ioSignal() recv'd and ignored SIGPIPE\n"
        << std::endl;
    return;
  }
  shutdown(false, -1);
}

void SignalClient::childSignal() { ChildProcessSet::instance().childExited(); }

void SignalClient::statisticsSignal() { Connection::reportStatistics(); }
