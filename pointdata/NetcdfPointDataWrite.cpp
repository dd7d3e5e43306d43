// Writing records: the find-or-make of the record of an observation and
// the writes of its index entries, in the order that keeps readers in
// other processes coherent: everything that a table entry leads to is in
// the file before the entry, and the new record is synced before the
// caller writes its data.

#include <netcdf.h>
#include <netcdfcpp.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>

#include "LogStream.h"
#include "NetcdfPointData.h"
#include "PointFileStructure.h"
#include "PointIndexReader.h"
#include "PointNetcdfFileInfo.h"

namespace {

// The time part of a file's name, at the end of its path.
const unsigned kTimeStampLength = 13;
const char kBinSet = '1';
const char kBinClear = '0';

bool problem(const char* text) {
  ZLOG(LogStream::PROBLEM) << text << std::endl;
  return false;
}

// A record array grown to `capacity` entries, the first `kept` kept.
template <class T>
bool regrow(T*& array, long kept, long capacity, long width = 1) {
  if (array == nullptr) return true;
  T* grown = newIndexArray<T>(tableSize(capacity, width));
  if (grown == nullptr) return false;
  std::fill(grown, grown + tableSize(capacity, width), T());
  std::copy(array, array + kept * width, grown);
  delete[] array;
  array = grown;
  return true;
}

bool putInt(int ncid, int var, long index, int value) {
  size_t at = static_cast<size_t>(index);
  return nc_put_var1_int(ncid, var, &at, &value) == NC_NOERR;
}

bool putChar(int ncid, int var, long row, long column, char value) {
  size_t at[2] = {static_cast<size_t>(row), static_cast<size_t>(column)};
  return nc_put_var1_text(ncid, var, at, &value) == NC_NOERR;
}

}  // namespace

// What one call of getFileHandleAndRecord has found so far.
struct NetcdfPointData::Store {
  const SeqOf<TextString>* ids = nullptr;
  const float* latLon = nullptr;
  AbsTime fileTime;
  long validTime = 0;
  PointNetcdfFileInfo* info = nullptr;
  const PointFileStructure* s = nullptr;
  int ncid = -1;
  bool hasId = false;
  std::unique_ptr<char[]> id;  // totalIdLen bytes, NUL padded
  long row = -1;               // the id's row in the table
  long insertRow = -1;         // where a new id goes
  long head = -1;              // the id's newest record
  long record = -1;
  long bin = 0;
};

TextString& NetcdfPointData::lastFileTimeStamp() {
  return process().lastFileTimeStamp;
}

void NetcdfPointData::disableSyncForWriting() {
  process().syncWorksForWriting = 0;
}

int* NetcdfPointData::getFileHandleAndRecord(const SeqOf<TextString>& ids,
                                             const SeqOf<double>& times,
                                             long& record, bool& isNewRecord) {
  Store st;
  st.ids = &ids;
  return store(st, times, record, isNewRecord);
}

int* NetcdfPointData::getFileHandleAndRecord(const float latLon[2],
                                             const SeqOf<double>& times,
                                             long& record, bool& isNewRecord) {
  if (!(latLon[0] >= -90.0f && latLon[0] <= 90.0f && latLon[1] >= -180.0f &&
        latLon[1] <= 180.0f)) {
    problem("lat/lon values out of range in getFileHandleAndRecord");
    return nullptr;
  }
  Store st;
  st.latLon = latLon;
  return store(st, times, record, isNewRecord);
}

