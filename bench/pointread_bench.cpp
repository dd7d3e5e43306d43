// The reader's side of the point store over a day of hourly files of
// 1 000 stations each: the inventories and range reads through the index,
// in a fresh process (cold: the picture of the directory and each file's
// index read as the question needs them) and again in the same process
// (warm), against the same answer got by scanning the data variables with
// plain netCDF calls.
// The machine is shared: the fresh processes of every task take turns
// round by round, and each ratio is the median of the ratios of a round.
// The opening of every file alone, which index and scan both pay, shows
// how much of each is netCDF's open; the page faults, what fresh memory
// each touched. With a directory and a task number, one task runs once in
// a fresh process, for a profiler.
#include <netcdf.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <time.h>
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
#include "LogStream.h"
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
const int kScanRounds = 10;
const int kWarmBlocks = 5;
const int kColdRuns = 9;
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

// The processor time of the process: what the work costs, whatever else
// runs on the machine.
double cpuSeconds() {
  timespec t;
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
  return t.tv_sec + t.tv_nsec * 1e-9;
}

// Pages the process touched for the first time: each costs a fault,
// which on this kind of machine is dear.
long pageFaults() {
  rusage usage;
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_minflt;
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

// Opens each file of the day in turn and hands it to `read`. The file
// before stays open until the next is: the netCDF library frees its table
// of open files when the last one closes, and clears half a megabyte of
// fresh memory to make it again at the next open, which the store is
// spared by the same order. The scans are plain netCDF, not naive.
long eachFile(const std::string& dir, const std::function<void(int)>& read) {
  int previous = -1;
  long opened = 0;
  for (int h = 0; h < kFiles; ++h) {
    std::string path =
        dir + "/" + AbsTime(kStart + h * kPeriod).format("%Y%m%d_%H%M").chars();
    int ncid = -1;
    if (nc_open(path.c_str(), NC_NOWRITE, &ncid) != NC_NOERR) continue;
    ++opened;
    if (previous >= 0) nc_close(previous);
    read(ncid);
    previous = ncid;
  }
  if (previous >= 0) nc_close(previous);
  return opened;
}

// A station's times by scanning the id and time variables of every file.
std::vector<long> scanStationTimes(const std::string& dir) {
  std::vector<long> times;
  eachFile(dir, [&times](int ncid) {
    int idVar = -1, timeVar = -1, recDim = -1;
    size_t records = 0, width = 0;
    int dims[2];
    if (nc_inq_unlimdim(ncid, &recDim) != NC_NOERR ||
        nc_inq_dimlen(ncid, recDim, &records) != NC_NOERR ||
        nc_inq_varid(ncid, "stationId", &idVar) != NC_NOERR ||
        nc_inq_varid(ncid, "timeObs", &timeVar) != NC_NOERR ||
        nc_inq_vardimid(ncid, idVar, dims) != NC_NOERR ||
        nc_inq_dimlen(ncid, dims[1], &width) != NC_NOERR || records == 0)
      return;
    std::vector<char> ids(records * width);
    std::vector<double> obs(records);
    if (nc_get_var_text(ncid, idVar, ids.data()) != NC_NOERR ||
        nc_get_var_double(ncid, timeVar, obs.data()) != NC_NOERR)
      return;
    for (size_t r = 0; r < records; ++r)
      if (strncmp(ids.data() + r * width, kStation, width) == 0)
        times.push_back(static_cast<long>(obs[r]));
  });
  return times;
}

// Every data time of the day by reading the time variable of every file.
std::vector<long> scanAllTimes(const std::string& dir) {
  std::vector<long> all;
  eachFile(dir, [&all](int ncid) {
    int timeVar = -1, recDim = -1;
    size_t records = 0;
    if (nc_inq_unlimdim(ncid, &recDim) != NC_NOERR ||
        nc_inq_dimlen(ncid, recDim, &records) != NC_NOERR ||
        nc_inq_varid(ncid, "timeObs", &timeVar) != NC_NOERR || records == 0)
      return;
    std::vector<double> obs(records);
    if (nc_get_var_double(ncid, timeVar, obs.data()) == NC_NOERR)
      for (double t : obs) all.push_back(static_cast<long>(t));
  });
  std::sort(all.begin(), all.end());
  all.erase(std::unique(all.begin(), all.end()), all.end());
  return all;
}

std::vector<long> indexStationTimes(NetcdfPointData& reader) {
  SeqOf<DataTime> times;
  reader.idInventory(kStation, times, -1);
  std::vector<long> out;
  for (int i = 0; i < times.length(); ++i)
    out.push_back(times.at(i).refTime().seconds());
  return out;
}

std::vector<long> indexAllTimes(NetcdfPointData& reader) {
  SeqOf<AbsTime> times;
  reader.allTimes(times, -1);
  std::vector<long> out;
  for (int i = 0; i < times.length(); ++i) out.push_back(times.at(i).seconds());
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
  int peer;  // the scan that gives the same answer, or -1
  bool scan = false;  // reads the files without the store
};

struct Figures {
  std::vector<double> cold, coldCpu, faults, warm;
  long count = -1;
  bool countsDiffer = false;
};

double median(std::vector<double> v) {
  if (v.empty()) return 0;
  std::sort(v.begin(), v.end());
  return v[v.size() / 2];
}

// The seconds of one task in a fresh process, wall and processor, and its
// count.
bool coldOnce(const std::string& dir, const Task& task, double& wall,
              double& cpu, double& faults, long& count) {
  int fds[2];
  if (pipe(fds) != 0) return false;
  pid_t child = fork();
  if (child == 0) {
    close(fds[0]);
    // What any reader of netCDF pays once a process, the scan as well:
    // the library's and the log's first use.
    int ncid = -1;
    if (nc_open((dir + "/template").c_str(), NC_NOWRITE, &ncid) == NC_NOERR)
      nc_close(ncid);
    AbsTime::now().format("%Y");
    LogStream::instance();
    double out[3];
    long n = 0;
    long faults0 = pageFaults();
    double cpu0 = cpuSeconds();
    Clock::time_point start = Clock::now();
    if (!task.scan) {
      NetcdfPointData* reader = new NetcdfPointData(dir.c_str(), false, false);
      n = task.run(reader);
    } else {
      n = task.run(nullptr);
    }
    out[0] = secondsSince(start);
    out[1] = cpuSeconds() - cpu0;
    out[2] = pageFaults() - faults0;
    ssize_t ignored = write(fds[1], out, sizeof out);
    ignored = write(fds[1], &n, sizeof n);
    (void)ignored;
    _exit(0);
  }
  close(fds[1]);
  double in[3];
  bool ok = read(fds[0], in, sizeof in) == sizeof in &&
            read(fds[0], &count, sizeof count) == sizeof count;
  close(fds[0]);
  waitpid(child, nullptr, 0);
  wall = in[0];
  cpu = in[1];
  faults = in[2];
  return ok;
}

double timeRounds(const Task& task, NetcdfPointData* reader, int rounds) {
  Clock::time_point start = Clock::now();
  for (int i = 0; i < rounds; ++i) task.run(reader);
  return secondsSince(start) / rounds;
}

}  // namespace

