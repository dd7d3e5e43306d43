// The inventories of a reader: what times exist for an id or for the whole
// file set. All answers come from the index of each file, loaded only as
// far as the question needs (level 1 for the whole set, level 3 for an id,
// level 4 and up for exact times), and each query renews the picture of
// the directory when that is due, so that a reader follows a writer in
// another process.

#include <algorithm>
#include <memory>
#include <vector>

#include "DataTime.h"
#include "LogStream.h"
#include "NetcdfPointData.h"
#include "NetcdfPointDataQuery.h"
#include "PointFileStructure.h"
#include "PointIndexReader.h"
#include "PointNetcdfFileInfo.h"
#include "TimeRange.h"

namespace {

// Files a query may restart over after a failed read, beyond their count.
const int kExtraPasses = 2;
// The most records of an id that an exact inventory reads one by one from
// a file; more are cheaper through the file's per-record tables.
const long kMaxChainReads = 64;

long roundDown(long t, long q) { return q > 0 ? t - t % q : t; }

// A time of a record to the nearest multiple of the quantum.
long roundNearest(long t, long q) {
  return q > 0 ? roundDown(t + (q / 2 - 1), q) : t;
}

}  // namespace

bool NetcdfPointData::beginQuery(Query& q, const TimeRange* range,
                                 int timeQuantum, bool absoluteForm) {
  if (range != nullptr && range->start() == range->end()) return false;
  if (_structure == nullptr) return false;
  if (AbsTime::now() >= _nextResync || _newestNotedTime > _latestRefEnd)
    _lastResyncChanged = resync() || _lastResyncChanged;
  if (_structure == nullptr) return false;  // the rebuild found no template
  if (_fileTimes.length() == 0) {
    q.nothing = true;
    return !_isStatic;
  }
  const PointFileStructure& s = *_structure;
  q.asked = timeQuantum;
  if (timeQuantum < 0)
    q.quantum = -1;
  else if (timeQuantum == 0)
    q.quantum = absoluteForm && !_haveForecasts ? s.filePeriod : s.binPeriod;
  else
    q.quantum = std::max<long>(timeQuantum, s.binPeriod);
  if (range != nullptr) {
    // A file not yet read may reach past the latest valid time known.
    bool lateKnown = _unconfirmed == 0;
    if ((lateKnown && range->start() > _latestValidEnd) ||
        range->end() < _earliestRefStart)
      q.nothing = true;
    // A range that covers everything saves the tests.
    q.hasRange = !(lateKnown && range->start() <= _earliestRefStart &&
                   range->end() >= _latestValidEnd);
    q.range = *range;
  }
  return true;
}

// The time entries of a record's time t in one file, by its kind.
void NetcdfPointData::addTime(const Query& q, const PointNetcdfFileInfo* info,
                              long t, Entries& out) {
  const PointFileStructure& s = *info->structure;
  if (s.recordForecasts) {
    long ref = info->fileTime.seconds();
    if (q.inRange(t)) out.addForecast(ref, t - ref);
  } else if (s.forecastDim >= 0 && s.forecastList.length() > 0) {
    for (int i = 0; i < s.forecastList.length(); ++i) {
      long f = s.forecastList.at(i);
      if (q.inRange(t + f)) out.addForecast(t, f);
    }
  } else if (q.inRange(t)) {
    out.addPlain(t);
  }
}

void NetcdfPointData::chainEntries(Query& q, PointNetcdfFileInfo* info,
                                   long head, Entries& out) {
  // A chain leads to older records only (the reader mends it so), but a
  // bound on the steps costs nothing.
  long steps = 0;
  for (long r = head; r >= 0 && r < info->nRecords && steps <= info->nRecords;
       ++steps) {
    long t = info->invTime != nullptr ? info->invTime[r]
                                      : info->fileTime.seconds();
    addTime(q, info, roundNearest(t, q.quantum), out);
    r = info->prevRecord != nullptr ? info->prevRecord[r] : -1;
  }
}

void NetcdfPointData::binEntries(Query& q, PointNetcdfFileInfo* info,
                                 unsigned mask, const char* chars,
                                 Entries& out) {
  const PointFileStructure& s = *info->structure;
  long start = info->validStart.seconds();
  if (!s.hasTimeVariables() || s.nBins <= 1) {
    // The file is one bin: its middle stands for it.
    long middle = start + (info->validEnd - info->validStart) / 2;
    addTime(q, info, roundDown(middle, q.quantum), out);
    return;
  }
  long half = s.recordForecasts ? 0 : s.binPeriod / 2;
  for (long b = 0; b < s.nBins; ++b) {
    bool set = chars != nullptr ? chars[b] == '1'
                                : b < 32 && ((mask >> b) & 1u) != 0;
    if (!set) continue;
    long t = start + b * s.binPeriod + half;
    if (t > info->validEnd.seconds()) break;
    addTime(q, info, roundDown(t, q.quantum), out);
  }
}

