// The store of the model decoder: one record for each station of a file in
// the point files of the file's model, and one notification for each
// station stored. The netCDF variables aren't known here: they come from
// the templates' "tblBname" attributes through the descriptor cache.
#include <netcdf.h>

#include <cstring>
#include <vector>

#include "DescriptorNameCache.h"
#include "LogStream.h"
#include "ModelBufrDecoder.h"
#include "NetcdfPointData.h"
#include "dmNotify.h"

namespace {

const char kTimeForm[] = "%h %d %y %T GMT";
const int kForecastOffset = 4194;

// The four models share one.
DescriptorNameCache& descriptorCache() {
  static DescriptorNameCache* cache = new DescriptorNameCache;
  return *cache;
}

void setFill(int ncid, bool fill) {
  int old;
  nc_set_fill(ncid, fill ? NC_FILL : NC_NOFILL, &old);
}

void putInt(int ncid, const char* name, long record, int value) {
  int varid;
  if (nc_inq_varid(ncid, name, &varid) != NC_NOERR) return;
  size_t index[1] = {static_cast<size_t>(record)};
  nc_put_var1_int(ncid, varid, index, &value);
}

}  // namespace

void clearModelDescriptorCache() { descriptorCache().clear(); }

int ModelBufrDecoder::write2NetcdfFile() {
  if (_decodedValues.length() == 0) return 0;
  return storeSoundings();
}

int ModelBufrDecoder::storeSoundings() {
  SeqOf<TextString> ids;
  for (int i = 0; i < _decodedValues.length(); ++i) {
    TextString text = _decodedValues.at(i).text();
    if (!text.isEmpty() && text != "Time") ids.append(text);
  }
  if (ids.length() == 0) {
    ZLOG(LogStream::PROBLEM) << "No station ids available for this data file."
                             << "  Not stored, skipping to next file."
                             << std::endl;
    return -1;
  }
  TextString firstId = ids.at(0);
  if (!_stationList.lookup(firstId)) {
    ZLOG(LogStream::VERBOSE) << "Station [ " << firstId << " ] is not "
                             << "in this localization.  Not stored."
                             << std::endl;
    return 0;
  }
  _numProfLvls = replCounts().length() > 0 ? replCounts().at(0) : 0;
  _numSoilLvls = replCounts().length() > 1 ? replCounts().at(1) : 0;
  if (!preprocessDecodedValues()) {
    ZLOG(LogStream::PROBLEM)
        << "Unable to pre-process sounding profile data sets for " << firstId
        << ".  Not stored, skipping to next file." << std::endl;
    clearProfileSets();
    return -1;
  }
  SeqOf<AbsTime> times;
  SeqOf<double> offsets;
  makeTimeLists(firstId, times, offsets);
  TextString directory = _source == "ETA"   ? _etaDirectory
                         : _source == "RUC" ? _rucDirectory
                         : _source == "AVN" ? _avnDirectory
                                            : _ngmDirectory;
  ZLOG(LogStream::EVENT) << "Storing " << _source << " Sounding data to "
                         << std::endl;
  ZLOG(LogStream::EVENT) << "   " << directory << std::endl;
  ZLOG(LogStream::EVENT) << "   Station Name: " << firstId << "  "
                         << times.at(0).format(kTimeForm) << " ......"
                         << std::endl;

  SeqOf<bool> stored;
  stored.setLength(times.length());
  for (int t = 0; t < stored.length(); ++t) stored[t] = false;
  int* handle = nullptr;
  long record = 0;
  int station = -1, subset = -1, result = 1;
  for (int i = 0; i < _decodedValues.length(); ++i) {
    const BufrValues& value = _decodedValues.at(i);
    if (value.subset() != subset) {
      subset = value.subset();
      ++station;
      if (handle) {
        setFill(*handle, true);
        _currentData->releaseHandle(handle);
        handle = nullptr;
      }
      TextString id = ids.at(station);
      AbsTime time = times.at(station);
      handle = stationHandle(id, time, record);
      if (handle == nullptr) {
        ZLOG(LogStream::PROBLEM) << "No handle for " << id << " for "
                                 << time.format(kTimeForm)
                                 << ".  Skipping to next file." << std::endl;
        result = -1;
        break;
      }
      setFill(*handle, false);
      putInt(*handle, "numProfLvls", record, _numProfLvls);
      putInt(*handle, "numSoilLvls", record, _numSoilLvls);
    }
    bool written = writeValue(i, *handle, record);
    if (station < stored.length()) stored[station] = written;
    if (!written) {
      TextString name;
      bool named = ncVarNameForDescriptor(value.descriptor(), name, _tblBDict);
      ZLOG(LogStream::VERBOSE)
          << "Unable to map netcdf file to descriptor " << value.descriptor()
          << "(" << (named ? name : TextString("\"\"")) << ")"
          << ", decoded value=[" << value.value() << "] for " << _stationId
          << " is undefined in the cdl." << std::endl;
    }
  }
  if (handle) {
    setFill(*handle, true);
    _currentData->releaseHandle(handle);
  }
  clearProfileSets();
  notifyStations(stored, offsets);
  return result;
}

