#ifndef ZEPH_POINTDATA_DM_DATAACCESSINFO_H_
#define ZEPH_POINTDATA_DM_DATAACCESSINFO_H_

#include "SeqOf.h"
#include "TextString.h"

class DM_DataAccessInfoDict;

// What the data access table says about one numeric data access key: where
// its files lie, how they are named, and how the data is to be treated. A
// copy of the table's record, so it stays valid whatever the table evicts.
// A key that isn't in the table gives a record of key 0.
//
// A composite record has no files of its own: it lists parts, each a key
// and a value, in place of a directory.
class DM_DataAccessInfo {
 public:
  // The invalid record.
  DM_DataAccessInfo();
  // Looks the key up, setting up the process's table if need be.
  explicit DM_DataAccessInfo(unsigned long key);

  unsigned long key() const { return _key; }
  bool isValid() const { return _key != 0; }
  const TextString& name() const { return _name; }
  int dataKind() const { return _dataKind; }
  long span() const { return _span; }
  float spanFloat() const { return _spanFloat; }
  // A negative span counts days, 0 to 240 hours, anything above seconds;
  // a span beyond a century is held at a century.
  long spanSeconds() const;
  long flags() const { return _flags; }
  float flagsFloat() const { return _flagsFloat; }
  float flagsFloat2() const { return _flagsFloat2; }
  // Bits 0, 1 and 2 of the flags; false for any other bit.
  bool flag(int bit) const;
  long limit() const { return _limit; }
  // 0 in the table means no limit, given as 1e37.
  float limitFloat() const;
  float limitFloat2() const { return _limitFloat2; }
  long limitInt2() const { return static_cast<long>(_limitFloat2); }
  long period() const { return _period; }
  long phase() const { return _phase; }
  const SeqOf<unsigned long>& partKeys() const { return _partKeys; }
  const SeqOf<float>& partValues() const { return _partValues; }
  const TextString& dataDirectory() const { return _dataDirectory; }
  const TextString& baseName() const { return _baseName; }
  const TextString& extension() const { return _extension; }
  const TextString& description() const { return _description; }
  // The record came from a temporary file, not from the table.
  bool temporary() const { return _temporary; }

  TextString fileName() const { return _baseName + _extension; }
  // By extension: ".spi" 0, ".lpi" 1, ".bcd" 2, ".bcx" and any other 3;
  // without one, 4 with no directory, 6 for a directory list, else 5.
  int fileClass() const;
  bool isComposite() const { return _partKeys.length() > 0; }
  // The keys of actual data behind this one, composites resolved; owned by
  // the caller. A composite among its own parts is resolved once, and the
  // resolution stops after a few thousand parts, after logging either.
  SeqOf<unsigned long>* leafKeys() const;

 private:
  friend class DM_DataAccessInfoDict;

  void addLeafKeys(SeqOf<unsigned long>& keys, SeqOf<unsigned long>& path,
                   int& lookups) const;

  unsigned long _key;
  TextString _name;
  int _dataKind;
  long _span;
  float _spanFloat;
  long _flags;
  float _flagsFloat;
  float _flagsFloat2;
  long _limit;
  float _limitFloat;
  float _limitFloat2;
  long _period;
  long _phase;
  SeqOf<unsigned long> _partKeys;
  SeqOf<float> _partValues;
  TextString _dataDirectory;
  TextString _baseName;
  TextString _extension;
  TextString _description;
  bool _temporary;
};

// The process's data access table, set up at the first call of any of
// these. Its file is the configured "DataAccessInfo.dictName" (by default
// "dataInfo") with ".txt", found along the search paths. A table without
// keys isn't kept: the next call tries again. Null while it can't be read.
DM_DataAccessInfoDict* dataAccessDict();
int dataAccessKeyCount();
// The key at a position in file order; 0 out of range.
unsigned long dataAccessKeyAt(int index);
// A table name that is searched ahead of the configured one; to be set
// before the first lookup.
void setDataAccessOverride(const TextString& name);

// Drops the table and the override, so that the next call reads the
// configuration and the file again. For tests only: a process keeps its
// table.
void resetDataAccessInfoForTests();

#endif  // ZEPH_POINTDATA_DM_DATAACCESSINFO_H_
