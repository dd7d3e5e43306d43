#include "ThreadDataSocket.h"

#include "LogStream.h"
#include "PendingMsg.h"

// No send thread yet: the caller writes the message itself.
bool ThreadDataSocket::queueSend(PendingMsg*) { return false; }

void ThreadDataSocket::syncSend(PendingMsg* pending) {
  ZLOG(LogStream::EVENT) << "Synchronous send to " << peer()
                         << " has been started." << std::endl;
  syncWrite(*pending);
  if (pending->status() == PendingMsg::UNAVAILABLE) _closed = true;
  ZLOG(LogStream::EVENT) << "Synchronous send to " << peer()
                         << " has completed." << std::endl;
}
