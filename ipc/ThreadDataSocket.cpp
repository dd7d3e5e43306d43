#include "ThreadDataSocket.h"

#include <poll.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "LogStream.h"
#include "NamedTargets.h"
#include "PendingMsg.h"
#include "SocketConnection.h"

namespace {

// What `ps -L` and /proc show of a send thread.
const char* const kThreadName = "ipc send";

// One lock over the figures of every peer: held for a few additions.
pthread_mutex_t statsLock = PTHREAD_MUTEX_INITIALIZER;

int millisOf(const timeval& t) {
  return static_cast<int>(t.tv_sec * 1000 + t.tv_usec / 1000);
}

}  // namespace

ThreadStatRec ThreadStatRec::snapshot(const ThreadStatRec& record) {
  pthread_mutex_lock(&statsLock);
  ThreadStatRec copy = record;
  pthread_mutex_unlock(&statsLock);
  return copy;
}

ThreadDataSocket::ThreadDataSocket(const IPC_Target& target,
                                   SocketConnection* owner)
    : DataSocket(target, owner) {
  makeLocks();
}

ThreadDataSocket::ThreadDataSocket(int fd, SocketConnection* owner,
                                   bool orphan, FrameReader* partial)
    : DataSocket(fd, owner, orphan, partial) {
  makeLocks();
}

void ThreadDataSocket::makeLocks() {
  pthread_mutex_init(&_queueLock, nullptr);
  pthread_mutex_init(&_sendLock, nullptr);
  pthread_cond_init(&_threadEnded, nullptr);
}

ThreadDataSocket::~ThreadDataSocket() {
  if (descriptor() != -1) {
    stopThread();
    waitForSections();
    if (!_queue.isEmpty() && !owner()->closing()) {
      ZLOG(LogStream::PROBLEM)
          << _queue.length() << " messages were never sent." << std::endl;
    }
    PendingMsg* pending;
    while (!_queue.isEmpty() && _queue.dequeue(pending)) {
      count(pending, true);
      delete pending;
    }
  }
  const struct {
    int error;
    const char* what;
  } destroyed[] = {
      {pthread_mutex_destroy(&_sendLock),
       "Failure to destroy sendLock in ~ThreadDataSocket(): "},
      {pthread_mutex_destroy(&_queueLock),
       "Failure to destroy qLock in ~ThreadDataSocket():"},
      {pthread_cond_destroy(&_threadEnded),
       "Failure to destroy the thread's end signal in ~ThreadDataSocket(): "}};
  for (const auto& d : destroyed) {
    if (d.error != 0) {
      ZLOG(LogStream::BUG) << d.what << std::strerror(d.error) << std::endl;
    }
  }
}

// The thread is woken where it waits for the peer, and ends there or
// after the write it is in. A detached thread can't be joined: it says,
// under the queue lock, when it has let go of the socket, and the socket
// isn't freed before.
void ThreadDataSocket::stopThread() {
  pthread_mutex_lock(&_queueLock);
  if (_thread != nullptr) {
    _stopping = true;
    uint64_t one = 1;
    if (write(_wakeFd, &one, sizeof one) != sizeof one) {
      ZLOG(LogStream::BUG) << "Cannot wake the send thread in ~ThreadDataSocket. "
                           << "Reason: " << std::strerror(errno) << std::endl;
    }
    while (_thread != nullptr) pthread_cond_wait(&_threadEnded, &_queueLock);
  }
  pthread_mutex_unlock(&_queueLock);
}

// Whoever was inside either section has left it when these return.
void ThreadDataSocket::waitForSections() {
  const struct {
    pthread_mutex_t* lock;
    const char* locking;
    const char* unlocking;
  } locks[] = {{&_sendLock, "Failure in locking sendLock ~ThreadDataSocket(): ",
                "Failure in unlocking sendLock ~ThreadDataSocket(): "},
               {&_queueLock, "Failure in locking qLock ~ThreadDataSocket(): ",
                "Failure in unlocking qLock ~ThreadDataSocket(): "}};
  for (const auto& l : locks) {
    int error = pthread_mutex_lock(l.lock);
    if (error != 0) {
      ZLOG(LogStream::BUG) << l.locking << std::strerror(error) << std::endl;
      continue;
    }
    error = pthread_mutex_unlock(l.lock);
    if (error != 0) {
      ZLOG(LogStream::BUG) << l.unlocking << std::strerror(error) << std::endl;
    }
  }
}

