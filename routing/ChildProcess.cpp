#include "ChildProcess.h"

#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <sstream>

#include "Connection.h"
#include "LogStream.h"

namespace {

// The parent's own target as a child reads it, made once.
const TextString& parentTargetText() {
  static TextString text = [] {
    std::ostringstream out;
    out << Connection::myTarget();
    return TextString(out.str().c_str());
  }();
  return text;
}

// The id a child keeps for its life. It travels as four octets, which an
// address doesn't fit into on this machine: a running number does.
unsigned long nextId() {
  static unsigned long last = 0;
  return ++last;
}

}  // namespace

ChildProcess::ChildProcess(const TextString& executable_, int nArgs_,
                           const SeqOf<TextString>& args,
                           ChildProcessClient* client_, ForkHooks* forkHooks_,
                           int programType_)
    : executable(executable_),
      nArgs(nArgs_),
      client(client_),
      forkHooks(forkHooks_),
      programType(programType_),
      userArgs(args),
      uniqueId(nextId()) {
  for (char*& arg : _argv) arg = nullptr;
}

bool ChildProcess::buildArgs() {
  _argTexts = SeqOf<TextString>();
  if (programType == 0) {
    ZLOG(LogStream::VERBOSE)
        << "Building arg list for process developed in zeph environment"
        << std::endl;
    char id[32];
    std::snprintf(id, sizeof id, "%lu", uniqueId);
    _argTexts.append(executable);
    _argTexts.append(parentTargetText());
    _argTexts.append(id);
    ZLOG(LogStream::VERBOSE) << "executable = " << executable << std::endl;
    ZLOG(LogStream::VERBOSE) << "parentTarget = " << parentTargetText()
                             << std::endl;
    ZLOG(LogStream::VERBOSE) << "uniqueId = " << id << std::endl;
  } else if (programType == 1) {
    ZLOG(LogStream::VERBOSE)
        << "Building arg list for program developed in foreign environment"
        << std::endl;
    _argTexts.append(executable);
  } else {
    ZLOG(LogStream::PROBLEM) << "Unknown program type: " << programType
                             << std::endl;
    return false;
  }
  // Ten arguments at most, or none: a list that doesn't fit is not cut.
  int count = nArgs >= 1 && nArgs <= 10 && nArgs <= userArgs.length() ? nArgs : 0;
  ZLOG(LogStream::VERBOSE) << "nArgs = " << count << std::endl;
  for (int i = 0; i < count; ++i) {
    ZLOG(LogStream::VERBOSE) << "user arg " << i << " = " << userArgs.at(i)
                             << std::endl;
    _argTexts.append(userArgs.at(i));
  }
  for (int i = 0; i < kMaxArgs; ++i)
    _argv[i] = i < _argTexts.length()
                   ? const_cast<char*>(_argTexts.at(i).chars())
                   : nullptr;
  return true;
}

int ChildProcess::start() {
  if (!buildArgs()) return 0;
  if (forkHooks) forkHooks->beforeFork();
  pid_t child = fork();
  if (child < 0) {
    ZLOG(LogStream::PROBLEM) << "Fork error " << std::strerror(errno)
                             << std::endl
                             << "Child process not created" << std::endl;
    return -1;
  }
  if (child == 0) {
    if (forkHooks) forkHooks->inChild();
    ZLOG(LogStream::VERBOSE) << "Forked process: executable = " << executable
                             << std::endl;
    execvp(executable.chars(), _argv);
    ZLOG(LogStream::PROBLEM) << "execvp error for " << executable << ": "
                             << std::strerror(errno) << std::endl;
    _exit(127);
  }
  if (forkHooks) forkHooks->inParent();
  ZLOG(LogStream::EVENT) << executable << " started" << std::endl;
  pid = child;
  return pid;
}

void ChildProcess::runDown() {
  if (pid == -1) return;
  for (int signal : {SIGTERM, SIGINT, SIGQUIT, SIGABRT})
    if (kill(pid, signal) == 0) {
      pid = -1;
      return;
    }
  ZLOG(LogStream::PROBLEM) << "ChildProcess::runDown(): pid " << pid
                           << " won't die (tried TERM, INT, QUIT, or ABRT)"
                           << std::endl;
}
