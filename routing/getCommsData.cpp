#include "getCommsData.h"

#include "CommsMessages.h"
#include "CommsReceiver.h"
#include "CommsReqTimer.h"
#include "EventDispatcher.h"
#include "LogStream.h"

namespace {

SeqOf<CommsDataCallback>& callbacks() {
  static SeqOf<CommsDataCallback>* list = new SeqOf<CommsDataCallback>;
  return *list;
}

CommsReqTimer* pending = nullptr;

}  // namespace

int getCommsData(const TextString& pattern, const TextString& routerName,
                 CommsDataCallback callback) {
  CommsReceiver::instance();  // the products come to module 0
  if (pending != nullptr) {
    if (pending->enabled()) {
      pending->enable(false);
      EventDispatcher::instance().removeTimer(pending);
    }
    delete pending;
    pending = nullptr;
  }
  if (callback != nullptr && callbacks().findFirst(callback) < 0)
    callbacks().append(callback);
  IPC_Target target(routerName, true);
  if (target.isNull()) {
    ZLOG(LogStream::PROBLEM) << "Can't send Data Request message to "
                             << routerName << ": Not a recognized IPC Target."
                             << std::endl;
    return -1;
  }
  CommsMessage* request = newCommsReqMsg(pattern);
  if (request->send(target) == 0) {
    ZLOG(LogStream::EVENT) << "Data Request message sent to " << routerName
                           << "." << std::endl;
    delete request;
    return 0;
  }
  pending = new CommsReqTimer(request, new IPC_Target(target));
  pending->start();
  ZLOG(LogStream::PROBLEM) << "Send of Data Request message to " << routerName
                           << " failed." << std::endl;
  return 0;
}

const SeqOf<CommsDataCallback>& commsDataCallbacks() { return callbacks(); }

CommsReqTimer* pendingCommsRequest() { return pending; }
