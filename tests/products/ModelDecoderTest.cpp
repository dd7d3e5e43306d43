// Model sounding files through processBufrDirectory: the sample files made
// by an independent encoder end as records that read back as the values
// put in; bad files end deleted or in the bad directory with their log
// lines.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cmath>
#include <filesystem>
#include <map>

#include "BufrBuilder.h"
#include "ExpectedValues.h"
#include "LogStream.h"
#include "ModelBufrDecoder.h"
#include "ProductSite.h"
#include "dmNotify.h"

namespace {

namespace fs = std::filesystem;
const std::string kSamples = ZEPH_SOURCE_DIR "/site/samples/model/";

// One station of a sample file, as the encoder was given it.
struct Sounding {
  std::string id;
  long offset = 0;
  std::map<int, double> single;  // descriptor to value, missing left out
  std::map<int, std::vector<double>> levels;  // missing levels left out
};

struct SampleFile {
  std::string model;
  AbsTime run;
  std::vector<Sounding> stations;
};

SampleFile readSample(const std::string& name) {
  ExpectedValues e = ExpectedValues::read(kSamples + "expected/" + name +
                                          ".expected");
  SampleFile file;
  const char* models[] = {"ETA", "RUC", "AVN", "NGM"};  // JUSA to JUSD
  file.model = models[name[3] - 'A'];
  auto header = [&](const char* key) { return std::stoi(e.header.at(key)); };
  file.run = AbsTime(header("typicalYearOfCentury") % 100,
                     header("typicalMonth"), header("typicalDay"),
                     header("typicalHour"), header("typicalMinute"), 0);
  int replications = 0;
  for (const ExpectedValues::Value& v : e.values) {
    if (v.subset >= int(file.stations.size())) {
      file.stations.emplace_back();
      replications = 0;
    }
    Sounding& s = file.stations.back();
    if (v.descriptor == 31001) ++replications;
    if (v.descriptor == 1015) s.id = v.chars.substr(0, v.chars.find(' '));
    if (v.descriptor == 4194) s.offset = static_cast<long>(v.number);
    if (v.missing || v.text || v.descriptor == 31001) continue;
    if (replications > 0)
      s.levels[v.descriptor].push_back(v.number);
    else
      s.single[v.descriptor] = v.number;
  }
  return file;
}

class ModelDecoderTest : public ProductSiteTest {
 protected:
  void SetUp() override {
    ProductSiteTest::SetUp();
    makeProductDirectories(kModelTraits);
    for (const char* model : {"ETA", "RUC", "AVN", "NGM"})
      makePointDirectory(std::string("/point/model/") + model + "/netcdf",
                         std::string("model") + model);
  }

  void putSample(const std::string& name, const std::string& as = "") {
    put(as.empty() ? name : as, readBinary(kSamples + name));
  }

