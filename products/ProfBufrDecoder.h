#ifndef ZEPH_PRODUCTS_PROFBUFRDECODER_H_
#define ZEPH_PRODUCTS_PROFBUFRDECODER_H_

#include "AbsTime.h"
#include "Dict.h"
#include "ProductDecoder.h"
#include "SeqOf.h"
#include "TextString.h"

class NetcdfPointData;

// Wind profilers of two networks, the NOAA profiler network (NPN) and the
// cooperative agency profilers (CAP): the last digit of a file's
// designator names the network, and each has point files of its own. A
// file holds one subset for each fixed station, known by its WMO block
// and station number; a station is eleven level arrays (heights, winds,
// their quality and spread) beside single values, and becomes one record
// under its minute. Each distinct minute stored is one notification.
// The store lives in StoreProfiler.cpp.
class ProfBufrDecoder : public ProductDecoder {
 public:
  static constexpr int kArrays = 11;

  ProfBufrDecoder();
  ~ProfBufrDecoder() override;

  // Gathers the arrays of the station whose entry is at hand.
  bool preprocessDecodedValues() override;
  int write2NetcdfFile() override;
  bool sendNotification() override;

  // "NPN", "CAP", or "" before the first file that set it.
  TextString source() const { return _source; }
  static const char* arrayName(int array);

  // The values of a subset with one descriptor, counted from the first
  // value of the subset at or behind `start` to the end of the message:
  // getProfileCount counts the u-components, one to a level, and gives a
  // station's count of levels; getArrayCount counts pressures, which a
  // profiler reports at the surface only.
  int getProfileCount(int start, int subset) const;
  int getArrayCount(int start, int subset) const;

 protected:
  // A decoder of the profiler's files under other traits (a test's,
  // without the pause between files).
  explicit ProfBufrDecoder(const ProductTraits& traits);

  bool takeDesignator(const TextString& designator) override;
  TextString sourceWord() const override { return _source; }

 private:
  void setUp();
  bool readArrayTable();
  int countValues(int start, int subset, int descriptor,
                  const char* source) const;
  int arrayIndex(const TextString& name) const;
  void logLevels() const;
  void clearProfileSets();

  // The lists of a file: the stations, their entries and level counts.
  SeqOf<long> makeStationIds(SeqOf<int>& blocks) const;
  bool prepareStations(const SeqOf<int>& blocks);
  int stationEntry(int block) const;
  bool hasTimeBlock(int entry) const;
  SeqOf<AbsTime> makeTimeList();

  // The store.
  int store(const SeqOf<long>& ids, const SeqOf<AbsTime>& times);
  NetcdfPointData* sourceData(Dict<TextString, TextString>& dict) const;
  bool putLevelCount(int ncid, long record);
  bool storeValues(int start, int ncid, long record);
  bool storeValue(int index, int ncid, long record);
  bool storeArray(int ncid, const TextString& name, long record,
                  const SeqOf<float>& profile);
  void notifyTimes(const SeqOf<AbsTime>& times, const SeqOf<bool>& stored);

  Dict<int, TextString> _profDescDict;
  TextString _source;
  TextString _npnDirectory;
  TextString _capDirectory;
  NetcdfPointData* _npnData;
  NetcdfPointData* _capData;
  Dict<TextString, TextString> _npnDict;
  Dict<TextString, TextString> _capDict;
  Dict<TextString, TextString> _currentDict;

  SeqOf<int> _levelCounts;
  SeqOf<int> _obStart;
  int _obIndex;  // the station whose arrays are gathered
  int _numLvls;
  long _stationId;
  int _levelCounters[kArrays];
  SeqOf<float> _workArrays[kArrays];
  SeqOf<SeqOf<float>> _profileSets[kArrays];
  SeqOf<int> _levelIndex;
  Dict<int, int> _seen;  // descriptor to the subset its array was written for
};

#endif  // ZEPH_PRODUCTS_PROFBUFRDECODER_H_
