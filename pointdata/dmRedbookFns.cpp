#include "dmRedbookFns.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

#include "DM_DataAccessInfo.h"
#include "DataTime.h"
#include "Dict.h"
#include "LogStream.h"
#include "SeqOf.h"
#include "dmDataAccessFns.h"

namespace {

const char* const kMasterDescription = "Redbook graphic master key";
// Marks a table that was read and held no redbook keys.
const char* const kReadMark = "~~~~~~";
const unsigned kCodeLength = 6;
const long kDefaultPeriod = 43200;
const long kMaxShiftWindow = 1800;
const long kShift = 60;
// A graphic comes in hours or days: a period or phase of more than a year
// is a table's mistake, and would overflow the time it moves.
const long kMaxPeriod = 366 * 86400L;

struct Lookups {
  Dict<TextString, unsigned long> redbook;
  Dict<unsigned long, Dict<TextString, unsigned long>*> groups;
  ~Lookups() {
    for (int i = 0; i < groups.length(); ++i) delete groups.valueAt(i);
  }
};

std::unique_ptr<Lookups>& lookups() {
  static std::unique_ptr<Lookups> tables;
  if (!tables) tables.reset(new Lookups);
  return tables;
}

// The keys of the data access table in ascending order.
std::vector<unsigned long> sortedKeys() {
  std::vector<unsigned long> keys;
  for (int i = 0; i < dataAccessKeyCount(); ++i)
    if (unsigned long key = dataAccessKeyAt(i)) keys.push_back(key);
  std::sort(keys.begin(), keys.end());
  keys.erase(std::unique(keys.begin(), keys.end()), keys.end());
  return keys;
}

// The redbook graphics by the code that begins their descriptions: the
// keys of the thousand of the master key that follow it.
bool readRedbookKeys(Dict<TextString, unsigned long>& table) {
  unsigned long master = 0;
  for (unsigned long key : sortedKeys()) {
    DM_DataAccessInfo info(key);
    if (master == 0) {
      if (info.description() == kMasterDescription) master = key;
      continue;
    }
    if (key / 1000 != master / 1000) break;
    table.insert(info.description().left(kCodeLength), key);
  }
  if (table.length() > 0) return true;
  table.insert(kReadMark, 0);
  ZLOG(LogStream::PROBLEM) << "No keys in the redbook reverse lookup"
                           << std::endl;
  return false;
}

bool exists(const TextString& path) {
  struct stat status;
  return stat(path.chars(), &status) == 0;
}

// Moves the files of the window that ends at `time` one minute back,
// oldest first, so that each move finds its new name free.
void makeRoom(unsigned long key, const AbsTime& time, long period) {
  std::unique_ptr<SeqOf<AbsTime> > times(dmFileTimes(key, false));
  if (!times) return;
  long window = std::min(period / 2, kMaxShiftWindow);
  for (int i = times->length() - 1; i >= 0; --i) {
    AbsTime t = times->at(i);
    if (t > time || time - t > window) continue;
    TextString from = dmFileName(key, t);
    TextString to = dmFileName(key, t - kShift);
    if (rename(from.chars(), to.chars()) != 0) {
      ZLOG(LogStream::PROBLEM) << "Could not rename " << from << " to " << to
                               << std::endl;
    }
  }
}

Dict<TextString, unsigned long>* groupOf(unsigned long master) {
  Lookups& l = *lookups();
  Dict<TextString, unsigned long>* group = nullptr;
  if (l.groups.lookup(master, &group)) return group;
  group = new Dict<TextString, unsigned long>;
  for (unsigned long key : sortedKeys())
    if (key / 1000 == master / 1000)
      group->insert(DM_DataAccessInfo(key).description(), key);
  l.groups.insert(master, group);
  return group;
}

}  // namespace

bool redbookFileInfo(const TextString& path, unsigned long& key,
                     DataTime& dataTime, TextString& newPath) {
  key = 0;
  newPath = TextString();
  Lookups& l = *lookups();
  if (l.redbook.length() == 0 && !readRedbookKeys(l.redbook)) return false;
  if (l.redbook.lookup(kReadMark)) return false;
  AbsTime time;
  if (!dmParseFilePath(path, time)) return false;
  const char* base = strrchr(path.chars(), '/');
  TextString name = base != nullptr ? TextString(base + 1) : path;
  if (!l.redbook.lookup(name.left(kCodeLength), &key)) {
    ZLOG(LogStream::PROBLEM) << "No redbook key for " << name << std::endl;
    return false;
  }
  DM_DataAccessInfo info(key);
  long period = info.period() != 0 ? info.period() : kDefaultPeriod;
  long phase = info.phase();
  if (period < -kMaxPeriod || period > kMaxPeriod || phase < -kMaxPeriod ||
      phase > kMaxPeriod) {
    ZLOG(LogStream::PROBLEM) << "Unreasonable period or phase of redbook key "
                             << key << std::endl;
    return false;
  }
  long t = time.seconds();
  if (period < 0)
    t = (t + phase) - (t + phase) % -period;
  else
    t = t - t % period + phase;
  AbsTime ref(t);
  dataTime = DataTime(ref, 0);
  dataTime.setValidPeriod(ref, ref + info.spanSeconds(),
                          info.spanSeconds() != 0);
  dataTime.setFlags(DataTime::kForecastFlags);
  newPath = dmFileName(key, ref);
  if (!newPath.isEmpty() && exists(newPath))
    makeRoom(key, ref, period < 0 ? -period : period);
  return !newPath.isEmpty();
}

unsigned long dmGroupKey11001(const TextString& description) {
  return groupOf(11001)->lookup(description) ? 11001 : 0;
}

unsigned long dmGroupKey9000(const TextString& description) {
  return groupOf(9000)->lookup(description) ? 9000 : 0;
}

void resetRedbookLookupsForTests() { lookups().reset(); }
