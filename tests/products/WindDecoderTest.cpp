// High-density and QuikScat wind files through processBufrDirectory: the
// sample files made by an independent encoder end as records known by
// their position, one notification a minute; bad files get their fates
// and log lines.
#include <gtest/gtest.h>
#include <netcdf.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <functional>
#include <map>

#include "BufrEngineState.h"
#include "ExpectedValues.h"
#include "HDWBufrDecoder.h"
#include "LogStream.h"
#include "NetcdfPointData.h"
#include "ProductSite.h"
#include "QuikScatBufrDecoder.h"
#include "dmNotify.h"

namespace {

using Variables = std::vector<std::pair<const char*, int>>;

// The rain flag that each quality word of the QuikScat samples stands for:
// -1 where the word says the flag isn't usable.
const std::map<int, int> kRainIndex = {
    {0, 0}, {8, 1}, {16, -1}, {24, -1}, {136, -1}, {264, 1}, {65536, 0}};

struct Family {
  const char* name;
  const ProductTraits& traits;
  std::function<WindBufrDecoder*()> make;
  const char* pointDirectory;
  const char* templateName;
  int latitude, longitude;
  bool rainIndex;     // the quality word gives "rainIndex"
  Variables singles;  // variable and the descriptor of its value
  std::string sample, offGlobe, wrongDesignator;
  std::vector<std::string> lines;  // of the main sample, at VERBOSE
};

const Family kFamilies[] = {
    {"hdw", kHdwTraits, [] { return new HDWBufrDecoder; },
     "/point/CSW/netcdf", "csw", 5001, 6001, false,
     {{"latitude", 5001}, {"longitude", 6001}, {"pressure", 7004},
      {"windDir", 11001}, {"windSpeed", 11002}, {"satelliteId", 1007},
      {"originCentre", 1031}, {"windMethod", 2023}, {"channels", 2025},
      {"heightMethod", 2163}, {"tracerMethod", 2164}, {"confidence", 33007}},
     "JUTX01_KNES_202403221800", "JUTY02_KNES_202403221900_OFFGLOBE",
     "JUTX11_x",
     {"VERBOSE: NCF_STORE site [35.1234, -97.4321]\n",
      "VERBOSE: Unable to map netcdf file to descriptor 12071(\"\"), decoded "
      "value=[216] for 39.5, -104.25 is undefined in the cdl.\n",
      "EVENT: NCF_STORE of 10 site(s) for Mar 22 24 18:00:00 GMT\n",
      "EVENT: NCF_STOREd to netcdf file: ",
      "VERBOSE: Sent notification for key 10007 and dataTime Mar 22 24 "
      "18:02:00 GMT\n"}},
    {"quikscat", kQuikScatTraits, [] { return new QuikScatBufrDecoder; },
     "/point/QuikScat/netcdf", "quikscat", 5002, 6002, true,
     {{"lat", 5002}, {"lon", 6002}, {"satelliteId", 1007},
      {"orbitNumber", 5040}, {"crossTrackCell", 6034}, {"windSpeed", 11012},
      {"windDir", 11011}, {"modelWindSpeed", 11082}, {"modelWindDir", 11081},
      {"numAmbiguities", 21101}, {"likelihood", 21104}, {"probRain", 21120}},
     "ISXX01_KNES_202403221200", "ISXX02_KNES_202403221300_OFFGLOBE",
     "ISXX11_x",
     {"VERBOSE: Unable to map netcdf file to descriptor 5034(\"\"), decoded "
      "value=[401] for 20, -140 is undefined in the cdl.\n",
      "EVENT: NCF_STORE of 79 site(s) for Mar 22 24 12:00:00 GMT\n",
      "EVENT: NCF_STOREd to netcdf file: ",
      "VERBOSE: Sent notification for key 10008 and dataTime Mar 22 24 "
      "12:05:00 GMT\n"}},
};

void PrintTo(const Family& family, std::ostream* out) { *out << family.name; }

// An observation as the encoder was given it, and what the recipe says
// becomes of it.
struct Observation {
  std::string fate;
  std::map<int, double> value;  // missing values left out
  AbsTime minute;
};

class WindDecoderTest : public ProductSiteTest,
                        public ::testing::WithParamInterface<Family> {
 protected:
  void SetUp() override {
    ProductSiteTest::SetUp();
    makeProductDirectories(family().traits);
    makePointDirectory(family().pointDirectory, family().templateName);
  }
  const Family& family() const { return GetParam(); }
  std::string samples() const {
    return ZEPH_SOURCE_DIR "/site/samples/" + std::string(family().name) + "/";
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
    delete family().make();
    LogStream::instance().setFilter(nullptr, nullptr, LogStream::TTY,
                                    LogStream::VERBOSE, false);
    return err.text();
  }

  std::vector<Observation> readSample(const std::string& name) {
    ExpectedValues e =
        ExpectedValues::read(samples() + "expected/" + name + ".expected");
    std::ifstream fates(samples() + "expected/" + name + ".fates");
    std::vector<Observation> obs;
    std::string line;
    while (std::getline(fates, line))
      if (line[0] != '#') {
        obs.emplace_back();
        obs.back().fate = line.substr(line.find(' ') + 1);
      }
    for (const ExpectedValues::Value& v : e.values)
      if (!v.missing) obs.at(v.subset).value[v.descriptor] = v.number;
    for (Observation& ob : obs) {
      auto at = [&](int d) { return int(ob.value.at(d)); };
      AbsTime time(at(4001), at(4002), at(4003), at(4004), at(4005),
                   at(4006));
      ob.minute = AbsTime((time.seconds() + 30) / 60 * 60);
    }
    return obs;
  }

  size_t recordCount() {
    size_t total = 0;
    for (const std::string& name : names(data(family().pointDirectory))) {
      int ncid, dimid;
      size_t length = 0;
      std::string path = data(family().pointDirectory) + "/" + name;
      if (name == "template" ||
          nc_open(path.c_str(), NC_NOWRITE, &ncid) != NC_NOERR)
        continue;
      if (nc_inq_dimid(ncid, "recNum", &dimid) == NC_NOERR)
        nc_inq_dimlen(ncid, dimid, &length);
      nc_close(ncid);
      total += length;
    }
    return total;
  }

  // Finds the observation's record by its position and minute through the
  // index and checks it against what the encoder was given.
  void expectStored(const Observation& ob) {
    char id[16];
    NetcdfPointData::latLonId(float(ob.value.at(family().latitude)),
                              float(ob.value.at(family().longitude)), 13, id);
    SCOPED_TRACE(id + std::string(ob.minute.format(" %H:%M").chars()));
    StoredRecord record(data(family().pointDirectory), id, ob.minute);
    ASSERT_TRUE(record.found());
    for (const auto& single : family().singles) {
      double put = ob.value.at(single.second);
      EXPECT_NEAR(put, record.floats(single.first, 1)[0],
                  1e-6 * std::fabs(put) + 1e-5)
          << single.first;
    }
    if (family().rainIndex) {
      // A missing word is a flag that isn't usable.
      bool missing = !ob.value.count(21109);
      int word = missing ? -1 : int(ob.value.at(21109));
      ASSERT_TRUE(missing || kRainIndex.count(word)) << word;
      EXPECT_EQ(missing ? -1.0f : float(kRainIndex.at(word)),
                record.floats("rainIndex", 1)[0])
          << word;
    }
  }

  // The stored observations of a sample are found, the others are not
  // among the records, and each minute stored is notified once, in order.
  void expectSample(const std::string& name, size_t notificationsBefore) {
    std::vector<AbsTime> minutes;
    size_t stored = 0;
    for (const Observation& ob : readSample(name)) {
      if (ob.fate != "stored") continue;
      expectStored(ob);
      ++stored;
      if (std::find(minutes.begin(), minutes.end(), ob.minute) == minutes.end())
        minutes.push_back(ob.minute);
    }
    EXPECT_EQ(stored, recordCount());
    const auto& sent = sentNotifications();
    ASSERT_EQ(notificationsBefore + minutes.size(), sent.size());
    for (size_t m = 0; m < minutes.size(); ++m) {
      const SentNotification& n = sent[notificationsBefore + m];
      EXPECT_EQ(family().traits.key, n.key);
      EXPECT_EQ(minutes[m], n.dataTime.refTime());
      EXPECT_EQ(768u, n.dataTime.flags());
    }
  }
};

// A file delivered twice rewrites its records: nothing is added, and its
// minutes are notified again. The store keeps the positions of the records
// it adds to a file that it made itself, which has no table of ids.
TEST_P(WindDecoderTest, StoresEveryObservationByItsPosition) {
  putSample(family().sample);
  std::string log = run(true);
  EXPECT_TRUE(names(input()).empty());
  EXPECT_TRUE(names(bad()).empty());
  for (const std::string& line : family().lines)
    EXPECT_NE(std::string::npos, log.find(line)) << line;
  int missing = 0;
  for (const Observation& ob : readSample(family().sample))
    missing += ob.fate.find("- missing") == 0;
  EXPECT_EQ(missing, countOf(log, "PROBLEM: Missing lat/lon coordinates for "
                                  "this ob.  Skipping to next observation.\n"));
  expectSample(family().sample, 0);

  size_t records = recordCount(), notified = sentNotifications().size();
  putSample(family().sample);  // the first is gone: the same name again
  // A process reads a pattern file once, into its one decoder of the
  // product: the second decoder here is a second process's.
  BufrEngineState::get().patternCache.clear();
  run();
  EXPECT_TRUE(names(input()).empty());
  EXPECT_EQ(records, recordCount());
  expectSample(family().sample, notified);
}

// Observations off the globe get no record: the others are stored and
// notified, and the file goes to the bad directory.
TEST_P(WindDecoderTest, PositionOffTheGlobe) {
  putSample(family().offGlobe);
  std::string log = run();
  EXPECT_EQ(std::vector<std::string>({family().offGlobe}), names(bad()));
  int off = 0;
  for (const Observation& ob : readSample(family().offGlobe))
    off += ob.fate.find("off the globe") != std::string::npos;
  ASSERT_GT(off, 0);
  EXPECT_EQ(off, countOf(log, "PROBLEM: lat/lon values out of range in "
                              "getFileHandleAndRecord\n"));
  EXPECT_EQ(off, countOf(log, "PROBLEM: No handle for this lat/lon: "));
  EXPECT_EQ(off, countOf(log, ".  Skipping to next Station.\n"));
  EXPECT_NE(std::string::npos,
            log.find("EVENT: Unable to NCF_STORE netcdf data. "));
  expectSample(family().offGlobe, 0);
}

TEST_P(WindDecoderTest, EveryFileGetsItsFate) {
  const std::string good = readBinary(samples() + family().sample);
  const std::string prefix = family().sample.substr(0, 6);
  put(prefix + "_empty", "");
  put("IUXX01_prefix", good);
  put(family().wrongDesignator, good);
  put(prefix + "_truncated", good.substr(0, good.size() / 2));
  put(prefix + "_garbage", std::string(3000, '\x5a'));
  std::string log = run();
  EXPECT_TRUE(names(input()).empty());
  EXPECT_EQ(std::vector<std::string>(
                {prefix + "_garbage", prefix + "_truncated"}),
            names(bad()));
  EXPECT_EQ(2, countOf(log, "EVENT: Unable to parse "));
  EXPECT_EQ(1, countOf(log, "EVENT: No data in datafile "));
  EXPECT_EQ(1, countOf(log, "PROBLEM: File IUXX01_prefix" +
                                std::string(family().traits.notThisProduct)));
  EXPECT_EQ(1, countOf(log, "PROBLEM: Invalid data: WMO region designator <"
                            "11> not in search tree, data not stored.\n"));
  EXPECT_EQ(0u, recordCount());
  EXPECT_TRUE(sentNotifications().empty());
}

INSTANTIATE_TEST_SUITE_P(Families, WindDecoderTest,
                         ::testing::ValuesIn(kFamilies),
                         [](const ::testing::TestParamInfo<Family>& info) {
                           return std::string(info.param.name);
                         });

}  // namespace
