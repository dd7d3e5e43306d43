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

class LogStreamTest : public ::testing::Test {
 protected:
  void SetUp() override {
    setenv("LOG_FILE", dir.file("proc.log").c_str(), 1);
    setenv("COLLECTIVE_FILE", dir.file("all.log").c_str(), 1);
    LogStream::instance().resetToDefaults();
  }
  void TearDown() override {
    LogStream::instance().resetToDefaults();
    LogStream::instance().setLockHooks(nullptr, nullptr);
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
  ZLOG(LogStream::PROBLEM) << "Unable to open " << 42 << std::endl;
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
  LogStream& ls = LogStream::instance();
  for (unsigned item : {LogStream::LINENO, LogStream::UNIXTIME,
                        LogStream::FILENAME, LogStream::LINENO,
                        LogStream::TIMESTAMP, LogStream::PROCESSID,
                        LogStream::PROCESSNAME})
    ls.setPrefixItem(LogStream::COLLECTIVE, item, true);
  ls.setPrefixItem(LogStream::TTY, LogStream::PROCESSID, true);
  StderrCapture err;
  int line = __LINE__ + 1;
  ZLOG(LogStream::EVENT) << "client registered\n";
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

TEST_F(LogStreamTest, FilteringByCategorySourceAndProgram) {
  LogStream& ls = LogStream::instance();
  StderrCapture err;
  evaluations = 0;
  ZLOG(LogStream::DEBUG) << "never " << counted() << std::endl;
  ZLOG(LogStream::VERBOSE) << "never " << counted() << std::endl;
  EXPECT_EQ(0, evaluations);
  EXPECT_TRUE(logGate(logStream(), LogStream::DEBUG, "a.cpp", 1));

  // A category that no sink takes is filtered whole.
  for (int s = 0; s < LogStream::NUM_SINKS; ++s)
    ls.setFilter(nullptr, nullptr, LogStream::Sink(s), LogStream::DIAG, false);
  EXPECT_TRUE(logGate(logStream(), LogStream::DIAG, "a.cpp", 1));

  // One source file may take more than the rest.
  ls.setFilter(nullptr, "chatty.cpp", LogStream::TTY, LogStream::DEBUG, true);
  ZLOG_AT(LogStream::DEBUG, "chatty.cpp") << "step one\n";
  ZLOG_AT(LogStream::DEBUG, "quiet.cpp") << "step one\n";
  // A later command for all files changes the per-file entry too.
  ls.setFilter(nullptr, nullptr, LogStream::TTY, LogStream::DEBUG, false);
  ZLOG_AT(LogStream::DEBUG, "chatty.cpp") << "step two\n";

  // Commands for another program are read past.
  ls.setFilter("someOtherProgram", nullptr, LogStream::TTY, LogStream::VERBOSE,
               true);
  ZLOG(LogStream::VERBOSE) << "other\n";
  ls.setFilter(programName(false), nullptr, LogStream::TTY, LogStream::VERBOSE,
               true);
  ZLOG(LogStream::VERBOSE) << "mine\n";

  EXPECT_EQ("DEBUG: step one\nVERBOSE: mine\n", err.text());
  EXPECT_EQ(LogStream::kInitialMask, ls.globalMask(LogStream::FILE_SINK) |
                                         LogStream::DIAG);
}

TEST_F(LogStreamTest, FilteringOffSendsEverythingToTheFiles) {
  toggleFiltering();
  EXPECT_FALSE(LogStream::instance().filtering());
  ZLOG(LogStream::DEBUG) << "look closer\n";
  toggleFiltering();
  ZLOG(LogStream::DEBUG) << "filtered again\n";
  EXPECT_EQ("DEBUG: look closer\n", collective());
  EXPECT_EQ(1, countOf(logFile(), "DEBUG:"));
}

TEST_F(LogStreamTest, UnterminatedAndEmptyMessages) {
  static int locks = 0, unlocks = 0;
  LogStream::instance().setLockHooks([] { return ++locks > 0; },
                                     [] { ++unlocks; });
  {
    StderrCapture err;
    ZLOG(LogStream::PROBLEM) << "no newline";
    std::string text = err.text();
    EXPECT_EQ(1, countOf(text, "LOG-STATUS: Warning: \"tests/foundation/"
                               "LogStreamTest.cpp\", line "));
    EXPECT_EQ(1, countOf(text, ": message not terminated with \\n or endl\n"));
    EXPECT_EQ(1, countOf(text, "PROBLEM: no newline\n"));
  }
  EXPECT_EQ("PROBLEM: no newline\n", collective());

  LogStream::instance().setForceEndl(false);
  {
    StderrCapture err;
    ZLOG(LogStream::PROBLEM) << "raw";
    ZLOG(LogStream::PROBLEM) << "";
    EXPECT_EQ("PROBLEM: raw", err.text());
  }
  EXPECT_EQ("PROBLEM: no newline\nPROBLEM: raw", collective());
  EXPECT_EQ(3, locks);
  EXPECT_EQ(3, unlocks);

  // A lock that can't be had filters the message.
  LogStream::instance().setLockHooks([] { return false; }, nullptr);
  EXPECT_TRUE(logGate(logStream(), LogStream::FATAL, "a.cpp", 1));
}

// A continued line goes bare to the process's file (with its category once
// asked for); the collective file keeps the whole prefix.
TEST_F(LogStreamTest, SuppressedPrefixKeptForCollective) {
  LogStream& ls = LogStream::instance();
  ls.setPrefixItem(LogStream::COLLECTIVE, LogStream::PROCESSID, true);
  ZLOG_BARE(LogStream::VERBOSE) << "   length = 11\n";  // filtered
  for (LogStream::Sink sink : {LogStream::FILE_SINK, LogStream::COLLECTIVE})
    ls.setFilter(nullptr, nullptr, sink, LogStream::VERBOSE, true);
  ZLOG_BARE(LogStream::VERBOSE) << "   length = 12\n";
  ls.setVerbosePrefix(LogStream::VERBOSE, true);
  ZLOG_BARE(LogStream::VERBOSE) << "   length = 13\n";
  std::string pid = std::to_string(getpid());
  EXPECT_EQ(pid + " VERBOSE:    length = 12\n" + pid +
                " VERBOSE:    length = 13\n",
            collective());
  std::string log = logFile();
  EXPECT_NE(std::string::npos, log.find("\n   length = 12\n"));
  EXPECT_NE(std::string::npos, log.find("\nVERBOSE:    length = 13\n"));
}

TEST_F(LogStreamTest, BreakReopensAndOnlyTheLogFileSaysSo) {
  ZLOG(LogStream::EVENT) << "first\n";
  breakLogFiles();
  ZLOG(LogStream::EVENT) << "second\n";
  std::string log = logFile();
  EXPECT_EQ(2, countOf(log, "LOG-STATUS: Log file opened on host "));
  EXPECT_EQ(1, countOf(log, "LOG-STATUS: Breaking current log file at "));
  EXPECT_LT(log.find("first"), log.find("Breaking"));
  EXPECT_LT(log.find("Breaking"), log.find("second"));
  EXPECT_EQ("EVENT: first\nEVENT: second\n", collective());

  // A break to a new name leaves the old file and starts the new one.
  setenv("LOG_FILE", dir.file("next.log").c_str(), 1);
  breakLogFiles();
  ZLOG(LogStream::EVENT) << "third\n";
  EXPECT_EQ(0, countOf(logFile(), "third"));
  EXPECT_EQ(1, countOf(readFile(dir.file("next.log")), "EVENT: third\n"));
  struct stat info;
  ASSERT_EQ(0, stat(dir.file("next.log").c_str(), &info));
  EXPECT_EQ(0666u, info.st_mode & 0777);
}

TEST_F(LogStreamTest, FileNameTemplates) {
  std::string base = programName(false);
  std::string today = AbsTime::now().format("%Y%m%d").chars();

  setenv("LOG_FILE", (dir.path() + "/a/b/100%% done%").c_str(), 1);
  EXPECT_EQ(dir.path() + "/a/b/100% done%",
            LogStream::expandLogFileName(false).chars());
  struct stat info;
  ASSERT_EQ(0, stat((dir.path() + "/a/b").c_str(), &info));
  EXPECT_EQ(0777u, info.st_mode & 0777);

  setenv("LOG_FILE", (dir.path() + "/%x%N.%P").c_str(), 1);
  setenv("COLLECTIVE_FILE", (dir.path() + "/%N.%P%T.%d").c_str(), 1);
  setenv("DISPLAY", "host:1", 1);
  {
    StderrCapture err;
    EXPECT_EQ(dir.path() + "/" + base + "." + std::to_string(getpid()),
              LogStream::expandLogFileName(false).chars());
    EXPECT_EQ("Ignoring bad %-sequence in the file template\n", err.text());
  }
  EXPECT_EQ(dir.path() + "/" + base + "..host:1",
            LogStream::expandLogFileName(true).chars());
  unsetenv("DISPLAY");

  // The defaults: under "./" in a directory named by the date.
  unsetenv("LOG_FILE");
  unsetenv("COLLECTIVE_FILE");
  char* saved = getenv("LOG_DIR") ? strdup(getenv("LOG_DIR")) : nullptr;
  unsetenv("LOG_DIR");
  char cwd[4096];
  ASSERT_NE(nullptr, getcwd(cwd, sizeof cwd));
  ASSERT_EQ(0, chdir(dir.path().c_str()));
  std::string collectiveName = LogStream::expandLogFileName(true).chars();
  std::string logName = LogStream::expandLogFileName(false).chars();
  ASSERT_EQ(0, chdir(cwd));
  if (saved) setenv("LOG_DIR", saved, 1);
  free(saved);
  EXPECT_EQ(".//" + today + "/" + base, collectiveName);
  EXPECT_EQ(0u, logName.find(".//" + today + "/" + base +
                             std::to_string(getpid())));
  EXPECT_EQ(0, stat((dir.path() + "/" + today).c_str(), &info));

  setenv("LOG_FILE", "/proc/no-such-dir/x.log", 1);
  StderrCapture err;
  EXPECT_TRUE(LogStream::expandLogFileName(false).isEmpty());
  EXPECT_EQ(0u, err.text().find("Cannot make or write directory /proc/"
                                "no-such-dir: "));
}

TEST_F(LogStreamTest, AnUnmakeableLogFileDropsItsMessagesOnly) {
  setenv("LOG_FILE", "/proc/no-such-dir/x.log", 1);
  StderrCapture err;
  ZLOG(LogStream::PROBLEM) << "still told\n";
  EXPECT_EQ(1, countOf(err.text(), "PROBLEM: still told\n"));
  EXPECT_EQ("PROBLEM: still told\n", collective());
}

TEST_F(LogStreamTest, FatalAbortsAfterWriting) {
  EXPECT_DEATH(
      { ZLOG(LogStream::FATAL) << "cannot go on\n"; },
      "FATAL: cannot go on\n \\(LogStream Aborting Program\\) ");
  LogStream::instance().setAbort(LogStream::BUG, true);
  EXPECT_DEATH({ ZLOG(LogStream::BUG) << "bad state\n"; },
               "BUG: bad state\n \\(LogStream Aborting Program\\)");
}

}  // namespace
