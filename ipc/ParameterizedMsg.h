#ifndef ZEPH_IPC_PARAMETERIZEDMSG_H_
#define ZEPH_IPC_PARAMETERIZEDMSG_H_

#include "ArgPkg.h"
#include "IPC_Target.h"

// A message between two processes: the receiving module, the message type
// within it, the connection it goes by (0 normal, 1 high priority), how it
// is delivered (0 may wait on a send thread, 1 returns only when written
// or failed) and its arguments, which it owns. Sending lays the header and
// the arguments out in one buffer, sized before anything is written.
class ParameterizedMsg {
 public:
  // Takes `args`, which may be null: then the message is the header alone.
  ParameterizedMsg(int module, short type, ArgPkgABC* args,
                   int connectionType = 0, int deliveryMode = 0);
  virtual ~ParameterizedMsg();
  ParameterizedMsg(const ParameterizedMsg&) = delete;
  ParameterizedMsg& operator=(const ParameterizedMsg&) = delete;

  virtual char* serialize(char* pos) const;
  virtual unsigned long length() const;

  // 0 when sent, -1 when the target isn't available, -2 on a system error
  // or a refused call; failures are logged here.
  int send(const IPC_Target& target) const;

  const ArgPkgABC* args() const { return _args; }
  short type() const { return _type; }
  int module() const { return _module; }
  int connectionType() const { return _connectionType; }
  int deliveryMode() const { return _deliveryMode; }

 private:
  void logFailure(int status, const IPC_Target& target) const;

  ArgPkgABC* _args;
  short _type;
  int _module;
  int _connectionType;
  int _deliveryMode;
};

// The message classes of the modules; each fixes its module number.
class CommsMessage : public ParameterizedMsg {
 public:
  CommsMessage(short type, ArgPkgABC* args, int connectionType = 0,
               int deliveryMode = 0)
      : ParameterizedMsg(0, type, args, connectionType, deliveryMode) {}
};

class DataCaptMessage : public ParameterizedMsg {
 public:
  DataCaptMessage(short type, ArgPkgABC* args, int connectionType = 0,
                  int deliveryMode = 0)
      : ParameterizedMsg(1, type, args, connectionType, deliveryMode) {}
};

class DataMgmtMsg : public ParameterizedMsg {
 public:
  DataMgmtMsg(short type, ArgPkgABC* args, int connectionType = 0,
              int deliveryMode = 0)
      : ParameterizedMsg(2, type, args, connectionType, deliveryMode) {}
};

class ProcMgmtMsg : public ParameterizedMsg {
 public:
  ProcMgmtMsg(short type, ArgPkgABC* args, int connectionType = 0,
              int deliveryMode = 0)
      : ParameterizedMsg(5, type, args, connectionType, deliveryMode) {}
};

#endif  // ZEPH_IPC_PARAMETERIZEDMSG_H_
