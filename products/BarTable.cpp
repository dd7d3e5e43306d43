#include "BarTable.h"

#include "LogStream.h"
#include "StringTokenizer.h"

TextString BarTable::field(const SeqOf<TextString>& fields, int index) {
  TextString text = fields.at(index);
  text.stripTrailingBlanks();
  return text;
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
