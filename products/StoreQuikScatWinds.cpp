// The QuikScat part of the wind store: the satellite and orbit of a cell,
// which stand in front of its position, how a value reaches its variable,
// and the rain flag.
#include "LogStream.h"
#include "QuikScatBufrDecoder.h"

namespace {

const int kRainWord = 21109;
// Where the satellite and the orbit stand, counted back from the latitude.
const int kSatelliteOffset = 8;
const int kOrbitOffset = 7;

}  // namespace

// The values of the observation at hand, each under the variable of its
// own descriptor. A message whose first latitude stands too near its start
// has neither.
void QuikScatBufrDecoder::storeObservationHeader(int latitudeIndex, int ncid,
                                                 long record) {
  if (latitudeIndex < kSatelliteOffset) return;
  const BufrValues& satellite =
      _decodedValues.at(latitudeIndex - kSatelliteOffset);
  const BufrValues& orbit = _decodedValues.at(latitudeIndex - kOrbitOffset);
  _satelliteId = static_cast<int>(satellite.value());
  _orbitNumber = static_cast<int>(orbit.value());
  storeIdentity("satIDDescriptor (", satellite.descriptor(), _satelliteId,
                ncid, record);
  storeIdentity("orbitNoDescriptor (", orbit.descriptor(), _orbitNumber, ncid,
                record);
}

void QuikScatBufrDecoder::storeIdentity(const char* label, int descriptor,
                                        int value, int ncid, long record) {
  TextString name;
  bool named = ncVarNameForDescriptor(descriptor, name, _currentDict);
  ZLOG(LogStream::DEBUG) << label << descriptor << ")= <" << name << "> <"
                         << value << ">" << std::endl;
  if (!named) return;
  storeSingle(name, ncid, record,
              BufrValues(0, descriptor, static_cast<float>(value), 0, ""));
}

// A value with a text is written with it: the text to a char variable, the
// number to any other.
void QuikScatBufrDecoder::storeNamedValue(const BufrValues& value,
                                          const TextString& name, int ncid,
                                          long record) {
  if (!value.hasText() && value.descriptor() == kRainWord) {
    storeRainWord(value, ncid, record);
    return;
  }
  storeSingle(name, ncid, record, value);
}

// "rainIndex" holds the rain flag of the cell: kRain where rain was
// detected, kNoRain where the flag says none, kRainFlagNotUsable where the
// flag can't be trusted (or the cell has no wind, or no word). The log
// lines name the flag whose value was written.
void QuikScatBufrDecoder::storeRainWord(const BufrValues& value, int ncid,
                                        long record) {
  rainFlags(value.value(), _rainFlagUsable, _rainFlag);
  ZLOG(LogStream::DEBUG) << "Rainflags: _rainFlagUsable = " << _rainFlagUsable
                         << ", _rainFlag = " << _rainFlag << std::endl;
  int index = !_rainFlagUsable ? kRainFlagNotUsable
                               : (_rainFlag ? kRain : kNoRain);
  const char* flag = _rainFlagUsable ? "_rainFlag" : "_rainFlagUsable";
  BufrValues rainIndex(value.subset(), value.descriptor(),
                       static_cast<float>(index), 0, "");
  if (insertDecodedValues(ncid, kRainVariable, record, rainIndex)) {
    ZLOG(LogStream::DEBUG) << "Successful singleton store of " << flag
                           << std::endl;
  } else {
    ZLOG(LogStream::PROBLEM) << "Unable to store singleton value for " << " "
                             << flag << std::endl;
  }
}
