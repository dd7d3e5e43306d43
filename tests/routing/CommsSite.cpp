#include "CommsSite.h"

#include <stdlib.h>
#include <sys/stat.h>

const CommsSite& commsSite() {
  static CommsSite* site = [] {
    CommsSite* s = new CommsSite;
    mkdir(s->home.file("data").c_str(), 0755);
    mkdir(s->data.file("workFiles").c_str(), 0755);
    writeFile(s->home.file("data/zeph.config"),
              "SeqOfTextString = namedTargets\n"
              "SocketConnection.namedTargets: COMMS_ROUTER, 127.0.0.1, " +
                  std::to_string(freePort()) + "\n");
    writeFile(s->home.file("data/patterns.txt"),
              readFile(ZEPH_SOURCE_DIR "/site/data/patterns.txt") +
                  "ZZEND Q\n");
    setenv("ZEPH_HOME", s->home.path().c_str(), 1);
    setenv("ZEPH_DATA", s->data.path().c_str(), 1);
    return s;
  }();
  return *site;
}

std::string product(const std::string& heading, int size) {
  std::string bytes = heading + "\r\r\nBUFR";
  // No letters among them, so no key.
  for (int i = 0; i < size; ++i) bytes += static_cast<char>(i % 64);
  return bytes;
}
