#include "DataSocket.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstring>
#include <ostream>

#include "AbsTime.h"
#include "Dispatcher.h"
#include "EventDispatcher.h"
#include "LogStream.h"
#include "Marshalling.h"
#include "MessageWait.h"
#include "MsgHeader.h"
#include "NamedTargets.h"
#include "PendingMsg.h"
#include "SocketConnection.h"
#include "ThreadDataSocket.h"

namespace {

const char* const kTimeFormat = "%h %d %y %T GMT";

// A socket of the process's own: not handed on to programs it runs.
int newSocket() { return socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0); }

bool connectTo(int fd, const IPC_Target& target) {
  sockaddr_in address = target.address();
  return connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) ==
         0;
}

void closeQuietly(int fd) {
  shutdown(fd, SHUT_RDWR);
  close(fd);
}

// Each message goes out in one write when it fits: waiting for more to
// send with it only delays the answer a peer is waiting for.
void setNoDelay(int fd) {
  int on = 1;
  setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

// `quiet` on a send thread, which can't log.
void setBufferSizes(int fd, bool quiet = false) {
  setNoDelay(fd);
  int size = socketBufferSize();
  if (size == 0) return;
  if (setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &size, sizeof size) != 0 &&
      !quiet) {
    ZLOG(LogStream::BUG)
        << "setsockopt() failed setting the receive buffer size.  "
        << "Reason: " << std::strerror(errno) << std::endl;
  }
  if (setsockopt(fd, SOL_SOCKET, SO_SNDBUF, &size, sizeof size) != 0 &&
      !quiet) {
    ZLOG(LogStream::BUG) << "setsockopt() failed setting the send buffer size.  "
                         << "Reason: " << std::strerror(errno) << std::endl;
  }
}

}  // namespace

void DataSocket::Traffic::add(unsigned long n) {
  ++count;
  bytes += n;
  if (n < min) min = n;
  if (n > max) max = n;
}

void DataSocket::Traffic::reset() {
  count = bytes = max = 0;
  min = ULONG_MAX;
}

DataSocket::DataSocket(const IPC_Target& target, SocketConnection* owner)
    : _peer(target),
      _fd(newSocket()),
      _owner(owner),
      _orphanFd(-1),
      _acceptedHere(false),
      _orphan(false),
      _endOfFile(false) {
  if (_fd == -1) {
    ZLOG(LogStream::BUG) << "socket() failed in DataSocket::DataSocket()"
                         << std::endl
                         << "Reason: " << std::strerror(errno) << std::endl;
    return;
  }
  if (!connectTo(_fd, target)) {
    closeQuietly(_fd);
    _fd = -1;
    return;
  }
  ZLOG(LogStream::DEBUG) << "Connected to " << target << " SD: " << _fd.load()
                         << std::endl;
  setUp();
}

DataSocket::DataSocket(int fd, SocketConnection* owner, bool orphan,
                       FrameReader* partial)
    : _fd(fd),
      _owner(owner),
      _orphanFd(-1),
      _acceptedHere(!orphan),
      _orphan(orphan),
      _endOfFile(false) {
  if (partial) partial->moveTo(_frame);
  setUp();
}

void DataSocket::setUp() {
  EventDispatcher::instance().addDescriptor(this, true);
  if (!_orphan) setBufferSizes(_fd);
  _sent.reset();
  _received.reset();
  touch();
  _created = _lastUsed.load();
}

void DataSocket::touch() {
  _lastUseTicks = EventDispatcher::ticks();
  _lastUsed = time(nullptr);
}

int DataSocket::priority() { return _owner->type() == 1 ? 1 : 0; }

DataSocket::~DataSocket() {
  if (_fd == -1 && _orphanFd == -1) return;
  EventDispatcher::instance().removeDescriptor(this);
  if (!_owner->closing()) {
    ZLOG(LogStream::DEBUG) << "Closing the socket to " << _peer
                           << " SD: " << _fd.load() << std::endl;
    const IPC_Target* filter = messageFilter();
    if (filter && *filter == _peer) {
      ZLOG(LogStream::DEBUG) << "Canceling the filter registration"
                             << std::endl;
      cancelMessageFilter();
    }
    adoptOrphan();
    if (_fd != -1 && isThereDataToRead()) makeOrphanReader(_fd.exchange(-1));
  }
  if (_orphanFd != -1) closeQuietly(_orphanFd);
  if (_fd == -1) return;
  shutdown(_fd, SHUT_RDWR);
  if (close(_fd) != 0) {
    ZLOG(LogStream::BUG) << "close() failed in DataSocket::~DataSocket()"
                         << std::endl
                         << "Reason: " << std::strerror(errno) << std::endl;
  }
}

// The old socket of a reconnect, if there is one, goes to its own reader.
// It is taken in one step: a send thread may leave one there at any time.
void DataSocket::adoptOrphan() {
  int fd = _orphanFd.exchange(-1);
  if (fd != -1) makeOrphanReader(fd);
}

