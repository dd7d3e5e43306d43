#include "SatelliteSoundingDecoder.h"

#include <cstdlib>
#include <sstream>

#include "BarTable.h"
#include "InfoFileServer.h"
#include "LogStream.h"
#include "NetcdfPointData.h"
#include "SiteTable.h"

namespace {

const int kGridLine = 120;
const int kProfileLine = 100;
const int kYear = 4001;

TextString environment(const char* name) {
  const char* value = std::getenv(name);
  return TextString(value ? value : "");
}

}  // namespace

SatelliteSoundingDecoder::SatelliteSoundingDecoder(
    const ProductTraits& traits, const SoundingFamily& family)
    : LevelArrayDecoder(traits),
      _family(family),
      _siteTable(nullptr),
      _gridResolution(0),
      _pointData(nullptr),
      _obIndex(-1) {
  for (int p = 0; p < SoundingFamily::kMaxProfiles; ++p) _levelCounters[p] = 0;
  completeSetUp();
  _siteTable = SiteTable::read(_family.siteFile);
  if (_siteTable->length() == 0) {
    ZLOG(LogStream::PROBLEM)
        << "Unable to read list of site locations for matching" << std::endl;
    return;
  }
  if (!readGridResolution()) {
    ZLOG(LogStream::PROBLEM) << "Unable to get grid resolution for "
                             << _family.word << " soundings." << std::endl;
    return;
  }
  if (!readProfileTable()) {
    ZLOG(LogStream::PROBLEM) << "Unable to create descriptor dictionary for "
                             << _family.word << " soundings." << std::endl;
    return;
  }
  TextString directory = environment("ZEPH_DATA") + _family.pointDirectory;
  _pointData = NetcdfPointData::getNetcdfPointData(directory, true, false);
  _tblBDict = readTemplateDict(directory + "/template", "tblBname");
  processLeftOverFiles();
}

SatelliteSoundingDecoder::~SatelliteSoundingDecoder() {}

// Every line but a comment is a number, so the last one wins; a line that
// holds no number at all is passed over.
bool SatelliteSoundingDecoder::readGridResolution() {
  FILE* file = openInfoFile(_family.gridFile);
  if (file == nullptr) {
    ZLOG(LogStream::PROBLEM) << "Unable to get grid resolution from "
                             << lastInfoFilePath() << ".  Can't open file."
                             << std::endl;
    return false;
  }
  char line[kGridLine];
  while (std::fgets(line, sizeof line, file)) {
    if (line[0] == '#') continue;
    char* end = nullptr;
    double resolution = std::strtod(line, &end);
    if (end != line) _gridResolution = static_cast<float>(resolution);
  }
  std::fclose(file);
  ZLOG(LogStream::DEBUG) << "getGridResolution(): _gridResolution= "
                         << _gridResolution << std::endl;
  return true;
}

bool SatelliteSoundingDecoder::readProfileTable() {
  TextString path = environment("ZEPH_HOME") + _family.profileTable;
  FILE* file = std::fopen(path.chars(), "r");
  if (file == nullptr) {
    ZLOG(LogStream::PROBLEM)
        << "Unable to open sounding profile descriptor variable list, "
        << path << std::endl;
    return false;
  }
  BarTable::readProfileNames(file, path, kProfileLine, _profDescDict, true);
  std::fclose(file);
  return true;
}

void SatelliteSoundingDecoder::logPosition(
    int category, const SoundingFamily::PositionLine& line, float lat,
    float lon) const {
  ZLOG(category) << line.head << lat << ", " << lon << line.tail << std::endl;
}

TextString SatelliteSoundingDecoder::matchSite(float lat, float lon) const {
  if (lat == BufrValues::kMissing || lon == BufrValues::kMissing) {
    ZLOG(LogStream::PROBLEM) << _family.missingPosition << std::endl;
    return TextString();
  }
  const SiteRecord* site = nullptr;
  if (_siteTable != nullptr)
    site = _siteTable->nearest(lat, lon, _gridResolution * 0.5f, 0.0f);
  if (site == nullptr) {
    logPosition(LogStream::VERBOSE, _family.notLocal, lat, lon);
    return TextString();
  }
  ZLOG(LogStream::VERBOSE) << "Lat/lon location [ " << lat << ", " << lon
                           << " ]: " << site->id << std::endl;
  return TextString(site->id);
}

