#include "FrameReader.h"

#include <cstring>

#include "Marshalling.h"
#include "MsgHeader.h"

FrameReader::Result FrameReader::begin(const char* word, long n) {
  if (n != 4) return BAD_HEADER;
  char copy[4];
  std::memcpy(copy, word, 4);
  long length = 0;
  quantize(length, copy, copy + 4);
  if (length < static_cast<long>(MsgHeader::smallestMessageLength()) ||
      static_cast<unsigned long>(length) > kLargestMessage)
    return BAD_HEADER;
  delete[] _buffer;
  _length = static_cast<unsigned long>(length);
  _buffer = new char[_length];
  std::memcpy(_buffer, word, 4);
  _bytesRead = 4;
  return NEED_MORE;
}

FrameReader::Result FrameReader::advance(unsigned long n) {
  _bytesRead += n < wanted() ? n : wanted();
  return _bytesRead == _length ? WHOLE : NEED_MORE;
}

char* FrameReader::take(unsigned long* size) {
  char* whole = _buffer;
  *size = _length;
  _buffer = nullptr;
  _length = _bytesRead = 0;
  return whole;
}

void FrameReader::moveTo(FrameReader& other) {
  delete[] other._buffer;
  other._buffer = _buffer;
  other._length = _length;
  other._bytesRead = _bytesRead;
  _buffer = nullptr;
  _length = _bytesRead = 0;
}
