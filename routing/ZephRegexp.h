#ifndef ZEPH_ROUTING_ZEPHREGEXP_H_
#define ZEPH_ROUTING_ZEPHREGEXP_H_

#include "RegexpProgram.h"

// The two calls by which clients' patterns are compiled and matched
// against product keys (the dialect is told in RegexpProgram.h).

// The compiled pattern, to be released with free; null, after a BUG line,
// for a pattern that doesn't compile. Its holder goes on: an expression
// that is null matches nothing.
ZephRegexp* zephRegcomp(const char* pattern);

// Whether `expression` finds a match anywhere in `key`. A null key
// answers false without a word.
bool comparePattern(const ZephRegexp* expression, const char* key);

#endif  // ZEPH_ROUTING_ZEPHREGEXP_H_
