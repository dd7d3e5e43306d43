#ifndef ZEPH_INC_INFOFILESERVER_H_
#define ZEPH_INC_INFOFILESERVER_H_

#include <cstdio>

#include "SeqOf.h"
#include "TextString.h"

// Finds the static text files of an installation along a process-wide list
// of search paths, so that a site can override a table by putting its own
// copy in a directory that is searched earlier.
//
// The list is made at the first call that needs it, from
// FILE_SERVER_DEFAULT_PATHS, or where that is unset or begins with "+", from
// "${ZEPH_LOCALIZATION_ROOT}/${ZEPH_LOCAL_SITE}/",
// "${ZEPH_NATL_CONFIG_DATA}/nationalData/" and "${ZEPH_HOME}/data/"; a plain
// name is tried last. Each entry is put in front of a file name as it
// stands, so it ends in "/" or is empty. The environment is read once.
//
// A name may carry its own directories: "dirA dirB|file1 file2" tries file1
// plain, behind dirA, behind dirB, then file2 the same way;
// "+dirA|file" searches the default list first and then dirA.

// Replaces each "$NAME" or "${NAME}" by the variable's value; an unset
// variable leaves nothing. A name ends at "$", "/" or "}" (a closing "}" goes
// with it). Values are not expanded again.
void expandVariables(TextString& text);

// The path of a readable file for the name, or the empty text.
TextString findInfoFile(const TextString& name);
// The file that findInfoFile finds, open for reading; null if none.
FILE* openInfoFile(const TextString& name);
bool infoFileExists(const TextString& name);
// Opens the name for writing in the first default directory where that
// works; null for an empty name or if no directory takes it.
FILE* createInfoFile(const TextString& name);
// The last path tried; after a success, the path found.
TextString lastInfoFilePath();

// Cuts `buffer` in place at `delimiter` and puts the start of each entry in
// `entries`, white space around an entry dropped. A text has one entry more
// than it has delimiters, so a delimiter at the end gives an empty last
// entry. Stops at `maxEntries`; answers the number of entries.
int splitList(char* buffer, char** entries, int maxEntries, char delimiter);

// The default search list, set up if it wasn't yet.
const SeqOf<TextString>& defaultInfoFilePaths();

// Forgets the default list and the last path, so that the next call reads
// the environment again. For tests only: a process reads it once.
void resetInfoFileServerForTests();

// What the text readers share. The included name of a line whose first
// eight characters are "#include" and which holds a name in double quotes.
bool includedFileName(const char* line, TextString& name);
// Reads one physical line, however long, without its newline. A last line
// without a newline is a line like any other; false at the end of the file.
bool readTextLine(FILE* file, TextString& line);

// Includes nest at most this deep, so that a file that includes itself ends.
const int kMaxIncludeDepth = 16;

#endif  // ZEPH_INC_INFOFILESERVER_H_
