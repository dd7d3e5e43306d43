// The high-density winds' part of the wind store: how a value reaches its
// variable. The rest is the store that the wind families share.
#include "HDWBufrDecoder.h"

// A value with a text (a time block's "DTG", a character element) has no
// single value to give.
void HDWBufrDecoder::storeNamedValue(const BufrValues& value,
                                     const TextString& name, int ncid,
                                     long record) {
  if (value.hasText()) return;
  storeSingle(name, ncid, record, value);
}
