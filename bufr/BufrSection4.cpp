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
#include "ValueCoding.h"

using namespace value_coding;

namespace {

// Bounds on what one message may unroll: a replication count comes from
// the data and can be anything its width allows.
const long kMaxWorkingList = 1000000;
const int kMaxDecodedValues = 2000000;
// The whole work of one message's data pass, in units of a few
// nanoseconds: an entry of the working list copied, moved or walked is
// one, a value or operator step is BufrDecoder::kStepWork. Counts and
// widths come from the data, so without a bound a message of a few
// kilobytes could unroll the same large group again and again, each time
// within the length bound. A sound message reads at least a bit for each
// value it gives (a compressed one, for each element), so the bound grows
// with the data section: a few kilobytes get a few milliseconds' worth,
// and the largest sound messages stay far inside it.
const long kBaseWork = 2L * 1000 * 1000;
const long kWorkPerBit = 16;
// A count inside a nested group above this fails the message.
const int kMaxNestedCount = 100;
// Below this many octets a standard Section 4 holds no observation.
const int kShortDataOctets = 61;

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
  _workLeft = kBaseWork + kWorkPerBit * 8L * length;

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

bool BufrDecoder::spendWork(long units) {
  if (_workLeft < 0) return false;  // already told
  if (units <= _workLeft) {
    _workLeft -= units;
    return true;
  }
  _workLeft = -1;
  ZLOG(LogStream::PROBLEM) << "Message needs more decoding work than its "
                              "data section allows; giving up"
                           << std::endl;
  return false;
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
    spendWork(kLoggedValueWork);
    return BufrValues::kNotInTableB;
  }
  const SeqOf<int>& v = values;
  int exponent = v[0], reference = v[1], width = v[2];
  int characterBits;
  if (StaticBufrInfo::instance().isCharacterDescriptor(descriptor,
                                                       characterBits)) {
    text = getWord(characterBits / 8);
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
  if (!spendWork(added + list.length() - behind)) return false;
  if (added == 0) return true;
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

// Every pass reads from the start of the data, with no associated field,
// no counts and no compressed element open: an element that a failed
// message left in the middle would otherwise be read on from this
// message's first bits, fail it in the middle too, and so every
// compressed message after it.
void BufrDecoder::startDataPass() {
  BufrEngineState::get().width = 0;
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
    if (!spendWork(_descriptors.length())) return false;
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
  if (!spendWork(kStepWork)) return WalkStep::kFailed;
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
    if (!spendWork(_replDescList.at(nestIndex).length())) return false;
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