int main(int argc, char** argv) {
  // With a directory and a task number: that task once in this process,
  // for a profiler; the directory is made first if it has no template.
  bool single = argc == 3;
  char pattern[] = "/tmp/pointread_bench.XXXXXX";
  const char* made = single ? argv[1] : mkdtemp(pattern);
  if (made == nullptr) return 1;
  std::string dir = made;
  // The store's log lines go with the files, not into the working directory.
  setenv("LOG_DIR", made, 1);
  if (!single || access((dir + "/template").c_str(), R_OK) != 0) {
    printf("storing %d hourly files of %d stations in %s\n", kFiles,
           kStations, dir.c_str());
    Clock::time_point start = Clock::now();
    if (!makeDirectory(dir)) {
      fprintf(stderr, "could not make the directory\n");
      return 1;
    }
    printf("stored in %.1f s\n\n", secondsSince(start));
  }

  enum { kPicture = 0, kStationExact = 1, kScanStation = 7, kScanAll = 8,
         kOpensAlone = 9 };
  Task tasks[] = {
      {"picture of the directory alone", [](NetcdfPointData*) { return 0L; }, -1},
      {"station time inventory, exact",
       [](NetcdfPointData* r) { return long(indexStationTimes(*r).size()); },
       kScanStation},
      {"station time inventory, bins",
       [](NetcdfPointData* r) {
         SeqOf<DataTime> t;
         r->idInventory(kStation, t, 0);
         return long(t.length());
       }, -1},
      {"inventory of the set, bins",
       [](NetcdfPointData* r) {
         SeqOf<DataTime> t;
         r->inventory(t, 0);
         return long(t.length());
       }, -1},
      {"inventory of the set, exact (DataTime)",
       [](NetcdfPointData* r) {
         SeqOf<DataTime> t;
         r->inventory(t, -1);
         return long(t.length());
       }, -1},
      {"times of the set, exact (AbsTime)",
       [](NetcdfPointData* r) { return long(indexAllTimes(*r).size()); },
       kScanAll},
      {"range read, 3 hours", [](NetcdfPointData* r) { return rangeRead(*r); }, -1},
      {"station times by scanning the data variables",
       [&dir](NetcdfPointData*) { return long(scanStationTimes(dir).size()); },
       -1},
      {"all times by scanning the time variable",
       [&dir](NetcdfPointData*) { return long(scanAllTimes(dir).size()); }, -1},
      // What every reader pays, index or scan: nc_open and nc_close of
      // each file, nothing read. The answer is the count of files.
      {"nc_open of every file alone",
       [&dir](NetcdfPointData*) { return eachFile(dir, [](int) {}); }, -1},
  };
  const int kTasks = sizeof tasks / sizeof tasks[0];
  tasks[kScanStation].scan = tasks[kScanAll].scan = true;
  tasks[kOpensAlone].scan = true;
  if (single) {
    int t = atoi(argv[2]);
    if (t < 0 || t >= kTasks) return 1;
    double wall = 0, cpu = 0, faults = 0;
    long count = -1;
    if (!coldOnce(dir, tasks[t], wall, cpu, faults, count)) return 1;
    printf("%s: %.3f ms, cpu %.3f ms, %.0f page faults, answer %ld\n",
           tasks[t].name, wall * 1e3, cpu * 1e3, faults, count);
    return 0;
  }
  std::vector<Figures> figures(kTasks);

  // Cold: round by round, every task in a fresh process.
  for (int round = 0; round < kColdRuns; ++round) {
    for (int t = 0; t < kTasks; ++t) {
      double wall = 0, cpu = 0, faults = 0;
      long count = -1;
      if (!coldOnce(dir, tasks[t], wall, cpu, faults, count)) continue;
      Figures& f = figures[t];
      if (f.count >= 0 && f.count != count) f.countsDiffer = true;
      f.count = count;
      f.cold.push_back(wall);
      f.coldCpu.push_back(cpu);
      f.faults.push_back(faults);
    }
  }

  // Warm: each task on a reader that has answered it twice already (the
  // first exact question of a file reads the id's records from the file,
  // the next loads its tables), in blocks that take turns with its scan.
  std::vector<double> stationRatios, allRatios;
  for (int t = 0; t < kScanStation; ++t) {
    NetcdfPointData reader(dir.c_str(), false, false);
    long count = tasks[t].run(&reader);
    tasks[t].run(&reader);
    if (count != figures[t].count) figures[t].countsDiffer = true;
    for (int block = 0; block < kWarmBlocks; ++block) {
      double warm = timeRounds(tasks[t], &reader, kWarmRounds);
      figures[t].warm.push_back(warm);
      int peer = tasks[t].peer;
      if (peer < 0) continue;
      double scan = timeRounds(tasks[peer], nullptr, kScanRounds);
      figures[peer].warm.push_back(scan);
      (peer == kScanStation ? stationRatios : allRatios).push_back(scan / warm);
    }
  }

  printf("%-44s %9s %9s %7s %10s %8s\n", "", "cold (ms)", "cpu (ms)",
         "faults", "warm (ms)", "answer");
  for (int t = 0; t < kTasks; ++t) {
    const Figures& f = figures[t];
    printf("%-44s %9.3f %9.3f %7.0f %10.4f %8ld%s\n", tasks[t].name,
           median(f.cold) * 1e3, median(f.coldCpu) * 1e3, median(f.faults),
           median(f.warm) * 1e3, f.count,
           f.countsDiffer ? "  (answers differ!)" : "");
  }
  // The cold ratios of each round, index and scan of the same round.
  std::vector<double> stationCold, stationCpu, allCold, allCpu;
  std::vector<double> opensOfScan, opensOfIndex, pictureOfIndex;
  const Figures& i1 = figures[kStationExact];
  const Figures& i5 = figures[5];
  const Figures& s1 = figures[kScanStation];
  const Figures& s5 = figures[kScanAll];
  const Figures& o = figures[kOpensAlone];
  const Figures& p = figures[kPicture];
  size_t rounds = std::min({i1.cold.size(), i5.cold.size(), s1.cold.size(),
                            s5.cold.size(), o.cold.size(), p.cold.size()});
  for (size_t r = 0; r < rounds; ++r) {
    stationCold.push_back(s1.cold[r] / i1.cold[r]);
    stationCpu.push_back(s1.coldCpu[r] / i1.coldCpu[r]);
    allCold.push_back(s5.cold[r] / i5.cold[r]);
    allCpu.push_back(s5.coldCpu[r] / i5.coldCpu[r]);
    opensOfScan.push_back(o.cold[r] / s1.cold[r]);
    opensOfIndex.push_back(o.cold[r] / i1.cold[r]);
    pictureOfIndex.push_back(p.cold[r] / i1.cold[r]);
  }

  NetcdfPointData check(dir.c_str(), false, false);
  bool same = indexStationTimes(check) == scanStationTimes(dir) &&
              indexAllTimes(check) == scanAllTimes(dir);
  printf("\nthe index and the scans give %s answers\n",
         same ? "the same" : "DIFFERENT");
  printf("(cold: a fresh process each time, the netCDF library and the log\n"
         " already used; medians of %d rounds, in which all tasks take turns;\n"
         " cpu: the processor time of the same runs)\n", kColdRuns);
  printf("station times, exact: scan / index = %.2f cold, %.2f cpu, %.0f warm\n",
         median(stationCold), median(stationCpu), median(stationRatios));
  printf("all times, exact:     scan / index = %.2f cold, %.2f cpu, %.2f warm\n",
         median(allCold), median(allCpu), median(allRatios));
  printf("cold station times: opening the files alone is %.2f of the scan and\n"
         " %.2f of the index; the picture of the directory is %.2f of the index\n",
         median(opensOfScan), median(opensOfIndex), median(pictureOfIndex));
  std::string clean = "rm -rf '" + dir + "'";
  if (system(clean.c_str()) != 0) return 1;
  return same ? 0 : 1;
}
