// Section 4: the values of the message, read against the expanded list in
// standard form (subset by subset), in compressed form (element by element
// over all subsets), or by the road of nested delayed replications.
#include <cmath>
#include <cstdint>
#include <limits>

#include "BufrDecoder.h"
#include "BufrEngineState.h"
#include "LogStream.h"
#include "RepetitionCursor.h"
#include "StaticBufrInfo.h"

namespace {

// Bounds on what one message may unroll: a replication count comes from
// the data and can be anything its width allows.
const long kMaxWorkingList = 1000000;
const int kMaxDecodedValues = 2000000;
// A count inside a nested group above this fails the message.
const int kMaxNestedCount = 100;
// Below this many octets a standard Section 4 holds no observation.
const int kShortDataOctets = 61;

bool isDelayedReplicator(int descriptor) {
  return descriptor == 31000 || descriptor == 31001 || descriptor == 31002;
}

// Formed in double precision and rounded once to single. A scale that an
// operator has pushed far enough gives what a float can't hold: infinity.
float scaled(int64_t raw, int reference, int exponent) {
  double value = static_cast<double>(raw + reference) / std::pow(10.0, exponent);
  const double largest = std::numeric_limits<float>::max();
  if (value > largest) return std::numeric_limits<float>::infinity();
  if (value < -largest) return -std::numeric_limits<float>::infinity();
  return static_cast<float>(value);
}

// The characters up to the first blank.
TextString firstWord(const TextString& text) {
  unsigned blank;
  if (text.search(' ', blank)) return text.left(blank);
  return text;
}

// A replication count is the value cut to an int; what lies beyond an int
// (a factor widened by an operator) is held at its edge, where the bounds
// on unrolling refuse it.
int countOf(float value) {
  if (!(value > -2147483520.0f)) return std::numeric_limits<int>::min();
  if (!(value < 2147483520.0f)) return std::numeric_limits<int>::max();
  return static_cast<int>(value);
}

bool allOnes(unsigned raw, int width) {
  unsigned mask = width >= 32 ? 0xFFFFFFFFu : (1u << width) - 1;
  return (raw & mask) == mask;
}

}  // namespace

unsigned char* BufrDecoder::decodeSection4(unsigned char* section, bool& ok) {
  BufrEngineState& engine = BufrEngineState::get();
  ZLOG(LogStream::DEBUG) << " BufrDecoder::decodeSection4()" << std::endl;
  ok = true;
  int length = 0;
  if (!readSectionLength(4, section, length)) {
    ok = false;
    return section;
  }
  ZLOG(LogStream::DEBUG) << " section4Len = " << length << std::endl;
  ZLOG(LogStream::DEBUG) << "BufrDecoder:Output of Section 4 - Data:"
                         << "\n 1  2  3  4  5  6  7  8  9 10 11 12 13 14 15 "
                            "16 17 18 19 20"
                         << std::endl;
  engine.shortData = length < kShortDataOctets;
  dumpOctets(section, 20, 0, engine.shortData ? length : 60);

  _dataLength = length + 8;
  _dataBuffer = new unsigned char[_dataLength]();
  for (int i = 4; i < length; ++i) _dataBuffer[i - 4] = section[i];
  _overrun = false;
  _widthFault = false;

  if (_compressed) {
    ZLOG(LogStream::EVENT) << "Message is in compressed format.  Subsets: "
                           << _subsets << std::endl;
    if (!decodeCompressedData()) {
      ZLOG(LogStream::PROBLEM) << "Unable to decode compressed data."
                               << std::endl;
      ok = false;
    }
  } else {
    ZLOG(LogStream::EVENT) << "Message is in standard format.  Subsets: "
                           << _subsets << std::endl;
    if (engine.shortData) {
      makeTimeValues();
      ok = false;
    } else if (!decodeStandardData()) {
      ZLOG(LogStream::PROBLEM) << "Unable to decode standard data."
                               << std::endl;
      ok = false;
    }
  }
  ZLOG(LogStream::DEBUG) << "tempBuffer = " << static_cast<void*>(_dataBuffer)
                         << " section4Len = " << length << std::endl;
  delete[] _dataBuffer;
  _dataBuffer = nullptr;
  _readPtr = nullptr;
  _dataLength = 0;
  return section + length;
}

void BufrDecoder::makeTimeValues() {
  BufrEngineState& engine = BufrEngineState::get();
  _decodedValues.setLength(0);
  const int descriptors[6] = {4001, 4002, 4003, 4004, 4005, 4006};
  const int parts[6] = {engine.year + 2000, engine.month, engine.day,
                        engine.hour, engine.minute, 0};
  for (int i = 0; i < 6; ++i)
    _decodedValues.append(BufrValues(0, descriptors[i],
                                     static_cast<float>(parts[i]), 0,
                                     TextString()));
}

bool BufrDecoder::valueLimitReached(int count) {
  if (count < kMaxDecodedValues) return false;
  ZLOG(LogStream::PROBLEM) << "Message holds more than " << kMaxDecodedValues
                           << " values; giving up" << std::endl;
  return true;
}

