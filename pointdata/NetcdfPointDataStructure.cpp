// How a point file describes itself: the template rules that
// NetcdfPointData::getFileStructure() applies, and the readers of its
// attributes and variable lists.

#include <netcdf.h>
#include <unistd.h>

#include <cstdio>
#include <memory>

#include "LogStream.h"
#include "NetcdfPointData.h"
#include "PointFileStructure.h"
#include "PointIndexReader.h"
#include "PointNetcdfFileInfo.h"
#include "TextFileParser.h"

namespace {

const char* const kDefaultLatLon = "latitude,longitude";
const long kLatLonForm = -999;
const int kMaxListText = 499;
const int kMaxListEntries = 30;
const int kMaxListVariables = 10;
const int kMaxForecasts = 100;
const int kMaxIntInventoryBins = 32;
const int kMinFilePeriod = 60;
const int kMaxFilePeriod = 86400;
const long kDefaultBinPeriod = 3600;
const int kMaxOpenLimit = 30;
const int kFloatType = 5;  // NC_FLOAT, as readers of `variables` know it

SeqOf<TextString> listEntries(const TextString& text, int maxEntries) {
  SeqOf<TextString> entries;
  TextFileParser::tokens(text, ',', entries);
  if (entries.length() > maxEntries) entries.setLength(maxEntries);
  return entries;
}

// A variable named in a list attribute.
struct ListedVariable {
  int id = -1;
  nc_type type = NC_NAT;
  int rank = 0;
  long secondLength = 0;
};

// What keeps a listed variable from being a time or id variable, as the
// words behind its name; null if nothing.
const char* inspect(int ncid, const TextString& name, int recordDim,
                    ListedVariable& v) {
  v.id = ncvarid(ncid, name.chars());
  if (v.id < 0) return " not found.";
  int dims[NC_MAX_VAR_DIMS];
  if (ncvarinq(ncid, v.id, nullptr, &v.type, &v.rank, dims, nullptr) < 0 ||
      v.rank < 1 || v.rank > 2 || dims[0] != recordDim ||
      (v.rank == 2 && ncdiminq(ncid, dims[1], nullptr, &v.secondLength) < 0))
    return " not sutable for time/id.";
  return nullptr;
}

}  // namespace

// Sets the report switch for the reads of one item and turns it back on
// behind them: the switch is on between reads.
class NetcdfPointData::QuietReads {
 public:
  explicit QuietReads(NetcdfPointData* object, bool report = false)
      : _object(object) {
    _object->_reportErrors = report;
  }
  ~QuietReads() { _object->_reportErrors = true; }
  QuietReads(const QuietReads&) = delete;
  QuietReads& operator=(const QuietReads&) = delete;

 private:
  NetcdfPointData* _object;
};

bool NetcdfPointData::variableList(int ncid, const char* attributeName,
                                   SeqOf<int>& varIds, long& totalLength,
                                   SeqOf<int>& lengths) {
  varIds = SeqOf<int>();
  lengths = SeqOf<int>();
  totalLength = -1;
  bool isLatLonVars = TextString(attributeName) == "latLonVars";
  TextString text;
  if (!listText(ncid, attributeName, isLatLonVars, text)) return false;

  bool latLonForm = isLatLonVars || text == _latLonVarText;
  totalLength = latLonForm ? kLatLonForm : 0;
  SeqOf<TextString> names = listEntries(text, kMaxListEntries);
  const char* problem = nullptr;
  if (!latLonForm && names.length() == 0)
    problem = "Attribute name is empty:  ";
  else if (latLonForm && names.length() != 2)
    problem = "latLonVars attribute must contain two entries";
  else if (names.length() > kMaxListVariables)
    problem = "Too many variables listed in  ";
  if (problem != nullptr) {
    if (_reportErrors) {
      ZLOG(LogStream::PROBLEM)
          << problem << (latLonForm ? "" : attributeName) << std::endl;
    }
    return false;
  }

  int recordDim = -1;
  ncinquire(ncid, nullptr, nullptr, nullptr, &recordDim);
  ListedVariable first;
  for (int i = 0; i < names.length(); ++i) {
    ListedVariable v;
    const char* fault = inspect(ncid, names.at(i), recordDim, v);
    if (fault == nullptr && i > 0 &&
        (v.type != first.type || v.rank != first.rank))
      fault = " not compatible with others.";
    if (fault == nullptr && latLonForm && (v.rank != 1 || v.type != NC_FLOAT)) {
      if (_reportErrors) {
        ZLOG(LogStream::PROBLEM)
            << "latitude,longitude variables must have one "
            << "dimension and be float" << std::endl;
      }
      fault = "";
    }
    if (fault != nullptr) {
      if (_reportErrors && *fault != '\0') {
        ZLOG(LogStream::PROBLEM) << "Variable " << names.at(i) << " listed in "
                                 << attributeName << fault << std::endl;
      }
      varIds = SeqOf<int>();
      lengths = SeqOf<int>();
      if (!latLonForm) totalLength = 0;
      return false;
    }
    if (i == 0) first = v;
    varIds.append(v.id);
    if (v.rank == 2) {
      lengths.append(static_cast<int>(v.secondLength));
      totalLength += v.secondLength;
    }
  }
  if (isLatLonVars) _latLonVarText = names.at(0) + "," + names.at(1);
  return true;
}

