#include <gtest/gtest.h>
#include <netcdf.h>
#include <stdlib.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

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
  // The id of a variable of the last file read.
  int varId(const char* name) {
    OpenFile file(dir.file("f" + std::to_string(files) + ".nc"));
    int id = -1;
    nc_inq_varid(file.id(), name, &id);
    return id;
  }
  // The entry of a variable in a structure; nothing if it has none.
  static std::vector<int> entry(PointFileStructure* s, const char* name) {
    SeqOf<int> found;
    std::vector<int> out;
    if (s->variables.lookup(name, &found))
      for (int i = 0; i < found.length(); ++i) out.push_back(found.at(i));
    return out;
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
  EXPECT_EQ(std::vector<long>({50, 10, 4, 3600, 900, 0, 3599, 2, 3600}),
            std::vector<long>({s->maxStaticIds, s->totalIdLen, s->nBins,
                               s->filePeriod, s->binPeriod, s->fileStartOffset,
                               s->fileEndOffset, s->maxOpen,
                               store->fileStep()}));
  EXPECT_FALSE(s->latLonIndexed || s->recordForecasts || s->inventoryIsChar);
  EXPECT_TRUE(s->cacheMetadata);
  EXPECT_EQ(std::vector<int>({varId("stationId"), 8, varId("timeObs"),
                              varId("longitude"), varId("prevRecord"), -1,
                              -1}),
            std::vector<int>({s->idVars.at(0), s->idVarLens.at(0),
                              s->timeVars.at(0), s->lonVar, s->prevRecordVar,
                              s->invTimeVar, s->forecastDim}));
  EXPECT_EQ(std::vector<int>({varId("stationId"), 8, NC_CHAR}),
            entry(s, "stationId"));
  EXPECT_EQ(std::vector<int>({varId("temperature"), NC_FLOAT}),
            entry(s, "temperature"));
  EXPECT_EQ(std::vector<int>({varId("version"), 0, NC_INT}),
            entry(s, "version")) << "a scalar";
  EXPECT_EQ(std::vector<int>({varId("byForecast"), 3, NC_FLOAT}),
            entry(s, "byForecast")) << "fcst isn't the forecast dimension";
  // Neither a variable that isn't a record's nor an index variable.
  for (const char* name :
       {"table", "staticIds", "prevRecord", "globalInventory"})
    EXPECT_TRUE(entry(s, name).empty()) << name;
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
  EXPECT_EQ(std::vector<long>({1, 2, 2, 12, -1}),
            std::vector<long>({info.level, info.nRecords, info.nStaticIds,
                               info.globalInventory, info.firstOverflow}));
  EXPECT_EQ(nullptr, info.firstInBin) << "only level 1 is read";

  form.cdlDate = "";
  AbsTime before = AbsTime::now();
  PointFileStructure* unnamed = read(form);
  ASSERT_NE(nullptr, unnamed);
  EXPECT_GE(AbsTime::now() - before, 1) << "one second for a copy in progress";
  EXPECT_EQ(TextString(""), unnamed->cdlDate);
}

