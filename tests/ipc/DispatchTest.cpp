// The event loop and the wait of a client, over real descriptors, the
// real tick clock and a real signal.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "ArgPkg.h"
#include "Dispatcher.h"
#include "EventDispatcher.h"
#include "IpcTestSupport.h"
#include "MessageWait.h"
#include "ParameterizedMsg.h"
#include "TestSupport.h"
#include "TimerEventClient.h"

namespace {

using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

// Both ends of a stream: a socket pair, or a connection on 127.0.0.1.
struct Stream {
  explicit Stream(bool loopback = false) {
    if (!loopback) {
      EXPECT_EQ(0, socketpair(AF_UNIX, SOCK_STREAM, 0, ends));
      return;
    }
    int listener = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    sockaddr* a = reinterpret_cast<sockaddr*>(&address);
    socklen_t size = sizeof address;
    EXPECT_EQ(0, bind(listener, a, size));
    EXPECT_EQ(0, listen(listener, 1));
    EXPECT_EQ(0, getsockname(listener, a, &size));
    ends[0] = socket(AF_INET, SOCK_STREAM, 0);
    EXPECT_EQ(0, connect(ends[0], a, size));
    ends[1] = accept(listener, nullptr, nullptr);
    close(listener);
  }
  ~Stream() {
    for (int fd : ends)
      if (fd >= 0) close(fd);
  }
  int ends[2] = {-1, -1};
};

// Sends one message of module 1 down `fd` through the send of a message.
void sendTo(int fd, short type, int value) {
  TestConnection connection(0, fd);
  DataCaptMessage message(type, new ArgPkg1<int>(value));
  ASSERT_EQ(0, message.send(IPC_Target::anonymous(0x7f000001, 6000, 1)));
}

// A descriptor client that reads and counts, and is no message.
class Drain : public DescriptorEventClient {
 public:
  explicit Drain(int fd) : _fd(fd) {}
  void handleEvent() override {
    char byte;
    if (read(_fd, &byte, 1) == 1) ++events;
  }
  int descriptor() override { return _fd; }
  int conditions() override { return READ; }
  int events = 0;

