#include "GOESBufrDecoder.h"

GOESBufrDecoder::GOESBufrDecoder()
    : SatelliteSoundingDecoder(kGoesTraits, kGoesFamily) {}
