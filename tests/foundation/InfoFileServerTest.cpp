#include "InfoFileServer.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "SearchEnvironment.h"
#include "TestSupport.h"

namespace {

using Paths = std::vector<std::string>;

Paths defaults() {
  Paths paths;
  const SeqOf<TextString>& list = defaultInfoFilePaths();
  for (int i = 0; i < list.length(); ++i) paths.push_back(list[i].chars());
  return paths;
}

// A tree with the three standard directories below one temporary root, and
// the working directory in "plain" for names without a directory.
class InfoFileServerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    root = dir.path() + "/";
    for (const char* d : {"loc", "loc/site", "natl", "natl/nationalData",
                          "home", "home/data", "plain", "plain/p2", "p1", "p2"})
      mkdir((root + d).c_str(), 0755);
    env.set("ZEPH_LOCALIZATION_ROOT", root + "loc");
    env.set("ZEPH_LOCAL_SITE", "site");
    env.set("ZEPH_NATL_CONFIG_DATA", root + "natl");
    env.set("ZEPH_HOME", root + "home");
    char cwd[4096];
    ASSERT_NE(nullptr, getcwd(cwd, sizeof cwd));
    oldDirectory = cwd;
    ASSERT_EQ(0, chdir((root + "plain").c_str()));
  }
  void TearDown() override { ASSERT_EQ(0, chdir(oldDirectory.c_str())); }
  // Writes `file` in each of `dirs` below the root.
  void place(const char* file, const Paths& dirs) {
    for (const std::string& d : dirs) writeFile(root + d + file, "x\n");
  }
  // Each path findInfoFile answers for `name` in turn, as the one before is
  // removed, until it finds none.
  Paths found(const std::string& name) {
    Paths paths;
    std::string path;
    while (paths.size() < 9 &&
           !(path = findInfoFile(name.c_str()).chars()).empty()) {
      paths.push_back(path);
      unlink(path.c_str());
    }
    return paths;
  }

  TempDir dir;
  SearchEnvironment env;
  std::string root;
  std::string oldDirectory;
};

TEST_F(InfoFileServerTest, StandardDirectoriesThenPlainName) {
  EXPECT_EQ((Paths{root + "loc/site/", root + "natl/nationalData/",
                   root + "home/data/", ""}),
            defaults());
  place("t.txt", {"loc/site/", "natl/nationalData/", "home/data/", "plain/"});
  EXPECT_TRUE(infoFileExists("t.txt"));
  EXPECT_EQ((Paths{root + "loc/site/t.txt", root + "natl/nationalData/t.txt",
                   root + "home/data/t.txt", "t.txt"}),
            found("t.txt"));
  EXPECT_STREQ("t.txt", lastInfoFilePath().chars());  // the last one tried
  EXPECT_FALSE(infoFileExists("t.txt"));
  EXPECT_EQ(nullptr, openInfoFile("t.txt"));
}

TEST_F(InfoFileServerTest, VariableWithAndWithoutPlus) {
  env.set("FILE_SERVER_DEFAULT_PATHS", " +" + root + "p1/\t" + root + "p2/");
  EXPECT_EQ((Paths{root + "p1/", root + "p2/", root + "loc/site/",
                   root + "natl/nationalData/", root + "home/data/", ""}),
            defaults());

  env.set("FILE_SERVER_DEFAULT_PATHS", root + "p1/ " + root + "p2/");
  EXPECT_EQ((Paths{root + "p1/", root + "p2/", ""}), defaults());
  place("only-home.txt", {"home/data/"});
  place("here.txt", {"plain/"});
  EXPECT_FALSE(infoFileExists("only-home.txt"));
  EXPECT_TRUE(infoFileExists("here.txt"));

  // "+" places the plain name; repeated entries keep their first place.
  env.set("FILE_SERVER_DEFAULT_PATHS",
          root + "p1/ + ${ZEPH_HOME}/ " + root + "p1/ " + root + "home/");
  EXPECT_EQ((Paths{root + "p1/", "", root + "home/"}), defaults());
}

TEST_F(InfoFileServerTest, UnsetVariablesVanish) {
  unsetenv("ZEPH_LOCALIZATION_ROOT");
  unsetenv("ZEPH_LOCAL_SITE");
  resetInfoFileServerForTests();
  EXPECT_EQ("//", defaults()[0]);

  setenv("ZEPH_TEST_VALUE", "val", 1);
  unsetenv("ZEPH_TEST_UNSET");
  TextString text("${ZEPH_TEST_VALUE}/x/$ZEPH_TEST_UNSET/y$ZEPH_TEST_VALUE}z");
  expandVariables(text);
  EXPECT_STREQ("val/x//yvalz", text.chars());
  text = "$ZEPH_TEST_VALUE$ZEPH_TEST_VALUE${ZEPH_TEST_UNSET}";
  expandVariables(text);
  EXPECT_STREQ("valval", text.chars());
}

TEST_F(InfoFileServerTest, NamesWithTheirOwnDirectories) {
  // Paths: plain, "<root>/home/../p1/", then "p2/" below the working
  // directory; the defaults aren't searched.
  place("one.txt", {"plain/", "p1/", "plain/p2/", "home/data/"});
  place("two.txt", {"plain/"});
  EXPECT_EQ((Paths{"one.txt", root + "home/../p1/one.txt", "p2/one.txt",
                   "two.txt"}),
            found("${ZEPH_HOME}/../p1/ p2/|one.txt two.txt"));

  // A leading "+" searches the defaults first, then the name's own.
  place("three.txt", {"p1/"});
  EXPECT_EQ((Paths{root + "p1/three.txt"}), found(root + "p1/|three.txt"));
  place("three.txt", {"p1/", "home/data/"});
  EXPECT_EQ((Paths{root + "home/data/three.txt", root + "p1/three.txt"}),
            found("+" + root + "p1/|three.txt"));
}

TEST_F(InfoFileServerTest, CreateAlongTheDefaults) {
  env.set("FILE_SERVER_DEFAULT_PATHS", root + "missing/ " + root + "p1/");
  EXPECT_EQ(nullptr, createInfoFile(" \t"));
  FILE* file = createInfoFile("  ${ZEPH_LOCAL_SITE}.txt\n");
  ASSERT_NE(nullptr, file);
  fclose(file);
  EXPECT_EQ(root + "p1/site.txt", lastInfoFilePath().chars());
  EXPECT_TRUE(infoFileExists("site.txt"));
}

TEST(SplitListTest, EntriesTrimmedInPlace) {
  char text[] = "  a , b\t,c,";
  char* entries[8];
  ASSERT_EQ(4, splitList(text, entries, 8, ','));
  EXPECT_EQ((Paths{"a", "b", "c", ""}), Paths(entries, entries + 4));
  char limited[] = "a|b|c";
  EXPECT_EQ(2, splitList(limited, entries, 2, '|'));
  EXPECT_STREQ("b", entries[1]);
  EXPECT_EQ(0, splitList(limited, entries, 0, '|'));
  char tabs[] = "a\t\tb ";  // a white-space delimiter still delimits
  ASSERT_EQ(3, splitList(tabs, entries, 8, '\t'));
  EXPECT_EQ((Paths{"a", "", "b"}), Paths(entries, entries + 3));
}

}  // namespace
