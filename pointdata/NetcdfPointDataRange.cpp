// The reads of a reader in one open file: the handles it must open, the
// records of a time range or of an id in it, their ids, times and
// positions, and what a reader needs to know of the variables. The bins of
// the index narrow a range to a span of records; the per-record times cut
// it to the records that lie in the range.

#include <netcdf.h>
#include <netcdfcpp.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <set>
#include <string>
#include <vector>

#include "LogStream.h"
#include "NetcdfPointData.h"
#include "NetcdfPointDataQuery.h"
#include "PointFileStructure.h"
#include "PointNetcdfFileInfo.h"
#include "RecordSet.h"
#include "TimeRange.h"

namespace {

const char* const kNoHandle = "Could not find file that handle refers to";
const char* const kNoHandleOfSet = "Could not find file handle that refers to";
const char* const kNoRange = "Range of records does not exist in file.";
const double kKmPerDegree = 111.1;
const float kUnknownPosition = 1e12f;
const float kNoDistance = 1e37f;

TextString recordId(const PointNetcdfFileInfo* info, long record) {
  long width = info->structure->totalIdLen;
  if (info->recordIds == nullptr || width < 1) return TextString();
  const char* id = info->recordIds + record * width;
  return TextString(id, static_cast<unsigned>(strnlen(id, width)));
}

bool coversFile(const PointNetcdfFileInfo* info, const TimeRange& range) {
  return range.start() <= info->validStart && range.end() >= info->validEnd;
}

}  // namespace

PointNetcdfFileInfo* NetcdfPointData::queryFile(int* handle,
                                                const char* missing) const {
  PointNetcdfFileInfo* info = nullptr;
  if (handle == nullptr || !_handles.lookup(handle, &info) || info == nullptr) {
    ZLOG(LogStream::PROBLEM) << missing << std::endl;
    return nullptr;
  }
  return info;
}

bool NetcdfPointData::rangeMeetsFile(const PointNetcdfFileInfo* info,
                                     const TimeRange& range) const {
  if (range.end() >= info->validStart && range.start() <= info->validEnd)
    return true;
  ZLOG(LogStream::PROBLEM) << "input time range does not overlap file period"
                           << std::endl;
  return false;
}

// The bins that the range meets, b1 to b2; false, logged, if none.
bool NetcdfPointData::binLimits(const PointNetcdfFileInfo* info,
                                const TimeRange& range, long& b1,
                                long& b2) const {
  const PointFileStructure& s = *info->structure;
  long width = s.binPeriod > 0 ? s.binPeriod : 1;
  long fromStart = range.start() - info->validStart;
  b1 = 0;
  if (fromStart > 0)
    b1 = s.recordForecasts ? (fromStart + width - 1) / width : fromStart / width;
  b2 = s.nBins - 1;
  if (range.end() < info->validEnd)
    b2 = std::min(b2, (range.end() - info->validStart) / width);
  if (b1 <= b2 && b2 >= 0) return true;
  ZLOG(LogStream::PROBLEM) << "input time range does not overlap file period"
                           << std::endl;
  return false;
}

// The records from the first of bins b1..b2 to the last of them.
bool NetcdfPointData::spanOfBins(PointNetcdfFileInfo* info, long b1, long b2,
                                 long& first, long& count) {
  if (!updateFileInfo(-1, info, 2)) return false;
  first = 0;
  count = 0;
  if (info->firstInBin == nullptr || info->lastInBin == nullptr) {
    count = info->nRecords;
    return count > 0;
  }
  long low = -1;
  long high = -1;
  for (long b = std::max(b1, 0L); b <= b2; ++b) {
    long f = info->firstInBin[b];
    if (f >= 0 && (low < 0 || f < low)) low = f;
    high = std::max<long>(high, info->lastInBin[b]);
  }
  // lastInBin is written ahead of its record and may name one not there.
  high = std::min(high, info->nRecords - 1);
  if (low < 0 || high < low) return false;
  first = low;
  count = high - low + 1;
  return true;
}

