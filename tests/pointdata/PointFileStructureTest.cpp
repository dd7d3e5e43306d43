#include <gtest/gtest.h>
#include <netcdf.h>
#include <stdlib.h>

#include <functional>
#include <memory>
#include <string>

#include "../foundation/SearchEnvironment.h"
#include "LogStream.h"
#include "NetcdfPointData.h"
#include "PointFileStructure.h"
#include "PointFileTestSupport.h"
#include "PointNetcdfFileInfo.h"
#include "TestSupport.h"

namespace {

const char* const kFileSetSource = "pointdata/NetcdfPointDataFiles.cpp";

class PointFileStructureTest : public ::testing::Test {
 protected:
  // The structure of a file made from `cdl`, read by a new object of the
  // test directory or by the one before; the object owns what it answers.
  PointFileStructure* read(const std::string& cdl,
                           PointNetcdfFileInfo* info = nullptr,
                           bool writable = true, bool isStatic = false,
                           bool newObject = true) {
    std::string path =
        makeNetcdf(dir, "f" + std::to_string(++files) + ".nc", cdl);
    EXPECT_FALSE(path.empty()) << cdl;
    std::string where = isStatic ? path : dir.path();
    if (newObject || !store) {
      // A bare object: its missing template isn't what these tests read.
      LogStream& log = LogStream::instance();
      log.setFilter(nullptr, kFileSetSource, LogStream::TTY,
                    LogStream::PROBLEM, false);
      store.reset(new NetcdfPointData(where.c_str(), writable, isStatic));
      log.setFilter(nullptr, kFileSetSource, LogStream::TTY,
                    LogStream::PROBLEM, true);
    }
    OpenFile file(path);
    if (info != nullptr) info->path = path.c_str();
    return store->getFileStructure(file.id(), info);
  }
  PointFileStructure* read(const TemplateForm& form) {
    return read(templateCdl(form));
  }
  int varId(const std::string& path, const char* name) {
    OpenFile file(path);
    int id = -1;
    nc_inq_varid(file.id(), name, &id);
    return id;
  }
  std::string lastPath() {
    return dir.file("f" + std::to_string(files) + ".nc");
  }

