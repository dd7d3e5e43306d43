#include "EventDispatcher.h"

#include <sys/select.h>
#include <sys/times.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <ctime>
#include <vector>

#include "DescriptorEventClient.h"
#include "DispatchEngine.h"
#include "LogStream.h"
#include "TimerEventClient.h"

namespace {

// The descriptor sets of one select call.
struct ReadySets {
  fd_set read, write, exception;
};

bool isReady(const ReadySets& sets, int fd) {
  return fd >= 0 && fd < FD_SETSIZE &&
         (FD_ISSET(fd, &sets.read) || FD_ISSET(fd, &sets.write) ||
          FD_ISSET(fd, &sets.exception));
}

// Enters the clients' descriptors; answers the highest one, -1 for none.
int fillSets(Set<DescriptorEventClient*>& set, ReadySets& sets) {
  FD_ZERO(&sets.read);
  FD_ZERO(&sets.write);
  FD_ZERO(&sets.exception);
  int highest = -1;
  for (int i = 0; i < set.length(); ++i) {
    DescriptorEventClient* client = set.keyAt(i);
    int fd = client->descriptor();
    if (fd == -1) continue;
    if (fd < 0 || fd >= FD_SETSIZE) {
      ZLOG(LogStream::BUG) << "Descriptor " << fd
                           << " can't be waited on by select()" << std::endl;
      continue;
    }
    int conditions = client->conditions();
    if (conditions & DescriptorEventClient::READ) FD_SET(fd, &sets.read);
    if (conditions & DescriptorEventClient::WRITE) FD_SET(fd, &sets.write);
    if (conditions & DescriptorEventClient::EXCEPTION)
      FD_SET(fd, &sets.exception);
    if (fd > highest) highest = fd;
  }
  return highest;
}

}  // namespace

EventDispatcher& EventDispatcher::instance() {
  static EventDispatcher* dispatcher = new EventDispatcher;
  return *dispatcher;
}

EventDispatcher::EventDispatcher()
    : _running(false), _started(false), _engines(5) {
  _engines.insert(0, new GenericDispatchEngine);
}

void EventDispatcher::start(int type) {
  DispatchEngine* engine = nullptr;
  if (!_engines.lookup(type, &engine)) {
    ZLOG(LogStream::BUG)
        << "There's no dispatch engine registered with the event"
        << " dispatcher for type " << type << std::endl;
    return;
  }
  _running = true;
  _started = true;
  engine->run(*this);
}

void EventDispatcher::registerEngine(int type, DispatchEngine* engine) {
  _engines.insert(type, engine);
}

void EventDispatcher::addDescriptor(DescriptorEventClient* client, bool ipc) {
  _descriptors.insert(client);
  if (ipc) _ipcDescriptors.insert(client);
}

void EventDispatcher::removeDescriptor(DescriptorEventClient* client) {
  _descriptors.remove(client);
  _ipcDescriptors.remove(client);
}

EventDispatcher::SelectResult EventDispatcher::selectWrapper(
    Set<DescriptorEventClient*>& set, timeval* timeout) {
  ReadySets sets;
  int highest = fillSets(set, sets);
  int n =
      select(highest + 1, &sets.read, &sets.write, &sets.exception, timeout);
  if (n == -1) {
    if (errno == EINTR) return INTERRUPTED;
    ZLOG(LogStream::PROBLEM)
        << "select() fail: " << std::strerror(errno) << std::endl;
    return SELECT_FAILED;
  }
  if (n == 0) return TIMED_OUT;
  // Handlers add and remove clients: go through a copy, and skip whoever
  // has left the set meanwhile. A process has a few dozen clients, so the
  // copy is a plain list on the stack, not a second hash table per pass.
  int count = set.length();
  DescriptorEventClient* onStack[64];
  std::vector<DescriptorEventClient*> onHeap;
  DescriptorEventClient** copy = onStack;
  if (count > 64) {
    onHeap.resize(count);
    copy = onHeap.data();
  }
  for (int i = 0; i < count; ++i) copy[i] = set.keyAt(i);
  for (int pass = 0; pass < 2; ++pass) {
    for (int i = 0; i < count; ++i) {
      DescriptorEventClient* client = copy[i];
      if (!set.lookup(client)) continue;
      bool high = client->priority() == 1;
      if (high != (pass == 0)) continue;
      if (isReady(sets, client->descriptor())) client->handleEvent();
    }
  }
  return SERVED;
}

// Ticks in the unit of times(), counted by the coarse monotonic clock,
// which clock setting doesn't move either: reading it costs no system
// call, and every message stamps its socket with it.
clock_t EventDispatcher::ticks() {
  timespec now;
  if (clock_gettime(CLOCK_MONOTONIC_COARSE, &now) != 0) {
    tms unused;
    return times(&unused) & TimerEventClient::kDisabled;
  }
  long long perSecond = ticksPerSecond();
  long long ticks =
      now.tv_sec * perSecond + now.tv_nsec / (1000000000LL / perSecond);
  return static_cast<clock_t>(ticks & TimerEventClient::kDisabled);
}

long EventDispatcher::ticksPerSecond() {
  static const long perSecond = sysconf(_SC_CLK_TCK);
  return perSecond;
}

namespace {
void (*pendingSignalServer)() = nullptr;
}  // namespace

void EventDispatcher::setPendingSignalServer(void (*server)()) {
  pendingSignalServer = server;
}

void EventDispatcher::servePendingSignals() {
  if (pendingSignalServer != nullptr) pendingSignalServer();
}
