// Section 4 in compressed form: element by element, each element a
// reference, an increment width and then one increment per subset. The
// values are read into columns, one per element, and turned into the
// subset order of a standard message at the end.
//
// Most elements of a satellite message are plain numbers read the same way
// for thousands of subsets; those subsets are read in one tight loop, while
// the first and last subset of every element, and every element that needs
// more (characters, an associated field, a log that shows each value, the
// end of the data) go through getCompressedValue one at a time. Both roads
// give the same values and leave the reader in the same state.
#include <cmath>
#include <cstdint>

#include "BufrDecoder.h"
#include "BufrEngineState.h"
#include "LogStream.h"
#include "RepetitionCursor.h"
#include "StaticBufrInfo.h"
#include "ValueCoding.h"

using namespace value_coding;

namespace {

// Eight octets from `p`, most significant first.
inline uint64_t bigEndian64(const unsigned char* p) {
  uint64_t word = 0;
  for (int i = 0; i < 8; ++i) word = (word << 8) | p[i];
  return word;
}

}  // namespace

float BufrDecoder::getCompressedValue(int descriptor, bool lastSubset,
                                      TextString& text) {
  BufrEngineState& engine = BufrEngineState::get();
  StaticBufrInfo& tables = StaticBufrInfo::instance();
  text = TextString();
  int characterBits;
  bool character = tables.isCharacterDescriptor(descriptor, characterBits);
  if (engine.width == 0) {
    SeqOf<int> values;
    if (!tables.tableBValues(descriptor, values)) {
      ZLOG(LogStream::PROBLEM) << "Code " << descriptor
                               << " does not exist in tableb." << std::endl;
      return BufrValues::kNotInTableB;
    }
    const SeqOf<int>& v = values;
    engine.exponent = v[0];
    engine.reference = v[1];
    engine.width = v[2];
    if (engine.width < 0 || (!character && engine.width > 32)) {
      widthInRange(engine.width, descriptor);
      engine.width = 0;
      return BufrValues::kMissing;
    }
    // A character reference is wider than a word: its first 32 bits
    // stand for it, and its missing test looks at all of them.
    int head = engine.width < 32 ? engine.width : 32;
    _compressedRef = peekBits(head);
    engine.referenceAllOnes = allOnes(_compressedRef, head);
    for (int rest = engine.width - head; rest > 0; rest -= 32) {
      moveBits(head);
      head = rest < 32 ? rest : 32;
      engine.referenceAllOnes =
          engine.referenceAllOnes && allOnes(peekBits(head), head);
    }
    moveBits(head);
    engine.incrementWidth = static_cast<int>(peekBits(6));
    moveBits(6);
  }
  float value;
  if (engine.incrementWidth == 0) {
    value = engine.width == 0 || engine.referenceAllOnes
                ? BufrValues::kMissing
                : scaled(_compressedRef, engine.reference, engine.exponent);
  } else if (character) {
    engine.width = characterBits;
    text = getWord(engine.width / 8);
    moveOctets(engine.incrementWidth / 8);
    value = BufrValues::kCharacter;
  } else if (engine.incrementWidth > 32) {
    widthInRange(engine.incrementWidth, descriptor);
    value = BufrValues::kMissing;
  } else {
    unsigned increment = peekBits(engine.incrementWidth);
    value = allOnes(increment, engine.incrementWidth)
                ? BufrValues::kMissing
                : scaled(int64_t(increment) + _compressedRef, engine.reference,
                         engine.exponent);
    moveBits(engine.incrementWidth);
  }
  if (lastSubset) engine.width = 0;
  ZLOG(LogStream::DEBUG) << "In getCompressedValue, on return, bit position = "
                         << _bitPos << std::endl;
  return value;
}

