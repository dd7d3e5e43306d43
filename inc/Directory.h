#ifndef ZEPH_INC_DIRECTORY_H_
#define ZEPH_INC_DIRECTORY_H_

#include "AbsTime.h"
#include "SeqOf.h"
#include "TextString.h"

// Lists a directory and deletes old files from it. The caller sets the
// fields and calls scan():
//
//   Directory dir;
//   dir.directory = "/data/raw/acars/";
//   dir.useRegexp = true;
//   dir.pattern = "IUA.0[1|2]";
//   dir.scan();
//   for (int i = 0; i < dir.length(); ++i) ... dir[i] ...
//
// Names that begin with "." are left out unless `showHidden`. An expression
// matches anywhere in a name; `regexpMode` 0 is basic, 1 basic ignoring
// case, 2 extended, 3 extended ignoring case.
class Directory {
 public:
  Directory();

  // Fills `names`; a failure leaves them as they were.
  void scan();
  // Deletes the files among `names` last modified before `time`, from the
  // last name to the first; false if anything failed. Deleted names leave
  // `names`. The working directory is the same afterwards.
  bool purge(const AbsTime& time);
  bool purge(int days);

  int length() const { return names.length(); }
  // The empty text for an index out of range.
  const TextString& operator[](int index) const;

  SeqOf<TextString> names;
  TextString directory;
  TextString prefix;
  TextString suffix;
  TextString pattern;
  bool sorted;
  bool showHidden;
  bool useRegexp;
  int regexpMode;

 private:
  bool wanted(const char* name, const void* expression) const;
  bool purgeHere(const AbsTime& time);
};

#endif  // ZEPH_INC_DIRECTORY_H_
