#include "Dispatcher.h"

#include <memory>

#include "Dict.h"
#include "LogStream.h"
#include "Marshalling.h"
#include "MsgHeader.h"
#include "Receiver.h"

namespace {

// Made at the first registration.
Dict<int, Receiver*>* receivers = nullptr;

// The header read from the message, or false when the bytes don't hold
// it: a routine failed, or the length word is shorter than the header or
// longer than the bytes there are.
bool readHeader(char* buffer, unsigned long size, MsgHeader& header,
                char*& args) {
  unsigned long failures = marshallingFailures();
  args = quantize(header, buffer, buffer + size);
  long headerLength = args - buffer;
  return marshallingFailures() == failures && header.length >= headerLength &&
         static_cast<unsigned long>(header.length) <= size;
}

}  // namespace

void Dispatcher::registerReceiver(int module, Receiver* receiver) {
  if (receivers == nullptr) receivers = new Dict<int, Receiver*>(11);
  receivers->insert(module, receiver);
}

bool Dispatcher::doDispatch(char* buffer, unsigned long size) {
  std::unique_ptr<char[]> owned(buffer);
  if (receivers == nullptr) {
    ZLOG(LogStream::PROBLEM)
        << "Dispatcher::doDispatch: no receivers registered" << std::endl;
    return false;
  }
  MsgHeader header;
  char* args;
  if (!readHeader(buffer, size, header, args)) {
    ZLOG(LogStream::PROBLEM)
        << "Dispatcher::doDispatch: dropped a message of " << size
        << " bytes that does not hold its header (length word " << header.length
        << ")" << std::endl;
    return false;
  }
  Receiver* receiver = nullptr;
  if (!receivers->lookup(header.module, &receiver)) {
    ZLOG(LogStream::PROBLEM)
        << "No receivers registered for module " << header.module << std::endl;
    return false;
  }
  receiver->receive(header.type, header.sender, header.length - (args - buffer),
                    args);
  return true;
}
