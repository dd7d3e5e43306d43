#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>

#include "DM_RadarInfo.h"
#include "DataAccessFixture.h"
#include "DataTime.h"
#include "RadarAccessKey.h"
#include "TestSupport.h"
#include "dmRedbookFns.h"

namespace {

const long kNoon = 1717243200;  // 1 June 2024, 12:00 GMT
const std::string kSiteData = ZEPH_SOURCE_DIR "/site/data";

// The sample site's tables, or a directory of the test's own searched
// ahead of them; every table read anew.
class RadarRedbookTest : public DataAccessFixture {
 protected:
  void SetUp() override {
    DataAccessFixture::SetUp();
    useSiteTables();
  }
  void TearDown() override {
    resetAll();
    DataAccessFixture::TearDown();
  }
  void useSiteTables(const std::string& ahead = "") {
    env.set("FILE_SERVER_DEFAULT_PATHS",
            (ahead.empty() ? "" : ahead + "/ ") + kSiteData + "/");
    useTableName(kSiteData + "/dataAccessInfo");
    resetAll();
  }
  static void resetAll() {
    resetRadarTablesForTests();
    resetRadarKeysForTests();
    resetRedbookLookupsForTests();
  }
  bool exists(const std::string& path) {
    struct stat s;
    return stat(path.c_str(), &s) == 0;
  }
};

TEST_F(RadarRedbookTest, RadarKeysOfTheSite) {
  struct Case {
    int code;
    float tilt;
    const char* radar;
    unsigned long key;
  } cases[] = {
      {19, 0.5f, "kftg", 0x40010001},  // the site's 88D
      {20, 0.5f, "kcys", 0x40020001},  // same enumeration, another radar
      {27, 0.5f, "KCYS", 0x40020003},  // a name in upper case
      {94, 0.5f, "kcys", 0x40020004},
      {180, 0.6f, "tden", 0x400A0001},  // the TDWR's own pattern
      {37, 0.0f, "knat", 0x40640001},  // the national set
      {94, 0.5f, "kpux", 0},           // no key in the table for it
      {19, 0.5f, "kxxx", 0},           // not a radar of the site
      {19, 2.4f, "kftg", 0},           // no such tilt
  };
  StderrCapture quiet;  // the keys not in the table are reported
  for (const Case& c : cases) {
    EXPECT_EQ(c.key, DM_GetRadarAccessKeyHashKey("any", c.code, c.tilt, 0, 0,
                                                 c.radar))
        << c.code << " " << c.radar;
  }
  EXPECT_EQ(-1, radarId("kxxx"));
  EXPECT_EQ(10, radarId("TDEN"));
  EXPECT_TRUE(isTdwrRadar("tden"));
  EXPECT_FALSE(isTdwrRadar("kftg"));
}

TEST_F(RadarRedbookTest, TheProductTable) {
  {
    StderrCapture event;
    EXPECT_EQ(8, radarInfoCount());
    EXPECT_EQ("EVENT: keyName radarInfo.txt\n", event.text());
  }
  DM_RadarInfo velocity(27);
  EXPECT_EQ(TextString("BVEL"), velocity.text4);
  EXPECT_TRUE(velocity.switch1 && velocity.switch2 && !velocity.switch3);
  EXPECT_EQ(1.0f, velocity.value3);
  // Codes 19 and 20 share enumeration 0: the longer range wins.
  EXPECT_EQ(20, DM_RadarInfo('v', 0)._key);
  EXPECT_EQ(37, radarInfoAt(7)._key);
  StderrCapture err;
  DM_RadarInfo none(55);
  EXPECT_EQ(-1, none.value1);
  EXPECT_EQ(-1.0f, none.value3);
  EXPECT_EQ(8, productCodeEnumeration(55));
  EXPECT_EQ(
      "BUG: Unable to read MessageCode 55 from dictionary\n"
      "PROBLEM: Unable to get the product code enumeration from Dictionary "
      "for product 55\n",
      err.text());
}

TEST_F(RadarRedbookTest, TablesOfTheTestsOwn) {
  writeFile(dir.file("radarInfo.txt"),
            "5|1|2|3.0|4|a|b|c|y|y|y|y|d|y|y|y|y|9\n"
            "6|1|2|3.0|4|a|b|c|y|y|y|y|d|y|y|y\n"
            "7|2|1|3.0|0|a|b|c|n|n|n|n|d|n|n|n|n|9\n");
  std::string groups;
  for (int i = 0; i < 10; ++i) groups += "# tilt groups: group low high\n";
  // Numbers that aren't numbers make a line that doesn't apply.
  writeFile(dir.file("tiltAngleGroups.txt"),
            groups + "0.7 nan 0.9\nnan 0.3 0.8\n0.5 0.3 0.8\n");
  useSiteTables(dir.path());
  {
    StderrCapture err;
    EXPECT_EQ(2, radarInfoCount());
    EXPECT_EQ("EVENT: keyName radarInfo.txt\n"
              "PROBLEM: Too few fields at line 2 in file " +
                  dir.file("radarInfo.txt") + "\n",
              err.text());
  }
  EXPECT_EQ(7, DM_RadarInfo('v', 9)._key) << "the higher value1";
  EXPECT_EQ(0.5f, groupedTilt(0.54f));
  EXPECT_FLOAT_EQ(0.9f, groupedTilt(0.9f));
  EXPECT_EQ(45.0f, groupedTilt(45.0f));
  EXPECT_EQ(95.0f, groupedTilt(95.0f));
  // Ten lines or fewer make no table.
  writeFile(dir.file("tiltAngleGroups.txt"), "0.5 0.3 0.8\n");
  resetRadarKeysForTests();
  EXPECT_EQ(0.54f, groupedTilt(0.54f));
}

TEST_F(RadarRedbookTest, RedbookFilesFindTheirKeyTimeAndPath) {
  struct Case {
    const char* name;
    unsigned long key;
    long ref;
    long span;
  } cases[] = {
      {"PEBA50_20240601_1712", 11002, kNoon, 43200},
      {"PYAA00_20240601_1359", 11003, kNoon + 3600 - 3600, 10800},
      // A negative period counts from its phase: 03:00 + 12 h to the day.
      {"PWUE01_20240601_0300", 11004, kNoon - 43200, 86400},
  };
  for (const Case& c : cases) {
    unsigned long key = 0;
    DataTime time;
    TextString path;
    ASSERT_TRUE(redbookFileInfo(TextString("/in/") + c.name, key, time, path))
        << c.name;
    EXPECT_EQ(c.key, key) << c.name;
    EXPECT_EQ(c.ref, time.refTime().seconds()) << c.name;
    EXPECT_EQ(c.span, time.valid().duration()) << c.name;
    EXPECT_EQ(1792u, time.flags()) << c.name;
    std::string code = std::string(c.name).substr(0, 6);
    EXPECT_EQ(dataRoot() + "/redbook/" + code + "/" + code + "_" +
                  AbsTime(c.ref).format("%Y%m%d_%H%M").chars(),
              path.chars());
  }
  // A file of that name is there: it and those of the half hour before
  // move a minute back.
  std::string folder = dataRoot() + "/redbook/PEBA50/";
  ASSERT_EQ(0, system(("mkdir -p " + folder).c_str()));
  for (const char* t : {"1200", "1145", "1100"})
    writeFile(folder + "PEBA50_20240601_" + t, t);
  unsigned long key = 0;
  DataTime time;
  TextString path;
  ASSERT_TRUE(redbookFileInfo("PEBA50_20240601_1205", key, time, path));
  EXPECT_FALSE(exists(path.chars()));
  EXPECT_EQ("1200", readFile(folder + "PEBA50_20240601_1159"));
  EXPECT_EQ("1145", readFile(folder + "PEBA50_20240601_1144"));
  EXPECT_EQ("1100", readFile(folder + "PEBA50_20240601_1100"));
  StderrCapture err;
  EXPECT_FALSE(redbookFileInfo("XXXXXX_20240601_1200", key, time, path));
  EXPECT_EQ("PROBLEM: No redbook key for XXXXXX_20240601_1200\n", err.text());
  // A period or phase no graphic has, and a span of more than a century.
  useTable(
      "11001 | r | 0|0|0|0|0 | redbook | | | Redbook graphic master key\n"
      "11002 | p | 0|0|0|0| 9223372036854775807 | rb | PEBA50_ | | PEBA50 p\n"
      "11003 | s | 0|-99999999999999|0|0| 3600,-9000000000 | rb | PYAA00_ | | "
      "PYAA00 s\n"
      "11004 | c | 0|-99999999999999|0|0| 3600 | rb | PWUE01_ | | PWUE01 c\n");
  resetRedbookLookupsForTests();
  StderrCapture wrong;
  EXPECT_FALSE(redbookFileInfo("PEBA50_20240601_1200", key, time, path));
  EXPECT_FALSE(redbookFileInfo("PYAA00_20240601_1200", key, time, path));
  EXPECT_EQ("PROBLEM: Unreasonable period or phase of redbook key 11002\n"
            "PROBLEM: Unreasonable period or phase of redbook key 11003\n",
            wrong.text());
  ASSERT_TRUE(redbookFileInfo("PWUE01_20240601_1200", key, time, path));
  EXPECT_EQ(36525L * 86400, time.valid().duration()) << "a century";
}

TEST_F(RadarRedbookTest, GroupsOfKeysAndATableWithoutRedbookKeys) {
  struct Case {
    const char* text;
    unsigned long group11001;
    unsigned long group9000;
  } cases[] = {
      {"PYAA00 surface analysis", 11001, 0},
      {"Watch boxes", 0, 9000},
      {"Graphic overlay master key", 0, 9000},
      {"Watch boxes ", 0, 0},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(c.group11001, dmGroupKey11001(c.text)) << c.text;
    EXPECT_EQ(c.group9000, dmGroupKey9000(c.text)) << c.text;
  }
  useTable("11002 | x | 0|0|0|0|0 | redbook | PEBA50_ | | PEBA50 without a master\n");
  resetRedbookLookupsForTests();
  unsigned long key = 0;
  DataTime time;
  TextString path;
  StderrCapture err;
  EXPECT_FALSE(redbookFileInfo("PEBA50_20240601_1200", key, time, path));
  EXPECT_FALSE(redbookFileInfo("PEBA50_20240601_1200", key, time, path));
  EXPECT_EQ("PROBLEM: No keys in the redbook reverse lookup\n", err.text())
      << "the table is read once";
}

}  // namespace
