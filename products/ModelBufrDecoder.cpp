#include "ModelBufrDecoder.h"

#include <cstdlib>

#include "BarTable.h"
#include "InfoFileServer.h"
#include "LogStream.h"
#include "NetcdfPointData.h"

namespace {

// Fourteen profiles on the model's levels, then two on its soil levels.
const char* const kProfileNames[ModelBufrDecoder::kProfiles] = {
    "PRESSURE",     "TEMPERATURE",  "UWIND",         "VWIND",
    "SPECHUMIDITY", "OMEGA",        "CLDH2OMIXRAT",  "CONVLATHEAT",
    "STABLATHEAT",  "SWHEATRATE",   "LWHEATRATE",    "LYRCLDCVR",
    "TURBKINENERGY", "ICEMIXRATIO", "LYRSOILMOIST",  "LYRSOILTEMP"};
const int kFirstSoilProfile = 14;

const int kStationLine = 120;
const int kProfileLine = 100;

TextString environment(const char* name) {
  const char* value = std::getenv(name);
  return TextString(value ? value : "");
}

}  // namespace

void clearModelDescriptorCache();

ModelBufrDecoder::ModelBufrDecoder()
    : ProductDecoder(kModelTraits),
      _numProfLvls(0),
      _numSoilLvls(0),
      _etaData(nullptr),
      _rucData(nullptr),
      _avnData(nullptr),
      _ngmData(nullptr),
      _currentData(nullptr) {
  static bool firstModelDecoder = true;
  if (firstModelDecoder) {
    clearModelDescriptorCache();
    firstModelDecoder = false;
  }
  for (int p = 0; p < kProfiles; ++p) _levelCounters[p] = 0;
  TextString base = environment("ZEPH_DATA") + "/point/model";
  if (!readStationTable()) {
    ZLOG(LogStream::PROBLEM)
        << "Unable to initialize station list table for decoding."
        << "  Can't decode files." << std::endl;
    return;
  }
  _etaDirectory = base + "/ETA/netcdf";
  _rucDirectory = base + "/RUC/netcdf";
  _avnDirectory = base + "/AVN/netcdf";
  _ngmDirectory = base + "/NGM/netcdf";
  _avnData = NetcdfPointData::getNetcdfPointData(_avnDirectory, true, false);
  _etaData = NetcdfPointData::getNetcdfPointData(_etaDirectory, true, false);
  _rucData = NetcdfPointData::getNetcdfPointData(_rucDirectory, true, false);
  _ngmData = NetcdfPointData::getNetcdfPointData(_ngmDirectory, true, false);
  _etaDict = readTemplateDict(_etaDirectory + "/template", "tblBname");
  _rucDict = readTemplateDict(_rucDirectory + "/template", "tblBname");
  _avnDict = readTemplateDict(_avnDirectory + "/template", "tblBname");
  _ngmDict = readTemplateDict(_ngmDirectory + "/template", "tblBname");
  if (!readProfileTable()) {
    ZLOG(LogStream::PROBLEM)
        << "Unable to create descriptor dictionary for model soundings."
        << std::endl;
    return;
  }
  completeSetUp();
}

ModelBufrDecoder::~ModelBufrDecoder() {}

bool ModelBufrDecoder::readStationTable() {
  TextString name = "modelBufrStationInfo.txt";
  FILE* file = openInfoFile(name);
  if (file == nullptr) {
    ZLOG(LogStream::PROBLEM) << "Unable to get station list from "
                             << lastInfoFilePath() << ".  Can't open file."
                             << std::endl;
    return false;
  }
  bool ok = BarTable::read(
      file, lastInfoFilePath(), kStationLine,
      [this](const SeqOf<TextString>& fields) {
        if (fields.length() < 2) return false;
        _stationList.insert(BarTable::field(fields, 1));
        return true;
      });
  std::fclose(file);
  return ok;
}

bool ModelBufrDecoder::readProfileTable() {
  TextString path = environment("ZEPH_HOME") + "/data/modelProfDescTable.txt";
  FILE* file = std::fopen(path.chars(), "r");
  if (file == nullptr) {
    ZLOG(LogStream::PROBLEM)
        << "Unable to get sounding profile descriptor variable list from "
        << path << std::endl;
    return false;
  }
  bool ok =
      BarTable::readProfileNames(file, path, kProfileLine, _profDescDict);
  std::fclose(file);
  return ok;
}

// The first character of the designator names the model. What isn't a
// digit reads as 0, and no model has that.
bool ModelBufrDecoder::takeDesignator(const TextString& designator) {
  int number = designator.length() > 0 ? designator.chars()[0] - '0' : 0;
  if (number < 0 || number > 9) number = 0;
  switch (number) {
    case 4: _source = "ETA"; return true;
    case 5: _source = "RUC"; return true;
    case 6: _source = "AVN"; return true;
    case 7: _source = "NGM"; return true;
    default:
      ZLOG(LogStream::PROBLEM) << "Unknown WMO model designator: " << number
                               << std::endl;
      return false;
  }
}

const char* ModelBufrDecoder::profileName(int profile) {
  return profile >= 0 && profile < kProfiles ? kProfileNames[profile] : "";
}

int ModelBufrDecoder::profileIndex(const TextString& name) const {
  for (int p = 0; p < kProfiles; ++p)
    if (name == kProfileNames[p]) return p;
  return -1;
}

int ModelBufrDecoder::profileBound(int profile) const {
  return profile < kFirstSoilProfile ? _numProfLvls : _numSoilLvls;
}

// The work arrays keep their contents from subset to subset: a shorter
// profile shows the levels of the one before behind its own.
void ModelBufrDecoder::appendWorkArrays() {
  for (int p = 0; p < kProfiles; ++p) _profileSets[p].append(_workArrays[p]);
}

void ModelBufrDecoder::clearProfileSets() {
  for (int p = 0; p < kProfiles; ++p) _profileSets[p].setLength(0);
}

bool ModelBufrDecoder::preprocessDecodedValues() {
  for (int p = 0; p < kProfiles; ++p) _workArrays[p].setLength(profileBound(p));
  int count = _decodedValues.length();
  int current = count > 0 ? _decodedValues.at(0).subset() : 0;
  _levelIndex = SeqOf<int>();
  _levelIndex.setLength(count);
  for (int i = 0; i < count; ++i) _levelIndex[i] = 0;
  for (int p = 0; p < kProfiles; ++p) _levelCounters[p] = 0;
  bool ok = true;
  for (int i = 0; i < count; ++i) {
    const BufrValues& value = _decodedValues.at(i);
    if (value.subset() != current) {
      appendWorkArrays();
      current = value.subset();
      for (int p = 0; p < kProfiles; ++p) _levelCounters[p] = 0;
    }
    TextString name;
    if (!_profDescDict.lookup(value.descriptor(), &name)) continue;
    _decodedValues[i].setText(name);
    int p = profileIndex(name);
    if (p < 0) continue;
    if (_levelCounters[p] >= profileBound(p)) {
      ok = false;
      break;
    }
    _workArrays[p][_levelCounters[p]] = value.value();
    _levelIndex[i] = _levelCounters[p]++;
  }
  appendWorkArrays();
  return ok;
}

SeqOf<float> ModelBufrDecoder::profileOf(int index) const {
  const BufrValues& value = _decodedValues.at(index);
  int p = profileIndex(value.text());
  if (p < 0) return SeqOf<float>();
  return _profileSets[p].at(value.subset());
}
