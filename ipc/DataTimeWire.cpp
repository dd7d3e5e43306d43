#include "DataTimeWire.h"

#include "Marshalling.h"

// DataTimeParts says, from the flag word alone, which parts travel; both
// directions follow it.

char* serialize(const DataTime& time, char* pos) {
  DataTimeParts p = time.parts();
  pos = serialize(p.flags, pos);
  pos = serialize(p.refTime, pos);
  if (p.hasForecast) pos = serialize(p.forecast, pos);
  if (p.hasValid) pos = serialize(p.valid, pos);
  if (p.hasAlternateRef) pos = serialize(p.alternateRef, pos);
  if (p.hasKey) pos = serialize(p.key, pos);
  return pos;
}

unsigned long length(const DataTime& time) {
  DataTimeParts p = time.parts();
  return 8 + (p.hasForecast ? 4 : 0) + (p.hasValid ? 12 : 0) +
         (p.hasAlternateRef ? 4 : 0) + (p.hasKey ? 4 : 0);
}

char* quantize(DataTime& time, char* pos, const char* end) {
  unsigned flags = DataTime::kPlainFlags;
  pos = quantize(flags, pos, end);
  DataTimeParts p(flags);
  pos = quantize(p.refTime, pos, end);
  if (p.hasForecast) pos = quantize(p.forecast, pos, end);
  if (p.hasValid) pos = quantize(p.valid, pos, end);
  if (p.hasAlternateRef) pos = quantize(p.alternateRef, pos, end);
  if (p.hasKey) pos = quantize(p.key, pos, end);
  time = DataTime::fromParts(p);
  return pos;
}