// The newest record of the id where a chain is to be walked: with exact
// times through its row, or where it has no row, among the overflow
// records. `row` is its row in the table, -1 without one.
long NetcdfPointData::headOfId(PointNetcdfFileInfo* info, const char* id,
                               bool exact, long* row, bool& failed) {
  const PointFileStructure& s = *info->structure;
  *row = findStaticId(id, info);
  if (*row >= 0) {
    if (!exact || info->lastRecord == nullptr) return -1;
    long head = info->lastRecord[*row];
    return head >= 0 && head < info->nRecords ? head : -1;
  }
  if (s.totalIdLen < 1 || info->firstOverflow < s.maxStaticIds) return -1;
  if (!updateFileInfo(-1, info, 5)) {
    failed = true;
    return -1;
  }
  return findOverflowRecord(id, info);
}

// The first question of an id in a file, answered by reading the id's
// row, and for exact times its few records, from the file: a reader may
// ask a file only once, and the whole tables read into new memory cost a
// fresh process more than the scan of the data that they spare. A file
// asked again loads its tables. false, with nothing added, where the
// tables must answer.
bool NetcdfPointData::idFromFile(Query& q, PointNetcdfFileInfo* info,
                                 const char* id, Entries& out, bool& failed) {
  const PointFileStructure& s = *info->structure;
  int have = s.levelReached(info->level);
  if (_isStatic || info->directReads > 0 || s.maxStaticIds <= 0 ||
      have >= (q.exact() ? 4 : 3))
    return false;
  long row = -1;
  long head = -1;
  unsigned bits = 1;
  std::unique_ptr<char[]> chars;
  if (have >= 3) {
    // The table is at hand; only the records are read from the file.
    if (!updateFileInfo(-1, info, 3)) {
      failed = true;
      return false;
    }
    row = findStaticId(id, info);
    if (row >= 0) head = info->lastRecord[row];
  } else {
    // The file is looked at now whatever its next check says: an open one
    // may hold a block read before the writer's last store, which the sync
    // of a changed file drops; a closed one is read as it is opened.
    info->nextCheck = AbsTime();
    if (!updateFileInfo(-1, info, 1) ||
        (info->ncid < 0 && !openForQuery(info, "getFileInfoNcFile"))) {
      failed = true;
      return false;
    }
    // Looked at now, changed or not: the next look waits its interval.
    setNextCheck(info);
    row = findStaticIdInFile(id, info);
    if (row < -1 || (row >= 0 && !readIdRow(info, row, head, bits, chars)))
      return false;
  }
  if (row < 0) {
    // Nor is an id that the file doesn't hold a reason to load the tables,
    // unless it may be among the overflow records.
    if (s.totalIdLen >= 1 && info->firstOverflow >= s.maxStaticIds)
      return false;
    ++info->directReads;
    return true;
  }
  std::vector<long> times;
  if (q.exact()) {
    // A head past the records counted is a record that a writer added
    // since: the tables are read with a second look at the count.
    if (head < 0 || head >= info->nRecords ||
        !readChainTimes(info, head, kMaxChainReads, times))
      return false;
    for (long t : times) addTime(q, info, roundNearest(t, q.quantum), out);
  } else if (!s.hasTimeVariables() || s.nBins <= 1) {
    binEntries(q, info, 1, nullptr, out);
  } else {
    binEntries(q, info, bits, chars.get(), out);
  }
  ++info->directReads;
  return true;
}

// The newest record and the bins of the id of a row, read from the open
// file.
bool NetcdfPointData::readIdRow(PointNetcdfFileInfo* info, long row,
                                long& head, unsigned& bits,
                                std::unique_ptr<char[]>& chars) {
  const PointFileStructure& s = *info->structure;
  int value = -1;
  if (!PointIndexReader::readInts(info->ncid, s.lastRecordVar, row, 1, &value))
    return false;
  head = value;
  if (s.nBins <= 1) return true;
  if (s.inventoryIsChar) {
    chars.reset(newIndexArray<char>(s.nBins));
    return chars && PointIndexReader::readChars(info->ncid, s.inventoryVar,
                                                row, 1, s.nBins, chars.get());
  }
  if (!PointIndexReader::readInts(info->ncid, s.inventoryVar, row, 1, &value))
    return false;
  bits = static_cast<unsigned>(value);
  return true;
}