// Each forecast offset, in seconds, gives the valid time of one station.
bool ModelBufrDecoder::makeTimeLists(const TextString& firstId,
                                     SeqOf<AbsTime>& times,
                                     SeqOf<double>& offsets) {
  for (int i = 0; i < _decodedValues.length(); ++i) {
    const BufrValues& value = _decodedValues.at(i);
    if (value.descriptor() != kForecastOffset) continue;
    ZLOG(LogStream::DEBUG) << "_obTime: " << _obTime.format(kTimeForm)
                           << " time offset (secs): " << value.value()
                           << std::endl;
    AbsTime time = _obTime + static_cast<long>(value.value());
    ZLOG(LogStream::DEBUG) << "fcstTime: " << time.format(kTimeForm)
                           << std::endl;
    times.append(time);
    offsets.append(value.value());
    _decodedValues[i].setText("Time");
  }
  for (int t = 0; t < times.length(); ++t) {
    ZLOG(LogStream::VERBOSE) << "TimeIds[" << t
                             << "]: " << times.at(t).format(kTimeForm)
                             << " for station " << firstId << std::endl;
  }
  return true;
}

int* ModelBufrDecoder::stationHandle(const TextString& id,
                                     const AbsTime& time, long& record) {
  _stationId = id;
  SeqOf<TextString> ids(1, &id);
  double seconds[2] = {static_cast<double>(_obTime.seconds()),
                       static_cast<double>(time.seconds())};
  SeqOf<double> times(2, seconds);
  NetcdfPointData* data = nullptr;
  const Dict<TextString, TextString>* dict = nullptr;
  if (_source == "ETA") {
    data = _etaData, dict = &_etaDict;
  } else if (_source == "RUC") {
    data = _rucData, dict = &_rucDict;
  } else if (_source == "AVN") {
    data = _avnData, dict = &_avnDict;
  } else if (_source == "NGM") {
    data = _ngmData, dict = &_ngmDict;
  }
  int* handle = nullptr;
  if (data != nullptr) {
    bool isNewRecord = false;
    handle = data->getFileHandleAndRecord(ids, times, record, isNewRecord);
    _lastFile = NetcdfPointData::lastFileTimeStamp();
    _tblBDict = *dict;
    _currentData = data;
  }
  if (handle == nullptr) {
    ZLOG(LogStream::PROBLEM) << "No handle for this station info: " << id
                             << " and time: " << time.format(kTimeForm)
                             << std::endl;
  }
  return handle;
}

bool ModelBufrDecoder::writeValue(int index, int ncid, long record) {
  const BufrValues& value = _decodedValues.at(index);
  int d = value.descriptor();
  TextString name;
  int found = descriptorCache().lookUp(d, _tblBDict, name);
  if (found <= 0) return found == 0 && !value.text().isEmpty();
  int varid;
  if (!value.text().isEmpty()) {
    // An element of a profile, or a text: a profile is written whole at
    // its first level.
    if (_levelIndex.at(index) != 0) return true;
    SeqOf<float> profile = profileOf(index);
    if (profile.length() == 0) return true;
    if (nc_inq_varid(ncid, name.chars(), &varid) != NC_NOERR) return true;
    size_t start[2] = {static_cast<size_t>(record), 0};
    size_t count[2] = {1, static_cast<size_t>(profile.length())};
    std::vector<float> levels(profile.length());
    for (int k = 0; k < profile.length(); ++k) levels[k] = profile.at(k);
    nc_put_vara_float(ncid, varid, start, count, levels.data());
    return true;
  }
  if (nc_inq_varid(ncid, name.chars(), &varid) != NC_NOERR) return true;
  nc_type type;
  int dimensions;
  int dimensionIds[NC_MAX_VAR_DIMS];
  if (nc_inq_var(ncid, varid, nullptr, &type, &dimensions, dimensionIds,
                 nullptr) != NC_NOERR)
    return true;
  size_t at[2] = {static_cast<size_t>(record),
                  static_cast<size_t>(value.repetition())};
  switch (type) {
    case NC_INT: {
      int v = static_cast<int>(value.value());
      nc_put_var1_int(ncid, varid, at, &v);
      break;
    }
    case NC_FLOAT: {
      float v = value.value();
      nc_put_var1_float(ncid, varid, at, &v);
      break;
    }
    case NC_DOUBLE: {
      double v = value.value();
      nc_put_var1_double(ncid, varid, at, &v);
      break;
    }
    case NC_CHAR: {
      if (dimensions < 2) break;
      size_t length = 0;
      nc_inq_dimlen(ncid, dimensionIds[dimensions - 1], &length);
      std::vector<char> row(length, '\0');
      TextString text = value.text();
      std::memcpy(row.data(), text.chars(),
                  text.length() < length ? text.length() : length);
      size_t start[2] = {static_cast<size_t>(record), 0};
      size_t count[2] = {1, length};
      nc_put_vara_text(ncid, varid, start, count, row.data());
      break;
    }
    default:
      break;
  }
  return true;
}

void ModelBufrDecoder::notifyStations(const SeqOf<bool>& stored,
                                      const SeqOf<double>& offsets) {
  for (int s = 0; s < stored.length(); ++s) {
    if (!stored.at(s)) continue;
    long offset = static_cast<long>(offsets.at(s));
    _dataTime = DataTime(_obTime, offset);
    sendNotification();
  }
}

// The key follows the model: RUC and NGM have none of their own.
bool ModelBufrDecoder::sendNotification() {
  unsigned long key = _source == "ETA" ? 10001 : _source == "AVN" ? 10002 : 0;
  if (dmNotify(key, _dataTime)) {
    ZLOG(LogStream::VERBOSE) << "Sent notification for key " << key
                             << std::endl;
    return true;
  }
  ZLOG(LogStream::PROBLEM) << "dmNotify FAILED for key = " << key << std::endl;
  return false;
}
