// The memory copy of a point file's index: loading it by levels as far as
// a caller needs, keeping it current while other processes write, and the
// look-ups of ids in it.

#include <netcdf.h>
#include <netcdfcpp.h>
#include <sys/stat.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

#include "LogStream.h"
#include "NetcdfPointData.h"
#include "PointFileStructure.h"
#include "PointIndexReader.h"
#include "PointNetcdfFileInfo.h"

namespace {

const int kTopLevel = 5;
const int kMaxRecentBit = 31;
// How much longer than the newest file the others wait for a look.
const long kAdjoiningCheckFactor = 5;
const long kOlderCheckFactor = 25;

void logReadFailure(const char* what, const TextString& path, int ncid,
                    const char* label, long item, long count = -1) {
  ZLOG(LogStream::PROBLEM) << what << path << std::endl;
  if (count < 0) {
    ZLOG(LogStream::PROBLEM) << "ncid " << ncid << label << item << std::endl;
  } else {
    ZLOG(LogStream::PROBLEM) << "ncid " << ncid << label << item
                             << "  count[0] " << count << std::endl;
  }
}

// Whole seconds of a time value; what can't be one reads as the fill value
// of an int, which no real time has.
int wholeSeconds(double value) {
  if (!(value > INT_MIN && value < INT_MAX)) return NC_FILL_INT;
  return static_cast<int>(value);
}

template <class T>
bool ensureArray(T*& array, long count) {
  if (array == nullptr) array = newIndexArray<T>(count);
  return array != nullptr;
}

// Cuts every row of a table of ids at its last byte, so that a file that
// holds no NUL in a row can't lead a comparison outside the table.
void terminateRows(char* rows, long nRows, long width) {
  for (long r = 0; r < nRows; ++r) rows[r * width + width - 1] = '\0';
}

}  // namespace

// The state of one call of updateFileInfo.
struct NetcdfPointData::LevelRead {
  int ncid;
  PointNetcdfFileInfo* info;
  const PointFileStructure* s;
  long length;   // the record dimension as last read
  bool changed;  // the length differs from the record's
  int wanted;
  bool forced;        // every cached table is read again
  bool tablesReread;  // a table that points at records was read
};

bool NetcdfPointData::updateFileInfo(int ncid, PointNetcdfFileInfo* fileInfo,
                                     int wantedLevel) {
  if (fileInfo == nullptr || fileInfo->structure == nullptr) {
    ZLOG(LogStream::BUG) << "This file info structure does not have file"
                         << " structure data." << std::endl;
    return false;
  }
  if (!fileInfo->confirmed && !confirmFile(fileInfo)) return false;
  const PointFileStructure& s = *fileInfo->structure;
  int bit = -1;
  bool stale = AbsTime::now() > fileInfo->nextCheck || isRecent(fileInfo, &bit);
  int wanted = std::min(wantedLevel, kTopLevel);
  if (wanted == 4 && fileInfo->firstOverflow >= s.maxStaticIds) wanted = 5;
  bool more = wanted > s.levelReached(fileInfo->level);
  bool forced = wanted > 2 && !s.cacheMetadata && !_writable;
  if (!stale && !more && !forced) return true;

  struct stat status;
  if (stat(fileInfo->path.chars(), &status) != 0) {
    ZLOG(LogStream::PROBLEM)
        << "Could not stat netcdf file:" << fileInfo->path << std::endl;
    return false;
  }
  if (sameModTime(status.st_mtim, fileInfo->modTime)) stale = false;
  fileInfo->modTime = status.st_mtim;
  if (!stale && !more && !forced) return true;
  if (bit >= 0) _recentBits &= ~(1u << bit);

  LevelRead r;
  r.info = fileInfo;
  r.s = &s;
  r.forced = forced;
  r.tablesReread = false;
  if (!openAndCount(r, ncid, stale)) return false;
  r.changed = r.length != fileInfo->nRecords || fileInfo->level < 1;
  if (!r.changed && !more && !forced) return true;

  if (r.changed && !readLevelOne(r)) return false;
  fileInfo->level = std::max(fileInfo->level, 1);
  // Tables loaded before follow the file, whatever this caller wants.
  r.wanted = std::max(wanted, fileInfo->level);
  if (r.wanted < 2) {
    fileInfo->nRecords = r.length;
    return true;
  }
  if (!_writable && fileInfo->clients == 0 && !keepIdleFile(fileInfo))
    return false;
  if (!readBins(r)) return false;
  if (r.wanted > 2 && !readIdTable(r)) return false;
  if (r.wanted <= 3) {
    fileInfo->nRecords = r.length;
    return true;
  }
  if (r.tablesReread && !resyncRecordCount(r)) return false;
  return readRecordTables(r);
}