int* NetcdfPointData::store(Store& st, const SeqOf<double>& times,
                            long& record, bool& isNewRecord) {
  if (!_writable) {
    problem("Not set up for writing in getFileHandleAndRecord");
    return nullptr;
  }
  if (!_isStatic && times.length() == 0) {
    problem("No time data in getFileHandleAndRecord");
    return nullptr;
  }
  if (!findFile(st, times) || !checkForm(st, times)) return nullptr;
  if (!openFileInfo(st.info)) return nullptr;
  st.ncid = *st.info->handle;
  const PointFileStructure& s = *st.s;
  if (s.recordForecasts && (st.validTime < st.info->validStart.seconds() ||
                            st.validTime > st.info->validEnd.seconds())) {
    ZLOG(LogStream::PROBLEM) << "Forecast time out of range: "
                             << st.validTime - st.fileTime.seconds() << " for "
                             << _directory << std::endl;
    return nullptr;
  }
  if (!buildId(st) || !loadTables(st)) return nullptr;
  findChainHead(st);
  long existing = findExistingRecord(st);
  if (existing >= 0) {
    record = existing;
    isNewRecord = false;
    return rewrite(st, existing);
  }
  st.record = st.info->nRecords;
  if (!writeBins(st) || !growRecordArrays(st) || !writeIdentity(st, times))
    return nullptr;
  int syncCase = 1;
  if (s.maxStaticIds > 0 && st.row >= 0) {
    syncCase = 2;
    if (!writeTableRow(st)) return nullptr;
  } else if (s.maxStaticIds > 0 && st.info->nStaticIds < s.maxStaticIds) {
    syncCase = 4;
    if (!insertTableRow(st)) return nullptr;
  } else if (s.maxStaticIds > 0) {
    syncCase = 3;
    if (!writeOverflow(st)) return nullptr;
  }
  int* handle = finishNewRecord(st, syncCase);
  if (handle != nullptr) {
    record = st.record;
    isNewRecord = true;
  }
  return handle;
}

// The file time is the first time that can be one; the cached newest file
// spares the search for the stream of current observations.
bool NetcdfPointData::findFile(Store& st, const SeqOf<double>& times) {
  long fileSeconds = 0;
  for (int i = 0; i < times.length() && fileSeconds == 0; ++i) {
    double t = times.at(i);
    if (t > 0 && t < AbsTime::endOfTime().seconds())
      fileSeconds = static_cast<long>(t);
  }
  if (_isStatic) {
    fileSeconds = 1;
  } else if (fileSeconds == 0) {
    return problem("Undefined time getFileHandleAndRecord");
  }
  st.fileTime = AbsTime(fileSeconds);
  PointNetcdfFileInfo* info = _newestFile;
  if (info == nullptr || st.fileTime < info->refStart ||
      st.fileTime > info->refEnd) {
    info = getFileInfoForTime(st.fileTime);
    if (info == nullptr) {
      ZLOG(LogStream::EVENT) << "This file was probably purged away"
                             << std::endl;
      return false;
    }
    if (info->refEnd == _latestRefEnd) _newestFile = info;
  }
  st.info = info;
  st.s = info->structure;
  st.validTime = st.fileTime.seconds();
  if (st.s->recordForecasts && times.length() > 0)
    st.validTime = static_cast<long>(times.at(times.length() - 1));
  return true;
}

bool NetcdfPointData::checkForm(const Store& st, const SeqOf<double>& times) {
  const PointFileStructure& s = *st.s;
  if (st.latLon != nullptr && !s.latLonIndexed)
    return problem("File not lat/lon indexed in getFileHandleAndRecord");
  if (st.latLon == nullptr && s.latLonIndexed)
    return problem("File is lat/lon indexed in getFileHandleAndRecord");
  if (st.latLon == nullptr && st.ids->length() != s.idVars.length())
    return problem("Wrong number of ids in getFileHandleAndRecord");
  if (!_isStatic && s.hasTimeVariables() &&
      times.length() != s.timeVars.length())
    return problem("Wrong number of times in getFileHandleAndRecord");
  return true;
}

