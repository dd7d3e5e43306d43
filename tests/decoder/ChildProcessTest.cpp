// A parent's table of children, in this process, with real children and
// SIGCHLD coming through the signal pipe: each child's end seen through
// its client, a child of this system reporting itself, restarts, a stop
// of the whole set, and no zombie left.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cerrno>
#include <map>
#include <string>
#include <vector>

#include "ChildProcessClient.h"
#include "ChildProcessSet.h"
#include "MessageWait.h"
#include "SignalCatcher.h"
#include "SocketConnection.h"
#include "TestSupport.h"

namespace {

class Recorder : public ChildProcessClient {
 public:
  void childStarted(ChildProcess* c) override { note(c, "started"); }
  void childDied(ChildProcess* c) override { note(c, "died"); }
  void childRestarted(ChildProcess* c) override {
    note(c, "restarted");
    if (c->restartCount >= 2) c->restart = false;
  }
  void childRestartReported(ChildProcess* c) override { note(c, "reported"); }

  std::map<unsigned long, std::vector<std::string>> events;

 private:
  void note(ChildProcess* c, const char* what) { events[c->uniqueId].push_back(what); }
};

SeqOf<TextString> args(std::vector<const char*> words) {
  SeqOf<TextString> seq;
  for (const char* w : words) seq.append(w);
  return seq;
}

TEST(ChildProcessTest, ChildrenSeenThroughTheirClient) {
  TempDir logs;
  setenv("LOG_DIR", logs.path().c_str(), 1);
  SocketConnection::start();
  SignalCatcher::instance();
  ChildProcessSet& set = ChildProcessSet::instance();
  Recorder recorder;

  ChildProcess* quick = set.add("/bin/true", 0, args({}), &recorder, nullptr, 1);
  ChildProcess* crash = set.add("/bin/sh", 2, args({"-c", "kill -SEGV $$"}),
                                &recorder, nullptr, 1);
  ChildProcess* again = set.add("/bin/sh", 2, args({"-c", "exit 3"}), &recorder,
                                nullptr, 1);
  ChildProcess* sleeper = set.add("/bin/sleep", 1, args({"60"}), &recorder,
                                  nullptr, 1);
  // A child of this system: it reports itself, then finds no product.
  ChildProcess* decoder = set.add(BUFR_DECODER, 1, args({"nothing"}), &recorder,
                                  nullptr, 0);
  ChildProcess* missing = set.add("/no/such/program", 0, args({}), &recorder,
                                  nullptr, 1);
  for (ChildProcess* c : {quick, crash, again, sleeper, decoder, missing})
    ASSERT_NE(nullptr, c);
  again->restart = true;
  const unsigned long ids[] = {quick->uniqueId, crash->uniqueId, again->uniqueId,
                               decoder->uniqueId, missing->uniqueId};
  const unsigned long sleeperId = sleeper->uniqueId;

  using Events = std::vector<std::string>;
  const Events expected[] = {{"died"},
                             {"died"},
                             {"restarted", "restarted", "died"},
                             {"started", "died"},
                             {"died"}};
  auto settled = [&] {
    for (int i = 0; i < 5; ++i)
      if (recorder.events[ids[i]] != expected[i]) return false;
    return true;
  };
  for (int i = 0; i < 600 && !settled(); ++i) waitForMessage(1);
  for (int i = 0; i < 5; ++i) EXPECT_EQ(expected[i], recorder.events[ids[i]]) << i;
  EXPECT_EQ(1, set.count());
  EXPECT_TRUE(recorder.events[sleeperId].empty());

  set.remove(sleeper, true);
  EXPECT_EQ(Events{"died"}, recorder.events[sleeperId]);
  EXPECT_EQ(0, set.count());
  // The stopped child's SIGCHLD reaps it; then no child is left.
  for (int i = 0; i < 50; ++i) waitForMessage(1);
  errno = 0;
  EXPECT_EQ(-1, waitpid(-1, nullptr, WNOHANG));
  EXPECT_EQ(ECHILD, errno);
}

}  // namespace