// Finds the file's id, syncs it where another process may have written,
// and reads the record dimension.
bool NetcdfPointData::openAndCount(LevelRead& r, int ncid, bool stale) {
  bool opened = false;
  r.ncid = fileInfoNcid(ncid, r.info, opened);
  if (r.ncid < 0) return false;
  if (opened) stale = true;  // and freshly read: no sync needed
  if ((stale || r.forced) && !opened && ncsync(r.ncid) < 0) {
    ZLOG(LogStream::BUG) << "PANIC!!! Error calling ncsync!!!" << std::endl;
    return false;
  }
  // The NcFile a reader's caller asked for is a second open of the file:
  // it follows the writer with the index.
  NcFile* asked = r.info->ncFile;
  if ((stale || r.forced) && asked != nullptr && asked->id() != r.ncid)
    ncsync(asked->id());
  if (stale) setNextCheck(r.info);
  if (!PointIndexReader::recordCount(r.ncid, r.s->recordDim, r.length)) {
    logReadFailure("unable to read record dimension", r.info->path, r.ncid,
                   "  recordDim ", r.s->recordDim);
    return false;
  }
  return true;
}

bool NetcdfPointData::isRecent(const PointNetcdfFileInfo* fileInfo,
                               int* bit) const {
  long behind = _latestRefEnd - fileInfo->refEnd;
  if (_fileStep <= 0 || behind < 0) return false;
  long k = behind / _fileStep;
  if (k > kMaxRecentBit) return false;
  *bit = static_cast<int>(k);
  return (_recentBits & (1u << k)) != 0;
}

// The newest file is looked at most often; the one before it still gets
// late records; older files hardly change.
long NetcdfPointData::checkFactor(int position) {
  if (position <= 0) return 1;
  return position == 1 ? kAdjoiningCheckFactor : kOlderCheckFactor;
}

void NetcdfPointData::setNextCheck(PointNetcdfFileInfo* fileInfo) const {
  int position = 2;
  if (fileInfo->refEnd >= _latestRefEnd)
    position = 0;
  else if (fileInfo->refEnd == _latestRefStart - 1)
    position = 1;
  fileInfo->nextCheck = AbsTime::now() + _checkInterval * checkFactor(position);
}

bool NetcdfPointData::readLevelOne(LevelRead& r) {
  const PointFileStructure& s = *r.s;
  PointNetcdfFileInfo* info = r.info;
  if (!PointIndexReader::readNStaticIds(r.ncid, s, info, r.length)) {
    logReadFailure("unable to read nStaticIds", info->path, r.ncid,
                   "  nStaticIdsVar ", s.nStaticIdsVar);
    return false;
  }
  if (!PointIndexReader::readGlobalInventory(r.ncid, s, info, r.length)) {
    logReadFailure("unable to read globalInventory", info->path, r.ncid,
                   " globalInventoryVar  ", s.globalInventoryVar,
                   s.inventoryIsChar ? s.nBins : -1);
    return false;
  }
  if (!PointIndexReader::readFirstOverflow(r.ncid, s, info, r.length)) {
    logReadFailure("unable to read firstOverflow", info->path, r.ncid,
                   " firstOverflowVar  ", s.firstOverflowVar);
    return false;
  }
  return true;
}

