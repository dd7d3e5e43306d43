// The picture of a directory of point files: which files there are, the
// record that stands for each, which of them are open, and how the picture
// follows the directory when files come and go.

#include <netcdf.h>
#include <netcdfcpp.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <memory>

#include "LogStream.h"
#include "NetcdfPointData.h"
#include "PointFileStructure.h"
#include "PointNetcdfFileInfo.h"
#include "dmDataAccessFns.h"

namespace {

// Scans of a changed directory for which a bad file stays out.
const int kBadFileScans = 3;
// A found file this far past the oldest can't have been purged.
const long kPurgeMargin = 900;
const char* const kLogTimeFormat = "%h %d %y %T GMT";

void removeAt(SeqOf<AbsTime>& times, int index) {
  times.replaceBetween(index - 1, index + 1, SeqOf<AbsTime>());
}

bool sameTimes(const SeqOf<AbsTime>& a, const SeqOf<AbsTime>& b) {
  if (a.length() != b.length()) return false;
  for (int i = 0; i < a.length(); ++i)
    if (a.at(i) != b.at(i)) return false;
  return true;
}

}  // namespace

void NetcdfPointData::quietNetcdfErrors() {
  ncopts = 0;
  // Each NcError restores at its end the state it found; the one held here
  // is made anew so that the quiet state is the one that stays.
  static NcError* quiet = nullptr;
  delete quiet;
  quiet = new NcError(NcError::silent_nonfatal);
}

NcFile* NetcdfPointData::openNetCdfFile(const TextString& path, bool writable,
                                        bool report) {
  NcFile* file =
      new NcFile(path.chars(), writable ? NcFile::Write : NcFile::ReadOnly);
  ++process().fileOpenCount;
  if (file->is_valid()) return file;
  deleteNcFile(file);
  if (report) {
    ZLOG(LogStream::PROBLEM)
        << "Could not open " << path << " in openNetCdfFile" << std::endl;
  }
  return nullptr;
}

void NetcdfPointData::deleteNcFile(NcFile* ncFile) {
  if (ncFile == nullptr) return;
  delete ncFile;
  --process().fileOpenCount;
}

int NetcdfPointData::openPlainFile(const TextString& path, bool report) {
  int ncid = -1;
  if (nc_open(path.chars(), NC_NOWRITE, &ncid) == NC_NOERR) {
    ++process().fileOpenCount;
    return ncid;
  }
  if (report) {
    ZLOG(LogStream::PROBLEM)
        << "Could not open " << path << " in openNetCdfFile" << std::endl;
  }
  return -1;
}

void NetcdfPointData::closePlainFile(int ncid) {
  if (ncid < 0) return;
  nc_close(ncid);
  --process().fileOpenCount;
}

bool NetcdfPointData::openInMode(PointNetcdfFileInfo* fileInfo, bool report) {
  if (fileInfo->ncid >= 0) return true;
  if (_writable) {
    NcFile* file = openNetCdfFile(fileInfo->path, true, report);
    if (file == nullptr) return false;
    fileInfo->ncFile = file;
    fileInfo->ncid = file->id();
  } else {
    fileInfo->ncid = openPlainFile(fileInfo->path, report);
  }
  return fileInfo->ncid >= 0;
}

// The record's file opened for a query that found it closed; it is then
// read afresh, whatever the record remembers of it.
bool NetcdfPointData::openForQuery(PointNetcdfFileInfo* fileInfo,
                                   const char* caller) {
  if (fileInfo->ncid >= 0) return true;
  if (!fileInfo->confirmed) return confirmFile(fileInfo);
  if (!openInMode(fileInfo, false)) {
    ZLOG(LogStream::PROBLEM)
        << "Could not open " << fileInfo->path << " in " << caller << std::endl;
    return false;
  }
  fileInfo->nextCheck = AbsTime();
  return true;
}

void NetcdfPointData::closeFiles(PointNetcdfFileInfo* fileInfo) {
  if (fileInfo->ncFile == nullptr || fileInfo->ncFile->id() != fileInfo->ncid)
    closePlainFile(fileInfo->ncid);
  deleteNcFile(fileInfo->ncFile);
  fileInfo->ncFile = nullptr;
  fileInfo->ncid = -1;
}

