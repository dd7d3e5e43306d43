#ifndef ZEPH_IPC_MARSHALLING_H_
#define ZEPH_IPC_MARSHALLING_H_

#include "AbsTime.h"
#include "SeqOf.h"
#include "TextString.h"
#include "TimeRange.h"

// The value encodings of every message: XDR as the C library's memory
// stream writes it, big-endian, each item a multiple of four bytes.
//
//   serialize(value, pos)       writes value at pos, returns the position
//                               behind it; the caller has made room for
//                               length(value) bytes
//   length(value)               the bytes serialize writes
//   quantize(value, pos, end)   reads value from pos, never past end, and
//                               returns the position behind it
//
// Each item gets an XDR stream of its own. A routine that fails doesn't
// stop the marshalling: it is logged at BUG, the value keeps what it had
// (its default, for a reader), and the position moves on by what the
// stream consumed. A reader of bytes from another process checks every
// count against the bytes left before it allocates anything.
//
// long and time_t are one type here, and so one overload.

char* serialize(int value, char* pos);
char* serialize(char value, char* pos);
char* serialize(unsigned char value, char* pos);
char* serialize(short value, char* pos);
char* serialize(unsigned short value, char* pos);
char* serialize(unsigned int value, char* pos);
char* serialize(long value, char* pos);
char* serialize(unsigned long value, char* pos);
char* serialize(float value, char* pos);
char* serialize(double value, char* pos);
char* serialize(bool value, char* pos);
char* serialize(const TextString& value, char* pos);
char* serialize(const SeqOf<char>& value, char* pos);
char* serialize(const SeqOf<unsigned char>& value, char* pos);
char* serialize(const AbsTime& value, char* pos);
char* serialize(const TimeRange& value, char* pos);

inline unsigned long length(int) { return 4; }
inline unsigned long length(char) { return 4; }
inline unsigned long length(unsigned char) { return 4; }
inline unsigned long length(short) { return 4; }
inline unsigned long length(unsigned short) { return 4; }
inline unsigned long length(unsigned int) { return 4; }
inline unsigned long length(long) { return 4; }
inline unsigned long length(unsigned long) { return 4; }
inline unsigned long length(float) { return 4; }
inline unsigned long length(double) { return 8; }
inline unsigned long length(bool) { return 4; }
// Both carry their length twice, then the bytes padded to four. A text
// ends at its first zero byte.
unsigned long length(const TextString& value);
inline unsigned long length(const SeqOf<char>& value) {
  return 8 + ((static_cast<unsigned long>(value.length()) + 3) & ~3ul);
}
// A count, then four bytes for each byte.
inline unsigned long length(const SeqOf<unsigned char>& value) {
  return 4 + 4ul * static_cast<unsigned long>(value.length());
}
inline unsigned long length(const AbsTime&) { return 4; }
inline unsigned long length(const TimeRange&) { return 12; }

char* quantize(int& value, char* pos, const char* end);
char* quantize(char& value, char* pos, const char* end);
char* quantize(unsigned char& value, char* pos, const char* end);
// The word read is cut to 16 bits.
char* quantize(short& value, char* pos, const char* end);
char* quantize(unsigned short& value, char* pos, const char* end);
char* quantize(unsigned int& value, char* pos, const char* end);
char* quantize(long& value, char* pos, const char* end);
char* quantize(unsigned long& value, char* pos, const char* end);
char* quantize(float& value, char* pos, const char* end);
char* quantize(double& value, char* pos, const char* end);
// Any word but zero is true.
char* quantize(bool& value, char* pos, const char* end);
// Read with a limit of 4 n + 4 bytes, at least 32, n being the first of
// the two lengths.
char* quantize(TextString& value, char* pos, const char* end);
// Read with a limit of 4 n bytes, at least 32.
char* quantize(SeqOf<char>& value, char* pos, const char* end);
char* quantize(SeqOf<unsigned char>& value, char* pos, const char* end);
char* quantize(AbsTime& value, char* pos, const char* end);
// Without a duration on the wire the range is empty, whatever its times say.
char* quantize(TimeRange& value, char* pos, const char* end);

// How many XDR routines have failed in this process. A reader of a whole
// message compares it before and after to learn that the bytes didn't
// hold what they claimed.
unsigned long marshallingFailures();

#endif  // ZEPH_IPC_MARSHALLING_H_
