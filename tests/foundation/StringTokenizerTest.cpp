#include "StringTokenizer.h"

#include <gtest/gtest.h>

#include <sstream>

namespace {

TEST(StringTokenizerTest, EmptyFieldsVanishWithoutReturnTokens) {
  StringTokenizer plain(TextString("a||b"), TextString("|"));
  EXPECT_EQ(2, plain.countTokens());
  EXPECT_STREQ("a", plain.nextToken().chars());
  EXPECT_STREQ("b", plain.nextToken().chars());
  EXPECT_FALSE(plain.hasMoreTokens());
  EXPECT_TRUE(plain.nextToken().isEmpty());

  StringTokenizer edges(TextString("|x|y|"), TextString("|"));
  EXPECT_EQ(2, edges.countTokens());
  EXPECT_STREQ("x", edges.nextToken().chars());
  EXPECT_STREQ("y", edges.nextToken().chars());
  EXPECT_EQ(0, edges.countTokens());

  StringTokenizer onlyBars(TextString("|||"), TextString("|"));
  EXPECT_EQ(0, onlyBars.countTokens());
  EXPECT_FALSE(onlyBars.hasMoreTokens());
}

TEST(StringTokenizerTest, ReturnTokensGivesDelimiterRuns) {
  StringTokenizer t(TextString("a||b"), TextString("|"), true);
  EXPECT_EQ(3, t.countTokens());
  EXPECT_STREQ("a", t.nextToken().chars());
  EXPECT_STREQ("||", t.nextToken().chars());
  EXPECT_STREQ("b", t.nextToken().chars());
  EXPECT_TRUE(t.nextToken().isEmpty());

  StringTokenizer mixed(TextString(",a, b"), TextString(", "), true);
  EXPECT_STREQ(",", mixed.nextToken().chars());
  EXPECT_STREQ("a", mixed.nextToken().chars());
  EXPECT_STREQ(", ", mixed.nextToken().chars());
  EXPECT_STREQ("b", mixed.nextToken().chars());
}

TEST(StringTokenizerTest, DefaultDelimitersAndPrinting) {
  StringTokenizer words(TextString(" one\ttwo\r\nthree \n"));
  EXPECT_EQ(3, words.countTokens());
  EXPECT_STREQ("one", words.nextToken().chars());
  std::ostringstream out;
  out << words;
  EXPECT_EQ(
      "StringTokenizer(str = \"\ttwo\r\nthree \n\", _delim = \" \t\n\r\", "
      "returnTokens = 0)",
      out.str());
  EXPECT_STREQ("two", words.nextToken().chars());
  EXPECT_STREQ("three", words.nextToken().chars());
  EXPECT_FALSE(words.hasMoreTokens());

  // A table line: the newline stays with the last field.
  StringTokenizer line(TextString("12001|TEMPERATURE|K|1|0|12\n"),
                       TextString("|"));
  EXPECT_EQ(6, line.countTokens());
  for (int i = 0; i < 5; ++i) line.nextToken();
  EXPECT_STREQ("12\n", line.nextToken().chars());
}

}  // namespace
