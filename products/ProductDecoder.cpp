#include "ProductDecoder.h"

#include <errno.h>
#include <netcdf.h>
#include <sys/select.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <vector>

#include "BufrSignalClient.h"
#include "Directory.h"
#include "LogStream.h"
#include "Set.h"
#include "StaticBufrInfo.h"
#include "dmNotify.h"

namespace {

// A BUFR message says its length in three octets, so no message is longer
// than this; a file may hold a heading in front of it.
const long kLargestFile = (1L << 24) + 4096;
const long kPauseMicroseconds = 300000;

}  // namespace

ProductDecoder::ProductDecoder(const ProductTraits& traits)
    : _traits(traits),
      _dataDirectory(traits.dataDirectory),
      _badDirectory(traits.badDirectory),
      _registrationPeriod(traits.registrationPeriod) {
  StaticBufrInfo::instance().makeDataPaths(_dataDirectory, _badDirectory);
}

ProductDecoder::~ProductDecoder() {}

TextString ProductDecoder::patternFileName() {
  return TextString(_traits.patternFile);
}

void ProductDecoder::completeSetUp() { _productName = _traits.productName; }

void ProductDecoder::processBufrDirectory() {
  if (!readyToProcess()) return;
  BufrSignalClient::instance().setDirectories(_dataDirectory, _badDirectory);
  if (_traits.patternsOnce) getBufrPatterns();

  TextString directory = _dataDirectory + "/";
  Directory listing;
  listing.directory = directory;
  if (_traits.listing != ProductTraits::kAll) {
    listing.useRegexp = true;
    listing.regexpMode = 0;
    listing.pattern = _traits.listExpression;
    listing.sorted = _traits.listing == ProductTraits::kSortedExpression;
  }
  listing.scan();
  if (_traits.logsDirectory) {
    ZLOG(LogStream::DEBUG) << "processBufrDirectory: directory name "
                           << directory << std::endl;
  }
  for (int i = 0; i < listing.length(); ++i)
    processFile(directory, listing[i], i, listing.length());
  ZLOG(LogStream::DEBUG) << "exiting processBufrDirectory(): directory name "
                         << directory << std::endl;
}

void ProductDecoder::processFile(const TextString& directory,
                                 const TextString& name, int index,
                                 int count) {
  BufrSignalClient::instance().setCurrentFile(name);
  TextString path = directory + name;
  ZLOG(LogStream::DEBUG) << "processBufrDirectory: file name " << name
                         << std::endl;
  struct stat info;
  if (stat(path.chars(), &info) != 0) {
    int error = errno;
    ZLOG(LogStream::PROBLEM) << _traits.statRow << path << ": "
                             << std::strerror(error) << std::endl;
    moveToBadDirectory("Unable to stat", path);
    return;
  }
  if (info.st_size == 0) {
    ZLOG(LogStream::EVENT) << "No data in datafile " << path << std::endl;
    deleteDataFile(path);
    return;
  }
  if (!_traits.patternsOnce) {
    TextString pattern = getBufrPatterns();
    ZLOG(LogStream::VERBOSE) << "BUFR Pattern [" << pattern << "]"
                             << std::endl;
  }
  if (!validBufrFile(name)) {
    deleteDataFile(path);
  } else if (!readBufrFile(index, count, directory, name)) {
    ZLOG(LogStream::EVENT) << path << std::endl;
    moveToBadDirectory("Unable to parse", path);
    return;
  } else {
    ZLOG(LogStream::EVENT) << path << std::endl;
    int stored = write2NetcdfFile();
    if (stored == 1) {
      ZLOG(LogStream::EVENT) << _traits.storedRow << _lastFile << std::endl;
      ZLOG(LogStream::VERBOSE) << "....and unlinking file " << path
                               << std::endl;
      deleteDataFile(path);
    } else if (stored == 0) {
      ZLOG(LogStream::VERBOSE) << "Unlinking file " << path << std::endl;
      deleteDataFile(path);
    } else {
      moveToBadDirectory(_traits.failedRow, path);
    }
  }
  if (_traits.pauses) pauseBetweenFiles(kPauseMicroseconds);
}

bool ProductDecoder::deleteDataFile(const TextString& path) {
  if (unlink(path.chars()) == 0) {
    ZLOG(LogStream::VERBOSE) << path << " deleted" << std::endl;
    return true;
  }
  int error = errno;
  ZLOG(LogStream::PROBLEM) << path << " FAILED on unlink() command: "
                           << std::strerror(error) << std::endl;
  return false;
}

