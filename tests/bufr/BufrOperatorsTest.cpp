#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "BufrTestSupport.h"
#include "GDataDescOps.h"

namespace {

class BufrOperatorsTest : public BufrTest {
 protected:
  bool decodeList(const std::vector<int>& descriptors, const BitWriter& w) {
    BufrMessage m;
    m.descriptors = descriptors;
    m.data = w.bytes();
    m.dataPadding = 64;
    return decode(m);
  }
};

TEST_F(BufrOperatorsTest, ChangeWidthAndItsCancel) {
  BitWriter w;
  w.put(3000, 12);  // 10 + 130 - 128
  w.put(500, 10);
  ASSERT_TRUE(decodeList({201130, 63003, 201000, 63003}, w));
  EXPECT_EQ("63003=3000 63003=500", values());
  EXPECT_EQ(0, GDataDescOps::savedWidthCount());

  BitWriter narrow;
  narrow.put(2, 2);  // 10 + 120 - 128
  narrow.put(7, 10);
  ASSERT_TRUE(decodeList({201120, 63003, 201000, 63003}, narrow));
  EXPECT_EQ("63003=2 63003=7", values());

  // A second change over the same element without a cancel between leaves
  // the first one in force.
  BitWriter twice;
  twice.put(4000, 12);
  twice.put(4001, 12);
  twice.put(9, 10);
  ASSERT_TRUE(decodeList({201130, 63003, 201140, 63003, 201000, 63003}, twice));
  EXPECT_EQ("63003=4000 63003=4001 63003=9", values());
}

// A message that leaves an operator in force, or fails while one is, must
// not change how the next message reads: each starts from the tables.
TEST_F(BufrOperatorsTest, EachMessageStartsFromTheTables) {
  BitWriter plain;
  plain.put(500, 10);
  plain.put(2731, 12);
  ASSERT_TRUE(decodeList({63003, 12001}, plain));
  const std::string alone = values();

  BitWriter reference;
  reference.put(7, 10);
  reference.put(9, 10);
  const struct {
    std::vector<int> list;
    BitWriter data;
  } openers[] = {
      {{201130, 63003, 12001}, BitWriter()},        // widths
      {{202129, 12001}, BitWriter()},               // scale
      {{203010, 63003, 12001, 203255}, reference},  // references
      {{206255, 63003}, BitWriter()},  // fails, the width of 2 06 in force
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

TEST_F(BufrOperatorsTest, ChangeScale) {
  BitWriter w;
  w.put(2731, 12);
  w.put(2731, 12);
  ASSERT_TRUE(decodeList({202129, 12001, 202000, 12001}, w));
  EXPECT_EQ("12001=27.31 12001=273.1", values());
}

TEST_F(BufrOperatorsTest, ChangeReferenceValues) {
  // New references of ten bits, signed; 2 03 255 closes the definition
  // and the elements in it aren't read as values.
  BitWriter w;
  w.putOnes(10);   // -1 for 63003
  w.put(5, 10);    // 5 for 12001
  w.put(100, 10);
  w.put(2731, 12);
  w.put(100, 10);
  ASSERT_TRUE(decodeList(
      {203010, 63003, 12001, 203255, 63003, 12001, 203000, 63003}, w));
  EXPECT_EQ("63003=99 12001=273.6 63003=100", values());

  // A reference of 31 bits is signed too: all ones is -1.
  BitWriter wide;
  wide.putOnes(31);
  wide.put(100, 10);
  ASSERT_TRUE(decodeList({203031, 63003, 203255, 63003, 203000}, wide));
  EXPECT_EQ("63003=99", values());

  // Closed by 2 03 000 instead, the elements are read behind their
  // reference bits.
  BitWriter open;
  open.put(3, 10);
  open.put(100, 10);
  open.put(100, 10);
  ASSERT_TRUE(decodeList({203010, 63003, 203000, 63003}, open));
  EXPECT_EQ("63003=103 63003=100", values());
}

TEST_F(BufrOperatorsTest, AssociatedField) {
  BitWriter w;
  w.put(2, 2);      // 0 31 021 behind 2 04 takes 2 bits
  w.put(0xAB, 8);   // the field, dropped
  w.put(100, 10);
  w.put(0xCD, 8);
  w.put(2731, 12);
  w.put(200, 10);   // after 2 04 000
  ASSERT_TRUE(
      decodeList({204008, 31021, 63003, 12001, 204000, 63003}, w));
  EXPECT_EQ("63003=100 12001=273.1 63003=200", values());
}

TEST_F(BufrOperatorsTest, CharactersWidthOfOneReadAndNoOps) {
  BitWriter text;
  text.put(100, 10);
  text.putText("ABCD", 4);  // 2 05 004: four octets, same bit position
  text.put(300, 10);
  StderrCapture err;
  ASSERT_TRUE(decodeList({63003, 205004, 63003}, text));
  EXPECT_EQ("63003=100 63003=300", values());

  BitWriter wide;
  wide.put(40000, 16);  // 2 06 016: one read of 16 bits
  wide.put(5, 10);
  ASSERT_TRUE(decodeList({206016, 63003, 63003}, wide));
  EXPECT_EQ("63003=40000 63003=5", values());

  BitWriter plain;
  plain.put(7, 10);
  ASSERT_TRUE(decodeList({207002, 63003, 208004}, plain));
  EXPECT_EQ("63003=7", values());
}

TEST_F(BufrOperatorsTest, UnknownElementFailsTheOperator) {
  StderrCapture err;
  EXPECT_FALSE(decodeList({201130, 62255}, BitWriter()));
  std::string log = err.text();
  EXPECT_NE(std::string::npos,
            log.find("PROBLEM: Unable to find table B items for descriptor "
                     "62255 for data description operator change data "
                     "width\n"));
  EXPECT_NE(std::string::npos,
            log.find("PROBLEM: Unable to decode section 2 descriptors\n"));
  EXPECT_NE(std::string::npos,
            log.find("PROBLEM: Unable to decode standard data.\n"));
}

}  // namespace
