#ifndef ZEPH_ROUTING_DATAREQUEST_H_
#define ZEPH_ROUTING_DATAREQUEST_H_

#include "DataCaptReceiver.h"
#include "IPC_Target.h"
#include "TextString.h"

// A data client's side of the conversation with its controller.

// Keeps `callback` for the products to come, asks `controller` for every
// product whose key `pattern` finds, and says that this client is ready.
// The same call serves the first registration and every later one: a
// repeated request from a known client only renews its pattern.
void requestData(const IPC_Target& controller, const TextString& pattern,
                 DataCallback callback);

// Tells `controller` that the next product may come. A failed send is
// tried again a second later, three sends in all; the last status is
// returned, though a controller that isn't there is reached by the next
// registration anyway.
int sendReady(const IPC_Target& controller);

#endif  // ZEPH_ROUTING_DATAREQUEST_H_
