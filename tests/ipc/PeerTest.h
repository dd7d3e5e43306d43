#ifndef ZEPH_TESTS_IPC_PEERTEST_H_
#define ZEPH_TESTS_IPC_PEERTEST_H_

#include <gtest/gtest.h>
#include <sys/types.h>

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "ArgPkg.h"
#include "IPC_Target.h"
#include "Receiver.h"

using Echo = ArgPkg2<long, SeqOf<char>>;

// Learns ipc_peer processes from their hello and keeps what module 1
// brings: echoes, a sink's count and order, a slow peer's "reading again".
class PeerReceiver : public Receiver {
 public:
  void receive(const short& type, const IPC_Target& sender, long argLength,
               char* args) override;

  std::vector<IPC_Target> hellos;
  std::vector<long> echoes;
  std::vector<short> answers;
  std::vector<IPC_Target> resumed;  // type 7, from a slow peer
  long sinkCount = -1;  // of the last sink that answered
  bool sinkInOrder = false;
  long sinkLast = -1;  // the last number it was sent
  std::vector<std::pair<long, bool>> sinks;  // count and order of each
};

// Tests against real ipc_peer processes on 127.0.0.1. The children that
// are left are killed after each test.
class PeerTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite();
  void TearDown() override;

  // Starts ipc_peer with `args` (the second is replaced by this process's
  // target) and waits for its hello; its standard error goes to `errFile`
  // when given.
  IPC_Target spawn(std::vector<std::string> args,
                   const std::string& errFile = "");
  // Sends `number` with `bytes` octets and waits for its echo.
  bool roundTrip(const IPC_Target& peer, long number, int bytes = 8);
  // Ends a peer; a sink answers with its count.
  static int stop(const IPC_Target& peer, int deliveryMode = 1);
  // Ends the newest child with SIGKILL and reaps it.
  void killNewest();
  // Serves messages until `done` holds or `seconds` pass. The bound only
  // guards against a hung peer: on a loaded machine a sink may take many
  // seconds to read what it was sent.
  static bool serveUntil(const std::function<bool()>& done,
                         int seconds = 120);

  static PeerReceiver* peers;
  std::vector<pid_t> children;
};

#endif  // ZEPH_TESTS_IPC_PEERTEST_H_
