#include "FAC_Receiver.h"

#include "Dispatcher.h"
#include "LogStream.h"
#include "Marshalling.h"

FAC_Receiver& FAC_Receiver::instance() {
  static FAC_Receiver* receiver = [] {
    FAC_Receiver* r = new FAC_Receiver;
    Dispatcher::registerReceiver(kModule, r);
    return r;
  }();
  return *receiver;
}

void FAC_Receiver::receive(const short& type, const IPC_Target&, long argLength,
                           char* args) {
  if (type != 0) {
    ZLOG(LogStream::BUG) << "Bad msg type " << type << " in FAC_Receiver"
                         << std::endl;
    return;
  }
  TextString path;
  quantize(path, args, args + argLength);
  // A copy: a client may remove itself while it is told.
  Set<FAC_Client*> clients;
  if (!_clients.lookup(path, &clients)) return;
  for (int i = 0; i < clients.length(); ++i)
    clients.keyAt(i)->fileChanged(path);
}

void FAC_Receiver::addClient(const TextString& path, FAC_Client* client) {
  Set<FAC_Client*> clients;
  _clients.lookup(path, &clients);
  clients.insert(client);
  _clients.insert(path, clients);
}

void FAC_Receiver::removeClient(const TextString& path, FAC_Client* client) {
  Set<FAC_Client*> clients;
  if (!_clients.lookup(path, &clients)) {
    ZLOG(LogStream::BUG) << "No registration for path " << path << std::endl;
    return;
  }
  if (!clients.lookup(client)) {
    ZLOG(LogStream::BUG) << "No matching client for path " << path << std::endl;
    return;
  }
  clients.remove(client);
  if (clients.length() == 0)
    _clients.remove(path);
  else
    _clients.insert(path, clients);
}
