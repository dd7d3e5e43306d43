#include "SocketConnection.h"

#include <malloc.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <iomanip>
#include <ostream>
#include <sstream>
#include <string>

#include "AbsTime.h"
#include "AcceptSocket.h"
#include "DataSocket.h"
#include "EventDispatcher.h"
#include "LogStream.h"
#include "PendingMsg.h"

namespace {

const char* const kTimeFormat = "%h %d %y %T GMT";

Connection* makeSocketConnection(int type) {
  return new SocketConnection(type);
}

void destroyConnections() {
  while (const Set<Connection*>* all = Connection::all()) {
    if (all->length() == 0) break;
    delete all->keyAt(0);
  }
}

// Every socket of every socket connection, known peers first.
template <class Visit>
void eachSocket(Visit visit) {
  const Set<Connection*>* all = Connection::all();
  for (int i = 0; all != nullptr && i < all->length(); ++i) {
    SocketConnection* c = all->keyAt(i)->asSocketConnection();
    if (c != nullptr) c->eachSocket(visit);
  }
}

// Every message in and out is a buffer of its own, freed once it is
// dispatched or written. By default the heap gives its top back to the
// system as soon as 128 KiB of it are free, so a process that passes
// messages of tens of KiB pays a brk and a page fault for every page of
// every message. A heap that keeps a few MiB reuses them instead.
void keepMessageMemory() {
  mallopt(M_TRIM_THRESHOLD, 4 << 20);
  mallopt(M_TOP_PAD, 256 << 10);
}

}  // namespace

void SocketConnection::start() {
  static bool started = false;
  if (started) return;
  started = true;
  keepMessageMemory();
  Connection::setMaker(makeSocketConnection);
  Connection::get(0);
  std::atexit(destroyConnections);
}

SocketConnection::SocketConnection(int type)
    : Connection(type),
      _threadStats(11),
      _sockets(11),
      _anonymousSockets(11),
      _acceptSocket(nullptr),
      _closing(false) {
  if (type != 0) return;
  _acceptSocket = new AcceptSocket(this, IPC_Target());
  if (_acceptSocket->descriptor() == -1) {
    delete _acceptSocket;
    _acceptSocket = nullptr;
  }
}

SocketConnection::~SocketConnection() {
  _closing = true;
  delete _acceptSocket;
  while (_sockets.length() > 0) {
    DataSocket* socket = _sockets.valueAt(0);
    _sockets.remove(_sockets.keyAt(0));
    delete socket;
  }
  while (_anonymousSockets.length() > 0) {
    DataSocket* socket = _anonymousSockets.keyAt(0);
    _anonymousSockets.remove(socket);
    delete socket;
  }
  for (int i = 0; i < _threadStats.length(); ++i) delete _threadStats.valueAt(i);
}

bool SocketConnection::setMyTarget(const IPC_Target& target) {
  if (type() != 0) return true;
  if (!target.isNull()) {
    ThreadDataSocket probe(target, this);
    if (probe.descriptor() != -1) {
      ZLOG(LogStream::PROBLEM)
          << "Can't set this process' target to " << target << std::endl
          << target << " is currently running in another process."
          << std::endl;
      return false;
    }
  }
  delete _acceptSocket;
  _acceptSocket = new AcceptSocket(this, target);
  if (_acceptSocket->descriptor() == -1) {
    delete _acceptSocket;
    _acceptSocket = nullptr;
  }
  return true;
}

// A socket whose thread is writing belongs to that thread for repairs: it
// reconnects, or finds the peer gone and closes the socket.
bool SocketConnection::isConnected(const IPC_Target& target) {
  DataSocket* socket = nullptr;
  if (!_sockets.lookup(target, &socket)) return false;
  if (!socket->isClosed() &&
      (socket->hasRunningThread() || socket->peerConnected() ||
       socket->reconnect(true)))
    return true;
  removeSocket(socket, true);
  return false;
}

int SocketConnection::send(const IPC_Target& target, int deliveryMode, int,
                           char* buffer) {
  if (target.isNull()) {
    ZLOG(LogStream::BUG) << "Can not send a message to a null IPC target.\n"
                         << std::endl;
    delete[] buffer;
    return -2;
  }
  if (deliveryMode < 0 || deliveryMode >= 2) {
    ZLOG(LogStream::BUG) << "Cannot send to " << target << ": "
                         << "invalid delivery mode " << deliveryMode
                         << std::endl;
    delete[] buffer;
    return -2;
  }
  DataSocket* socket = nullptr;
  if (_sockets.lookup(target, &socket)) {
    // A closed socket answers below; one with a thread is the thread's.
    if (!socket->isClosed() && !socket->hasRunningThread() &&
        !socket->peerConnected() && !socket->reconnect(true)) {
      removeSocket(socket, true);
      delete[] buffer;
      return -1;
    }
  } else {
    socket = new ThreadDataSocket(target, this);
    if (socket->descriptor() == -1) {
      delete socket;
      delete[] buffer;
      return -1;
    }
    makeRoom();
    addSocket(socket);
  }
  int status = socket->send(deliveryMode, new PendingMsg(socket, buffer));
  if (status == PendingMsg::UNAVAILABLE) {
    removeSocket(socket, true);
    return -1;
  }
  return status == PendingMsg::SYSTEM_ERROR ? -2 : 0;
}

