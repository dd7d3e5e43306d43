// Messages between two processes on 127.0.0.1 through the socket
// connection, against plain TCP write/read of the same bytes in the same
// run: messages/s, bytes/s and round-trip latency (median, 99th
// percentile) for messages of 64 octets and of 64 KiB. The two paths
// take turns for three rounds; each shows its best round's throughput and
// the round trips of all its rounds.
//
// Then a slow reader (`ipc_bench slow` alone): the main thread, driven by
// a timer, streams 64 KiB messages to a peer that reads, then stops
// reading for a second, so that the socket's queue builds on its send
// thread; the stream ends before the reader goes on. It prints the time each
// tick of the main thread spends sending and the longest gap between ticks
// in both phases, the queue's peak, and the throughput of the drain once
// the reader goes on, against plain TCP's stream of the same messages.
//
//   ipc_bench [SCALE [SIZE]]   SCALE multiplies the counts (default 1);
//                              SIZE (64 or 65536) measures that size alone
#include <arpa/inet.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "ArgPkg.h"
#include "Config.h"
#include "Dispatcher.h"
#include "EventDispatcher.h"
#include "LogStream.h"
#include "MessageWait.h"
#include "ParameterizedMsg.h"
#include "Receiver.h"
#include "SocketConnection.h"
#include "TimerEventClient.h"

