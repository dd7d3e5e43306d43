#include "dmDataAccessFns.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <memory>
#include <string>
#include <vector>

#include "DataAccessFixture.h"
#include "LogStream.h"

namespace {

const AbsTime kNoon(2008, 6, 5, 12, 0, 0);
const long kNoonSeconds = kNoon.seconds();

const char* const kTable =
    "10001 | ETA | 0 | 0 | 0 | 0 | 0 | point/model/ETA/netcdf | | | ETA\n"
    "500 | stations | 0|0|0|0|0 | static | stations | .txt | static product\n"
    "501 | absent | 0|0|0|0|0 | static | absent | .txt | its file is missing\n"
    "600 | prefixed | 0|0|0|0|0 | raob | raob_ | .nc | prefix and suffix\n";

// The seconds of a list of times, which is deleted.
std::vector<long> seconds(SeqOf<AbsTime>* times) {
  std::unique_ptr<SeqOf<AbsTime>> owned(times);
  std::vector<long> result;
  for (int i = 0; times && i < times->length(); ++i)
    result.push_back(times->at(i).seconds());
  return result;
}

class DataAccessFnsTest : public DataAccessFixture {
 protected:
  void TearDown() override {
    LogStream::instance().resetToDefaults();
    DataAccessFixture::TearDown();
  }
  // Empty files of these names, their directory made.
  void touch(const std::string& directory, std::vector<std::string> names) {
    ASSERT_EQ(0, system(("mkdir -p '" + directory + "'").c_str()));
    for (const std::string& name : names) writeFile(directory + "/" + name, "");
  }
};

TEST_F(DataAccessFnsTest, NamesAndTimesOfFiles) {
  EXPECT_EQ(TextString("/d/pre_20080605_1200.nc"),
            dmFileName("/d", kNoon + 30, "pre_", ".nc"));  // no seconds
  EXPECT_EQ(TextString("/d/template"), dmTemplateName("/d", "", ""));
  EXPECT_EQ(TextString("/d/template23"), dmTemplateName("/d", "", "", 123));
  EXPECT_EQ(TextString("/d/p_template05.nc"),
            dmTemplateName("/d", "p_", ".nc", 5));

  AbsTime t, withSeconds;
  EXPECT_TRUE(dmParseFileTime("20080605_1200", t));
  EXPECT_TRUE(dmParseFileTime("20080605_120000", withSeconds));
  EXPECT_EQ(kNoon, t);
  EXPECT_EQ(kNoon, withSeconds);
  EXPECT_TRUE(dmParseFileTime("20080605_120030", t));
  EXPECT_EQ(kNoon + 30, t);
  EXPECT_TRUE(dmParseFileTime("19700101_000001", t));
  EXPECT_EQ(1, t.seconds());
  EXPECT_TRUE(dmParseFilePath("/a/b_c/raob20080605_1230.nc", t));
  EXPECT_EQ(kNoon + 1800, t);
  EXPECT_TRUE(dmParseFilePath("my_20080605_1200", t));
  EXPECT_EQ(kNoon, t);

  StderrCapture err;
  EXPECT_FALSE(dmParseFileTime("2008060", t));  // too few fields: quietly
  EXPECT_EQ(0, t.seconds());
  // The name of the static time has no seconds to tell it by.
  for (const char* early : {"19691231_2300", "20380101_0000", "19700101_0000"})
    EXPECT_FALSE(dmParseFileTime(early, t)) << early;
  EXPECT_FALSE(dmParseFileTime("20080231_1200", t));
  for (const char* path : {"/x_y/z_20080605", "/a/abcdefgh_ijkl", ""})
    EXPECT_FALSE(dmParseFilePath(path, t)) << path;
  std::string log = err.text();
  EXPECT_EQ(3, countOf(log, "PROBLEM: Unreasonable time stamp "));
  EXPECT_EQ(1, countOf(log, "PROBLEM: Unreasonable time stamp 19700101_0000\n"));
  EXPECT_EQ(1, countOf(log, "PROBLEM: For AbsTime 20080231_1200: 2008 2 31 "
                            "12 0 0\n"));
  EXPECT_EQ(3, countOf(log, "BUG: Invalid ZEPH data file time string\n"));
}

TEST_F(DataAccessFnsTest, FileTimesOfADirectoryNewestFirst) {
  touch(dir.file("set"),
        {"template", "scrfil", "20080605_1200", "20080605_1300",
         "20080605_1300.rewrites", "20080605_130030", "20080605_14000",
         "20080605_1400xx", "20080605_1500.1", "20080605_1200000",
         ".20080605_1600"});
  EXPECT_EQ((std::vector<long>{kNoonSeconds + 10800, kNoonSeconds + 3630,
                               kNoonSeconds + 3600, kNoonSeconds}),
            seconds(dmFileTimes(dir.file("set").c_str(), "", "")));
  touch(dir.file("only"), {"template"});
  EXPECT_TRUE(seconds(dmFileTimes(dir.file("only").c_str(), "", "")).empty());

  LogStream::instance().setFilter(nullptr, nullptr, LogStream::TTY,
                                  LogStream::DEBUG, true);
  StderrCapture err;
  SeqOf<AbsTime>* none = dmFileTimes(dir.file("absent").c_str(), "", "");
  ASSERT_NE(nullptr, none);
  EXPECT_TRUE(seconds(none).empty());
  std::string log = err.text();
  EXPECT_EQ(1, countOf(log, "PROBLEM: error from opendir() for dir name: " +
                                dir.file("absent") +
                                " - No such file or directory\n"));
  EXPECT_EQ(1, countOf(log, "DEBUG: directory length = 0\n"));
}

TEST_F(DataAccessFnsTest, NamesAndTimesOfAKey) {
  useTable(kTable);
  env.set("ZEPH_HOME", dir.path());
  touch(dir.file("data"), {"stations.txt"});
  std::string eta = dataRoot() + "/point/model/ETA/netcdf";
  touch(eta, {"template", "20080605_1200", "20080605_0000"});
  touch(dataRoot() + "/raob",
        {"raob_20080605_1200.nc", "raob_template.nc", "x_20080605_1300.nc"});
  auto text = [](const std::string& s) { return TextString(s.c_str()); };

  StderrCapture err;
  EXPECT_EQ(text(eta), dmDirectory(10001));
  EXPECT_EQ(text(eta + "/20080605_1200"), dmFileName(10001, kNoon));
  EXPECT_EQ(text(eta + "/template07"), dmTemplateName(10001, 7));
  EXPECT_EQ((std::vector<long>{kNoonSeconds, kNoonSeconds - 43200}),
            seconds(dmFileTimes(10001, true)));
  EXPECT_EQ((std::vector<long>{kNoonSeconds}), seconds(dmFileTimes(600, false)));

  // A static product, asked for so, is its one file, of time 1.
  EXPECT_EQ(text(dir.file("data/stations.txt")), dmFileName(500, kNoon, true));
  EXPECT_EQ(text(dataRoot() + "/static/stations20080605_1200.txt"),
            dmFileName(500, kNoon, false));
  EXPECT_EQ(text(dataRoot() + "/static/stationstemplate.txt"),
            dmTemplateName(500));
  EXPECT_EQ((std::vector<long>{1}), seconds(dmFileTimes(500, true)));

  Set<AbsTime> all;
  EXPECT_TRUE(dmFileTimes(10001, false, all));
  EXPECT_TRUE(dmFileTimes(500, true, all));
  EXPECT_TRUE(dmFileTimes(10001, false, all));
  EXPECT_EQ(3, all.length());
  EXPECT_TRUE(all.lookup(AbsTime(1)) && all.lookup(kNoon));
  EXPECT_EQ("", err.text());
}

TEST_F(DataAccessFnsTest, FailuresOfAKey) {
  useTable(kTable);
  StderrCapture err;
  EXPECT_EQ(TextString(""), dmFileName(501, kNoon, true));
  EXPECT_EQ(TextString(""), dmDirectory(4242));
  EXPECT_EQ(TextString(""), dmFileName(4242, kNoon));
  EXPECT_EQ(TextString(""), dmTemplateName(4242));
  EXPECT_EQ(nullptr, dmFileTimes(4242, false));
  Set<AbsTime> set;
  EXPECT_FALSE(dmFileTimes(4242, false, set));
  std::string log = err.text();
  EXPECT_EQ(1, countOf(log, "PROBLEM: Could not find static file absent.txt\n"));
  EXPECT_EQ(5, countOf(log, "PROBLEM: Error in DM_DataAccessInfo constructor\n"));
  EXPECT_EQ(1, countOf(log, "PROBLEM: Error in file inventory method "
                            "dmFileTimes\n"));

  for (bool empty : {false, true}) {
    if (empty)
      setenv("ZEPH_DATA", "", 1);
    else
      unsetenv("ZEPH_DATA");
    StderrCapture noData;
    EXPECT_EQ(TextString(""), dmDirectory(10001));
    EXPECT_EQ(TextString(""), dmFileName(10001, kNoon));
    EXPECT_EQ(TextString(""), dmTemplateName(10001));
    EXPECT_EQ(nullptr, dmFileTimes(10001, false));
    EXPECT_EQ(4, countOf(noData.text(),
                         "PROBLEM: Env var ZEPH_DATA not defined\n"));
  }
}

// Each chooser knows two words, in upper case only.
TEST_F(DataAccessFnsTest, KeysBySourceWord) {
  const struct {
    unsigned long (*select)(const TextString&);
    const char* first;
    const char* second;
    unsigned long key;
  } choices[] = {{dmEtaAvnKey, "ETA", "AVN", 10001},
                 {dmSbnCorvinKey420, "SBN", "CORVIN", 420},
                 {dmSbnCorvinKey320, "SBN", "CORVIN", 320},
                 {dmSbnLocalKey450, "SBN", "LOCAL", 450},
                 {dmSbnLocalKey350, "SBN", "LOCAL", 350},
                 {dmSbnCorvinKey401, "SBN", "CORVIN", 401},
                 {dmSbnCorvinKey301, "SBN", "CORVIN", 301}};
  for (const auto& c : choices) {
    EXPECT_EQ(c.key, c.select(c.first));
    EXPECT_EQ(c.key + 1, c.select(c.second));
    EXPECT_EQ(0u, c.select("RUC") + c.select("") + c.select("eta"));
  }
}

}  // namespace
