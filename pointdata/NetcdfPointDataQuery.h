#ifndef ZEPH_POINTDATA_NETCDFPOINTDATAQUERY_H_
#define ZEPH_POINTDATA_NETCDFPOINTDATAQUERY_H_

// The state of one reader's query, shared by the sources of the read side.

#include <algorithm>
#include <vector>

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

// Results gathered as they come and put in order at the end: by valid
// time, then reference time, without repeats, so that two records of one
// valid time make one entry.
struct NetcdfPointData::Entries {
  struct Item {
    long valid;
    long ref;
    int form;  // kPlain, kForecast, or the index of a time given whole
    bool operator<(const Item& o) const {
      return valid != o.valid ? valid < o.valid : ref < o.ref;
    }
    bool operator==(const Item& o) const {
      return valid == o.valid && ref == o.ref;
    }
  };
  static constexpr int kPlain = -1;
  static constexpr int kForecast = -2;

  // A time without forecast, or of a reference and a forecast: the values
  // are made only for the entries that stay.
  void addPlain(long t) { items.push_back(Item{t, t, kPlain}); }
  void addForecast(long ref, long forecast) {
    items.push_back(Item{ref + forecast, ref, kForecast});
  }
  void add(const DataTime& t) {
    items.push_back(Item{t.refTime().seconds() + t.forecast(),
                         t.refTime().seconds(), static_cast<int>(given.size())});
    given.push_back(t);
  }
  void clear() {
    items.clear();
    given.clear();
  }
  const std::vector<Item>& sorted() {
    std::sort(items.begin(), items.end());
    items.erase(std::unique(items.begin(), items.end()), items.end());
    return items;
  }
  DataTime timeOf(const Item& item) const {
    if (item.form == kPlain) return DataTime(AbsTime(item.valid));
    if (item.form == kForecast)
      return DataTime(AbsTime(item.ref), item.valid - item.ref);
    return given[item.form];
  }

  std::vector<Item> items;
  std::vector<DataTime> given;
};

#endif  // ZEPH_POINTDATA_NETCDFPOINTDATAQUERY_H_
