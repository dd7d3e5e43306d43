// The data routing manager in this process: its table and composite
// pattern, the restart check, the children file with real children, and
// delivery to real clients on 127.0.0.1 that hold their ready until told.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "ChildProcess.h"
#include "ChildProcessSet.h"
#include "ChildProgram.h"
#include "Connection.h"
#include "DataRoutingManager.h"
#include "MessageWait.h"
#include "SignalCatcher.h"
#include "SocketConnection.h"
#include "TestSupport.h"

namespace {

class DataRoutingTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    SocketConnection::start();
    SignalCatcher::instance();
  }
  void SetUp() override {
    setenv("LOG_DIR", _dir.file("logs").c_str(), 1);
    _manager = std::make_unique<DataRoutingManager>(
        "NO_ROUTER", _dir.file("children").c_str());
  }
  void TearDown() override {
    for (int i = 0; i < table_().length(); ++i) delete table_()[i];
    table_().setLength(0);
  }

  static SeqOfPtr<DataRoutingEntry*>& table_() {
    return DataRoutingManager::routingTable();
  }
  // A client that nobody listens for: sends to it fail at once.
  static IPC_Target fake(int pid) {
    return IPC_Target(("127.0.0.1/" + std::to_string(pid) + "/" +
                       std::to_string(pid)).c_str());
  }
  static void arrive(const char* key, long tag, const std::string& text) {
    TextString k(key);
    DataRoutingManager::dataArrived(
        &k, tag, static_cast<long>(text.size()),
        reinterpret_cast<unsigned char*>(const_cast<char*>(text.data())));
  }
  std::unique_ptr<ChildProcess> child(const IPC_Target& target) {
    auto c = std::make_unique<ChildProcess>("x", 0, SeqOf<TextString>(),
                                            _manager.get(), nullptr, 0);
    c->target = target;
    c->restart = true;
    return c;
  }

  TempDir _dir;
  std::unique_ptr<DataRoutingManager> _manager;
};

TEST_F(DataRoutingTest, TableCompositeAndReadies) {
  _manager->registerClient(fake(1), "A");
  _manager->registerClient(fake(2), "AB");
  EXPECT_STREQ("A|AB", _manager->compositePattern().chars());
  TearDown();
  _manager->registerClient(fake(2), "AB");
  _manager->registerClient(fake(1), "A");
  EXPECT_STREQ("AB", _manager->compositePattern().chars());

  // A product for a client that owes a ready waits; a client that asks
  // again from the same target keeps its entry and its queue.
  arrive("A1", 1, "one");
  DataRoutingEntry* a = table_()[1];
  EXPECT_EQ(1u, a->queued());
  _manager->registerClient(fake(1), "A");
  _manager->registerClient(fake(3), "A");
  ASSERT_EQ(3, table_().length());
  EXPECT_EQ(a, table_()[1]);
  EXPECT_EQ(1u, a->queued());
  EXPECT_EQ(0u, table_()[0]->queued());  // "AB" doesn't find "A1"

  // A ready from a stranger changes nothing; a client's ready takes one
  // product and leaves it owing; with an empty queue it makes it ready.
  _manager->ready(fake(99));
  EXPECT_EQ(1u, a->queued());
  EXPECT_FALSE(a->ready);
  _manager->ready(fake(1));
  EXPECT_EQ(0u, a->queued());
  EXPECT_FALSE(a->ready);
  _manager->ready(fake(1));
  EXPECT_TRUE(a->ready);
}

TEST_F(DataRoutingTest, RestartsAndTheRestartCheck) {
  _manager->registerClient(fake(1), "A");
  auto first = child(fake(1));
  // The restarted child's entry waits for its successor.
  _manager->childRestarted(first.get());
  ASSERT_EQ(1, table_().length());
  EXPECT_TRUE(table_()[0]->isVacant());
  // A child that never reported itself has no entry, not the vacant one.
  auto silent = child(IPC_Target());
  _manager->childDied(silent.get());
  ASSERT_EQ(1, table_().length());
  _manager->registerClient(fake(2), "A");
  ASSERT_EQ(1, table_().length());
  EXPECT_TRUE(*table_()[0] == fake(2));
  auto second = child(fake(2));
  _manager->childDied(second.get());
  EXPECT_EQ(0, table_().length());

  // Above the limit, restarts end whatever the time.
  auto often = child(fake(3));
  often->restartCount = DataRoutingManager::kRestartLimit + 1;
  _manager->checkAutoRestart(often.get());
  EXPECT_FALSE(often->restart);

  // Within a span: seven restarts go on and open a new span, eight stop.
  // The span is one for the process, begun at the first check since.
  _manager.reset();
  SetUp();
  _manager->setRestartSpan(0.2);
  auto burst = child(fake(4));
  const struct { int count; bool wait; bool restartAfter; } steps[] = {
      {0, false, true}, {7, true, true},   {7, false, true},
      {14, true, true}, {14, false, true}, {22, true, false}};
  for (const auto& step : steps) {
    if (step.wait) usleep(250000);
    burst->restartCount = step.count;
    _manager->checkAutoRestart(burst.get());
    EXPECT_EQ(step.restartAfter, burst->restart) << step.count;
  }
}

