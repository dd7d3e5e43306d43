#include "InfoFileServer.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "SearchEnvironment.h"
#include "TestSupport.h"

namespace {

std::vector<std::string> defaults() {
  std::vector<std::string> paths;
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
                          "home", "home/data", "plain", "p1", "p2"})
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
  void TearDown() override {
    ASSERT_EQ(0, chdir(oldDirectory.c_str()));
  }
  // The path findInfoFile answers, and removes that file.
  std::string findAndRemove(const char* name) {
    std::string found = findInfoFile(name).chars();
    if (!found.empty()) unlink(found.c_str());
    return found;
  }

  TempDir dir;
  SearchEnvironment env;
  std::string root;
  std::string oldDirectory;
};

TEST_F(InfoFileServerTest, StandardDirectoriesThenPlainName) {
  EXPECT_EQ((std::vector<std::string>{root + "loc/site/",
                                      root + "natl/nationalData/",
                                      root + "home/data/", ""}),
            defaults());
  for (const char* d : {"loc/site/", "natl/nationalData/", "home/data/",
                        "plain/"})
    writeFile(root + d + "t.txt", "x\n");
  EXPECT_EQ(root + "loc/site/t.txt", findAndRemove("t.txt"));
  EXPECT_EQ(root + "natl/nationalData/t.txt", findAndRemove("t.txt"));
  EXPECT_EQ(root + "home/data/t.txt", findAndRemove("t.txt"));
  EXPECT_TRUE(infoFileExists("t.txt"));
  EXPECT_EQ("t.txt", findAndRemove("t.txt"));
  EXPECT_EQ("", findAndRemove("t.txt"));
  EXPECT_STREQ("t.txt", lastInfoFilePath().chars());  // the last one tried
  EXPECT_EQ(nullptr, openInfoFile("t.txt"));
}

TEST_F(InfoFileServerTest, VariableWithAndWithoutPlus) {
  env.set("FILE_SERVER_DEFAULT_PATHS", " +" + root + "p1/\t" + root + "p2/");
  EXPECT_EQ((std::vector<std::string>{root + "p1/", root + "p2/",
                                      root + "loc/site/",
                                      root + "natl/nationalData/",
                                      root + "home/data/", ""}),
            defaults());

  env.set("FILE_SERVER_DEFAULT_PATHS", root + "p1/ " + root + "p2/");
  EXPECT_EQ((std::vector<std::string>{root + "p1/", root + "p2/", ""}),
            defaults());
  writeFile(root + "home/data/only-home.txt", "x\n");
  writeFile(root + "plain/here.txt", "x\n");
  EXPECT_FALSE(infoFileExists("only-home.txt"));
  EXPECT_TRUE(infoFileExists("here.txt"));

  // "+" places the plain name; repeated entries keep their first place.
  env.set("FILE_SERVER_DEFAULT_PATHS",
          root + "p1/ + ${ZEPH_HOME}/ " + root + "p1/ " + root + "home/");
  EXPECT_EQ((std::vector<std::string>{root + "p1/", "", root + "home/"}),
            defaults());
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
  const char* name = "${ZEPH_HOME}/../p1/ p2/|one.txt two.txt";
  mkdir((root + "plain/p2").c_str(), 0755);
  for (const char* d : {"plain/", "p1/", "plain/p2/", "home/data/"})
    writeFile(root + d + "one.txt", "x\n");
  writeFile(root + "plain/two.txt", "x\n");
  EXPECT_EQ("one.txt", findAndRemove(name));
  EXPECT_EQ(root + "home/../p1/one.txt", findAndRemove(name));
  EXPECT_EQ("p2/one.txt", findAndRemove(name));
  EXPECT_EQ("two.txt", findAndRemove(name));
  EXPECT_EQ("", findAndRemove(name));

  // A leading "+" searches the defaults first, then the name's own.
  writeFile(root + "p1/three.txt", "x\n");
  EXPECT_EQ(root + "p1/three.txt", findAndRemove((root + "p1/|three.txt").c_str()));
  writeFile(root + "p1/three.txt", "x\n");
  writeFile(root + "home/data/three.txt", "x\n");
  EXPECT_EQ(root + "home/data/three.txt",
            findAndRemove(("+" + root + "p1/|three.txt").c_str()));
  EXPECT_EQ(root + "p1/three.txt",
            findAndRemove(("+" + root + "p1/|three.txt").c_str()));
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
  EXPECT_STREQ("a", entries[0]);
  EXPECT_STREQ("b", entries[1]);
  EXPECT_STREQ("c", entries[2]);
  EXPECT_STREQ("", entries[3]);

  char limited[] = "a|b|c";
  EXPECT_EQ(2, splitList(limited, entries, 2, '|'));
  EXPECT_STREQ("b", entries[1]);
  EXPECT_EQ(0, splitList(limited, entries, 0, '|'));

  char tabs[] = "a\t\tb ";  // a white-space delimiter still delimits
  ASSERT_EQ(3, splitList(tabs, entries, 8, '\t'));
  EXPECT_STREQ("", entries[1]);
  EXPECT_STREQ("b", entries[2]);
}

}  // namespace
