#ifndef ZEPH_POINTDATA_NETCDFPOINTDATA_H_
#define ZEPH_POINTDATA_NETCDFPOINTDATA_H_

#include <time.h>

#include <memory>
#include <vector>

#include "AbsTime.h"
#include "Dict.h"
#include "SeqOf.h"
#include "SeqOfPtr.h"
#include "Set.h"
#include "TextString.h"

class DataTime;
class NcFile;
class TextBuffer;
class TimeRange;
struct RecordSet;
struct PointFileStructure;
struct PointNetcdfFileInfo;

// The store of one directory of point files, or of one static file.
//
// A directory holds one netCDF file a period, named by its time, and a
// "template" from which a writer makes the files it needs. The object
// keeps a picture of the directory (fileTimes, filesByTime) that a scan
// renews when the directory's modification time moves, maps a time to the
// file that covers it, and keeps a memory copy of each file's index
// (updateFileInfo) so that a store or a query reads the file as little as
// it can.
//
// Objects are process-wide, one a directory and mode, made and kept by
// getNetcdfPointData(). A directory has one writer process and any number
// of readers in other processes. Nothing here locks: readers see a
// writer's changes through the order of its writes, ncsync and the
// re-reading of the index. Errors of the netCDF library come back as
// results; nothing here throws or stops the process, but for the double
// failure of resyncAndReport.
//
// A handle is a heap cell with the netCDF id of an open file. Its holder
// may keep the cell across mysync, which reopens the file and puts the new
// id in the same cell.
class NetcdfPointData {
 public:
  // The object of the directory, made on the first call, for writing or
  // for reading. Null, and null from then on, where it has no template
  // (or, for a reader, no file either).
  static NetcdfPointData* getNetcdfPointData(const TextString& directory,
                                             bool writable, bool isStatic);
  // The object of a data access key: its directory below $ZEPH_DATA, or a
  // static file along the search paths.
  static NetcdfPointData* getNetcdfPointData(unsigned long dataAccessKey,
                                             bool writable);

  // `directory` is the directory of a file set, or the file of a static
  // object. Reads the template, the override list and the directory.
  // Without a usable template structure() is null and the object unusable.
  NetcdfPointData(const TextString& directory, bool writable, bool isStatic);
  virtual ~NetcdfPointData();
  NetcdfPointData(const NetcdfPointData&) = delete;
  NetcdfPointData& operator=(const NetcdfPointData&) = delete;

  // Writing. Finds or makes the file of the times and the record of the
  // ids and valid time in it, writes the index of a new record, and gives
  // the open file's handle, which the caller gives back with releaseHandle
  // after writing its data. `times` are seconds since 1970, one for each
  // time variable. Null, after logging why, if nothing can be stored.
  int* getFileHandleAndRecord(const SeqOf<TextString>& ids,
                              const SeqOf<double>& times, long& record,
                              bool& isNewRecord);
  // The same for a file whose records are known by their position:
  // latitude then longitude, in degrees.
  int* getFileHandleAndRecord(const float latLon[2],
                              const SeqOf<double>& times, long& record,
                              bool& isNewRecord);
  bool releaseHandle(int* handle);
  // Releases each; false if any was bad. One sync serves several handles
  // of a file in a row.
  bool releaseHandles(const SeqOfPtr<int*>& handles);
  // The time part of the name of the file of the last rewrite.
  static TextString& lastFileTimeStamp();
  // Makes a writer's changes visible to others where ncsync can't: by
  // closing and opening the file again. The file's id, or -1.
  int mysync(PointNetcdfFileInfo* fileInfo);
  static void disableSyncForWriting();

  // The picture of the directory. resync() rescans if the directory
  // changed and answers whether the picture did.
  bool resync();
  // Rebuilds the picture from nothing when it was found inconsistent.
  void resyncAndReport(const AbsTime& time, const char* what);
  // The record of the file that covers `time`, or null. A writer makes the
  // file from the template if none does.
  PointNetcdfFileInfo* getFileInfoForTime(const AbsTime& time);
  // A file that was listed can't be read: it is kept out of the picture
  // for a while, and the next look rescans.
  void noteFileAccessError(PointNetcdfFileInfo* fileInfo);

