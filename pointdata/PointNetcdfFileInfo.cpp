#include "PointNetcdfFileInfo.h"

#include "NetcdfPointData.h"

PointNetcdfFileInfo::PointNetcdfFileInfo()
    : structure(nullptr),
      confirmed(false),
      modTime(),
      level(0),
      nRecords(0),
      nStaticIds(0),
      staticIds(nullptr),
      lastRecord(nullptr),
      inventory(nullptr),
      inventoryChars(nullptr),
      globalInventory(0),
      globalInventoryChars(nullptr),
      firstOverflow(0),
      firstInBin(nullptr),
      lastInBin(nullptr),
      capacity(0),
      lats(nullptr),
      lons(nullptr),
      recordIds(nullptr),
      invTime(nullptr),
      prevRecord(nullptr),
      isOverflow(nullptr),
      handle(nullptr),
      ncFile(nullptr),
      ncid(-1),
      directReads(0),
      clients(0),
      owner(nullptr),
      newer(nullptr),
      older(nullptr) {}

PointNetcdfFileInfo::~PointNetcdfFileInfo() {
  NetcdfPointData::unregisterClientless(this);
  deleteTables();
  delete[] globalInventoryChars;
}

namespace {

template <class T>
void release(T*& array) {
  delete[] array;
  array = nullptr;
}

}  // namespace

void PointNetcdfFileInfo::deleteTables() {
  directReads = 0;
  release(firstInBin);
  release(lastInBin);
  release(staticIds);
  release(lastRecord);
  release(inventory);
  release(inventoryChars);
  deleteRecordArrays();
}

void PointNetcdfFileInfo::deleteRecordArrays() {
  release(lats);
  release(lons);
  release(recordIds);
  release(invTime);
  release(prevRecord);
  release(isOverflow);
  capacity = 0;
}