bool ProductDecoder::moveToBadDirectory(const char* reason,
                                        const TextString& path) {
  unsigned slash = 0;
  TextString name = path;
  if (path.length() > 0 &&
      path.search('/', slash, path.length() - 1, TextString::BACKWARD))
    name = path.right(path.length() - slash - 1);
  TextString newPath = _badDirectory + "/" + name;
  if (rename(path.chars(), newPath.chars()) == 0) {
    ZLOG(LogStream::EVENT) << reason << " " << path << ", renamed to "
                           << newPath << std::endl;
    return true;
  }
  int error = errno;
  ZLOG(LogStream::PROBLEM) << "Unable to move " << path << " to " << newPath
                           << std::endl;
  ZLOG(LogStream::PROBLEM) << path << " FAILED on rename() command: "
                           << std::strerror(error) << std::endl;
  return deleteDataFile(path);
}

// A data file's name begins with a WMO heading: four characters of data
// format code and two of regional designator.
bool ProductDecoder::validBufrFile(const TextString& name) {
  TextString prefix = name.left(4);
  TextString designator = name.substring(4, 2);
  ZLOG(LogStream::DEBUG) << "filePrefixChk: " << prefix << std::endl;
  ZLOG(LogStream::DEBUG) << "fileDesignatorChk: " << designator << std::endl;
  if (!_prefixes.lookup(prefix)) {
    ZLOG(LogStream::PROBLEM) << "File " << name << _traits.notThisProduct
                             << std::endl;
    return false;
  }
  regex_t* expression = nullptr;
  if (!_designators.lookup(prefix, &expression) || expression == nullptr)
    return true;
  bool known = takeDesignator(designator);
  if (!matchesDesignator(designator, *expression)) {
    ZLOG(LogStream::PROBLEM) << "Invalid data: WMO region designator <"
                             << designator
                             << "> not in search tree, data not stored."
                             << std::endl;
    return false;
  }
  return known;
}

bool ProductDecoder::takeDesignator(const TextString&) { return true; }

bool ProductDecoder::readBufrFile(int index, int count,
                                  const TextString& directory,
                                  const TextString& name) {
  TextString path = directory + name;
  FILE* file = std::fopen(path.chars(), "r");
  if (file == nullptr) {
    int error = errno;
    ZLOG(LogStream::PROBLEM) << "NCF_FAIL fopen() failed on file " << name
                             << std::endl;
    ZLOG(LogStream::PROBLEM) << "\t" << std::strerror(error) << std::endl;
    moveToBadDirectory("Unable to open", path);
    return false;
  }
  struct stat info;
  if (fstat(fileno(file), &info) != 0) {
    int error = errno;
    ZLOG(LogStream::PROBLEM) << _traits.statRow << path << ": "
                             << std::strerror(error) << std::endl;
    std::fclose(file);
    return false;
  }
  // The buffer is sized by the file: nothing larger than a message can be.
  if (info.st_size > kLargestFile) {
    ZLOG(LogStream::PROBLEM) << "File " << name << " of " << info.st_size
                             << " bytes is larger than a BUFR message can be"
                             << std::endl;
    std::fclose(file);
    return false;
  }
  long fileSize = info.st_size;
  long size = fileSize + 1;
  unsigned char* buffer = new unsigned char[size]();
  if (_traits.logsInputName) {
    ZLOG(LogStream::EVENT) << " Input File Name :" << name << std::endl;
  }
  ZLOG(LogStream::EVENT) << "NCF_ENTRY [" << index + 1 << "/" << count
                         << "] = " << name << ": " << size << " bytes"
                         << std::endl;
  if (_traits.readDataWord) {
    ZLOG(LogStream::DEBUG) << "Getting " << sourceWord()
                           << _traits.readDataWord << std::endl;
  }
  size_t read = std::fread(buffer, 1, fileSize, file);
  bool decoded = false;
  if (read != static_cast<size_t>(fileSize)) {
    int error = errno;
    ZLOG(LogStream::PROBLEM) << "Only able to read " << read << " bytes of "
                             << fileSize << " bytes in file, " << name << "; "
                             << std::strerror(error) << std::endl;
    deleteDataFile(path);
  } else {
    decoded = decodeMessage(buffer, static_cast<unsigned>(size));
  }
  std::fclose(file);
  delete[] buffer;
  return decoded;
}

