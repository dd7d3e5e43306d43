// ACARS files through processBufrDirectory: the sample reports made by an
// independent encoder end as records found by registration and time, one
// notification a report; bad files and bad reports get their fates and log
// lines.
#include <gtest/gtest.h>
#include <netcdf.h>
#include <stdlib.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <set>

#include "AcarsBufrDecoder.h"
#include "ExpectedValues.h"
#include "LogStream.h"
#include "ProductSite.h"
#include "dmNotify.h"

namespace {

const std::string kSamples = ZEPH_SOURCE_DIR "/site/samples/acars/";
const std::string kMain = "IUAX01_KWBC_202406011230";
const std::string kFaults = "IUAA02_KWBC_202406011400_FAULTS";
const char kPoint[] = "/point/acars/netcdf";
const AbsTime kMainMessageTime(2024, 6, 1, 12, 30, 0);

// The template's numeric variables and the descriptor that feeds each.
const std::pair<const char*, int> kNumbers[] = {
    {"latitude", 5001},     {"longitude", 6001},   {"altitude", 7010},
    {"flightPhase", 8004},  {"windDir", 11001},    {"windSpeed", 11002},
    {"temperature", 12101}, {"relHumidity", 13003}, {"turbulence", 11031},
    {"vertGust", 11036},    {"icing", 20041}};

// A report as the encoder was given it; missing values as -99999.
struct Report {
  std::map<int, double> numbers;
  std::map<int, std::string> texts;
  std::string id() const { return texts.at(1008); }
  AbsTime time() const {
    auto at = [&](int d) { return int(numbers.at(d)); };
    int second = at(4006) == -99999 ? 0 : at(4006);
    return AbsTime(at(4001), at(4002), at(4003), at(4004), at(4005), second);
  }
};

std::vector<Report> readReports(const std::string& name) {
  ExpectedValues e =
      ExpectedValues::read(kSamples + "expected/" + name + ".expected");
  std::vector<Report> reports;
  for (const ExpectedValues::Value& v : e.values) {
    if (v.subset >= int(reports.size())) reports.emplace_back();
    if (v.text)
      reports.back().texts[v.descriptor] = v.chars;
    else
      reports.back().numbers[v.descriptor] = v.missing ? -99999.0 : v.number;
  }
  return reports;
}

class AcarsDecoderTest : public ProductSiteTest {
 protected:
  void SetUp() override {
    ProductSiteTest::SetUp();
    makeProductDirectories(kAcarsTraits);
    makePointDirectory(kPoint, "acars");
  }
  void putSample(const std::string& name) {
    put(name, readBinary(kSamples + name));
  }
  // Runs the input directory `times` and answers the log, VERBOSE lines
  // too if asked.
  std::string run(bool verbose = false, int times = 1) {
    LogStream::instance().setFilter(nullptr, nullptr, LogStream::TTY,
                                    LogStream::VERBOSE, verbose);
    StderrCapture err;
    AcarsBufrDecoder decoder;
    for (int i = 0; i < times; ++i) decoder.processBufrDirectory();
    LogStream::instance().setFilter(nullptr, nullptr, LogStream::TTY,
                                    LogStream::VERBOSE, false);
    // A decoder whose set-up stopped still answers its period.
    EXPECT_EQ(kAcarsTraits.registrationPeriod, decoder.registrationPeriod());
    return err.text();
  }
  // The site's template with dimensions made narrower.
  void narrowTemplate(
      const std::vector<std::pair<std::string, std::string>>& changes) {
    std::string cdl = readFile(ZEPH_SOURCE_DIR "/site/templates/acars.cdl");
    for (const auto& change : changes) {
      size_t at = cdl.find(change.first);
      ASSERT_NE(std::string::npos, at) << change.first;
      cdl.replace(at, change.first.size(), change.second);
    }
    writeFile(root.file("narrow.cdl"), cdl);
    std::string command = std::string(ZEPH_NCGEN) + " -o '" + data(kPoint) +
                          "/template' '" + root.file("narrow.cdl") + "'";
    ASSERT_EQ(0, system(command.c_str()));
  }
  // The records of all point files.
  size_t recordCount() {
    size_t total = 0, length = 0;
    for (const std::string& name : names(data(kPoint))) {
      int ncid, dimid;
      std::string path = data(kPoint) + "/" + name;
      if (name == "template" ||
          nc_open(path.c_str(), NC_NOWRITE, &ncid) != NC_NOERR)
        continue;
      if (nc_inq_dimid(ncid, "recNum", &dimid) == NC_NOERR &&
          nc_inq_dimlen(ncid, dimid, &length) == NC_NOERR)
        total += length;
      nc_close(ncid);
    }
    return total;
  }
  void expectStored(const Report& r, const AbsTime& messageTime) {
    SCOPED_TRACE(r.id() + " " + r.time().format("%T").chars());
    StoredRecord record(data(kPoint), r.id(), r.time());
    ASSERT_TRUE(record.found());
    EXPECT_EQ(r.time().seconds(), record.number("timeObs"));
    EXPECT_EQ(messageTime.seconds(), record.number("timeMdcrsHdr"));
    EXPECT_EQ(r.id(), record.text("tailNumber"));
    EXPECT_EQ(r.texts.at(1006), record.text("flight"));
    EXPECT_EQ(r.texts.at(2065), record.text("rcvStation"));
    for (const auto& n : kNumbers) {
      double put = r.numbers.at(n.second);
      if (n.second == 13003 && put == 0.0) put = -99999.0;  // no sensor
      EXPECT_NEAR(put, record.number(n.first), 1e-4 * std::fabs(put) + 1e-4)
          << n.first;
    }
  }
};

TEST_F(AcarsDecoderTest, StoresEveryReportUnderItsRegistrationAndTime) {
  putSample(kMain);
  std::string log = run(true);
  EXPECT_TRUE(names(input()).empty());
  EXPECT_TRUE(names(bad()).empty());
  std::vector<Report> reports = readReports(kMain);
  ASSERT_EQ(20u, reports.size());
  std::set<std::pair<std::string, long>> records;
  for (const Report& r : reports) {
    expectStored(r, kMainMessageTime);
    records.insert({r.id(), r.time().seconds()});
  }
  // A report sent twice is one record; each hour has its file.
  EXPECT_EQ(19u, records.size());
  EXPECT_EQ(records.size(), recordCount());
  EXPECT_EQ(std::vector<std::string>({"20240601_1200", "20240601_1300",
                                      "template"}),
            names(data(kPoint)));
  // One notification for each report, in order, also for the same time.
  ASSERT_EQ(reports.size(), sentNotifications().size());
  for (size_t k = 0; k < reports.size(); ++k) {
    EXPECT_EQ(79u, sentNotifications()[k].key);
    EXPECT_EQ(reports[k].time(), sentNotifications()[k].dataTime.refTime());
    EXPECT_EQ(768u, sentNotifications()[k].dataTime.flags());
  }
  for (const char* line :
       {"VERBOSE: In write2NetcdfFile()\n",
        "VERBOSE: TimeIds[4]: Jun 01 24 12:09:00 GMT\n",  // no second
        "VERBOSE: Sending a notification for subset 19\n",
        "VERBOSE: Sent notification for key 79\n",
        "VERBOSE: ACARS ident string = ",
        "EVENT: Writing record to netcdf file: "})
    EXPECT_NE(std::string::npos, log.find(line)) << line;
}

// Each bad file with its fate: deleted, moved to the bad directory, or
// left alone when the listing doesn't take its name.
TEST_F(AcarsDecoderTest, EveryFileGetsItsFate) {
  const std::string good = readBinary(kSamples + kMain);
  enum Fate { kDeleted, kMoved, kStays };
  const struct {
    std::string name, bytes;  // bytes empty: the sample of that name
    Fate fate;
    std::string line;
  } cases[] = {
      {"IUAX01_empty", "", kDeleted, "EVENT: No data in datafile "},
      {"IUAB01_unknown_code", good, kDeleted,
       "PROBLEM: Not a valid ACARS BUFR file name - IUAB01_unknown_code\n"},
      {"SXUS01_not_listed", good, kStays, ""},
      {"IUAX01_truncated", good.substr(0, good.size() / 2), kMoved,
       "EVENT: Unable to parse "},
      {"IUAX02_garbage", std::string(3000, '\x5a'), kMoved,
       "EVENT: Unable to parse "},
      {"IUAX02_KWBC_202406011500_NOREG", "", kMoved,
       "PROBLEM: Number of stations = 0...not processing\n"},
      {"IUAX01_KWBC_202406011510_NOTIME", "", kMoved,
       "PROBLEM: Number of timeIds = 0...not processing\n"},
  };
  for (const auto& c : cases) {
    if (c.bytes.empty() && c.fate == kMoved)
      putSample(c.name);
    else
      put(c.name, c.bytes);
  }
  std::string log = run();
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    auto in = [&](const std::string& directory) {
      std::vector<std::string> all = names(directory);
      return std::find(all.begin(), all.end(), c.name) != all.end();
    };
    EXPECT_EQ(c.fate == kStays, in(input()));
    EXPECT_EQ(c.fate == kMoved, in(bad()));
    EXPECT_NE(std::string::npos, log.find(c.line));
  }
  EXPECT_EQ(2, countOf(log, "EVENT: Unable to parse "));
  EXPECT_EQ(2, countOf(log, "EVENT: Unable to write netcdf data. "));
  EXPECT_EQ(0u, recordCount());
  EXPECT_TRUE(sentNotifications().empty());
}

