// Threaded sends against real peers on 127.0.0.1 with small socket
// buffers: peers that stop reading for a while, for good, or die with a
// full queue. The send threads are counted in /proc/self/task.
#include <dirent.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <functional>
#include <regex>
#include <string>
#include <vector>

#include "Config.h"
#include "EventDispatcher.h"
#include "LogStream.h"
#include "MessageWait.h"
#include "NamedTargets.h"
#include "ParameterizedMsg.h"
#include "PeerTest.h"
#include "SocketConnection.h"
#include "TestSupport.h"
#include "TimerEventClient.h"

namespace {

// The send threads of this process, by their name: the runtime may have
// threads of its own (a sanitizer's).
int sendThreads() {
  int count = 0;
  if (DIR* tasks = opendir("/proc/self/task")) {
    while (dirent* entry = readdir(tasks)) {
      if (entry->d_name[0] == '.') continue;
      std::string comm = readFile(std::string("/proc/self/task/") +
                                  entry->d_name + "/comm");
      if (comm == "ipc send\n") ++count;
    }
    closedir(tasks);
  }
  return count;
}

// A detached thread leaves the task list a moment after it let go of its
// socket.
bool sendThreadsEnd() {
  for (int i = 0; i < 200 && sendThreads() != 0; ++i) usleep(10000);
  return sendThreads() == 0;
}

SocketConnection* connection() {
  return Connection::get(0)->asSocketConnection();
}

DataSocket* socketTo(const IPC_Target& peer) {
  DataSocket* found = nullptr;
  connection()->eachSocket([&](DataSocket* s) {
    if (s->peer() == peer) found = s;
  });
  return found;
}

ThreadStatRec figuresOf(const IPC_Target& peer) {
  return ThreadStatRec::snapshot(*connection()->threadStats(peer));
}

// Numbered messages of `bytes` octets in delivery mode 0; true if every
// send answered 0.
bool sendNumbered(const IPC_Target& peer, long& number, int count,
                  int bytes = 1000) {
  SeqOf<char> payload;
  payload.setLength(bytes);
  bool allSent = true;
  for (int i = 0; i < count; ++i) {
    DataCaptMessage message(3, new Echo(number++, payload));
    allSent = message.send(peer) == 0 && allSent;
  }
  return allSent;
}

class Ticker : public TimerEventClient {
 public:
  Ticker(int milliseconds, std::function<void()> tick) : _tick(tick) {
    setPeriod(milliseconds);
    EventDispatcher::instance().addTimer(this);
    enable(true);
  }
  void handleEvent() override { _tick(); }

