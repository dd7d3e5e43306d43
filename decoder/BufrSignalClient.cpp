#include "BufrSignalClient.h"

#include <signal.h>

#include <cstdio>

BufrSignalClient& BufrSignalClient::instance() {
  static BufrSignalClient* client = new BufrSignalClient;
  return *client;
}

void BufrSignalClient::setDirectories(const TextString& dataDirectory,
                                      const TextString& badDirectory) {
  _dataDirectory = dataDirectory;
  _badDirectory = badDirectory;
}

void BufrSignalClient::setCurrentFile(const TextString& name) {
  _currentFile = name;
}

// Runs inside a fault's handler, at a moment when the process is failing:
// nothing is logged, and the rename is tried once whatever it answers.
// Before the first file the name is empty, and no directory is moved.
void BufrSignalClient::shutdown(bool clean, int signal) {
  static volatile sig_atomic_t moved = 0;
  if (!moved) {
    moved = 1;
    if (!clean && !_currentFile.isEmpty()) {
      TextString from = _dataDirectory;
      from += "/";
      from += _currentFile;
      TextString to = _badDirectory;
      to += "/";
      to += _currentFile;
      std::rename(from.chars(), to.chars());
    }
  }
  SignalClient::shutdown(clean, signal);
}
