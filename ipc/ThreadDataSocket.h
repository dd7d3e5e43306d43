#ifndef ZEPH_IPC_THREADDATASOCKET_H_
#define ZEPH_IPC_THREADDATASOCKET_H_

#include <pthread.h>

#include <atomic>
#include <ctime>

#include "DataSocket.h"
#include "QueueImpl.h"

// Figures of the send threads of one peer. The threads of two sockets to
// one peer may change a record at once, so every change, and the copy the
// report reads, is made under one short lock of all records.
struct ThreadStatRec {
  long bytesPending = 0;
  long bytesFailed = 0;
  long bytesCompleted = 0;
  long numPending = 0;
  time_t lastThreadActivity = 0;

  // A copy taken under the lock.
  static ThreadStatRec snapshot(const ThreadStatRec& record);
};

// The data socket every connection uses. A message of delivery mode 0 that
// the socket doesn't take at once goes onto a queue, and a thread of the
// socket writes the queue out while the main thread goes on: a peer that
// stops reading doesn't stop the process. The thread exists only while
// there is something to write, so a process that never fills a socket
// stays single-threaded. A send thread is named "ipc send".
//
// `_queueLock` guards the queue, the thread and `_closed`; `_sendLock` is
// held for the whole write of one message, by the thread or by a
// synchronous send, which so goes out between two messages of the queue.
// No thread ever holds both. The send thread never logs: the log stream
// belongs to the main thread, and the thread's few failures go to
// standard error.
class ThreadDataSocket : public DataSocket {
 public:
  ThreadDataSocket(const IPC_Target& target, SocketConnection* owner);
  ThreadDataSocket(int fd, SocketConnection* owner, bool orphan,
                   FrameReader* partial);
  // Wakes a running thread where it waits for the peer, and waits until it
  // has let go of the socket; what is left on the queue is reported and
  // freed.
  ~ThreadDataSocket() override;

  ThreadDataSocket* asThreadDataSocket() override { return this; }
  // A thread's send found the peer gone.
  bool isClosed() override { return _closed; }
  // Takes `pending` onto the queue and starts the thread if none runs.
  // False when no thread could be started: the message then has status 3.
  bool queueSend(PendingMsg* pending) override;
  // Writes `pending` on the calling (main) thread, after the message the
  // thread is on, and before the rest of the queue.
  void syncSend(PendingMsg* pending) override;
  bool hasRunningThread() override { return _thread != nullptr; }

 private:
  static void* threadMain(void* first);
  void makeLocks();
  int startThread(PendingMsg* pending, const char** failure);
  void stopThread();
  void waitForSections();
  void writeOne(PendingMsg* pending);
  void finishHandedOver(PendingMsg* pending);
  PendingMsg* threadCompleted(PendingMsg* pending);
  void threadGone();
  void count(PendingMsg* pending, bool finished);

  pthread_mutex_t _queueLock;
  pthread_mutex_t _sendLock;
  // Signalled, under `_queueLock`, when the thread lets go of the socket.
  pthread_cond_t _threadEnded;
  QueueImpl<PendingMsg*> _queue;  // owned; the head is the thread's
  // Changed under `_queueLock`; read without it by the main thread, which
  // alone starts threads.
  std::atomic<pthread_t*> _thread{nullptr};
  std::atomic<bool> _closed{false};
  // Set by the destructor, which then wakes the thread through `_wakeFd`,
  // an eventfd that lives as long as the thread.
  std::atomic<bool> _stopping{false};
  int _wakeFd = -1;
  ThreadStatRec* _stats = nullptr;  // the peer's, found at the first queueing
  std::atomic<int> _timeoutMillis{0};  // the send time-out, read by the thread
};

#endif  // ZEPH_IPC_THREADDATASOCKET_H_
