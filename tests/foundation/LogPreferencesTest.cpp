#include "LogPreferences.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <functional>
#include <string>

#include "LogStream.h"
#include "TestSupport.h"

namespace {

const unsigned kAll = 0xFFFFFFFF;
using L = LogStream;

class LogPreferencesTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    StderrCapture quiet;  // the first gate reads the real preferences
    L::instance().enabled(L::USE, "");
  }
  void SetUp() override {
    setenv("LOG_FILE", dir.file("proc.log").c_str(), 1);
    setenv("COLLECTIVE_FILE", dir.file("all.log").c_str(), 1);
    L::instance().resetToDefaults();
  }
  void TearDown() override {
    L::instance().resetToDefaults();
    unsetenv("LOG_FILE");
    unsetenv("COLLECTIVE_FILE");
  }

  // Reads `text` as a preference file; its standard error goes to `err`
  // when that is given.
  static bool read(const std::string& text, std::string* err = nullptr) {
    std::string copy = text;
    std::FILE* file = fmemopen(&copy[0], copy.size(), "r");
    if (err == nullptr) return readAndClose(file);
    StderrCapture capture;
    bool ok = readAndClose(file);
    *err = capture.text();
    return ok;
  }
  static bool readAndClose(std::FILE* file) {
    bool ok = readLogPreferences(file);
    std::fclose(file);
    return ok;
  }

  TempDir dir;
};

LogStream& log() { return L::instance(); }
unsigned mask(L::Sink sink) { return log().globalMask(sink); }
unsigned prefix(L::Sink sink) { return log().prefixWord(sink); }
bool on(unsigned category, const char* file) {
  return log().enabled(category, file);
}

// Each statement form, with what it leaves in the log stream.
TEST_F(LogPreferencesTest, StatementForms) {
  const std::string me = programName(false);
  const struct {
    std::string text;
    std::function<bool()> holds;
    const char* err;  // on standard error, "" for nothing
  } cases[] = {
      {"", [] { return mask(L::TTY) == L::kInitialMask; }, ""},
      {"all all all all = on", [] {
         return mask(L::TTY) == kAll && mask(L::FILE_SINK) == kAll &&
                mask(L::COLLECTIVE) == kAll;
       }, ""},
      {me + " all file debug = on\nsomeoneElse all tty debug = on", [] {
         return (mask(L::FILE_SINK) & L::DEBUG) && !(mask(L::TTY) & L::DEBUG);
       }, ""},
      {"ALL All File Problem = Off # a comment\nall all tty all = off", [] {
         return mask(L::FILE_SINK) == (L::kInitialMask & ~L::PROBLEM) &&
                mask(L::TTY) == (L::kInitialMask & ~0x1FFu);
       }, ""},
      {"all chatty.cpp all debug = on  all tty.cpp all debug = on", [] {
         return on(L::DEBUG, "chatty.cpp") && on(L::DEBUG, "tty.cpp") &&
                !on(L::DEBUG, "other.cpp");
       }, ""},
      // a later "all" line changes the file's entry; a file line after it
      // starts from the masks as they are then
      {"all early.cpp all debug = on\nall all all debug = off\n"
       "all all all problem = off\nall late.cpp all problem = on", [] {
         return !on(L::DEBUG, "early.cpp") && on(L::PROBLEM, "late.cpp") &&
                !on(L::PROBLEM, "other.cpp");
       }, ""},
      {"Tty TimeStamp = On  all processid = on", [] {
         return prefix(L::TTY) == (L::TIMESTAMP | L::PROCESSID) &&
                prefix(L::COLLECTIVE) == L::PROCESSID;
       }, ""},
      {"file lineno = on", [] { return prefix(L::FILE_SINK) == 0; }, ""},
      {"file filename = on file lineno = on",
       [] { return prefix(L::FILE_SINK) == (L::FILENAME | L::LINENO); }, ""},
      // the line number goes with the file name
      {"file filename = on file lineno = on file filename = off",
       [] { return prefix(L::FILE_SINK) == 0; }, ""},
      {"collective processname = on\ncollective processname = off",
       [] { return prefix(L::COLLECTIVE) == L::PROCESSNAME; },
       "LOG-STATUS: Warning: can't turn off timestamp or process name in the "
       "collective log.\n"},
      {"all timestamp = on all timestamp = off", [] {
         return prefix(L::TTY) == 0 && prefix(L::COLLECTIVE) == L::TIMESTAMP;
       }, "can't turn off timestamp"},
      {"bug abort = on verbose abort = on bug abort = off",
       [] { return log().abortSet() == (L::FATAL | L::VERBOSE); }, ""},
      {"fatal abort = off\nbug abort = on",
       [] { return log().abortSet() == (L::FATAL | L::BUG); },
       "LOG-STATUS: Line 1: You cannot turn abort off for the fatal "
       "category.\n"},
      {"debug traceback = on debug nonsense bug abort = on",
       [] { return log().abortSet() == (L::FATAL | L::BUG); },
       "Obsolete traceback command in logPref file ignored\n"},
  };
  for (const auto& c : cases) {
    log().resetToDefaults();
    std::string err;
    EXPECT_TRUE(read(c.text, &err)) << c.text;
    EXPECT_TRUE(c.holds()) << c.text;
    EXPECT_TRUE(*c.err ? err.find(c.err) != std::string::npos : err.empty())
        << c.text << ": " << err;
  }
}

