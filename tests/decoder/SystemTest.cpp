// The whole system on 127.0.0.1: the comms router, the data controller
// with decoders as its children, and the notification server, fed through
// the product source as an operator's feed would: files put in the input
// directories and a notification for each sent to the router.
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include "DecoderSite.h"

namespace {

namespace fs = std::filesystem;

const SiteFamily& family(const std::string& word) {
  for (const SiteFamily& f : siteFamilies())
    if (word == f.word) return f;
  return siteFamilies().front();
}

// The running children of a process, by /proc.
std::vector<pid_t> childrenOf(pid_t parent) {
  std::vector<pid_t> found;
  for (const auto& entry : fs::directory_iterator("/proc")) {
    std::string stat = readFile(entry.path().string() + "/stat");
    size_t close = stat.rfind(')');
    char state;
    int ppid;
    if (close != std::string::npos &&
        std::sscanf(stat.c_str() + close, ") %c %d", &state, &ppid) == 2 &&
        ppid == parent && state != 'Z')
      found.push_back(std::stoi(entry.path().filename().string()));
  }
  return found;
}

class SystemTest : public DecoderSiteTest {
 protected:
  void SetUp() override {
    DecoderSiteTest::SetUp();
    // The site's configuration, at ports of this test's own.
    std::string config = readFile(ZEPH_SOURCE_DIR "/site/data/zeph.config");
    for (const char* port : {"20001", "20002", "20003"})
      config.replace(config.find(port), 5, std::to_string(freePort()));
    writeFile(root.file("home/data/zeph.config"), config);
    fs::create_directories(root.file("home/bin"));
    fs::create_directories(root.file("feed"));
    fs::create_symlink(BUFR_DECODER, root.file("home/bin/bufrDecoder"));
    fs::create_symlink(TEST_DECODER, root.file("home/bin/testBufrDecoder"));
    _router = start({COMMS_ROUTER});
    _notifier = start({NOTIFICATION_SERVER});
  }

  // Starts the controller with these lines as its children file, and
  // waits for `registrations` data requests more.
  void startController(const std::vector<std::string>& children,
                       int registrations) {
    std::ofstream file(root.file("home/data/children.txt"));
    for (const std::string& line : children) file << line << "\n";
    file.close();
    int before = logCount("dataController", "DataReqMsg: pattern");
    _controller = start({DATA_CONTROLLER, root.file("home/data/children.txt")});
    ASSERT_TRUE(controllerLogs("DataReqMsg: pattern", before + registrations));
  }

  // The lines of the per-process log files of a program that hold `text`.
  std::vector<std::string> logLines(const std::string& program,
                                    const std::string& text) {
    std::vector<std::string> lines;
    if (!fs::exists(root.file("logs"))) return lines;
    for (const auto& e : fs::recursive_directory_iterator(root.file("logs"))) {
      std::string name = e.path().filename().string();
      if (!e.is_regular_file() || name.rfind(program, 0) != 0 ||
          name.size() == program.size() || !isdigit(name[program.size()]))
        continue;
      std::ifstream in(e.path());
      for (std::string line; std::getline(in, line);)
        if (line.find(text) != std::string::npos) lines.push_back(line);
    }
    return lines;
  }
  int logCount(const std::string& program, const std::string& text) {
    return static_cast<int>(logLines(program, text).size());
  }
  // Waits until the controller has logged `text` at least `count` times.
  bool controllerLogs(const std::string& text, int count) {
    return waitUntil(
        [&] { return logCount("dataController", text) >= count; }, kPatience);
  }

  // Puts a file in its family's input directory and its notification in
  // the feed; `bytes` empty copies the sample.
  void put(const SiteFamily& f, const std::string& sample,
           const std::string& as, const std::string& bytes = "") {
    std::string target = dir(*f.traits) + "/" + as;
    if (bytes.empty())
      fs::copy_file(kSamples + f.samples + "/" + sample, target);
    else
      writeFile(target, bytes);
    char name[32];
    std::snprintf(name, sizeof name, "%06d", _fed++);
    writeFile(root.file("feed/") + name,
              naming(as.substr(0, as.find('_'))) + "\n");
  }
  void put(const std::string& word, const std::string& sample) {
    put(family(word), sample, sample);
  }
  // Sends the feed through the router, empties it, and waits until every
  // input directory is empty.
  bool sendFeed(double seconds = kPatience) {
    ChildProgram source({PRODUCT_SOURCE, root.file("feed")},
                        root.file("children.err"));
    EXPECT_EQ(0, source.waitExit(kPatience));
    for (const auto& e : fs::directory_iterator(root.file("feed")))
      fs::remove(e.path());
    return waitUntil([&] { return filesLeft() == 0; }, seconds);
  }

