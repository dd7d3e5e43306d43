#ifndef ZEPH_IPC_FAC_RECEIVER_H_
#define ZEPH_IPC_FAC_RECEIVER_H_

#include "Dict.h"
#include "Receiver.h"
#include "Set.h"
#include "TextString.h"

// Told that the file at a path has changed.
class FAC_Client {
 public:
  virtual void fileChanged(const TextString& path) = 0;
  virtual ~FAC_Client() = default;
};

// The receiver of module 17, a process-wide singleton registered at its
// first use: its one message, type 0, carries a path, and every client
// registered for that path is told.
class FAC_Receiver : public Receiver {
 public:
  static const int kModule = 17;

  static FAC_Receiver& instance();

  void receive(const short& type, const IPC_Target& sender, long argLength,
               char* args) override;
  void addClient(const TextString& path, FAC_Client* client);
  void removeClient(const TextString& path, FAC_Client* client);

 private:
  FAC_Receiver() = default;

  Dict<TextString, Set<FAC_Client*>> _clients;
};

#endif  // ZEPH_IPC_FAC_RECEIVER_H_
