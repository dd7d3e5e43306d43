// Sending a message through a connection, and what the reading side does
// with bytes that don't hold what they claim.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "ArgPkg.h"
#include "Connection.h"
#include "DataTimeWire.h"
#include "Dispatcher.h"
#include "FAC_Receiver.h"
#include "IpcTestSupport.h"
#include "Marshalling.h"
#include "MsgHeader.h"
#include "ParameterizedMsg.h"
#include "TestSupport.h"

namespace {

const IPC_Target kMe = IPC_Target::anonymous(0x7f000001, 5000, 4242);
const IPC_Target kPeer = IPC_Target::anonymous(0x7f000001, 6000, 77);

TEST(SendTest, ChildTargetMsgIs52Bytes) {
  Connection::storeMyTarget(kMe);
  TestConnection connection(0, -1);
  ProcMgmtMsg message(0, new ArgPkg2<unsigned long, int>(3, 31337));
  EXPECT_EQ(0, message.send(kPeer));
  ASSERT_EQ(1u, connection.sent.size());
  EXPECT_EQ(unspaced("00000034 00000002 00000002 7f000001 00001388 00001092 "
                     "00000000 00000000 00000005 00000000 00000000 "
                     "00000003 00007a69"),
            connection.sent[0]);
  EXPECT_EQ(0, connection.lastDeliveryMode);
  EXPECT_EQ(44u, MsgHeader::smallestMessageLength());

  DataCaptMessage ready(0, new ArgPkg0, 0, 1);  // the header alone
  EXPECT_EQ(0, ready.send(kPeer));
  EXPECT_EQ(88u, connection.sent[1].size());
  EXPECT_EQ(1, connection.lastDeliveryMode);
}

TEST(SendTest, ThreeAnswersAndTheirLines) {
  Connection::storeMyTarget(kMe);
  {
    ParameterizedMsg message(2, 10, new ArgPkg1<int>(1));
    StderrCapture err;
    EXPECT_EQ(-2, message.send(kPeer));  // no connection at all: no line
    EXPECT_EQ("", err.text());
  }
  const std::string target = "Target: " + loopbackName() + "/6000/77";
  const struct {
    int connectionStatus;
    IPC_Target target;
    int connectionType, answer;
    std::vector<std::string> lines;  // none when nothing is logged
  } cases[] = {
      {0, kPeer, 0, 0, {}},
      {-1, kPeer, 0, -1, {target, "Module: 2", "Type: 10"}},
      {-2, kPeer, 0, -2,
       {"Send of IPC message failed because of a system error! ", target}},
      {0, IPC_Target(), 0, -2, {"Can not send message.  Target is null"}},
      {0, kPeer, 1, -2,
       {"Can't get connection for this type of data: ", " Priority: 1"}},
  };
  for (const auto& c : cases) {
    TestConnection connection(0, -1, c.connectionStatus);
    ParameterizedMsg sent(2, 10, new ArgPkg1<int>(1), c.connectionType);
    StderrCapture err;
    EXPECT_EQ(c.answer, sent.send(c.target));
    std::string text = err.text();
    for (const std::string& line : c.lines)
      EXPECT_NE(std::string::npos, text.find(line)) << line << " in " << text;
    EXPECT_EQ(c.lines.empty(), text.empty()) << text;
  }
}

// A value read from bytes that don't hold it: the routine's line, and the
// position never past the end.
template <class T>
char* readOne(char* pos, const char* end) {
  T value{};
  return quantize(value, pos, end);
}

struct BadValue {
  const char* hex;
  char* (*read)(char*, const char*);
  const char* line;
  unsigned long consumed;
};

TEST(BadInputTest, ValuesCutShortOrLyingAreRefused) {
  const std::vector<BadValue> cases = {
      {"0000", readOne<int>, "xdr_int() quantize fail", 0},
      {"00000000", readOne<double>, "xdr_double() quantize fail", 4},
      {"", readOne<short>, "xdr_short() quantize fail", 0},
      {"00", readOne<bool>, "xdr_short() quantize fail", 0},
      // texts: lengths that disagree past the limit, more than the bytes
      {"00000001 00000028 61626364", readOne<TextString>,
       "xdr_string() quantize failed with maxlen = 32", 8},
      {"00000010 00000010 61626364", readOne<TextString>,
       "xdr_string() quantize failed with maxlen = 68", 8},
      {"ffffffff ffffffff 61626364", readOne<TextString>,
       "xdr_string() quantize failed with maxlen = 17179869184", 8},
      {"00000003", readOne<TextString>, "xdr_string() quantize failed", 4},
      {"00000008 00000008 0102", readOne<SeqOf<char>>,
       "xdr_bytes() quantize failed with maxlen = 32", 8},
      {"00000010 00000041", readOne<SeqOf<char>>,
       "xdr_bytes() quantize failed with maxlen = 64", 8},
      // counts past the end, and below zero
      {"00000003 00000001 00000002", readOne<SeqOf<unsigned char>>,
       "xdr_u_char() quantize fail", 4},
      {"ffffffff 00000001", readOne<SeqOf<unsigned char>>,
       "xdr_u_char() quantize fail", 4},
      {"00000700 4847d540", readOne<DataTime>, "xdr_long() quantize fail", 8},
      {"00000002 00000002 7f000001 00001388 00001092 00000005 00000005 6162",
       readOne<IPC_Target>, "xdr_string() quantize failed", 28},
  };
  for (const BadValue& c : cases) {
    // On the heap and exactly as long as the bytes: a read past the end is
    // a fault under the sanitizers.
    std::vector<char> bytes = bytesOf(c.hex);
    std::unique_ptr<char[]> buffer(new char[bytes.size()]);
    std::copy(bytes.begin(), bytes.end(), buffer.get());
    StderrCapture err;
    unsigned long failures = marshallingFailures();
    char* behind = c.read(buffer.get(), buffer.get() + bytes.size());
    EXPECT_EQ(c.consumed, static_cast<unsigned long>(behind - buffer.get()))
        << c.hex;
    EXPECT_LT(failures, marshallingFailures()) << c.hex;
    EXPECT_NE(std::string::npos, err.text().find(c.line))
        << c.hex << ": " << err.text();
  }
}

class DispatchBufferTest : public ::testing::Test {
 protected:
  void SetUp() override { Dispatcher::registerReceiver(5, &receiver); }
  // A message to module 5 with a 4-byte argument, as the sender writes it.
  static std::string message(const char* lengthWord, const char* module) {
    return std::string(lengthWord) +
           " 00000002 00000002 7f000001 00001388 00001092 00000000 00000000 " +
           module + " 00000000 00000001 0000002a";
  }
  bool dispatch(const std::string& hex) {
    std::vector<char> bytes = bytesOf(hex);
    char* buffer = new char[bytes.size()];
    std::copy(bytes.begin(), bytes.end(), buffer);
    return Dispatcher::doDispatch(buffer, bytes.size());
  }
  RecordingReceiver receiver;
};

TEST_F(DispatchBufferTest, TheReceiverOfTheModuleGetsTheArguments) {
  EXPECT_TRUE(dispatch(message("00000030", "00000005")));
  ASSERT_EQ(1u, receiver.received.size());
  EXPECT_EQ("1 " + loopbackName() + "/5000/4242 0000002a",
            receiver.received[0]);
  // A length word shorter than the bytes: the rest isn't the message's.
  EXPECT_TRUE(dispatch(message("0000002c", "00000005") + "ffff"));
  EXPECT_EQ("1 " + loopbackName() + "/5000/4242 ", receiver.received[1]);
}

TEST_F(DispatchBufferTest, MessagesThatLieAreDropped) {
  const std::vector<std::pair<std::string, std::string>> cases = {
      {message("00000030", "00000009"), "No receivers registered for module 9"},
      {message("00000014", "00000005"), "does not hold its header"},
      {message("fffffff0", "00000005"), "does not hold its header"},
      {message("00000031", "00000005"), "does not hold its header"},
      {message("7fffffff", "00000005"), "does not hold its header"},
      {"00000030 00000002 00000002 7f000001 00001388 00001092 00000040 "
       "00000040 00000005",
       "does not hold its header"},
      {"0000", "does not hold its header"},
  };
  for (const auto& c : cases) {
    StderrCapture err;
    EXPECT_FALSE(dispatch(c.first)) << c.first;
    EXPECT_NE(std::string::npos, err.text().find(c.second))
        << c.first << ": " << err.text();
  }
  EXPECT_TRUE(receiver.received.empty());
}

class RecordingClient : public FAC_Client {
 public:
  void fileChanged(const TextString& path) override { paths += path.chars(); }
  std::string paths;
};

// Module 17 tells the clients of a path; a client may come and go.
TEST_F(DispatchBufferTest, FileChangesReachTheClientsOfTheirPath) {
  FAC_Receiver& fac = FAC_Receiver::instance();
  RecordingClient acars, other;
  fac.addClient("/data/acars", &acars);
  fac.addClient("/data/other", &other);
  const std::string header =
      " 00000002 00000002 7f000001 00001388 00001092 00000000 00000000 "
      "00000011 00000000 ";
  EXPECT_TRUE(dispatch("00000040" + header +
                       "00000000 0000000b 0000000b 2f646174612f6163617273 00"));
  EXPECT_EQ("/data/acars", acars.paths);
  EXPECT_EQ("", other.paths);
  StderrCapture err;
  EXPECT_TRUE(dispatch("00000034" + header + "00000003 00000000 00000000"));
  fac.removeClient("/data/acars", &other);
  fac.removeClient("/data/acars", &acars);
  fac.removeClient("/data/acars", &acars);
  fac.removeClient("/data/other", &other);
  std::string text = err.text();
  EXPECT_NE(std::string::npos, text.find("Bad msg type 3 in FAC_Receiver"));
  for (const char* line : {"No matching client for path /data/acars",
                           "No registration for path /data/acars"})
    EXPECT_NE(std::string::npos, text.find(line)) << line;
}

}  // namespace
