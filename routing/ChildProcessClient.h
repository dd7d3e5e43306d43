#ifndef ZEPH_ROUTING_CHILDPROCESSCLIENT_H_
#define ZEPH_ROUTING_CHILDPROCESSCLIENT_H_

class ChildProcess;

// How the owner of a child hears what became of it. Each call comes on the
// main thread, out of dispatch.
class ChildProcessClient {
 public:
  virtual ~ChildProcessClient() = default;
  // The child's first report of itself.
  virtual void childStarted(ChildProcess*) {}
  // It exited and won't be started again; the object goes after the call.
  virtual void childDied(ChildProcess*) {}
  // It exited and was started again.
  virtual void childRestarted(ChildProcess*) {}
  // The first report of a child that was started again.
  virtual void childRestartReported(ChildProcess*) {}
};

#endif  // ZEPH_ROUTING_CHILDPROCESSCLIENT_H_