void SocketConnection::addSocket(DataSocket* socket) {
  const IPC_Target& peer = socket->peer();
  if (!peer.isNull() && !_sockets.lookup(peer))
    _sockets.insert(peer, socket);
  else
    _anonymousSockets.insert(socket);
}

void SocketConnection::removeSocket(DataSocket* socket, bool destroy) {
  DataSocket* there = nullptr;
  if (_sockets.lookup(socket->peer(), &there) && there == socket)
    _sockets.remove(socket->peer());
  _anonymousSockets.remove(socket);
  if (!destroy) return;
  if (_closedSockets.size() == kClosedKept) _closedSockets.pop_front();
  _closedSockets.emplace_back(time(nullptr), socket->peer());
  delete socket;
}

ThreadStatRec* SocketConnection::threadStats(const IPC_Target& peer) {
  ThreadStatRec* record = nullptr;
  if (!_threadStats.lookup(peer, &record)) {
    record = new ThreadStatRec;
    _threadStats.insert(peer, record);
  }
  return record;
}

bool SocketConnection::holds(DataSocket* socket) const {
  if (_anonymousSockets.lookup(socket)) return true;
  DataSocket* there = nullptr;
  return _sockets.lookup(socket->peer(), &there) && there == socket;
}

void SocketConnection::makeRoom() {
  static const long limit = sysconf(_SC_OPEN_MAX) / 3;
  EventDispatcher& dispatcher = EventDispatcher::instance();
  while (dispatcher.ipcDescriptors().length() + 1 > limit) {
    DataSocket* candidate = nullptr;
    ::eachSocket([&candidate](DataSocket* socket) {
      if (socket->isIdle() &&
          (candidate == nullptr ||
           socket->lastUseTicks() <= candidate->lastUseTicks()))
        candidate = socket;
    });
    if (candidate == nullptr) {
      ZLOG(LogStream::PROBLEM)
          << "Tried to close a socket in order to make room for a" << std::endl
          << "new connection, but couldn't find a good candidate."
          << std::endl;
      return;
    }
    ZLOG(LogStream::DEBUG)
        << "Closing a socket to make room for a new connection" << std::endl;
    candidate->owner()->removeSocket(candidate, true);
  }
}

void SocketConnection::report(std::ostream& out) {
  if (_closedSockets.empty()) {
    out << "No TCP/IP socket connections have been terminated "
        << "since the last stat report. " << std::endl;
  } else {
    out << _closedSockets.size()
        << " TCP/IP socket connections have been terminated "
        << "since the last stat report. " << std::endl
        << "Time of disconnect\t" << "Host/Port/PID " << std::endl;
    for (const auto& closed : _closedSockets)
      out << AbsTime(closed.first).format(kTimeFormat) << "\t" << closed.second
          << std::endl;
    _closedSockets.clear();
  }
  int active = _sockets.length() + _anonymousSockets.length();
  if (active == 0) {
    out << "There are no active TCP/IP socket connections at this time."
        << std::endl;
  } else {
    out << active << " TCP/IP socket connections are currently active. "
        << std::endl;
    eachSocket([&out](DataSocket* socket) {
      socket->report(out);
      out << std::string(54, '-') << std::endl;
    });
  }
  if (_threadStats.length() == 0) {
    out << "No connections have used any threads thus far. " << std::endl;
    return;
  }
  out << "Threads have been used to send "
      << "messages to the following connections: " << std::endl
      << std::left << std::setw(40) << "Target" << std::setw(17)
      << "Bytes Completed" << std::setw(17) << "Bytes Pending" << std::setw(17)
      << "Num Pending" << std::setw(17) << "Bytes Failed"
      << "Last Thread Activity" << std::endl;
  for (int i = 0; i < _threadStats.length(); ++i) {
    ThreadStatRec r = ThreadStatRec::snapshot(*_threadStats.valueAt(i));
    std::ostringstream target;
    target << _threadStats.keyAt(i);
    out << std::setw(40) << target.str() << std::setw(17) << r.bytesCompleted
        << std::setw(17) << r.bytesPending << std::setw(17) << r.numPending
        << std::setw(17) << r.bytesFailed
        << AbsTime(r.lastThreadActivity).format(kTimeFormat) << std::endl;
  }
  out << std::right;
}
