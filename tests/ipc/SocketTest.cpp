// The socket connection of this process with real peers on 127.0.0.1:
// ipc_peer processes with connections of their own, and raw TCP children
// that lie, die mid-message or never speak.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "ArgPkg.h"
#include "Config.h"
#include "Dispatcher.h"
#include "IpcTestSupport.h"
#include "LogStream.h"
#include "MessageWait.h"
#include "ParameterizedMsg.h"
#include "PeerTest.h"
#include "SocketConnection.h"
#include "TestSupport.h"

namespace {

class SocketTest : public PeerTest {
 protected:
  // A child that writes `bytes` raw to this process, then waits `linger`
  // seconds before it dies.
  void rawPeer(const std::vector<char>& bytes, int linger) {
    pid_t pid = fork();
    if (pid == 0) {
      int fd = socket(AF_INET, SOCK_STREAM, 0);
      sockaddr_in a = Connection::myTarget().address();
      a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
      if (connect(fd, reinterpret_cast<sockaddr*>(&a), sizeof a) != 0)
        _exit(1);
      if (!bytes.empty() && write(fd, bytes.data(), bytes.size()) < 0)
        _exit(2);
      sleep(linger);
      _exit(0);
    }
    children.push_back(pid);
  }
};

TEST_F(SocketTest, ExchangeAndTheStatisticsReport) {
  IPC_Target peer = spawn({"echo", ""});
  ASSERT_FALSE(peer.isNull());
  EXPECT_TRUE(Connection::isConnectedAnywhere(peer));
  for (int bytes : {0, 100, 5000}) EXPECT_TRUE(roundTrip(peer, bytes, bytes));
  StderrCapture err;
  Connection::reportStatistics();
  std::string text = err.text();
  for (const char* line :
       {"IPC STATISTICS for ", "No TCP/IP socket connections have been "
                               "terminated since the last stat report. ",
        "1 TCP/IP socket connections are currently active. ",
        "Initiated by connecting process.", "NORMAL PRIORITY CONNECTION",
        "Sent messages since last stat: 3",
        "Bytes per message (Avg/Min/Max): 1756/56/5056",
        // the hello of 52 bytes and the echoes of 0, 100 and 5000 octets
        "Received messages since last stat: 4",
        "Bytes per message (Avg/Min/Max): 1330/52/5056",
        "No connections have used any threads thus far. "})
    EXPECT_NE(std::string::npos, text.find(line)) << line << " in " << text;
  EXPECT_EQ(0, stop(peer));
  waitForMessage(5);  // the peer's end of file
  StderrCapture again;
  Connection::reportStatistics();
  text = again.text();
  EXPECT_NE(std::string::npos,
            text.find("1 TCP/IP socket connections have been terminated"));
  EXPECT_NE(std::string::npos,
            text.find("There are no active TCP/IP socket connections"));
}

// Each bad peer is logged and closed; the process goes on serving.
TEST_F(SocketTest, PeersThatLieOrDieAreClosed) {
  IPC_Target echo = spawn({"echo", ""});
  ASSERT_FALSE(echo.isNull());
  const char* const kBadHeader =
      "have the proper header. Closing the connection.";
  const struct {
    const char* what;
    std::string hex;
    const char* line;  // "" when nothing is logged
  } cases[] = {
      {"garbage", unspaced("68656c6c 6f20776f 726c6421"), kBadHeader},
      {"a length word cut short", "0000", kBadHeader},
      {"a length under the smallest message", "0000002b", kBadHeader},
      {"a length past any message", "7fffffff", kBadHeader},
      {"a negative length", "fffffff0", kBadHeader},
      {"death mid-message", unspaced("00000040 00000002 00000002"),
       kBadHeader},
      {"a header that lies about its sender",
       unspaced("0000002c 00000002 00000002 7f000001 00001388 00001092 "
                "00000040 00000040 00000001 00000000 00000000"),
       "does not hold its header"},
      {"silence", "", ""},
  };
  for (const auto& c : cases) {
    StderrCapture err;
    rawPeer(bytesOf(c.hex), c.hex.empty() ? 5 : 0);
    for (int i = 0; i < 5; ++i) waitForMessage(1);
    std::string text = err.text();
    EXPECT_TRUE(*c.line ? text.find(c.line) != std::string::npos : text.empty())
        << c.what << ": " << text;
    EXPECT_TRUE(roundTrip(echo, 7)) << c.what;
  }
}

// A null target is refused before any connection is asked (SendTest).
TEST_F(SocketTest, AnUnreachableTargetAnswersMinusOne) {
  DataCaptMessage message(0, new ArgPkg0);
  StderrCapture err;
  EXPECT_EQ(-1, message.send(IPC_Target::anonymous(0x7f000001, freePort(), 1)));
  EXPECT_NE(std::string::npos, err.text().find("Send of IPC message failed; "
                                               "Target not available."));
}

// The limit of a third of the descriptors closes idle sockets; the peer
// goes on answering.
TEST_F(SocketTest, TheDescriptorLimitClosesIdleSockets) {
  TempDir dir;
  IPC_Target crowd = spawn({"crowd", ""}, dir.file("err"));
  ASSERT_FALSE(crowd.isNull());
  std::vector<int> idle;
  for (int i = 0; i < 15; ++i) {
    int fd = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in a = crowd.address();
    ASSERT_EQ(0, connect(fd, reinterpret_cast<sockaddr*>(&a), sizeof a));
    idle.push_back(fd);
  }
  // Each wait of the peer accepts one of them.
  for (int i = 0; i < 20; ++i) EXPECT_TRUE(roundTrip(crowd, i));
  EXPECT_EQ(0, stop(crowd));
  waitpid(children.back(), nullptr, 0);
  children.pop_back();
  for (int fd : idle) close(fd);
  EXPECT_LE(5, countOf(readFile(dir.file("err")),
                       "Closing a socket to make room for a new connection"));
}

// 100 000 numbered messages to a named peer that is killed and comes back
// on its port midway: after the reconnect every message arrives once and
// in order. A send thread that reconnects only once the new peer listens
// may still bring it the rest of its queue first, in order.
TEST_F(SocketTest, SoakWithARestartedPeer) {
  const std::string port = std::to_string(sinkPort());
  IPC_Target sink("IPC_TEST_SINK");
  ASSERT_FALSE(spawn({"sink", "", "IPC_TEST_SINK", port}).isNull());
  {
    StderrCapture err;  // a process that takes the name now is refused
    EXPECT_FALSE(Connection::setProcessTarget(sink));
    EXPECT_NE(std::string::npos,
              err.text().find("is currently running in another process."));
    EXPECT_EQ(IPC_Target::ANONYMOUS, Connection::myTarget().kind());
  }
  SeqOf<char> payload;
  payload.setLength(16);
  long number = 0;
  for (; number < 50000; ++number) {
    DataCaptMessage message(3, new Echo(number, payload));
    ASSERT_EQ(0, message.send(sink)) << number;
  }
  killNewest();
  ASSERT_FALSE(spawn({"sink", "", "IPC_TEST_SINK", port}).isNull());
  long sentAfter = 0;
  StderrCapture quiet;  // the first sends may find the old socket gone
  for (; number < 100000; ++number) {
    DataCaptMessage message(3, new Echo(number, payload));
    if (message.send(sink) == 0) ++sentAfter;
  }
  quiet.text();
  ASSERT_EQ(0, stop(sink));
  ASSERT_TRUE(serveUntil([] { return !peers->answers.empty(); }));
  ASSERT_EQ(1u, peers->answers.size());
  EXPECT_EQ(8, peers->answers[0]);
  EXPECT_EQ(50000, sentAfter);
  EXPECT_LE(sentAfter, peers->sinkCount);
  EXPECT_EQ(99999, peers->sinkLast);
  EXPECT_TRUE(peers->sinkInOrder);
}

}  // namespace
