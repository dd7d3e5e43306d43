#include "Config.h"

#include <cctype>
#include <cstdlib>
#include <cstring>
#include <new>
#include <ostream>

#include "LogStream.h"
#include "StringTokenizer.h"
#include "TextBuffer.h"

namespace {

const char* const kConfigFileName = "zeph.config";

enum class Parse { kOk, kBadFormat, kExtraneous };

TextString withoutBlanks(const TextString& text) {
  TextString result;
  bool quoted = false;
  for (const char* p = text.chars(); *p; ++p) {
    if (*p == '"') quoted = !quoted;
    if (!quoted && std::isspace(static_cast<unsigned char>(*p))) continue;
    result += *p;
  }
  return result;
}

TextString afterPosition(const TextString& text, unsigned position) {
  return text.right(text.length() - position - 1);
}

// Each scan reads one value at `p` and moves `p` behind it, or answers
// false and leaves `p` alone.
bool scan(const char*& p, int& value) {
  char* end;
  long number = strtol(p, &end, 0);
  if (end == p) return false;
  value = static_cast<int>(number);
  p = end;
  return true;
}

bool scan(const char*& p, float& value) {
  char* end;
  double number = strtod(p, &end);
  if (end == p) return false;
  value = static_cast<float>(number);
  p = end;
  return true;
}

// A quoted text without its quotes, or a bare one up to a comma.
bool scan(const char*& p, TextString& value) {
  if (*p == '"') {
    const char* close = std::strchr(p + 1, '"');
    if (close == nullptr) return false;
    value = TextString(p + 1, static_cast<unsigned>(close - p - 1));
    p = close + 1;
    return true;
  }
  const char* end = p;
  while (*end && *end != ',') ++end;
  if (end == p) return false;
  value = TextString(p, static_cast<unsigned>(end - p));
  p = end;
  return true;
}

// Two numbers with one character between them, in optional parentheses.
template <class T>
bool scan(const char*& p, CartCoord2D<T>& value) {
  const char* q = p;
  bool parenthesized = *q == '(';
  if (parenthesized) ++q;
  T x, y;
  if (!scan(q, x) || *q == '\0') return false;
  ++q;
  if (!scan(q, y)) return false;
  if (parenthesized) {
    if (*q != ')') return false;
    ++q;
  }
  value = CartCoord2D<T>(x, y);
  p = q;
  return true;
}

bool scanCorners(const char*& p, CartCoord2D<float>& lower,
                 CartCoord2D<float>& upper) {
  const char* q = p;
  if (!scan(q, lower) || *q == '\0') return false;
  ++q;
  if (!scan(q, upper)) return false;
  p = q;
  return true;
}

// Two corners, the lower first, in optional parentheses of their own.
bool scan(const char*& p, CartDomain2D<float>& value) {
  CartCoord2D<float> lower, upper;
  const char* q = p;
  const char* inner = q + 1;
  if (*q == '(' && scanCorners(inner, lower, upper) && *inner == ')') {
    q = inner + 1;
  } else if (!scanCorners(q, lower, upper)) {
    return false;
  }
  value = CartDomain2D<float>(lower, upper);
  p = q;
  return true;
}

// What stands behind a number is dropped; behind anything else it spoils
// the value.
bool dropsLeftover(const int*) { return true; }
bool dropsLeftover(const float*) { return true; }
template <class T>
bool dropsLeftover(const T*) {
  return false;
}

template <class T>
Parse parseValue(const char* p, T& value) {
  if (!scan(p, value)) return Parse::kBadFormat;
  if (*p != '\0' && !dropsLeftover(&value)) return Parse::kExtraneous;
  return Parse::kOk;
}

template <class T>
Parse parseValue(const char* p, SeqOf<T>& value) {
  SeqOf<T> items;
  for (;;) {
    T item;
    if (!scan(p, item)) return Parse::kBadFormat;
    items.append(item);
    if (dropsLeftover(&item))
      while (*p && *p != ',') ++p;
    if (*p == '\0') break;
    if (*p != ',') return Parse::kExtraneous;
    ++p;
  }
  value = items;
  return Parse::kOk;
}

void logFailedLine(const char* kind, int number, const TextString& line) {
  ZLOG(LogStream::PROBLEM) << kind << number << " failed. "
                           << "Text of line is \\" << line << "\\\n";
}

template <class V>
void dumpDict(std::ostream& out, const char* heading, const char* dictName,
              const Dict<TextString, V>& dict) {
  out << heading << "Number of elements in " << dictName << " is "
      << dict.length() << "\n";
  for (int i = 0; i < dict.length(); ++i)
    out << dictName << " key: " << dict.keyAt(i) << "; " << dictName
        << " data: " << dict.valueAt(i) << "\n";
}

template <class V>
void dumpArrayDict(std::ostream& out, const char* heading,
                   const char* dictName, const Dict<TextString, SeqOf<V>>& dict) {
  out << heading << "Number of elements in " << dictName << " is "
      << dict.length() << "\n";
  for (int i = 0; i < dict.length(); ++i) {
    out << dictName << " key: " << dict.keyAt(i) << "\n";
    const SeqOf<V>& items = dict.valueAt(i);
    for (int j = 0; j < items.length(); ++j)
      out << dictName << " data [" << j << "] is " << items[j] << "\n";
  }
}

template <class K, class V>
bool copyOut(const Dict<K, V>& dict, const K& name, V& value) {
  return dict.lookup(name, &value);
}

}  // namespace