bool NetcdfPointData::readBins(LevelRead& r) {
  const PointFileStructure& s = *r.s;
  PointNetcdfFileInfo* info = r.info;
  if (s.nBins > 1) {
    bool existed = info->firstInBin != nullptr && info->lastInBin != nullptr;
    if (!PointIndexReader::holds(r.ncid, s.firstInBinVar, s.nBins, 0) ||
        !PointIndexReader::holds(r.ncid, s.lastInBinVar, s.nBins, 0) ||
        !ensureArray(info->firstInBin, s.nBins) ||
        !ensureArray(info->lastInBin, s.nBins)) {
      logReadFailure("unable to read firstInBin", info->path, r.ncid,
                     " firstInBinVar  ", s.firstInBinVar, s.nBins);
      return false;
    }
    if (!existed || r.changed) {
      if (r.length == 0) {
        std::fill(info->firstInBin, info->firstInBin + s.nBins, -1);
        std::fill(info->lastInBin, info->lastInBin + s.nBins, -1);
      } else if (!PointIndexReader::readInts(r.ncid, s.firstInBinVar, 0,
                                             s.nBins, info->firstInBin)) {
        logReadFailure("unable to read firstInBin", info->path, r.ncid,
                       " firstInBinVar  ", s.firstInBinVar, s.nBins);
        return false;
      } else if (!PointIndexReader::readInts(r.ncid, s.lastInBinVar, 0, s.nBins,
                                             info->lastInBin)) {
        logReadFailure("unable to read lastInBin", info->path, r.ncid,
                       " lastInBinVar  ", s.lastInBinVar, s.nBins);
        return false;
      } else {
        r.tablesReread = true;
      }
    }
  }
  info->level = std::max(info->level, 2);
  return true;
}

bool NetcdfPointData::idTableFits(int ncid, const PointFileStructure& s) {
  bool chars = s.nBins > 1 && s.inventoryIsChar;
  bool ints = s.nBins > 1 && !s.inventoryIsChar;
  return PointIndexReader::holds(ncid, s.staticIdsVar, s.maxStaticIds,
                                 s.totalIdLen) &&
         PointIndexReader::holds(ncid, s.lastRecordVar, s.maxStaticIds, 0) &&
         (!chars ||
          PointIndexReader::holds(ncid, s.inventoryVar, s.maxStaticIds,
                                  s.nBins)) &&
         (!ints ||
          PointIndexReader::holds(ncid, s.inventoryVar, s.maxStaticIds, 0));
}

bool NetcdfPointData::readIdTable(LevelRead& r) {
  const PointFileStructure& s = *r.s;
  PointNetcdfFileInfo* info = r.info;
  if (s.maxStaticIds > 0) {
    bool chars = s.nBins > 1 && s.inventoryIsChar;
    bool ints = s.nBins > 1 && !s.inventoryIsChar;
    bool existed = info->staticIds != nullptr && info->lastRecord != nullptr &&
                   (!chars || info->inventoryChars != nullptr) &&
                   (!ints || info->inventory != nullptr);
    bool ready =
        idTableFits(r.ncid, s) &&
        ensureArray(info->staticIds, tableSize(s.maxStaticIds, s.totalIdLen)) &&
        ensureArray(info->lastRecord, s.maxStaticIds) &&
        (!chars ||
         ensureArray(info->inventoryChars, s.maxStaticIds * s.nBins)) &&
        (!ints || ensureArray(info->inventory, s.maxStaticIds));
    if (ready && existed && !r.changed && !r.forced) {
      info->level = std::max(info->level, 3);
      return true;
    }
    if (!ready ||
        !PointIndexReader::readChars(r.ncid, s.staticIdsVar, 0, s.maxStaticIds,
                                     s.totalIdLen, info->staticIds)) {
      ZLOG(LogStream::PROBLEM) << "unable to read staticIds" << std::endl;
      return false;
    }
    terminateRows(info->staticIds, s.maxStaticIds, s.totalIdLen);
    if (!PointIndexReader::readInts(r.ncid, s.lastRecordVar, 0, s.maxStaticIds,
                                    info->lastRecord)) {
      ZLOG(LogStream::PROBLEM) << "unable to read lastRecord" << std::endl;
      return false;
    }
    bool inventoryRead =
        (!ints ||
         PointIndexReader::readInts(r.ncid, s.inventoryVar, 0, s.maxStaticIds,
                                    info->inventory)) &&
        (!chars ||
         PointIndexReader::readChars(r.ncid, s.inventoryVar, 0, s.maxStaticIds,
                                     s.nBins, info->inventoryChars));
    if (!inventoryRead) {
      ZLOG(LogStream::PROBLEM) << "unable to read inventory" << std::endl;
      return false;
    }
    r.tablesReread = true;
  }
  info->level = std::max(info->level, 3);
  return true;
}

