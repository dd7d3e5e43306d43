#include "DM_DataAccessInfo.h"

#include "Config.h"
#include "DM_DataAccessInfoDict.h"
#include "LogStream.h"

namespace {

const char* const kDefaultDictName = "dataInfo";
const long kDay = 86400;
// A span beyond a century is held at a century: no product's data lasts
// longer, and a time it is added to mustn't overflow.
const long kMaxSpanDays = 36525;
const long kMaxSpanSeconds = kMaxSpanDays * kDay;
// Composites within composites end here.
const int kMaxCompositeDepth = 16;
// The parts looked up for one resolution, at most: parts of parts that
// name the same keys again and again multiply beyond any real composite.
const int kMaxPartLookups = 4096;

struct TableState {
  DM_DataAccessInfoDict* dict = nullptr;
  TextString override;
};

TableState& tableState() {
  static TableState state;
  return state;
}

TextString tableFileName() {
  TextString name;
  if (!Config::instance().get("DataAccessInfo.dictName", name) ||
      name.isEmpty())
    name = kDefaultDictName;
  name += ".txt";
  const TextString& override = tableState().override;
  if (override.isEmpty()) return name;
  ZLOG(LogStream::EVENT) << "Overriding default data access info with "
                         << override << std::endl;
  return override + " " + name;
}

}  // namespace

DM_DataAccessInfoDict* dataAccessDict() {
  TableState& state = tableState();
  if (state.dict != nullptr) return state.dict;
  DM_DataAccessInfoDict* dict = new DM_DataAccessInfoDict(tableFileName());
  if (dict->nKeys() > 0) {
    state.dict = dict;
  } else {
    ZLOG(LogStream::PROBLEM) << "unable to get read data access info"
                             << std::endl;
    delete dict;
  }
  return state.dict;
}

int dataAccessKeyCount() {
  DM_DataAccessInfoDict* dict = dataAccessDict();
  return dict ? dict->nKeys() : 0;
}

unsigned long dataAccessKeyAt(int index) {
  DM_DataAccessInfoDict* dict = dataAccessDict();
  return dict ? dict->keyAt(index) : 0;
}

void setDataAccessOverride(const TextString& name) {
  tableState().override = name;
}

void resetDataAccessInfoForTests() {
  TableState& state = tableState();
  delete state.dict;
  state.dict = nullptr;
  state.override = TextString();
}

DM_DataAccessInfo::DM_DataAccessInfo()
    : _key(0),
      _dataKind(0),
      _span(0),
      _spanFloat(0),
      _flags(0),
      _flagsFloat(0),
      _flagsFloat2(0),
      _limit(0),
      _limitFloat(0),
      _limitFloat2(0),
      _period(0),
      _phase(0),
      _temporary(false) {}

DM_DataAccessInfo::DM_DataAccessInfo(unsigned long key) : DM_DataAccessInfo() {
  DM_DataAccessInfoDict* dict = dataAccessDict();
  const DM_DataAccessInfo* record = dict ? dict->find(key) : nullptr;
  if (record == nullptr) {
    ZLOG(LogStream::PROBLEM) << "Unable to read DataAccessKey " << key
                             << " from dictionary" << std::endl;
    return;
  }
  *this = *record;
  _temporary = dict->lastFromTemp();
}

long DM_DataAccessInfo::spanSeconds() const {
  long seconds = _span;
  if (_span < 0)
    seconds = _span < -kMaxSpanDays ? kMaxSpanSeconds : -_span * kDay;
  else if (_span <= 240)
    seconds = _span * 3600;
  return seconds < kMaxSpanSeconds ? seconds : kMaxSpanSeconds;
}

bool DM_DataAccessInfo::flag(int bit) const {
  return bit >= 0 && bit <= 2 && (_flags >> bit) & 1;
}

float DM_DataAccessInfo::limitFloat() const {
  return _limitFloat == 0 ? 1e37f : _limitFloat;
}

int DM_DataAccessInfo::fileClass() const {
  static const struct {
    const char* extension;
    int fileClass;
  } kClasses[] = {{".bcx", 3}, {".bcd", 2}, {".spi", 0}, {".lpi", 1}};
  if (_extension.isEmpty()) {
    unsigned comma;
    if (_dataDirectory.isEmpty()) return 4;
    return _dataDirectory.search(',', comma) ? 6 : 5;
  }
  for (const auto& c : kClasses)
    if (_extension == c.extension) return c.fileClass;
  return 3;
}

SeqOf<unsigned long>* DM_DataAccessInfo::leafKeys() const {
  SeqOf<unsigned long>* keys = new SeqOf<unsigned long>;
  SeqOf<unsigned long> path;
  int lookups = kMaxPartLookups;
  addLeafKeys(*keys, path, lookups);
  if (lookups < 0) {
    ZLOG(LogStream::PROBLEM) << "Composite data access key " << _key
                             << " has too many parts" << std::endl;
  }
  return keys;
}

// `path`: the composites being resolved, this one's parents.
void DM_DataAccessInfo::addLeafKeys(SeqOf<unsigned long>& keys,
                                    SeqOf<unsigned long>& path,
                                    int& lookups) const {
  if (!isComposite()) {
    if (_key != 0) keys.append(_key);
    return;
  }
  if (path.findFirst(_key) >= 0) {
    ZLOG(LogStream::PROBLEM) << "Composite data access key " << _key
                             << " includes itself" << std::endl;
    return;
  }
  if (path.length() >= kMaxCompositeDepth) return;
  path.append(_key);
  for (int i = 0; i < _partKeys.length() && lookups >= 0; ++i) {
    unsigned long part = _partKeys.at(i);
    if (part != 0 && --lookups >= 0)
      DM_DataAccessInfo(part).addLeafKeys(keys, path, lookups);
  }
  path.setLength(path.length() - 1);
}
