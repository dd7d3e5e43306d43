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

// The oldest file goes while the reader's picture still holds it: the
// inventory notes the failure, renews the picture and answers as if the
// file had never been there.
TEST_F(ReaderFaultTest, AFilePurgedDuringAnInventory) {
  makeWriter();
  for (long hour = 0; hour < 3; ++hour) put("KDEN", kNoon + hour * kHour + 60);
  NetcdfPointData reader(dir.path().c_str(), false, false);
  SeqOf<DataTime> bins;
  ASSERT_TRUE(reader.inventory(bins, 0));  // level 1 of every file
  ASSERT_EQ(0, unlink(fileOf(kNoon).c_str()));
  StderrCapture err;
  EXPECT_EQ(std::vector<long>({kNoon + kHour + 60, kNoon + 2 * kHour + 60}),
            exactTimes(reader));
  EXPECT_EQ("PROBLEM: Could not stat netcdf file:" + fileOf(kNoon) +
                "\nPROBLEM: File access error noted for " + fileOf(kNoon) +
                "\nEVENT: File open failed because of normal purge operation " +
                dir.path() + "\n",
            err.text());
  EXPECT_EQ(2, reader.fileTimes().length());
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

// A file replaced under its name (as a copy that lands by rename) while
// the reader doesn't hold it is read anew at the next look: its records
// are the new file's.
TEST_F(ReaderFaultTest, AReplacedFileIsReadAgain) {
  makeWriter();
  put("KDEN", kNoon + 100);
  put("KBOU", kNoon + 200);
  put("KDEN", kNoon + kHour + 100);
  NetcdfPointData reader(dir.path().c_str(), false, false);
  SeqOf<DataTime> bins;
  ASSERT_TRUE(reader.inventory(bins, 0));  // the older file is let go
  EXPECT_EQ(std::vector<long>({kNoon, kNoon + kHour}), validTimes(bins));
  TempDir other;
  copyFile(dir.file("template"), other.file("template"));
  putIn(other, "KAPA", kNoon + 300);
  ASSERT_EQ(0, rename(fileOf(kNoon, &other).c_str(), fileOf(kNoon).c_str()));
  reader.noteNewDataTime(DataTime(AbsTime(kNoon + 300)));
  EXPECT_EQ(std::vector<long>({kNoon + 300, kNoon + kHour + 100}),
            exactTimes(reader));
}

TEST_F(ReaderFaultTest, FilesOfAnOlderTemplateAreReadByTheirOwnIndex) {
  TempDir old;
  {
    TemplateForm form;
    form.cdlDate = "20200101";
    form.nBins = 2;
    form.maxStaticIds = 5;
    ASSERT_FALSE(makeNetcdf(old, "template", templateCdl(form)).empty());
    putIn(old, "KDEN", kNoon - kHour + 2000);
  }
  makeWriter();
  put("KDEN", kNoon + 100);
  copyFile(fileOf(kNoon - kHour, &old), fileOf(kNoon - kHour));
  NetcdfPointData reader(dir.path().c_str(), false, false);
  EXPECT_EQ(std::vector<long>({kNoon - kHour + 2000, kNoon + 100}),
            exactTimes(reader, "KDEN"));
  SeqOf<DataTime> bins;
  ASSERT_TRUE(reader.idInventory("KDEN", bins, 0));
  // The old file's second bin of 1800 seconds has its middle at 45 past,
  // rounded by the template's bin of 900.
  EXPECT_EQ(std::vector<long>({kNoon - 900, kNoon}), validTimes(bins));
  EXPECT_EQ(2, reader.structureCount());
}

// A reader reads the files between the oldest and the newest at their
// first use. One of an older template whose period reaches past the
// newest file's answers by its own coverage, even for a range that the
// newest file's end alone would call empty.
TEST_F(ReaderFaultTest, AFileBetweenTheEndsIsReadByItsOwnTemplateAtItsFirstUse) {
  TempDir old;
  {
    TemplateForm form;
    form.cdlDate = "20200101";
    form.filePeriod = "10800";
    form.fileEndOffset = "10799";
    ASSERT_FALSE(makeNetcdf(old, "template", templateCdl(form)).empty());
    putIn(old, "KDEN", kNoon + 3 * kHour + 600);
  }
  makeWriter();
  put("KDEN", kNoon + 100);
  put("KDEN", kNoon + 2 * kHour + 100);
  // Under the name of the hour between: it covers three hours from there.
  copyFile(fileOf(kNoon + 3 * kHour, &old), fileOf(kNoon + kHour));
  NetcdfPointData reader(dir.path().c_str(), false, false);
  EXPECT_EQ(1, reader.structureCount());
  TimeRange late(AbsTime(kNoon + 3 * kHour + 1), AbsTime(kNoon + 3 * kHour + 3000));
  SeqOf<DataTime> times;
  ASSERT_TRUE(reader.idInventory("KDEN", late, times, -1));
  EXPECT_EQ(std::vector<long>({kNoon + 3 * kHour + 600}), validTimes(times));
  EXPECT_EQ(2, reader.structureCount());
  EXPECT_EQ(AbsTime(kNoon + 4 * kHour - 1),
            reader.fileInfoAt(AbsTime(kNoon + kHour))->validEnd);
}

// A file between the ends that isn't a point file is found at the first
// question that reaches it: it leaves the picture as a scan would have
// left it, and the answer is that of the other files.
TEST_F(ReaderFaultTest, ABadFileBetweenTheEndsLeavesAtItsFirstUse) {
  makeWriter();
  for (long hour = 0; hour < 3; ++hour) put("KDEN", kNoon + hour * kHour + 60);
  std::string whole = dir.file("whole");
  copyFile(fileOf(kNoon + kHour), whole);
  for (int size : {0, 100}) {
    copyFile(whole, fileOf(kNoon + kHour));
    ASSERT_EQ(0, truncate(fileOf(kNoon + kHour).c_str(), size));
    std::unique_ptr<NetcdfPointData> reader;
    {
      StderrCapture quiet;
      reader.reset(new NetcdfPointData(dir.path().c_str(), false, false));
      EXPECT_EQ("", quiet.text()) << size;
    }
    StderrCapture err;
    EXPECT_EQ(std::vector<long>({kNoon + 60, kNoon + 2 * kHour + 60}),
              exactTimes(*reader, "KDEN"));
    std::string bad = fileOf(kNoon + kHour);
    std::string last =
        "PROBLEM: Format or ownership problems with the file " + bad +
        "\nPROBLEM: File access error noted for " + bad +
        "\nEVENT: File open failed because of normal purge operation\n";
    std::string log = err.text();
    ASSERT_LE(last.size(), log.size()) << size;
    EXPECT_EQ(last, log.substr(log.size() - last.size())) << size;
    EXPECT_TRUE(reader->isBadFile(AbsTime(kNoon + kHour)));
    EXPECT_EQ(2, reader->fileTimes().length());
  }
}

TEST_F(ReaderFaultTest, ATruncatedFileIsHeldOut) {
  makeWriter();
  put("KDEN", kNoon + 100);
  put("KDEN", kNoon + kHour + 100);
  std::string copy = dir.file("whole");
  copyFile(fileOf(kNoon), copy);
  // Cut to nothing, and cut inside the header.
  for (int size : {0, 100}) {
    copyFile(copy, fileOf(kNoon));
    ASSERT_EQ(0, truncate(fileOf(kNoon).c_str(), size));
    StderrCapture err;
    NetcdfPointData reader(dir.path().c_str(), false, false);
    EXPECT_EQ(std::vector<long>({kNoon + kHour + 100}), exactTimes(reader));
    std::string log = err.text();
    std::string last = "PROBLEM: Format or ownership problems with the file " +
                       fileOf(kNoon) + "\n";
    ASSERT_LE(last.size(), log.size()) << size;
    EXPECT_EQ(last, log.substr(log.size() - last.size())) << size;
    EXPECT_TRUE(reader.isBadFile(AbsTime(kNoon)));
  }
}

TEST_F(ReaderFaultTest, ARangeOverAMissingPeriod) {
  makeWriter();
  put("KDEN", kNoon + 100);
  put("KDEN", kNoon + 2 * kHour + 100);
  NetcdfPointData reader(dir.path().c_str(), false, false);
  TimeRange all(AbsTime(kNoon), AbsTime(kNoon + 3 * kHour));
  SeqOf<DataTime> times;
  ASSERT_TRUE(reader.idInventory("KDEN", all, times, -1));
  EXPECT_EQ(std::vector<long>({kNoon + 100, kNoon + 2 * kHour + 100}),
            validTimes(times));
  TimeRange gap(AbsTime(kNoon + kHour), AbsTime(kNoon + kHour + 3599));
  ASSERT_TRUE(reader.inventory(gap, times, -1));
  EXPECT_EQ(0, times.length());
  SeqOfPtr<int*> handles;
  ASSERT_TRUE(reader.handlesForRange(all, handles));
  EXPECT_EQ(2, handles.length());
  EXPECT_TRUE(reader.releaseHandles(handles));
}

// A writer in another process stores a stream of records; each answer of
// the reader is a moment of that stream: a prefix of the times stored, no
// shorter than the last answer, each record with its id and time, and its
// data either not yet written or the value stored.
TEST_F(ReaderFaultTest, AReaderFollowsAWriterInAnotherProcess) {
  const int kRecords = 60;
  const long kStep = 100;  // two hourly files
  TemplateForm form;
  ASSERT_FALSE(makeNetcdf(dir, "template", templateCdl(form)).empty());
  pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    NetcdfPointData w(dir.path().c_str(), true, false);
    for (int n = 0; n < kRecords; ++n) {
      SeqOf<TextString> ids;
      ids.append(("S" + std::to_string(n % 10)).c_str());
      SeqOf<double> times;
      times.append(kNoon + n * kStep);
      long record = 0;
      bool isNew = false;
      int* h = w.getFileHandleAndRecord(ids, times, record, isNew);
      if (h == nullptr) _exit(1);
      usleep(3000);  // the index is on disk, the data not yet
      int var = -1;
      float value = n;
      size_t at = record;
      if (nc_inq_varid(*h, "temperature", &var) != NC_NOERR ||
          nc_put_var1_float(*h, var, &at, &value) != NC_NOERR)
        _exit(2);
      w.releaseHandle(h);
    }
    _exit(0);
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
