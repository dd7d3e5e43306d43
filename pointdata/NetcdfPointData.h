#ifndef ZEPH_POINTDATA_NETCDFPOINTDATA_H_
#define ZEPH_POINTDATA_NETCDFPOINTDATA_H_

#include "AbsTime.h"
#include "Dict.h"
#include "SeqOf.h"
#include "TextString.h"

class DataTime;
class TextBuffer;
struct PointFileStructure;
struct PointNetcdfFileInfo;

// The store of one directory of point files, or of one static file.
//
// This much of the class describes and indexes single files: it reads the
// structure of a template or a data file (getFileStructure), keeps the
// memory copy of a file's index current by levels (updateFileInfo) and
// looks ids up in it. The picture of the directory, the handles, the
// writing of records and the queries build on these members; until they
// are here, the range of the newest file is given to the object by
// setNewestFileRange(), and a record's open file is the netCDF id in its
// `handle` cell (see fileInfoNcid).
//
// A directory has one writer process and any number of readers in other
// processes. Nothing here locks: readers see a writer's changes through
// ncsync and by re-reading the index variables. Errors of the netCDF
// library come back as results; nothing here throws or stops the process.
class NetcdfPointData {
 public:
  // `directory` is the directory of a file set, or the file of a static
  // object. Reads the override list of the directory or file.
  NetcdfPointData(const TextString& directory, bool writable, bool isStatic);
  virtual ~NetcdfPointData();
  NetcdfPointData(const NetcdfPointData&) = delete;
  NetcdfPointData& operator=(const NetcdfPointData&) = delete;

  // The structure of the open file, shared by all files of its "cdlDate";
  // null, after logging why, when the file breaks a rule. With `fileInfo`,
  // the record's level 1 is read on the way and its `structure` set; the
  // caller counts the use.
  PointFileStructure* getFileStructure(int ncid, PointNetcdfFileInfo* fileInfo);

  // Brings the record up to `wantedLevel` (1 to 5) and to the state of
  // the file; `ncid` is -1 where the caller holds no open file. Costs a
  // look at the clock alone while nothing can have changed. false, after
  // logging, if the file can't be read: the tables stay as far as they
  // were read.
  bool updateFileInfo(int ncid, PointNetcdfFileInfo* fileInfo, int wantedLevel);

  // The row of `id` in the table of ids, or -1. Needs level 3.
  static long findStaticId(const char* id, const PointNetcdfFileInfo* fileInfo);
  // The newest overflow record of `id`, or -1. Needs level 5. In a file
  // without a table of ids every record is searched, newest first.
  static long findOverflowRecord(const char* id,
                                 const PointNetcdfFileInfo* fileInfo);
  // The same among records whose time lies from `firstTime` to `lastTime`.
  // Needs levels 4 and 5.
  static long findOverflowRecordInRange(const char* id,
                                        const AbsTime& firstTime,
                                        const AbsTime& lastTime,
                                        const PointNetcdfFileInfo* fileInfo);
  // Frees the tables of levels 2 to 5; the record falls back to level 1.
  static void freeTables(PointNetcdfFileInfo* fileInfo);
  // The id of a position in a file whose ids are positions: latitude and
  // longitude in hexadecimal, at a resolution that `totalIdLen` allows.
  // Writes at most `totalIdLen` bytes, NUL included. false, with the empty
  // id, for a position off the globe or a `totalIdLen` below 7.
  static bool latLonId(double lat, double lon, long totalIdLen, char* id);

  // Another process has new data of this time: the object notes it, and
  // marks the file that holds it as one that may have changed.
  void noteNewDataTime(const DataTime& time);
  // The reference range of the newest file of the directory; the recent
  // bits move along with it.
  void setNewestFileRange(const AbsTime& refStart, const AbsTime& refEnd);
  void setCheckInterval(long seconds) { _checkInterval = seconds; }

  // Closes the record's open file and deletes its handle.
  void closeFileInfo(PointNetcdfFileInfo* fileInfo);

