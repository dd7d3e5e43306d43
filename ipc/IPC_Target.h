#ifndef ZEPH_IPC_IPC_TARGET_H_
#define ZEPH_IPC_IPC_TARGET_H_

#include <netinet/in.h>

#include <iosfwd>

#include "TextString.h"

// The address of a process, a value: what a sender names and what every
// message header carries. A null target addresses nobody; a named one is
// known to all processes by its name; an anonymous one listens on a port
// the system chose and is told apart by address and port.
class IPC_Target {
 public:
  enum Kind { NULL_TARGET = 0, NAMED = 1, ANONYMOUS = 2 };

  IPC_Target();
  IPC_Target(int kind, const sockaddr_in& address, const TextString& name,
             int processId);
  // `host` and `port` in host order.
  static IPC_Target anonymous(unsigned long host, unsigned short port,
                              int processId);
  static IPC_Target named(const TextString& name, unsigned long host,
                          unsigned short port);

  int kind() const { return _kind; }
  bool isNull() const { return _kind == NULL_TARGET; }
  // Family, port and IPv4 address, the last two in network order.
  const sockaddr_in& address() const { return _address; }
  const TextString& name() const { return _name; }
  int processId() const { return _processId; }

 private:
  int _kind;
  sockaddr_in _address;
  TextString _name;
  int _processId;
};

// On the wire: kind, address family, IPv4 address and port as host-order
// values (so the bytes show network order), process id, name. An
// anonymous target takes 28 bytes.
char* serialize(const IPC_Target& target, char* pos);
unsigned long length(const IPC_Target& target);
char* quantize(IPC_Target& target, char* pos, const char* end);

// "unknown IPC address", the name, or host/port/id with the host in dotted
// form.
std::ostream& operator<<(std::ostream& out, const IPC_Target& target);

#endif  // ZEPH_IPC_IPC_TARGET_H_
