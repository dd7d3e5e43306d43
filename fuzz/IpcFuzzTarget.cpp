// Feeds arbitrary bytes to the reading side of messages: as a stream cut
// into messages by their length words, arriving in pieces of several
// sizes; as a whole message to the dispatcher, whose receiver reads the
// package of the message's type; and to the quantize of every package
// form directly.
// Whatever the bytes, nothing may read past them or allocate what they
// claim, and what was read must write back to the bytes it takes.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "ArgPkg.h"
#include "DataTimeWire.h"
#include "Dispatcher.h"
#include "FAC_Receiver.h"
#include "FrameReader.h"
#include "LogStream.h"
#include "Receiver.h"

namespace {

// Reads `pkg` from the bytes, writes it back into a buffer of exactly its
// length and reads that again: both reads must take the same bytes.
template <class Pkg>
void readBack(char* pos, const char* end) {
  Pkg pkg;
  pkg.quantize(pos, end);
  unsigned long size = pkg.length();
  std::unique_ptr<char[]> again(new char[size > 0 ? size : 1]);
  if (pkg.serialize(again.get()) != again.get() + size) std::abort();
  Pkg reread;
  if (reread.quantize(again.get(), again.get() + size) != again.get() + size)
    std::abort();
  if (reread.length() != size) std::abort();
}

using Reader = void (*)(char*, const char*);
const Reader kPackageForms[] = {
    readBack<ArgPkg0>,
    readBack<ArgPkg1<TextString>>,
    readBack<ArgPkg1<AbsTime>>,
    readBack<ArgPkg2<unsigned long, int>>,
    readBack<ArgPkg2<long, SeqOf<char>>>,
    readBack<ArgPkg2<unsigned long, DataTime>>,
    readBack<ArgPkg3<long, long, SeqOf<unsigned char>>>,
    readBack<ArgPkg4<TextString, long, long, SeqOf<unsigned char>>>,
};
const int kForms = sizeof kPackageForms / sizeof kPackageForms[0];

// Reads the package that the message's type names.
class PackageReceiver : public Receiver {
 public:
  void receive(const short& type, const IPC_Target&, long argLength,
               char* args) override {
    if (argLength < 0) std::abort();
    kPackageForms[static_cast<unsigned short>(type) % kForms](args,
                                                              args + argLength);
  }
};

void setUp() {
  static bool done = [] {
    LogStream& log = LogStream::instance();
    for (int sink = 0; sink < LogStream::NUM_SINKS; ++sink)
      log.setFilter(nullptr, nullptr, LogStream::Sink(sink), 0xFFFFFFFF, false);
    static PackageReceiver receiver;
    for (int module : {0, 1, 2, 5})
      Dispatcher::registerReceiver(module, &receiver);
    FAC_Receiver::instance();
    return true;
  }();
  (void)done;
}

// What a data socket does with its stream: the length word in one read,
// the rest in pieces, each whole message dispatched, a bad length the end.
void readStream(const uint8_t* data, size_t size) {
  static const unsigned long kPieces[] = {1, 3, 17, 256, 4096};
  FrameReader frame;
  size_t at = 0;
  for (unsigned step = 0; at < size; ++step) {
    if (!frame.midMessage()) {
      long n = size - at < 4 ? static_cast<long>(size - at) : 4;
      if (frame.begin(reinterpret_cast<const char*>(data + at), n) ==
          FrameReader::BAD_HEADER)
        return;
      at += n;
      continue;
    }
    unsigned long piece = kPieces[step % 5];
    if (piece > frame.wanted()) piece = frame.wanted();
    if (piece > size - at) piece = size - at;
    std::memcpy(frame.next(), data + at, piece);
    at += piece;
    if (frame.advance(piece) == FrameReader::WHOLE) {
      unsigned long whole;
      char* message = frame.take(&whole);
      Dispatcher::doDispatch(message, whole);
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  setUp();
  readStream(data, size);
  // Exactly as long as the input, so that a read past it is caught.
  char* message = new char[size > 0 ? size : 1];
  std::memcpy(message, data, size);
  Dispatcher::doDispatch(message, size);
  for (Reader read : kPackageForms) {
    std::unique_ptr<char[]> copy(new char[size > 0 ? size : 1]);
    std::memcpy(copy.get(), data, size);
    read(copy.get(), copy.get() + size);
  }
  return 0;
}