  TempDir dir;
  std::unique_ptr<NetcdfPointData> store;
  int files = 0;
};

TEST_F(PointFileStructureTest, StationTemplateIsReadSilently) {
  TemplateForm form;
  form.dimensions = "  fcst = 3 ;\n";
  form.variables =
      "  int version ;\n  float table(stnLen) ;\n"
      "  float byForecast(recNum, fcst) ;\n";
  StderrCapture err;
  PointFileStructure* s = read(form);
  ASSERT_NE(nullptr, s);
  EXPECT_EQ("", err.text()) << "optional items are read without a word";
  EXPECT_EQ(TextString("20240601"), s->cdlDate);
  EXPECT_EQ(50, s->maxStaticIds);
  EXPECT_EQ(10, s->totalIdLen);
  EXPECT_EQ(4, s->nBins);
  EXPECT_FALSE(s->latLonIndexed || s->recordForecasts || s->inventoryIsChar);
  EXPECT_TRUE(s->cacheMetadata);
  EXPECT_EQ(3600, s->filePeriod);
  EXPECT_EQ(900, s->binPeriod);
  EXPECT_EQ(0, s->fileStartOffset);
  EXPECT_EQ(3599, s->fileEndOffset);
  EXPECT_EQ(varId(lastPath(), "stationId"), s->idVars.at(0));
  EXPECT_EQ(8, s->idVarLens.at(0));
  EXPECT_EQ(varId(lastPath(), "timeObs"), s->timeVars.at(0));
  EXPECT_EQ(varId(lastPath(), "longitude"), s->lonVar);
  EXPECT_EQ(varId(lastPath(), "prevRecord"), s->prevRecordVar);
  EXPECT_EQ(-1, s->invTimeVar);
  EXPECT_EQ(-1, s->forecastDim);
  EXPECT_EQ(2, s->maxOpen);
  EXPECT_EQ(3600, store->fileStep());

  SeqOf<int> entry;
  ASSERT_TRUE(s->variables.lookup("stationId", &entry));
  EXPECT_EQ(8, entry.at(1));
  EXPECT_EQ(NC_CHAR, entry.at(2));
  ASSERT_TRUE(s->variables.lookup("temperature", &entry));
  EXPECT_EQ(2, entry.length());
  ASSERT_TRUE(s->variables.lookup("version", &entry));
  EXPECT_EQ(0, entry.at(1)) << "a scalar";
  ASSERT_TRUE(s->variables.lookup("byForecast", &entry));
  EXPECT_EQ(3, entry.at(1)) << "fcst isn't the forecast dimension here";
  EXPECT_FALSE(s->variables.lookup("table")) << "not a record variable";
  for (const char* index : {"staticIds", "prevRecord", "globalInventory"})
    EXPECT_FALSE(s->variables.lookup(index)) << index;
}

TEST_F(PointFileStructureTest, FilesOfOneVersionShareTheStructure) {
  TemplateForm form;
  PointFileStructure* first = read(form);
  ASSERT_NE(nullptr, first);
  form.data =
      "  stationId = \"KDEN\", \"KBOU\" ;\n  timeObs = 1, 2 ;\n"
      "  nStaticIds = 2 ;\n"
      "  globalInventory = 12 ;\n  firstOverflow = -1 ;\n";
  PointNetcdfFileInfo info;
  EXPECT_EQ(first, read(templateCdl(form), &info, true, false, false));
  EXPECT_EQ(1, store->structureCount());
  EXPECT_EQ(first, info.structure);
  EXPECT_EQ(1, info.level);
  EXPECT_EQ(2, info.nRecords);
  EXPECT_EQ(2, info.nStaticIds);
  EXPECT_EQ(12, info.globalInventory);
  EXPECT_EQ(-1, info.firstOverflow);
  EXPECT_EQ(nullptr, info.firstInBin) << "only level 1 is read";

  form.cdlDate = "";
  AbsTime before = AbsTime::now();
  PointFileStructure* unnamed = read(form);
  ASSERT_NE(nullptr, unnamed);
  EXPECT_GE(AbsTime::now() - before, 1) << "one second for a copy in progress";
  EXPECT_EQ(TextString(""), unnamed->cdlDate);
}

struct RuleCase {
  const char* name;
  std::function<void(TemplateForm&)> change;
  const char* text;
};

TEST_F(PointFileStructureTest, EachRuleFailsWithItsWords) {
  const RuleCase cases[] = {
      {"no table, no positions",
       [](TemplateForm& t) {
         t.maxStaticIds = 0;
         t.positions = false;
       },
       "PROBLEM: Missing maxStaticIds dimension incompatible  with no lat/lon "
       "data\n"},
      {"table without totalIdLen", [](TemplateForm& t) { t.totalIdLen = 0; },
       "PROBLEM: Could not get size for totalIdLen\n"},
      {"table without bins", [](TemplateForm& t) { t.nBins = 0; },
       "PROBLEM: Could not get size for nInventoryBins\n"},
      {"short lat/lon ids",
       [](TemplateForm& t) {
         t.idVariables = "latitude,longitude";
         t.totalIdLen = 6;
       },
       "PROBLEM: totalIdLen dimension must be at least 7 for lat/lon ids\n"},
      {"ids without text",
       [](TemplateForm& t) { t.idVariables = "temperature"; },
       "PROBLEM: No useable variables in idVariables attribute\n"},
      {"ids longer than the table's", [](TemplateForm& t) { t.totalIdLen = 6; },
       "PROBLEM: totalIdLen dimension too small for id data\n"},
      {"unknown id variable",
       [](TemplateForm& t) { t.idVariables = "stationId,bogus"; },
       "PROBLEM: Variable bogus listed in idVariables not found.\n"},
      {"id variable off the record",
       [](TemplateForm& t) { t.idVariables = "staticIds"; },
       "PROBLEM: Variable staticIds listed in idVariables not sutable for "
       "time/id.\n"},
      {"id variables of two kinds",
       [](TemplateForm& t) { t.idVariables = "stationId,temperature"; },
       "PROBLEM: Variable temperature listed in idVariables not compatible "
       "with others.\n"},
      {"eleven id variables",
       [](TemplateForm& t) {
         t.idVariables = "stationId";
         for (int i = 0; i < 10; ++i) t.idVariables += ",stationId";
       },
       "PROBLEM: Too many variables listed in  idVariables\n"},
      {"empty id list", [](TemplateForm& t) { t.idVariables = " "; },
       "PROBLEM: Attribute name is empty:  idVariables\n"},
      {"no id list", [](TemplateForm& t) { t.idVariables = ""; },
       "PROBLEM: Bad inquiry about idVariables attribute\n"},
      {"double positions as ids",
       [](TemplateForm& t) {
         t.positions = false;
         t.variables =
             "  double latitude(recNum) ;\n  double longitude(recNum) ;\n";
         t.idVariables = "latitude,longitude";
       },
       "PROBLEM: latitude,longitude variables must have one dimension and be "
       "float\n"},
      {"two candidate times",
       [](TemplateForm& t) {
         t.timeVariables = "";
         t.variables = "  double validTime(recNum) ;\n";
       },
       "PROBLEM: No time variables identified\n"},
      {"time of two dimensions",
       [](TemplateForm& t) { t.timeVariables = "stationId"; },
       "PROBLEM: Time variables should have only record dimension\n"},
      {"record forecasts with one time",
       [](TemplateForm& t) { t.globals = "  :have_forecasts = \"true\" ;\n"; },
       "PROBLEM: File with record based forecast times must have at least two "
       "time variables, for the reference and valid times, respectively\n"},
      {"forecast list too short",
       [](TemplateForm& t) {
         t.dimensions = "  fcst = 3 ;\n";
         t.globals =
             "  :have_forecasts = \"fcst\" ;\n  :forecast_list = \"0,3600\" "
             ";\n";
       },
       "PROBLEM: If have_forecasts names a dimension then the forecast_list "
       "attribute must contain that many comma delimited integers that are "
       "forecast times represented by that dimension\n"},
      {"times and table without prevRecord",
       [](TemplateForm& t) { t.omit = {"prevRecord"}; },
       "PROBLEM: If there are static tables and time varying data, the "
       "prevRecord variable must exist\n"},
      {"period of 59", [](TemplateForm& t) { t.filePeriod = "59"; },
       "PROBLEM: File period of 59 is out of range\n"},
      {"period of 86401", [](TemplateForm& t) { t.filePeriod = "86401"; },
       "PROBLEM: File period of 86401 is out of range\n"},
      {"end at the period", [](TemplateForm& t) { t.fileEndOffset = "3600"; },
       "PROBLEM: File end offset of 3600 is out of range\n"},
      {"end before the start", [](TemplateForm& t) { t.fileEndOffset = "-1"; },
       "PROBLEM: File end offset of -1 is out of range\n"},
      {"no period", [](TemplateForm& t) { t.filePeriod = ""; },
       "PROBLEM: Could not get value for filePeriod\n"},
      {"no end offset", [](TemplateForm& t) { t.fileEndOffset = ""; },
       "PROBLEM: Could not get value for fileEndOffset\n"},
      {"end offset without times",
       [](TemplateForm& t) {
         t.maxStaticIds = 0;
         t.totalIdLen = 0;
         t.nBins = 0;
         t.idVariables = "";
         t.timeVariables = "";
         t.filePeriod = "";
         t.omit = {"timeObs"};
       },
       "PROBLEM: Having no time variable inconsistent with defining the file "
       "end offset\n"},
      {"two times without invTime",
       [](TemplateForm& t) {
         t.timeVariables = "timeObs,validTime";
         t.variables = "  double validTime(recNum) ;\n";
       },
       "PROBLEM: Could not get variable id for invTime\n"},
      {"no staticIds", [](TemplateForm& t) { t.omit = {"staticIds"}; },
       "PROBLEM: Could not get variable id for staticIds\n"},
      {"no firstInBin", [](TemplateForm& t) { t.omit = {"firstInBin"}; },
       "PROBLEM: Could not get variable id for firstInBin\n"},
      {"float inventory",
       [](TemplateForm& t) {
         t.omit = {"globalInventory"};
         t.variables = "  float globalInventory ;\n";
       },
       "PROBLEM: Bad variable characteristics for variable globalInventory\n"},
      {"33 bits", [](TemplateForm& t) { t.nBins = 33; },
       "PROBLEM: Inventory variables need to be chars when the number of bins "
       "is more than 32\n"},
  };
  for (const RuleCase& c : cases) {
    SCOPED_TRACE(c.name);
    TemplateForm form;
    c.change(form);
    StderrCapture err;
    EXPECT_EQ(nullptr, read(form));
    EXPECT_NE(std::string::npos, err.text().find(c.text)) << err.text();
    EXPECT_EQ(0, store->structureCount());
  }
}

TEST_F(PointFileStructureTest, ReadersOfListsAndValues) {
  TemplateForm form;
  std::string many = "stationId";
  for (int i = 0; i < 30; ++i) many += ", stationId";
  form.globals = "  :latLonVars = \"latitude\" ;\n  :manyIds = \"" + many +
                 "\" ;\n  :longList = \"" + std::string(500, 'x') +
                 "\" ;\n  :textPeriod = \"1800\" ;\n";
  std::string path = makeNetcdf(dir, "lists.nc", templateCdl(form));
  NetcdfPointData reader(dir.path().c_str(), false, false);
  OpenFile file(path);
  SeqOf<int> ids;
  SeqOf<int> lengths;
  long total = 0;
  struct Case {
    const char* attribute;
    const char* text;
  };
  for (const Case& c :
       {Case{"latLonVars", "latLonVars attribute must contain two entries"},
        Case{"manyIds", "Too many variables listed in  manyIds"},
        Case{"longList", "Bad inquiry about longList attribute"},
        Case{"absent", "Bad inquiry about absent attribute"}}) {
    StderrCapture err;
    EXPECT_FALSE(
        reader.variableList(file.id(), c.attribute, ids, total, lengths));
    EXPECT_EQ(std::string("PROBLEM: ") + c.text + "\n", err.text());
  }
  EXPECT_EQ(-1, total) << "no list found";
  EXPECT_TRUE(
      reader.variableList(file.id(), "idVariables", ids, total, lengths));
  EXPECT_EQ(8, total);

  StderrCapture err;
  int value = 0;
  EXPECT_TRUE(reader.attributeInt(file.id(), "textPeriod", value));
  EXPECT_EQ(1800, value);
  TextString text;
  EXPECT_FALSE(reader.attributeText(file.id(), "filePeriod", text));
  EXPECT_EQ(-1, reader.dimensionSize(file.id(), "nope"));
  EXPECT_EQ(-1, reader.variableId(file.id(), "nope"));
  EXPECT_EQ(
      "PROBLEM: Bad inquiry about filePeriod attribute\n"
      "PROBLEM: Could not get size for nope\n"
      "PROBLEM: Could not get variable id for nope\n",
      err.text());
}

TEST_F(PointFileStructureTest, FileWithoutRecordDimensionFails) {
  StderrCapture err;
  EXPECT_EQ(nullptr, read("netcdf t {\ndimensions:\n  n = 3 ;\nvariables:\n"
                          "  float latitude(n) ;\n  :cdlDate = \"1\" ;\n}\n"));
  EXPECT_EQ("PROBLEM: Could not get id of record dimension\n", err.text());
}

TEST_F(PointFileStructureTest, PositionFilesWithAndWithoutIds) {
  TemplateForm plain;
  plain.maxStaticIds = 0;
  plain.totalIdLen = 0;
  plain.nBins = 0;
  plain.idVariables = "";
  plain.omit = {"stationId"};
  StderrCapture err;
  PointFileStructure* s = read(plain);
  ASSERT_NE(nullptr, s);
  EXPECT_NE(std::string::npos,
            err.text().find("EVENT: No maxStaticIds dimension means no record "
                            "mapping\n"));
  EXPECT_TRUE(s->latLonIndexed);
  EXPECT_EQ(0, s->maxStaticIds);
  EXPECT_EQ(0, s->totalIdLen) << "no id text";
  EXPECT_EQ(-1, s->prevRecordVar) << "every record is new";
  EXPECT_EQ(1, s->nBins);

  plain.globals = "  :prevRecord = \"none\" ;\n";
  plain.idVariables = "latitude,longitude";
  plain.totalIdLen = 13;
  s = read(plain);
  ASSERT_NE(nullptr, s);
  EXPECT_TRUE(s->latLonIndexed);
  EXPECT_EQ(13, s->totalIdLen);
  EXPECT_EQ(PointFileStructure::kNoRecordChain, s->prevRecordVar);

  TemplateForm table;
  table.idVariables = "latitude,longitude";
  table.totalIdLen = 7;
  s = read(table);
  ASSERT_NE(nullptr, s);
  EXPECT_TRUE(s->latLonIndexed);
  EXPECT_EQ(7, s->totalIdLen);
  EXPECT_EQ(2, s->idVars.length()) << "the position is the id";
  EXPECT_EQ(s->latVar, s->idVars.at(0));
  EXPECT_EQ(0, s->idVarLens.length());

  TemplateForm named;
  named.positions = false;
  named.variables = "  float lat(recNum) ;\n  float lon(recNum) ;\n";
  named.globals = "  :latLonVars = \"lat, lon\" ;\n";
  s = read(named);
  ASSERT_NE(nullptr, s);
  EXPECT_EQ(TextString("lat,lon"), store->latLonVarText());
  SeqOf<int> alias;
  ASSERT_TRUE(s->variables.lookup("latitude", &alias));
  ASSERT_EQ(2, alias.length());
  EXPECT_EQ(s->latVar, alias.at(0));
  EXPECT_EQ(NC_FLOAT, alias.at(1));
  ASSERT_TRUE(s->variables.lookup("longitude", &alias));
  EXPECT_EQ(s->lonVar, alias.at(0));
}

TEST_F(PointFileStructureTest, TimesAndForecasts) {
  TemplateForm form;
  form.timeVariables = "";
  StderrCapture named;
  PointFileStructure* s = read(form);
  ASSERT_NE(nullptr, s);
  EXPECT_EQ("EVENT: Time variable defaults to timeObs\n", named.text());
  EXPECT_EQ(1, s->timeVars.length());

  TemplateForm none;
  none.maxStaticIds = none.totalIdLen = none.nBins = 0;
  none.idVariables = none.timeVariables = none.fileEndOffset = "";
  none.omit = {"timeObs"};
  StderrCapture noTime;
  s = read(none);
  ASSERT_NE(nullptr, s);
  EXPECT_NE(std::string::npos,
            noTime.text().find("EVENT: No time variables found, will just use "
                               "file time stamp for time of data\n"));
  EXPECT_NE(std::string::npos,
            noTime.text().find("PROBLEM: Having no time variable inconsistent "
                               "with defining the file period\n"));
  EXPECT_EQ(60, s->filePeriod) << "the period given is not used";
  EXPECT_EQ(-30, s->fileStartOffset);
  EXPECT_EQ(30, s->fileEndOffset);

  TemplateForm along;
  along.dimensions = "  fcst = 3 ;\n";
  along.variables = "  float byForecast(recNum, fcst) ;\n";
  along.globals =
      "  :have_forecasts = \"fcst\" ;\n"
      "  :forecast_list = \"0, 3600,7200,x,9\" ;\n";
  s = read(along);
  ASSERT_NE(nullptr, s);
  EXPECT_TRUE(store->haveForecasts());
  EXPECT_EQ(5, s->forecastDim) << "the sixth dimension";
  ASSERT_EQ(3, s->forecastList.length()) << "the list ends at a bad entry";
  EXPECT_EQ(7200, s->forecastList.at(2));
  SeqOf<int> entry;
  ASSERT_TRUE(s->variables.lookup("byForecast", &entry));
  EXPECT_EQ(PointFileStructure::kForecastDimension, entry.at(1));
  along.globals = "  :have_forecasts = \"nonesuch\" ;\n";
  s = read(along);
  ASSERT_NE(nullptr, s);
  EXPECT_FALSE(store->haveForecasts()) << "no such dimension: ignored";

  TemplateForm runs;
  runs.nBins = 21;
  runs.timeVariables = "refTime,validTime";
  runs.variables =
      "  double refTime(recNum) ;\n  double validTime(recNum) ;\n"
      "  int invTime(recNum) ;\n";
  runs.globals = "  :have_forecasts = \"true\" ;\n";
  runs.filePeriod = runs.fileEndOffset = "216000";
  s = read(runs);
  ASSERT_NE(nullptr, s);
  EXPECT_TRUE(s->recordForecasts && store->haveForecasts());
  EXPECT_GE(s->invTimeVar, 0);
  EXPECT_EQ(10800, s->binPeriod) << "the forecast hours are the bins";
  EXPECT_EQ(10800, s->filePeriod);
  EXPECT_EQ(0, s->fileStartOffset);
  EXPECT_EQ(10800, store->fileStep());
  runs.fileEndOffset = "215999";
  StderrCapture err;
  EXPECT_EQ(nullptr, read(runs));
  EXPECT_EQ("PROBLEM: File end offset of 215999 is out of range\n", err.text());
}

TEST_F(PointFileStructureTest, PeriodsOffsetsAndLimits) {
  struct Case {
    const char* period;
    const char* end;
    long nBins;
    long binPeriod;
    long start;
  };
  for (const Case& c :
       {Case{"60", "59", 4, 15, 0}, Case{"86400", "0", 4, 21600, -86399},
        Case{"3600", "3599", 4, 900, 0}, Case{"3600", "1800", 4, 900, -1799},
        Case{"3600", "3599", 32, 112, 0}}) {
    SCOPED_TRACE(std::string(c.period) + " " + c.end);
    TemplateForm form;
    form.filePeriod = c.period;
    form.fileEndOffset = c.end;
    form.nBins = c.nBins;
    PointFileStructure* s = read(form);
    ASSERT_NE(nullptr, s);
    EXPECT_EQ(c.binPeriod, s->binPeriod);
    EXPECT_EQ(c.start, s->fileStartOffset);
  }
  TemplateForm chars;
  chars.nBins = 33;
  chars.charInventory = true;
  PointFileStructure* s = read(chars);
  ASSERT_NE(nullptr, s);
  EXPECT_TRUE(s->inventoryIsChar);

  for (auto limit : {std::make_pair("0", 1), std::make_pair("31", 30),
                     std::make_pair("7", 7)}) {
    TemplateForm form;
    form.globals = std::string("  :max_open = ") + limit.first +
                   " ;\n  :log_rewrites = \"true\" ;\n"
                   "  :cache_metadata = \"false\" ;\n";
    s = read(form);
    ASSERT_NE(nullptr, s);
    EXPECT_EQ(limit.second, s->maxOpen);
    EXPECT_TRUE(s->logRewrites);
    EXPECT_FALSE(s->cacheMetadata);
  }
}

TEST_F(PointFileStructureTest, OverridesReplaceWhatTheFileSays) {
  writeFile(dir.file("template.override"),
            "// the site's own limits\nmaxStaticIds 20\nfilePeriod 1800\n"
            "fileEndOffset 1799\nmax_open many\nthree words here\n\n");
  TemplateForm form;
  form.globals = "  :max_open = 5 ;\n";
  PointFileStructure* s = read(form);
  ASSERT_NE(nullptr, s);
  EXPECT_EQ(4, store->overrides().length());
  EXPECT_EQ(20, s->maxStaticIds);
  EXPECT_EQ(1800, s->filePeriod);
  EXPECT_EQ(450, s->binPeriod);
  EXPECT_EQ(5, s->maxOpen) << "an override that doesn't parse: the file's";

  writeFile(dir.file("template.override"), "nInventoryBins four\n");
  StderrCapture err;
  EXPECT_EQ(nullptr, read(form)) << "a bad dimension hides the file's";
  EXPECT_EQ("PROBLEM: Could not get size for nInventoryBins\n", err.text());
}

TEST_F(PointFileStructureTest, ReadersAndStaticFilesFindTheirOverrides) {
  SearchEnvironment env;
  std::string site = dir.file("site");
  std::string data = dir.file("data");
  std::string sets = data + "/point/acars/netcdf";
  ASSERT_EQ(0, system(("mkdir -p '" + site + "' '" + sets + "'").c_str()));
  env.set("FILE_SERVER_DEFAULT_PATHS", site + "/");
  setenv("ZEPH_DATA", data.c_str(), 1);
  writeFile(sets + "/template.override", "maxStaticIds 11\n");
  writeFile(site + "/point-acars-netcdf.override", "maxStaticIds 22\n");
  auto overridden = [&](const std::string& where, bool writable) {
    TextString value;
    NetcdfPointData object(where.c_str(), writable, false);
    object.overrides().lookup("maxStaticIds", &value);
    return std::string(value.chars());
  };
  EXPECT_EQ("22", overridden(sets, false)) << "a reader's own table";
  EXPECT_EQ("11", overridden(sets, true));
  EXPECT_EQ("11", overridden(sets + "/", false)) << "another name";
  writeFile(site + "/point-acars-netcdf.override", "");
  EXPECT_EQ("11", overridden(sets, false)) << "a table without lines";
  setenv("ZEPH_DATA", (data + "x").c_str(), 1);
  EXPECT_EQ("11", overridden(sets, false)) << "outside the data tree";
  unsetenv("ZEPH_DATA");

  writeFile(dir.file("stations.nc.override"), "totalIdLen 9\n");
  NetcdfPointData single(dir.file("stations.nc").c_str(), false, true);
  EXPECT_TRUE(single.overrides().lookup("totalIdLen"));
}

TEST_F(PointFileStructureTest, StaticFileIgnoresTimes) {
  TemplateForm form;
  form.globals = "  :have_forecasts = \"true\" ;\n";
  StderrCapture err;
  PointFileStructure* s = read(templateCdl(form), nullptr, false, true);
  ASSERT_NE(nullptr, s);
  std::string text = err.text();
  EXPECT_NE(
      std::string::npos,
      text.find("EVENT: Static data with time variables not meaningful\n"));
  EXPECT_NE(
      std::string::npos,
      text.find("EVENT: Static data with forecast time not meaningful\n"));
  EXPECT_EQ(0, s->timeVars.length());
  EXPECT_EQ(PointFileStructure::kNoRecordChain, s->prevRecordVar);
  EXPECT_EQ(1, s->nBins);
  EXPECT_EQ(-30, s->fileStartOffset);
  EXPECT_EQ(30, s->fileEndOffset);
  EXPECT_FALSE(store->haveForecasts());
}

TEST_F(PointFileStructureTest, LevelsWithNothingToLoadAreSkipped) {
  PointFileStructure s;
  s.nBins = 1;
  s.maxStaticIds = 0;
  s.totalIdLen = 0;
  EXPECT_EQ(5, s.levelReached(1));
  EXPECT_EQ(0, s.levelReached(0));
  s.nBins = 4;
  EXPECT_EQ(1, s.levelReached(1));
  EXPECT_EQ(5, s.levelReached(2));
  s.maxStaticIds = 10;
  s.totalIdLen = 8;
  s.timeVars.append(3);
  EXPECT_EQ(2, s.levelReached(2));
  EXPECT_EQ(4, s.levelReached(4));
  EXPECT_TRUE(PointFileStructure::isIndexVariable("lastInBin"));
  EXPECT_FALSE(PointFileStructure::isIndexVariable("timeObs"));
}

TEST_F(PointFileStructureTest, SiteTemplatesAreAccepted) {
  struct Kind {
    const char* name;
    bool table;
    bool latLonIds;
    bool recordForecasts;
    bool charInventory;
    long nBins;
  };
  const Kind kinds[] = {
      {"acars", true, false, false, false, 4},
      {"modelETA", true, false, true, false, 21},
      {"modelRUC", true, false, true, false, 13},
      {"modelAVN", true, false, true, false, 29},
      {"modelNGM", true, false, true, false, 9},
      {"poes", true, false, false, false, 4},
      {"goes", true, false, false, true, 12},
      {"csw", false, true, false, false, 4},
      {"profiler", true, false, false, false, 24},
      {"profilerCAP", true, false, false, false, 10},
      {"quikscat", false, true, false, false, 1},
  };
  for (const Kind& k : kinds) {
    SCOPED_TRACE(k.name);
    std::string path = std::string(ZEPH_SITE_TEMPLATES) + "/" + k.name + ".nc";
    NetcdfPointData writer(dir.path().c_str(), true, false);
    OpenFile file(path);
    ASSERT_GE(file.id(), 0) << path;
    PointNetcdfFileInfo info;
    PointFileStructure* s = writer.getFileStructure(file.id(), &info);
    ASSERT_NE(nullptr, s);
    EXPECT_EQ(k.table, s->maxStaticIds > 0);
    EXPECT_EQ(k.latLonIds, s->latLonIndexed);
    EXPECT_EQ(k.recordForecasts, s->recordForecasts);
    EXPECT_EQ(k.charInventory, s->inventoryIsChar);
    EXPECT_EQ(k.nBins, s->nBins);
    EXPECT_GE(s->latVar, 0);
    EXPECT_TRUE(s->hasTimeVariables());
    EXPECT_EQ(0, info.nRecords);
    EXPECT_EQ(1, info.level);
  }
}

}  // namespace
