#include "SignalPipe.h"

#include <fcntl.h>
#include <sys/select.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "EventDispatcher.h"
#include "LogStream.h"
#include "SignalCatcher.h"

SignalPipe::SignalPipe() {
  int ends[2];
  if (::pipe(ends) != 0) {
    ZLOG(LogStream::BUG) << "pipe() failed in SignalPipe::SignalPipe()"
                         << std::endl
                         << "Reason: " << std::strerror(errno) << std::endl;
    return;
  }
  _read = ends[0];
  _write = ends[1];
  // A handler must never block on a full pipe: a signal lost then is
  // better than a process stopped inside its handler.
  fcntl(_write, F_SETFL, fcntl(_write, F_GETFL) | O_NONBLOCK);
  fcntl(_read, F_SETFD, FD_CLOEXEC);
  fcntl(_write, F_SETFD, FD_CLOEXEC);
  EventDispatcher::instance().addDescriptor(this, true);
}

SignalPipe::~SignalPipe() {
  if (_read >= 0) close(_read);
  if (_write >= 0) close(_write);
}

void SignalPipe::handleEvent() {
  int numbers[1024];
  ssize_t n = read(_read, numbers, sizeof numbers);
  if (n <= 0 || n % 4 != 0) return;
  for (ssize_t i = 0; i < n / 4; ++i)
    SignalCatcher::instance().handleSignal(numbers[i]);
}

bool SignalPipe::hasData() {
  if (_read < 0) return false;
  fd_set readable;
  FD_ZERO(&readable);
  FD_SET(_read, &readable);
  timeval none = {0, 0};
  return select(_read + 1, &readable, nullptr, nullptr, &none) == 1;
}
