// The store of the wind decoders: one record for each observation, known
// by its position and minute, and one notification for each distinct
// minute stored. The netCDF variables come from the template's "tblBname"
// attributes; nothing but the position and the time is fixed.
#include <ostream>

#include "LogStream.h"
#include "NetcdfPointData.h"
#include "SeqOfPtr.h"
#include "Set.h"
#include "WindBufrDecoder.h"

namespace {

const char kTimeForm[] = "%h %d %y %T GMT";

}  // namespace

// Every observation is stored as far as it goes; one without a handle
// makes the answer -1 after the others are stored. The handles are given
// back together when the last observation is written: each get counts a
// client of its file, and a file syncs for its readers when its last
// client goes, so one release of all of them costs one sync a file.
int WindBufrDecoder::store(const SeqOf<AbsTime>& times) {
  for (int k = 0; k < times.length(); ++k) {
    ZLOG(LogStream::VERBOSE) << "NCF_STORE site [" << _positions.at(k) << "]"
                             << std::endl;
  }
  SeqOf<bool> stored;
  stored.setLength(times.length());
  for (int k = 0; k < stored.length(); ++k) stored[k] = false;
  SeqOfPtr<int*> handles;
  int result = 1;
  for (int k = 0; k < _obStart.length(); ++k) {
    int i = _obStart.at(k);
    const LatLonCoord& position = _positions.at(k);
    AbsTime time = times.at(k);
    ZLOG(LogStream::DEBUG) << "index: " << i << ", subset: "
                           << _decodedValues.at(i).subset() << ", latLon: "
                           << position << ", time: " << time.format(kTimeForm)
                           << std::endl;
    float latLon[2] = {position.lat, position.lon};
    double seconds = static_cast<double>(time.seconds());
    long record = 0;
    bool isNewRecord = false;
    int* handle = _pointData ? _pointData->getFileHandleAndRecord(
                                   latLon, SeqOf<double>(1, &seconds), record,
                                   isNewRecord)
                             : nullptr;
    _lastFile = NetcdfPointData::lastFileTimeStamp();
    _currentDict = _tblBDict;
    if (handle == nullptr) {
      ZLOG(LogStream::PROBLEM) << "No handle for this lat/lon: " << position
                               << " and time: " << time.format(kTimeForm)
                               << std::endl;
      ZLOG(LogStream::PROBLEM) << "No handle for " << position << " for "
                               << time.format(kTimeForm)
                               << ".  Skipping to next Station." << std::endl;
      result = -1;
      continue;
    }
    handles.append(handle);
    storeObservationHeader(i, *handle, record);
    stored[k] = storeValues(i, *handle, record, position);
  }
  ZLOG(LogStream::EVENT) << "NCF_STORE of " << times.length()
                         << " site(s) for " << times.at(0).format(kTimeForm)
                         << std::endl;
  if (handles.length() > 0) _pointData->releaseHandles(handles);
  notifyTimes(times, stored);
  return result;
}

// The values of an observation, from its latitude to the family's stop
// descriptor or the end of the message. The answer is that of the last
// value.
bool WindBufrDecoder::storeValues(int start, int ncid, long record,
                                  const LatLonCoord& position) {
  bool answer = false;
  for (int v = start; v < _decodedValues.length(); ++v) {
    const BufrValues& value = _decodedValues.at(v);
    if (value.descriptor() == _family.stopDescriptor) break;
    answer = storeValue(v, ncid, record);
    if (!answer) logUnmapped(value, _currentDict, position);
  }
  return answer;
}

// A value without a variable answers false, unless it carries a text; a
// value with one answers true, whether its write worked or not.
bool WindBufrDecoder::storeValue(int index, int ncid, long record) {
  const BufrValues& value = _decodedValues.at(index);
  TextString name;
  if (!variableOfValue(value, _currentDict, name)) return value.hasText();
  storeNamedValue(value, name, ncid, record);
  return true;
}