bool NetcdfPointData::recordTimeIn(const PointNetcdfFileInfo* info,
                                   long record, const TimeRange& range) const {
  if (info->invTime == nullptr) return true;
  long t = info->invTime[record];
  return t >= range.start().seconds() && t <= range.end().seconds();
}

bool NetcdfPointData::recordSpanInRange(const TimeRange& range, int* handle,
                                        long& first, long& count) {
  first = 0;
  count = 0;
  PointNetcdfFileInfo* info = queryFile(handle, kNoHandle);
  if (info == nullptr) return false;
  TimeRange r = _isStatic ? TimeRange(info->validStart, info->validEnd) : range;
  if (!rangeMeetsFile(info, r) || !updateFileInfo(-1, info, 1)) return false;
  count = info->nRecords;
  const PointFileStructure& s = *info->structure;
  if (!s.hasTimeVariables() || coversFile(info, r)) return true;
  long b1, b2;
  if (!binLimits(info, r, b1, b2)) return false;
  if (b1 == 0 && b2 == s.nBins - 1) return true;
  return spanOfBins(info, b1, b2, first, count);
}

bool NetcdfPointData::recordsInRange(const TimeRange& range, int* handle,
                                     SeqOf<int>& records) {
  records.setLength(0);
  long first = 0;
  long count = 0;
  if (!recordSpanInRange(range, handle, first, count)) return false;
  PointNetcdfFileInfo* info = queryFile(handle, kNoHandle);
  if (!updateFileInfo(-1, info, 4)) return false;
  bool all = _isStatic || coversFile(info, range);
  long end = std::min(first + count, info->nRecords);
  for (long r = first; r < end; ++r)
    if (all || recordTimeIn(info, r, range)) records.append(static_cast<int>(r));
  return true;
}

// The records of an id, oldest arrival first: along its chain, or in a
// file without one, back through the ids of the records.
static void recordsOfId(const PointNetcdfFileInfo* info, long head,
                        std::vector<long>& found) {
  long width = info->structure->totalIdLen;
  if (info->prevRecord != nullptr) {
    for (long r = head, steps = 0; r >= 0 && r < info->nRecords &&
                                   steps <= info->nRecords;
         r = info->prevRecord[r], ++steps)
      found.push_back(r);
  } else if (info->recordIds != nullptr && width > 0) {
    const char* id = info->recordIds + head * width;
    for (long r = head; r >= 0; --r)
      if (strncmp(id, info->recordIds + r * width, width) == 0)
        found.push_back(r);
  } else {
    found.push_back(head);
  }
  std::reverse(found.begin(), found.end());
}

bool NetcdfPointData::recordsOfIdInRange(const TextString& id,
                                         const TimeRange& range, int* handle,
                                         SeqOf<int>& records) {
  records.setLength(0);
  PointNetcdfFileInfo* info = queryFile(handle, kNoHandle);
  if (info == nullptr) return false;
  TimeRange r = _isStatic ? TimeRange(info->validStart, info->validEnd) : range;
  if (!rangeMeetsFile(info, r) || !updateFileInfo(-1, info, 4)) return false;
  bool failed = false;
  long row = -1;
  long head = headOfId(info, id.chars(), true, &row, failed);
  if (head < 0) {
    if (!failed) {
      ZLOG(LogStream::PROBLEM) << "Id " << id << " not present " << std::endl;
    }
    return false;
  }
  std::vector<long> found;
  recordsOfId(info, head, found);
  for (long record : found)
    if (recordTimeIn(info, record, r)) records.append(static_cast<int>(record));
  return true;
}

