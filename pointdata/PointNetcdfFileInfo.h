#ifndef ZEPH_POINTDATA_POINTNETCDFFILEINFO_H_
#define ZEPH_POINTDATA_POINTNETCDFFILEINFO_H_

#include <time.h>

#include "AbsTime.h"
#include "TextString.h"

class NcFile;
class NetcdfPointData;
struct PointFileStructure;

// The memory record of one point file: its coverage, and a copy of its
// index, loaded by levels as far as a caller needed it
// (NetcdfPointData::updateFileInfo()). `level` says what is valid:
//
//   1  nRecords, nStaticIds, globalInventory, firstOverflow
//   2  firstInBin, lastInBin
//   3  staticIds, lastRecord, inventory
//   4  prevRecord, invTime
//   5  lats, lons, recordIds, isOverflow
//
// A new record is at level 0 with every array null. The arrays belong to
// the record and are freed with it; the open file (`ncid`, `handle`,
// `ncFile`) is the NetcdfPointData object's to close.
struct PointNetcdfFileInfo {
  PointNetcdfFileInfo();
  ~PointNetcdfFileInfo();
  PointNetcdfFileInfo(const PointNetcdfFileInfo&) = delete;
  PointNetcdfFileInfo& operator=(const PointNetcdfFileInfo&) = delete;

  // Frees the tables of levels 2 to 5.
  void deleteTables();
  // Frees the arrays that hold one entry per record; capacity becomes 0.
  void deleteRecordArrays();

  PointFileStructure* structure;
  // Whether `structure`, and the coverage it gives, were read from the file
  // itself. A reader lists most files by their names alone and reads each
  // at its first use; until then the record carries the template's
  // structure and no open file (NetcdfPointData::confirmFile()).
  bool confirmed;
  TextString path;
  AbsTime fileTime;
  AbsTime refStart;
  AbsTime refEnd;
  // First and last valid time; they anchor the bins.
  AbsTime validStart;
  AbsTime validEnd;
  // The file's modification time when it was last looked at.
  timespec modTime;
  int level;
  long nRecords;
  long nStaticIds;
  // maxStaticIds rows of totalIdLen bytes, each NUL terminated.
  char* staticIds;
  int* lastRecord;
  // maxStaticIds ints, or maxStaticIds rows of nBins chars.
  int* inventory;
  char* inventoryChars;
  // One bit a bin, or in the char form nBins chars.
  int globalInventory;
  char* globalInventoryChars;
  long firstOverflow;
  int* firstInBin;
  int* lastInBin;
  // How many records the per-record arrays below can take.
  long capacity;
  float* lats;
  float* lons;
  // capacity rows of totalIdLen bytes: the id of each record.
  char* recordIds;
  int* invTime;
  int* prevRecord;
  // 1 marks an overflow record. Anything else is none: a writer marks only
  // those, and the others keep what the file was filled with.
  int* isOverflow;
  // Before this time the file isn't looked at for freshness.
  AbsTime nextCheck;
  // The cell that holds the netCDF id of the open file.
  int* handle;
  // A writer's open file. A reader makes one only for a caller that asks
  // for it (NetcdfPointData::ncFileOf()): an NcFile builds objects for
  // every variable of the file as it opens, which costs a reader that
  // opens a file for a few index reads more than the reads themselves.
  NcFile* ncFile;
  // The netCDF id of the open file, -1 while it is closed: that of
  // `ncFile` in a writer, one opened without an NcFile in a reader.
  int ncid;
  // Questions of an id answered by reading its row and records from the
  // file, not from the tables; the next one loads the tables.
  int directReads;
  int clients;
  // The object whose picture holds the record.
  NetcdfPointData* owner;
  PointNetcdfFileInfo* newer;
  PointNetcdfFileInfo* older;
};

// Modification times of files and directories, compared to the
// nanosecond: a change within the second must still show.
inline bool sameModTime(const timespec& a, const timespec& b) {
  return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
}

#endif  // ZEPH_POINTDATA_POINTNETCDFFILEINFO_H_
