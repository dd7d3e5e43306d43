#include "HDWBufrDecoder.h"

const WindFamily kHdwFamily = {"/point/CSW/netcdf", 5001, 6, 4001};

HDWBufrDecoder::HDWBufrDecoder(const ProductTraits& traits)
    : WindBufrDecoder(traits, kHdwFamily) {
  processLeftOverFiles();
}
