#include "StaticTextDict.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "HashTable.h"
#include "InfoFileServer.h"
#include "LogStream.h"
#include "SeqOf.h"

namespace {

const int kLineBufferSize = 5000;
const int kTextRingSize = 50000;
// A line read at or before this position still fits into the ring whole.
const int kTextRingWrap = 45000;
const long kTemporaryLifeSeconds = 600;
const int kTemporaryRingSlots = 20;

// What all tables of a process share: the paths of their files, the one of
// them that stands open, and the buffers lines are read into.
struct SharedTables {
  SeqOf<TextString> files;
  int openIndex = -1;
  FILE* openFile = nullptr;
  char lineBuffer[kLineBufferSize];
  char textRing[kTextRingSize];
  int ringWrite = 0;
};

SharedTables& shared() {
  static SharedTables* tables = new SharedTables;
  return *tables;
}

AbsTime (*clockForTests)() = nullptr;

AbsTime currentTime() { return clockForTests ? clockForTests() : AbsTime::now(); }

int sharedFileIndex(const TextString& path) {
  SharedTables& s = shared();
  int index = s.files.findFirst(path);
  if (index >= 0) return index;
  s.files.append(path);
  return s.files.length() - 1;
}

void closeSharedFile() {
  SharedTables& s = shared();
  if (s.openFile) fclose(s.openFile);
  s.openFile = nullptr;
  s.openIndex = -1;
}

FILE* sharedFile(long index) {
  SharedTables& s = shared();
  if (index == s.openIndex) return s.openFile;
  closeSharedFile();
  if (index < 0 || index >= s.files.length()) return nullptr;
  s.openFile = fopen(s.files[static_cast<int>(index)].chars(), "r");
  if (s.openFile) s.openIndex = static_cast<int>(index);
  return s.openFile;
}

// Reads the line at the offset into the text ring; null if that fails.
char* readIntoRing(FILE* file, long offset) {
  SharedTables& s = shared();
  // What the stream holds from an earlier read may be stale by now: the
  // file may have been rewritten in place.
  fflush(file);
  if (fseek(file, offset, SEEK_SET) != 0) return nullptr;
  char* line = s.textRing + s.ringWrite;
  if (fgets(line, kLineBufferSize, file) == nullptr) return nullptr;
  if (char* newline = std::strchr(line, '\n')) *newline = '\0';
  s.ringWrite += static_cast<int>(std::strlen(line)) + 1;
  if (s.ringWrite > kTextRingWrap) s.ringWrite = 0;
  return line;
}

const char* skipBlanks(const char* p) {
  while (*p == ' ' || *p == '\t') ++p;
  return p;
}

unsigned long keyOf(const char* p) {
  p = skipBlanks(p);
  if (*p == 'y') return strtoul(p + 1, nullptr, 32);
  return strtoul(p, nullptr, 0);
}

// Passes over what is left of a line longer than the buffer.
void skipRestOfLine(FILE* file, char* buffer) {
  while (std::strchr(buffer, '\n') == nullptr &&
         fgets(buffer, kLineBufferSize, file)) {
  }
}

}  // namespace

void StaticTextDict::setClockForTests(AbsTime (*now)()) { clockForTests = now; }

StaticTextDict::StaticTextDict(const TextString& fileName, int ringSize,
                               const TextString& tempName)
    : _fileName(fileName),
      _failures(0),
      _entries(nullptr),
      _entriesEnd(nullptr),
      _nKeys(0),
      _hashTable(nullptr),
      _hashSize(1),
      _nextEntry(nullptr),
      _ring(nullptr),
      _ringCursor(nullptr),
      _ringEnd(nullptr),
      _rotating(false),
      _tempName(tempName),
      _lastFromTemp(false) {
  bool ok = readFile(_fileName, true, 0);
  if (!ok || _nKeys == 0) {
    reportNoKeys(ok);
    _nKeys = 0;
    _hashTable = new Entry*[1]();
  } else {
    _hashSize = static_cast<int>(hashBucketCount(_nKeys));
    _hashTable = new Entry*[_hashSize]();
    makeTable(_nKeys);
    readFile(_fileName, false, 0);
  }

  int slots = 0;
  _rotating = ringSize >= 1 && _nKeys > ringSize;
  if (_rotating)
    slots = ringSize;
  else if (!_tempName.isEmpty())
    slots = kTemporaryRingSlots;
  if (slots > 0) {
    _ring = new Entry*[slots]();
    _ringCursor = _ring;
    _ringEnd = _ring + slots;
  }
}