float BufrDecoder::getStandardValue(int descriptor, TextString& text) {
  text = TextString();
  SeqOf<int> values;
  if (!StaticBufrInfo::instance().tableBValues(descriptor, values)) {
    ZLOG(LogStream::PROBLEM) << "Code " << descriptor
                             << " does not exist in table B." << std::endl;
    return BufrValues::kNotInTableB;
  }
  const SeqOf<int>& v = values;
  int exponent = v[0], reference = v[1], width = v[2];
  int characterBits;
  if (StaticBufrInfo::instance().isCharacterDescriptor(descriptor,
                                                       characterBits)) {
    text = firstWord(getCharacters(characterBits / 8));
    moveOctets(characterBits / 8);
    return BufrValues::kCharacter;
  }
  if (!widthInRange(width, descriptor)) return BufrValues::kMissing;
  unsigned raw = peekBits(width);
  float value = BufrValues::kMissing;
  if (width > 0 && !allOnes(raw, width))
    value = scaled(static_cast<int32_t>(raw), reference, exponent);
  moveBits(width);
  return value;
}

bool BufrDecoder::insertRepeatedGroup(const SeqOf<int>& group,
                                      SeqOf<int>& list, SeqOf<int>& repSeq,
                                      int behind, int count) {
  long added = static_cast<long>(count) * group.length();
  if (list.length() + added > kMaxWorkingList) {
    ZLOG(LogStream::PROBLEM) << "Delayed replication of " << count
                             << " repetitions is too large to unroll"
                             << std::endl;
    return false;
  }
  // All repetitions are alike: build them once and insert them together.
  SeqOf<int> block;
  block.setLength(static_cast<int>(added));
  for (int r = 0; r < count; ++r) {
    for (int k = 0; k < group.length(); ++k) {
      block[r * group.length() + k] = group[k];
      repSeq.append(r);
    }
  }
  list.replaceBetween(behind, behind + 1, block);
  return true;
}

bool BufrDecoder::expandDelayedGroup(int count, SeqOf<int>& list,
                                     SeqOf<int>& repSeq, int factorIndex,
                                     int group) {
  list.replaceBetween(factorIndex - 1, factorIndex + 1, SeqOf<int>());
  if (count <= 0) return true;
  if (group >= _replDescList.length()) {
    ZLOG(LogStream::PROBLEM) << "No group of descriptors for delayed "
                                "replication number "
                             << group + 1 << std::endl;
    return false;
  }
  const SeqOf<SeqOf<int>>& groups = _replDescList;
  return insertRepeatedGroup(groups[group], list, repSeq, factorIndex - 1,
                             count);
}

// Every pass reads from the start of the data, with no associated field
// and no counts.
void BufrDecoder::startDataPass() {
  _bitPos = 0;
  _readPtr = _dataBuffer;
  _assocActive = false;
  _assocBits = 0;
  _replCounts.setLength(0);
  ZLOG(LogStream::VERBOSE) << "Data values decoded from data section....."
                           << "\n_subsets= " << _subsets << std::endl;
}

bool BufrDecoder::decodeStandardData() {
  startDataPass();
  if (_subsets < 1) return true;

  int nestIndex = 0;
  RepetitionCursor repetition;
  for (int s = 0; s < _subsets; ++s) {
    int groupIndex = 0;
    SeqOf<int> list(_descriptors);
    repetition.restartSubset();
    int i = 0;
    while (i < list.length()) {
      float value = 0;
      WalkStep step = standardStep(s, list, i, repetition, true, value);
      if (step == WalkStep::kFailed) return false;
      if (step == WalkStep::kNext) continue;
      repetition.sequence().setLength(0);
      int count = countOf(value);
      _replCounts.append(count);
      if (_nestedRepList.length() == 0) {
        if (!expandDelayedGroup(count, list, repetition.sequence(), i,
                                groupIndex))
          return false;
      } else {
        ZLOG(LogStream::DEBUG) << "No of Nested Repetition : " << count
                               << std::endl;
        for (int k = 0; k < count; ++k) {
          ZLOG(LogStream::DEBUG) << "iteration no of NR = " << k << std::endl;
          if (!decodeNestedGroup(nestIndex)) return false;
          ZLOG(LogStream::DEBUG) << " Processed nested delayed replication."
                                 << std::endl;
        }
        ++nestIndex;
        ++i;
      }
      ZLOG(LogStream::VERBOSE)
          << "Number of repetitions of standard format data: " << count
          << std::endl;
      ++groupIndex;
      repetition.begin();
    }
  }
  _bitPos = 0;
  return true;
}

