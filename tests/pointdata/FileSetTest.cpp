#include <gtest/gtest.h>
#include <netcdf.h>
#include <netcdfcpp.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <string>
#include <vector>

#include "DataAccessFixture.h"
#include "DataTime.h"
#include "LogStream.h"
#include "NetcdfPointData.h"
#include "PointFileStructure.h"
#include "PointNetcdfFileInfo.h"
#include "PointStoreFixture.h"
#include "TestSupport.h"

namespace {

class FileSetTest : public PointStoreFixture {
 protected:
  // Files of these times made from the template as another writer would,
  // without the store's one-second wait.
  void copyTemplate(const std::vector<long>& times) {
    for (long t : times) copyFile(dir.file("template"), fileOf(t));
  }
  static timespec modified(const std::string& path) {
    struct stat status;
    stat(path.c_str(), &status);
    return status.st_mtim;
  }
};

TEST_F(FileSetTest, ATimeGoesToTheFileOfItsPeriod) {
  TemplateForm form;
  form.fileEndOffset = "1800";  // hourly files from half past to half past
  makeWriter(form);
  ASSERT_NE(nullptr, put("KDEN", kNoon + 45 * 60).handle);
  ASSERT_NE(nullptr, put("KDEN", kNoon + 15 * 60).handle);
  EXPECT_EQ(1, recordCount(fileOf(kNoon + kHour)));
  EXPECT_EQ(1, recordCount(fileOf(kNoon)));
  ASSERT_EQ(2, writer->fileTimes().length());
  PointNetcdfFileInfo* newest = writer->fileInfoAt(AbsTime(kNoon + kHour));
  ASSERT_NE(nullptr, newest);
  EXPECT_EQ(AbsTime(kNoon + 1801), newest->refStart);
  EXPECT_EQ(AbsTime(kNoon + 5400), newest->refEnd);
  // The edges of the period belong to it.
  EXPECT_EQ(1, put("KBOU", kNoon + 1801).record);
  EXPECT_EQ(2, put("KAPA", kNoon + 5400).record);
  EXPECT_EQ(3, recordCount(fileOf(kNoon + kHour)));
  // No files but the data files and the template are left behind.
  EXPECT_FALSE(std::ifstream(dir.file("scrfil")).good());
}

TEST_F(FileSetTest, ALostRecordOrAPurgedFileIsNoticed) {
  makeWriter();
  writer->setCheckInterval(0);
  ASSERT_NE(nullptr, put("KDEN", kNoon + 600).handle);
  ASSERT_NE(nullptr, put("KDEN", kNoon + kHour + 600, 77).handle);
  // The record leaves the picture while the list still names the file.
  writer->dropFileInfo(writer->fileInfoAt(AbsTime(kNoon)));
  {
    StderrCapture err;
    EXPECT_EQ(nullptr, put("KBOU", kNoon + 1200).handle);
    EXPECT_EQ("BUG: Failed to lookup Jun 01 24 12:20:00 GMT in file "
              "dictionary while getting object for this time: " +
                  dir.path() +
                  "\nPROBLEM: Resync count is now 1\n"
                  "EVENT: This file was probably purged away\n",
              err.text());
  }
  EXPECT_EQ(1, writer->resyncCount());
  // The next store finds the rebuilt picture and the records in the file.
  Stored s = put("KDEN", kNoon + 600);
  EXPECT_FALSE(s.isNew);
  EXPECT_EQ(0, s.record);
  EXPECT_EQ(1, put("KBOU", kNoon + 1200).record);

  ASSERT_EQ(0, unlink(fileOf(kNoon).c_str()));
  {
    StderrCapture err;
    EXPECT_EQ(nullptr, put("KBOU", kNoon + 1300).handle);
    EXPECT_EQ("EVENT: This file was probably purged away\n", err.text());
  }
  EXPECT_EQ(AbsTime(kNoon + kHour), writer->oldestUsableTime());
  EXPECT_EQ(1, writer->fileTimes().length());
  // An older time is refused at once; the newer file goes on.
  EXPECT_EQ(nullptr, put("KBOU", kNoon + 1400).handle);
  EXPECT_FALSE(std::ifstream(fileOf(kNoon)).good()) << "nothing made again";
  EXPECT_EQ(1, put("KBOU", kNoon + kHour + 700).record);
  EXPECT_EQ(77, getDoubles(fileOf(kNoon + kHour), "temperature")[0]);
}

TEST_F(FileSetTest, ABadFileIsHeldOutForThreeScans) {
  TemplateForm form;
  ASSERT_FALSE(makeNetcdf(dir, "template", templateCdl(form)).empty());
  copyTemplate({kNoon});
  writeFile(fileOf(kNoon - kHour), "not a netCDF file");
  std::string problem =
      "PROBLEM: Format or ownership problems with the file " +
      fileOf(kNoon - kHour) + "\n";
  {
    StderrCapture err;
    writer.reset(new NetcdfPointData(dir.path().c_str(), true, false));
    EXPECT_EQ(problem, err.text());
  }
  EXPECT_TRUE(writer->isBadFile(AbsTime(kNoon - kHour)));
  EXPECT_EQ(1, writer->fileTimes().length());
  // Three scans of a changed directory pass it over; the fourth tries it.
  for (int scan = 1; scan <= 4; ++scan) {
    writeFile(dir.file("note" + std::to_string(scan)), "");
    StderrCapture err;
    writer->resync();
    EXPECT_EQ(scan == 4 ? problem : "", err.text()) << "scan " << scan;
  }
  // Once it is gone, the hold ends with the next scan.
  ASSERT_EQ(0, unlink(fileOf(kNoon - kHour).c_str()));
  writer->resync();
  EXPECT_FALSE(writer->isBadFile(AbsTime(kNoon - kHour)));

  // A directory whose time didn't change isn't listed, even if a file
  // came in under it.
  timespec before = modified(dir.path());
  copyTemplate({kNoon + kHour});
  timespec times[2] = {before, before};
  ASSERT_EQ(0, utimensat(AT_FDCWD, dir.path().c_str(), times, 0));
  EXPECT_FALSE(writer->resync());
  EXPECT_EQ(1, writer->fileTimes().length());
  writeFile(dir.file("note5"), "");
  EXPECT_TRUE(writer->resync());
  EXPECT_EQ(2, writer->fileTimes().length());
}

TEST_F(FileSetTest, AWriterKeepsItsNewestFilesOpenAndARecordItsHandle) {
  TemplateForm form;
  form.globals = "  :max_open = 2 ;\n";
  makeWriter(form);
  int base = NetcdfPointData::fileOpenCount();
  auto opened = [&] { return NetcdfPointData::fileOpenCount() - base; };
  for (int hour = 0; hour < 4; ++hour) {
    for (int i = 0; i < 3; ++i)
      ASSERT_NE(nullptr,
                put("S" + std::to_string(i), kNoon + hour * kHour + i).handle);
    EXPECT_GE(2, opened()) << "hour " << hour;
  }
  // The older files are closed and hold no tables.
  for (int hour = 0; hour < 2; ++hour) {
    PointNetcdfFileInfo* info = writer->fileInfoAt(AbsTime(kNoon + hour * kHour));
    ASSERT_NE(nullptr, info);
    EXPECT_EQ(nullptr, info->handle);
    EXPECT_GE(1, info->level);
  }
  // A late report opens its old file for the store and closes it again.
  Stored late = put("S9", kNoon + 10, 1, true);
  ASSERT_NE(nullptr, late.handle);
  EXPECT_EQ(3, opened());
  EXPECT_TRUE(writer->releaseHandle(late.handle));
  EXPECT_EQ(2, opened());
  EXPECT_EQ(4, recordCount(fileOf(kNoon)));
  EXPECT_EQ(3, getInts(fileOf(kNoon), "lastRecord")[3]);

  // Each open record has one handle.
  PointNetcdfFileInfo* info = writer->fileInfoAt(AbsTime(kNoon));
  ASSERT_TRUE(writer->openFileInfo(info));
  EXPECT_EQ(3, opened());
  EXPECT_EQ(3, writer->handleCount());
  writer->closeFileInfo(info);
  EXPECT_EQ(nullptr, info->handle);
  EXPECT_EQ(2, opened());
  EXPECT_EQ(2, writer->handleCount());
  ASSERT_TRUE(writer->openFileInfo(info));
  ASSERT_NE(nullptr, info->ncFile);
  EXPECT_EQ(3, writer->handleCount());
  // A record that has a good file keeps it and lets the other go.
  NcFile* other = writer->openNetCdfFile(info->path, true, true);
  ASSERT_NE(nullptr, other);
  writer->giveNcFileToFileInfo(info, other);
  EXPECT_EQ(3, opened());
  // A handle that lost its file takes the one given, id and all.
  NcFile* own = info->ncFile;
  info->ncFile = nullptr;
  StderrCapture err;
  writer->giveNcFileToFileInfo(info, own);
  writer->giveNcFileToFileInfo(info, nullptr);
  EXPECT_EQ("PROBLEM: Handle with no NcFile object for " + fileOf(kNoon) +
                "\nBUG: Bad NcFile* passed into giveNcFileToFileInfo()\n",
            err.text());
  EXPECT_EQ(own, info->ncFile);
  EXPECT_EQ(own->id(), *info->handle);
  EXPECT_EQ(4, put("S9", kNoon + 20).record);

  // A file that a query can't read is held out of the next scans; the
  // newest makes the caller wait a second instead.
  const long newest = kNoon + 4 * kHour;
  copyTemplate({newest});
  ASSERT_TRUE(writer->resync());
  StderrCapture noted;
  writer->noteFileAccessError(writer->fileInfoAt(AbsTime(newest)));
  writer->noteFileAccessError(info);
  EXPECT_EQ("PROBLEM: File access error noted for newest file, " +
                fileOf(newest) + ", pausing.\nPROBLEM: File access error "
                "noted for " + fileOf(kNoon) + "\n",
            noted.text());
  EXPECT_TRUE(writer->isBadFile(AbsTime(kNoon)));
  writeFile(dir.file("note"), "");
  writer->resync();
  EXPECT_EQ(4, writer->fileTimes().length());
  EXPECT_EQ(nullptr, writer->fileInfoAt(AbsTime(kNoon)));
}

TEST_F(FileSetTest, ProcessWideObjectsAndReadersWithoutATemplate) {
  TempDir empty;
  {
    StderrCapture err;
    EXPECT_EQ(nullptr, NetcdfPointData::getNetcdfPointData(
                           empty.path().c_str(), false, false));
    EXPECT_EQ(nullptr, NetcdfPointData::getNetcdfPointData(
                           empty.path().c_str(), true, false));
    EXPECT_EQ(2, countOf(err.text(), "PROBLEM: Could not open " +
                                         empty.path() +
                                         "/template in openNetCdfFile\n"));
  }
  // A failed directory isn't tried again, even once it has a file.
  TemplateForm form;
  ASSERT_FALSE(makeNetcdf(empty, "20240601_1200", templateCdl(form)).empty());
  StderrCapture err;
  EXPECT_EQ(nullptr, NetcdfPointData::getNetcdfPointData(
                         empty.path().c_str(), false, false));
  EXPECT_EQ("", err.text());

  // A reader takes the newest file in place of a missing template.
  ASSERT_FALSE(makeNetcdf(dir, "20240601_1200", templateCdl(form)).empty());
  NetcdfPointData* reader =
      NetcdfPointData::getNetcdfPointData(dir.path().c_str(), false, false);
  ASSERT_NE(nullptr, reader);
  EXPECT_EQ(reader, NetcdfPointData::getNetcdfPointData(dir.path().c_str(),
                                                        false, false));
  EXPECT_EQ(TextString("20240601"), reader->structure()->cdlDate);
  EXPECT_EQ(1, reader->fileTimes().length());
  EXPECT_NE(nullptr, reader->getFileInfoForTime(AbsTime(kNoon + 10)));
  EXPECT_EQ(nullptr, NetcdfPointData::getNetcdfPointData(dir.path().c_str(),
                                                         true, false))
      << "a writer needs its template";
}

// Records of 36 files, each loaded by a reader and left without a client:
// no more than 8 keep their file open and no more than 35 their tables.
TEST_F(FileSetTest, IdleRecordsAreBounded) {
  TemplateForm form;
  ASSERT_FALSE(makeNetcdf(dir, "template", templateCdl(form)).empty());
  std::vector<long> times;
  for (int i = 0; i < 36; ++i) times.push_back(kNoon + i * kHour);
  copyTemplate(times);
  ASSERT_EQ(0, NetcdfPointData::clientlessObjectCount());
  NetcdfPointData reader(dir.path().c_str(), false, false);
  ASSERT_EQ(36, reader.fileTimes().length());
  std::vector<PointNetcdfFileInfo*> records;
  for (long t : times) {
    PointNetcdfFileInfo* info = reader.getFileInfoForTime(AbsTime(t + 10));
    ASSERT_NE(nullptr, info);
    ASSERT_TRUE(reader.updateFileInfo(-1, info, 3));
    records.push_back(info);
    EXPECT_GE(8, NetcdfPointData::clientlessHandleCount());
    EXPECT_GE(35, NetcdfPointData::clientlessObjectCount());
  }
  EXPECT_EQ(8, NetcdfPointData::clientlessHandleCount());
  EXPECT_EQ(35, NetcdfPointData::clientlessObjectCount());
  EXPECT_EQ(1, records[0]->level) << "the oldest lost its tables";
  EXPECT_EQ(-1, records[0]->ncid) << "and its file";
  EXPECT_EQ(3, records[1]->level);
  EXPECT_EQ(nullptr, records[27]->handle) << "the oldest handles closed";
  for (int i = 28; i < 36; ++i) EXPECT_NE(nullptr, records[i]->handle) << i;
  // The next query loads the dropped record again.
  ASSERT_TRUE(reader.updateFileInfo(-1, records[0], 3));
  EXPECT_EQ(3, records[0]->level);
}

TEST_F(FileSetTest, AReaderInAnotherProcessSeesEachRecordAfterRelease) {
  makeWriter();
  int toChild[2];
  int toParent[2];
  ASSERT_EQ(0, pipe(toChild));
  ASSERT_EQ(0, pipe(toParent));
  pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    close(toChild[1]);
    close(toParent[0]);
    NetcdfPointData reader(dir.path().c_str(), false, false);
    char k;
    while (read(toChild[0], &k, 1) == 1) {
      AbsTime time(kNoon + 60 * k);
      // As the notification of new data tells a reader.
      reader.noteNewDataTime(DataTime(time));
      PointNetcdfFileInfo* info = reader.getFileInfoForTime(time);
      std::string id = "S" + std::to_string(int(k));
      char answer = 'n';
      if (info != nullptr && reader.updateFileInfo(-1, info, 5)) {
        long row = NetcdfPointData::findStaticId(id.c_str(), info);
        float value = 0;
        size_t at = static_cast<size_t>(k);
        int var = -1;
        if (info->nRecords == k + 1 && row >= 0 &&
            info->lastRecord[row] == k && info->handle != nullptr &&
            nc_inq_varid(*info->handle, "temperature", &var) == NC_NOERR &&
            nc_get_var1_float(*info->handle, var, &at, &value) == NC_NOERR &&
            value == 1.5f * k)
          answer = 'y';
      }
      if (write(toParent[1], &answer, 1) != 1) break;
    }
    _exit(0);
  }
  close(toChild[0]);
  close(toParent[1]);
  for (char k = 0; k < 5; ++k) {
    ASSERT_NE(nullptr, put("S" + std::to_string(int(k)), kNoon + 60 * k, 1.5f * k)
                           .handle);
    ASSERT_EQ(1, write(toChild[1], &k, 1));
    char answer = 0;
    ASSERT_EQ(1, read(toParent[0], &answer, 1));
    EXPECT_EQ('y', answer) << "record " << int(k);
  }
  close(toChild[1]);
  int status = 0;
  waitpid(child, &status, 0);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  close(toParent[0]);
}

