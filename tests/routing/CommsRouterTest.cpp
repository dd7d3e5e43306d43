// The commsRouter program between real processes on 127.0.0.1: products
// from productSource and from this process, comms_client processes and
// this process as clients, restarts of the router and clients that
// vanish.
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "ChildProgram.h"
#include "CommsMessages.h"
#include "CommsReqTimer.h"
#include "CommsSite.h"
#include "EventDispatcher.h"
#include "MessageWait.h"
#include "SocketConnection.h"
#include "getCommsData.h"

namespace {

std::vector<std::string> ownProducts;
void keepOwn(TextString* key, long, long, unsigned char*) {
  ownProducts.push_back(key->chars());
}

class CommsRouterTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    commsSite();
    SocketConnection::start();
  }
  void SetUp() override { unlink(clientsFile().c_str()); }

  std::string log(const std::string& name) const { return _logs.file(name); }

  // Started when it says it serves; its log gathers all its runs.
  std::unique_ptr<ChildProgram> startRouter() {
    std::unique_ptr<ChildProgram> router(
        new ChildProgram({COMMS_ROUTER_EXE}, log("router")));
    waitFor(log("router"), "is serving", ++_routerRuns);
    return router;
  }
  // Started when the router's file holds its pattern.
  std::unique_ptr<ChildProgram> startClient(const std::string& name,
                                            const std::string& pattern) {
    std::unique_ptr<ChildProgram> client(new ChildProgram(
        {COMMS_CLIENT_EXE, "COMMS_ROUTER", pattern}, log(name)));
    waitFor(clientsFile(), " " + pattern + "\n");
    return client;
  }
  static bool waitFor(const std::string& path, const std::string& text,
                      int times = 1) {
    for (int i = 0; i < 100; ++i, usleep(50000))
      if (countOf(readFile(path), text) >= times) return true;
    return false;
  }
  static std::string clientsFile() { return commsSite().clientsFile(); }
  // The lines of the clients file that hold `text`.
  static int clients(const std::string& text) {
    return countOf(readFile(clientsFile()), text);
  }

  // productSource over files of these headings, named in their order.
  int feed(const std::vector<std::string>& headings) {
    TempDir dir;
    for (size_t i = 0; i < headings.size(); ++i)
      writeFile(dir.file(std::to_string(10 + i)), product(headings[i]));
    ChildProgram source({PRODUCT_SOURCE_EXE, "-t", "1", dir.path()},
                        log("source"));
    return source.waitExit(20);
  }

  // The keys a client wrote up to the end product "ZZEND01".
  static std::vector<std::string> keysUpToEnd(ChildProgram& client) {
    std::vector<std::string> written, keys;
    EXPECT_NE(client.waitFor("ZZEND01 ", 10, &written), "");
    for (const std::string& line : written) keys.push_back(line.substr(0, 6));
    return keys;
  }

  TempDir _logs;
  int _routerRuns = 0;
};

TEST_F(CommsRouterTest, ClientsGetTheirProductsOverARestartTillTheyVanish) {
  auto router = startRouter();
  auto models = startClient("a", "^JUS|^ZZEND");
  auto sats = startClient("b", "^IU|^ZZEND");
  auto winds = startClient("c", "^IS|^ZZEND");
  winds->stop(SIGKILL);
  router->stop(SIGKILL);
  EXPECT_TRUE(waitFor(log("router"), "No clients are currently registered "
                                     "with the COMMS_ROUTER."));
  EXPECT_EQ(clients("ZZEND"), 3);
  router = startRouter();
  EXPECT_TRUE(waitFor(log("a"), "CommsRouter has restarted."));
  EXPECT_TRUE(waitFor(log("b"), "CommsRouter has restarted."));
  EXPECT_TRUE(waitFor(log("router"), "Reconnecting to registered clients."));
  EXPECT_EQ(clients("ZZEND"), 2);
  EXPECT_EQ(0, feed({"JUSA41 KWBC", "IUTX01 KNES", "ISXX01 KNES",
                     "SAUS70 KWBC", "ZZEND01 X"}));
  // Tags count from 1 in the order of the files; the bytes arrive whole.
  std::string first = product("JUSA41 KWBC");
  unsigned long sum = 0;
  for (unsigned char c : first) sum += c;
  EXPECT_EQ(models->waitFor("JUSA41 ", 10), "JUSA41 1 " +
            std::to_string(first.size()) + " " + std::to_string(sum));
  EXPECT_TRUE(keysUpToEnd(*models).empty());
  EXPECT_EQ(keysUpToEnd(*sats), std::vector<std::string>{"IUTX01"});
  EXPECT_EQ(countOf(readFile(log("router")),
                    "NCF_FAIL Couldn't find key in LDM msg:"), 1);
  // A client gone while the router runs is dropped at its next product.
  sats->stop(SIGKILL);
  EXPECT_EQ(0, feed({"IUSA11 KNES", "JUSB51 KWBC", "ZZEND01 X"}));
  EXPECT_EQ(keysUpToEnd(*models), std::vector<std::string>{"JUSB51"});
  EXPECT_TRUE(waitFor(log("router"), "Error sending data message to "));
  EXPECT_EQ(clients("ZZEND"), 1);
}

