// Feeds arbitrary bytes to the log preference reader as a preference
// file. Whatever the bytes, the reading ends without reading past them,
// and the log stream keeps its rules: FATAL stays in the abort set, and no
// sink shows a line number without its file name.
#include <stdlib.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "LogPreferences.h"
#include "LogStream.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static bool quiet = [] {
    // The reader's complaints go to the log's files too: to nowhere here.
    setenv("LOG_FILE", "/dev/null", 1);
    setenv("COLLECTIVE_FILE", "/dev/null", 1);
    return true;
  }();
  (void)quiet;
  LogStream& log = LogStream::instance();
  log.resetToDefaults();
  // A copy of exactly the input's size: reading past it is seen by the
  // sanitizer.
  std::vector<char> bytes(data, data + size);
  std::FILE* file = fmemopen(size > 0 ? bytes.data() : nullptr, size, "r");
  if (file == nullptr) return 0;
  readLogPreferences(file);
  std::fclose(file);
  if (!(log.abortSet() & LogStream::FATAL)) std::abort();
  for (int sink = 0; sink < LogStream::NUM_SINKS; ++sink) {
    unsigned word = log.prefixWord(static_cast<LogStream::Sink>(sink));
    if ((word & LogStream::LINENO) && !(word & LogStream::FILENAME))
      std::abort();
  }
  log.resetToDefaults();
  return 0;
}
