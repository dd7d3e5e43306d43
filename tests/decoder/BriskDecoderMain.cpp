// The decoder process with one decoder more, for tests of the wait and
// register loop: "brisk" makes a model sounding decoder that asks to
// register again every two seconds instead of every hour.
#include "BufrDriver.h"
#include "ModelBufrDecoder.h"

namespace {

class BriskModelDecoder : public ModelBufrDecoder {
 public:
  int registrationPeriod() override { return 20; }
};

BufrDecoder* makeBrisk() { return new BriskModelDecoder; }

const BufrDecoderList::ProductWord kBrisk[] = {
    {"brisk", "Object for decoding brisk Model Sounding data created",
     makeBrisk}};

}  // namespace

int main(int argc, char** argv) { return runBufrDriver(argc, argv, kBrisk, 1); }
