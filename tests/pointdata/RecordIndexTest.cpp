#include <gtest/gtest.h>
#include <netcdf.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cmath>
#include <string>
#include <vector>

#include "DataTime.h"
#include "NetcdfPointData.h"
#include "PointFileStructure.h"
#include "PointNetcdfFileInfo.h"
#include "PointStoreFixture.h"
#include "TestSupport.h"

namespace {

// Four reports of three stations, one in each bin, with the index that a
// writer leaves. The times carry a fraction that a read cuts.
const char* const kFourReports =
    "  stationId = \"KDEN\", \"KBOU\", \"KDEN\", \"KAPA\" ;\n"
    "  timeObs = 1717243300.75, 1717244200.75, 1717245200.75, 1717246200.75 ;\n"
    "  latitude = 39.8, 10, 10, 10 ;\n  longitude = -104.7, 20, 20, 20 ;\n"
    "  nStaticIds = 3 ;\n  staticIds = \"KAPA\", \"KBOU\", \"KDEN\" ;\n"
    "  lastRecord = 3, 1, 2 ;\n  inventory = 8, 2, 5 ;\n"
    "  prevRecord = -1, -1, 0, -1 ;\n  isOverflow = 0, 0, 0, 0 ;\n"
    "  firstOverflow = -1 ;\n  globalInventory = 15 ;\n"
    "  firstInBin = 0, 1, 2, 3 ;\n  lastInBin = 0, 1, 2, 3 ;\n";

class RecordIndexTest : public PointStoreFixture {
 protected:
  std::string makeFile(TemplateForm form, const std::string& data,
                       const std::string& name = "20240601_1200") {
    form.data = data;
    std::string path = makeNetcdf(dir, name, templateCdl(form));
    EXPECT_FALSE(path.empty());
    return path;
  }
  // Gives the record its structure, read by `store`, and level 1; then,
  // with a `level`, loads it that far through `ncid` (-1: as a reader).
  bool load(NetcdfPointData& store, PointNetcdfFileInfo& info,
            const std::string& path, int level = 0, int ncid = -1) {
    info.path = path.c_str();
    OpenFile file(path);
    return store.getFileStructure(file.id(), &info) != nullptr &&
           (level == 0 || store.updateFileInfo(ncid, &info, level));
  }
  // The file of the hour from noon, as the newest of its store.
  bool loadNewest(NetcdfPointData& store, PointNetcdfFileInfo& info,
                  const std::string& path) {
    store.setNewestFileRange(AbsTime(kNoon), AbsTime(kNoon + 3599));
    info.refEnd = AbsTime(kNoon + 3599);
    return load(store, info, path, 5);
  }
  static std::string row(const char* table, long r, long width) {
    return std::string(table + r * width);
  }
};

TEST_F(RecordIndexTest, EachLevelLoadsItsTablesOnly) {
  std::string path = makeFile(TemplateForm(), kFourReports);
  NetcdfPointData store(dir.path().c_str(), true, false);
  PointNetcdfFileInfo info;
  OpenFile file(path);
  ASSERT_TRUE(load(store, info, path, 1, file.id()));
  EXPECT_EQ(std::vector<long>({1, 4, 3, 0xF}),
            std::vector<long>({info.level, info.nRecords, info.nStaticIds,
                               info.globalInventory}));
  EXPECT_EQ(nullptr, info.firstInBin);

  ASSERT_TRUE(store.updateFileInfo(file.id(), &info, 2));
  EXPECT_EQ(2, info.level);
  EXPECT_EQ(3, info.lastInBin[3]);
  EXPECT_EQ(nullptr, info.staticIds);

  ASSERT_TRUE(store.updateFileInfo(file.id(), &info, 3));
  EXPECT_EQ(3, info.level);
  EXPECT_EQ("KBOU", row(info.staticIds, 1, 10));
  EXPECT_EQ(2, info.lastRecord[2]);
  EXPECT_EQ(5, info.inventory[2]);
  EXPECT_EQ(nullptr, info.invTime);

  ASSERT_TRUE(store.updateFileInfo(file.id(), &info, 4));
  EXPECT_EQ(4, info.level) << "no overflow: level 4 is all a writer needs";
  EXPECT_EQ(kNoon + 100, info.invTime[0]) << "the time variable, cut";
  EXPECT_EQ(0, info.prevRecord[2]);
  EXPECT_EQ(54, info.capacity) << "the length and a step of maxStaticIds";
  EXPECT_EQ(nullptr, info.recordIds);

  ASSERT_TRUE(store.updateFileInfo(file.id(), &info, 5));
  EXPECT_EQ(5, info.level);
  EXPECT_EQ("KAPA", row(info.recordIds, 3, 10));
  EXPECT_FLOAT_EQ(-104.7f, info.lons[0]);
  EXPECT_EQ(nullptr, info.isOverflow) << "no overflow in this file";

  NetcdfPointData::freeTables(&info);
  EXPECT_EQ(1, info.level);
  EXPECT_EQ(0, info.capacity);
  EXPECT_TRUE(info.firstInBin == nullptr && info.staticIds == nullptr &&
              info.recordIds == nullptr);
  ASSERT_TRUE(store.updateFileInfo(file.id(), &info, 5));
  EXPECT_EQ("KDEN", row(info.recordIds, 2, 10)) << "loaded again";
}

TEST_F(RecordIndexTest, EmptyFileHasNoIndexWhateverTheTemplateHolds) {
  for (bool chars : {false, true}) {
    TemplateForm form;
    form.charInventory = chars;
    std::string path = makeFile(
        form,
        std::string("  nStaticIds = 7 ;\n  firstOverflow = 5 ;\n") +
            (chars ? "  globalInventory = \"1111\" ;\n"
                   : "  globalInventory = 15 ;\n") +
            "  firstInBin = 3, 3, 3, 3 ;\n  lastInBin = 4, 4, 4, 4 ;\n",
        chars ? "chars" : "ints");
    NetcdfPointData reader(dir.path().c_str(), false, false);
    PointNetcdfFileInfo info;
    ASSERT_TRUE(load(reader, info, path));
    EXPECT_EQ(0, info.nStaticIds);
    EXPECT_EQ(-1, info.firstOverflow);
    ASSERT_TRUE(reader.updateFileInfo(-1, &info, 5));
    EXPECT_EQ(5, info.level);
    EXPECT_EQ(0, info.globalInventory);
    for (int b = 0; b < 4; ++b) {
      EXPECT_EQ(-1, info.firstInBin[b]);
      EXPECT_EQ(-1, info.lastInBin[b]);
      EXPECT_TRUE(!chars || info.globalInventoryChars[b] == 0);
    }
    EXPECT_EQ(50, info.capacity);
    EXPECT_NE(nullptr, info.prevRecord) << "ready for the records to come";
    reader.closeFileInfo(&info);
  }
}

TEST_F(RecordIndexTest, AnotherProcessAppendsAndOnlyTheNewRecordsAreRead) {
  std::string path = makeFile(TemplateForm(), kFourReports);
  NetcdfPointData reader(dir.path().c_str(), false, false);
  PointNetcdfFileInfo info;
  ASSERT_TRUE(loadNewest(reader, info, path));
  ASSERT_NE(nullptr, info.handle) << "the reader keeps the file open";
  // Marks in the copy show what is read again.
  info.invTime[0] = 12345;
  info.lastRecord[0] = 99;

  // A writer in another process adds KDEN, chained to its record 2, and
  // KEGE, a new row of the table.
  makeWriter();
  usleep(20000);  // a modification time of its own
  pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    put("KDEN", kNoon + 3100);
    put("KEGE", kNoon + 3200);
    _exit(::testing::Test::HasFailure() ? 1 : 0);
  }
  int status = -1;
  ASSERT_EQ(child, waitpid(child, &status, 0));
  ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);

  ASSERT_TRUE(reader.updateFileInfo(-1, &info, 5));
  EXPECT_EQ(4, info.nRecords) << "not looked at before the next check";

  reader.noteNewDataTime(DataTime(AbsTime(kNoon + 3100)));
  EXPECT_EQ(1u, reader.recentBits());
  ASSERT_TRUE(reader.updateFileInfo(-1, &info, 5));
  EXPECT_EQ(0u, reader.recentBits());
  EXPECT_EQ(std::vector<long>({6, 4, 5}),
            std::vector<long>({info.nRecords, info.nStaticIds,
                               info.lastInBin[3]}));
  EXPECT_EQ("KEGE", row(info.staticIds, 3, 10));
  EXPECT_EQ(3, info.lastRecord[0]) << "the tables are read whole";
  EXPECT_EQ(12345, info.invTime[0]) << "old records aren't read again";
  EXPECT_EQ(kNoon + 3100, info.invTime[4]);
  EXPECT_EQ(2, info.prevRecord[4]);
  EXPECT_EQ("KEGE", row(info.recordIds, 5, 10));
  reader.closeFileInfo(&info);
}

