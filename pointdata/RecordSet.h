#ifndef ZEPH_POINTDATA_RECORDSET_H_
#define ZEPH_POINTDATA_RECORDSET_H_

#include "SeqOf.h"
#include "SeqOfPtr.h"
#include "TextString.h"
#include "TimeRange.h"

// A selection of records across the files of a directory, as the range
// reads of NetcdfPointData make it: runs of adjoining records, each in the
// file of its handle, and for every selected record its id, its time and
// its position where the file has them. The per-record sequences follow
// the runs in order. The handles are the store's; the set holds no client
// of its own.
struct RecordSet {
  RecordSet() = default;
  explicit RecordSet(const TimeRange& asked) : range(asked) {}

  // The records of all runs.
  int recordCount() const;
  // Appends a run; at the front when `atFront`.
  void addRun(int* handle, int first, int count, bool atFront);

  TimeRange range;
  SeqOfPtr<int*> handles;
  SeqOf<int> firstRecords;
  SeqOf<int> recordCounts;
  SeqOf<long> times;
  SeqOf<TextString> ids;
  SeqOf<float> lats;
  SeqOf<float> lons;
};

#endif  // ZEPH_POINTDATA_RECORDSET_H_