int SatelliteSoundingDecoder::write2NetcdfFile() {
  if (_decodedValues.length() == 0) return 0;
  _levelCounts.setLength(0);
  _obStart.setLength(0);
  _siteIds.setLength(0);
  findObservations();
  if (_obStart.length() == 0) return 0;
  _numLvls = 0;
  SeqOf<AbsTime> times = makeTimeList();
  int result =
      storeObservations(_siteIds, times, _family.storing, _family.noHandleEnd);
  clearProfileSets();
  return result;
}

NetcdfPointData* SatelliteSoundingDecoder::pointData(
    Dict<TextString, TextString>& dict) const {
  dict = _tblBDict;
  return _pointData;
}

// An observation starts at its latitude. One whose level count is unknown
// is logged and stored all the same, with its count; one whose count is
// below 0 (a POES subset without any level) is left out.
void SatelliteSoundingDecoder::findObservations() {
  int count = _decodedValues.length();
  _levelIndex = SeqOf<int>();
  _levelIndex.setLength(count);
  for (int i = 0; i < count; ++i) _levelIndex[i] = 0;
  _obIndex = -1;
  for (int i = 0; i + 1 < count; ++i) {
    const BufrValues& value = _decodedValues.at(i);
    if (value.descriptor() != _family.latitudeDescriptor) continue;
    float lat = value.value();
    float lon = _decodedValues.at(i + 1).value();
    TextString id = matchSite(lat, lon);
    if (id.isEmpty()) continue;
    int levels = getProfileCount(i, value.subset());
    if (levels < 0) {
      logPosition(LogStream::PROBLEM, _family.noLevels, lat, lon);
      continue;
    }
    _siteIds.append(id);
    _levelCounts.append(levels);
    ++_obIndex;
    _obStart.append(i);
    _numLvls = levels;
    if (levels == 0) {
      logPosition(LogStream::PROBLEM, _family.noLevels, lat, lon);
    } else if (!gatherProfile(i)) {
      logPosition(LogStream::PROBLEM, _family.gatherFailed, lat, lon);
    }
  }
}

int SatelliteSoundingDecoder::getProfileCount(int start, int subset) const {
  int count = _decodedValues.length();
  int first = start;
  while (first < count && _decodedValues.at(first).subset() != subset) ++first;
  int levels = _family.levelCountStart;
  for (int j = first; j < count; ++j) {
    const BufrValues& value = _decodedValues.at(j);
    if (value.descriptor() != _family.levelDescriptor ||
        value.subset() != subset)
      continue;
    ZLOG(LogStream::DEBUG) << _family.profileCountSource
                           << "::getProfileCount(): _dV[" << j << "]"
                           << ", subset: " << subset
                           << ", descriptor: " << value.descriptor()
                           << ", value= " << value.value() << std::endl;
    ++levels;
  }
  ZLOG(LogStream::VERBOSE) << "getProfileCount(): numLvls = " << levels
                           << std::endl;
  return levels;
}

int SatelliteSoundingDecoder::profileIndex(const TextString& name) const {
  for (int p = 0; p < _family.profiles; ++p)
    if (name == _family.profileNames[p]) return p;
  return -1;
}

// The levels of a filtered profile are its plain levels: a value next to a
// vertical significance (or, in GOES, a retrieval's parameters) is a
// surface or first-guess value, not a level.
bool SatelliteSoundingDecoder::dropsLevel(int index) const {
  int count = _decodedValues.length();
  for (int d : _family.filterDescriptors) {
    if (d != 0 && index > 0 && _decodedValues.at(index - 1).descriptor() == d)
      return true;
  }
  return _family.filterBehind && index + 1 < count &&
         _decodedValues.at(index + 1).descriptor() ==
             _family.filterDescriptors[0];
}

