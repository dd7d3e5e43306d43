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
  // From its text: "NULL"; host/port/id, an anonymous target (port and id
  // in C's number forms, the host a dotted address or a name); or a name
  // of the configured named targets. Text that names nothing gives the
  // null target, with a message when `complain` (a bad host always
  // complains).
  explicit IPC_Target(const TextString& text, bool complain = true);
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

  // Kinds equal, and then: null always; named by name; anonymous by
  // address and port (the process id doesn't count).
  bool operator==(const IPC_Target& other) const;
  bool operator!=(const IPC_Target& other) const { return !(*this == other); }
  // By kind; named by name; anonymous by address, then port.
  bool operator<(const IPC_Target& other) const;

 private:
  int _kind;
  sockaddr_in _address;
  TextString _name;
  int _processId;
};

// Null 47, named the name's hash, anonymous port XOR address.
unsigned long hashKey(const IPC_Target& target);

// The host of a dotted address or a name, in network order; false when
// neither makes an address.
bool lookUpHost(const char* host, in_addr* address);

// The host's name of an address, or its dotted form; looked up once per
// address.
TextString hostNameOf(const in_addr& address);

// On the wire: kind, address family, IPv4 address and port as host-order
// values (so the bytes show network order), process id, name. An
// anonymous target takes 28 bytes.
char* serialize(const IPC_Target& target, char* pos);
unsigned long length(const IPC_Target& target);
char* quantize(IPC_Target& target, char* pos, const char* end);

// "unknown IPC address", the name, or host/port/id with the host's name
// (its dotted address where the name can't be had).
std::ostream& operator<<(std::ostream& out, const IPC_Target& target);

#endif  // ZEPH_IPC_IPC_TARGET_H_