// The text of a list attribute. The attribute's own reports would name
// the wrong step: an absent list is told here, where it matters.
bool NetcdfPointData::listText(int ncid, const char* attributeName,
                               bool isLatLonVars, TextString& text) {
  bool report = _reportErrors;
  _reportErrors = false;
  bool found = textAttribute(ncid, attributeName, kMaxListText, text);
  _reportErrors = report;
  if (found) return true;
  if (isLatLonVars) {
    text = _latLonVarText;
    return true;
  }
  if (_reportErrors) {
    ZLOG(LogStream::PROBLEM)
        << "Bad inquiry about " << attributeName << " attribute" << std::endl;
  }
  return false;
}

PointFileStructure* NetcdfPointData::getFileStructure(
    int ncid, PointNetcdfFileInfo* fileInfo) {
  TextString cdlDate;
  {
    QuietReads quiet(this);
    if (!attributeText(ncid, "cdlDate", cdlDate)) {
      // The file may be a copy that is still being made.
      sleep(1);
      ncsync(ncid);
      if (!attributeText(ncid, "cdlDate", cdlDate)) cdlDate = TextString();
    }
  }
  PointFileStructure* known = nullptr;
  if (_structures.lookup(cdlDate, &known))
    return knownStructure(ncid, known, fileInfo);

  std::unique_ptr<PointFileStructure> s(new PointFileStructure);
  s->cdlDate = cdlDate;
  if (!readLayout(ncid, *s, fileInfo) || !readIdLayout(ncid, *s) ||
      !readTimeVariables(ncid, *s) || !readForecasts(ncid, *s) ||
      !readFileTimes(ncid, *s) || !readIndexVariableIds(ncid, *s, fileInfo) ||
      !readBinVariables(ncid, *s, fileInfo))
    return nullptr;
  s->useCount = 0;
  readVariables(ncid, *s);
  PointFileStructure* result = s.release();
  _structures.insert(cdlDate, result);
  if (fileInfo != nullptr) {
    fileInfo->structure = result;
    fileInfo->confirmed = true;
    if (fileInfo->level < 1) fileInfo->level = 1;
  }
  return result;
}

// A file of a known template version: only its level 1 is read.
PointFileStructure* NetcdfPointData::knownStructure(
    int ncid, PointFileStructure* structure, PointNetcdfFileInfo* fileInfo) {
  if (fileInfo == nullptr) return structure;
  const PointFileStructure& s = *structure;
  const char* failure = nullptr;
  long length = 0;
  if (!PointIndexReader::recordCount(ncid, s.recordDim, length))
    failure = "unable to read record dimension";
  else if (s.maxStaticIds != 0 &&
           !PointIndexReader::readNStaticIds(ncid, s, fileInfo, length))
    failure = "unable to read nStaticIds";
  else if (s.maxStaticIds != 0 &&
           !PointIndexReader::readFirstOverflow(ncid, s, fileInfo, length))
    failure = "unable to read firstOverflow";
  else if (!PointIndexReader::readGlobalInventory(ncid, s, fileInfo, length))
    failure = "unable to read global inventory";
  if (failure != nullptr) {
    ZLOG(LogStream::PROBLEM) << failure << std::endl;
    return nullptr;
  }
  fileInfo->nRecords = length;
  fileInfo->level = 1;
  fileInfo->structure = structure;
  fileInfo->confirmed = true;
  return structure;
}