StaticTextDict::~StaticTextDict() {
  for (int b = 0; b < _hashSize; ++b) {
    Entry* e = _hashTable[b];
    while (e) {
      Entry* next = e->next;
      if (!isTableEntry(e)) delete e;
      e = next;
    }
  }
  delete[] _hashTable;
  delete[] _entries;
  delete[] _ring;
}

void StaticTextDict::makeTable(int keys) {
  _entries = new Entry[keys]();
  _entriesEnd = _entries + keys;
  _nextEntry = _entries;
}

void StaticTextDict::reportNoKeys(bool readOk) const {
  if (!readOk) {
    ZLOG(LogStream::PROBLEM) << "Could not get any keys from " << _fileName
                             << " in StaticTextDict" << std::endl;
  } else {
    ZLOG(LogStream::PROBLEM) << "Could not open " << _fileName
                             << " in StaticTextDict" << std::endl;
  }
}

bool StaticTextDict::readFile(const TextString& name, bool countOnly,
                              int depth) {
  FILE* file = openInfoFile(name);
  if (file == nullptr) return false;
  long fileIndex = 0;
  if (!countOnly) {
    TextString path = lastInfoFilePath();
    fileIndex = sharedFileIndex(path);
    ZLOG(LogStream::VERBOSE) << "Reading file " << path << " in StaticTextDict"
                             << std::endl;
  }
  char* buffer = shared().lineBuffer;
  for (;;) {
    long offset = ftell(file);
    if (fgets(buffer, kLineBufferSize, file) == nullptr) break;
    if (buffer[0] == '/' && buffer[1] == '/') {
      skipRestOfLine(file, buffer);
      continue;
    }
    if (buffer[0] == '#') {
      readIncluded(file, buffer, countOnly, depth);
      continue;
    }
    const char* start = skipBlanks(buffer);
    bool keyLine = static_cast<unsigned char>(*start) >= 32;
    unsigned long key = keyLine && !countOnly ? keyOf(start) : 0;
    long keyOffset = offset + (start - buffer);
    skipRestOfLine(file, buffer);
    if (!keyLine) continue;
    if (countOnly)
      ++_nKeys;
    else if (key != 0)
      addEntry(key, fileIndex, keyOffset);
  }
  fclose(file);
  return true;
}

void StaticTextDict::readIncluded(FILE* file, char* buffer, bool countOnly,
                                  int depth) {
  TextString included;
  bool include = includedFileName(buffer, included);
  skipRestOfLine(file, buffer);
  if (!include) return;
  if (depth + 1 >= kMaxIncludeDepth) {
    ZLOG(LogStream::PROBLEM) << "Includes nested too deeply; " << included
                             << " not read" << std::endl;
    return;
  }
  readFile(included, countOnly, depth + 1);
}

void StaticTextDict::addEntry(unsigned long key, long fileIndex, long offset) {
  if (_nextEntry == nullptr || _nextEntry == _entriesEnd) return;  // grew
  Entry* e = _nextEntry++;
  e->key = key;
  e->fileIndex = fileIndex;
  e->offset = offset;
  e->record = nullptr;
  Entry*& head = _hashTable[key % _hashSize];
  e->next = head;
  head = e;
}

StaticTextDict::Entry* StaticTextDict::findEntry(unsigned long key) const {
  for (Entry* e = _hashTable[key % _hashSize]; e; e = e->next)
    if (e->key == key) return e;
  return nullptr;
}

bool StaticTextDict::isTableEntry(const Entry* entry) const {
  return entry >= _entries && entry < _entriesEnd;
}

bool StaticTextDict::hasKey(unsigned long key) const {
  return findEntry(key) != nullptr;
}

unsigned long StaticTextDict::keyAt(int index) const {
  if (index < 0 || index >= _nKeys || _entries == nullptr) return 0;
  return _entries[index].key;
}

void StaticTextDict::unlink(Entry* entry) {
  for (Entry** link = &_hashTable[entry->key % _hashSize]; *link;
       link = &(*link)->next) {
    if (*link == entry) {
      *link = entry->next;
      return;
    }
  }
}

void StaticTextDict::dropTemporary(Entry* entry) {
  if (_ring && _ring[entry->fileIndex] == entry) _ring[entry->fileIndex] = nullptr;
  if (entry->record) destroyRecord(entry->record);
  unlink(entry);
  delete entry;
}

