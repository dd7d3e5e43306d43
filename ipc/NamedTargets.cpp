#include "NamedTargets.h"

#include <arpa/inet.h>

#include <cstdlib>

#include "Config.h"
#include "LogStream.h"

namespace {

Dict<TextString, IPC_Target>& namedTargets() {
  static Dict<TextString, IPC_Target>* table = nullptr;
  if (table != nullptr) return *table;
  table = new Dict<TextString, IPC_Target>(11);
  SeqOf<TextString> triples;
  if (Config::instance().get("SocketConnection.namedTargets", triples)) {
    readNamedTargets(triples, *table);
  } else {
    ZLOG(LogStream::PROBLEM)
        << "Can't get SocketConnection.namedTargets from ipc.config"
        << std::endl
        << "There will be no named targets." << std::endl;
    table->insert(TextString(), IPC_Target());
  }
  return *table;
}

timeval& sendTimeoutValue() {
  static timeval timeout = [] {
    int minutes = 0;
    bool configured =
        Config::instance().get("SocketConnectionTimeout.numMins", minutes);
    return sendTimeoutOf(configured, minutes);
  }();
  return timeout;
}

}  // namespace

void readNamedTargets(const SeqOf<TextString>& triples,
                      Dict<TextString, IPC_Target>& table) {
  int whole = triples.length() - triples.length() % 3;
  for (int i = 0; i < whole; i += 3) {
    in_addr host;
    if (!lookUpHost(triples[i + 1].chars(), &host)) {
      ZLOG(LogStream::PROBLEM)
          << "Can't create an IPC target with invalid host: " << triples[i + 1]
          << std::endl
          << "Check the host entry in /etc/hosts." << std::endl;
      continue;
    }
    long port = std::strtol(triples[i + 2].chars(), nullptr, 0);
    table.insert(triples[i],
                 IPC_Target::named(triples[i], ntohl(host.s_addr),
                                   static_cast<unsigned short>(port)));
  }
  if (whole != triples.length()) {
    ZLOG(LogStream::PROBLEM)
        << "Warning: no host and/or port specified for last" << std::endl
        << " named target in ipc.config; it will be ignored\n"
        << std::endl;
  }
}

bool lookupNamedTarget(const TextString& name, IPC_Target* target) {
  return namedTargets().lookup(name, target);
}

int socketBufferSizeOf(bool configured, int numBytes) {
  return configured && numBytes >= 1 && numBytes <= 262143 ? numBytes : 0;
}

timeval sendTimeoutOf(bool configured, int numMins) {
  timeval timeout = {180, 0};
  if (configured && numMins >= 1) timeout.tv_sec = 60L * numMins;
  return timeout;
}

int socketBufferSize() {
  static const int size = [] {
    int bytes = 0;
    bool configured = Config::instance().get("SocketBufferSize.numBytes", bytes);
    return socketBufferSizeOf(configured, bytes);
  }();
  return size;
}

timeval sendTimeout() { return sendTimeoutValue(); }

void setSendTimeout(const timeval& timeout) { sendTimeoutValue() = timeout; }
