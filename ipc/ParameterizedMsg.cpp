#include "ParameterizedMsg.h"

#include "Connection.h"
#include "LogStream.h"
#include "MsgHeader.h"

namespace {

// The header's length depends only on the sender, which is this process's
// own target: worked out once, and again only if the target's name
// changes its length (a server that takes a named target).
unsigned long myHeaderLength(const IPC_Target& me) {
  static unsigned long nameLength = ~0ul;
  static unsigned long headerLength = 0;
  if (me.name().length() != nameLength) {
    MsgHeader header;
    header.sender = me;
    headerLength = length(header);
    nameLength = me.name().length();
  }
  return headerLength;
}

}  // namespace

ParameterizedMsg::ParameterizedMsg(int module, short type, ArgPkgABC* args,
                                   int connectionType, int deliveryMode)
    : _args(args),
      _type(type),
      _module(module),
      _connectionType(connectionType),
      _deliveryMode(deliveryMode) {}

ParameterizedMsg::~ParameterizedMsg() { delete _args; }

char* ParameterizedMsg::serialize(char* pos) const {
  return _args ? _args->serialize(pos) : pos;
}

unsigned long ParameterizedMsg::length() const {
  return _args ? _args->length() : 0;
}

int ParameterizedMsg::send(const IPC_Target& target) const {
  if (!Connection::exists()) return -2;
  if (target.isNull()) {
    ZLOG(LogStream::PROBLEM)
        << "Can not send message.  Target is null" << std::endl;
    return -2;
  }
  MsgHeader header;
  header.sender = Connection::myTarget();
  unsigned long total = myHeaderLength(header.sender) + length();
  Connection* connection = Connection::get(_connectionType);
  if (connection == nullptr) {
    ZLOG(LogStream::BUG) << "Can't get connection for this type of data: "
                         << std::endl
                         << " Priority: " << _connectionType << std::endl;
    return -2;
  }
  header.length = static_cast<long>(total);
  header.module = _module;
  header.connectionType = _connectionType;
  header.type = _type;
  char* buffer = new char[total];
  serialize(::serialize(header, buffer));
  int status = connection->send(target, _deliveryMode, _connectionType, buffer);
  logFailure(status, target);
  return status;
}

void ParameterizedMsg::logFailure(int status, const IPC_Target& target) const {
  unsigned category;
  const char* what;
  if (status == -2) {
    category = LogStream::PROBLEM;
    what = "Send of IPC message failed because of a system error! ";
  } else if (status == -1) {
    category = LogStream::EVENT;
    what = "Send of IPC message failed; Target not available.";
  } else {
    return;
  }
  ZLOG(category) << what << std::endl
                 << "Target: " << target << std::endl
                 << "Module: " << _module << std::endl
                 << "Type: " << _type << std::endl;
}
