#ifndef ZEPH_PRODUCTS_QUIKSCATBUFRDECODER_H_
#define ZEPH_PRODUCTS_QUIKSCATBUFRDECODER_H_

#include "WindBufrDecoder.h"

// QuikScat (SeaWinds) scatterometer winds: an observation a wind vector
// cell, a subset each, whose satellite, orbit and time stand in front of
// its position. The walk of a cell ends at the satellite of the next one.
// A value with a text is written as a single value; the cell's quality
// word (0 21 109) gives its rain flag. The set-up handles what lies in the
// input directory.
class QuikScatBufrDecoder : public WindBufrDecoder {
 public:
  // The point variable of the rain flag, and its values.
  static constexpr const char* kRainVariable = "rainIndex";
  static constexpr int kNoRain = 0;
  static constexpr int kRain = 1;
  static constexpr int kRainFlagNotUsable = -1;

  // `traits` are the product's own but where a test or a benchmark leaves
  // out the pause between files.
  explicit QuikScatBufrDecoder(const ProductTraits& traits = kQuikScatTraits);

  // The two flags of a wind vector cell quality word, as decoded.
  static void rainFlags(float word, bool& usable, bool& rain);

 protected:
  void storeObservationHeader(int latitudeIndex, int ncid,
                              long record) override;
  void storeNamedValue(const BufrValues& value, const TextString& name,
                       int ncid, long record) override;

 private:
  void storeIdentity(const char* label, int descriptor, int value, int ncid,
                     long record);
  void storeRainWord(const BufrValues& value, int ncid, long record);

  // The observation at hand.
  int _satelliteId;
  int _orbitNumber;
  bool _rainFlagUsable;
  bool _rainFlag;
};

extern const WindFamily kQuikScatFamily;

#endif  // ZEPH_PRODUCTS_QUIKSCATBUFRDECODER_H_
