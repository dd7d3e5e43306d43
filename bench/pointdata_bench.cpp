// Stores a stream of station observations through the point store and
// writes the same values with plain netCDF calls into files of the same
// layout, in one run: the plain writes are the floor that the index, the
// find-or-make of records and the syncs that readers rely on cost against.
#include <netcdf.h>
#include <stdlib.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

#include "AbsTime.h"
#include "NetcdfPointData.h"
#include "SeqOf.h"
#include "TextString.h"

namespace {

using Clock = std::chrono::steady_clock;

const long kRecords = 100000;
const int kStations = 1000;
const int kPeriods = 4;
const long kStart = 1717243200;  // 1 June 2024, 12:00 GMT
const long kPeriod = 3600;

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
    "  float temperature(recNum) ;\n  float dewpoint(recNum) ;\n"
    "  float windSpeed(recNum) ;\n  float windDir(recNum) ;\n"
    "  :cdlDate = \"20240601\" ;\n  :idVariables = \"stationId\" ;\n"
    "  :timeVariables = \"timeObs\" ;\n  :filePeriod = 3600 ;\n"
    "  :fileEndOffset = 3599 ;\n"
    "}\n";

const char* const kDataNames[] = {"temperature", "dewpoint", "windSpeed",
                                  "windDir"};

double secondsSince(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

bool run(const std::string& command) { return system(command.c_str()) == 0; }

// The n-th observation of the stream: stations in turn, times rising
// through the periods.
struct Observation {
  std::string id;
  double time;
  float lat, lon;
  float data[4];
};

Observation observation(long n) {
  Observation o;
  int station = static_cast<int>(n % kStations);
  char id[8];
  snprintf(id, sizeof id, "S%04d", station);
  o.id = id;
  o.time = kStart + 60 + n * double(kPeriods * kPeriod - 120) / kRecords;
  o.lat = 20 + station * 0.03f;
  o.lon = -130 + station * 0.06f;
  for (int i = 0; i < 4; ++i) o.data[i] = float(n % 97) + i;
  return o;
}

bool putData(int ncid, long record, const Observation& o) {
  size_t at = static_cast<size_t>(record);
  for (int i = 0; i < 4; ++i) {
    int var = -1;
    if (nc_inq_varid(ncid, kDataNames[i], &var) != NC_NOERR ||
        nc_put_var1_float(ncid, var, &at, &o.data[i]) != NC_NOERR)
      return false;
  }
  return true;
}

// The store: get a record, write the data, release. A store that makes
// the file of a new period costs the template copy and the writer's
// one-second wait; it is timed apart, in `making`.
bool storeStream(NetcdfPointData& store, double& seconds, double& making) {
  SeqOf<TextString> ids;
  ids.append("");
  SeqOf<double> times;
  times.append(0);
  seconds = making = 0;
  for (long n = 0; n < kRecords; ++n) {
    Observation o = observation(n);
    ids[0] = o.id.c_str();
    times[0] = o.time;
    long record = -1;
    bool isNew = false;
    int files = store.fileTimes().length();
    Clock::time_point start = Clock::now();
    int* handle = store.getFileHandleAndRecord(ids, times, record, isNew);
    if (handle == nullptr || !isNew || !putData(*handle, record, o) ||
        !store.releaseHandle(handle)) {
      fprintf(stderr, "store failed at observation %ld\n", n);
      return false;
    }
    double spent = secondsSince(start);
    if (store.fileTimes().length() != files)
      making += spent;
    else
      seconds += spent;
  }
  return true;
}

// The same values, ids and times by plain netCDF calls: no index, no
// search; optionally a sync for each record.
bool plainStream(const std::string& dir, bool sync, double& seconds) {
  for (int p = 0; p < kPeriods; ++p) {
    std::string name = AbsTime(kStart + p * kPeriod).format("%Y%m%d_%H%M").chars();
    if (!run("cp '" + dir + "/template' '" + dir + "/" + name + "'")) return false;
  }
  Clock::time_point start = Clock::now();
  int ncid = -1;
  int open = -1;
  long record = 0;
  int stationVar = -1, timeVar = -1, latVar = -1, lonVar = -1;
  for (long n = 0; n < kRecords; ++n) {
    Observation o = observation(n);
    int period = static_cast<int>((long(o.time) - kStart) / kPeriod);
    if (period != open) {
      if (ncid >= 0) nc_close(ncid);
      std::string path = dir + "/" +
          AbsTime(kStart + period * kPeriod).format("%Y%m%d_%H%M").chars();
      if (nc_open(path.c_str(), NC_WRITE, &ncid) != NC_NOERR) return false;
      nc_inq_varid(ncid, "stationId", &stationVar);
      nc_inq_varid(ncid, "timeObs", &timeVar);
      nc_inq_varid(ncid, "latitude", &latVar);
      nc_inq_varid(ncid, "longitude", &lonVar);
      open = period;
      record = 0;
    }
    size_t at = static_cast<size_t>(record);
    size_t start2[2] = {at, 0};
    size_t count2[2] = {1, o.id.size() + 1};
    bool ok = nc_put_vara_text(ncid, stationVar, start2, count2, o.id.c_str()) ==
                  NC_NOERR &&
              nc_put_var1_double(ncid, timeVar, &at, &o.time) == NC_NOERR &&
              nc_put_var1_float(ncid, latVar, &at, &o.lat) == NC_NOERR &&
              nc_put_var1_float(ncid, lonVar, &at, &o.lon) == NC_NOERR &&
              putData(ncid, record, o) && (!sync || nc_sync(ncid) == NC_NOERR);
    if (!ok) return false;
    ++record;
  }
  if (ncid >= 0) nc_close(ncid);
  seconds = secondsSince(start);
  return true;
}

long countRecords(const std::string& dir) {
  long total = 0;
  for (int p = 0; p < kPeriods; ++p) {
    std::string path = dir + "/" +
        AbsTime(kStart + p * kPeriod).format("%Y%m%d_%H%M").chars();
    int ncid = -1, dim = -1;
    size_t length = 0;
    if (nc_open(path.c_str(), NC_NOWRITE, &ncid) != NC_NOERR) continue;
    if (nc_inq_unlimdim(ncid, &dim) == NC_NOERR &&
        nc_inq_dimlen(ncid, dim, &length) == NC_NOERR)
      total += static_cast<long>(length);
    nc_close(ncid);
  }
  return total;
}

bool makeDirectory(const std::string& dir) {
  std::string cdl = dir + "/template.cdl";
  FILE* out = fopen(cdl.c_str(), "w");
  if (out == nullptr) return false;
  fputs(kTemplate, out);
  fclose(out);
  return run("ncgen -o '" + dir + "/template' '" + cdl + "'");
}

}  // namespace

int main() {
  char pattern[] = "/tmp/pointbench.XXXXXX";
  if (mkdtemp(pattern) == nullptr) return 1;
  std::string root = pattern;
  std::string storeDir = root + "/store";
  std::string plainDir = root + "/plain";
  std::string syncDir = root + "/plainsync";
  if (!run("mkdir '" + storeDir + "' '" + plainDir + "' '" + syncDir + "'") ||
      !makeDirectory(storeDir) || !makeDirectory(plainDir) ||
      !makeDirectory(syncDir))
    return 1;

  NetcdfPointData store(storeDir.c_str(), true, false);
  double stored = 0, making = 0, plain = 0, synced = 0;
  if (!storeStream(store, stored, making) ||
      !plainStream(plainDir, false, plain) ||
      !plainStream(syncDir, true, synced))
    return 1;
  long counted = countRecords(storeDir);
  printf("%ld records of %d stations in %d hourly files\n", kRecords, kStations,
         kPeriods);
  printf("stores that made the %d files %8.2f s, apart from the rest\n",
         kPeriods, making);
  printf("point store                  %10.0f records/s\n", kRecords / stored);
  printf("plain netCDF, no sync        %10.0f records/s   store/plain %.2f\n",
         kRecords / plain, plain / stored);
  printf("plain netCDF, sync a record  %10.0f records/s   store/plain %.2f\n",
         kRecords / synced, synced / stored);
  printf("records in the store's files %ld\n", counted);
  run("rm -rf '" + root + "'");
  return counted == kRecords ? 0 : 1;
}