TEST_F(RecordIndexTest, WhatIsReadAgainAndWhatIsTrusted) {
  std::string path = makeFile(TemplateForm(), kFourReports);
  NetcdfPointData reader(dir.path().c_str(), false, false);
  PointNetcdfFileInfo info;
  ASSERT_TRUE(loadNewest(reader, info, path));
  info.lastRecord[0] = 999;
  reader.noteNewDataTime(DataTime(AbsTime(kNoon + 10)));
  ASSERT_TRUE(reader.updateFileInfo(-1, &info, 5));
  EXPECT_EQ(999, info.lastRecord[0]) << "same modification time: no read";
  reader.closeFileInfo(&info);

  TemplateForm uncached;
  uncached.cdlDate = "uncached";
  uncached.globals = "  :cache_metadata = \"false\" ;\n";
  path = makeFile(uncached, kFourReports, "uncached");
  PointNetcdfFileInfo fresh;
  ASSERT_TRUE(load(reader, fresh, path, 5));
  fresh.staticIds[0] = 'X';
  fresh.invTime[1] = 1;
  ASSERT_TRUE(reader.updateFileInfo(-1, &fresh, 3));
  EXPECT_EQ("KAPA", row(fresh.staticIds, 0, 10)) << "a reader reads again";
  EXPECT_EQ(kNoon + 1000, fresh.invTime[1]) << "tables loaded before follow";
  reader.closeFileInfo(&fresh);

  NetcdfPointData store(dir.path().c_str(), true, false);
  PointNetcdfFileInfo own;
  OpenFile file(path);
  ASSERT_TRUE(load(store, own, path, 3, file.id()));
  own.staticIds[0] = 'X';
  ASSERT_TRUE(store.updateFileInfo(file.id(), &own, 3));
  EXPECT_EQ('X', own.staticIds[0]) << "a writer trusts its own tables";
}