  // Open files and handles. fileOpenCount() counts the open files, NcFile
  // objects and the files a reader opens without one.
  NcFile* openNetCdfFile(const TextString& path, bool writable, bool report);
  NcFile* getFileInfoNcFile(PointNetcdfFileInfo* fileInfo);
  bool openFileInfo(PointNetcdfFileInfo* fileInfo);
  void giveNcFileToFileInfo(PointNetcdfFileInfo* fileInfo, NcFile* ncFile);
  void closeFileInfo(PointNetcdfFileInfo* fileInfo);
  void closeUnheldFile(PointNetcdfFileInfo* fileInfo);
  // Takes the record out of the picture and deletes it.
  void dropFileInfo(PointNetcdfFileInfo* fileInfo);

  // A reader's record that nobody holds keeps its file and tables for the
  // next query, within process-wide limits; the oldest go first.
  static void registerClientless(PointNetcdfFileInfo* fileInfo);
  static void unregisterClientless(PointNetcdfFileInfo* fileInfo);

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

  // The times of the records of a chain from `head` on, newest first,
  // read from the record's open file rather than from its per-record
  // tables: for an id with a few records in a large file, a few reads
  // instead of two whole record variables. false where the chain has more
  // than `maxRecords` records or a read fails.
  static bool readChainTimes(PointNetcdfFileInfo* fileInfo, long head,
                             long maxRecords, std::vector<long>& times);
  // The row of `id` in the table of ids, or -1. Needs level 3.
  static long findStaticId(const char* id, const PointNetcdfFileInfo* fileInfo);
  // The same, read from the record's open file a row at a time: a dozen
  // rows cost a fresh reader less than the whole table in new memory.
  // Needs level 1; -2 where a row can't be read.
  static long findStaticIdInFile(const char* id,
                                 const PointNetcdfFileInfo* fileInfo);
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
  // Moves the range of the newest file, and the recent bits with it.
  void setNewestFileRange(const AbsTime& refStart, const AbsTime& refEnd);
  void setCheckInterval(long seconds) { _checkInterval = seconds; }

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

  // Reading. The inventories answer from the index alone, never from the
  // data variables, and rescan the directory as they go when it is due.
  // Each is false only for an object without a structure, or a static one
  // without its file; finding nothing is true with an empty result. A
  // range whose start equals its end is false at once.
  //
  // `timeQuantum`: below 0, exact times from the per-record tables; 0, the
  // default resolution (bins, or in the AbsTime forms of an object without
  // forecasts whole files); above 0, the larger of it and the bin width,
  // results rounded down to its multiples.
  //
  // The forms with an earlier result read again only the files that may
  // have changed since it was made, and take its older entries as they
  // stand.
  bool idInventory(const SeqOf<DataTime>& earlierResult, const TextString& id,
                   SeqOf<DataTime>& dataTimes, int timeQuantum = 0);
  bool idInventory(const TextString& id, SeqOf<DataTime>& dataTimes,
                   int timeQuantum = 0);
  bool idInventory(const SeqOf<DataTime>& earlierResult, const TextString& id,
                   TimeRange range, SeqOf<DataTime>& dataTimes,
                   int timeQuantum = 0);
  bool idInventory(const TextString& id, TimeRange range,
                   SeqOf<DataTime>& dataTimes, int timeQuantum = 0);
  bool inventory(const SeqOf<DataTime>& earlierResult,
                 SeqOf<DataTime>& dataTimes, int timeQuantum = 0);
  bool inventory(SeqOf<DataTime>& dataTimes, int timeQuantum = 0);
  bool inventory(const SeqOf<DataTime>& earlierResult, TimeRange range,
                 SeqOf<DataTime>& dataTimes, int timeQuantum = 0);
  bool inventory(TimeRange range, SeqOf<DataTime>& dataTimes,
                 int timeQuantum = 0);
  // Valid times, ascending.
  bool idTimes(const TextString& id, SeqOf<AbsTime>& absTimes,
               int timeQuantum = 0);
  bool idTimes(const TextString& id, TimeRange range, SeqOf<AbsTime>& absTimes,
               int timeQuantum = 0);
  bool allTimes(SeqOf<AbsTime>& absTimes, int timeQuantum = 0);
  bool allTimes(TimeRange range, SeqOf<AbsTime>& absTimes,
                int timeQuantum = 0);

