#include "StringTokenizer.h"

#include <cstring>
#include <ostream>

StringTokenizer::StringTokenizer(const TextString& text,
                                 const TextString& delimiters,
                                 bool returnTokens)
    : _text(text), _delim(delimiters), _returnTokens(returnTokens) {}

StringTokenizer::StringTokenizer(const TextString& text)
    : _text(text), _delim(" \t\n\r"), _returnTokens(false) {}

bool StringTokenizer::isDelimiter(char c) const {
  return c != '\0' && std::strchr(_delim.chars(), c) != nullptr;
}

// Index behind the run that starts at `start`: a run of delimiters if that
// character is one, else a run of other characters; -1 past the end.
long StringTokenizer::findTokenEnd(unsigned start) const {
  unsigned len = _text.length();
  if (start >= len) return -1;
  const char* s = _text.chars();
  bool delimiterRun = isDelimiter(s[start]);
  unsigned i = start;
  while (i < len && isDelimiter(s[i]) == delimiterRun) ++i;
  return static_cast<long>(i);
}

bool StringTokenizer::nextTokenRange(unsigned start, unsigned& tokenStart,
                                     unsigned& tokenEnd) const {
  unsigned len = _text.length();
  if (start >= len) return false;
  const char* s = _text.chars();
  if (isDelimiter(s[start]) && _returnTokens) {
    tokenStart = start;
    tokenEnd = static_cast<unsigned>(findTokenEnd(start)) - 1;
    return true;
  }
  while (start < len && isDelimiter(s[start])) ++start;
  if (start >= len) return false;
  tokenStart = start;
  tokenEnd = static_cast<unsigned>(findTokenEnd(start)) - 1;
  return true;
}

bool StringTokenizer::hasMoreTokens() const {
  unsigned tokenStart, tokenEnd;
  return nextTokenRange(0, tokenStart, tokenEnd);
}

TextString StringTokenizer::nextToken() {
  unsigned tokenStart, tokenEnd;
  if (!nextTokenRange(0, tokenStart, tokenEnd)) return TextString();
  TextString token = _text.substring(tokenStart, tokenEnd - tokenStart + 1);
  _text.remove(0, tokenEnd + 1);
  return token;
}

int StringTokenizer::countTokens() const {
  int count = 0;
  unsigned start = 0, tokenStart, tokenEnd;
  while (nextTokenRange(start, tokenStart, tokenEnd)) {
    ++count;
    start = tokenEnd + 1;
  }
  return count;
}

std::ostream& operator<<(std::ostream& out, const StringTokenizer& tokenizer) {
  return out << "StringTokenizer(str = \"" << tokenizer._text
             << "\", _delim = \"" << tokenizer._delim
             << "\", returnTokens = " << tokenizer._returnTokens << ")";
}
