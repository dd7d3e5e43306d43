#ifndef ZEPH_ROUTING_PROCMGMTRECEIVER_H_
#define ZEPH_ROUTING_PROCMGMTRECEIVER_H_

#include "Receiver.h"

// What a parent's table of children does with a child's first message:
// the child's target, learnt from the message's header, and its process
// id, under the id the parent gave it.
class ChildReportHandler {
 public:
  virtual ~ChildReportHandler() = default;
  virtual void setIPC_Target(unsigned long id, const IPC_Target& target) = 0;
  virtual void started(unsigned long id, int pid) = 0;
};

// The receiver of module 5, made and registered at its first use: a parent
// hears here from the children it started.
class ProcMgmtReceiver : public Receiver {
 public:
  static const int kModule = 5;
  enum Type { CHILD_TARGET = 0 };

  static ProcMgmtReceiver& instance();

  void receive(const short& type, const IPC_Target& sender, long argLength,
               char* args) override;

  void setHandler(ChildReportHandler* handler) { _handler = handler; }

 private:
  ProcMgmtReceiver() = default;

  ChildReportHandler* _handler = nullptr;
};

// A child's first word to its parent: the id it was given and its Unix
// process id. The header carries the child's own target. Answers the
// status of the send.
int sendChildTarget(const IPC_Target& parent, unsigned long childId);

#endif  // ZEPH_ROUTING_PROCMGMTRECEIVER_H_