  // The handles a reader opens: one for each file that holds the id in the
  // range, or that overlaps the range, oldest first. Each counts as a
  // client until it is given back with releaseHandle(s).
  bool handlesForId(const TextString& id, const TimeRange& range,
                    SeqOfPtr<int*>& handleList);
  bool handlesForRange(const TimeRange& range, SeqOfPtr<int*>& handleList);

  // The records of one open file. Records are numbered in the order they
  // arrived, which isn't the order of their times.
  bool idsOfRecords(int* handle, long first, long count,
                    SeqOf<TextString>& ids);
  bool timesOfRecords(int* handle, long first, long count,
                      SeqOf<long>& times);
  // The ids with records in the range, and the span of records of its
  // bins, as recordSpanInRange.
  bool idsInRange(const TimeRange& range, int* handle, SeqOf<TextString>& ids,
                  long& first, long& count);
  // The span of records of the bins that the range meets: cheap, and wider
  // than the range where records came out of time order.
  bool recordSpanInRange(const TimeRange& range, int* handle, long& first,
                         long& count);
  bool recordsInRange(const TimeRange& range, int* handle,
                      SeqOf<int>& records);
  // In the order of arrival.
  bool recordsOfIdInRange(const TextString& id, const TimeRange& range,
                          int* handle, SeqOf<int>& records);
  // Adds the records to the set, made if `recordSet` is null; the caller
  // owns it.
  bool recordSetInRange(const TimeRange& range, int* handle,
                        RecordSet*& recordSet);
  bool recordSetForId(const TextString& id, const TimeRange& range,
                      int* handle, RecordSet*& recordSet);
  // Copies the positions of runs of records into the caller's arrays,
  // one run behind the other.
  bool positionsOfRecords(const SeqOfPtr<int*>& handleList,
                          const SeqOf<int>& firsts, const SeqOf<int>& counts,
                          float* lats, float* lons);

  // The id nearest to `latLon` within `radiusKm` in the current file, or
  // the empty text; `latLon` becomes its position and `distanceKm` its
  // distance (1e37 if none).
  TextString nearestId(float latLon[2], float radiusKm, float& distanceKm);
  // The position of an id in the current file, 1e12 in both if unknown;
  // with `tryOtherCase`, the id in lower and upper case is tried too and
  // `id` becomes the one found.
  void positionOfId(TextString& id, bool tryOtherCase, float latLon[2]);
  // The current file by position in fileTimes(), newest first.
  bool setFileIndex(int index);

  // A variable across the files of the handles: its ids, its netCDF type
  // and the lengths of its dimensions behind the record dimension.
  bool variableDescription(const TextString& name,
                           const SeqOfPtr<int*>& handleList,
                           SeqOf<int>& varIds, int& type, SeqOf<int>& dims);
  SeqOf<int> forecastTimes() const;
  SeqOf<int> timeVariableIds() const;
  SeqOf<int> idVariableIds() const;
  SeqOf<TextString> timeVariableNames() const;
  SeqOf<TextString> idVariableNames() const;
  bool handleIsValid(int* handle) const;
  // The handle's file as an NcFile, made at the first ask in a reader.
  NcFile* ncFileOf(int* handle);
  // The time part of the name of the handle's file.
  TextString fileTimeStamp(int* handle) const;
  // The index into forecastTimes() of a valid time in the handle's file;
  // -1 outside the list, 0 without one.
  int forecastIndex(int* handle, const AbsTime& validTime, bool& hasForecasts,
                    AbsTime& fileTime);

