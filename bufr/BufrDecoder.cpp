#include "BufrDecoder.h"

#include <cstdint>
#include <cstring>
#include <iomanip>
#include <sstream>
#include <string>

#include "BufrEngineState.h"
#include "LogStream.h"
#include "StaticBufrInfo.h"

namespace {

const int kHeaderScan = 120;

long threeOctets(const unsigned char* p) {
  return (long(p[0]) << 16) | (long(p[1]) << 8) | long(p[2]);
}

std::string columnHeading(int columns) {
  std::ostringstream out;
  for (int i = 1; i <= columns; ++i) out << std::setw(2) << i << " ";
  std::string text = out.str();
  text.pop_back();
  return text;
}

}  // namespace

BufrDecoder::BufrDecoder()
    : _dataCategory(0),
      _subsets(0),
      _numDescriptors(0),
      _replPending(false),
      _factorSeen(false),
      _signifyPending(false),
      _assocActive(false),
      _assocBits(0),
      _dataBuffer(nullptr),
      _dataLength(0),
      _readPtr(nullptr),
      _descPtr(nullptr),
      _hasSection2(false),
      _compressed(false),
      _bitPos(0),
      _compressedRef(0),
      _section3Len(0),
      _overrun(false),
      _widthFault(false),
      _sequenceDepth(0),
      _expansionTooLarge(false),
      _expansionSteps(0),
      _workLeft(0),
      _messageEnd(nullptr) {
  BufrEngineState& engine = BufrEngineState::get();
  if (!engine.tablesTried) {
    engine.tablesLoaded = StaticBufrInfo::instance().loadTables();
    engine.tablesTried = true;
  }
}

BufrDecoder::~BufrDecoder() {
  for (int i = 0; i < _designators.length(); ++i) {
    regex_t* compiled = _designators.valueAt(i);
    if (compiled) {
      regfree(compiled);
      delete compiled;
    }
  }
  delete[] _dataBuffer;
}

bool BufrDecoder::tablesLoaded() { return BufrEngineState::get().tablesLoaded; }

int BufrDecoder::splitDescriptor(int descriptor, int& x, int& y) {
  x = (descriptor / 1000) % 100;
  y = descriptor % 1000;
  return descriptor / 100000;
}

bool BufrDecoder::decodeMessage(const unsigned char* buffer, unsigned size) {
  BufrEngineState& engine = BufrEngineState::get();
  // Four spare zero octets let the fixed-size reads of a short buffer
  // (lengths, Section 0) stay inside the copy; the tests of each section
  // still bound everything by `size`.
  unsigned char* copy = new unsigned char[size + 4]();
  if (size > 0) std::memcpy(copy, buffer, size);
  _messageEnd = copy + size;
  engine.messageLength = size;
  ZLOG(LogStream::VERBOSE) << "Message length = " << size << std::endl;
  _descriptors.setLength(0);
  // The values of the message before stay at hand for their array.
  _valueStore.swap(_decodedValues);
  _decodedValues.setLength(0);
  closeOpenOperators();

  ZLOG(LogStream::DEBUG) << std::string(55, '-') << "\n"
                         << "Output of buffer datastream(printing first 300 "
                            "octets)\n"
                         << std::string(55, '-') << std::endl;
  dumpOctets(copy, 20, 0, size < 300 ? size : 300);
  ZLOG(LogStream::DEBUG) << std::string(55, '-') << std::endl;

  bool decoded = false;
  bool ok = false;
  unsigned char* p = decodeSection0(copy);
  if (p == nullptr) {
    ZLOG(LogStream::PROBLEM) << "Failed to decode Section 0" << std::endl;
  } else if ((p = decodeSection1(p)) == nullptr) {
    ZLOG(LogStream::PROBLEM) << "Failed to decode Section 1" << std::endl;
  } else if ((p = decodeSection2(p)) == nullptr) {
    ZLOG(LogStream::PROBLEM) << "Failed to decode Section 2" << std::endl;
  } else if ((p = decodeSection3(p)) == nullptr) {
    ZLOG(LogStream::PROBLEM) << "Failed to decode Section 3" << std::endl;
  } else if (p = decodeSection4(p, ok), !ok) {
    ZLOG(LogStream::PROBLEM) << "Failed to decode Section 4" << std::endl;
  } else {
    printDecodedValues();
    checkSection5(p);
    decoded = true;
  }
  delete[] copy;
  _messageEnd = nullptr;
  return decoded;
}

void BufrDecoder::checkSection5(const unsigned char* section) {
  ZLOG(LogStream::DEBUG) << "BufrDecoder:Output of Section 5 - End-Of-Message:"
                         << "\n 1  2  3  4" << std::endl;
  dumpOctets(section, 20, 0, 4);
  ZLOG(LogStream::DEBUG) << "tempBuffer = "
                         << static_cast<const void*>(section) << std::endl;
  if (std::memcmp(section, "7777", 4) == 0) {
    ZLOG(LogStream::EVENT)
        << "Section 5 consists of the end-of-message sentinel \"7777\" as "
           "expected."
        << std::endl;
  } else {
    ZLOG(LogStream::EVENT) << "Section 5 does not consist of the expected"
                           << " end-of-message sentinel \"7777\"." << std::endl;
  }
}

