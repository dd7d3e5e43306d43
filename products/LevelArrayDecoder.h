#ifndef ZEPH_PRODUCTS_LEVELARRAYDECODER_H_
#define ZEPH_PRODUCTS_LEVELARRAYDECODER_H_

#include "AbsTime.h"
#include "Dict.h"
#include "ProductDecoder.h"
#include "SeqOf.h"
#include "TextString.h"

class NetcdfPointData;

// The store of the products whose records hold arrays of levels beside
// single values: the satellite soundings and the wind profilers. Each
// observation of a file becomes one record, with its count of levels in
// "numLevels", each array written whole at its first level and each single
// value at the start of the record; each distinct minute stored is one
// notification. A product finds its observations and gathers their arrays
// by subset; it answers here where the arrays and the point files are.
class LevelArrayDecoder : public ProductDecoder {
 protected:
  explicit LevelArrayDecoder(const ProductTraits& traits);

  // Stores the observation that begins at each entry of _obStart, with the
  // level count of _levelCounts, under the id and time of the same place.
  // `storing` begins the log line of each, `skipping` ends the line of one
  // without a handle. 1, or -1 if one had no handle: the others are stored
  // all the same.
  int storeObservations(const SeqOf<TextString>& ids,
                        const SeqOf<AbsTime>& times, const char* storing,
                        const char* skipping);

  // The point files of the file in work and the dictionary of their
  // variables; null where there are none.
  virtual NetcdfPointData* pointData(
      Dict<TextString, TextString>& dict) const = 0;
  // The array of a name, or -1; the arrays gathered of each subset.
  virtual int profileIndex(const TextString& name) const = 0;
  virtual const SeqOf<SeqOf<float>>& profileSet(int profile) const = 0;

  SeqOf<int> _levelCounts;
  SeqOf<int> _obStart;
  // For each decoded value, its level within its array (0 for the first).
  SeqOf<int> _levelIndex;
  int _numLvls;

 private:
  bool putLevelCount(int ncid, long record);
  bool storeValues(int start, int ncid, long record);
  bool storeValue(int index, int ncid, long record);
  static bool storeArray(int ncid, const TextString& name, long record,
                         const SeqOf<float>& profile);

  Dict<TextString, TextString> _currentDict;
  TextString _storeId;
  Dict<int, int> _seen;  // descriptor to the subset its array was written for
};

#endif  // ZEPH_PRODUCTS_LEVELARRAYDECODER_H_
