#ifndef ZEPH_IPC_THREADDATASOCKET_H_
#define ZEPH_IPC_THREADDATASOCKET_H_

#include <ctime>

#include "DataSocket.h"

// Figures of the send threads of one peer.
struct ThreadStatRec {
  long bytesPending = 0;
  long bytesFailed = 0;
  long bytesCompleted = 0;
  long numPending = 0;
  time_t lastThreadActivity = 0;
};

// The data socket every connection uses. A message that a full socket
// can't take at once is meant to wait on a queue that a thread of the
// socket writes out, so that a peer that stops reading doesn't stop the
// process. Until that thread exists, queueSend takes nothing: the message
// is written by the calling thread, which waits at most the send time-out
// and then gives the peer up (the send answers -1).
class ThreadDataSocket : public DataSocket {
 public:
  ThreadDataSocket(const IPC_Target& target, SocketConnection* owner)
      : DataSocket(target, owner) {}
  ThreadDataSocket(int fd, SocketConnection* owner, bool orphan,
                   FrameReader* partial)
      : DataSocket(fd, owner, orphan, partial) {}

  ThreadDataSocket* asThreadDataSocket() override { return this; }
  bool isClosed() override { return _closed; }
  bool queueSend(PendingMsg* pending) override;
  void syncSend(PendingMsg* pending) override;
  bool hasRunningThread() override { return false; }

 private:
  bool _closed = false;
};

#endif  // ZEPH_IPC_THREADDATASOCKET_H_
