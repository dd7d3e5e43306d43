// Messages made by an independent encoder (ecCodes, see tests/data/bufr),
// decoded by the engine with the sample site's tables and compared with
// the values that were put in.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "BufrEngineState.h"
#include "BufrTestSupport.h"
#include "ExpectedValues.h"
#include "GDataDescOps.h"
#include "StaticBufrInfo.h"

namespace {

const std::string kData = ZEPH_SOURCE_DIR "/tests/data/bufr/";

using Expected = ExpectedValues;

Expected readExpected(const std::string& name) {
  return ExpectedValues::read(kData + name + ".expected");
}

// What the engine doesn't put among the values: factors, and what the
// encoder lists for fields and operators.
bool isListedByEngine(int descriptor) {
  return descriptor != 31000 && descriptor != 31001 && descriptor != 31002 &&
         descriptor != 31021 && descriptor != 999999 &&
         descriptor / 1000 != 205;
}

class EcCodesMessagesTest : public ::testing::Test {
 protected:
  void SetUp() override {
    setenv("ZEPH_HOME", ZEPH_SOURCE_DIR "/site", 1);
    BufrEngineState::get().tablesTried = true;
    BufrEngineState::get().tablesLoaded =
        StaticBufrInfo::instance().loadTables();
    ASSERT_TRUE(BufrEngineState::get().tablesLoaded);
    GDataDescOps::forgetSavedState();
    BufrEngineState::get().width = 0;
  }

  // A fresh decoder and compressed reader for each file: what a failed
  // message leaves open reaches into the next (see StateLastsAcross...).
  bool decodeFile(const std::string& name, bool fresh = true,
                  const std::string& path = "") {
    if (fresh) {
      decoder.reset(new TestDecoder);
      GDataDescOps::forgetSavedState();
      BufrEngineState::get().width = 0;
    }
    std::ifstream in(path.empty() ? kData + name + ".bufr" : path,
                     std::ios::binary);
    std::vector<unsigned char> bytes((std::istreambuf_iterator<char>(in)),
                                     std::istreambuf_iterator<char>());
    EXPECT_FALSE(bytes.empty()) << name;
    bytes.push_back(0);
    return decoder->decodeMessage(bytes.data(), bytes.size());
  }

  // The index of the first value where the engine and the encoder part,
  // or -1 when all agree, their number too.
  int firstDifference(const Expected& e) {
    std::vector<Expected::Value> wanted;
    for (const auto& v : e.values)
      if (isListedByEngine(v.descriptor)) wanted.push_back(v);
    const SeqOf<BufrValues>& got = decoder->decodedValues();
    for (int i = 0; i < got.length() && i < int(wanted.size()); ++i)
      if (!same(got.at(i), wanted[i])) return i;
    if (got.length() == int(wanted.size())) return -1;
    return std::min(got.length(), int(wanted.size()));
  }

  // Text agrees up to its first blank, where the engine cuts it.
  static bool same(const BufrValues& g, const Expected::Value& w) {
    if (g.subset() != w.subset || g.descriptor() != w.descriptor) return false;
    if (w.missing) return g.value() == BufrValues::kMissing;
    if (w.text)
      return g.value() == BufrValues::kCharacter &&
             w.chars.substr(0, w.chars.find(' ')) == g.text().chars();
    return std::fabs(g.value() - w.number) <= 1e-6 * std::fabs(w.number);
  }

  void expectHeader(const Expected& e) {
    EXPECT_EQ(std::stoi(e.header.at("dataCategory")), decoder->dataCategory());
    EXPECT_EQ(std::stoi(e.header.at("numberOfSubsets")), decoder->subsets());
    EXPECT_EQ(e.header.at("compressedData") == "1", decoder->compressed());
    int year = std::stoi(e.header.at("typicalYearOfCentury"));
    EXPECT_EQ(AbsTime(year % 100, std::stoi(e.header.at("typicalMonth")),
                      std::stoi(e.header.at("typicalDay")),
                      std::stoi(e.header.at("typicalHour")),
                      std::stoi(e.header.at("typicalMinute")), 0),
              decoder->obTime());
  }

