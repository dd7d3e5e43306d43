#include <gtest/gtest.h>
#include <netcdf.h>
#include <netcdfcpp.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <algorithm>
#include <string>
#include <vector>

#include "NetcdfPointData.h"
#include "PointFileStructure.h"
#include "PointNetcdfFileInfo.h"
#include "PointStoreFixture.h"
#include "TestSupport.h"
#include "TimeRange.h"

namespace {

using WriteRecordTest = PointStoreFixture;

TEST_F(WriteRecordTest, StationsLandInTheFilesOfTheirPeriods) {
  TemplateForm form;
  form.globals = "  :log_rewrites = \"true\" ;\n";
  makeWriter(form);
  NetcdfPointData::lastFileTimeStamp() = "";
  // Hourly files of four bins of 900 s; three stations, arriving out of
  // order of their ids, in two hours.
  const char* stations[] = {"KDEN", "KBOU", "KAPA"};
  for (int hour = 0; hour < 2; ++hour) {
    for (int i = 0; i < 3; ++i) {
      long time = kNoon + hour * kHour + i * 900 + 60;
      Stored s = put(stations[i], time, 100 * hour + i);
      ASSERT_NE(nullptr, s.handle) << stations[i] << " hour " << hour;
      EXPECT_TRUE(s.isNew);
      EXPECT_EQ(i, s.record);
    }
  }
  std::string first = fileOf(kNoon);
  std::string second = fileOf(kNoon + kHour);
  ASSERT_EQ(2, writer->fileTimes().length());
  EXPECT_EQ(AbsTime(kNoon + kHour), writer->fileTimes().at(0));

  // What another program sees in each file. The last bin is as the
  // template left it: no record, and negative.
  EXPECT_EQ(std::vector<std::string>({"KDEN", "KBOU", "KAPA"}),
            getRows(first, "stationId"));
  EXPECT_EQ(std::vector<int>({3}), getInts(first, "nStaticIds"));
  EXPECT_EQ(std::vector<std::string>({"KAPA", "KBOU", "KDEN"}),
            firstRows(getRows(first, "staticIds"), 3));
  EXPECT_EQ(std::vector<int>({2, 1, 0}),
            firstRows(getInts(first, "lastRecord"), 3));
  EXPECT_EQ(std::vector<int>({4, 2, 1}),
            firstRows(getInts(first, "inventory"), 3));
  EXPECT_EQ(std::vector<int>({7}), getInts(first, "globalInventory"));
  std::vector<int> firstInBin = getInts(first, "firstInBin");
  EXPECT_EQ(std::vector<int>({0, 1, 2}), firstRows(firstInBin, 3));
  EXPECT_EQ(firstInBin, getInts(first, "lastInBin"));
  EXPECT_GT(0, firstInBin[3]);
  EXPECT_EQ(std::vector<int>({-1, -1, -1}), getInts(first, "prevRecord"));
  EXPECT_EQ(std::vector<double>({kNoon + 60.0, kNoon + 960.0, kNoon + 1860.0}),
            getDoubles(first, "timeObs"));
  EXPECT_EQ(std::vector<double>({100, 101, 102}),
            getDoubles(second, "temperature"));
  EXPECT_TRUE(NetcdfPointData::lastFileTimeStamp().isEmpty());

  // A second store of KBOU at its time finds its record: nothing is
  // added, the rewrite is logged, and the file's time is noted.
  Stored again = put("KBOU", kNoon + 960, 55);
  ASSERT_NE(nullptr, again.handle);
  EXPECT_FALSE(again.isNew);
  EXPECT_EQ(1, again.record);
  EXPECT_EQ(3, recordCount(first));
  EXPECT_EQ(55, getDoubles(first, "temperature")[1]);
  EXPECT_TRUE(NetcdfPointData::lastFileTimeStamp() == "20240601_1200");
  EXPECT_EQ("1\n", readFile(first + ".rewrites"));

  // KBOU at an earlier time: a new record chained to the former last one,
  // which it replaces as the last, older as it is. A new record leaves
  // the time stamp of the last rewrite alone.
  Stored earlier = put("KBOU", kNoon + 100, 56);
  ASSERT_NE(nullptr, earlier.handle);
  EXPECT_TRUE(earlier.isNew);
  EXPECT_EQ(3, earlier.record);
  EXPECT_EQ(std::vector<int>({-1, -1, -1, 1}), getInts(first, "prevRecord"));
  EXPECT_EQ(3, getInts(first, "lastRecord")[1]);
  EXPECT_EQ(3, getInts(first, "inventory")[1]);
  EXPECT_EQ(0, getInts(first, "firstInBin")[0]);
  EXPECT_EQ(3, getInts(first, "lastInBin")[0]);
  EXPECT_TRUE(NetcdfPointData::lastFileTimeStamp() == "20240601_1200");

  // Either record of the chain is found again by its time.
  EXPECT_EQ(1, put("KBOU", kNoon + 960).record);
  EXPECT_EQ(3, put("KBOU", kNoon + 100).record);
  EXPECT_EQ(4, recordCount(first));
  EXPECT_EQ("1\n1\n3\n", readFile(first + ".rewrites"));
}

TEST_F(WriteRecordTest, NewIdsKeepTheTableSorted) {
  makeWriter();
  // Each id goes in at the front, in the middle, or behind the last.
  for (const char* id : {"M", "C", "X", "A", "N", "B", "Z"})
    ASSERT_NE(nullptr, put(id, kNoon + 10).handle);
  std::string file = fileOf(kNoon);
  EXPECT_EQ(std::vector<std::string>({"A", "B", "C", "M", "N", "X", "Z"}),
            firstRows(getRows(file, "staticIds"), 7));
  EXPECT_EQ(std::vector<int>({3, 5, 1, 0, 4, 2, 6}),
            firstRows(getInts(file, "lastRecord"), 7));
  EXPECT_EQ(7, getInts(file, "nStaticIds")[0]);
  // Every row moved with its inventory.
  EXPECT_EQ(std::vector<int>(7, 1), firstRows(getInts(file, "inventory"), 7));
}

// Ids beyond a full table go to overflow records, chained per id; the
// index finds them newest first, and by their times.
TEST_F(WriteRecordTest, AFullTableOverflowsIntoChains) {
  TemplateForm form;
  form.maxStaticIds = 2;
  makeWriter(form);
  ASSERT_NE(nullptr, put("KAPA", kNoon + 10).handle);
  ASSERT_NE(nullptr, put("KBOU", kNoon + 10).handle);
  std::string file = fileOf(kNoon);
  {
    StderrCapture err;
    Stored s = put("KDEN", kNoon + 20);
    ASSERT_NE(nullptr, s.handle);
    EXPECT_EQ(2, s.record);
    EXPECT_EQ(1, countOf(err.text(),
                         "PROBLEM: Static information area overflow in the "
                         "file \nPROBLEM: " + file + "\n"));
  }
  EXPECT_EQ(2, getInts(file, "firstOverflow")[0]);
  EXPECT_EQ(1, getInts(file, "isOverflow")[2]);
  EXPECT_EQ(2, getInts(file, "nStaticIds")[0]);

  // The next report of KDEN finds the overflow record and is chained to
  // it; the table is still full, and says so again, as for KEGE.
  ASSERT_NE(nullptr, put("KBOU", kNoon + 30).handle);
  StderrCapture err;
  Stored later = put("KDEN", kNoon + 40);
  ASSERT_NE(nullptr, later.handle);
  EXPECT_EQ(4, later.record);
  EXPECT_EQ(std::vector<int>({-1, -1, -1, 1, 2}), getInts(file, "prevRecord"));
  EXPECT_EQ(1, getInts(file, "isOverflow")[4]);
  EXPECT_EQ(5, put("KEGE", kNoon + 50).record);
  EXPECT_EQ(2, countOf(err.text(), "Static information area overflow"));
  // A rewrite of an overflow record is found without a word.
  StderrCapture quiet;
  EXPECT_EQ(2, put("KDEN", kNoon + 20).record);
  EXPECT_EQ(0, countOf(quiet.text(), "overflow"));

  // A new writer of the directory reads the chains back from the file.
  writer.reset(new NetcdfPointData(dir.path().c_str(), true, false));
  Stored fresh = put("KDEN", kNoon + 40);
  EXPECT_FALSE(fresh.isNew);
  EXPECT_EQ(4, fresh.record);
  EXPECT_EQ(3, put("KBOU", kNoon + 30).record);

  // Once overflow began, ids are searched by record: level 4 is level 5.
  PointNetcdfFileInfo* info = writer->fileInfoAt(AbsTime(kNoon));
  ASSERT_TRUE(writer->updateFileInfo(*info->handle, info, 4));
  EXPECT_EQ(5, info->level);
  EXPECT_EQ(0, NetcdfPointData::findStaticId("KAPA", info));
  EXPECT_EQ(-1, NetcdfPointData::findStaticId("KDEN", info));
  EXPECT_EQ(-1, NetcdfPointData::findStaticId("KAPA", nullptr));
  // An id with a row is no overflow record, nor one longer than the ids.
  const std::pair<const char*, long> newest[] = {
      {"KDEN", 4}, {"KEGE", 5}, {"KAPA", -1}, {"KDENDENDENDEN", -1}};
  for (const auto& n : newest)
    EXPECT_EQ(n.second, NetcdfPointData::findOverflowRecord(n.first, info))
        << n.first;
  EXPECT_EQ(2, NetcdfPointData::findOverflowRecordInRange(
                   "KDEN", AbsTime(kNoon), AbsTime(kNoon + 30), info));
  EXPECT_EQ(-1, NetcdfPointData::findOverflowRecordInRange(
                    "KDEN", AbsTime(kNoon + 21), AbsTime(kNoon + 39), info));
  info->firstOverflow = 1;
  EXPECT_EQ(-1, NetcdfPointData::findOverflowRecord("KDEN", info))
      << "below maxStaticIds is no overflow";

  // A reader names each id of a range's bins once: KBOU's record after
  // overflow began has its row, whatever the file holds for it in
  // isOverflow.
  NetcdfPointData reader(dir.path().c_str(), false, false);
  TimeRange range(AbsTime(kNoon + 25), AbsTime(kNoon + 45));
  SeqOfPtr<int*> handles;
  ASSERT_TRUE(reader.handlesForRange(range, handles));
  ASSERT_EQ(1, handles.length());
  SeqOf<TextString> ids;
  long first = 0, count = 0;
  ASSERT_TRUE(reader.idsInRange(range, handles[0], ids, first, count));
  std::vector<std::string> names;
  for (int i = 0; i < ids.length(); ++i) names.push_back(ids.at(i).chars());
  std::sort(names.begin(), names.end());
  EXPECT_EQ(std::vector<std::string>({"KAPA", "KBOU", "KDEN"}), names);
  EXPECT_TRUE(reader.releaseHandles(handles));
}

// Bad requests give null with their reasons, and the store goes on.
TEST_F(WriteRecordTest, BadRequestsGiveNullAndTheStoreGoesOn) {
  makeWriter();
  ASSERT_NE(nullptr, put("KDEN", kNoon + 10).handle);
  const std::string in = " in getFileHandleAndRecord\n";
  const double end = static_cast<double>(AbsTime::endOfTime().seconds());
  struct Case {
    std::vector<std::string> ids;
    std::vector<double> times;
    std::string line;
  } cases[] = {
      {{"ABCDEFGHIJ"}, {kNoon + 10.0},
       "PROBLEM: Length of static id too long" + in},
      {{"KDEN"}, {}, "PROBLEM: No time data" + in},
      {{"KDEN"}, {0}, "PROBLEM: Undefined time getFileHandleAndRecord\n"},
      {{"KDEN"}, {end}, "PROBLEM: Undefined time getFileHandleAndRecord\n"},
      {{"KDEN", "X"}, {kNoon + 10.0}, "PROBLEM: Wrong number of ids" + in},
  };
  for (const Case& c : cases) {
    StderrCapture err;
    EXPECT_EQ(nullptr, putWith(c.ids, c.times).handle) << c.line;
    EXPECT_EQ(c.line, err.text());
  }
  {
    // Nine characters fit the table; the id variable holds eight, so the
    // text doesn't go in with its NUL, nor at all.
    StderrCapture err;
    EXPECT_EQ(nullptr, put("ABCDEFGHI", kNoon).handle);
    EXPECT_NE(std::string::npos, err.text().find("unable to write id variable"));
  }
  {
    StderrCapture err;
    EXPECT_EQ(nullptr, putAt(40, -105, kNoon + 10).handle);
    EXPECT_EQ("PROBLEM: File not lat/lon indexed" + in, err.text());
  }
  {
    StderrCapture err;
    EXPECT_EQ(nullptr, putAt(91, 0, kNoon + 10).handle);
    EXPECT_EQ(nullptr, putAt(0, -180.5, kNoon + 10).handle);
    EXPECT_EQ(2, countOf(err.text(),
                         "PROBLEM: lat/lon values out of range" + in));
  }
  // A reader can't store.
  NetcdfPointData reader(dir.path().c_str(), false, false);
  SeqOf<TextString> ids;
  ids.append("KBOU");
  SeqOf<double> times;
  times.append(kNoon + 10.0);
  long record = -1;
  bool isNew = false;
  StderrCapture err;
  EXPECT_EQ(nullptr, reader.getFileHandleAndRecord(ids, times, record, isNew));
  EXPECT_EQ("PROBLEM: Not set up for writing" + in, err.text());
  // The failed stores left no record behind: the number is used again.
  EXPECT_EQ(1, recordCount(fileOf(kNoon)));
  EXPECT_EQ(1, put("ABCDEFGH", kNoon + 20).record);
  EXPECT_EQ(std::vector<std::string>({"KDEN", "ABCDEFGH"}),
            getRows(fileOf(kNoon), "stationId"));
  EXPECT_EQ("ABCDEFGH", getRows(fileOf(kNoon), "staticIds")[0]);
}

TEST_F(WriteRecordTest, TheFirstUsableTimeNamesTheFile) {
  TemplateForm form;
  form.variables = "  double timeNominal(recNum) ;\n  int invTime(recNum) ;\n";
  form.timeVariables = "timeObs,timeNominal";
  makeWriter(form);
  ASSERT_NE(nullptr, putWith({"KDEN"}, {0, kNoon + 10.0}).handle);
  const double end = static_cast<double>(AbsTime::endOfTime().seconds());
  ASSERT_NE(nullptr, putWith({"KDEN"}, {end, kNoon + kHour + 10.0}).handle);
  EXPECT_EQ(1, recordCount(fileOf(kNoon)));
  EXPECT_EQ(1, recordCount(fileOf(kNoon + kHour)));
  EXPECT_EQ(kNoon + 10.0, getDoubles(fileOf(kNoon), "timeNominal")[0]);
  StderrCapture err;
  EXPECT_EQ(nullptr, putWith({"KDEN"}, {kNoon + 20.0}).handle);
  EXPECT_EQ("PROBLEM: Wrong number of times in getFileHandleAndRecord\n",
            err.text());
}

// A file of forecasts is named by its reference time (a run time, in
// whole minutes as file names are) and takes the valid times of its
// window, from one period to two behind it.
TEST_F(WriteRecordTest, ForecastsLandInTheFileOfTheirReferenceTime) {
  TemplateForm form;
  form.variables = "  double validTime(recNum) ;\n  int invTime(recNum) ;\n";
  form.timeVariables = "timeObs,validTime";
  form.fileEndOffset = "7200";
  form.globals = "  :have_forecasts = \"true\" ;\n";
  makeWriter(form);
  ASSERT_NE(nullptr, putWith({"KDEN"}, {kNoon, kNoon + 2.0 * kHour}).handle);
  EXPECT_EQ(1, putWith({"KDEN"}, {kNoon, kNoon + kHour + 10.0}).record);
  EXPECT_EQ(std::vector<int>({int(kNoon) + 7200, int(kNoon) + 3610}),
            getInts(fileOf(kNoon), "invTime"));
  EXPECT_EQ(std::vector<int>({-1, 0}), getInts(fileOf(kNoon), "prevRecord"));
  StderrCapture err;
  EXPECT_EQ(nullptr, putWith({"KDEN"}, {kNoon, kNoon + 3.0 * kHour}).handle);
  EXPECT_EQ("PROBLEM: Forecast time out of range: 10800 for " + dir.path() +
                "\n",
            err.text());
}

TEST_F(WriteRecordTest, PositionsAreTheIdsOfALatLonFile) {
  TemplateForm form;
  form.totalIdLen = 13;
  form.idVariables = "latitude,longitude";
  makeWriter(form);
  Stored a = putAt(39.75f, -104.87f, kNoon + 10, 1);
  Stored b = putAt(-33.9f, 151.2f, kNoon + 10, 2);
  ASSERT_NE(nullptr, a.handle);
  ASSERT_NE(nullptr, b.handle);
  EXPECT_EQ(1, b.record);
  Stored again = putAt(39.75f, -104.87f, kNoon + 10, 3);
  EXPECT_FALSE(again.isNew);
  EXPECT_EQ(0, again.record);
  std::string file = fileOf(kNoon);
  EXPECT_EQ(std::vector<double>({39.75f, -33.9f}), getDoubles(file, "latitude"));
  EXPECT_EQ(std::vector<double>({3, 2}), getDoubles(file, "temperature"));
  char id[13];
  ASSERT_TRUE(NetcdfPointData::latLonId(-33.9f, 151.2f, 13, id));
  std::vector<std::string> table = getRows(file, "staticIds");
  EXPECT_TRUE(table[0] == id || table[1] == id);
  // An id vector in place of the position is refused.
  StderrCapture err;
  EXPECT_EQ(nullptr, put("KDEN", kNoon + 10).handle);
  EXPECT_EQ("PROBLEM: File is lat/lon indexed in getFileHandleAndRecord\n",
            err.text());
}

TEST_F(WriteRecordTest, WithoutAChainEveryStoreIsANewRecord) {
  TemplateForm form;
  form.maxStaticIds = 0;
  form.totalIdLen = 0;
  form.nBins = 1;
  {
    StderrCapture err;
    makeWriter(form);
    EXPECT_EQ(1, countOf(err.text(), "no record mapping"));
  }
  EXPECT_EQ(-1, writer->structure()->prevRecordVar);
  EXPECT_EQ(0, put("KDEN", kNoon + 10).record);
  Stored second = put("KDEN", kNoon + 10);
  EXPECT_TRUE(second.isNew);
  EXPECT_EQ(1, second.record);
  EXPECT_EQ(2, recordCount(fileOf(kNoon)));
}

// Where ncsync can't be trusted the writer closes and reopens the file;
// the holder's handle follows the new id. The switch is the process's, so
// that case runs in a child of its own.
TEST_F(WriteRecordTest, HandlesAreGivenBackOnceAndFollowTheirFile) {
  makeWriter();
  Stored a = put("KDEN", kNoon + 10, 1, true);
  Stored b = put("KBOU", kNoon + 20, 2, true);
  ASSERT_NE(nullptr, a.handle);
  EXPECT_EQ(a.handle, b.handle) << "one file, one handle";
  PointNetcdfFileInfo* info = writer->fileInfoAt(AbsTime(kNoon));
  EXPECT_EQ(2, info->clients);
  SeqOfPtr<int*> handles;
  handles.append(a.handle);
  handles.append(b.handle);
  EXPECT_TRUE(writer->releaseHandles(handles));
  EXPECT_EQ(0, info->clients);
  EXPECT_NE(nullptr, info->handle) << "kept open for the next store";
  {
    StderrCapture err;
    EXPECT_FALSE(writer->releaseHandle(nullptr));
    int stranger = 5;
    EXPECT_FALSE(writer->releaseHandle(&stranger));
    SeqOfPtr<int*> bad;
    bad.append(&stranger);
    EXPECT_TRUE(writer->releaseHandles(SeqOfPtr<int*>()));
    EXPECT_FALSE(writer->releaseHandles(bad));
    // A handle of a record with no clients is given back with a complaint;
    // only releaseHandles complains of a bad handle.
    EXPECT_TRUE(writer->releaseHandle(a.handle));
    EXPECT_EQ(
        "BUG: Error releasing handle\nBUG: releasing handle with no clients " +
            fileOf(kNoon) + "\n",
        err.text());
  }
  EXPECT_EXIT(
      {
        NetcdfPointData::disableSyncForWriting();
        Stored s = put("KAPA", kNoon + 30, 7, true);
        info = writer->fileInfoAt(AbsTime(kNoon));
        bool followed = s.handle != nullptr && info->ncFile != nullptr &&
                        *s.handle == info->ncFile->id();
        bool released = writer->releaseHandle(s.handle);
        bool seen = getDoubles(fileOf(kNoon), "temperature") ==
                    std::vector<double>({1, 2, 7});
        exit(followed && released && seen ? 0 : 1);
      },
      ::testing::ExitedWithCode(0), "");
}

// A full disk, as a limit on the size of the files this process writes: a
// store whose index can't reach the disk gives null, and what was written
// stays. The limit is the process's, so the case runs in a child. A
// missing template stops new files only.
TEST_F(WriteRecordTest, AFullDiskOrAMissingTemplateKeepsWhatWasWritten) {
  makeWriter();
  ASSERT_NE(nullptr, put("KDEN", kNoon + 10, 4).handle);
  struct stat status;
  ASSERT_EQ(0, stat(fileOf(kNoon).c_str(), &status));
  EXPECT_EXIT(
      {
        signal(SIGXFSZ, SIG_IGN);
        struct rlimit limit;
        limit.rlim_cur = limit.rlim_max = 1000;  // below the file's size
        setrlimit(RLIMIT_FSIZE, &limit);
        bool refused = true;
        for (int i = 0; i < 5; ++i)
          refused = refused && put("S" + std::to_string(i), kNoon + 20 + i)
                                       .handle == nullptr;
        fprintf(stderr, "refused %d\n", refused);
        exit(0);
      },
      ::testing::ExitedWithCode(0),
      "^(BUG: PANIC!!! Error calling ncsync!!!\n){5}refused 1\n$");
  struct stat after;
  ASSERT_EQ(0, stat(fileOf(kNoon).c_str(), &after));
  EXPECT_EQ(status.st_size, after.st_size);
  EXPECT_EQ("KDEN", getRows(fileOf(kNoon), "stationId")[0]);

  ASSERT_EQ(0, unlink(dir.file("template").c_str()));
  {
    StderrCapture err;
    EXPECT_EQ(nullptr, put("KDEN", kNoon + kHour + 10).handle);
    // Behind what cp and mv say themselves.
    EXPECT_EQ(1, countOf(err.text(),
                         "\nBUG: Template copy command failed.\n"
                         "EVENT: This file was probably purged away\n"));
  }
  // The writer goes on behind its last stored record, and its writes make
  // the table whole again.
  EXPECT_EQ(1, put("KBOU", kNoon + 30).record);
  EXPECT_EQ(std::vector<double>({4, 10}),
            getDoubles(fileOf(kNoon), "temperature"));
  EXPECT_EQ(2, getInts(fileOf(kNoon), "nStaticIds")[0]);
  EXPECT_EQ(std::vector<std::string>({"KBOU", "KDEN"}),
            firstRows(getRows(fileOf(kNoon), "staticIds"), 2));
}

}  // namespace
