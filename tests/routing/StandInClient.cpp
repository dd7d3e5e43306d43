// Stands in for a decoder under a data controller, for tests: it asks
// PARENT for the products that PATTERN finds, prints each product that
// reaches it as "product TAG TEXT", and holds its ready until a line comes
// on its standard input, so that a test decides when it is ready again.
//
// Usage: standInClient PARENT PATTERN
#include <unistd.h>

#include <iostream>
#include <string>

#include "DataRequest.h"
#include "EventDispatcher.h"
#include "SocketConnection.h"

namespace {

void product(long tag, long length, unsigned char* data) {
  std::cout << "product " << tag << " "
            << std::string(reinterpret_cast<char*>(data), length) << std::endl;
  char c;
  while (read(0, &c, 1) == 1 && c != '\n') continue;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) return 64;
  SocketConnection::start();
  requestData(IPC_Target(argv[1]), argv[2], product);
  std::cout << "registered" << std::endl;
  EventDispatcher::instance().start(0);
  return 0;
}