// The partly read message goes with the orphan: it belongs to the old
// socket, whose rest only that one can read.
void DataSocket::makeOrphanReader(int fd) {
  ZLOG(LogStream::DEBUG) << "Creating a new object to read an orphaned socket."
                         << " SD: " << fd << std::endl;
  DataSocket* orphan = new ThreadDataSocket(fd, _owner, true, &_frame);
  _owner->addSocket(orphan);
}

void DataSocket::handleEvent() {
  touch();
  adoptOrphan();
  const IPC_Target* filter = messageFilter();
  if (filter && !_peer.isNull() && _peer != *filter) return;
  if (!_frame.midMessage()) {
    char word[4];
    long n = readSocket(word, 4);
    if (n == kAgain) return;
    if (n == 0) {
      ZLOG(LogStream::DEBUG) << "Connection to " << _peer << " " << _fd.load()
                             << " has been closed by the peer." << std::endl;
      _endOfFile = true;
      _owner->removeSocket(this, true);
      return;
    }
    if (n < 0 || _frame.begin(word, n) == FrameReader::BAD_HEADER) {
      badHeader();
      return;
    }
  }
  long n = readSocket(_frame.next(), _frame.wanted());
  if (n == kAgain) return;
  if (n <= 0) {
    badHeader();
    return;
  }
  if (_frame.advance(n) == FrameReader::WHOLE) deliver();
}

// Reads never block: a socket is only read when select found it ready,
// and what isn't there yet comes with a later event.
long DataSocket::readSocket(char* into, unsigned long n) {
  ssize_t got = recv(_fd, into, n, MSG_DONTWAIT);
  if (got >= 0) return got;
  if (errno == EAGAIN || errno == EWOULDBLOCK) return kAgain;
  if (errno == EINTR) {
    ZLOG(LogStream::EVENT) << "Signal arrived while reading a socket."
                           << std::endl
                           << "Will just try to reread the socket."
                           << std::endl;
    return kAgain;
  }
  if (errno == ECONNRESET) return 0;
  ZLOG(LogStream::PROBLEM) << "read() failed in DataSocket::readSocket(). "
                           << std::endl
                           << "Reason: " << std::strerror(errno) << std::endl
                           << "Target: " << _peer << std::endl
                           << "SD: " << _fd.load() << std::endl
                           << "Num Bytes to read: " << n << std::endl;
  return kFailed;
}

void DataSocket::badHeader() {
  ZLOG(LogStream::PROBLEM) << "Trying to read an IPC message that does not "
                           << std::endl
                           << "have the proper header. Closing the connection."
                           << std::endl;
  _endOfFile = true;
  _owner->removeSocket(this, true);
}

void DataSocket::deliver() {
  unsigned long size;
  char* message = _frame.take(&size);
  if (_peer.isNull() && !_orphan) learnPeer(message, size);
  _received.add(size);
  // The receiver may send, wait and even destroy this socket; it can't
  // come back into it meanwhile.
  EventDispatcher& dispatcher = EventDispatcher::instance();
  dispatcher.removeDescriptor(this);
  SocketConnection* owner = _owner;
  Dispatcher::doDispatch(message, size);
  if (!owner->holds(this)) return;
  dispatcher.addDescriptor(this, true);
  const IPC_Target* filter = messageFilter();
  if (filter == nullptr || _peer == *filter) messageDispatched();
}

// The first message of an accepted socket names its peer and the
// connection it belongs to. A header that doesn't read leaves the socket
// anonymous; the dispatcher reports the message.
void DataSocket::learnPeer(char* message, unsigned long size) {
  _owner->removeSocket(this, false);
  MsgHeader header;
  unsigned long failures = marshallingFailures();
  quantize(header, message, message + size);
  bool named = header.sender.kind() == IPC_Target::NAMED ||
               header.sender.kind() == IPC_Target::ANONYMOUS;
  if (marshallingFailures() == failures && named) {
    _peer = header.sender;
    ZLOG(LogStream::DEBUG) << "It's official, SD: " << _fd.load() << " connected to "
                           << _peer << std::endl;
    // Only the two connection numbers there are: a peer can't make more.
    if (header.connectionType == 0 || header.connectionType == 1) {
      Connection* c = Connection::get(header.connectionType);
      if (c && c->asSocketConnection()) _owner = c->asSocketConnection();
    }
  }
  _owner->addSocket(this);
}

bool DataSocket::isThereDataToRead() {
  if (_endOfFile || _fd == -1) return false;
  if (_frame.midMessage()) return true;
  char byte;
  return recv(_fd, &byte, 1, MSG_PEEK | MSG_DONTWAIT) == 1;
}

bool DataSocket::peerConnected() const {
  sockaddr_in address;
  socklen_t size = sizeof address;
  return _fd != -1 &&
         getpeername(_fd, reinterpret_cast<sockaddr*>(&address), &size) == 0;
}

int DataSocket::send(int deliveryMode, PendingMsg* pending) {
  if (isClosed()) {
    delete pending;
    return PendingMsg::UNAVAILABLE;
  }
  touch();
  _sent.add(pending->size());
  if (!hasRunningThread()) pending->send(false);
  adoptOrphan();
  if (pending->status() != PendingMsg::TO_SEND) {
    int status = pending->status();
    delete pending;
    return status;
  }
  if (deliveryMode == 0 && queueSend(pending)) return 0;
  syncSend(pending);
  int status = pending->status();
  delete pending;
  return status;
}

