#ifndef ZEPH_TESTS_IPC_IPCTESTSUPPORT_H_
#define ZEPH_TESTS_IPC_IPCTESTSUPPORT_H_

#include <functional>
#include <string>
#include <vector>

#include "Connection.h"
#include "DescriptorEventClient.h"
#include "Receiver.h"

// What the text form of a target shows for 127.0.0.1: the host's name.
std::string loopbackName();

// The named targets of the tests, set before the first look-up: a good
// NOTIFICATION_SERVER at 0x4e21, IPC_TEST_SINK at sinkPort(), ELSEWHERE
// with a bad host and HALF without its port (both left out).
void configureNamedTargets();
int sinkPort();

// Bytes as lower-case hex without blanks; blanks in `spaced` are dropped.
std::string hexOf(const char* bytes, unsigned long n);
std::string unspaced(const std::string& spaced);
std::vector<char> bytesOf(const std::string& spacedHex);

// The transport a test puts where the socket connection will be: it keeps
// each message's bytes and, given a descriptor, writes them there.
// Answers `status` when it has no descriptor, else 0, or -1 once the peer
// has gone.
class TestConnection : public Connection {
 public:
  TestConnection(int type, int fd, int status = 0);
  bool setMyTarget(const IPC_Target&) override { return true; }
  bool isConnected(const IPC_Target&) override { return true; }
  int send(const IPC_Target& target, int deliveryMode, int connectionType,
           char* buffer) override;

  std::vector<std::string> sent;  // hex of each message
  int lastDeliveryMode = -1;

 private:
  int _fd;
  int _status;
};

// Reads whole messages from a stream descriptor, framed by their length
// word, and dispatches each: what the data sockets do, reduced to it.
class MessageReader : public DescriptorEventClient {
 public:
  explicit MessageReader(int fd, int priority = 0);
  void handleEvent() override;
  int descriptor() override { return _fd; }
  int conditions() override { return READ; }
  int priority() override { return _priority; }

  std::function<void()> onEvent;  // called first, for order checks

 private:
  int _fd;
  int _priority;
  std::vector<char> _message;
  unsigned long _read = 0;
};

// Records what reaches it as "type sender args-hex"; `then` runs after.
class RecordingReceiver : public Receiver {
 public:
  void receive(const short& type, const IPC_Target& sender, long argLength,
               char* args) override;

  std::vector<std::string> received;
  std::function<void(char* args, long argLength)> then;
};

#endif  // ZEPH_TESTS_IPC_IPCTESTSUPPORT_H_