// Subsets `from` up to, not including, `to` of an element whose reference
// and increment width have been read, for a plain number (or a character
// element without increments, which reads as one); answers the
// subset where it stopped. It stops early only where an increment would
// reach the last eight octets of the buffer, which the careful reader
// then takes on.
int BufrDecoder::readIncrements(float* out, int from, int to) {
  const BufrEngineState& engine = BufrEngineState::get();
  int width = engine.incrementWidth;
  if (width == 0) {
    float value =
        engine.referenceAllOnes
            ? BufrValues::kMissing
            : scaled(_compressedRef, engine.reference, engine.exponent);
    for (int s = from; s < to; ++s) out[s] = value;
    return to;
  }
  if (width > 32) return from;
  const double divisor = std::pow(10.0, engine.exponent);
  const int64_t base = _compressedRef;
  const uint64_t missing = (uint64_t(1) << width) - 1;
  uint64_t position = (_readPtr - _dataBuffer) * 8UL + _bitPos;
  int s = from;
  for (; s < to; ++s) {
    uint64_t octet = position >> 3;
    if (octet + 8 > _dataLength) break;
    uint64_t increment =
        (bigEndian64(_dataBuffer + octet) << (position & 7)) >> (64 - width);
    out[s] = increment == missing
                 ? BufrValues::kMissing
                 : scaledBy(static_cast<int64_t>(increment) + base,
                            engine.reference, divisor);
    position += width;
  }
  _readPtr = _dataBuffer + (position >> 3);
  _bitPos = static_cast<int>(position & 7);
  return s;
}

// The texts of a character element with increments, subsets `from` up to
// `to`, as getCompressedValue reads them; stops early where the data would
// run out, which the careful reader then takes on.
int BufrDecoder::readTexts(float* out, TextString* texts, int from, int to,
                           int characterBits) {
  BufrEngineState& engine = BufrEngineState::get();
  int count = characterBits / 8;
  long step = engine.incrementWidth / 8;
  unsigned long end = _dataLength * 8UL;
  int s = from;
  for (; s < to; ++s) {
    unsigned long position = (_readPtr - _dataBuffer) * 8UL + _bitPos;
    if (position + 8UL * (count > step ? count : step) > end) break;
    engine.width = characterBits;
    texts[s] = getWord(count);
    out[s] = BufrValues::kCharacter;
    moveOctets(static_cast<int>(step));
  }
  return s;
}

// One element for all subsets, into a new column.
bool BufrDecoder::readCompressedColumn(int descriptor, int repetition,
                                       int& valueNumber) {
  if (valueLimitReached(_columns.valueCount() + _subsets)) return false;
  if (!spendWork(kStepWork + 2L * _subsets)) return false;
  int characterBits;
  bool character =
      StaticBufrInfo::instance().isCharacterDescriptor(descriptor, characterBits);
  float* out = _columns.add(descriptor, repetition, character);
  TextString* texts = _columns.lastTexts();
  const BufrEngineState& engine = BufrEngineState::get();
  // Each value is logged at VERBOSE and DEBUG when the log takes them; the
  // gate is asked once for the element rather than twice for each subset.
  bool oneByOne = _assocActive ||
                  LogStream::instance().enabled(
                      LogStream::VERBOSE | LogStream::DEBUG, __FILE__);
  TextString text;
  for (int s = 0; s < _subsets;) {
    // A text costs what it copies; once the first subset has told whether
    // the column has texts, they are paid for.
    if (s == 1 && character && engine.incrementWidth != 0 &&
        !spendWork(long(characterBits / 8) * _subsets))
      return false;
    // A character column with increments holds a text in each subset; one
    // without gives every subset the same number and no text.
    if (!oneByOne && s > 0 && s < _subsets - 1 && engine.width != 0) {
      int stopped = character && engine.incrementWidth != 0
                        ? readTexts(out, texts, s, _subsets - 1, characterBits)
                        : readIncrements(out, s, _subsets - 1);
      if (stopped > s) {
        s = stopped;
        continue;
      }
    }
    if (_assocActive) takeBits(_assocBits);
    float value = getCompressedValue(descriptor, s == _subsets - 1, text);
    if (checkOverrun(descriptor)) return false;
    ZLOG(LogStream::VERBOSE) << "compressed value[" << valueNumber++
                             << "]= " << value << std::endl;
    if (value == BufrValues::kNotInTableB) {
      ZLOG(LogStream::PROBLEM) << "Unable to get compressed decoded value for: "
                               << descriptor << std::endl;
      return false;
    }
    out[s] = value;
    if (texts) texts[s] = text;
    ++s;
  }
  return true;
}