bool NetcdfPointData::buildId(Store& st) {
  long width = st.s->totalIdLen;
  if (width < 1) return true;
  st.id.reset(new char[width]());
  st.hasId = true;
  if (st.latLon != nullptr) {
    if (width < 7) {
      ZLOG(LogStream::PROBLEM)
          << "totalIdLen dimension too small for lat/lon encoding "
          << "in getFileHandleAndRecord" << std::endl;
      return false;
    }
    return latLonId(st.latLon[0], st.latLon[1], width, st.id.get());
  }
  TextString joined;
  for (int i = 0; i < st.ids->length(); ++i) joined += st.ids->at(i);
  if (joined.length() >= static_cast<unsigned long>(width)) {
    ZLOG(LogStream::PROBLEM) << "Length of static id too long "
                             << "in getFileHandleAndRecord" << std::endl;
    return false;
  }
  std::memcpy(st.id.get(), joined.chars(), joined.length());
  return true;
}

// A writer trusts the tables it loaded: it is the only one that changes
// the file. It reads only what it hasn't got.
bool NetcdfPointData::loadTables(Store& st) {
  const PointFileStructure& s = *st.s;
  PointNetcdfFileInfo* info = st.info;
  int needed = 4;
  if (s.prevRecordVar == -1)
    needed = s.nBins > 1 ? 2 : 1;
  else if (info->firstOverflow >= s.maxStaticIds)
    needed = 5;
  if (!_isStatic) {
    if (s.levelReached(info->level) >= needed)
      info->nextCheck = AbsTime::now() + _checkInterval;
    else if (!updateFileInfo(st.ncid, info, needed))
      return false;
  }
  int have = s.levelReached(info->level);
  if ((s.nBins > 1 && have < 2) || (s.maxStaticIds > 0 && have < 3))
    return updateFileInfo(st.ncid, info, 4);
  return true;
}

void NetcdfPointData::findChainHead(Store& st) {
  const PointFileStructure& s = *st.s;
  const PointNetcdfFileInfo* info = st.info;
  if (s.prevRecordVar == -1) return;
  if (s.maxStaticIds <= 0 && !st.hasId) {
    if (st.latLon == nullptr || info->lats == nullptr || info->lons == nullptr)
      return;
    for (long r = std::min(info->nRecords, info->capacity) - 1; r >= 0; --r) {
      if (info->lats[r] == st.latLon[0] && info->lons[r] == st.latLon[1]) {
        st.head = r;
        return;
      }
    }
    return;
  }
  if (s.maxStaticIds <= 0) {
    st.head = findOverflowRecord(st.id.get(), info);
    return;
  }
  // The bisection of findStaticId, which also tells where a new id goes.
  long n = std::min(info->nStaticIds, s.maxStaticIds);
  long width = s.totalIdLen;
  const char* rows = info->staticIds;
  const char* id = st.id.get();
  st.insertRow = 0;
  if (n > 0 && rows != nullptr) {
    int order = strcmp(id, rows);
    int orderLast = strcmp(id, rows + (n - 1) * width);
    if (order == 0) {
      st.row = 0;
    } else if (orderLast == 0) {
      st.row = n - 1;
    } else if (orderLast > 0) {
      st.insertRow = n;
    } else if (order > 0) {
      long low = 0;
      long high = n - 1;
      while (high - low >= 2 && st.row < 0) {
        long middle = (low + high) / 2;
        int o = strcmp(id, rows + middle * width);
        if (o == 0)
          st.row = middle;
        else if (o < 0)
          high = middle;
        else
          low = middle;
      }
      st.insertRow = high;
    }
  }
  if (st.row >= 0)
    st.head = info->lastRecord[st.row];
  else if (info->firstOverflow >= 1)
    st.head = findOverflowRecord(id, info);
}

// Along the id's chain to the record of the valid time; -1 if none.
long NetcdfPointData::findExistingRecord(const Store& st) const {
  const PointNetcdfFileInfo* info = st.info;
  long known = std::min(info->nRecords, info->capacity);
  // A head past the records the file holds was written by a writer that
  // died before its record reached the file: there is no such record, and
  // the id's entry is set right by the new one.
  if (st.head < 0 || st.head >= known) return -1;
  if (info->prevRecord == nullptr || info->invTime == nullptr) return st.head;
  for (long r = st.head; r >= 0 && r < known; r = info->prevRecord[r]) {
    if (info->invTime[r] == st.validTime) return r;
    if (info->prevRecord[r] >= r) break;  // a broken chain still ends
  }
  return -1;
}

