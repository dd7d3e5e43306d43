#include "Config.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "SearchEnvironment.h"
#include "TestSupport.h"

namespace {

using Point = CartCoord2D<float>;
using Domain = CartDomain2D<float>;

// The value of `name`, which must be there.
template <class T>
T value(const Config& config, const char* name) {
  T found{};
  EXPECT_TRUE(config.get(name, found)) << name;
  return found;
}

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
  EXPECT_STREQ("hello", value<TextString>(config, "A.name").chars());
  EXPECT_STREQ("two  words = here",
               value<TextString>(config, "A.label").chars());
  EXPECT_STREQ("a#b", value<TextString>(config, "A.path").chars());
  SeqOf<TextString> list = value<SeqOf<TextString>>(config, "A.list");
  ASSERT_EQ(3, list.length());
  EXPECT_STREQ("x y", list[0].chars());
  EXPECT_STREQ("w,v", list[2].chars());
  EXPECT_EQ(16, value<int>(config, "A.count"));
}

TEST_F(ConfigTest, EveryTypeAndTheWrongOne) {
  load("int=i\nfloat=f\nCartCoord2DFloat=fc\nCartCoord2DInt=ic\n"
       "SeqOfInt=ia\nSeqOfFloat=fa\nSeqOfCartCoord2DFloat=fca\n"
       "CartDomain2DFloat=fd,flat\n"
       "S.i: 010xyz\nS.f: -2.5e1\nS.fc: (1.5, -2)\nS.ic: 10,20\n"
       "S.ia: 1, 2x, 3\nS.fa: .5,1\nS.fca: (1,2),(3,4)\n"
       "S.fd: ((0,0),(10,20))\nT.fd: (1,1),(2,2)\nS.flat: (5,5),(1,1)\n");
  EXPECT_EQ(8, value<int>(config, "S.i"));  // octal, the rest dropped
  EXPECT_FLOAT_EQ(-25.0f, value<float>(config, "S.f"));
  EXPECT_EQ(Point(1.5f, -2.0f), value<Point>(config, "S.fc"));
  EXPECT_EQ(CartCoord2D<int>(10, 20),
            value<CartCoord2D<int>>(config, "S.ic"));
  SeqOf<int> ia = value<SeqOf<int>>(config, "S.ia");
  ASSERT_EQ(3, ia.length());
  EXPECT_EQ(2, ia[1]);
  EXPECT_FLOAT_EQ(0.5f, value<SeqOf<float>>(config, "S.fa")[0]);
  SeqOf<Point> fca = value<SeqOf<Point>>(config, "S.fca");
  ASSERT_EQ(2, fca.length());
  EXPECT_EQ(Point(3, 4), fca[1]);
  EXPECT_EQ(Domain(Point(0, 0), Point(10, 20)), value<Domain>(config, "S.fd"));
  EXPECT_FLOAT_EQ(1.0f, value<Domain>(config, "T.fd").width());
  EXPECT_TRUE(value<Domain>(config, "S.flat").isNull());
  EXPECT_EQ(1,
            countOf(log, "BUG: negative extent in CartDomain constructor\n"));

  int i = 8;
  float f = 0;
  CartCoord2D<int> ic;
  EXPECT_FALSE(config.get("S.i", f));
  EXPECT_FALSE(config.get("S.fc", ic));
  EXPECT_FALSE(config.get("S.none", i));
  EXPECT_EQ(8, i);  // left alone

  config.set("S.new", TextString("added"));
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
  EXPECT_EQ(5, value<int>(config, "A.numMins"));
  EXPECT_EQ(4, value<int>(config, "B.numMins"));
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
  EXPECT_STREQ("k=v", value<TextString>(config, "A.name").chars());
  value<float>(config, "A.size");  // the later definition's type
  int count = 0;
  EXPECT_FALSE(config.get("A.count", count));
}

TEST_F(ConfigTest, MissingOrEmptyFile) {
  load("// nothing but a comment\n");
  EXPECT_EQ("PROBLEM: Config file " + dir.file("test.config") + " empty\n",
            log);
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
  EXPECT_GT(value<int>(config, "SocketBufferSize.numBytes"), 0);
  EXPECT_GT(value<int>(config, "SocketConnectionTimeout.numMins"), 0);
  SeqOf<TextString> targets =
      value<SeqOf<TextString>>(config, "SocketConnection.namedTargets");
  EXPECT_EQ(0, targets.length() % 3);
  EXPECT_STREQ("NOTIFICATION_SERVER", targets[0].chars());
  value<TextString>(config, "DataAccessInfo.dictName");
  value<TextString>(config, "radarStationInfo.dictName");
}

}  // namespace
