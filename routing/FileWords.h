#ifndef ZEPH_ROUTING_FILEWORDS_H_
#define ZEPH_ROUTING_FILEWORDS_H_

#include <cstdio>

#include "TextString.h"

// The next word of `file`: characters between white space, of any length.
// False at the end of the file or on a read error, which ferror tells
// apart; `word` is then empty.
bool readFileWord(FILE* file, TextString& word);

#endif  // ZEPH_ROUTING_FILEWORDS_H_