void DataSocket::syncWrite(PendingMsg& pending) {
  timeval limit = sendTimeout();
  int millis = static_cast<int>(limit.tv_sec * 1000 + limit.tv_usec / 1000);
  while (pending.status() == PendingMsg::TO_SEND) {
    pollfd writable = {_fd, POLLOUT, 0};
    int result = poll(&writable, 1, millis);
    if (result == 1) {
      pending.send(false);
    } else if (result == 0) {
      ZLOG(LogStream::PROBLEM)
          << "Closing the connection to " << _peer << std::endl
          << "Waited " << limit.tv_sec << " seconds for the other end to respond."
          << std::endl;
      pending.setStatus(PendingMsg::UNAVAILABLE);
    } else if (errno == EINTR) {
      // A signal: served here, since the loop can't be reached; then a
      // stopped dispatcher means the process is ending.
      EventDispatcher::servePendingSignals();
      EventDispatcher& dispatcher = EventDispatcher::instance();
      if (dispatcher.started() && !dispatcher.running())
        pending.setStatus(PendingMsg::SYSTEM_ERROR);
    } else {
      ZLOG(LogStream::PROBLEM)
          << "select() failed in DataSocket::syncWrite()" << std::endl
          << "Reason: " << std::strerror(errno) << std::endl
          << "Target: " << _peer << std::endl
          << "SD: " << _fd.load() << std::endl
          << "Num Bytes for write: " << pending.remaining() << std::endl;
      pending.setStatus(PendingMsg::SYSTEM_ERROR);
    }
  }
}

bool DataSocket::reconnect(bool quiet, bool onSendThread) {
  int fd = newSocket();
  if (fd == -1) {
    if (!quiet) {
      ZLOG(LogStream::BUG) << "socket() failed in DataSocket::reconnect()"
                           << std::endl
                           << "Reason: " << std::strerror(errno) << std::endl;
    }
    return false;
  }
  if (!connectTo(fd, _peer)) {
    close(fd);
    if (!quiet) {
      ZLOG(LogStream::PROBLEM)
          << "Reconnect attempt to " << _peer << " failed." << std::endl;
    }
    return false;
  }
  if (!quiet) {
    ZLOG(LogStream::DEBUG) << "Reconnect attempt to " << _peer << " succeeded."
                           << std::endl;
  }
  if (onSendThread) {
    int previous = _orphanFd.exchange(_fd);
    if (previous != -1) closeQuietly(previous);
  } else if (isThereDataToRead()) {
    if (!quiet) {
      ZLOG(LogStream::DEBUG) << "Reconnect attempt to " << _peer
                             << " succeeded " << std::endl
                             << "but we still have some left over data to read."
                             << std::endl;
    }
    int previous = _orphanFd.exchange(_fd);
    if (previous != -1) closeQuietly(previous);
  } else {
    if (!quiet) {
      ZLOG(LogStream::DEBUG)
          << "Reconnect attempt to " << _peer << " succeeded. " << std::endl
          << "We can now close the old socket." << std::endl;
    }
    closeQuietly(_fd);
  }
  _fd = fd;
  setBufferSizes(fd, onSendThread);
  touch();
  _created = _lastUsed.load();
  return true;
}

void DataSocket::report(std::ostream& out) {
  if (_peer.kind() == IPC_Target::NAMED)
    out << "Target name: " << _peer.name() << std::endl;
  else
    out << "Process ID of anonymous target: " << _peer.processId() << std::endl;
  sockaddr_in address = _peer.address();
  if (_peer.isNull()) {
    socklen_t size = sizeof address;
    getpeername(_fd, reinterpret_cast<sockaddr*>(&address), &size);
  }
  out << "Host: " << hostNameOf(address.sin_addr) << std::endl
      << "Port number: " << ntohs(address.sin_port) << std::endl
      << (priority() == 1 ? "HIGH PRIORITY CONNECTION"
                          : "NORMAL PRIORITY CONNECTION")
      << std::endl
      << "Connection created: " << AbsTime(_created.load()).format(kTimeFormat)
      << ". Initiated by " << (_acceptedHere ? "connecting" : "this")
      << " process." << std::endl
      << "Last time this connection was used: "
      << AbsTime(_lastUsed.load()).format(kTimeFormat) << std::endl;
  const struct {
    const Traffic& traffic;
    const char* some;
    const char* none;
  } sides[] = {
      {_sent, "Sent messages since last stat: ",
       "No messages have been sent since last stat report."},
      {_received, "Received messages since last stat: ",
       "No messages have been received since last stat report."}};
  for (const auto& side : sides) {
    if (side.traffic.count == 0) {
      out << side.none << std::endl;
      continue;
    }
    out << side.some << side.traffic.count << std::endl
        << "Bytes per message (Avg/Min/Max): "
        << side.traffic.bytes / side.traffic.count << "/" << side.traffic.min
        << "/" << side.traffic.max << std::endl;
  }
  _sent.reset();
  _received.reset();
}
