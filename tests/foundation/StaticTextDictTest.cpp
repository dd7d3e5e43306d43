#include "StaticTextDict.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "SearchEnvironment.h"
#include "TestSupport.h"

namespace {

using Keys = std::vector<unsigned long>;
using Lines = std::vector<std::string>;

// Records are copies of their lines; the table counts what it was asked
// to make and destroy.
class LineTable : public StaticTextDict {
 public:
  LineTable(const std::string& file, int ringSize,
            const std::string& tempName = "")
      : StaticTextDict(file.c_str(), ringSize, tempName.c_str()) {}
  ~LineTable() override { releaseRecords(); }

  std::string line(unsigned long key) {
    void* record = lookup(key);
    return record ? *static_cast<std::string*>(record) : "<null>";
  }

  Keys made;
  Lines destroyed;

 protected:
  void* makeRecord(unsigned long key, const char* line) override {
    made.push_back(key);
    return new std::string(line);
  }
  void destroyRecord(void* record) override {
    std::string* text = static_cast<std::string*>(record);
    destroyed.push_back(*text);
    delete text;
  }
};

long fakeNow = 1000000000L;
AbsTime fakeClock() { return AbsTime(fakeNow); }

class StaticTextDictTest : public ::testing::Test {
 protected:
  void TearDown() override {
    StaticTextDict::setClockForTests(nullptr);
    for (const std::string& f : tempFiles) unlink(f.c_str());
  }
  std::string tempFile(unsigned long key) {
    std::string path = "/tmp/" + std::to_string(key) + "." + tempName;
    tempFiles.push_back(path);
    return path;
  }

  SearchEnvironment env;
  TempDir dir;
  std::string tempName = "zephtest" + std::to_string(getpid());
  std::vector<std::string> tempFiles;
};

TEST_F(StaticTextDictTest, KeysOffsetsAndRecords) {
  writeFile(dir.file("inc.txt"), "77 | included\n");
  writeFile(dir.file("t.txt"),
            "// comment\n"
            "# comment\n"
            "12 | twelve\n"
            "\n"
            "   0x10 | sixteen\n"
            "0 | no entry\n"
            "#include \"" + dir.file("inc.txt") + "\"\n"
            "y10 | thirty-two\n"
            "\t\x01 control\n"
            "99 | last");
  LineTable table(dir.file("t.txt"), 0);
  EXPECT_EQ(6, table.nKeys());  // the key-0 line counts, with no entry
  Keys keys;
  for (int i = -1; i <= 5; ++i) keys.push_back(table.keyAt(i));
  EXPECT_EQ((Keys{0, 12, 16, 77, 32, 99, 0}), keys);
  EXPECT_TRUE(table.hasKey(77));
  EXPECT_FALSE(table.hasKey(0));
  EXPECT_TRUE(table.made.empty());  // nothing read yet

  EXPECT_EQ((Lines{"0x10 | sixteen", "77 | included", "y10 | thirty-two",
                   "99 | last", "0x10 | sixteen", "<null>", "<null>"}),
            (Lines{table.line(16), table.line(77), table.line(32),
                   table.line(99), table.line(16), table.line(0),
                   table.line(5)}));
  EXPECT_EQ((Keys{16, 77, 32, 99}), table.made);
  EXPECT_FALSE(table.lastFromTemp());
}

TEST_F(StaticTextDictTest, RingEvictsInOrderOfReading) {
  writeFile(dir.file("t.txt"), "1 a\n2 b\n3 c\n");
  LineTable table(dir.file("t.txt"), 2);
  StderrCapture err;
  table.line(1);
  table.line(2);
  table.line(1);  // still held: no reading
  EXPECT_TRUE(table.destroyed.empty());
  table.line(3);
  EXPECT_EQ((Lines{"1 a"}), table.destroyed);
  table.line(1);
  EXPECT_EQ((Lines{"1 a", "2 b"}), table.destroyed);
  EXPECT_EQ((Keys{1, 2, 3, 1}), table.made);
  EXPECT_EQ(1, countOf(err.text(), "EVENT: Rotating buffer cycled for file " +
                                       dir.file("t.txt") + "\n"));
}

TEST_F(StaticTextDictTest, TemporaryRecordsExpire) {
  StaticTextDict::setClockForTests(fakeClock);
  writeFile(dir.file("t.txt"), "1 table\n");
  LineTable table(dir.file("t.txt"), 0, tempName);
  writeFile(tempFile(500), "500 first\n");
  writeFile(tempFile(501), "502 wrong key\n");

  EXPECT_EQ("500 first", table.line(500));
  EXPECT_TRUE(table.lastFromTemp());
  EXPECT_TRUE(table.hasKey(500));
  writeFile(tempFile(500), "500 second\n");
  fakeNow += 599;
  EXPECT_EQ("500 first", table.line(500));
  fakeNow += 1;
  EXPECT_EQ("500 second", table.line(500));
  EXPECT_EQ((Lines{"500 first"}), table.destroyed);

  EXPECT_EQ("1 table", table.line(1));
  EXPECT_FALSE(table.lastFromTemp());
  EXPECT_EQ("<null>", table.line(501));
  EXPECT_EQ("<null>", table.line(503));  // no file at all
}

TEST_F(StaticTextDictTest, ReplacedFileIsReadAgainOnce) {
  std::string file = dir.file("t.txt");
  writeFile(file, "1 one\n2 two\n3 three\n");
  LineTable table(file, 0);
  EXPECT_EQ("1 one", table.line(1));

  writeFile(file, "// moved down\n3 three\n2 two again\n1 one\n4 four\n");
  StderrCapture err;
  EXPECT_EQ("2 two again", table.line(2));
  EXPECT_EQ(4, table.nKeys());
  EXPECT_EQ(1, countOf(err.text(), "EVENT: Reinitializing " + file +
                                       " in StaticTextDict\n"));
  EXPECT_EQ("4 four", table.line(4));

  // A mismatch that leaves the key out of the new table, then another:
  // two failures in a row end the table.
  writeFile(file, "#\n#\n7 seven\n8 eight\n");
  StderrCapture again;
  EXPECT_EQ("<null>", table.line(3));
  writeFile(file, "8 eight\n7 seven\n");
  EXPECT_EQ("<null>", table.line(8));
  EXPECT_EQ("<null>", table.line(7));
  EXPECT_EQ(1, countOf(again.text(),
                       "BUG: Consecutive failures to reinitialize " + file +
                           " table. No further lookups possible.\n"));
}

TEST_F(StaticTextDictTest, MissingAndEmptyFiles) {
  writeFile(dir.file("empty.txt"), "// nothing\n\n");
  StderrCapture err;
  LineTable missing(dir.file("none.txt"), 0);
  LineTable empty(dir.file("empty.txt"), 0);
  EXPECT_EQ(0, missing.nKeys());
  EXPECT_EQ(0, empty.nKeys());
  EXPECT_EQ("<null>", missing.line(1));
  EXPECT_EQ(0u, empty.keyAt(0));
  EXPECT_EQ("PROBLEM: Could not get any keys from " + dir.file("none.txt") +
                " in StaticTextDict\nPROBLEM: Could not open " +
                dir.file("empty.txt") + " in StaticTextDict\n",
            err.text());
}

}  // namespace
