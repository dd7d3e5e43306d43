#ifndef ZEPH_PRODUCTS_HDWBUFRDECODER_H_
#define ZEPH_PRODUCTS_HDWBUFRDECODER_H_

#include "WindBufrDecoder.h"

// SSEC high-density satellite winds: cloud and water vapour drift vectors,
// an observation a subset, its time block in front of its position. The
// walk of an observation ends at the year of the next one. A value that
// carries a text is not written. The set-up handles what lies in the input
// directory.
class HDWBufrDecoder : public WindBufrDecoder {
 public:
  // `traits` are the product's own but where a test or a benchmark leaves
  // out the pause between files.
  explicit HDWBufrDecoder(const ProductTraits& traits = kHdwTraits);

 protected:
  void storeNamedValue(const BufrValues& value, const TextString& name,
                       int ncid, long record) override;
};

extern const WindFamily kHdwFamily;

#endif  // ZEPH_PRODUCTS_HDWBUFRDECODER_H_