// A report past the end of its day has no time and so no record: the file
// goes to the bad directory, the reports before it stay stored and
// notified, and the one behind it is never reached. A position off the
// globe is stored as it came: ACARS files aren't indexed by position.
TEST_F(AcarsDecoderTest, ReportWithoutAValidTime) {
  putSample(kFaults);
  std::string log = run();
  EXPECT_EQ(std::vector<std::string>({kFaults}), names(bad()));
  std::vector<Report> reports = readReports(kFaults);
  const AbsTime messageTime(2024, 6, 1, 14, 0, 0);
  expectStored(reports[0], messageTime);
  expectStored(reports[1], messageTime);
  EXPECT_EQ(95.0, reports[1].numbers.at(5001));
  EXPECT_EQ(2u, recordCount());
  ASSERT_EQ(2u, sentNotifications().size());
  EXPECT_EQ(reports[1].time(), sentNotifications()[1].dataTime.refTime());
  for (const char* line :
       {"BUG: Improper time values for AbsTime::AbsTime()\n",
        "PROBLEM: Undefined time getFileHandleAndRecord\n",
        "PROBLEM: No handle for this station info: N37274 and time: 0\n",
        "PROBLEM: No handle for N37274 for 0.  Skipping to next file.\n",
        "EVENT: Unable to write netcdf data. "})
    EXPECT_NE(std::string::npos, log.find(line)) << line;
}

