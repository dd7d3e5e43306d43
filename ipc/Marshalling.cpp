#include "Marshalling.h"

#include <rpc/xdr.h>

#include <climits>
#include <cstring>
#include <vector>

#include "LogStream.h"

namespace {

unsigned long failureCount = 0;

// An XDR memory stream over one item, at most `size` bytes from `pos`.
class ItemStream {
 public:
  ItemStream(char* pos, unsigned long size, xdr_op op) {
    xdrmem_create(&_xdr, pos, size > UINT_MAX ? UINT_MAX : size, op);
  }
  ~ItemStream() { XDR_DESTROY(&_xdr); }
  ItemStream(const ItemStream&) = delete;
  ItemStream& operator=(const ItemStream&) = delete;

  XDR* xdr() { return &_xdr; }
  unsigned consumed() { return xdr_getpos(&_xdr); }

 private:
  XDR _xdr;
};

unsigned long bytesLeft(const char* pos, const char* end) {
  return end > pos ? static_cast<unsigned long>(end - pos) : 0;
}

unsigned long padded(unsigned long n) { return (n + 3) & ~3ul; }

void routineFailed(const char* routine, const char* operation) {
  ++failureCount;
  ZLOG(LogStream::BUG) << routine << " " << operation << " fail" << std::endl;
}

template <class T>
char* put(bool_t (*routine)(XDR*, T*), T value, char* pos,
          const char* routineName) {
  ItemStream stream(pos, length(value), XDR_ENCODE);
  if (!routine(stream.xdr(), &value)) routineFailed(routineName, "serialize");
  return pos + stream.consumed();
}

// The value is only written when the routine succeeded.
template <class T>
char* get(bool_t (*routine)(XDR*, T*), T& value, char* pos, const char* end,
          const char* routineName) {
  ItemStream stream(pos, bytesLeft(pos, end), XDR_DECODE);
  T read = T();
  if (routine(stream.xdr(), &read))
    value = read;
  else
    routineFailed(routineName, "quantize");
  return pos + stream.consumed();
}

// The library's xdr_long fills a 64-bit long from the unsigned word; the
// word is a signed 32-bit number.
bool_t xdrSignedLong(XDR* xdrs, long* value) {
  if (!xdr_long(xdrs, value)) return FALSE;
  if (xdrs->x_op == XDR_DECODE) *value = static_cast<int32_t>(*value);
  return TRUE;
}

// The word at `pos`, without counting it as read.
unsigned long peekWord(char* pos) {
  ItemStream stream(pos, 4, XDR_DECODE);
  u_int word = 0;
  xdr_u_int(stream.xdr(), &word);
  return word;
}

unsigned textLength(const TextString& value) {
  return static_cast<unsigned>(std::strlen(value.chars()));
}

// Texts and byte sequences carry their count twice: the first, already
// read, only sets `limit`; the second is what xdr_string and xdr_bytes
// read. Whether the second count fits the limit and the bytes left is
// settled here, before anything is allocated for it.
bool countedBytesFit(char* pos, const char* end, unsigned long limit,
                     unsigned long* count) {
  unsigned long left = bytesLeft(pos, end);
  if (left < 4) return false;
  *count = peekWord(pos);
  return *count <= limit && padded(*count) <= left - 4;
}

void countedReadFailed(const char* routine, unsigned long limit) {
  ++failureCount;
  ZLOG(LogStream::BUG) << routine << " quantize failed with maxlen = " << limit
                       << std::endl;
}

// Where a refused count leaves the position: behind the count word, which
// is what the routine would have consumed.
char* behindCount(char* pos, const char* end) {
  return bytesLeft(pos, end) >= 4 ? pos + 4 : pos;
}

u_int routineLimit(unsigned long limit) {
  return limit > UINT_MAX ? UINT_MAX : static_cast<u_int>(limit);
}

}  // namespace

unsigned long marshallingFailures() { return failureCount; }

char* serialize(int value, char* pos) {
  return put(xdr_int, value, pos, "xdr_int()");
}
char* serialize(char value, char* pos) {
  return put(xdr_char, value, pos, "xdr_char()");
}
char* serialize(unsigned char value, char* pos) {
  return put<u_char>(xdr_u_char, value, pos, "xdr_u_char()");
}
char* serialize(short value, char* pos) {
  return put(xdr_int, static_cast<int>(value), pos, "xdr_int() (for short)");
}
char* serialize(unsigned short value, char* pos) {
  return put<u_short>(xdr_u_short, value, pos, "xdr_u_short()");
}
char* serialize(unsigned int value, char* pos) {
  return put<u_int>(xdr_u_int, value, pos, "xdr_u_int()");
}
char* serialize(long value, char* pos) {
  return put(xdrSignedLong, value, pos, "xdr_long()");
}
char* serialize(unsigned long value, char* pos) {
  return put<u_long>(xdr_u_long, value, pos, "xdr_u_long()");
}
char* serialize(float value, char* pos) {
  return put(xdr_float, value, pos, "xdr_float()");
}
char* serialize(double value, char* pos) {
  return put(xdr_double, value, pos, "xdr_double()");
}
char* serialize(bool value, char* pos) {
  return put(xdr_int, value ? 1 : 0, pos, "xdr_int() (for bool)");
}

