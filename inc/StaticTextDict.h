#ifndef ZEPH_INC_STATICTEXTDICT_H_
#define ZEPH_INC_STATICTEXTDICT_H_

#include <cstdio>

#include "AbsTime.h"
#include "TextString.h"

// A table from numeric keys to records, over a text file of one line per
// key. Only the key and the file offset of each line stay in memory; a
// line is read and parsed by makeRecord() at the first lookup of its key.
// A line's key is its leading number, read with strtoul base 0, or in base
// 32 behind a "y". Lines that begin with "//" or "#" are comments, and an
// "#include "name"" line reads that file in its place.
//
// With a ring size below the number of keys the table keeps at most that
// many records, the oldest read going first. With a temporary name, a key
// that isn't in the file is looked for in "/tmp/<key>.<tempName>", and a
// record from there is kept for 600 seconds.
//
// A table whose file was replaced under it reads it again at the first line
// that doesn't carry its key; two such failures in a row end its lookups.
//
// A derived class makes and destroys the records. Its destructor must call
// releaseRecords(): the base destructor can no longer reach destroyRecord().
class StaticTextDict {
 public:
  StaticTextDict(const TextString& fileName, int ringSize,
                 const TextString& tempName = TextString());
  virtual ~StaticTextDict();
  StaticTextDict(const StaticTextDict&) = delete;
  StaticTextDict& operator=(const StaticTextDict&) = delete;

  // The record of the key, or null. A record may be destroyed by a later
  // lookup; a caller that keeps it copies it.
  void* lookup(unsigned long key);
  // Whether the key has an entry, without reading anything.
  bool hasKey(unsigned long key) const;
  // The key of an entry in file order; 0 out of range.
  unsigned long keyAt(int index) const;
  // Lines that may hold a key, those with key 0 among them.
  int nKeys() const { return _nKeys; }
  void reinitialize();
  // The last lookup went to a temporary file.
  bool lastFromTemp() const { return _lastFromTemp; }
  const TextString& fileName() const { return _fileName; }

  // Puts a clock in the place of AbsTime::now() for the expiry of temporary
  // records; null restores the real one. For tests only.
  static void setClockForTests(AbsTime (*now)());

 protected:
  // Parses the line of a key; the line stays readable only until about
  // 45000 bytes of later table reading.
  virtual void* makeRecord(unsigned long key, const char* line) = 0;
  virtual void destroyRecord(void* record) = 0;
  // Destroys every record and forgets the temporary entries.
  void releaseRecords();

 private:
  struct Entry {
    unsigned long key;
    long fileIndex;  // a temporary entry: its ring slot
    long offset;     // a temporary entry: when it expires
    void* record;
    Entry* next;
  };

  bool readFile(const TextString& name, bool countOnly, int depth);
  // An "#include" line reads its file in its place; other "#" lines are
  // comments.
  void readIncluded(FILE* file, char* buffer, bool countOnly, int depth);
  void addEntry(unsigned long key, long fileIndex, long offset);
  void makeTable(int keys);
  void reportNoKeys(bool readOk) const;
  Entry* findEntry(unsigned long key) const;
  bool isTableEntry(const Entry* entry) const;
  void unlink(Entry* entry);
  void dropTemporary(Entry* entry);
  Entry* addTemporary(unsigned long key);
  void takeRingSlot(Entry* entry, bool temporary);
  void* fromTemporaryFile(unsigned long key);
  // Counts a table line that didn't carry its key and reads the file
  // again; false once the table gives up.
  bool tableChanged();
  // Gives the entry a ring slot where it needs one, and its record.
  void* keep(Entry* entry, bool temporary, const char* line);

  TextString _fileName;
  int _failures;
  Entry* _entries;
  Entry* _entriesEnd;
  int _nKeys;
  Entry** _hashTable;
  int _hashSize;
  Entry* _nextEntry;
  Entry** _ring;
  Entry** _ringCursor;
  Entry** _ringEnd;
  bool _rotating;
  TextString _tempName;
  bool _lastFromTemp;
};

#endif  // ZEPH_INC_STATICTEXTDICT_H_
