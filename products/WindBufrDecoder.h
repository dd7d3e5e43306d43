#ifndef ZEPH_PRODUCTS_WINDBUFRDECODER_H_
#define ZEPH_PRODUCTS_WINDBUFRDECODER_H_

#include "AbsTime.h"
#include "Dict.h"
#include "LatLonCoord.h"
#include "ProductDecoder.h"
#include "SeqOf.h"
#include "TextString.h"

class NetcdfPointData;

// What sets one wind family apart in the layout of its messages.
struct WindFamily {
  const char* pointDirectory;  // below $ZEPH_DATA
  int latitudeDescriptor;      // the longitude is the value behind it
  int timeOffset;  // values from the year (0 04 001) to the latitude
  int stopDescriptor;  // the walk of an observation ends before it
};

// Satellite winds (HDW and QuikScat): a file holds many observations, a
// subset each, with a position, a time and single values, and no station.
// Every observation with a position is stored, in point files whose
// records are known by their position: the store makes a record's id from
// its latitude and longitude. Each distinct minute of a file is notified
// once. The families differ in their layout (WindFamily) and in how a
// value finds its way into the record (storeNamedValue); the store that
// they share lives in StoreWinds.cpp, each family's part of it in
// StoreHighDensityWinds.cpp and StoreQuikScatWinds.cpp.
class WindBufrDecoder : public ProductDecoder {
 public:
  ~WindBufrDecoder() override;

  // The frame never asks for this step: the store walks the values itself.
  bool preprocessDecodedValues() override { return false; }
  int write2NetcdfFile() override;

 protected:
  WindBufrDecoder(const ProductTraits& traits, const WindFamily& family);

  // Writes what the walk of the observation whose latitude is the value
  // at `latitudeIndex` doesn't reach.
  virtual void storeObservationHeader(int /*latitudeIndex*/, int /*ncid*/,
                                      long /*record*/) {}
  // Writes a value that has its variable `name`, by the family's rule.
  virtual void storeNamedValue(const BufrValues& value, const TextString& name,
                               int ncid, long record) = 0;

  // The copy of the template's dictionary that the store now works with.
  Dict<TextString, TextString> _currentDict;

 private:
  void findObservations();
  SeqOf<AbsTime> makeTimeList();
  AbsTime observationTime(int latitudeIndex);

  // The store.
  int store(const SeqOf<AbsTime>& times);
  bool storeValues(int start, int ncid, long record,
                   const LatLonCoord& position);
  bool storeValue(int index, int ncid, long record);

  const WindFamily& _family;
  NetcdfPointData* _pointData;
  SeqOf<int> _obStart;  // for each observation, the index of its latitude
  SeqOf<LatLonCoord> _positions;
};

#endif  // ZEPH_PRODUCTS_WINDBUFRDECODER_H_
