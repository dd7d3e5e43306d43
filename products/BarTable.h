#ifndef ZEPH_PRODUCTS_BARTABLE_H_
#define ZEPH_PRODUCTS_BARTABLE_H_

#include <cstdio>

#include "Dict.h"
#include "SeqOf.h"
#include "TextString.h"

// Reads the product tables whose lines hold fields between "|": each line
// taken with fgets into `lineLength` characters (a longer line comes in
// pieces), a line that begins with "#" skipped, empty fields dropped. The
// newline stays with the last field, so a wanted field is never the last
// one of a line. `take` gets the fields of each line and answers false
// for a line it can't use, which ends the reading with the line logged as
// corrupted; the answer is then false, and what was taken stays. A table
// read with `skipBadLines` logs such a line as an error instead, passes it
// over and goes on.
class BarTable {
 public:
  template <class Take>
  static bool read(FILE* file, const TextString& path, int lineLength,
                   Take take, bool skipBadLines = false) {
    SeqOf<TextString> fields;
    char* line = new char[lineLength];
    bool ok = true;
    while (ok && std::fgets(line, lineLength, file)) {
      if (line[0] == '#') continue;
      split(line, fields);
      if (take(fields)) continue;
      if (skipBadLines) {
        lineError(path, line);
      } else {
        corrupted(path, line);
        ok = false;
      }
    }
    delete[] line;
    return ok;
  }

  // Trailing blanks dropped.
  static TextString field(const SeqOf<TextString>& fields, int index);

  // A profile table: the descriptor as a decimal number, then the name of
  // its profile.
  static bool readProfileNames(FILE* file, const TextString& path,
                               int lineLength, Dict<int, TextString>& names,
                               bool skipBadLines = false);

 private:
  static void split(const char* line, SeqOf<TextString>& fields);
  static void corrupted(const TextString& path, const char* line);
  static void lineError(const TextString& path, const char* line);
};

#endif  // ZEPH_PRODUCTS_BARTABLE_H_