int* NetcdfPointData::rewrite(Store& st, long record) {
  PointNetcdfFileInfo* info = st.info;
  const TextString& path = info->path;
  unsigned length = path.length();
  lastFileTimeStamp() = length >= kTimeStampLength
                            ? path.substring(length - kTimeStampLength,
                                             kTimeStampLength)
                            : path;
  addClient(info);
  if (st.s->logRewrites) {
    FILE* log = fopen((path + ".rewrites").chars(), "a");
    if (log != nullptr) {
      fprintf(log, "%d\n", static_cast<int>(record));
      fclose(log);
    }
  }
  return info->handle;
}

void NetcdfPointData::addClient(PointNetcdfFileInfo* fileInfo) {
  if (fileInfo->clients++ == 0) unregisterClientless(fileInfo);
}

bool NetcdfPointData::writeBins(Store& st) {
  const PointFileStructure& s = *st.s;
  PointNetcdfFileInfo* info = st.info;
  if (s.nBins <= 1) return true;
  // A time before the first bin can only be a store that isn't a forecast
  // time in a file whose forecasts begin late: it goes to the first bin.
  st.bin = (st.validTime - info->validStart.seconds()) / s.binPeriod;
  st.bin = std::max(0L, std::min(st.bin, s.nBins - 1));
  long b = st.bin;
  if (s.inventoryIsChar && info->globalInventoryChars != nullptr &&
      info->globalInventoryChars[b] != kBinSet) {
    info->globalInventoryChars[b] = kBinSet;
    size_t at = static_cast<size_t>(b);
    char set = kBinSet;
    if (nc_put_var1_text(st.ncid, s.globalInventoryVar, &at, &set) != NC_NOERR)
      return problem("unable to write globalInventory");
  } else if (!s.inventoryIsChar && !(info->globalInventory & (1 << b))) {
    info->globalInventory |= 1 << b;
    if (!putInt(st.ncid, s.globalInventoryVar, 0, info->globalInventory))
      return problem("unable to write globalInventory");
  }
  if (info->firstInBin == nullptr || info->lastInBin == nullptr)
    return problem("unable to write firstInBin");
  if (info->firstInBin[b] < 0) {
    info->firstInBin[b] = static_cast<int>(st.record);
    if (!putInt(st.ncid, s.firstInBinVar, b, info->firstInBin[b]))
      return problem("unable to write firstInBin");
  }
  info->lastInBin[b] = static_cast<int>(st.record);
  if (!putInt(st.ncid, s.lastInBinVar, b, info->lastInBin[b]))
    return problem("unable to write lastInBin");
  return true;
}

bool NetcdfPointData::growRecordArrays(Store& st) {
  const PointFileStructure& s = *st.s;
  PointNetcdfFileInfo* info = st.info;
  if (st.record + 1 <= info->capacity || s.prevRecordVar == -1) return true;
    long capacity = st.record + 1 + s.capacityStep();
  long kept = std::min(st.record, info->capacity);
  bool grown = regrow(info->lats, kept, capacity) &&
               regrow(info->lons, kept, capacity) &&
               regrow(info->recordIds, kept, capacity, std::max(s.totalIdLen, 1L)) &&
               regrow(info->invTime, kept, capacity) &&
               regrow(info->prevRecord, kept, capacity) &&
               regrow(info->isOverflow, kept, capacity);
  if (!grown) return problem("unable to grow the record tables");
  info->capacity = capacity;
  return true;
}