namespace {

using Clock = std::chrono::steady_clock;
using Payload = ArgPkg2<long, SeqOf<char>>;
const unsigned long kHeaderAndArgs = 56;  // header 44, long 4, two counts 8

enum Type : short { ECHO = 1, STREAM = 2, END = 3, COUNTED = 4, HELLO = 5,
                    PAUSE = 6, READING = 7, STOP = 9 };

const int kRounds = 3;

// The slow reader: a stream of kPerTick messages of 64 KiB every
// kTickMillis to a peer that stops reading for kPauseMillis.
const int kTickMillis = 20;
const int kPerTick = 4;
const long kPauseMillis = 1000;
const int kSlowReaderBuffer = 65536;  // asked of each socket

double since(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

// ---- through the connection

struct State {
  long streamed = 0;
  bool done = false;
  bool answered = false;
  IPC_Target peer;
  Clock::time_point readingAgain;
} state;

class BenchReceiver : public Receiver {
 public:
  void receive(const short& type, const IPC_Target& sender, long argLength,
               char* args) override {
    if (type == ECHO) {
      Payload p;
      p.quantize(args, args + argLength);
      DataCaptMessage back(ECHO + 100, new Payload(p.arg1, p.arg2), 0, 1);
      back.send(sender);
    } else if (type == STREAM) {
      ++state.streamed;
    } else if (type == END) {
      DataCaptMessage back(COUNTED, new ArgPkg1<long>(state.streamed), 0, 1);
      state.streamed = 0;
      back.send(sender);
    } else if (type == PAUSE) {  // stops reading for a while
      ArgPkg1<long> millis;
      millis.quantize(args, args + argLength);
      timespec pause = {millis.arg1 / 1000, millis.arg1 % 1000 * 1000000};
      nanosleep(&pause, nullptr);
      DataCaptMessage back(READING, new ArgPkg0, 0, 1);
      back.send(sender);
    } else if (type == STOP) {
      state.done = true;
    } else {  // answers, on the measuring side
      if (type == HELLO) state.peer = sender;
      if (type == READING) state.readingAgain = Clock::now();
      state.answered = true;
    }
  }
};

void awaitAnswer() {
  state.answered = false;
  while (!state.answered)
    if (waitForMessage(100) != 0) {
      std::fprintf(stderr, "no answer from the peer\n");
      std::exit(1);
    }
}

void connectionPeer(int pipeIn) {
  SocketConnection::start();
  static BenchReceiver receiver;
  Dispatcher::registerReceiver(1, &receiver);
  char text[128] = {0};
  if (read(pipeIn, text, sizeof text - 1) <= 0) _exit(1);
  DataCaptMessage hello(HELLO, new ArgPkg0, 0, 1);
  if (hello.send(IPC_Target(text)) != 0) _exit(2);
  while (!state.done)
    if (waitForMessage(600) != 0) _exit(3);
  _exit(0);
}

// The figures of one path over all rounds: the best throughput of a
// round, and the round trips of all rounds together.
struct Figures {
  double messagesPerSecond = 0;
  std::vector<double> times;  // seconds

  void add(double perSecond) {
    messagesPerSecond = std::max(messagesPerSecond, perSecond);
  }
  double percentile(int p) {  // microseconds
    std::sort(times.begin(), times.end());
    return times[times.size() * p / 100] * 1e6;
  }
};

void measureConnection(unsigned long size, long count, long trips,
                       Figures& figures) {
  SeqOf<char> bytes;
  bytes.setLength(static_cast<int>(size - kHeaderAndArgs));
  Clock::time_point start = Clock::now();
  for (long i = 0; i < count; ++i) {
    DataCaptMessage m(STREAM, new Payload(i, bytes));
    if (m.send(state.peer) != 0) std::exit(1);
  }
  DataCaptMessage end(END, new ArgPkg0, 0, 1);
  end.send(state.peer);
  awaitAnswer();
  figures.add(count / since(start));
  for (long i = 0; i < trips; ++i) {
    Clock::time_point t = Clock::now();
    DataCaptMessage m(ECHO, new Payload(i, bytes), 0, 1);
    m.send(state.peer);
    awaitAnswer();
    figures.times.push_back(since(t));
  }
}

// ---- plain TCP, the floor

bool readAll(int fd, char* into, unsigned long n) {
  while (n > 0) {
    ssize_t got = read(fd, into, n);
    if (got <= 0) return false;
    into += got;
    n -= got;
  }
  return true;
}

bool writeAll(int fd, const char* from, unsigned long n) {
  while (n > 0) {
    ssize_t put = write(fd, from, n);
    if (put <= 0) return false;
    from += put;
    n -= put;
  }
  return true;
}

// Reads messages by their length word; a first byte of 1 in the second
// word asks for the message back, 2 ends a stream and asks for one byte,
// 3 stops the reading for kPauseMillis.
void plainPeer(int listener) {
  int fd = accept(listener, nullptr, nullptr);
  std::vector<char> buffer(1 << 17);
  for (;;) {
    if (!readAll(fd, buffer.data(), 8)) _exit(0);
    uint32_t word;
    std::memcpy(&word, buffer.data(), 4);
    unsigned long size = ntohl(word);
    if (size < 8 || size > buffer.size()) _exit(1);
    if (!readAll(fd, buffer.data() + 8, size - 8)) _exit(1);
    if (buffer[4] == 1 && !writeAll(fd, buffer.data(), size)) _exit(1);
    if (buffer[4] == 2 && !writeAll(fd, "k", 1)) _exit(1);
    if (buffer[4] == 3) usleep(kPauseMillis * 1000);
  }
}

void measurePlain(int fd, unsigned long size, long count, long trips,
                  Figures& figures) {
  std::vector<char> message(size, 0);
  uint32_t word = htonl(static_cast<uint32_t>(size));
  std::memcpy(message.data(), &word, 4);
  Clock::time_point start = Clock::now();
  for (long i = 0; i < count; ++i)
    if (!writeAll(fd, message.data(), size)) std::exit(1);
  message[4] = 2;
  char ack;
  if (!writeAll(fd, message.data(), size) || !readAll(fd, &ack, 1))
    std::exit(1);
  figures.add(count / since(start));
  message[4] = 1;
  std::vector<char> back(size);
  for (long i = 0; i < trips; ++i) {
    Clock::time_point t = Clock::now();
    if (!writeAll(fd, message.data(), size) ||
        !readAll(fd, back.data(), size))
      std::exit(1);
    figures.times.push_back(since(t));
  }
  message[4] = 0;
}

// Buffers of `bytes` on both ends, as the connection sets them; 0 leaves
// the system's.
void setBuffers(int fd, int bytes) {
  if (bytes == 0) return;
  setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &bytes, sizeof bytes);
  setsockopt(fd, SOL_SOCKET, SO_SNDBUF, &bytes, sizeof bytes);
}

int plainConnection(pid_t* child, int bufferBytes) {
  int listener = socket(AF_INET, SOCK_STREAM, 0);
  setBuffers(listener, bufferBytes);
  sockaddr_in a{};
  a.sin_family = AF_INET;
  a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof a;
  if (bind(listener, reinterpret_cast<sockaddr*>(&a), size) != 0 ||
      listen(listener, 1) != 0 ||
      getsockname(listener, reinterpret_cast<sockaddr*>(&a), &size) != 0)
    std::exit(1);
  *child = fork();
  if (*child == 0) plainPeer(listener);
  close(listener);
  int fd = socket(AF_INET, SOCK_STREAM, 0);
  setBuffers(fd, bufferBytes);
  if (connect(fd, reinterpret_cast<sockaddr*>(&a), size) != 0) std::exit(1);
  return fd;
}

// ---- a slow reader


// One phase of the timer-driven stream: the time each tick spends in its
// sends, the gaps between ticks, and the largest queue of the socket.
struct Phase {
  std::vector<double> sendTimes;  // seconds
  double longestGap = 0;
  long peakQueued = 0;
  long bytes = 0;