// The three switches show in what the log writes.
TEST_F(LogPreferencesTest, SwitchesShowInTheLog) {
  ASSERT_TRUE(read("forceendl = off  all all tty verbose = on"));
  StderrCapture err;
  ZLOG(L::PROBLEM) << "no newline";
  for (const char* text : {"includePrefixForVerbose_ = on",
                           "suppressPrefixForVerbose_ = on"}) {
    ASSERT_TRUE(read(text));
    ZLOG_BARE(L::VERBOSE) << "continued\n";
  }
  EXPECT_EQ("PROBLEM: no newlineVERBOSE: continued\ncontinued\n", err.text());
}

// Each refusal: its line on the log, what came before it kept, the rest
// not read.
TEST_F(LogPreferencesTest, RefusalsEndTheReading) {
  const struct {
    const char* statement;
    const char* line;
  } cases[] = {
      {"myprog = on", "Can't understand rest of filter command"},
      {"all tty problem = on", "Cannot understand filter/prefix control"},
      {"all all problem = on", "Sink missing from filter command"},
      {"all all tty nothing = on",
       "Message category missing from filter command"},
      {"all all tty problem = maybe", "Malformed filter command"},
      {"all all tty problem on", "Malformed filter command"},
      {"tty problem = on", "Can't understand rest of prefix command"},
      {"tty timestamp on", "Malformed prefix command"},
      {"all timestamp = 1", "Malformed prefix command"},
      {"bug abort = yes", "Malformed abort command"},
      {"forceendl on", "Malformed forceendl command"},
      {"includePrefixForVerbose_ = 1",
       "Malformed includePrefixForVerbose_ command"},
      {"suppressPrefixForVerbose_ = =",
       "Malformed suppressPrefixForVerbose_ command"},
      {"on", "Unexpected symbol/keyword"},
      {"problem abort = on", "Unexpected symbol/keyword"},
      {"logdir", "Unexpected symbol/keyword"},
  };
  for (const auto& c : cases) {
    log().resetToDefaults();
    std::string err;
    EXPECT_FALSE(read(std::string("tty timestamp = on\n") + c.statement +
                          "\ntty processid = on\n",
                      &err))
        << c.statement;
    EXPECT_EQ(std::string("LOG-STATUS: Line 2: ") + c.line + "\n", err)
        << c.statement;
    EXPECT_EQ(L::TIMESTAMP, log().prefixWord(L::TTY))
        << c.statement;
  }
  std::string err;
  EXPECT_FALSE(
      read("all " + std::string(20000, 'x') + " tty debug = on", &err));
  EXPECT_EQ("fatal error - scanner input buffer overflow\n", err);
}

// LOG_PREF, else ".logPref" here, else in HOME.
TEST_F(LogPreferencesTest, FoundByEnvironmentDirectoryAndHome) {
  TempDir here, home;
  char previous[4096];
  ASSERT_NE(nullptr, getcwd(previous, sizeof previous));
  const std::string savedHome = getenv("HOME") ? getenv("HOME") : "";
  const std::string savedPref = getenv("LOG_PREF") ? getenv("LOG_PREF") : "";
  ASSERT_EQ(0, chdir(here.path().c_str()));
  setenv("HOME", home.path().c_str(), 1);
  writeFile(dir.file("named"), "tty processid = on");
  const struct {
    const char* what;
    std::string logPref;  // "" for unset
    bool inHere, inHome;
    bool answer;
    unsigned prefix;
    const char* err;
  } cases[] = {
      {"LOG_PREF", dir.file("named"), true, true, true, L::PROCESSID, ""},
      {"LOG_PREF missing", dir.file("missing"), true, true, false, 0,
       "Can't open log preference file specified by LOG_PREF\nenvironment "
       "variable (LOG_PREF = "},
      {"here before home", "", true, true, true, L::TIMESTAMP, ""},
      {"home", "", false, true, true, L::UNIXTIME, ""},
      {"none", "", false, false, true, 0,
       "Can't open .logPref or ~/.logPref; using defaults.\n"},
  };
  for (const auto& c : cases) {
    log().resetToDefaults();
    unlink(here.file(".logPref").c_str());
    unlink(home.file(".logPref").c_str());
    if (c.inHere) writeFile(here.file(".logPref"), "tty timestamp = on");
    if (c.inHome) writeFile(home.file(".logPref"), "tty unixtime = on");
    if (c.logPref.empty())
      unsetenv("LOG_PREF");
    else
      setenv("LOG_PREF", c.logPref.c_str(), 1);
    StderrCapture err;
    EXPECT_EQ(c.answer, readLogPreferences()) << c.what;
    EXPECT_EQ(c.prefix, log().prefixWord(L::TTY)) << c.what;
    std::string text = err.text();
    EXPECT_TRUE(*c.err ? text.find(c.err) == 0 : text.empty())
        << c.what << ": " << text;
  }
  setenv("LOG_PREF", savedPref.c_str(), 1);
  setenv("HOME", savedHome.c_str(), 1);
  ASSERT_EQ(0, chdir(previous));
}

}  // namespace
