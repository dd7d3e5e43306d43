#ifndef ZEPH_TESTS_SUPPORT_TESTSUPPORT_H_
#define ZEPH_TESTS_SUPPORT_TESTSUPPORT_H_

#include <string>

// A fresh directory under the system's temporary area, removed with all it
// holds when the object goes.
class TempDir {
 public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  const std::string& path() const { return _path; }
  std::string file(const std::string& name) const { return _path + "/" + name; }

 private:
  std::string _path;
};

// Collects what the process writes on standard error (the TTY sink of the
// log among it) while the object lives or until `text()` is called.
class StderrCapture {
 public:
  StderrCapture();
  ~StderrCapture();
  std::string text();

 private:
  bool _active;
  std::string _text;
};

std::string readFile(const std::string& path);
void writeFile(const std::string& path, const std::string& content);
// Number of times `needle` occurs in `haystack`.
int countOf(const std::string& haystack, const std::string& needle);
// A TCP socket bound to a port of 127.0.0.1 that the system chose.
int loopbackSocket(int* port);
// A port on 127.0.0.1 that nobody listens on, for the moment.
int freePort();

#endif  // ZEPH_TESTS_SUPPORT_TESTSUPPORT_H_
