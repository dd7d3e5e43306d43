#include "IPC_Target.h"

#include <arpa/inet.h>

#include <cstring>
#include <ostream>

#include "Marshalling.h"

namespace {

sockaddr_in inetAddress(unsigned long host, unsigned short port) {
  sockaddr_in address;
  std::memset(&address, 0, sizeof address);
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(static_cast<uint32_t>(host));
  address.sin_port = htons(port);
  return address;
}

}  // namespace

IPC_Target::IPC_Target()
    : _kind(NULL_TARGET), _address(inetAddress(0, 0)), _processId(0) {}

IPC_Target::IPC_Target(int kind, const sockaddr_in& address,
                       const TextString& name, int processId)
    : _kind(kind), _address(address), _name(name), _processId(processId) {}

IPC_Target IPC_Target::anonymous(unsigned long host, unsigned short port,
                                 int processId) {
  return IPC_Target(ANONYMOUS, inetAddress(host, port), TextString(),
                    processId);
}

IPC_Target IPC_Target::named(const TextString& name, unsigned long host,
                             unsigned short port) {
  return IPC_Target(NAMED, inetAddress(host, port), name, 0);
}

char* serialize(const IPC_Target& target, char* pos) {
  const sockaddr_in& a = target.address();
  pos = serialize(target.kind(), pos);
  pos = serialize(static_cast<unsigned short>(a.sin_family), pos);
  pos = serialize(static_cast<unsigned int>(ntohl(a.sin_addr.s_addr)), pos);
  pos = serialize(static_cast<unsigned short>(ntohs(a.sin_port)), pos);
  pos = serialize(target.processId(), pos);
  return serialize(target.name(), pos);
}

unsigned long length(const IPC_Target& target) {
  return 20 + length(target.name());
}

char* quantize(IPC_Target& target, char* pos, const char* end) {
  int kind = IPC_Target::NULL_TARGET, processId = 0;
  unsigned short family = 0, port = 0;
  unsigned int host = 0;
  TextString name;
  pos = quantize(kind, pos, end);
  pos = quantize(family, pos, end);
  pos = quantize(host, pos, end);
  pos = quantize(port, pos, end);
  pos = quantize(processId, pos, end);
  pos = quantize(name, pos, end);
  sockaddr_in address;
  std::memset(&address, 0, sizeof address);
  address.sin_family = family;
  address.sin_addr.s_addr = htonl(host);
  address.sin_port = htons(port);
  target = IPC_Target(kind, address, name, processId);
  return pos;
}

std::ostream& operator<<(std::ostream& out, const IPC_Target& target) {
  switch (target.kind()) {
    case IPC_Target::NULL_TARGET:
      return out << "unknown IPC address";
    case IPC_Target::NAMED:
      return out << target.name();
    default:
      break;
  }
  char host[INET_ADDRSTRLEN] = "?";
  inet_ntop(AF_INET, &target.address().sin_addr, host, sizeof host);
  return out << host << '/' << ntohs(target.address().sin_port) << '/'
             << target.processId();
}