const unsigned char* BufrDecoder::skipHeader(const unsigned char* buffer) {
  ZLOG(LogStream::DEBUG) << " BufrDecoder::skipHeader()" << std::endl;
  long size = BufrEngineState::get().messageLength;
  for (long offset = 0; offset < kHeaderScan && offset + 4 <= size; ++offset) {
    if (std::memcmp(buffer + offset, "BUFR", 4) == 0) {
      BufrEngineState::get().bytesConsumed = offset;
      ZLOG(LogStream::VERBOSE) << "Number of header bytes = " << offset
                               << std::endl;
      return buffer + offset;
    }
  }
  return nullptr;
}

unsigned char* BufrDecoder::decodeSection0(unsigned char* buffer) {
  const unsigned char* start = skipHeader(buffer);
  if (start == nullptr) return nullptr;
  ZLOG(LogStream::DEBUG) << "BufrDecoder:Output of Section 0 - Indicator:"
                         << "\n" << columnHeading(8) << std::endl;
  dumpOctets(start, 20, 0, 8);
  BufrEngineState::get().bytesConsumed += 8;
  return const_cast<unsigned char*>(start);
}

// The length of a section must leave room for the four octets of Section 5.
bool BufrDecoder::readSectionLength(int number, const unsigned char* section,
                                    int& length) {
  BufrEngineState& engine = BufrEngineState::get();
  long remaining = engine.messageLength - engine.bytesConsumed;
  // Past the end of the buffer the length octets read as zero, which the
  // test below then refuses, as no four octets are left.
  long l = section + 3 <= _messageEnd ? threeOctets(section) : 0;
  length = static_cast<int>(l);
  if (l > remaining - 4) {
    ZLOG(LogStream::PROBLEM) << "Section " << number << " length of " << l
                             << " bytes > remaining msg length of "
                             << remaining << " bytes" << std::endl;
    return false;
  }
  return true;
}

unsigned char* BufrDecoder::decodeSection1(unsigned char* message) {
  BufrEngineState& engine = BufrEngineState::get();
  unsigned char* section = message + 8;
  ZLOG(LogStream::DEBUG) << " BufrDecoder::decodeSection1()" << std::endl;
  int length = 0;
  if (!readSectionLength(1, section, length)) return nullptr;
  ZLOG(LogStream::DEBUG) << " section1Len = " << length << std::endl;
  if (section + 17 > _messageEnd) {
    ZLOG(LogStream::PROBLEM) << "Section 1 runs past the end of the message"
                             << std::endl;
    return nullptr;
  }
  ZLOG(LogStream::DEBUG) << "BufrDecoder:Output of Section 1 - Identification:"
                         << "\n" << columnHeading(18) << std::endl;
  dumpOctets(section, 20, 0, length);

  _dataCategory = section[8];
  ZLOG(LogStream::DEBUG) << "Data Category (Bufr Table A): " << _dataCategory
                         << std::endl;
  int year = static_cast<signed char>(section[12]);
  if (year >= 100) year -= 100;
  engine.year = year;
  engine.month = section[13];
  engine.day = section[14];
  engine.hour = section[15];
  engine.minute = section[16];
  _obTime = AbsTime(engine.year, engine.month, engine.day, engine.hour,
                    engine.minute, 0);
  ZLOG(LogStream::DEBUG) << "_obTime: " << _obTime.format("%h %d %y %T GMT")
                         << std::endl;
  _hasSection2 = (section[7] & 0x80) != 0;
  engine.bytesConsumed += length;
  return section + length;
}

unsigned char* BufrDecoder::decodeSection2(unsigned char* section) {
  ZLOG(LogStream::DEBUG) << " BufrDecoder::decodeSection2()" << std::endl;
  if (!_hasSection2) return section;
  int length = 0;
  if (!readSectionLength(2, section, length)) return nullptr;
  ZLOG(LogStream::DEBUG) << " section2Len = " << length << std::endl;
  ZLOG(LogStream::DEBUG) << "BufrDecoder:Output of Section 2 - Optional:"
                         << "\n" << columnHeading(20) << std::endl;
  dumpOctets(section, 20, 0, length);
  BufrEngineState::get().bytesConsumed += length;
  return section + length;
}

// The bit reader. Positions are checked against the end of `_dataBuffer`;
// whatever the message says, nothing is read outside it.

