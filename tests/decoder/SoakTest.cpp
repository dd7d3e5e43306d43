// A decoder killed and started again fifty times while files keep coming:
// every file ends stored or in the bad directory, and every record of a
// handled file is in the store exactly once, with its data, whenever a
// reader looks between two kills. Each look is a fresh reader process,
// pointdump, as a long-lived reader sees new files only at its next
// resync.
#include <gtest/gtest.h>

#include <map>
#include <signal.h>

#include <cstdio>
#include <random>
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

class SoakTest : public DecoderSiteTest {
 protected:
  // The sample's stations that this site stores, as the encoder was given
  // them.
  std::vector<Station> localStations() {
    ExpectedValues e = ExpectedValues::read(
        ZEPH_SOURCE_DIR "/site/samples/model/expected/" + kSample + ".expected");
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
  void putCopy(int n) {
    std::string bytes = readBinary(ZEPH_SOURCE_DIR "/site/samples/model/" + kSample);
    size_t section1 = bytes.find("BUFR") + 8;
    bytes[section1 + 15] = static_cast<char>(13 + n / 60);  // hour
    bytes[section1 + 16] = static_cast<char>(n % 60);       // minute
    writeFile(dir(kModelTraits) + "/" + copyName(n), bytes);
  }

  // What a fresh reader finds: per point file, its records and ids, and
  // whether any id shows a latitude out of range (a record without its
  // data).
  struct Seen {
    std::map<std::string, std::pair<int, int>> files;
    bool unfilled = false;
  };
  Seen look() {
    Seen seen;
    std::string out = root.file("look.txt");
    std::string command = std::string(POINTDUMP) + " " +
                          data("/point/model/ETA/netcdf") + " > " + out +
                          " 2> /dev/null";
    if (std::system(command.c_str()) != 0) return seen;
    std::istringstream lines(readFile(out));
    std::string line, section;
    while (std::getline(lines, line)) {
      if (line.empty() || line[0] != ' ') {
        section = line;
        continue;
      }
      std::istringstream words(line);
      std::string first;
      words >> first;
      if (section == "files") {
        // "  STAMP  from to  N records, M ids"
        size_t r = line.find(" records, ");
        size_t start = line.rfind("  ", r);
        seen.files[first] = {std::stoi(line.substr(start, r - start)),
                             std::stoi(line.substr(r + 10))};
      } else if (section.rfind("ids of ", 0) == 0) {
        double latitude = 0;
        words >> latitude;
        if (!(latitude >= -90 && latitude <= 90)) seen.unfilled = true;
      }
    }
    return seen;
  }
  std::string stampOf(int n) { return runOf(n).format("%Y%m%d_%H%M").chars(); }

  // Each record of a handled copy once, with its latitude.
  void expectStored(int n, const std::vector<Station>& stations) {
    for (const Station& s : stations) {
      StoredRecord record(data("/point/model/ETA/netcdf"), s.id,
                          runOf(n) + s.offset);
      ASSERT_TRUE(record.found()) << copyName(n) << " " << s.id;
      EXPECT_NEAR(s.latitude, record.floats("latitude", 1)[0], 1e-3);
    }
  }
};

TEST_F(SoakTest, KilledFiftyTimesUnderAStreamOfFiles) {
  std::vector<Station> stations = localStations();
  ASSERT_FALSE(stations.empty());
  _parent = "DATA_CONTROLLER";  // files are found at each start
  // This process's reader complains of every query outside a file's
  // period; those aren't what is looked at here.
  LogStream::instance().setFilter(nullptr, nullptr, LogStream::TTY,
                                  LogStream::PROBLEM, false);
  std::mt19937 random(20261123);
  int written = 0;
  for (int cycle = 0; cycle < kCycles; ++cycle) {
    if (cycle % 2 == 0) putCopy(written++);
    auto child = decoder("model");
    usleep(200000 + random() % 1400000);
    child->stop(SIGKILL);
    std::vector<std::string> waiting = names(dir(kModelTraits));
    Seen seen = look();
    EXPECT_FALSE(seen.unfilled) << cycle;
    const std::pair<int, int> whole(stations.size(), stations.size());
    for (int n = 0; n < written; ++n)
      if (std::find(waiting.begin(), waiting.end(), copyName(n)) == waiting.end()) {
        EXPECT_EQ(whole, seen.files[stampOf(n)]) << cycle << " " << copyName(n);
      }
    if (HasFailure()) return;
  }
  auto child = decoder("model");
  for (int i = 0; i < kPatience * 10 && !names(dir(kModelTraits)).empty(); ++i)
    usleep(100000);
  child->stop(SIGTERM);
  EXPECT_TRUE(names(dir(kModelTraits)).empty());
  EXPECT_TRUE(names(data(kModelTraits.badDirectory)).empty());
  for (int n = 0; n < written; ++n) expectStored(n, stations);
}

}  // namespace
