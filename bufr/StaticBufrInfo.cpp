#include "StaticBufrInfo.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "LogStream.h"
#include "StringTokenizer.h"

namespace {

// The readers take a line into this many characters, so that a longer
// line arrives in two pieces.
const int kLineBuffer = 220;
// The replication table is read in pieces of five characters.
const int kReplPiece = 6;

StaticBufrInfo* theInstance = nullptr;

int toInt(const TextString& field) {
  return static_cast<int>(std::strtol(field.chars(), nullptr, 10));
}

TextString tablePath(const char* name) {
  const char* home = std::getenv("ZEPH_HOME");
  TextString path(home ? home : "");
  path += "/data/";
  path += name;
  return path;
}

}  // namespace

StaticBufrInfo& StaticBufrInfo::instance() {
  if (theInstance == nullptr) theInstance = new StaticBufrInfo;
  return *theInstance;
}

// Table B has some 1300 elements and is asked once for every decoded
// value: room for short chains from the start.
StaticBufrInfo::StaticBufrInfo()
    : _tableBDict(2048), _ccittDict(100), _tableBValues(2048),
      _tableDDict(1024) {}

StaticBufrInfo::~StaticBufrInfo() {
  if (theInstance == this) theInstance = nullptr;
}

bool StaticBufrInfo::loadTables() {
  _tableBFile = tablePath("bufrTableB");
  _tableDFile = tablePath("bufrTableD");
  _replDescFile = tablePath("replDescTbl");
  _tableBDict.clear();
  _tableBValues.clear();
  _ccittDict.clear();
  _tableDDict.clear();
  _replDescSet.clear();
  _changedCoding.clear();
  return readTableB() && readTableD() && readReplicationTable();
}

void StaticBufrInfo::lineCorrupted(const TextString& path, const char* line) {
  ZLOG(LogStream::PROBLEM) << "Line corrupted in " << path << "[" << line
                           << "]" << std::endl;
}

bool StaticBufrInfo::readTableB() {
  FILE* file = std::fopen(_tableBFile.chars(), "r");
  if (file == nullptr) {
    ZLOG(LogStream::PROBLEM) << "Unable to open table B file " << _tableBFile
                             << std::endl;
    return false;
  }
  char line[kLineBuffer];
  bool ok = true;
  while (ok && std::fgets(line, sizeof line, file)) {
    StringTokenizer fields(TextString(line), TextString("|"));
    TextString group[6];
    bool any = false;
    // A line is read six fields at a time; the last whole group stands.
    while (fields.hasMoreTokens()) {
      for (int i = 0; i < 6; ++i) {
        if (!fields.hasMoreTokens()) {
          ok = false;
          break;
        }
        group[i] = fields.nextToken();
      }
      if (!ok) break;
      any = true;
    }
    if (!ok || !any) {
      ok = false;
      lineCorrupted(_tableBFile, line);
      break;
    }
    group[1].stripTrailingBlanks();
    group[2].stripTrailingBlanks();
    int descriptor = toInt(group[0]);
    int values[3] = {toInt(group[3]), toInt(group[4]), toInt(group[5])};
    _tableBValues.insert(descriptor, SeqOf<int>(3, values));
    if (std::strncmp(group[2].chars(), "CCITT IA5", 9) == 0)
      _ccittDict.insert(descriptor, values[2]);
    TableBEntry entry;
    entry.setDescriptor(descriptor);
    entry.setDescription(group[1]);
    entry.setUnits(group[2]);
    entry.setExponent(values[0]);
    entry.setIncrement(values[1]);
    entry.setBits(values[2]);
    _tableBDict.insert(descriptor, entry);
  }
  std::fclose(file);
  return ok;
}

bool StaticBufrInfo::readTableD() {
  FILE* file = std::fopen(_tableDFile.chars(), "r");
  if (file == nullptr) {
    ZLOG(LogStream::PROBLEM) << "Unable to open table D file " << _tableDFile
                             << std::endl;
    return false;
  }
  char line[kLineBuffer];
  char copy[kLineBuffer];
  bool ok = true;
  while (ok && std::fgets(line, sizeof line, file)) {
    std::strcpy(copy, line);  // strtok cuts the line; the message shows it
    char* save = nullptr;
    char* field = strtok_r(line, "|", &save);
    int sequence = field ? static_cast<int>(std::strtol(field, nullptr, 10)) : 0;
    SeqOf<int> members;
    bool terminated = false;
    while (field && (field = strtok_r(nullptr, "|", &save))) {
      int member = static_cast<int>(std::strtol(field, nullptr, 10));
      if (member == 0) {
        terminated = true;
        break;
      }
      members.append(member);
    }
    if (!terminated) {
      ok = false;
      lineCorrupted(_tableDFile, copy);
      break;
    }
    _tableDDict.insert(sequence, members);
  }
  std::fclose(file);
  return ok;
}

bool StaticBufrInfo::readReplicationTable() {
  FILE* file = std::fopen(_replDescFile.chars(), "r");
  if (file == nullptr) {
    ZLOG(LogStream::PROBLEM)
        << "Unable to open replicated descriptor table file " << _replDescFile
        << std::endl;
    return false;
  }
  char piece[kReplPiece];
  char copy[kReplPiece];
  bool ok = true;
  while (ok && std::fgets(piece, sizeof piece, file)) {
    std::strcpy(copy, piece);
    char* save = nullptr;
    char* field = strtok_r(piece, "|", &save);
    if (field == nullptr) {
      ok = false;
      lineCorrupted(_replDescFile, copy);
      break;
    }
    _replDescSet.insert(static_cast<int>(std::strtol(field, nullptr, 10)));
  }
  std::fclose(file);
  return ok;
}

bool StaticBufrInfo::tableBValues(const int& descriptor,
                                  SeqOf<int>& values) const {
  SeqOf<int> found;
  if (!_tableBValues.lookup(descriptor, &found)) return false;
  values = found;
  return true;
}

void StaticBufrInfo::setTableBValues(int descriptor, const SeqOf<int>& values) {
  _tableBValues.insert(descriptor, values);
  _changedCoding.insert(descriptor);
}

int StaticBufrInfo::restoreCodingValues() {
  int restored = _changedCoding.length();
  for (int i = 0; i < restored; ++i) {
    TableBEntry entry;
    if (!_tableBDict.lookup(_changedCoding.keyAt(i), &entry)) continue;
    int values[3] = {entry.exponent(), entry.increment(), entry.bits()};
    _tableBValues.insert(entry.descriptor(), SeqOf<int>(3, values));
  }
  _changedCoding.clear();
  return restored;
}

bool StaticBufrInfo::tableDSequence(const int& descriptor,
                                    SeqOf<int>& list) const {
  return _tableDDict.lookup(descriptor, &list);
}

bool StaticBufrInfo::isCharacterDescriptor(const int& descriptor,
                                           int& bits) const {
  return _ccittDict.lookup(descriptor, &bits);
}

bool StaticBufrInfo::tableBEntry(int descriptor, TableBEntry& entry) const {
  return _tableBDict.lookup(descriptor, &entry);
}

bool StaticBufrInfo::isReplicationDescriptor(int descriptor) const {
  return _replDescSet.lookup(descriptor);
}

void StaticBufrInfo::makeDataPaths(TextString& dataDir,
                                   TextString& badDir) const {
  const char* root = std::getenv("ZEPH_DATA");
  TextString prefix(root ? root : "");
  dataDir = prefix + dataDir;
  badDir = prefix + badDir;
}
