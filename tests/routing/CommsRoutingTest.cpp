// The router's side in this process: the table of clients and its file,
// and the receiver of module 0 fed with real message arguments. Clients
// are sockets listening on 127.0.0.1 that the test reads itself.
#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <sstream>
#include <string>
#include <vector>

#include "CommsMessages.h"
#include "CommsReceiver.h"
#include "CommsRoutingTable.h"
#include "CommsSite.h"
#include "IpcTestSupport.h"
#include "MsgHeader.h"
#include "SocketConnection.h"
#include "TestSupport.h"
#include "getCommsData.h"

namespace {

std::string textOf(const IPC_Target& target) {
  std::ostringstream out;
  out << target;
  return out.str();
}

// Listens like a client process, but only for the test to read what the
// router wrote to it: the writes are done when the send returns.
class RawClient {
 public:
  RawClient() {
    int port = 0;
    _listener = loopbackSocket(&port);
    listen(_listener, 8);
    fcntl(_listener, F_SETFL, O_NONBLOCK);
    _target = IPC_Target::anonymous(INADDR_LOOPBACK, port, 1);
  }
  ~RawClient() {
    for (int fd : _peers) close(fd);
    close(_listener);
  }
  const IPC_Target& target() const { return _target; }

  // "key tag length" of each data message that came since the last call.
  std::vector<std::string> received() {
    for (int fd; (fd = accept(_listener, nullptr, nullptr)) >= 0;) {
      fcntl(fd, F_SETFL, O_NONBLOCK);
      _peers.push_back(fd);
    }
    std::vector<char> bytes;
    char chunk[65536];
    for (int fd : _peers)
      for (ssize_t n; (n = read(fd, chunk, sizeof chunk)) > 0;)
        bytes.insert(bytes.end(), chunk, chunk + n);
    std::vector<std::string> messages;
    for (char* pos = bytes.data(); pos < bytes.data() + bytes.size();) {
      MsgHeader header;
      char* end = pos + ntohl(*reinterpret_cast<uint32_t*>(pos));
      CommsDataArgs data;
      data.quantize(quantize(header, pos, end), end);
      messages.push_back(std::string(data.arg1.chars()) + " " +
                         std::to_string(data.arg2) + " " +
                         std::to_string(data.arg3));
      pos = end;
    }
    return messages;
  }

 private:
  int _listener;
  std::vector<int> _peers;
  IPC_Target _target;
};

template <class Pkg>
std::vector<char> wire(const Pkg& pkg, const std::string& behind = "") {
  std::vector<char> bytes(pkg.length());
  pkg.serialize(bytes.data());
  bytes.insert(bytes.end(), behind.begin(), behind.end());
  return bytes;
}

SeqOf<unsigned char> bytesOf(const std::string& text) {
  return SeqOf<unsigned char>(
      static_cast<int>(text.size()),
      reinterpret_cast<const unsigned char*>(text.data()));
}

std::vector<std::string> gotByCallback;
void callback(TextString* key, long tag, long length, unsigned char* data) {
  gotByCallback.push_back(std::string(key->chars()) + " " +
                          std::to_string(tag) + " " +
                          std::string(reinterpret_cast<char*>(data), length));
}

class CommsRoutingTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    commsSite();
    SocketConnection::start();
    CommsRoutingTable::instance().reconnectClients("TEST_ROUTER");
  }
  void TearDown() override {
    while (table.length() > 0) table.removeClient(*table.entryAt(0));
  }
  std::string clientsFile() const { return table.fileName().chars(); }
  std::string receive(short type, const IPC_Target& sender,
                      std::vector<char> args) {
    StderrCapture err;
    CommsReceiver::instance().receive(type, sender, args.size(), args.data());
    return err.text();
  }

  CommsRoutingTable& table = CommsRoutingTable::instance();
};

// A client's latest pattern wins, at the end of the table; a client that
// can't be reached is dropped, and those before and after it are served.
TEST_F(CommsRoutingTest, TheFileFollowsTheTableAndLosesWhomItCantReach) {
  RawClient a, b, c;
  IPC_Target gone = IPC_Target::anonymous(INADDR_LOOPBACK, freePort(), 1);
  table.registerClient(a.target(), "^JUS");
  {
    StderrCapture err;
    table.registerClient(b.target(), "(");
    EXPECT_NE(err.text().find("zephRegcomp failure in ("), std::string::npos);
  }
  table.registerClient(c.target(), "^IUA");
  table.registerClient(gone, ".");
  table.registerClient(a.target(), "^IU");
  std::string before = textOf(b.target()) + " (\n" + textOf(c.target()) +
                       " ^IUA\n", after = textOf(a.target()) + " ^IU\n";
  EXPECT_EQ(readFile(clientsFile()), before + textOf(gone) + " .\n" + after);
  StderrCapture err;
  const unsigned char bytes[] = "abcd";
  table.sendData("IUAX01", 3, 4, bytes);
  table.sendData("JUSA41", 4, 4, bytes);
  EXPECT_EQ(a.received(), std::vector<std::string>{"IUAX01 3 4"});
  EXPECT_EQ(c.received(), std::vector<std::string>{"IUAX01 3 4"});
  EXPECT_TRUE(b.received().empty());
  EXPECT_NE(err.text().find("Error sending data message to " + textOf(gone)),
            std::string::npos);
  EXPECT_EQ(readFile(clientsFile()), before + after);
  for (RawClient* client : {&a, &b, &c}) table.removeClient(client->target());
  EXPECT_NE(access(clientsFile().c_str(), F_OK), 0);
}

