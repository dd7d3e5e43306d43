// pointdump: what the index of a directory of point files says, as a
// reading process sees it through the store's queries: the files and their
// periods, the data times, the stations (or positions) with their records,
// and the variables of one record by name with their units. ncdump shows
// the raw arrays; this shows what they mean.
#include <netcdf.h>
#include <sys/stat.h>
#include <sysexits.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "DataTime.h"
#include "LogStream.h"
#include "NetcdfPointData.h"
#include "ToolSupport.h"
#include "PointFileStructure.h"
#include "PointNetcdfFileInfo.h"
#include "TimeRange.h"

namespace {

const char kUsage[] =
    "usage: pointdump [--json] [--record STAMP:N] [--values N] DIR\n";

const char kHelp[] =
    "\n"
    "Shows a directory of point files through the store's index: each file\n"
    "with its period and records, the exact data times of the set, each\n"
    "station (or position) of each file with its records, and the variables\n"
    "of one record by name with their units; by default the newest record\n"
    "of the newest file.\n"
    "\n"
    "  --json            one JSON document instead of the text\n"
    "  --record STAMP:N  the record N of the file STAMP (\"20240601_1200\")\n"
    "  --values N        at most N values of a variable with levels (8)\n"
    "  --help            this text\n"
    "\n"
    "Exit status: 0 shown, 1 the directory can't be read as point files,\n"
    "64 a bad option.\n";

const char* const kTimeFormat = "%Y-%m-%d %H:%M:%S";

std::string timeText(long t) { return AbsTime(t).format(kTimeFormat).chars(); }


// As many digits as the type holds: a float's seven, else ten.
std::string numberText(double v, bool isFloat = false) {
  char text[32];
  snprintf(text, sizeof text, isFloat ? "%.7g" : "%.10g", v);
  return text;
}

struct Options {
  bool json = false;
  std::string directory;
  std::string recordFile;
  long record = -1;
  int maxValues = 8;
};

bool parseArguments(int argc, char** argv, Options& o, bool& help) {
  help = false;
  for (int i = 1; i < argc; ++i) {
    std::string a = argv[i];
    if (a == "--help") {
      help = true;
    } else if (a == "--json") {
      o.json = true;
    } else if (a == "--record" && i + 1 < argc) {
      std::string v = argv[++i];
      size_t colon = v.find(':');
      char* end = nullptr;
      if (colon == std::string::npos) return false;
      o.recordFile = v.substr(0, colon);
      o.record = strtol(v.c_str() + colon + 1, &end, 10);
      if (*end != '\0' || o.record < 0 || o.recordFile.size() != 13)
        return false;
    } else if (a == "--values" && i + 1 < argc) {
      char* end = nullptr;
      o.maxValues = static_cast<int>(strtol(argv[++i], &end, 10));
      if (*end != '\0' || o.maxValues < 1) return false;
    } else if (!a.empty() && a[0] != '-' && o.directory.empty()) {
      o.directory = a;
    } else {
      return false;
    }
  }
  return help || !o.directory.empty();
}


struct Station {
  std::string id;
  std::vector<int> records;
  float lat = NAN;
  float lon = NAN;
};

struct FileView {
  std::string stamp;
  long refStart = 0;
  long refEnd = 0;
  long records = 0;
  std::vector<Station> stations;
  int* handle = nullptr;
};

struct Variable {
  std::string name;
  std::string units;
  std::vector<std::string> values;  // texts, or numbers as text
  bool isText = false;
  size_t total = 0;
};

// The files of the set, each through a handle of the store.
std::vector<FileView> viewFiles(NetcdfPointData& store) {
  std::vector<FileView> files;
  // Every file held first: the store reads a file's own period as it opens
  // it, and a file it has only listed carries the template's.
  SeqOfPtr<int*> all;
  store.handlesForRange(TimeRange(AbsTime(0), AbsTime::endOfTime() - 1), all);
  const SeqOf<AbsTime>& times = store.fileTimes();
  for (int i = times.length() - 1; i >= 0; --i) {
    PointNetcdfFileInfo* info = store.fileInfoAt(times.at(i));
    if (info == nullptr) continue;
    FileView f;
    f.refStart = info->refStart.seconds();
    f.refEnd = info->refEnd.seconds();
    TimeRange period(info->validStart, info->validEnd);
    SeqOfPtr<int*> handles;
    if (!store.handlesForRange(period, handles)) continue;
    for (int h = 0; h < handles.length(); ++h) {
      if (store.fileTimeStamp(handles[h]) ==
          times.at(i).format("%Y%m%d_%H%M")) {
        f.handle = handles[h];
      } else {
        store.releaseHandle(handles[h]);
      }
    }
    if (f.handle == nullptr) continue;
    f.stamp = store.fileTimeStamp(f.handle).chars();
    long first = 0;
    store.recordSpanInRange(period, f.handle, first, f.records);
    SeqOf<TextString> ids;
    long count = 0;
    store.idsInRange(period, f.handle, ids, first, count);
    for (int k = 0; k < ids.length(); ++k) {
      Station s;
      s.id = ids.at(k).chars();
      SeqOf<int> records;
      store.recordsOfIdInRange(ids.at(k), period, f.handle, records);
      for (int r = 0; r < records.length(); ++r) s.records.push_back(records.at(r));
      if (!s.records.empty()) {
        SeqOfPtr<int*> one;
        one.append(f.handle);
        SeqOf<int> firsts, counts;
        firsts.append(s.records.back());
        counts.append(1);
        float lat = 0, lon = 0;
        // A position never written holds the fill value: off the globe.
        if (store.positionsOfRecords(one, firsts, counts, &lat, &lon) &&
            std::fabs(lat) <= 90 && std::fabs(lon) <= 180) {
          s.lat = lat;
          s.lon = lon;
        }
      }
      f.stations.push_back(s);
    }
    files.push_back(f);
  }
  store.releaseHandles(all);
  return files;
}

bool isFill(int ncid, int var, nc_type type, double v) {
  double fill = 0;
  if (nc_get_att_double(ncid, var, "_FillValue", &fill) == NC_NOERR)
    return v == fill;
  switch (type) {
    case NC_FLOAT: return v == static_cast<float>(NC_FILL_FLOAT);
    case NC_DOUBLE: return v == NC_FILL_DOUBLE;
    case NC_INT: return v == NC_FILL_INT;
    case NC_SHORT: return v == NC_FILL_SHORT;
    case NC_BYTE: return v == NC_FILL_BYTE;
    default: return false;
  }
}

// The data variables of one record, read through the handle the store
// gave: the index variables are the store's and aren't shown.
std::vector<Variable> readRecord(int ncid, long record, int maxValues) {
  std::vector<Variable> vars;
  int nVars = 0;
  int recordDim = -1;
  if (nc_inq_nvars(ncid, &nVars) != NC_NOERR ||
      nc_inq_unlimdim(ncid, &recordDim) != NC_NOERR)
    return vars;
  for (int v = 0; v < nVars; ++v) {
    char name[NC_MAX_NAME + 1];
    nc_type type;
    int rank = 0;
    int dims[NC_MAX_VAR_DIMS];
    if (nc_inq_var(ncid, v, name, &type, &rank, dims, nullptr) != NC_NOERR ||
        rank < 1 || rank > 2 || dims[0] != recordDim ||
        PointFileStructure::isIndexVariable(name))
      continue;
    Variable out;
    out.name = name;
    size_t unitsLength = 0;
    if (nc_inq_attlen(ncid, v, "units", &unitsLength) == NC_NOERR &&
        unitsLength < 256) {
      char units[256] = {0};
      if (nc_get_att_text(ncid, v, "units", units) == NC_NOERR)
        out.units.assign(units, strnlen(units, unitsLength));
    }
    size_t length = 1;
    if (rank == 2) nc_inq_dimlen(ncid, dims[1], &length);
    if (length > 100000) continue;
    size_t start[2] = {static_cast<size_t>(record), 0};
    size_t count[2] = {1, length};
    if (type == NC_CHAR) {
      std::vector<char> text(length + 1, '\0');
      if (nc_get_vara_text(ncid, v, start, count, text.data()) != NC_NOERR)
        continue;
      out.isText = true;
      out.values.push_back(std::string(text.data(), strnlen(text.data(), length)));
      out.total = 1;
    } else {
      std::vector<double> values(length);
      if (nc_get_vara_double(ncid, v, start, count, values.data()) != NC_NOERR)
        continue;
      out.total = length;
      for (size_t i = 0; i < length && i < static_cast<size_t>(maxValues); ++i)
        out.values.push_back(isFill(ncid, v, type, values[i])
                                 ? "missing"
                                 : numberText(values[i], type == NC_FLOAT));
    }
    vars.push_back(out);
  }
  return vars;
}

std::string dataTimeText(const DataTime& t) {
  std::string text = timeText(t.refTime().seconds());
  if (t.flags() & DataTime::FORECAST_SET) {
    char f[32];
    snprintf(f, sizeof f, " +%ldh", t.forecast() / 3600);
    text += f;
  }
  return text;
}

void printText(const Options& o, const NetcdfPointData& store,
               const std::vector<FileView>& files,
               const SeqOf<DataTime>& times, const FileView* shown,
               long record, const std::vector<Variable>& vars) {
  printf("directory %s: %zu files, template %s\n", o.directory.c_str(),
         files.size(), store.structure()->cdlDate.chars());
  printf("\nfiles\n");
  for (const FileView& f : files)
    printf("  %s  %s to %s  %ld records, %zu ids\n", f.stamp.c_str(),
           timeText(f.refStart).c_str(), timeText(f.refEnd).c_str(),
           f.records, f.stations.size());
  printf("\ndata times (%d)\n", times.length());
  for (int i = 0; i < times.length(); ++i)
    printf("  %s\n", dataTimeText(times.at(i)).c_str());
  for (const FileView& f : files) {
    printf("\nids of %s\n", f.stamp.c_str());
    for (const Station& s : f.stations) {
      printf("  %-14s", s.id.c_str());
      if (!std::isnan(s.lat)) printf(" %9.4f %10.4f", s.lat, s.lon);
      printf("  record%s", s.records.size() == 1 ? "" : "s");
      for (int r : s.records) printf(" %d", r);
      printf("\n");
    }
  }
  if (shown == nullptr) return;
  printf("\nrecord %ld of %s\n", record, shown->stamp.c_str());
  for (const Variable& v : vars) {
    std::string value;
    for (size_t i = 0; i < v.values.size(); ++i)
      value += (i ? " " : "") + (v.isText ? "'" + v.values[i] + "'" : v.values[i]);
    if (v.total > v.values.size())
      value += " ... (" + std::to_string(v.total) + " values)";
    // A time in seconds is shown as one too.
    if (!v.isText && v.total == 1 && v.values[0] != "missing" &&
        v.units.compare(0, 19, "seconds since 1970-") == 0)
      value += " (" + timeText(atol(v.values[0].c_str())) + ")";
    char line[64];
    snprintf(line, sizeof line, "  %-16s ", v.name.c_str());
    std::string text = line + value;
    if (!v.units.empty()) {
      text.resize(std::max<size_t>(text.size(), 43), ' ');
      text += " " + v.units;
    }
    printf("%s\n", text.c_str());
  }
}

void printJson(const Options& o, const NetcdfPointData& store,
               const std::vector<FileView>& files,
               const SeqOf<DataTime>& times, const FileView* shown,
               long record, const std::vector<Variable>& vars) {
  printf("{\"directory\":%s,\"cdlDate\":%s,\"files\":[",
         jsonText(o.directory).c_str(),
         jsonText(store.structure()->cdlDate.chars()).c_str());
  for (size_t i = 0; i < files.size(); ++i) {
    const FileView& f = files[i];
    printf("%s{\"file\":%s,\"refStart\":%s,\"refEnd\":%s,\"records\":%ld,"
           "\"ids\":[",
           i ? "," : "", jsonText(f.stamp).c_str(),
           jsonText(timeText(f.refStart)).c_str(),
           jsonText(timeText(f.refEnd)).c_str(), f.records);
    for (size_t k = 0; k < f.stations.size(); ++k) {
      const Station& s = f.stations[k];
      printf("%s{\"id\":%s,", k ? "," : "", jsonText(s.id).c_str());
      if (!std::isnan(s.lat))
        printf("\"lat\":%s,\"lon\":%s,", numberText(s.lat, true).c_str(),
               numberText(s.lon, true).c_str());
      printf("\"records\":[");
      for (size_t r = 0; r < s.records.size(); ++r)
        printf("%s%d", r ? "," : "", s.records[r]);
      printf("]}");
    }
    printf("]}");
  }
  printf("],\"times\":[");
  for (int i = 0; i < times.length(); ++i)
    printf("%s{\"ref\":%s,\"forecast\":%ld}", i ? "," : "",
           jsonText(timeText(times.at(i).refTime().seconds())).c_str(),
           times.at(i).forecast());
  printf("]");
  if (shown != nullptr) {
    printf(",\"record\":{\"file\":%s,\"record\":%ld,\"variables\":[",
           jsonText(shown->stamp).c_str(), record);
    for (size_t i = 0; i < vars.size(); ++i) {
      const Variable& v = vars[i];
      printf("%s{\"name\":%s,\"units\":%s,\"values\":[", i ? "," : "",
             jsonText(v.name).c_str(), jsonText(v.units).c_str());
      for (size_t k = 0; k < v.values.size(); ++k) {
        bool number = !v.isText && v.values[k] != "missing";
        printf("%s%s", k ? "," : "",
               number ? v.values[k].c_str()
                      : v.values[k] == "missing" && !v.isText
                            ? "null"
                            : jsonText(v.values[k]).c_str());
      }
      printf("],\"count\":%zu}", v.total);
    }
    printf("]}");
  }
  printf("}\n");
}

int run(const Options& o) {
  struct stat status;
  if (stat(o.directory.c_str(), &status) != 0 || !S_ISDIR(status.st_mode)) {
    fprintf(stderr, "pointdump: %s: not a directory\n", o.directory.c_str());
    return 1;
  }
  NetcdfPointData store(o.directory.c_str(), false, false);
  if (store.structure() == nullptr) {
    fprintf(stderr, "pointdump: %s: no template and no point file\n",
            o.directory.c_str());
    return 1;
  }
  std::vector<FileView> files = viewFiles(store);
  SeqOf<DataTime> times;
  store.inventory(times, -1);
  const FileView* shown = nullptr;
  long record = o.record;
  for (const FileView& f : files)
    if (o.recordFile.empty() ? f.records > 0 : f.stamp == o.recordFile)
      shown = &f;
  if (shown != nullptr && record < 0) record = shown->records - 1;
  if (shown != nullptr && record >= shown->records) {
    fprintf(stderr, "pointdump: %s has no record %ld\n", shown->stamp.c_str(),
            record);
    shown = nullptr;
  } else if (shown == nullptr && !o.recordFile.empty()) {
    fprintf(stderr, "pointdump: no file %s\n", o.recordFile.c_str());
  }
  std::vector<Variable> vars;
  if (shown != nullptr) vars = readRecord(*shown->handle, record, o.maxValues);
  fflush(stderr);
  if (o.json)
    printJson(o, store, files, times, shown, record, vars);
  else
    printText(o, store, files, times, shown, record, vars);
  for (const FileView& f : files) store.releaseHandle(f.handle);
  return shown == nullptr && !o.recordFile.empty() ? 1 : 0;
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  bool help = false;
  if (!parseArguments(argc, argv, options, help)) {
    fputs(kUsage, stderr);
    return EX_USAGE;
  }
  if (help) {
    fputs(kUsage, stdout);
    fputs(kHelp, stdout);
    return 0;
  }
  setUpToolLog("tools/pointdump");
  return run(options);
}
