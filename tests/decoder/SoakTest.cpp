// A decoder killed and started again fifty times while files keep coming:
// every file ends stored or in the bad directory, and every record of a
// handled file is in the store exactly once, with its data, whenever a
// reader looks between two kills. Each look is a fresh reader process,
// pointdump, as a long-lived reader sees new files only at its next
// resync. Nobody listens at the notification server's port: each send
// fails, and the files are stored all the same.
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <random>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "AbsTime.h"
#include "DecoderSite.h"
#include "ExpectedValues.h"
#include "LogStream.h"
#include "ModelBufrDecoder.h"

namespace {

const std::string kSample = "JUSA41_KWBC_2024032212_F000";
// A model file takes about a second and a half, most of it the pause
// between files: a file every other start keeps the decoder busy at most
// kills.
const int kCycles = 50;

struct Station {
  std::string id;
  long offset = 0;
  double latitude = 0;
};

// The sample's stations that this site stores, as the encoder was given
// them.
std::vector<Station> localStations() {
  ExpectedValues e = ExpectedValues::read(kSamples + "model/expected/" +
                                          kSample + ".expected");
  std::vector<Station> all;
  for (const ExpectedValues::Value& v : e.values) {
    if (v.subset >= int(all.size())) all.emplace_back();
    Station& s = all.back();
    if (v.descriptor == 1015) s.id = v.chars.substr(0, v.chars.find(' '));
    if (v.descriptor == 4194) s.offset = static_cast<long>(v.number);
    if (v.descriptor == 5002 && !v.missing) s.latitude = v.number;
  }
  ModelBufrDecoder decoder;
  std::vector<Station> local;
  for (const Station& s : all)
    if (decoder.isLocalStation(s.id.c_str())) local.push_back(s);
  return local;
}

// The sample with its run time moved to minute `n` past the hour after
// the sample's: each copy is a run of its own.
std::string copyName(int n) {
  char name[64];
  std::snprintf(name, sizeof name, "JUSA41_KWBC_2024032212_S%03d", n);
  return name;
}
AbsTime runOf(int n) { return AbsTime(24, 3, 22, 13 + n / 60, n % 60, 0); }

class SoakTest : public DecoderSiteTest {
 protected:
  void putCopy(int n) {
    std::string bytes = readBinary(kSamples + "model/" + kSample);
    size_t section1 = bytes.find("BUFR") + 8;
    bytes[section1 + 15] = static_cast<char>(13 + n / 60);  // hour
    bytes[section1 + 16] = static_cast<char>(n % 60);       // minute
    writeFile(dir(kModelTraits) + "/" + copyName(n), bytes);
  }

  // What a fresh reader finds, as pointdump prints it: a line for each
  // point file, "  STAMP  FROM to TO  N records, M ids", and under
  // "ids of STAMP" its ids, each with its latitude; then the last record.
  std::string look() {
    return commandOutput(std::string(POINTDUMP) + " " +
                         data("/point/model/ETA/netcdf") +
                         " 2> /dev/null || echo failed");
  }
};

// Whether an id shows a latitude out of range: a record without its data.
bool unfilled(const std::string& seen) {
  size_t from = std::min(seen.find("\nids of "), seen.size());
  std::istringstream lines(
      seen.substr(from, seen.find("\nrecord ", from) - from));
  for (std::string line; std::getline(lines, line);) {
    std::istringstream words(line);
    std::string id;
    double latitude = 0;
    if (line.rfind("  ", 0) == 0 && words >> id >> latitude &&
        !(latitude >= -90 && latitude <= 90))
      return true;
  }
  return false;
}

TEST_F(SoakTest, KilledFiftyTimesUnderAStreamOfFiles) {
  std::vector<Station> stations = localStations();
  ASSERT_FALSE(stations.empty());
  // A file's records and ids: one each for every station.
  const std::string whole = "  " + std::to_string(stations.size()) +
                            " records, " + std::to_string(stations.size()) +
                            " ids\n";
  _parent = "DATA_CONTROLLER";  // files are found at each start
  // This process's reader complains of every query outside a file's
  // period; those aren't what is looked at here.
  LogStream::instance().setFilter(nullptr, nullptr, LogStream::TTY,
                                  LogStream::PROBLEM, false);
  std::mt19937 random(20261123);
  int written = 0;
  for (int cycle = 0; cycle < kCycles && !HasFailure(); ++cycle) {
    if (cycle % 2 == 0) putCopy(written++);
    auto child = decoder("model");
    usleep(200000 + random() % 1400000);
    child->stop(SIGKILL);
    std::vector<std::string> waiting = names(dir(kModelTraits));
    std::string seen = look();
    EXPECT_EQ(std::string::npos, seen.find("failed\n")) << cycle;
    EXPECT_FALSE(unfilled(seen)) << cycle;
    for (int n = 0; n < written; ++n)
      if (std::find(waiting.begin(), waiting.end(), copyName(n)) ==
          waiting.end()) {
        std::string stamp = runOf(n).format("%Y%m%d_%H%M").chars();
        std::regex line("\n  " + stamp + "  .*" + whole);
        EXPECT_TRUE(std::regex_search(seen, line)) << cycle << " " << n;
      }
  }
  if (HasFailure()) return;
  auto child = decoder("model");
  waitUntil([&] { return names(dir(kModelTraits)).empty(); }, kPatience);
  child->stop(SIGTERM);
  EXPECT_TRUE(names(dir(kModelTraits)).empty());
  EXPECT_TRUE(names(data(kModelTraits.badDirectory)).empty());
  // Each record of a handled copy once, with its latitude.
  for (int n = 0; n < written; ++n)
    for (const Station& s : stations) {
      StoredRecord record(data("/point/model/ETA/netcdf"), s.id,
                          runOf(n) + s.offset);
      ASSERT_TRUE(record.found()) << copyName(n) << " " << s.id;
      EXPECT_NEAR(s.latitude, record.floats("latitude", 1)[0], 1e-3);
    }
}

}  // namespace
