#ifndef ZEPH_ROUTING_COMMSROUTINGENTRY_H_
#define ZEPH_ROUTING_COMMSROUTINGENTRY_H_

#include "IPC_Target.h"
#include "TextString.h"
#include "ZephRegexp.h"

// One client of the comms router: its target, and the pattern it asked
// by, compiled once so that a product costs no parsing.
class CommsRoutingEntry : public IPC_Target {
 public:
  // A pattern that doesn't compile leaves an entry that matches nothing.
  CommsRoutingEntry(const IPC_Target& target, const TextString& pattern);
  ~CommsRoutingEntry();
  CommsRoutingEntry(const CommsRoutingEntry&) = delete;
  CommsRoutingEntry& operator=(const CommsRoutingEntry&) = delete;

  bool matches(const char* key) const;

  const TextString& pattern() const { return _pattern; }
  bool compiled() const { return _regExpStruct != nullptr; }

 protected:
  // Compiles `pattern` into what `matches` uses; the entry's pattern text
  // stays as it is.
  void compile(const TextString& pattern);

 private:
  TextString _pattern;
  ZephRegexp* _regExpStruct;  // from malloc; null if it didn't compile
};

#endif  // ZEPH_ROUTING_COMMSROUTINGENTRY_H_
