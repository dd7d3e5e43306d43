#include "ChildProgram.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

namespace {

double now() {
  timespec t;
  clock_gettime(CLOCK_MONOTONIC, &t);
  return t.tv_sec + t.tv_nsec / 1e9;
}

}  // namespace

ChildProgram::ChildProgram(const std::vector<std::string>& argv,
                           const std::string& errFile) {
  int toChild[2], fromChild[2];
  if (pipe(toChild) != 0) return;
  if (pipe(fromChild) != 0) {
    close(toChild[0]);
    close(toChild[1]);
    return;
  }
  _pid = fork();
  if (_pid == 0) {
    dup2(toChild[0], 0);
    dup2(fromChild[1], 1);
    if (!errFile.empty()) {
      int err = open(errFile.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);
      if (err >= 0) dup2(err, 2);
    }
    for (int fd = 3; fd < 1024; ++fd) close(fd);
    std::vector<char*> args;
    for (const std::string& a : argv) args.push_back(const_cast<char*>(a.c_str()));
    args.push_back(nullptr);
    execv(args[0], args.data());
    _exit(127);
  }
  close(toChild[0]);
  close(fromChild[1]);
  _in = toChild[1];
  _out = fromChild[0];
  // A test that stops reading must not stall a child that writes.
  signal(SIGPIPE, SIG_IGN);
}

ChildProgram::~ChildProgram() {
  if (_pid > 0) stop(SIGKILL);
  if (_in >= 0) close(_in);
  if (_out >= 0) close(_out);
}

bool ChildProgram::readLine(std::string* line, double seconds) {
  double deadline = now() + seconds;
  for (;;) {
    size_t end = _buffered.find('\n');
    if (end != std::string::npos) {
      *line = _buffered.substr(0, end);
      _buffered.erase(0, end + 1);
      return true;
    }
    double left = deadline - now();
    if (_out < 0 || left <= 0) return false;
    pollfd p = {_out, POLLIN, 0};
    if (poll(&p, 1, static_cast<int>(left * 1000) + 1) <= 0) continue;
    char chunk[4096];
    ssize_t n = read(_out, chunk, sizeof chunk);
    if (n <= 0) return false;
    _buffered.append(chunk, static_cast<size_t>(n));
  }
}

std::string ChildProgram::waitFor(const std::string& prefix, double seconds,
                                  std::vector<std::string>* skipped) {
  double deadline = now() + seconds;
  std::string line;
  while (readLine(&line, deadline - now())) {
    if (line.compare(0, prefix.size(), prefix) == 0) return line;
    if (skipped) skipped->push_back(line);
  }
  return "";
}

void ChildProgram::writeLine(const std::string& line) {
  std::string text = line + "\n";
  if (_in >= 0 && write(_in, text.data(), text.size()) < 0) closeInput();
}

void ChildProgram::closeInput() {
  if (_in >= 0) close(_in);
  _in = -1;
}

int ChildProgram::stop(int signal) {
  if (_pid <= 0) return -1;
  kill(_pid, signal);
  return waitExit(30);
}

int ChildProgram::waitExit(double seconds) {
  if (_pid <= 0) return -1;
  double deadline = now() + seconds;
  int status = 0;
  while (now() < deadline) {
    pid_t done = waitpid(_pid, &status, WNOHANG);
    if (done == _pid) {
      _pid = -1;
      return status;
    }
    usleep(10000);
  }
  return -1;
}
