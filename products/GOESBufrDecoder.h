#ifndef ZEPH_PRODUCTS_GOESBUFRDECODER_H_
#define ZEPH_PRODUCTS_GOESBUFRDECODER_H_

#include "SatelliteSoundingDecoder.h"

// Geostationary (GOES) soundings: NESDIS retrievals whose time is a day of
// the year; one ahead of the clock is taken to be yesterday's.
// The set-up handles what lies in the input directory.
class GOESBufrDecoder : public SatelliteSoundingDecoder {
 public:
  GOESBufrDecoder();
};

#endif  // ZEPH_PRODUCTS_GOESBUFRDECODER_H_
