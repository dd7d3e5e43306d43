#ifndef ZEPH_BUFR_BUFRENGINESTATE_H_
#define ZEPH_BUFR_BUFRENGINESTATE_H_

// What the engine keeps for the whole process rather than per decoder: one
// message is decoded at a time, and some state (the compressed reader, the
// time of the last Section 1) deliberately outlives a message.
#include "Dict.h"
#include "TextString.h"

struct BufrEngineState {
  long messageLength = 0;
  long bytesConsumed = 0;
  bool tablesTried = false;
  bool tablesLoaded = false;

  // The time parts of the last Section 1, the year as reduced there.
  int year = 0;
  int month = 0;
  int day = 0;
  int hour = 0;
  int minute = 0;

  // This message's Section 4 is shorter than 61 octets.
  bool shortData = false;

  // The compressed reader between the subsets of one element; a width of
  // 0 means that the next value opens a new element.
  int width = 0;
  int reference = 0;
  int exponent = 0;
  int incrementWidth = 0;
  bool referenceAllOnes = false;

  // Pattern file name to the pattern composed from it; a file is read once
  // in the life of the process.
  Dict<TextString, TextString> patternCache;

  // Ends the process at the one Table D miss that the expansion can't
  // step over; a fuzzing harness puts a function here that returns, and the
  // miss then counts as any other.
  void (*fatalTableMiss)(int status) = exitProcess;

  static void exitProcess(int status);
  static BufrEngineState& get() {
    static BufrEngineState state;
    return state;
  }
};

#endif  // ZEPH_BUFR_BUFRENGINESTATE_H_
