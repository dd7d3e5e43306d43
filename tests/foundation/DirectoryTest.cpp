#include "Directory.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utime.h>

#include <algorithm>
#include <string>
#include <vector>

#include "TestSupport.h"

namespace {

using Names = std::vector<std::string>;

Names namesOf(const Directory& d) {
  Names names;
  for (int i = 0; i < d.length(); ++i) names.push_back(d[i].chars());
  return names;
}

class DirectoryTest : public ::testing::Test {
 protected:
  void SetUp() override { listing.directory = dir.path().c_str(); }
  Names scanned() {
    listing.scan();
    return namesOf(listing);
  }
  void make(const std::string& name, long mtime) {
    writeFile(dir.file(name), "x");
    struct utimbuf times = {mtime, mtime};
    utime(dir.file(name).c_str(), &times);
  }

  TempDir dir;
  Directory listing;
};

TEST_F(DirectoryTest, ListingRules) {
  for (const char* name : {"b.txt", "a.txt", ".hidden", "IUAX01", "IUAX03",
                           "iuax02", "a.bin"})
    make(name, 1000000000L);
  Names all = scanned();
  std::sort(all.begin(), all.end());
  EXPECT_EQ((Names{"IUAX01", "IUAX03", "a.bin", "a.txt", "b.txt", "iuax02"}),
            all);
  listing.showHidden = true;
  listing.sorted = true;
  EXPECT_EQ((Names{".", "..", ".hidden", "IUAX01", "IUAX03", "a.bin", "a.txt",
                   "b.txt", "iuax02"}),
            scanned());
  EXPECT_STREQ("", listing[9].chars());
  EXPECT_STREQ("", listing[-1].chars());

  listing.showHidden = false;
  listing.prefix = "a.";
  listing.suffix = ".txt";
  EXPECT_EQ((Names{"a.txt"}), scanned());

  listing.prefix = listing.suffix = "";
  listing.useRegexp = true;
  listing.pattern = "IUA.0[1|2]";  // the bracket is a set, bar included
  EXPECT_EQ((Names{"IUAX01"}), scanned());
  listing.regexpMode = 1;
  EXPECT_EQ((Names{"IUAX01", "iuax02"}), scanned());
  listing.pattern = "^(a|b)\\.t";
  listing.regexpMode = 2;
  EXPECT_EQ((Names{"a.txt", "b.txt"}), scanned());
}

TEST_F(DirectoryTest, FailuresKeepTheNames) {
  make("a", 1000000000L);
  listing.scan();
  StderrCapture err;
  listing.useRegexp = true;
  listing.regexpMode = 4;
  listing.scan();
  listing.regexpMode = 0;
  listing.pattern = "a[";
  listing.scan();
  listing.useRegexp = false;
  listing.directory = dir.file("none").c_str();
  EXPECT_EQ((Names{"a"}), scanned());
  std::string text = err.text();
  EXPECT_EQ(1, countOf(text, "BUG: Unknown flag in regexpMatch.\n"));
  EXPECT_EQ(2, countOf(text, "BUG: "));  // regerror's own text
  EXPECT_EQ(1, countOf(text, "PROBLEM: error from opendir() for dir name: " +
                                 dir.file("none") +
                                 " - No such file or directory\n"));
}

TEST_F(DirectoryTest, PurgeRemovesOldFiles) {
  AbsTime cut(1500000000L);
  make("old1", cut.seconds() - 1);
  make("new", cut.seconds());
  make("old2", cut.seconds() - 86400);
  mkdir(dir.file("sub").c_str(), 0755);
  struct utimbuf times = {cut.seconds() - 5, cut.seconds() - 5};
  utime(dir.file("sub").c_str(), &times);
  listing.sorted = true;
  listing.scan();

  char before[4096];
  ASSERT_NE(nullptr, getcwd(before, sizeof before));
  StderrCapture err;
  EXPECT_FALSE(listing.purge(cut));  // "sub" can't be unlinked
  char after[4096];
  ASSERT_NE(nullptr, getcwd(after, sizeof after));
  EXPECT_STREQ(before, after);
  EXPECT_EQ((Names{"new", "sub"}), namesOf(listing));
  EXPECT_FALSE(access(dir.file("old1").c_str(), F_OK) == 0);
  std::string text = err.text();
  EXPECT_EQ(1, countOf(text, "EVENT: Valid time = Jul 14 17 02:40:00 GMT\n"));
  EXPECT_EQ(1, countOf(text, "EVENT: Removing old2\n"));
  EXPECT_EQ(1, countOf(text, "PROBLEM: unlink sub error: "));

  listing.directory = dir.file("gone").c_str();
  StderrCapture again;
  EXPECT_FALSE(listing.purge(cut));
  EXPECT_EQ(1, countOf(again.text(), "PROBLEM: Error in chdir to " +
                                         dir.file("gone") +
                                         ": No such file or directory\n"));
}

TEST_F(DirectoryTest, PurgeStopsAtAVanishedName) {
  for (const char* name : {"a", "b", "c"}) make(name, 1000000000L);
  listing.sorted = true;
  listing.scan();
  unlink(dir.file("b").c_str());
  StderrCapture err;
  EXPECT_FALSE(listing.purge(1));
  EXPECT_EQ((Names{"a", "b"}), namesOf(listing));
  EXPECT_TRUE(access(dir.file("a").c_str(), F_OK) == 0);
  EXPECT_EQ(1, countOf(err.text(), "PROBLEM: stat error on file b: "
                                   "No such file or directory\n"));
}

}  // namespace