TEST_F(CommsRouterTest, AWatchingSourceSendsFilesAsTheyComeAndRemovesThem) {
  auto router = startRouter();
  auto client = startClient("a", "^JUSA|^ZZEND");
  TempDir dir;
  ChildProgram source({PRODUCT_SOURCE_EXE, "-k", "-w", "1", dir.path()},
                      log("source"));
  // Written under a hidden name and renamed when whole, as a feed would.
  for (const char* name : {"JUSA41_KWBC_2024032212", "ZZEND01.x"}) {
    writeFile(dir.file(".part"), product("SAUS70 KWBC").substr(0, 3));
    rename(dir.file(".part").c_str(), dir.file(name).c_str());
  }
  EXPECT_EQ(keysUpToEnd(*client), std::vector<std::string>{"JUSA41"});
  EXPECT_TRUE(waitFor(log("router"), "NCF_ENTRY DSMsg: ZZEND01 2 3"));
  std::string end = dir.file("ZZEND01.x");
  for (int i = 0; i < 40 && access(end.c_str(), F_OK) == 0; ++i) usleep(50000);
  EXPECT_NE(access(dir.file("JUSA41_KWBC_2024032212").c_str(), F_OK), 0);
  EXPECT_NE(access(end.c_str(), F_OK), 0);
}

TEST_F(CommsRouterTest, ARequestIsRetriedUntilTakenAndTheLatestPatternWins) {
  StderrCapture err;
  EXPECT_EQ(getCommsData("^JUSA|^ZZEND", "COMMS_ROUTER", keepOwn), 0);
  ASSERT_NE(pendingCommsRequest(), nullptr);
  EXPECT_EQ(getCommsData("^IUT|^ZZEND", "COMMS_ROUTER", keepOwn), 0);
  CommsReqTimer* retry = pendingCommsRequest();
  ASSERT_NE(retry, nullptr);
  EXPECT_EQ(EventDispatcher::instance().timers().length(), 1);
  EXPECT_TRUE(EventDispatcher::instance().timers().lookup(retry));
  EXPECT_TRUE(retry->enabled());
  EXPECT_EQ(retry->period(), 15000);
  auto router = startRouter();
  retry->handleEvent();  // what the dispatcher does when the time comes
  EXPECT_FALSE(retry->enabled());
  std::ostringstream me;
  me << Connection::myTarget();
  EXPECT_TRUE(waitFor(clientsFile(), me.str() + " ^IUT|^ZZEND\n"));
  // This process as the source too, with DS messages of both types.
  IPC_Target target("COMMS_ROUTER");
  for (const char* key : {"JUSA41", "IUTX01", "ZZEND01"}) {
    std::unique_ptr<CommsMessage> ds(newDsMsg(
        key, 1, 3, reinterpret_cast<const unsigned char*>("abc"),
        key[0] == 'I' ? kDsMsgAlso : kDsMsg));
    EXPECT_EQ(ds->send(target), 0);
  }
  for (int i = 0; i < 100 && ownProducts.size() < 2; ++i) waitForMessage(1);
  EXPECT_EQ(ownProducts, (std::vector<std::string>{"IUTX01", "ZZEND01"}));
  std::string text = err.text();
  EXPECT_NE(text.find("Send of Data Request message to COMMS_ROUTER failed."),
            std::string::npos);
  EXPECT_NE(text.find("Data Request message sent to COMMS_ROUTER."),
            std::string::npos);
}

}  // namespace
