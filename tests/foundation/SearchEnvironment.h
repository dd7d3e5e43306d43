#ifndef ZEPH_TESTS_FOUNDATION_SEARCHENVIRONMENT_H_
#define ZEPH_TESTS_FOUNDATION_SEARCHENVIRONMENT_H_

#include <stdlib.h>

#include <map>
#include <string>

#include "InfoFileServer.h"

// Clears the variables that make the search path for one test, and makes
// the file server read them anew; puts everything back when it goes.
class SearchEnvironment {
 public:
  SearchEnvironment() {
    for (const char* name : kNames) {
      if (const char* value = getenv(name)) _saved[name] = value;
      unsetenv(name);
    }
    resetInfoFileServerForTests();
  }
  ~SearchEnvironment() {
    for (const char* name : kNames) {
      auto saved = _saved.find(name);
      if (saved == _saved.end())
        unsetenv(name);
      else
        setenv(name, saved->second.c_str(), 1);
    }
    resetInfoFileServerForTests();
  }
  void set(const char* name, const std::string& value) {
    setenv(name, value.c_str(), 1);
    resetInfoFileServerForTests();
  }

 private:
  static constexpr const char* kNames[] = {
      "FILE_SERVER_DEFAULT_PATHS", "ZEPH_LOCALIZATION_ROOT", "ZEPH_LOCAL_SITE",
      "ZEPH_NATL_CONFIG_DATA", "ZEPH_HOME"};
  std::map<std::string, std::string> _saved;
};

#endif  // ZEPH_TESTS_FOUNDATION_SEARCHENVIRONMENT_H_