Config::Config() {
  _tsDict.setSorted(true);
  _tsaDict.setSorted(true);
  _fcDict.setSorted(true);
  _icDict.setSorted(true);
  _iaDict.setSorted(true);
  _faDict.setSorted(true);
  _intDict.setSorted(true);
  _fcaDict.setSorted(true);
  _floatDict.setSorted(true);
  _fdDict.setSorted(true);
}

Config::~Config() {}

Config& Config::instance() {
  static Config* config = [] {
    Config* made = new (std::nothrow) Config;
    if (made == nullptr) {
      ZLOG(LogStream::PROBLEM)
          << "unable to create configuration object for file "
          << kConfigFileName << std::endl;
      static Config empty;
      return &empty;
    }
    made->read(kConfigFileName);
    return made;
  }();
  return *config;
}

void Config::read(const TextString& fileName) {
  TextBuffer buffer(fileName);
  if (buffer.numLines() == 0) {
    ZLOG(LogStream::PROBLEM) << "Config file " << fileName << " empty\n";
    return;
  }
  TypeDict types;
  for (int i = 0; i < buffer.numLines(); ++i) readLine(buffer[i], i + 1, types);
}

void Config::readLine(const TextString& text, int number, TypeDict& types) {
  TextString line = withoutBlanks(text);
  const char* s = line.chars();
  if (*s == '\0' || *s == '#') return;
  const char* equals = std::strchr(s, '=');
  const char* quote = std::strchr(s, '"');
  if (equals && equals != s && (quote == nullptr || equals < quote)) {
    define(line, static_cast<unsigned>(equals - s), number, types);
  } else if (std::strchr(s, ':')) {
    if (!assign(line, number, types))
      logFailedLine("Assignment line ", number, line);
  } else {
    ZLOG(LogStream::PROBLEM) << "Config line number" << number
                             << " (text of line is \\" << line << "\\)"
                             << "is not a recognized config line; ignored."
                             << std::endl;
  }
}

void Config::define(const TextString& line, unsigned equals, int number,
                    TypeDict& types) {
  TextString type = line.left(equals);
  TextString words = afterPosition(line, equals);
  if (words.isEmpty() || words.chars()[words.length() - 1] == ',') {
    logFailedLine("Definition line ", number, line);
    return;
  }
  StringTokenizer tokenizer(words, ",");
  while (tokenizer.hasMoreTokens()) {
    TextString word = tokenizer.nextToken();
    if (types.lookup(word)) {
      ZLOG(LogStream::PROBLEM) << "Name " << word
                               << " defined more than once in Config file."
                               << std::endl;
    }
    types.insert(word, type);
  }
}

bool Config::assign(const TextString& line, int number,
                    const TypeDict& types) {
  unsigned colon = 0;
  line.search(':', colon);
  TextString name = line.left(colon);
  TextString value = afterPosition(line, colon);
  unsigned period;
  if (!name.search('.', period)) {
    ZLOG(LogStream::PROBLEM)
        << "Config file line " << number
        << "; couldn't get type-name following period, name=" << name
        << std::endl;
    return false;
  }
  if (value.isEmpty()) return false;
  TextString word = afterPosition(name, period);
  TextString type;
  if (!types.lookup(word, &type)) {
    ZLOG(LogStream::PROBLEM) << name << "'s type not known, line " << number
                             << ".  Definition line not found for " << word
                             << std::endl;
    return false;
  }
  return store(name, type, value.chars(), number);
}

bool Config::store(const TextString& name, const TextString& type,
                   const char* value, int number) {
  if (type == "TextString") return storeValue(_tsDict, name, type, value, number);
  if (type == "SeqOfTextString")
    return storeValue(_tsaDict, name, type, value, number);
  if (type == "CartCoord2DFloat")
    return storeValue(_fcDict, name, type, value, number);
  if (type == "CartCoord2DInt")
    return storeValue(_icDict, name, type, value, number);
  if (type == "SeqOfInt") return storeValue(_iaDict, name, type, value, number);
  if (type == "SeqOfFloat") return storeValue(_faDict, name, type, value, number);
  if (type == "int") return storeValue(_intDict, name, type, value, number);
  if (type == "SeqOfCartCoord2DFloat")
    return storeValue(_fcaDict, name, type, value, number);
  if (type == "float") return storeValue(_floatDict, name, type, value, number);
  if (type == "CartDomain2DFloat")
    return storeValue(_fdDict, name, type, value, number);
  ZLOG(LogStream::PROBLEM) << "System error.  Type " << type << " on line "
                           << number << " is not in Config class; ignoring."
                           << std::endl;
  return false;
}

