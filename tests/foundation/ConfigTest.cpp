#include "Config.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "SearchEnvironment.h"
#include "TestSupport.h"

namespace {

class ConfigTest : public ::testing::Test {
 protected:
  // Reads the text as a configuration file; what was logged in `log`.
  void load(const std::string& text) {
    writeFile(dir.file("test.config"), text);
    StderrCapture err;
    config.read(dir.file("test.config").c_str());
    log = err.text();
  }

  SearchEnvironment env;
  TempDir dir;
  Config config;
  std::string log;
};

TEST_F(ConfigTest, BlanksQuotesAndComments) {
  load("TextString = name , label,path\n"
       "  SeqOfTextString=list\n"
       "int=count\n"
       "A . name :  hello \n"
       "A.label: \"two  words = here\" \n"
       "A.path: a#b\n"
       "# a comment line\n"
       "A.list : \"x y\" , z , \"w,v\"\n"
       "A.count: 0x10 // hexadecimal\n");
  EXPECT_EQ("", log);
  TextString text;
  EXPECT_TRUE(config.get("A.name", text));
  EXPECT_STREQ("hello", text.chars());
  EXPECT_TRUE(config.get("A.label", text));
  EXPECT_STREQ("two  words = here", text.chars());
  EXPECT_TRUE(config.get("A.path", text));
  EXPECT_STREQ("a#b", text.chars());
  SeqOf<TextString> list;
  ASSERT_TRUE(config.get("A.list", list));
  ASSERT_EQ(3, list.length());
  EXPECT_STREQ("x y", list[0].chars());
  EXPECT_STREQ("w,v", list[2].chars());
  int count = 0;
  EXPECT_TRUE(config.get("A.count", count));
  EXPECT_EQ(16, count);
}

TEST_F(ConfigTest, EveryTypeAndTheWrongOne) {
  load("int=i\nfloat=f\nCartCoord2DFloat=fc\nCartCoord2DInt=ic\n"
       "SeqOfInt=ia\nSeqOfFloat=fa\nSeqOfCartCoord2DFloat=fca\n"
       "CartDomain2DFloat=fd,flat\n"
       "S.i: 010xyz\nS.f: -2.5e1\nS.fc: (1.5, -2)\nS.ic: 10,20\n"
       "S.ia: 1, 2x, 3\nS.fa: .5,1\nS.fca: (1,2),(3,4)\n"
       "S.fd: ((0,0),(10,20))\nT.fd: (1,1),(2,2)\nS.flat: (5,5),(1,1)\n");
  int i = 0;
  float f = 0;
  CartCoord2D<float> fc;
  CartCoord2D<int> ic;
  SeqOf<int> ia;
  SeqOf<float> fa;
  SeqOf<CartCoord2D<float>> fca;
  CartDomain2D<float> fd;
  EXPECT_TRUE(config.get("S.i", i));
  EXPECT_EQ(8, i);  // octal, the rest dropped
  EXPECT_TRUE(config.get("S.f", f));
  EXPECT_FLOAT_EQ(-25.0f, f);
  EXPECT_TRUE(config.get("S.fc", fc));
  EXPECT_EQ(CartCoord2D<float>(1.5f, -2.0f), fc);
  EXPECT_TRUE(config.get("S.ic", ic));
  EXPECT_EQ(CartCoord2D<int>(10, 20), ic);
  ASSERT_TRUE(config.get("S.ia", ia));
  ASSERT_EQ(3, ia.length());
  EXPECT_EQ(2, ia[1]);
  ASSERT_TRUE(config.get("S.fa", fa));
  EXPECT_FLOAT_EQ(0.5f, fa[0]);
  ASSERT_TRUE(config.get("S.fca", fca));
  ASSERT_EQ(2, fca.length());
  EXPECT_EQ(CartCoord2D<float>(3, 4), fca[1]);
  EXPECT_TRUE(config.get("S.fd", fd));
  EXPECT_EQ(CartDomain2D<float>(CartCoord2D<float>(0, 0),
                                CartCoord2D<float>(10, 20)),
            fd);
  EXPECT_TRUE(config.get("T.fd", fd));
  EXPECT_FLOAT_EQ(1.0f, fd.width());
  EXPECT_TRUE(config.get("S.flat", fd));
  EXPECT_TRUE(fd.isNull());
  EXPECT_EQ(1, countOf(log, "BUG: negative extent in CartDomain constructor\n"));

  EXPECT_FALSE(config.get("S.i", f));
  EXPECT_FALSE(config.get("S.fc", ic));
  EXPECT_FALSE(config.get("S.none", i));
  EXPECT_EQ(8, i);  // left alone

  config.set("S.i", 9);
  config.set("S.new", TextString("added"));
  EXPECT_TRUE(config.get("S.i", i));
  EXPECT_EQ(9, i);
  std::ostringstream dump;
  config.configDump(dump);
  std::string text = dump.str();
  EXPECT_EQ(0u, text.find("\nconfigDump Output: Contents of private Config "
                          "Dictionaries.\nDict<TextString,TextString>: "
                          "Number of elements in _tsDict is 1\n"
                          "_tsDict key: S.new; _tsDict data: added\n"
                          "\nTextString Array Dictionary: "));
  for (const char* piece :
       {"\nCartCoord2D<float> Array Dictionary: Number of elements in _fcaDict "
        "is 1\n_fcaDict key: S.fca\n_fcaDict data [0] is (1,2)\n",
        "_fdDict key: S.flat; _fdDict data: [Null Domain]\n",
        "\nFloat Dictionary: Number of elements in _floatDict is 1\n"})
    EXPECT_NE(std::string::npos, text.find(piece)) << piece;
}

TEST_F(ConfigTest, SharedWordsAndReplacedValues) {
  load("int=numMins\nA.numMins: 3\nB.numMins: 4\nA.numMins: 5\n");
  int a = 0, b = 0;
  EXPECT_TRUE(config.get("A.numMins", a));
  EXPECT_TRUE(config.get("B.numMins", b));
  EXPECT_EQ(5, a);
  EXPECT_EQ(4, b);
  EXPECT_EQ("EVENT: A.numMins existed, has been replaced by new value.\n", log);
}

TEST_F(ConfigTest, RefusedLines) {
  load("// a comment line is no line\n"
       "int=count,size\n"
       "justtext\n"
       "=int\n"
       "int=a,b,\n"
       "float=size\n"
       "nope:5\n"
       "A.unknown: \"anything\"\n"
       "double=ratio\n"
       "A.ratio: 1.5\n"
       "A.count: abc\n"
       "TextString=name\n"
       "A.name: \"x\"y\n"
       "A.count:\n"
       "A.name: \"k=v\"\n"
       "A.size: 2.5\n");
  const std::string expected =
      "PROBLEM: Config line number2 (text of line is \\justtext\\)is not a "
      "recognized config line; ignored.\n"
      "PROBLEM: Config line number3 (text of line is \\=int\\)is not a "
      "recognized config line; ignored.\n"
      "PROBLEM: Definition line 4 failed. Text of line is \\int=a,b,\\\n"
      "PROBLEM: Name size defined more than once in Config file.\n"
      "PROBLEM: Config file line 6; couldn't get type-name following period, "
      "name=nope\n"
      "PROBLEM: Assignment line 6 failed. Text of line is \\nope:5\\\n"
      "PROBLEM: A.unknown's type not known, line 7.  Definition line not "
      "found for unknown\n"
      "PROBLEM: Assignment line 7 failed. Text of line is "
      "\\A.unknown:\"anything\"\\\n"
      "PROBLEM: System error.  Type double on line 9 is not in Config class; "
      "ignoring.\n"
      "PROBLEM: Assignment line 9 failed. Text of line is \\A.ratio:1.5\\\n"
      "PROBLEM: incorrect int format, line 10 ignored.\n"
      "PROBLEM: Assignment line 10 failed. Text of line is \\A.count:abc\\\n"
      "PROBLEM: extraneous data on line following CartCoord2DFloat. Line 12 "
      "ignored.\n"
      "PROBLEM: Assignment line 12 failed. Text of line is "
      "\\A.name:\"x\"y\\\n"
      "PROBLEM: Assignment line 13 failed. Text of line is \\A.count:\\\n";
  EXPECT_EQ(expected, log);
  TextString name;
  EXPECT_TRUE(config.get("A.name", name));
  EXPECT_STREQ("k=v", name.chars());
  float size = 0;
  EXPECT_TRUE(config.get("A.size", size));  // the later definition's type
  int count = 0;
  EXPECT_FALSE(config.get("A.count", count));
}

TEST_F(ConfigTest, MissingOrEmptyFile) {
  load("// nothing but a comment\n");
  EXPECT_EQ("PROBLEM: Config file " + dir.file("test.config") + " empty\n", log);
  StderrCapture err;
  config.read(dir.file("absent.config").c_str());
  EXPECT_EQ("PROBLEM: Config file " + dir.file("absent.config") + " empty\n",
            err.text());
  int value = 0;
  EXPECT_FALSE(config.get("A.count", value));
}

TEST(ConfigInstanceTest, SiteConfigurationAlongTheSearchPath) {
  SearchEnvironment env;
  env.set("ZEPH_HOME", ZEPH_SOURCE_DIR "/site");
  StderrCapture err;
  Config& config = Config::instance();
  EXPECT_EQ(&config, &Config::instance());
  EXPECT_EQ(0, countOf(err.text(), "PROBLEM"));
  int bytes = 0, minutes = 0;
  EXPECT_TRUE(config.get("SocketBufferSize.numBytes", bytes));
  EXPECT_TRUE(config.get("SocketConnectionTimeout.numMins", minutes));
  EXPECT_GT(bytes, 0);
  EXPECT_GT(minutes, 0);
  SeqOf<TextString> targets;
  EXPECT_TRUE(config.get("SocketConnection.namedTargets", targets));
  EXPECT_EQ(0, targets.length() % 3);
  EXPECT_STREQ("NOTIFICATION_SERVER", targets[0].chars());
  TextString name;
  EXPECT_TRUE(config.get("DataAccessInfo.dictName", name));
  EXPECT_TRUE(config.get("radarStationInfo.dictName", name));
}

}  // namespace