// In order, each message after the requests before it: a client's request
// sets its pattern, a source's product goes where its key is found, and
// what doesn't fit is refused with its line.
TEST_F(CommsRoutingTest, EachMessageIsLoggedAndRoutedOrRefused) {
  {
    StderrCapture err;
    EXPECT_EQ(getCommsData("x", "NO_SUCH_ROUTER", callback), -1);
    EXPECT_NE(err.text().find("Can't send Data Request message to "
                              "NO_SUCH_ROUTER: Not a recognized IPC Target."),
              std::string::npos);
  }
  RawClient client;
  using Cr = ArgPkg1<TextString>;
  using Ds = ArgPkg3<TextString, long, long>;
  struct Case {
    short type;
    std::vector<char> args;
    const char* log;
    std::vector<std::string> routed = {};
  } cases[] = {
      {6, wire(Cr("^IU")), "NCF_ENTRY CRMsg Pattern: ^IU"},
      {5, wire(Ds("JUSA41", 7, 3), "abc"), "NCF_ENTRY DSMsg: JUSA41 7 3"},
      {5, wire(Ds("IUAX01", 7, 3), "abc"), "NCF_ENTRY DSMsg: IUAX01 7 3",
      {"IUAX01 7 3"}},
      {6, wire(Cr(".")), "NCF_ENTRY CRMsg Pattern: ."},
      {4, wire(LdmArgs(7, 25, bytesOf(product("JUSA41 KWBC 221200", 0)))),
       "NCF_ENTRY LDMMsg: JUSA41 7 25", {"JUSA41 7 25"}},
      {4, wire(LdmArgs(7, 11, bytesOf("SAUS70 KWBC"))),
       "[83, 65, 85, 83, 55, 48, 32, 75, 87, 66, 67, 10 ]"},
      {4, wire(LdmArgs(7, 4, bytesOf("Q 12"))),
       "NCF_FAIL Couldn't find key in LDM msg:"},
      {4, wire(LdmArgs(7, 99, bytesOf("JUSA41 K"))),
       "NCF_FAIL LDM msg length 99 doesn't fit its 8 bytes"},
      {8, wire(Ds("IUAA01", 8, 3), "abc"), "NCF_ENTRY DSMsg: IUAA01 8 3",
      {"IUAA01 8 3"}},
      {5, wire(Ds("IUAX01", 7, 10), "abc"),
       "NCF_FAIL DS msg length 10 doesn't fit its 3 bytes"},
      {5, wire(Ds("IUAX01", 7, kLargestProduct + 1),
               std::string(kLargestProduct + 1, 'x')),
       "is too large to route"},
      {11, {}, "NCF_FAIL Unrecognized message type: 11"},
      {9, wire(ArgPkg1<AbsTime>(AbsTime::now())), "CommsRouter has restarted."},
      // Data for this process go to its callbacks, not to clients.
      {7, wire(CommsDataArgs("JUSA41", 5, 5, bytesOf("hello"))),
       "NCF_ENTRY CDMsg: JUSA41 5 5"},
      {7, wire(CommsDataArgs("JUSA41", 6, 9, bytesOf("hello"))),
       "NCF_FAIL CD msg length 9 doesn't fit its 5 bytes"},
      // A pattern the file can't hold as one word takes the client out.
      {6, wire(Cr("a b")),
       "NCF_FAIL Pattern \"a b\" is empty or holds white space"},
      {5, wire(Ds("IUAX01", 7, 3), "abc"), "NCF_ENTRY DSMsg: IUAX01 7 3"},
  };
  for (Case& c : cases) {
    EXPECT_NE(receive(c.type, client.target(), c.args).find(c.log),
              std::string::npos) << c.log;
    EXPECT_EQ(client.received(), c.routed) << c.log;
  }
  EXPECT_EQ(gotByCallback, std::vector<std::string>{"JUSA41 5 hello"});
  EXPECT_EQ(table.length(), 0);
}

}  // namespace
