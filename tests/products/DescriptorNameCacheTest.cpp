#include "DescriptorNameCache.h"
#include "ProductSite.h"
#include "StaticBufrInfo.h"

namespace {

class DescriptorNameCacheTest : public ProductSiteTest {};

// The first dictionary to name a descriptor names it until the cache is
// cleared; a descriptor beyond the cache is refused, logged, however its
// dictionary names it.
TEST_F(DescriptorNameCacheTest, KeepsTheFirstNameAndRefusesWhatItCantHold) {
  ASSERT_TRUE(StaticBufrInfo::instance().loadTables());
  Dict<TextString, TextString> none, first, second;
  first.insert("TEMPERATURE/DRY-BULB TEMPERATURE", "temperature");
  second.insert("TEMPERATURE/DRY-BULB TEMPERATURE", "airTemp");
  second.insert("SURFACE SOIL MOISTURE (MS)", "soil");
  DescriptorNameCache cache;
  TextString name;
  EXPECT_EQ(0, cache.lookUp(12001, none, name));
  EXPECT_EQ(1, cache.lookUp(12001, first, name));
  EXPECT_STREQ("temperature", name.chars());
  EXPECT_EQ(1, cache.lookUp(12001, second, name));
  EXPECT_STREQ("temperature", name.chars());
  {
    StderrCapture err;
    EXPECT_EQ(-1, cache.lookUp(40001, second, name));
    EXPECT_EQ("PROBLEM: dvDescriptor(40001) >= TBL_B_DICT_CACHE_SIZE, next "
              "file!\n",
              err.text());
  }
  cache.clear();
  EXPECT_EQ(1, cache.lookUp(12001, second, name));
  EXPECT_STREQ("airTemp", name.chars());
}

}  // namespace