bool ThreadDataSocket::queueSend(PendingMsg* pending) {
  if (_stats == nullptr) _stats = owner()->threadStats(peer());
  _timeoutMillis = millisOf(sendTimeout());
  const char* failure = nullptr;
  int error = 0;
  pthread_mutex_lock(&_queueLock);
  if (_closed) {  // the thread has just found the peer gone
    pthread_mutex_unlock(&_queueLock);
    pending->setStatus(PendingMsg::UNAVAILABLE);
    return false;
  }
  _queue.enqueue(pending);
  count(pending, false);
  bool running = _thread != nullptr;
  unsigned long waiting = _queue.length();
  if (!running) error = startThread(pending, &failure);
  pthread_mutex_unlock(&_queueLock);
  // The log is written outside the lock: the thread never waits for it.
  if (running) {
    ZLOG(LogStream::DEBUG)
        << "Socket buffer to " << peer() << " is full!" << std::endl
        << "and sending thread is already running.  Adding this"
        << " message to the queue. " << std::endl
        << "There is now " << waiting << " messages on the Q" << std::endl;
    return true;
  }
  ZLOG(LogStream::DEBUG) << "Socket buffer to " << peer() << " is full!"
                         << std::endl
                         << "STARTING the SENDING THREAD!!!" << std::endl;
  if (failure == nullptr) return true;
  ZLOG(LogStream::PROBLEM) << failure << std::strerror(error) << std::endl;
  return _thread != nullptr;  // a thread that isn't detached still writes
}

// Under the queue lock. The thread starts with every signal blocked, so
// that signals reach the main thread, whose loop serves them. A thread
// that runs but can't be detached goes on: its message is already its.
int ThreadDataSocket::startThread(PendingMsg* pending, const char** failure) {
  _wakeFd = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  pthread_t* thread = new pthread_t;
  int error = errno;
  if (_wakeFd != -1) {
    sigset_t all, old;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &old);
    error = pthread_create(thread, nullptr, threadMain, pending);
    pthread_sigmask(SIG_SETMASK, &old, nullptr);
  }
  if (error != 0) {
    *failure = "Cannot create thread for message send: ";
    if (_wakeFd != -1) close(_wakeFd);
    _wakeFd = -1;
    PendingMsg* taken;
    _queue.dequeue(taken);
    pending->setStatus(PendingMsg::UNAVAILABLE);
    count(pending, true);
    delete thread;
    return error;
  }
  _thread = thread;
  pthread_setname_np(*thread, kThreadName);
  error = pthread_detach(*thread);
  if (error != 0) *failure = "Cannot detach thread for message send: ";
  return error;
}

void* ThreadDataSocket::threadMain(void* first) {
  PendingMsg* pending = static_cast<PendingMsg*>(first);
  ThreadDataSocket* self = pending->socket()->asThreadDataSocket();
  while (pending != nullptr) {
    self->writeOne(pending);
    if (pending->status() == PendingMsg::TO_SEND) {  // the socket is going
      pthread_mutex_lock(&self->_queueLock);
      self->threadGone();
      pthread_mutex_unlock(&self->_queueLock);
      return nullptr;
    }
    pending = self->threadCompleted(pending);
  }
  return nullptr;
}

// Writes `pending` whole, or until it fails, or until the socket's
// destructor wakes the thread.
void ThreadDataSocket::writeOne(PendingMsg* pending) {
  int error = pthread_mutex_lock(&_sendLock);
  if (error != 0) {
    std::fprintf(stderr, "Failure locking sendLock in doThreadSend(): %s\n",
                 std::strerror(error));
    pending->setStatus(PendingMsg::SYSTEM_ERROR);
    return;
  }
  while (pending->status() == PendingMsg::TO_SEND && !_stopping) {
    pollfd ready[2] = {{descriptor(), POLLOUT, 0}, {_wakeFd, POLLIN, 0}};
    int result = poll(ready, 2, _timeoutMillis);
    if (result > 0 && ready[1].revents == 0) {
      pending->send(true);
    } else if (result == 0) {
      pending->setStatus(PendingMsg::UNAVAILABLE);
    } else if (result == -1 && errno != EAGAIN && errno != EINTR) {
      std::perror("Error: poll() failed");
      pending->setStatus(PendingMsg::SYSTEM_ERROR);
    }
  }
  error = pthread_mutex_unlock(&_sendLock);
  if (error != 0) {
    std::fprintf(stderr, "Failure unlocking sendLock in doThreadSend(): %s\n",
                 std::strerror(error));
    pending->setStatus(PendingMsg::SYSTEM_ERROR);
  }
}

