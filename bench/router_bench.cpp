// The comms router between processes on 127.0.0.1: one source sends
// products of a few kilobytes as LDM messages, the router finds each key
// and sends each product to those of 8 clients whose patterns find it.
// Against it, in the same run, plain TCP: a relay that reads frames of the
// LDM messages' sizes from the source and writes frames of the routed
// messages' sizes to the same clients, with no message or matching work.
// The two take turns for three rounds. Printed: products/s in, messages/s
// out and their ratio to plain TCP, and the share of the router's time
// that finding keys and matching patterns take (that work timed alone
// over the same products).
//
//   router_bench [PRODUCTS [SIZE]]   default 2000 products of 4096 bytes
#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/tcp.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <string>
#include <vector>

#include "CommsMessages.h"
#include "CommsReceiver.h"
#include "CommsRoutingTable.h"
#include "EventDispatcher.h"
#include "MessageWait.h"
#include "ProductKey.h"
#include "SocketConnection.h"
#include "getCommsData.h"

namespace {

const int kClients = 8;
const int kRounds = 3;
const char* const kEnd = "ISXX99 END";  // the last product, for everyone
const unsigned long kHeader = 44;       // of an anonymous sender

const char* const kPatterns[kClients] = {
    "^JUSA4|^ISXX99",    "^JUS[BCD]|^ISXX99",     "^IUT[XN]0|^ISXX99",
    "^IUS[AB]1|^ISXX99", "^IUA[XA]0[12]|^ISXX99", "^JUT[XYZ]0|^ISXX99",
    "^IUP[TA]|^ISXX99",  "^[IJ]U|^ISXX99"};

const char* const kHeadings[] = {
    "JUSA41 KWBC", "JUSB51 KWBC", "JUSC61 KWBC", "JUSD71 KWBC",
    "IUTX01 KNES", "IUTN02 KNES", "IUSA11 KNES", "IUSB12 KNES",
    "IUAX01 KWBC", "IUAA02 KWBC", "JUTX01 KNES", "JUTY02 KNES",
    "IUPT03 KBOU", "IUPA06 KBOU", "ISXX01 KNES", "SAUS70 KWBC"};
const int kKinds = sizeof kHeadings / sizeof kHeadings[0];

double now() {
  timespec t;
  clock_gettime(CLOCK_MONOTONIC, &t);
  return t.tv_sec + t.tv_nsec / 1e9;
}

// The products of a run: one of each kind and the end, the clients each
// goes to, and the order in which they are sent.
struct Work {
  std::vector<std::string> products;
  std::vector<std::string> keys;
  std::vector<std::vector<int>> destinations;
  std::vector<int> order;
  long messagesOut = 0;
  std::vector<long> perClient = std::vector<long>(kClients, 0);
};

Work makeWork(int count, int size) {
  Work work;
  std::vector<ZephRegexp*> expressions;
  for (const char* p : kPatterns) expressions.push_back(zephRegcomp(p));
  for (int k = 0; k <= kKinds; ++k) {
    std::string bytes = std::string(k < kKinds ? kHeadings[k] : kEnd) +
                        " 221200\r\r\nBUFR";
    while (static_cast<int>(bytes.size()) < size)
      bytes += static_cast<char>(bytes.size() % 64);  // no key in there
    const char* key = findKey(bytes.c_str(), static_cast<int>(bytes.size()));
    std::vector<int> to;
    for (int c = 0; c < kClients && key && std::strlen(key) > 1; ++c)
      if (comparePattern(expressions[c], key)) to.push_back(c);
    work.products.push_back(bytes);
    work.keys.push_back(key ? key : "");
    work.destinations.push_back(to);
  }
  for (int i = 0; i <= count; ++i) {
    int kind = i < count ? i % kKinds : kKinds;
    work.order.push_back(kind);
    work.messagesOut += static_cast<long>(work.destinations[kind].size());
    for (int c : work.destinations[kind]) ++work.perClient[c];
  }
  for (ZephRegexp* e : expressions) std::free(e);
  return work;
}

bool readAll(int fd, void* into, size_t n) {
  for (char* p = static_cast<char*>(into); n > 0;) {
    ssize_t got = read(fd, p, n);
    if (got <= 0) return false;
    p += got;
    n -= static_cast<size_t>(got);
  }
  return true;
}

bool writeAll(int fd, const void* from, size_t n) {
  for (const char* p = static_cast<const char*>(from); n > 0;) {
    ssize_t put = write(fd, p, n);
    if (put <= 0) return false;
    p += put;
    n -= static_cast<size_t>(put);
  }
  return true;
}

// A child process that runs `body` with the writing end of a pipe to this
// process, whose reading end comes back in `fromChild`. Its standard error
// goes nowhere: the router logs every product.
template <class Body>
pid_t spawn(Body body, int* fromChild) {
  int ends[2];
  if (pipe(ends) != 0) std::exit(1);
  pid_t pid = fork();
  if (pid == 0) {
    close(ends[0]);
    int null = open("/dev/null", O_WRONLY);
    dup2(null, 2);
    body(ends[1]);
    _exit(0);
  }
  close(ends[1]);
  *fromChild = ends[0];
  return pid;
}

template <class T>
T readValue(int fd) {
  T value{};
  readAll(fd, &value, sizeof value);
  return value;
}

template <class T>
void writeValue(int fd, T value) {
  writeAll(fd, &value, sizeof value);
}

// ---- through the router

bool endSeen = false;
void countProduct(TextString* key, long, long, unsigned char*) {
  if (std::strncmp(key->chars(), kEnd, 6) == 0) endSeen = true;
}

int lineCount(const std::string& path) {
  FILE* file = std::fopen(path.c_str(), "r");
  int lines = 0;
  for (int c; file && (c = std::fgetc(file)) != EOF;) lines += c == '\n';
  if (file) std::fclose(file);
  return lines;
}

double throughRouter(const Work& work, const std::string& clientsFile) {
  unlink(clientsFile.c_str());
  int fromRouter;
  pid_t router = spawn(
      [](int out) {
        SocketConnection::start();
        CommsReceiver::instance();
        CommsRoutingTable::instance().reconnectClients("BENCH");
        std::ostringstream me;
        me << Connection::myTarget();
        char text[128] = {0};
        std::strncpy(text, me.str().c_str(), sizeof text - 1);
        writeAll(out, text, sizeof text);
        EventDispatcher::instance().start(0);
      },
      &fromRouter);
  char target[128];
  readAll(fromRouter, target, sizeof target);
  close(fromRouter);
  std::vector<pid_t> children{router};
  std::vector<int> clients;
  for (int c = 0; c < kClients; ++c) {
    int fromClient;
    children.push_back(spawn(
        [&](int out) {
          SocketConnection::start();
          getCommsData(kPatterns[c], target, countProduct);
          while (!endSeen) waitForMessage(100);
          writeValue(out, now());
        },
        &fromClient));
    clients.push_back(fromClient);
  }
  for (int i = 0; i < 400 && lineCount(clientsFile) < kClients; ++i)
    usleep(25000);
  int fromSource;
  children.push_back(spawn(
      [&](int out) {
        SocketConnection::start();
        IPC_Target to{TextString(target)};
        writeValue(out, now());
        for (size_t i = 0; i < work.order.size(); ++i) {
          const std::string& bytes = work.products[work.order[i]];
          CommsMessage* message = newLdmMsg(
              static_cast<long>(i),
              SeqOf<unsigned char>(
                  static_cast<int>(bytes.size()),
                  reinterpret_cast<const unsigned char*>(bytes.data())),
              1);
          message->send(to);
          delete message;
        }
      },
      &fromSource));
  double start = readValue<double>(fromSource);
  double end = start;
  for (int fd : clients) end = std::max(end, readValue<double>(fd));
  kill(router, SIGKILL);
  for (pid_t pid : children) waitpid(pid, nullptr, 0);
  for (int fd : clients) close(fd);
  close(fromSource);
  return end - start;
}

// ---- plain TCP

int listenOnLoopback(int* port) {
  int fd = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in a{};
  a.sin_family = AF_INET;
  a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof a;
  bind(fd, reinterpret_cast<sockaddr*>(&a), size);
  getsockname(fd, reinterpret_cast<sockaddr*>(&a), &size);
  listen(fd, 8);
  *port = ntohs(a.sin_port);
  return fd;
}

int connectTo(int port) {
  int fd = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in a{};
  a.sin_family = AF_INET;
  a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  a.sin_port = htons(static_cast<unsigned short>(port));
  connect(fd, reinterpret_cast<sockaddr*>(&a), sizeof a);
  int on = 1;
  setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  return fd;
}

// The wire sizes of the router's messages for a product of each kind.
unsigned long ldmSize(const std::string& bytes) {
  return kHeader + 12 + 4 * bytes.size();
}
unsigned long dataSize(const std::string& bytes, const std::string& key) {
  return kHeader + 8 + ((key.size() + 3) & ~3ul) + 12 + 4 * bytes.size();
}

// Frames of `size` bytes whose first word is the size.
void writeFrame(int fd, std::vector<char>& frame, unsigned long size) {
  uint32_t word = htonl(static_cast<uint32_t>(size));
  std::memcpy(frame.data(), &word, 4);
  writeAll(fd, frame.data(), size);
}

bool readFrame(int fd, std::vector<char>& frame) {
  uint32_t word;
  if (!readAll(fd, &word, 4)) return false;
  unsigned long size = ntohl(word);
  if (frame.size() < size) frame.resize(size);
  return readAll(fd, frame.data() + 4, size - 4);
}

double throughPlainTcp(const Work& work) {
  unsigned long largest = 0;
  for (size_t k = 0; k < work.products.size(); ++k)
    largest = std::max(largest, dataSize(work.products[k], work.keys[k]));
  std::vector<pid_t> children;
  std::vector<int> clients, ports;
  for (int c = 0; c < kClients; ++c) {
    int fromClient;
    children.push_back(spawn(
        [&](int out) {
          int port, listener = listenOnLoopback(&port);
          writeValue(out, port);
          int fd = accept(listener, nullptr, nullptr);
          std::vector<char> frame(largest);
          for (long n = 0; n < work.perClient[c]; ++n) readFrame(fd, frame);
          writeValue(out, now());
        },
        &fromClient));
    clients.push_back(fromClient);
    ports.push_back(readValue<int>(fromClient));
  }
  int fromRelay;
  children.push_back(spawn(
      [&](int out) {
        int port, listener = listenOnLoopback(&port);
        std::vector<int> to;
        for (int p : ports) to.push_back(connectTo(p));
        writeValue(out, port);
        int from = accept(listener, nullptr, nullptr);
        std::vector<char> frame(largest);
        for (int kind : work.order) {
          readFrame(from, frame);
          for (int c : work.destinations[kind])
            writeFrame(to[c], frame,
                       dataSize(work.products[kind], work.keys[kind]));
        }
      },
      &fromRelay));
  int relayPort = readValue<int>(fromRelay);
  int fromSource;
  children.push_back(spawn(
      [&](int out) {
        int fd = connectTo(relayPort);
        std::vector<char> frame(largest + 64);
        writeValue(out, now());
        for (int kind : work.order)
          writeFrame(fd, frame, ldmSize(work.products[kind]));
      },
      &fromSource));
  double start = readValue<double>(fromSource);
  double end = start;
  for (int fd : clients) end = std::max(end, readValue<double>(fd));
  for (pid_t pid : children) waitpid(pid, nullptr, 0);
  for (int fd : clients) close(fd);
  close(fromRelay);
  close(fromSource);
  return end - start;
}

// What the router spends on keys and patterns for the products of a run.
double matchingSeconds(const Work& work) {
  std::vector<ZephRegexp*> expressions;
  for (const char* p : kPatterns) expressions.push_back(zephRegcomp(p));
  const int repeats = 5;
  long hits = 0;
  double start = now();
  for (int r = 0; r < repeats; ++r) {
    for (int kind : work.order) {
      const std::string& bytes = work.products[kind];
      const char* key = findKey(bytes.c_str(), static_cast<int>(bytes.size()));
      for (ZephRegexp* e : expressions) hits += comparePattern(e, key);
    }
  }
  double seconds = (now() - start) / repeats;
  for (ZephRegexp* e : expressions) std::free(e);
  return hits > 0 ? seconds : 0;
}

}  // namespace

