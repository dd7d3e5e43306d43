#ifndef ZEPH_ROUTING_CHILDPROCESS_H_
#define ZEPH_ROUTING_CHILDPROCESS_H_

#include "IPC_Target.h"
#include "SeqOf.h"
#include "TextString.h"

class ChildProcessClient;

// Called around the fork of a child: before it, in the child, in the
// parent.
class ForkHooks {
 public:
  virtual ~ForkHooks() = default;
  virtual void beforeFork() {}
  virtual void inChild() {}
  virtual void inParent() {}
};

// One child process: how to start it and how to end it. A child of this
// system (program type 0) gets the parent's target and its id in front of
// its own arguments, and answers with its target; a foreign program gets
// its arguments alone.
class ChildProcess {
 public:
  static const int kMaxArgs = 15;

  ChildProcess(const TextString& executable, int nArgs,
               const SeqOf<TextString>& args, ChildProcessClient* client,
               ForkHooks* forkHooks, int programType);
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  // Forks and executes the program; answers its pid, -1 when the fork
  // failed and 0 when the argument list couldn't be made.
  int start();
  // SIGTERM, else SIGINT, SIGQUIT, SIGABRT; doesn't wait for the end.
  void runDown();

  TextString executable;
  int nArgs;
  bool restart = false;
  ChildProcessClient* client;
  int restartCount = -1;
  ForkHooks* forkHooks;
  int programType;
  int pid = -1;
  SeqOf<TextString> userArgs;
  unsigned long uniqueId;
  IPC_Target target;

 private:
  bool buildArgs();

  // The texts that argv points into, kept until the next start.
  SeqOf<TextString> _argTexts;
  char* _argv[kMaxArgs];
};

#endif  // ZEPH_ROUTING_CHILDPROCESS_H_
