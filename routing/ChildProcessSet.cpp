#include "ChildProcessSet.h"

#include <sys/resource.h>
#include <sys/wait.h>

#include <cstdlib>

#include "ChildProcessClient.h"
#include "LogStream.h"

ChildProcessSet& ChildProcessSet::instance() {
  static ChildProcessSet* set = [] {
    ChildProcessSet* made = new ChildProcessSet;
    std::atexit(runDownAll);
    return made;
  }();
  return *set;
}

ChildProcessSet::ChildProcessSet() { ProcMgmtReceiver::instance().setHandler(this); }

ChildProcess* ChildProcessSet::add(const TextString& executable, int nArgs,
                                   const SeqOf<TextString>& args,
                                   ChildProcessClient* client,
                                   ForkHooks* forkHooks, int programType) {
  ChildProcess* child =
      new ChildProcess(executable, nArgs, args, client, forkHooks, programType);
  _ids.insert(child->uniqueId);
  ZLOG(LogStream::DEBUG) << "CPS::add ID = " << child->uniqueId << std::endl;
  child->restartCount = 0;
  if (child->start() <= 0) {
    _ids.remove(child->uniqueId);
    delete child;
    return nullptr;
  }
  _byPid.insert(child->pid, child);
  return child;
}

void ChildProcessSet::remove(ChildProcess* child, bool notify) {
  ChildProcess* known = nullptr;
  if (!_byPid.lookup(child->pid, &known) || known != child) {
    ZLOG(LogStream::BUG) << "remove by ChildProcess*: no such process in set"
                         << std::endl;
    return;
  }
  if (notify && child->client) child->client->childDied(child);
  ZLOG(LogStream::EVENT) << "Removing process from set" << std::endl;
  _byPid.remove(child->pid);
  child->runDown();
  _ids.remove(child->uniqueId);
  ZLOG(LogStream::DEBUG) << "CPS::remove ID = " << child->uniqueId
                         << std::endl;
  delete child;
}

ChildProcess* ChildProcessSet::reporting(unsigned long id, int pid,
                                         const char* operation) {
  ChildProcess* child = nullptr;
  if (!_ids.lookup(id)) {
    ZLOG(LogStream::BUG) << "CPS::" << operation
                         << ": don't care about child with ID = " << id
                         << std::endl;
    return nullptr;
  }
  if (!_byPid.lookup(pid, &child)) {
    ZLOG(LogStream::BUG) << "CPS::" << operation
                         << ": not our child or child dead, ignoring child\n"
                         << std::endl;
    return nullptr;
  }
  if (child->uniqueId != id) {
    ZLOG(LogStream::BUG) << "CPS::" << operation
                         << ": pointer mismatch, ignoring child\n"
                         << std::endl;
    return nullptr;
  }
  return child;
}

void ChildProcessSet::setIPC_Target(unsigned long id, const IPC_Target& target) {
  ZLOG(LogStream::DEBUG) << "CPS::setIPC_target ID = " << id << std::endl;
  ChildProcess* child = reporting(id, target.processId(), "setIPC_Target");
  if (child) child->target = target;
}

void ChildProcessSet::started(unsigned long id, int pid) {
  ZLOG(LogStream::DEBUG) << "CPS::started ID = " << id << std::endl;
  ChildProcess* child = reporting(id, pid, "started");
  if (child == nullptr || child->client == nullptr) return;
  if (child->restartCount == 0)
    child->client->childStarted(child);
  else
    child->client->childRestartReported(child);
}

// Reaps every child that has exited, not only one: SIGCHLDs of children
// that end together may arrive as one, and a child missed would stay a
// zombie until another one ends.
void ChildProcessSet::childExited() {
  for (;;) {
    int status = 0;
    pid_t pid = wait3(&status, WNOHANG, nullptr);
    if (pid <= 0) return;
    reaped(pid);
  }
}

void ChildProcessSet::reaped(int pid) {
  ZLOG(LogStream::EVENT) << "Process " << pid << " has exited" << std::endl;
  ChildProcess* child = nullptr;
  if (!_byPid.lookup(pid, &child)) return;
  _byPid.remove(pid);
  child->pid = -1;
  // The client hears of the child while its target is still the one it
  // knew it by: that finds the child's routing entry.
  if (child->restart) {
    ++child->restartCount;
    if (child->start() > 0) {
      _byPid.insert(child->pid, child);
      if (child->client) child->client->childRestarted(child);
      child->target = IPC_Target();
      return;
    }
    // Not started again: it is gone like one that wasn't to restart.
  }
  if (child->client) child->client->childDied(child);
  _ids.remove(child->uniqueId);
  delete child;
}

ChildProcess* ChildProcessSet::childOf(int pid) const {
  ChildProcess* child = nullptr;
  return _byPid.lookup(pid, &child) ? child : nullptr;
}

ChildProcess* ChildProcessSet::childAt(int index) const {
  if (index < 0 || index >= _byPid.length()) return nullptr;
  return _byPid.valueAt(index);
}

void ChildProcessSet::runDownAll() {
  ChildProcessSet& set = instance();
  while (set._byPid.length() > 0) set.remove(set._byPid.valueAt(0), false);
}
