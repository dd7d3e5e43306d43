#ifndef ZEPH_IPC_FRAMEREADER_H_
#define ZEPH_IPC_FRAMEREADER_H_

// Cuts a byte stream into whole messages by their first word, the total
// length. The length word has to come whole; a message is read straight
// into a buffer of its final size, which is made only for a length that
// is plausible: at least the smallest message (the header of the null
// target) and at most kLargestMessage.
class FrameReader {
 public:
  enum Result { NEED_MORE, WHOLE, BAD_HEADER };
  // Peers are processes of the same system, and their largest messages
  // (products and routed data) are far below this.
  static const unsigned long kLargestMessage = 64ul << 20;

  FrameReader() = default;
  ~FrameReader() { delete[] _buffer; }
  FrameReader(const FrameReader&) = delete;
  FrameReader& operator=(const FrameReader&) = delete;

  // Whether part of a message has been read.
  bool midMessage() const { return _bytesRead > 0; }
  unsigned long bytesRead() const { return _bytesRead; }

  // The first read of a message: `n` bytes of `word`. Fewer than four, or
  // a length out of bounds, is a bad header.
  Result begin(const char* word, long n);
  // Where the rest goes, and how much of it there is.
  char* next() const { return _buffer + _bytesRead; }
  unsigned long wanted() const { return _length - _bytesRead; }
  // `n` more bytes have arrived at next().
  Result advance(unsigned long n);
  // The whole message, which the caller now owns; the reader starts anew.
  char* take(unsigned long* size);
  // Hands the part read to another reader (an orphan's).
  void moveTo(FrameReader& other);

 private:
  char* _buffer = nullptr;
  unsigned long _length = 0;
  unsigned long _bytesRead = 0;
};

#endif  // ZEPH_IPC_FRAMEREADER_H_
