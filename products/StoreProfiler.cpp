// The store of the profiler decoder: one record for each station of a
// file, in the point files of the file's network, under the station's WMO
// id and minute, and one notification for each distinct minute stored.
// The netCDF variables come from the templates' "tblBname" attributes;
// only "numLevels" is fixed.
#include <netcdf.h>

#include <cstdio>
#include <vector>

#include "LogStream.h"
#include "NetcdfPointData.h"
#include "ProfBufrDecoder.h"
#include "Set.h"

namespace {

const char kTimeForm[] = "%h %d %y %T GMT";
const int kYear = 4001;

}  // namespace

// Every station is stored as far as it goes; one without a handle makes
// the answer -1 after the others are stored. Each handle is given back
// when its station is written: a handle kept for several gets would leave
// its file with clients, and a release with clients left doesn't sync, so
// readers elsewhere wouldn't see the last records.
int ProfBufrDecoder::store(const SeqOf<long>& ids,
                           const SeqOf<AbsTime>& times) {
  for (int k = 0; k < times.length(); ++k) {
    ZLOG(LogStream::EVENT) << "NCF_STORE site " << ids.at(k) << "  "
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
    long id = ids.at(k);
    AbsTime time = times.at(k);
    ZLOG(LogStream::DEBUG) << "index: " << i << ", subset: "
                           << _decodedValues.at(i).subset() << ", stnid: "
                           << id << ", time: " << time.format(kTimeForm)
                           << std::endl;
    char text[24];
    std::snprintf(text, sizeof text, "%ld", id);
    SeqOf<TextString> idList;
    idList.append(TextString(text));
    SeqOf<double> timeList;
    timeList.append(static_cast<double>(time.seconds()));
    long record = 0;
    bool isNewRecord = false;
    Dict<TextString, TextString> dict;
    NetcdfPointData* data = sourceData(dict);
    int* handle = data ? data->getFileHandleAndRecord(idList, timeList, record,
                                                      isNewRecord)
                       : nullptr;
    _stationId = id;
    _lastFile = NetcdfPointData::lastFileTimeStamp();
    _currentDict = dict;
    if (handle == nullptr) {
      ZLOG(LogStream::PROBLEM) << "No handle for this station info: " << id
                               << " and time: " << time.format(kTimeForm)
                               << std::endl;
      ZLOG(LogStream::PROBLEM) << "No handle for " << id << " for "
                               << time.format(kTimeForm) << "; skipping."
                               << std::endl;
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

// The point files and the dictionary of the file's network; none for a
// file whose name gave no network.
NetcdfPointData* ProfBufrDecoder::sourceData(
    Dict<TextString, TextString>& dict) const {
  if (_source == "NPN") {
    dict = _npnDict;
    return _npnData;
  }
  if (_source == "CAP") {
    dict = _capDict;
    return _capData;
  }
  return nullptr;
}

// The values of a station, from its entry to the year of the next one.
// The answer is that of the last value.
bool ProfBufrDecoder::storeValues(int start, int ncid, long record) {
  bool answer = false;
  for (int v = start; v < _decodedValues.length(); ++v) {
    if (_decodedValues.at(v).descriptor() == kYear) break;
    answer = storeValue(v, ncid, record);
    if (answer) continue;
    const BufrValues& value = _decodedValues.at(v);
    TextString name;
    bool named =
        ncVarNameForDescriptor(value.descriptor(), name, _currentDict);
    ZLOG(LogStream::VERBOSE)
        << "Unable to map netcdf file to descriptor " << value.descriptor()
        << "(" << (named ? name : TextString("\"\"")) << ")"
        << ", decoded value=[" << value.value() << "] for " << _stationId
        << " is undefined in the cdl." << std::endl;
  }
  return answer;
}

bool ProfBufrDecoder::putLevelCount(int ncid, long record) {
  int varid;
  int status = nc_inq_varid(ncid, "numLevels", &varid);
  if (status != NC_NOERR) {
    ZLOG(LogStream::PROBLEM) << "getVarId (numLevels) error: "
                             << nc_strerror(status) << std::endl;
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

// A value with a text is a level of an array (the array's name) or a
// text of its own: an array is written whole, once for each subset, at
// its first level.
bool ProfBufrDecoder::storeValue(int index, int ncid, long record) {
  const BufrValues& value = _decodedValues.at(index);
  TextString name;
  bool named = ncVarNameForDescriptor(value.descriptor(), name, _currentDict);
  ZLOG(LogStream::DEBUG) << "subset: " << value.subset() << ", dvDescriptor ("
                         << value.descriptor() << ")= <" << name << "> <"
                         << value.value() << ">" << std::endl;
  if (!named) return !value.text().isEmpty();
  ZLOG(LogStream::DEBUG) << "subset: " << value.subset() << ", dvDescriptor ("
                         << value.descriptor() << ")= <" << name << "> <"
                         << value.text() << ">" << std::endl;
  if (value.text().isEmpty()) {
    if (insertDecodedValues(ncid, name, record, value)) {
      ZLOG(LogStream::DEBUG) << "Successful singleton store of " << name
                             << std::endl;
    } else {
      ZLOG(LogStream::PROBLEM) << "Unable to store singleton value for "
                               << name << std::endl;
    }
    return true;
  }
  int subset = 0;
  if (_seen.lookup(value.descriptor(), &subset) && subset == value.subset())
    return true;
  _seen.insert(value.descriptor(), value.subset());
  if (_levelIndex.at(index) != 0) return true;
  int a = arrayIndex(value.text());
  if (a < 0 || _profileSets[a].length() <= value.subset()) return true;
  SeqOf<float> profile = _profileSets[a].at(value.subset());
  if (profile.length() > 0) storeArray(ncid, name, record, profile);
  return true;
}

bool ProfBufrDecoder::storeArray(int ncid, const TextString& name,
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
  ZLOG(LogStream::PROBLEM) << "storeArray (" << name << ") error: "
                           << nc_strerror(status) << std::endl;
  return false;
}

// One notification for each distinct minute of the file that was stored.
void ProfBufrDecoder::notifyTimes(const SeqOf<AbsTime>& times,
                                  const SeqOf<bool>& stored) {
  Set<long> sent;
  for (int k = 0; k < times.length(); ++k) {
    _dataTime = DataTime(times.at(k));
    if (!stored.at(k) || sent.lookup(times.at(k).seconds())) continue;
    sent.insert(times.at(k).seconds());
    sendNotification();
  }
}
