#include "SeqOf.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "TestSupport.h"
#include "TextString.h"

namespace {

using Ints = std::vector<int>;

Ints contents(const SeqOf<int>& seq) {
  Ints out;
  for (int i = 0; i < seq.length(); ++i) out.push_back(seq[i]);
  return out;
}

SeqOf<int> sequence(Ints items) {
  return SeqOf<int>(static_cast<int>(items.size()), items.data());
}

TEST(SeqOfTest, CopyOnWrite) {
  SeqOf<int> a = sequence({1, 2, 3});
  SeqOf<int> b(a);
  EXPECT_TRUE(a.sharesWith(b));
  b.append(4);
  EXPECT_EQ((Ints{1, 2, 3}), contents(a));
  EXPECT_EQ((Ints{1, 2, 3, 4}), contents(b));

  // A sequence that gave out a reference is copied in full by every copy.
  int& first = a[0];
  SeqOf<int> c(a), d;
  d = a;
  EXPECT_FALSE(a.sharesWith(c));
  EXPECT_FALSE(a.sharesWith(d));
  first = 10;
  d[1] = 20;
  EXPECT_EQ((Ints{10, 2, 3}), contents(a));
  EXPECT_EQ((Ints{1, 2, 3}), contents(c));
  EXPECT_EQ((Ints{1, 20, 3}), contents(d));

  SeqOf<TextString> texts;
  texts.append(TextString("x"));
  texts.append(texts[0]);  // an element of itself, across a reallocation
  EXPECT_STREQ("x", texts[1].chars());
}

TEST(SeqOfTest, CapacityGrowsByTenThenTenPercent) {
  SeqOf<int> seq;
  Ints seen{seq.capacity()};
  for (int i = 0; i < 130; ++i) {
    seq.append(i);
    if (seen.back() != seq.capacity()) seen.push_back(seq.capacity());
  }
  EXPECT_EQ((Ints{0, 10, 20, 30, 40, 50, 60, 70, 80, 90, 100, 110, 121, 133}),
            seen);
  EXPECT_EQ(129, seq[129]);
}

TEST(SeqOfTest, SetLengthShrinksOnlyWhenMostlyUnused) {
  // The array is given back only when more than ten elements and more than
  // a tenth of it would lie unused; the edges of both rules.
  const struct {
    int capacity, length, kept;
  } cases[] = {{100, 95, 100}, {100, 90, 100}, {100, 89, 89}, {50, 40, 50},
               {50, 39, 39},   {200, 180, 200}, {200, 179, 179}, {3, 0, 3},
               {5, 2, 5}};
  for (const auto& c : cases) {
    SCOPED_TRACE(std::to_string(c.capacity) + " to " +
                 std::to_string(c.length));
    SeqOf<int> seq = sequence(Ints(c.capacity, 1));
    ASSERT_EQ(c.capacity, seq.capacity());
    seq.setLength(c.length);
    EXPECT_EQ(c.kept, seq.capacity());
    EXPECT_EQ(c.length, seq.length());
  }

  // Within capacity, elements past the length stay where they were;
  // growing past it gives default elements.
  SeqOf<int> kept = sequence({1, 2, 3, 4, 5});
  kept.setLength(2);
  kept.setLength(4);
  EXPECT_EQ((Ints{1, 2, 3, 4}), contents(kept));
  kept.setLength(7);
  EXPECT_EQ(0, kept[6]);

  StderrCapture err;
  kept.setLength(-1);
  EXPECT_EQ(0, kept.length());
  EXPECT_NE(std::string::npos,
            err.text().find("BUG: negative argument to SeqOf.setLength\n"));
}

TEST(SeqOfTest, ReplaceBetweenInsertsAndRemoves) {
  // The elements strictly between `from` and `to` give way to the others.
  const struct {
    Ints before;
    int from, to;
    Ints in, after;
  } cases[] = {
      {{0, 1, 2, 3}, 1, 2, {7, 8}, {0, 1, 7, 8, 2, 3}},
      {{0, 1, 7, 8, 2, 3}, 1, 4, {}, {0, 1, 2, 3}},
      {{0, 1, 2, 3}, -1, 0, {9}, {9, 0, 1, 2, 3}},
      {{9, 0, 1, 2, 3}, 4, 5, {5, 6}, {9, 0, 1, 2, 3, 5, 6}},
      {{9, 0, 1, 2, 3}, 0, 3, {4}, {9, 4, 2, 3}},  // two out, one in
  };
  for (const auto& c : cases) {
    SeqOf<int> seq = sequence(c.before);
    seq.replaceBetween(c.from, c.to, sequence(c.in));
    EXPECT_EQ(c.after, contents(seq)) << c.from << " to " << c.to;
  }

  SeqOf<int> self = sequence({1, 2});
  self.replaceBetween(0, 1, self);
  EXPECT_EQ((Ints{1, 1, 2, 2}), contents(self));

  SeqOf<int> shared = sequence({1, 2, 3});
  SeqOf<int> other(shared);
  shared.replaceBetween(0, 2, SeqOf<int>());
  EXPECT_EQ((Ints{1, 3}), contents(shared));
  EXPECT_EQ((Ints{1, 2, 3}), contents(other));

  StderrCapture err;
  shared.replaceBetween(2, 1, sequence({5}));
  EXPECT_EQ((Ints{1, 3}), contents(shared));
  EXPECT_NE(std::string::npos, err.text().find("BUG: invalid range (2, 1)"));
}

TEST(SeqOfTest, BadIndexLogsAndGivesElementZero) {
  SeqOf<int> seq = sequence({5, 6, 7});
  const SeqOf<int>& view = seq;
  // An empty sequence has no element 0: the stand-in is a default value
  // that a write doesn't carry into the next bad access.
  SeqOf<int> empty;
  StderrCapture err;
  EXPECT_EQ(5, seq[3]);
  EXPECT_EQ(5, view[-1]);
  empty[0] = 42;
  EXPECT_EQ(0, empty[0]);
  EXPECT_EQ(0, empty.length());
  std::string log = err.text();
  EXPECT_EQ(4, countOf(log, "out of range in SeqOf.checkIndex"));
  EXPECT_NE(std::string::npos,
            log.find("BUG: index [3] out of range in SeqOf.checkIndex, "
                     "size=3\n"));
  EXPECT_NE(std::string::npos,
            log.find("BUG: index [-1] out of range in SeqOf.checkIndex, "
                     "size=3\n"));
}

TEST(SeqOfTest, FindFirst) {
  SeqOf<int> seq = sequence({4, 5, 4});
  EXPECT_EQ(0, seq.findFirst(4));
  EXPECT_EQ(2, seq.findFirst(4, 1));
  EXPECT_EQ(-1, seq.findFirst(9));
  EXPECT_EQ(-1, seq.findFirst(4, 3));
  EXPECT_EQ(-1, seq.findFirst(4, -1));
}

}  // namespace
