// Runs the fuzz target over files, for builds without libFuzzer: the seed
// corpus and any crash a fuzzing run has found stay regression tests.
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

int main(int argc, char** argv) {
  // With ZEPH_REPLAY_SLOWEST set, each file is also timed alone, and the
  // slowest is named: the figure for "no input takes long".
  bool timing = std::getenv("ZEPH_REPLAY_SLOWEST") != nullptr;
  double slowest = 0;
  std::string slowestName;
  int runs = 0;
  for (int i = 1; i < argc; ++i) {
    std::ifstream in(argv[i], std::ios::binary);
    if (!in) {
      std::fprintf(stderr, "cannot read %s\n", argv[i]);
      return 1;
    }
    std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(in)),
                               std::istreambuf_iterator<char>());
    auto start = std::chrono::steady_clock::now();
    LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
    double seconds = std::chrono::duration<double>(
                         std::chrono::steady_clock::now() - start).count();
    if (seconds > slowest) {
      slowest = seconds;
      slowestName = argv[i];
    }
    ++runs;
    if (timing) continue;
    // Every cut of the file as well: the truncated files of a feed.
    for (size_t n = 0; n < bytes.size(); n += 7)
      LLVMFuzzerTestOneInput(bytes.data(), n);
  }
  std::printf("%d files replayed\n", runs);
  if (timing)
    std::printf("slowest: %.3f s, %s\n", slowest, slowestName.c_str());
  return 0;
}