bool NetcdfPointData::idTimesOfFile(Query& q, PointNetcdfFileInfo* info,
                                    const char* id, Entries& out,
                                    bool& failed) {
  const PointFileStructure& s = *info->structure;
  if (idFromFile(q, info, id, out, failed) || failed) return !failed;
  long row = -1;
  int level = q.exact() || s.maxStaticIds <= 0 ? 4 : 3;
  if (!updateFileInfo(-1, info, level)) {
    failed = true;
    return false;
  }
  long head = headOfId(info, id, q.exact(), &row, failed);
  if (failed) return false;
  if (_isStatic) {
    if (row >= 0 || head >= 0) out.addPlain(1);
    return true;
  }
  if (row < 0 && head < 0) return true;
  if (!s.hasTimeVariables()) {
    binEntries(q, info, 1, nullptr, out);
  } else if (head >= 0) {
    chainEntries(q, info, head, out);
  } else if (s.nBins <= 1) {
    binEntries(q, info, 1, nullptr, out);
  } else if (s.inventoryIsChar && info->inventoryChars != nullptr) {
    binEntries(q, info, 0, info->inventoryChars + row * s.nBins, out);
  } else if (!s.inventoryIsChar && info->inventory != nullptr) {
    binEntries(q, info, static_cast<unsigned>(info->inventory[row]), nullptr,
               out);
  } else {
    binEntries(q, info, 1, nullptr, out);
  }
  return true;
}

bool NetcdfPointData::allTimesOfFile(Query& q, PointNetcdfFileInfo* info,
                                     Entries& out, bool& failed) {
  const PointFileStructure& s = *info->structure;
  if (!s.hasTimeVariables()) {
    if (q.exact())
      addTime(q, info, info->fileTime.seconds(), out);
    else
      binEntries(q, info, 1, nullptr, out);
    return true;
  }
  if (!updateFileInfo(-1, info, q.exact() ? 4 : 1)) {
    failed = true;
    return false;
  }
  if (info->nRecords == 0) return true;
  if (q.exact() && info->invTime != nullptr) {
    for (long r = 0; r < info->nRecords; ++r)
      addTime(q, info, info->invTime[r], out);
  } else if (s.nBins <= 1) {
    binEntries(q, info, 1, nullptr, out);
  } else if (s.inventoryIsChar) {
    binEntries(q, info, 0, info->globalInventoryChars, out);
  } else {
    binEntries(q, info, static_cast<unsigned>(info->globalInventory), nullptr,
               out);
  }
  return true;
}

