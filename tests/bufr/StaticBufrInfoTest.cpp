#include "StaticBufrInfo.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <string>

#include "BufrTestSupport.h"

namespace {

class StaticBufrInfoTest : public BufrTest {
 protected:
  StaticBufrInfo& tables() { return StaticBufrInfo::instance(); }
  bool known(int descriptor) {
    SeqOf<int> values;
    return tables().tableBValues(descriptor, values);
  }
};

TEST_F(StaticBufrInfoTest, ReadsTheThreeFiles) {
  ASSERT_TRUE(loadTables(
      "12001|TEMPERATURE/AIR TEMPERATURE   |K  |1|0|12\n"
      "1015|STATION OR SITE NAME|CCITT IA5|0|0|160\n"
      "1019|LONG STATION NAME|CCITT IA5 (8 BIT)|0|0|256\n"
      "1020|NOT TEXT|CCITT|0|0|8\n"
      "7004|PRESSURE|PA|-1|-5|14\n"
      "1001|OLD|X|0|0|5|1001|WMO BLOCK NUMBER|NUMERIC|0|0|7\n",
      "301011|4001|4002|4003|0|999\n"
      "301099|0\n",
      "31001|\n31002|\n"));
  TableBEntry entry;
  ASSERT_TRUE(tables().tableBEntry(12001, entry));
  EXPECT_STREQ("TEMPERATURE/AIR TEMPERATURE", entry.description().chars());
  EXPECT_STREQ("K", entry.units().chars());
  SeqOf<int> values;
  ASSERT_TRUE(tables().tableBValues(7004, values));
  EXPECT_EQ(-1, values.at(0));  // values are multiplied by 10
  EXPECT_EQ(-5, values.at(1));
  EXPECT_EQ(14, values.at(2));
  // A second whole group on a line stands.
  ASSERT_TRUE(tables().tableBEntry(1001, entry));
  EXPECT_STREQ("WMO BLOCK NUMBER", entry.description().chars());
  EXPECT_EQ(7, entry.bits());

  int bits = 0;
  EXPECT_TRUE(tables().isCharacterDescriptor(1015, bits));
  EXPECT_EQ(160, bits);
  EXPECT_TRUE(tables().isCharacterDescriptor(1019, bits));
  EXPECT_FALSE(tables().isCharacterDescriptor(1020, bits));

  SeqOf<int> list;
  ASSERT_TRUE(tables().tableDSequence(301011, list));
  EXPECT_EQ(3, list.length());  // nothing behind the 0 is read
  SeqOf<int> empty;
  ASSERT_TRUE(tables().tableDSequence(301099, empty));
  EXPECT_EQ(0, empty.length());
  EXPECT_TRUE(tables().isReplicationDescriptor(31002));
}

TEST_F(StaticBufrInfoTest, CorruptedLinesStopTheLoad) {
  std::string tableB = home.file("data/bufrTableB");
  StderrCapture err;
  EXPECT_FALSE(loadTables(
      "12001|TEMPERATURE|K|1|0|12\n\n7004|PRESSURE|PA|-1|0|14\n", "", ""));
  EXPECT_NE(std::string::npos,
            err.text().find("PROBLEM: Line corrupted in " + tableB + "[\n]\n"));
  EXPECT_TRUE(known(12001));
  EXPECT_FALSE(known(7004));

  // An empty field lets the next one take its place: five fields.
  EXPECT_FALSE(loadTables("12001|TEMPERATURE||1|0|12\n", "", ""));
  EXPECT_FALSE(loadTables("12001|TEMPERATURE|K|1|0|12|\n", "", ""));

  // A line longer than the reader's buffer arrives in two pieces.
  std::string longName(230, 'N');
  EXPECT_FALSE(loadTables(("1015|" + longName + "|CCITT IA5|0|0|8\n").c_str(),
                          "", ""));

  std::string tableD = home.file("data/bufrTableD");
  StderrCapture err2;
  EXPECT_FALSE(loadTables("12001|TEMPERATURE|K|1|0|12\n",
                          "301011|4001|4002|4003|0\n301012|4004|4005\n"
                          "301013|4005|0\n"));
  EXPECT_NE(std::string::npos,
            err2.text().find("PROBLEM: Line corrupted in " + tableD +
                             "[301012|4004|4005\n]\n"));
  SeqOf<int> list;
  EXPECT_TRUE(tables().tableDSequence(301011, list));
  EXPECT_FALSE(tables().tableDSequence(301013, list));

  EXPECT_FALSE(loadTables("12001|TEMPERATURE|K|1|0|12\n", "301011|4001|0\n",
                          "31001|||||\n"));  // a piece of bars alone
}

TEST_F(StaticBufrInfoTest, MissingFiles) {
  StderrCapture err;
  EXPECT_FALSE(loadTables("12001|TEMPERATURE|K|1|0|12\n", nullptr));
  std::string log = err.text();
  EXPECT_NE(std::string::npos,
            log.find("PROBLEM: Unable to open table D file " +
                     home.file("data/bufrTableD") + "\n"));
  EXPECT_EQ(std::string::npos, log.find("replicated descriptor"));
  EXPECT_TRUE(known(12001));

  StderrCapture err2;
  EXPECT_FALSE(loadTables("12001|TEMPERATURE|K|1|0|12\n", "301011|4001|0\n",
                          nullptr));
  EXPECT_NE(std::string::npos,
            err2.text().find("PROBLEM: Unable to open replicated descriptor "
                             "table file "));

  unsetenv("ZEPH_HOME");
  StderrCapture err3;
  EXPECT_FALSE(StaticBufrInfo::instance().loadTables());
  EXPECT_NE(std::string::npos,
            err3.text().find("PROBLEM: Unable to open table B file "
                             "/data/bufrTableB\n"));
  setenv("ZEPH_HOME", home.path().c_str(), 1);
  setenv("ZEPH_DATA", "/var/zeph", 1);
  TextString data("/raw/acars/"), bad("/bad/acars/");
  StaticBufrInfo::instance().makeDataPaths(data, bad);
  EXPECT_STREQ("/var/zeph/raw/acars/", data.chars());
  EXPECT_STREQ("/var/zeph/bad/acars/", bad.chars());
}

}  // namespace
