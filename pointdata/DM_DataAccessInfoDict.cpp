#include "DM_DataAccessInfoDict.h"

#include <cstdlib>
#include <cstring>
#include <string>

#include "DM_DataAccessInfo.h"
#include "InfoFileServer.h"
#include "LogStream.h"

namespace {

// Records of at most this many keys are held at once.
const int kRingSize = 2000;
// Keys missing from the table are looked for in "/tmp/<key>.dataInfo".
const char* const kTempName = "dataInfo";
// The key's column and the ten behind it.
const int kColumns = 11;
const int kMaxParts = 250;
const float kNoValue = 1e37f;
// Kinds that make a record composite, standing for 0, 1 and 2.
const char* const kCompositeKinds = "VDF";

enum Column {
  NAME = 1,
  KIND,
  SPAN,
  FLAGS,
  LIMIT,
  PERIOD,
  DIRECTORY,
  BASE_NAME,
  EXTENSION,
  DESCRIPTION
};

long integerOf(const char* text) { return std::strtol(text, nullptr, 0); }
float floatOf(const char* text) {
  return static_cast<float>(std::strtod(text, nullptr));
}

// The number behind the first comma, as read by `read`; 0 without one.
template <class T>
T secondOf(const char* text, T (*read)(const char*)) {
  const char* comma = std::strchr(text, ',');
  return comma ? read(comma + 1) : T();
}

unsigned long base32(const char* text) {
  return std::strtoul(text, nullptr, 32);
}

unsigned long partKey(unsigned long ownKey, const char* entry) {
  switch (entry[0]) {
    case 'y':
      return base32(entry + 1);
    case '+':
      return ownKey + base32(entry + 1);
    case '-':
      return ownKey - base32(entry + 1);
  }
  return std::strtoul(entry, nullptr, 0);
}

}  // namespace

DM_DataAccessInfoDict::DM_DataAccessInfoDict(const TextString& fileName)
    : StaticTextDict(fileName, kRingSize, kTempName) {}

DM_DataAccessInfoDict::~DM_DataAccessInfoDict() { releaseRecords(); }

void DM_DataAccessInfoDict::destroyRecord(void* record) {
  delete static_cast<DM_DataAccessInfo*>(record);
}

void* DM_DataAccessInfoDict::makeRecord(unsigned long key, const char* line) {
  // The table's line buffer is shared: cut up a copy.
  std::string copy(line);
  char* column[kColumns];
  int count = splitList(&copy[0], column, kColumns, '|');
  if (count < kColumns) {
    ZLOG(LogStream::PROBLEM) << "Too few fields for key: " << key
                             << " Num fields: " << count << std::endl;
    return nullptr;
  }
  DM_DataAccessInfo* record = new DM_DataAccessInfo;
  DM_DataAccessInfo& r = *record;
  r._key = key;
  r._name = column[NAME];
  const char* kind = column[KIND];
  const char* composite =
      kind[0] ? std::strchr(kCompositeKinds, kind[0]) : nullptr;
  r._dataKind = composite ? static_cast<int>(composite - kCompositeKinds)
                          : static_cast<int>(integerOf(kind));
  r._span = integerOf(column[SPAN]);
  r._spanFloat = floatOf(column[SPAN]);
  r._flags = integerOf(column[FLAGS]);
  r._flagsFloat = floatOf(column[FLAGS]);
  r._flagsFloat2 = secondOf(column[FLAGS], floatOf);
  r._limit = integerOf(column[LIMIT]);
  r._limitFloat = floatOf(column[LIMIT]);
  r._limitFloat2 = secondOf(column[LIMIT], floatOf);
  r._period = integerOf(column[PERIOD]);
  r._phase = secondOf(column[PERIOD], integerOf);
  if (composite) {
    readParts(r, column[DIRECTORY]);
  } else {
    r._dataDirectory = column[DIRECTORY];
    r._baseName = column[BASE_NAME];
    r._extension = column[EXTENSION];
  }
  r._description = column[DESCRIPTION];
  return record;
}

void DM_DataAccessInfoDict::readParts(DM_DataAccessInfo& record,
                                      const char* column) {
  std::string copy(column);
  char* entry[kMaxParts];
  int count = splitList(&copy[0], entry, kMaxParts, ',');
  bool pending = false;
  float pendingValue = 0;
  unsigned long lastKey = 0;
  auto add = [&record](unsigned long key, float value) {
    record._partKeys.append(key);
    record._partValues.append(value);
  };
  for (int i = 0; i < count; ++i) {
    const char* e = entry[i];
    if (e[0] == '\0') continue;  // nothing between two commas
    if (e[0] == 'p') {
      pending = true;
      pendingValue = floatOf(e + 1);
    } else if (std::strchr(e, '.')) {
      add(0, floatOf(e));
    } else {
      lastKey = partKey(record._key, e);
      add(lastKey, pending ? pendingValue : kNoValue);
      pending = false;
    }
  }
  if (pending) add(lastKey, pendingValue);
}
