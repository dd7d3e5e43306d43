#ifndef ZEPH_IPC_DATATIMEWIRE_H_
#define ZEPH_IPC_DATATIMEWIRE_H_

#include "DataTime.h"

// A DataTime on the wire: the flag word and the reference time; for a
// flag word of 1024 or more, behind them the forecast (0x400), the valid
// period (0x800), the alternate reference (0x2000) and the key (0x1000),
// each only if its flag is set. 8 bytes for a plain time.
char* serialize(const DataTime& time, char* pos);
unsigned long length(const DataTime& time);
char* quantize(DataTime& time, char* pos, const char* end);

#endif  // ZEPH_IPC_DATATIMEWIRE_H_
