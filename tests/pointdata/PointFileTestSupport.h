#ifndef ZEPH_TESTS_POINTDATA_POINTFILETESTSUPPORT_H_
#define ZEPH_TESTS_POINTDATA_POINTFILETESTSUPPORT_H_

// Real point files for the store's tests: templates and their records
// written as CDL and made by ncgen, and read back through the netCDF
// library.

#include <gtest/gtest.h>
#include <netcdf.h>
#include <stdlib.h>

#include <algorithm>
#include <cstring>
#include <set>
#include <string>
#include <vector>

#include "TestSupport.h"

// A station template of the usual form, with knobs for what a test breaks.
struct TemplateForm {
  long maxStaticIds = 50;  // 0 leaves the dimension out, as below
  long totalIdLen = 10;
  long nBins = 4;
  bool charInventory = false;
  bool positions = true;                  // float latitude, longitude
  std::string idVariables = "stationId";  // "" leaves the attribute out
  std::string timeVariables = "timeObs";
  std::string filePeriod = "3600";
  std::string fileEndOffset = "3599";
  std::string cdlDate = "20240601";
  std::string dimensions;  // more lines of each part
  std::string variables;
  std::string globals;
  std::string data;
  std::set<std::string> omit;  // variables left out
};

inline std::string templateCdl(const TemplateForm& t) {
  auto line = [&](const char* name, const std::string& declaration) {
    return t.omit.count(name) ? std::string() : "  " + declaration + " ;\n";
  };
  auto dimension = [](const char* name, long size) {
    return size > 0 ? "  " + std::string(name) + " = " + std::to_string(size) +
                          " ;\n"
                    : std::string();
  };
  auto attribute = [](const char* name, const std::string& value, bool text) {
    if (value.empty()) return std::string();
    return "  :" + std::string(name) + " = " +
           (text ? "\"" + value + "\"" : value) + " ;\n";
  };
  std::string cdl = "netcdf test {\ndimensions:\n  recNum = UNLIMITED ;\n" +
                    dimension("maxStaticIds", t.maxStaticIds) +
                    dimension("totalIdLen", t.totalIdLen) +
                    dimension("nInventoryBins", t.nBins) + "  stnLen = 8 ;\n" +
                    t.dimensions + "variables:\n";
  std::string idLen = t.totalIdLen > 0 ? "totalIdLen" : "stnLen";
  bool bins = t.nBins > 1;
  if (t.maxStaticIds > 0) {
    cdl += line("nStaticIds", "int nStaticIds") +
           line("staticIds", "char staticIds(maxStaticIds, " + idLen + ")") +
           line("lastRecord", "int lastRecord(maxStaticIds)") +
           line("firstOverflow", "int firstOverflow") +
           line("isOverflow", "int isOverflow(recNum)") +
           line("prevRecord", "int prevRecord(recNum)");
    if (bins)
      cdl +=
          line("inventory", t.charInventory
                                ? "char inventory(maxStaticIds, nInventoryBins)"
                                : "int inventory(maxStaticIds)");
  }
  if (bins)
    cdl += line("globalInventory", t.charInventory
                                       ? "char globalInventory(nInventoryBins)"
                                       : "int globalInventory") +
           line("firstInBin", "int firstInBin(nInventoryBins)") +
           line("lastInBin", "int lastInBin(nInventoryBins)");
  cdl += line("stationId", "char stationId(recNum, stnLen)") +
         line("timeObs", "double timeObs(recNum)");
  if (t.positions)
    cdl += "  float latitude(recNum) ;\n  float longitude(recNum) ;\n";
  cdl += "  float temperature(recNum) ;\n" + t.variables +
         attribute("cdlDate", t.cdlDate, true) +
         attribute("idVariables", t.idVariables, true) +
         attribute("timeVariables", t.timeVariables, true) +
         attribute("filePeriod", t.filePeriod, false) +
         attribute("fileEndOffset", t.fileEndOffset, false) + t.globals;
  if (!t.data.empty()) cdl += "data:\n" + t.data;
  return cdl + "}\n";
}