char* quantize(int& value, char* pos, const char* end) {
  return get(xdr_int, value, pos, end, "xdr_int()");
}
char* quantize(char& value, char* pos, const char* end) {
  return get(xdr_char, value, pos, end, "xdr_char()");
}
char* quantize(unsigned char& value, char* pos, const char* end) {
  return get<u_char>(xdr_u_char, value, pos, end, "xdr_u_char()");
}
char* quantize(short& value, char* pos, const char* end) {
  int word = value;
  pos = get(xdr_int, word, pos, end, "xdr_short()");
  value = static_cast<short>(word);
  return pos;
}
char* quantize(unsigned short& value, char* pos, const char* end) {
  return get<u_short>(xdr_u_short, value, pos, end, "xdr_u_short()");
}
char* quantize(unsigned int& value, char* pos, const char* end) {
  return get<u_int>(xdr_u_int, value, pos, end, "xdr_u_int()");
}
char* quantize(long& value, char* pos, const char* end) {
  return get(xdrSignedLong, value, pos, end, "xdr_long()");
}
char* quantize(unsigned long& value, char* pos, const char* end) {
  return get<u_long>(xdr_u_long, value, pos, end, "xdr_u_long()");
}
char* quantize(float& value, char* pos, const char* end) {
  return get(xdr_float, value, pos, end, "xdr_float()");
}
char* quantize(double& value, char* pos, const char* end) {
  return get(xdr_double, value, pos, end, "xdr_double()");
}
char* quantize(bool& value, char* pos, const char* end) {
  int word = value ? 1 : 0;
  pos = get(xdr_int, word, pos, end, "xdr_short()");
  value = word != 0;
  return pos;
}

unsigned long length(const TextString& value) {
  return 8 + padded(textLength(value));
}

char* serialize(const TextString& value, char* pos) {
  u_int n = textLength(value);
  pos = serialize(n, pos);
  char* chars = const_cast<char*>(value.chars());
  ItemStream stream(pos, 4 + padded(n), XDR_ENCODE);
  if (!xdr_string(stream.xdr(), &chars, n)) {
    ++failureCount;
    ZLOG(LogStream::BUG) << "xdr_string() serialize failed" << std::endl;
  }
  return pos + stream.consumed();
}

char* quantize(TextString& value, char* pos, const char* end) {
  unsigned n = 0;
  pos = quantize(n, pos, end);
  unsigned long limit = 4ul * n + 4;
  if (limit < 32) limit = 32;
  unsigned long count;
  if (!countedBytesFit(pos, end, limit, &count)) {
    countedReadFailed("xdr_string()", limit);
    return behindCount(pos, end);
  }
  std::vector<char> chars(count + 1);
  char* into = chars.data();
  ItemStream stream(pos, bytesLeft(pos, end), XDR_DECODE);
  if (xdr_string(stream.xdr(), &into, routineLimit(limit)))
    value = count == 0 ? TextString() : TextString(into, count);
  else
    countedReadFailed("xdr_string()", limit);
  return pos + stream.consumed();
}

char* serialize(const SeqOf<char>& value, char* pos) {
  u_int n = static_cast<u_int>(value.length());
  pos = serialize(n, pos);
  char none = 0;
  char* bytes = n > 0 ? const_cast<char*>(&value.at(0)) : &none;
  ItemStream stream(pos, 4 + padded(n), XDR_ENCODE);
  if (!xdr_bytes(stream.xdr(), &bytes, &n, n)) {
    ++failureCount;
    ZLOG(LogStream::BUG) << "xdr_bytes() serialize failed" << std::endl;
  }
  return pos + stream.consumed();
}

char* quantize(SeqOf<char>& value, char* pos, const char* end) {
  unsigned n = 0;
  pos = quantize(n, pos, end);
  unsigned long limit = 4ul * n;
  if (limit < 32) limit = 32;
  unsigned long count;
  if (!countedBytesFit(pos, end, limit, &count)) {
    countedReadFailed("xdr_bytes()", limit);
    return behindCount(pos, end);
  }
  // Opaque bytes follow their count as they are, padded to a word, and
  // the count has been checked: they go from the message straight into
  // the sequence, without a buffer of the decoder's in between.
  value = SeqOf<char>(static_cast<int>(count), pos + 4);
  return pos + 4 + padded(count);
}

char* serialize(const SeqOf<unsigned char>& value, char* pos) {
  int n = value.length();
  pos = serialize(n, pos);
  for (int i = 0; i < n; ++i) pos = serialize(value.at(i), pos);
  return pos;
}

char* quantize(SeqOf<unsigned char>& value, char* pos, const char* end) {
  int n = 0;
  char* start = pos;
  pos = quantize(n, pos, end);
  if (pos == start) return pos;
  // Four bytes for each element: a count past the end is refused before
  // anything is made for it.
  if (n < 0 || static_cast<unsigned long>(n) > bytesLeft(pos, end) / 4) {
    routineFailed("xdr_u_char()", "quantize");
    return pos;
  }
  std::vector<unsigned char> bytes(n);
  for (int i = 0; i < n; ++i) pos = quantize(bytes[i], pos, end);
  value = SeqOf<unsigned char>(n, bytes.data());
  return pos;
}

char* serialize(const AbsTime& value, char* pos) {
  return serialize(value.seconds(), pos);
}

char* quantize(AbsTime& value, char* pos, const char* end) {
  long seconds = value.seconds();
  pos = quantize(seconds, pos, end);
  value = AbsTime(seconds);
  return pos;
}

char* serialize(const TimeRange& value, char* pos) {
  pos = serialize(value.hasDuration(), pos);
  pos = serialize(value.start(), pos);
  return serialize(value.end(), pos);
}

char* quantize(TimeRange& value, char* pos, const char* end) {
  bool hasDuration = false;
  AbsTime start, stop;
  pos = quantize(hasDuration, pos, end);
  pos = quantize(start, pos, end);
  pos = quantize(stop, pos, end);
  value = hasDuration ? TimeRange(start, stop) : TimeRange();
  return pos;
}
