#include "StringTokenizer.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

namespace {

// Every token the tokenizer gives, after its count.
std::vector<std::string> tokensOf(StringTokenizer&& t) {
  std::vector<std::string> tokens{std::to_string(t.countTokens())};
  while (t.hasMoreTokens()) tokens.push_back(t.nextToken().chars());
  EXPECT_TRUE(t.nextToken().isEmpty());
  EXPECT_EQ(0, t.countTokens());
  return tokens;
}

TEST(StringTokenizerTest, DelimiterRunsWithAndWithoutReturnTokens) {
  using T = StringTokenizer;
  using Tokens = std::vector<std::string>;
  EXPECT_EQ((Tokens{"2", "a", "b"}), tokensOf(T("a||b", "|")));
  EXPECT_EQ((Tokens{"2", "x", "y"}), tokensOf(T("|x|y|", "|")));
  EXPECT_EQ((Tokens{"0"}), tokensOf(T("|||", "|")));
  EXPECT_EQ((Tokens{"3", "a", "||", "b"}), tokensOf(T("a||b", "|", true)));
  EXPECT_EQ((Tokens{"4", ",", "a", ", ", "b"}),
            tokensOf(T(",a, b", ", ", true)));
  // A table line: the newline stays with the last field.
  EXPECT_EQ((Tokens{"3", "12001", "K", "12\n"}),
            tokensOf(T("12001|K|12\n", "|")));
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
}

}  // namespace
