#ifndef ZEPH_IPC_MESSAGEWAIT_H_
#define ZEPH_IPC_MESSAGEWAIT_H_

#include "IPC_Target.h"

// The connection system has failed in a way that can't be mended.
const int IPC_HOPELESS = -2;

// The blocking wait of a client process: serves only the IPC descriptors
// (sockets, listener, signal pipe), never a timer. `timeoutTenths` is the
// limit in tenths of a second, 0 for none, -1 for a poll. With a filter
// only a message from that target ends the wait.
//
// Answers 0 when a message was dispatched, -1 when the time ran out or a
// signal interrupted select, IPC_HOPELESS when select failed otherwise.
// Events that are no messages (an accept, part of a message, the signal
// pipe) don't end the wait, and the time they took counts against it.
int waitForMessage(int timeoutTenths, const IPC_Target* filter = nullptr);

// The socket code's part: a whole message was dispatched and its socket
// still exists (from the filter target, while a filter is set).
void messageDispatched();
// The filter of the wait going on, null for none.
const IPC_Target* messageFilter();
// For a socket to the filter target that goes away.
void cancelMessageFilter();

#endif  // ZEPH_IPC_MESSAGEWAIT_H_
