#include "DataRequest.h"

#include <unistd.h>

#include "ArgPkg.h"
#include "ParameterizedMsg.h"

void requestData(const IPC_Target& controller, const TextString& pattern,
                 DataCallback callback) {
  DataCaptReceiver::instance().setCallback(callback);
  DataCaptMessage request(DataCaptReceiver::DATA_REQUEST,
                          new ArgPkg1<TextString>(pattern));
  request.send(controller);
  sendReady(controller);
}

int sendReady(const IPC_Target& controller) {
  static const int kSends = 3;
  int status = 0;
  for (int i = 0; i < kSends; ++i) {
    if (i > 0) sleep(1);
    DataCaptMessage ready(DataCaptReceiver::READY, nullptr);
    status = ready.send(controller);
    if (status == 0) break;
  }
  return status;
}