NcFile* NetcdfPointData::getFileInfoNcFile(PointNetcdfFileInfo* fileInfo) {
  if (fileInfo->ncFile != nullptr) return fileInfo->ncFile;
  if (!fileInfo->confirmed && !confirmFile(fileInfo)) return nullptr;
  NcFile* file = openNetCdfFile(fileInfo->path, _writable, false);
  if (file == nullptr) {
    ZLOG(LogStream::PROBLEM) << "Could not open " << fileInfo->path
                             << " in getFileInfoNcFile" << std::endl;
    return nullptr;
  }
  // A reader's index reads and handle keep the plain id they have.
  fileInfo->ncFile = file;
  if (fileInfo->ncid < 0) {
    fileInfo->ncid = file->id();
    fileInfo->nextCheck = AbsTime();
  }
  return file;
}

bool NetcdfPointData::openFileInfo(PointNetcdfFileInfo* fileInfo) {
  if (fileInfo->handle != nullptr) return true;
  if (!openForQuery(fileInfo, "openFileInfo")) return false;
  fileInfo->handle = new int(fileInfo->ncid);
  _handles.insert(fileInfo->handle, fileInfo);
  return true;
}

void NetcdfPointData::giveNcFileToFileInfo(PointNetcdfFileInfo* fileInfo,
                                           NcFile* ncFile) {
  if (ncFile == nullptr || !ncFile->is_valid()) {
    ZLOG(LogStream::BUG) << "Bad NcFile* passed into giveNcFileToFileInfo()"
                         << std::endl;
    deleteNcFile(ncFile);
    return;
  }
  NcFile* own = fileInfo->ncFile;
  if (own == ncFile) {
    openFileInfo(fileInfo);
    return;
  }
  if (own != nullptr && own->is_valid()) {
    deleteNcFile(ncFile);
    openFileInfo(fileInfo);
    return;
  }
  if (fileInfo->handle != nullptr && own == nullptr) {
    ZLOG(LogStream::PROBLEM)
        << "Handle with no NcFile object for " << fileInfo->path << std::endl;
  } else if (fileInfo->handle != nullptr) {
    ZLOG(LogStream::PROBLEM)
        << "Handle with invalid NcFile object for " << fileInfo->path << " "
        << process().fileOpenCount << std::endl;
  }
  // The record's id may be that of the file given, come back to it.
  if (fileInfo->ncid == ncFile->id()) fileInfo->ncid = -1;
  closeFiles(fileInfo);
  fileInfo->ncFile = ncFile;
  fileInfo->ncid = ncFile->id();
  if (fileInfo->handle == nullptr) {
    openFileInfo(fileInfo);
    return;
  }
  *fileInfo->handle = ncFile->id();
  _handles.insert(fileInfo->handle, fileInfo);
}

void NetcdfPointData::closeFileInfo(PointNetcdfFileInfo* fileInfo) {
  closeFiles(fileInfo);
  if (fileInfo->handle == nullptr) return;
  handleLeavesClientless(fileInfo);
  _handles.remove(fileInfo->handle);
  if (fileInfo->clients > 0) {
    // A holder may still give the handle back: the cell stays, marked
    // closed, so that the release answers false instead of reading freed
    // memory. It costs an int for each file dropped while held.
    *fileInfo->handle = -1;
  } else {
    delete fileInfo->handle;
  }
  fileInfo->handle = nullptr;
}

void NetcdfPointData::closeUnheldFile(PointNetcdfFileInfo* fileInfo) {
  if (fileInfo->handle != nullptr) return;
  closeFiles(fileInfo);
}

void NetcdfPointData::adopt(PointNetcdfFileInfo* fileInfo) {
  fileInfo->owner = this;
}

