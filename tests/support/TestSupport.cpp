#include "TestSupport.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>
#include <stdlib.h>

#include <fstream>
#include <sstream>

TempDir::TempDir() {
  char pattern[] = "/tmp/zephtest.XXXXXX";
  const char* made = mkdtemp(pattern);
  _path = made ? made : "";
}

TempDir::~TempDir() {
  if (!_path.empty()) {
    std::string command = "rm -rf '" + _path + "'";
    if (system(command.c_str()) != 0) {
      // Leftovers in /tmp are harmless; the test's result stands.
    }
  }
}

StderrCapture::StderrCapture() : _active(true) {
  testing::internal::CaptureStderr();
}

StderrCapture::~StderrCapture() { text(); }

std::string StderrCapture::text() {
  if (_active) {
    _text = testing::internal::GetCapturedStderr();
    _active = false;
  }
  return _text;
}

std::string readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream content;
  content << in.rdbuf();
  return content.str();
}

void writeFile(const std::string& path, const std::string& content) {
  std::ofstream out(path, std::ios::binary);
  out << content;
}

int countOf(const std::string& haystack, const std::string& needle) {
  int count = 0;
  for (size_t at = haystack.find(needle); at != std::string::npos;
       at = haystack.find(needle, at + needle.size()))
    ++count;
  return count;
}

namespace {

// Test programs log like any process; their log files go to a directory of
// their own, not into the directory the tests run in. Their log preference
// file, an empty one there, keeps the defaults without the note on
// standard error that a process without one gets (and their children
// inherit it).
struct LogDirectoryForTests {
  LogDirectoryForTests() {
    char pattern[] = "/tmp/zephlog.XXXXXX";
    if (const char* made = mkdtemp(pattern)) {
      dir = made;
      owner = getpid();
      setenv("LOG_DIR", made, 1);
      std::string preferences = dir + "/logPref";
      std::ofstream(preferences.c_str());
      setenv("LOG_PREF", preferences.c_str(), 1);
    }
  }
  ~LogDirectoryForTests() {
    // A forked child (a death test's) runs this too at its exit: the
    // directory is the test program's, and its later tests still log there.
    if (dir.empty() || getpid() != owner) return;
    std::string command = "rm -rf '" + dir + "'";
    if (system(command.c_str()) != 0) {
      // Leftovers in /tmp are harmless.
    }
  }
  std::string dir;
  pid_t owner = 0;
} logDirectoryForTests;

}  // namespace

int loopbackSocket(int* port) {
  int fd = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in a{};
  a.sin_family = AF_INET;
  a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof a;
  bind(fd, reinterpret_cast<sockaddr*>(&a), size);
  getsockname(fd, reinterpret_cast<sockaddr*>(&a), &size);
  *port = ntohs(a.sin_port);
  return fd;
}

int freePort() {
  int port = 0;
  close(loopbackSocket(&port));
  return port;
}
