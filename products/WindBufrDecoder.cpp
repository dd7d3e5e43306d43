#include "WindBufrDecoder.h"

#include <cstdlib>

#include "LogStream.h"
#include "NetcdfPointData.h"

namespace {

const int kYear = 4001;

TextString environment(const char* name) {
  const char* value = std::getenv(name);
  return TextString(value ? value : "");
}

}  // namespace

// A wind family reads no table but its template. The family's own
// constructor handles what lies in the directory, once its part of the
// object stands. Without a template there is no point data object: no
// observation gets a handle, and the files go to the bad directory, from
// where they can be fed again once the template is there.
WindBufrDecoder::WindBufrDecoder(const ProductTraits& traits,
                                 const WindFamily& family)
    : ProductDecoder(traits), _family(family), _pointData(nullptr) {
  completeSetUp();
  TextString directory = environment("ZEPH_DATA") + _family.pointDirectory;
  _pointData = NetcdfPointData::getNetcdfPointData(directory, true, false);
  _tblBDict = readTemplateDict(directory + "/template", "tblBname");
}

WindBufrDecoder::~WindBufrDecoder() {}

int WindBufrDecoder::write2NetcdfFile() {
  if (_decodedValues.length() == 0) return 0;
  _obStart.setLength(0);
  _positions.setLength(0);
  findObservations();
  if (_obStart.length() == 0) return 0;
  SeqOf<AbsTime> times = makeTimeList();
  return store(times);
}

// An observation starts at its latitude. Positions aren't tested against
// any area: the store refuses one off the globe itself.
void WindBufrDecoder::findObservations() {
  int count = _decodedValues.length();
  for (int i = 0; i + 1 < count; ++i) {
    const BufrValues& value = _decodedValues.at(i);
    if (value.descriptor() != _family.latitudeDescriptor) continue;
    float lat = value.value();
    float lon = _decodedValues.at(i + 1).value();
    if (lat == BufrValues::kMissing || lon == BufrValues::kMissing) {
      ZLOG(LogStream::PROBLEM) << "Missing lat/lon coordinates for this ob.  "
                               << "Skipping to next observation." << std::endl;
      continue;
    }
    _positions.append(LatLonCoord{lat, lon});
    _obStart.append(i);
  }
}

// One time for each observation, to the nearest minute. An observation
// whose time block doesn't begin with a year where the family's layout
// puts it gets the invalid time, for which the store has no record: the
// list stays as long as the list of observations.
SeqOf<AbsTime> WindBufrDecoder::makeTimeList() {
  SeqOf<AbsTime> times;
  for (int k = 0; k < _obStart.length(); ++k)
    times.append(observationTime(_obStart.at(k)));
  return times;
}

AbsTime WindBufrDecoder::observationTime(int latitudeIndex) {
  int t = latitudeIndex - _family.timeOffset;
  if (t < 0 || _decodedValues.at(t).descriptor() != kYear) return AbsTime();
  auto field = [this, t](int offset) {
    return static_cast<int>(_decodedValues.at(t + offset).value());
  };
  AbsTime time(field(0), field(1), field(2), field(3), field(4), field(5));
  _decodedValues[t].setText("DTG");
  if (!time.isValid()) return time;
  time += 30;
  return AbsTime(time.seconds() - time.seconds() % 60);
}