TEST_F(PointFileStructureTest, EachRuleFailsWithItsWords) {
  using F = TemplateForm;
  const char* const kValidTime = "  double validTime(recNum) ;\n";
  const struct {
    const char* name;
    std::function<void(F&)> change;
    const char* text;
  } cases[] = {
      {"no table, no positions",
       [](F& t) { t.maxStaticIds = 0; t.positions = false; },
       "Missing maxStaticIds dimension incompatible  with no lat/lon data"},
      {"table without totalIdLen", [](F& t) { t.totalIdLen = 0; },
       "Could not get size for totalIdLen"},
      {"table without bins", [](F& t) { t.nBins = 0; },
       "Could not get size for nInventoryBins"},
      {"short lat/lon ids",
       [](F& t) { t.idVariables = "latitude,longitude"; t.totalIdLen = 6; },
       "totalIdLen dimension must be at least 7 for lat/lon ids"},
      {"ids without text", [](F& t) { t.idVariables = "temperature"; },
       "No useable variables in idVariables attribute"},
      {"ids longer than the table's", [](F& t) { t.totalIdLen = 6; },
       "totalIdLen dimension too small for id data"},
      {"unknown id variable",
       [](F& t) { t.idVariables = "stationId,bogus"; },
       "Variable bogus listed in idVariables not found."},
      {"id variable off the record",
       [](F& t) { t.idVariables = "staticIds"; },
       "Variable staticIds listed in idVariables not sutable for time/id."},
      {"id variables of two kinds",
       [](F& t) { t.idVariables = "stationId,temperature"; },
       "Variable temperature listed in idVariables not compatible with "
       "others."},
      {"eleven id variables",
       [](F& t) {
         for (int i = 0; i < 10; ++i) t.idVariables += ",stationId";
       },
       "Too many variables listed in  idVariables"},
      {"empty id list", [](F& t) { t.idVariables = " "; },
       "Attribute name is empty:  idVariables"},
      {"no id list", [](F& t) { t.idVariables = ""; },
       "Bad inquiry about idVariables attribute"},
      {"double positions as ids",
       [](F& t) {
         t.positions = false;
         t.idVariables = "latitude,longitude";
         t.variables = "  double latitude(recNum) ;\n"
                       "  double longitude(recNum) ;\n";
       },
       "latitude,longitude variables must have one dimension and be float"},
      {"two candidate times",
       [&](F& t) { t.timeVariables = ""; t.variables = kValidTime; },
       "No time variables identified"},
      {"time of two dimensions",
       [](F& t) { t.timeVariables = "stationId"; },
       "Time variables should have only record dimension"},
      {"record forecasts with one time",
       [](F& t) { t.globals = "  :have_forecasts = \"true\" ;\n"; },
       "File with record based forecast times must have at least two time "
       "variables, for the reference and valid times, respectively"},
      {"forecast list too short",
       [](F& t) {
         t.dimensions = "  fcst = 3 ;\n";
         t.globals = "  :have_forecasts = \"fcst\" ;\n"
                     "  :forecast_list = \"0,3600\" ;\n";
       },
       "If have_forecasts names a dimension then the forecast_list attribute "
       "must contain that many comma delimited integers that are forecast "
       "times represented by that dimension"},
      {"times and table without prevRecord",
       [](F& t) { t.omit = {"prevRecord"}; },
       "If there are static tables and time varying data, the prevRecord "
       "variable must exist"},
      {"period of 59", [](F& t) { t.filePeriod = "59"; },
       "File period of 59 is out of range"},
      {"period of 86401", [](F& t) { t.filePeriod = "86401"; },
       "File period of 86401 is out of range"},
      {"end at the period", [](F& t) { t.fileEndOffset = "3600"; },
       "File end offset of 3600 is out of range"},
      {"end before the start", [](F& t) { t.fileEndOffset = "-1"; },
       "File end offset of -1 is out of range"},
      {"no period", [](F& t) { t.filePeriod = ""; },
       "Could not get value for filePeriod"},
      {"no end offset", [](F& t) { t.fileEndOffset = ""; },
       "Could not get value for fileEndOffset"},
      {"end offset without times",
       [](F& t) {
         t.maxStaticIds = t.totalIdLen = t.nBins = 0;
         t.omit = {"timeObs"};
         t.idVariables = t.timeVariables = t.filePeriod = "";
       },
       "Having no time variable inconsistent with defining the file end "
       "offset"},
      {"two times without invTime",
       [&](F& t) {
         t.timeVariables = "timeObs,validTime";
         t.variables = kValidTime;
       },
       "Could not get variable id for invTime"},
      {"no staticIds", [](F& t) { t.omit = {"staticIds"}; },
       "Could not get variable id for staticIds"},
      {"no firstInBin", [](F& t) { t.omit = {"firstInBin"}; },
       "Could not get variable id for firstInBin"},
      {"float inventory",
       [](F& t) {
         t.omit = {"globalInventory"};
         t.variables = "  float globalInventory ;\n";
       },
       "Bad variable characteristics for variable globalInventory"},
      {"33 bits", [](F& t) { t.nBins = 33; },
       "Inventory variables need to be chars when the number of bins is more "
       "than 32"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    TemplateForm form;
    c.change(form);
    StderrCapture err;
    EXPECT_EQ(nullptr, read(form));
    EXPECT_NE(std::string::npos,
              err.text().find(std::string("PROBLEM: ") + c.text + "\n"))
        << err.text();
    EXPECT_EQ(0, store->structureCount());
  }
  StderrCapture err;
  EXPECT_EQ(nullptr, read("netcdf t {\ndimensions:\n  n = 3 ;\nvariables:\n"
                          "  float latitude(n) ;\n  :cdlDate = \"1\" ;\n}\n"));
  EXPECT_EQ("PROBLEM: Could not get id of record dimension\n", err.text());
}

// What the rules above don't reach: a list of positions of one entry, an
// attribute too long to read, a number given as text, a text given as a
// number.
TEST_F(PointFileStructureTest, ReadersOfListsAndValues) {
  TemplateForm form;
  form.globals = "  :latLonVars = \"latitude\" ;\n  :longList = \"" +
                 std::string(500, 'x') + "\" ;\n  :textPeriod = \"1800\" ;\n";
  std::string path = makeNetcdf(dir, "lists.nc", templateCdl(form));
  NetcdfPointData reader(dir.path().c_str(), false, false);
  OpenFile file(path);
  SeqOf<int> ids;
  SeqOf<int> lengths;
  long total = 0;
  StderrCapture err;
  EXPECT_FALSE(reader.variableList(file.id(), "latLonVars", ids, total,
                                   lengths));
  EXPECT_FALSE(reader.variableList(file.id(), "longList", ids, total,
                                   lengths));
  EXPECT_EQ(-1, total) << "no list found";
  int value = 0;
  EXPECT_TRUE(reader.attributeInt(file.id(), "textPeriod", value));
  EXPECT_EQ(1800, value);
  TextString text;
  EXPECT_FALSE(reader.attributeText(file.id(), "filePeriod", text));
  EXPECT_EQ(
      "PROBLEM: latLonVars attribute must contain two entries\n"
      "PROBLEM: Bad inquiry about longList attribute\n"
      "PROBLEM: Bad inquiry about filePeriod attribute\n",
      err.text());
}

TEST_F(PointFileStructureTest, PositionFilesWithAndWithoutIds) {
  TemplateForm plain;
  plain.maxStaticIds = plain.totalIdLen = plain.nBins = 0;
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
  ASSERT_NE(nullptr, s = read(plain));
  EXPECT_TRUE(s->latLonIndexed);
  EXPECT_EQ(13, s->totalIdLen);
  EXPECT_EQ(PointFileStructure::kNoRecordChain, s->prevRecordVar);

  TemplateForm table;
  table.idVariables = "latitude,longitude";
  table.totalIdLen = 7;
  ASSERT_NE(nullptr, s = read(table));
  EXPECT_TRUE(s->latLonIndexed);
  EXPECT_EQ(7, s->totalIdLen);
  EXPECT_EQ(2, s->idVars.length()) << "the position is the id";
  EXPECT_EQ(s->latVar, s->idVars.at(0));
  EXPECT_EQ(0, s->idVarLens.length());

  TemplateForm named;
  named.positions = false;
  named.variables = "  float lat(recNum) ;\n  float lon(recNum) ;\n";
  named.globals = "  :latLonVars = \"lat, lon\" ;\n";
  ASSERT_NE(nullptr, s = read(named));
  EXPECT_EQ(TextString("lat,lon"), store->latLonVarText());
  EXPECT_EQ(std::vector<int>({s->latVar, NC_FLOAT}), entry(s, "latitude"));
  EXPECT_EQ(s->lonVar, entry(s, "longitude").at(0));
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
  ASSERT_NE(nullptr, s = read(none));
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
  ASSERT_NE(nullptr, s = read(along));
  EXPECT_TRUE(store->haveForecasts());
  EXPECT_EQ(5, s->forecastDim) << "the sixth dimension";
  ASSERT_EQ(3, s->forecastList.length()) << "the list ends at a bad entry";
  EXPECT_EQ(7200, s->forecastList.at(2));
  EXPECT_EQ(PointFileStructure::kForecastDimension,
            entry(s, "byForecast").at(1));
  along.globals = "  :have_forecasts = \"nonesuch\" ;\n";
  ASSERT_NE(nullptr, s = read(along));
  EXPECT_FALSE(store->haveForecasts()) << "no such dimension: ignored";

  TemplateForm runs;
  runs.nBins = 21;
  runs.timeVariables = "refTime,validTime";
  runs.variables =
      "  double refTime(recNum) ;\n  double validTime(recNum) ;\n"
      "  int invTime(recNum) ;\n";
  runs.globals = "  :have_forecasts = \"true\" ;\n";
  runs.filePeriod = runs.fileEndOffset = "216000";
  ASSERT_NE(nullptr, s = read(runs));
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

  // A static file: neither times nor forecasts mean anything.
  form = TemplateForm();
  form.globals = "  :have_forecasts = \"true\" ;\n";
  StderrCapture events;
  ASSERT_NE(nullptr, s = read(templateCdl(form), nullptr, false, true));
  std::string text = events.text();
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
    ASSERT_NE(nullptr, s = read(form));
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
  EXPECT_EQ(std::vector<long>({20, 1800, 450}),
            std::vector<long>({s->maxStaticIds, s->filePeriod, s->binPeriod}));
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

// Each level is raised past those that have nothing to load.
TEST_F(PointFileStructureTest, LevelsWithNothingToLoadAreSkipped) {
  PointFileStructure s;
  s.nBins = 1;
  s.maxStaticIds = s.totalIdLen = 0;
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