  double percentile(int p) {  // microseconds
    std::sort(sendTimes.begin(), sendTimes.end());
    return sendTimes[sendTimes.size() * p / 100] * 1e6;
  }
};

class StreamTicker : public TimerEventClient {
 public:
  StreamTicker(Phase& phase, int ticks) : _phase(phase), _left(ticks) {
    _bytes.setLength(static_cast<int>(65536 - kHeaderAndArgs));
    setPeriod(kTickMillis);
    EventDispatcher::instance().addTimer(this);
    enable(true);
  }
  void handleEvent() override {
    Clock::time_point start = Clock::now();
    if (_ticked) {
      _phase.longestGap = std::max(
          _phase.longestGap,
          std::chrono::duration<double>(start - _last).count());
    }
    _ticked = true;
    _last = start;
    for (int i = 0; i < kPerTick; ++i) {
      DataCaptMessage m(STREAM, new Payload(i, _bytes));
      if (m.send(state.peer) != 0) std::exit(1);
    }
    _phase.bytes += 65536L * kPerTick;
    _phase.sendTimes.push_back(since(start));
    SocketConnection* c = Connection::get(0)->asSocketConnection();
    _phase.peakQueued =
        std::max(_phase.peakQueued,
                 ThreadStatRec::snapshot(*c->threadStats(state.peer))
                     .bytesPending);
    if (--_left == 0) EventDispatcher::instance().stop();
  }

 private:
  Phase& _phase;
  int _left;
  SeqOf<char> _bytes;
  bool _ticked = false;
  Clock::time_point _last;
};

void runTicks(Phase& phase, int ticks) {
  StreamTicker ticker(phase, ticks);
  EventDispatcher::instance().start(0);
}

// The same stream with blocking writes, ticks kept by sleeping, to a
// plain TCP reader that stops reading first. Answers the bytes/s of the
// drain once the reader goes on.
double plainStalled(int fd, Phase& phase, int ticks) {
  std::vector<char> message(65536, 0);
  uint32_t word = htonl(65536);
  std::memcpy(message.data(), &word, 4);
  message[4] = 3;
  if (!writeAll(fd, message.data(), message.size())) std::exit(1);
  message[4] = 0;
  Clock::time_point begin = Clock::now(), last = begin;
  for (int i = 0; i < ticks; ++i) {
    std::this_thread::sleep_until(begin +
                                  std::chrono::milliseconds(i * kTickMillis));
    Clock::time_point start = Clock::now();
    if (i > 0)
      phase.longestGap = std::max(
          phase.longestGap, std::chrono::duration<double>(start - last).count());
    last = start;
    for (int k = 0; k < kPerTick; ++k)
      if (!writeAll(fd, message.data(), message.size())) std::exit(1);
    phase.sendTimes.push_back(since(start));
  }
  message[4] = 2;
  char ack;
  if (!writeAll(fd, message.data(), message.size()) || !readAll(fd, &ack, 1))
    std::exit(1);
  phase.bytes += 65536L * kPerTick * ticks;
  return 65536.0 * kPerTick * ticks /
         since(begin + std::chrono::milliseconds(kPauseMillis));
}

void printPhase(const char* name, Phase& phase) {
  std::printf("  %-30s %6zu %10.0fus %8.0fus %8.1fms %9.1f MB\n", name,
              phase.sendTimes.size(), phase.percentile(50),
              phase.percentile(99), phase.longestGap * 1e3,
              phase.peakQueued / 1e6);
}

// Three rounds, the two paths taking turns as above; each phase shows all
// its ticks, each drain its best round. A drain runs from the end of the
// pause to the answer that all was read.
void measureSlowReader(int plain) {
  // The stream ends before the reader goes on, so that the drain is the
  // queue's alone.
  const int ticks = static_cast<int>(kPauseMillis * 3 / 4 / kTickMillis);
  Phase reading, stalled, blocking;
  double drained = 0, plainDrained = 0;  // bytes/s, the best round's
  for (int round = 0; round < kRounds; ++round) {
    runTicks(reading, ticks);
    DataCaptMessage end(END, new ArgPkg0, 0, 1);
    end.send(state.peer);
    awaitAnswer();  // all read
    long before = stalled.bytes;
    state.readingAgain = Clock::time_point();
    DataCaptMessage pause(PAUSE, new ArgPkg1<long>(kPauseMillis));
    pause.send(state.peer);
    Clock::time_point resumes =
        Clock::now() + std::chrono::milliseconds(kPauseMillis);
    runTicks(stalled, ticks);
    // The reader goes on: it tells so, then drains what it was sent.
    while (state.readingAgain == Clock::time_point()) awaitAnswer();
    DataCaptMessage last(END, new ArgPkg0);  // behind the queue
    last.send(state.peer);
    awaitAnswer();
    drained = std::max(drained, (stalled.bytes - before) / since(resumes));
    plainDrained = std::max(plainDrained, plainStalled(plain, blocking, ticks));
  }
  std::printf("\nslow reader: %d messages of 64 KiB every %d ms; the peer "
              "stops reading for %.1f s; socket buffers of %d KiB asked\n",
              kPerTick, kTickMillis, kPauseMillis / 1e3,
              kSlowReaderBuffer / 1024);
  std::printf("  %-30s %6s %12s %10s %10s %12s\n", "phase", "ticks",
              "send med", "p99", "max gap", "queue peak");
  printPhase("reading", reading);
  printPhase("stalled", stalled);
  printPhase("tcp, blocking writes, stalled", blocking);
  std::printf("  drain once it reads again: %.0f MB/s; plain TCP %.0f MB/s; "
              "ratio %.2f\n",
              drained / 1e6, plainDrained / 1e6, drained / plainDrained);
}

// The two peers, each a process: plain TCP's and the connection's, which
// has said hello.
struct Peers {
  pid_t plainChild, peer;
  int plain;
};

Peers startPeers(int bufferBytes) {
  Peers p;
  p.plain = plainConnection(&p.plainChild, bufferBytes);
  if (bufferBytes != 0)
    Config::instance().set("SocketBufferSize.numBytes", bufferBytes);
  int toPeer[2];
  if (pipe(toPeer) != 0) std::exit(1);
  p.peer = fork();
  if (p.peer == 0) connectionPeer(toPeer[0]);
  SocketConnection::start();
  static BenchReceiver receiver;
  Dispatcher::registerReceiver(1, &receiver);
  std::ostringstream me;
  me << Connection::myTarget();
  if (write(toPeer[1], me.str().c_str(), me.str().size()) < 0) std::exit(1);
  awaitAnswer();  // the hello
  return p;
}

void stopPeers(Peers& p) {
  DataCaptMessage stop(STOP, new ArgPkg0, 0, 1);
  stop.send(state.peer);
  close(p.plain);
  waitpid(p.peer, nullptr, 0);
  waitpid(p.plainChild, nullptr, 0);
}

// The slow reader needs buffers that a second of stream overflows, and
// socket settings are read once a process: it runs in a process of its
// own, this program again.
void runSlowReader(char* self) {
  std::fflush(stdout);
  pid_t child = fork();
  if (child == 0) {
    char slow[] = "slow";
    char* args[] = {self, slow, nullptr};
    execv("/proc/self/exe", args);
    _exit(127);
  }
  waitpid(child, nullptr, 0);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc > 1 && std::strcmp(argv[1], "slow") == 0) {
    Peers peers = startPeers(kSlowReaderBuffer);
    measureSlowReader(peers.plain);
    stopPeers(peers);
    return 0;
  }
  long scale = argc > 1 ? std::max(1L, std::atol(argv[1])) : 1;
  unsigned long only = argc > 2 ? std::strtoul(argv[2], nullptr, 10) : 0;
  Peers peers = startPeers(0);
  int plain = peers.plain;

