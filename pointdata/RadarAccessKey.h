#ifndef ZEPH_POINTDATA_RADARACCESSKEY_H_
#define ZEPH_POINTDATA_RADARACCESSKEY_H_

#include "TextString.h"

// A radar data access key is an unsigned 32-bit value: bit 30 set in
// every one, the radar's id in bits 16 to 29, the product and its
// parameters in bits 0 to 15. The keys of one radar stand together in the
// data access table; the keys of every other radar follow the pattern of
// those of the site's own radars.
const unsigned long kRadarKeyBit = 0x40000000UL;
const unsigned long kRadarKeyProductMask = 0x4000FFFFUL;

inline int radarOfKey(unsigned long key) {
  return static_cast<int>((key >> 16) & 0x3FFF);
}

// What a radar key is looked up by: the product code enumeration, the
// tilt, a third and a fourth value, and the radar (0 for any but the
// national one). Equal only in all five.
struct RadarAccessKey {
  int productCode;
  float tilt;
  long third;
  float fourth;
  int radar;
  bool operator==(const RadarAccessKey& o) const {
    return productCode == o.productCode && tilt == o.tilt &&
           third == o.third && fourth == o.fourth && radar == o.radar;
  }
};
unsigned long hashKey(const RadarAccessKey& key);

// The data access key of a product at a radar, 0 if there is none or it
// isn't in the data access table. `productName` has no effect. The first
// call learns the keys from the data access table, by the radars in use
// ("radarsInUse.txt") and the national key set of radar "knat".
unsigned long DM_GetRadarAccessKeyHashKey(const TextString& productName,
                                          int messageCode, float tilt,
                                          int third, float fourth,
                                          const TextString& radarName);

// A tilt from -0.9 to 90 degrees as its group of "tiltAngleGroups.txt";
// any tilt as it is where that file has 10 lines or fewer.
float groupedTilt(float tilt);

// Forgets the keys and the tilt groups learnt. For tests only.
void resetRadarKeysForTests();

#endif  // ZEPH_POINTDATA_RADARACCESSKEY_H_
