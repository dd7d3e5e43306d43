#include "CommsMessages.h"

#include <cstring>

#include "LogStream.h"

DsArgs::DsArgs(const TextString& key, long tag, long length,
               const unsigned char* data)
    : _key(key), _tag(tag), _bytes(static_cast<int>(length), data) {}

char* DsArgs::serialize(char* pos) const {
  pos = ::serialize(_key, pos);
  pos = ::serialize(_tag, pos);
  long n = _bytes.length();
  pos = ::serialize(n, pos);
  if (n > 0) std::memcpy(pos, &_bytes.at(0), static_cast<size_t>(n));
  return pos + n;
}

unsigned long DsArgs::length() const {
  return ::length(_key) + 8 + static_cast<unsigned long>(_bytes.length());
}

CommsMessage* newLdmMsg(long tag, const SeqOf<unsigned char>& product,
                        int deliveryMode) {
  return new CommsMessage(kLdmMsg, new LdmArgs(tag, product.length(), product),
                          0, deliveryMode);
}

CommsMessage* newDsMsg(const TextString& key, long tag, long length,
                       const unsigned char* data, short type,
                       int deliveryMode) {
  return new CommsMessage(type, new DsArgs(key, tag, length, data), 0,
                          deliveryMode);
}

CommsMessage* newCommsReqMsg(const TextString& pattern) {
  ZLOG(LogStream::DEBUG) << "newCommsReqMsg: pattern = " << pattern
                         << std::endl;
  return new CommsMessage(kCommsReqMsg, new ArgPkg1<TextString>(pattern));
}

CommsMessage* newCommsDataMsg(const TextString& key, long tag, long length,
                              const unsigned char* data) {
  return new CommsMessage(
      kCommsDataMsg,
      new CommsDataArgs(key, tag, length,
                        SeqOf<unsigned char>(static_cast<int>(length), data)));
}

CommsMessage* newRouterRestartMsg(const AbsTime& now) {
  return new CommsMessage(kRouterRestartMsg, new ArgPkg1<AbsTime>(now));
}
