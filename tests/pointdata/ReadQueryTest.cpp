#include <gtest/gtest.h>
#include <netcdf.h>
#include <netcdfcpp.h>

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "DataTime.h"
#include "NetcdfPointData.h"
#include "PointNetcdfFileInfo.h"
#include "PointStoreFixture.h"
#include "RecordSet.h"
#include "TimeRange.h"

namespace {

std::vector<long> seconds(const SeqOf<AbsTime>& times) {
  std::vector<long> out;
  for (int i = 0; i < times.length(); ++i) out.push_back(times.at(i).seconds());
  return out;
}
template <class T>
std::vector<T> values(const SeqOf<T>& seq) {
  std::vector<T> out;
  for (int i = 0; i < seq.length(); ++i) out.push_back(seq.at(i));
  return out;
}
std::vector<std::string> texts(const SeqOf<TextString>& seq) {
  std::vector<std::string> out;
  for (int i = 0; i < seq.length(); ++i) out.push_back(seq.at(i).chars());
  return out;
}
TimeRange span(long from, long to) { return TimeRange(AbsTime(from), AbsTime(to)); }

class ReadQueryTest : public PointStoreFixture {
 protected:
  // Two stations over three hourly files of four bins of 900 seconds.
  void storeStations() {
    makeWriter();
    putAtStation("KDEN", kNoon + 100, 39.8f, -104.7f);
    putAtStation("KBOU", kNoon + 200, 40.0f, -105.3f);
    putAtStation("KDEN", kNoon + 1000, 39.8f, -104.7f);
    putAtStation("KDEN", kNoon + kHour + 2000, 39.8f, -104.7f);
    putAtStation("KBOU", kNoon + 2 * kHour + 3000, 40.0f, -105.3f);
    ASSERT_FALSE(put("KDEN", kNoon + 100).isNew);  // a rewrite adds nothing
  }
  void putAtStation(const std::string& id, long time, float lat, float lon) {
    Stored s = put(id, time, 10, true);
    ASSERT_NE(nullptr, s.handle);
    size_t at = static_cast<size_t>(s.record);
    int var = -1;
    ASSERT_EQ(NC_NOERR, nc_inq_varid(*s.handle, "latitude", &var));
    ASSERT_EQ(NC_NOERR, nc_put_var1_float(*s.handle, var, &at, &lat));
    ASSERT_EQ(NC_NOERR, nc_inq_varid(*s.handle, "longitude", &var));
    ASSERT_EQ(NC_NOERR, nc_put_var1_float(*s.handle, var, &at, &lon));
    ASSERT_TRUE(writer->releaseHandle(s.handle));
  }
  NetcdfPointData& makeReader() {
    reader.reset(new NetcdfPointData(dir.path().c_str(), false, false));
    reader->setCheckInterval(0);
    return *reader;
  }
  std::unique_ptr<NetcdfPointData> reader;
};

// Inventories answer from the index; an earlier result is extended by
// what came since.
TEST_F(ReadQueryTest, InventoriesAnswerFromTheIndex) {
  storeStations();
  NetcdfPointData& r = makeReader();
  using Times = SeqOf<DataTime>;
  const long h1 = kNoon + kHour;
  const long h2 = kNoon + 2 * kHour;
  struct Case {
    const char* what;
    std::function<bool(Times&)> query;
    std::vector<long> expected;
  } cases[] = {
      {"id, exact", [&](Times& t) { return r.idInventory("KDEN", t, -1); },
       {kNoon + 100, kNoon + 1000, h1 + 2000}},
      {"id, bins", [&](Times& t) { return r.idInventory("KDEN", t, 0); },
       {kNoon, kNoon + 900, h1 + 1800}},
      {"id, 30 s acts as a bin",
       [&](Times& t) { return r.idInventory("KDEN", t, 30); },
       {kNoon, kNoon + 900, h1 + 1800}},
      {"id, hours", [&](Times& t) { return r.idInventory("KDEN", t, 3600); },
       {kNoon, h1}},
      {"id, exact, range",
       [&](Times& t) {
         return r.idInventory("KDEN", span(kNoon + 500, h1), t, -1);
       },
       {kNoon + 1000}},
      {"unknown id", [&](Times& t) { return r.idInventory("KXXX", t, -1); },
       {}},
      {"all, exact", [&](Times& t) { return r.inventory(t, -1); },
       {kNoon + 100, kNoon + 200, kNoon + 1000, h1 + 2000, h2 + 3000}},
      {"all, bins", [&](Times& t) { return r.inventory(t, 0); },
       {kNoon + 0, kNoon + 900, h1 + 1800, h2 + 2700}},
      {"all, bins, range",
       [&](Times& t) { return r.inventory(span(h1, h1 + 3599), t, 0); },
       {h1 + 1800}},
      {"all, a range that misses every file",
       [&](Times& t) {
         return r.inventory(span(kNoon - 9000, kNoon - 8000), t, -1);
       },
       {}},
  };
  for (const Case& c : cases) {
    Times times;
    times.append(DataTime(AbsTime(5)));  // the output is emptied first
    EXPECT_TRUE(c.query(times)) << c.what;
    EXPECT_EQ(c.expected, validTimes(times)) << c.what;
    for (int i = 0; i < times.length(); ++i)
      EXPECT_EQ(768u, times.at(i).flags()) << c.what;
  }
  using Abs = SeqOf<AbsTime>;
  struct AbsCase {
    const char* what;
    std::function<bool(Abs&)> query;
    std::vector<long> expected;
  } absCases[] = {
      {"id, files", [&](Abs& t) { return r.idTimes("KBOU", t, 0); },
       {kNoon, h2}},
      {"id, exact", [&](Abs& t) { return r.idTimes("KBOU", t, -1); },
       {kNoon + 200, h2 + 3000}},
      {"all, files", [&](Abs& t) { return r.allTimes(t, 0); },
       {kNoon, h1, h2}},
      {"all, by names", [&](Abs& t) { return r.allTimes(t, 7200); },
       {kNoon, h2}},
      {"all, exact, range",
       [&](Abs& t) {
         return r.allTimes(span(kNoon + 150, h1 + 2000), t, -1);
       },
       {kNoon + 200, kNoon + 1000, h1 + 2000}},
  };
  for (const AbsCase& c : absCases) {
    Abs times;
    EXPECT_TRUE(c.query(times)) << c.what;
    EXPECT_EQ(c.expected, seconds(times)) << c.what;
  }
  Times none;
  EXPECT_FALSE(r.inventory(span(kNoon, kNoon), none, 0)) << "an empty range";

  // Within the second of its last look a reader learns of new data by the
  // notification.
  Times before, after, fresh;
  ASSERT_TRUE(makeReader().inventory(before, -1));
  putAtStation("KAPA", h2 + 60, 39.6f, -104.8f);
  reader->noteNewDataTime(DataTime(AbsTime(h2 + 60)));
  ASSERT_TRUE(reader->inventory(before, after, -1));
  std::vector<long> expected = validTimes(before);
  expected.insert(expected.end() - 1, h2 + 60);
  EXPECT_EQ(expected, validTimes(after));
  ASSERT_TRUE(makeReader().inventory(fresh, -1));
  EXPECT_EQ(validTimes(fresh), validTimes(after));
}

// A fresh reader's first question of an id in a file reads the id's row,
// and for exact times its records, from the file; the next loads the
// file's tables; a chain too long for the first way is read by the tables
// at once. Both ways give the same answers for ids at either end of the
// table, inside it, between rows and outside it, from int and from char
// inventories, and a reader holds no NcFile until a caller asks for one.
TEST_F(ReadQueryTest, FirstQuestionsReadTheFileLaterOnesItsTables) {
  TempDir chars;
  for (const TempDir* in : {&dir, &chars}) {
    TemplateForm form;
    form.charInventory = in == &chars;
    ASSERT_FALSE(makeNetcdf(*in, "template", templateCdl(form)).empty());
    writer.reset(new NetcdfPointData(in->path().c_str(), true, false));
    std::map<std::string, std::vector<long>> stored;
    for (long i = 0; i < 140; ++i) {
      std::string id = i % 2 ? "S" + std::to_string(i / 2 % 7) : "LONG";
      stored[id].push_back(kNoon + i * 25 + 5);
      ASSERT_NE(nullptr, put(id, stored[id].back()).handle);
    }
    for (int quantum : {-1, 0}) {
      for (const char* id : {"LONG", "S0", "S3", "S6", "S35", "A", "Z"}) {
        NetcdfPointData r(in->path().c_str(), false, false);
        PointNetcdfFileInfo* info = r.fileInfoAt(AbsTime(kNoon));
        ASSERT_NE(nullptr, info);
        bool longChain = quantum < 0 && std::string(id) == "LONG";
        SeqOf<DataTime> first, later;
        ASSERT_TRUE(r.idInventory(id, first, quantum));
        EXPECT_EQ(longChain ? 4 : 1, info->level) << id << quantum;
        ASSERT_TRUE(r.idInventory(id, later, quantum));
        EXPECT_EQ(quantum < 0 ? 4 : 3, info->level) << id << quantum;
        EXPECT_EQ(validTimes(later), validTimes(first)) << id << quantum;
        auto held = stored.find(id);
        std::vector<long> expected;
        if (held != stored.end()) expected = held->second;
        if (quantum < 0)
          EXPECT_EQ(expected, validTimes(first)) << id;
        else
          EXPECT_EQ(expected.empty() ? 0 : 4, first.length()) << id;
        EXPECT_EQ(nullptr, info->ncFile);
      }
    }
  }
  NetcdfPointData& r = makeReader();
  int base = NetcdfPointData::fileOpenCount();
  SeqOfPtr<int*> handles;
  ASSERT_TRUE(r.handlesForRange(span(kNoon, kNoon + 600), handles));
  ASSERT_EQ(1, handles.length());
  NcFile* file = r.ncFileOf(handles[0]);
  ASSERT_NE(nullptr, file);
  EXPECT_TRUE(file->is_valid());
  EXPECT_EQ(file, r.ncFileOf(handles[0]));
  EXPECT_NE(nullptr, file->get_var("temperature"));
  EXPECT_EQ(base + 1, NetcdfPointData::fileOpenCount()) << "beside the id";
  EXPECT_TRUE(r.releaseHandles(handles));
  reader.reset();
  EXPECT_EQ(base - 1, NetcdfPointData::fileOpenCount()) << "all closed";
}

TEST_F(ReadQueryTest, RecordsOfARangeInOneFile) {
  storeStations();
  NetcdfPointData& r = makeReader();
  SeqOfPtr<int*> handles;
  ASSERT_TRUE(r.handlesForRange(span(kNoon, kNoon + 1800), handles));
  ASSERT_EQ(1, handles.length());
  int* h = handles[0];
  EXPECT_TRUE(r.handleIsValid(h));
  EXPECT_EQ(TextString("20240601_1200"), r.fileTimeStamp(h));
  // Records 0 KDEN@100 and 1 KBOU@200 in bin 0, 2 KDEN@1000 in bin 1.
  long first = -1, count = -1;
  EXPECT_TRUE(r.recordSpanInRange(span(kNoon + 900, kNoon + 1799), h, first, count));
  EXPECT_EQ(2, first);
  EXPECT_EQ(1, count);
  SeqOf<int> records;
  EXPECT_TRUE(r.recordsInRange(span(kNoon, kNoon + 150), h, records));
  EXPECT_EQ(std::vector<int>({0}), values(records));
  EXPECT_TRUE(r.recordsOfIdInRange("KDEN", span(kNoon, kNoon + 3599), h, records));
  EXPECT_EQ(std::vector<int>({0, 2}), values(records));
  SeqOf<TextString> ids;
  EXPECT_TRUE(r.idsInRange(span(kNoon, kNoon + 899), h, ids, first, count));
  EXPECT_EQ(std::vector<std::string>({"KBOU", "KDEN"}), texts(ids));
  EXPECT_EQ(0, first);
  EXPECT_EQ(2, count);
  ids.setLength(0);
  EXPECT_TRUE(r.idsOfRecords(h, 0, 3, ids));
  EXPECT_EQ(std::vector<std::string>({"KDEN", "KBOU", "KDEN"}), texts(ids));
  SeqOf<long> times;
  EXPECT_TRUE(r.timesOfRecords(h, 1, 2, times));
  EXPECT_EQ(std::vector<long>({kNoon + 200, kNoon + 1000}), values(times));

  // A set of the range: the span of bins 0 and 1, cut at its ends.
  RecordSet* set = nullptr;
  ASSERT_TRUE(r.recordSetInRange(span(kNoon + 150, kNoon + 1200), h, set));
  std::unique_ptr<RecordSet> owned(set);
  EXPECT_EQ(std::vector<int>({1}), values(set->firstRecords));
  EXPECT_EQ(std::vector<int>({2}), values(set->recordCounts));
  EXPECT_EQ(std::vector<std::string>({"KBOU", "KDEN"}), texts(set->ids));
  EXPECT_EQ(std::vector<long>({kNoon + 200, kNoon + 1000}), values(set->times));
  EXPECT_EQ(std::vector<float>({40.0f, 39.8f}), values(set->lats));
  // The records of an id go in front, as runs of adjoining records.
  ASSERT_TRUE(r.recordSetForId("KDEN", span(kNoon, kNoon + 3599), h, set));
  EXPECT_EQ(std::vector<int>({0, 2, 1}), values(set->firstRecords));
  EXPECT_EQ(std::vector<int>({1, 1, 2}), values(set->recordCounts));
  EXPECT_EQ(4, set->recordCount());
  float lats[2], lons[2];
  SeqOf<int> firsts, counts;
  firsts.append(1);
  counts.append(2);
  ASSERT_TRUE(r.positionsOfRecords(handles, firsts, counts, lats, lons));
  EXPECT_EQ(-105.3f, lons[0]);
  EXPECT_EQ(-104.7f, lons[1]);

  // The current file answers for positions.
  ASSERT_TRUE(r.setFileIndex(2));
  float where[2] = {39.81f, -104.71f};
  float km = 0;
  EXPECT_EQ(TextString("KDEN"), r.nearestId(where, 50, km));
  EXPECT_EQ(39.8f, where[0]);
  EXPECT_GT(2.0f, km);
  float exactly[2] = {40.0f, -105.2f};
  EXPECT_EQ(TextString(), r.nearestId(exactly, 0, km)) << "radius 0";
  TextString id = "kbou";
  r.positionOfId(id, true, where);
  EXPECT_EQ(TextString("KBOU"), id);
  EXPECT_EQ(40.0f, where[0]);
  id = "KXXX";
  r.positionOfId(id, true, where);
  EXPECT_EQ(1e12f, where[0]);

  SeqOf<int> varIds, dims;
  int type = 0;
  ASSERT_TRUE(r.variableDescription("stationId", handles, varIds, type, dims));
  EXPECT_EQ(NC_CHAR, type);
  EXPECT_EQ(std::vector<int>({8}), values(dims));
  EXPECT_FALSE(r.variableDescription("nothing", handles, varIds, type, dims));

  // Bad handles and ranges are refused with their reasons.
  int stray = 0;
  struct Bad {
    std::function<bool()> call;
    std::string log;
  } bad[] = {
      {[&] { return r.recordSpanInRange(span(kNoon, kNoon + 9), &stray, first, count); },
       "PROBLEM: Could not find file that handle refers to\n"},
      {[&] { return r.recordSetInRange(span(kNoon, kNoon + 9), &stray, set); },
       "PROBLEM: Could not find file handle that refers to\n"},
      {[&] { return r.recordsInRange(span(kNoon - 900, kNoon - 1), h, records); },
       "PROBLEM: input time range does not overlap file period\n"},
      {[&] { return r.recordsOfIdInRange("KXXX", span(kNoon, kNoon + 9), h, records); },
       "PROBLEM: Id KXXX not present \n"},
      {[&] { return r.recordSetInRange(span(kNoon + 300, kNoon + 900), h, set); },
       "PROBLEM: No records with times in valid range\n"},
      {[&] { return r.idsOfRecords(h, 2, 5, ids); },
       "PROBLEM: Range of records does not exist in file.\n"},
  };
  for (const Bad& b : bad) {
    StderrCapture err;
    EXPECT_FALSE(b.call());
    EXPECT_EQ(b.log, err.text());
  }
  EXPECT_TRUE(r.releaseHandles(handles));
  EXPECT_FALSE(r.releaseHandle(&stray));
}

TEST_F(ReadQueryTest, AnIdThatOnlyOverflowedIsFound) {
  TemplateForm form;
  form.maxStaticIds = 2;
  makeWriter(form);
  put("A", kNoon + 100);
  put("B", kNoon + 200);
  {
    StderrCapture overflow;  // the store reports the full table
    put("C", kNoon + 1000);
    put("C", kNoon + 2000);
  }
  NetcdfPointData& r = makeReader();
  SeqOf<DataTime> times;
  ASSERT_TRUE(r.idInventory("C", times, -1));
  EXPECT_EQ(std::vector<long>({kNoon + 1000, kNoon + 2000}), validTimes(times));
  ASSERT_TRUE(r.idInventory("C", times, 900));
  EXPECT_EQ(std::vector<long>({kNoon + 900, kNoon + 1800}), validTimes(times));
  SeqOfPtr<int*> handles;
  ASSERT_TRUE(r.handlesForId("C", span(kNoon + 1500, kNoon + 2500), handles));
  ASSERT_EQ(1, handles.length());
  SeqOf<TextString> ids;
  long first = 0, count = 0;
  ASSERT_TRUE(r.idsInRange(span(kNoon + 1800, kNoon + 2699), handles[0], ids,
                           first, count));
  EXPECT_EQ(std::vector<std::string>({"C"}), texts(ids));
  ASSERT_TRUE(r.idsInRange(span(kNoon, kNoon + 899), handles[0], ids, first, count));
  EXPECT_EQ(std::vector<std::string>({"A", "B"}), texts(ids));
  EXPECT_TRUE(r.releaseHandles(handles));
  SeqOfPtr<int*> none;
  ASSERT_TRUE(r.handlesForId("C", span(kNoon, kNoon + 900), none));
  EXPECT_EQ(0, none.length());
}

}  // namespace
