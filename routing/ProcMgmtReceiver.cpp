#include "ProcMgmtReceiver.h"

#include <unistd.h>

#include "ArgPkg.h"
#include "Dispatcher.h"
#include "LogStream.h"
#include "ParameterizedMsg.h"

ProcMgmtReceiver& ProcMgmtReceiver::instance() {
  static ProcMgmtReceiver* receiver = [] {
    ProcMgmtReceiver* r = new ProcMgmtReceiver;
    Dispatcher::registerReceiver(kModule, r);
    return r;
  }();
  return *receiver;
}

void ProcMgmtReceiver::receive(const short& type, const IPC_Target& sender,
                               long argLength, char* args) {
  if (type != CHILD_TARGET) {
    ZLOG(LogStream::PROBLEM) << "receive: unrecognized message type " << type
                             << std::endl;
    return;
  }
  ArgPkg2<unsigned long, int> pkg;
  pkg.quantize(args, args + argLength);
  ZLOG(LogStream::VERBOSE) << "receiveChildTargetMsg: parentId = " << pkg.arg1
                           << ", unix PID = " << pkg.arg2 << std::endl;
  if (_handler == nullptr) return;
  _handler->setIPC_Target(pkg.arg1, sender);
  _handler->started(pkg.arg1, pkg.arg2);
}

int sendChildTarget(const IPC_Target& parent, unsigned long childId) {
  ProcMgmtMsg message(ProcMgmtReceiver::CHILD_TARGET,
                      new ArgPkg2<unsigned long, int>(childId, getpid()));
  return message.send(parent);
}