void NetcdfPointData::dropFileInfo(PointNetcdfFileInfo* fileInfo) {
  if (fileInfo == nullptr) return;
  unregisterClientless(fileInfo);
  fileInfo->deleteTables();
  if (_newestFile == fileInfo) _newestFile = nullptr;
  if (_currentFile == fileInfo) {
    _currentFile = nullptr;
    _currentIndex = -1;
  }
  closeFileInfo(fileInfo);
  PointNetcdfFileInfo* listed = nullptr;
  if (_filesByTime.lookup(fileInfo->fileTime, &listed) && listed == fileInfo)
    _filesByTime.remove(fileInfo->fileTime);
  if (!fileInfo->confirmed) --_unconfirmed;
  if (fileInfo->structure == nullptr) {
    ZLOG(LogStream::BUG) << "This file info structure does not have file"
                         << " structure data." << std::endl;
  } else {
    releaseStructure(fileInfo->structure);
  }
  delete fileInfo;
}

void NetcdfPointData::releaseStructure(PointFileStructure* s) {
  if (--s->useCount > 0) return;
  _structures.remove(s->cdlDate);
  if (_structure == s) _structure = nullptr;
  delete s;
}

void NetcdfPointData::dropAll() {
  SeqOfPtr<PointNetcdfFileInfo*> records;
  for (int i = 0; i < _filesByTime.length(); ++i)
    records.append(_filesByTime.valueAt(i));
  for (int i = 0; i < records.length(); ++i) dropFileInfo(records[i]);
  _filesByTime.clear();
}

PointNetcdfFileInfo* NetcdfPointData::lookUp(const AbsTime& fileTime,
                                             const char* what) {
  PointNetcdfFileInfo* info = nullptr;
  if (_filesByTime.lookup(fileTime, &info) && info != nullptr) return info;
  resyncAndReport(fileTime, what);
  return nullptr;
}

bool NetcdfPointData::resync() {
  _nextResync = AbsTime::now() + _checkInterval;
  if (_isStatic) return resyncStatic();
  struct stat status;
  if (stat(_directory.chars(), &status) != 0) {
    ZLOG(LogStream::PROBLEM)
        << "Could not stat directory :" << _directory << std::endl;
    return false;
  }
  // The directory's modification time is the one sign that a file came or
  // went: while it stands, the directory isn't listed.
  if (sameModTime(status.st_mtim, _directoryTime)) {
    _newestNotedTime = AbsTime();
    return false;
  }
  _directoryTime = status.st_mtim;
  std::unique_ptr<SeqOf<AbsTime> > listed(dmFileTimes(_directory, "", ""));
  SeqOf<AbsTime> newTimes;
  if (listed) newTimes = *listed;
  removeBadFiles(newTimes);
  if (sameTimes(newTimes, _fileTimes)) {
    _newestNotedTime = AbsTime();
    return false;
  }
  const PointNetcdfFileInfo* madeLast = nullptr;
  if (!mergeFileLists(newTimes, madeLast)) return true;
  if (!_writable) confirmEnds(newTimes, madeLast);
  _fileTimes = newTimes;
  if (_fileTimes.length() == 0) {
    _earliestRefStart = _earliestRefEnd = AbsTime();
    _latestRefStart = _latestRefEnd = AbsTime();
    _recentBits = 0;
    return true;
  }
  if (!setRanges()) return true;
  ProcessState& p = process();
  if (p.nClientlessHandles >= 9 || p.fileOpenCount > p.expectedOpenCount) {
    ZLOG(LogStream::DEBUG) << "nClientlessHandles " << p.nClientlessHandles
                           << "  fileOpenCount " << p.fileOpenCount
                           << std::endl;
  }
  closeOlderFiles(madeLast);
  return true;
}

void NetcdfPointData::removeBadFiles(SeqOf<AbsTime>& newTimes) {
  if (_badFiles.length() == 0) return;
  bool lost = false;
  for (int i = newTimes.length() - 1; i >= 0; --i) {
    if (!_badFiles.lookup(newTimes.at(i))) continue;
    removeAt(newTimes, i);
    lost = true;
  }
  if (--_badFileHold <= 0 || !lost) _badFiles.clear();
}

