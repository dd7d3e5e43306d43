// bufrdump run as an operator runs it: a child process, its output and its
// exit status.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <regex>
#include <sstream>
#include <string>

#include "BufrTestSupport.h"

namespace {

const std::string kData = ZEPH_SOURCE_DIR "/tests/data/bufr/";
const std::string kSite = "ZEPH_HOME=" ZEPH_SOURCE_DIR "/site ";

struct Outcome {
  std::string out, err;
  int status = -1;
};

// Runs the tool under `environment` (assignments for env(1)); `merged`
// sends standard error into standard output.
Outcome run(const std::string& arguments,
            const std::string& environment = kSite, bool merged = false) {
  TempDir scratch;
  std::string command = "env -u ZEPH_HOME " + environment + BUFRDUMP " " +
                        arguments + (merged ? " 2>&1" : " 2>") +
                        (merged ? "" : scratch.file("err"));
  Outcome result;
  FILE* pipe = popen(command.c_str(), "r");
  char buffer[4096];
  size_t n;
  while (pipe && (n = fread(buffer, 1, sizeof buffer, pipe)) > 0)
    result.out.append(buffer, n);
  int raw = pipe ? pclose(pipe) : -1;
  result.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
  result.err = readFile(scratch.file("err"));
  return result;
}

bool has(const std::string& text, const std::string& pattern) {
  return std::regex_search(text, std::regex(pattern));
}

TEST(BufrDumpTest, JsonLinesAndShortestValues) {
  std::string surface = kData + "a_surface_single.bufr";
  Outcome json = run("--json " + surface);
  EXPECT_EQ(0, json.status);
  EXPECT_EQ(0u, json.out.find("{\"file\": \"" + surface +
                              "\", \"ok\": true, \"obTime\": "
                              "\"2024-03-22T12:00:00Z\", \"dataCategory\": 0, "
                              "\"subsets\": 1, \"compressed\": false}\n"));
  Outcome table = run(surface);
  // Each float as the shortest text that reads back to it, in both forms.
  for (const char* value :
       {"38.98", "-77.47", "88.4", "281.4", "100520", "6.7"}) {
    EXPECT_TRUE(has(json.out, std::string("\"value\": ") + value + ","))
        << value << json.out;
    EXPECT_TRUE(has(table.out, std::string(" ") + value + "  ")) << value;
  }
  EXPECT_TRUE(has(json.out,
                  "\"value\": -99999.9, \"repetition\": 0, "
                  "\"text\": \"STERLING\""));
  EXPECT_TRUE(has(json.out,
                  "\n\\{\"files\": 1, \"decoded\": 1, "
                  "\"failed\": 0\\}\n$"));
  // Name and unit are columns of their own; the engine's log names its file.
  EXPECT_TRUE(has(table.out,
                  "0 05 002 +0 +38.98  LATITUDE \\(COARSE "
                  "ACCURACY\\) +deg\n"))
      << table.out;
  EXPECT_TRUE(has(table.err, "^" + surface + ": EVENT: ")) << table.err;
}

TEST(BufrDumpTest, DirectoryOfGoodAndBadFiles) {
  TempDir dir;
  std::string good = readFile(kData + "a_surface_single.bufr");
  writeFile(dir.file("b_good.bufr"), good);
  writeFile(dir.file("a_cut.bufr"), good.substr(0, good.size() / 2));
  writeFile(dir.file("c_locked.bufr"), good);
  chmod(dir.file("c_locked.bufr").c_str(), 0);
  ASSERT_EQ(0, symlink("/nonexistent", dir.file("d_dangling").c_str()));
  // Larger than any message: refused before anything is allocated for it.
  writeFile(dir.file("e_huge.bufr"), "");
  ASSERT_EQ(0, truncate(dir.file("e_huge.bufr").c_str(), 1 << 25));
  mkdir(dir.file("sub").c_str(), 0755);
  writeFile(dir.file("sub/deeper.bufr"), good);
  // Root reads a file whatever its mode.
  bool locked = geteuid() != 0;

  Outcome table = run(dir.path() + " " + dir.file("missing.bufr"));
  EXPECT_EQ(1, table.status);
  // In this order, each piece behind the one before; plain searches, since
  // a regular expression repeated over a decoded table recurses once a
  // line and overflows the stack of a sanitizer build.
  const std::string pieces[] = {
      dir.file("a_cut.bufr") + ": FAILED\n  ",
      "\n" + dir.file("b_good.bufr") + ": decoded\n",
      "\n" + dir.file("c_locked.bufr") + ": " +
          (locked ? "FAILED\n  cannot read: Permission denied\n" : "decoded\n"),
      "\n" + dir.file("d_dangling") + ": FAILED\n  cannot read: ",
      "\n" + dir.file("e_huge.bufr") +
          ": FAILED\n  33554432 octets: larger than a BUFR message",
      "\n" + dir.file("missing.bufr") + ": FAILED\n  cannot read: ",
      "\n6 files: " + std::string(locked ? "1" : "2") + " decoded, " +
          (locked ? "5" : "4") + " failed\n"};
  size_t at = 0;
  for (const std::string& piece : pieces) {
    size_t found = table.out.find(piece, at);
    ASSERT_NE(std::string::npos, found) << piece << "\nin\n" << table.out;
    at = found + piece.size();
  }
  EXPECT_EQ(0u, table.out.find(pieces[0]));
  EXPECT_EQ(table.out.size(), at);
  EXPECT_FALSE(has(table.out, "deeper")) << table.out;
  EXPECT_TRUE(has(table.err, dir.file("a_cut.bufr") +
                                 ": PROBLEM: Failed to decode Section"));

  Outcome json = run("--json " + dir.file("a_cut.bufr"));
  EXPECT_EQ(1, json.status);
  EXPECT_TRUE(has(json.out, "^\\{\"file\": \"" + dir.file("a_cut.bufr") +
                                "\", \"ok\": false, .*\"error\": \\[.*\"Failed "
                                "to decode Section [0-9]\"\\]\\}\n"))
      << json.out;

  // Both streams in one: no line of one breaks into a line of the other.
  // Line by line: a regular expression repeated over the whole output
  // recurses once a line and overflows the stack of a sanitizer build.
  Outcome merged = run(dir.path(), kSite, true);
  std::istringstream lines(merged.out);
  std::string line;
  int count = 0;
  while (std::getline(lines, line)) {
    ++count;
    EXPECT_TRUE(line.rfind(dir.path() + "/", 0) == 0 ||
                line.rfind("  ", 0) == 0 || line.rfind("5 files", 0) == 0)
        << line;
  }
  EXPECT_GT(count, 5);
  EXPECT_EQ('\n', merged.out.back());
}

TEST(BufrDumpTest, RefusesWithoutTables) {
  for (const std::string& arguments :
       {std::string("--home /nonexistent "), std::string("")}) {
    Outcome refused = run(arguments + kData + "a_surface_single.bufr", "");
    EXPECT_EQ(2, refused.status) << arguments;
    EXPECT_EQ("", refused.out);
    EXPECT_TRUE(has(refused.err, arguments.empty() ? "\n  /data/bufrTableB\n"
                                                   : "/nonexistent/data/"
                                                     "bufrTableB"));
    EXPECT_TRUE(has(refused.err, "ZEPH_HOME.*--home DIR")) << refused.err;
  }
}

TEST(BufrDumpTest, HelpAndBadOptions) {
  Outcome help = run("--help");
  EXPECT_EQ(0, help.status);
  for (const char* word : {"usage: bufrdump", "descriptor", "name, unit",
                           "closing line", "Exit status"})
    EXPECT_TRUE(has(help.out, word)) << word;
  for (const char* bad : {"--bogus x.bufr", "", "--home"}) {
    Outcome misused = run(bad);
    EXPECT_EQ(64, misused.status) << bad;
    EXPECT_TRUE(has(misused.err, "^(bufrdump: .*\n)?usage: bufrdump")) << bad;
  }
}

}  // namespace
