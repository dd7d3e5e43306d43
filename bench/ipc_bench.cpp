// Messages between two processes on 127.0.0.1 through the socket
// connection, against plain TCP write/read of the same bytes in the same
// run: messages/s, bytes/s and round-trip latency (median, 99th
// percentile) for messages of 64 octets and of 64 KiB. The two paths
// take turns for three rounds; each shows its best round's throughput and
// the round trips of all its rounds.
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
#include <sstream>
#include <string>
#include <vector>

#include "ArgPkg.h"
#include "Dispatcher.h"
#include "LogStream.h"
#include "MessageWait.h"
#include "ParameterizedMsg.h"
#include "Receiver.h"
#include "SocketConnection.h"

namespace {

using Clock = std::chrono::steady_clock;
using Payload = ArgPkg2<long, SeqOf<char>>;
const unsigned long kHeaderAndArgs = 56;  // header 44, long 4, two counts 8

enum Type : short { ECHO = 1, STREAM = 2, END = 3, COUNTED = 4, HELLO = 5,
                    STOP = 9 };

const int kRounds = 3;

double since(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

// ---- through the connection

struct State {
  long streamed = 0;
  bool done = false;
  bool answered = false;
  IPC_Target peer;
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
    } else if (type == STOP) {
      state.done = true;
    } else {  // answers, on the measuring side
      if (type == HELLO) state.peer = sender;
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
// word asks for the message back, 2 ends a stream and asks for one byte.
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

int plainConnection(pid_t* child) {
  int listener = socket(AF_INET, SOCK_STREAM, 0);
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
  if (connect(fd, reinterpret_cast<sockaddr*>(&a), size) != 0) std::exit(1);
  return fd;
}

}  // namespace

int main(int argc, char** argv) {
  long scale = argc > 1 ? std::max(1L, std::atol(argv[1])) : 1;
  unsigned long only = argc > 2 ? std::strtoul(argv[2], nullptr, 10) : 0;
  pid_t plainChild;
  int plain = plainConnection(&plainChild);
  int toPeer[2];
  if (pipe(toPeer) != 0) return 1;
  pid_t peer = fork();
  if (peer == 0) connectionPeer(toPeer[0]);
  SocketConnection::start();
  static BenchReceiver receiver;
  Dispatcher::registerReceiver(1, &receiver);
  std::ostringstream me;
  me << Connection::myTarget();
  if (write(toPeer[1], me.str().c_str(), me.str().size()) < 0) return 1;
  awaitAnswer();  // the hello

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
  DataCaptMessage stop(STOP, new ArgPkg0, 0, 1);
  stop.send(state.peer);
  close(plain);
  waitpid(peer, nullptr, 0);
  waitpid(plainChild, nullptr, 0);
  return 0;
}
