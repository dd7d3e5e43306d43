#ifndef ZEPH_POINTDATA_NETCDFPOINTDATAQUERY_H_
#define ZEPH_POINTDATA_NETCDFPOINTDATAQUERY_H_

// The state of one reader's query, shared by the sources of the read side.

#include <map>
#include <utility>

#include "DataTime.h"
#include "NetcdfPointData.h"
#include "TimeRange.h"

// What one query asks, normalised.
struct NetcdfPointData::Query {
  bool hasRange = false;
  TimeRange range;
  int asked = 0;      // the quantum as the caller gave it
  long quantum = -1;  // below 0: exact times
  bool nothing = false;  // the range misses every file
  int failures = 0;
  bool exact() const { return quantum < 0; }
  bool inRange(long t) const {
    return !hasRange || (t >= range.start().seconds() && t <= range.end().seconds());
  }
};

// Results kept sorted by valid time, then reference time, without
// repeats: two records of one valid time make one entry.
struct NetcdfPointData::Entries {
  std::map<std::pair<long, long>, DataTime> times;
  void add(const DataTime& t) {
    times.emplace(std::make_pair(t.refTime().seconds() + t.forecast(),
                                 t.refTime().seconds()),
                  t);
  }
};

#endif  // ZEPH_POINTDATA_NETCDFPOINTDATAQUERY_H_