// Ends `pending` and answers the next message, or null when the thread is
// to end: the queue is empty or the peer is gone.
PendingMsg* ThreadDataSocket::threadCompleted(PendingMsg* pending) {
  int error = pthread_mutex_lock(&_queueLock);
  if (error != 0) {
    std::fprintf(stderr, "Failed to lock queueLock in threadCompleted(): %s\n",
                 std::strerror(error));
  }
  count(pending, true);
  if (pending->status() == PendingMsg::UNAVAILABLE) _closed = true;
  PendingMsg* done;
  _queue.dequeue(done);
  delete done;
  PendingMsg* next = nullptr;
  if (!_closed && !_stopping && !_queue.isEmpty())
    _queue.peek(next);
  else
    threadGone();
  error = pthread_mutex_unlock(&_queueLock);
  if (error != 0) {
    std::fprintf(stderr,
                 "Failed to unlock queueLock in threadCompleted(): %s\n",
                 std::strerror(error));
  }
  return next;
}

// Under the queue lock: the thread touches the socket no more, and needs
// no waking.
void ThreadDataSocket::threadGone() {
  delete _thread.exchange(nullptr);
  close(_wakeFd);
  _wakeFd = -1;
  pthread_cond_broadcast(&_threadEnded);
}

void ThreadDataSocket::count(PendingMsg* pending, bool finished) {
  long size = static_cast<long>(pending->size());
  long left = static_cast<long>(pending->remaining());
  pthread_mutex_lock(&statsLock);
  ThreadStatRec& r = *_stats;
  if (finished) {
    --r.numPending;
    r.bytesPending -= size;
    r.bytesFailed += left;
    r.bytesCompleted += size - left;
  } else {
    ++r.numPending;
    r.bytesPending += size;
  }
  r.lastThreadActivity = time(nullptr);
  pthread_mutex_unlock(&statsLock);
}

void ThreadDataSocket::syncSend(PendingMsg* pending) {
  ZLOG(LogStream::EVENT) << "Synchronous send to " << peer()
                         << " has been started." << std::endl;
  int error = pthread_mutex_lock(&_sendLock);
  if (error != 0) {
    ZLOG(LogStream::BUG) << "pthread_mutex_lock() failed in doSyncSend(): "
                         << std::strerror(error) << std::endl;
    pending->setStatus(PendingMsg::SYSTEM_ERROR);
    return;
  }
  finishHandedOver(pending);
  if (pending->status() == PendingMsg::TO_SEND) syncWrite(*pending);
  error = pthread_mutex_unlock(&_sendLock);
  if (error != 0) {
    ZLOG(LogStream::BUG) << "pthread_mutex_unlock() failed in doSyncSend(): "
                         << std::strerror(error) << std::endl;
    pending->setStatus(PendingMsg::SYSTEM_ERROR);
  }
  ZLOG(LogStream::EVENT) << "Synchronous send to " << peer()
                         << " has completed." << std::endl;
}

// A message that the main thread began to write and handed to a new
// thread may still wait for that thread's first turn at the send lock. A
// synchronous message can't go into the middle of it: the main thread
// writes its rest first, and the thread finds it done. Under the send
// lock, which the thread holds for every message it has begun itself.
void ThreadDataSocket::finishHandedOver(PendingMsg* pending) {
  PendingMsg* head = nullptr;
  pthread_mutex_lock(&_queueLock);
  if (!_queue.isEmpty()) _queue.peek(head);
  pthread_mutex_unlock(&_queueLock);
  if (head == nullptr || head->status() != PendingMsg::TO_SEND ||
      head->remaining() == head->size())
    return;
  syncWrite(*head);
  if (head->status() != PendingMsg::SENT) pending->setStatus(head->status());
}