// Walks the old and the new list from their oldest ends, adding the files
// that came and dropping those that went. false if the picture had to be
// rebuilt on the way.
bool NetcdfPointData::mergeFileLists(SeqOf<AbsTime>& newTimes,
                                     const PointNetcdfFileInfo*& madeLast) {
  int i = _fileTimes.length() - 1;
  int j = newTimes.length() - 1;
  // Each file added stays open until the next is: the netCDF library
  // frees its table of open files whenever the last one closes, and makes
  // and clears it again, half a megabyte, at the next open.
  PointNetcdfFileInfo* open = nullptr;
  while (i >= 0 || j >= 0) {
    if (i >= 0 && j >= 0 && _fileTimes.at(i) == newTimes.at(j)) {
      if (!_filesByTime.lookup(newTimes.at(j))) {
        ZLOG(LogStream::BUG) << "Could not look up fileInfo for "
                             << newTimes.at(j).format(kLogTimeFormat)
                             << std::endl;
      }
      --i;
      --j;
    } else if (i < 0 || (j >= 0 && _fileTimes.at(i) > newTimes.at(j))) {
      PointNetcdfFileInfo* added = addFile(newTimes.at(j), j);
      if (added == nullptr) {
        removeAt(newTimes, j);
      } else {
        madeLast = added;
        if (open != nullptr) closeUnheldFile(open);
        open = j > 0 ? added : nullptr;
      }
      --j;
    } else {
      AbsTime gone = _fileTimes.at(i);
      PointNetcdfFileInfo* info = nullptr;
      if (!_filesByTime.lookup(gone, &info) || info == nullptr) {
        if (open != nullptr) closeUnheldFile(open);
        resyncAndReport(gone, "removing old info");
        return false;
      }
      if (info->clients > 0) holdOutBadFile(gone);
      dropFileInfo(info);
      --i;
    }
  }
  if (open != nullptr) closeUnheldFile(open);
  return true;
}

// A new file at `position` of the new list, newest first. Null, with the
// file held out, if it has no usable structure: it may be half written,
// purged under us, or not ours.
PointNetcdfFileInfo* NetcdfPointData::addFile(const AbsTime& fileTime,
                                              int position) {
  PointNetcdfFileInfo* info = new PointNetcdfFileInfo;
  adopt(info);
  info->fileTime = fileTime;
  info->path = dmFileName(_directory, fileTime, "", "");
  // A reader lists the older files by name: most questions need a few of
  // them, and the first that needs one reads it (confirmFile), which spares
  // a second open of each file that a question over them all would cost.
  bool listedOnly = !_writable && position > 0 && _structure != nullptr;
  PointFileStructure* s = listedOnly ? _structure : nullptr;
  if (listedOnly) {
    info->structure = s;
    ++_unconfirmed;
  } else if (openInMode(info, false)) {
    s = getFileStructure(info->ncid, info);
  }
  if (s == nullptr) {
    closeFiles(info);
    ZLOG(LogStream::PROBLEM) << "Format or ownership problems with the file "
                             << info->path << std::endl;
    holdOutBadFile(fileTime);
    delete info;
    return nullptr;
  }
  // The newest file stays open: a writer stores there next, a reader
  // most likely asks there first. The scan closes the others.
  if (position == 0 && _writable) openFileInfo(info);
  ++s->useCount;
  _filesByTime.insert(fileTime, info);
  setCoverage(info, fileTime);
  if (info->validEnd > _latestValidEnd) _latestValidEnd = info->validEnd;
  info->nextCheck = AbsTime::now() + _checkInterval * checkFactor(position);
  return info;
}

void NetcdfPointData::setCoverage(PointNetcdfFileInfo* fileInfo,
                                  const AbsTime& fileTime) {
  const PointFileStructure& s = *fileInfo->structure;
  if (_isStatic) {
    fileInfo->refStart = fileInfo->validStart = AbsTime();
    fileInfo->refEnd = fileInfo->validEnd = AbsTime::endOfTime() - 1;
  } else if (s.recordForecasts) {
    fileInfo->refStart = fileInfo->refEnd = fileTime;
    fileInfo->validStart = fileTime + s.fileStartOffset;
    fileInfo->validEnd = fileTime + s.fileEndOffset;
  } else {
    fileInfo->refStart = fileTime + s.fileStartOffset;
    fileInfo->refEnd = fileTime + s.fileEndOffset;
    fileInfo->validStart = fileInfo->refStart;
    fileInfo->validEnd = fileInfo->refEnd;
    int forecasts = s.forecastList.length();
    if (s.forecastDim >= 0 && forecasts > 0) {
      fileInfo->validStart += s.forecastList.at(0);
      fileInfo->validEnd += s.forecastList.at(forecasts - 1);
    }
  }
}