BufrDecoder::WalkStep BufrDecoder::standardStep(int subset, SeqOf<int>& list,
                                                int& index,
                                                RepetitionCursor& repetition,
                                                bool operatorsTakePlaces,
                                                float& value) {
  int x, y;
  int d = list.at(index);
  if (splitDescriptor(d, x, y) == 2) {
    if (!decodeSection2Desc(x, y, list, index)) {
      ZLOG(LogStream::PROBLEM) << "Unable to decode section 2 descriptors"
                               << std::endl;
      return WalkStep::kFailed;
    }
    if (checkOverrun(d)) return WalkStep::kFailed;
    if (operatorsTakePlaces) repetition.skip();
    ++index;
    return WalkStep::kNext;
  }
  if (_assocActive) takeBits(_assocBits);
  TextString text;
  value = getStandardValue(d, text);
  if (checkOverrun(d)) return WalkStep::kFailed;
  ZLOG(LogStream::DEBUG) << "std value[" << _decodedValues.length()
                         << "]= " << value << std::endl;
  if (isDelayedReplicator(d)) return WalkStep::kFactor;
  _decodedValues.append(BufrValues(subset, d, value, repetition.next(), text));
  if (valueLimitReached(_decodedValues.length())) return WalkStep::kFailed;
  // The element behind 2 06 has been read: its width goes back.
  if (_signifyPending && !decodeSection2Desc(x, y, list, index)) {
    ZLOG(LogStream::PROBLEM) << "Unable to decode section 2 descriptors"
                             << std::endl;
    return WalkStep::kFailed;
  }
  ++index;
  return WalkStep::kNext;
}

// One repetition of a top-level group that holds nested factors.
bool BufrDecoder::decodeNestedGroup(int nestIndex) {
  _assocActive = false;
  _assocBits = 0;
  _replCounts.setLength(0);
  if (nestIndex >= _replDescList.length()) {
    ZLOG(LogStream::DEBUG) << " Bad value of nestedRepPtr." << std::endl;
    return false;
  }
  const SeqOf<SeqOf<int>>& nestedGroups = _nestedRepList;
  for (int s = 0; s < _subsets; ++s) {
    int nestPos = 0;
    SeqOf<int> list(_replDescList.at(nestIndex));
    RepetitionCursor repetition;
    int i = 0;
    while (i < list.length()) {
      float value = 0;
      WalkStep step = standardStep(s, list, i, repetition, false, value);
      if (step == WalkStep::kFailed) return false;
      if (step == WalkStep::kNext) continue;
      ZLOG(LogStream::DEBUG) << "---Number of repetition = " << value
                             << std::endl;
      int count = countOf(value);
      if (count > kMaxNestedCount) return false;
      _replCounts.append(count);
      repetition.sequence().setLength(0);
      list.replaceBetween(i - 1, i + 1, SeqOf<int>());
      if (count > 0) {
        if (nestPos >= nestedGroups.length()) {
          ZLOG(LogStream::PROBLEM) << "No group of descriptors for nested "
                                      "replication number "
                                   << nestPos + 1 << std::endl;
          return false;
        }
        if (!insertRepeatedGroup(nestedGroups[nestPos], list,
                                 repetition.sequence(), i - 1, count))
          return false;
      }
      ZLOG(LogStream::VERBOSE) << "Num of repetitions of nested format data: "
                               << count << std::endl;
      ++nestPos;
      repetition.begin();
    }
  }
  return true;
}

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
    text = firstWord(getCharacters(engine.width / 8));
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
  SeqOf<BufrValues> values;
  SeqOf<int> list(_descriptors);
  RepetitionCursor repetition;
  int groupIndex = 0, valueNumber = 0;
  TextString text;
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
    int rep = repetition.next();
    for (int s = 0; s < _subsets; ++s) {
      if (_assocActive) takeBits(_assocBits);
      float value = getCompressedValue(d, s == _subsets - 1, text);
      if (checkOverrun(d)) return false;
      ZLOG(LogStream::VERBOSE) << "compressed value[" << valueNumber++
                               << "]= " << value << std::endl;
      if (value == BufrValues::kNotInTableB) {
        ZLOG(LogStream::PROBLEM)
            << "Unable to get compressed decoded value for: " << d
            << std::endl;
        return false;
      }
      values.append(BufrValues(s, d, value, rep, text));
      if (valueLimitReached(values.length())) return false;
    }
    if (_signifyPending && !decodeSection2Desc(x, y, list, i)) {
      ZLOG(LogStream::PROBLEM) << "Unable to decode section 2 descriptors"
                               << std::endl;
      return false;
    }
    ++i;
  }
  orderBySubset(values);
  _bitPos = 0;
  return true;
}

// Compressed values come element by element; the result lists them subset
// by subset, as a standard message does. A stable counting sort.
void BufrDecoder::orderBySubset(SeqOf<BufrValues>& values) {
  const SeqOf<BufrValues>& in = values;
  if (_subsets < 1 || in.length() == 0) return;
  SeqOf<int> start;
  start.setLength(_subsets + 1);
  for (int k = 0; k < in.length(); ++k) {
    int s = in[k].subset();
    if (s >= 0 && s < _subsets) ++start[s + 1];
  }
  for (int s = 0; s < _subsets; ++s) start[s + 1] += start[s];
  int base = _decodedValues.length();
  _decodedValues.setLength(base + start[_subsets]);
  for (int k = 0; k < in.length(); ++k) {
    int s = in[k].subset();
    if (s >= 0 && s < _subsets) _decodedValues[base + start[s]++] = in[k];
  }
}
