// Real signals to a real decoder process: a fault while a file is in work
// moves that file to the bad directory and nothing else; termination is a
// clean shutdown that leaves the file for the next process; SIGKILL
// leaves it too; SIGUSR1 and SIGUSR2 steer the log. The faults are real:
// the test decoder faults on a file whose name bears a mark.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <filesystem>
#include <string>
#include <vector>

#include "DecoderSite.h"

namespace {

namespace fs = std::filesystem;

const std::string kGood = "JUSA41_KWBC_2024032212_F006";
const std::string kMarked = "JUSA41_KWBC_2024032212_F000";

class SignalTest : public DecoderSiteTest {
 protected:
  void SetUp() override {
    DecoderSiteTest::SetUp();
    rlimit noCore = {0, 0};
    setrlimit(RLIMIT_CORE, &noCore);
    unsetenv("ZEPH_DUMP_CORE");
    unsetenv("ZEPH_TEST_HANG");
    // Under the address sanitizer the faults must reach the process's own
    // handlers, as they do in a plain build.
    setenv("ASAN_OPTIONS",
           "handle_segv=0:handle_sigbus=0:handle_sigfpe=0:handle_abort=0:"
           "allow_user_segv_handler=1",
           1);
  }
  std::unique_ptr<ChildProgram> faulty() {
    _parent = "DATA_CONTROLLER";  // nobody there: files come from the start
    return decoder("faulty", TEST_DECODER);
  }
  std::string input() { return dir(kModelTraits); }
  std::string badDir() { return data(kModelTraits.badDirectory); }
};

TEST_F(SignalTest, FaultMovesTheFileInWorkAndNothingElse) {
  struct Case {
    const char* mark;
    int signal;
    const char* dumpCore;
    bool caught;
  } cases[] = {
      {"_SEGV", SIGSEGV, nullptr, true}, {"_BUS", SIGBUS, nullptr, true},
      {"_FPE", SIGFPE, nullptr, true},   {"_ABRT", SIGABRT, "0", true},
      // Left to the system, which may dump core: nothing is moved.
      {"_SEGV", SIGSEGV, "1", false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.mark) + " " + (c.dumpCore ? c.dumpCore : "unset"));
    for (const std::string& d : {input(), badDir()}) {
      fs::remove_all(d);
      fs::create_directories(d);
    }
    if (c.dumpCore)
      setenv("ZEPH_DUMP_CORE", c.dumpCore, 1);
    else
      unsetenv("ZEPH_DUMP_CORE");
    const std::string marked = kMarked + c.mark;
    putSample(kModelTraits, "model", kGood);
    putSample(kModelTraits, "model", kMarked, marked);
    auto child = faulty();
    int status = child->waitExit(kPatience);
    std::vector<std::string> left = names(input());
    if (c.caught) {
      EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 1) << status;
      EXPECT_EQ(std::vector<std::string>{marked}, names(badDir()));
      EXPECT_TRUE(left.empty() || left == std::vector<std::string>{kGood});
      std::string line = "Signal " + std::to_string(c.signal) + " (" +
                         std::string(strsignal(c.signal)).substr(0, 3);
      EXPECT_NE(std::string::npos, logs().find(line)) << line;
    } else {
      EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == c.signal) << status;
      EXPECT_TRUE(names(badDir()).empty());
      EXPECT_NE(left.end(), std::find(left.begin(), left.end(), marked));
    }
  }
  EXPECT_NE(std::string::npos,
            logs().find("Signal 11 (Segmentation violation) received for dirty "
                        "shutdown"));
}

// Termination while a file is held in work: the process ends with 0 and
// the file waits for the next process, which handles it. SIGKILL, which
// nothing catches, leaves it as well.
TEST_F(SignalTest, TerminationLeavesTheFileForTheNextProcess) {
  const std::string held = kMarked + "_HANG";
  putSample(kModelTraits, "model", kMarked, held);
  setenv("ZEPH_TEST_HANG", "1", 1);
  for (int signal : {SIGTERM, SIGINT, SIGKILL}) {
    SCOPED_TRACE(signal);
    auto child = faulty();
    ASSERT_EQ("hanging", child->waitFor("hanging", kPatience));
    int status = child->stop(signal);
    if (signal == SIGKILL)
      EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL);
    else
      EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    EXPECT_EQ(std::vector<std::string>{held}, names(input()));
    EXPECT_TRUE(names(badDir()).empty());
  }
  for (const char* line : {"Signal 15 (Terminate) received for clean shutdown",
                           "Signal 2 (Interrupt) received for clean shutdown"})
    EXPECT_NE(std::string::npos, logs().find(line)) << line;

  unsetenv("ZEPH_TEST_HANG");
  auto child = faulty();
  EXPECT_TRUE(waitUntil([&] { return names(input()).empty(); }, kPatience));
  EXPECT_TRUE(names(badDir()).empty());
  EXPECT_LT(1u, names(data("/point/model/ETA/netcdf")).size());
}

// SIGUSR2 turns filtering off, so that a DEBUG line reaches the log file;
// SIGUSR1 makes the next line open a log file of a fresh name. Each signal
// interrupts the wait, which registers again before it serves the pipe.
TEST_F(SignalTest, LogFilesBreakAndFilteringToggles) {
  auto parent = controller();
  auto child = decoder("brisk", TEST_DECODER);
  expectRegistration(*parent, child->pid());
  auto logFiles = [&] {
    std::vector<std::string> files;
    for (const auto& entry : fs::recursive_directory_iterator(root.file("logs")))
      // The decoder's own files; its collective file has the bare name.
      if (entry.path().filename().string().rfind("testBufrDecoder", 0) == 0 &&
          entry.path().filename() != "testBufrDecoder")
        files.push_back(entry.path().string());
    std::sort(files.begin(), files.end());
    return files;
  };
  auto signalAndWait = [&](int signal) {
    kill(child->pid(), signal);
    EXPECT_NE("", parent->waitFor("DataReqMsg", kPatience));
    EXPECT_EQ("ReadyMsg", parent->waitFor("ReadyMsg", kPatience));
  };
  sendProduct(*parent, "one");
  EXPECT_EQ(std::string::npos, logs().find("processMsg_Single: data length = 3"));
  signalAndWait(SIGUSR2);
  sendProduct(*parent, "two");
  EXPECT_NE(std::string::npos, logs().find("processMsg_Single: data length = 3"));
  ASSERT_EQ(1u, logFiles().size());

  sleep(1);  // the file's name holds the time to the second
  signalAndWait(SIGUSR1);
  sendProduct(*parent, "three");
  std::vector<std::string> files = logFiles();
  ASSERT_EQ(2u, files.size());
  std::string first = readFile(files[0]), second = readFile(files[1]);
  if (first.find("length = 5") != std::string::npos) std::swap(first, second);
  EXPECT_NE(std::string::npos, first.find("processMsg_Single: data length = 3"));
  EXPECT_NE(std::string::npos, second.find("processMsg_Single: data length = 5"));
  EXPECT_EQ(std::string::npos, first.find("length = 5"));
}

}  // namespace
