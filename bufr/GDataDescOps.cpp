#include "GDataDescOps.h"

#include "BufrDecoder.h"
#include "LogStream.h"
#include "SeqOf.h"
#include "StaticBufrInfo.h"

namespace {

// Descriptors whose coding value an operator has changed, with the value
// as it was, one pair of lists for each of scale, reference and width.
// They aren't stacks: an element changed once isn't changed again until
// the cancelling operator puts the whole list back.
struct SavedCoding {
  SeqOf<int> descriptors[3];
  SeqOf<int> values[3];
  int signifyWidth = 0;
};

SavedCoding& saved() {
  static SavedCoding state;
  return state;
}

const char* const kCodingName[3] = {"scale", "reference", "width"};

const char kChangeWidth[] =
    " for data description operator change data width";
const char kResetWidth[] =
    " for data description operator reset of data width";
const char kChangeScale[] =
    " for data description operator change data scale";
const char kResetScale[] =
    " for data description operator reset of data scale";
const char kChangeReference[] =
    " for data description operator change data reference";
const char kResetReference[] =
    " for data description operator reset of data reference";
const char kSignify[] = " for data description operator signify data width";
const char kResetSignify[] =
    " for data description operator reset of signify data width";

}  // namespace

void GDataDescOps::forgetSavedState() {
  for (int c = 0; c < 3; ++c) {
    saved().descriptors[c].setLength(0);
    saved().values[c].setLength(0);
  }
  saved().signifyWidth = 0;
}

int GDataDescOps::savedWidthCount() {
  return saved().descriptors[kWidth].length();
}

bool GDataDescOps::fetch(int descriptor, int values[3], const char* failure) {
  SeqOf<int> found;
  if (!StaticBufrInfo::instance().tableBValues(descriptor, found) ||
      found.length() < 3) {
    ZLOG(LogStream::PROBLEM) << "Unable to find table B items for descriptor "
                             << descriptor << failure << std::endl;
    return false;
  }
  for (int i = 0; i < 3; ++i) values[i] = found.at(i);
  return true;
}

bool GDataDescOps::change(int descriptor, Coding coding, const char* failure) {
  SavedCoding& state = saved();
  if (state.descriptors[coding].findFirst(descriptor) >= 0) return true;
  int values[3];
  if (!fetch(descriptor, values, failure)) return false;
  int old = values[coding];
  if (coding == kReference) {
    int bits = _y;
    values[coding] = _decoder->takeBits(bits);
  } else {
    values[coding] = old + _y - 128;
  }
  state.values[coding].append(old);
  state.descriptors[coding].append(descriptor);
  if (coding == kReference) {
    ZLOG(LogStream::VERBOSE) << "Changing data reference in table B for "
                                "descriptor "
                             << descriptor << " from " << old
                             << "\nReference value changed to "
                             << values[coding] << std::endl;
  } else {
    ZLOG(LogStream::VERBOSE)
        << "length of saved data " << kCodingName[coding]
        << " info = " << state.values[coding].length() << "\nlength of saved "
        << "data " << kCodingName[coding]
        << " descriptor info = " << state.descriptors[coding].length()
        << "\nChanging data " << kCodingName[coding]
        << " in table B for descriptor " << descriptor << " from " << old
        << " to " << values[coding] << (coding == kWidth ? " bits" : "")
        << std::endl;
  }
  StaticBufrInfo::instance().setTableBValues(descriptor, SeqOf<int>(3, values));
  return true;
}

bool GDataDescOps::reset(Coding coding, const char* failure) {
  SavedCoding& state = saved();
  ZLOG(LogStream::VERBOSE) << "length of saved data " << kCodingName[coding]
                           << " info = " << state.values[coding].length()
                           << std::endl;
  for (int i = 0; i < state.descriptors[coding].length(); ++i) {
    int descriptor = state.descriptors[coding].at(i);
    int values[3];
    if (!fetch(descriptor, values, failure)) return false;
    values[coding] = state.values[coding].at(i);
    StaticBufrInfo::instance().setTableBValues(descriptor,
                                               SeqOf<int>(3, values));
    ZLOG(LogStream::VERBOSE) << "Resetting data " << kCodingName[coding]
                             << " for descriptor " << descriptor
                             << " back to " << values[coding] << std::endl;
  }
  state.descriptors[coding].setLength(0);
  state.values[coding].setLength(0);
  return true;
}

bool GDataDescOps::changeDataWidth(int d) { return change(d, kWidth, kChangeWidth); }
bool GDataDescOps::resetDataWidth() { return reset(kWidth, kResetWidth); }
bool GDataDescOps::changeDataScale(int d) { return change(d, kScale, kChangeScale); }
bool GDataDescOps::resetDataScale() { return reset(kScale, kResetScale); }
bool GDataDescOps::changeDataReference(int d) {
  return change(d, kReference, kChangeReference);
}
bool GDataDescOps::resetDataReference() {
  return reset(kReference, kResetReference);
}

bool GDataDescOps::skipAssociatedSignificance(int descriptor) {
  int values[3];
  if (!fetch(descriptor, values, kChangeReference)) return false;
  int bits = 2;  // whatever the table says of 0 31 021
  _decoder->takeBits(bits);
  return true;
}

bool GDataDescOps::textualInfo(int descriptor) {
  TextString text = _decoder->getCharacters(_y);
  ZLOG(LogStream::DEBUG) << "textual info for descriptor " << descriptor << ":"
                         << "\n" << text << std::endl;
  return true;
}

bool GDataDescOps::signifyDataWidth(int descriptor) {
  int values[3];
  if (!fetch(descriptor, values, kSignify)) return false;
  saved().signifyWidth = values[kWidth];
  ZLOG(LogStream::VERBOSE) << "Signifying data width in table B of descriptor "
                           << descriptor << " from " << values[kWidth] << " to "
                           << _y << " bits" << std::endl;
  values[kWidth] = _y;
  StaticBufrInfo::instance().setTableBValues(descriptor, SeqOf<int>(3, values));
  return true;
}

bool GDataDescOps::resetSignifyDataWidth(int descriptor) {
  int values[3];
  if (!fetch(descriptor, values, kResetSignify)) return false;
  values[kWidth] = saved().signifyWidth;
  StaticBufrInfo::instance().setTableBValues(descriptor, SeqOf<int>(3, values));
  ZLOG(LogStream::VERBOSE) << "Resetting signify data width for descriptor "
                           << descriptor << " back to " << values[kWidth]
                           << std::endl;
  return true;
}
