#ifndef ZEPH_PRODUCTS_SATELLITESOUNDINGDECODER_H_
#define ZEPH_PRODUCTS_SATELLITESOUNDINGDECODER_H_

#include "AbsTime.h"
#include "Dict.h"
#include "LevelArrayDecoder.h"
#include "SeqOf.h"
#include "SoundingFamily.h"
#include "TextString.h"

class NetcdfPointData;
class SiteTable;

// Satellite soundings (POES and GOES): an observation has no station id,
// only a position, and belongs to this localization when it lies within
// half a grid cell of a site of the site table; it is stored under that
// site's id. A file holds many observations, a subset each; each becomes
// one record, and each distinct minute of the file one notification.
// POESBufrDecoder and GOESBufrDecoder are this class with their family's
// row.
class SatelliteSoundingDecoder : public LevelArrayDecoder {
 public:
  ~SatelliteSoundingDecoder() override;

  // The frame's product never asks for this step: the store gathers the
  // profiles of each observation itself.
  bool preprocessDecodedValues() override { return false; }
  int write2NetcdfFile() override;

  // Site tables of a process are read once; what set-up read.
  const SiteTable* siteTable() const { return _siteTable; }
  float gridResolution() const { return _gridResolution; }
  // The id of the site of a position, as the store would take it; empty
  // when the position is missing or not in this localization.
  TextString matchSite(float lat, float lon) const;

 protected:
  SatelliteSoundingDecoder(const ProductTraits& traits,
                           const SoundingFamily& family);

  NetcdfPointData* pointData(
      Dict<TextString, TextString>& dict) const override;
  int profileIndex(const TextString& name) const override;
  const SeqOf<SeqOf<float>>& profileSet(int profile) const override {
    return _profileSets[profile];
  }

 private:
  bool readGridResolution();
  bool readProfileTable();

  // Finding the observations of a file.
  void findObservations();
  int getProfileCount(int start, int subset) const;
  bool gatherProfile(int index);
  bool dropsLevel(int index) const;
  void sortByPressure();
  void logLevels() const;
  void logPosition(int category, const SoundingFamily::PositionLine& line,
                   float lat, float lon) const;
  SeqOf<AbsTime> makeTimeList();
  AbsTime observationTime(int t) const;

  void clearProfileSets();

  const SoundingFamily& _family;
  const SiteTable* _siteTable;
  float _gridResolution;
  Dict<int, TextString> _profDescDict;
  NetcdfPointData* _pointData;

  SeqOf<TextString> _siteIds;
  int _obIndex;
  int _levelCounters[SoundingFamily::kMaxProfiles];
  SeqOf<float> _workArrays[SoundingFamily::kMaxProfiles];
  SeqOf<SeqOf<float>> _profileSets[SoundingFamily::kMaxProfiles];
};

#endif  // ZEPH_PRODUCTS_SATELLITESOUNDINGDECODER_H_