// Without a table the records are the index: their ids are positions, in
// each band of lengths, or the texts of their id variables joined.
TEST_F(RecordIndexTest, RecordIdsOfFilesWithoutATable) {
  struct Band {
    long totalIdLen;
    const char* north;    // 90 N, 180 E
    const char* boulder;  // 40 N, 105 W
  };
  NetcdfPointData reader(dir.path().c_str(), false, false);
  for (const Band& b :
       {Band{13, "1b774036ee80", "13d6200b71b0"},
        Band{12, "2bf2057e40", "1fbd0124f8"}, Band{10, "46508ca0", "32c81d4c"},
        Band{7, "708e10", "5142ee"}}) {
    SCOPED_TRACE(b.totalIdLen);
    TemplateForm form;
    form.maxStaticIds = 0;
    form.nBins = 0;
    form.totalIdLen = b.totalIdLen;
    form.idVariables = "latitude,longitude";
    form.cdlDate = std::to_string(b.totalIdLen);
    form.globals = "  :prevRecord = \"none\" ;\n";
    std::string path = makeFile(form,
                                "  latitude = 90, 40, 95, 90 ;\n"
                                "  longitude = 180, -105, 0, 180 ;\n",
                                form.cdlDate);
    PointNetcdfFileInfo info;
    ASSERT_TRUE(load(reader, info, path, 4));
    EXPECT_EQ(5, info.level);
    EXPECT_EQ(b.north, row(info.recordIds, 0, b.totalIdLen));
    EXPECT_EQ(b.boulder, row(info.recordIds, 1, b.totalIdLen));
    EXPECT_EQ("", row(info.recordIds, 2, b.totalIdLen)) << "off the globe";
    EXPECT_EQ(3, NetcdfPointData::findOverflowRecord(b.north, &info));
    reader.closeFileInfo(&info);
  }
  TemplateForm form;
  form.maxStaticIds = 0;
  form.nBins = 0;
  form.totalIdLen = 12;
  form.idVariables = "stationId,network";
  form.dimensions = "  netLen = 3 ;\n";
  form.variables = "  char network(recNum, netLen) ;\n";
  std::string path = makeFile(
      form,
      "  stationId = \"KDEN\", \"ABCDEFGH\", \"KDEN\" ;\n"
      "  network = \"US\", \"XYZ\", \"US\" ;\n  timeObs = 1.5, 2.5, 3.5 ;\n");
  PointNetcdfFileInfo info;
  ASSERT_TRUE(load(reader, info, path, 5));
  EXPECT_EQ(200 + 3, info.capacity) << "no table: steps of 200";
  EXPECT_EQ("KDENUS", row(info.recordIds, 0, 12));
  EXPECT_EQ("ABCDEFGHXYZ", row(info.recordIds, 1, 12));
  EXPECT_EQ(2, NetcdfPointData::findOverflowRecord("KDENUS", &info));
  EXPECT_EQ(2, info.invTime[1]);
  reader.closeFileInfo(&info);

  char id[16];
  char same[16];
  NetcdfPointData::latLonId(40.00001, -105.00001, 13, id);
  NetcdfPointData::latLonId(40.00002, -105.00002, 13, same);
  EXPECT_STREQ(id, same) << "positions that round alike are one station";
  EXPECT_TRUE(NetcdfPointData::latLonId(0.00006, 0, 13, id));
  EXPECT_STREQ("0dbba11b7740", id) << "rounded, not cut";
  EXPECT_FALSE(NetcdfPointData::latLonId(NAN, 0, 13, id));
  EXPECT_FALSE(NetcdfPointData::latLonId(0, -180.5, 13, id));
  EXPECT_FALSE(NetcdfPointData::latLonId(0, 0, 6, id));
  EXPECT_STREQ("", id);
}

