#ifndef ZEPH_ROUTING_DATAROUTINGMANAGER_H_
#define ZEPH_ROUTING_DATAROUTINGMANAGER_H_

#include "ChildProcessClient.h"
#include "DataCaptReceiver.h"
#include "DataRoutingEntry.h"
#include "SeqOfPtr.h"
#include "StopWatch.h"
#include "TextString.h"

class ChildProcessSet;

// The heart of a data controller: it starts the decoders named in its
// children file, keeps one routing entry per client, asks the comms router
// for the union of the clients' patterns, and hands each product to every
// client whose pattern finds its key, at once when the client is ready and
// through its queue when it still owes a ready. A child that restarts too
// fast is let die. One manager to a process, on the main thread.
class DataRoutingManager : public ChildProcessClient,
                           public DataCaptController {
 public:
  // The restart check: a restart count above this ends a child's
  // restarts for good.
  static const int kRestartLimit = 50;
  // More restarts than this within one span stop the child.
  static const int kBurstLimit = 7;
  static constexpr double kSpanSeconds = 10.0;

  DataRoutingManager(const TextString& routerName,
                     const TextString& configFileName);
  ~DataRoutingManager() override;

  // The number of children started from the children file.
  int startChildren();
  // One at a time, a second apart, without telling the manager.
  void stopChildren();

  void registerClient(const IPC_Target& target,
                      const TextString& pattern) override;
  TextString compositePattern() override;
  void requestCommsData(const TextString& compositeText) override;
  void ready(const IPC_Target& target) override;

  // The comms router's data callback.
  static void dataArrived(TextString* key, long tag, long length,
                          unsigned char* data);

  void childDied(ChildProcess* child) override;
  void childRestarted(ChildProcess* child) override;
  void childRestartReported(ChildProcess* child) override;
  void checkAutoRestart(ChildProcess* child);

  // The process's routing table, in order of registration.
  static SeqOfPtr<DataRoutingEntry*>& routingTable();
  // A span other than kSpanSeconds, so that tests need not wait for it.
  void setRestartSpan(double seconds) { _spanSeconds = seconds; }

 private:
  // The entry of a running child, by its target; -1 when it has none or
  // hasn't reported itself yet.
  static int entryOf(const IPC_Target& target);
  static void sendProduct(const IPC_Target& target, long tag, long length,
                          const char* data);
  bool startChild(const TextString& prefix, const char* line);

  TextString routerName;
  TextString configFileName;
  ChildProcessSet* childSet;

  // The restart span, one for the process.
  bool _newSpanDue = true;
  int _spanStartCount = 0;
  StopWatch _spanWatch;
  double _spanSeconds = kSpanSeconds;
};

#endif  // ZEPH_ROUTING_DATAROUTINGMANAGER_H_