bool NetcdfPointData::idsInRange(const TimeRange& range, int* handle,
                                 SeqOf<TextString>& ids, long& first,
                                 long& count) {
  ids.setLength(0);
  first = 0;
  count = 0;
  PointNetcdfFileInfo* info = queryFile(handle, kNoHandle);
  if (info == nullptr) return false;
  const PointFileStructure& s = *info->structure;
  TimeRange r = _isStatic ? TimeRange(info->validStart, info->validEnd) : range;
  if (!rangeMeetsFile(info, r) || !updateFileInfo(-1, info, 3)) return false;
  count = info->nRecords;
  bool whole = !s.hasTimeVariables() || coversFile(info, r);
  long b1 = 0;
  long b2 = s.nBins - 1;
  if (!whole && !binLimits(info, r, b1, b2)) return false;
  if (b1 == 0 && b2 == s.nBins - 1) whole = true;
  for (long row = 0; info->staticIds != nullptr && row < info->nStaticIds;
       ++row) {
    bool meets = whole || s.nBins <= 1;
    for (long b = b1; !meets && b <= b2; ++b)
      meets = s.inventoryIsChar
                  ? info->inventoryChars != nullptr &&
                        info->inventoryChars[row * s.nBins + b] == '1'
                  : info->inventory != nullptr && b < 32 &&
                        ((static_cast<unsigned>(info->inventory[row]) >> b) &
                         1u) != 0;
    if (meets) {
      const char* id = info->staticIds + row * s.totalIdLen;
      ids.append(TextString(id, static_cast<unsigned>(strnlen(id, s.totalIdLen))));
    }
  }
  if (!whole && !spanOfBins(info, b1, b2, first, count)) return true;
  if (s.totalIdLen < 1 || info->firstOverflow < s.maxStaticIds ||
      info->firstOverflow > first + count - 1)
    return true;
  // Ids without a row: each overflow record of the span, once.
  if (!updateFileInfo(-1, info, 5)) return false;
  if (!whole && info->invTime == nullptr) {
    ZLOG(LogStream::PROBLEM)
        << "We should have an invTime pointers if we get to here" << std::endl;
    return true;
  }
  std::set<std::string> seen;
  long from = std::max(first, std::max(info->firstOverflow, 0L));
  for (long rec = from; rec < std::min(first + count, info->nRecords); ++rec) {
    if (info->isOverflow != nullptr && info->isOverflow[rec] != 1) continue;
    if (!whole && !recordTimeIn(info, rec, r)) continue;
    if (whole && info->prevRecord != nullptr && info->isOverflow != nullptr &&
        info->prevRecord[rec] >= 0)
      continue;  // its newest record stands for it
    TextString id = recordId(info, rec);
    if (!id.isEmpty() && seen.insert(id.chars()).second) ids.append(id);
  }
  return true;
}

// Enters the records, in the order given, as runs of adjoining records,
// with their ids, times and positions; at the front of the set or behind.
void NetcdfPointData::addRunToSet(PointNetcdfFileInfo* info, int* handle,
                                  const SeqOf<int>& records, RecordSet& set,
                                  bool atFront) {
  RecordSet part;
  for (int i = 0; i < records.length();) {
    int j = i + 1;
    while (j < records.length() && records.at(j) == records.at(j - 1) + 1) ++j;
    part.addRun(handle, records.at(i), j - i, false);
    i = j;
  }
  for (int i = 0; i < records.length(); ++i) {
    long r = records.at(i);
    part.ids.append(recordId(info, r));
    if (info->invTime != nullptr) part.times.append(info->invTime[r]);
    if (info->lats != nullptr && info->lons != nullptr) {
      part.lats.append(info->lats[r]);
      part.lons.append(info->lons[r]);
    }
  }
  if (!atFront) {
    for (int i = 0; i < part.handles.length(); ++i)
      set.addRun(part.handles[i], part.firstRecords.at(i),
                 part.recordCounts.at(i), false);
    set.ids.replaceBetween(set.ids.length() - 1, set.ids.length(), part.ids);
    set.times.replaceBetween(set.times.length() - 1, set.times.length(),
                             part.times);
    set.lats.replaceBetween(set.lats.length() - 1, set.lats.length(),
                            part.lats);
    set.lons.replaceBetween(set.lons.length() - 1, set.lons.length(),
                            part.lons);
    return;
  }
  set.handles.replaceBetween(-1, 0, part.handles);
  set.firstRecords.replaceBetween(-1, 0, part.firstRecords);
  set.recordCounts.replaceBetween(-1, 0, part.recordCounts);
  set.ids.replaceBetween(-1, 0, part.ids);
  set.times.replaceBetween(-1, 0, part.times);
  set.lats.replaceBetween(-1, 0, part.lats);
  set.lons.replaceBetween(-1, 0, part.lons);
}

