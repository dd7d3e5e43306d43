#ifndef ZEPH_TOOLS_BUFRDUMP_LOGCAPTURE_H_
#define ZEPH_TOOLS_BUFRDUMP_LOGCAPTURE_H_

#include <cstdio>
#include <string>
#include <vector>

// Holds back what the process writes on standard error (the log's TTY sink)
// between begin() and end(), so that a tool can print the lines behind the
// name of the file they belong to, after its own output of the file before.
// Without a temporary file the lines go out as they come.
class LogCapture {
 public:
  LogCapture() = default;
  ~LogCapture();
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  // Flushes both streams and sends standard error to a temporary file.
  void begin();
  // Puts standard error back and gives the lines written meanwhile, each
  // without its newline.
  std::vector<std::string> end();

 private:
  FILE* _file = nullptr;
  int _saved = -1;
};

#endif  // ZEPH_TOOLS_BUFRDUMP_LOGCAPTURE_H_
