#ifndef ZEPH_ROUTING_DATAROUTINGENTRY_H_
#define ZEPH_ROUTING_DATAROUTINGENTRY_H_

#include "CommsRoutingEntry.h"
#include "QueueImpl.h"

// One product waiting for a client: its tag and its own copy of the bytes.
struct Q_Data {
  // Copies `length` bytes of `data`; `data` stays null when the copy
  // couldn't be made.
  Q_Data(long tag, int length, const unsigned char* data);
  ~Q_Data() { delete[] data; }
  Q_Data(const Q_Data&) = delete;
  Q_Data& operator=(const Q_Data&) = delete;

  long tag;
  int length;
  char* data;
};

// A client of a data controller: what the comms router's entry holds, and
// the products that wait for it and whether it may take one now. The
// queue has no bound but memory: a product is never dropped for a client
// that is slow or away.
class DataRoutingEntry : public CommsRoutingEntry {
 public:
  DataRoutingEntry(const IPC_Target& target, const TextString& pattern);
  ~DataRoutingEntry();

  void setPattern(const TextString& pattern) { compile(pattern); }
  void setTarget(const IPC_Target& target) { IPC_Target::operator=(target); }
  // The client went away: the entry keeps its pattern and queue for the
  // process that takes its place.
  void reset();
  bool isVacant() const { return isNull(); }

  void queueData(long tag, int length, const unsigned char* data);
  // The oldest product, which the caller deletes; null when none waits.
  Q_Data* nextData();
  unsigned long queued() const { return _queue.length(); }

  bool ready = false;

 private:
  QueueImpl<Q_Data*> _queue;
};

#endif  // ZEPH_ROUTING_DATAROUTINGENTRY_H_