// The walk over the files, oldest first, of both inventories. A file that
// can't be read is noted, the picture renewed, and the walk begins again
// without it: the answer is then what the files that exist still hold.
bool NetcdfPointData::collectTimes(Query& q, const TextString* id,
                                   const SeqOf<DataTime>* earlier,
                                   Entries& out) {
  AbsTime limit;
  if (earlier != nullptr) {
    for (int i = 0; i < earlier->length(); ++i)
      if (earlier->at(i).refTime() > limit) limit = earlier->at(i).refTime();
    if (limit <= _earliestRefEnd) limit = AbsTime();
  }
  AbsTime mergeLimit = limit;
  PointNetcdfFileInfo* keptOpen = nullptr;
  int keptIndex = -1;
  if (id == nullptr && q.exact()) {
    // Room for every record at once: a day of exact times is large, and
    // a growing array copies itself into fresh memory again and again.
    // A file not yet read counts as many as the newest.
    const PointNetcdfFileInfo* newest = fileInfoAt(_fileTimes.at(0));
    long guess = newest != nullptr ? std::max(newest->nRecords, 0L) : 0;
    size_t records = 0;
    for (int i = 0; i < _fileTimes.length(); ++i)
      if (PointNetcdfFileInfo* info = fileInfoAt(_fileTimes.at(i)))
        records += static_cast<size_t>(
            info->confirmed ? std::max(info->nRecords, 0L) : guess);
    out.items.reserve(records);
  }
  int passes = _fileTimes.length() + kExtraPasses;
  for (bool again = true; again && passes-- > 0;) {
    again = false;
    out.clear();
    mergeLimit = limit;
    bool visited = false;
    for (int i = _fileTimes.length() - 1; i >= 0; --i) {
      PointNetcdfFileInfo* info = fileInfoAt(_fileTimes.at(i));
      if (info == nullptr) continue;
      // A file listed by its name alone is read before its coverage counts.
      bool opened = !info->confirmed;
      bool failed = opened && !confirmFile(info);
      if (!failed) {
        bool skip = i > 0 && limit.isValid() && info->refEnd < limit;
        bool past = !skip && q.hasRange && info->validStart > q.range.end();
        if (skip || past || (q.hasRange && info->validEnd < q.range.start())) {
          if (opened) closeUnheldFile(info);
          if (past) break;
          continue;
        }
        if (!visited && limit.isValid()) mergeLimit = info->refStart - 1;
        visited = true;
        if (id != nullptr)
          idTimesOfFile(q, info, id->chars(), out, failed);
        else
          allTimesOfFile(q, info, out, failed);
      }
      if (failed) {
        closeUnheldFile(info);
        if (keptOpen != nullptr && keptOpen != info) closeUnheldFile(keptOpen);
        keptOpen = nullptr;
        ++q.failures;
        noteFileAccessError(info);
        _lastResyncChanged = resync() || _lastResyncChanged;
        again = true;
        break;
      }
      // One open file is carried along: the newest visited.
      if (info->ncid >= 0) {
        if (keptOpen != nullptr && keptOpen != info) closeUnheldFile(keptOpen);
        keptOpen = info;
        keptIndex = i;
      }
    }
  }
  if (keptOpen != nullptr) {
    _currentFile = keptOpen;
    _currentIndex = keptIndex;
    if (keptOpen->clients == 0) keepIdleFile(keptOpen);
  }
  if (q.failures == 1) {
    ZLOG(LogStream::EVENT)
        << "File open failed because of normal purge operation"
        << (id == nullptr ? TextString(" ") + _directory : TextString())
        << std::endl;
  } else if (q.failures > 1) {
    ZLOG(LogStream::BUG)
        << (id == nullptr ? "Serious file access problems during inventory "
                          : "Serious file access problems")
        << (id == nullptr ? _directory : TextString()) << std::endl;
  }
  if (earlier != nullptr && limit.isValid()) {
    for (int i = 0; i < earlier->length(); ++i) {
      const DataTime& t = earlier->at(i);
      if (t.refTime() >= _earliestRefStart && t.refTime() <= mergeLimit)
        out.add(t);
    }
  }
  return true;
}

// Without forecasts and at a quantum of a whole file or more, the names
// of the files are the answer.
bool NetcdfPointData::timesFromFileNames(Query& q, Entries& out) {
  for (int i = _fileTimes.length() - 1; i >= 0; --i) {
    long t = roundNearest(_fileTimes.at(i).seconds(), q.quantum);
    if (q.inRange(t)) out.addPlain(t);
  }
  return true;
}

bool NetcdfPointData::staticInventory(Entries& out) {
  PointNetcdfFileInfo* info = fileInfoAt(AbsTime(1));
  if (info == nullptr || !updateFileInfo(-1, info, 5) || info->nRecords == 0)
    return false;
  out.addPlain(1);
  _currentFile = info;
  _currentIndex = 0;
  return true;
}

bool NetcdfPointData::timeQuery(const SeqOf<DataTime>* earlier,
                                const TextString* id, const TimeRange* range,
                                int timeQuantum, bool absoluteForm,
                                Entries& out, bool& useEarlier) {
  useEarlier = false;
  Query q;
  if (!beginQuery(q, range, timeQuantum, absoluteForm)) return false;
  if (q.nothing) return true;
  bool changed = _lastResyncChanged;
  _lastResyncChanged = false;
  if (_isStatic && id == nullptr) {
    if (!changed && earlier != nullptr) {
      useEarlier = true;
      return true;
    }
    return staticInventory(out);
  }
  const PointFileStructure& s = *_structure;
  bool fromNames = id == nullptr && !_haveForecasts &&
                   ((q.quantum > s.filePeriod) ||
                    (q.asked >= 0 && s.nBins <= 1 && s.hasTimeVariables()));
  if (fromNames) {
    if (!changed && earlier != nullptr) {
      useEarlier = true;
      return true;
    }
    return timesFromFileNames(q, out);
  }
  return collectTimes(q, id, earlier, out);
}