TEST_F(RecordIndexTest, ArraysGrowByStepsAndReachTheNewRecords) {
  TemplateForm form;
  form.maxStaticIds = 2;
  std::string path = makeFile(
      form,
      "  stationId = \"KAAA\" ;\n  timeObs = 1717243200 ;\n"
      "  nStaticIds = 1 ;\n  staticIds = \"KAAA\" ;\n  lastRecord = 0 ;\n"
      "  prevRecord = -1 ;\n  isOverflow = 0 ;\n");
  NetcdfPointData store(dir.path().c_str(), true, false);
  PointNetcdfFileInfo info;
  OpenFile file(path);
  ASSERT_TRUE(load(store, info, path, 4, file.id()));
  EXPECT_EQ(3, info.capacity);
  makeWriter(form);
  usleep(20000);  // a modification time of its own
  for (int i = 1; i <= 4; ++i) put("KAAA", kNoon + 10 * i);
  info.nextCheck = AbsTime();  // as if the check interval had passed
  ASSERT_TRUE(store.updateFileInfo(file.id(), &info, 4));
  EXPECT_EQ(std::vector<long>({5, 7}),
            std::vector<long>({info.nRecords, info.capacity}));
  EXPECT_EQ(kNoon, info.invTime[0]) << "the whole file, read again";
  EXPECT_EQ(kNoon + 40, info.invTime[4]);
  EXPECT_EQ(3, info.prevRecord[4]);

  form.maxStaticIds = 500;
  form.cdlDate = "wide";
  path = makeFile(form, kFourReports, "wide");
  PointNetcdfFileInfo large;
  OpenFile wide(path);
  ASSERT_TRUE(load(store, large, path, 4, wide.id()));
  EXPECT_EQ(204, large.capacity) << "steps of at most 200";
}

TEST_F(RecordIndexTest, RecentBitsAndTheSpacingOfChecks) {
  NetcdfPointData store(dir.path().c_str(), false, false);
  AbsTime start(kNoon);
  store.setNewestFileRange(start, start + 3599);
  for (long t : {100L, -3595L, -40 * 3600L})
    store.noteNewDataTime(DataTime(start + t));
  EXPECT_EQ(0x3u, store.recentBits()) << "the newest and the one before";
  store.noteNewDataTime(DataTime(start + 7200));
  EXPECT_EQ(start + 7200, store.newestNotedTime()) << "a file yet to be found";
  EXPECT_EQ(0x3u, store.recentBits());
  store.noteNewDataTime(DataTime(start));
  EXPECT_EQ(start + 7200, store.newestNotedTime()) << "only raised";
  // The bits follow the newest file.
  const std::pair<long, unsigned> moves[] = {
      {3600, 0x6u}, {0, 0x3u}, {40 * 3600, 0u}};
  for (const auto& m : moves) {
    store.setNewestFileRange(start + m.first, start + m.first + 3599);
    EXPECT_EQ(m.second, store.recentBits()) << m.first;
  }

  std::string path = makeFile(TemplateForm(), kFourReports);
  store.setNewestFileRange(start + 7200, start + 10799);
  for (auto c : {std::make_pair(10799L, 60L), std::make_pair(7199L, 300L),
                 std::make_pair(3599L, 1500L)}) {
    PointNetcdfFileInfo info;
    ASSERT_TRUE(load(store, info, path));
    info.refEnd = start + c.first;
    AbsTime before = AbsTime::now();
    ASSERT_TRUE(store.updateFileInfo(-1, &info, 1));
    EXPECT_GE(info.nextCheck - before, c.second);
    EXPECT_LE(info.nextCheck - before, c.second + 2);
    store.closeFileInfo(&info);
  }
}

