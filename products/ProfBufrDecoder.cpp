#include "ProfBufrDecoder.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <sstream>

#include "BarTable.h"
#include "LogStream.h"
#include "NetcdfPointData.h"
#include "dmNotify.h"

namespace {

const char* const kArrayNames[ProfBufrDecoder::kArrays] = {
    "HEIGHTS",      "LEVELMODE",     "UCOMP",         "VCOMP",
    "WCOMP",        "PEAKPOWER",     "QCCODE",        "UVCONSENSUSNO",
    "WCONSENSUSNO", "HORIWINDSPDSTD", "VERTWINDSPDSTD"};
// The pieces of the levels' log line, in the order of the arrays.
const char* const kLogNames[ProfBufrDecoder::kArrays] = {
    "           _hgts[", "        _lvlmode[", "              _u[",
    "              _v[", "              _w[", "        _pkPower[",
    "           _uvQC[", "  _uvConsensusNo[", "   _wConsensusNo[",
    "      _horiWSdev[", "      _vertWSdev["};

const int kTableLine = 100;
const int kYear = 4001;
const int kBlock = 1001;
const int kUComponent = 11003;
const int kPressure = 10004;
const unsigned long kNpnKey = 10001;
const unsigned long kCapKey = 10002;

TextString environment(const char* name) {
  const char* value = std::getenv(name);
  return TextString(value ? value : "");
}

// A decoded number as a whole one, toward zero; what no int can hold (a
// message whose operators widened a field) is held at the int's bounds.
long truncated(float value) {
  if (value > 2e9f) return 2000000000L;
  if (value < -2e9f) return -2000000000L;
  return static_cast<long>(value);
}

}  // namespace

ProfBufrDecoder::ProfBufrDecoder() : ProfBufrDecoder(kProfilerTraits) {}

ProfBufrDecoder::ProfBufrDecoder(const ProductTraits& traits)
    : LevelArrayDecoder(traits),
      _npnData(nullptr),
      _capData(nullptr),
      _obIndex(0) {
  for (int a = 0; a < kArrays; ++a) _levelCounters[a] = 0;
  setUp();
}

ProfBufrDecoder::~ProfBufrDecoder() {}

void ProfBufrDecoder::setUp() {
  completeSetUp();
  if (!readArrayTable()) {
    ZLOG(LogStream::PROBLEM)
        << "Unable to create descriptor dictionary for profilers."
        << std::endl;
    return;
  }
  TextString point = environment("ZEPH_DATA") + "/point";
  _npnDirectory = point + "/prof/netcdf";
  _capDirectory = point + "/CAP/netcdf";
  _npnData = NetcdfPointData::getNetcdfPointData(_npnDirectory, true, false);
  _capData = NetcdfPointData::getNetcdfPointData(_capDirectory, true, false);
  _npnDict = readTemplateDict(_npnDirectory + "/template", "tblBname");
  _capDict = readTemplateDict(_capDirectory + "/template", "tblBname");
  processLeftOverFiles();
}

bool ProfBufrDecoder::readArrayTable() {
  TextString path = environment("ZEPH_HOME") + "/data/profArrayDescTable.txt";
  FILE* file = std::fopen(path.chars(), "r");
  if (file == nullptr) {
    ZLOG(LogStream::PROBLEM)
        << "Unable to get profiler descriptor variable list from " << path
        << std::endl;
    return false;
  }
  BarTable::readProfileNames(file, path, kTableLine, _profDescDict, true);
  std::fclose(file);
  return true;
}

const char* ProfBufrDecoder::arrayName(int array) {
  return array >= 0 && array < kArrays ? kArrayNames[array] : "";
}

int ProfBufrDecoder::profileIndex(const TextString& name) const {
  for (int a = 0; a < kArrays; ++a)
    if (name == kArrayNames[a]) return a;
  return -1;
}

// The last character of the designator names the network. What isn't a
// digit reads as 0, which is CAP's.
bool ProfBufrDecoder::takeDesignator(const TextString& designator) {
  int number = 0;
  if (designator.length() > 0) {
    number = designator.chars()[designator.length() - 1] - '0';
    if (number < 0 || number > 9) number = 0;
  }
  switch (number) {
    case 3: _source = "NPN"; return true;
    case 0:
    case 6: _source = "CAP"; return true;
    default:
      ZLOG(LogStream::PROBLEM) << "Unknown profiler designator: " << number
                               << std::endl;
      return false;
  }
}