// The record dimension, the positions and the table of ids.
bool NetcdfPointData::readLayout(int ncid, PointFileStructure& s,
                                 PointNetcdfFileInfo* info) {
  if (ncinquire(ncid, nullptr, nullptr, nullptr, &s.recordDim) < 0 ||
      s.recordDim < 0) {
    ZLOG(LogStream::PROBLEM)
        << "Could not get id of record dimension" << std::endl;
    return false;
  }
  if (info != nullptr &&
      !PointIndexReader::recordCount(ncid, s.recordDim, info->nRecords)) {
    ZLOG(LogStream::PROBLEM) << "unable to read record dimension" << std::endl;
    return false;
  }

  _latLonVarText = kDefaultLatLon;
  SeqOf<int> ids;
  SeqOf<int> lengths;
  long total = 0;
  bool positions;
  {
    QuietReads quiet(this);
    positions = variableList(ncid, "latLonVars", ids, total, lengths);
  }
  if (positions && ids.length() == 2) {
    s.latVar = ids.at(0);
    s.lonVar = ids.at(1);
  }

  s.maxStaticIds = dimensionSize(ncid, "maxStaticIds");
  if (s.maxStaticIds < 1 && s.latVar < 0) {
    ZLOG(LogStream::PROBLEM) << "Missing maxStaticIds dimension incompatible "
                             << " with no lat/lon data" << std::endl;
    return false;
  }
  if (s.maxStaticIds < 1) {
    ZLOG(LogStream::EVENT)
        << "No maxStaticIds dimension means no record mapping" << std::endl;
    s.maxStaticIds = 0;
  }

  {
    QuietReads quiet(this);
    TextString text;
    if (ncvarid(ncid, "prevRecord") >= 0) {
      s.prevRecordVar = _isStatic ? PointFileStructure::kNoRecordChain
                                  : ncvarid(ncid, "prevRecord");
    } else if (attributeText(ncid, "prevRecord", text)) {
      s.prevRecordVar = PointFileStructure::kNoRecordChain;
    }
    s.cacheMetadata =
        !(attributeText(ncid, "cache_metadata", text) && text == "false");
  }
  return true;
}

// The length of an id and the variables that make it.
bool NetcdfPointData::readIdLayout(int ncid, PointFileStructure& s) {
  bool table = s.maxStaticIds > 0;
  {
    QuietReads quiet(this, table);
    s.totalIdLen = dimensionSize(ncid, "totalIdLen");
  }
  if (s.totalIdLen < 0) {
    if (table) return false;
    s.totalIdLen = s.prevRecordVar != -1 ? -1 : 0;
  }
  {
    bool required = table && !_isStatic;
    QuietReads quiet(this, required);
    s.nBins = dimensionSize(ncid, "nInventoryBins");
    if (s.nBins < 0 && required) return false;
    if (s.nBins < 1 || _isStatic) s.nBins = 1;
  }

  long total = -1;
  bool required = table || s.latVar < 0;
  bool listed;
  {
    QuietReads quiet(this, required);
    listed = variableList(ncid, "idVariables", s.idVars, total, s.idVarLens);
  }
  if (!listed && required) return false;
  if (total < 0) {
    s.latLonIndexed = true;
    if (s.totalIdLen < 7) {
      if (table) {
        ZLOG(LogStream::PROBLEM)
            << "totalIdLen dimension must be at least 7 for "
            << "lat/lon ids" << std::endl;
        return false;
      }
      s.totalIdLen = 0;
    }
  } else if (total == 0) {
    ZLOG(LogStream::PROBLEM)
        << "No useable variables in idVariables attribute" << std::endl;
    return false;
  } else if (!table) {
    if (s.totalIdLen != 0 && s.totalIdLen < total) s.totalIdLen = total + 1;
  } else if (s.totalIdLen < total) {
    ZLOG(LogStream::PROBLEM)
        << "totalIdLen dimension too small for id data" << std::endl;
    return false;
  }
  return true;
}

