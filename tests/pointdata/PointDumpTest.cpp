#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <string>

#include "PointStoreFixture.h"

namespace {

struct Outcome {
  int status = -1;
  std::string output;  // standard output, then standard error
};

Outcome run(const std::string& arguments) {
  Outcome o;
  FILE* pipe = popen((POINTDUMP " " + arguments + " 2>&1").c_str(), "r");
  if (pipe == nullptr) return o;
  char buffer[4096];
  size_t n;
  while ((n = fread(buffer, 1, sizeof buffer, pipe)) > 0) o.output.append(buffer, n);
  int status = pclose(pipe);
  o.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return o;
}

// Reports stored from the site's ACARS template, as the decoder stores
// them: the tool shows what the index says of them.
class PointDumpTest : public PointStoreFixture {
 protected:
  void SetUp() override {
    std::string copy = "cp " ZEPH_SITE_TEMPLATES "/acars.nc '" +
                       dir.file("template") + "'";
    ASSERT_EQ(0, system(copy.c_str()));
    writer.reset(new NetcdfPointData(dir.path().c_str(), true, false));
    ASSERT_NE(nullptr, put("N512UA", kNoon + 420, 288.5f).handle);
    ASSERT_NE(nullptr, put("N37274", kNoon + 1390, 279.25f).handle);
    ASSERT_NE(nullptr, put("N512UA", kNoon + 2210, 251.5f).handle);
  }
};

TEST_F(PointDumpTest, ShowsFilesTimesIdsAndARecord) {
  struct Case {
    std::string arguments;
    int status;
    std::vector<std::string> shown;
  } cases[] = {
      {dir.path(), 0,
       {"directory " + dir.path() + ": 1 files, template 20240601\n",
        "  20240601_1200  2024-06-01 12:00:00 to 2024-06-01 12:59:59  "
        "3 records, 2 ids\n",
        "data times (3)\n  2024-06-01 12:07:00\n  2024-06-01 12:23:10\n",
        "  N512UA         ", "  records 0 2\n", "record 2 of 20240601_1200\n",
        "  tailNumber       'N512UA'", "  temperature      251.5 ",
        "(2024-06-01 12:36:50) seconds since 1970-1-1 00:00:00.0\n"}},
      {"--record 20240601_1200:1 " + dir.path(), 0,
       {"record 1 of 20240601_1200\n", "  temperature      279.25 "}},
      {"--json " + dir.path(), 0,
       {"{\"id\":\"N512UA\",\"records\":[0,2]}",
        "\"times\":[{\"ref\":\"2024-06-01 12:07:00\",\"forecast\":0},",
        "{\"name\":\"temperature\",\"units\":\"kelvin\",\"values\":[251.5],"
        "\"count\":1}",
        "{\"name\":\"dewpoint\",\"units\":\"kelvin\",\"values\":[null]"}},
      {"--record 20240601_1200:3 " + dir.path(), 1,
       {"pointdump: 20240601_1200 has no record 3\n"}},
      {dir.file("nothing"), 1, {"pointdump: " + dir.file("nothing") + ": not a directory\n"}},
      {"", 64, {"usage: pointdump [--json] [--record STAMP:N] [--values N] DIR\n"}},
      {"--record 1200:1 " + dir.path(), 64, {"usage: pointdump"}},
      {"--values 0 " + dir.path(), 64, {"usage: pointdump"}},
  };
  for (const Case& c : cases) {
    Outcome o = run(c.arguments);
    EXPECT_EQ(c.status, o.status) << c.arguments << "\n" << o.output;
    for (const std::string& text : c.shown)
      EXPECT_NE(std::string::npos, o.output.find(text))
          << c.arguments << ": " << text << "\n" << o.output;
  }
}

}  // namespace