  int filesLeft() {
    int n = 0;
    for (const SiteFamily& f : siteFamilies())
      n += static_cast<int>(names(dir(*f.traits)).size());
    return n;
  }
  int badFiles(const SiteFamily& f) {
    return static_cast<int>(names(data(f.traits->badDirectory)).size());
  }

  std::unique_ptr<ChildProgram> _router, _notifier, _controller;
  int _fed = 0;
};

// A faulty decoder meets the file that kills it: the file goes to the bad
// directory, the controller starts the decoder again, and the new process
// takes over the old one's routing entry with the products that waited.
TEST_F(SystemTest, ADecoderKilledMidFileIsRestartedAndFindsItsQueue) {
  startController({"testBufrDecoder true faulty", "bufrDecoder true acars"}, 2);
  put(family("model"), "JUSA41_KWBC_2024032212_F000", "JUSA41_A_SEGV");
  put("model", "JUSA41_KWBC_2024032212_F000");
  put("acars", "IUAX01_KWBC_202406011230");
  ASSERT_TRUE(sendFeed()) << logs();
  EXPECT_EQ(std::vector<std::string>{"JUSA41_A_SEGV"},
            names(data(kModelTraits.badDirectory)));
  ASSERT_TRUE(controllerLogs("resetting new target", 1)) << logs();
  EXPECT_EQ(1, logCount("dataController", "resetting new target"));

  // The restarted decoder is served as before.
  put("model", "JUSB51_KWBC_2024032218_F000");
  EXPECT_TRUE(sendFeed());
  EXPECT_EQ(2u, childrenOf(_controller->pid()).size());
  EXPECT_EQ(0, _controller->stop(SIGTERM));
}

// A decoder that can't run ends its restarts by the restart limit, and the
// decoder beside it goes on.
TEST_F(SystemTest, ADecoderThatDiesAtOnceIsStoppedAndTheOthersGoOn) {
  startController({"bufrDecoder true hdw", "bufrDecoder true acars"}, 1);
  ASSERT_TRUE(controllerLogs("Child restarted too often", 1));
  const int starts = logCount("dataController", "bufrDecoder started");
  EXPECT_GT(starts, 50);  // the restart limit
  sleep(2);
  EXPECT_EQ(starts, logCount("dataController", "bufrDecoder started"));
  EXPECT_EQ(1u, childrenOf(_controller->pid()).size());

  put("acars", "IUAX01_KWBC_202406011230");
  EXPECT_TRUE(sendFeed());
  EXPECT_EQ(0, badFiles(family("acars")));
}

// A controller killed and started again: its children end with it and
// the new one starts its own, while a decoder that isn't its child goes
// on without a parent and asks the new controller again within its
// period. No file stays unhandled and no product has two decoders.
TEST_F(SystemTest, AControllerRestart) {
  startController({"bufrDecoder true acars"}, 1);
  auto brisk = start({TEST_DECODER, "DATA_CONTROLLER", "7", "brisk"});
  ASSERT_TRUE(controllerLogs("DataReqMsg: pattern", 2));
  std::vector<pid_t> first = childrenOf(_controller->pid());
  ASSERT_EQ(1u, first.size());

  _controller->stop(SIGKILL);
  EXPECT_TRUE(waitUntil([&] { return kill(first[0], 0) != 0; }, kPatience));
  put("acars", "IUAX01_KWBC_202406011230");
  put("model", "JUSA41_KWBC_2024032212_F000");
  // Its own child's request and the brisk decoder's, which registers
  // again every two seconds.
  startController({"bufrDecoder true acars"}, 2);
  EXPECT_TRUE(sendFeed()) << logs();
  EXPECT_EQ(1u, childrenOf(_controller->pid()).size());
  EXPECT_EQ(0, _controller->stop(SIGTERM));
  EXPECT_NE(std::string::npos,
            logs().find("No messages in time period. Re-registering."));
}

// 5,000 files of the seven families, bad ones among them, announced at
// once: every file ends stored, deleted or in a bad directory, and every
// notification names a data time that its key's point files hold.
TEST_F(SystemTest, ABurstOfFiveThousandFiles) {
  std::vector<std::string> children;
  for (const SiteFamily& f : siteFamilies())
    children.push_back(std::string("bufrDecoder true ") + f.word);
  startController(children, 7);

  // The families that pause between files get fewer, so that the decoders
  // end at about the same time.
  const std::map<std::string, int> share = {
      {"model", 1500}, {"acars", 2250}, {"goes", 250}, {"poes", 250},
      {"csw", 250},    {"prof", 250},   {"quikscat", 250}};
  int injected = 0;
  for (const SiteFamily& f : siteFamilies()) {
    std::vector<std::string> samples = sampleFiles(f);
    for (int i = 0; i < share.at(f.word); ++i) {
      const std::string& sample = samples[i % samples.size()];
      std::string as = sample + "_" + std::to_string(i);
      if (i % 20 == 19) {
        std::string bytes = readBinary(kSamples + f.samples + "/" + sample);
        put(f, sample, as + "_CUT", bytes.substr(0, bytes.size() / 2));
        ++injected;
      } else if (i % 20 == 9) {
        put(f, sample, as + "_GARBAGE", "BUFR" + std::string(300, '\x5a'));
        ++injected;
      } else {
        put(f, sample, as);
      }
    }
  }
  ASSERT_EQ(5000, _fed);
  ASSERT_TRUE(sendFeed(900)) << filesLeft();
  int bad = 0;
  for (const SiteFamily& f : siteFamilies()) bad += badFiles(f);
  EXPECT_GE(bad, injected / 2);

  // Nothing left behind in the point directories but point files.
  for (const SiteFamily& f : siteFamilies())
    for (const auto& point : f.pointDirectories)
      for (const std::string& name : names(data(point.first)))
        EXPECT_TRUE(name == "template" ||
                    std::regex_match(name, std::regex("[0-9]{8}_[0-9]{4}")))
            << point.first << "/" << name;

  EXPECT_EQ(0, _controller->stop(SIGTERM));
  sleep(1);
  // The point directories of each key, as the site's data access table
  // has them; the profilers share the keys of two model soundings.
  const std::map<unsigned long, std::vector<std::string>> directories = {
      {10001, {"/point/model/ETA/netcdf", "/point/prof/netcdf"}},
      {10002, {"/point/model/AVN/netcdf", "/point/CAP/netcdf"}},
      {10005, {"/point/GOES/netcdf"}},     {10006, {"/point/POES/netcdf"}},
      {10007, {"/point/CSW/netcdf"}},      {10008, {"/point/QuikScat/netcdf"}},
      {79, {"/point/acars/netcdf"}}};
  const std::regex notification(
      "key ([0-9]+) \\((.*)\\), data time ([-0-9]+ [:0-9]+)");
  std::map<unsigned long, std::string> held;  // what pointdump shows
  std::set<std::string> checked;
  for (const std::string& line :
       logLines("notificationServer", "Notification: key")) {
    std::smatch m;
    ASSERT_TRUE(std::regex_search(line, m, notification)) << line;
    unsigned long key = std::stoul(m[1]);
    if (key == 0) continue;  // RUC and NGM soundings have no key
    EXPECT_NE("unknown key", m[2].str()) << line;
    ASSERT_TRUE(directories.count(key)) << line;
    if (!held.count(key))
      for (const std::string& d : directories.at(key))
        held[key] += commandOutput(std::string(POINTDUMP) + " " + data(d));
    EXPECT_NE(std::string::npos, held[key].find("\n  " + m[3].str())) << line;
    checked.insert(m[1].str() + " " + m[3].str());
  }
  EXPECT_GE(checked.size(), 10u);
}

}  // namespace