  std::unique_ptr<TestDecoder> decoder;
};

TEST_F(EcCodesMessagesTest, AgreeWhereTheEngineReadsAsWmo) {
  for (const char* name :
       {"a_surface_single", "b_surface_subsets", "c1_delayed_31001",
        "c2_delayed_31002", "c3_delayed_compressed", "d_fixed_replication",
        "g1_op201_op202", "g2_op203_positive", "g6_op206", "h1_section2_local",
        "h2_section2_satellite"}) {
    SCOPED_TRACE(name);
    ASSERT_TRUE(decodeFile(name));
    Expected e = readExpected(name);
    expectHeader(e);
    EXPECT_EQ(-1, firstDifference(e));
  }
}

// Where the engine reads a construct otherwise than a WMO decoder, it
// agrees with the encoder up to that construct and parts there.
TEST_F(EcCodesMessagesTest, ReadsOtherwiseWhereItsRulesSaySo) {
  // New references of 2 03 are two's complement here, a sign bit in WMO.
  ASSERT_TRUE(decodeFile("g3_op203_negative"));
  EXPECT_EQ(8, firstDifference(readExpected("g3_op203_negative")));
  EXPECT_FLOAT_EQ(1802, decoder->decodedValues().at(8).value());
  // 0 31 021 behind 2 04 takes 2 bits, not 6: all behind it moves.
  ASSERT_TRUE(decodeFile("g4_op204_associated"));
  EXPECT_EQ(8, firstDifference(readExpected("g4_op204_associated")));
  // 2 08 has no effect: the station name is read at its table width.
  ASSERT_TRUE(decodeFile("g5_op205_op208"));
  EXPECT_EQ(9, firstDifference(readExpected("g5_op205_op208")));
  EXPECT_STREQ("BWI-AIRPRTKBWI", decoder->decodedValues().at(9).text().chars());
  // A delayed replication inside another at the top level opens no group
  // of its own: the outer group takes the inner members. Its inner factor
  // then finds no group of its own, and the message fails.
  EXPECT_FALSE(decodeFile("f1_nested_delayed"));
  EXPECT_EQ(12, firstDifference(readExpected("f1_nested_delayed")));

  // A replication inside a fixed one counts as one descriptor of the outer
  // delayed group, so a WMO group is still open at the end and dropped.
  EXPECT_FALSE(decodeFile("f2_delayed_in_fixed"));
  EXPECT_EQ(0, decoder->replDescList().length());
  EXPECT_EQ(2, decoder->nestedRepList().length());

  // A sequence ends at its delayed factor; no later sequence brings the
  // group, and the factor has none.
  StderrCapture err;
  EXPECT_FALSE(decodeFile("c4_sequence_with_replication"));
  const SeqOf<int>& flat = decoder->descriptors();
  EXPECT_EQ(31001, flat.at(flat.length() - 1));
  EXPECT_EQ(0, decoder->replDescList().length());
  EXPECT_NE(std::string::npos,
            err.text().find("PROBLEM: No group of descriptors for delayed "
                            "replication number 1\n"));

  // Compressed text moves the reader by the increment width over eight,
  // where the encoder counts octets: what follows is misread and fails.
  StderrCapture err2;
  EXPECT_FALSE(decodeFile("e_compressed"));
  EXPECT_EQ(0, decoder->decodedValues().length());
  EXPECT_NE(std::string::npos,
            err2.text().find("PROBLEM: Unable to decode compressed data.\n"));

  // Fewer than 61 octets of data: the time of Section 1 and a failure.
  EXPECT_FALSE(decodeFile("z_short_section4"));
  ASSERT_EQ(6, decoder->decodedValues().length());
  EXPECT_FLOAT_EQ(2024, decoder->decodedValues().at(0).value());
}

// Messages that leave a change of width open (found by fuzzing) are
// followed by sound messages, standard and compressed, that decode as they
// do alone.
TEST_F(EcCodesMessagesTest, NoOperatorReachesTheNextMessage) {
  for (const char* opener : {"leaves-2-01-open-over-001001.bufr",
                             "leaves-2-01-open-over-031001.bufr"}) {
    for (const char* name :
         {"a_surface_single", "g1_op201_op202", "c3_delayed_compressed"}) {
      SCOPED_TRACE(std::string(opener) + " then " + name);
      decodeFile(opener, true, ZEPH_SOURCE_DIR "/fuzz/regressions/" +
                                   std::string(opener));
      ASSERT_TRUE(decodeFile(name, false));
      EXPECT_EQ(-1, firstDifference(readExpected(name)));
    }
  }
}

// What a failed message leaves open otherwise stays for the next: a delayed
// replication pending from a sequence takes the next message's first
// elements. A compressed element left in the middle doesn't: the next
// compressed message reads as it does alone.
TEST_F(EcCodesMessagesTest, StateLastsAcrossMessages) {
  EXPECT_FALSE(decodeFile("c4_sequence_with_replication"));
  ASSERT_TRUE(decodeFile("d_fixed_replication", false));
  EXPECT_EQ(0, firstDifference(readExpected("d_fixed_replication")));
  ASSERT_TRUE(decodeFile("d_fixed_replication"));
  EXPECT_EQ(-1, firstDifference(readExpected("d_fixed_replication")));

  EXPECT_FALSE(decodeFile("e_compressed"));
  EXPECT_GT(BufrEngineState::get().width, 0);
  ASSERT_TRUE(decodeFile("h2_section2_satellite", false));
  EXPECT_EQ(-1, firstDifference(readExpected("h2_section2_satellite")));
}

}  // namespace
