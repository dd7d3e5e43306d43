// The reader's side of the point store over a day of hourly files of
// 1 000 stations each: the inventories and range reads through the index,
// in a fresh process (cold: the picture, the structures and the tables
// are all read) and again in the same process (warm), against the same
// answer got by scanning the data variables with plain netCDF calls.
#include <netcdf.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "AbsTime.h"
#include "DataTime.h"
#include "NetcdfPointData.h"
#include "RecordSet.h"
#include "SeqOf.h"
#include "TextString.h"
#include "TimeRange.h"

namespace {

using Clock = std::chrono::steady_clock;

const int kFiles = 24;
const int kStations = 1000;
// Reports of each station in each hour, one every quarter of an hour.
const int kReportsPerHour = 4;
const long kStart = 1717200000;  // 1 June 2024, 00:00 GMT
const long kPeriod = 3600;
const int kWarmRounds = 200;
const int kColdRuns = 7;
const char* const kStation = "S0421";

const char* const kTemplate =
    "netcdf stations {\n"
    "dimensions:\n"
    "  recNum = UNLIMITED ;\n  maxStaticIds = 1200 ;\n  totalIdLen = 8 ;\n"
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

double secondsSince(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

std::string stationName(int s) {
  char name[8];
  snprintf(name, sizeof name, "S%04d", s);
  return name;
}

// The day's files made from the template first, so that the store finds
// them and doesn't wait a second for each; then the reports of each
// station in each quarter hour, stations in turn through the quarter.
bool makeDirectory(const std::string& dir) {
  std::string cdl = dir + "/template.cdl";
  FILE* f = fopen(cdl.c_str(), "w");
  if (f == nullptr) return false;
  fputs(kTemplate, f);
  fclose(f);
  std::string command = "ncgen -o '" + dir + "/template' '" + cdl + "'";
  if (system(command.c_str()) != 0) return false;
  for (int h = 0; h < kFiles; ++h) {
    std::string name = AbsTime(kStart + h * kPeriod).format("%Y%m%d_%H%M").chars();
    command = "cp '" + dir + "/template' '" + dir + "/" + name + "'";
    if (system(command.c_str()) != 0) return false;
  }
  NetcdfPointData writer(dir.c_str(), true, false);
  const long quarter = kPeriod / kReportsPerHour;
  for (int h = 0; h < kFiles; ++h) {
    for (int q = 0; q < kReportsPerHour; ++q) for (int s = 0; s < kStations; ++s) {
      SeqOf<TextString> ids;
      ids.append(stationName(s).c_str());
      SeqOf<double> times;
      times.append(kStart + h * kPeriod + q * quarter +
                   (s * (quarter - 1)) / kStations);
      long record = 0;
      bool isNew = false;
      int* handle = writer.getFileHandleAndRecord(ids, times, record, isNew);
      if (handle == nullptr) return false;
      writer.releaseHandle(handle);
    }
  }
  return true;
}

// A station's times by scanning the id and time variables of every file.
std::vector<long> scanStationTimes(const std::string& dir) {
  std::vector<long> times;
  for (int h = 0; h < kFiles; ++h) {
    std::string path =
        dir + "/" + AbsTime(kStart + h * kPeriod).format("%Y%m%d_%H%M").chars();
    int ncid = -1, idVar = -1, timeVar = -1, recDim = -1;
    size_t records = 0, width = 0;
    int dims[2];
    if (nc_open(path.c_str(), NC_NOWRITE, &ncid) != NC_NOERR) continue;
    if (nc_inq_unlimdim(ncid, &recDim) == NC_NOERR &&
        nc_inq_dimlen(ncid, recDim, &records) == NC_NOERR &&
        nc_inq_varid(ncid, "stationId", &idVar) == NC_NOERR &&
        nc_inq_varid(ncid, "timeObs", &timeVar) == NC_NOERR &&
        nc_inq_vardimid(ncid, idVar, dims) == NC_NOERR &&
        nc_inq_dimlen(ncid, dims[1], &width) == NC_NOERR && records > 0) {
      std::vector<char> ids(records * width);
      std::vector<double> obs(records);
      if (nc_get_var_text(ncid, idVar, ids.data()) == NC_NOERR &&
          nc_get_var_double(ncid, timeVar, obs.data()) == NC_NOERR) {
        for (size_t r = 0; r < records; ++r)
          if (strncmp(ids.data() + r * width, kStation, width) == 0)
            times.push_back(static_cast<long>(obs[r]));
      }
    }
    nc_close(ncid);
  }
  return times;
}

// Every data time of the day by reading the time variable of every file.
long scanAllTimes(const std::string& dir) {
  std::vector<long> all;
  for (int h = 0; h < kFiles; ++h) {
    std::string path =
        dir + "/" + AbsTime(kStart + h * kPeriod).format("%Y%m%d_%H%M").chars();
    int ncid = -1, timeVar = -1, recDim = -1;
    size_t records = 0;
    if (nc_open(path.c_str(), NC_NOWRITE, &ncid) != NC_NOERR) continue;
    if (nc_inq_unlimdim(ncid, &recDim) == NC_NOERR &&
        nc_inq_dimlen(ncid, recDim, &records) == NC_NOERR &&
        nc_inq_varid(ncid, "timeObs", &timeVar) == NC_NOERR && records > 0) {
      std::vector<double> obs(records);
      if (nc_get_var_double(ncid, timeVar, obs.data()) == NC_NOERR)
        for (double t : obs) all.push_back(static_cast<long>(t));
    }
    nc_close(ncid);
  }
  std::sort(all.begin(), all.end());
  return std::unique(all.begin(), all.end()) - all.begin();
}

std::vector<long> indexStationTimes(NetcdfPointData& reader) {
  SeqOf<DataTime> times;
  reader.idInventory(kStation, times, -1);
  std::vector<long> out;
  for (int i = 0; i < times.length(); ++i)
    out.push_back(times.at(i).refTime().seconds());
  return out;
}

// Three hours of records: the handles of the range and a record set of
// each file.
long rangeRead(NetcdfPointData& reader) {
  TimeRange range(AbsTime(kStart + 10 * kPeriod), AbsTime(kStart + 13 * kPeriod - 1));
  SeqOfPtr<int*> handles;
  reader.handlesForRange(range, handles);
  RecordSet* set = nullptr;
  for (int i = 0; i < handles.length(); ++i)
    reader.recordSetInRange(range, handles[i], set);
  long n = set != nullptr ? set->recordCount() : 0;
  delete set;
  reader.releaseHandles(handles);
  return n;
}

struct Task {
  const char* name;
  std::function<long(NetcdfPointData*)> run;  // a count, to check answers
};

// The seconds of one task in a fresh process, and its count.
double coldOnce(const std::string& dir, const Task& task, long& count) {
  int fds[2];
  if (pipe(fds) != 0) return -1;
  pid_t child = fork();
  if (child == 0) {
    close(fds[0]);
    // What any reader of netCDF pays once a process, the scan as well:
    // the library's and the log's first use.
    int ncid = -1;
    if (nc_open((dir + "/template").c_str(), NC_NOWRITE, &ncid) == NC_NOERR)
      nc_close(ncid);
    AbsTime::now().format("%Y");
    delete new NetcdfPointData((dir + "/none").c_str(), false, true);
    Clock::time_point start = Clock::now();
    NetcdfPointData* reader = new NetcdfPointData(dir.c_str(), false, false);
    long n = task.run(reader);
    double seconds = secondsSince(start);
    ssize_t ignored = write(fds[1], &seconds, sizeof seconds);
    ignored = write(fds[1], &n, sizeof n);
    (void)ignored;
    _exit(0);
  }
  close(fds[1]);
  double seconds = -1;
  if (read(fds[0], &seconds, sizeof seconds) != sizeof seconds ||
      read(fds[0], &count, sizeof count) != sizeof count)
    seconds = -1;
  close(fds[0]);
  waitpid(child, nullptr, 0);
  return seconds;
}

// The median of several fresh processes: the machine is shared.
double coldSeconds(const std::string& dir, const Task& task, long& count) {
  std::vector<double> runs;
  for (int i = 0; i < kColdRuns; ++i) runs.push_back(coldOnce(dir, task, count));
  std::sort(runs.begin(), runs.end());
  return runs[runs.size() / 2];
}

double warmSeconds(const std::string& dir, const Task& task, long& count) {
  NetcdfPointData reader(dir.c_str(), false, false);
  count = task.run(&reader);  // loads what the task needs
  Clock::time_point start = Clock::now();
  for (int i = 0; i < kWarmRounds; ++i) task.run(&reader);
  return secondsSince(start) / kWarmRounds;
}

}  // namespace

int main() {
  char pattern[] = "/tmp/pointread_bench.XXXXXX";
  const char* made = mkdtemp(pattern);
  if (made == nullptr) return 1;
  std::string dir = made;
  // The store's log lines go with the files, not into the working directory.
  setenv("LOG_DIR", made, 1);
  printf("storing %d hourly files of %d stations in %s\n", kFiles, kStations,
         dir.c_str());
  Clock::time_point start = Clock::now();
  if (!makeDirectory(dir)) {
    fprintf(stderr, "could not make the directory\n");
    return 1;
  }
  printf("stored in %.1f s\n\n", secondsSince(start));

  Task tasks[] = {
      {"picture of the directory alone", [](NetcdfPointData*) { return 0L; }},
      {"station time inventory, exact",
       [](NetcdfPointData* r) { return long(indexStationTimes(*r).size()); }},
      {"station time inventory, bins",
       [](NetcdfPointData* r) {
         SeqOf<DataTime> t;
         r->idInventory(kStation, t, 0);
         return long(t.length());
       }},
      {"inventory of the set, bins",
       [](NetcdfPointData* r) {
         SeqOf<DataTime> t;
         r->inventory(t, 0);
         return long(t.length());
       }},
      {"inventory of the set, exact",
       [](NetcdfPointData* r) {
         SeqOf<DataTime> t;
         r->inventory(t, -1);
         return long(t.length());
       }},
      {"range read, 3 hours", [](NetcdfPointData* r) { return rangeRead(*r); }},
  };
  Task scans[] = {
      {"station times by scanning the data variables",
       [&dir](NetcdfPointData*) { return long(scanStationTimes(dir).size()); }},
      {"all times by scanning the time variable",
       [&dir](NetcdfPointData*) { return scanAllTimes(dir); }},
  };
  printf("%-46s %12s %12s %8s\n", "", "cold (ms)", "warm (ms)", "answer");
  double indexCold = 0, indexWarm = 0, allCold = 0, allWarm = 0;
  for (const Task& task : tasks) {
    long coldCount = 0, warmCount = 0;
    double cold = coldSeconds(dir, task, coldCount);
    double warm = warmSeconds(dir, task, warmCount);
    if (&task == &tasks[1]) {
      indexCold = cold;
      indexWarm = warm;
    } else if (&task == &tasks[4]) {
      allCold = cold;
      allWarm = warm;
    }
    printf("%-46s %12.3f %12.4f %8ld%s\n", task.name, cold * 1e3, warm * 1e3,
           coldCount, coldCount == warmCount ? "" : "  (cold and warm differ!)");
  }
  double scanCold[2], scanWarm[2];
  for (int k = 0; k < 2; ++k) {
    long coldCount = 0;
    scanCold[k] = coldSeconds(dir, scans[k], coldCount);
    Clock::time_point t0 = Clock::now();
    const int kScanRounds = 10;
    for (int i = 0; i < kScanRounds; ++i) scans[k].run(nullptr);
    scanWarm[k] = secondsSince(t0) / kScanRounds;
    printf("%-46s %12.3f %12.4f %8ld\n", scans[k].name, scanCold[k] * 1e3,
           scanWarm[k] * 1e3, coldCount);
  }

  NetcdfPointData check(dir.c_str(), false, false);
  bool same = indexStationTimes(check) == scanStationTimes(dir);
  printf("\nthe index and the scan give %s answer\n",
         same ? "the same" : "a DIFFERENT");
  printf("(cold: a fresh process each time, the netCDF library and the log\n"
         " already used; the median of %d)\n", kColdRuns);
  printf("station time inventory, exact: scan / index = %.2f cold, %.0f warm\n",
         scanCold[0] / indexCold, scanWarm[0] / indexWarm);
  printf("all times, exact:              scan / index = %.2f cold, %.2f warm\n",
         scanCold[1] / allCold, scanWarm[1] / allWarm);
  std::string clean = "rm -rf '" + dir + "'";
  if (system(clean.c_str()) != 0) return 1;
  return same ? 0 : 1;
}
