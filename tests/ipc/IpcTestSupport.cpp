#include "IpcTestSupport.h"

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <sstream>

#include "Config.h"
#include "Dispatcher.h"
#include "MessageWait.h"
#include "TestSupport.h"

int sinkPort() {
  static const int port = freePort();
  return port;
}

void configureNamedTargets() {
  static bool done = [] {
    SeqOf<TextString> triples;
    std::string port = std::to_string(sinkPort());
    for (const char* item :
         {"NOTIFICATION_SERVER", "127.0.0.1", "0x4e21", "IPC_TEST_SINK",
          "127.0.0.1", port.c_str(), "ELSEWHERE", "nohost.invalid", "1",
          "HALF", "localhost"})
      triples.append(item);
    Config::instance().set("SocketConnection.namedTargets", triples);
    StderrCapture err;  // the table is filled with its complaints
    IPC_Target("NOTIFICATION_SERVER");
    return true;
  }();
  (void)done;
}

std::string loopbackName() {
  in_addr loopback;
  loopback.s_addr = htonl(INADDR_LOOPBACK);
  return hostNameOf(loopback).chars();
}

std::string hexOf(const char* bytes, unsigned long n) {
  std::string hex;
  char two[3];
  for (unsigned long i = 0; i < n; ++i) {
    std::snprintf(two, sizeof two, "%02x",
                  static_cast<unsigned char>(bytes[i]));
    hex += two;
  }
  return hex;
}

std::string unspaced(const std::string& spaced) {
  std::string out;
  for (char c : spaced)
    if (c != ' ') out += c;
  return out;
}

std::vector<char> bytesOf(const std::string& spacedHex) {
  std::string hex = unspaced(spacedHex);
  std::vector<char> bytes;
  for (size_t i = 0; i + 1 < hex.size(); i += 2)
    bytes.push_back(
        static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16)));
  return bytes;
}

TestConnection::TestConnection(int type, int fd, int status)
    : Connection(type), _fd(fd), _status(status) {}

int TestConnection::send(const IPC_Target&, int deliveryMode, int,
                         char* buffer) {
  uint32_t word;
  std::memcpy(&word, buffer, 4);
  unsigned long size = ntohl(word);
  sent.push_back(hexOf(buffer, size));
  lastDeliveryMode = deliveryMode;
  int status = _status;
  if (_fd >= 0)
    status =
        ::send(_fd, buffer, size, MSG_NOSIGNAL) == static_cast<ssize_t>(size)
            ? 0
            : -1;
  delete[] buffer;
  return status;
}

MessageReader::MessageReader(int fd, int priority)
    : _fd(fd), _priority(priority) {}

void MessageReader::handleEvent() {
  if (onEvent) onEvent();
  if (_message.empty()) {
    char word[4];
    if (read(_fd, word, 4) != 4) {
      _fd = -1;  // the peer closed, or a bad length: nothing more to read
      return;
    }
    uint32_t length;
    std::memcpy(&length, word, 4);
    if (ntohl(length) < 4) {
      _fd = -1;
      return;
    }
    _message.assign(ntohl(length), 0);
    std::memcpy(_message.data(), word, 4);
    _read = 4;
  }
  ssize_t n = read(_fd, _message.data() + _read, _message.size() - _read);
  if (n <= 0) return;
  _read += n;
  if (_read < _message.size()) return;
  char* buffer = new char[_message.size()];
  std::memcpy(buffer, _message.data(), _message.size());
  unsigned long size = _message.size();
  _message.clear();
  Dispatcher::doDispatch(buffer, size);
  messageDispatched();
}

void RecordingReceiver::receive(const short& type, const IPC_Target& sender,
                                long argLength, char* args) {
  std::ostringstream line;
  line << type << ' ' << sender << ' ' << hexOf(args, argLength);
  received.push_back(line.str());
  if (then) then(args, argLength);
}
