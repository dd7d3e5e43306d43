#ifndef ZEPH_TESTS_ROUTING_COMMSSITE_H_
#define ZEPH_TESTS_ROUTING_COMMSSITE_H_

#include <string>

#include "TestSupport.h"

// The site of the routing tests, set up once a process before anything
// reads the configuration: ZEPH_HOME with a zeph.config that puts
// COMMS_ROUTER on a free port of 127.0.0.1 and the sample site's
// patterns.txt with the words "ZZEND" and "Q" added; ZEPH_DATA with its
// workFiles directory.
struct CommsSite {
  TempDir home;
  TempDir data;

  std::string clientsFile() const {
    return data.file("workFiles/COMMS_ROUTER_clients.txt");
  }
};
const CommsSite& commsSite();

// A product: its heading, then bytes with no key beginning among them.
std::string product(const std::string& heading, int size = 3000);

#endif  // ZEPH_TESTS_ROUTING_COMMSSITE_H_
