// The comms router: takes raw products from sources, finds each one's key
// and sends it to every client whose pattern finds that key.
//
//   commsRouter [NAME]
//
// NAME is the router's named target in zeph.config, COMMS_ROUTER unless
// given. The clients are kept in $ZEPH_DATA/workFiles/NAME_clients.txt; a
// router that starts again tells each of them and serves them on without
// a new request. Exit status 1 when the router can't take its name (it
// isn't configured, or another process holds it) or has no ZEPH_DATA; a
// running router ends only by a signal.
#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "CommsReceiver.h"
#include "CommsRoutingTable.h"
#include "EventDispatcher.h"
#include "LogStream.h"
#include "SocketConnection.h"

namespace {

// The directory of the clients file, made when it isn't there yet.
bool makeWorkDirectory() {
  const char* data = std::getenv("ZEPH_DATA");
  if (data == nullptr || *data == '\0') {
    ZLOG(LogStream::PROBLEM) << "Env var ZEPH_DATA not defined" << std::endl;
    return false;
  }
  TextString work = TextString(data) + "/workFiles";
  if (mkdir(work.chars(), 0775) == 0 || errno == EEXIST) return true;
  ZLOG(LogStream::PROBLEM) << "Can't make " << work << ": "
                           << std::strerror(errno) << std::endl;
  return false;
}

}  // namespace

int main(int argc, char** argv) {
  TextString name = argc > 1 ? argv[1] : "COMMS_ROUTER";
  SocketConnection::start();
  CommsReceiver::instance();
  // The name first: a second router of the same name stops here, before it
  // touches the clients of the first.
  IPC_Target me(name, true);
  if (me.isNull() || !Connection::setProcessTarget(me)) return 1;
  if (!makeWorkDirectory()) return 1;
  CommsRoutingTable::instance().reconnectClients(name);
  ZLOG(LogStream::EVENT) << "CommsRouter " << name << " is serving "
                         << CommsRoutingTable::instance().length()
                         << " clients." << std::endl;
  EventDispatcher::instance().start(0);
  return 0;
}
