#include "POESBufrDecoder.h"

POESBufrDecoder::POESBufrDecoder()
    : SatelliteSoundingDecoder(kPoesTraits, kPoesFamily) {}
