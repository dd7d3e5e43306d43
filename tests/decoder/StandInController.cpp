// Stands in for a decoder's data controller, for tests and for running a
// decoder by hand. It speaks the controller's side of the decoder protocol
// through the library's own receivers and writes a line on standard output
// for what reached it: "target TEXT" (its own, first of all),
// "ChildTargetMsg id=ID pid=PID", "DataReqMsg pattern=PATTERN", "ReadyMsg",
// and "sent STATUS" for each product it sent. On standard input, "product
// TAG TEXT" sends the rest of the line as a product to the client that
// asked for data last, and "quit" ends it.
//
// Usage: standInController [NAME]; with NAME it takes that named target of
// the configuration, as the real controller takes its own.
#include <unistd.h>

#include <iostream>
#include <sstream>
#include <string>

#include "ArgPkg.h"
#include "Connection.h"
#include "DataCaptReceiver.h"
#include "DescriptorEventClient.h"
#include "EventDispatcher.h"
#include "ParameterizedMsg.h"
#include "ProcMgmtReceiver.h"
#include "SocketConnection.h"

namespace {

void say(const std::string& line) {
  std::cout << line << std::endl;  // endl: the reader waits for each line
}

class StandIn : public DataCaptController, public ChildReportHandler {
 public:
  void ready(const IPC_Target&) override { say("ReadyMsg"); }
  void registerClient(const IPC_Target& client,
                      const TextString& pattern) override {
    _client = client;
    say(std::string("DataReqMsg pattern=") + pattern.chars());
  }
  TextString compositePattern() override { return TextString(); }
  void requestCommsData(const TextString&) override {}
  void setIPC_Target(unsigned long, const IPC_Target&) override {}
  void started(unsigned long id, int pid) override {
    say("ChildTargetMsg id=" + std::to_string(id) +
        " pid=" + std::to_string(pid));
  }

  void sendProduct(long tag, const std::string& text) {
    SeqOf<char> bytes(static_cast<int>(text.size()), text.data());
    DataCaptMessage product(DataCaptReceiver::PRODUCT,
                            new ArgPkg2<long, SeqOf<char>>(tag, bytes));
    say("sent " + std::to_string(product.send(_client)));
  }

 private:
  IPC_Target _client;
};

// Standard input as a client of the event loop: one command a line.
class Commands : public DescriptorEventClient {
 public:
  explicit Commands(StandIn* standIn) : _standIn(standIn) {}
  int descriptor() override { return 0; }
  int conditions() override { return READ; }
  void handleEvent() override {
    char chunk[4096];
    ssize_t n = read(0, chunk, sizeof chunk);
    if (n <= 0) {
      EventDispatcher::instance().stop();
      return;
    }
    _pending.append(chunk, static_cast<size_t>(n));
    size_t end;
    while ((end = _pending.find('\n')) != std::string::npos) {
      run(_pending.substr(0, end));
      _pending.erase(0, end + 1);
    }
  }

 private:
  void run(const std::string& line) {
    std::istringstream words(line);
    std::string command;
    words >> command;
    if (command == "quit") {
      EventDispatcher::instance().stop();
    } else if (command == "product") {
      long tag = 0;
      words >> tag;
      std::string text;
      std::getline(words >> std::ws, text);
      _standIn->sendProduct(tag, text);
    }
  }

  StandIn* _standIn;
  std::string _pending;
};

}  // namespace

int main(int argc, char** argv) {
  SocketConnection::start();
  if (argc > 1 && !Connection::setProcessTarget(IPC_Target(argv[1]))) {
    std::cerr << "standInController: can't take the target " << argv[1]
              << std::endl;
    return 1;
  }
  static StandIn standIn;
  DataCaptReceiver::instance().setController(&standIn);
  ProcMgmtReceiver::instance().setHandler(&standIn);
  std::ostringstream me;
  me << Connection::myTarget();
  say("target " + (argc > 1 ? std::string(argv[1]) : me.str()));
  static Commands commands(&standIn);
  EventDispatcher::instance().addDescriptor(&commands, false);
  EventDispatcher::instance().start(0);
  return 0;
}
