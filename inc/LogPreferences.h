#ifndef ZEPH_INC_LOGPREFERENCES_H_
#define ZEPH_INC_LOGPREFERENCES_H_

#include <cstdio>

// The log preference file: which categories of which source files of which
// programs reach which sink, what each sink's prefix shows, which
// categories end the process, and whether an unterminated message is
// completed. One file serves all the programs of a system, since a filter
// may name a program:
//
//   # program  source file  sink  category  value
//   all        all          tty   debug     = on
//   bufrDecoder  bufr/BufrDecoder.cpp  file  verbose = on
//   tty timestamp = on          collective filename = on
//   bug abort = on              forceendl = off
//
// Keywords are matched without regard to case; other words name programs
// and source files (exactly as the log gate gets them).

// Reads the preference file into the state of the log stream; called once,
// at the first log gate. The file is the one LOG_PREF names, else
// ".logPref" here, else ".logPref" in HOME. True if the preferences were
// read or there were none.
bool readLogPreferences();

// Reads the statements of an open preference file. The first statement
// that fails ends the reading, with its "Line N: ..." message on the log,
// and answers false; what came before it stays in force.
bool readLogPreferences(std::FILE* file);

#endif  // ZEPH_INC_LOGPREFERENCES_H_