// A registration too long for the site's index gets no record: the file
// goes to the bad directory.
TEST_F(AcarsDecoderTest, RegistrationTooLongForTheIndex) {
  narrowTemplate({{"totalIdLen = 10 ;", "totalIdLen = 6 ;"},
                  {"tailLen = 9 ;", "tailLen = 6 ;"}});
  putSample(kMain);
  std::string log = run();
  EXPECT_EQ(std::vector<std::string>({kMain}), names(bad()));
  for (const char* line :
       {"PROBLEM: Length of static id too long in getFileHandleAndRecord\n",
        "PROBLEM: No handle for N512UA for 1717243270.  Skipping to next "
        "file.\n"})
    EXPECT_NE(std::string::npos, log.find(line)) << line;
  EXPECT_EQ(0u, recordCount());
  EXPECT_TRUE(sentNotifications().empty());
}

// A flight number too long for its variable is refused, not cut; the rest
// of the report is stored and notified.
TEST_F(AcarsDecoderTest, FlightNumberTooLongForItsVariable) {
  narrowTemplate({{"flightLen = 9 ;", "flightLen = 6 ;"}});
  putSample(kMain);
  std::string log = run();
  EXPECT_TRUE(names(bad()).empty());
  EXPECT_EQ(4, countOf(log, "PROBLEM: Unable to store the value UAL1234\n"));
  EXPECT_EQ(0, countOf(log, "Unable to store the value ACA875"));
  const std::vector<Report> reports = readReports(kMain);
  for (const Report& r : reports) {
    StoredRecord record(data(kPoint), r.id(), r.time());
    ASSERT_TRUE(record.found());
    EXPECT_EQ(r.texts.at(1006).size() <= 6 ? r.texts.at(1006) : "",
              record.text("flight"));
    EXPECT_EQ(r.texts.at(2065), record.text("rcvStation"));
  }
  EXPECT_EQ(reports.size(), sentNotifications().size());
}

// Without its template the decoder leaves the files for a later run, and
// says so at each run.
TEST_F(AcarsDecoderTest, WithoutTemplateEveryFileStays) {
  ASSERT_EQ(0, unlink((data(kPoint) + "/template").c_str()));
  putSample(kMain);
  std::string log = run(false, 2);
  EXPECT_EQ(2, countOf(log, "PROBLEM: Unable to read template file\n"));
  EXPECT_EQ(std::vector<std::string>({kMain}), names(input()));
  EXPECT_TRUE(sentNotifications().empty());
}

}  // namespace
