#ifndef ZEPH_TESTS_POINTDATA_POINTSTOREFIXTURE_H_
#define ZEPH_TESTS_POINTDATA_POINTSTOREFIXTURE_H_

// A directory of point files with its template, and a writer that stores
// observations of stations into it as a product decoder does: get, write
// the data, release.

#include <gtest/gtest.h>
#include <netcdf.h>
#include <unistd.h>

#include <memory>
#include <string>
#include <vector>

#include "AbsTime.h"
#include "DataTime.h"
#include "NetcdfPointData.h"
#include "PointFileTestSupport.h"
#include "PointNetcdfFileInfo.h"
#include "SeqOf.h"
#include "TestSupport.h"

const long kNoon = 1717243200;  // 1 June 2024, 12:00 GMT
const long kHour = 3600;

// The valid times of an inventory, in seconds.
inline std::vector<long> validTimes(const SeqOf<DataTime>& times) {
  std::vector<long> out;
  for (int i = 0; i < times.length(); ++i)
    out.push_back(times.at(i).refTime().seconds() + times.at(i).forecast());
  return out;
}

class PointStoreFixture : public ::testing::Test {
 protected:
  struct Stored {
    int* handle = nullptr;
    long record = -1;
    bool isNew = false;
  };

  // Makes the template of the directory and a writer of it.
  NetcdfPointData& makeWriter(const TemplateForm& form = TemplateForm()) {
    EXPECT_FALSE(makeNetcdf(dir, "template", templateCdl(form)).empty());
    writer.reset(new NetcdfPointData(dir.path().c_str(), true, false));
    EXPECT_NE(nullptr, writer->structure());
    return *writer;
  }

  // Stores one observation and writes its temperature; the handle is
  // released unless `keep`.
  Stored put(const std::string& id, double time, float temperature = 10,
             bool keep = false) {
    return putWith({id}, {time}, temperature, keep);
  }
  Stored putWith(const std::vector<std::string>& idList,
                 const std::vector<double>& timeList, float temperature = 10,
                 bool keep = false) {
    SeqOf<TextString> ids;
    for (const std::string& id : idList) ids.append(id.c_str());
    SeqOf<double> times;
    for (double t : timeList) times.append(t);
    Stored s;
    s.handle = writer->getFileHandleAndRecord(ids, times, s.record, s.isNew);
    if (s.handle != nullptr) finish(s, temperature, keep);
    return s;
  }
  Stored putAt(float lat, float lon, double time, float temperature = 10) {
    float latLon[2] = {lat, lon};
    SeqOf<double> times;
    times.append(time);
    Stored s;
    s.handle =
        writer->getFileHandleAndRecord(latLon, times, s.record, s.isNew);
    if (s.handle != nullptr) finish(s, temperature, false);
    return s;
  }

  // A copy of a file, as another writer would land it.
  void copyFile(const std::string& from, const std::string& to) {
    ASSERT_EQ(0, system(("cp '" + from + "' '" + to + "'").c_str()));
  }
  // Stores one observation through a writer of another directory, which
  // has its template: the files another writer makes.
  void putIn(const TempDir& other, const std::string& id, long time) {
    std::unique_ptr<NetcdfPointData> own(writer.release());
    writer.reset(new NetcdfPointData(other.path().c_str(), true, false));
    EXPECT_NE(nullptr, put(id, time).handle);
    writer.reset(own.release());
  }
  // The path of the file of a time, named as the store names it.
  std::string fileOf(long time, const TempDir* in = nullptr) const {
    return (in ? *in : dir).file(AbsTime(time).format("%Y%m%d_%H%M").chars());
  }

  TempDir dir;
  std::unique_ptr<NetcdfPointData> writer;
  // Microseconds between a record's index on disk and its data.
  useconds_t dataDelay = 0;

 private:
  void finish(Stored& s, float temperature, bool keep) {
    int var = -1;
    size_t at = static_cast<size_t>(s.record);
    if (dataDelay > 0) usleep(dataDelay);
    EXPECT_EQ(NC_NOERR, nc_inq_varid(*s.handle, "temperature", &var));
    EXPECT_EQ(NC_NOERR, nc_put_var1_float(*s.handle, var, &at, &temperature));
    if (!keep) {
      EXPECT_TRUE(writer->releaseHandle(s.handle));
    }
  }
};

#endif  // ZEPH_TESTS_POINTDATA_POINTSTOREFIXTURE_H_
