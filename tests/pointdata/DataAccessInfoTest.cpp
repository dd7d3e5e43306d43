#include "DM_DataAccessInfo.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <memory>
#include <string>
#include <vector>

#include "DataAccessFixture.h"
#include "dmDataAccessFns.h"

namespace {

const char* const kTable =
    "// a comment\n"
    "10 | plain | 3 | 240 | 5,2.5 | 0 | 3600,1800 | some/dir | pre_ | .spi "
    "| A plain record\n"
    "11 | hours | 0x10 | 241 | 0 | 12.5,7.9 | 010 | d | b | .lpi | eleven\n"
    "12 | days | 0 | -2 | 0 | 0 | 0 | d | b | .bcd | twelve\n"
    "13 | other | 0 | 0 | 0 | 0 | 0 | d | b | .xyz | ten columns\n"
    "14 | nine columns | 0 | 0 | 0 | 0 | 0 | d | b | .bcx\n"
    "15 | nothing | 0 | 0 | 0 | 0 | 0 | | | | no files\n"
    "16 | list | 0 | 0 | 0 | 0 | 0 | a,b | | | a list\n"
    "17 | dir | 0 | 0 | 0 | 0 | 0 | a | | | a directory\n"
    "y1a | forty-two | 0 | 0 | 0 | 0 | 0 | d42 | | | base 32 key\n"
    "99 | inner | D | 0 | 0 | 0 | 0 | 12, 13 | x | y | inner composite\n"
    "100 | outer | V | 0 | 0 | 0 | 0 | y1a, +2, p0.5, 10, 2.5, -1 | x | y "
    "| outer composite\n"
    "101 | trailing | F | 0 | 0 | 0 | 0 | 11,, p4 | | | last key again\n"
    "102 | itself | V | 0 | 0 | 0 | 0 | +0 | | | names itself\n";

std::vector<unsigned long> leaves(unsigned long key) {
  std::unique_ptr<SeqOf<unsigned long>> keys(DM_DataAccessInfo(key).leafKeys());
  std::vector<unsigned long> result;
  for (int i = 0; i < keys->length(); ++i) result.push_back(keys->at(i));
  return result;
}

using DataAccessInfoTest = DataAccessFixture;

TEST_F(DataAccessInfoTest, RecordsAndFileClasses) {
  useTable(kTable);
  StderrCapture err;
  DM_DataAccessInfo r(10), h(11);
  EXPECT_EQ(10u, r.key());
  EXPECT_EQ(TextString("plain"), r.name());
  EXPECT_EQ(3, r.dataKind());
  EXPECT_FLOAT_EQ(2.5f, r.flagsFloat2());
  EXPECT_TRUE(r.flag(0) && !r.flag(1) && r.flag(2) && !r.flag(3));
  EXPECT_FLOAT_EQ(1e37f, r.limitFloat());  // 0 is no limit
  EXPECT_TRUE(r.period() == 3600 && r.phase() == 1800);
  EXPECT_EQ(TextString("pre_.spi"), r.fileName());
  EXPECT_EQ(TextString("A plain record"), r.description());
  EXPECT_FALSE(r.isComposite() || r.temporary());
  EXPECT_EQ(16, h.dataKind());
  EXPECT_FLOAT_EQ(12.5f, h.limitFloat());
  EXPECT_EQ(7, h.limitInt2());
  EXPECT_EQ(8, h.period());  // octal
  EXPECT_EQ(TextString("forty-two"), DM_DataAccessInfo(42).name());

  const long seconds[] = {864000, 241, 172800, 0};
  for (int i = 0; i < 4; ++i)
    EXPECT_EQ(seconds[i], DM_DataAccessInfo(10 + i).spanSeconds()) << i;
  const std::pair<unsigned long, int> classes[] = {
      {10, 0}, {11, 1}, {12, 2}, {13, 3}, {15, 4}, {16, 6}, {17, 5}};
  for (const auto& c : classes)
    EXPECT_EQ(c.second, DM_DataAccessInfo(c.first).fileClass()) << c.first;
  // Ten columns behind the key are needed.
  EXPECT_EQ(0u, DM_DataAccessInfo(14).key());
  EXPECT_EQ("PROBLEM: Too few fields for key: 14 Num fields: 10\nPROBLEM: "
            "Unable to read DataAccessKey 14 from dictionary\n",
            err.text());
}

TEST_F(DataAccessInfoTest, CompositeRecords) {
  useTable(kTable);
  DM_DataAccessInfo c(100), t(101);
  EXPECT_TRUE(c.isComposite());
  EXPECT_EQ(0, c.dataKind());
  EXPECT_EQ(TextString(""), c.fileName());  // no files of its own
  EXPECT_EQ(4, c.fileClass());
  const unsigned long keys[] = {42, 102, 10, 0, 99};
  const float values[] = {1e37f, 1e37f, 0.5f, 2.5f, 1e37f};
  ASSERT_EQ(5, c.partKeys().length());
  for (int i = 0; i < 5; ++i) {
    EXPECT_EQ(keys[i], c.partKeys().at(i)) << i;
    EXPECT_FLOAT_EQ(values[i], c.partValues().at(i)) << i;
  }
  // A "p" at the end goes with the last key; an empty entry is nothing.
  EXPECT_EQ(2, t.dataKind());
  ASSERT_EQ(2, t.partKeys().length());
  EXPECT_EQ(11u, t.partKeys().at(1));
  EXPECT_FLOAT_EQ(4.0f, t.partValues().at(1));

  EXPECT_EQ((std::vector<unsigned long>{10}), leaves(10));
  EXPECT_EQ((std::vector<unsigned long>{42, 10, 12, 13}), leaves(100));
  EXPECT_EQ((std::vector<unsigned long>{11, 11}), leaves(101));
  EXPECT_TRUE(leaves(7777).empty());
}

// A composite among its own parts, or parts that multiply, once took
// the process away for hours: each is cut, with a line in the log.
TEST_F(DataAccessInfoTest, CompositesThatNameThemselvesOrMultiplyAreCut) {
  std::string table =
      "1 | loop | V | 0 | 0 | 0 | 0 | +1, +0, +0, +0 | | | itself, thrice\n"
      "2 | leaf | 0 | 0 | 0 | 0 | 0 | d | | | a leaf\n";
  for (int key = 10; key < 16; ++key)
    table += std::to_string(key) + " | fan | V | 0 | 0 | 0 | 0 | " +
             "+1,+1,+1,+1,+1,+1,+1,+1 | | | eight of the next\n";
  table += "16 | leaf | 0 | 0 | 0 | 0 | 0 | d | | | a leaf\n";
  useTable(table);
  StderrCapture err;
  EXPECT_EQ((std::vector<unsigned long>{2}), leaves(1));
  std::vector<unsigned long> fan = leaves(10);
  EXPECT_LT(1000u, fan.size());
  EXPECT_GT(4096u, fan.size());
  EXPECT_EQ(std::vector<unsigned long>(fan.size(), 16), fan);
  std::string log = err.text();
  EXPECT_EQ(3, countOf(log, "PROBLEM: Composite data access key 1 includes "
                            "itself\n"));
  EXPECT_EQ(1, countOf(log, "PROBLEM: Composite data access key 10 has too "
                            "many parts\n"));
}

TEST_F(DataAccessInfoTest, TableKeysOverrideAndTemporaryFiles) {
  useTable(kTable);
  EXPECT_EQ(dataAccessDict(), dataAccessDict());
  EXPECT_EQ(13, dataAccessKeyCount());
  EXPECT_EQ(42u, dataAccessKeyAt(8));
  EXPECT_EQ(0u, dataAccessKeyAt(13));

  unsigned long key = 880000000UL + static_cast<unsigned long>(getpid());
  std::string path = "/tmp/" + std::to_string(key) + ".dataInfo";
  writeFile(path, std::to_string(key) + " | temp | 0|0|0|0|0 | t | | | x\n");
  DM_DataAccessInfo t(key);
  unlink(path.c_str());
  EXPECT_EQ(TextString("temp"), t.name());
  EXPECT_TRUE(t.temporary());

  resetDataAccessInfoForTests();
  writeFile(dir.file("override.txt"),
            "10 | overridden | 0 | 0 | 0 | 0 | 0 | o | | | override\n");
  setDataAccessOverride(dir.file("override.txt").c_str());
  StderrCapture err;
  EXPECT_EQ(TextString("overridden"), DM_DataAccessInfo(10).name());
  EXPECT_EQ(1, countOf(err.text(),
                       "EVENT: Overriding default data access info with " +
                           dir.file("override.txt") + "\n"));
}

TEST_F(DataAccessInfoTest, MissingTableIsTriedAgainAtTheNextUse) {
  useTableName(dir.file("later"));
  StderrCapture err;
  EXPECT_FALSE(DM_DataAccessInfo(10).isValid());
  EXPECT_EQ(nullptr, dataAccessDict());
  EXPECT_EQ(0, dataAccessKeyCount());
  std::string log = err.text();
  EXPECT_EQ(3, countOf(log, "PROBLEM: unable to get read data access info\n"));
  EXPECT_EQ(1, countOf(log, "PROBLEM: Unable to read DataAccessKey 10 from "
                            "dictionary\n"));
  writeFile(dir.file("later.txt"), kTable);
  EXPECT_EQ(TextString("plain"), DM_DataAccessInfo(10).name());
}

// The sample site's configuration names its table, which holds the keys of
// the products and points at their point directories.
TEST_F(DataAccessInfoTest, SampleSiteTable) {
  Config site;
  site.read(ZEPH_SOURCE_DIR "/site/data/zeph.config");
  TextString name;
  ASSERT_TRUE(site.get(kDictName, name));
  env.set("ZEPH_HOME", ZEPH_SOURCE_DIR "/site");
  useTableName(name.chars());
  const std::pair<unsigned long, std::string> products[] = {
      {10001, "/point/model/ETA/netcdf"}, {10002, "/point/model/AVN/netcdf"},
      {10005, "/point/GOES/netcdf"},      {10006, "/point/POES/netcdf"},
      {10007, "/point/CSW/netcdf"},       {10008, "/point/QuikScat/netcdf"},
      {79, "/point/acars/netcdf"}};
  StderrCapture err;
  for (const auto& p : products) {
    EXPECT_EQ(TextString(""), DM_DataAccessInfo(p.first).fileName());
    EXPECT_EQ(TextString((dataRoot() + p.second).c_str()), dmDirectory(p.first));
  }
  // The seven point products, 7 redbook and graphic keys, 13 radar keys.
  EXPECT_EQ(27, dataAccessKeyCount());
  EXPECT_EQ("", err.text());
}

}  // namespace
