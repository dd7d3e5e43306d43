#ifndef ZEPH_ROUTING_COMMSRECEIVER_H_
#define ZEPH_ROUTING_COMMSRECEIVER_H_

#include "Receiver.h"
#include "SeqOf.h"

// The receiver of module 0, for both sides of comms routing: in a router,
// the products of sources and the requests of clients; in a client, the
// products routed to it and the router's restart. A process-wide
// singleton, registered with the dispatcher at its first use.
class CommsReceiver : public Receiver {
 public:
  static const int kModule = 0;

  static CommsReceiver& instance();

  void receive(const short& type, const IPC_Target& sender, long argLength,
               char* args) override;

 private:
  CommsReceiver() = default;

  void ldmMessage(long argLength, char* args);
  void dsMessage(long argLength, char* args);
  void requestMessage(const IPC_Target& sender, long argLength, char* args);
  void dataMessage(long argLength, char* args);
};

#endif  // ZEPH_ROUTING_COMMSRECEIVER_H_