  bool writable() const { return _writable; }
  bool isStatic() const { return _isStatic; }
  const TextString& directory() const { return _directory; }
  const PointFileStructure* structure() const { return _structure; }
  bool haveForecasts() const { return _haveForecasts; }
  const AbsTime& newestNotedTime() const { return _newestNotedTime; }
  long fileStep() const { return _fileStep; }
  unsigned recentBits() const { return _recentBits; }
  const TextString& latLonVarText() const { return _latLonVarText; }
  const Dict<TextString, TextString>& overrides() const { return _overrides; }
  int structureCount() const { return _structures.length(); }
  // Newest first.
  const SeqOf<AbsTime>& fileTimes() const { return _fileTimes; }
  PointNetcdfFileInfo* fileInfoAt(const AbsTime& fileTime) const;
  int handleCount() const { return _handles.length(); }
  int resyncCount() const { return _resyncCount; }
  const AbsTime& earliestRefStart() const { return _earliestRefStart; }
  const AbsTime& latestRefEnd() const { return _latestRefEnd; }
  const AbsTime& oldestUsableTime() const { return _oldestUsableTime; }
  bool isBadFile(const AbsTime& fileTime) const {
    return _badFiles.lookup(fileTime);
  }

  static int fileOpenCount();
  static int clientlessObjectCount();
  static int clientlessHandleCount();

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
  // How many check intervals a file waits by its place, newest first.
  static long checkFactor(int position);
  bool readLevelOne(LevelRead& r);
  bool readBins(LevelRead& r);
  bool readIdTable(LevelRead& r);
  // Whether the file's variables hold the table of ids, its newest records
  // and its bins as large as the structure says.
  static bool idTableFits(int ncid, const PointFileStructure& s);
  bool resyncRecordCount(LevelRead& r);
  bool readRecordTables(LevelRead& r);
  bool readRecordTimes(LevelRead& r, long from);
  bool readRecordPositions(LevelRead& r, long from);
  bool readRecordIds(LevelRead& r, long from);
  bool readRecordOverflow(LevelRead& r, long from);

  // The open file of a record for the index reads: `ncid` if given, else
  // the record's, opened if need be (`opened` then set).
  int fileInfoNcid(int ncid, PointNetcdfFileInfo* fileInfo, bool& opened);
  // A file opened read-only without an NcFile, counted as open; -1, after
  // "Could not open" with `report`, on failure.
  static int openPlainFile(const TextString& path, bool report);
  static void closePlainFile(int ncid);
  // Opens the record's file in the object's mode: a writer's as an
  // NcFile, a reader's plainly.
  bool openInMode(PointNetcdfFileInfo* fileInfo, bool report);
  // The same for a query; a failure is logged as in `caller`.
  bool openForQuery(PointNetcdfFileInfo* fileInfo, const char* caller);
  // Closes what the record has open, its handle aside.
  static void closeFiles(PointNetcdfFileInfo* fileInfo);
  // A reader's record without clients gets a handle and waits in the
  // clientless list for the next query; false without an open file.
  bool keepIdleFile(PointNetcdfFileInfo* fileInfo);

  // The steps of the constructor and of the scans.
  bool readTemplateStructure(int* heldOpen = nullptr);
  bool resyncStatic();
  void removeBadFiles(SeqOf<AbsTime>& newTimes);
  bool mergeFileLists(SeqOf<AbsTime>& newTimes,
                      const PointNetcdfFileInfo*& madeLast);
  PointNetcdfFileInfo* addFile(const AbsTime& fileTime, int position);
  void setCoverage(PointNetcdfFileInfo* fileInfo, const AbsTime& fileTime);
  void holdOutBadFile(const AbsTime& fileTime);
  // Reads the file of a record that the scan listed by its name alone,
  // which takes the file's own structure and coverage and leaves it open.
  // A file that can't be opened or isn't a point file of ours is held out
  // with the scan's message, and the next look lists the directory again;
  // false.
  bool confirmFile(PointNetcdfFileInfo* fileInfo);
  void confirmEnds(SeqOf<AbsTime>& times,
                   const PointNetcdfFileInfo*& madeLast);
  // One record less uses the structure; the last use destroys it.
  void releaseStructure(PointFileStructure* s);
  bool setRanges();
  void closeOlderFiles(const PointNetcdfFileInfo* madeLast);
  void dropAll();
  // The record of a listed time; a missing one rebuilds the picture.
  PointNetcdfFileInfo* lookUp(const AbsTime& fileTime, const char* what);

