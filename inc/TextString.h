#ifndef ZEPH_INC_TEXTSTRING_H_
#define ZEPH_INC_TEXTSTRING_H_

#include <iosfwd>

#include "RCObject.h"

// The text type of the whole system: a reference-counted, copy-on-write,
// NUL-terminated string, passed and returned by value. Copies are O(1) while
// the representation is shareable; appending keeps a margin so that building
// a text a character at a time reallocates rarely.
class TextString {
 public:
  enum SearchDir { FORWARD = 0, BACKWARD = 1 };

  TextString();
  TextString(const char* text);  // NOLINT: texts convert from literals freely
  TextString(const char* source, unsigned count);
  TextString(const TextString& other);
  ~TextString();

  TextString& operator=(const TextString& other);
  TextString& operator=(const char* text);
  TextString& operator=(char c);

  const char* chars() const { return _value->data; }
  unsigned length() const { return _value->length; }
  unsigned capacity() const { return _value->capacity; }
  bool isEmpty() const { return _value->length == 0; }
  // Whether two handles share one representation; for tests and statistics.
  bool sharesWith(const TextString& other) const {
    return _value == other._value;
  }

  // Gives out a reference into the text, so the text stops being shared
  // from then on. An index outside the text logs and refers to a zero.
  char& operator[](int index);
  char operator[](int index) const;

  void toUpper();
  void toLower();
  void stripLeadingBlanks();
  void stripTrailingBlanks();
  void remove(unsigned start, unsigned count);

  TextString& operator+=(const TextString& other);
  TextString& operator+=(const char* text);
  TextString& operator+=(char c);
  void insert(unsigned index, const TextString& text);
  void insert(unsigned index, char c);

  TextString left(unsigned count) const;
  TextString right(unsigned count) const;
  TextString substring(unsigned start, unsigned count) const;

  // `position` is written only on success and counts from the text's start.
  bool search(const TextString& what, unsigned& position, unsigned start = 0,
              SearchDir direction = FORWARD) const;
  bool search(char what, unsigned& position, unsigned start = 0,
              SearchDir direction = FORWARD) const;

  // Two interleaved Pearson hashes; not stable between programs.
  unsigned long hash() const;

  friend bool operator==(const TextString& a, const TextString& b);
  friend bool operator<(const TextString& a, const TextString& b);
  friend int compareTexts(const TextString& a, const TextString& b);

  class StringValue : public RCObject {
   public:
    StringValue(const char* source, unsigned length, unsigned capacity);
    ~StringValue() override;
    StringValue(const StringValue&) = delete;
    StringValue& operator=(const StringValue&) = delete;

    char* data;
    unsigned length;
    unsigned capacity;
  };

 private:
  explicit TextString(StringValue* value);
  static StringValue* emptyValue();
  static unsigned grownCapacity(unsigned length);
  void hold(StringValue* value);
  void adopt(const TextString& other);
  void makePrivate();
  void replaceContent(unsigned index, unsigned removed, const char* text,
                      unsigned count);
  bool searchText(const char* what, unsigned whatLength, unsigned& position,
                  unsigned start, SearchDir direction) const;
  void checkIndex(long index) const;

  StringValue* _value;
};

bool operator==(const TextString& a, const TextString& b);
inline bool operator!=(const TextString& a, const TextString& b) {
  return !(a == b);
}
bool operator<(const TextString& a, const TextString& b);
inline bool operator>(const TextString& a, const TextString& b) {
  return b < a;
}
inline bool operator<=(const TextString& a, const TextString& b) {
  return !(b < a);
}
inline bool operator>=(const TextString& a, const TextString& b) {
  return !(a < b);
}
TextString operator+(const TextString& a, const TextString& b);
TextString operator+(const TextString& a, const char* b);
TextString operator+(const TextString& a, char b);
std::ostream& operator<<(std::ostream& out, const TextString& text);

#endif  // ZEPH_INC_TEXTSTRING_H_
