// Stands in for the notification server, for tests and for running a
// decoder by hand: it takes the named target "NOTIFICATION_SERVER" and
// writes "DataMgmtMsg key=KEY time=SECONDS (the time in words)" on
// standard output for each notification. It ends with its standard input.
#include <unistd.h>

#include <iostream>

#include "ArgPkg.h"
#include "Connection.h"
#include "DataTimeWire.h"
#include "DescriptorEventClient.h"
#include "Dispatcher.h"
#include "EventDispatcher.h"
#include "LogStream.h"
#include "Receiver.h"
#include "SocketConnection.h"

namespace {

class Notifications : public Receiver {
 public:
  void receive(const short& type, const IPC_Target&, long argLength,
               char* args) override {
    if (type != 10) {
      ZLOG(LogStream::PROBLEM) << "standInNotifier: message type " << type
                               << " of module 2 dropped" << std::endl;
      return;
    }
    ArgPkg2<unsigned long, DataTime> pkg;
    pkg.quantize(args, args + argLength);
    std::cout << "DataMgmtMsg key=" << pkg.arg1
              << " time=" << pkg.arg2.refTime().seconds() << " ("
              << pkg.arg2.refTime().format("%h %d %y %T GMT") << ")"
              << std::endl;
  }
};

class EndOfInput : public DescriptorEventClient {
 public:
  int descriptor() override { return 0; }
  int conditions() override { return READ; }
  void handleEvent() override {
    char chunk[256];
    if (read(0, chunk, sizeof chunk) <= 0) EventDispatcher::instance().stop();
  }
};

}  // namespace

int main() {
  SocketConnection::start();
  if (!Connection::setProcessTarget(IPC_Target("NOTIFICATION_SERVER"))) {
    std::cerr << "standInNotifier: can't take NOTIFICATION_SERVER" << std::endl;
    return 1;
  }
  static Notifications notifications;
  Dispatcher::registerReceiver(2, &notifications);
  std::cout << "listening" << std::endl;
  static EndOfInput input;
  EventDispatcher::instance().addDescriptor(&input, false);
  EventDispatcher::instance().start(0);
  return 0;
}
