#ifndef ZEPH_IPC_ACCEPTSOCKET_H_
#define ZEPH_IPC_ACCEPTSOCKET_H_

#include "DescriptorEventClient.h"
#include "IPC_Target.h"

class SocketConnection;

// The listener of a connection. Bound to the target's address; on port 0
// the system chooses, and the process's own target becomes the anonymous
// target of that port. descriptor() is -1 when any step failed.
class AcceptSocket : public DescriptorEventClient {
 public:
  AcceptSocket(SocketConnection* owner, const IPC_Target& target);
  ~AcceptSocket() override;

  // Makes room, accepts, and hands the new socket to the connection.
  void handleEvent() override;
  int descriptor() override { return _fd; }
  int conditions() override { return READ; }

 private:
  void fail(const char* what, const IPC_Target* target);

  SocketConnection* _owner;
  int _fd;
};

#endif  // ZEPH_IPC_ACCEPTSOCKET_H_
