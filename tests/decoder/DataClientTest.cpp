// A data client's side of the conversation, in this process, with the
// stand-in controller as a real peer on 127.0.0.1: its request and ready,
// the products it is handed, the ready behind each, and what the
// receivers make of messages they can't read.
#include <gtest/gtest.h>

#include <chrono>
#include <sstream>
#include <string>
#include <vector>

#include "ChildProgram.h"
#include "DataCaptReceiver.h"
#include "DataRequest.h"
#include "MessageWait.h"
#include "ProcMgmtReceiver.h"
#include "SocketConnection.h"
#include "TestSupport.h"

namespace {

// Each product handed to the client as "TAG BYTES".
std::vector<std::string> products;

void keep(long tag, long length, unsigned char* data) {
  products.push_back(std::to_string(tag) + " " +
                     std::string(reinterpret_cast<char*>(data), length));
}

class Reports : public ChildReportHandler {
 public:
  void setIPC_Target(unsigned long id, const IPC_Target& target) override {
    std::ostringstream text;
    text << "target " << id << " " << target.kind();
    seen.push_back(text.str());
  }
  void started(unsigned long id, int pid) override {
    seen.push_back("started " + std::to_string(id) + " " + std::to_string(pid));
  }
  std::vector<std::string> seen;
};

class DataClientTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { SocketConnection::start(); }
  void SetUp() override {
    products.clear();
    _controller = std::make_unique<ChildProgram>(
        std::vector<std::string>{STAND_IN_CONTROLLER});
    std::string line = _controller->waitFor("target ", 60);
    ASSERT_FALSE(line.empty());
    _target = IPC_Target(line.substr(7).c_str());
    ASSERT_FALSE(_target.isNull());
  }

  std::unique_ptr<ChildProgram> _controller;
  IPC_Target _target;
};

TEST_F(DataClientTest, RequestProductsAndReadies) {
  requestData(_target, "IUAX0[12]", keep);
  EXPECT_EQ("DataReqMsg pattern=IUAX0[12]",
            _controller->waitFor("DataReqMsg", 60));
  EXPECT_EQ("ReadyMsg", _controller->waitFor("ReadyMsg", 60));

  // An empty product reaches the callback like any other.
  _controller->writeLine("product 5 ");
  _controller->writeLine("product 6 IUAX01 KWBC");
  for (int i = 0; i < 600 && products.size() < 2; ++i) waitForMessage(1);
  ASSERT_EQ((std::vector<std::string>{"5 ", "6 IUAX01 KWBC"}), products);
  for (int i = 0; i < 2; ++i)
    EXPECT_EQ("ReadyMsg", _controller->waitFor("ReadyMsg", 60)) << i;

  // A product whose arguments are cut short is read as far as it goes and
  // is answered as well.
  char cut[3] = {0, 0, 0};
  DataCaptReceiver::instance().receive(DataCaptReceiver::PRODUCT, _target, 3,
                                       cut);
  ASSERT_EQ(3u, products.size());
  EXPECT_EQ("0 ", products[2]);
  EXPECT_EQ("ReadyMsg", _controller->waitFor("ReadyMsg", 60));
}

TEST_F(DataClientTest, MessagesThatCantBeRead) {
  Reports reports;
  ProcMgmtReceiver::instance().setHandler(&reports);
  char args[8] = {0, 0, 0, 42, 0, 0, 0x30, 0x39};
  StderrCapture err;
  DataCaptReceiver::instance().receive(7, _target, 0, args);
  ProcMgmtReceiver::instance().receive(3, _target, 8, args);
  ProcMgmtReceiver::instance().receive(0, _target, 8, args);
  std::string log = err.text();
  EXPECT_NE(std::string::npos,
            log.find("BUG: DataCaptReceiver: unrecognized message type 7"));
  EXPECT_NE(std::string::npos,
            log.find("PROBLEM: receive: unrecognized message type 3"));
  EXPECT_EQ((std::vector<std::string>{"target 42 2", "started 42 12345"}),
            reports.seen);
  ProcMgmtReceiver::instance().setHandler(nullptr);
}

// A ready that can't be sent is tried three times, a second apart, and
// then given up: the next registration reaches a controller that wasn't
// there.
TEST_F(DataClientTest, ReadyToNobodyIsTriedThreeTimes) {
  _controller->writeLine("quit");
  ASSERT_EQ(0, _controller->waitExit(60));
  StderrCapture err;
  auto begin = std::chrono::steady_clock::now();
  EXPECT_EQ(-1, sendReady(_target));
  EXPECT_GE(std::chrono::steady_clock::now() - begin,
            std::chrono::milliseconds(1900));
  EXPECT_EQ(3, countOf(err.text(), "Target not available"));
}

}  // namespace
