#include "dmDataAccessFns.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "DM_DataAccessInfo.h"
#include "Directory.h"
#include "InfoFileServer.h"
#include "LogStream.h"

const char* const kDataFileTimeFormat = "%Y%m%d_%H%M";

namespace {

// A time name is 13 characters; seconds make it 15, and a longer stamp 19.
const unsigned kTimeLength = 13;
// The date stands eight characters before the '_' of a path's name.
const unsigned kDateLength = 8;

// The record of the key, or false after the log line.
bool readInfo(unsigned long key, DM_DataAccessInfo& info) {
  info = DM_DataAccessInfo(key);
  if (info.isValid()) return true;
  ZLOG(LogStream::PROBLEM) << "Error in DM_DataAccessInfo constructor"
                           << std::endl;
  return false;
}

// $ZEPH_DATA/<dataDirectory>, or the empty text after the log line.
TextString directoryOf(const DM_DataAccessInfo& info) {
  const char* root = std::getenv("ZEPH_DATA");
  if (root == nullptr || root[0] == '\0') {
    ZLOG(LogStream::PROBLEM) << "Env var ZEPH_DATA not defined" << std::endl;
    return TextString();
  }
  return TextString(root) + "/" + info.dataDirectory();
}

bool isStaticProduct(const DM_DataAccessInfo& info, bool useStatic) {
  return useStatic && !info.baseName().isEmpty() &&
         !info.extension().isEmpty();
}

TextString staticPath(const DM_DataAccessInfo& info) {
  TextString name = info.fileName();
  TextString path = findInfoFile(name);
  if (path.isEmpty()) {
    ZLOG(LogStream::PROBLEM) << "Could not find static file " << name
                             << std::endl;
  }
  return path;
}

// The time part of a listed name, or the empty text if the name can't be
// one of a data file.
TextString timeStampOf(const TextString& name, unsigned prefixLength,
                       unsigned suffixLength) {
  if (name.length() < prefixLength + suffixLength) return TextString();
  unsigned length = name.length() - prefixLength - suffixLength;
  if (length != 13 && length != 15 && length != 19) return TextString();
  const char* stamp = name.chars() + prefixLength;
  for (unsigned i = kTimeLength; i < length; ++i)
    if (!std::isdigit(static_cast<unsigned char>(stamp[i])) && stamp[i] != '.')
      return TextString();
  return TextString(stamp, length);
}

}  // namespace

TextString dmFileName(const TextString& directory, const AbsTime& time,
                      const TextString& prefix, const TextString& suffix) {
  return directory + "/" + prefix + time.format(kDataFileTimeFormat) + suffix;
}

TextString dmFileName(unsigned long key, const AbsTime& time, bool useStatic) {
  DM_DataAccessInfo info;
  if (!readInfo(key, info)) return TextString();
  if (isStaticProduct(info, useStatic)) return staticPath(info);
  TextString directory = directoryOf(info);
  if (directory.isEmpty()) return directory;
  return dmFileName(directory, time, info.baseName(), info.extension());
}

TextString dmTemplateName(const TextString& directory,
                          const TextString& prefix, const TextString& suffix,
                          int version) {
  TextString name = directory + "/" + prefix + "template";
  if (version >= 0) {
    char digits[8];
    std::snprintf(digits, sizeof digits, "%2.2d", version % 100);
    name += digits;
  }
  return name + suffix;
}

TextString dmTemplateName(unsigned long key, int version) {
  DM_DataAccessInfo info;
  if (!readInfo(key, info)) return TextString();
  TextString directory = directoryOf(info);
  if (directory.isEmpty()) return directory;
  return dmTemplateName(directory, info.baseName(), info.extension(), version);
}

TextString dmDirectory(unsigned long key) {
  DM_DataAccessInfo info;
  if (!readInfo(key, info)) return TextString();
  return directoryOf(info);
}

SeqOf<AbsTime>* dmFileTimes(const TextString& directory,
                            const TextString& prefix,
                            const TextString& suffix) {
  Directory listing;
  listing.directory = directory;
  listing.prefix = prefix;
  listing.suffix = suffix;
  listing.sorted = true;
  listing.scan();
  ZLOG(LogStream::DEBUG) << "directory length = " << listing.length()
                         << std::endl;
  SeqOf<AbsTime>* times = new SeqOf<AbsTime>;
  // Ascending names give the newest time first when walked backwards.
  for (int i = listing.length() - 1; i >= 0; --i) {
    TextString stamp =
        timeStampOf(listing[i], prefix.length(), suffix.length());
    AbsTime time;
    if (!stamp.isEmpty() && dmParseFileTime(stamp, time)) times->append(time);
  }
  return times;
}

