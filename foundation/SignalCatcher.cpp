#include "SignalCatcher.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "EventDispatcher.h"
#include "LogStream.h"

namespace {

SignalCatcher* theCatcher = nullptr;
int pipeWriteEnd = -1;

const int kFaultsUsual[] = {SIGILL, SIGTRAP, SIGFPE, SIGBUS, SIGSEGV, SIGPIPE};
const int kFaultsWithAbort[] = {SIGILL,  SIGTRAP, SIGABRT, SIGFPE,
                                SIGBUS,  SIGSEGV, SIGPIPE};
const int kFaultsNone[] = {SIGPIPE};
const int kAsynchronous[] = {SIGHUP,  SIGINT,  SIGTERM, SIGALRM, SIGUSR1,
                             SIGUSR2, SIGCHLD, SIGPROF, SIGURG,  SIGQUIT};

void onFault(int signal) { theCatcher->handleSignal(signal); }

void onAsynchronous(int signal) {
  int saved = errno;
  ssize_t written = write(pipeWriteEnd, &signal, sizeof signal);
  (void)written;  // a full pipe loses the signal
  errno = saved;
}

// -1 when unset or not a number.
int dumpCoreSetting() {
  const char* value = std::getenv("ZEPH_DUMP_CORE");
  if (value == nullptr || *value == '\0') return -1;
  char* end = nullptr;
  long setting = std::strtol(value, &end, 10);
  return *end == '\0' ? static_cast<int>(setting) : -1;
}

bool install(int signal, void (*handler)(int), int flags) {
  struct sigaction action;
  std::memset(&action, 0, sizeof action);
  action.sa_handler = handler;
  sigemptyset(&action.sa_mask);
  action.sa_flags = flags;
  return sigaction(signal, &action, nullptr) == 0;
}

}  // namespace

SignalCatcher& SignalCatcher::instance() {
  if (theCatcher == nullptr) theCatcher = new ThreadSignalCatcher;
  return *theCatcher;
}

void SignalCatcher::servePendingSignals() {
  if (theCatcher != nullptr && theCatcher->_pipe.hasData())
    theCatcher->_pipe.handleEvent();
}

SignalCatcher::SignalCatcher() : _client(&_plainClient) {
  // Set before the handlers: a signal may come at once.
  theCatcher = this;
  pipeWriteEnd = _pipe.writeEnd();
  EventDispatcher::setPendingSignalServer(servePendingSignals);
  installHandlers();
}

SignalCatcher::~SignalCatcher() {
  if (theCatcher == this) theCatcher = nullptr;
}

void SignalCatcher::installHandlers() {
  int setting = dumpCoreSetting();
  const int* faults = kFaultsUsual;
  int faultCount = sizeof kFaultsUsual / sizeof(int);
  if (setting == 0) {
    faults = kFaultsWithAbort;
    faultCount = sizeof kFaultsWithAbort / sizeof(int);
  } else if (setting == 1) {
    faults = kFaultsNone;
    faultCount = 1;
  }
  for (int i = 0; i < faultCount; ++i)
    if (!install(faults[i], onFault, SA_RESTART))
      std::fprintf(stderr, "Cannot install handler for signal %d (%s)%s\n",
                   faults[i], signalName(faults[i]), std::strerror(errno));

  sigemptyset(&_asynchronous);
  for (int signal : kAsynchronous) {
    if (signal == SIGQUIT && setting == 1) continue;
    sigaddset(&_asynchronous, signal);
    if (!install(signal, onAsynchronous, signal == SIGCHLD ? SA_NOCLDSTOP : 0)) {
      ZLOG(LogStream::PROBLEM)
          << "Cannot install handler for signal " << signal << " ("
          << signalName(signal) << ")" << std::strerror(errno) << std::endl;
    }
  }
}

void SignalCatcher::resetChildHandler() { install(SIGCHLD, SIG_DFL, 0); }

void SignalCatcher::setClient(SignalClient* client) {
  _client = client != nullptr ? client : &_plainClient;
}

void SignalCatcher::handleSignal(int signal) {
  switch (signal) {
    case -2:
    case SIGILL:
    case SIGTRAP:
    case SIGABRT:
    case SIGBUS:
    case SIGFPE:
    case SIGSEGV:
      _client->shutdown(false, signal);
      return;
    case SIGINT:
    case SIGQUIT:
    case SIGTERM:
      _client->shutdown(true, signal);
      return;
    case SIGHUP:
      _client->reset();
      return;
    case SIGUSR1:
      LogStream::instance().breakLogFiles();
      return;
    case SIGUSR2:
      LogStream::instance().toggleFiltering();
      return;
    case SIGPIPE:
      _client->ioSignal(0);
      return;
    case SIGALRM:
      _client->timerSignal(0);
      return;
    case SIGPROF:
      _client->timerSignal(1);
      return;
    case SIGCHLD:
      _client->childSignal();
      return;
    case SIGURG:
      _client->statisticsSignal();
      return;
    case -1:
      _client->ioSignal(1);
      return;
    default:
      ZLOG(LogStream::BUG) << "Unknown signal " << signal
                           << " in SignalCatcher\n"
                           << std::endl;
  }
}

ThreadSignalCatcher::ThreadSignalCatcher() : _mainThread(pthread_self()) {}

void ThreadSignalCatcher::handleSignal(int signal) {
  bool asynchronous = signal > 0 && sigismember(&asynchronousSignals(), signal);
  if (!asynchronous && !pthread_equal(pthread_self(), _mainThread)) {
    if (signal == SIGPIPE) return;
    std::fprintf(stderr,
                 "Signal %d (%s) received inside a thread for dirty shutdown\n",
                 signal, signalName(signal));
    kill(getpid(), SIGKILL);
    return;
  }
  SignalCatcher::handleSignal(signal);
}

const char* signalName(int signal) {
  switch (signal) {
    case -2: return "EMT instruction";
    case -1: return "Remote lock lost";
    case 1: return "Hangup";
    case 2: return "Interrupt";
    case 3: return "Quit";
    case 4: return "Illegal instruction";
    case 5: return "Trace trap";
    case 6: return "Abort/IOT instruction";
    case 7: return "Bus error";
    case 8: return "Floating point exception";
    case 9: return "Kill - how did we catch this one?";
    case 10: return "User signal 1";
    case 11: return "Segmentation violation";
    case 12: return "User signal 2";
    case 13: return "Broken pipe";
    case 14: return "Alarm clock";
    case 15: return "Terminate";
    case 17: return "Child died";
    case 18: return "Continue after stop";
    case 19: return "Stop - how did we catch this one?";
    case 20: return "TTY stop";
    case 21: return "TTY input";
    case 22: return "TTY output";
    case 23: return "Out of band data arrived on socket";
    case 26: return "Virtual timer alarm";
    case 27: return "Profile timer alarm";
    case 28: return "TTY window size changed";
    case 29: return "Asynchronous I/O";
    case 30: return "Power restored";
    default: return "Unknown signal";
  }
}
