#include "TextString.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "TestSupport.h"

namespace {

const char kIndexBug[] = "BUG: index out of range in TextString::checkIndex() ";

TEST(TextStringTest, CopiesShareUntilWrittenAndIndexedTextsStopSharing) {
  TextString a("hello");
  TextString b(a);
  EXPECT_TRUE(a.sharesWith(b));

  b += " world";
  EXPECT_FALSE(a.sharesWith(b));
  EXPECT_STREQ("hello", a.chars());
  EXPECT_STREQ("hello world", b.chars());
  // The write went through the slow path and so left room to grow.
  EXPECT_EQ(b.length() + 10, b.capacity());

  TextString c(a);
  c.toUpper();
  EXPECT_STREQ("hello", a.chars());
  EXPECT_STREQ("HELLO", c.chars());

  // Once a reference into the text is out, copies must not share it, or a
  // write through the reference would show in them.
  char& first = a[0];
  TextString d(a);
  EXPECT_FALSE(a.sharesWith(d));
  first = 'j';
  EXPECT_STREQ("jello", a.chars());
  EXPECT_STREQ("hello", d.chars());
  TextString e(a);
  EXPECT_FALSE(a.sharesWith(e));
  TextString f;
  f = a;
  EXPECT_FALSE(a.sharesWith(f));
  EXPECT_TRUE(a == f);
}

TEST(TextStringTest, EmptyTextsShareOneRepresentation) {
  TextString a, b(""), c(static_cast<const char*>(nullptr));
  EXPECT_TRUE(a.sharesWith(b));
  EXPECT_TRUE(a.sharesWith(c));
  EXPECT_EQ(0u, a.length());
  EXPECT_STREQ("", c.chars());
  c += 'x';
  EXPECT_STREQ("x", c.chars());
  EXPECT_STREQ("", a.chars());
}

TEST(TextStringTest, CapacityRule) {
  TextString abc("abc");
  EXPECT_EQ(3u, abc.capacity());
  abc += 'd';
  EXPECT_EQ(4u, abc.length());
  EXPECT_EQ(14u, abc.capacity());
  // The fast path uses the margin without reallocating.
  const char* before = abc.chars();
  abc += "efghij";
  EXPECT_EQ(before, abc.chars());
  EXPECT_EQ(14u, abc.capacity());
  abc += "klmno";
  EXPECT_EQ(15u, abc.length());
  EXPECT_EQ(25u, abc.capacity());

  TextString big(std::string(200, 'x').c_str());
  EXPECT_EQ(200u, big.capacity());
  big += 'y';
  EXPECT_EQ(201u, big.length());
  EXPECT_EQ(221u, big.capacity());  // 201 * 1.1 beats 201 + 10
  TextString grown(std::string(199, 'x').c_str());
  grown.insert(0, 'y');
  EXPECT_EQ(220u, grown.capacity());

  TextString counted("abcdef", 4);
  EXPECT_STREQ("abcd", counted.chars());
  EXPECT_EQ(4u, counted.length());
  EXPECT_EQ(4u, counted.capacity());
}

TEST(TextStringTest, StripRemoveInsertAndParts) {
  TextString blanks("     ");
  blanks.stripTrailingBlanks();
  EXPECT_EQ(0u, blanks.length());
  EXPECT_EQ(5u, blanks.capacity());

  TextString padded("  a b\t ");
  padded.stripLeadingBlanks();
  EXPECT_STREQ("a b\t ", padded.chars());
  padded.stripTrailingBlanks();
  EXPECT_STREQ("a b\t", padded.chars());  // a tab isn't a blank

  TextString t("abcdef");
  t.remove(1, 2);
  EXPECT_STREQ("adef", t.chars());
  t.remove(2, 100);
  EXPECT_STREQ("ad", t.chars());
  t.insert(1, TextString("XY"));
  EXPECT_STREQ("aXYd", t.chars());
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
  EXPECT_STREQ("xyxy", self.chars());
  self.insert(1, self);
  EXPECT_STREQ("xxyxyyxy", self.chars());
}

TEST(TextStringTest, BadIndexesAreLoggedAndReplaced) {
  TextString t("abc");
  StderrCapture err;
  t[7] = 'z';  // writes into the stand-in, not the text
  EXPECT_EQ('\0', t[5]);
  EXPECT_EQ('\0', t[-1]);
  EXPECT_STREQ("abc", t.chars());
  EXPECT_TRUE(t.substring(3, 1).isEmpty());
  t.insert(10, 'd');
  EXPECT_STREQ("abcd", t.chars());
  t.remove(9, 1);
  EXPECT_STREQ("abcd", t.chars());
  std::string log = err.text();
  EXPECT_EQ(6, countOf(log, kIndexBug));
  EXPECT_NE(std::string::npos,
            log.find(" stringSize=3 user-index=7\n"));
  EXPECT_NE(std::string::npos, log.find(" user-index=4294967295\n"));
}

TEST(TextStringTest, SearchForwardAndBackward) {
  unsigned pos = 99;
  {
    StderrCapture err;
    EXPECT_FALSE(TextString().search('.', pos));
    EXPECT_EQ("", err.text());
  }
  {
    StderrCapture err;
    EXPECT_FALSE(TextString().search('.', pos, 3));
    EXPECT_EQ(1, countOf(err.text(), kIndexBug));
  }
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
  TextString leading("xabc");
  ASSERT_TRUE(leading.search('x', pos, 3, TextString::BACKWARD));
  EXPECT_EQ(0u, pos);
  TextString words("abcabc");
  ASSERT_TRUE(words.search(TextString("abc"), pos, 5, TextString::BACKWARD));
  EXPECT_EQ(3u, pos);
  ASSERT_TRUE(words.search(TextString("abc"), pos, 4, TextString::BACKWARD));
  EXPECT_EQ(0u, pos);  // the second "abc" doesn't lie wholly in the window

  StderrCapture err;
  EXPECT_FALSE(
      words.search('a', pos, 0, static_cast<TextString::SearchDir>(2)));
  EXPECT_NE(std::string::npos,
            err.text().find("BUG: Unknown SearchDir specified\n"));
}

TEST(TextStringTest, ComparisonHashAndOutput) {
  TextString a("abc"), b("abd"), c("abc"), ab("ab");
  EXPECT_TRUE(a == c);
  EXPECT_TRUE(a != b);
  EXPECT_TRUE(a < b);
  EXPECT_TRUE(ab < a);
  EXPECT_TRUE(TextString("B") < TextString("a"));  // strcmp order
  EXPECT_TRUE(TextString("\xe9") > TextString("z"));
  EXPECT_EQ(a.hash(), c.hash());
  EXPECT_EQ(0u, TextString().hash());
  EXPECT_LT(a.hash(), 65536u);

  TextString one;
  one = 'q';
  EXPECT_STREQ("q", one.chars());
  one = "longer";
  EXPECT_EQ(6u, one.capacity());
  std::ostringstream out;
  out << one;
  EXPECT_EQ("longer", out.str());
}

}  // namespace