 private:
  int _fd;
};

class WaitTest : public ::testing::Test {
 protected:
  void SetUp() override {
    Connection::storeMyTarget(IPC_Target::anonymous(0x7f000001, 5000, 4242));
    Dispatcher::registerReceiver(1, &receiver);
  }
  // A reader of the second end, served by the wait.
  MessageReader* reading(const Stream& s, int priority = 0) {
    readers.emplace_back(new MessageReader(s.ends[1], priority));
    EventDispatcher::instance().addDescriptor(readers.back().get(), true);
    return readers.back().get();
  }
  RecordingReceiver receiver;
  std::vector<std::unique_ptr<MessageReader>> readers;
};

// A poll returns at once. Events that are no messages don't end a wait,
// and their time counts against it.
TEST_F(WaitTest, LimitHoldsThroughEventsThatAreNoMessages) {
  Clock::time_point start = Clock::now();
  EXPECT_EQ(-1, waitForMessage(-1));
  EXPECT_LT(secondsSince(start), 0.1);
  Stream s;
  Drain drain(s.ends[1]);
  EventDispatcher::instance().addDescriptor(&drain, true);
  std::atomic<bool> stop(false);
  std::thread writer([&] {
    for (; !stop; std::this_thread::sleep_for(std::chrono::milliseconds(40)))
      EXPECT_EQ(1, write(s.ends[0], "x", 1));
  });
  start = Clock::now();
  EXPECT_EQ(-1, waitForMessage(12));
  double waited = secondsSince(start);
  stop = true;
  writer.join();
  EXPECT_GE(waited, 1.15);
  EXPECT_LT(waited, 1.6);
  EXPECT_GE(drain.events, 15);
}

// One pass serves every ready descriptor, high priority first, but not
// one that a handler before it destroyed (under the sanitizers, a use of
// it would fail); the filter holds for the wait only.
TEST_F(WaitTest, SeveralReadyDescriptorsHighPriorityFirst) {
  Stream a, b, c(true), d;
  std::vector<char> order;
  IPC_Target controller = IPC_Target::anonymous(0x7f000001, 6000, 1);
  const IPC_Target* filter = nullptr;
  Drain* victim = new Drain(d.ends[1]);
  EventDispatcher::instance().addDescriptor(victim, true);
  reading(a)->onEvent = [&] {
    order.push_back('a');
    filter = messageFilter();
  };
  reading(b, 1)->onEvent = [&] {
    order.push_back('b');
    delete victim;
  };
  reading(c)->onEvent = [&] { order.push_back('c'); };
  ASSERT_EQ(1, write(d.ends[0], "x", 1));
  sendTo(a.ends[0], 0, 1);
  sendTo(b.ends[0], 1, 2);
  sendTo(c.ends[0], 2, 3);
  EXPECT_EQ(0, waitForMessage(20, &controller));
  ASSERT_EQ(3u, order.size());  // one pass served all three
  EXPECT_EQ('b', order[0]);
  EXPECT_EQ(3u, receiver.received.size());
  EXPECT_EQ(&controller, filter);
  EXPECT_EQ(nullptr, messageFilter());
  EXPECT_EQ(-1, waitForMessage(-1));  // nothing left
}

TEST_F(WaitTest, ReceiverSendsFromInsideADispatch) {
  Stream in, out(true);
  reading(in);
  reading(out);
  RecordingReceiver replies;
  Dispatcher::registerReceiver(2, &replies);
  receiver.then = [&](char*, long) {
    TestConnection connection(0, out.ends[0]);
    DataMgmtMsg reply(10, new ArgPkg1<TextString>("done"));
    EXPECT_EQ(0, reply.send(IPC_Target::anonymous(0x7f000001, 6000, 1)));
  };
  sendTo(in.ends[0], 0, 7);
  EXPECT_EQ(0, waitForMessage(20));
  receiver.then = nullptr;
  EXPECT_EQ(0, waitForMessage(20));
  ASSERT_EQ(1u, replies.received.size());
  EXPECT_EQ("10 " + loopbackName() + "/5000/4242 0000000400000004646f6e65",
            replies.received[0]);
}

void ignoreSignal(int) {}

TEST_F(WaitTest, SignalInterruptsTheWait) {
  struct sigaction action = {}, old = {};
  action.sa_handler = ignoreSignal;  // no SA_RESTART: select sees EINTR
  sigemptyset(&action.sa_mask);
  ASSERT_EQ(0, sigaction(SIGALRM, &action, &old));
  itimerval timer{};
  timer.it_value.tv_usec = 100000;
  ASSERT_EQ(0, setitimer(ITIMER_REAL, &timer, nullptr));
  Clock::time_point start = Clock::now();
  EXPECT_EQ(-1, waitForMessage(0));  // no limit: only the signal ends it
  EXPECT_LT(secondsSince(start), 2.0);
  sigaction(SIGALRM, &old, nullptr);
}

TEST_F(WaitTest, FailingSelectIsHopeless) {
  StderrCapture err;  // first: its file mustn't take the closed number
  int fds[2];
  ASSERT_EQ(0, pipe(fds));
  Drain closed(fds[0]);
  close(fds[0]);
  close(fds[1]);
  EventDispatcher::instance().addDescriptor(&closed, true);
  EXPECT_EQ(IPC_HOPELESS, waitForMessage(10));
  EXPECT_NE(std::string::npos, err.text().find("select() fail: "));
}

// A timer that counts its runs and does what the test asks at each.
class CountingTimer : public TimerEventClient {
 public:
  void handleEvent() override {
    runs.push_back(EventDispatcher::ticks());
    if (then) then(*this);
  }
  std::vector<clock_t> runs;
  std::function<void(CountingTimer&)> then;
};

void arm(CountingTimer& timer, int milliseconds) {
  timer.setPeriod(milliseconds);
  EventDispatcher::instance().addTimer(&timer);
  timer.enable(true);
}

// The loop runs timers and descriptors until stopped; the tick counter
// follows the real passing of time meanwhile, in the unit that
// ticksPerSecond() gives.
TEST(TimerTest, LoopRunsTimersAndDescriptorsUntilStopped) {
  EventDispatcher& dispatcher = EventDispatcher::instance();
  StderrCapture err;
  dispatcher.start(9);
  EXPECT_NE(std::string::npos,
            err.text().find("There's no dispatch engine registered with the "
                            "event dispatcher for type 9"));
  CountingTimer repeating, once, guard;
  repeating.then = [&](CountingTimer& t) {
    if (t.runs.size() == 4) dispatcher.stop();
  };
  once.then = [](CountingTimer& t) { t.enable(false); };
  guard.then = [&](CountingTimer&) { dispatcher.stop(); };
  arm(repeating, 50);
  arm(once, 20);
  arm(guard, 5000);  // ends a loop that would not end
  Stream s;
  Drain drain(s.ends[1]);
  dispatcher.addDescriptor(&drain, false);
  ASSERT_EQ(1, write(s.ends[0], "x", 1));

  // A wait serves IPC descriptors only: the timers don't run in it.
  EXPECT_EQ(-1, waitForMessage(2));
  EXPECT_TRUE(repeating.runs.empty());

  Clock::time_point before0 = Clock::now();
  clock_t ticks0 = EventDispatcher::ticks();
  Clock::time_point after0 = Clock::now();
  dispatcher.start(0);
  Clock::time_point before1 = Clock::now();
  clock_t ticks1 = EventDispatcher::ticks();
  double most = secondsSince(before0);  // taken after the second count
  double least = std::chrono::duration<double>(before1 - after0).count();
  EXPECT_FALSE(dispatcher.running());
  EXPECT_TRUE(dispatcher.started());
  EXPECT_TRUE(guard.runs.empty());
  ASSERT_EQ(4u, repeating.runs.size());
  // Re-armed after each run, one interval on (give or take the tick that
  // select's wait and the tick counter may disagree by).
  for (size_t i = 1; i < repeating.runs.size(); ++i)
    EXPECT_GE(repeating.runs[i] - repeating.runs[i - 1],
              repeating.interval() - 1);
  EXPECT_EQ(1u, once.runs.size());  // disabled by its handler
  EXPECT_EQ(1, drain.events);
  double perSecond = EventDispatcher::ticksPerSecond();
  long counted = (ticks1 - ticks0) & TimerEventClient::kDisabled;
  // Two whole-tick counters and a clock of finer grain: each bound may be
  // off by a tick at either end.
  EXPECT_GE(counted, least * perSecond - 2);
  EXPECT_LE(counted, most * perSecond + 2);
}

}  // namespace
