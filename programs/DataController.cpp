// The data controller: the parent of the decoders. It starts the children
// named in its children file, registers their patterns with the comms
// router, and routes each product to every child whose pattern finds its
// key, holding products for a child that owes a ready.
//
//   dataController [-n NAME] [-r ROUTER] CHILDREN_FILE
//
// NAME is its named target in zeph.config (DATA_CONTROLLER), ROUTER the
// comms router's (COMMS_ROUTER). The children file has a line per child:
// a program under $ZEPH_HOME/bin, "true" when it is to be started again
// when it exits, and an optional argument; "eof" ends it, and lines that
// are blank or begin with '#' are passed over. SIGTERM or SIGINT stop the
// children one a second and end the controller with status 0. Status 1
// when it can't take its name; 64 on a bad command line.
#include <unistd.h>

#include <cstdio>

#include "CommsReceiver.h"
#include "Connection.h"
#include "DataRoutingManager.h"
#include "EventDispatcher.h"
#include "LogStream.h"
#include "ProcMgmtReceiver.h"
#include "SignalCatcher.h"
#include "SignalClient.h"
#include "SocketConnection.h"

namespace {

// A clean signal ends the dispatcher, so that the children are stopped in
// order before the controller goes; anything else is the base's.
class ControllerSignalClient : public SignalClient {
 public:
  void shutdown(bool clean, int signal) override {
    if (!clean || _stopping) {
      SignalClient::shutdown(clean, signal);
      return;
    }
    _stopping = true;
    ZLOG(LogStream::EVENT) << "Signal " << signal << " (" << signalName(signal)
                           << ") received for clean shutdown" << std::endl;
    EventDispatcher::instance().stop();
  }

 private:
  bool _stopping = false;
};

struct Options {
  TextString name = "DATA_CONTROLLER";
  TextString router = "COMMS_ROUTER";
  TextString childrenFile;
};

bool parse(int argc, char** argv, Options& options) {
  int c;
  while ((c = getopt(argc, argv, "n:r:")) != -1) {
    if (c == 'n') options.name = optarg;
    else if (c == 'r') options.router = optarg;
    else return false;
  }
  if (optind + 1 != argc) return false;
  options.childrenFile = argv[optind];
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  SignalCatcher::instance();
  Options options;
  if (!parse(argc, argv, options)) {
    std::fprintf(stderr,
                 "usage: dataController [-n NAME] [-r ROUTER] CHILDREN_FILE\n");
    return 64;
  }
  static ControllerSignalClient signalClient;
  SignalCatcher::instance().setClient(&signalClient);
  SocketConnection::start();
  CommsReceiver::instance();
  ProcMgmtReceiver::instance();
  IPC_Target me(options.name, true);
  if (me.isNull() || !Connection::setProcessTarget(me)) return 1;

  DataRoutingManager manager(options.router, options.childrenFile);
  int started = manager.startChildren();
  ZLOG(LogStream::EVENT) << "DataController " << options.name << " started "
                         << started << " children from "
                         << options.childrenFile << std::endl;
  EventDispatcher::instance().start(0);
  manager.stopChildren();
  ZLOG(LogStream::EVENT) << "DataController " << options.name << " stopped"
                         << std::endl;
  return 0;
}