// The tables just read may name records that a writer added after the
// record dimension was read: the per-record arrays must reach them.
bool NetcdfPointData::resyncRecordCount(LevelRead& r) {
  if (ncsync(r.ncid) < 0) {
    ZLOG(LogStream::BUG) << "PANIC!!! Error calling ncsync!!!" << std::endl;
    return false;
  }
  long length = 0;
  if (!PointIndexReader::recordCount(r.ncid, r.s->recordDim, length)) {
    logReadFailure("unable to read record dimension", r.info->path, r.ncid,
                   "  recordDim ", r.s->recordDim);
    return false;
  }
  if (length != r.length) {
    r.length = length;
    r.changed = true;
  }
  return true;
}

bool NetcdfPointData::readRecordTables(LevelRead& r) {
  const PointFileStructure& s = *r.s;
  PointNetcdfFileInfo* info = r.info;
  long from = info->nRecords;
  bool whole = r.forced || from > r.length;
  if (info->capacity == 0 || info->capacity < r.length) {
    bool hadIds = info->recordIds != nullptr;
    info->deleteRecordArrays();
        info->capacity = r.length + s.capacityStep();
    if (hadIds) r.wanted = kTopLevel;
    whole = true;
  }
  if (whole) from = 0;
  info->nRecords = r.length;
  // The arrays of times and chains are there from level 4 on, so that a
  // writer can keep them for the records it adds.
  if (!readRecordTimes(r, from)) return false;
  if (r.length == 0) {
    // Nothing to read is all read: an empty file isn't looked at again
    // for the levels it can't have.
    info->level = std::max(info->level, std::min(r.wanted, kTopLevel));
  }
  // At the top level the tables of positions and ids exist even for an
  // empty file: a writer keeps in them the records it adds, and finds
  // them there when the same position or id comes again.
  if (r.wanted < kTopLevel) return true;
  return readRecordPositions(r, from) && readRecordIds(r, from) &&
         readRecordOverflow(r, from);
}