// Makes `name` in `dir` from the CDL text; the path, or "" if ncgen failed.
inline std::string makeNetcdf(const TempDir& dir, const std::string& name,
                              const std::string& cdl) {
  std::string source = dir.file(name + ".cdl");
  std::string path = dir.file(name);
  writeFile(source, cdl);
  std::string command = "ncgen -o '" + path + "' '" + source + "' 2>&1";
  return system(command.c_str()) == 0 ? path : std::string();
}

// An open netCDF file for the length of a scope.
class OpenFile {
 public:
  explicit OpenFile(const std::string& path, int mode = NC_NOWRITE) {
    if (nc_open(path.c_str(), mode, &_ncid) != NC_NOERR) _ncid = -1;
  }
  ~OpenFile() {
    if (_ncid >= 0) nc_close(_ncid);
  }
  OpenFile(const OpenFile&) = delete;
  OpenFile& operator=(const OpenFile&) = delete;
  int id() const { return _ncid; }

 private:
  int _ncid = -1;
};

// The whole of a variable as read back by plain netCDF calls, for checks
// that don't go through the store, with the lengths of its dimensions;
// nothing if the file or the variable can't be read.
template <class T>
std::vector<T> getValues(const std::string& path, const char* name,
                         int (*get)(int, int, T*),
                         std::vector<size_t>* lengths = nullptr) {
  OpenFile file(path);
  int var = -1;
  int rank = 0;
  int dims[NC_MAX_VAR_DIMS];
  std::vector<T> values;
  if (nc_inq_varid(file.id(), name, &var) != NC_NOERR ||
      nc_inq_var(file.id(), var, nullptr, nullptr, &rank, dims, nullptr) !=
          NC_NOERR)
    return values;
  size_t total = 1;
  for (int d = 0; d < rank; ++d) {
    size_t length = 0;
    nc_inq_dimlen(file.id(), dims[d], &length);
    total *= length;
    if (lengths != nullptr) lengths->push_back(length);
  }
  values.resize(total);
  if (total > 0 && get(file.id(), var, values.data()) != NC_NOERR)
    values.clear();
  return values;
}
inline std::vector<int> getInts(const std::string& path, const char* name) {
  return getValues<int>(path, name, nc_get_var_int);
}
inline std::vector<double> getDoubles(const std::string& path,
                                      const char* name) {
  return getValues<double>(path, name, nc_get_var_double);
}
// The rows of a char variable of two dimensions, cut at their first NUL.
inline std::vector<std::string> getRows(const std::string& path,
                                        const char* name) {
  std::vector<size_t> lengths;
  std::vector<char> text = getValues<char>(path, name, nc_get_var_text, &lengths);
  std::vector<std::string> rows;
  if (lengths.size() != 2 || text.size() != lengths[0] * lengths[1])
    return rows;
  for (size_t r = 0; r < lengths[0]; ++r) {
    const char* row = text.data() + r * lengths[1];
    rows.push_back(std::string(row, strnlen(row, lengths[1])));
  }
  return rows;
}
// The first `n` rows of a table read back, the ones its count covers.
template <class T>
std::vector<T> firstRows(const std::vector<T>& rows, size_t n) {
  return std::vector<T>(rows.begin(), rows.begin() + std::min(n, rows.size()));
}
inline long recordCount(const std::string& path) {
  OpenFile file(path);
  int dim = -1;
  size_t length = 0;
  if (nc_inq_unlimdim(file.id(), &dim) != NC_NOERR || dim < 0 ||
      nc_inq_dimlen(file.id(), dim, &length) != NC_NOERR)
    return -1;
  return static_cast<long>(length);
}

#endif  // ZEPH_TESTS_POINTDATA_POINTFILETESTSUPPORT_H_
