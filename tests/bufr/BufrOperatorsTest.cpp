#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "BufrTestSupport.h"
#include "GDataDescOps.h"

namespace {

// Values of Section 4 as (value, bits).
using Bits = std::vector<std::pair<uint64_t, int>>;

class BufrOperatorsTest : public BufrTest {
 protected:
  bool decodeList(const std::vector<int>& descriptors, const Bits& bits) {
    BitWriter w;
    for (const auto& b : bits) w.put(b.first, b.second);
    BufrMessage m;
    m.descriptors = descriptors;
    m.data = w.bytes();
    m.dataPadding = 64;
    return decode(m);
  }
};

TEST_F(BufrOperatorsTest, OperatorsChangeHowElementsRead) {
  const struct {
    std::vector<int> descriptors;
    Bits bits;
    const char* values;
  } cases[] = {
      // Widths: 10 + 130 - 128 bits, then the table's again.
      {{201130, 63003, 201000, 63003}, {{3000, 12}, {500, 10}},
       "63003=3000 63003=500"},
      {{201120, 63003, 201000, 63003}, {{2, 2}, {7, 10}}, "63003=2 63003=7"},
      // A second change over the same element without a cancel between
      // leaves the first one in force.
      {{201130, 63003, 201140, 63003, 201000, 63003},
       {{4000, 12}, {4001, 12}, {9, 10}}, "63003=4000 63003=4001 63003=9"},
      {{202129, 12001, 202000, 12001}, {{2731, 12}, {2731, 12}},
       "12001=27.31 12001=273.1"},
      // New references of ten bits, signed (all ones is -1); 2 03 255
      // closes the definition and the elements in it aren't read as values.
      {{203010, 63003, 12001, 203255, 63003, 12001, 203000, 63003},
       {{1023, 10}, {5, 10}, {100, 10}, {2731, 12}, {100, 10}},
       "63003=99 12001=273.6 63003=100"},
      {{203031, 63003, 203255, 63003, 203000}, {{0x7FFFFFFF, 31}, {100, 10}},
       "63003=99"},
      // Closed by 2 03 000 instead, the elements are read behind their
      // reference bits.
      {{203010, 63003, 203000, 63003}, {{3, 10}, {100, 10}, {100, 10}},
       "63003=103 63003=100"},
      // 0 31 021 behind 2 04 takes 2 bits; the field before each element
      // is dropped.
      {{204008, 31021, 63003, 12001, 204000, 63003},
       {{2, 2}, {0xAB, 8}, {100, 10}, {0xCD, 8}, {2731, 12}, {200, 10}},
       "63003=100 12001=273.1 63003=200"},
      // 2 05 004: the four octets "ABCD", read at the same bit position.
      {{63003, 205004, 63003}, {{100, 10}, {0x41424344, 32}, {300, 10}},
       "63003=100 63003=300"},
      {{206016, 63003, 63003}, {{40000, 16}, {5, 10}}, "63003=40000 63003=5"},
      {{207002, 63003, 208004}, {{7, 10}}, "63003=7"},  // no effect
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.values);
    StderrCapture err;
    ASSERT_TRUE(decodeList(c.descriptors, c.bits));
    EXPECT_EQ(c.values, values());
    EXPECT_EQ(0, GDataDescOps::savedWidthCount());
  }
}

// A message that leaves an operator in force, or fails while one is, must
// not change how the next message reads: each starts from the tables.
TEST_F(BufrOperatorsTest, EachMessageStartsFromTheTables) {
  const Bits plain = {{500, 10}, {2731, 12}};
  ASSERT_TRUE(decodeList({63003, 12001}, plain));
  const std::string alone = values();
  const struct {
    std::vector<int> list;
    Bits data;
  } openers[] = {
      {{201130, 63003, 12001}, {}},                           // widths
      {{202129, 12001}, {}},                                  // scale
      {{203010, 63003, 12001, 203255}, {{7, 10}, {9, 10}}},  // references
      {{206255, 63003}, {}},  // fails, the width of 2 06 in force
  };
  for (const auto& opener : openers) {
    SCOPED_TRACE(opener.list[0]);
    StderrCapture err;
    decodeList(opener.list, opener.data);
    ASSERT_TRUE(decodeList({63003, 12001}, plain));
    EXPECT_EQ(alone, values());
    EXPECT_EQ(0, GDataDescOps::savedWidthCount());
  }
}

TEST_F(BufrOperatorsTest, UnknownElementFailsTheOperator) {
  StderrCapture err;
  EXPECT_FALSE(decodeList({201130, 62255}, {}));
  std::string log = err.text();
  for (const char* line :
       {"PROBLEM: Unable to find table B items for descriptor 62255 for data "
        "description operator change data width\n",
        "PROBLEM: Unable to decode section 2 descriptors\n",
        "PROBLEM: Unable to decode standard data.\n"})
    EXPECT_NE(std::string::npos, log.find(line)) << line;
}

}  // namespace
