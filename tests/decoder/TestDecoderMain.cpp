// The decoder process with two decoders more, for tests:
//
//   "brisk"   a model sounding decoder that registers again every two
//             seconds instead of every hour;
//   "faulty"  a brisk one that faults for real on a file whose name holds
//             a mark: _SEGV, _BUS, _FPE or _ABRT. With ZEPH_TEST_HANG set,
//             a file marked _HANG holds the decoder for up to a minute,
//             serving signals meanwhile as a blocked write does; it says
//             "hanging" on standard output first.
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "BufrDriver.h"
#include "BufrSignalClient.h"
#include "ModelBufrDecoder.h"
#include "SignalCatcher.h"

namespace {

class BriskModelDecoder : public ModelBufrDecoder {
 public:
  int registrationPeriod() override { return 20; }
};

// A bus error: a page of a file that was cut after it was mapped.
void busError() {
  char name[] = "/tmp/faulty.XXXXXX";
  int fd = mkstemp(name);
  unlink(name);
  if (fd < 0 || ftruncate(fd, 4096) != 0) return;
  void* page = mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
  if (page == MAP_FAILED || ftruncate(fd, 0) != 0) return;
  *static_cast<volatile char*>(page) = 1;
}

// Real faults, kept from the undefined-behaviour sanitizer, which would
// otherwise report them and end the process before the signal comes.
__attribute__((no_sanitize("undefined", "address"))) void segmentationFault() {
  *static_cast<volatile int*>(nullptr) = 1;
}

__attribute__((no_sanitize("undefined"))) void divisionByZero() {
  // Both volatile: 1 / x is computed without a division.
  volatile int one = 1, zero = 0;
  volatile int quotient = one / zero;
  (void)quotient;
}

void hang() {
  std::printf("hanging\n");
  std::fflush(stdout);
  for (int i = 0; i < 600; ++i) {
    usleep(100000);
    SignalCatcher::servePendingSignals();
  }
}

class FaultyModelDecoder : public BriskModelDecoder {
 public:
  bool preprocessDecodedValues() override {
    std::string name = BufrSignalClient::instance().currentFile().chars();
    auto marked = [&](const char* mark) {
      return name.find(mark) != std::string::npos;
    };
    if (marked("_SEGV")) segmentationFault();
    if (marked("_BUS")) busError();
    if (marked("_FPE")) divisionByZero();
    if (marked("_ABRT")) std::abort();
    if (marked("_HANG") && std::getenv("ZEPH_TEST_HANG")) hang();
    return ModelBufrDecoder::preprocessDecodedValues();
  }
};

const BufrDecoderList::ProductWord kTestWords[] = {
    {"brisk", "Object for decoding brisk Model Sounding data created",
     []() -> BufrDecoder* { return new BriskModelDecoder; }},
    {"faulty", "Object for decoding faulty Model Sounding data created",
     []() -> BufrDecoder* { return new FaultyModelDecoder; }},
};

}  // namespace

int main(int argc, char** argv) {
  return runBufrDriver(argc, argv, kTestWords, 2);
}