 private:
  std::function<void()> _tick;
};

class ThreadSendTest : public PeerTest {
 protected:
  static void SetUpTestSuite() {
    Config::instance().set("SocketBufferSize.numBytes", 16384);
    PeerTest::SetUpTestSuite();
  }
  // Waits until each sink has answered its stop.
  void awaitSinks(size_t count) {
    serveUntil([&] { return peers->sinks.size() >= count; });
  }
};

// The main thread goes on with its timers and other sockets while one peer
// reads nothing; once it reads again, its queue drains in order and the
// thread ends.
TEST_F(ThreadSendTest, AStalledReaderHoldsUpOnlyItsQueue) {
  IPC_Target slow = spawn({"slow", "", "2000"});
  IPC_Target echo = spawn({"echo", ""});
  ASSERT_FALSE(slow.isNull());
  ASSERT_FALSE(echo.isNull());
  EventDispatcher& dispatcher = EventDispatcher::instance();
  long number = 0;
  int ticksWhileStalled = 0, peakThreads = 0;
  size_t echoesWhileStalled = 0;
  bool allSent = true, stopped = false;
  Ticker ticker(20, [&] {
    if (peers->resumed.empty()) {
      ++ticksWhileStalled;
      allSent = sendNumbered(slow, number, 3) && allSent;
      DataCaptMessage ping(2, new Echo(number, SeqOf<char>()));
      allSent = ping.send(echo) == 0 && allSent;
      peakThreads = std::max(peakThreads, sendThreads());
      echoesWhileStalled = peers->echoes.size();
    } else if (!stopped) {
      stopped = stop(slow, 0) == 0;  // behind the queue
    } else if (!peers->sinks.empty()) {
      dispatcher.stop();
    }
  });
  Ticker guard(30000, [&] { dispatcher.stop(); });
  dispatcher.start(0);

  EXPECT_TRUE(allSent);
  EXPECT_GE(ticksWhileStalled, 10);
  EXPECT_GE(echoesWhileStalled, 10u);
  EXPECT_EQ(1, peakThreads);  // the stalled socket's, no other
  ASSERT_EQ(1u, peers->sinks.size());
  EXPECT_EQ(number, peers->sinkCount);
  EXPECT_TRUE(peers->sinkInOrder);
  EXPECT_TRUE(sendThreadsEnd());
  ThreadStatRec figures = figuresOf(slow);
  EXPECT_EQ(0, figures.numPending);
  EXPECT_EQ(0, figures.bytesPending);
  EXPECT_EQ(0, figures.bytesFailed);
  EXPECT_GT(figures.bytesCompleted, 0);
}

// Each socket has its thread, and only while it has a queue.
TEST_F(ThreadSendTest, ManySocketsEachWithItsThread) {
  std::vector<IPC_Target> slow;
  for (int i = 0; i < 4; ++i) {
    slow.push_back(spawn({"slow", "", "3000"}));
    ASSERT_FALSE(slow.back().isNull());
  }
  for (const IPC_Target& peer : slow) {
    long number = 0;
    EXPECT_TRUE(sendNumbered(peer, number, 200));
  }
  EXPECT_EQ(4, sendThreads());
  for (const IPC_Target& peer : slow) {
    EXPECT_TRUE(socketTo(peer)->hasRunningThread());
    EXPECT_EQ(0, stop(peer, 0));
  }
  awaitSinks(4);
  ASSERT_EQ(4u, peers->sinks.size());
  for (const auto& sink : peers->sinks) {
    EXPECT_EQ(200, sink.first);
    EXPECT_TRUE(sink.second);
  }
  EXPECT_TRUE(sendThreadsEnd());
}

// A synchronous message goes out whole between two messages of the
// queue, even when the first message of a new thread is only partly
// written and the thread hasn't taken it up yet (a race: three peers give
// it three chances).
TEST_F(ThreadSendTest, ASynchronousMessageGoesBetweenQueuedOnes) {
  std::vector<IPC_Target> slow;
  for (int i = 0; i < 3; ++i) {
    slow.push_back(spawn({"slow", "", "1500"}));
    ASSERT_FALSE(slow.back().isNull());
  }
  SeqOf<char> payload;
  payload.setLength(1237);  // so that a full socket takes part of one
  long numbers[3] = {0, 0, 0};
  for (int i = 0; i < 3; ++i) {
    DataSocket* socket = socketTo(slow[i]);
    DataCaptMessage marker(4, new Echo(-1, payload), 0, 1);
    while (numbers[i] < 2000 && !socket->hasRunningThread())
      ASSERT_TRUE(sendNumbered(slow[i], numbers[i], 1, 1237));
    EXPECT_EQ(0, marker.send(slow[i]));  // waits until the peer reads again
    EXPECT_TRUE(sendNumbered(slow[i], numbers[i], 20, 1237));
    EXPECT_EQ(0, stop(slow[i], 0));
  }
  awaitSinks(3);
  ASSERT_EQ(3u, peers->sinks.size());
  std::vector<long> expected, counted;
  for (int i = 0; i < 3; ++i) {
    expected.push_back(numbers[i] + 1);  // and the marker
    counted.push_back(peers->sinks[i].first);
    EXPECT_TRUE(peers->sinks[i].second);
  }
  std::sort(expected.begin(), expected.end());
  std::sort(counted.begin(), counted.end());
  EXPECT_EQ(expected, counted);
}

// A peer that reads nothing: a message that fits starts no thread; the
// first that doesn't does, and the sends go on at once. The queue is freed
// with its thread and its socket when the send time-out passes (the next
// send answers -1), when the peer dies, or when the socket is closed under
// its thread; the figures say what was lost.
TEST_F(ThreadSendTest, APeerThatReadsNothingIsGivenUp) {
  IPC_Target echo = spawn({"echo", ""});
  enum End { kTimeOut, kPeerDies, kClosed };
  const struct {
    const char* what;
    End end;
  } cases[] = {{"the send time-out passes", kTimeOut},
               {"the peer dies", kPeerDies},
               {"the socket is closed", kClosed}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    setSendTimeout({c.end == kTimeOut ? 1 : 180, 0});
    IPC_Target stalled = spawn({"stall", ""});  // the newest child
    ASSERT_FALSE(stalled.isNull());
    long number = 0;
    EXPECT_TRUE(sendNumbered(stalled, number, 1, 100));
    EXPECT_FALSE(socketTo(stalled)->hasRunningThread());
    EXPECT_TRUE(sendNumbered(stalled, number, 20, 1 << 16));
    EXPECT_EQ(1, sendThreads());
    EXPECT_TRUE(roundTrip(echo, number));  // while the queue waits
    StderrCapture err;
    if (c.end == kTimeOut) {
      EXPECT_TRUE(sendThreadsEnd());
      EXPECT_TRUE(socketTo(stalled)->isClosed());
      EXPECT_FALSE(sendNumbered(stalled, number, 1));
    } else if (c.end == kPeerDies) {
      killNewest();
      serveUntil([&] { return socketTo(stalled) == nullptr; });
    } else {
      connection()->removeSocket(socketTo(stalled), true);
    }
    EXPECT_EQ(nullptr, socketTo(stalled));
    EXPECT_TRUE(sendThreadsEnd());
    EXPECT_TRUE(std::regex_search(
        err.text(),
        std::regex("PROBLEM: [1-9][0-9]* messages were never sent.\n")))
        << err.text();
    ThreadStatRec figures = figuresOf(stalled);
    EXPECT_EQ(0, figures.numPending);
    EXPECT_EQ(0, figures.bytesPending);
    EXPECT_GT(figures.bytesFailed, 0);
    EXPECT_TRUE(roundTrip(echo, -number));
  }
  setSendTimeout({180, 0});
}

}  // namespace