bool NetcdfPointData::recordSetInRange(const TimeRange& range, int* handle,
                                       RecordSet*& recordSet) {
  PointNetcdfFileInfo* info = queryFile(handle, kNoHandleOfSet);
  if (info == nullptr) return false;
  TimeRange r = _isStatic ? TimeRange(info->validStart, info->validEnd) : range;
  long first = 0;
  long count = 0;
  if (!recordSpanInRange(r, handle, first, count) ||
      !updateFileInfo(-1, info, 5))
    return false;
  // The span is cut at its ends to records that lie in the range; records
  // of other times inside it stay, as the bins can't tell them apart.
  long last = std::min(first + count, info->nRecords) - 1;
  while (first <= last && !recordTimeIn(info, first, r)) ++first;
  while (last >= first && !recordTimeIn(info, last, r)) --last;
  if (last < first) {
    ZLOG(LogStream::PROBLEM) << "No records with times in valid range"
                             << std::endl;
    return false;
  }
  SeqOf<int> records;
  for (long rec = first; rec <= last; ++rec)
    records.append(static_cast<int>(rec));
  if (recordSet == nullptr) recordSet = new RecordSet(range);
  addRunToSet(info, handle, records, *recordSet, false);
  return true;
}

bool NetcdfPointData::recordSetForId(const TextString& id,
                                     const TimeRange& range, int* handle,
                                     RecordSet*& recordSet) {
  PointNetcdfFileInfo* info = queryFile(handle, kNoHandleOfSet);
  if (info == nullptr) return false;
  SeqOf<int> records;
  if (!recordsOfIdInRange(id, range, handle, records) ||
      !updateFileInfo(-1, info, 5))
    return false;
  if (recordSet == nullptr) recordSet = new RecordSet(range);
  addRunToSet(info, handle, records, *recordSet, true);
  return true;
}

bool NetcdfPointData::positionsOfRecords(const SeqOfPtr<int*>& handleList,
                                         const SeqOf<int>& firsts,
                                         const SeqOf<int>& counts,
                                         float* lats, float* lons) {
  if (firsts.length() < handleList.length() ||
      counts.length() < handleList.length())
    return false;
  long at = 0;
  for (int i = 0; i < handleList.length(); ++i) {
    PointNetcdfFileInfo* info = queryFile(handleList[i], kNoHandle);
    if (info == nullptr || !updateFileInfo(-1, info, 5)) return false;
    long first = firsts.at(i);
    long count = counts.at(i);
    if (info->lats == nullptr || info->lons == nullptr || first < 0 ||
        count < 0 || first + count > info->nRecords) {
      ZLOG(LogStream::PROBLEM) << kNoRange << std::endl;
      return false;
    }
    std::copy(info->lats + first, info->lats + first + count, lats + at);
    std::copy(info->lons + first, info->lons + first + count, lons + at);
    at += count;
  }
  return true;
}

bool NetcdfPointData::idsOfRecords(int* handle, long first, long count,
                                   SeqOf<TextString>& ids) {
  PointNetcdfFileInfo* info = queryFile(handle, kNoHandle);
  if (info == nullptr || !updateFileInfo(-1, info, 5)) return false;
  if (info->recordIds == nullptr || info->structure->totalIdLen < 1)
    return true;
  if (first < 0 || count < 0 || first + count > info->nRecords) {
    ZLOG(LogStream::PROBLEM) << kNoRange << std::endl;
    return false;
  }
  for (long r = first; r < first + count; ++r) ids.append(recordId(info, r));
  return true;
}