// A delayed replication in compressed data: the factor is an element like
// any other, and WMO regulations give it the same count in every subset.
// A message whose subsets disagree can't be unrolled once for all of them.
bool BufrDecoder::decodeCompressedFactor(int descriptor, SeqOf<int>& list,
                                         SeqOf<int>& repSeq, int index,
                                         int groupIndex) {
  TextString text;
  int count = 0;
  for (int s = 0; s < _subsets; ++s) {
    if (_assocActive) takeBits(_assocBits);
    float value = getCompressedValue(descriptor, s == _subsets - 1, text);
    if (checkOverrun(descriptor)) return false;
    if (value == BufrValues::kNotInTableB) {
      ZLOG(LogStream::PROBLEM) << "Unable to get compressed decoded value for: "
                               << descriptor << std::endl;
      return false;
    }
    int subsetCount = countOf(value);
    if (s > 0 && subsetCount != count) {
      ZLOG(LogStream::PROBLEM) << "Delayed replication counts differ between "
                                  "compressed subsets: "
                               << count << " and " << subsetCount << std::endl;
      return false;
    }
    count = subsetCount;
  }
  _replCounts.append(count);
  ZLOG(LogStream::VERBOSE) << "Number of repetitions of compressed data: "
                           << count << std::endl;
  repSeq.setLength(0);
  return expandDelayedGroup(count, list, repSeq, index, groupIndex);
}

bool BufrDecoder::decodeCompressedData() {
  startDataPass();
  if (_nestedRepList.length() > 0) {
    ZLOG(LogStream::PROBLEM) << "Nested delayed replication in compressed "
                                "data is not supported"
                             << std::endl;
    return false;
  }
  _columns.reset(_subsets);
  SeqOf<int> list(_descriptors);
  RepetitionCursor repetition;
  int groupIndex = 0, valueNumber = 0;
  int i = 0;
  while (i < list.length()) {
    int x, y;
    int d = list.at(i);
    int f = splitDescriptor(d, x, y);
    if (f == 2) {
      if (!decodeSection2Desc(x, y, list, i)) {
        ZLOG(LogStream::PROBLEM) << "Unable to process section 2 descriptors"
                                 << std::endl;
        return false;
      }
      if (checkOverrun(d)) return false;
      repetition.skip();
      ++i;
      continue;
    }
    if (isDelayedReplicator(d)) {
      if (!decodeCompressedFactor(d, list, repetition.sequence(), i,
                                  groupIndex++))
        return false;
      repetition.begin();
      continue;
    }
    if (!readCompressedColumn(d, repetition.next(), valueNumber)) return false;
    if (_signifyPending && !decodeSection2Desc(x, y, list, i)) {
      ZLOG(LogStream::PROBLEM) << "Unable to decode section 2 descriptors"
                               << std::endl;
      return false;
    }
    ++i;
  }
  orderBySubset(_columns);
  _bitPos = 0;
  return true;
}

// The columns, subset by subset, as a standard message lists its values.
// The array of the message before is reused when its size is near enough,
// which spares allocating and constructing a million values per message.
void BufrDecoder::orderBySubset(const CompressedColumns& columns) {
  if (_subsets < 1 || columns.count() == 0) return;
  int elements = columns.count();
  int n = elements * _subsets;  // bounded by the value limit
  if (_valueStore.capacity() < n || _valueStore.capacity() * 0.9f > n)
    _valueStore = SeqOf<BufrValues>();
  _valueStore.setLength(n);
  BufrValues* out = &_valueStore[0];
  const TextString none;
  for (int s = 0; s < _subsets; ++s) {
    for (int k = 0; k < elements; ++k, ++out) {
      out->setSubset(s);
      out->setDescriptor(columns.descriptor(k));
      out->setValue(columns.value(k, s));
      out->setRepetition(columns.repetition(k));
      if (columns.hasTexts(k))
        out->setText(columns.text(k, s));
      else if (out->hasText())
        out->setText(none);
    }
  }
  _decodedValues.swap(_valueStore);
}
