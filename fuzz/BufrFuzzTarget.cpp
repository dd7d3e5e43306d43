// Feeds arbitrary bytes to decodeMessage against the sample site's tables,
// as a decoder process does: several messages in a row through one
// decoder, so that whatever one message leaves behind is fuzzed in the
// next. An input is cut into messages at each "BUFR" after its first
// octet. Whatever the bytes, the engine must answer without reading outside
// its buffers and without running away with memory or time.
#include <stdlib.h>
#include <string.h>

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

void setUpOnce() {
  static bool done = [] {
    setenv("ZEPH_HOME", ZEPH_SOURCE_DIR "/site", 0);
    LogStream& log = LogStream::instance();
    for (int sink = 0; sink < LogStream::NUM_SINKS; ++sink)
      log.setFilter(nullptr, nullptr, LogStream::Sink(sink), 0xFFFFFFFF,
                    false);
    BufrEngineState::get().fatalTableMiss = keepGoing;
    return true;
  }();
  (void)done;
}

void decodeOne(BufrDecoder& decoder, const uint8_t* data, size_t size) {
  // As a product reads a file: a zero octet behind it.
  std::vector<unsigned char> buffer(data, data + size);
  buffer.push_back(0);
  decoder.decodeMessage(buffer.data(), buffer.size());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  // Each input starts as a fresh process would; what its messages leave
  // behind reaches only its own later messages, so a finding replays alone.
  setUpOnce();
  BufrEngineState::get().width = 0;
  PlainBufrDecoder decoder;
  size_t start = 0;
  while (start < size) {
    const void* next =
        size - start > 1 ? memmem(data + start + 1, size - start - 1, "BUFR", 4)
                         : nullptr;
    size_t end = next ? static_cast<const uint8_t*>(next) - data : size;
    decodeOne(decoder, data + start, end - start);
    start = end;
  }
  if (size == 0) decodeOne(decoder, data, 0);
  return 0;
}