bool NetcdfPointData::readTimeVariables(int ncid, PointFileStructure& s) {
  long total = -1;
  SeqOf<int> lengths;
  {
    QuietReads quiet(this);
    variableList(ncid, "timeVariables", s.timeVars, total, lengths);
  }
  if (total == -1 && !_isStatic) {
    int id = defaultTimeVariable(ncid, s.recordDim);
    if (id >= 0) s.timeVars.append(id);
  }
  if (!s.hasTimeVariables() && !_isStatic) {
    if (s.nBins > 1 || s.prevRecordVar != -1) {
      ZLOG(LogStream::PROBLEM) << "No time variables identified" << std::endl;
      return false;
    }
    ZLOG(LogStream::EVENT) << "No time variables found, will just use "
                           << "file time stamp for time of data" << std::endl;
  }
  if (lengths.length() > 0) {
    ZLOG(LogStream::PROBLEM)
        << "Time variables should have only record dimension" << std::endl;
    return false;
  }
  if (_isStatic && s.hasTimeVariables()) {
    ZLOG(LogStream::EVENT) << "Static data with time variables not meaningful"
                           << std::endl;
    s.timeVars = SeqOf<int>();
  }
  return true;
}

// The one double of the record dimension alone whose name says time; -1
// for none, or where two could be meant.
int NetcdfPointData::defaultTimeVariable(int ncid, int recordDim) {
  int nVars = 0;
  if (ncinquire(ncid, nullptr, &nVars, nullptr, nullptr) < 0) return -1;
  int chosen = -1;
  int candidates = 0;
  for (int v = 0; v < nVars; ++v) {
    char name[NC_MAX_NAME + 1];
    nc_type type;
    int rank = 0;
    int dims[NC_MAX_VAR_DIMS];
    if (ncvarinq(ncid, v, name, &type, &rank, dims, nullptr) < 0) continue;
    TextString text(name);
    unsigned at;
    if (type != NC_DOUBLE || rank != 1 || dims[0] != recordDim ||
        PointFileStructure::isIndexVariable(name) ||
        !(text.search("tim", at) || text.search("Tim", at) ||
          text.search("TIM", at)))
      continue;
    chosen = v;
    ++candidates;
  }
  if (candidates != 1) return -1;
  char name[NC_MAX_NAME + 1];
  ncvarinq(ncid, chosen, name, nullptr, nullptr, nullptr, nullptr);
  ZLOG(LogStream::EVENT) << "Time variable defaults to " << name << std::endl;
  return chosen;
}

bool NetcdfPointData::readForecasts(int ncid, PointFileStructure& s) {
  TextString value;
  {
    QuietReads quiet(this);
    if (!attributeText(ncid, "have_forecasts", value)) return true;
  }
  if (_isStatic) {
    ZLOG(LogStream::EVENT) << "Static data with forecast time not meaningful"
                           << std::endl;
    return true;
  }
  if (value == "true") {
    if (s.timeVars.length() < 2) {
      ZLOG(LogStream::PROBLEM)
          << "File with record based forecast times must "
          << "have at least two time variables, for the "
          << "reference and valid times, respectively" << std::endl;
      return false;
    }
    s.recordForecasts = true;
    _haveForecasts = true;
    return true;
  }
  // A dimension id of 0 reads as absent: a template declares the forecast
  // dimension behind others.
  int dim = ncdimid(ncid, value.chars());
  long dimLength = -1;
  if (dim < 1 || ncdiminq(ncid, dim, nullptr, &dimLength) < 0) return true;
  s.forecastDim = dim;
  TextString listText;
  {
    QuietReads quiet(this);
    attributeText(ncid, "forecast_list", listText);
  }
  SeqOf<TextString> entries = listEntries(listText, kMaxForecasts);
  for (int i = 0; i < entries.length(); ++i) {
    int seconds = 0;
    if (sscanf(entries.at(i).chars(), "%d", &seconds) != 1 || seconds < 0)
      break;
    s.forecastList.append(seconds);
  }
  if (s.forecastList.length() != dimLength) {
    ZLOG(LogStream::PROBLEM)
        << "If have_forecasts names a dimension then"
        << " the forecast_list attribute must contain"
        << " that many comma delimited integers that are"
        << " forecast times represented by that dimension" << std::endl;
    return false;
  }
  _haveForecasts = true;
  return true;
}

