#include "Connection.h"

#include <cstdio>

#include "Set.h"

namespace {

// Freed with its last member, so that a process that ends with all its
// connections gone leaves nothing behind.
Set<Connection*>* connections = nullptr;
Connection::Maker maker = nullptr;

struct OwnTarget {
  bool exists = false;
  IPC_Target target;
};

OwnTarget& ownTarget() {
  static OwnTarget own;
  return own;
}

}  // namespace

Connection::Connection(int type) : _type(type) {
  if (connections == nullptr) connections = new Set<Connection*>(5);
  connections->insert(this);
}

Connection::~Connection() {
  connections->remove(this);
  if (connections->length() > 0) return;
  delete connections;
  connections = nullptr;
}

bool Connection::exists() {
  return connections != nullptr && connections->length() > 0;
}

Connection* Connection::get(int type) {
  for (int i = 0; connections != nullptr && i < connections->length(); ++i) {
    Connection* c = connections->keyAt(i);
    if (c->type() == type) return c;
  }
  return maker ? maker(type) : nullptr;
}

void Connection::setMaker(Maker m) { maker = m; }

IPC_Target Connection::myTarget() {
  if (!ownTarget().exists) {
    std::fprintf(stderr,
                 "Connection::myTarget() has been called before "
                 "Connection::setMyTarget().\n");
    return IPC_Target();
  }
  return ownTarget().target;
}

void Connection::storeMyTarget(const IPC_Target& target) {
  if (target.isNull()) return;
  ownTarget().target = target;
  ownTarget().exists = true;
}
