#ifndef ZEPH_POINTDATA_DMDATAACCESSFNS_H_
#define ZEPH_POINTDATA_DMDATAACCESSFNS_H_

#include "AbsTime.h"
#include "SeqOf.h"
#include "Set.h"
#include "TextString.h"

// How the data tree on disk is named. A data file is a prefix, its time in
// GMT as "%Y%m%d_%H%M", and a suffix; its time is read from the name, never
// from the file. The files of a data access key lie in $ZEPH_DATA/<its
// dataDirectory>, with its baseName as prefix and its extension as suffix;
// point file sets have neither. A static product (baseName and extension
// both set, asked for in the static form) is one file found along the
// search paths, of time 1.
//
// The operations on a key log "Error in DM_DataAccessInfo constructor" for
// a key that isn't in the table and "Env var ZEPH_DATA not defined" for a
// missing or empty ZEPH_DATA, and give the empty text or null.

// The form of the time in a file name, 13 characters.
extern const char* const kDataFileTimeFormat;

TextString dmFileName(const TextString& directory, const AbsTime& time,
                      const TextString& prefix, const TextString& suffix);
TextString dmFileName(unsigned long key, const AbsTime& time,
                      bool useStatic = false);

// directory/<prefix>template<suffix>; a version of 0 or more puts its last
// two digits behind "template".
TextString dmTemplateName(const TextString& directory,
                          const TextString& prefix, const TextString& suffix,
                          int version = -1);
TextString dmTemplateName(unsigned long key, int version = -1);

TextString dmDirectory(unsigned long key);

// The times of the data files of a directory, newest first; owned by the
// caller. Names that don't have the length of a time name ("template",
// "scrfil", "*.rewrites") are passed over. An unreadable directory gives an
// empty list.
SeqOf<AbsTime>* dmFileTimes(const TextString& directory,
                            const TextString& prefix,
                            const TextString& suffix);
// The same for a key; a static product has the one time 1. Null on
// failure.
SeqOf<AbsTime>* dmFileTimes(unsigned long key, bool useStatic);
// Adds the key's times to the set; false on failure.
bool dmFileTimes(unsigned long key, bool useStatic, Set<AbsTime>& timeSet);

// Reads "YYYYMMDD_HHMM" with optional seconds "SS" behind it. Years outside
// 1971 to 2037 are refused, but for "19700101_000001", the static time 1.
// On failure the time is 0.
bool dmParseFileTime(const TextString& text, AbsTime& time);
// The time of a file path: the name behind the last slash may carry
// anything in front of its date, which is the eight characters before the
// first '_' at the ninth character or later.
bool dmParseFilePath(const TextString& path, AbsTime& time);

// The key of a data source word: the first word gives the first key, the
// second the second, anything else 0.
unsigned long dmSelectKey(const TextString& word, const char* firstWord,
                          unsigned long firstKey, const char* secondWord,
                          unsigned long secondKey);
// "ETA" 10001, "AVN" 10002: the model soundings.
unsigned long dmEtaAvnKey(const TextString& word);
// "SBN" against "CORVIN" or "LOCAL": the key pairs by their SBN key.
unsigned long dmSbnCorvinKey420(const TextString& word);
unsigned long dmSbnCorvinKey320(const TextString& word);
unsigned long dmSbnLocalKey450(const TextString& word);
unsigned long dmSbnLocalKey350(const TextString& word);
unsigned long dmSbnCorvinKey401(const TextString& word);
unsigned long dmSbnCorvinKey301(const TextString& word);

#endif  // ZEPH_POINTDATA_DMDATAACCESSFNS_H_