  // Finds the station's record through the index and checks it against
  // what the encoder was given.
  void expectStored(const SampleFile& file, const Sounding& s) {
    SCOPED_TRACE(file.model + " " + s.id);
    StoredRecord record(data("/point/model/" + file.model + "/netcdf"), s.id,
                        file.run + s.offset);
    ASSERT_TRUE(record.found());
    ASSERT_EQ(1u, s.levels.count(7004));
    EXPECT_EQ(float(s.levels.at(7004).size()),
              record.floats("numProfLvls", 1)[0]);
    const struct {
      const char* variable;
      int descriptor;
    } profiles[] = {{"pressure", 7004}, {"temperature", 12101},
                    {"uComp", 11003},   {"specHum", 13001},
                    {"turbKE", 11073},  {"soilTemp", 12130}};
    for (const auto& p : profiles) {
      auto found = s.levels.find(p.descriptor);
      if (found == s.levels.end()) continue;  // all its levels missing
      const std::vector<double>& put = found->second;
      std::vector<float> got = record.floats(p.variable, put.size());
      for (size_t k = 0; k < put.size(); ++k)
        EXPECT_NEAR(put[k], got[k], 1e-5 * std::fabs(put[k]) + 1e-9)
            << p.variable << " level " << k;
    }
    for (const auto& single : {std::make_pair("latitude", 5002),
                               std::make_pair("seaLevelPress", 10051)}) {
      auto put = s.single.find(single.second);
      if (put == s.single.end()) continue;  // missing: the template's fill
      EXPECT_NEAR(put->second, record.floats(single.first, 1)[0], 1e-3);
    }
  }
};

TEST_F(ModelDecoderTest, StoresEverySoundingOfTheSampleFiles) {
  std::vector<std::string> samples;
  for (const std::string& name : names(kSamples))
    if (name.rfind("JUS", 0) == 0) samples.push_back(name);
  ASSERT_GE(samples.size(), 8u);
  for (const std::string& name : samples) putSample(name);

  ModelBufrDecoder decoder;
  EXPECT_EQ(TextString("Model Soundings"), decoder.productName());
  StderrCapture err;
  decoder.processBufrDirectory();
  EXPECT_TRUE(names(input()).empty());
  EXPECT_TRUE(names(bad()).empty());
  EXPECT_NE(std::string::npos,
            err.text().find("EVENT: Writing record to netcdf file: "));

  size_t notified = 0;
  for (const std::string& name : samples) {
    SampleFile file = readSample(name);
    bool local = decoder.isLocalStation(file.stations.at(0).id.c_str());
    EXPECT_EQ(name.find("NOTLOCAL") == std::string::npos, local) << name;
    if (!local) continue;
    for (const Sounding& s : file.stations) {
      expectStored(file, s);
      ASSERT_LT(notified, sentNotifications().size());
      const SentNotification& sent = sentNotifications()[notified++];
      EXPECT_EQ(file.model == "ETA"   ? 10001u
                : file.model == "AVN" ? 10002u
                                      : 0u,
                sent.key);
      EXPECT_EQ(file.run, sent.dataTime.refTime());
      EXPECT_EQ(s.offset, sent.dataTime.forecast());
      EXPECT_EQ(1792u, sent.dataTime.flags());
    }
  }
  EXPECT_EQ(notified, sentNotifications().size());
}

// A file whose second station has more levels than the first station's
// replication factor: the profile can't be held.
std::string tooManyLevels() {
  BitWriter w;
  const char* ids[2] = {"724030", "725030"};
  for (int s = 0; s < 2; ++s) {
    w.putText(ids[s], 20);
    w.put(0, 24);      // forecast offset
    w.put(2 + s, 8);   // levels
    for (int k = 0; k < 2 + s; ++k) w.put(9000 - k * 500, 14);
  }
  BufrMessage m;
  m.descriptors = {1015, 4194, 101000, 31001, 7004};
  m.subsets = 2;
  m.data = w.bytes();
  m.dataPadding = 64;
  std::vector<uint8_t> bytes = m.build();
  return std::string(bytes.begin(), bytes.end());
}

TEST_F(ModelDecoderTest, EveryFileGetsItsFate) {
  const std::string good =
      readBinary(kSamples + "JUSA41_KWBC_2024032212_F000");
  put("JUSA41_good", good);
  put("JUSA41_empty", "");
  put("JUSZ41_prefix", good);
  put("JUSA81_designator", good);
  put("JUSA41_truncated", good.substr(0, good.size() / 2));
  put("JUSA41_garbage", std::string(3000, '\x5a'));
  putSample("JUSA41_KWBC_2024032212_NOTLOCAL", "JUSA41_notlocal");
  put("JUSA41_levels", tooManyLevels());
  put("XXXX41_unlisted", good);
  put("JUSA41_huge", good);
  fs::resize_file(input() + "/JUSA41_huge", 17 << 20);  // no message is so long
  fs::create_directory(input() + "/JUSA41_directory");
  put("JUSA41_directory/inside", "x");
  ASSERT_EQ(0, symlink("/nonexistent", (input() + "/JUSA41_dangling").c_str()));

  ModelBufrDecoder decoder;
  LogStream::instance().setFilter(nullptr, nullptr, LogStream::TTY,
                                  LogStream::VERBOSE, true);
  StderrCapture err;
  decoder.processBufrDirectory();
  std::string log = err.text();
  LogStream::instance().setFilter(nullptr, nullptr, LogStream::TTY,
                                  LogStream::VERBOSE, false);
  const std::string foreign =
      readSample("JUSA41_KWBC_2024032212_NOTLOCAL").stations.at(0).id;

  // Stored, or nothing to store: deleted. Not listed: left alone.
  EXPECT_EQ(std::vector<std::string>({"XXXX41_unlisted"}), names(input()));
  EXPECT_EQ(std::vector<std::string>({"JUSA41_dangling", "JUSA41_directory",
                                      "JUSA41_garbage", "JUSA41_huge",
                                      "JUSA41_levels", "JUSA41_truncated"}),
            names(bad()));
  const std::string in = input() + "/";
  for (const std::string& line : std::vector<std::string>{
           "EVENT: No data in datafile " + in + "JUSA41_empty\n",
           "PROBLEM: File JUSZ41_prefix is not a model BUFR file.\n",
           "PROBLEM: Unknown WMO model designator: 8\n",
           "PROBLEM: Invalid data: WMO region designator <81> not in search "
           "tree, data not stored.\n",
           "EVENT: Unable to parse " + in + "JUSA41_truncated, renamed to " +
               bad() + "/JUSA41_truncated\n",
           "VERBOSE: Station [ " + foreign +
               " ] is not in this localization.  Not stored.\n",
           "VERBOSE: Unlinking file " + in + "JUSA41_notlocal\n",
           "PROBLEM: Unable to pre-process sounding profile data sets for "
           "724030.  Not stored, skipping to next file.\n",
           "EVENT: Unable to write netcdf data. " + in + "JUSA41_levels",
           "PROBLEM: Only able to read 0 bytes of ",
           "PROBLEM: File JUSA41_huge of 17825792 bytes is larger than a BUFR "
           "message can be\n",
           "PROBLEM:  stat() failure on file " + in + "JUSA41_dangling: ",
           "EVENT: Unable to stat " + in + "JUSA41_dangling, renamed to "})
    EXPECT_NE(std::string::npos, log.find(line)) << line << "\nin\n" << log;
  // The good file alone was stored, one notification a station.
  EXPECT_EQ(readSample("JUSA41_KWBC_2024032212_F000").stations.size(),
            sentNotifications().size());
}

class VanishingFile : public ModelBufrDecoder {
 public:
  using ModelBufrDecoder::processFile;
};

// A file gone between the listing and its stat: the move and the delete
// fail with their lines, and nothing else happens.
TEST_F(ModelDecoderTest, FileThatVanishesAfterTheListing) {
  VanishingFile decoder;
  StderrCapture err;
  decoder.processFile((input() + "/").c_str(), "JUSA41_gone", 0, 1);
  std::string log = err.text();
  for (const char* line :
       {" stat() failure on file ", "PROBLEM: Unable to move ",
        "JUSA41_gone FAILED on unlink() command: "})
    EXPECT_NE(std::string::npos, log.find(line)) << line;
  EXPECT_TRUE(names(bad()).empty());
}

// Without its station table the decoder can store nothing: every file's
// first station is foreign. A corrupted line ends the profile table.
TEST_F(ModelDecoderTest, SetUpStopsAtAMissingOrCorruptedTable) {
  ASSERT_EQ(0,
            unlink(root.file("home/data/modelBufrStationInfo.txt").c_str()));
  {
    StderrCapture err;
    ModelBufrDecoder decoder;
    EXPECT_EQ(TextString(), decoder.productName());
    EXPECT_EQ(36000, decoder.registrationPeriod());
    EXPECT_NE(std::string::npos,
              err.text().find("PROBLEM: Unable to initialize station list "
                              "table for decoding.  Can't decode files.\n"));
    putSample("JUSA41_KWBC_2024032212_F000");
    decoder.processBufrDirectory();
    EXPECT_TRUE(names(input()).empty());
    EXPECT_TRUE(sentNotifications().empty());
  }
  SetUp();
  writeFile(root.file("home/data/modelProfDescTable.txt"),
            "# descriptor|profile|\n7004|PRESSURE|\n\n12101|TEMPERATURE|\n");
  StderrCapture err;
  ModelBufrDecoder decoder;
  EXPECT_EQ(TextString(), decoder.productName());
  std::string log = err.text();
  EXPECT_NE(std::string::npos, log.find("Line corrupted in "));
  EXPECT_NE(std::string::npos,
            log.find("PROBLEM: Unable to create descriptor dictionary for "
                     "model soundings.\n"));
}

}  // namespace