  // The readers of the template's parts. Each logs its failure only while
  // the report switch is on; the structure reader turns it off around an
  // item that is optional.
  int variableId(int ncid, const char* name);
  // The override, or the file's dimension; -1 if absent.
  long dimensionSize(int ncid, const char* name);
  bool attributeText(int ncid, const char* name, TextString& value);
  bool attributeInt(int ncid, const char* name, int& value);
  // Parses a comma list of variable names. `totalLength` is -1 while no
  // list was found, -999 for the latitude/longitude form, else the sum of
  // the second dimensions of the variables.
  bool variableList(int ncid, const char* attributeName, SeqOf<int>& varIds,
                    long& totalLength, SeqOf<int>& lengths);

  bool writable() const { return _writable; }
  bool isStatic() const { return _isStatic; }
  const TextString& directory() const { return _directory; }
  bool haveForecasts() const { return _haveForecasts; }
  const AbsTime& newestNotedTime() const { return _newestNotedTime; }
  long fileStep() const { return _fileStep; }
  unsigned recentBits() const { return _recentBits; }
  const TextString& latLonVarText() const { return _latLonVarText; }
  const Dict<TextString, TextString>& overrides() const { return _overrides; }
  int structureCount() const { return _structures.length(); }

 private:
  class QuietReads;
  struct LevelRead;

  void readOverrides();
  bool dataTreeName(TextString& name) const;
  void readOverrideLines(const TextBuffer& table);
  bool textAttribute(int ncid, const char* name, int maxLength,
                     TextString& value);
  bool listText(int ncid, const char* attributeName, bool isLatLonVars,
                TextString& text);

  // The steps of getFileStructure, each on the structure being made.
  PointFileStructure* knownStructure(int ncid, PointFileStructure* structure,
                                     PointNetcdfFileInfo* fileInfo);
  bool readLayout(int ncid, PointFileStructure& s, PointNetcdfFileInfo* info);
  bool readIdLayout(int ncid, PointFileStructure& s);
  bool readTimeVariables(int ncid, PointFileStructure& s);
  int defaultTimeVariable(int ncid, int recordDim);
  bool readForecasts(int ncid, PointFileStructure& s);
  bool readFileTimes(int ncid, PointFileStructure& s);
  bool readIndexVariableIds(int ncid, PointFileStructure& s,
                            PointNetcdfFileInfo* info);
  bool readBinVariables(int ncid, PointFileStructure& s,
                        PointNetcdfFileInfo* info);
  void readVariables(int ncid, PointFileStructure& s);

  // The steps of updateFileInfo.
  bool isRecent(const PointNetcdfFileInfo* fileInfo, int* bit) const;
  bool openAndCount(LevelRead& r, int ncid, bool stale);
  void setNextCheck(PointNetcdfFileInfo* fileInfo) const;
  bool readLevelOne(LevelRead& r);
  bool readBins(LevelRead& r);
  bool readIdTable(LevelRead& r);
  bool resyncRecordCount(LevelRead& r);
  bool readRecordTables(LevelRead& r);
  bool readRecordTimes(LevelRead& r, long from);
  bool readRecordPositions(LevelRead& r, long from);
  bool readRecordIds(LevelRead& r, long from);
  bool readRecordOverflow(LevelRead& r, long from);

  // Where the file set's handles come in. The netCDF id of the record's
  // open file: `ncid` if given, else that of its handle; with neither, the
  // file is opened in the object's mode and `opened` set.
  int fileInfoNcid(int ncid, PointNetcdfFileInfo* fileInfo, bool& opened);
  // A reader's record without clients keeps its open file while it waits
  // for the next query; false if it has none.
  bool keepIdleFile(PointNetcdfFileInfo* fileInfo);

  bool _writable;
  bool _isStatic;
  TextString _directory;
  bool _haveForecasts;
  AbsTime _newestNotedTime;
  // The time step of the recent bits.
  long _fileStep;
  // Bit k: the file k steps behind the newest may have new data.
  unsigned _recentBits;
  long _checkInterval;
  TextString _latLonVarText;
  AbsTime _latestRefStart;
  AbsTime _latestRefEnd;
  Dict<TextString, PointFileStructure*> _structures;
  Dict<TextString, TextString> _overrides;
  // The report switch of the template readers; on between reads.
  bool _reportErrors;
};

#endif  // ZEPH_POINTDATA_NETCDFPOINTDATA_H_
