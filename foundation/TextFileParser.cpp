#include "TextFileParser.h"

#include <cctype>
#include <cstring>
#include <vector>

#include "InfoFileServer.h"
#include "LogStream.h"
#include "StringTokenizer.h"

TextFileParser::TextFileParser() : _file(nullptr), _lineNumber(0) {}

TextFileParser::~TextFileParser() {
  for (int i = _fileStack.length() - 1; i >= 0; --i) fclose(_fileStack[i]);
}

bool TextFileParser::open(const TextString& name) {
  FILE* file = openInfoFile(name);
  if (file == nullptr) return false;
  int depth = _lineStack.length();
  if (depth > 0) _lineStack[depth - 1] = _lineNumber;  // where to go on
  _file = file;
  _fileName = lastInfoFilePath();
  _lineNumber = 0;
  _fileStack.append(_file);
  _nameStack.append(_fileName);
  _lineStack.append(_lineNumber);
  return true;
}

void TextFileParser::closeCurrent() {
  if (fclose(_file) != 0) {
    ZLOG(LogStream::PROBLEM) << "Error closing file " << _fileName << std::endl;
  }
  int top = _fileStack.length() - 1;
  _fileStack.setLength(top);
  _nameStack.setLength(top);
  _lineStack.setLength(top);
  if (top == 0) {
    _file = nullptr;
    return;
  }
  _file = _fileStack[top - 1];
  _fileName = _nameStack[top - 1];
  _lineNumber = _lineStack[top - 1];
}

bool TextFileParser::nextLine(TextString& text) {
  TextString line;
  while (_file) {
    if (!readTextLine(_file, line)) {
      closeCurrent();
      continue;
    }
    ++_lineNumber;
    TextString included;
    if (includedFileName(line.chars(), included)) {
      if (_fileStack.length() >= kMaxIncludeDepth) {
        ZLOG(LogStream::PROBLEM) << "Includes nested too deeply; " << included
                                 << " not read" << std::endl;
      } else {
        open(included);
      }
      continue;
    }
    unsigned at;
    if (line.search('#', at)) line = line.left(at);
    if (std::strncmp(line.chars(), "//", 2) == 0) line = TextString();
    if (line.isEmpty()) continue;
    text = line;
    return true;
  }
  return false;
}

TextString TextFileParser::location() const {
  char number[32];
  snprintf(number, sizeof number, "%ld", _lineNumber);
  return TextString("line ") + number + " in file " + _fileName;
}

int TextFileParser::tokens(const TextString& text, SeqOf<TextString>& list) {
  list.setLength(0);
  StringTokenizer tokenizer(text);
  while (tokenizer.hasMoreTokens()) list.append(tokenizer.nextToken());
  return list.length();
}

int TextFileParser::tokens(const TextString& text, char delimiter,
                           SeqOf<TextString>& list) {
  list.setLength(0);
  const char* p = text.chars();
  while (*p && std::isspace(static_cast<unsigned char>(*p))) ++p;
  if (*p == '\0') return 0;
  int pieces = 1;
  for (p = text.chars(); *p; ++p)
    if (*p == delimiter) ++pieces;
  std::vector<char> buffer(text.chars(), text.chars() + text.length() + 1);
  std::vector<char*> starts(pieces);
  int n = splitList(buffer.data(), starts.data(), pieces, delimiter);
  for (int i = 0; i < n; ++i) list.append(starts[i]);
  return n;
}
