#ifndef ZEPH_IPC_MSGHEADER_H_
#define ZEPH_IPC_MSGHEADER_H_

#include "IPC_Target.h"

// What stands before the arguments of every message: the total length of
// the message (this word included), the sending process's target, the
// receiving module, the connection number (0 normal, 1 high priority) and
// the message type within the module. With an anonymous sender, 44 bytes.
struct MsgHeader {
  MsgHeader() : length(0), module(0), connectionType(0), type(0) {}

  long length;
  IPC_Target sender;
  int module;
  int connectionType;
  short type;

  // The header with the null target as sender: no message is shorter.
  static unsigned long smallestMessageLength();
};

char* serialize(const MsgHeader& header, char* pos);
unsigned long length(const MsgHeader& header);
char* quantize(MsgHeader& header, char* pos, const char* end);

#endif  // ZEPH_IPC_MSGHEADER_H_
