#ifndef ZEPH_POINTDATA_DMREDBOOKFNS_H_
#define ZEPH_POINTDATA_DMREDBOOKFNS_H_

#include "TextString.h"

class DataTime;

// Look-ups of incoming redbook graphics and of groups of graphic keys in
// the data access table. A group is the keys of one thousand behind its
// master key; a redbook graphic's key has a description that begins with
// the six characters that begin the name of its files, behind which the
// name carries the file's time ("PEBA50_20240601_1200").

// The key, the data time and the path in the data tree of an incoming
// redbook file. The time is the file's time brought to the key's period
// and phase, valid for its span. Where a file of that path exists already,
// the files of the last half period (at most 30 minutes) up to it move
// one minute back, so that the new file doesn't replace one that came
// before. false, after logging, if the name isn't that of a known graphic.
bool redbookFileInfo(const TextString& path, unsigned long& key,
                     DataTime& dataTime, TextString& newPath);

// The master key of the group whose keys include one described by
// `description`, or 0: the group of key 11001 and that of key 9000.
unsigned long dmGroupKey11001(const TextString& description);
unsigned long dmGroupKey9000(const TextString& description);

// Forgets the tables read from the data access table. For tests only: a
// process reads them once.
void resetRedbookLookupsForTests();

#endif  // ZEPH_POINTDATA_DMREDBOOKFNS_H_
