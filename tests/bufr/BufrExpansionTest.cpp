#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "BufrEngineState.h"
#include "BufrTestSupport.h"

namespace {

using Ints = std::vector<int>;
using Groups = std::vector<std::vector<int>>;

class BufrExpansionTest : public BufrTest {
 protected:
  // Expands a descriptor list; the data are ample zeros.
  bool expand(const Ints& list, bool oddSection3 = false) {
    BufrMessage m;
    m.descriptors = list;
    m.oddSection3 = oddSection3;
    m.dataPadding = 200;
    return decode(m);
  }
};

TEST_F(BufrExpansionTest, FlatListAndGroups) {
  const struct {
    Ints list, descriptors;
    Groups groups;
    bool oddSection3 = false;  // the whole last descriptor still counts
  } cases[] = {
      {{101000, 31001, 12001}, {31001}, {{12001}}},
      // The group holds x descriptors of the raw list; a sequence in it
      // stays one unexpanded member list, operators and inner sequences
      // untouched.
      {{1001, 103000, 31002, 301011, 201130, 309001, 12001},
       {1001, 31002, 12001},
       {{4001, 4002, 4003, 201130, 301011, 101000, 31001, 303001}}},
      {{1001, 102000, 31001, 12001}, {1001, 31001}, {}},  // ends early
      {{1001, 102003, 1002, 12001, 7004},
       {1001, 1002, 12001, 1002, 12001, 1002, 12001, 7004}, {}},
      // A sequence in a fixed replication is expanded at each repetition.
      {{102002, 301012, 12001}, {4004, 4005, 12001, 4004, 4005, 12001}, {}},
      // Operators stay in the list, where Section 4 carries them out.
      {{201130, 12001, 201000}, {201130, 12001, 201000}, {}},
      // 309001 ends at its factor: 303001 behind it is dropped, and the
      // next sequence expanded gives the group.
      {{309001, 309002, 7004}, {4001, 4002, 4003, 31001, 7004},
       {{11001, 11002}}},
      // A delayed group holding a fixed replication that holds a delayed
      // one.
      {{101000, 31001, 104001, 7004, 101000, 31002, 12001, 11001},
       {31001, 11001}, {{7004, 31002}}},
      {{1001, 12001}, {1001, 12001}, {}, true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(::testing::PrintToString(c.list));
    decoder.reset(new TestDecoder);  // a group left open would stay
    EXPECT_TRUE(expand(c.list, c.oddSection3));
    EXPECT_EQ(c.descriptors, descriptors());
    EXPECT_EQ(c.groups, groups());
  }
  // The inner delayed replication of the one before has a group of its own.
  ASSERT_TRUE(expand(cases[7].list));
  const SeqOf<SeqOf<int>>& nested = decoder->nestedRepList();
  ASSERT_EQ(1, nested.length());
  ASSERT_EQ(1, nested.at(0).length());
  EXPECT_EQ(12001, nested.at(0).at(0));
}

// A miss in Table D throws away what was expanded before it; what comes
// later still comes, and a message left without descriptors fails.
TEST_F(BufrExpansionTest, TableDMissesAndBadSequences) {
  // 255 x 255 x ... replications of a sequence would go on for long.
  ASSERT_TRUE(loadTables(kTableB, (std::string(kTableD) +
                                   "301001|1001|0\n"
                                   "301002|101255|301001|0\n"
                                   "301003|101255|301002|0\n"
                                   "301004|101255|301003|0\n")
                                      .c_str()));
  const struct {
    Ints list;
    bool expands;
    Ints descriptors;
    std::string line;
  } cases[] = {
      {{1001, 363255, 12001}, true, {12001},
       "PROBLEM: Descriptor 363255 does not exist in table D.\n"},
      {{1001, 363255}, false, {},
       "PROBLEM: Descriptor 363255 does not exist in table D.\n"},
      // A sequence that holds itself stops at a bounded depth.
      {{309004}, false, {},
       "PROBLEM: Sequences nested too deep at descriptor 309004\n"},
      // A sequence among the members of a delayed replication nested in a
      // fixed one is looked up as every sequence is.
      {{101000, 31001, 103001, 101000, 31001, 363255}, false, {},
       "PROBLEM: Descriptor 363255 does not exist in table D.\n"
       "PROBLEM: Not in the Table D = 363255\n"},
      {{301004}, false, {}, "PROBLEM: Descriptor expansion exceeds"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(::testing::PrintToString(c.list));
    StderrCapture err;
    EXPECT_EQ(c.expands, expand(c.list));
    EXPECT_EQ(c.descriptors, descriptors());
    std::string log = err.text();
    EXPECT_NE(std::string::npos, log.find(c.line));
    EXPECT_EQ(c.expands ? 0 : 1,
              countOf(log, "PROBLEM: Unable to expand descriptors.\n"));
  }

  // With the tables not loaded the miss says so.
  BufrEngineState::get().tablesLoaded = false;
  StderrCapture err;
  expand({363255, 12001});
  EXPECT_NE(std::string::npos,
            err.text().find("PROBLEM: Unable to re-initialize Tables.\n"));
  BufrEngineState::get().tablesLoaded = true;
}

TEST_F(BufrExpansionTest, MissInAFixedReplicationInAGroupEndsTheProcess) {
  EXPECT_EXIT(expand({101000, 31001, 101002, 363255}),
              ::testing::ExitedWithCode(1),
              "Descriptor 363255 does not exist in table D\\.\n(.|\n)*"
              "Invalid sequence des = 363255");
}

}  // namespace
