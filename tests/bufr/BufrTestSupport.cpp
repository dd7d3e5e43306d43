#include "BufrTestSupport.h"

#include <stdlib.h>
#include <sys/stat.h>

#include <sstream>

#include "BufrEngineState.h"
#include "GDataDescOps.h"
#include "StaticBufrInfo.h"

const char* const BufrTest::kTableB =
    "1001|WMO BLOCK NUMBER|NUMERIC|0|0|7\n"
    "1002|WMO STATION NUMBER|NUMERIC|0|0|10\n"
    "1008|AIRCRAFT REGISTRATION NUMBER OR OTHER IDENTIFICATION|CCITT IA5|0|0|"
    "64\n"
    "1015|STATION OR SITE NAME|CCITT IA5|0|0|160\n"
    "4001|YEAR|YEAR|0|0|12\n"
    "4002|MONTH|MONTH|0|0|4\n"
    "4003|DAY|DAY|0|0|6\n"
    "4004|HOUR|HOUR|0|0|5\n"
    "4005|MINUTE|MINUTE|0|0|6\n"
    "5002|LATITUDE (COARSE ACCURACY)|DEGREE|2|-9000|15\n"
    "6002|LONGITUDE (COARSE ACCURACY)|DEGREE|2|-18000|16\n"
    "7004|PRESSURE|PA|-1|0|14\n"
    "11001|WIND DIRECTION|DEGREE TRUE|0|0|9\n"
    "11002|WIND SPEED|M/S|1|0|12\n"
    "12001|TEMPERATURE/AIR TEMPERATURE|K|1|0|12\n"
    "31001|DELAYED DESCRIPTOR REPLICATION FACTOR|NUMERIC|0|0|8\n"
    "31002|EXTENDED DELAYED DESCRIPTOR REPLICATION FACTOR|NUMERIC|0|0|16\n"
    "31021|ASSOCIATED FIELD SIGNIFICANCE|CODE TABLE|0|0|6\n"
    "63001|TEST SCALED ELEMENT|K|2|-100|12\n"
    "63002|TEST NINE BITS|NUMERIC|0|-50|9\n"
    "63003|TEST TEN BITS|NUMERIC|0|0|10\n";

const char* const BufrTest::kTableD =
    "301011|4001|4002|4003|0\n"
    "301012|4004|4005|0\n"
    "301023|5002|6002|0\n"
    "303001|7004|12001|0\n"
    "309001|301011|101000|31001|303001|0\n"
    "309002|11001|11002|0\n"
    "309003|63003|201130|0\n"
    "309004|309004|0\n";

void BufrTest::SetUp() {
  setenv("ZEPH_HOME", home.path().c_str(), 1);
  mkdir(home.file("data").c_str(), 0755);
  BufrEngineState::get().tablesTried = true;
  ASSERT_TRUE(loadTables(kTableB, kTableD));
  GDataDescOps::forgetSavedState();
  BufrEngineState::get().width = 0;
  decoder.reset(new TestDecoder);
}

void BufrTest::TearDown() {
  decoder.reset();
  GDataDescOps::forgetSavedState();
  BufrEngineState::get().width = 0;
}

bool BufrTest::loadTables(const char* tableB, const char* tableD,
                          const char* replication) {
  const char* names[3] = {"bufrTableB", "bufrTableD", "replDescTbl"};
  const char* contents[3] = {tableB, tableD, replication};
  for (int i = 0; i < 3; ++i) {
    std::string path = home.file("data/") + names[i];
    unlink(path.c_str());
    if (contents[i]) writeFile(path, contents[i]);
  }
  bool loaded = StaticBufrInfo::instance().loadTables();
  BufrEngineState::get().tablesLoaded = loaded;
  return loaded;
}

bool BufrTest::decode(const BufrMessage& message) {
  return decodeBytes(message.build());
}

bool BufrTest::decodeBytes(const std::vector<uint8_t>& bytes) {
  // As a product does: the file's size plus one, the last octet zero.
  std::vector<uint8_t> buffer(bytes);
  buffer.push_back(0);
  return decoder->decodeMessage(buffer.data(), buffer.size());
}

std::string BufrTest::values() const {
  std::ostringstream out;
  const SeqOf<BufrValues>& all = decoder->decodedValues();
  for (int i = 0; i < all.length(); ++i) {
    const BufrValues& v = all.at(i);
    if (i > 0) out << " ";
    if (v.subset() != 0) out << "s" << v.subset() << ":";
    out << v.descriptor() << "=";
    if (v.value() == BufrValues::kCharacter)
      out << "'" << v.text() << "'";
    else
      out << v.value();
    if (v.repetition() != 0) out << "/" << v.repetition();
  }
  return out.str();
}

std::vector<int> BufrTest::descriptors() const {
  std::vector<int> out;
  const SeqOf<int>& list = decoder->descriptors();
  for (int i = 0; i < list.length(); ++i) out.push_back(list.at(i));
  return out;
}

std::vector<std::vector<int>> BufrTest::groups() const {
  std::vector<std::vector<int>> out;
  const SeqOf<SeqOf<int>>& list = decoder->replDescList();
  for (int g = 0; g < list.length(); ++g) {
    out.emplace_back();
    for (int k = 0; k < list.at(g).length(); ++k)
      out.back().push_back(list.at(g).at(k));
  }
  return out;
}
