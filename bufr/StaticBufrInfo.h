#ifndef ZEPH_BUFR_STATICBUFRINFO_H_
#define ZEPH_BUFR_STATICBUFRINFO_H_

#include "Dict.h"
#include "SeqOf.h"
#include "Set.h"
#include "TableBEntry.h"
#include "TextString.h"

// The BUFR tables of the process, read once from $ZEPH_HOME/data and shared
// by all decoders. The coding values (exponent, reference, width) stand in
// a dictionary of their own: the data description operators change them
// while a message is decoded, and every decoded value looks them up.
class StaticBufrInfo {
 public:
  static StaticBufrInfo& instance();
  virtual ~StaticBufrInfo();

  // Reads bufrTableB, bufrTableD and replDescTbl; true only if all three
  // were read to their end. What was read before a failure stays usable.
  bool loadTables();

  // Copies out exponent, reference and width; false, and `values` left
  // alone, if the element is unknown.
  bool tableBValues(const int& descriptor, SeqOf<int>& values) const;
  void setTableBValues(int descriptor, const SeqOf<int>& values);
  // Puts the coding values that operators changed back to what the table
  // file says; answers how many descriptors were set back.
  int restoreCodingValues();
  bool tableDSequence(const int& descriptor, SeqOf<int>& list) const;
  // `bits` is the width as read from the file; operators don't reach it.
  bool isCharacterDescriptor(const int& descriptor, int& bits) const;
  bool tableBEntry(int descriptor, TableBEntry& entry) const;
  bool isReplicationDescriptor(int descriptor) const;

  // Prefixes both relative directories with $ZEPH_DATA.
  void makeDataPaths(TextString& dataDir, TextString& badDir) const;

  TextString tableBFile() const { return _tableBFile; }
  TextString tableDFile() const { return _tableDFile; }
  TextString replDescFile() const { return _replDescFile; }
  int tableBCount() const { return _tableBDict.length(); }
  int tableDCount() const { return _tableDDict.length(); }

 private:
  StaticBufrInfo();
  StaticBufrInfo(const StaticBufrInfo&) = delete;
  StaticBufrInfo& operator=(const StaticBufrInfo&) = delete;

  bool readTableB();
  bool readTableD();
  bool readReplicationTable();
  void lineCorrupted(const TextString& path, const char* line);

  Dict<int, TableBEntry> _tableBDict;
  TextString _tableBFile;
  TextString _tableDFile;
  TextString _replDescFile;
  Set<int> _replDescSet;
  Dict<int, int> _ccittDict;
  Dict<int, SeqOf<int>> _tableBValues;
  // Descriptors whose coding values differ from the file since the last
  // restore.
  Set<int> _changedCoding;
  Dict<int, SeqOf<int>> _tableDDict;
};

#endif  // ZEPH_BUFR_STATICBUFRINFO_H_
