#include "NetcdfPointData.h"

#include <netcdf.h>
#include <netcdfcpp.h>

#include <climits>
#include <cstdio>
#include <cstdlib>

#include "DM_DataAccessInfo.h"
#include "DataTime.h"
#include "InfoFileServer.h"
#include "LogStream.h"
#include "PointFileStructure.h"
#include "PointNetcdfFileInfo.h"
#include "StringTokenizer.h"
#include "TextBuffer.h"
#include "dmDataAccessFns.h"

namespace {

const long kInitialFileStep = 3600;
const long kInitialCheckInterval = 60;
const int kMaxTextAttribute = 999;

// The first value of a numeric attribute as an int; false for a type that
// isn't numeric or a value that no int holds.
bool firstNumber(nc_type type, const void* values, int& value) {
  double number;
  switch (type) {
    case NC_BYTE:
      number = *static_cast<const signed char*>(values);
      break;
    case NC_SHORT:
      number = *static_cast<const short*>(values);
      break;
    case NC_INT:
      number = *static_cast<const int*>(values);
      break;
    case NC_FLOAT:
      number = *static_cast<const float*>(values);
      break;
    case NC_DOUBLE:
      number = *static_cast<const double*>(values);
      break;
    default:
      return false;
  }
  if (!(number > INT_MIN - 1.0 && number < INT_MAX + 1.0)) return false;
  value = static_cast<int>(number);
  return true;
}

}  // namespace

NetcdfPointData::NetcdfPointData(const TextString& directory, bool writable,
                                 bool isStatic)
    : _writable(writable),
      _isStatic(isStatic),
      _directoryTime(),
      _directory(directory),
      _structure(nullptr),
      _haveForecasts(false),
      _fileStep(kInitialFileStep),
      _recentBits(0),
      _badFileHold(0),
      _unconfirmed(0),
      _checkInterval(kInitialCheckInterval),
      _latLonVarText("latitude,longitude"),
      _newestFile(nullptr),
      _currentFile(nullptr),
      _currentIndex(-1),
      _resyncCount(0),
      _reportErrors(true) {
  quietNetcdfErrors();
  int templateId = -1;
  if (readTemplateStructure(&templateId)) resync();
  // Held open through the first scan: see mergeFileLists().
  closePlainFile(templateId);
}

NetcdfPointData::~NetcdfPointData() {
  dropAll();
  for (int i = 0; i < _structures.length(); ++i) delete _structures.valueAt(i);
}

NetcdfPointData::ProcessState& NetcdfPointData::process() {
  static ProcessState* state = new ProcessState;  // outlives every object
  return *state;
}

NetcdfPointData* NetcdfPointData::getNetcdfPointData(
    const TextString& directory, bool writable, bool isStatic) {
  ZLOG(LogStream::VERBOSE) << "getting NetcdfPointData " << directory
                           << std::endl;
  Dict<TextString, NetcdfPointData*>& table =
      writable ? process().writers : process().readers;
  NetcdfPointData* object = nullptr;
  if (table.lookup(directory, &object)) return object;
  object = new NetcdfPointData(directory, writable, isStatic);
  if (object->_structure == nullptr) {
    delete object;
    object = nullptr;  // and never tried again
  }
  table.insert(directory, object);
  process().expectedOpenCount += 2;
  return object;
}

NetcdfPointData* NetcdfPointData::getNetcdfPointData(
    unsigned long dataAccessKey, bool writable) {
  DM_DataAccessInfo info(dataAccessKey);
  if (!info.isValid()) {
    ZLOG(LogStream::PROBLEM)
        << "Error in DM_DataAccessInfo constructor" << std::endl;
    return nullptr;
  }
  TextString fileName = info.fileName();
  TextString part = info.dataDirectory();
  if (!fileName.isEmpty() && !part.isEmpty()) {
    if (part.chars()[part.length() - 1] != '/') part += "/";
    TextString name = part + fileName;
    TextString path = findInfoFile(name);
    if (path.isEmpty()) {
      ZLOG(LogStream::PROBLEM)
          << "Could not find static file " << name << std::endl;
      return nullptr;
    }
    return getNetcdfPointData(path, writable, true);
  }
  TextString directory = dmDirectory(dataAccessKey);
  if (directory.isEmpty()) return nullptr;
  return getNetcdfPointData(directory, writable, false);
}

