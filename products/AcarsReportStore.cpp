// The store of the ACARS decoder: one record for each report, under the
// aircraft's registration and the report's time, and one notification for
// each report stored. The netCDF variables come from the template's
// "tblBname" attributes through the descriptor cache; only
// "timeMdcrsHdr", the time of the message, is fixed.
#include <netcdf.h>

#include <vector>

#include "AcarsBufrDecoder.h"
#include "DescriptorNameCache.h"
#include "LogStream.h"
#include "NetcdfPointData.h"

namespace {

const char kTimeForm[] = "%h %d %y %T GMT";
const int kRegistration = 1008;
const int kYear = 4001;
const int kFlightNumber = 1006;
const int kGroundStation = 2065;
const int kRelativeHumidity = 13003;
// A point file's variables have a record and at most a few more dimensions.
const int kMaxDimensions = 4;

DescriptorNameCache& descriptorCache() {
  static DescriptorNameCache* cache = new DescriptorNameCache;
  return *cache;
}

}  // namespace

void clearAcarsDescriptorCache() { descriptorCache().clear(); }

// Reports are stored in order; one without a handle ends the file with -1,
// the reports before it staying stored and notified. The flag of a report
// is the answer for its last value.
int AcarsBufrDecoder::write2NetcdfFile() {
  ZLOG(LogStream::VERBOSE) << "In write2NetcdfFile()" << std::endl;
  if (_decodedValues.length() == 0) return 0;
  SeqOf<TextString> ids;
  for (int i = 0; i < _decodedValues.length(); ++i)
    if (_decodedValues.at(i).descriptor() == kRegistration)
      ids.append(_decodedValues.at(i).text());
  if (ids.length() == 0) {
    ZLOG(LogStream::PROBLEM) << "Number of stations = 0...not processing"
                             << std::endl;
    return -1;
  }
  SeqOf<AbsTime> times = makeTimeList();
  if (times.length() == 0) {
    ZLOG(LogStream::PROBLEM) << "Number of timeIds = 0...not processing"
                             << std::endl;
    return -1;
  }
  SeqOf<int> stored;
  stored.setLength(_subsets > 0 ? _subsets : 0);
  for (int s = 0; s < stored.length(); ++s) stored[s] = 0;

  int* handle = nullptr;
  int subset = -1, report = -1, result = 1;
  long record = 0;
  for (int i = 0; i < _decodedValues.length(); ++i) {
    const BufrValues& value = _decodedValues.at(i);
    if (value.subset() != subset) {
      subset = value.subset();
      ++report;
      if (handle) _pointData->releaseHandle(handle);
      TextString id = ids.at(report);
      AbsTime time = times.at(report);
      handle = reportHandle(id, time, record);
      if (handle == nullptr) {
        ZLOG(LogStream::PROBLEM) << "No handle for " << id << " for "
                                 << time.seconds()
                                 << ".  Skipping to next file." << std::endl;
        result = -1;
        break;
      }
      putMessageTime(*handle, record);
    }
    bool written = storeValue(i, *handle, record);
    stored[subset] = written;
    if (written) continue;
    TextString name;
    bool named = ncVarNameForDescriptor(value.descriptor(), name, _currentDict);
    ZLOG(LogStream::VERBOSE)
        << "Unable to map netcdf file to descriptor " << value.descriptor()
        << "(" << (named ? name : TextString("\"\"")) << ")"
        << ", decoded value=[" << value.value() << "] for " << _stationId
        << " is undefined in the cdl." << std::endl;
  }
  if (handle) _pointData->releaseHandle(handle);
  for (int s = 0; s < stored.length(); ++s) {
    if (!stored.at(s)) continue;
    ZLOG(LogStream::VERBOSE) << "Sending a notification for subset " << s
                             << std::endl;
    sendNotification(times.at(s));
  }
  return result;
}

// Each year (0 04 001) opens the six values of a report's time: year,
// month, day, hour, minute, second. A report without seconds has second 0;
// any other missing or impossible part gives the invalid time, for which
// the store finds no file.
SeqOf<AbsTime> AcarsBufrDecoder::makeTimeList() {
  SeqOf<AbsTime> times;
  int count = _decodedValues.length();
  for (int t = 0; t < count; ++t) {
    if (_decodedValues.at(t).descriptor() != kYear) continue;
    int parts[6];
    for (int k = 0; k < 6; ++k) {
      float value = t + k < count ? _decodedValues.at(t + k).value()
                                  : BufrValues::kMissing;
      parts[k] = static_cast<int>(value);
    }
    if (parts[5] == static_cast<int>(BufrValues::kMissing)) parts[5] = 0;
    times.append(
        AbsTime(parts[0], parts[1], parts[2], parts[3], parts[4], parts[5]));
    _decodedValues[t].setText("Time");
    t += 5;
  }
  for (int k = 0; k < times.length(); ++k) {
    ZLOG(LogStream::VERBOSE) << "TimeIds[" << k
                             << "]: " << times.at(k).format(kTimeForm)
                             << std::endl;
  }
  return times;
}

