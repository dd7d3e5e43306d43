#include "BufrSignalClient.h"

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
