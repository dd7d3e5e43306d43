#ifndef ZEPH_IPC_SOCKETCONNECTION_H_
#define ZEPH_IPC_SOCKETCONNECTION_H_

#include <ctime>
#include <deque>
#include <iosfwd>
#include <utility>

#include "Connection.h"
#include "Dict.h"
#include "Set.h"
#include "ThreadDataSocket.h"

class AcceptSocket;
class DataSocket;

// The TCP transport of one connection number: the listener (connection 0
// only), the open sockets by peer, and those whose peer hasn't spoken yet.
// One socket per peer stays open between messages; the process keeps
// within a third of its descriptors by closing the least recently used
// idle socket.
class SocketConnection : public Connection {
 public:
  explicit SocketConnection(int type);
  ~SocketConnection() override;

  // Installs the socket transport behind Connection::get and makes
  // connection 0, whose listener gives the process its anonymous target.
  // Called first thing in a process; later calls do nothing. All
  // connections are destroyed at exit.
  static void start();

  bool setMyTarget(const IPC_Target& target) override;
  bool isConnected(const IPC_Target& target) override;
  int send(const IPC_Target& target, int deliveryMode, int connectionType,
           char* buffer) override;
  SocketConnection* asSocketConnection() override { return this; }

  // Into the sockets by peer when the peer is known and has none yet,
  // else among the anonymous ones.
  void addSocket(DataSocket* socket);
  // Out of both tables; with `destroy` the closing is recorded and the
  // socket deleted.
  void removeSocket(DataSocket* socket, bool destroy);
  bool holds(DataSocket* socket) const;
  // The send-thread figures of `peer`, made at its first use; they stay
  // with the connection, for the report, after the socket has gone.
  ThreadStatRec* threadStats(const IPC_Target& peer);
  bool closing() const { return _closing; }
  // Closes idle sockets of any connection while the IPC descriptors are
  // over a third of what the process may open.
  static void makeRoom();

  // This connection's part of the statistics report; the lists and
  // counters then start again.
  void report(std::ostream& out);

  // Calls `visit` with each socket, known peers first. The visit must not
  // change the tables.
  template <class Visit>
  void eachSocket(Visit visit) {
    for (int i = 0; i < _sockets.length(); ++i) visit(_sockets.valueAt(i));
    for (int i = 0; i < _anonymousSockets.length(); ++i)
      visit(_anonymousSockets.keyAt(i));
  }

  // How many sockets the tables hold, for tests and the report.
  int socketCount() const { return _sockets.length(); }
  int anonymousCount() const { return _anonymousSockets.length(); }

 private:
  static const unsigned kClosedKept = 100;

  Dict<IPC_Target, ThreadStatRec*> _threadStats;  // owned
  Dict<IPC_Target, DataSocket*> _sockets;
  Set<DataSocket*> _anonymousSockets;
  AcceptSocket* _acceptSocket;
  std::deque<std::pair<time_t, IPC_Target>> _closedSockets;  // oldest first
  bool _closing;
};

#endif  // ZEPH_IPC_SOCKETCONNECTION_H_
