#include "CommsReceiver.h"

#include <cctype>
#include <ostream>
#include <vector>

#include "CommsMessages.h"
#include "CommsRoutingTable.h"
#include "Dispatcher.h"
#include "LogStream.h"
#include "Marshalling.h"
#include "ProductKey.h"
#include "getCommsData.h"

namespace {

// Bytes on a log line: "[", their numbers divided by ", ", and " ]".
struct ByteList {
  const unsigned char* bytes;
  long n;
};

std::ostream& operator<<(std::ostream& out, const ByteList& list) {
  out << "[";
  for (long i = 0; i < list.n; ++i)
    out << (i ? ", " : "") << int{list.bytes[i]};
  return out << " ]";
}

// The position behind the arguments of a message, or null after a PROBLEM
// line when a routine failed: the bytes didn't hold what they claimed.
template <class Args>
char* readArgs(Args& pkg, char* args, long argLength, const char* what) {
  unsigned long failures = marshallingFailures();
  char* behind = pkg.quantize(args, args + argLength);
  if (marshallingFailures() == failures) return behind;
  ZLOG(LogStream::PROBLEM) << "NCF_FAIL Unreadable " << what << " message"
                           << std::endl;
  return nullptr;
}

bool lengthFits(long length, long available, const char* what) {
  if (length >= 0 && length <= available) return true;
  ZLOG(LogStream::PROBLEM) << "NCF_FAIL " << what << " length " << length
                           << " doesn't fit its " << available << " bytes"
                           << std::endl;
  return false;
}

// A pattern goes into the clients file as one word.
bool keepable(const TextString& pattern) {
  if (pattern.isEmpty()) return false;
  for (const char* p = pattern.chars(); *p; ++p)
    if (std::isspace(static_cast<unsigned char>(*p))) return false;
  return true;
}

}  // namespace

CommsReceiver& CommsReceiver::instance() {
  static CommsReceiver* receiver = [] {
    CommsReceiver* r = new CommsReceiver;
    Dispatcher::registerReceiver(kModule, r);
    return r;
  }();
  return *receiver;
}

void CommsReceiver::receive(const short& type, const IPC_Target& sender,
                            long argLength, char* args) {
  switch (type) {
    case kLdmMsg:
      ldmMessage(argLength, args);
      break;
    case kDsMsg:
    case kDsMsgAlso:
      dsMessage(argLength, args);
      break;
    case kCommsReqMsg:
      requestMessage(sender, argLength, args);
      break;
    case kCommsDataMsg:
      dataMessage(argLength, args);
      break;
    case kRouterRestartMsg:
      ZLOG(LogStream::EVENT) << "CommsRouter has restarted." << std::endl;
      break;
    default:
      ZLOG(LogStream::BUG) << "NCF_FAIL Unrecognized message type: " << type
                           << std::endl;
  }
}

// The key is found in the product's bytes; a product without one goes
// nowhere, and the start of it is shown.
void CommsReceiver::ldmMessage(long argLength, char* args) {
  LdmArgs pkg;
  if (!readArgs(pkg, args, argLength, "LDM")) return;
  long length = pkg.arg2;
  const SeqOf<unsigned char>& product = pkg.arg3;
  if (!lengthFits(length, product.length(), "LDM msg")) return;
  const unsigned char* bytes = product.length() > 0 ? &product.at(0) : nullptr;
  ZLOG(LogStream::DEBUG) << "Data: " << ByteList{bytes, product.length()}
                         << std::endl;
  std::vector<char> buffer(bytes, bytes + length);
  buffer.push_back('\0');
  const char* found = findKey(buffer.data(), static_cast<int>(length));
  TextString key = found ? found : "";
  if (key.length() < 2) {
    ZLOG(LogStream::PROBLEM) << "NCF_FAIL Couldn't find key in LDM msg:"
                             << std::endl;
    ZLOG(LogStream::VERBOSE) << "Byte stream length = " << length << std::endl;
    std::vector<unsigned char> start(bytes, bytes + (length < 45 ? length : 45));
    start.push_back('\n');
    ZLOG(LogStream::PROBLEM)
        << ByteList{start.data(), static_cast<long>(start.size())}
        << std::endl;
    return;
  }
  ZLOG(LogStream::EVENT) << "NCF_ENTRY LDMMsg: " << key << " " << pkg.arg1
                         << " " << length << std::endl;
  CommsRoutingTable::instance().sendData(
      key, pkg.arg1, length, reinterpret_cast<unsigned char*>(buffer.data()));
}

// The bytes stand plainly behind the three numbers.
void CommsReceiver::dsMessage(long argLength, char* args) {
  ArgPkg3<TextString, long, long> pkg;
  char* bytes = readArgs(pkg, args, argLength, "DS");
  if (bytes == nullptr) return;
  if (!lengthFits(pkg.arg3, args + argLength - bytes, "DS msg")) return;
  ZLOG(LogStream::EVENT) << "NCF_ENTRY DSMsg: " << pkg.arg1 << " " << pkg.arg2
                         << " " << pkg.arg3 << std::endl;
  CommsRoutingTable::instance().sendData(
      pkg.arg1, pkg.arg2, pkg.arg3, reinterpret_cast<unsigned char*>(bytes));
}

// A pattern that the clients file can't hold as one word takes the client
// out, as a pattern that matches nothing would.
void CommsReceiver::requestMessage(const IPC_Target& sender, long argLength,
                                   char* args) {
  ArgPkg1<TextString> pkg;
  if (!readArgs(pkg, args, argLength, "CR")) return;
  ZLOG(LogStream::EVENT) << "NCF_ENTRY CRMsg Pattern: " << pkg.arg1
                         << std::endl;
  if (!keepable(pkg.arg1)) {
    ZLOG(LogStream::PROBLEM) << "NCF_FAIL Pattern \"" << pkg.arg1
                             << "\" is empty or holds white space; " << sender
                             << " gets no products." << std::endl;
    CommsRoutingTable::instance().removeClient(sender);
    return;
  }
  CommsRoutingTable::instance().registerClient(sender, pkg.arg1);
  ZLOG(LogStream::DEBUG) << "Client registered" << std::endl;
}

void CommsReceiver::dataMessage(long argLength, char* args) {
  CommsDataArgs pkg;
  if (!readArgs(pkg, args, argLength, "CD")) return;
  long length = pkg.arg3;
  if (!lengthFits(length, pkg.arg4.length(), "CD msg")) return;
  ZLOG(LogStream::EVENT) << "NCF_ENTRY CDMsg: " << pkg.arg1 << " " << pkg.arg2
                         << " " << length << std::endl;
  const unsigned char* bytes = length > 0 ? &pkg.arg4.at(0) : nullptr;
  std::vector<unsigned char> buffer(bytes, bytes + length);
  // A copy: a callback may register another one.
  SeqOf<CommsDataCallback> callbacks = commsDataCallbacks();
  for (int i = 0; i < callbacks.length(); ++i)
    callbacks.at(i)(&pkg.arg1, pkg.arg2, length, buffer.data());
}
