// A comms client for the router tests: registers PATTERN with ROUTER and
// writes a line for each product routed to it on its standard output:
// the key, the tag, the length and the sum of the bytes.
//
//   comms_client ROUTER PATTERN
#include <cstdio>

#include "EventDispatcher.h"
#include "SocketConnection.h"
#include "getCommsData.h"

namespace {

void record(TextString* key, long tag, long length, unsigned char* data) {
  unsigned long sum = 0;
  for (long i = 0; i < length; ++i) sum += data[i];
  std::printf("%s %ld %ld %lu\n", key->chars(), tag, length, sum);
  std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) return 64;
  SocketConnection::start();
  if (getCommsData(argv[2], argv[1], record) != 0) return 1;
  EventDispatcher::instance().start(0);
  return 0;
}