StaticTextDict::Entry* StaticTextDict::addTemporary(unsigned long key) {
  Entry* e = new Entry();
  e->key = key;
  e->offset = (currentTime() + kTemporaryLifeSeconds).seconds();
  Entry*& head = _hashTable[key % _hashSize];
  e->next = head;
  head = e;
  return e;
}

void StaticTextDict::takeRingSlot(Entry* entry, bool temporary) {
  if (_ring == nullptr || !(_rotating || temporary)) return;
  if (_ringCursor == _ringEnd) {
    _ringCursor = _ring;
    ZLOG(LogStream::EVENT) << "Rotating buffer cycled for file " << _fileName
                           << std::endl;
  }
  if (Entry* old = *_ringCursor) {
    if (old->record) destroyRecord(old->record);
    old->record = nullptr;
    if (!isTableEntry(old)) {
      unlink(old);
      delete old;
    }
  }
  *_ringCursor = entry;
  if (temporary) entry->fileIndex = _ringCursor - _ring;
  ++_ringCursor;
}

void* StaticTextDict::lookup(unsigned long key) {
  for (;;) {
    if (_failures > 1) return nullptr;
    Entry* entry = findEntry(key);
    if (entry) {
      _lastFromTemp = !isTableEntry(entry);
      if (entry->record &&
          (!_lastFromTemp || currentTime().seconds() < entry->offset))
        return entry->record;
      if (_lastFromTemp) {
        dropTemporary(entry);
        entry = nullptr;
      }
    }
    if (entry == nullptr) return fromTemporaryFile(key);

    FILE* file = sharedFile(entry->fileIndex);
    const char* line = file ? readIntoRing(file, entry->offset) : nullptr;
    if (line && keyOf(line) == key) {
      _failures = 0;
      return keep(entry, false, line);
    }
    if (!tableChanged()) return nullptr;
  }
}

void* StaticTextDict::fromTemporaryFile(unsigned long key) {
  if (_tempName.isEmpty()) return nullptr;
  static char path[4096];
  snprintf(path, sizeof path, "/tmp/%lu.%s", key, _tempName.chars());
  FILE* file = fopen(path, "r");
  if (file == nullptr) return nullptr;
  _lastFromTemp = true;
  const char* line = readIntoRing(file, 0);
  bool found = line && keyOf(line) == key;
  fclose(file);
  if (!found) return nullptr;
  _failures = 0;
  return keep(addTemporary(key), true, line);
}

bool StaticTextDict::tableChanged() {
  if (++_failures > 1) {
    ZLOG(LogStream::BUG) << "Consecutive failures to reinitialize "
                         << _fileName << " table. No further lookups possible."
                         << std::endl;
    return false;
  }
  reinitialize();
  return true;
}

void* StaticTextDict::keep(Entry* entry, bool temporary, const char* line) {
  takeRingSlot(entry, temporary);
  entry->record = makeRecord(entry->key, line);
  return entry->record;
}

void StaticTextDict::releaseRecords() {
  for (int b = 0; b < _hashSize; ++b) {
    Entry** link = &_hashTable[b];
    while (Entry* e = *link) {
      if (e->record) destroyRecord(e->record);
      e->record = nullptr;
      if (isTableEntry(e)) {
        link = &e->next;
      } else {
        *link = e->next;
        delete e;
      }
    }
  }
  if (_ring) {
    for (Entry** slot = _ring; slot != _ringEnd; ++slot) *slot = nullptr;
    _ringCursor = _ring;
  }
}

void StaticTextDict::reinitialize() {
  ZLOG(LogStream::EVENT) << "Reinitializing " << _fileName
                         << " in StaticTextDict" << std::endl;
  releaseRecords();
  closeSharedFile();  // it may still hold the file that was replaced
  int oldKeys = _nKeys;
  _nKeys = 0;
  bool ok = readFile(_fileName, true, 0);
  if (!ok || _nKeys == 0) {
    reportNoKeys(ok);
    _nKeys = oldKeys;
    return;
  }
  if (_nKeys > _hashSize) {
    delete[] _hashTable;
    _hashSize = static_cast<int>(hashBucketCount(_nKeys));
    _hashTable = new Entry*[_hashSize]();
  } else {
    for (int b = 0; b < _hashSize; ++b) _hashTable[b] = nullptr;
  }
  delete[] _entries;
  makeTable(_nKeys);
  readFile(_fileName, false, 0);
}