void NetcdfPointData::holdOutBadFile(const AbsTime& fileTime) {
  _badFiles.insert(fileTime);
  _badFileHold = kBadFileScans;
}

bool NetcdfPointData::confirmFile(PointNetcdfFileInfo* fileInfo) {
  PointFileStructure* listed = fileInfo->structure;
  // The file as it stood before the open: a look that finds this time
  // needs no sync of what the open has just read, and a later store moves it.
  struct stat status;
  if (stat(fileInfo->path.chars(), &status) == 0)
    fileInfo->modTime = status.st_mtim;
  PointFileStructure* s = openInMode(fileInfo, false)
                              ? getFileStructure(fileInfo->ncid, fileInfo)
                              : nullptr;
  if (s == nullptr) {
    closeFiles(fileInfo);
    ZLOG(LogStream::PROBLEM) << "Format or ownership problems with the file "
                             << fileInfo->path << std::endl;
    holdOutBadFile(fileInfo->fileTime);
    // It leaves the picture at the next look, as if a scan had found it so.
    _directoryTime = timespec();
    _nextResync = AbsTime();
    return false;
  }
  --_unconfirmed;
  if (s != listed) {
    // A file of an older template: its own structure, and its coverage.
    ++s->useCount;
    releaseStructure(listed);
    setCoverage(fileInfo, fileInfo->fileTime);
    if (fileInfo->validEnd > _latestValidEnd)
      _latestValidEnd = fileInfo->validEnd;
  }
  // Just read whole, as a scan reads a file it adds.
  setNextCheck(fileInfo);
  return true;
}

// The picture's range is that of its oldest and newest files, so a
// reader reads those two at each scan; one that fails leaves the list.
void NetcdfPointData::confirmEnds(SeqOf<AbsTime>& times,
                                  const PointNetcdfFileInfo*& madeLast) {
  timespec scanned = _directoryTime;
  for (int end = 0; end < 2 && times.length() > 0; ++end) {
    int i = end == 0 ? 0 : times.length() - 1;
    PointNetcdfFileInfo* info = fileInfoAt(times.at(i));
    if (info == nullptr || info->confirmed) continue;
    if (confirmFile(info)) {
      // The newest file stays open, as the scan leaves it.
      if (i > 0) closeUnheldFile(info);
      continue;
    }
    if (madeLast == info) madeLast = nullptr;
    dropFileInfo(info);
    removeAt(times, i);
    --end;
  }
  // This scan has already let go of what failed.
  _directoryTime = scanned;
}

bool NetcdfPointData::setRanges() {
  AbsTime oldest = _fileTimes.at(_fileTimes.length() - 1);
  PointNetcdfFileInfo* first = lookUp(oldest, "checking earliest  time");
  if (first == nullptr) return false;
  PointNetcdfFileInfo* last = lookUp(_fileTimes.at(0), "checking latest time");
  if (last == nullptr) return false;
  _earliestRefStart = first->refStart;
  _earliestRefEnd = first->refEnd;
  setNewestFileRange(last->refStart, last->refEnd);
  return true;
}

// A writer keeps only the newest files open, and no tables of the older
// ones; a reader's older files close when no query holds them.
void NetcdfPointData::closeOlderFiles(const PointNetcdfFileInfo* madeLast) {
  int from = _writable ? (_structure != nullptr ? _structure->maxOpen : 2) : 1;
  for (int i = from; i < _fileTimes.length(); ++i) {
    PointNetcdfFileInfo* info = lookUp(_fileTimes.at(i), "checking latest time");
    if (info == nullptr) return;
    if (info == madeLast || info->clients > 0) continue;
    if (!_writable) {
      if (!isClientless(info)) closeUnheldFile(info);
      continue;
    }
    if (info->ncid >= 0 || info->handle != nullptr) closeFileInfo(info);
    freeTables(info);
  }
}