TEST_F(DataRoutingTest, ChildrenFile) {
  EXPECT_EQ(0, _manager->startChildren());  // no file yet
  // Each child writes its arguments, its parent's target and its id first,
  // to a file named for its own argument.
  mkdir(_dir.file("bin").c_str(), 0755);
  writeFile(_dir.file("bin/child"), "#!/bin/sh\necho \"$@\" > " +
                                        _dir.path() + "/args.$3\n"
                                        "exec sleep 30\n");
  chmod(_dir.file("bin/child").c_str(), 0755);
  setenv("ZEPH_HOME", _dir.path().c_str(), 1);
  writeFile(_dir.file("children"), "# program restart argument\n\n"
                                   "child true acars\nchild false\n"
                                   "child true " + std::string(600, 'x') +
                                   "\neof\nchild true after\n");
  EXPECT_EQ(2, _manager->startChildren());
  std::string bare = _dir.file("args."), acars = _dir.file("args.acars");
  auto lines = [&] { return countOf(readFile(bare) + readFile(acars), "\n"); };
  for (int i = 0; i < 200 && lines() < 2; ++i) usleep(50000);
  std::ostringstream me;
  me << Connection::myTarget();
  EXPECT_EQ(0u, readFile(bare).find(me.str() + " ")) << readFile(bare);
  EXPECT_EQ(1, countOf(readFile(bare), " ")) << readFile(bare);
  EXPECT_EQ(0u, readFile(acars).find(me.str() + " ")) << readFile(acars);
  EXPECT_EQ(2, countOf(readFile(acars), " ")) << readFile(acars);
  EXPECT_EQ(2, ChildProcessSet::instance().count());
  _manager->stopChildren();
  EXPECT_EQ(0, ChildProcessSet::instance().count());
}

// Real clients: one product that finds two of them, one ready and one
// not, and a restarted client's successor that takes over its entry and
// gets what waited, one product a ready, oldest first.
TEST_F(DataRoutingTest, DeliveryToRealClients) {
  std::ostringstream me;
  me << Connection::myTarget();
  auto client = [&](const char* pattern) {
    auto c = std::make_unique<ChildProgram>(
        std::vector<std::string>{STAND_IN_CLIENT, me.str(), pattern});
    EXPECT_EQ("registered", c->waitFor("registered", 60));
    return c;
  };
  auto settle = [&](int entries) {
    for (int i = 0; i < 600; ++i, waitForMessage(1)) {
      bool done = table_().length() == entries;
      for (int e = 0; done && e < entries; ++e) done = table_()[e]->ready;
      if (done) return true;
    }
    return false;
  };
  // The dispatcher is served while the client's line is awaited.
  auto nextProduct = [&](ChildProgram& c) {
    std::string line;
    for (int i = 0; i < 600 && !c.readLine(&line, 0.01); ++i) waitForMessage(1);
    return line;
  };
  auto ab = client("AB");
  ASSERT_TRUE(settle(1));
  auto a = client("A");
  ASSERT_TRUE(settle(2));

  arrive("A0", 10, "zero");
  arrive("AB1", 11, "one");
  EXPECT_EQ("product 10 zero", a->waitFor("product", 60));
  EXPECT_EQ("product 11 one", ab->waitFor("product", 60));
  EXPECT_EQ(1u, table_()[1]->queued());

  auto gone = child(*table_()[1]);
  _manager->childRestarted(gone.get());
  arrive("A2", 12, "two");
  auto successor = client("A");
  EXPECT_EQ("product 11 one", nextProduct(*successor));
  successor->writeLine("ready");
  EXPECT_EQ("product 12 two", nextProduct(*successor));
  successor->writeLine("ready");
  // The old client's late ready finds no entry of its own: the entry is
  // the successor's, and it is ready with nothing queued.
  a->writeLine("ready");
  for (int i = 0; i < 600 && !table_()[1]->ready; ++i) waitForMessage(1);
  EXPECT_TRUE(table_()[1]->ready);
  EXPECT_FALSE(*table_()[1] == gone->target);
  EXPECT_EQ(0u, table_()[1]->queued());
}

}  // namespace