// The period of a file, where it ends, and the width of its bins.
bool NetcdfPointData::readFileTimes(int ncid, PointFileStructure& s) {
  bool times = s.hasTimeVariables();
  bool table = s.maxStaticIds > 0;
  if (times && table && s.prevRecordVar < 0) {
    ZLOG(LogStream::PROBLEM)
        << "If there are static tables and time varying "
        << "data, the prevRecord variable must exist" << std::endl;
    return false;
  }
  if (s.prevRecordVar == -1 && table)
    s.prevRecordVar = PointFileStructure::kNoRecordChain;

  bool required = !_isStatic && times;
  int period = 0;
  bool havePeriod;
  int endOffset = 0;
  bool haveEndOffset;
  {
    QuietReads quiet(this, required);
    havePeriod = attributeInt(ncid, "filePeriod", period);
  }
  if (!havePeriod && required) return false;
  if (havePeriod && !_isStatic) s.filePeriod = period;
  if (!_isStatic && !(s.recordForecasts && havePeriod && period >= 0)) {
    if (times && (period < kMinFilePeriod || period > kMaxFilePeriod)) {
      ZLOG(LogStream::PROBLEM)
          << "File period of " << period << " is out of range" << std::endl;
      return false;
    }
    if (!times) {
      if (havePeriod) {
        ZLOG(LogStream::PROBLEM) << "Having no time variable inconsistent with "
                                 << "defining the file period" << std::endl;
      }
      s.filePeriod = kMinFilePeriod;
    }
  }
  {
    QuietReads quiet(this, required);
    haveEndOffset = attributeInt(ncid, "fileEndOffset", endOffset);
  }
  if (!haveEndOffset && required) return false;

  bool setsStep = false;
  if (s.recordForecasts) {
    if (endOffset < s.filePeriod) {
      ZLOG(LogStream::PROBLEM) << "File end offset of " << endOffset
                               << " is out of range" << std::endl;
      return false;
    }
    s.fileEndOffset = endOffset;
    s.fileStartOffset = endOffset - s.filePeriod;
    s.binPeriod =
        s.nBins < 2 ? kDefaultBinPeriod : s.filePeriod / (s.nBins - 1);
    s.filePeriod = s.binPeriod;
    setsStep = true;
  } else if (_isStatic || (!times && !haveEndOffset)) {
    s.fileStartOffset = -30;
    s.fileEndOffset = 30;
    s.binPeriod = 60;
  } else if (!times) {
    ZLOG(LogStream::PROBLEM) << "Having no time variable inconsistent with "
                             << "defining the file end offset" << std::endl;
    return false;
  } else {
    if (endOffset < 0 || endOffset >= s.filePeriod) {
      ZLOG(LogStream::PROBLEM) << "File end offset of " << endOffset
                               << " is out of range" << std::endl;
      return false;
    }
    s.fileEndOffset = endOffset;
    s.fileStartOffset = endOffset - s.filePeriod + 1;
    s.binPeriod = s.filePeriod / s.nBins;
    setsStep = true;
  }
  // The recent bits count in steps of files; the step is only changed
  // while no bit is set that would change its meaning.
  if (setsStep && _recentBits == 0) _fileStep = s.filePeriod;
  return true;
}

bool NetcdfPointData::readIndexVariableIds(int ncid, PointFileStructure& s,
                                           PointNetcdfFileInfo* info) {
  if (s.maxStaticIds > 0) {
    s.nStaticIdsVar = variableId(ncid, "nStaticIds");
    s.staticIdsVar = variableId(ncid, "staticIds");
    s.lastRecordVar = variableId(ncid, "lastRecord");
    s.firstOverflowVar = variableId(ncid, "firstOverflow");
    s.isOverflowVar = variableId(ncid, "isOverflow");
    if (s.nBins > 1) s.inventoryVar = variableId(ncid, "inventory");
    if (s.nStaticIdsVar < 0 || s.staticIdsVar < 0 || s.lastRecordVar < 0 ||
        s.firstOverflowVar < 0 || s.isOverflowVar < 0 ||
        (s.nBins > 1 && s.inventoryVar < 0))
      return false;
    if (info != nullptr &&
        !PointIndexReader::readNStaticIds(ncid, s, info, info->nRecords)) {
      ZLOG(LogStream::PROBLEM) << "unable to read nStaticIds " << std::endl;
      return false;
    }
  }
  if (s.timeVars.length() > 1) {
    s.invTimeVar = variableId(ncid, "invTime");
    if (s.invTimeVar < 0) return false;
  } else if (s.hasTimeVariables()) {
    QuietReads quiet(this);
    s.invTimeVar = variableId(ncid, "invTime");
  }

  TextString text;
  int maxOpen = 0;
  QuietReads quiet(this);
  s.logRewrites = attributeText(ncid, "log_rewrites", text) && text == "true";
  if (attributeInt(ncid, "max_open", maxOpen))
    s.maxOpen =
        maxOpen < 1 ? 1 : (maxOpen > kMaxOpenLimit ? kMaxOpenLimit : maxOpen);
  return true;
}

