#include "PointFileStructure.h"

#include "Set.h"

PointFileStructure::PointFileStructure()
    : maxStaticIds(0),
      totalIdLen(0),
      recordDim(-1),
      latLonIndexed(false),
      recordForecasts(false),
      inventoryIsChar(false),
      cacheMetadata(true),
      nBins(1),
      filePeriod(0),
      binPeriod(0),
      fileStartOffset(0),
      fileEndOffset(0),
      forecastDim(-1),
      latVar(-1),
      lonVar(-1),
      nStaticIdsVar(-1),
      staticIdsVar(-1),
      invTimeVar(-1),
      lastRecordVar(-1),
      prevRecordVar(-1),
      inventoryVar(-1),
      globalInventoryVar(-1),
      firstOverflowVar(-1),
      isOverflowVar(-1),
      firstInBinVar(-1),
      lastInBinVar(-1),
      useCount(0),
      maxOpen(2),
      logRewrites(false) {}

long PointFileStructure::capacityStep() const {
  const long kMaxStep = 200;
  return maxStaticIds >= 1 && maxStaticIds <= kMaxStep ? maxStaticIds
                                                      : kMaxStep;
}

int PointFileStructure::levelReached(int level) const {
  if (level == 1 && nBins <= 1) level = 2;
  if (level == 2 && maxStaticIds <= 0) level = 3;
  if (level == 3 && !hasTimeVariables()) level = 4;
  if (level == 4 && totalIdLen <= 0) level = 5;
  return level;
}

bool PointFileStructure::isIndexVariable(const char* name) {
  // Built once for the process and never destroyed, so that it outlives
  // any structure that a static destructor might still read.
  static const Set<TextString>* names = [] {
    Set<TextString>* set = new Set<TextString>(23);
    for (const char* n :
         {"nStaticIds", "staticIds", "lastRecord", "invTime", "prevRecord",
          "inventory", "globalInventory", "firstOverflow", "isOverflow",
          "firstInBin", "lastInBin"})
      set->insert(TextString(n));
    return set;
  }();
  return names->lookup(TextString(name));
}
