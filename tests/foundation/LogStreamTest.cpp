#include "LogStream.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <regex>
#include <string>

#include "AbsTime.h"
#include "TestSupport.h"

namespace {

using L = LogStream;

class LogStreamTest : public ::testing::Test {
 protected:
  void SetUp() override {
    setenv("LOG_FILE", dir.file("proc.log").c_str(), 1);
    setenv("COLLECTIVE_FILE", dir.file("all.log").c_str(), 1);
    L::instance().resetToDefaults();
  }
  void TearDown() override {
    L::instance().resetToDefaults();
    L::instance().setLockHooks(nullptr, nullptr);
    unsetenv("LOG_FILE");
    unsetenv("COLLECTIVE_FILE");
  }
  std::string logFile() { return readFile(dir.file("proc.log")); }
  std::string collective() { return readFile(dir.file("all.log")); }

  TempDir dir;
};

int evaluations = 0;
int counted() { return ++evaluations; }

TEST_F(LogStreamTest, LineFormatOnEachSink) {
  StderrCapture err;
  ZLOG(L::PROBLEM) << "Unable to open " << 42 << std::endl;
  EXPECT_EQ("PROBLEM: Unable to open 42\n", err.text());
  EXPECT_EQ("PROBLEM: Unable to open 42\n", collective());
  struct utsname names;
  ASSERT_EQ(0, uname(&names));
  std::regex opened(std::string("LOG-STATUS: Log file opened on host ") +
                    names.nodename +
                    " at [A-Z][a-z]{2} [A-Z][a-z]{2} [ 0-9][0-9] "
                    "[0-9]{2}:[0-9]{2}:[0-9]{2} [0-9]{4}\n"
                    "PROBLEM: Unable to open 42\n");
  EXPECT_TRUE(std::regex_match(logFile(), opened)) << logFile();
}

TEST_F(LogStreamTest, PrefixItemsInTheirOwnOrder) {
  LogStream& ls = L::instance();
  for (unsigned item : {L::LINENO, L::UNIXTIME, L::FILENAME, L::LINENO,
                        L::TIMESTAMP, L::PROCESSID, L::PROCESSNAME})
    ls.setPrefixItem(L::COLLECTIVE, item, true);
  ls.setPrefixItem(L::TTY, L::PROCESSID, true);
  StderrCapture err;
  int line = __LINE__ + 1;
  ZLOG(L::EVENT) << "client registered\n";
  std::string pid = std::to_string(getpid());
  EXPECT_EQ(pid + " EVENT: client registered\n", err.text());
  std::regex full(std::string(programName(false)) + " " + pid +
                  " [0-9]+\\.[0-9]{6} [0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{3} "
                  "tests/foundation/LogStreamTest.cpp " +
                  std::to_string(line) + " EVENT: client registered\n");
  EXPECT_TRUE(std::regex_match(collective(), full)) << collective();
  // No prefix for this sink: the bare category.
  EXPECT_NE(std::string::npos, logFile().find("\nEVENT: client registered\n"));
}

// Which program and which later command win is checked through the
// preference statements.
TEST_F(LogStreamTest, FilteringByCategoryAndSource) {
  LogStream& ls = L::instance();
  StderrCapture err;
  evaluations = 0;
  ZLOG(L::DEBUG) << "never " << counted() << std::endl;
  ZLOG(L::VERBOSE) << "never " << counted() << std::endl;
  EXPECT_EQ(0, evaluations);
  EXPECT_TRUE(logGate(logStream(), L::DEBUG, "a.cpp", 1));

  // A category that no sink takes is filtered whole.
  for (int s = 0; s < L::NUM_SINKS; ++s)
    ls.setFilter(nullptr, nullptr, L::Sink(s), L::DIAG, false);
  EXPECT_TRUE(logGate(logStream(), L::DIAG, "a.cpp", 1));
  EXPECT_EQ(L::kInitialMask, ls.globalMask(L::FILE_SINK) | L::DIAG);

  // One source file may take more than the rest.
  ls.setFilter(nullptr, "chatty.cpp", L::TTY, L::DEBUG, true);
  ZLOG_AT(L::DEBUG, "chatty.cpp") << "step one\n";
  ZLOG_AT(L::DEBUG, "quiet.cpp") << "step one\n";
  EXPECT_EQ("DEBUG: step one\n", err.text());

  // With filtering off (SIGUSR2) everything reaches the files.
  toggleFiltering();
  EXPECT_FALSE(ls.filtering());
  ZLOG(L::DEBUG) << "look closer\n";
  toggleFiltering();
  ZLOG(L::DEBUG) << "filtered again\n";
  EXPECT_EQ("DEBUG: look closer\n", collective());
  EXPECT_EQ(1, countOf(logFile(), "DEBUG:"));
}

TEST_F(LogStreamTest, UnterminatedAndEmptyMessages) {
  static int locks = 0, unlocks = 0;
  L::instance().setLockHooks([] { return ++locks > 0; }, [] { ++unlocks; });
  StderrCapture err;
  ZLOG(L::PROBLEM) << "no newline";
  L::instance().setForceEndl(false);
  ZLOG(L::PROBLEM) << "raw";
  ZLOG(L::PROBLEM) << "";
  std::string text = err.text();
  EXPECT_EQ(1, countOf(text, "LOG-STATUS: Warning: \"tests/foundation/"
                             "LogStreamTest.cpp\", line "));
  EXPECT_EQ(1, countOf(text, ": message not terminated with \\n or endl\n"));
  EXPECT_EQ(1, countOf(text, "PROBLEM: no newline\n"));
  EXPECT_EQ(text.size() - 12, text.rfind("PROBLEM: raw"));  // the last
  EXPECT_EQ("PROBLEM: no newline\nPROBLEM: raw", collective());
  EXPECT_EQ(3, locks);
  EXPECT_EQ(3, unlocks);

  // A lock that can't be had filters the message.
  L::instance().setLockHooks([] { return false; }, nullptr);
  EXPECT_TRUE(logGate(logStream(), L::FATAL, "a.cpp", 1));
}

// A continued line goes bare to the process's file (with its category once
// asked for); the collective file keeps the whole prefix.
TEST_F(LogStreamTest, SuppressedPrefixKeptForCollective) {
  LogStream& ls = L::instance();
  ls.setPrefixItem(L::COLLECTIVE, L::PROCESSID, true);
  ZLOG_BARE(L::VERBOSE) << "   length = 11\n";  // filtered
  for (L::Sink sink : {L::FILE_SINK, L::COLLECTIVE})
    ls.setFilter(nullptr, nullptr, sink, L::VERBOSE, true);
  ZLOG_BARE(L::VERBOSE) << "   length = 12\n";
  ls.setVerbosePrefix(L::VERBOSE, true);
  ZLOG_BARE(L::VERBOSE) << "   length = 13\n";
  std::string pid = std::to_string(getpid());
  EXPECT_EQ(pid + " VERBOSE:    length = 12\n" + pid +
                " VERBOSE:    length = 13\n",
            collective());
  std::string log = logFile();
  EXPECT_NE(std::string::npos, log.find("\n   length = 12\n"));
  EXPECT_NE(std::string::npos, log.find("\nVERBOSE:    length = 13\n"));
}

TEST_F(LogStreamTest, BreakReopensAndOnlyTheLogFileSaysSo) {
  ZLOG(L::EVENT) << "first\n";
  breakLogFiles();
  ZLOG(L::EVENT) << "second\n";
  std::string log = logFile();
  EXPECT_EQ(2, countOf(log, "LOG-STATUS: Log file opened on host "));
  EXPECT_EQ(1, countOf(log, "LOG-STATUS: Breaking current log file at "));
  EXPECT_LT(log.find("first"), log.find("Breaking"));
  EXPECT_LT(log.find("Breaking"), log.find("second"));
  EXPECT_EQ("EVENT: first\nEVENT: second\n", collective());

  // A break to a new name leaves the old file and starts the new one.
  setenv("LOG_FILE", dir.file("next.log").c_str(), 1);
  breakLogFiles();
  ZLOG(L::EVENT) << "third\n";
  EXPECT_EQ(0, countOf(logFile(), "third"));
  EXPECT_EQ(1, countOf(readFile(dir.file("next.log")), "EVENT: third\n"));
  struct stat info;
  ASSERT_EQ(0, stat(dir.file("next.log").c_str(), &info));
  EXPECT_EQ(0666u, info.st_mode & 0777);
}

TEST_F(LogStreamTest, FileNameTemplatesAndTheirDirectories) {
  std::string base = programName(false);
  std::string today = AbsTime::now().format("%Y%m%d").chars();
  auto name = [](bool collective) {
    return std::string(L::expandLogFileName(collective).chars());
  };

  setenv("LOG_FILE", (dir.path() + "/a/b/100%% done%").c_str(), 1);
  EXPECT_EQ(dir.path() + "/a/b/100% done%", name(false));
  struct stat info;
  ASSERT_EQ(0, stat((dir.path() + "/a/b").c_str(), &info));
  EXPECT_EQ(0777u, info.st_mode & 0777);

  setenv("LOG_FILE", (dir.path() + "/%x%N.%P").c_str(), 1);
  setenv("COLLECTIVE_FILE", (dir.path() + "/%N.%P%T.%d").c_str(), 1);
  setenv("DISPLAY", "host:1", 1);
  StderrCapture bad;
  EXPECT_EQ(dir.path() + "/" + base + "." + std::to_string(getpid()),
            name(false));
  EXPECT_EQ("Ignoring bad %-sequence in the file template\n", bad.text());
  EXPECT_EQ(dir.path() + "/" + base + "..host:1", name(true));
  unsetenv("DISPLAY");

  // The defaults: under "./" in a directory named by the date.
  unsetenv("LOG_FILE");
  unsetenv("COLLECTIVE_FILE");
  char* saved = getenv("LOG_DIR") ? strdup(getenv("LOG_DIR")) : nullptr;
  unsetenv("LOG_DIR");
  char cwd[4096];
  ASSERT_NE(nullptr, getcwd(cwd, sizeof cwd));
  ASSERT_EQ(0, chdir(dir.path().c_str()));
  std::string collectiveName = name(true), logName = name(false);
  ASSERT_EQ(0, chdir(cwd));
  if (saved) setenv("LOG_DIR", saved, 1);
  free(saved);
  EXPECT_EQ(".//" + today + "/" + base, collectiveName);
  EXPECT_EQ(0u, logName.find(".//" + today + "/" + base +
                             std::to_string(getpid())));
  EXPECT_EQ(0, stat((dir.path() + "/" + today).c_str(), &info));

  // A log file that can't be made drops its messages only.
  setenv("LOG_FILE", "/proc/no-such-dir/x.log", 1);
  setenv("COLLECTIVE_FILE", dir.file("all.log").c_str(), 1);
  StderrCapture err;
  EXPECT_EQ("", name(false));
  ZLOG(L::PROBLEM) << "still told\n";
  std::string text = err.text();
  EXPECT_EQ(0u, text.find("Cannot make or write directory /proc/"
                          "no-such-dir: "));
  EXPECT_EQ(1, countOf(text, "PROBLEM: still told\n"));
  EXPECT_EQ("PROBLEM: still told\n", collective());
}

TEST_F(LogStreamTest, FatalAbortsAfterWriting) {
  EXPECT_DEATH({ ZLOG(L::FATAL) << "cannot go on\n"; },
               "FATAL: cannot go on\n \\(LogStream Aborting Program\\) ");
  L::instance().setAbort(L::BUG, true);
  EXPECT_DEATH({ ZLOG(L::BUG) << "bad state\n"; },
               "BUG: bad state\n \\(LogStream Aborting Program\\)");
}

}  // namespace