// The structure of the template; a reader without one takes the newest
// file of the directory in its place. With `heldOpen` the file stays open
// for the caller to close.
bool NetcdfPointData::readTemplateStructure(int* heldOpen) {
  TextString path = _isStatic ? _directory : _directory + "/template";
  int ncid = openPlainFile(path, true);
  if (ncid < 0 && !_writable && !_isStatic) {
    SeqOf<AbsTime>* times = dmFileTimes(_directory, "", "");
    if (times != nullptr && times->length() > 0)
      ncid = openPlainFile(dmFileName(_directory, times->at(0), "", ""), true);
    delete times;
  }
  readOverrides();
  if (ncid < 0) return false;
  _structure = getFileStructure(ncid, nullptr);
  if (_structure != nullptr) _structure->useCount = 1;
  if (heldOpen != nullptr)
    *heldOpen = ncid;
  else
    closePlainFile(ncid);
  return _structure != nullptr;
}

PointNetcdfFileInfo* NetcdfPointData::fileInfoAt(
    const AbsTime& fileTime) const {
  PointNetcdfFileInfo* info = nullptr;
  _filesByTime.lookup(fileTime, &info);
  return info;
}

int NetcdfPointData::fileOpenCount() { return process().fileOpenCount; }
int NetcdfPointData::clientlessObjectCount() {
  return process().nClientlessObjects;
}
int NetcdfPointData::clientlessHandleCount() {
  return process().nClientlessHandles;
}

void NetcdfPointData::readOverrides() {
  if (_isStatic) {
    readOverrideLines(TextBuffer(_directory + ".override"));
    return;
  }
  // A reader may have a table of its own along the search path, named by
  // the directory's place in the data tree, so that a site can change how
  // it reads a product without touching the writer's files.
  TextString name;
  if (!_writable && dataTreeName(name)) {
    TextBuffer table(name + ".override");
    if (table.numLines() > 0) {
      readOverrideLines(table);
      return;
    }
  }
  readOverrideLines(TextBuffer(_directory + "/template.override"));
}

bool NetcdfPointData::dataTreeName(TextString& name) const {
  const char* root = getenv("ZEPH_DATA");
  if (root == nullptr || *root == '\0') return false;
  TextString rootText(root);
  unsigned length = rootText.length();
  if (_directory.length() <= length || _directory.left(length) != rootText)
    return false;
  if (root[length - 1] != '/' && _directory.chars()[length] != '/')
    return false;  // a sibling whose name begins like the root
  name = _directory.substring(length, _directory.length() - length);
  while (!name.isEmpty() && name.chars()[0] == '/') name.remove(0, 1);
  for (unsigned i = 0; i < name.length(); ++i)
    if (name.chars()[i] == '/') name[static_cast<int>(i)] = '-';
  return !name.isEmpty();
}

void NetcdfPointData::readOverrideLines(const TextBuffer& table) {
  for (int i = 0; i < table.numLines(); ++i) {
    StringTokenizer words(table[i]);
    if (words.countTokens() != 2) continue;
    TextString name = words.nextToken();
    _overrides.insert(name, words.nextToken());
  }
}

void NetcdfPointData::noteNewDataTime(const DataTime& time) {
  AbsTime t = time.refTime();
  if (t > _newestNotedTime) _newestNotedTime = t;
  // A time beyond the newest file belongs to a file that a scan has yet
  // to find; the noted time itself makes a reader scan.
  if (_fileStep <= 0 || !_latestRefEnd.isValid() || t > _latestRefEnd) return;
  long k = (_latestRefEnd - t) / _fileStep;
  if (k <= 31) _recentBits |= 1u << k;
}

