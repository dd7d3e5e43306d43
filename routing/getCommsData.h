#ifndef ZEPH_ROUTING_GETCOMMSDATA_H_
#define ZEPH_ROUTING_GETCOMMSDATA_H_

#include "SeqOf.h"
#include "TextString.h"

class CommsReqTimer;

// What a comms client is given for each product: its key, its tag, and
// its bytes, which are freed when the call returns.
typedef void (*CommsDataCallback)(TextString* key, long tag, long length,
                                  unsigned char* data);

// Registers this process with the router named `routerName` for the
// products whose keys `pattern` finds, and adds `callback` to those that
// the products are given to. A request that can't be sent now is tried
// again every 15 seconds, in the dispatcher's loop, until it goes out; a
// new request replaces one still trying. 0 when the request went out or
// will be tried again, -1 when the name is no target.
int getCommsData(const TextString& pattern, const TextString& routerName,
                 CommsDataCallback callback);

// The callbacks, in the order of their first registration.
const SeqOf<CommsDataCallback>& commsDataCallbacks();

// The timer of the last request that had to wait, or null.
CommsReqTimer* pendingCommsRequest();

#endif  // ZEPH_ROUTING_GETCOMMSDATA_H_
