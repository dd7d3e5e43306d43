#ifndef ZEPH_BUFR_PLAINBUFRDECODER_H_
#define ZEPH_BUFR_PLAINBUFRDECODER_H_

#include "BufrDecoder.h"

// A decoder of no product: the engine alone, for what decodes files
// without storing them (bufrdump, the benchmark, fuzzing, tests).
class PlainBufrDecoder : public BufrDecoder {
 public:
  explicit PlainBufrDecoder(const TextString& patternFile = TextString())
      : _patternFile(patternFile) {}

  int registrationPeriod() override { return 0; }
  TextString patternFileName() override { return _patternFile; }
  TextString productName() override { return "BUFR"; }
  void processBufrDirectory() override {}

 private:
  TextString _patternFile;
};

#endif  // ZEPH_BUFR_PLAINBUFRDECODER_H_
