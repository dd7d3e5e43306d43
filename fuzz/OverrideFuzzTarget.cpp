// Feeds arbitrary text to the override list of the point store: the
// "template.override" of a directory of two hourly files of stations, and
// the ".override" of one of them read as a static file. A reader made over
// each asks every query it has. Whatever the overrides say of the sizes
// and forms of the files, each query answers, nothing reads or writes
// outside its arrays, and no array is sized beyond what the files hold.
#include <stdlib.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "AbsTime.h"
#include "DataTime.h"
#include "NetcdfPointData.h"
#include "RecordSet.h"
#include "SeqOf.h"
#include "TextTablesFuzz.h"
#include "TimeRange.h"

namespace {

const long kNoon = 1717243200;  // 1 June 2024, 12:00 GMT
const long kHour = 3600;
const char* const kFiles[] = {"20240601_1200", "20240601_1300"};

// Room for four stations: the fifth overflows.
const char* const kTemplate =
    "netcdf stations {\n"
    "dimensions:\n"
    "  recNum = UNLIMITED ;\n  maxStaticIds = 4 ;\n  totalIdLen = 8 ;\n"
    "  nInventoryBins = 4 ;\n  stnLen = 6 ;\n"
    "variables:\n"
    "  int nStaticIds ;\n  char staticIds(maxStaticIds, totalIdLen) ;\n"
    "  int lastRecord(maxStaticIds) ;\n  int firstOverflow ;\n"
    "  int isOverflow(recNum) ;\n  int prevRecord(recNum) ;\n"
    "  int inventory(maxStaticIds) ;\n  int globalInventory ;\n"
    "  int firstInBin(nInventoryBins) ;\n  int lastInBin(nInventoryBins) ;\n"
    "  char stationId(recNum, stnLen) ;\n  double timeObs(recNum) ;\n"
    "  float latitude(recNum) ;\n  float longitude(recNum) ;\n"
    "  float temperature(recNum) ;\n"
    "  :cdlDate = \"20240601\" ;\n  :idVariables = \"stationId\" ;\n"
    "  :timeVariables = \"timeObs\" ;\n  :filePeriod = 3600 ;\n"
    "  :fileEndOffset = 3599 ;\n"
    "}\n";

// The directory, made once: the template, and records of five stations
// stored through the store into the two files.
std::string makeDirectory() {
  std::string dir = TextTablesFuzz::instance().directory() + "/set";
  if (system(("mkdir -p '" + dir + "'").c_str()) != 0) abort();
  TextTablesFuzz::instance().write("set/template.cdl", kTemplate);
  std::string make =
      "ncgen -o '" + dir + "/template' '" + dir + "/template.cdl'";
  if (system(make.c_str()) != 0) abort();
  for (const char* name : kFiles) {
    std::string copy = "cp '" + dir + "/template' '" + dir + "/" + name + "'";
    if (system(copy.c_str()) != 0) abort();
  }
  NetcdfPointData writer(dir.c_str(), true, false);
  for (int i = 0; i < 20; ++i) {
    SeqOf<TextString> ids;
    ids.append(("S" + std::to_string(i % 5)).c_str());
    SeqOf<double> times;
    times.append(kNoon + i * 350);
    long record = 0;
    bool isNew = false;
    int* handle = writer.getFileHandleAndRecord(ids, times, record, isNew);
    if (handle == nullptr) abort();
    writer.releaseHandle(handle);
  }
  return dir;
}

void readRecords(NetcdfPointData& reader, const TimeRange& range) {
  SeqOfPtr<int*> handles;
  reader.handlesForRange(range, handles);
  RecordSet* set = nullptr;
  SeqOf<int> firsts, counts;
  for (int i = 0; i < handles.length(); ++i) {
    int* h = handles[i];
    reader.recordSetInRange(range, h, set);
    reader.recordSetForId("S1", range, h, set);
    SeqOf<TextString> ids;
    long first = 0, count = 0;
    reader.idsInRange(range, h, ids, first, count);
    reader.recordSpanInRange(range, h, first, count);
    SeqOf<int> records;
    reader.recordsInRange(range, h, records);
    reader.recordsOfIdInRange("S4", range, h, records);
    reader.idsOfRecords(h, 0, 3, ids);
    SeqOf<long> times;
    reader.timesOfRecords(h, 0, 3, times);
    bool hasForecasts = false;
    AbsTime fileTime;
    reader.forecastIndex(h, AbsTime(kNoon + 100), hasForecasts, fileTime);
    firsts.append(0);
    counts.append(2);
  }
  std::vector<float> lats(2 * handles.length() + 1), lons(lats.size());
  reader.positionsOfRecords(handles, firsts, counts, lats.data(), lons.data());
  SeqOf<int> varIds, dims;
  int type = 0;
  reader.variableDescription("temperature", handles, varIds, type, dims);
  delete set;
  reader.releaseHandles(handles);
}

void askEverything(NetcdfPointData& reader) {
  TimeRange day(AbsTime(kNoon - kHour), AbsTime(kNoon + 3 * kHour));
  TimeRange part(AbsTime(kNoon + 1000), AbsTime(kNoon + kHour + 1000));
  // A newest file that the overrides make unreadable costs each query a
  // pause of a second in each of its passes, as it should: it is asked
  // once, not for every query.
  auto start = std::chrono::steady_clock::now();
  SeqOf<DataTime> first;
  reader.idInventory("S0", first, -1);
  if (std::chrono::steady_clock::now() - start > std::chrono::seconds(1))
    return;
  for (int quantum : {-1, 0, 900, 7200}) {
    SeqOf<DataTime> dataTimes;
    reader.idInventory("S1", dataTimes, quantum);
    reader.idInventory("S4", part, dataTimes, quantum);
    reader.inventory(dataTimes, quantum);
    reader.inventory(part, dataTimes, quantum);
    SeqOf<AbsTime> absTimes;
    reader.idTimes("S2", absTimes, quantum);
    reader.allTimes(part, absTimes, quantum);
  }
  readRecords(reader, day);
  readRecords(reader, part);
  SeqOfPtr<int*> handles;
  reader.handlesForId("S3", part, handles);
  reader.releaseHandles(handles);
  float latLon[2] = {40.0f, -105.0f};
  float distance = 0;
  reader.nearestId(latLon, 500.0f, distance);
  TextString id("s1");
  reader.positionOfId(id, true, latLon);
  reader.forecastTimes();
  reader.timeVariableNames();
  reader.idVariableNames();
  reader.setFileIndex(1);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const std::string dir = makeDirectory();
  std::string text(reinterpret_cast<const char*>(data), size);
  TextTablesFuzz& tables = TextTablesFuzz::instance();
  tables.write("set/template.override", text);
  tables.write(("set/" + std::string(kFiles[0]) + ".override").c_str(), text);
  {
    NetcdfPointData reader(dir.c_str(), false, false);
    askEverything(reader);
  }
  {
    NetcdfPointData file((dir + "/" + kFiles[0]).c_str(), false, true);
    askEverything(file);
  }
  return 0;
}
