#include "ProductSite.h"

#include <dirent.h>
#include <unistd.h>
#include <stdlib.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <iterator>

#include <netcdf.h>

#include "BufrEngineState.h"
#include "Config.h"
#include "InfoFileServer.h"
#include "NetcdfPointData.h"
#include "SocketConnection.h"
#include "TimeRange.h"
#include "dmNotify.h"

namespace fs = std::filesystem;

namespace {

// Notifications go out for real; in these tests nobody listens at the
// notification server's port, which is one the system just gave back.
void startNotificationPath() {
  static bool started = [] {
    SeqOf<TextString> triples;
    triples.append("NOTIFICATION_SERVER");
    triples.append("127.0.0.1");
    triples.append(std::to_string(freePort()).c_str());
    Config::instance().set("SocketConnection.namedTargets", triples);
    SocketConnection::start();
    recordNotifications(true);
    return true;
  }();
  (void)started;
}

}  // namespace

void ProductSiteTest::SetUp() {
  fs::create_directories(root.file("home/data"));
  for (const auto& entry : fs::directory_iterator(ZEPH_SOURCE_DIR "/site/data"))
    fs::copy_file(entry.path(),
                  root.file("home/data/") + entry.path().filename().string(),
                  fs::copy_options::overwrite_existing);
  setenv("ZEPH_HOME", root.file("home").c_str(), 1);
  setenv("ZEPH_DATA", root.file("data").c_str(), 1);
  unsetenv("FILE_SERVER_DEFAULT_PATHS");
  resetInfoFileServerForTests();
  BufrEngineState::get().patternCache.clear();
  startNotificationPath();
  clearSentNotifications();
}

void ProductSiteTest::makeProductDirectories(const ProductTraits& traits) {
  _input = data(traits.dataDirectory);
  _bad = data(traits.badDirectory);
  fs::create_directories(_input);
  fs::create_directories(_bad);
}

void ProductSiteTest::makePointDirectory(const std::string& relative,
                                         const std::string& templateName) {
  fs::create_directories(data(relative));
  fs::copy_file(ZEPH_SITE_TEMPLATES "/" + templateName + ".nc",
                data(relative) + "/template",
                fs::copy_options::overwrite_existing);
}

void ProductSiteTest::put(const std::string& name, const std::string& bytes) {
  std::ofstream out(_input + "/" + name, std::ios::binary);
  out << bytes;
}

std::vector<std::string> ProductSiteTest::names(const std::string& directory) {
  std::vector<std::string> found;
  std::error_code error;
  for (const auto& entry : fs::directory_iterator(directory, error))
    found.push_back(entry.path().filename().string());
  std::sort(found.begin(), found.end());
  return found;
}

std::string readBinary(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string((std::istreambuf_iterator<char>(in)),
                     std::istreambuf_iterator<char>());
}

StoredRecord::StoredRecord(const std::string& directory, const std::string& id,
                           const AbsTime& time) {
  _reader = NetcdfPointData::getNetcdfPointData(directory.c_str(), false,
                                                false);
  TimeRange range(time, 1);
  SeqOf<int> records;
  if (_reader && _reader->handlesForId(id.c_str(), range, _handles) &&
      _handles.length() == 1 &&
      _reader->recordsOfIdInRange(id.c_str(), range, _handles[0], records) &&
      records.length() == 1)
    _record = records.at(0);
}

StoredRecord::~StoredRecord() {
  if (_reader) _reader->releaseHandles(_handles);
}

std::vector<float> StoredRecord::floats(const char* name, size_t count) const {
  std::vector<float> out(count, 0);
  int varid;
  size_t start[2] = {static_cast<size_t>(_record), 0};
  size_t edge[2] = {1, count};
  if (found() && nc_inq_varid(*_handles[0], name, &varid) == NC_NOERR)
    nc_get_vara_float(*_handles[0], varid, start, edge, out.data());
  return out;
}

double StoredRecord::number(const char* name) const {
  int varid;
  size_t start[2] = {static_cast<size_t>(_record), 0};
  double value = NAN;
  if (found() && nc_inq_varid(*_handles[0], name, &varid) == NC_NOERR)
    nc_get_var1_double(*_handles[0], varid, start, &value);
  return value;
}

std::string StoredRecord::text(const char* name) const {
  int varid, dims[2];
  size_t length = 0;
  if (!found() || nc_inq_varid(*_handles[0], name, &varid) != NC_NOERR ||
      nc_inq_vardimid(*_handles[0], varid, dims) != NC_NOERR ||
      nc_inq_dimlen(*_handles[0], dims[1], &length) != NC_NOERR)
    return "?";
  std::string row(length, '\0');
  size_t start[2] = {static_cast<size_t>(_record), 0}, edge[2] = {1, length};
  nc_get_vara_text(*_handles[0], varid, start, edge, &row[0]);
  return row.substr(0, row.find('\0'));
}
