#ifndef ZEPH_PRODUCTS_PROFBUFRDECODER_H_
#define ZEPH_PRODUCTS_PROFBUFRDECODER_H_

#include "AbsTime.h"
#include "Dict.h"
#include "LevelArrayDecoder.h"
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
class ProfBufrDecoder : public LevelArrayDecoder {
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
  // The point files and the dictionary of the file's network; none for a
  // file whose name gave no network.
  NetcdfPointData* pointData(
      Dict<TextString, TextString>& dict) const override;
  int profileIndex(const TextString& name) const override;
  const SeqOf<SeqOf<float>>& profileSet(int profile) const override {
    return _profileSets[profile];
  }

 private:
  void setUp();
  bool readArrayTable();
  int countValues(int start, int subset, int descriptor,
                  const char* source) const;
  void logLevels() const;
  void clearProfileSets();

  // The lists of a file: the stations, their entries and level counts.
  SeqOf<long> makeStationIds(SeqOf<int>& blocks) const;
  bool prepareStations(const SeqOf<int>& blocks);
  int stationEntry(int block) const;
  bool hasTimeBlock(int entry) const;
  SeqOf<AbsTime> makeTimeList();


  Dict<int, TextString> _profDescDict;
  TextString _source;
  TextString _npnDirectory;
  TextString _capDirectory;
  NetcdfPointData* _npnData;
  NetcdfPointData* _capData;
  Dict<TextString, TextString> _npnDict;
  Dict<TextString, TextString> _capDict;

  int _obIndex;  // the station whose arrays are gathered
  int _levelCounters[kArrays];
  SeqOf<float> _workArrays[kArrays];
  SeqOf<SeqOf<float>> _profileSets[kArrays];
};

#endif  // ZEPH_PRODUCTS_PROFBUFRDECODER_H_
