#include "TextBuffer.h"

#include <cstdio>

#include "InfoFileServer.h"
#include "LogStream.h"

TextBuffer::TextBuffer(const TextString& name) { read(name, 0); }

TextBuffer::~TextBuffer() {}

void TextBuffer::read(const TextString& name, int depth) {
  FILE* file = openInfoFile(name);
  if (file == nullptr) return;
  TextString logical;
  TextString physical;
  while (readTextLine(file, physical)) {
    unsigned at;
    bool comment = physical.search("//", at);
    if (comment) physical = physical.left(at);
    logical += physical;
    if (comment && logical.isEmpty()) continue;
    if (!logical.isEmpty() && logical.chars()[logical.length() - 1] == '\\') {
      logical = logical.left(logical.length() - 1);
      continue;
    }
    addLine(logical, depth);
    logical = TextString();
  }
  // A backslash on the very last line has nothing left to join.
  if (!logical.isEmpty()) addLine(logical, depth);
  fclose(file);
}

void TextBuffer::addLine(const TextString& line, int depth) {
  TextString included;
  if (!includedFileName(line.chars(), included)) {
    _lines.append(line);
    return;
  }
  if (depth + 1 >= kMaxIncludeDepth) {
    ZLOG(LogStream::PROBLEM) << "Includes nested too deeply; " << included
                             << " not read" << std::endl;
    return;
  }
  read(included, depth + 1);
}

bool TextBuffer::write(const TextString& path) const {
  TextString expanded = path;
  expandVariables(expanded);
  FILE* file = fopen(expanded.chars(), "w");
  if (file == nullptr) return false;
  bool ok = true;
  for (int i = 0; i < _lines.length(); ++i)
    if (fprintf(file, "%s\n", _lines[i].chars()) < 0) ok = false;
  if (fclose(file) != 0) ok = false;
  return ok;
}
