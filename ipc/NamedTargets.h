#ifndef ZEPH_IPC_NAMEDTARGETS_H_
#define ZEPH_IPC_NAMEDTARGETS_H_

#include <sys/time.h>

#include "Dict.h"
#include "IPC_Target.h"
#include "SeqOf.h"

// IPC's settings from the process's configuration: the named targets
// ("SocketConnection.namedTargets"), the buffer size of each data socket
// ("SocketBufferSize.numBytes") and the time one blocked send may take
// ("SocketConnectionTimeout.numMins"). Each is read once.

// Enters name, host, port triples into `table`. A triple with a bad host
// and an incomplete last triple are logged and left out.
void readNamedTargets(const SeqOf<TextString>& triples,
                      Dict<TextString, IPC_Target>& table);

// The configured target of that name. The table is filled at the first
// look-up and never changes; without the setting it holds only the empty
// name, for the null target.
bool lookupNamedTarget(const TextString& name, IPC_Target* target);

// What a setting's value comes to: the socket buffer size (0 leaves the
// system's), and the send time-out (180 seconds when missing or below 1).
int socketBufferSizeOf(bool configured, int numBytes);
timeval sendTimeoutOf(bool configured, int numMins);

int socketBufferSize();
timeval sendTimeout();
// A process that can't wait minutes for a peer (a test, a tool) sets its
// own time-out; it holds from then on.
void setSendTimeout(const timeval& timeout);

#endif  // ZEPH_IPC_NAMEDTARGETS_H_
