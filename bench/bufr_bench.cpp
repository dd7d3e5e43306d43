// Decodes a corpus of BUFR messages many times and prints messages/s and
// values/s; built with ecCodes at hand, it decodes the same corpus with it
// in the same run and prints the ratio.
//
//   bufr_bench [ROUNDS] FILE...
#include <stdlib.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "BufrDecoder.h"
#include "LogStream.h"
#include "PlainBufrDecoder.h"

#ifdef ZEPH_HAVE_ECCODES
#include <eccodes.h>
#endif

namespace {

using Clock = std::chrono::steady_clock;

double since(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

#ifdef ZEPH_HAVE_ECCODES
// ecCodes wants the message from "BUFR" on.
double decodeWithEcCodes(const std::vector<std::vector<unsigned char>>& corpus,
                         int rounds, long& values) {
  values = 0;
  Clock::time_point start = Clock::now();
  for (int r = 0; r < rounds; ++r) {
    for (const auto& file : corpus) {
      const unsigned char* p = static_cast<const unsigned char*>(
          memmem(file.data(), file.size(), "BUFR", 4));
      if (p == nullptr) continue;
      size_t length = file.size() - (p - file.data());
      codes_handle* h = codes_handle_new_from_message(nullptr, p, length);
      if (h == nullptr) continue;
      codes_set_long(h, "unpack", 1);
      size_t n = 0;
      if (codes_get_size(h, "numericValues", &n) == 0) values += n;
      codes_handle_delete(h);
    }
  }
  return since(start);
}
#endif

}  // namespace

int main(int argc, char** argv) {
  int first = 1;
  int rounds = 2000;
  if (argc > 1 && std::strspn(argv[1], "0123456789") == std::strlen(argv[1])) {
    rounds = std::atoi(argv[1]);
    first = 2;
  }
  std::vector<std::vector<unsigned char>> corpus;
  for (int i = first; i < argc; ++i) {
    std::ifstream in(argv[i], std::ios::binary);
    corpus.emplace_back((std::istreambuf_iterator<char>(in)),
                        std::istreambuf_iterator<char>());
    corpus.back().push_back(0);
  }
  if (corpus.empty()) {
    std::fprintf(stderr, "usage: bufr_bench [ROUNDS] FILE...\n");
    return 2;
  }
  setenv("ZEPH_HOME", ZEPH_SOURCE_DIR "/site", 0);
  LogStream& log = LogStream::instance();
  for (int sink = 0; sink < LogStream::NUM_SINKS; ++sink)
    log.setFilter(nullptr, nullptr, LogStream::Sink(sink), 0xFFFFFFFF, false);

  PlainBufrDecoder decoder;
  long messages = 0, values = 0, failed = 0;
  Clock::time_point start = Clock::now();
  for (int r = 0; r < rounds; ++r) {
    for (auto& file : corpus) {
      if (!decoder.decodeMessage(file.data(), file.size())) ++failed;
      values += decoder.decodedValues().length();
      ++messages;
    }
  }
  double ours = since(start);
  std::printf("engine:  %ld messages (%ld failed), %ld values in %.3f s: "
              "%.0f messages/s, %.0f values/s\n",
              messages, failed, values, ours, messages / ours, values / ours);
#ifdef ZEPH_HAVE_ECCODES
  long theirValues = 0;
  double theirs = decodeWithEcCodes(corpus, rounds, theirValues);
  std::printf("ecCodes: %ld messages, %ld values in %.3f s: %.0f messages/s, "
              "%.0f values/s\n",
              messages, theirValues, theirs, messages / theirs,
              theirValues / theirs);
  std::printf("ratio (ecCodes time / engine time): %.2f\n", theirs / ours);
#else
  std::printf("ecCodes not found at build time: no comparison\n");
#endif
  return 0;
}
