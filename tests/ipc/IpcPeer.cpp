// The other process of the socket tests: a real process with its own
// connection, started by the test with a mode and the test's target.
//
//   ipc_peer echo PARENT          answers each module 1 message to its sender
//   ipc_peer crowd PARENT         echo with room for 30 descriptors only
//   ipc_peer stall PARENT         says hello, then reads nothing
//   ipc_peer sink PARENT NAME PORT  takes the named target NAME at PORT and
//                                 counts numbered messages, checking order
//                                 (type 4 is counted, but not numbered)
//   ipc_peer slow PARENT MILLIS   says hello, reads nothing for MILLIS ms,
//                                 tells the test so (type 7), then is a sink
//
// stall and slow keep their socket buffers small (4 KiB asked), so that a
// sender's queue builds after a few messages.
// Each mode first sends a hello (module 5, type 0) to the test, which so
// learns its target. Type 9 ends it; the sink then answers with type 8:
// its count, whether every number followed the one before, and the last.
#include <sys/resource.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "ArgPkg.h"
#include "Config.h"
#include "Dispatcher.h"
#include "LogStream.h"
#include "Marshalling.h"
#include "MessageWait.h"
#include "ParameterizedMsg.h"
#include "Receiver.h"
#include "SocketConnection.h"

namespace {

bool done = false;
long received = 0;
long numbered = 0;
long last = 0;
bool inOrder = true;
bool sink = false;

class PeerReceiver : public Receiver {
 public:
  void receive(const short& type, const IPC_Target& sender, long argLength,
               char* args) override {
    if (type == 9) {
      if (sink) {
        DataCaptMessage answer(
            8,
            new ArgPkg3<unsigned long, int, long>(received, inOrder ? 1 : 0,
                                                  last),
            0, 1);
        answer.send(sender);
      }
      done = true;
      return;
    }
    ArgPkg2<long, SeqOf<char>> pkg;
    pkg.quantize(args, args + argLength);
    if (sink) {
      long number = pkg.arg1;
      ++received;
      if (type == 4) return;  // counted, outside the numbering
      if (numbered++ > 0 && number != last + 1) inOrder = false;
      last = number;
      return;
    }
    DataCaptMessage echo(2, new ArgPkg2<long, SeqOf<char>>(pkg.arg1, pkg.arg2), 0, 1);
    echo.send(sender);
  }
};

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) return 64;
  const char* mode = argv[1];
  if (std::strcmp(mode, "crowd") == 0) {
    rlimit few = {30, 30};
    setrlimit(RLIMIT_NOFILE, &few);
    LogStream::instance().setFilter(nullptr, nullptr, LogStream::TTY,
                                    LogStream::DEBUG, true);
  }
  bool slow = std::strcmp(mode, "slow") == 0;
  sink = std::strcmp(mode, "sink") == 0 || slow;
  if (slow || std::strcmp(mode, "stall") == 0)
    Config::instance().set("SocketBufferSize.numBytes", 16384);
  if (slow && argc < 4) return 64;
  if (sink && !slow) {
    if (argc < 5) return 64;
    SeqOf<TextString> triples;
    triples.append(argv[3]);
    triples.append("127.0.0.1");
    triples.append(argv[4]);
    Config::instance().set("SocketConnection.namedTargets", triples);
  }
  SocketConnection::start();
  if (sink && !slow && !Connection::setProcessTarget(IPC_Target(argv[3])))
    return 1;
  static PeerReceiver receiver;
  Dispatcher::registerReceiver(1, &receiver);
  IPC_Target parent(argv[2]);
  ProcMgmtMsg hello(0, new ArgPkg2<unsigned long, int>(0, getpid()), 0, 1);
  if (hello.send(parent) != 0) return 2;
  if (std::strcmp(mode, "stall") == 0) {
    sleep(30);
    return 0;
  }
  if (slow) {
    long millis = std::atol(argv[3]);
    timespec pause = {millis / 1000, millis % 1000 * 1000000};
    nanosleep(&pause, nullptr);
    ProcMgmtMsg reading(7, new ArgPkg0, 0, 1);
    if (reading.send(parent) != 0) return 2;
  }
  while (!done)
    if (waitForMessage(600) != 0) return 3;
  return 0;
}