int main(int argc, char** argv) {
  int count = argc > 1 ? std::atoi(argv[1]) : 2000;
  int size = argc > 2 ? std::atoi(argv[2]) : 4096;
  if (count < 1 || size < 64 || size > kLargestProduct) {
    std::fprintf(stderr, "usage: router_bench [PRODUCTS [SIZE]]\n");
    return 64;
  }
  char dir[] = "/tmp/routerbench.XXXXXX";
  if (!mkdtemp(dir)) return 1;
  std::string data = dir;
  mkdir((data + "/workFiles").c_str(), 0755);
  setenv("ZEPH_HOME", ZEPH_SOURCE_DIR "/site", 1);
  setenv("ZEPH_DATA", dir, 1);
  setenv("LOG_DIR", dir, 1);
  signal(SIGPIPE, SIG_IGN);
  Work work = makeWork(count, size);
  long in = static_cast<long>(work.order.size());
  std::printf("router_bench: %ld products of %d bytes from one source to %d "
              "clients, %ld messages out\n",
              in, size, kClients, work.messagesOut);
  double bestRouter = 1e30, bestPlain = 1e30;
  for (int round = 1; round <= kRounds; ++round) {
    double router = throughRouter(work, data + "/workFiles/BENCH_clients.txt");
    double plain = throughPlainTcp(work);
    bestRouter = std::min(bestRouter, router);
    bestPlain = std::min(bestPlain, plain);
    std::printf("round %d: router %7.0f products/s in, %7.0f messages/s out; "
                "plain TCP %7.0f, %7.0f; ratio %.3f\n",
                round, in / router, work.messagesOut / router, in / plain,
                work.messagesOut / plain, plain / router);
  }
  std::printf("best:    router %7.0f products/s in, %7.0f messages/s out; "
              "plain TCP %7.0f, %7.0f; ratio %.3f\n",
              in / bestRouter, work.messagesOut / bestRouter, in / bestPlain,
              work.messagesOut / bestPlain, bestPlain / bestRouter);
  double matching = matchingSeconds(work);
  std::printf("matching: findKey and %d patterns take %.2f us a product, "
              "%.1f%% of the router's best round\n",
              kClients, matching / in * 1e6, 100 * matching / bestRouter);
  std::string remove = std::string("rm -rf '") + dir + "'";
  return std::system(remove.c_str()) == 0 ? 0 : 1;
}