int* AcarsBufrDecoder::reportHandle(const TextString& id, const AbsTime& time,
                                    long& record) {
  _stationId = id;
  SeqOf<TextString> ids(1, &id);
  double seconds = static_cast<double>(time.seconds());
  SeqOf<double> times(1, &seconds);
  bool isNewRecord = false;
  int* handle = _pointData ? _pointData->getFileHandleAndRecord(
                                 ids, times, record, isNewRecord)
                           : nullptr;
  _lastFile = NetcdfPointData::lastFileTimeStamp();
  _currentDict = _tblBDict;
  if (handle == nullptr) {
    ZLOG(LogStream::PROBLEM) << "No handle for this station info: " << id
                             << " and time: " << time.seconds() << std::endl;
  }
  return handle;
}

// The message's own time, from Section 1, beside the report's.
void AcarsBufrDecoder::putMessageTime(int ncid, long record) {
  int varid;
  if (nc_inq_varid(ncid, "timeMdcrsHdr", &varid) != NC_NOERR) return;
  size_t index[1] = {static_cast<size_t>(record)};
  double seconds = static_cast<double>(_obTime.seconds());
  nc_put_var1_double(ncid, varid, index, &seconds);
}

// Only the flight number and the ground station are written as texts:
// the registration stands in the index, and the year's "Time" mark is no
// value.
bool AcarsBufrDecoder::storeValue(int index, int ncid, long record) {
  const BufrValues& value = _decodedValues.at(index);
  int d = value.descriptor();
  TextString name;
  int found = descriptorCache().lookUp(d, _currentDict, name);
  if (found <= 0) return found == 0 && !value.text().isEmpty();
  if (!value.text().isEmpty() && d != kFlightNumber && d != kGroundStation)
    return true;
  float number = value.value();
  if (d == kRelativeHumidity) {
    // Aircraft without a humidity sensor send 0.0.
    ZLOG(LogStream::DEBUG) << "relative humidity value = " << number
                           << std::endl;
    if (number == 0.0f) number = BufrValues::kMissing;
  }
  return putValue(ncid, name, record, value, number);
}

// One value at the record by the variable's type. A text longer than its
// variable is refused, not cut: a cut registration or flight would name
// another aircraft.
bool AcarsBufrDecoder::putValue(int ncid, const TextString& name, long record,
                                const BufrValues& value, float number) {
  int varid, dimensions;
  nc_type type;
  int dimensionIds[kMaxDimensions];
  if (nc_inq_varid(ncid, name.chars(), &varid) != NC_NOERR ||
      nc_inq_varndims(ncid, varid, &dimensions) != NC_NOERR ||
      dimensions > kMaxDimensions ||
      nc_inq_var(ncid, varid, nullptr, &type, nullptr, dimensionIds,
                 nullptr) != NC_NOERR)
    return false;
  size_t start[kMaxDimensions] = {static_cast<size_t>(record)};
  switch (type) {
    case NC_INT: {
      int v = static_cast<int>(number);
      return nc_put_var1_int(ncid, varid, start, &v) == NC_NOERR;
    }
    case NC_FLOAT:
      return nc_put_var1_float(ncid, varid, start, &number) == NC_NOERR;
    case NC_DOUBLE: {
      double v = number;
      return nc_put_var1_double(ncid, varid, start, &v) == NC_NOERR;
    }
    case NC_CHAR:
      break;
    default:
      return false;
  }
  TextString text = value.text();
  int status = NC_NOERR;
  if (dimensions >= 2) {
    size_t length = 0;
    status = nc_inq_dimlen(ncid, dimensionIds[dimensions - 1], &length);
    if (status == NC_NOERR && text.length() > length) status = NC_EEDGE;
    size_t count[kMaxDimensions];
    for (int k = 0; k < dimensions; ++k) count[k] = 1;
    count[dimensions - 1] = text.length();
    if (status == NC_NOERR)
      status = nc_put_vara_text(ncid, varid, start, count, text.chars());
  } else {
    char first = text.isEmpty() ? '\0' : text.chars()[0];
    status = nc_put_var1_text(ncid, varid, start, &first);
  }
  if (status == NC_NOERR) return true;
  ZLOG(LogStream::PROBLEM) << "Unable to store the value " << text
                           << std::endl;
  return false;
}
