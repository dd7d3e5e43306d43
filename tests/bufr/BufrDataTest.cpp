#include <gtest/gtest.h>

#include <cmath>
#include <sstream>
#include <string>
#include <vector>

#include "BufrEngineState.h"
#include "BufrTestSupport.h"

namespace {

class BufrDataTest : public BufrTest {
 protected:
  BufrMessage message(const std::vector<int>& descriptors, const BitWriter& w,
                      int subsets = 1, bool compressed = false) {
    BufrMessage m;
    m.descriptors = descriptors;
    m.data = w.bytes();
    m.dataPadding = 64;
    m.subsets = subsets;
    m.compressed = compressed;
    return m;
  }
  std::vector<int> counts() const {
    std::vector<int> out;
    for (int i = 0; i < decoder->replCounts().length(); ++i)
      out.push_back(decoder->replCounts().at(i));
    return out;
  }
};

TEST_F(BufrDataTest, StandardValuesScaleMissingAndText) {
  BitWriter w;
  w.put(1100, 12);              // (1100 - 100) / 100
  w.putOnes(9);                 // missing whatever the reference
  w.put(0, 9);                  // 0 - 50
  w.putText("N123 AB", 8);      // starts at bit 30: across octets
  w.put(100, 14);               // exponent -1: 1000 Pa
  BufrMessage m = message({63001, 63002, 63002, 1008, 7004}, w);
  ASSERT_TRUE(decode(m));
  EXPECT_EQ("63001=10 63002=-99999 63002=-50 1008='N123' 7004=1000", values());
  const SeqOf<BufrValues>& v = decoder->decodedValues();
  EXPECT_FLOAT_EQ(BufrValues::kCharacter, v.at(3).value());
}

TEST_F(BufrDataTest, UnknownElementStoresSentinelAndReadsNothing) {
  BitWriter w;
  w.put(72, 7);
  w.put(403, 10);
  StderrCapture err;
  ASSERT_TRUE(decode(message({1001, 62255, 1002}, w)));
  EXPECT_EQ("1001=72 62255=99999 1002=403", values());
  EXPECT_NE(std::string::npos,
            err.text().find("PROBLEM: Code 62255 does not exist in table B.\n"));
}

TEST_F(BufrDataTest, ShortDataSectionGivesTimeValuesAndFails) {
  BitWriter w;
  w.put(72, 7);
  BufrMessage m = message({1001}, w);
  m.data.resize(56, 0);  // 4 + 56 = 60 octets
  m.dataPadding = 0;
  EXPECT_FALSE(decode(m));
  EXPECT_EQ("4001=2004 4002=2 4003=29 4004=12 4005=30 4006=0", values());
  m.data.resize(57, 0);  // 61 octets, with the pad octet 62
  m.data.push_back(0);
  EXPECT_TRUE(decode(m));
  EXPECT_EQ("1001=72", values());
}

TEST_F(BufrDataTest, DelayedReplicationNumbersItsRepetitions) {
  BitWriter w;
  w.put(3, 8);
  for (int r = 0; r < 3; ++r) {
    w.put(100 + r, 14);
    w.put(2700 + r, 12);
  }
  w.put(5, 7);
  ASSERT_TRUE(decode(message({101000, 31001, 303001, 1001}, w)));
  EXPECT_EQ(
      "7004=1000 12001=270 7004=1010/1 12001=270.1/1 7004=1020/2 "
      "12001=270.2/2 1001=5",
      values());
  EXPECT_EQ(std::vector<int>({3}), counts());

  BitWriter none;
  none.put(0, 8);
  none.put(5, 7);
  ASSERT_TRUE(decode(message({101000, 31001, 303001, 1001}, none)));
  EXPECT_EQ("1001=5", values());

  BitWriter missing;
  missing.putOnes(8);
  missing.put(5, 7);
  ASSERT_TRUE(decode(message({101000, 31001, 303001, 1001}, missing)));
  EXPECT_EQ("1001=5", values());
  EXPECT_EQ(std::vector<int>({-99999}), counts());
}

TEST_F(BufrDataTest, SubsetsOfAStandardMessage) {
  BitWriter w;
  w.put(70, 7);
  w.put(1, 8);
  w.put(2800, 12);
  w.put(71, 7);
  w.put(2, 8);
  w.put(2801, 12);
  w.put(2802, 12);
  ASSERT_TRUE(decode(message({1001, 101000, 31001, 12001}, w, 2)));
  EXPECT_EQ("1001=70 12001=280 s1:1001=71 s1:12001=280.1 s1:12001=280.2/1",
            values());
  EXPECT_EQ(std::vector<int>({1, 2}), counts());
}

TEST_F(BufrDataTest, NestedGroupCountLimit) {
  // A delayed group holding a fixed replication with a delayed one inside.
  std::vector<int> list = {101000, 31001, 103001, 101000, 31001, 12001};
  BitWriter w;
  w.put(1, 8);    // outer count
  w.put(100, 8);  // inner count: at the limit
  for (int i = 0; i < 100; ++i) w.put(2731, 12);
  ASSERT_TRUE(decode(message(list, w)));
  EXPECT_EQ(100, decoder->decodedValues().length());
  EXPECT_EQ(99, decoder->decodedValues().at(99).repetition());

  BitWriter over;
  over.put(1, 8);
  over.put(101, 8);
  for (int i = 0; i < 101; ++i) over.put(2731, 12);
  EXPECT_FALSE(decode(message(list, over)));
}

TEST_F(BufrDataTest, HugeCountsAndOverrunsFail) {
  StderrCapture err;
  BitWriter w;
  w.put(65534, 16);  // all ones would be missing
  EXPECT_FALSE(decode(message(
      {118000, 31002, 1001, 1002, 12001, 7004, 11001, 11002, 4001, 4002, 4003,
       4004, 4005, 5002, 6002, 63001, 63002, 63003, 1001, 1002},
      w)));
  EXPECT_NE(std::string::npos,
            err.text().find("PROBLEM: Delayed replication of 65534 "
                            "repetitions is too large to unroll\n"));

  StderrCapture err2;
  BitWriter many;
  many.put(254, 8);
  EXPECT_FALSE(decode(message({101000, 31001, 12001}, many)));
  std::string log = err2.text();
  EXPECT_NE(std::string::npos,
            log.find("PROBLEM: Data section ends before the value of "
                     "descriptor 12001\n"));
  EXPECT_NE(std::string::npos,
            log.find("PROBLEM: Unable to decode standard data.\n"));

  // All ones: every value missing, every count -99999, and still bounded.
  BufrMessage ones = message({1001, 101000, 31002, 12001, 1015, 12001},
                             BitWriter(), 3);
  ones.data.assign(200, 0xFF);
  ASSERT_TRUE(decode(ones));
  EXPECT_EQ(
      "1001=-99999 1015='\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF"
      "\xFF\xFF\xFF\xFF\xFF\xFF\xFF' 12001=-99999",
      values().substr(0, values().find(" s1:")));
}

TEST_F(BufrDataTest, CompressedValues) {
  // Three subsets, three elements: differing, equal, and partly missing.
  BitWriter w;
  w.put(2700, 12);  // 12001 reference
  w.put(4, 6);      // increments of 4 bits
  w.put(0, 4);
  w.put(5, 4);
  w.put(15, 4);     // all ones: missing
  w.put(72, 7);     // 1001 reference, all subsets alike
  w.put(0, 6);
  w.putOnes(10);    // 1002 reference all ones, no increments: missing
  w.put(0, 6);
  StderrCapture err;
  ASSERT_TRUE(decode(message({12001, 1001, 1002}, w, 3, true)));
  EXPECT_EQ(
      "12001=270 1001=72 1002=-99999 s1:12001=270.5 s1:1001=72 "
      "s1:1002=-99999 s2:12001=-99999 s2:1001=72 s2:1002=-99999",
      values());
  EXPECT_TRUE(decoder->compressed());
  EXPECT_NE(std::string::npos,
            err.text().find("EVENT: Message is in compressed format.  "
                            "Subsets: 3\n"));

  // An element missing from Table B fails a compressed message, and
  // nothing of it stands in the result.
  StderrCapture err2;
  EXPECT_FALSE(decode(message({12001, 62255}, w, 3, true)));
  EXPECT_EQ("", values());
  EXPECT_NE(std::string::npos,
            err2.text().find("PROBLEM: Unable to get compressed decoded value "
                             "for: 62255\n"));
}

// Compressed text is read from behind the reference and the increment
// width, and the reader then goes on by the increment width over eight
// octets for each subset: the first subset reads its own text, a later one
// reads from one octet further per subset.
TEST_F(BufrDataTest, CompressedCharactersAreReadAsTheEngineDoes) {
  BitWriter w;
  w.put(0, 64);      // reference of 1008: 8 octets of zeros
  w.put(8, 6);       // increment width: 8 octets
  w.putText("ALPHA1", 8);
  w.putText("BRAVO2", 8);
  ASSERT_TRUE(decode(message({1008}, w, 2, true)));
  EXPECT_EQ("1008='ALPHA1' s1:1008='LPHA1'", values());

  // Alike in all subsets: no increments, and the value is the reference
  // read as a number.
  BitWriter same;
  same.putOnes(64);
  same.put(0, 6);
  ASSERT_TRUE(decode(message({1008}, same, 2, true)));
  EXPECT_EQ("1008=-99999 s1:1008=-99999", values());
}

TEST_F(BufrDataTest, CompressedDelayedReplication) {
  BitWriter w;
  w.put(2, 8);  // factor reference: 2 repetitions in every subset
  w.put(0, 6);
  for (int r = 0; r < 2; ++r) {
    w.put(2700 + r, 12);
    w.put(0, 6);
  }
  w.put(72, 7);
  w.put(2, 6);  // one bit would make the increment 1 missing
  w.put(0, 2);
  w.put(1, 2);
  ASSERT_TRUE(decode(message({101000, 31001, 12001, 1001}, w, 2, true)));
  EXPECT_EQ(
      "12001=270 12001=270.1/1 1001=72 s1:12001=270 s1:12001=270.1/1 "
      "s1:1001=73",
      values());
  EXPECT_EQ(std::vector<int>({2}), counts());

  BitWriter differ;
  differ.put(2, 8);
  differ.put(2, 6);
  differ.put(0, 2);
  differ.put(1, 2);
  StderrCapture err;
  EXPECT_FALSE(decode(message({101000, 31001, 12001}, differ, 2, true)));
  EXPECT_NE(std::string::npos,
            err.text().find("PROBLEM: Delayed replication counts differ "
                            "between compressed subsets: 2 and 3\n"));
}

}  // namespace