bool NetcdfPointData::dataTimeQuery(const SeqOf<DataTime>* earlier,
                                    const TextString* id,
                                    const TimeRange* range,
                                    SeqOf<DataTime>& dataTimes,
                                    int timeQuantum) {
  dataTimes.setLength(0);
  Entries entries;
  bool useEarlier = false;
  if (!timeQuery(earlier, id, range, timeQuantum, false, entries, useEarlier))
    return false;
  if (useEarlier)
    dataTimes = *earlier;
  else {
    // Made whole at once, in place: a sequence grown one entry at a time
    // copies itself over and over on a day of exact times.
    const std::vector<Entries::Item>& items = entries.sorted();
    dataTimes.setLength(static_cast<int>(items.size()));
    for (size_t i = 0; i < items.size(); ++i)
      dataTimes[static_cast<int>(i)] = entries.timeOf(items[i]);
  }
  return true;
}

bool NetcdfPointData::idInventory(const SeqOf<DataTime>& earlierResult,
                                  const TextString& id,
                                  SeqOf<DataTime>& dataTimes,
                                  int timeQuantum) {
  return dataTimeQuery(&earlierResult, &id, nullptr, dataTimes, timeQuantum);
}

bool NetcdfPointData::idInventory(const TextString& id,
                                  SeqOf<DataTime>& dataTimes,
                                  int timeQuantum) {
  return dataTimeQuery(nullptr, &id, nullptr, dataTimes, timeQuantum);
}

bool NetcdfPointData::idInventory(const SeqOf<DataTime>& earlierResult,
                                  const TextString& id, TimeRange range,
                                  SeqOf<DataTime>& dataTimes,
                                  int timeQuantum) {
  return dataTimeQuery(&earlierResult, &id, &range, dataTimes, timeQuantum);
}

bool NetcdfPointData::idInventory(const TextString& id, TimeRange range,
                                  SeqOf<DataTime>& dataTimes,
                                  int timeQuantum) {
  return dataTimeQuery(nullptr, &id, &range, dataTimes, timeQuantum);
}

bool NetcdfPointData::inventory(const SeqOf<DataTime>& earlierResult,
                                SeqOf<DataTime>& dataTimes, int timeQuantum) {
  return dataTimeQuery(&earlierResult, nullptr, nullptr, dataTimes,
                       timeQuantum);
}

bool NetcdfPointData::inventory(SeqOf<DataTime>& dataTimes, int timeQuantum) {
  return dataTimeQuery(nullptr, nullptr, nullptr, dataTimes, timeQuantum);
}

bool NetcdfPointData::inventory(const SeqOf<DataTime>& earlierResult,
                                TimeRange range, SeqOf<DataTime>& dataTimes,
                                int timeQuantum) {
  return dataTimeQuery(&earlierResult, nullptr, &range, dataTimes,
                       timeQuantum);
}

bool NetcdfPointData::inventory(TimeRange range, SeqOf<DataTime>& dataTimes,
                                int timeQuantum) {
  return dataTimeQuery(nullptr, nullptr, &range, dataTimes, timeQuantum);
}

bool NetcdfPointData::absTimeQuery(const TextString* id,
                                   const TimeRange* range,
                                   SeqOf<AbsTime>& absTimes, int timeQuantum) {
  absTimes.setLength(0);
  Entries entries;
  bool useEarlier = false;
  if (!timeQuery(nullptr, id, range, timeQuantum, true, entries, useEarlier))
    return false;
  // Made whole at once, in place, as the DataTime form; forecasts of one
  // valid time give one entry.
  const std::vector<Entries::Item>& items = entries.sorted();
  int count = 0;
  for (size_t i = 0; i < items.size(); ++i)
    if (i == 0 || items[i].valid != items[i - 1].valid) ++count;
  absTimes.setLength(count);
  count = 0;
  for (size_t i = 0; i < items.size(); ++i)
    if (i == 0 || items[i].valid != items[i - 1].valid)
      absTimes[count++] = AbsTime(items[i].valid);
  return true;
}

bool NetcdfPointData::idTimes(const TextString& id, SeqOf<AbsTime>& absTimes,
                              int timeQuantum) {
  return absTimeQuery(&id, nullptr, absTimes, timeQuantum);
}

bool NetcdfPointData::idTimes(const TextString& id, TimeRange range,
                              SeqOf<AbsTime>& absTimes, int timeQuantum) {
  return absTimeQuery(&id, &range, absTimes, timeQuantum);
}

bool NetcdfPointData::allTimes(SeqOf<AbsTime>& absTimes, int timeQuantum) {
  return absTimeQuery(nullptr, nullptr, absTimes, timeQuantum);
}

bool NetcdfPointData::allTimes(TimeRange range, SeqOf<AbsTime>& absTimes,
                               int timeQuantum) {
  return absTimeQuery(nullptr, &range, absTimes, timeQuantum);
}