  // The steps of getFileInfoForTime.
  bool searchPicture(const AbsTime& time, int& position,
                     PointNetcdfFileInfo*& found);
  PointNetcdfFileInfo* recordAt(const AbsTime& time, int position,
                                PointNetcdfFileInfo* found);
  bool makeFileFor(const AbsTime& time);

  // The steps of getFileHandleAndRecord.
  struct Store;
  int* store(Store& st, const SeqOf<double>& times, long& record,
             bool& isNewRecord);
  bool findFile(Store& st, const SeqOf<double>& times);
  bool checkForm(const Store& st, const SeqOf<double>& times);
  bool buildId(Store& st);
  bool loadTables(Store& st);
  void findChainHead(Store& st);
  long findExistingRecord(const Store& st) const;
  int* rewrite(Store& st, long record);
  bool writeBins(Store& st);
  bool growRecordArrays(Store& st);
  bool writeIdentity(Store& st, const SeqOf<double>& times);
  bool writeTableRow(Store& st);
  bool insertTableRow(Store& st);
  bool writeOverflow(Store& st);
  int* finishNewRecord(Store& st, int syncCase);
  void addClient(PointNetcdfFileInfo* fileInfo);
  bool releaseOne(int* handle, bool reportBad, const char* debugText,
                  bool sync);
  PointNetcdfFileInfo* holderOf(int* handle) const;

  // The steps of the queries.
  struct Query;
  struct Entries;
  bool beginQuery(Query& q, const TimeRange* range, int timeQuantum,
                  bool absoluteForm);
  bool timeQuery(const SeqOf<DataTime>* earlier, const TextString* id,
                 const TimeRange* range, int timeQuantum, bool absoluteForm,
                 Entries& out, bool& useEarlier);
  bool dataTimeQuery(const SeqOf<DataTime>* earlier, const TextString* id,
                     const TimeRange* range, SeqOf<DataTime>& dataTimes,
                     int timeQuantum);
  bool absTimeQuery(const TextString* id, const TimeRange* range,
                    SeqOf<AbsTime>& absTimes, int timeQuantum);
  static void addTime(const Query& q, const PointNetcdfFileInfo* info, long t,
                      Entries& out);
  bool collectTimes(Query& q, const TextString* id,
                    const SeqOf<DataTime>* earlier, Entries& out);
  bool idTimesOfFile(Query& q, PointNetcdfFileInfo* info, const char* id,
                     Entries& out, bool& failed);
  bool idFromFile(Query& q, PointNetcdfFileInfo* info, const char* id,
                  Entries& out, bool& failed);
  static bool readIdRow(PointNetcdfFileInfo* info, long row, long& head,
                        unsigned& bits, std::unique_ptr<char[]>& chars);
  bool allTimesOfFile(Query& q, PointNetcdfFileInfo* info, Entries& out,
                      bool& failed);
  void chainEntries(Query& q, PointNetcdfFileInfo* info, long head,
                    Entries& out);
  void binEntries(Query& q, PointNetcdfFileInfo* info, unsigned mask,
                  const char* chars, Entries& out);
  bool timesFromFileNames(Query& q, Entries& out);
  bool staticInventory(Entries& out);
  long headOfId(PointNetcdfFileInfo* info, const char* id, bool exact,
                long* row, bool& failed);
  PointNetcdfFileInfo* queryFile(int* handle, const char* missing) const;
  bool rangeMeetsFile(const PointNetcdfFileInfo* info,
                      const TimeRange& range) const;
  bool binLimits(const PointNetcdfFileInfo* info, const TimeRange& range,
                 long& b1, long& b2) const;
  bool spanOfBins(PointNetcdfFileInfo* info, long b1, long b2, long& first,
                  long& count);
  bool recordTimeIn(const PointNetcdfFileInfo* info, long record,
                    const TimeRange& range) const;
  void addRunToSet(PointNetcdfFileInfo* info, int* handle,
                   const SeqOf<int>& records, RecordSet& set, bool atFront);
  PointNetcdfFileInfo* currentQueryFile(int level);
  bool coverageMeets(PointNetcdfFileInfo* info, const TimeRange& range);
  bool fileHoldsId(PointNetcdfFileInfo* info, const char* id,
                   const TimeRange& range);
  void giveClientHandle(PointNetcdfFileInfo* info, SeqOfPtr<int*>& handles);
  // Whether the last scan changed the picture, for an earlier result.
  bool _lastResyncChanged = true;