// The record's id variables or position, its times, and its place in the
// chain of its id.
bool NetcdfPointData::writeIdentity(Store& st, const SeqOf<double>& times) {
  const PointFileStructure& s = *st.s;
  PointNetcdfFileInfo* info = st.info;
  long r = st.record;
  if (info->recordIds != nullptr && st.hasId)
    std::memcpy(info->recordIds + r * s.totalIdLen, st.id.get(), s.totalIdLen);
  size_t at = static_cast<size_t>(r);
  if (st.latLon != nullptr) {
    if (nc_put_var1_float(st.ncid, s.latVar, &at, &st.latLon[0]) != NC_NOERR)
      return problem("unable to write latitude");
    if (nc_put_var1_float(st.ncid, s.lonVar, &at, &st.latLon[1]) != NC_NOERR)
      return problem("unable to write longitude");
    if (info->lats != nullptr) info->lats[r] = st.latLon[0];
    if (info->lons != nullptr) info->lons[r] = st.latLon[1];
  } else {
    for (int v = 0; v < s.idVars.length(); ++v) {
      const TextString& text = st.ids->at(v);
      size_t start[2] = {at, 0};
      size_t count[2] = {1, text.length() + 1};
      int var = s.idVars.at(v);
      // A variable without room for the NUL takes the text alone.
      if (nc_put_vara_text(st.ncid, var, start, count, text.chars()) !=
          NC_NOERR) {
        count[1] = text.length();
        if (nc_put_vara_text(st.ncid, var, start, count, text.chars()) !=
            NC_NOERR) {
          ZLOG(LogStream::PROBLEM)
              << "unable to write id variable " << var << std::endl;
          return false;
        }
      }
    }
  }
  int written = std::min(times.length(), s.timeVars.length());
  for (int i = 0; i < written; ++i) {
    double value = times.at(i);
    if (nc_put_var1_double(st.ncid, s.timeVars.at(i), &at, &value) !=
        NC_NOERR) {
      ZLOG(LogStream::PROBLEM)
          << "unable to write time variable " << s.timeVars.at(i) << std::endl;
      return false;
    }
  }
  if (info->invTime != nullptr) {
    info->invTime[r] = static_cast<int>(st.validTime);
    if (s.invTimeVar >= 0 && !putInt(st.ncid, s.invTimeVar, r, info->invTime[r]))
      return problem("unable to write invTime");
  }
  if (info->prevRecord != nullptr) {
    info->prevRecord[r] = static_cast<int>(st.head);
    if (s.prevRecordVar >= 0 &&
        !putInt(st.ncid, s.prevRecordVar, r, info->prevRecord[r]))
      return problem("unable to write prevRecord");
  }
  return true;
}

bool NetcdfPointData::writeTableRow(Store& st) {
  const PointFileStructure& s = *st.s;
  PointNetcdfFileInfo* info = st.info;
  long row = st.row;
  if (s.nBins > 1 && s.inventoryIsChar) {
    info->inventoryChars[row * s.nBins + st.bin] = kBinSet;
    if (!putChar(st.ncid, s.inventoryVar, row, st.bin, kBinSet))
      return problem("unable to write inventory");
  } else if (s.nBins > 1) {
    info->inventory[row] |= 1 << st.bin;
    if (!putInt(st.ncid, s.inventoryVar, row, info->inventory[row]))
      return problem("unable to write inventory");
  }
  if (!putInt(st.ncid, s.lastRecordVar, row, static_cast<int>(st.record)))
    return problem("unable to write lastRecord");
  if (info->isOverflow != nullptr) info->isOverflow[st.record] = 0;
  info->lastRecord[row] = static_cast<int>(st.record);
  return true;
}