void ProductDecoder::pauseBetweenFiles(long microseconds) {
  char text[48];
  std::snprintf(text, sizeof text, "Waiting %5.3f seconds......",
                microseconds / 1e6);
  ZLOG(LogStream::DEBUG) << text << std::endl;
  struct timeval wait;
  wait.tv_sec = microseconds / 1000000;
  wait.tv_usec = microseconds % 1000000;
  select(0, nullptr, nullptr, nullptr, &wait);
}

bool ProductDecoder::sendNotification() {
  TextString time = _dataTime.refTime().format("%h %d %y %T GMT");
  if (dmNotify(_traits.key, _dataTime)) {
    ZLOG(LogStream::VERBOSE) << "Sent notification for key " << _traits.key
                             << " and dataTime " << time << std::endl;
    return true;
  }
  ZLOG(LogStream::PROBLEM) << "dmNotify FAILED for key = " << _traits.key
                           << " and dataTime " << time << std::endl;
  return false;
}

bool ProductDecoder::insertDecodedValues(int ncid, const TextString& name,
                                         long record,
                                         const BufrValues& value) {
  int varid, dimensions;
  nc_type type;
  int dimensionIds[NC_MAX_VAR_DIMS];
  int status = nc_inq_varid(ncid, name.chars(), &varid);
  if (status == NC_NOERR)
    status = nc_inq_var(ncid, varid, nullptr, &type, &dimensions,
                        dimensionIds, nullptr);
  size_t start[3] = {static_cast<size_t>(record), 0, 0};
  if (status == NC_NOERR) {
    switch (type) {
      case NC_INT: {
        int v = static_cast<int>(value.value());
        status = nc_put_var1_int(ncid, varid, start, &v);
        break;
      }
      case NC_FLOAT: {
        float v = value.value();
        status = nc_put_var1_float(ncid, varid, start, &v);
        break;
      }
      case NC_DOUBLE: {
        double v = value.value();
        status = nc_put_var1_double(ncid, varid, start, &v);
        break;
      }
      case NC_CHAR: {
        if (dimensions < 2) break;
        size_t length = 0;
        nc_inq_dimlen(ncid, dimensionIds[dimensions - 1], &length);
        TextString text = value.text();
        ZLOG(LogStream::VERBOSE) << name << ", start[0]: " << start[0]
                                 << ", dataToken: <" << text << ">"
                                 << std::endl;
        std::vector<char> row(length, '\0');
        std::memcpy(row.data(), text.chars(),
                    text.length() < length ? text.length() : length);
        size_t count[2] = {1, length};
        status = nc_put_vara_text(ncid, varid, start, count, row.data());
        break;
      }
      default:
        break;
    }
  }
  if (status == NC_NOERR) return true;
  ZLOG(LogStream::PROBLEM) << "insertDecodedValues (" << name
                           << ") error: " << nc_strerror(status) << std::endl;
  return false;
}

void ProductDecoder::storeSingle(const TextString& name, int ncid, long record,
                                 const BufrValues& value) {
  if (insertDecodedValues(ncid, name, record, value)) {
    ZLOG(LogStream::DEBUG) << "Successful singleton store of " << name
                           << std::endl;
  } else {
    ZLOG(LogStream::PROBLEM) << "Unable to store singleton value for " << name
                             << std::endl;
  }
}

bool ProductDecoder::variableOfValue(const BufrValues& value,
                                     const Dict<TextString, TextString>& dict,
                                     TextString& name) {
  bool named = ncVarNameForDescriptor(value.descriptor(), name, dict);
  ZLOG(LogStream::DEBUG) << "subset: " << value.subset() << ", dvDescriptor ("
                         << value.descriptor() << ")= <" << name << "> <"
                         << value.value() << ">" << std::endl;
  if (!named) return false;
  ZLOG(LogStream::DEBUG) << "subset: " << value.subset() << ", dvDescriptor ("
                         << value.descriptor() << ")= <" << name << "> <"
                         << value.text() << ">" << std::endl;
  return true;
}

// One notification for each distinct minute of the file that was stored.
void ProductDecoder::notifyTimes(const SeqOf<AbsTime>& times,
                                 const SeqOf<bool>& stored) {
  Set<long> sent;
  for (int k = 0; k < times.length(); ++k) {
    _dataTime = DataTime(times.at(k));
    if (!stored.at(k) || sent.lookup(times.at(k).seconds())) continue;
    sent.insert(times.at(k).seconds());
    sendNotification();
  }
}
