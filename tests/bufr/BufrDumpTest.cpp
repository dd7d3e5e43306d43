// bufrdump run as an operator runs it: a child process, its output and its
// exit status.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <regex>
#include <string>
#include <vector>

#include "BufrTestSupport.h"

namespace {

const std::string kData = ZEPH_SOURCE_DIR "/tests/data/bufr/";

// Runs the tool and gives its standard output; `status` its exit code.
std::string run(const std::string& arguments, int& status) {
  std::string command = "ZEPH_HOME=" ZEPH_SOURCE_DIR "/site " BUFRDUMP " " +
                        arguments + " 2>/dev/null";
  FILE* pipe = popen(command.c_str(), "r");
  std::string out;
  char buffer[4096];
  size_t n;
  while (pipe && (n = fread(buffer, 1, sizeof buffer, pipe)) > 0)
    out.append(buffer, n);
  int raw = pipe ? pclose(pipe) : -1;
  status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
  return out;
}

std::vector<std::string> lines(const std::string& text) {
  std::vector<std::string> out;
  size_t start = 0;
  for (size_t nl; (nl = text.find('\n', start)) != std::string::npos;
       start = nl + 1)
    out.push_back(text.substr(start, nl - start));
  return out;
}

TEST(BufrDumpTest, JsonLinesAndExitStatus) {
  int status = -1;
  std::vector<std::string> out =
      lines(run("--json " + kData + "a_surface_single.bufr", status));
  EXPECT_EQ(0, status);
  ASSERT_GT(out.size(), 5u);
  EXPECT_EQ("{\"file\": \"" + kData +
                "a_surface_single.bufr\", \"ok\": true, \"obTime\": "
                "\"2024-03-22T12:00:00Z\", \"dataCategory\": 0, \"subsets\": "
                "1, \"compressed\": false}",
            out[0]);
  EXPECT_EQ("{\"subset\": 0, \"descriptor\": 1015, \"value\": "
            "-99999.8984, \"repetition\": 0, \"text\": \"STERLING\"}",
            out[3]);
  // A float comes back exactly from its printed form.
  std::string latitude = out[5];
  size_t at = latitude.find("\"value\": ") + 9;
  EXPECT_EQ(38.98f, std::strtof(latitude.c_str() + at, nullptr)) << latitude;

  // A file that doesn't decode: its line says so, and the status is 1.
  TempDir dir;
  std::ifstream in(kData + "a_surface_single.bufr", std::ios::binary);
  std::string bytes((std::istreambuf_iterator<char>(in)),
                    std::istreambuf_iterator<char>());
  writeFile(dir.file("cut.bufr"), bytes.substr(0, bytes.size() / 2));
  out = lines(run("--json " + kData + "b_surface_subsets.bufr " +
                      dir.file("cut.bufr"),
                  status));
  EXPECT_EQ(1, status);
  int failed = 0;
  for (const std::string& line : out)
    if (line.find("\"ok\": false") != std::string::npos) ++failed;
  EXPECT_EQ(1, failed);

  run("--bogus", status);
  EXPECT_EQ(2, status);
  std::string table = run(kData + "c1_delayed_31001.bufr", status);
  EXPECT_EQ(0, status);
  EXPECT_NE(std::string::npos,
            table.find("c1_delayed_31001.bufr: decoded\n"));
  // The readable form names the element and numbers its repetition.
  EXPECT_TRUE(std::regex_search(table, std::regex("0 07 004 +2 +[0-9]+  "
                                                  "PRESSURE Pa")))
      << table;
}

}  // namespace