  std::printf("%-8s %-10s %12s %12s %10s %10s\n", "size", "path", "msgs/s",
              "MB/s", "rtt med", "rtt p99");
  const struct {
    unsigned long size;
    long count, trips;
  } sizes[] = {{64, 100000 * scale, 10000 * scale},
               {65536, 4000 * scale, 1000 * scale}};
  for (const auto& s : sizes) {
    if (only != 0 && s.size != only) continue;
    // The machine may be busy with other work: the paths take turns, and
    // each keeps its best round, so that a spell of load doesn't fall on
    // one of them alone.
    Figures floor, ipc;
    for (int round = 0; round < kRounds; ++round) {
      measurePlain(plain, s.size, s.count, s.trips, floor);
      measureConnection(s.size, s.count, s.trips, ipc);
    }
    for (auto row : {std::make_pair("tcp", &floor),
                     std::make_pair("ipc", &ipc)})
      std::printf("%-8lu %-10s %12.0f %12.1f %8.1fus %8.1fus\n", s.size,
                  row.first, row.second->messagesPerSecond,
                  row.second->messagesPerSecond * s.size / 1e6,
                  row.second->percentile(50), row.second->percentile(99));
    std::printf("%-8lu ratio ipc/tcp: throughput %.2f, median rtt %.2f\n",
                s.size, ipc.messagesPerSecond / floor.messagesPerSecond,
                ipc.percentile(50) / floor.percentile(50));
  }
  stopPeers(peers);
  if (only == 0 || only == 65536) runSlowReader(argv[0]);
  return 0;
}