// The tables over the bins of the file, where it has more than one.
bool NetcdfPointData::readBinVariables(int ncid, PointFileStructure& s,
                                       PointNetcdfFileInfo* info) {
  if (s.nBins > 1) {
    s.firstInBinVar = variableId(ncid, "firstInBin");
    s.lastInBinVar = variableId(ncid, "lastInBin");
    s.globalInventoryVar = variableId(ncid, "globalInventory");
    if (s.firstInBinVar < 0 || s.lastInBinVar < 0 || s.globalInventoryVar < 0)
      return false;
    nc_type type = NC_NAT;
    ncvarinq(ncid, s.globalInventoryVar, nullptr, &type, nullptr, nullptr,
             nullptr);
    if (type != NC_INT && type != NC_CHAR) {
      ZLOG(LogStream::PROBLEM) << "Bad variable characteristics for variable "
                               << "globalInventory" << std::endl;
      return false;
    }
    if (type == NC_INT && s.nBins > kMaxIntInventoryBins) {
      ZLOG(LogStream::PROBLEM)
          << "Inventory variables need to be chars when the "
          << "number of bins is more than 32" << std::endl;
      return false;
    }
    s.inventoryIsChar = type == NC_CHAR;
  }
  if (info == nullptr) return true;
  if (!PointIndexReader::readGlobalInventory(ncid, s, info, info->nRecords)) {
    ZLOG(LogStream::PROBLEM) << "unable to read global inventory" << std::endl;
    return false;
  }
  if (s.maxStaticIds > 0 &&
      !PointIndexReader::readFirstOverflow(ncid, s, info, info->nRecords)) {
    ZLOG(LogStream::PROBLEM) << "unable to read firstOverflow" << std::endl;
    return false;
  }
  return true;
}

// Every variable that a record holds, or that holds one value, by name.
void NetcdfPointData::readVariables(int ncid, PointFileStructure& s) {
  int nDims = 0;
  int nVars = 0;
  if (ncinquire(ncid, &nDims, &nVars, nullptr, nullptr) < 0) return;
  SeqOf<long> dimLengths;
  for (int d = 0; d < nDims; ++d) {
    long length = -1;
    if (ncdiminq(ncid, d, nullptr, &length) < 0) length = -1;
    dimLengths.append(length);
  }
  for (int v = 0; v < nVars; ++v) {
    char name[NC_MAX_NAME + 1];
    nc_type type;
    int rank = 0;
    int dims[NC_MAX_VAR_DIMS];
    if (ncvarinq(ncid, v, name, &type, &rank, dims, nullptr) < 0 ||
        PointFileStructure::isIndexVariable(name))
      continue;
    SeqOf<int> entry;
    entry.append(v);
    if (rank == 0) {
      entry.append(0);
    } else if (dims[0] != s.recordDim) {
      continue;
    } else {
      bool readable = true;
      for (int d = 1; d < rank && readable; ++d) {
        long length =
            dims[d] >= 0 && dims[d] < nDims ? dimLengths.at(dims[d]) : -1;
        readable = length >= 0;
        entry.append(dims[d] == s.forecastDim
                         ? PointFileStructure::kForecastDimension
                         : static_cast<int>(length));
      }
      if (!readable) continue;
    }
    entry.append(static_cast<int>(type));
    s.variables.insert(TextString(name), entry);
  }
  if (s.latVar >= 0 && _latLonVarText != kDefaultLatLon) {
    int lat[2] = {s.latVar, kFloatType};
    int lon[2] = {s.lonVar, kFloatType};
    s.variables.insert("latitude", SeqOf<int>(2, lat));
    s.variables.insert("longitude", SeqOf<int>(2, lon));
  }
}
