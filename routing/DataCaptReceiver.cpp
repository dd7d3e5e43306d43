#include "DataCaptReceiver.h"

#include <cstring>

#include "ArgPkg.h"
#include "DataRequest.h"
#include "Dispatcher.h"
#include "LogStream.h"

DataCaptReceiver& DataCaptReceiver::instance() {
  static DataCaptReceiver* receiver = [] {
    DataCaptReceiver* r = new DataCaptReceiver;
    Dispatcher::registerReceiver(kModule, r);
    return r;
  }();
  return *receiver;
}

void DataCaptReceiver::receive(const short& type, const IPC_Target& sender,
                               long argLength, char* args) {
  switch (type) {
    case READY:
      ZLOG(LogStream::VERBOSE) << "Received ReadyMsg" << std::endl;
      if (_controller != nullptr) _controller->ready(sender);
      return;
    case DATA_REQUEST:
      receiveRequest(sender, argLength, args);
      return;
    case PRODUCT:
      receiveProduct(sender, argLength, args);
      return;
    default:
      ZLOG(LogStream::BUG) << "DataCaptReceiver: unrecognized message type "
                           << type << std::endl;
  }
}

void DataCaptReceiver::receiveRequest(const IPC_Target& sender,
                                      long argLength, char* args) {
  ArgPkg1<TextString> pkg;
  pkg.quantize(args, args + argLength);
  ZLOG(LogStream::EVENT) << "DataReqMsg: pattern = " << pkg.arg1 << std::endl;
  if (_controller == nullptr) return;
  _controller->registerClient(sender, pkg.arg1);
  _controller->requestCommsData(_controller->compositePattern());
}

void DataCaptReceiver::receiveProduct(const IPC_Target& sender,
                                      long argLength, char* args) {
  ArgPkg2<long, SeqOf<char>> pkg;
  pkg.quantize(args, args + argLength);
  long length = pkg.arg2.length();
  // A plain buffer of the product's own: the callback may keep nothing of
  // it, and the sequence's storage isn't the callback's to see.
  unsigned char* data = new unsigned char[length > 0 ? length : 1];
  if (length > 0) std::memcpy(data, &pkg.arg2.at(0), length);
  ZLOG(LogStream::VERBOSE) << "ProdLen " << length << std::endl;
  if (_callback != nullptr)
    _callback(pkg.arg1, length, data);
  else
    ZLOG(LogStream::BUG) << "DataCaptReceiver: product of " << length
                         << " octets and no data callback" << std::endl;
  sendReady(sender);
  delete[] data;
}
