#include "BarTable.h"

#include <cstdlib>

#include "LogStream.h"
#include "StringTokenizer.h"

TextString BarTable::field(const SeqOf<TextString>& fields, int index) {
  TextString text = fields.at(index);
  text.stripTrailingBlanks();
  return text;
}

bool BarTable::readProfileNames(FILE* file, const TextString& path,
                                int lineLength, Dict<int, TextString>& names,
                                bool skipBadLines) {
  return read(
      file, path, lineLength,
      [&names](const SeqOf<TextString>& fields) {
        if (fields.length() < 2) return false;
        int descriptor =
            static_cast<int>(std::strtol(fields.at(0).chars(), nullptr, 10));
        names.insert(descriptor, field(fields, 1));
        return true;
      },
      skipBadLines);
}

void BarTable::split(const char* line, SeqOf<TextString>& fields) {
  fields.setLength(0);
  StringTokenizer tokens{TextString(line), TextString("|")};
  while (tokens.hasMoreTokens()) fields.append(tokens.nextToken());
}

void BarTable::corrupted(const TextString& path, const char* line) {
  ZLOG(LogStream::PROBLEM) << "Line corrupted in " << path << " [" << line
                           << "]" << std::endl;
}

void BarTable::lineError(const TextString& path, const char* line) {
  ZLOG(LogStream::PROBLEM) << "Line error in " << path << " [" << line << "]"
                           << std::endl;
}