using DataAccessKeyTest = DataAccessFixture;

TEST_F(DataAccessKeyTest, AKeyNamesADirectoryOrAStaticFile) {
  useTable(
      "4100 | sfc | 0|0|0|0|0 | point/sfc/netcdf | | | surface reports\n"
      "4200 | stations | 0|0|0|0|0 | static | stations | .nc | station table\n"
      "4300 | gone | 0|0|0|0|0 | static | gone | .nc | missing\n");
  env.set("ZEPH_HOME", dir.path());
  std::string sfc = dataRoot() + "/point/sfc/netcdf";
  ASSERT_EQ(0, system(("mkdir -p '" + sfc + "' '" + dir.file("data/static") +
                       "'").c_str()));
  TemplateForm form;
  TempDir scratch;
  std::string made = makeNetcdf(scratch, "template", templateCdl(form));
  ASSERT_EQ(0, system(("cp '" + made + "' '" + sfc + "/template' && cp '" +
                       made + "' '" + dir.file("data/static/stations.nc") + "'")
                          .c_str()));

  NetcdfPointData* store = NetcdfPointData::getNetcdfPointData(4100, true);
  ASSERT_NE(nullptr, store);
  EXPECT_EQ(TextString(sfc.c_str()), store->directory());
  EXPECT_FALSE(store->isStatic());
  StderrCapture event;
  NetcdfPointData* table = NetcdfPointData::getNetcdfPointData(4200, false);
  EXPECT_EQ("EVENT: Static data with time variables not meaningful\n",
            event.text());
  ASSERT_NE(nullptr, table);
  EXPECT_TRUE(table->isStatic());
  EXPECT_NE(nullptr, table->getFileInfoForTime(AbsTime(kNoon)));

  StderrCapture err;
  EXPECT_EQ(nullptr, NetcdfPointData::getNetcdfPointData(4300, false));
  EXPECT_EQ(nullptr, NetcdfPointData::getNetcdfPointData(4999, false));
  unsetenv("ZEPH_DATA");
  EXPECT_EQ(nullptr, NetcdfPointData::getNetcdfPointData(4100, false));
  EXPECT_EQ(
      "PROBLEM: Could not find static file static/gone.nc\n"
      "PROBLEM: Unable to read DataAccessKey 4999 from dictionary\n"
      "PROBLEM: Error in DM_DataAccessInfo constructor\n"
      "PROBLEM: Env var ZEPH_DATA not defined\n",
      err.text());
}

}  // namespace
