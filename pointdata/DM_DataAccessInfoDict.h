#ifndef ZEPH_POINTDATA_DM_DATAACCESSINFODICT_H_
#define ZEPH_POINTDATA_DM_DATAACCESSINFODICT_H_

#include "StaticTextDict.h"
#include "TextString.h"

class DM_DataAccessInfo;

// The data access table: a line per key, parsed into a DM_DataAccessInfo
// when the key is first asked for. A line is the key and at least ten more
// columns split at '|':
//
//   key | name | kind | span | flags[,f2] | limit[,f2] | period[,phase] |
//       directory or parts | baseName | extension | description
//
// A kind of 'V', 'D' or 'F' (0, 1, 2) makes the record composite: its
// directory column is then a comma list of parts, each a key and a value:
//   "p<value>"  the value for the key of the next entry (at the end of the
//               list, for the last key again);
//   "<n.n>"     a value with key 0;
//   "y<n>"      a key in base 32; "+<n>", "-<n>" this record's key plus or
//               minus n in base 32; anything else a plain key.
// A key without a "p" ahead gets the value 1e37.
class DM_DataAccessInfoDict : public StaticTextDict {
 public:
  explicit DM_DataAccessInfoDict(const TextString& fileName);
  ~DM_DataAccessInfoDict() override;

  const DM_DataAccessInfo* find(unsigned long key) {
    return static_cast<const DM_DataAccessInfo*>(lookup(key));
  }

 protected:
  void* makeRecord(unsigned long key, const char* line) override;
  void destroyRecord(void* record) override;

 private:
  static void readParts(DM_DataAccessInfo& record, const char* column);
};

#endif  // ZEPH_POINTDATA_DM_DATAACCESSINFODICT_H_