bool NetcdfPointData::timesOfRecords(int* handle, long first, long count,
                                     SeqOf<long>& times) {
  PointNetcdfFileInfo* info = queryFile(handle, kNoHandle);
  if (info == nullptr) return false;
  bool perRecord = !_isStatic && info->structure->hasTimeVariables();
  if (!updateFileInfo(-1, info, perRecord ? 4 : 1)) return false;
  if (first < 0 || count < 0 || first + count > info->nRecords) {
    ZLOG(LogStream::PROBLEM) << kNoRange << std::endl;
    return false;
  }
  for (long r = first; r < first + count; ++r)
    times.append(perRecord && info->invTime != nullptr
                     ? info->invTime[r]
                     : info->fileTime.seconds());
  return true;
}

void NetcdfPointData::giveClientHandle(PointNetcdfFileInfo* info,
                                       SeqOfPtr<int*>& handles) {
  addClient(info);
  if (!openFileInfo(info)) {
    --info->clients;
    registerClientless(info);
    return;
  }
  handles.append(info->handle);
}

bool NetcdfPointData::fileHoldsId(PointNetcdfFileInfo* info, const char* id,
                                  const TimeRange& range) {
  const PointFileStructure& s = *info->structure;
  if (!updateFileInfo(-1, info, 3)) {
    closeUnheldFile(info);
    noteFileAccessError(info);
    return false;
  }
  bool whole = !s.hasTimeVariables() || coversFile(info, range);
  long row = findStaticId(id, info);
  if (row >= 0) {
    if (whole || s.nBins <= 1) return true;
    long b1, b2;
    if (!binLimits(info, range, b1, b2)) return false;
    for (long b = b1; b <= b2; ++b) {
      bool set = s.inventoryIsChar
                     ? info->inventoryChars != nullptr &&
                           info->inventoryChars[row * s.nBins + b] == '1'
                     : info->inventory == nullptr ||
                           (b < 32 && ((static_cast<unsigned>(
                                            info->inventory[row]) >> b) & 1u));
      if (set) return true;
    }
    return false;
  }
  if (s.totalIdLen < 1 || info->firstOverflow < s.maxStaticIds ||
      !updateFileInfo(-1, info, 5))
    return false;
  if (whole) return findOverflowRecord(id, info) >= 0;
  return findOverflowRecordInRange(id, range.start(), range.end(), info) >= 0;
}

// Whether the file's valid times meet the range, read first if it was
// listed by its name alone; one that doesn't is left closed.
bool NetcdfPointData::coverageMeets(PointNetcdfFileInfo* info,
                                    const TimeRange& range) {
  if (info == nullptr) return false;
  bool opened = !info->confirmed;
  if (opened && !confirmFile(info)) return false;
  if (info->validEnd >= range.start() && info->validStart <= range.end())
    return true;
  if (opened) closeUnheldFile(info);
  return false;
}

bool NetcdfPointData::handlesForId(const TextString& id,
                                   const TimeRange& range,
                                   SeqOfPtr<int*>& handleList) {
  handleList.setLength(0);
  Query q;
  if (!beginQuery(q, &range, 0, false)) return false;
  if (q.nothing) return true;
  for (int i = _fileTimes.length() - 1; i >= 0; --i) {
    PointNetcdfFileInfo* info = fileInfoAt(_fileTimes.at(i));
    if (!coverageMeets(info, range)) continue;
    if (fileHoldsId(info, id.chars(), range))
      giveClientHandle(info, handleList);
    else
      closeUnheldFile(info);
  }
  return true;
}

bool NetcdfPointData::handlesForRange(const TimeRange& range,
                                      SeqOfPtr<int*>& handleList) {
  handleList.setLength(0);
  Query q;
  if (!beginQuery(q, &range, 0, false)) return false;
  if (q.nothing) return true;
  for (int i = _fileTimes.length() - 1; i >= 0; --i) {
    PointNetcdfFileInfo* info = fileInfoAt(_fileTimes.at(i));
    if (coverageMeets(info, range)) giveClientHandle(info, handleList);
  }
  return true;
}