SeqOf<AbsTime>* dmFileTimes(unsigned long key, bool useStatic) {
  DM_DataAccessInfo info;
  if (!readInfo(key, info)) return nullptr;
  if (isStaticProduct(info, useStatic)) {
    SeqOf<AbsTime>* times = new SeqOf<AbsTime>;
    times->append(AbsTime(1));
    return times;
  }
  TextString directory = directoryOf(info);
  if (directory.isEmpty()) return nullptr;
  return dmFileTimes(directory, info.baseName(), info.extension());
}

bool dmFileTimes(unsigned long key, bool useStatic, Set<AbsTime>& timeSet) {
  SeqOf<AbsTime>* times = dmFileTimes(key, useStatic);
  if (times == nullptr) {
    ZLOG(LogStream::PROBLEM) << "Error in file inventory method dmFileTimes"
                             << std::endl;
    return false;
  }
  for (int i = 0; i < times->length(); ++i) timeSet.insert(times->at(i));
  delete times;
  return true;
}

bool dmParseFileTime(const TextString& text, AbsTime& time) {
  time = AbsTime();
  int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
  int fields = std::sscanf(text.chars(), "%4d%2d%2d_%2d%2d%2d", &year, &month,
                           &day, &hour, &minute, &second);
  if (fields < 5) return false;
  if (fields == 6 && year == 1970 && month == 1 && day == 1 && hour == 0 &&
      minute == 0 && second == 1) {
    time = AbsTime(1);  // the static time
    return true;
  }
  if (year < 1971 || year > 2037) {
    ZLOG(LogStream::PROBLEM) << "Unreasonable time stamp " << text
                             << std::endl;
    return false;
  }
  AbsTime parsed(year, month, day, hour, minute, second);
  if (!parsed.isValid()) {
    ZLOG(LogStream::PROBLEM) << "For AbsTime " << text << ": " << year << " "
                             << month << " " << day << " " << hour << " "
                             << minute << " " << second << std::endl;
    return false;
  }
  time = parsed;
  return true;
}

bool dmParseFilePath(const TextString& path, AbsTime& time) {
  time = AbsTime();
  const char* slash = std::strrchr(path.chars(), '/');
  const char* name = slash ? slash + 1 : path.chars();
  const char* underscore = std::strlen(name) > kDateLength
                               ? std::strchr(name + kDateLength, '_')
                               : nullptr;
  if (underscore == nullptr ||
      !dmParseFileTime(TextString(underscore - kDateLength), time)) {
    ZLOG(LogStream::BUG) << "Invalid ZEPH data file time string" << std::endl;
    return false;
  }
  return true;
}

unsigned long dmSelectKey(const TextString& word, const char* firstWord,
                          unsigned long firstKey, const char* secondWord,
                          unsigned long secondKey) {
  if (word == firstWord) return firstKey;
  if (word == secondWord) return secondKey;
  return 0;
}

unsigned long dmEtaAvnKey(const TextString& word) {
  return dmSelectKey(word, "ETA", 10001, "AVN", 10002);
}

unsigned long dmSbnCorvinKey420(const TextString& word) {
  return dmSelectKey(word, "SBN", 420, "CORVIN", 421);
}

unsigned long dmSbnCorvinKey320(const TextString& word) {
  return dmSelectKey(word, "SBN", 320, "CORVIN", 321);
}

unsigned long dmSbnLocalKey450(const TextString& word) {
  return dmSelectKey(word, "SBN", 450, "LOCAL", 451);
}

unsigned long dmSbnLocalKey350(const TextString& word) {
  return dmSelectKey(word, "SBN", 350, "LOCAL", 351);
}

unsigned long dmSbnCorvinKey401(const TextString& word) {
  return dmSelectKey(word, "SBN", 401, "CORVIN", 402);
}

unsigned long dmSbnCorvinKey301(const TextString& word) {
  return dmSelectKey(word, "SBN", 301, "CORVIN", 302);
}
