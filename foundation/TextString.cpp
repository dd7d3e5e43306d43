#include "TextString.h"

#include <cctype>
#include <cstdlib>
#include <cstring>
#include <ostream>
#include <string>

#include "LogStream.h"

TextString::StringValue::StringValue(const char* source, unsigned len,
                                     unsigned cap)
    : data(new char[cap + 1]), length(len), capacity(cap) {
  if (len > 0) std::memcpy(data, source, len);
  data[len] = '\0';
}

TextString::StringValue::~StringValue() { delete[] data; }

// The empty text is one representation for the whole process, so that the
// many empty values (default members, cleared fields) cost no allocation.
TextString::StringValue* TextString::emptyValue() {
  static TextString empty(new StringValue("", 0, 0));
  return empty._value;
}

// The margin that makes appending one character at a time cheap: ten
// characters or ten percent, whichever is more.
unsigned TextString::grownCapacity(unsigned length) {
  unsigned byFactor = static_cast<unsigned>(length * 1.1f);
  return byFactor > length + 10 ? byFactor : length + 10;
}

TextString::TextString(StringValue* value) { hold(value); }

TextString::TextString() { hold(emptyValue()); }

TextString::TextString(const char* text) {
  unsigned len = text ? std::strlen(text) : 0;
  hold(len == 0 ? emptyValue() : new StringValue(text, len, len));
}

TextString::TextString(const char* source, unsigned count) {
  if (source == nullptr) {
    hold(emptyValue());
    return;
  }
  StringValue* value = new StringValue("", 0, count);
  std::strncpy(value->data, source, count);
  value->data[count] = '\0';
  value->length = count;
  hold(value);
}

TextString::TextString(const TextString& other) { adopt(other); }

TextString::~TextString() { _value->removeReference(); }

TextString& TextString::operator=(const TextString& other) {
  if (_value == other._value) return *this;
  StringValue* old = _value;
  adopt(other);
  old->removeReference();
  return *this;
}

TextString& TextString::operator=(const char* text) {
  return *this = TextString(text);
}

TextString& TextString::operator=(char c) {
  static char buffer[2];
  buffer[0] = c;
  buffer[1] = '\0';
  return *this = TextString(buffer);
}

void TextString::hold(StringValue* value) {
  _value = value;
  _value->addReference();
}

// The copy rule: share what may be shared, else take an exact private copy.
void TextString::adopt(const TextString& other) {
  StringValue* value = other._value;
  if (value->isShareable()) {
    hold(value);
  } else {
    unsigned len = std::strlen(value->data);
    hold(new StringValue(value->data, len, len));
  }
}

void TextString::makePrivate() {
  if (_value->referenceCount() <= 1) return;
  StringValue* copy =
      new StringValue(_value->data, _value->length, _value->length);
  _value->removeReference();
  hold(copy);
}

void TextString::checkIndex(long index) const {
  ZLOG(LogStream::BUG)
      << "index out of range in TextString::checkIndex() "
      << " stringSize=" << _value->length
      << " user-index=" << static_cast<unsigned>(index) << std::endl;
}

char& TextString::operator[](int index) {
  if (static_cast<unsigned>(index) >= _value->length) {
    checkIndex(index);
    static char zero;
    zero = '\0';
    return zero;
  }
  makePrivate();
  _value->markUnshareable();
  return _value->data[index];
}

char TextString::operator[](int index) const {
  if (static_cast<unsigned>(index) >= _value->length) {
    checkIndex(index);
    return '\0';
  }
  return _value->data[index];
}

void TextString::toUpper() {
  makePrivate();
  for (char* p = _value->data; *p; ++p)
    *p = static_cast<char>(std::toupper(static_cast<unsigned char>(*p)));
}

void TextString::toLower() {
  makePrivate();
  for (char* p = _value->data; *p; ++p)
    *p = static_cast<char>(std::tolower(static_cast<unsigned char>(*p)));
}

void TextString::stripLeadingBlanks() {
  makePrivate();
  char* data = _value->data;
  unsigned skip = 0;
  while (data[skip] == ' ') ++skip;
  if (skip > 0) std::memmove(data, data + skip, std::strlen(data + skip) + 1);
  _value->length = std::strlen(data);
}

void TextString::stripTrailingBlanks() {
  makePrivate();
  char* data = _value->data;
  unsigned len = std::strlen(data);
  while (len > 0 && data[len - 1] == ' ') --len;
  data[len] = '\0';
  _value->length = len;
}

void TextString::remove(unsigned start, unsigned count) {
  makePrivate();
  unsigned len = _value->length;
  if (start >= len) {
    checkIndex(start);
    start = len;
  }
  unsigned removed = count < len - start ? count : len - start;
  char* data = _value->data;
  std::memmove(data + start, data + start + removed, len - start - removed + 1);
  _value->length = std::strlen(data);
}