template <class T>
bool Config::storeValue(Dict<TextString, T>& dict, const TextString& name,
                        const TextString& type, const char* value,
                        int number) {
  T parsed;
  switch (parseValue(value, parsed)) {
    case Parse::kBadFormat:
      ZLOG(LogStream::PROBLEM) << "incorrect " << type << " format, line "
                               << number << " ignored." << std::endl;
      return false;
    case Parse::kExtraneous:
      ZLOG(LogStream::PROBLEM)
          << "extraneous data on line following CartCoord2DFloat. "
          << "Line " << number << " ignored." << std::endl;
      return false;
    case Parse::kOk:
      break;
  }
  if (dict.lookup(name)) {
    ZLOG(LogStream::EVENT) << name
                           << " existed, has been replaced by new value."
                           << std::endl;
  }
  dict.insert(name, parsed);
  return true;
}

bool Config::get(const TextString& name, TextString& value) const {
  return copyOut(_tsDict, name, value);
}
bool Config::get(const TextString& name, SeqOf<TextString>& value) const {
  return copyOut(_tsaDict, name, value);
}
bool Config::get(const TextString& name, CartCoord2D<float>& value) const {
  return copyOut(_fcDict, name, value);
}
bool Config::get(const TextString& name, CartCoord2D<int>& value) const {
  return copyOut(_icDict, name, value);
}
bool Config::get(const TextString& name, SeqOf<int>& value) const {
  return copyOut(_iaDict, name, value);
}
bool Config::get(const TextString& name, SeqOf<float>& value) const {
  return copyOut(_faDict, name, value);
}
bool Config::get(const TextString& name, int& value) const {
  return copyOut(_intDict, name, value);
}
bool Config::get(const TextString& name,
                 SeqOf<CartCoord2D<float>>& value) const {
  return copyOut(_fcaDict, name, value);
}
bool Config::get(const TextString& name, float& value) const {
  return copyOut(_floatDict, name, value);
}
bool Config::get(const TextString& name, CartDomain2D<float>& value) const {
  return copyOut(_fdDict, name, value);
}

void Config::set(const TextString& name, const TextString& value) {
  _tsDict.insert(name, value);
}
void Config::set(const TextString& name, const SeqOf<TextString>& value) {
  _tsaDict.insert(name, value);
}
void Config::set(const TextString& name, const CartCoord2D<float>& value) {
  _fcDict.insert(name, value);
}
void Config::set(const TextString& name, const CartCoord2D<int>& value) {
  _icDict.insert(name, value);
}
void Config::set(const TextString& name, const SeqOf<int>& value) {
  _iaDict.insert(name, value);
}
void Config::set(const TextString& name, const SeqOf<float>& value) {
  _faDict.insert(name, value);
}
void Config::set(const TextString& name, int value) {
  _intDict.insert(name, value);
}
void Config::set(const TextString& name,
                 const SeqOf<CartCoord2D<float>>& value) {
  _fcaDict.insert(name, value);
}
void Config::set(const TextString& name, float value) {
  _floatDict.insert(name, value);
}
void Config::set(const TextString& name, const CartDomain2D<float>& value) {
  _fdDict.insert(name, value);
}

void Config::configDump(std::ostream& out) const {
  out << "\nconfigDump Output: Contents of private Config Dictionaries.";
  dumpDict(out, "\nDict<TextString,TextString>: ", "_tsDict", _tsDict);
  dumpArrayDict(out, "\nTextString Array Dictionary: ", "_tsaDict", _tsaDict);
  dumpDict(out, "\nCartCoord2D<float> Dictionary: ", "_fcDict", _fcDict);
  dumpDict(out, "\nCartCoord2D<int> Dictionary: ", "_icDict", _icDict);
  dumpDict(out, "\nCartDomain2D<float> Dictionary: ", "_fdDict", _fdDict);
  dumpArrayDict(out, "\nCartCoord2D<float> Array Dictionary: ", "_fcaDict",
                _fcaDict);
  dumpArrayDict(out, "\nFloat Array Dictionary: ", "_faDict", _faDict);
  dumpArrayDict(out, "\nInt Array Dictionary: ", "_iaDict", _iaDict);
  dumpDict(out, "\nInteger Dictionary: ", "_intDict", _intDict);
  dumpDict(out, "\nFloat Dictionary: ", "_floatDict", _floatDict);
}
