#ifndef ZEPH_PRODUCTS_POESBUFRDECODER_H_
#define ZEPH_PRODUCTS_POESBUFRDECODER_H_

#include "SatelliteSoundingDecoder.h"

// Polar orbiting (POES) soundings: NESDIS retrievals on pressure levels, sorted
// here by pressure, highest first.
// The set-up handles what lies in the input directory.
class POESBufrDecoder : public SatelliteSoundingDecoder {
 public:
  POESBufrDecoder();
};

#endif  // ZEPH_PRODUCTS_POESBUFRDECODER_H_
