#include "IPC_Target.h"

#include <arpa/inet.h>
#include <netdb.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ostream>
#include <string>

#include "Dict.h"
#include "LogStream.h"
#include "Marshalling.h"
#include "NamedTargets.h"

namespace {

sockaddr_in inetAddress(unsigned long host, unsigned short port) {
  sockaddr_in address;
  std::memset(&address, 0, sizeof address);
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(static_cast<uint32_t>(host));
  address.sin_port = htons(port);
  return address;
}

// The host's name for the text form, looked up once per address: a log
// line must not wait on the name service each time.
TextString hostName(const in_addr& address) {  // NOLINT
  static Dict<unsigned long, TextString> names(11);
  TextString name;
  if (names.lookup(address.s_addr, &name)) return name;
  hostent* host = gethostbyaddr(&address, sizeof address, AF_INET);
  name = host && host->h_name ? host->h_name : inet_ntoa(address);
  names.insert(address.s_addr, name);
  return name;
}

}  // namespace

TextString hostNameOf(const in_addr& address) { return hostName(address); }

bool lookUpHost(const char* host, in_addr* address) {
  in_addr_t dotted = inet_addr(host);
  if (dotted != INADDR_NONE) {
    address->s_addr = dotted;
    return true;
  }
  hostent* entry = gethostbyname(host);
  if (entry == nullptr || entry->h_addrtype != AF_INET ||
      entry->h_addr_list[0] == nullptr)
    return false;
  std::memcpy(address, entry->h_addr_list[0], sizeof *address);
  return true;
}

IPC_Target::IPC_Target()
    : _kind(NULL_TARGET), _address(inetAddress(0, 0)), _processId(0) {}

IPC_Target::IPC_Target(const TextString& text, bool complain) : IPC_Target() {
  if (text == "NULL") return;
  const char* chars = text.chars();
  const char* first = std::strchr(chars, '/');
  const char* second = first ? std::strchr(first + 1, '/') : nullptr;
  if (second == nullptr) {
    if (lookupNamedTarget(text, this) || !complain) return;
    ZLOG(LogStream::PROBLEM)
        << "Can't name IPC_Target: " << text << std::endl
        << "Not a known named target defined in ipc.config" << std::endl;
    return;
  }
  std::string host(chars, first - chars);
  in_addr address;
  if (!lookUpHost(host.c_str(), &address)) {
    ZLOG(LogStream::PROBLEM)
        << "Can't create an IPC target with invalid host: " << host
        << std::endl
        << "Check the host entry in /etc/hosts." << std::endl
        << "Making a null target instead." << std::endl;
    return;
  }
  _kind = ANONYMOUS;
  _address.sin_addr = address;
  _address.sin_port =
      htons(static_cast<unsigned short>(std::strtol(first + 1, nullptr, 0)));
  _processId = static_cast<int>(std::strtol(second + 1, nullptr, 0));
}

bool IPC_Target::operator==(const IPC_Target& other) const {
  if (_kind != other._kind) return false;
  switch (_kind) {
    case NULL_TARGET:
      return true;
    case NAMED:
      return _name == other._name;
    case ANONYMOUS:
      return _address.sin_addr.s_addr == other._address.sin_addr.s_addr &&
             _address.sin_port == other._address.sin_port;
    default:
      ZLOG(LogStream::BUG)
          << "IPC_Target::operator== failed.  Bad type." << std::endl;
      return false;
  }
}

bool IPC_Target::operator<(const IPC_Target& other) const {
  if (_kind != other._kind) return _kind < other._kind;
  if (_kind == NAMED) return _name < other._name;
  if (_kind != ANONYMOUS) return false;
  unsigned long a = ntohl(_address.sin_addr.s_addr);
  unsigned long b = ntohl(other._address.sin_addr.s_addr);
  if (a != b) return a < b;
  return ntohs(_address.sin_port) < ntohs(other._address.sin_port);
}

unsigned long hashKey(const IPC_Target& target) {
  switch (target.kind()) {
    case IPC_Target::NULL_TARGET:
      return 47;
    case IPC_Target::NAMED:
      return target.name().hash();
    default:
      return target.address().sin_port ^ target.address().sin_addr.s_addr;
  }
}

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
  char numbers[32];
  std::snprintf(numbers, sizeof numbers, "/%d/%d",
                ntohs(target.address().sin_port), target.processId());
  return out << hostName(target.address().sin_addr) << numbers;
}