bool NetcdfPointData::readRecordTimes(LevelRead& r, long from) {
  const PointFileStructure& s = *r.s;
  PointNetcdfFileInfo* info = r.info;
  if (!s.hasTimeVariables()) return true;
  long count = r.length - from;
  bool ready =
      ensureArray(info->invTime, info->capacity) &&
      (s.prevRecordVar < 0 || ensureArray(info->prevRecord, info->capacity));
  if (!ready) {
    ZLOG(LogStream::PROBLEM) << "unable to read basic time data" << std::endl;
    return false;
  }
  if (count > 0 && s.prevRecordVar >= 0) {
    if (!PointIndexReader::readInts(r.ncid, s.prevRecordVar, from, count,
                                    info->prevRecord + from)) {
      ZLOG(LogStream::PROBLEM) << "unable to read prevRecord" << std::endl;
      return false;
    }
    // A chain leads to older records only; a file that says otherwise is
    // broken there, and a walk along it must still end.
    for (long i = from; i < r.length; ++i)
      if (info->prevRecord[i] >= i || info->prevRecord[i] < -1)
        info->prevRecord[i] = -1;
  }
  bool timesRead = true;
  if (count > 0 && s.invTimeVar >= 0) {
    timesRead = PointIndexReader::readInts(r.ncid, s.invTimeVar, from, count,
                                           info->invTime + from);
  } else if (count > 0) {
    std::unique_ptr<double[]> values(newIndexArray<double>(count));
    timesRead =
        values && PointIndexReader::readDoubles(r.ncid, s.timeVars.at(0), from,
                                                count, values.get());
    for (long i = 0; timesRead && i < count; ++i)
      info->invTime[from + i] = wholeSeconds(values[i]);
  }
  if (!timesRead) {
    ZLOG(LogStream::PROBLEM) << "unable to read basic time data" << std::endl;
    return false;
  }
  info->level = std::max(info->level, 4);
  return true;
}

bool NetcdfPointData::readRecordPositions(LevelRead& r, long from) {
  const PointFileStructure& s = *r.s;
  PointNetcdfFileInfo* info = r.info;
  if (s.latVar < 0 || s.lonVar < 0) return true;
  if (info->lats == nullptr || info->lons == nullptr) from = 0;
  long count = r.length - from;
  bool read =
      ensureArray(info->lats, info->capacity) &&
      ensureArray(info->lons, info->capacity) &&
      (count == 0 || (PointIndexReader::readFloats(r.ncid, s.latVar, from,
                                                   count, info->lats + from) &&
                      PointIndexReader::readFloats(r.ncid, s.lonVar, from,
                                                   count, info->lons + from)));
  if (!read) {
    ZLOG(LogStream::PROBLEM) << "unable to read lats and lons" << std::endl;
  }
  return read;
}

bool NetcdfPointData::readRecordIds(LevelRead& r, long from) {
  const PointFileStructure& s = *r.s;
  PointNetcdfFileInfo* info = r.info;
  info->level = kTopLevel;
  long width = s.totalIdLen;
  if (width <= 0) return true;
  if (info->recordIds == nullptr) from = 0;
  long count = r.length - from;
  bool built = ensureArray(info->recordIds, tableSize(info->capacity, width));
  if (built && count > 0)
    std::memset(info->recordIds + from * width, 0, count * width);
  for (long i = from; built && s.latLonIndexed && i < r.length; ++i) {
    char* id = info->recordIds + i * width;
    if (info->lats != nullptr && info->lons != nullptr)
      latLonId(info->lats[i], info->lons[i], width, id);
  }
  for (int v = 0;
       built && !s.latLonIndexed && count > 0 && v < s.idVars.length(); ++v) {
    long part = s.idVarLens.at(v);
    std::unique_ptr<char[]> text(newIndexArray<char>(tableSize(count, part)));
    built = text && PointIndexReader::readChars(r.ncid, s.idVars.at(v), from,
                                                count, part, text.get());
    for (long i = 0; built && i < count; ++i) {
      char* id = info->recordIds + (from + i) * width;
      size_t held = strnlen(id, width);
      const char* piece = text.get() + i * part;
      size_t added = strnlen(piece, part);
      // An id that would not leave room for its NUL is cut.
      if (held + added > static_cast<size_t>(width - 1))
        added = width - 1 - held;
      std::memcpy(id + held, piece, added);
    }
  }
  if (!built) {
    ZLOG(LogStream::PROBLEM)
        << "unable to read info needed to create recordIds" << std::endl;
  }
  return built;
}

