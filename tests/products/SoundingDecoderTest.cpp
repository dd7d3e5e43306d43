// POES and GOES sounding files through processBufrDirectory: the sample
// files made by an independent encoder end as records under the site each
// observation lies near, one notification a minute; bad files and bad
// tables get their fates and log lines.
#include <gtest/gtest.h>
#include <netcdf.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <functional>
#include <map>
#include <memory>

#include "ExpectedValues.h"
#include "GOESBufrDecoder.h"
#include "InfoFileServer.h"
#include "LogStream.h"
#include "POESBufrDecoder.h"
#include "ProductSite.h"
#include "SiteTable.h"
#include "dmNotify.h"

namespace {

using Variables = std::vector<std::pair<const char*, int>>;

// One family: what the test needs to know of its files and templates.
struct Family {
  const char* name;
  const ProductTraits& traits;
  std::function<SatelliteSoundingDecoder*()> make;
  const char* pointDirectory;
  const char* word;  // of the table names and log lines
  bool sorted;     // levels stored highest pressure first
  bool dayOfYear;  // year, day of the year, lat, lon, hour, minute, second
  Variables profiles;
  Variables singles;
  std::string sample, outside, wrongDesignator;
  std::vector<std::string> lines;  // of the main sample, at VERBOSE
};

const Family kFamilies[] = {
    {"poes", kPoesTraits, [] { return new POESBufrDecoder; },
     "/point/POES/netcdf", "POES", true, false,
     {{"pressure", 7004}, {"temperature", 12001}, {"mixingRatio", 13002}},
     {{"latitude", 5002}, {"longitude", 6002}, {"satelliteId", 1007},
      {"landSea", 8012}, {"skinTemp", 12061}, {"precipWater", 13016},
      {"totalOzone", 15001}, {"cloudAmount", 20011}},
     "IUTX01_KNES_202403221342", "IUTN02_KNES_202403221530_OUTSIDE", "IUTX10_x",
     {"PROBLEM: Missing lat/lon coordinates for this ob.  Skipping to next "
      "observation.\n",
      "VERBOSE: Lat/lon location [ 43.26, -73.8 ] is not in this localization."
      "  Not stored.\n",
      "VERBOSE: Lat/lon location [ 43.25, -73.8 ]: KALB\n",
      "PROBLEM: Unable to determine the number of data levels for lat/long "
      "location [33.7, -84.4] not stored, skipping to next ob.\n",
      "EVENT: Storing data for site location KIAD  Mar 22 24 13:41:00 GMT "
      "......\n",
      "EVENT: Writing record to netcdf file: "}},
    {"goes", kGoesTraits, [] { return new GOESBufrDecoder; },
     "/point/GOES/netcdf", "GOES", false, true,
     {{"pressure", 10004}, {"temperature", 12001}, {"dewpoint", 12003},
      {"height", 10009}},
     {{"latitude", 5001}, {"longitude", 6001}, {"satelliteId", 1007},
      {"zenithAngle", 7024}, {"skinTemp", 12061}, {"precipWater", 13016},
      {"cloudAmount", 20011}, {"cloudTopPress", 20016}},
     "IUSA11_KNES_202403221846", "IUSB12_KNES_202403222046_OUTSIDE", "IUSA15_x",
     {"PROBLEM: No lat/lon coords for this ob; skipping.\n",
      "VERBOSE: Lat/lon [ 36.51, -97.5 ] not in this localization; not "
      "stored.\n",
      "VERBOSE: Lat/lon location [ 36.5, -97.5 ]: KOKC\n",
      "PROBLEM: Unknown number of data levels for lat/lon [32.95, -97.1]; "
      "skipping.\n",
      "EVENT: NCF_STORE site KMSP  Dec 29 37 12:00:00 GMT ......\n",
      "EVENT: NCF_STOREd to netcdf file: "}},
};

void PrintTo(const Family& family, std::ostream* out) { *out << family.name; }

// An observation as the encoder was given it, and the site it belongs to
// by the recipe ("-" for none).
struct Observation {
  std::string site;
  std::map<int, double> single;                 // up to the levels
  std::map<int, std::vector<double>> levels;    // missing as -99999
  AbsTime time;
};

class SoundingDecoderTest : public ProductSiteTest,
                            public ::testing::WithParamInterface<Family> {
 protected:
  void SetUp() override {
    ProductSiteTest::SetUp();
    SiteTable::forgetAllForTests();
    makeProductDirectories(family().traits);
    makePointDirectory(family().pointDirectory, family().name);
  }
  const Family& family() const { return GetParam(); }
  std::string samples() const {
    return ZEPH_SOURCE_DIR "/site/samples/" + std::string(family().name) + "/";
  }
  std::string table(const std::string& name) const {
    return root.file("home/data/") + name;
  }
  void putSample(const std::string& name, const std::string& as = "") {
    put(as.empty() ? name : as, readBinary(samples() + name));
  }
  // A decoder's set-up runs the input directory; its log, VERBOSE lines
  // too if asked.
  std::string run(bool verbose = false) {
    LogStream::instance().setFilter(nullptr, nullptr, LogStream::TTY,
                                    LogStream::VERBOSE, verbose);
    StderrCapture err;
    std::unique_ptr<ProductDecoder> made(family().make());
    EXPECT_EQ(family().traits.registrationPeriod, made->registrationPeriod());
    LogStream::instance().setFilter(nullptr, nullptr, LogStream::TTY,
                                    LogStream::VERBOSE, false);
    return err.text();
  }

  // The minute of an observation by the family's rule.
  AbsTime timeOf(const std::map<int, double>& v) const {
    for (int d : {4001, 4004, 4005, 4006})
      if (!v.count(d)) return AbsTime();
    if (!v.count(family().dayOfYear ? 4043 : 4002)) return AbsTime();
    auto at = [&](int d) { return v.count(d) ? int(v.at(d)) : 0; };
    AbsTime time =
        family().dayOfYear
            ? AbsTime(at(4001), 1, 1, at(4004), at(4005), at(4006)) +
                  (at(4043) - 1) * 86400L
            : AbsTime(at(4001), at(4002), at(4003), at(4004), at(4005),
                      at(4006));
    time = time + 30;
    time = time - time.seconds() % 60;
    if (family().dayOfYear && time.seconds() > AbsTime::now().seconds())
      time = time - 86400;
    return time;
  }

  std::vector<Observation> readSample(const std::string& name) {
    ExpectedValues e = ExpectedValues::read(samples() + "expected/" + name +
                                            ".expected");
    std::ifstream sites(samples() + "expected/" + name + ".sites");
    std::vector<Observation> obs;
    std::string line;
    while (std::getline(sites, line)) {
      if (line[0] == '#') continue;
      obs.emplace_back();
      obs.back().site = line.substr(line.find(' ') + 1, 4);
    }
    size_t levelValues = 0;  // still to come of the replication
    for (const ExpectedValues::Value& v : e.values) {
      Observation& ob = obs.at(v.subset);
      if (levelValues > 0) {
        --levelValues;
        ob.levels[v.descriptor].push_back(v.missing ? -99999.0 : v.number);
      } else if (v.descriptor == 31001) {
        levelValues = size_t(v.number) * family().profiles.size();
      } else if (!v.missing) {
        ob.single[v.descriptor] = v.number;
      }
    }
    for (Observation& ob : obs) ob.time = timeOf(ob.single);
    return obs;
  }

  // The records of all point files of the family.
  size_t recordCount() {
    size_t total = 0;
    for (const std::string& name : names(data(family().pointDirectory))) {
      int ncid, dimid;
      size_t length = 0;
      std::string path = data(family().pointDirectory) + "/" + name;
      if (name == "template" || name[0] == '.' ||
          nc_open(path.c_str(), NC_NOWRITE, &ncid) != NC_NOERR)
        continue;
      if (nc_inq_dimid(ncid, "recNum", &dimid) == NC_NOERR)
        nc_inq_dimlen(ncid, dimid, &length);
      nc_close(ncid);
      total += length;
    }
    return total;
  }

  // Finds the observation's record through the index and checks it
  // against what the encoder was given.
  void expectStored(const Observation& ob) {
    SCOPED_TRACE(ob.site + " " + ob.time.format("%Y%m%d %T").chars());
    StoredRecord record(data(family().pointDirectory), ob.site, ob.time);
    ASSERT_TRUE(record.found());
    size_t levels = ob.levels.count(family().profiles[0].second)
                        ? ob.levels.at(family().profiles[0].second).size()
                        : 0;
    EXPECT_EQ(float(levels), record.floats("numLevels", 1)[0]);
    // The levels in the order they are stored in.
    std::vector<size_t> order(levels);
    for (size_t k = 0; k < levels; ++k) order[k] = k;
    if (family().sorted && levels > 0) {
      const std::vector<double>& p = ob.levels.at(family().profiles[0].second);
      std::stable_sort(order.begin(), order.end(),
                       [&](size_t a, size_t b) { return p[a] > p[b]; });
    }
    for (const auto& profile : family().profiles) {
      if (levels == 0) break;
      const std::vector<double>& put = ob.levels.at(profile.second);
      std::vector<float> got = record.floats(profile.first, levels);
      for (size_t k = 0; k < levels; ++k)
        EXPECT_NEAR(put[order[k]], got[k], 1e-5 * std::fabs(put[order[k]]))
            << profile.first << " level " << k;
    }
    for (const auto& single : family().singles) {
      auto put = ob.single.find(single.second);
      ASSERT_NE(ob.single.end(), put) << single.first;
      EXPECT_NEAR(put->second, record.floats(single.first, 1)[0],
                  1e-4 * std::fabs(put->second) + 1e-4)
          << single.first;
    }
  }
};

// Broken lines of the site and profile tables are logged and passed over;
// the rest of each table serves.
TEST_P(SoundingDecoderTest, StoresTheObservationsNearSites) {
  const std::string spi = table(family().name + std::string("Bufr.spi"));
  const std::string profiles =
      table(family().word + std::string("ProfDescTable.txt"));
  writeFile(spi, "KXXX 40 -80\n7 KYYY 41.5\n\n" + readFile(spi));
  writeFile(profiles, "9999\n" + readFile(profiles));
  putSample(family().sample);
  putSample(family().outside);
  std::string log = run(true);
  EXPECT_TRUE(names(input()).empty());
  EXPECT_TRUE(names(bad()).empty());
  for (const std::string& line : family().lines)
    EXPECT_NE(std::string::npos, log.find(line)) << line;
  EXPECT_EQ(3, countOf(log, "PROBLEM: Line error in " + spi + " ["));
  EXPECT_EQ(1, countOf(log, "PROBLEM: Line error in " + profiles + " [9999"));

  std::vector<AbsTime> minutes;
  size_t stored = 0;
  for (const Observation& ob : readSample(family().sample)) {
    if (ob.site[0] == '-') continue;
    expectStored(ob);
    ++stored;
    if (std::find(minutes.begin(), minutes.end(), ob.time) == minutes.end())
      minutes.push_back(ob.time);
  }
  EXPECT_EQ(stored, recordCount());
  ASSERT_EQ(minutes.size(), sentNotifications().size());
  ASSERT_LT(minutes.size(), stored);  // several observations share a minute
  for (size_t m = 0; m < minutes.size(); ++m) {
    EXPECT_EQ(family().traits.key, sentNotifications()[m].key);
    EXPECT_EQ(minutes[m], sentNotifications()[m].dataTime.refTime());
    EXPECT_EQ(768u, sentNotifications()[m].dataTime.flags());
  }
}

TEST_P(SoundingDecoderTest, EveryFileGetsItsFate) {
  const std::string good = readBinary(samples() + family().sample);
  const std::string prefix = family().sample.substr(0, 6);
  put(prefix + "_empty", "");
  put("IUXX01_prefix", good);
  put(family().wrongDesignator, good);
  put(prefix + "_truncated", good.substr(0, good.size() / 2));
  put(prefix + "_garbage", std::string(3000, '\x5a'));
  putSample(family().outside, prefix + "_outside");
  run();
  EXPECT_TRUE(names(input()).empty());
  EXPECT_EQ(std::vector<std::string>({prefix + "_garbage",
                                      prefix + "_truncated"}),
            names(bad()));
  EXPECT_EQ(0u, recordCount());
  EXPECT_TRUE(sentNotifications().empty());
}

// A store that can't have a handle for one observation stores the others,
// notifies them, and sends the file to the bad directory. An observation
// of more levels than the template holds is stored without its profiles.
TEST_P(SoundingDecoderTest, ObservationWithoutAHandle) {
  if (!family().sorted) GTEST_SKIP() << "one sample of faults, POES";
  const std::string faults = "IUTX03_KNES_202403221700_FAULTS";
  putSample(faults);
  std::string log = run();
  EXPECT_EQ(std::vector<std::string>({faults}), names(bad()));
  std::vector<Observation> obs = readSample(faults);
  expectStored(obs[0]);
  for (const char* line :
       {"PROBLEM: No handle for KLGA for ",
        "storeArray (pressure) error: NetCDF: Start+count exceeds dimension "
        "bound",
        "EVENT: Unable to write netcdf data. "})
    EXPECT_NE(std::string::npos, log.find(line)) << line;
  EXPECT_EQ(2u, recordCount());
  ASSERT_EQ(2u, sentNotifications().size());
  EXPECT_EQ(obs[0].time, sentNotifications()[0].dataTime.refTime());
  EXPECT_EQ(obs[2].time, sentNotifications()[1].dataTime.refTime());
}

// A table that can't be read stops the set-up with its lines, and the
// files stay for a later run.
TEST_P(SoundingDecoderTest, SetUpStopsAtAMissingTable) {
  const std::string word = family().word;
  const struct {
    std::string file;
    std::vector<std::string> lines;
  } cases[] = {
      {family().name + std::string("Bufr.spi"),
       {"PROBLEM: Unable to read list of site locations for matching\n",
        "could not open " + std::string(family().name) + "Bufr.spi\nfor "
        "reading in ::readStaticPlotInfoPV\n"}},
      {family().name + std::string("BufrInfo.txt"),
       {"PROBLEM: Unable to get grid resolution from ",
        "Info.txt.  Can't open file.\n",
        "PROBLEM: Unable to get grid resolution for " + word +
            " soundings.\n"}},
      {word + "ProfDescTable.txt",
       {"PROBLEM: Unable to open sounding profile descriptor variable list, " +
            table(word + "ProfDescTable.txt") + "\n",
        "PROBLEM: Unable to create descriptor dictionary for " + word +
            " soundings.\n"}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.file);
    SetUp();
    ASSERT_EQ(0, unlink(table(c.file).c_str()));
    putSample(family().sample);
    std::string log = run();
    for (const std::string& line : c.lines)
      EXPECT_NE(std::string::npos, log.find(line)) << line << "\nin\n" << log;
    EXPECT_EQ(std::vector<std::string>({family().sample}), names(input()));
  }
}

INSTANTIATE_TEST_SUITE_P(Families, SoundingDecoderTest,
                         ::testing::ValuesIn(kFamilies),
                         [](const ::testing::TestParamInfo<Family>& info) {
                           return std::string(info.param.name);
                         });

// The site search on the sample site's tables: the radius is met at
// exactly its length, the later of two sites at equal distance wins, and a
// site whose weight is below the floor is never found.
TEST(SiteTableTest, NearestSiteWithinTheRadius) {
  TempDir home;
  writeFile(home.file("t.spi"),
            "1 A 40.00 -80.00\n2 B 41.00 -80.00 0 1.0 NORTH\n"
            "3 C 45.00 -90.00 0 -1.0 BELOW_FLOOR\n4 D 10.00 0.00 0 0.0\n");
  setenv("FILE_SERVER_DEFAULT_PATHS", (home.path() + "/").c_str(), 1);
  resetInfoFileServerForTests();
  SiteTable::forgetAllForTests();
  const SiteTable* table = SiteTable::read("t.spi");
  ASSERT_EQ(4, table->length());
  EXPECT_STREQ("A", table->at(0).name);  // four fields: the id as name
  EXPECT_EQ(40000.0f, table->at(0).weight);
  const struct {
    float lat, lon, radius;
    const char* id;  // null: none
  } cases[] = {
      {40.5f, -80.0f, 55.55f, "B"},   // both at the radius: the later
      {40.25f, -80.0f, 55.55f, "A"},  // nearer to A
      {39.5f, -80.0f, 55.55f, "A"},   // exactly at the radius
      {39.49f, -80.0f, 55.55f, nullptr},
      {45.0f, -90.0f, 100.0f, nullptr},  // below the floor
      {10.0f, 0.0f, 0.0f, "D"},          // weight 0 meets the floor 0
  };
  for (const auto& c : cases) {
    const SiteRecord* site = table->nearest(c.lat, c.lon, c.radius, 0.0f);
    EXPECT_STREQ(c.id ? c.id : "(none)", site ? site->id : "(none)")
        << c.lat << ", " << c.lon;
  }
  EXPECT_EQ(table, SiteTable::read("t.spi"));  // read once
  unsetenv("FILE_SERVER_DEFAULT_PATHS");
  resetInfoFileServerForTests();
  SiteTable::forgetAllForTests();
}

}  // namespace