TEST_F(RecordIndexTest, BrokenFilesAreLoggedNeverTrusted) {
  NetcdfPointData reader(dir.path().c_str(), false, false);
  PointNetcdfFileInfo info;
  ASSERT_TRUE(load(reader, info, makeFile(TemplateForm(), kFourReports)));
  std::string garbage = dir.file("garbage");
  writeFile(garbage, "CDF\001 but nothing that follows makes sense");
  info.path = garbage.c_str();
  StderrCapture open;
  EXPECT_FALSE(reader.updateFileInfo(-1, &info, 1));
  EXPECT_EQ("PROBLEM: Could not open " + garbage + " in getFileInfoNcFile\n",
            open.text());
  info.path = dir.file("gone").c_str();
  info.nextCheck = AbsTime();
  StderrCapture gone;
  EXPECT_FALSE(reader.updateFileInfo(-1, &info, 1));
  EXPECT_EQ("PROBLEM: Could not stat netcdf file:" + dir.file("gone") + "\n",
            gone.text());
  PointNetcdfFileInfo bare;
  StderrCapture none;
  EXPECT_FALSE(reader.updateFileInfo(-1, &bare, 1));
  EXPECT_EQ(
      "BUG: This file info structure does not have file structure data.\n",
      none.text());

  // An index variable of another type than the index needs.
  TemplateForm ints;
  ints.cdlDate = "ints";
  ints.omit = {"staticIds"};
  ints.variables = "  int staticIds(maxStaticIds, totalIdLen) ;\n";
  std::string path = makeFile(ints, "  stationId = \"x\" ;\n", "ints");
  NetcdfPointData store(dir.path().c_str(), true, false);
  PointNetcdfFileInfo typed;
  OpenFile file(path);
  ASSERT_TRUE(load(store, typed, path));
  StderrCapture type;
  EXPECT_FALSE(store.updateFileInfo(file.id(), &typed, 3));
  EXPECT_EQ("PROBLEM: unable to read staticIds\n", type.text());
}

TEST_F(RecordIndexTest, DamagedIndexNeverLeadsOutsideTheTables) {
  // A count beyond the table, a row without its NUL, chains that don't
  // lead to older records.
  std::string data = kFourReports;
  data.replace(data.find("nStaticIds = 3"), 14, "nStaticIds = 1000");
  data.replace(data.find("prevRecord = -1, -1, 0, -1"), 26,
               "prevRecord = 0, 5, 0, -7");
  data.replace(data.find("\"KDEN\" ;\n  lastRecord"), 6, "\"ZZZZZZZZZZ\"");
  TemplateForm form;
  form.maxStaticIds = 3;
  std::string path = makeFile(form, data);
  NetcdfPointData reader(dir.path().c_str(), false, false);
  PointNetcdfFileInfo info;
  ASSERT_TRUE(load(reader, info, path));
  EXPECT_EQ(3, info.nStaticIds) << "held at the table's edge";
  ASSERT_TRUE(reader.updateFileInfo(-1, &info, 5));
  EXPECT_EQ("ZZZZZZZZZ", row(info.staticIds, 2, 10));
  EXPECT_EQ(-1, NetcdfPointData::findStaticId("ZZZZZZZZZZZZ", &info));
  const int chains[] = {-1, -1, 0, -1};
  for (int r = 0; r < 4; ++r) EXPECT_EQ(chains[r], info.prevRecord[r]);
  reader.closeFileInfo(&info);

  // Records that a file claims but doesn't hold read as zeros.
  struct stat status;
  ASSERT_EQ(0, stat(path.c_str(), &status));
  ASSERT_EQ(0, truncate(path.c_str(), status.st_size - 40));
  PointNetcdfFileInfo cut;
  ASSERT_TRUE(load(reader, cut, path, 5));
  for (long r = 0; r < cut.nRecords; ++r)
    EXPECT_TRUE(cut.prevRecord[r] < r && cut.prevRecord[r] >= -1);
  reader.closeFileInfo(&cut);

  // Cut inside the header: whichever read meets the cut fails.
  ASSERT_EQ(0, truncate(path.c_str(), 64));
  PointNetcdfFileInfo header;
  header.path = path.c_str();
  header.structure = info.structure;
  StderrCapture err;
  EXPECT_FALSE(reader.updateFileInfo(-1, &header, 1));
  EXPECT_EQ(0u, err.text().find("PROBLEM: ")) << err.text();
  EXPECT_NE(std::string::npos, err.text().find(path));
  reader.closeFileInfo(&header);
}

}  // namespace
