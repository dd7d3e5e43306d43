#ifndef ZEPH_ROUTING_CHILDPROCESSSET_H_
#define ZEPH_ROUTING_CHILDPROCESSSET_H_

#include "ChildProcess.h"
#include "Dict.h"
#include "ProcMgmtReceiver.h"
#include "Set.h"

class ChildProcessClient;

// The children of this process, one table to a process: it starts them,
// reaps them when SIGCHLD comes through the signal pipe, starts again
// those that should run for ever, and joins each child's report of its
// target to its object. At exit every child left is run down.
class ChildProcessSet : public ChildReportHandler {
 public:
  static ChildProcessSet& instance();

  // Makes, enters and starts a child; null if it couldn't be started.
  ChildProcess* add(const TextString& executable, int nArgs,
                    const SeqOf<TextString>& args, ChildProcessClient* client,
                    ForkHooks* forkHooks, int programType);
  // Runs the child down and deletes it, telling its client first when
  // `notify`.
  void remove(ChildProcess* child, bool notify);

  void setIPC_Target(unsigned long id, const IPC_Target& target) override;
  void started(unsigned long id, int pid) override;

  // Reaps the children that have exited.
  void childExited();

  // The running child of that pid, or null.
  ChildProcess* childOf(int pid) const;
  int count() const { return _byPid.length(); }
  // The running child at a position of the table; null out of range.
  ChildProcess* childAt(int index) const;

 private:
  ChildProcessSet();
  // The child of `id` that reported `pid`; null after the BUG line that
  // names `operation`.
  ChildProcess* reporting(unsigned long id, int pid, const char* operation);
  void reaped(int pid);
  static void runDownAll();

  Set<unsigned long> _ids;
  Dict<int, ChildProcess*> _byPid;
};

#endif  // ZEPH_ROUTING_CHILDPROCESSSET_H_
