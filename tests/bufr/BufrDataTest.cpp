#include <gtest/gtest.h>

#include <cmath>
#include <sstream>
#include <string>
#include <vector>

#include "BufrEngineState.h"
#include "BufrTestSupport.h"

namespace {

// A value of Section 4: `bits` of `value`, or `text` in `bits` / 8 octets.
struct Field {
  uint64_t value;
  int bits;
  const char* text = nullptr;
};

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

TEST_F(BufrDataTest, ValuesOfStandardAndCompressedMessages) {
  const struct {
    std::vector<int> descriptors;
    std::vector<Field> data;
    int subsets;
    bool compressed, decodes;
    const char* values;       // null: not looked at
    std::vector<int> counts;  // empty: not looked at
    const char* line;
  } cases[] = {
      // (1100 - 100) / 100; all ones is missing whatever the reference;
      // 0 - 50; text from bit 30, across octets; exponent -1.
      {{63001, 63002, 63002, 1008, 7004},
       {{1100, 12}, {511, 9}, {0, 9}, {0, 64, "N123 AB"}, {100, 14}}, 1,
       false, true, "63001=10 63002=-99999 63002=-50 1008='N123' 7004=1000",
       {}, "EVENT: Message is in standard format.  Subsets: 1\n"},
      // An element missing from Table B stores a sentinel and reads nothing.
      {{1001, 62255, 1002}, {{72, 7}, {403, 10}}, 1, false, true,
       "1001=72 62255=99999 1002=403", {},
       "PROBLEM: Code 62255 does not exist in table B.\n"},
      // Delayed replication numbers its repetitions.
      {{101000, 31001, 303001, 1001},
       {{3, 8}, {100, 14}, {2700, 12}, {101, 14}, {2701, 12}, {102, 14},
        {2702, 12}, {5, 7}},
       1, false, true,
       "7004=1000 12001=270 7004=1010/1 12001=270.1/1 7004=1020/2 "
       "12001=270.2/2 1001=5",
       {3}, ""},
      {{101000, 31001, 303001, 1001}, {{0, 8}, {5, 7}}, 1, false, true,
       "1001=5", {0}, ""},
      {{101000, 31001, 303001, 1001}, {{255, 8}, {5, 7}}, 1, false, true,
       "1001=5", {-99999}, ""},
      {{1001, 101000, 31001, 12001},
       {{70, 7}, {1, 8}, {2800, 12}, {71, 7}, {2, 8}, {2801, 12}, {2802, 12}},
       2, false, true,
       "1001=70 12001=280 s1:1001=71 s1:12001=280.1 s1:12001=280.2/1",
       {1, 2}, ""},
      // All ones would be missing.
      {{118000, 31002, 1001, 1002, 12001, 7004, 11001, 11002, 4001, 4002,
        4003, 4004, 4005, 5002, 6002, 63001, 63002, 63003, 1001, 1002},
       {{65534, 16}}, 1, false, false, nullptr, {},
       "PROBLEM: Delayed replication of 65534 repetitions is too large to "
       "unroll\n"},
      {{101000, 31001, 12001}, {{254, 8}}, 1, false, false, nullptr, {},
       "PROBLEM: Data section ends before the value of descriptor 12001\n"
       "PROBLEM: Unable to decode standard data.\n"},
      // Three subsets: 12001 differing (increments of 4 bits, the last all
      // ones: missing), 1001 alike, 1002 all ones without increments.
      {{12001, 1001, 1002},
       {{2700, 12}, {4, 6}, {0, 4}, {5, 4}, {15, 4}, {72, 7}, {0, 6},
        {1023, 10}, {0, 6}},
       3, true, true,
       "12001=270 1001=72 1002=-99999 s1:12001=270.5 s1:1001=72 "
       "s1:1002=-99999 s2:12001=-99999 s2:1001=72 s2:1002=-99999",
       {}, "EVENT: Message is in compressed format.  Subsets: 3\n"},
      // An element missing from Table B fails a compressed message, and
      // nothing of it stands in the result.
      {{12001, 62255}, {{2700, 12}, {4, 6}, {0, 4}, {5, 4}, {15, 4}}, 3, true,
       false, "", {},
       "PROBLEM: Unable to get compressed decoded value for: 62255\n"},
      // Compressed text is read from behind the reference and the increment
      // width, and the reader then goes on by the increment width over
      // eight octets for each subset: the first subset reads its own text,
      // a later one reads from one octet further per subset.
      {{1008}, {{0, 64}, {8, 6}, {0, 64, "ALPHA1"}, {0, 64, "BRAVO2"}}, 2,
       true, true, "1008='ALPHA1' s1:1008='LPHA1'", {}, ""},
      // Alike in all subsets: no increments, and the value is the reference
      // read as a number.
      {{1008}, {{~0ull, 64}, {0, 6}}, 2, true, true,
       "1008=-99999 s1:1008=-99999", {}, ""},
      // A factor of 2 repetitions in every subset; 1001 by increments of
      // 2 bits (one bit would make the increment 1 missing).
      {{101000, 31001, 12001, 1001},
       {{2, 8}, {0, 6}, {2700, 12}, {0, 6}, {2701, 12}, {0, 6}, {72, 7},
        {2, 6}, {0, 2}, {1, 2}},
       2, true, true,
       "12001=270 12001=270.1/1 1001=72 s1:12001=270 s1:12001=270.1/1 "
       "s1:1001=73",
       {2}, ""},
      {{101000, 31001, 12001}, {{2, 8}, {2, 6}, {0, 2}, {1, 2}}, 2, true,
       false, nullptr, {},
       "PROBLEM: Delayed replication counts differ between compressed "
       "subsets: 2 and 3\n"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(::testing::PrintToString(c.descriptors));
    BitWriter w;
    for (const Field& f : c.data)
      f.text ? w.putText(f.text, f.bits / 8) : w.put(f.value, f.bits);
    StderrCapture err;
    EXPECT_EQ(c.decodes,
              decode(message(c.descriptors, w, c.subsets, c.compressed)));
    EXPECT_EQ(c.compressed, decoder->compressed());
    if (c.values) {
      EXPECT_EQ(c.values, values());
    }
    if (!c.counts.empty()) {
      EXPECT_EQ(c.counts, counts());
    }
    EXPECT_NE(std::string::npos, err.text().find(c.line));
  }
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

// A delayed group holding a fixed replication with a delayed one inside:
// the inner count may be 100, not more.
TEST_F(BufrDataTest, NestedGroupCountLimit) {
  for (int inner : {101, 100}) {
    BitWriter w;
    w.put(1, 8);
    w.put(inner, 8);
    for (int i = 0; i < inner; ++i) w.put(2731, 12);
    EXPECT_EQ(inner == 100, decode(message(
                                {101000, 31001, 103001, 101000, 31001, 12001},
                                w)));
  }
  EXPECT_EQ(100, decoder->decodedValues().length());
  EXPECT_EQ(99, decoder->decodedValues().at(99).repetition());
}

// All ones: every value missing, every count -99999, and still bounded.
TEST_F(BufrDataTest, AllOnesDecodesAsMissing) {
  BufrMessage ones = message({1001, 101000, 31002, 12001, 1015, 12001},
                             BitWriter(), 3);
  ones.data.assign(200, 0xFF);
  ASSERT_TRUE(decode(ones));
  EXPECT_EQ(
      "1001=-99999 1015='\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF"
      "\xFF\xFF\xFF\xFF\xFF\xFF\xFF' 12001=-99999",
      values().substr(0, values().find(" s1:")));
}

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
    unsigned reference = 100 + e;
    w.put(reference, descriptors[e] == 63002   ? 9
                     : descriptors[e] == 63003 ? 10
                                               : 12);
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

}  // namespace