// A new id takes its row in the sorted table; the rows behind it move one
// down and the whole tail is written again, the count last, so that a
// reader that sees the count finds the rows it covers.
bool NetcdfPointData::insertTableRow(Store& st) {
  const PointFileStructure& s = *st.s;
  PointNetcdfFileInfo* info = st.info;
  long row = st.insertRow;
  long n = info->nStaticIds;
  long width = s.totalIdLen;
  long moved = n + 1 - row;
  bool bins = s.nBins > 1;
  if (info->isOverflow != nullptr) info->isOverflow[st.record] = 0;
  std::memmove(info->staticIds + (row + 1) * width, info->staticIds + row * width,
               (n - row) * width);
  std::memmove(info->lastRecord + row + 1, info->lastRecord + row,
               (n - row) * sizeof(int));
  std::memcpy(info->staticIds + row * width, st.id.get(), width);
  info->lastRecord[row] = static_cast<int>(st.record);
  if (bins && s.inventoryIsChar) {
    char* rows = info->inventoryChars;
    std::memmove(rows + (row + 1) * s.nBins, rows + row * s.nBins,
                 (n - row) * s.nBins);
    std::fill(rows + row * s.nBins, rows + (row + 1) * s.nBins, kBinClear);
    rows[row * s.nBins + st.bin] = kBinSet;
  } else if (bins) {
    std::memmove(info->inventory + row + 1, info->inventory + row,
                 (n - row) * sizeof(int));
    info->inventory[row] = 1 << st.bin;
  }
  const char* failure = nullptr;
  size_t start[2] = {static_cast<size_t>(row), 0};
  size_t count[2] = {static_cast<size_t>(moved), static_cast<size_t>(width)};
  if (nc_put_vara_text(st.ncid, s.staticIdsVar, start, count,
                       info->staticIds + row * width) != NC_NOERR) {
    failure = "unable to write staticIds";
  } else if (nc_put_vara_int(st.ncid, s.lastRecordVar, start, count,
                             info->lastRecord + row) != NC_NOERR) {
    failure = "unable to write lastRecord";
  } else if (bins && s.inventoryIsChar) {
    count[1] = static_cast<size_t>(s.nBins);
    if (nc_put_vara_text(st.ncid, s.inventoryVar, start, count,
                         info->inventoryChars + row * s.nBins) != NC_NOERR)
      failure = "unable to write inventory";
  } else if (bins && nc_put_vara_int(st.ncid, s.inventoryVar, start, count,
                                     info->inventory + row) != NC_NOERR) {
    failure = "unable to write inventory";
  }
  if (failure == nullptr && !putInt(st.ncid, s.nStaticIdsVar, 0, n + 1))
    failure = "unable to write nStaticIds";
  if (failure != nullptr) {
    // The table in memory has moved ahead of the file: it is read again.
    freeTables(info);
    return problem(failure);
  }
  info->nStaticIds = n + 1;
  return true;
}

bool NetcdfPointData::writeOverflow(Store& st) {
  const PointFileStructure& s = *st.s;
  PointNetcdfFileInfo* info = st.info;
  ZLOG(LogStream::PROBLEM) << "Static information area overflow in the file "
                           << std::endl;
  ZLOG(LogStream::PROBLEM) << info->path << std::endl;
  if (info->firstOverflow < 1) {
    info->firstOverflow = st.record;
    if (!putInt(st.ncid, s.firstOverflowVar, 0, static_cast<int>(st.record)))
      return problem("unable to write firstOverflow");
  }
  long width = s.totalIdLen;
  if (info->recordIds == nullptr) {
    info->recordIds = newIndexArray<char>(tableSize(info->capacity, width));
    if (info->recordIds == nullptr) return problem("unable to write isOverflow");
    std::memset(info->recordIds, 0, tableSize(info->capacity, width));
    std::memcpy(info->recordIds + st.record * width, st.id.get(), width);
  }
  if (info->isOverflow == nullptr) {
    info->isOverflow = newIndexArray<int>(info->capacity);
    if (info->isOverflow == nullptr) return problem("unable to write isOverflow");
    std::fill(info->isOverflow, info->isOverflow + info->capacity, 0);
  }
  info->isOverflow[st.record] = 1;
  if (!putInt(st.ncid, s.isOverflowVar, st.record, 1))
    return problem("unable to write isOverflow");
  return true;
}

