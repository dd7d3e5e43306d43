// The key dialect form by form, its compile errors with their words, and
// the wrappers' answers to null arguments and damaged programs.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "TestSupport.h"
#include "ZephRegexp.h"

namespace {

const struct Form {
  const char* pattern;
  const char* key;
  bool matches;
} kForms[] = {
    {".", "a", true}, {".", "", false}, {"^abc", "abcd", true},
    {"^abc", "xabc", false}, {"abc$", "xabc", true}, {"abc$", "abcx", false},
    {"^$", "", true}, {"^$", "a", false}, {"[abc]", "xbz", true},
    {"[abc]", "xyz", false}, {"[^abc]", "abc", false}, {"[^abc]", "abd", true},
    {"[a-c]x", "bx", true}, {"[a-c]x", "dx", false}, {"[]a]", "]", true},
    {"[^]a]", "]", false}, {"[^]a]", "b", true}, {"[a-]", "-", true},
    {"[\\n]", "\\", true}, {"[\\n]", "x", false}, {"(ab)+c", "ababc", true},
    {"(ab)+c", "ac", false}, {"a\\.b", "a.b", true}, {"a\\.b", "axb", false},
    {"\\*", "*", true}, {"ab*c", "ac", true}, {"ab*c", "abbbc", true},
    {"ab*c", "abxc", false}, {"abc+", "abcc", true}, {"abc+", "ab", false},
    {"abc*", "ab", true}, {"ab?c", "abbc", false}, {"ab?c", "ac", true},
    {"JUSA4|IUAX", "IUAX01", true}, {"^JUS", "XJUSA4", false},
    {"", "anything", true}, {"", "", true}, {"a|", "xyz", true},
    {"abc", "ABC", false}, {"caf\xe9", "le caf\xe9", true},
    {"a*ab", "aaab", true}, {"(a|ab)(c|bcd)(d*)$", "abcd", true},
    {"x.*y$", "x12y", true}, {"((a)(b))", "ab", true},
    {"(a+)+b", "aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaac", false},
};

TEST(RegexpTest, EachFormMatchesWhatItShould) {
  for (const Form& form : kForms) {
    ZephRegexp* expression = zephRegcomp(form.pattern);
    ASSERT_NE(expression, nullptr) << form.pattern;
    EXPECT_EQ(comparePattern(expression, form.key), form.matches)
        << "'" << form.pattern << "' in '" << form.key << "'";
    std::free(expression);
  }
}

TEST(RegexpTest, PatternsThatDontCompileSayWhy) {
  std::string groups23;
  for (int i = 0; i < 23; ++i) groups23 += "(a)";
  const struct {
    std::string pattern;
    const char* error;
  } kBad[] = {
      {"[z-a]", "invalid [] range"}, {"a**", "nested *?+"},
      {"a+?", "nested *?+"}, {"(a*)*", "*+ operand could be empty"},
      {"^*", "*+ operand could be empty"},
      {"(a|)+", "*+ operand could be empty"}, {"*a", "?+* follows nothing"},
      {"a|*b", "?+* follows nothing"}, {"(+a)", "?+* follows nothing"},
      {"(", "unmatched ()"}, {")", "unmatched ()"}, {"a(b", "unmatched ()"},
      {"[abc", "unmatched []"}, {"[]", "unmatched []"},
      {"abc\\", "trailing \\"}, {groups23 + "(a)", "too many ()"},
      {std::string(40000, 'a'), "regexp too big"},
  };
  for (const auto& bad : kBad) {
    StderrCapture err;
    EXPECT_EQ(zephRegcomp(bad.pattern.c_str()), nullptr);
    std::string text = err.text();
    EXPECT_NE(text.find(std::string("regexp(3): ") + bad.error),
              std::string::npos) << bad.pattern.substr(0, 30) << ": " << text;
    EXPECT_NE(text.find("zephRegcomp failure in " + bad.pattern.substr(0, 20)),
              std::string::npos);
  }
  for (const std::string& fits : {groups23, std::string(4000, 'a')}) {
    ZephRegexp* expression = zephRegcomp(fits.c_str());
    EXPECT_NE(expression, nullptr);
    std::free(expression);
  }
}

TEST(RegexpTest, NullArgumentsAndDamagedPrograms) {
  ZephRegexp* expression = zephRegcomp("^JUS");
  {
    StderrCapture err;
    EXPECT_FALSE(comparePattern(expression, nullptr));
    EXPECT_EQ(err.text(), "");
  }
  StderrCapture err;
  EXPECT_EQ(zephRegcomp(nullptr), nullptr);
  EXPECT_FALSE(comparePattern(nullptr, "JUSA41"));
  reinterpret_cast<unsigned char*>(expression)[0] = 0;
  EXPECT_FALSE(comparePattern(expression, "JUSA41"));
  EXPECT_EQ(err.text(),
            "regexp(3): NULL argumentBUG: zephRegcomp failure in NULL\n"
            "regexp(3): NULL parameterregexp(3): corrupted program");
  std::free(expression);
}

}  // namespace