bool NetcdfPointData::resyncStatic() {
  if (_fileTimes.length() > 0) return false;
  _fileTimes.append(AbsTime(1));
  PointNetcdfFileInfo* info = new PointNetcdfFileInfo;
  adopt(info);
  info->fileTime = AbsTime(1);
  info->path = _directory;
  PointFileStructure* s =
      openInMode(info, true) ? getFileStructure(info->ncid, info) : nullptr;
  if (s == nullptr) {
    closeFiles(info);
    delete info;
    _fileTimes.setLength(0);
    return false;
  }
  ++s->useCount;
  _filesByTime.insert(info->fileTime, info);
  setCoverage(info, info->fileTime);
  openFileInfo(info);
  if (!_writable) {
    registerClientless(info);
    _currentFile = info;
    _currentIndex = 0;
  }
  _earliestRefStart = _latestRefStart = info->refStart;
  _earliestRefEnd = _latestRefEnd = info->refEnd;
  _latestValidEnd = info->validEnd;
  return true;
}

void NetcdfPointData::resyncAndReport(const AbsTime& time, const char* what) {
  ProcessState& p = process();
  if (++p.resyncNesting > 1) {
    ZLOG(LogStream::BUG)
        << "PANIC!!!  Things really screwed up in NetcdfPointData for "
        << _directory << std::endl;
    fprintf(stderr, "PANIC!!! Things really screwed up in NetcdfPointData for %s\n",
            _directory.chars());
    abort();
  }
  ZLOG(LogStream::BUG) << "Failed to lookup " << time.format(kLogTimeFormat)
                       << " in file dictionary while " << what << ": "
                       << _directory << std::endl;
  dropAll();
  for (int i = 0; i < _structures.length(); ++i) delete _structures.valueAt(i);
  _structures.clear();
  _structure = nullptr;
  _fileTimes.setLength(0);
  _earliestRefStart = _earliestRefEnd = AbsTime();
  _latestRefStart = _latestRefEnd = AbsTime();
  _latestValidEnd = _oldestUsableTime = AbsTime();
  // The directory is listed again whatever its time says.
  _directoryTime = timespec();
  quietNetcdfErrors();
  if (!readTemplateStructure()) {
    --p.resyncNesting;
    return;
  }
  resync();
  ++_resyncCount;
  --p.resyncNesting;
  ZLOG(LogStream::PROBLEM) << "Resync count is now " << _resyncCount
                           << std::endl;
}

PointNetcdfFileInfo* NetcdfPointData::getFileInfoForTime(const AbsTime& time) {
  if (_isStatic) return fileInfoAt(AbsTime(1));
  if (time < _oldestUsableTime) return nullptr;
  int position = -1;
  PointNetcdfFileInfo* found = nullptr;
  if (!searchPicture(time, position, found)) return nullptr;
  bool located = position >= 0;
  bool due =
      AbsTime::now() >= _nextResync || _newestNotedTime > _latestRefEnd;
  if (!located && _writable) {
    if (!makeFileFor(time)) return nullptr;
  } else if (!due) {
    return located ? recordAt(time, position, found) : nullptr;
  } else if (located && _fileTimes.at(position) - _earliestRefEnd > kPurgeMargin) {
    return recordAt(time, position, found);
  }
  if (!resync()) return located ? recordAt(time, position, found) : nullptr;
  if (located && time < _earliestRefStart) {
    _oldestUsableTime = _earliestRefStart;
    return nullptr;
  }
  if (!searchPicture(time, position, found) || position < 0) return nullptr;
  return recordAt(time, position, found);
}

