// Wind profiler files of both networks through processBufrDirectory: the
// sample files made by an independent encoder end as records of their
// network under the WMO id, one notification a minute; bad files and a bad
// table get their fates and log lines.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <map>

#include "ExpectedValues.h"
#include "LogStream.h"
#include "ProfBufrDecoder.h"
#include "ProductSite.h"
#include "dmNotify.h"

namespace {

const std::string kSamples = ZEPH_SOURCE_DIR "/site/samples/profiler/";
const char* const kGood[] = {"IUPT03_KBOU_202403221500",
                             "IUPA40_KWBC_202403221506",
                             "IUPA46_KWBC_202403221512"};

// The arrays by variable and descriptor, in the order of a level.
const std::pair<const char*, int> kArrays[] = {
    {"heights", 7007},        {"levelMode", 25032},
    {"uComponent", 11003},    {"vComponent", 11004},
    {"wComponent", 11006},    {"peakPower", 21030},
    {"uvQuality", 33002},     {"uvConsensusNum", 25192},
    {"wConsensusNum", 25193}, {"horizWindSdev", 11050},
    {"vertWindSdev", 11051}};
const std::pair<const char*, int> kSingles[] = {
    {"wmoBlockNum", 1001}, {"wmoStaNum", 1002},    {"latitude", 5001},
    {"longitude", 6001},   {"elevation", 7001},    {"sfcPress", 10004},
    {"sfcTemp", 12001},    {"sfcRelHum", 13003},   {"sfcWindDir", 11001},
    {"sfcWindSpeed", 11002}, {"rainRate", 13014}};

// A station as the encoder was given it.
struct Station {
  long id = 0;
  AbsTime time;  // to the minute; invalid without a month
  std::map<int, double> single;
  std::map<int, std::vector<double>> levels;  // missing as -99999
  size_t count = 0;
};

std::vector<Station> readSample(const std::string& name) {
  ExpectedValues e =
      ExpectedValues::read(kSamples + "expected/" + name + ".expected");
  std::vector<Station> stations;
  size_t levelValues = 0;  // still to come of the replication
  for (const ExpectedValues::Value& v : e.values) {
    if (v.subset >= int(stations.size())) stations.emplace_back();
    Station& s = stations.back();
    if (levelValues > 0) {
      --levelValues;
      s.levels[v.descriptor].push_back(v.missing ? -99999.0 : v.number);
    } else if (v.descriptor == 31001) {
      s.count = size_t(v.number);
      levelValues = s.count * std::size(kArrays);
    } else if (!v.missing) {
      s.single[v.descriptor] = v.number;
    }
  }
  for (Station& s : stations) {
    auto at = [&s](int d) { return s.single.count(d) ? int(s.single[d]) : 0; };
    s.id = at(1001) * 1000L + at(1002);
    if (s.single.count(4002))
      s.time = AbsTime(at(4001), at(4002), at(4003), at(4004), at(4005), 0);
  }
  return stations;
}

// The decoder without the pause between files, which only throttles a
// feed.
const ProductTraits kUnpaused = [] {
  ProductTraits traits = kProfilerTraits;
  traits.pauses = false;
  return traits;
}();

class UnpausedProfiler : public ProfBufrDecoder {
 public:
  UnpausedProfiler() : ProfBufrDecoder(kUnpaused) {}
};

std::string pointDirectory(const std::string& file) {
  return file.compare(0, 4, "IUPT") == 0 ? "/point/prof/netcdf"
                                         : "/point/CAP/netcdf";
}

class ProfilerDecoderTest : public ProductSiteTest {
 protected:
  void SetUp() override {
    ProductSiteTest::SetUp();
    makeProductDirectories(kProfilerTraits);
    makePointDirectory("/point/prof/netcdf", "profiler");
    makePointDirectory("/point/CAP/netcdf", "profilerCAP");
  }
  void putSample(const std::string& name) {
    put(name, readBinary(kSamples + name));
  }
  // A decoder's set-up runs the input directory; its log, VERBOSE lines
  // too if asked.
  std::string run(bool verbose = false) {
    LogStream::instance().setFilter(nullptr, nullptr, LogStream::TTY,
                                    LogStream::VERBOSE, verbose);
    StderrCapture err;
    UnpausedProfiler decoder;
    LogStream::instance().setFilter(nullptr, nullptr, LogStream::TTY,
                                    LogStream::VERBOSE, false);
    EXPECT_EQ(36000, decoder.registrationPeriod());  // also when it stopped
    productName = decoder.productName();
    return err.text();
  }
  TextString productName;  // of the last run's decoder, once set up

