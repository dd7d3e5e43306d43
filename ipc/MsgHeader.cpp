#include "MsgHeader.h"

#include "Marshalling.h"

unsigned long MsgHeader::smallestMessageLength() {
  static const unsigned long smallest = ::length(MsgHeader());
  return smallest;
}

char* serialize(const MsgHeader& header, char* pos) {
  pos = serialize(header.length, pos);
  pos = serialize(header.sender, pos);
  pos = serialize(header.module, pos);
  pos = serialize(header.connectionType, pos);
  return serialize(header.type, pos);
}

unsigned long length(const MsgHeader& header) {
  return 16 + length(header.sender);
}

char* quantize(MsgHeader& header, char* pos, const char* end) {
  pos = quantize(header.length, pos, end);
  pos = quantize(header.sender, pos, end);
  pos = quantize(header.module, pos, end);
  pos = quantize(header.connectionType, pos, end);
  return quantize(header.type, pos, end);
}
