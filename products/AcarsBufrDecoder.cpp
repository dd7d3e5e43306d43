#include "AcarsBufrDecoder.h"

#include <cstdlib>

#include "LogStream.h"
#include "NetcdfPointData.h"
#include "dmNotify.h"

namespace {

const unsigned long kAcarsKey = 79;

TextString environment(const char* name) {
  const char* value = std::getenv(name);
  return TextString(value ? value : "");
}

}  // namespace

void clearAcarsDescriptorCache();

AcarsBufrDecoder::AcarsBufrDecoder()
    : ProductDecoder(kAcarsTraits), _pointData(nullptr) {
  static bool firstAcarsDecoder = true;
  if (firstAcarsDecoder) {
    clearAcarsDescriptorCache();
    firstAcarsDecoder = false;
  }
  TextString directory = environment("ZEPH_DATA") + "/point/acars" + "/netcdf";
  _pointData = NetcdfPointData::getNetcdfPointData(directory, true, false);
  // An unreadable template leaves the dictionary empty, and the runs over
  // the directory then refuse to start.
  _tblBDict = readTemplateDict(directory + "/template", "tblBname");
  completeSetUp();
}

AcarsBufrDecoder::~AcarsBufrDecoder() {}

bool AcarsBufrDecoder::readyToProcess() {
  if (_tblBDict.length() > 0) return true;
  ZLOG(LogStream::PROBLEM) << "Unable to read template file" << std::endl;
  return false;
}

// ACARS bulletins come under several headings; the code may stand
// anywhere in the name, behind whatever the feed puts in front.
bool AcarsBufrDecoder::validBufrFile(const TextString& name) {
  for (int p = 0; p < _prefixes.length(); ++p) {
    const TextString& code = _prefixes.keyAt(p);
    ZLOG(LogStream::VERBOSE) << "ACARS ident string = " << code << std::endl;
    unsigned position = 0;
    if (name.search(code, position)) return true;
  }
  ZLOG(LogStream::PROBLEM) << "Not a valid ACARS BUFR file name - " << name
                           << std::endl;
  return false;
}

bool AcarsBufrDecoder::sendNotification(const AbsTime& time) {
  if (dmNotify(kAcarsKey, DataTime(time))) {
    ZLOG(LogStream::VERBOSE) << "Sent notification for key " << kAcarsKey
                             << std::endl;
    return true;
  }
  ZLOG(LogStream::PROBLEM) << "dmNotify FAILED for key = " << kAcarsKey
                           << std::endl;
  return false;
}
