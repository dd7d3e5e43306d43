// Feeds arbitrary bytes to decodeMessage against the sample site's tables.
// Whatever the bytes, the engine must answer without reading outside its
// buffers and without running away with memory or time.
#include <stdlib.h>

#include <cstddef>
#include <cstdint>
#include <vector>

#include "BufrDecoder.h"
#include "BufrEngineState.h"
#include "LogStream.h"
#include "PlainBufrDecoder.h"

namespace {

// The one Table D miss that ends a decoder process would end the fuzzer
// too; here it counts as any other miss.
void keepGoing(int) {}

PlainBufrDecoder& decoder() {
  static PlainBufrDecoder* d = [] {
    setenv("ZEPH_HOME", ZEPH_SOURCE_DIR "/site", 0);
    LogStream& log = LogStream::instance();
    for (int sink = 0; sink < LogStream::NUM_SINKS; ++sink)
      log.setFilter(nullptr, nullptr, LogStream::Sink(sink), 0xFFFFFFFF,
                    false);
    BufrEngineState::get().fatalTableMiss = keepGoing;
    return new PlainBufrDecoder;
  }();
  return *d;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::vector<unsigned char> buffer(data, data + size);
  buffer.push_back(0);
  decoder().decodeMessage(buffer.data(), buffer.size());
  return 0;
}