int ProfBufrDecoder::getProfileCount(int start, int subset) const {
  return countValues(start, subset, kUComponent, "getProfileCount");
}

int ProfBufrDecoder::getArrayCount(int start, int subset) const {
  return countValues(start, subset, kPressure, "getArrayCount");
}

int ProfBufrDecoder::countValues(int start, int subset, int descriptor,
                                 const char* source) const {
  int count = _decodedValues.length();
  int first = start < 0 ? 0 : start;
  while (first < count && _decodedValues.at(first).subset() != subset) ++first;
  int levels = 0;
  for (int j = first; j < count; ++j) {
    const BufrValues& value = _decodedValues.at(j);
    if (value.descriptor() != descriptor || value.subset() != subset) continue;
    ZLOG(LogStream::DEBUG) << "PBD::" << source << "(): _dV[" << j << "]"
                           << ", subset: " << subset
                           << ", descriptor: " << value.descriptor()
                           << ", value= " << value.value() << std::endl;
    ++levels;
  }
  ZLOG(LogStream::VERBOSE) << source << "(): numLvls = " << levels
                           << std::endl;
  return levels;
}

// The values of one station's subset, from its entry on. A counter that
// reaches the station's count of levels stops the walk: the arrays hold
// exactly that many levels. The failure counts only where nothing was
// gathered at all.
bool ProfBufrDecoder::preprocessDecodedValues() {
  for (int a = 0; a < kArrays; ++a) {
    _workArrays[a].setLength(_numLvls);
    _levelCounters[a] = 0;
  }
  int start = _obStart.at(_obIndex);
  int subset = _decodedValues.at(start).subset();
  bool failed = false;
  for (int i = start; i < _decodedValues.length(); ++i) {
    const BufrValues& value = _decodedValues.at(i);
    if (value.subset() != subset) break;
    TextString name;
    if (!_profDescDict.lookup(value.descriptor(), &name)) continue;
    _decodedValues[i].setText(name);
    int a = profileIndex(name);
    if (a < 0) continue;
    if (_levelCounters[a] >= _numLvls) {
      failed = true;
      break;
    }
    _workArrays[a][_levelCounters[a]] = value.value();
    _levelIndex[i] = _levelCounters[a]++;
  }
  for (int a = 0; a < kArrays; ++a) {
    if (_profileSets[a].length() <= subset)
      _profileSets[a].setLength(subset + 1);
    _profileSets[a][subset] = _workArrays[a];
  }
  logLevels();
  return !failed || _workArrays[0].length() > 0;
}

void ProfBufrDecoder::logLevels() const {
  for (int k = 0; k < _numLvls; ++k) {
    std::ostringstream line;
    for (int a = 0; a < kArrays; ++a)
      line << kLogNames[a] << k << "]= " << _workArrays[a].at(k);
    ZLOG(LogStream::VERBOSE) << line.str() << std::endl;
  }
}

void ProfBufrDecoder::clearProfileSets() {
  for (int a = 0; a < kArrays; ++a) _profileSets[a].setLength(0);
}

int ProfBufrDecoder::write2NetcdfFile() {
  if (_decodedValues.length() == 0) return 0;
  _levelCounts.setLength(0);
  _obStart.setLength(0);
  SeqOf<int> blocks;
  SeqOf<long> ids = makeStationIds(blocks);
  if (ids.length() == 0) {
    ZLOG(LogStream::PROBLEM) << "No station ids available for this data file."
                             << "  Not stored, skipping to next file."
                             << std::endl;
    return -1;
  }
  if (!prepareStations(blocks)) {
    ZLOG(LogStream::PROBLEM)
        << "Unable to pre-process profiler data sets for " << ids.at(0)
        << ".  Not stored, skipping to next file." << std::endl;
    clearProfileSets();
    return -1;
  }
  SeqOf<AbsTime> times = makeTimeList();
  ZLOG(LogStream::EVENT) << "Storing data for station " << ids.at(0) << "  "
                         << times.at(0).format("%h %d %y %T GMT")
                         << " ......" << std::endl;
  SeqOf<TextString> texts;
  for (int k = 0; k < ids.length(); ++k) {
    char text[24];
    std::snprintf(text, sizeof text, "%ld", ids.at(k));
    texts.append(TextString(text));
  }
  int result =
      storeObservations(texts, times, "NCF_STORE site ", "; skipping.");
  clearProfileSets();
  return result;
}