// The file of the last query or of setFileIndex(), else the newest, at
// `level`; null, its file closed, if it can't be read that far.
PointNetcdfFileInfo* NetcdfPointData::currentQueryFile(int level) {
  if (_structure == nullptr) return nullptr;
  if (_fileTimes.length() == 0 && !_isStatic) resync();
  PointNetcdfFileInfo* info = _currentFile;
  if (_currentIndex >= 0 && _currentIndex < _fileTimes.length())
    info = fileInfoAt(_fileTimes.at(_currentIndex));
  if (info == nullptr && _fileTimes.length() > 0)
    info = fileInfoAt(_fileTimes.at(0));
  if (info == nullptr) return nullptr;
  if (!updateFileInfo(-1, info, level)) {
    closeUnheldFile(info);
    return nullptr;
  }
  return info;
}

bool NetcdfPointData::setFileIndex(int index) {
  if (index < 0 || index >= _fileTimes.length()) return false;
  _currentIndex = index;
  _currentFile = fileInfoAt(_fileTimes.at(index));
  return true;
}

TextString NetcdfPointData::nearestId(float latLon[2], float radiusKm,
                                      float& distanceKm) {
  distanceKm = kNoDistance;
  const PointFileStructure* s = _structure;
  if (s == nullptr || s->latVar < 0 || s->lonVar < 0 || s->totalIdLen < 1)
    return TextString();
  PointNetcdfFileInfo* info = currentQueryFile(5);
  if (info == nullptr || info->lats == nullptr || info->lons == nullptr)
    return TextString();
  double r = radiusKm / kKmPerDegree;
  double best = r * r;
  double cosLat = cos(latLon[0] * M_PI / 180.0);
  long found = -1;
  for (long i = 0; i < info->nRecords; ++i) {
    double dLat = latLon[0] - info->lats[i];
    if (dLat < -r || dLat > r) continue;
    double dLon = (latLon[1] - info->lons[i]) * cosLat;
    if (dLon < -r || dLon > r) continue;
    double d = dLat * dLat + dLon * dLon;
    if (d > best) continue;  // on a tie the later record wins
    best = d;
    r = sqrt(d);
    found = i;
  }
  if (found < 0) return TextString();
  TextString id = recordId(info, found);
  if (id.isEmpty()) return id;
  latLon[0] = info->lats[found];
  latLon[1] = info->lons[found];
  distanceKm = static_cast<float>(r * kKmPerDegree);
  return id;
}

void NetcdfPointData::positionOfId(TextString& id, bool tryOtherCase,
                                   float latLon[2]) {
  latLon[0] = latLon[1] = kUnknownPosition;
  PointNetcdfFileInfo* info = currentQueryFile(5);
  if (info == nullptr || info->lats == nullptr || info->lons == nullptr)
    return;
  TextString tries[3] = {id, id, id};
  tries[1].toLower();
  tries[2].toUpper();
  for (int t = 0; t < (tryOtherCase ? 3 : 1); ++t) {
    if (t > 0 && tries[t] == id) continue;
    long row = findStaticId(tries[t].chars(), info);
    long record = row >= 0 && info->lastRecord != nullptr
                      ? info->lastRecord[row]
                      : findOverflowRecord(tries[t].chars(), info);
    if (record < 0 || record >= info->nRecords) continue;
    latLon[0] = info->lats[record];
    latLon[1] = info->lons[record];
    id = tries[t];
    return;
  }
}

