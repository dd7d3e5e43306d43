#ifndef ZEPH_POINTDATA_POINTFILESTRUCTURE_H_
#define ZEPH_POINTDATA_POINTFILESTRUCTURE_H_

#include "Dict.h"
#include "SeqOf.h"
#include "TextString.h"

// What was read from one version of a point file template: its dimensions,
// the ids of its index variables and the rules of its time coverage. All
// files of a directory that carry the same "cdlDate" share one structure.
// NetcdfPointData::getFileStructure() fills it; NetcdfPointData owns it.
//
// Variable ids are -1 where the file has no such variable. prevRecordVar has
// two more values: -1 also means that every store makes a new record, and
// kNoRecordChain that records are found by id without a chain of records.
struct PointFileStructure {
  static constexpr int kNoRecordChain = -999;
  // Marks the forecast dimension in an entry of `variables`.
  static constexpr int kForecastDimension = -999;

  PointFileStructure();

  // The loaded level of a file, raised past the levels that have nothing
  // to load in files of this structure, so that a file isn't read again
  // for tables it doesn't have.
  int levelReached(int level) const;
  bool hasTimeVariables() const { return timeVars.length() > 0; }
  // How many records the per-record tables grow by: a table's worth of
  // ids, at most 200, so that a stream of records doesn't reallocate each
  // time.
  long capacityStep() const;

  // Whether `name` is one of the eleven index variables, which are never
  // data and never a time variable.
  static bool isIndexVariable(const char* name);

  TextString cdlDate;
  long maxStaticIds;
  long totalIdLen;
  int recordDim;
  bool latLonIndexed;
  bool recordForecasts;
  // false: one int with one bit per bin; true: one char per bin, '1' set.
  bool inventoryIsChar;
  bool cacheMetadata;
  long nBins;
  long filePeriod;
  long binPeriod;
  long fileStartOffset;
  long fileEndOffset;
  int forecastDim;
  SeqOf<int> forecastList;
  SeqOf<int> idVars;
  SeqOf<int> idVarLens;
  SeqOf<int> timeVars;
  int latVar;
  int lonVar;
  int nStaticIdsVar;
  int staticIdsVar;
  int invTimeVar;
  int lastRecordVar;
  int prevRecordVar;
  int inventoryVar;
  int globalInventoryVar;
  int firstOverflowVar;
  int isOverflowVar;
  int firstInBinVar;
  int lastInBinVar;
  int useCount;
  int maxOpen;
  bool logRewrites;
  // Variable name to: the id; for a record variable the lengths of its
  // dimensions behind the record dimension (kForecastDimension for the
  // forecast dimension), for a scalar 0; the netCDF type last.
  Dict<TextString, SeqOf<int> > variables;
};

#endif  // ZEPH_POINTDATA_POINTFILESTRUCTURE_H_