void NetcdfPointData::setNewestFileRange(const AbsTime& refStart,
                                         const AbsTime& refEnd) {
  if (_fileStep > 0) {
    long k = (refEnd - _latestRefEnd) / _fileStep;
    if (k >= 1 && k <= 31)
      _recentBits <<= k;
    else if (k <= -1 && k >= -31)
      _recentBits >>= -k;
    else if (k != 0)
      _recentBits = 0;
  }
  _latestRefStart = refStart;
  _latestRefEnd = refEnd;
}

int NetcdfPointData::variableId(int ncid, const char* name) {
  int id = ncvarid(ncid, name);
  if (id >= 0) return id;
  if (_reportErrors) {
    ZLOG(LogStream::PROBLEM)
        << "Could not get variable id for " << name << std::endl;
  }
  return -1;
}

long NetcdfPointData::dimensionSize(int ncid, const char* name) {
  TextString text;
  long size = -1;
  if (_overrides.lookup(TextString(name), &text)) {
    // An override that doesn't parse hides the file's dimension.
    if (sscanf(text.chars(), "%ld", &size) != 1 || size < 0) size = -1;
  } else {
    int dim = ncdimid(ncid, name);
    if (dim < 0 || ncdiminq(ncid, dim, nullptr, &size) < 0) size = -1;
  }
  if (size < 0 && _reportErrors) {
    ZLOG(LogStream::PROBLEM) << "Could not get size for " << name << std::endl;
  }
  return size;
}

bool NetcdfPointData::attributeText(int ncid, const char* name,
                                    TextString& value) {
  return textAttribute(ncid, name, kMaxTextAttribute, value);
}

bool NetcdfPointData::textAttribute(int ncid, const char* name, int maxLength,
                                    TextString& value) {
  if (_overrides.lookup(TextString(name), &value)) return true;
  nc_type type;
  int length = 0;
  if (ncattinq(ncid, NC_GLOBAL, name, &type, &length) < 0 || type != NC_CHAR ||
      length < 1 || length > maxLength) {
    if (_reportErrors) {
      ZLOG(LogStream::PROBLEM)
          << "Bad inquiry about " << name << " attribute" << std::endl;
    }
    return false;
  }
  char buffer[kMaxTextAttribute + 1];
  if (ncattget(ncid, NC_GLOBAL, name, buffer) < 0) {
    if (_reportErrors) {
      ZLOG(LogStream::PROBLEM)
          << "Could not get value for " << name << std::endl;
    }
    return false;
  }
  buffer[length] = '\0';
  value = buffer;
  return true;
}

bool NetcdfPointData::attributeInt(int ncid, const char* name, int& value) {
  TextString text;
  if (_overrides.lookup(TextString(name), &text) &&
      sscanf(text.chars(), "%d", &value) == 1)
    return true;
  nc_type type;
  int length = 0;
  bool ok = ncattinq(ncid, NC_GLOBAL, name, &type, &length) >= 0 &&
            length >= 1 && length <= kMaxTextAttribute;
  if (ok && type == NC_CHAR) {
    char buffer[kMaxTextAttribute + 1];
    ok = ncattget(ncid, NC_GLOBAL, name, buffer) >= 0;
    if (ok) buffer[length] = '\0';
    ok = ok && sscanf(buffer, "%d", &value) == 1;
  } else if (ok) {
    // Room for the whole attribute in its own type: ncattget writes all.
    double numbers[kMaxTextAttribute];
    ok = ncattget(ncid, NC_GLOBAL, name, numbers) >= 0 &&
         firstNumber(type, numbers, value);
  }
  if (!ok && _reportErrors) {
    ZLOG(LogStream::PROBLEM) << "Could not get value for " << name << std::endl;
  }
  return ok;
}