  // Finds the station's record through the index and checks it against
  // what the encoder was given; `profiles` false where the template can't
  // hold them.
  void expectStored(const std::string& file, const Station& s,
                    bool profiles = true) {
    SCOPED_TRACE(file + " " + std::to_string(s.id));
    StoredRecord record(data(pointDirectory(file)), std::to_string(s.id),
                        s.time);
    ASSERT_TRUE(record.found());
    EXPECT_EQ(float(s.count), record.floats("numLevels", 1)[0]);
    for (const auto& array : kArrays) {
      if (!profiles || s.count == 0) break;
      const std::vector<double>& put = s.levels.at(array.second);
      std::vector<float> got = record.floats(array.first, s.count);
      for (size_t k = 0; k < s.count; ++k)
        EXPECT_NEAR(put[k], got[k], 1e-5 * std::fabs(put[k]) + 1e-6)
            << array.first << " level " << k;
    }
    for (const auto& single : kSingles) {
      double put = s.single.at(single.second);
      EXPECT_NEAR(put, record.floats(single.first, 1)[0],
                  1e-5 * std::fabs(put) + 1e-6)
          << single.first;
    }
  }
};

TEST_F(ProfilerDecoderTest, StoresTheStationsOfBothNetworks) {
  for (const char* name : kGood) putSample(name);
  std::string log = run(true);
  EXPECT_EQ(TextString("Profiler"), productName);
  EXPECT_TRUE(names(input()).empty());
  EXPECT_TRUE(names(bad()).empty());
  for (const char* line :
       {"EVENT: Storing data for station 74630  Mar 22 24 15:00:00 GMT "
        "......\n",
        "EVENT: NCF_STORE site 6348  Mar 22 24 15:00:00 GMT ......\n",
        "EVENT: NCF_STORE site 74229  Mar 22 24 14:00:00 GMT ......\n",
        "EVENT: NCF_STOREd to netcdf file: ",
        "VERBOSE: Sent notification for key 10001\n",
        "VERBOSE: Sent notification for key 10002\n"})
    EXPECT_NE(std::string::npos, log.find(line)) << line;

  // The seconds of 74630 (15:00:42) are dropped, not rounded; 74005 and
  // 6348 are block times 1000 plus station. Both CAP designators, 0 and
  // 6, store into the CAP files.
  std::vector<std::pair<unsigned long, AbsTime>> expected;
  for (const char* name : kGood) {
    unsigned long key = pointDirectory(name) == "/point/prof/netcdf" ? 10001
                                                                     : 10002;
    std::vector<AbsTime> minutes;
    for (const Station& s : readSample(name)) {
      expectStored(name, s);
      if (std::find(minutes.begin(), minutes.end(), s.time) != minutes.end())
        continue;
      minutes.push_back(s.time);
      expected.emplace_back(key, s.time);
    }
  }
  // The listing isn't sorted: the files come in the directory's order.
  std::vector<std::pair<unsigned long, AbsTime>> sent;
  for (const SentNotification& n : sentNotifications()) {
    sent.emplace_back(n.key, n.dataTime.refTime());
    EXPECT_EQ(768u, n.dataTime.flags());
  }
  std::sort(expected.begin(), expected.end());
  std::sort(sent.begin(), sent.end());
  EXPECT_EQ(5u, sent.size());
  EXPECT_EQ(expected, sent);
}

TEST_F(ProfilerDecoderTest, EveryFileGetsItsFate) {
  const std::string good = readBinary(kSamples + kGood[0]);
  const std::string faults = "IUPT03_KBOU_202403221700_FAULTS";
  const std::string bound = "IUPT03_KBOU_202403221800_BOUND";
  put("IUPT03_empty", "");
  put("IUXX03_prefix", good);
  put("IUPT05_designator", good);
  put("IUPT03_truncated", good.substr(0, good.size() / 2));
  put("IUPT03_garbage", std::string(3000, '\x5a'));
  putSample(faults);
  putSample(bound);
  std::string log = run();
  EXPECT_TRUE(names(input()).empty());
  EXPECT_EQ(std::vector<std::string>({faults, bound, "IUPT03_garbage",
                                      "IUPT03_truncated"}),
            names(bad()));
  const std::string in = input() + "/";
  for (const std::string& line : std::vector<std::string>{
           "EVENT: No data in datafile " + in + "IUPT03_empty\n",
           "PROBLEM: File IUXX03_prefix is not a profiler BUFR file.\n",
           "PROBLEM: Unknown profiler designator: 5\n",
           "PROBLEM: Invalid data: WMO region designator <05> not in search "
           "tree, data not stored.\n",
           "EVENT: Unable to parse " + in + "IUPT03_truncated, renamed to ",
           // The station without a month has no file; the one of 70
           // levels has its record without the arrays.
           "PROBLEM: No handle for 74431 for Jan 01 70 00:00:00 GMT; "
           "skipping.\n",
           "PROBLEM: storeArray (heights) error: NetCDF: Start+count exceeds "
           "dimension bound\n",
           "EVENT: Unable to NCF_STORE netcdf data. " + in + faults,
           // The second station has a height and no level.
           "PROBLEM: Unable to pre-process profiler data sets for 74630.  "
           "Not stored, skipping to next file.\n"})
    EXPECT_NE(std::string::npos, log.find(line)) << line << "\nin\n" << log;
  std::vector<Station> stations = readSample(faults);
  expectStored(faults, stations[0]);
  expectStored(faults, stations[2], false);
  ASSERT_EQ(1u, sentNotifications().size());
  EXPECT_EQ(stations[0].time, sentNotifications()[0].dataTime.refTime());
}

// Without its array table the decoder stops its set-up, and the files
// wait for a later run.
TEST_F(ProfilerDecoderTest, SetUpStopsWithoutTheArrayTable) {
  const std::string table = root.file("home/data/profArrayDescTable.txt");
  ASSERT_EQ(0, unlink(table.c_str()));
  putSample(kGood[0]);
  std::string log = run();
  for (const std::string& line :
       {"PROBLEM: Unable to get profiler descriptor variable list from " +
            table + "\n",
        std::string("PROBLEM: Unable to create descriptor dictionary for "
                    "profilers.\n")})
    EXPECT_NE(std::string::npos, log.find(line)) << line;
  EXPECT_EQ(std::vector<std::string>({kGood[0]}), names(input()));
}

}  // namespace
