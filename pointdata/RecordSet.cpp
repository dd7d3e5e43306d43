#include "RecordSet.h"

int RecordSet::recordCount() const {
  int total = 0;
  for (int i = 0; i < recordCounts.length(); ++i) total += recordCounts.at(i);
  return total;
}

void RecordSet::addRun(int* handle, int first, int count, bool atFront) {
  if (!atFront) {
    handles.append(handle);
    firstRecords.append(first);
    recordCounts.append(count);
    return;
  }
  SeqOfPtr<int*> oneHandle;
  oneHandle.append(handle);
  handles.replaceBetween(-1, 0, oneHandle);
  firstRecords.replaceBetween(-1, 0, SeqOf<int>(1, &first));
  recordCounts.replaceBetween(-1, 0, SeqOf<int>(1, &count));
}
