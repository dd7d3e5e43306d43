// The clientless list: records of readers that no query holds but that
// still have an open file or tables, kept for the next query. All objects
// of a process share it, so that a process that reads many directories
// holds a bounded number of files and tables.

#include "LogStream.h"
#include "NetcdfPointData.h"
#include "PointNetcdfFileInfo.h"

namespace {

const int kMaxClientlessObjects = 35;
const int kMaxClientlessHandles = 8;

}  // namespace

bool NetcdfPointData::isClientless(const PointNetcdfFileInfo* fileInfo) {
  return fileInfo->newer != nullptr || fileInfo == process().newestClientless;
}

void NetcdfPointData::registerClientless(PointNetcdfFileInfo* fileInfo) {
  ProcessState& p = process();
  if (fileInfo == nullptr || fileInfo->owner == nullptr ||
      fileInfo->clients > 0 || (fileInfo->ncid < 0 && fileInfo->level <= 1) ||
      isClientless(fileInfo))
    return;
  ++p.nClientlessObjects;
  if (fileInfo->handle != nullptr) ++p.nClientlessHandles;

  // Records with handles stand on the newer side of those without, so
  // that the oldest handle is found without a walk past idle tables.
  PointNetcdfFileInfo* anchor = p.oldestClientlessHandle;
  if (p.newestClientless == nullptr) {
    p.newestClientless = p.oldestClientless = fileInfo;
  } else if (fileInfo->handle == nullptr && anchor != nullptr) {
    fileInfo->newer = anchor;
    fileInfo->older = anchor->older;
    if (anchor->older != nullptr)
      anchor->older->newer = fileInfo;
    else
      p.oldestClientless = fileInfo;
    anchor->older = fileInfo;
  } else {
    fileInfo->older = p.newestClientless;
    p.newestClientless->newer = fileInfo;
    p.newestClientless = fileInfo;
  }
  if (fileInfo->handle != nullptr && anchor == nullptr)
    p.oldestClientlessHandle = fileInfo;

  if (p.nClientlessObjects <= kMaxClientlessObjects &&
      p.nClientlessHandles <= kMaxClientlessHandles)
    return;
  if (p.nClientlessObjects > kMaxClientlessObjects &&
      p.nClientlessHandles <= kMaxClientlessHandles &&
      p.oldestClientless != p.oldestClientlessHandle) {
    evictClientless(p.oldestClientless);
  } else if (PointNetcdfFileInfo* oldest = p.oldestClientlessHandle) {
    // The oldest handle goes; its record stays listed with its tables.
    oldest->owner->closeFileInfo(oldest);
    if (oldest->level <= 1)
      evictClientless(oldest);
    else if (p.nClientlessObjects > kMaxClientlessObjects)
      evictClientless(p.oldestClientless);
  }
  if (!(p.oldestClientless == nullptr ||
        p.oldestClientless->older == nullptr) ||
      !(p.newestClientless == nullptr ||
        p.newestClientless->newer == nullptr)) {
    ZLOG(LogStream::BUG)
        << "oldestClientlessObject==0 || oldestClientlessObject->older==0"
        << std::endl;
  }
}

// Out of the list for good: the file closes and the tables go; the record
// stays in its object's picture at level 1 and loads again when asked.
void NetcdfPointData::evictClientless(PointNetcdfFileInfo* fileInfo) {
  if (fileInfo->ncid >= 0 || fileInfo->handle != nullptr)
    fileInfo->owner->closeFileInfo(fileInfo);
  freeTables(fileInfo);
  unlinkClientless(fileInfo);
}

void NetcdfPointData::unregisterClientless(PointNetcdfFileInfo* fileInfo) {
  if (fileInfo == nullptr || !isClientless(fileInfo))
    return;
  unlinkClientless(fileInfo);
}

void NetcdfPointData::handleLeavesClientless(PointNetcdfFileInfo* fileInfo) {
  ProcessState& p = process();
  if (fileInfo->handle == nullptr || !isClientless(fileInfo))
    return;
  --p.nClientlessHandles;
  if (fileInfo != p.oldestClientlessHandle) return;
  PointNetcdfFileInfo* next = fileInfo->newer;
  while (next != nullptr && next->handle == nullptr) next = next->newer;
  p.oldestClientlessHandle = p.nClientlessHandles > 0 ? next : nullptr;
}

void NetcdfPointData::unlinkClientless(PointNetcdfFileInfo* fileInfo) {
  ProcessState& p = process();
  handleLeavesClientless(fileInfo);
  if (fileInfo->newer != nullptr)
    fileInfo->newer->older = fileInfo->older;
  else
    p.newestClientless = fileInfo->older;
  if (fileInfo->older != nullptr)
    fileInfo->older->newer = fileInfo->newer;
  else
    p.oldestClientless = fileInfo->newer;
  --p.nClientlessObjects;
  if (p.newestClientless == nullptr) {
    p.oldestClientlessHandle = nullptr;
    p.nClientlessHandles = 0;
    p.nClientlessObjects = 0;
  }
  fileInfo->newer = fileInfo->older = nullptr;
}
