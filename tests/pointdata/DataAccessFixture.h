#ifndef ZEPH_TESTS_POINTDATA_DATAACCESSFIXTURE_H_
#define ZEPH_TESTS_POINTDATA_DATAACCESSFIXTURE_H_

#include <gtest/gtest.h>
#include <stdlib.h>

#include <string>

#include "../foundation/SearchEnvironment.h"
#include "Config.h"
#include "DM_DataAccessInfo.h"
#include "TestSupport.h"

// A data access table of the test's own, and ZEPH_DATA, in a temporary
// tree; the process's table and the configured name are put back after.
class DataAccessFixture : public ::testing::Test {
 protected:
  void SetUp() override {
    StderrCapture quiet;  // the configuration may not be found here
    hadName = Config::instance().get(kDictName, savedName);
    setenv("ZEPH_DATA", dataRoot().c_str(), 1);
    resetDataAccessInfoForTests();
  }
  void TearDown() override {
    resetDataAccessInfoForTests();
    if (hadName) Config::instance().set(kDictName, savedName);
    unsetenv("ZEPH_DATA");
  }
  // Writes <dir>/<name>.txt and makes it the configured table.
  void useTable(const std::string& lines, const std::string& name = "table") {
    writeFile(dir.file(name + ".txt"), lines);
    useTableName(dir.file(name));
  }
  void useTableName(const std::string& name) {
    Config::instance().set(kDictName, TextString(name.c_str()));
    resetDataAccessInfoForTests();
  }
  std::string dataRoot() const { return dir.file("data"); }

  static constexpr const char* kDictName = "DataAccessInfo.dictName";
  SearchEnvironment env;
  TempDir dir;
  bool hadName = false;
  TextString savedName;
};

#endif  // ZEPH_TESTS_POINTDATA_DATAACCESSFIXTURE_H_
