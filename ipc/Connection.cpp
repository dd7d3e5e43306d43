#include "Connection.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <sstream>

#include "AbsTime.h"
#include "LogStream.h"
#include "Set.h"
#include "SocketConnection.h"

namespace {

// Freed with its last member, so that a process that ends with all its
// connections gone leaves nothing behind.
Set<Connection*>* connections = nullptr;
Connection::Maker maker = nullptr;

struct OwnTarget {
  bool exists = false;
  IPC_Target target;
};

OwnTarget& ownTarget() {
  static OwnTarget own;
  return own;
}

// Process start counts as the first report.
AbsTime& lastReport() {
  static AbsTime last = AbsTime::now();
  return last;
}

}  // namespace

Connection::Connection(int type) : _type(type) {
  lastReport();
  if (connections == nullptr) connections = new Set<Connection*>(5);
  connections->insert(this);
}

Connection::~Connection() {
  connections->remove(this);
  if (connections->length() > 0) return;
  delete connections;
  connections = nullptr;
}

bool Connection::exists() {
  return connections != nullptr && connections->length() > 0;
}

Connection* Connection::get(int type) {
  for (int i = 0; connections != nullptr && i < connections->length(); ++i) {
    Connection* c = connections->keyAt(i);
    if (c->type() == type) return c;
  }
  return maker ? maker(type) : nullptr;
}

void Connection::setMaker(Maker m) { maker = m; }

IPC_Target Connection::myTarget() {
  if (!ownTarget().exists) {
    std::fprintf(stderr,
                 "Connection::myTarget() has been called before "
                 "Connection::setMyTarget().\n");
    return IPC_Target();
  }
  return ownTarget().target;
}

void Connection::storeMyTarget(const IPC_Target& target) {
  if (target.isNull()) return;
  ownTarget().target = target;
  ownTarget().exists = true;
}

const Set<Connection*>* Connection::all() { return connections; }

in_addr Connection::localAddress() {
  static const in_addr local = [] {
    in_addr address;
    address.s_addr = htonl(INADDR_LOOPBACK);
    char name[256];
    if (gethostname(name, sizeof name) != 0) {
      ZLOG(LogStream::PROBLEM) << "Cannot get hostname of current host: "
                               << std::strerror(errno) << std::endl;
      return address;
    }
    name[sizeof name - 1] = '\0';
    hostent* host = gethostbyname(name);
    if (host == nullptr || host->h_addrtype != AF_INET ||
        host->h_addr_list[0] == nullptr) {
      ZLOG(LogStream::PROBLEM) << "Cannot look up info on host " << name
                               << ": h_errno = " << h_errno << std::endl;
      return address;
    }
    std::memcpy(&address, host->h_addr_list[0], sizeof address);
    return address;
  }();
  return local;
}

bool Connection::setProcessTarget(const IPC_Target& target) {
  if (target.kind() == IPC_Target::ANONYMOUS) {
    ZLOG(LogStream::PROBLEM)
        << "Can't rename our target to a anonymous target." << std::endl;
    return false;
  }
  in_addr host = target.address().sin_addr;
  if (target.kind() == IPC_Target::NAMED &&
      host.s_addr != localAddress().s_addr &&
      host.s_addr != htonl(INADDR_LOOPBACK)) {
    ZLOG(LogStream::EVENT)
        << "WARNING: this process wants to use target " << target << std::endl
        << " which is assigned to run on " << hostNameOf(host) << std::endl
        << " but the current host is " << hostNameOf(localAddress())
        << std::endl;
  }
  for (int i = 0; connections != nullptr && i < connections->length(); ++i)
    if (!connections->keyAt(i)->setMyTarget(target)) return false;
  storeMyTarget(target);
  return true;
}

bool Connection::isConnectedAnywhere(const IPC_Target& target) {
  for (int i = 0; connections != nullptr && i < connections->length(); ++i)
    if (connections->keyAt(i)->isConnected(target)) return true;
  return false;
}

void Connection::reportStatistics() {
  static const char* const kFormat = "%h %d %y %T GMT";
  AbsTime now = AbsTime::now();
  std::ostringstream text;
  text << "IPC STATISTICS for " << myTarget() << " from "
       << lastReport().format(kFormat) << " to " << now.format(kFormat)
       << std::endl;
  lastReport() = now;
  for (int i = 0; connections != nullptr && i < connections->length(); ++i)
    if (SocketConnection* c = connections->keyAt(i)->asSocketConnection())
      c->report(text);
  ZLOG(LogStream::DIAG) << text.str() << std::endl;
}