// Puts `count` characters before `index`: in place when the text is ours
// and has room, else into a new representation with a margin to grow.
void TextString::replaceContent(unsigned index, unsigned removed,
                                const char* text, unsigned count) {
  unsigned len = _value->length;
  unsigned newLength = len - removed + count;
  const char* data = _value->data;
  bool aliased = text >= data && text <= data + _value->capacity;
  if (_value->referenceCount() <= 1 && newLength <= _value->capacity &&
      !aliased) {
    char* d = _value->data;
    std::memmove(d + index + count, d + index + removed,
                 len - index - removed + 1);
    std::memcpy(d + index, text, count);
    _value->length = newLength;
    return;
  }
  std::string content(data, index);
  content.append(text, count);
  content.append(data + index + removed, len - index - removed);
  StringValue* value =
      new StringValue(content.data(), newLength, grownCapacity(newLength));
  _value->removeReference();
  hold(value);
}

TextString& TextString::operator+=(const TextString& other) {
  replaceContent(_value->length, 0, other.chars(), other.length());
  return *this;
}

TextString& TextString::operator+=(const char* text) {
  if (text) replaceContent(_value->length, 0, text, std::strlen(text));
  return *this;
}

TextString& TextString::operator+=(char c) {
  replaceContent(_value->length, 0, &c, 1);
  return *this;
}

void TextString::insert(unsigned index, const TextString& text) {
  if (index >= _value->length) {
    checkIndex(index);
    index = _value->length;
  }
  replaceContent(index, 0, text.chars(), text.length());
}

void TextString::insert(unsigned index, char c) {
  if (index >= _value->length) {
    checkIndex(index);
    index = _value->length;
  }
  replaceContent(index, 0, &c, 1);
}

TextString TextString::left(unsigned count) const {
  if (count >= _value->length) return *this;
  return TextString(_value->data, count);
}

TextString TextString::right(unsigned count) const {
  if (_value->length <= count) return *this;
  return TextString(_value->data + _value->length - count, count);
}

TextString TextString::substring(unsigned start, unsigned count) const {
  unsigned len = _value->length;
  if (start >= len) {
    checkIndex(start);
    return TextString();
  }
  return TextString(_value->data + start,
                    count < len - start ? count : len - start);
}

bool TextString::searchText(const char* what, unsigned whatLength,
                            unsigned& position, unsigned start,
                            SearchDir direction) const {
  unsigned len = _value->length;
  if (len == 0 && start == 0) return false;
  if (start >= len) {
    checkIndex(start);
    start = len;
  }
  const char* data = _value->data;
  if (direction == FORWARD) {
    const char* found = whatLength == 1 ? std::strchr(data + start, what[0])
                                        : std::strstr(data + start, what);
    if (found == nullptr) return false;
    position = found - data;
    return true;
  }
  if (direction == BACKWARD) {
    unsigned window = start + 1 < len ? start + 1 : len;
    if (whatLength > window) return false;
    for (unsigned pos = window - whatLength + 1; pos-- > 0;) {
      if (std::memcmp(data + pos, what, whatLength) == 0) {
        position = pos;
        return true;
      }
    }
    return false;
  }
  ZLOG(LogStream::BUG)
      << "Unknown SearchDir specified" << std::endl;
  return false;
}

bool TextString::search(const TextString& what, unsigned& position,
                        unsigned start, SearchDir direction) const {
  return searchText(what.chars(), what.length(), position, start, direction);
}

bool TextString::search(char what, unsigned& position, unsigned start,
                        SearchDir direction) const {
  char text[2] = {what, '\0'};
  return searchText(text, 1, position, start, direction);
}

namespace {

// A permutation of the octet values, shuffled once per process.
const unsigned char* pearsonTable() {
  static unsigned char table[256];
  static bool ready = false;
  if (!ready) {
    for (int i = 0; i < 256; ++i) table[i] = static_cast<unsigned char>(i);
    for (int i = 0; i < 256; ++i) {
      int j = std::rand() & 255;
      unsigned char t = table[i];
      table[i] = table[j];
      table[j] = t;
    }
    ready = true;
  }
  return table;
}

}  // namespace

unsigned long TextString::hash() const {
  const unsigned char* table = pearsonTable();
  unsigned h1 = 0, h2 = 0;
  const unsigned char* p = reinterpret_cast<const unsigned char*>(chars());
  for (unsigned i = 0; p[i]; ++i) {
    if (i % 2 == 0)
      h1 = table[p[i] ^ h1];
    else
      h2 = table[p[i] ^ h2];
  }
  return h1 * 256UL + h2;
}

int compareTexts(const TextString& a, const TextString& b) {
  if (a._value == b._value) return 0;
  unsigned char ca = static_cast<unsigned char>(a._value->data[0]);
  unsigned char cb = static_cast<unsigned char>(b._value->data[0]);
  if (ca != cb) return ca < cb ? -1 : 1;
  return std::strcmp(a._value->data, b._value->data);
}

bool operator==(const TextString& a, const TextString& b) {
  return compareTexts(a, b) == 0;
}

bool operator<(const TextString& a, const TextString& b) {
  return compareTexts(a, b) < 0;
}

TextString operator+(const TextString& a, const TextString& b) {
  TextString result(a);
  result += b;
  return result;
}

TextString operator+(const TextString& a, const char* b) {
  TextString result(a);
  result += b;
  return result;
}

TextString operator+(const TextString& a, char b) {
  TextString result(a);
  result += b;
  return result;
}

std::ostream& operator<<(std::ostream& out, const TextString& text) {
  return out << text.chars();
}
