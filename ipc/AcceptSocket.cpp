#include "AcceptSocket.h"

#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <sstream>

#include "Connection.h"
#include "EventDispatcher.h"
#include "LogStream.h"
#include "SocketConnection.h"
#include "ThreadDataSocket.h"

AcceptSocket::AcceptSocket(SocketConnection* owner, const IPC_Target& target)
    : _owner(owner), _fd(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  if (_fd == -1) {
    fail("socket() failed in AcceptSocket::AcceptSocket()", nullptr);
    return;
  }
  int on = 1;
  if (setsockopt(_fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) != 0) {
    fail("setsockopt() failed in AcceptSocket::AcceptSocket()", nullptr);
    return;
  }
  sockaddr_in address = target.address();
  address.sin_family = AF_INET;
  socklen_t size = sizeof address;
  if (bind(_fd, reinterpret_cast<sockaddr*>(&address), size) != 0) {
    fail("bind() failed in AcceptSocket::AcceptSocket()", &target);
    return;
  }
  if (address.sin_port == 0) {
    if (getsockname(_fd, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
      fail("getSockName() failed in AcceptSocket::AcceptSocket()", nullptr);
      return;
    }
    Connection::storeMyTarget(
        IPC_Target::anonymous(ntohl(Connection::localAddress().s_addr),
                              ntohs(address.sin_port), getpid()));
  }
  if (listen(_fd, 128) != 0) {
    fail("listen() failed in AcceptSocket::AcceptSocket()", nullptr);
    return;
  }
  EventDispatcher::instance().addDescriptor(this, true);
}

// Goes to standard error: the log may not be set up this early.
void AcceptSocket::fail(const char* what, const IPC_Target* target) {
  std::ostringstream reason;
  reason << "Reason: " << std::strerror(errno);
  if (target) reason << " Target: " << *target;
  std::fprintf(stderr, "%s\n%s\n", what, reason.str().c_str());
  shutdown(_fd, SHUT_RDWR);
  close(_fd);
  _fd = -1;
}

AcceptSocket::~AcceptSocket() {
  if (_fd == -1) return;
  EventDispatcher::instance().removeDescriptor(this);
  if (close(_fd) != 0) {
    ZLOG(LogStream::BUG) << "close() failed in AcceptSocket::~AcceptSocket()"
                         << std::endl
                         << "Reason: " << std::strerror(errno) << std::endl;
  }
}

void AcceptSocket::handleEvent() {
  SocketConnection::makeRoom();
  int fd = accept4(_fd, nullptr, nullptr, SOCK_CLOEXEC);
  if (fd == -1) {
    ZLOG(LogStream::BUG) << "accept() failed in AcceptSocket::handleEvent()"
                         << std::endl
                         << "Reason: " << std::strerror(errno) << std::endl;
    return;
  }
  _owner->addSocket(new ThreadDataSocket(fd, _owner, false, nullptr));
}