// A message of a few octets whose counts unroll a million operator steps in
// each subset: every insertion is within the length bound, but not the
// work that so few octets may cost.
TEST_F(BufrDataTest, WorkOfOneMessageIsBounded) {
  BitWriter w;
  for (int s = 0; s < 4; ++s) w.put(999990, 32);  // 2 01 144 widens 0 31 002
  StderrCapture err;
  EXPECT_FALSE(decode(message({201144, 101000, 31002, 207001}, w, 4)));
  EXPECT_NE(std::string::npos,
            err.text().find("PROBLEM: Message needs more decoding work than "
                            "its data section allows; giving up\n"));
  EXPECT_LT(decoder->replCounts().length(), 4);  // it stopped early

  // Elements missing from Table B read nothing but each writes its line:
  // ten thousand of them from two octets of data are too many.
  BitWriter unknown;
  unknown.put(10000, 16);
  StderrCapture err2;
  EXPECT_FALSE(decode(message({101000, 31002, 62255}, unknown)));
  EXPECT_GT(10000, countOf(err2.text(), "Code 62255 does not exist"));
  EXPECT_NE(std::string::npos,
            err2.text().find("PROBLEM: Message needs more decoding work"));
}

// Plain numbers of a compressed element are read for most subsets in one
// loop, the rest one at a time; whichever road a value takes, and whether
// the log shows each value or not, it comes out as the encoder meant it.
TEST_F(BufrDataTest, CompressedRoadsAgreeWithWhatWasWritten) {
  const int subsets = 37;
  const int widths[] = {0, 1, 3, 7, 17, 32};
  const int descriptors[] = {63003, 63001, 12001, 63003, 63002, 63003};
  const int references[] = {0, -100, 0, 0, -50, 0};
  const int exponents[] = {0, 2, 1, 0, 0, 0};
  BitWriter w;
  std::string expected[subsets];
  unsigned seed = 12345;
  for (int e = 0; e < 6; ++e) {
    int tableWidth = descriptors[e] == 63002 ? 9 : descriptors[e] == 63003 ? 10 : 12;
    unsigned reference = 100 + e;
    w.put(reference, tableWidth);
    w.put(widths[e], 6);
    for (int s = 0; s < subsets; ++s) {
      uint64_t all = widths[e] ? (uint64_t(1) << widths[e]) - 1 : 0;
      seed = seed * 1103515245 + 12345;
      uint64_t increment = widths[e] ? (seed >> 3) & all : 0;
      if (s % 11 == 5) increment = all;  // missing, unless the width is 0
      if (widths[e]) w.put(increment, widths[e]);
      std::ostringstream text;
      if (widths[e] && increment == all) {
        text << -99999;
      } else {
        double v = (double(increment) + reference + references[e]) /
                   std::pow(10.0, exponents[e]);
        text << float(v);
      }
      expected[s] += (expected[s].empty() ? "" : " ") +
                     (s ? "s" + std::to_string(s) + ":" : std::string()) +
                     std::to_string(descriptors[e]) + "=" + text.str();
    }
  }
  std::string all;
  for (int s = 0; s < subsets; ++s) all += (s ? " " : "") + expected[s];
  BufrMessage m = message(std::vector<int>(descriptors, descriptors + 6), w,
                          subsets, true);
  m.dataPadding = 0;  // the last increments lie in the last octets
  ASSERT_TRUE(decode(m));
  EXPECT_EQ(all, values());

  LogStream::instance().setFilter(nullptr, nullptr, LogStream::TTY,
                                  LogStream::VERBOSE, true);
  StderrCapture err;
  bool decoded = decode(m);
  LogStream::instance().setFilter(nullptr, nullptr, LogStream::TTY,
                                  LogStream::VERBOSE, false);
  ASSERT_TRUE(decoded);
  EXPECT_EQ(all, values());
  EXPECT_EQ(6 * subsets, countOf(err.text(), "VERBOSE: compressed value["));
}
