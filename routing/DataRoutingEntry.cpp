#include "DataRoutingEntry.h"

#include <cstring>
#include <new>

#include "LogStream.h"

Q_Data::Q_Data(long tag, int length, const unsigned char* bytes)
    : tag(tag), length(length), data(new (std::nothrow) char[length > 0 ? length : 1]) {
  if (data != nullptr && length > 0) std::memcpy(data, bytes, length);
}

DataRoutingEntry::DataRoutingEntry(const IPC_Target& target,
                                   const TextString& pattern)
    : CommsRoutingEntry(target, pattern) {}

DataRoutingEntry::~DataRoutingEntry() {
  Q_Data* left;
  while ((left = nextData()) != nullptr) delete left;
}

void DataRoutingEntry::reset() {
  setTarget(IPC_Target());
  ready = false;
}

void DataRoutingEntry::queueData(long tag, int length,
                                 const unsigned char* data) {
  ZLOG(LogStream::VERBOSE) << "Target not ready. Putting data on queue"
                           << std::endl;
  Q_Data* item = new (std::nothrow) Q_Data(tag, length, data);
  if (item == nullptr || item->data == nullptr) {
    delete item;
    ZLOG(LogStream::PROBLEM) << "Couldn't allocate memory for data"
                             << std::endl;
    ZLOG(LogStream::PROBLEM) << "Data not added to queue" << std::endl;
    return;
  }
  ZLOG_BARE(LogStream::VERBOSE) << "   length = " << length << std::endl;
  _queue.enqueue(item);
}

Q_Data* DataRoutingEntry::nextData() {
  Q_Data* item = nullptr;
  if (_queue.isEmpty() || !_queue.dequeue(item)) return nullptr;
  return item;
}
