#ifndef ZEPH_IPC_PENDINGMSG_H_
#define ZEPH_IPC_PENDINGMSG_H_

class DataSocket;

// One message on its way out through a data socket: the buffer (owned),
// how far it has gone, and how it ended.
class PendingMsg {
 public:
  enum Status { TO_SEND = 0, SENT = 1, SYSTEM_ERROR = 2, UNAVAILABLE = 3 };

  // Takes `buffer` (new char[]); its first word is its length.
  PendingMsg(DataSocket* socket, char* buffer);
  ~PendingMsg() { delete[] _buffer; }
  PendingMsg(const PendingMsg&) = delete;
  PendingMsg& operator=(const PendingMsg&) = delete;

  // One write step, never blocking: as much as the socket takes. A peer
  // that has gone is reconnected and the whole message starts again on
  // the new socket, since the new peer has seen none of it. `quiet` on a
  // send thread, where no log line may be written and the reading side of
  // the socket isn't this thread's.
  void send(bool quiet);

  DataSocket* socket() const { return _socket; }
  int status() const { return _status; }
  void setStatus(int status) { _status = status; }
  unsigned long size() const { return _size; }
  unsigned long remaining() const { return _remaining; }

 private:
  DataSocket* _socket;
  int _status;
  char* _buffer;
  char* _position;
  unsigned long _size;
  unsigned long _remaining;
};

#endif  // ZEPH_IPC_PENDINGMSG_H_
