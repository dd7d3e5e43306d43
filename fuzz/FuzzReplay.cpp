// Runs the fuzz target over files, for builds without libFuzzer: the seed
// corpus and any crash a fuzzing run has found stay regression tests.
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

int main(int argc, char** argv) {
  int runs = 0;
  for (int i = 1; i < argc; ++i) {
    std::ifstream in(argv[i], std::ios::binary);
    if (!in) {
      std::fprintf(stderr, "cannot read %s\n", argv[i]);
      return 1;
    }
    std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(in)),
                               std::istreambuf_iterator<char>());
    LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
    // Every cut of the file as well: the truncated files of a feed.
    for (size_t n = 0; n < bytes.size(); n += 7)
      LLVMFuzzerTestOneInput(bytes.data(), n);
    ++runs;
  }
  std::printf("%d files replayed\n", runs);
  return 0;
}
