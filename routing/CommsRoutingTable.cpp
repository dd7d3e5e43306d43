#include "CommsRoutingTable.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <sstream>

#include "CommsMessages.h"
#include "FileWords.h"
#include "LogStream.h"

CommsRoutingTable& CommsRoutingTable::instance() {
  static CommsRoutingTable* table = new CommsRoutingTable;
  return *table;
}

CommsRoutingTable::CommsRoutingTable() {
  const char* data = std::getenv("ZEPH_DATA");
  _fileName = TextString(data ? data : "") + "/workFiles/";
}

int CommsRoutingTable::reconnectClients(const TextString& routerName) {
  _fileName += routerName + "_clients.txt";
  FILE* file = std::fopen(_fileName.chars(), "r");
  if (file == nullptr) {
    ZLOG(LogStream::EVENT) << "No clients are currently registered with the "
                           << routerName << "." << std::endl;
    return 0;
  }
  ZLOG(LogStream::EVENT) << "Reconnecting to registered clients." << std::endl;
  CommsMessage* restart = newRouterRestartMsg(AbsTime::now());
  TextString targetText, pattern;
  // A target without its pattern, the last word of a damaged file, is
  // left out: it would otherwise match everything.
  while (readFileWord(file, targetText) && readFileWord(file, pattern)) {
    IPC_Target target(targetText, true);
    if (restart->send(target) == 0)
      _entries.append(new CommsRoutingEntry(target, pattern));
  }
  delete restart;
  std::fclose(file);
  saveClients();
  return 1;
}

void CommsRoutingTable::registerClient(const IPC_Target& target,
                                       const TextString& pattern) {
  removeClient(target);
  _entries.append(new CommsRoutingEntry(target, pattern));
  saveClients();
}

int CommsRoutingTable::removeClient(const IPC_Target& target) {
  for (int i = 0; i < _entries.length(); ++i) {
    CommsRoutingEntry* entry = _entries[i];
    if (*entry != target) continue;
    _entries.replaceBetween(i - 1, i + 1, SeqOfPtr<CommsRoutingEntry*>());
    delete entry;
    break;
  }
  return saveClients();
}

void CommsRoutingTable::sendData(const TextString& key, long tag, long length,
                                 const unsigned char* data) {
  if (length > kLargestProduct) {
    ZLOG(LogStream::PROBLEM) << "NCF_FAIL Product " << key << " of " << length
                             << " bytes is too large to route." << std::endl;
    return;
  }
  CommsMessage* message = newCommsDataMsg(key, tag, length, data);
  // Backwards, so that taking out a client that can't be reached leaves
  // the clients still to come where they were.
  for (int i = _entries.length() - 1; i >= 0; --i) {
    const CommsRoutingEntry* entry = _entries[i];
    if (!entry->matches(key.chars()) || message->send(*entry) == 0) continue;
    IPC_Target gone = *entry;
    ZLOG(LogStream::PROBLEM) << "Error sending data message to " << gone
                             << std::endl;
    removeClient(gone);
  }
  delete message;
}

int CommsRoutingTable::saveClients() {
  if (_entries.length() == 0) {
    unlink(_fileName.chars());
    return 1;
  }
  FILE* file = std::fopen(_fileName.chars(), "w");
  if (file == nullptr) {
    ZLOG(LogStream::PROBLEM) << "Can't open " << _fileName << std::endl;
    return 0;
  }
  for (int i = 0; i < _entries.length(); ++i) {
    std::ostringstream line;
    line << static_cast<const IPC_Target&>(*_entries[i]) << ' '
         << _entries[i]->pattern() << '\n';
    std::fputs(line.str().c_str(), file);
  }
  bool failed = std::ferror(file) != 0;
  if (std::fclose(file) != 0 || failed) {
    ZLOG(LogStream::PROBLEM) << "Can't write " << _fileName << std::endl;
    return 0;
  }
  return 1;
}
