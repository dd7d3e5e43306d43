#include "PeerTest.h"

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <ctime>
#include <sstream>

#include "Dispatcher.h"
#include "IpcTestSupport.h"
#include "MessageWait.h"
#include "ParameterizedMsg.h"
#include "SocketConnection.h"

PeerReceiver* PeerTest::peers = nullptr;

void PeerReceiver::receive(const short& type, const IPC_Target& sender,
                           long argLength, char* args) {
  if (type == 0 && argLength == 8) {
    hellos.push_back(sender);
    return;
  }
  if (type == 7) {
    resumed.push_back(sender);
    return;
  }
  answers.push_back(type);
  if (type == 8) {
    ArgPkg3<unsigned long, int, long> counted;
    counted.quantize(args, args + argLength);
    sinkCount = static_cast<long>(counted.arg1);
    sinkInOrder = counted.arg2 == 1;
    sinkLast = counted.arg3;
    sinks.emplace_back(sinkCount, sinkInOrder);
    return;
  }
  Echo pkg;
  pkg.quantize(args, args + argLength);
  echoes.push_back(pkg.arg1);
}

void PeerTest::SetUpTestSuite() {
  configureNamedTargets();
  SocketConnection::start();
  static PeerReceiver receiver;
  Dispatcher::registerReceiver(1, &receiver);
  Dispatcher::registerReceiver(5, &receiver);
  peers = &receiver;
}

void PeerTest::TearDown() {
  for (pid_t pid : children) {
    kill(pid, SIGKILL);
    waitpid(pid, nullptr, 0);
  }
  // What this test's peers said is no concern of the next test.
  peers->echoes.clear();
  peers->answers.clear();
  peers->resumed.clear();
  peers->sinks.clear();
}

IPC_Target PeerTest::spawn(std::vector<std::string> args,
                           const std::string& errFile) {
  std::ostringstream me;
  me << Connection::myTarget();
  args.insert(args.begin(), IPC_PEER);
  args[2] = me.str();
  pid_t pid = fork();
  if (pid == 0) {
    if (!errFile.empty() && !freopen(errFile.c_str(), "w", stderr)) _exit(126);
    std::vector<char*> argv;
    for (std::string& a : args) argv.push_back(&a[0]);
    argv.push_back(nullptr);
    execv(IPC_PEER, argv.data());
    _exit(127);
  }
  children.push_back(pid);
  size_t known = peers->hellos.size();
  return serveUntil([&] { return peers->hellos.size() > known; })
             ? peers->hellos.back()
             : IPC_Target();
}

bool PeerTest::roundTrip(const IPC_Target& peer, long number, int bytes) {
  SeqOf<char> payload;
  payload.setLength(bytes);
  DataCaptMessage message(2, new Echo(number, payload), 0, 1);
  if (message.send(peer) != 0) return false;
  size_t known = peers->echoes.size();
  return serveUntil([&] { return peers->echoes.size() > known; }) &&
         peers->echoes.back() == number;
}

int PeerTest::stop(const IPC_Target& peer, int deliveryMode) {
  DataCaptMessage message(9, new ArgPkg0, 0, deliveryMode);
  return message.send(peer);
}

void PeerTest::killNewest() {
  kill(children.back(), SIGKILL);
  waitpid(children.back(), nullptr, 0);
  children.pop_back();
}

bool PeerTest::serveUntil(const std::function<bool()>& done, int seconds) {
  time_t end = time(nullptr) + seconds;
  while (!done()) {
    if (time(nullptr) > end) return false;
    waitForMessage(1);
  }
  return true;
}