// Where the picture puts `time`: `position` newest first, -1 if no file
// covers it; `found` if the bisection met the record. false if the picture
// had to be rebuilt.
bool NetcdfPointData::searchPicture(const AbsTime& time, int& position,
                                    PointNetcdfFileInfo*& found) {
  position = -1;
  found = nullptr;
  int n = _fileTimes.length();
  if (n == 0 || time > _latestRefEnd || time < _earliestRefStart) return true;
  if (time >= _latestRefStart) {
    position = 0;
    return true;
  }
  if (time <= _earliestRefEnd) {
    position = n - 1;
    return true;
  }
  int low = 0;
  int high = n - 1;
  while (high - low >= 2) {
    int middle = (low + high) / 2;
    PointNetcdfFileInfo* info = nullptr;
    if (!_filesByTime.lookup(_fileTimes.at(middle), &info) || info == nullptr) {
      resyncAndReport(time, "doing binary search");
      return false;
    }
    if (time >= info->refStart && time <= info->refEnd) {
      position = middle;
      found = info;
      return true;
    }
    if (time >= info->refStart)
      high = middle;
    else
      low = middle;
  }
  return true;  // a gap between files
}

PointNetcdfFileInfo* NetcdfPointData::recordAt(const AbsTime& time,
                                               int position,
                                               PointNetcdfFileInfo* found) {
  if (found != nullptr) return found;
  PointNetcdfFileInfo* info = nullptr;
  if (_filesByTime.lookup(_fileTimes.at(position), &info) && info != nullptr)
    return info;
  resyncAndReport(time, "getting object for this time");
  return nullptr;
}

// Copies the template to the file of the period of `time`. The copy lands
// under another name and is renamed after a second, so that a reader never
// opens a file half copied, and the directory time moves for readers that
// look once a second. false if the file should have been there already.
bool NetcdfPointData::makeFileFor(const AbsTime& time) {
  if (_structure == nullptr) return false;
  const PointFileStructure& s = *_structure;
  AbsTime fileTime = time;
  if (!_haveForecasts && s.filePeriod > 0) {
    fileTime = time - time.seconds() % s.filePeriod;
    if (time < fileTime + s.fileStartOffset)
      fileTime = fileTime - s.filePeriod;
    else if (time > fileTime + s.fileEndOffset)
      fileTime += s.filePeriod;
  }
  if (_filesByTime.lookup(fileTime)) {
    ZLOG(LogStream::PROBLEM) << "Change in filePeriod or fileEndOffset "
                             << " has resulted in time coverage gap"
                             << std::endl;
    return false;
  }
  TextString path = dmFileName(_directory, fileTime, "", "");
  // The move never replaces a file: the command of a writer killed during
  // its sleep goes on without it, and its late move must not put an empty
  // copy over the file that its successor has made and filled since.
  TextString command = TextString("cp '") + _directory + "/template' '" +
                       _directory + "/scrfil' ; sleep 1 ; mv -n '" + _directory +
                       "/scrfil' '" + path + "'";
  if (system(command.chars()) != 0) {
    ZLOG(LogStream::BUG) << "Template copy command failed." << std::endl;
  }
  return true;
}

void NetcdfPointData::noteFileAccessError(PointNetcdfFileInfo* fileInfo) {
  if (fileInfo == nullptr) return;
  if (_fileTimes.length() > 0 && fileInfo->fileTime == _fileTimes.at(0)) {
    ZLOG(LogStream::PROBLEM) << "File access error noted for newest file, "
                             << fileInfo->path << ", pausing." << std::endl;
    sleep(1);
  } else {
    holdOutBadFile(fileInfo->fileTime);
    ZLOG(LogStream::PROBLEM)
        << "File access error noted for " << fileInfo->path << std::endl;
  }
  _nextResync = AbsTime();
}

int NetcdfPointData::fileInfoNcid(int ncid, PointNetcdfFileInfo* fileInfo,
                                  bool& opened) {
  opened = false;
  if (ncid >= 0) return ncid;
  if (fileInfo->ncid >= 0) return fileInfo->ncid;
  if (!openForQuery(fileInfo, "getFileInfoNcFile")) return -1;
  opened = true;
  return fileInfo->ncid;
}

bool NetcdfPointData::keepIdleFile(PointNetcdfFileInfo* fileInfo) {
  if (fileInfo->ncid < 0) return false;
  if (fileInfo->owner == nullptr) adopt(fileInfo);
  if (fileInfo->handle == nullptr) {
    // The list counts handles as records join it.
    unregisterClientless(fileInfo);
    openFileInfo(fileInfo);
  }
  registerClientless(fileInfo);
  return true;
}
