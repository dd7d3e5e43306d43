#include "CommsRoutingEntry.h"

#include <cstdlib>

#include "LogStream.h"

CommsRoutingEntry::CommsRoutingEntry(const IPC_Target& target,
                                     const TextString& pattern)
    : IPC_Target(target),
      _pattern(pattern),
      _regExpStruct(zephRegcomp(pattern.chars())) {}

CommsRoutingEntry::~CommsRoutingEntry() { std::free(_regExpStruct); }

void CommsRoutingEntry::compile(const TextString& pattern) {
  std::free(_regExpStruct);
  _regExpStruct = zephRegcomp(pattern.chars());
}

bool CommsRoutingEntry::matches(const char* key) const {
  ZLOG(LogStream::VERBOSE) << "matches: trying to match key" << std::endl;
  if (_regExpStruct == nullptr) return false;
  ZLOG(LogStream::VERBOSE) << "Entering comparePattern" << std::endl;
  return comparePattern(_regExpStruct, key);
}
