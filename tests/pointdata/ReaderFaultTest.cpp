#include <gtest/gtest.h>
#include <netcdf.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <memory>
#include <string>
#include <vector>

#include "DataTime.h"
#include "NetcdfPointData.h"
#include "PointStoreFixture.h"
#include "RecordSet.h"
#include "TimeRange.h"

namespace {

class ReaderFaultTest : public PointStoreFixture {
 protected:
  std::vector<long> exactTimes(NetcdfPointData& r, const char* id = nullptr) {
    SeqOf<DataTime> times;
    EXPECT_TRUE(id ? r.idInventory(id, times, -1) : r.inventory(times, -1));
    return validTimes(times);
  }
};

TEST_F(ReaderFaultTest, AnEmptyDirectoryOrAMissingStaticFile) {
  makeWriter();
  NetcdfPointData reader(dir.path().c_str(), false, false);
  SeqOf<DataTime> times;
  SeqOf<AbsTime> absTimes;
  EXPECT_TRUE(reader.inventory(times, 0));
  EXPECT_TRUE(reader.idInventory("KDEN", times, -1));
  EXPECT_TRUE(reader.allTimes(absTimes, -1));
  EXPECT_EQ(0, times.length() + absTimes.length());
  StderrCapture err;
  NetcdfPointData none(dir.file("absent.nc").c_str(), false, true);
  EXPECT_FALSE(none.inventory(times, 0));
  EXPECT_EQ("PROBLEM: Could not open " + dir.file("absent.nc") +
                " in openNetCdfFile\n",
            err.text());
}

// An override that sizes the table of ids beyond what the file holds
// fails the file's reads, and no table of that size is made first. The
// file is the newest: each pass waits a second for it, then gives up.
TEST_F(ReaderFaultTest, AnOverrideBeyondTheFilesTablesFailsItsReads) {
  makeWriter();
  put("KDEN", kNoon + 100);
  writeFile(dir.file("template.override"), "maxStaticIds 20000000\n");
  NetcdfPointData reader(dir.path().c_str(), false, false);
  struct rusage before, after;
  getrusage(RUSAGE_SELF, &before);
  StderrCapture err;
  EXPECT_TRUE(exactTimes(reader, "KDEN").empty());
  getrusage(RUSAGE_SELF, &after);
  std::string log = err.text();
  EXPECT_EQ(3, countOf(log, "PROBLEM: unable to read staticIds\n")) << log;
  EXPECT_EQ(1, countOf(log, "BUG: Serious file access problems\n")) << log;
  EXPECT_GT(64 * 1024, after.ru_maxrss - before.ru_maxrss) << "kilobytes";
}

// A reader reads the files between the oldest and the newest at their
// first use, each by its own template: one of an older template whose
// period reaches past the newest file's answers by its own coverage, even
// for a range that the newest file's end alone would call empty. The
// oldest file, of two bins, has its second bin of 1800 seconds at 45 past,
// rounded by the template's bin of 900.
TEST_F(ReaderFaultTest, FilesOfOlderTemplatesAreReadByTheirOwnAtFirstUse) {
  TempDir twoBins, threeHours;
  TemplateForm form;
  form.cdlDate = "20200101";
  form.nBins = 2;
  form.maxStaticIds = 5;
  ASSERT_FALSE(makeNetcdf(twoBins, "template", templateCdl(form)).empty());
  putIn(twoBins, "KDEN", kNoon - kHour + 2000);
  form = TemplateForm();
  form.cdlDate = "20200102";
  form.filePeriod = "10800";
  form.fileEndOffset = "10799";
  ASSERT_FALSE(makeNetcdf(threeHours, "template", templateCdl(form)).empty());
  putIn(threeHours, "KDEN", kNoon + 3 * kHour + 600);
  makeWriter();
  put("KDEN", kNoon + 100);
  put("KDEN", kNoon + 2 * kHour + 100);
  copyFile(fileOf(kNoon - kHour, &twoBins), fileOf(kNoon - kHour));
  // Under the name of the hour between: it covers three hours from there.
  copyFile(fileOf(kNoon + 3 * kHour, &threeHours), fileOf(kNoon + kHour));
  NetcdfPointData reader(dir.path().c_str(), false, false);
  EXPECT_EQ(2, reader.structureCount());
  TimeRange late(AbsTime(kNoon + 3 * kHour + 1),
                 AbsTime(kNoon + 3 * kHour + 3000));
  SeqOf<DataTime> times;
  ASSERT_TRUE(reader.idInventory("KDEN", late, times, -1));
  EXPECT_EQ(std::vector<long>({kNoon + 3 * kHour + 600}), validTimes(times));
  EXPECT_EQ(3, reader.structureCount());
  EXPECT_EQ(AbsTime(kNoon + 4 * kHour - 1),
            reader.fileInfoAt(AbsTime(kNoon + kHour))->validEnd);
  EXPECT_EQ(std::vector<long>({kNoon - kHour + 2000, kNoon + 100,
                               kNoon + 2 * kHour + 100,
                               kNoon + 3 * kHour + 600}),
            exactTimes(reader, "KDEN"));
  // The file between has one bin of 2700 seconds: its middle rounds to 900.
  ASSERT_TRUE(reader.idInventory("KDEN", times, 0));
  EXPECT_EQ(std::vector<long>({kNoon - 900, kNoon, kNoon + kHour + 900,
                               kNoon + 2 * kHour}),
            validTimes(times));
}

// KDEN at a minute past each of three hours. A file cut to nothing or
// inside its header is held out: the oldest at the reader's scan, one
// between the ends at the first question that reaches it, which leaves the
// picture as a scan would have left it. An hour without a file answers
// nothing; a file purged or replaced under a reader's picture is noticed
// at its next question. Each time the other files answer.
TEST_F(ReaderFaultTest, EachFaultOfAFileLeavesTheOthersToAnswer) {
  makeWriter();
  for (long hour = 0; hour < 3; ++hour) put("KDEN", kNoon + hour * kHour + 60);
  const long kMiddle = kNoon + kHour;
  const long kLast = kNoon + 2 * kHour + 60;
  std::string whole = dir.file("whole");
  for (long bad : {kNoon, kMiddle}) {
    bool between = bad == kMiddle;
    std::string last = "PROBLEM: Format or ownership problems with the file " +
                       fileOf(bad) + "\n";
    if (between)
      last += "PROBLEM: File access error noted for " + fileOf(bad) +
              "\nEVENT: File open failed because of normal purge operation\n";
    copyFile(fileOf(bad), whole);
    for (int size : {0, 100}) {
      SCOPED_TRACE(std::to_string(size) + (between ? " between" : " oldest"));
      copyFile(whole, fileOf(bad));
      ASSERT_EQ(0, truncate(fileOf(bad).c_str(), size));
      StderrCapture scan;
      NetcdfPointData reader(dir.path().c_str(), false, false);
      std::string log = scan.text();
      if (between) {
        EXPECT_EQ("", log);
      }
      StderrCapture err;
      std::vector<long> left = exactTimes(reader, between ? "KDEN" : nullptr);
      log += err.text();
      EXPECT_EQ(std::vector<long>({between ? kNoon + 60 : kMiddle + 60, kLast}),
                left);
      ASSERT_LE(last.size(), log.size());
      EXPECT_EQ(last, log.substr(log.size() - last.size()));
      EXPECT_TRUE(reader.isBadFile(AbsTime(bad)));
      EXPECT_EQ(2, reader.fileTimes().length());
    }
    copyFile(whole, fileOf(bad));
  }

  ASSERT_EQ(0, rename(fileOf(kMiddle).c_str(), whole.c_str()));
  {
    NetcdfPointData reader(dir.path().c_str(), false, false);
    TimeRange all(AbsTime(kNoon), AbsTime(kNoon + 3 * kHour));
    SeqOf<DataTime> times;
    ASSERT_TRUE(reader.idInventory("KDEN", all, times, -1));
    EXPECT_EQ(std::vector<long>({kNoon + 60, kLast}), validTimes(times));
    TimeRange gap(AbsTime(kMiddle), AbsTime(kMiddle + 3599));
    ASSERT_TRUE(reader.inventory(gap, times, -1));
    EXPECT_EQ(0, times.length());
    SeqOfPtr<int*> handles;
    ASSERT_TRUE(reader.handlesForRange(all, handles));
    EXPECT_EQ(2, handles.length());
    EXPECT_TRUE(reader.releaseHandles(handles));
  }
  ASSERT_EQ(0, rename(whole.c_str(), fileOf(kMiddle).c_str()));

  // The oldest goes while the picture holds it: the inventory notes the
  // failure, renews the picture and answers as if it had never been.
  auto reader = std::make_unique<NetcdfPointData>(dir.path().c_str(), false,
                                                  false);
  SeqOf<DataTime> bins;
  ASSERT_TRUE(reader->inventory(bins, 0));  // level 1 of every file
  ASSERT_EQ(0, unlink(fileOf(kNoon).c_str()));
  {
    StderrCapture err;
    EXPECT_EQ(std::vector<long>({kMiddle + 60, kLast}), exactTimes(*reader));
    EXPECT_EQ("PROBLEM: Could not stat netcdf file:" + fileOf(kNoon) +
                  "\nPROBLEM: File access error noted for " + fileOf(kNoon) +
                  "\nEVENT: File open failed because of normal purge "
                  "operation " + dir.path() + "\n",
              err.text());
  }
  EXPECT_EQ(2, reader->fileTimes().length());

  // A copy that lands by rename while the reader doesn't hold the file
  // (an inventory lets the older go) is read anew: its records are its own.
  reader.reset(new NetcdfPointData(dir.path().c_str(), false, false));
  ASSERT_TRUE(reader->inventory(bins, 0));
  EXPECT_EQ(std::vector<long>({kMiddle, kNoon + 2 * kHour}), validTimes(bins));
  TempDir other;
  copyFile(dir.file("template"), other.file("template"));
  putIn(other, "KAPA", kMiddle + 300);
  ASSERT_EQ(0,
            rename(fileOf(kMiddle, &other).c_str(), fileOf(kMiddle).c_str()));
  reader->noteNewDataTime(DataTime(AbsTime(kMiddle + 300)));
  EXPECT_EQ(std::vector<long>({kMiddle + 300, kLast}), exactTimes(*reader));
}

// A writer in another process stores a stream of records; each answer of
// the reader is a moment of that stream: a prefix of the times stored, no
// shorter than the last answer, each record with its id and time, and its
// data either not yet written or the value stored.
TEST_F(ReaderFaultTest, AReaderFollowsAWriterInAnotherProcess) {
  const int kRecords = 60;
  const long kStep = 100;  // two hourly files
  makeWriter();
  dataDelay = 3000;  // each index on disk a while before its data
  pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    for (int n = 0; n < kRecords; ++n)
      put("S" + std::to_string(n % 10), kNoon + n * kStep, n);
    _exit(::testing::Test::HasFailure() ? 1 : 0);
  }
  NetcdfPointData reader(dir.path().c_str(), false, false);
  reader.setCheckInterval(0);
  size_t lastSeen = 0;
  size_t lastOfOne = 0;
  int answers = 0;
  int status = 0;
  bool done = false;
  while (!done) {
    done = waitpid(child, &status, WNOHANG) == child;
    SeqOf<DataTime> times;
    ASSERT_TRUE(reader.inventory(times, -1));
    std::vector<long> seen = validTimes(times);
    ASSERT_GE(seen.size(), lastSeen);
    for (size_t i = 0; i < seen.size(); ++i)
      ASSERT_EQ(kNoon + static_cast<long>(i) * kStep, seen[i]) << "not a prefix";
    lastSeen = seen.size();
    // A fresh reader's first exact question of an id reads its records
    // from each file, not from tables.
    NetcdfPointData fresh(dir.path().c_str(), false, false);
    SeqOf<DataTime> ofOne;
    ASSERT_TRUE(fresh.idInventory("S3", ofOne, -1));
    std::vector<long> chain = validTimes(ofOne);
    ASSERT_GE(chain.size(), lastOfOne);
    for (size_t i = 0; i < chain.size(); ++i)
      ASSERT_EQ(kNoon + (3 + 10 * static_cast<long>(i)) * kStep, chain[i]);
    lastOfOne = chain.size();
    SeqOfPtr<int*> handles;
    TimeRange all(AbsTime(kNoon), AbsTime(kNoon + 2 * kHour));
    ASSERT_TRUE(reader.handlesForRange(all, handles));
    for (int f = 0; f < handles.length(); ++f) {
      RecordSet* set = nullptr;
      StderrCapture quiet;  // a file may not have a record yet
      if (!reader.recordSetInRange(all, handles[f], set)) continue;
      std::unique_ptr<RecordSet> owned(set);
      int var = -1;
      ASSERT_EQ(NC_NOERR, nc_inq_varid(*handles[f], "temperature", &var));
      for (int i = 0; i < set->ids.length(); ++i) {
        long n = (set->times.at(i) - kNoon) / kStep;
        EXPECT_EQ("S" + std::to_string(n % 10), set->ids.at(i).chars());
        size_t at = set->firstRecords.at(0) + i;
        float value = 0;
        ASSERT_EQ(NC_NOERR, nc_get_var1_float(*handles[f], var, &at, &value));
        EXPECT_TRUE(value == n || value > 1e36f) << value << " for " << n;
      }
    }
    EXPECT_TRUE(reader.releaseHandles(handles));
    ++answers;
    usleep(20000);
  }
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  SeqOf<DataTime> last;
  reader.noteNewDataTime(DataTime(AbsTime(kNoon + (kRecords - 1) * kStep)));
  ASSERT_TRUE(reader.inventory(last, -1));
  EXPECT_EQ(static_cast<size_t>(kRecords), validTimes(last).size());
  EXPECT_EQ(6u, lastOfOne) << "the answer after the writer's end";
  EXPECT_LT(3, answers);
}

}  // namespace