// The work arrays keep what the observation before left behind its last
// level. A counter may reach the level count and write one element past
// the array, which the array reports and takes in its first element.
bool SatelliteSoundingDecoder::gatherProfile(int index) {
  for (int p = 0; p < _family.profiles; ++p) {
    _workArrays[p].setLength(_numLvls);
    _levelCounters[p] = 0;
  }
  int subset = _decodedValues.at(index).subset();
  bool failed = false;
  for (int i = index; i < _decodedValues.length(); ++i) {
    const BufrValues& value = _decodedValues.at(i);
    if (value.subset() != subset) break;
    TextString name;
    if (!_profDescDict.lookup(value.descriptor(), &name)) continue;
    _decodedValues[i].setText(name);
    int p = profileIndex(name);
    if (p < 0) continue;
    if (_levelCounters[p] > _numLvls) {
      failed = true;
      break;
    }
    if (_family.filtered[p] && dropsLevel(i)) continue;
    _workArrays[p][_levelCounters[p]] = value.value();
    _levelIndex[i] = _levelCounters[p]++;
  }
  if (_family.sortedByPressure) sortByPressure();
  for (int p = 0; p < _family.profiles; ++p) {
    if (_profileSets[p].length() <= subset) _profileSets[p].setLength(subset + 1);
    _profileSets[p][subset] = _workArrays[p];
  }
  logLevels();
  return !failed || _profileSets[0].length() > 0;
}

// An exchange sort: equal pressures keep their places only as far as the
// exchanges leave them.
void SatelliteSoundingDecoder::sortByPressure() {
  SeqOf<float>& pressure = _workArrays[0];
  for (int i = 0; i < _numLvls; ++i) {
    for (int j = i + 1; j < _numLvls; ++j) {
      if (pressure.at(j) <= pressure.at(i)) continue;
      for (int p = 0; p < _family.profiles; ++p) {
        float swap = _workArrays[p].at(i);
        _workArrays[p][i] = _workArrays[p].at(j);
        _workArrays[p][j] = swap;
      }
    }
  }
}

void SatelliteSoundingDecoder::logLevels() const {
  for (int k = 0; k < _numLvls; ++k) {
    std::ostringstream line;
    for (int p = 0; p < _family.profiles; ++p)
      line << _family.workArrayNames[p] << k << "]= " << _workArrays[p].at(k);
    ZLOG(LogStream::VERBOSE) << line.str() << std::endl;
  }
}

void SatelliteSoundingDecoder::clearProfileSets() {
  for (int p = 0; p < _family.profiles; ++p) _profileSets[p].setLength(0);
}

// The time of each observation, to the nearest minute, from the block of
// values that begins with its year. An observation whose block doesn't
// begin with a year gets no time: the list is then shorter than the list
// of observations.
SeqOf<AbsTime> SatelliteSoundingDecoder::makeTimeList() {
  SeqOf<AbsTime> times;
  for (int k = 0; k < _obStart.length(); ++k) {
    int t = _obStart.at(k) - _family.timeOffset;
    if (t < 0 || _decodedValues.at(t).descriptor() != kYear) continue;
    AbsTime time = observationTime(t) + 30;
    time = AbsTime(time.seconds() - time.seconds() % 60);
    if (_family.futurePutBack && time.seconds() > AbsTime::now().seconds())
      time = time - 86400;
    times.append(time);
    _decodedValues[t].setText("DTG");
  }
  return times;
}

AbsTime SatelliteSoundingDecoder::observationTime(int t) const {
  auto field = [this, t](int offset) {
    return static_cast<int>(_decodedValues.at(t + offset).value());
  };
  if (!_family.dayOfYear) {
    return AbsTime(field(0), field(1), field(2), field(3), field(4),
                   field(5));
  }
  AbsTime start(field(0), 1, 1, field(4), field(5), field(6));
  return start + (field(1) - 1) * 86400L;
}