// The record counts from here on; the sync makes the index visible to
// readers ahead of the data that the caller writes next.
int* NetcdfPointData::finishNewRecord(Store& st, int syncCase) {
  PointNetcdfFileInfo* info = st.info;
  addClient(info);
  info->nRecords = st.record + 1;
  int syncWorks = process().syncWorksForWriting;
  ZLOG(LogStream::DEBUG) << syncCase
                         << ": In lastFileTimeStamp, NC_SYNC_WORKS_FOR_WRITING = "
                         << syncWorks << std::endl;
  bool synced = true;
  if (syncWorks == 1 && ncsync(st.ncid) < 0) {
    ZLOG(LogStream::BUG) << "PANIC!!! Error calling ncsync!!!" << std::endl;
    synced = false;
  } else if (syncWorks != 1) {
    synced = mysync(info) >= 0;
  }
  if (synced) return info->handle;
  // The index didn't reach the disk (a full one, most likely): the store
  // has failed, and the caller mustn't write data behind it.
  --info->clients;
  return nullptr;
}

int NetcdfPointData::mysync(PointNetcdfFileInfo* fileInfo) {
  if (fileInfo == nullptr ||
      (fileInfo->handle == nullptr && fileInfo->ncid < 0))
    return -1;
  int syncWorks = process().syncWorksForWriting;
  ZLOG(LogStream::DEBUG) << "In mysync, NC_SYNC_WORKS_FOR_WRITING = "
                         << syncWorks << std::endl;
  int id = fileInfo->handle != nullptr ? *fileInfo->handle : fileInfo->ncid;
  if (_writable && syncWorks == 1) {
    ncsync(id);
    return id;
  }
  // Where a sync can't be trusted, a close writes everything out and an
  // open sees what others wrote; the holder's cell follows the new id.
  closeFiles(fileInfo);
  if (!openInMode(fileInfo, true)) {
    closeFileInfo(fileInfo);
    return -1;
  }
  if (fileInfo->handle != nullptr) *fileInfo->handle = fileInfo->ncid;
  return fileInfo->ncid;
}

PointNetcdfFileInfo* NetcdfPointData::holderOf(int* handle) const {
  PointNetcdfFileInfo* info = nullptr;
  if (handle == nullptr || !_handles.lookup(handle, &info) || info == nullptr ||
      *handle < 0 || info->handle != handle)
    return nullptr;
  return info;
}

bool NetcdfPointData::releaseHandle(int* handle) {
  return releaseOne(handle, false,
                    "In releaseHandle, NC_SYNC_WORKS_FOR_WRITING = ", true);
}

bool NetcdfPointData::releaseHandles(const SeqOfPtr<int*>& handles) {
  bool ok = true;
  for (int i = 0; i < handles.length(); ++i) {
    // The last of a run of handles of one file syncs for the run.
    bool last = i + 1 == handles.length() ||
                holderOf(handles[i + 1]) != holderOf(handles[i]);
    if (!releaseOne(handles[i], true,
                    "In releaseHandles, NC_SYNC_WORKS_FOR_WRITING = ", last))
      ok = false;
  }
  return ok;
}

bool NetcdfPointData::releaseOne(int* handle, bool reportBad,
                                 const char* debugText, bool sync) {
  PointNetcdfFileInfo* info = holderOf(handle);
  if (info == nullptr) {
    if (reportBad) {
      ZLOG(LogStream::BUG) << "Error releasing handle" << std::endl;
    }
    return false;
  }
  if (info->clients <= 0) {
    ZLOG(LogStream::BUG) << "releasing handle with no clients " << info->path
                         << std::endl;
  } else if (--info->clients > 0) {
    return true;
  }
  if (!_writable) {
    registerClientless(info);
    return true;
  }
  int syncWorks = process().syncWorksForWriting;
  ZLOG(LogStream::DEBUG) << debugText << syncWorks << std::endl;
  // The writer keeps only its newest files open.
  int maxOpen = _structure != nullptr ? _structure->maxOpen : 2;
  if (_fileTimes.length() > maxOpen &&
      info->fileTime <= _fileTimes.at(maxOpen)) {
    closeFileInfo(info);
    return true;
  }
  if (!sync) return true;
  if (syncWorks == 1) {
    if (ncsync(*handle) < 0) {
      ZLOG(LogStream::BUG) << "PANIC!!! Error calling ncsync!!!" << std::endl;
    }
  } else {
    mysync(info);
  }
  return true;
}
