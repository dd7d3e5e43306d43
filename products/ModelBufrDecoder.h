#ifndef ZEPH_PRODUCTS_MODELBUFRDECODER_H_
#define ZEPH_PRODUCTS_MODELBUFRDECODER_H_

#include "AbsTime.h"
#include "Dict.h"
#include "ProductDecoder.h"
#include "SeqOf.h"
#include "Set.h"
#include "TextString.h"

class NetcdfPointData;

// Model soundings of four numerical models (ETA, RUC, AVN, NGM): a file
// holds one forecast time of many stations, a subset each, and the
// designator of its WMO heading names the model. A sounding is fourteen
// profiles on the model's levels and two on its soil levels, beside single
// values; each station becomes one record of the point files of its model.
class ModelBufrDecoder : public ProductDecoder {
 public:
  static constexpr int kProfiles = 16;
  ModelBufrDecoder();
  ~ModelBufrDecoder() override;

  bool preprocessDecodedValues() override;
  int write2NetcdfFile() override;
  bool sendNotification() override;

  // Where the station table put this station: in this localization.
  bool isLocalStation(const TextString& id) const {
    return _stationList.lookup(id);
  }
  TextString source() const { return _source; }
  // The profile of the decoded value at `index`, as the store writes it.
  SeqOf<float> profileOf(int index) const;
  static const char* profileName(int profile);

 protected:
  bool takeDesignator(const TextString& designator) override;
  TextString sourceWord() const override { return _source; }

 private:
  bool readStationTable();
  bool readProfileTable();
  int profileIndex(const TextString& name) const;
  int profileBound(int profile) const;
  void appendWorkArrays();
  void clearProfileSets();

  // The store.
  int storeSoundings();
  bool makeTimeLists(const TextString& firstId, SeqOf<AbsTime>& times,
                     SeqOf<double>& offsets);
  int* stationHandle(const TextString& id, const AbsTime& time, long& record);
  bool writeValue(int index, int ncid, long record);
  void notifyStations(const SeqOf<bool>& stored, const SeqOf<double>& offsets);

  int _numProfLvls;
  int _numSoilLvls;
  TextString _stationId;
  TextString _etaDirectory;
  TextString _rucDirectory;
  TextString _avnDirectory;
  TextString _ngmDirectory;
  Set<TextString> _stationList;
  Dict<int, TextString> _profDescDict;
  Dict<TextString, TextString> _etaDict;
  Dict<TextString, TextString> _rucDict;
  Dict<TextString, TextString> _avnDict;
  Dict<TextString, TextString> _ngmDict;
  NetcdfPointData* _etaData;
  NetcdfPointData* _rucData;
  NetcdfPointData* _avnData;
  NetcdfPointData* _ngmData;
  NetcdfPointData* _currentData;
  int _levelCounters[kProfiles];
  SeqOf<float> _workArrays[kProfiles];
  SeqOf<SeqOf<float>> _profileSets[kProfiles];
  SeqOf<int> _levelIndex;
  TextString _source;
};

#endif  // ZEPH_PRODUCTS_MODELBUFRDECODER_H_