NetcdfPointData* ProfBufrDecoder::pointData(
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

// A WMO block number and the station number behind it make one id: the
// block times 1000 plus the station. `blocks` gets the index of each
// block number.
SeqOf<long> ProfBufrDecoder::makeStationIds(SeqOf<int>& blocks) const {
  SeqOf<long> ids;
  for (int i = 0; i + 1 < _decodedValues.length(); ++i) {
    if (_decodedValues.at(i).descriptor() != kBlock) continue;
    ids.append(truncated(_decodedValues.at(i).value()) * 1000 +
               truncated(_decodedValues.at(i + 1).value()));
    blocks.append(i);
  }
  return ids;
}

// Each station gets its entry, its count of levels, and its arrays
// gathered from the entry on, in the order of the ids.
bool ProfBufrDecoder::prepareStations(const SeqOf<int>& blocks) {
  int count = _decodedValues.length();
  _levelIndex = SeqOf<int>();
  _levelIndex.setLength(count);
  for (int i = 0; i < count; ++i) _levelIndex[i] = 0;
  for (int k = 0; k < blocks.length(); ++k) {
    int entry = stationEntry(blocks.at(k));
    int levels = getProfileCount(entry, _decodedValues.at(entry).subset());
    _obStart.append(entry);
    _levelCounts.append(levels);
    _numLvls = levels;
    _obIndex = k;
    if (!preprocessDecodedValues()) return false;
  }
  return true;
}

// The entry of a station is where the store's walk over it begins: the
// day of the time block at the head of its subset, two values behind the
// year. A subset without a year has its first value as entry, and no time.
int ProfBufrDecoder::stationEntry(int block) const {
  int subset = _decodedValues.at(block).subset();
  int first = block;
  while (first > 0 && _decodedValues.at(first - 1).subset() == subset) --first;
  for (int i = first; i < _decodedValues.length(); ++i) {
    if (_decodedValues.at(i).subset() != subset) break;
    if (_decodedValues.at(i).descriptor() == kYear && hasTimeBlock(i + 2))
      return i + 2;
  }
  return first;
}

// Year, month, day, hour and minute from two values before the entry on,
// all of the entry's subset.
bool ProfBufrDecoder::hasTimeBlock(int entry) const {
  int t = entry - 2;
  if (t < 0 || entry + 2 >= _decodedValues.length()) return false;
  int subset = _decodedValues.at(entry).subset();
  return _decodedValues.at(t).descriptor() == kYear &&
         _decodedValues.at(t).subset() == subset &&
         _decodedValues.at(entry + 2).subset() == subset;
}

// One time for each station, to the minute: the seconds of the file
// aren't looked at. A station without a time block gets the invalid time,
// for which the store has no file.
SeqOf<AbsTime> ProfBufrDecoder::makeTimeList() {
  SeqOf<AbsTime> times;
  for (int k = 0; k < _obStart.length(); ++k) {
    int entry = _obStart.at(k);
    if (!hasTimeBlock(entry)) {
      times.append(AbsTime());
      continue;
    }
    int t = entry - 2;
    auto field = [this, t](int offset) {
      return static_cast<int>(truncated(_decodedValues.at(t + offset).value()));
    };
    times.append(AbsTime(field(0), field(1), field(2), field(3), field(4), 0));
    _decodedValues[t].setText("DTG");
  }
  return times;
}

bool ProfBufrDecoder::sendNotification() {
  unsigned long key = _source == "NPN" ? kNpnKey
                      : _source == "CAP" ? kCapKey
                                         : 0;
  if (dmNotify(key, _dataTime)) {
    ZLOG(LogStream::VERBOSE) << "Sent notification for key " << key
                             << std::endl;
    return true;
  }
  ZLOG(LogStream::PROBLEM) << "dmNotify FAILED for key = " << key << std::endl;
  return false;
}
