#ifndef ZEPH_ROUTING_PRODUCTKEY_H_
#define ZEPH_ROUTING_PRODUCTKEY_H_

#include "SeqOf.h"
#include "TextString.h"

// A product's key is a short text inside its bytes, found by the list of
// known key beginnings in $ZEPH_HOME/data/patterns.txt: words divided by
// any white space, in the order of the file. The words are plain text.

// The longest key, without its terminator.
const int kLongestKey = 20;

// The words of the file, or null after a PROBLEM line. The caller owns
// the list.
SeqOf<TextString>* readPatterns();

// The key of `message`, which holds `length` bytes and a zero byte behind
// them, or null. The first position where any word stands wins, and there
// the first word of the list; the key is what stands from there, at most
// kLongestKey bytes (fewer in a shorter message), up to the first blank or
// the message's terminator. The answer lies in a buffer of the process
// that the next call overwrites.
//
// The list is read at the first call that finds the file and kept for the
// life of the process; until then each call tries again.
const char* findKey(const char* message, int length);

#endif  // ZEPH_ROUTING_PRODUCTKEY_H_
