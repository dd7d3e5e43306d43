#include "TextFileParser.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "SearchEnvironment.h"
#include "TestSupport.h"

namespace {

class TextFileParserTest : public ::testing::Test {
 protected:
  // Each line with its location behind it.
  std::vector<std::string> readAll(TextFileParser& parser) {
    std::vector<std::string> lines;
    TextString line;
    while (parser.nextLine(line))
      lines.push_back(std::string(line.chars()) + " @ " +
                      parser.location().chars());
    return lines;
  }
  std::string at(long line, const std::string& name) {
    return " @ line " + std::to_string(line) + " in file " + dir.file(name);
  }

  SearchEnvironment env;
  TempDir dir;
};

TEST_F(TextFileParserTest, CommentsIncludesAndLocations) {
  env.set("FILE_SERVER_DEFAULT_PATHS", dir.path() + "/");
  writeFile(dir.file("inner.txt"), "inner # comment\n\n#include \"gone\"\n");
  writeFile(dir.file("main.txt"),
            "# comment\n"
            "one#two\n"
            "// comment\n"
            "\n"
            "#include \"inner.txt\"\n"
            "#include no quotes\n"
            "a // b\n"
            "last");
  TextFileParser parser;
  EXPECT_FALSE(parser.open("absent.txt"));
  ASSERT_TRUE(parser.open("main.txt"));
  EXPECT_EQ((std::vector<std::string>{"one" + at(2, "main.txt"),
                                      "inner " + at(1, "inner.txt"),
                                      "a // b" + at(7, "main.txt"),
                                      "last" + at(8, "main.txt")}),
            readAll(parser));
  TextString line;
  EXPECT_FALSE(parser.nextLine(line));
}

TEST(TextFileParserTokens, WhiteSpaceAndDelimiter) {
  SeqOf<TextString> list;
  EXPECT_EQ(3, TextFileParser::tokens(" knat\t 35.2  -97.4 ", list));
  EXPECT_STREQ("-97.4", list[2].chars());
  EXPECT_EQ(4, TextFileParser::tokens(" a | b||c ", '|', list));
  EXPECT_STREQ("b", list[1].chars());
  EXPECT_STREQ("", list[2].chars());
  EXPECT_STREQ("c", list[3].chars());
  EXPECT_EQ(0, TextFileParser::tokens("  ", '|', list));
  EXPECT_EQ(0, list.length());
}

}  // namespace
