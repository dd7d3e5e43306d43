// Decodes BUFR messages with the engine and with ecCodes in the same run
// and prints, per message and for the standard and the compressed group,
// messages/s, values/s and the ratio of ecCodes' time to the engine's.
// The two decoders take turns round by round, so that a change of load on
// a shared machine falls on both alike.
//
//   bufr_bench [ROUNDS] [FILE...]
//
// Without files it decodes the compressed corpus of bench/corpus and the
// standard and compressed test messages of tests/data/bufr. ROUNDS is the
// least number of rounds per message (default 20); a message is decoded
// for at least a quarter of a second by each decoder.
#include <dirent.h>
#include <stdlib.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
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
// A BUFR message is at most 16 MiB; with a heading a little more.
const long kMaxFileSize = (1L << 24) + 4096;
const double kLeastSeconds = 0.25;

double since(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

bool readFile(const std::string& path, std::vector<unsigned char>& bytes) {
  FILE* file = std::fopen(path.c_str(), "rb");
  if (file == nullptr) return false;
  bool ok = std::fseek(file, 0, SEEK_END) == 0;
  long size = ok ? std::ftell(file) : -1;
  ok = ok && size >= 0 && size <= kMaxFileSize && std::fseek(file, 0, SEEK_SET) == 0;
  if (ok) {
    bytes.resize(size + 1);  // as a product reads it: a zero octet behind
    ok = std::fread(bytes.data(), 1, size, file) == static_cast<size_t>(size);
    bytes[size] = 0;
  }
  std::fclose(file);
  return ok;
}

void addDirectory(const std::string& dir, std::vector<std::string>& files) {
  DIR* d = opendir(dir.c_str());
  if (d == nullptr) return;
  std::vector<std::string> found;
  while (dirent* e = readdir(d)) {
    std::string name = e->d_name;
    if (name.size() > 5 && name.compare(name.size() - 5, 5, ".bufr") == 0)
      found.push_back(dir + "/" + name);
  }
  closedir(d);
  std::sort(found.begin(), found.end());
  files.insert(files.end(), found.begin(), found.end());
}

struct Result {
  std::string name;
  bool compressed = false;
  bool decoded = false;
  long values = 0;
  long theirValues = 0;
  long rounds = 0;
  double ours = 0;
  double theirs = 0;
};

long decodeOnce(PlainBufrDecoder& decoder, std::vector<unsigned char>& file,
                bool& decoded) {
  decoded = decoder.decodeMessage(file.data(), file.size());
  return decoder.decodedValues().length();
}

#ifdef ZEPH_HAVE_ECCODES
// ecCodes wants the message from "BUFR" on.
long decodeWithEcCodes(const std::vector<unsigned char>& file) {
  const unsigned char* p = static_cast<const unsigned char*>(
      memmem(file.data(), file.size(), "BUFR", 4));
  if (p == nullptr) return 0;
  size_t length = file.size() - (p - file.data());
  codes_handle* h = codes_handle_new_from_message(nullptr, p, length);
  if (h == nullptr) return 0;
  codes_set_long(h, "unpack", 1);
  size_t n = 0;
  codes_get_size(h, "numericValues", &n);
  codes_handle_delete(h);
  return static_cast<long>(n);
}
#endif

Result measure(PlainBufrDecoder& decoder, const std::string& path,
               std::vector<unsigned char>& file, int leastRounds) {
  Result r;
  size_t slash = path.rfind('/');
  r.name = slash == std::string::npos ? path : path.substr(slash + 1);
  decodeOnce(decoder, file, r.decoded);  // warm caches and the value array
  r.compressed = decoder.compressed();
  while (r.rounds < leastRounds ||
         std::min(r.ours, r.theirs > 0 ? r.theirs : r.ours) < kLeastSeconds) {
    Clock::time_point start = Clock::now();
    bool decoded;
    r.values = decodeOnce(decoder, file, decoded);
    r.ours += since(start);
#ifdef ZEPH_HAVE_ECCODES
    start = Clock::now();
    r.theirValues = decodeWithEcCodes(file);
    r.theirs += since(start);
#endif
    ++r.rounds;
  }
  return r;
}

void printLine(const char* name, long messages, long values, double ours,
               long theirValues, double theirs) {
  std::printf("%-34s %10.0f msg/s %12.0f values/s", name, messages / ours,
              values / ours);
  if (theirs > 0)
    std::printf(" | ecCodes %10.0f msg/s %12.0f values/s | ratio %6.2f",
                messages / theirs, theirValues / theirs, theirs / ours);
  std::printf("\n");
}

void printGroup(const char* name, const std::vector<Result>& results,
                bool compressed) {
  long messages = 0, values = 0, theirValues = 0;
  double ours = 0, theirs = 0, lowest = 1e30;
  int count = 0;
  for (const Result& r : results) {
    if (r.compressed != compressed || !r.decoded) continue;
    // Each message weighs the same in the group, however many rounds it ran.
    messages += 1;
    values += r.values;
    theirValues += r.theirValues;
    ours += r.ours / r.rounds;
    theirs += r.theirs / r.rounds;
    if (r.theirs > 0) lowest = std::min(lowest, r.theirs / r.ours);
    ++count;
  }
  if (count == 0) return;
  printLine(name, messages, values, ours, theirValues, theirs);
  if (theirs > 0) std::printf("%-34s lowest ratio of a message: %.2f\n", "", lowest);
}

}  // namespace

int main(int argc, char** argv) {
  int first = 1;
  int rounds = 20;
  if (argc > 1 && std::strspn(argv[1], "0123456789") == std::strlen(argv[1])) {
    rounds = std::atoi(argv[1]);
    first = 2;
  }
  std::vector<std::string> paths(argv + first, argv + argc);
  if (paths.empty()) {
    addDirectory(ZEPH_SOURCE_DIR "/bench/corpus", paths);
    addDirectory(ZEPH_SOURCE_DIR "/tests/data/bufr", paths);
  }
  setenv("ZEPH_HOME", ZEPH_SOURCE_DIR "/site", 0);
  LogStream& log = LogStream::instance();
  for (int sink = 0; sink < LogStream::NUM_SINKS; ++sink)
    log.setFilter(nullptr, nullptr, LogStream::Sink(sink), 0xFFFFFFFF, false);

  PlainBufrDecoder decoder;
  std::vector<Result> results;
  for (const std::string& path : paths) {
    std::vector<unsigned char> file;
    if (!readFile(path, file)) {
      std::fprintf(stderr, "bufr_bench: cannot read %s\n", path.c_str());
      return 2;
    }
    results.push_back(measure(decoder, path, file, rounds));
    const Result& r = results.back();
    std::string label = r.name + (r.compressed ? " (c)" : "") +
                        (r.decoded ? "" : " FAILED");
    printLine(label.c_str(), r.rounds, r.values * r.rounds, r.ours,
              r.theirValues * r.rounds, r.theirs);
  }
  std::printf("\n");
  printGroup("standard messages", results, false);
  printGroup("compressed messages", results, true);
#ifndef ZEPH_HAVE_ECCODES
  std::printf("ecCodes not found at build time: no comparison\n");
#endif
  return 0;
}
