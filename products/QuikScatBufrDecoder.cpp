#include "QuikScatBufrDecoder.h"

const WindFamily kQuikScatFamily = {"/point/QuikScat/netcdf", 5002, 6, 1007};

QuikScatBufrDecoder::QuikScatBufrDecoder(const ProductTraits& traits)
    : WindBufrDecoder(traits, kQuikScatFamily),
      _satelliteId(0),
      _orbitNumber(0),
      _rainFlagUsable(false),
      _rainFlag(false) {
  processLeftOverFiles();
}

// The rain word is the wind vector cell quality of the SeaWinds products,
// a flag table of 17 bits, flag 1 the most significant bit. Flags 13 and
// 14, reserved in the WMO table, carry the rain flag of the level 2B
// product (its bits 12 and 13): 13 says that the rain flag of the cell is
// not usable, 14 that rain was detected. Both lie in the low eight bits,
// flags 10 to 17, which the flags are derived from as a signed 8-bit
// quantity: it is negative when flag 10 says that no wind was retrieved
// for the cell, and a cell without a wind has no usable rain flag either;
// so has a word that is missing.
void QuikScatBufrDecoder::rainFlags(float word, bool& usable, bool& rain) {
  usable = false;
  rain = false;
  if (word == BufrValues::kMissing || word < 0) return;
  int low = static_cast<int>(word) & 0xFF;
  if (low & 0x80) return;  // the sign of the 8-bit quantity
  usable = (low & 0x10) == 0;
  rain = usable && (low & 0x08) != 0;
}
