#ifndef ZEPH_ROUTING_COMMSROUTINGTABLE_H_
#define ZEPH_ROUTING_COMMSROUTINGTABLE_H_

#include "CommsRoutingEntry.h"
#include "SeqOfPtr.h"
#include "TextString.h"

// The comms router's clients, in the order they registered, and the file
// that keeps them over a restart: $ZEPH_DATA/workFiles/ and the router's
// name with "_clients.txt", one line a client, its target's text, a blank
// and its pattern. The file follows the table after each change and exists
// only while the table isn't empty.
class CommsRoutingTable {
 public:
  static CommsRoutingTable& instance();

  // Completes the file's name and takes the clients of the file back, each
  // one that a restart message reaches; the file then holds those. 1 when
  // there was a file, 0 when there wasn't. A router calls it once, before
  // anything else touches the table.
  int reconnectClients(const TextString& routerName);

  // A client has one pattern: the latest wins, at the end of the table.
  void registerClient(const IPC_Target& target, const TextString& pattern);
  // Takes the client out, if it's there, and writes the file: answers
  // what saveClients answers.
  int removeClient(const IPC_Target& target);
  // Sends the product to each client whose pattern finds `key`, from the
  // last client to the first. A client that can't be reached is dropped.
  void sendData(const TextString& key, long tag, long length,
                const unsigned char* data);
  // 1, or 0 after a PROBLEM line when the file can't be written.
  int saveClients();

  int length() const { return _entries.length(); }
  const CommsRoutingEntry* entryAt(int index) const { return _entries[index]; }
  const TextString& fileName() const { return _fileName; }

 private:
  CommsRoutingTable();
  ~CommsRoutingTable() = delete;

  TextString _fileName;
  SeqOfPtr<CommsRoutingEntry*> _entries;
};

#endif  // ZEPH_ROUTING_COMMSROUTINGTABLE_H_
