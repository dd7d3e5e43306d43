#ifndef ZEPH_IPC_CONNECTION_H_
#define ZEPH_IPC_CONNECTION_H_

#include "IPC_Target.h"
#include "Set.h"

class SocketConnection;

// The transport behind messages: a few objects, numbered by connection
// type, through which a message goes out, and the keeper of the process's
// own target. Each object belongs to the process-wide set from its
// construction to its destruction.
//
// The socket transport installs itself with setMaker(); until then get()
// finds only the connections somebody has made.
class Connection {
 public:
  explicit Connection(int type);
  virtual ~Connection();
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  virtual bool setMyTarget(const IPC_Target& target) = 0;
  virtual bool isConnected(const IPC_Target& target) = 0;
  // Sends a buffer made by new char[] whose first word is its length. The
  // buffer belongs to the connection from the call on, whatever happens.
  // Answers 0, -1 when the target isn't available, -2 on a system error or
  // a refused call.
  virtual int send(const IPC_Target& target, int deliveryMode,
                   int connectionType, char* buffer) = 0;
  virtual SocketConnection* asSocketConnection() { return nullptr; }

  int type() const { return _type; }

  // Whether any connection exists in the process.
  static bool exists();
  // The connection of that number; made by the maker on first use.
  static Connection* get(int type);
  using Maker = Connection* (*)(int type);
  static void setMaker(Maker maker);

  // The process's own target; before there is one, a complaint on
  // standard error and the null target.
  static IPC_Target myTarget();
  // Keeps `target` as the process's own; a null target is not kept.
  static void storeMyTarget(const IPC_Target& target);
  // Makes `target` the process's own through every connection: a server
  // takes its named target so. An anonymous target is refused, and so is
  // a target that another process holds; the old target then stays.
  static bool setProcessTarget(const IPC_Target& target);
  // Whether any connection has a working socket to `target`.
  static bool isConnectedAnywhere(const IPC_Target& target);
  // The traffic of every socket connection since the last report, logged
  // at DIAG as one text.
  static void reportStatistics();

  // This host's IPv4 address (network order) by its name; 127.0.0.1 when
  // that can't be had.
  static in_addr localAddress();
  // The connections of the process; null before the first.
  static const Set<Connection*>* all();

 private:
  int _type;
};

#endif  // ZEPH_IPC_CONNECTION_H_
