#include "ToolSupport.h"

#include <cstdio>

#include "LogStream.h"

std::string jsonText(const std::string& text) {
  std::string out = "\"";
  for (unsigned char c : text) {
    if (c == '"' || c == '\\') {
      out += '\\';
      out += static_cast<char>(c);
    } else if (c < 0x20 || c >= 0x7F) {
      char escaped[8];
      std::snprintf(escaped, sizeof escaped, "\\u%04x", c);
      out += escaped;
    } else {
      out += static_cast<char>(c);
    }
  }
  return out + "\"";
}

void setUpToolLog(const char* source) {
  // The preferences are read at the first gate; an empty message writes
  // nothing, and what the preferences set is overridden below.
  if (!logGate(logStream(), LogStream::LOG_STATUS, source, __LINE__))
    logEnd(logStream());
  LogStream& log = LogStream::instance();
  for (LogStream::Sink sink : {LogStream::FILE_SINK, LogStream::COLLECTIVE})
    log.setFilter(nullptr, nullptr, sink, 0xFFFFFFFF, false);
  for (unsigned item = LogStream::TIMESTAMP; item <= LogStream::UNIXTIME;
       item <<= 1)
    log.setPrefixItem(LogStream::TTY, item, false);
}
