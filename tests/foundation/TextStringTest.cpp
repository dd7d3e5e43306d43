#include "TextString.h"

#include <gtest/gtest.h>

#include <string>

#include "TestSupport.h"

namespace {

const char kIndexBug[] = "BUG: index out of range in TextString::checkIndex() ";

TEST(TextStringTest, CopiesShareUntilWrittenAndIndexedTextsStopSharing) {
  TextString a("hello");
  TextString b(a), c(a);
  EXPECT_TRUE(a.sharesWith(b));
  b += " world";
  c.toUpper();
  EXPECT_FALSE(a.sharesWith(b));
  EXPECT_STREQ("hello", a.chars());
  EXPECT_STREQ("hello world", b.chars());
  EXPECT_STREQ("HELLO", c.chars());

  // Once a reference into the text is out, copies must not share it, or a
  // write through the reference would show in them.
  char& first = a[0];
  TextString d(a), e;
  e = a;
  EXPECT_FALSE(a.sharesWith(d));
  EXPECT_FALSE(a.sharesWith(e));
  first = 'j';
  EXPECT_STREQ("jello", a.chars());
  EXPECT_STREQ("hello", d.chars());
  EXPECT_STREQ("hello", e.chars());

  // Empty texts share one representation, whatever made them.
  TextString empty, blank(""), none(static_cast<const char*>(nullptr));
  EXPECT_TRUE(empty.sharesWith(blank));
  EXPECT_TRUE(empty.sharesWith(none));
  none += 'x';
  EXPECT_STREQ("x", none.chars());
  EXPECT_STREQ("", empty.chars());
}

TEST(TextStringTest, CapacityRule) {
  TextString abc("abc");
  EXPECT_EQ(3u, abc.capacity());
  abc += 'd';
  EXPECT_EQ(14u, abc.capacity());
  const char* before = abc.chars();
  abc += "efghij";  // the fast path uses the margin without reallocating
  EXPECT_EQ(before, abc.chars());
  abc += "klmno";
  EXPECT_EQ(25u, abc.capacity());

  TextString big(std::string(200, 'x').c_str());
  big += 'y';
  EXPECT_EQ(221u, big.capacity());  // 201 * 1.1 beats 201 + 10
  TextString grown(std::string(199, 'x').c_str());
  grown.insert(0, 'y');
  EXPECT_EQ(220u, grown.capacity());
  TextString counted("abcdef", 4);
  EXPECT_STREQ("abcd", counted.chars());
  EXPECT_EQ(4u, counted.capacity());
}

TEST(TextStringTest, StripRemoveInsertAndParts) {
  TextString blanks("     ");
  blanks.stripTrailingBlanks();
  EXPECT_EQ(0u, blanks.length());
  EXPECT_EQ(5u, blanks.capacity());
  TextString padded("  a b\t ");
  padded.stripLeadingBlanks();
  padded.stripTrailingBlanks();
  EXPECT_STREQ("a b\t", padded.chars());  // a tab isn't a blank

  TextString t("abcdef");
  t.remove(1, 2);
  t.remove(2, 100);
  EXPECT_STREQ("ad", t.chars());
  t.insert(1, TextString("XY"));
  t.insert(0, 'Q');
  EXPECT_STREQ("QaXYd", t.chars());

  TextString four("abcd");
  EXPECT_TRUE(four.right(10).sharesWith(four));
  EXPECT_STREQ("cd", four.right(2).chars());
  EXPECT_STREQ("ab", four.left(2).chars());
  EXPECT_STREQ("abcd", four.left(9).chars());
  EXPECT_STREQ("bc", four.substring(1, 2).chars());
  EXPECT_STREQ("cd", four.substring(2, 50).chars());

  TextString joined = TextString("ab") + "cd" + 'e' + TextString("f");
  EXPECT_STREQ("abcdef", joined.chars());
  TextString self("xy");
  self += self;
  self.insert(1, self);
  EXPECT_STREQ("xxyxyyxy", self.chars());
}

TEST(TextStringTest, BadIndexesAreLoggedAndReplaced) {
  TextString t("abc");
  StderrCapture err;
  t[7] = 'z';  // writes into the stand-in, not the text
  EXPECT_EQ('\0', t[5]);
  EXPECT_EQ('\0', t[-1]);
  EXPECT_TRUE(t.substring(3, 1).isEmpty());
  t.insert(10, 'd');
  t.remove(9, 1);
  EXPECT_STREQ("abcd", t.chars());
  std::string log = err.text();
  EXPECT_EQ(6, countOf(log, kIndexBug));
  EXPECT_NE(std::string::npos, log.find(" stringSize=3 user-index=7\n"));
  EXPECT_NE(std::string::npos, log.find(" user-index=4294967295\n"));
}

TEST(TextStringTest, SearchForwardAndBackward) {
  unsigned pos = 99;
  StderrCapture err;
  EXPECT_FALSE(TextString().search('.', pos));
  EXPECT_FALSE(TextString().search('.', pos, 3));  // the one bad start
  EXPECT_EQ(99u, pos);

  TextString name("a.b.c");
  ASSERT_TRUE(name.search('.', pos));
  EXPECT_EQ(1u, pos);
  ASSERT_TRUE(name.search('.', pos, 2));
  EXPECT_EQ(3u, pos);  // counted from the start of the text
  ASSERT_TRUE(name.search(TextString("b.c"), pos, 1));
  EXPECT_EQ(2u, pos);
  EXPECT_FALSE(name.search(TextString("x"), pos));

  ASSERT_TRUE(name.search('.', pos, name.length() - 1, TextString::BACKWARD));
  EXPECT_EQ(3u, pos);
  ASSERT_TRUE(name.search('.', pos, 2, TextString::BACKWARD));
  EXPECT_EQ(1u, pos);
  ASSERT_TRUE(TextString("xabc").search('x', pos, 3, TextString::BACKWARD));
  EXPECT_EQ(0u, pos);
  TextString words("abcabc");
  ASSERT_TRUE(words.search(TextString("abc"), pos, 5, TextString::BACKWARD));
  EXPECT_EQ(3u, pos);
  ASSERT_TRUE(words.search(TextString("abc"), pos, 4, TextString::BACKWARD));
  EXPECT_EQ(0u, pos);  // the second "abc" doesn't lie wholly in the window

  EXPECT_FALSE(
      words.search('a', pos, 0, static_cast<TextString::SearchDir>(2)));
  std::string log = err.text();
  EXPECT_EQ(1, countOf(log, kIndexBug));
  EXPECT_EQ(2, countOf(log, "\n"));  // and no other line
  EXPECT_NE(std::string::npos, log.find("BUG: Unknown SearchDir specified\n"));
}

TEST(TextStringTest, ComparisonAndAssignment) {
  TextString a("abc"), c("abc");
  EXPECT_TRUE(a == c);
  EXPECT_TRUE(a != TextString("abd"));
  EXPECT_TRUE(a < TextString("abd"));
  EXPECT_TRUE(TextString("ab") < a);
  EXPECT_TRUE(TextString("B") < TextString("a"));  // strcmp order
  EXPECT_TRUE(TextString("\xe9") > TextString("z"));
  TextString one;
  one = 'q';
  EXPECT_STREQ("q", one.chars());
  one = "longer";
  EXPECT_EQ(6u, one.capacity());
}

}  // namespace
