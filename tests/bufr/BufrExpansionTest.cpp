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
  bool expand(const Ints& list) {
    BufrMessage m;
    m.descriptors = list;
    m.dataPadding = 200;
    return decode(m);
  }
};

TEST_F(BufrExpansionTest, DelayedGroupAtTheTopLevel) {
  expand({101000, 31001, 12001});
  EXPECT_EQ(Ints({31001}), descriptors());
  EXPECT_EQ(Groups({{12001}}), groups());

  // The group holds x descriptors of the raw list; a sequence in it stays
  // one unexpanded member list, operators and inner sequences untouched.
  expand({1001, 103000, 31002, 301011, 201130, 309001, 12001});
  EXPECT_EQ(Ints({1001, 31002, 12001}), descriptors());
  EXPECT_EQ(Groups({{4001, 4002, 4003, 201130, 301011, 101000, 31001, 303001}}),
            groups());

  // A group whose list ends early is dropped.
  expand({1001, 102000, 31001, 12001});
  EXPECT_EQ(Ints({1001, 31001}), descriptors());
  EXPECT_TRUE(groups().empty());
}

TEST_F(BufrExpansionTest, FixedReplicationUnrollsInPlace) {
  expand({1001, 102003, 1002, 12001, 7004});
  EXPECT_EQ(Ints({1001, 1002, 12001, 1002, 12001, 1002, 12001, 7004}),
            descriptors());
  // A sequence inside it is expanded at each repetition.
  expand({102002, 301012, 12001});
  EXPECT_EQ(Ints({4004, 4005, 12001, 4004, 4005, 12001}), descriptors());
  // Operators stay in the list, where Section 4 carries them out.
  expand({201130, 12001, 201000});
  EXPECT_EQ(Ints({201130, 12001, 201000}), descriptors());
}

TEST_F(BufrExpansionTest, DelayedReplicationInsideASequence) {
  // 309001 ends at its factor: 303001 behind it is dropped, and the next
  // sequence expanded gives the group.
  expand({309001, 309002, 7004});
  EXPECT_EQ(Ints({4001, 4002, 4003, 31001, 7004}), descriptors());
  EXPECT_EQ(Groups({{11001, 11002}}), groups());
}

TEST_F(BufrExpansionTest, NestedDelayedReplicationInAFixedOne) {
  // A delayed group holding a fixed replication that holds a delayed one.
  expand({101000, 31001, 104001, 7004, 101000, 31002, 12001, 11001});
  EXPECT_EQ(Ints({31001, 11001}), descriptors());
  EXPECT_EQ(Groups({{7004, 31002}}), groups());
  const SeqOf<SeqOf<int>>& nested = decoder->nestedRepList();
  ASSERT_EQ(1, nested.length());
  ASSERT_EQ(1, nested.at(0).length());
  EXPECT_EQ(12001, nested.at(0).at(0));
}

TEST_F(BufrExpansionTest, OddListGivesTheWholeLastDescriptor) {
  BufrMessage m;
  m.descriptors = {1001, 12001};
  m.oddSection3 = true;
  m.dataPadding = 100;
  ASSERT_TRUE(decode(m));
  EXPECT_EQ(Ints({1001, 12001}), descriptors());
}

TEST_F(BufrExpansionTest, TableDMissesAndBadSequences) {
  StderrCapture err;
  // A miss throws away what came before it; later descriptors still come.
  expand({1001, 363255, 12001});
  EXPECT_EQ(Ints({12001}), descriptors());
  EXPECT_NE(std::string::npos,
            err.text().find("PROBLEM: Descriptor 363255 does not exist in "
                            "table D.\n"));

  StderrCapture err2;
  EXPECT_FALSE(expand({1001, 363255}));
  EXPECT_NE(std::string::npos,
            err2.text().find("PROBLEM: Unable to expand descriptors.\n"));

  // A sequence that holds itself stops at a bounded depth.
  StderrCapture err3;
  EXPECT_FALSE(expand({309004}));
  EXPECT_NE(std::string::npos,
            err3.text().find("PROBLEM: Sequences nested too deep at "
                             "descriptor 309004\n"));

  // With the tables not loaded the miss says so.
  BufrEngineState::get().tablesLoaded = false;
  StderrCapture err4;
  expand({363255, 12001});
  EXPECT_NE(std::string::npos,
            err4.text().find("PROBLEM: Unable to re-initialize Tables.\n"));
  BufrEngineState::get().tablesLoaded = true;
}

TEST_F(BufrExpansionTest, MissInAFixedReplicationInAGroupEndsTheProcess) {
  EXPECT_EXIT(expand({101000, 31001, 101002, 363255}),
              ::testing::ExitedWithCode(1),
              "Descriptor 363255 does not exist in table D\\.\n(.|\n)*"
              "Invalid sequence des = 363255");
}

// A sequence among the members of a delayed replication nested in a fixed
// one is looked up as every sequence is: a miss says so and throws away
// what was expanded before it.
TEST_F(BufrExpansionTest, MissInANestedDelayedReplication) {
  StderrCapture err;
  EXPECT_FALSE(expand({101000, 31001, 103001, 101000, 31001, 363255}));
  EXPECT_EQ(Ints(), descriptors());
  std::string log = err.text();
  EXPECT_NE(std::string::npos,
            log.find("PROBLEM: Descriptor 363255 does not exist in table D.\n"
                     "PROBLEM: Not in the Table D = 363255\n"));
  EXPECT_NE(std::string::npos,
            log.find("PROBLEM: Unable to expand descriptors.\n"));
}

TEST_F(BufrExpansionTest, ExpansionIsBounded) {
  // 255 x 255 x ... replications of a sequence would go on for long.
  ASSERT_TRUE(loadTables(kTableB,
                         "301001|1001|0\n"
                         "301002|101255|301001|0\n"
                         "301003|101255|301002|0\n"
                         "301004|101255|301003|0\n"));
  StderrCapture err;
  EXPECT_FALSE(expand({301004}));
  EXPECT_NE(std::string::npos,
            err.text().find("PROBLEM: Descriptor expansion exceeds"));
}

}  // namespace