bool NetcdfPointData::readRecordOverflow(LevelRead& r, long from) {
  const PointFileStructure& s = *r.s;
  PointNetcdfFileInfo* info = r.info;
  if (info->firstOverflow < 1) return true;
  if (info->isOverflow == nullptr) from = 0;
  long count = r.length - from;
  bool read = ensureArray(info->isOverflow, info->capacity) &&
              (count == 0 ||
               PointIndexReader::readInts(r.ncid, s.isOverflowVar, from, count,
                                          info->isOverflow + from));
  if (!read) {
    ZLOG(LogStream::PROBLEM) << "unable to read isOverflow" << std::endl;
  }
  return read;
}

bool NetcdfPointData::readChainTimes(PointNetcdfFileInfo* fileInfo, long head,
                                     long maxRecords,
                                     std::vector<long>& times) {
  const PointFileStructure& s = *fileInfo->structure;
  times.clear();
  if (fileInfo->ncid < 0 || s.prevRecordVar < 0 || !s.hasTimeVariables())
    return false;
  for (long r = head; r >= 0 && r < fileInfo->nRecords;) {
    if (static_cast<long>(times.size()) >= maxRecords) return false;
    int previous = -1;
    int seconds = 0;
    double value = 0;
    bool read =
        PointIndexReader::readInts(fileInfo->ncid, s.prevRecordVar, r, 1,
                                   &previous) &&
        (s.invTimeVar >= 0
             ? PointIndexReader::readInts(fileInfo->ncid, s.invTimeVar, r, 1,
                                          &seconds)
             : PointIndexReader::readDoubles(fileInfo->ncid, s.timeVars.at(0),
                                             r, 1, &value));
    if (!read) return false;
    times.push_back(s.invTimeVar >= 0 ? seconds : wholeSeconds(value));
    // Mended as in the tables: a chain leads to older records only.
    r = previous < r && previous >= -1 ? previous : -1;
  }
  return true;
}

namespace {

// The row of `id` among `rows` rows in ascending strcmp order, each got by
// rowAt(i), which answers null for a row that can't be read: then -2.
// Row 0 and the last row are compared first, then the rows are bisected.
template <class RowAt>
long bisectRows(const char* id, long rows, RowAt rowAt) {
  if (rows <= 0) return -1;
  long last = rows - 1;
  const char* row = rowAt(0);
  if (row == nullptr) return -2;
  int order = strcmp(id, row);
  if (order <= 0) return order == 0 ? 0 : -1;
  if ((row = rowAt(last)) == nullptr) return -2;
  order = strcmp(id, row);
  if (order >= 0) return order == 0 ? last : -1;
  long low = 0;
  long high = last;
  while (high - low >= 2) {
    long middle = (low + high) / 2;
    if ((row = rowAt(middle)) == nullptr) return -2;
    order = strcmp(id, row);
    if (order == 0) return middle;
    if (order < 0)
      high = middle;
    else
      low = middle;
  }
  return -1;
}

}  // namespace

long NetcdfPointData::findStaticId(const char* id,
                                   const PointNetcdfFileInfo* fileInfo) {
  if (id == nullptr || fileInfo == nullptr || fileInfo->structure == nullptr ||
      fileInfo->staticIds == nullptr)
    return -1;
  long width = fileInfo->structure->totalIdLen;
  const char* table = fileInfo->staticIds;
  return bisectRows(
      id, std::min(fileInfo->nStaticIds, fileInfo->structure->maxStaticIds),
      [table, width](long i) { return table + i * width; });
}

