#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <vector>

#include "Dict.h"
#include "QueueImpl.h"
#include "Set.h"
#include "TestSupport.h"
#include "TextString.h"

// Puts a queue's counters where a test needs them; 2^64 items are too many
// to reach the wrap by enqueueing.
class QueueImplTestPeer {
 public:
  template <class T>
  static void setCounters(QueueImpl<T>& q, unsigned long head,
                          unsigned long tail) {
    q._head = head;
    q._tail = tail;
  }
};

namespace {

TEST(HashTableTest, BucketCountRule) {
  const unsigned cases[][2] = {{50, 53}, {51, 53}, {106, 109}, {0, 3},
                               {7, 11}};  // 6 + 3 = 9 isn't prime
  for (const auto& c : cases) EXPECT_EQ(c[1], hashBucketCount(c[0])) << c[0];
  for (unsigned n : {2, 7, 97}) EXPECT_TRUE(isHashPrime(n)) << n;
  for (unsigned n : {9, 25, 1000}) EXPECT_FALSE(isHashPrime(n)) << n;
}

TEST(DictTest, InsertLookupReplaceRemove) {
  Dict<int, TextString> d;
  d.insert(12001, TextString("TEMPERATURE"));
  d.insert(11001, TextString("WIND DIRECTION"));
  TextString v;
  EXPECT_TRUE(d.lookup(11001));
  EXPECT_FALSE(d.lookup(7, &v));
  EXPECT_TRUE(v.isEmpty());  // untouched on a miss
  d.insert(12001, TextString("AIR TEMPERATURE"));
  EXPECT_EQ(2, d.length());
  ASSERT_TRUE(d.lookup(12001, &v));
  EXPECT_STREQ("AIR TEMPERATURE", v.chars());

  d.remove(11001);
  d.remove(99);
  EXPECT_EQ(1, d.length());
  EXPECT_FALSE(d.lookup(11001));
  EXPECT_GT(d.lookups(), 0);
  Dict<int, TextString> copy(d);
  copy.insert(5, TextString("five"));
  EXPECT_EQ(1, d.length());
  EXPECT_EQ(2, copy.length());

  Dict<TextString, int> byName;
  byName.insert(TextString("a"), 1);
  byName.insert(TextString("b"), 2);
  int n = 0;
  EXPECT_TRUE(byName.lookup(TextString("b"), &n));
  EXPECT_EQ(2, n);
}

TEST(DictTest, GrowsToPrimeSizesAtFourPerBucket) {
  Dict<int, int> d;
  EXPECT_EQ(53u, d.bucketCount());
  for (int i = 0; i < 211; ++i) d.insert(i * 7, i);
  EXPECT_EQ(53u, d.bucketCount());
  d.insert(100000, 0);  // the 212th entry
  EXPECT_EQ(109u, d.bucketCount());
  for (int i = 0; i < 211; ++i) {
    int v = -1;
    ASSERT_TRUE(d.lookup(i * 7, &v));
    ASSERT_EQ(i, v);
  }
  for (int i = 212; i < 436; ++i) d.insert(-i, i);
  EXPECT_EQ(223u, d.bucketCount());  // 2 x 109 = 218 -> 221 = 13 x 17 -> 223
  EXPECT_EQ(436, d.length());
}

TEST(DictTest, SortedViewAndBadIndexes) {
  Dict<TextString, int> d;
  const char* names[] = {"pear", "apple", "fig", "Zebra", "kiwi"};
  for (int i = 0; i < 5; ++i) d.insert(TextString(names[i]), i);
  d.setSorted(true);
  std::vector<std::string> keys;
  for (int i = 0; i < d.length(); ++i) keys.push_back(d.keyAt(i).chars());
  EXPECT_EQ((std::vector<std::string>{"Zebra", "apple", "fig", "kiwi", "pear"}),
            keys);
  EXPECT_EQ(2, d.valueAt(2));
  d.insert(TextString("banana"), 9);  // a new entry drops the view
  EXPECT_STREQ("banana", d.keyAt(2).chars());

  Dict<int, int> ints;
  for (int k : {30, -4, 12, 7}) ints.insert(k, k * 10);
  ints.setSorted(true);
  EXPECT_EQ(-4, ints.keyAt(0));
  EXPECT_EQ(300, ints.valueAt(3));

  StderrCapture err;
  EXPECT_TRUE(d.keyAt(-1).isEmpty());
  EXPECT_EQ(0, ints.valueAt(4));
  EXPECT_EQ(2, countOf(err.text(),
                       "BUG: invalid index in Dict<K,V>::validIndex()\n"));
}

TEST(SetTest, GrowsAtOnePerBucketAndSortsAfterFirstIndex) {
  Set<int> s;
  EXPECT_EQ(53u, s.bucketCount());
  for (int i = 0; i < 52; ++i) s.insert(i * 3);
  s.insert(0);  // already there
  EXPECT_EQ(52, s.length());
  EXPECT_EQ(53u, s.bucketCount());
  s.insert(1000);  // the 53rd entry
  EXPECT_EQ(109u, s.bucketCount());
  EXPECT_TRUE(s.lookup(1000));
  s.remove(1000);
  EXPECT_FALSE(s.lookup(1000));

  // Unsorted, the view runs from the highest bucket down: 60 before 2.
  Set<int> small;
  small.insert(2);
  small.insert(60);
  small.setSorted(true);
  EXPECT_EQ(60, small.keyAt(0));  // index 0 alone doesn't sort
  EXPECT_EQ(60, small.keyAt(1));  // now it does
  EXPECT_EQ(2, small.keyAt(0));

  StderrCapture err;
  EXPECT_EQ(0, small.keyAt(2));
  EXPECT_EQ(1, countOf(err.text(),
                       "BUG: invalid index in Dict<K,V>::validIndex()\n"));
}

TEST(QueueTest, FifoOverflowAndEmpty) {
  QueueImpl<TextString> q;
  EXPECT_TRUE(q.enqueue(TextString("one")));
  EXPECT_TRUE(q.enqueue(TextString("two")));
  TextString item;
  ASSERT_TRUE(q.peek(item));
  EXPECT_STREQ("one", item.chars());
  ASSERT_TRUE(q.dequeue(item));
  ASSERT_TRUE(q.dequeue(item));
  EXPECT_STREQ("two", item.chars());
  EXPECT_TRUE(q.isEmpty());

  // Counters wrap: a queue across the top of unsigned long still works.
  QueueImpl<int> wrap;
  QueueImplTestPeer::setCounters(wrap, ULONG_MAX, ULONG_MAX);
  EXPECT_TRUE(wrap.enqueue(1));
  EXPECT_TRUE(wrap.enqueue(2));
  EXPECT_EQ(2ul, wrap.length());
  int n = 0;
  ASSERT_TRUE(wrap.dequeue(n));
  ASSERT_TRUE(wrap.dequeue(n));
  EXPECT_EQ(2, n);

  // A tail one behind the head means the queue is full; a tail ahead of
  // an empty representation claims items the queue doesn't hold.
  QueueImpl<int> full, lost;
  QueueImplTestPeer::setCounters(full, 5, 3);
  QueueImplTestPeer::setCounters(lost, 0, 1);
  EXPECT_TRUE(full.enqueue(7));
  StderrCapture err;
  EXPECT_FALSE(q.dequeue(item));
  EXPECT_FALSE(q.peek(item));
  EXPECT_FALSE(full.enqueue(8));
  EXPECT_FALSE(lost.peek(n));
  EXPECT_EQ(
      "BUG: Attempt to remove from or peek at an empty queue.\n"
      "BUG: Attempt to remove from or peek at an empty queue.\n"
      "BUG: Queue would overflow.  Item not added.\n"
      "BUG: Failure to extract item from representation.0\n",
      err.text());
}

}  // namespace