bool NetcdfPointData::variableDescription(const TextString& name,
                                          const SeqOfPtr<int*>& handleList,
                                          SeqOf<int>& varIds, int& type,
                                          SeqOf<int>& dims) {
  varIds.setLength(0);
  dims.setLength(0);
  type = -1;
  SeqOf<int> first;
  bool found = false;
  bool allEqual = true;
  SeqOf<int> ids;
  int files = std::max(1, handleList.length());
  for (int i = 0; i < files; ++i) {
    const PointFileStructure* s = _structure;
    if (handleList.length() > 0) {
      PointNetcdfFileInfo* info = queryFile(handleList[i], kNoHandle);
      if (info == nullptr) return false;
      s = info->structure;
    }
    SeqOf<int> entry;
    if (s == nullptr || !s->variables.lookup(name, &entry) ||
        entry.length() < 2) {
      ids.append(-1);
      allEqual = false;
      continue;
    }
    if (!found) {
      first = entry;
      found = true;
    }
    bool sameForm = entry.length() == first.length();
    for (int k = 1; sameForm && k < entry.length(); ++k)
      sameForm = entry.at(k) == first.at(k);
    // A file whose variable has another form is left out.
    ids.append(sameForm ? entry.at(0) : -1);
    if (!sameForm || entry.at(0) != first.at(0)) allEqual = false;
  }
  if (!found) return false;
  type = first.at(first.length() - 1);
  for (int k = 1; k + 1 < first.length(); ++k) dims.append(first.at(k));
  if (allEqual)
    varIds.append(first.at(0));
  else
    varIds = ids;
  return true;
}

SeqOf<int> NetcdfPointData::forecastTimes() const {
  SeqOf<int> times;
  if (_structure == nullptr) return times;
  const PointFileStructure& s = *_structure;
  if (s.forecastList.length() > 0) return s.forecastList;
  if (_haveForecasts && s.binPeriod > 0) {
    for (long t = s.fileStartOffset; t <= s.fileEndOffset; t += s.binPeriod)
      times.append(static_cast<int>(t));
    return times;
  }
  times.append(0);
  return times;
}

SeqOf<int> NetcdfPointData::timeVariableIds() const {
  return _structure != nullptr ? _structure->timeVars : SeqOf<int>();
}

SeqOf<int> NetcdfPointData::idVariableIds() const {
  return _structure != nullptr ? _structure->idVars : SeqOf<int>();
}

static SeqOf<TextString> namesInTemplate(const TextString& directory,
                                         const SeqOf<int>& ids) {
  SeqOf<TextString> names;
  int ncid = -1;
  if (nc_open((directory + "/template").chars(), NC_NOWRITE, &ncid) != NC_NOERR)
    return names;
  for (int i = 0; i < ids.length(); ++i) {
    char name[NC_MAX_NAME + 1];
    if (nc_inq_varname(ncid, ids.at(i), name) == NC_NOERR) names.append(name);
  }
  nc_close(ncid);
  return names;
}

SeqOf<TextString> NetcdfPointData::timeVariableNames() const {
  return namesInTemplate(_directory, timeVariableIds());
}

SeqOf<TextString> NetcdfPointData::idVariableNames() const {
  return namesInTemplate(_directory, idVariableIds());
}

bool NetcdfPointData::handleIsValid(int* handle) const {
  return handle != nullptr && _handles.lookup(handle);
}

NcFile* NetcdfPointData::ncFileOf(int* handle) {
  PointNetcdfFileInfo* info = nullptr;
  if (handle == nullptr || !_handles.lookup(handle, &info) || info == nullptr)
    return nullptr;
  return getFileInfoNcFile(info);
}

TextString NetcdfPointData::fileTimeStamp(int* handle) const {
  PointNetcdfFileInfo* info = nullptr;
  if (handle == nullptr || !_handles.lookup(handle, &info) || info == nullptr)
    return TextString();
  return info->path.length() >= 13 ? info->path.right(13) : info->path;
}

int NetcdfPointData::forecastIndex(int* handle, const AbsTime& validTime,
                                   bool& hasForecasts, AbsTime& fileTime) {
  hasForecasts = _haveForecasts;
  PointNetcdfFileInfo* info = queryFile(handle, kNoHandle);
  if (info == nullptr) return -1;
  fileTime = info->fileTime;
  const SeqOf<int>& list = info->structure->forecastList;
  if (list.length() == 0) return 0;
  long offset = validTime - fileTime;
  if (offset < list.at(0) || offset > list.at(list.length() - 1)) return -1;
  int index = 0;
  for (int i = 0; i < list.length(); ++i)
    if (list.at(i) <= offset) index = i;
  return index;
}