long NetcdfPointData::findStaticIdInFile(const char* id,
                                         const PointNetcdfFileInfo* fileInfo) {
  if (id == nullptr || fileInfo == nullptr || fileInfo->structure == nullptr ||
      fileInfo->ncid < 0)
    return -2;
  const PointFileStructure& s = *fileInfo->structure;
  long width = s.totalIdLen;
  long rows = std::min(fileInfo->nStaticIds, s.maxStaticIds);
  // The file must hold the table its structure describes, as for a read
  // of the whole table.
  if (width < 1 || !idTableFits(fileInfo->ncid, s)) return -2;
  if (rows <= 0) return -1;
  // The rows in use, read at once into memory that every file reuses:
  // one read of a few blocks costs less than a read a row, and memory
  // touched once costs nothing the next time.
  static std::unique_ptr<char[]> scratch;
  static long capacity = 0;
  long size = tableSize(rows, width);
  if (size > capacity) {
    scratch.reset(newIndexArray<char>(size));
    capacity = scratch ? size : 0;
  }
  char* table = scratch.get();
  if (table == nullptr ||
      !PointIndexReader::readChars(fileInfo->ncid, s.staticIdsVar, 0, rows,
                                   width, table))
    return -2;
  terminateRows(table, rows, width);
  return bisectRows(id, rows,
                    [table, width](long i) { return table + i * width; });
}

namespace {

// The newest overflow record of `id`, from the last record down to the
// first overflow; with a time range, among the records of that range.
long searchOverflow(const char* id, const PointNetcdfFileInfo* f,
                    const AbsTime* firstTime, const AbsTime* lastTime) {
  if (id == nullptr || f == nullptr || f->structure == nullptr ||
      f->recordIds == nullptr)
    return -1;
  const PointFileStructure& s = *f->structure;
  if (f->firstOverflow < s.maxStaticIds) return -1;
  if (f->isOverflow == nullptr && s.maxStaticIds > 0) return -1;
  if (firstTime != nullptr && f->invTime == nullptr) return -1;
  long width = s.totalIdLen;
  if (width < 1 || strnlen(id, width) >= static_cast<size_t>(width)) return -1;
  long first = std::max(f->firstOverflow, 0L);
  for (long r = std::min(f->nRecords, f->capacity) - 1; r >= first; --r) {
    if (f->isOverflow != nullptr && f->isOverflow[r] != 1) continue;
    if (firstTime != nullptr && (f->invTime[r] < firstTime->seconds() ||
                                 f->invTime[r] > lastTime->seconds()))
      continue;
    if (strncmp(id, f->recordIds + r * width, width) == 0) return r;
  }
  return -1;
}

}  // namespace

long NetcdfPointData::findOverflowRecord(const char* id,
                                         const PointNetcdfFileInfo* fileInfo) {
  return searchOverflow(id, fileInfo, nullptr, nullptr);
}

long NetcdfPointData::findOverflowRecordInRange(
    const char* id, const AbsTime& firstTime, const AbsTime& lastTime,
    const PointNetcdfFileInfo* fileInfo) {
  return searchOverflow(id, fileInfo, &firstTime, &lastTime);
}

void NetcdfPointData::freeTables(PointNetcdfFileInfo* fileInfo) {
  if (fileInfo == nullptr) return;
  fileInfo->deleteTables();
  if (fileInfo->level > 1) fileInfo->level = 1;
}

bool NetcdfPointData::latLonId(double lat, double lon, long totalIdLen,
                               char* id) {
  if (totalIdLen >= 1) id[0] = '\0';
  if (totalIdLen < 7 || !(lat >= -90.0 && lat <= 90.0) ||
      !(lon >= -180.0 && lon <= 180.0))
    return false;
  double scale = 10.0;
  int digits = 3;
  if (totalIdLen >= 13) {
    scale = 10000.0;
    digits = 6;
  } else if (totalIdLen >= 11) {
    scale = 1000.0;
    digits = 5;
  } else if (totalIdLen >= 9) {
    scale = 100.0;
    digits = 4;
  }
  unsigned long n = static_cast<unsigned long>((lat + 90.0) * scale + 0.5);
  unsigned long m = static_cast<unsigned long>((lon + 180.0) * scale + 0.5);
  snprintf(id, totalIdLen, "%*.*lx%*.*lx", digits, digits, n, digits, digits,
           m);
  return true;
}
