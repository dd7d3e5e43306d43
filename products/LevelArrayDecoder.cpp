#include "LevelArrayDecoder.h"

#include <netcdf.h>

#include <vector>

#include "LogStream.h"
#include "NetcdfPointData.h"
#include "Set.h"

namespace {

const char kTimeForm[] = "%h %d %y %T GMT";
const int kYear = 4001;

}  // namespace

LevelArrayDecoder::LevelArrayDecoder(const ProductTraits& traits)
    : ProductDecoder(traits), _numLvls(0) {}

// Each handle is given back when its observation is written: a handle kept
// for several gets would leave its file with clients, and a release with
// clients left doesn't sync, so readers elsewhere wouldn't see the last
// records.
int LevelArrayDecoder::storeObservations(const SeqOf<TextString>& ids,
                                         const SeqOf<AbsTime>& times,
                                         const char* storing,
                                         const char* skipping) {
  for (int k = 0; k < times.length(); ++k) {
    ZLOG(LogStream::EVENT) << storing << ids.at(k) << "  "
                           << times.at(k).format(kTimeForm) << " ......"
                           << std::endl;
  }
  _seen.clear();
  SeqOf<bool> stored;
  stored.setLength(times.length());
  for (int k = 0; k < stored.length(); ++k) stored[k] = false;
  int result = 1;
  for (int k = 0; k < _obStart.length(); ++k) {
    int i = _obStart.at(k);
    TextString id = ids.at(k);
    AbsTime time = times.at(k);
    ZLOG(LogStream::DEBUG) << "index: " << i
                           << ", subset: " << _decodedValues.at(i).subset()
                           << ", stnid: " << id
                           << ", time: " << time.format(kTimeForm) << std::endl;
    SeqOf<TextString> idList(1, &id);
    double seconds = static_cast<double>(time.seconds());
    SeqOf<double> timeList(1, &seconds);
    long record = 0;
    bool isNewRecord = false;
    Dict<TextString, TextString> dict;
    NetcdfPointData* data = pointData(dict);
    int* handle = data ? data->getFileHandleAndRecord(idList, timeList, record,
                                                      isNewRecord)
                       : nullptr;
    _storeId = id;
    _lastFile = NetcdfPointData::lastFileTimeStamp();
    _currentDict = dict;
    if (handle == nullptr) {
      ZLOG(LogStream::PROBLEM)
          << "No handle for this station info: " << id
          << " and time: " << time.format(kTimeForm) << std::endl;
      ZLOG(LogStream::PROBLEM)
          << "No handle for " << id << " for " << time.format(kTimeForm)
          << skipping << std::endl;
      result = -1;
      continue;
    }
    _numLvls = _levelCounts.at(k);
    if (putLevelCount(*handle, record))
      stored[k] = storeValues(i, *handle, record);
    data->releaseHandle(handle);
  }
  notifyTimes(times, stored);
  return result;
}

// The values of an observation, from its first to the year of the next
// one. The answer is that of the last value.
bool LevelArrayDecoder::storeValues(int start, int ncid, long record) {
  bool answer = false;
  for (int v = start; v < _decodedValues.length(); ++v) {
    if (_decodedValues.at(v).descriptor() == kYear) break;
    answer = storeValue(v, ncid, record);
    if (!answer) logUnmapped(_decodedValues.at(v), _currentDict, _storeId);
  }
  return answer;
}

bool LevelArrayDecoder::putLevelCount(int ncid, long record) {
  int varid;
  int status = nc_inq_varid(ncid, "numLevels", &varid);
  if (status != NC_NOERR) {
    ZLOG(LogStream::PROBLEM)
        << "getVarId (numLevels) error: " << nc_strerror(status) << std::endl;
    return false;
  }
  size_t index[1] = {static_cast<size_t>(record)};
  status = nc_put_var1_int(ncid, varid, index, &_numLvls);
  if (status != NC_NOERR) {
    ZLOG(LogStream::PROBLEM) << "putLvlCountsNetcdf(), nc_put_var1_int() "
                             << "error: " << nc_strerror(status) << std::endl;
    return false;
  }
  return true;
}

// A value with a text is a level of an array (the array's name) or a text
// of its own: an array is written whole, once for each subset, at its
// first level.
bool LevelArrayDecoder::storeValue(int index, int ncid, long record) {
  const BufrValues& value = _decodedValues.at(index);
  TextString name;
  if (!variableOfValue(value, _currentDict, name))
    return !value.text().isEmpty();
  if (value.text().isEmpty()) {
    storeSingle(name, ncid, record, value);
    return true;
  }
  int subset = 0;
  if (_seen.lookup(value.descriptor(), &subset) && subset == value.subset())
    return true;
  _seen.insert(value.descriptor(), value.subset());
  if (_levelIndex.at(index) != 0) return true;
  int p = profileIndex(value.text());
  if (p < 0 || profileSet(p).length() <= value.subset()) return true;
  const SeqOf<float>& profile = profileSet(p).at(value.subset());
  if (profile.length() > 0) storeArray(ncid, name, record, profile);
  return true;
}

bool LevelArrayDecoder::storeArray(int ncid, const TextString& name,
                                   long record, const SeqOf<float>& profile) {
  ZLOG(LogStream::DEBUG) << "storeArray beginning...." << std::endl;
  std::vector<float> levels(profile.length());
  for (int k = 0; k < profile.length(); ++k) levels[k] = profile.at(k);
  size_t start[3] = {static_cast<size_t>(record), 0, 0};
  size_t count[3] = {1, levels.size(), 0};
  int varid;
  int status = nc_inq_varid(ncid, name.chars(), &varid);
  if (status == NC_NOERR)
    status = nc_put_vara_float(ncid, varid, start, count, levels.data());
  if (status == NC_NOERR) return true;
  ZLOG(LogStream::PROBLEM) << "storeArray (" << name
                           << ") error: " << nc_strerror(status) << std::endl;
  return false;
}