  // What all objects of the process share.
  struct ProcessState {
    Dict<TextString, NetcdfPointData*> writers;
    Dict<TextString, NetcdfPointData*> readers;
    // The clientless list, older to newer.
    PointNetcdfFileInfo* newestClientless = nullptr;
    PointNetcdfFileInfo* oldestClientless = nullptr;
    PointNetcdfFileInfo* oldestClientlessHandle = nullptr;
    int nClientlessObjects = 0;
    int nClientlessHandles = 0;
    int fileOpenCount = 0;
    int expectedOpenCount = 8;
    int resyncNesting = 0;
    int syncWorksForWriting = 1;
    TextString lastFileTimeStamp;
  };
  static ProcessState& process();
  static void quietNetcdfErrors();
  static void deleteNcFile(NcFile* ncFile);

  // Links a record to its object, so that the clientless list, which all
  // objects share, can close what it evicts.
  void adopt(PointNetcdfFileInfo* fileInfo);
  static bool isClientless(const PointNetcdfFileInfo* fileInfo);
  static void evictClientless(PointNetcdfFileInfo* fileInfo);
  // Keeps the handle count of the list when a listed record's handle goes.
  static void handleLeavesClientless(PointNetcdfFileInfo* fileInfo);
  static void unlinkClientless(PointNetcdfFileInfo* fileInfo);

  bool _writable;
  bool _isStatic;
  // The directory's modification time at the last scan.
  timespec _directoryTime;
  TextString _directory;
  // That of the template; null: the object failed.
  PointFileStructure* _structure;
  bool _haveForecasts;
  AbsTime _newestNotedTime;
  // The time step of the recent bits.
  long _fileStep;
  // Bit k: the file k steps behind the newest may have new data.
  unsigned _recentBits;
  // Times of files kept out of the picture, for _badFileHold more scans.
  Set<AbsTime> _badFiles;
  int _badFileHold;
  SeqOf<AbsTime> _fileTimes;
  // Records of the picture not yet read from their files: while there are
  // any, the latest valid time may be later than the picture says.
  int _unconfirmed;
  AbsTime _nextResync;
  long _checkInterval;
  TextString _latLonVarText;
  AbsTime _earliestRefStart;
  AbsTime _earliestRefEnd;
  AbsTime _latestRefStart;
  AbsTime _latestRefEnd;
  AbsTime _latestValidEnd;
  // A store of an earlier time is refused at once: its file was purged.
  AbsTime _oldestUsableTime;
  Dict<int*, PointNetcdfFileInfo*> _handles;
  Dict<AbsTime, PointNetcdfFileInfo*> _filesByTime;
  Dict<TextString, PointFileStructure*> _structures;
  // The writer's cache of the newest file.
  PointNetcdfFileInfo* _newestFile;
  // The file of the last query.
  PointNetcdfFileInfo* _currentFile;
  int _currentIndex;
  int _resyncCount;
  Dict<TextString, TextString> _overrides;
  // The report switch of the template readers; on between reads.
  bool _reportErrors;
};

#endif  // ZEPH_POINTDATA_NETCDFPOINTDATA_H_