unsigned BufrDecoder::peekBits(int n) {
  if (n <= 0) return 0;
  unsigned long start = (_readPtr - _dataBuffer) * 8UL + _bitPos;
  if (n > 32 || start + n > _dataLength * 8UL) {
    _overrun = true;
    return 0;
  }
  const unsigned char* p = _readPtr;
  int needed = (_bitPos + n + 7) / 8;
  uint64_t acc = 0;
  for (int i = 0; i < needed; ++i) acc = (acc << 8) | p[i];
  acc >>= needed * 8 - _bitPos - n;
  return static_cast<unsigned>(acc & ((uint64_t(1) << n) - 1));
}

int BufrDecoder::readSignedBits(int n) {
  unsigned raw = peekBits(n);
  if (n <= 0 || n >= 32) return static_cast<int>(raw);
  // In 64 bits: with n = 31, 1 << n is no int.
  if (raw & (1u << (n - 1)))
    return static_cast<int>(static_cast<int64_t>(raw) - (int64_t(1) << n));
  return static_cast<int>(raw);
}

int BufrDecoder::takeBits(int& n) {
  int value = readSignedBits(n);
  moveBits(n);
  return value;
}

void BufrDecoder::moveBits(int n) {
  if (n <= 0) return;
  unsigned long position = (_readPtr - _dataBuffer) * 8UL + _bitPos + n;
  if (position > _dataLength * 8UL) {
    _overrun = true;
    position = _dataLength * 8UL;
  }
  _readPtr = _dataBuffer + position / 8;
  _bitPos = static_cast<int>(position % 8);
}

void BufrDecoder::moveOctets(int n) { moveBits(n * 8); }

bool BufrDecoder::copyCharacters(int count, char* out) {
  unsigned long start = (_readPtr - _dataBuffer) * 8UL + _bitPos;
  if (start + count * 8UL > _dataLength * 8UL) {
    _overrun = true;
    return false;
  }
  for (int i = 0; i < count; ++i) {
    // With a bit position of 0 a character is one octet; otherwise it
    // spans two, both inside the bound checked above.
    unsigned word = unsigned(_readPtr[i]) << 8;
    if (_bitPos > 0) word |= _readPtr[i + 1];
    out[i] = static_cast<char>((word >> (8 - _bitPos)) & 0xFF);
  }
  return true;
}

TextString BufrDecoder::getCharacters(int count) {
  if (count <= 0) return TextString();
  std::string text(count, '\0');
  if (!copyCharacters(count, &text[0])) return TextString();
  return TextString(text.c_str());
}

// The characters up to the first blank (or NUL): the value of a character
// element, in one allocation.
TextString BufrDecoder::getWord(int count) {
  if (count <= 0) return TextString();
  char local[256];
  std::string large;
  char* text = local;
  if (count > static_cast<int>(sizeof local)) {
    large.resize(count);
    text = &large[0];
  }
  if (!copyCharacters(count, text)) return TextString();
  int length = 0;
  while (length < count && text[length] != ' ' && text[length] != '\0')
    ++length;
  return length == 0 ? TextString() : TextString(text, length);
}

bool BufrDecoder::checkOverrun(int descriptor) {
  if (_widthFault) return true;  // already told
  if (!_overrun) return false;
  ZLOG(LogStream::PROBLEM) << "Data section ends before the value of descriptor "
                           << descriptor << std::endl;
  return true;
}

bool BufrDecoder::widthInRange(int width, int descriptor) {
  if (width >= 0 && width <= 32) return true;
  ZLOG(LogStream::PROBLEM) << "Data width of " << width
                           << " bits out of range for descriptor " << descriptor
                           << std::endl;
  _widthFault = true;
  return false;
}

void BufrDecoder::dumpOctets(const unsigned char* octets, int perRow, int start,
                             int count) {
  if (logGate(logStream(), LogStream::DEBUG, __FILE__, __LINE__)) return;
  char cell[8];
  for (int i = 0; i < count; ++i) {
    std::snprintf(cell, sizeof cell, "%.2X ", octets[start + i]);
    logStream() << cell;
    if ((i + 1) % perRow == 0 || i + 1 == count) {
      logStream() << std::endl;
      logEnd(logStream());
      if (i + 1 < count &&
          logGate(logStream(), LogStream::DEBUG, __FILE__, __LINE__))
        return;
    }
  }
  if (count <= 0) logEnd(logStream());
}

void BufrDecoder::printDecodedValues() {
  if (logGate(logStream(), LogStream::DEBUG, __FILE__, __LINE__)) return;
  logStream() << "Output of decoded values..........." << std::endl;
  for (int i = 0; i < _decodedValues.length(); ++i) {
    const BufrValues& v = _decodedValues.at(i);
    logStream() << "_decodedValues[" << i << "]= " << v.descriptor() << " "
                << v.value() << " " << v.subset() << " " << v.repetition()
                << " <" << v.text() << ">" << std::endl;
  }
  logEnd(logStream());
}
