#ifndef ZEPH_IPC_DATASOCKET_H_
#define ZEPH_IPC_DATASOCKET_H_

#include <sys/times.h>

#include <atomic>
#include <ctime>
#include <iosfwd>

#include "DescriptorEventClient.h"
#include "FrameReader.h"
#include "IPC_Target.h"

class PendingMsg;
class SocketConnection;
class ThreadDataSocket;

// One TCP connection to one peer, used both ways. It reads the stream
// into whole messages without ever blocking the loop and hands each to
// the dispatcher; it writes a message with a first non-blocking attempt
// and then waits for the socket, at most the send time-out. A broken
// connection is reconnected; what the peer had sent on the old socket is
// still read, by an orphan reader of its own.
class DataSocket : public DescriptorEventClient {
 public:
  // Connects to `target` at once; descriptor() is -1 if that failed.
  DataSocket(const IPC_Target& target, SocketConnection* owner);
  // Takes an accepted descriptor, or an orphaned one with the message it
  // was in the middle of (`partial`, which is emptied).
  DataSocket(int fd, SocketConnection* owner, bool orphan,
             FrameReader* partial);
  ~DataSocket() override;

  void handleEvent() override;
  int descriptor() override { return _fd; }
  int conditions() override { return READ; }
  // Sockets of the high-priority connection are served first.
  int priority() override;

  virtual ThreadDataSocket* asThreadDataSocket() { return nullptr; }
  // What a socket with a send thread answers.
  virtual bool isClosed() = 0;
  virtual bool queueSend(PendingMsg* pending) = 0;
  virtual void syncSend(PendingMsg* pending) = 0;
  virtual bool hasRunningThread() = 0;

  // Takes `pending`. Answers its final status, or 0 when it was queued.
  int send(int deliveryMode, PendingMsg* pending);
  // A new connection to the peer in place of a broken one. A send thread
  // (`onSendThread`) logs nothing and leaves the reading side to the main
  // thread: the old socket always goes to an orphan reader, which reads
  // what may be left on it and ends.
  bool reconnect(bool quiet, bool onSendThread = false);
  bool isThereDataToRead();
  // Neither sending nor holding input: may be closed to make room.
  bool isIdle() { return !hasRunningThread() && !isThereDataToRead(); }
  // Whether the peer is still connected, by getpeername.
  bool peerConnected() const;
  // The blocking write of the main thread, bounded by the send time-out.
  void syncWrite(PendingMsg& pending);

  const IPC_Target& peer() const { return _peer; }
  SocketConnection* owner() const { return _owner; }
  clock_t lastUseTicks() const { return _lastUseTicks; }

  // The socket's block of the statistics report; its counters then start
  // again.
  void report(std::ostream& out);

 private:
  struct Traffic {
    unsigned long count, bytes, min, max;
    void add(unsigned long n);
    void reset();
  };
  enum { kAgain = -1, kFailed = -2 };

  void setUp();
  void touch();
  long readSocket(char* into, unsigned long n);
  void badHeader();
  void deliver();
  void learnPeer(char* message, unsigned long size);
  void adoptOrphan();
  void makeOrphanReader(int fd);

  IPC_Target _peer;
  // A send thread may put a new connection in place of a broken one while
  // the main thread waits on the socket; these are the fields it changes.
  std::atomic<int> _fd;
  SocketConnection* _owner;
  std::atomic<int> _orphanFd;
  std::atomic<clock_t> _lastUseTicks;
  std::atomic<time_t> _lastUsed;
  std::atomic<time_t> _created;
  FrameReader _frame;
  Traffic _sent;
  Traffic _received;
  bool _acceptedHere;
  bool _orphan;
  bool _endOfFile;
};

#endif  // ZEPH_IPC_DATASOCKET_H_
