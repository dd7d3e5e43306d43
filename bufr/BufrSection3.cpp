// Section 3: the descriptors of a message expanded into the flat list that
// Section 4 is read against, with delayed replications set aside as groups.
#include <cstdlib>

#include "BufrDecoder.h"
#include "BufrEngineState.h"
#include "LogStream.h"
#include "StaticBufrInfo.h"
#include "ValueCoding.h"

using value_coding::isDelayedReplicator;

namespace {

// Bounds on what a message may make of the tables: a sequence that
// contains itself, or replications of replications, would otherwise run
// without end.
const int kMaxSequenceDepth = 32;
const int kMaxDescriptors = 200000;
// Elements that go to a group which is later dropped add nothing to the
// list, yet replications of them can still take exponential work.
const long kMaxExpansionSteps = 200000;

}  // namespace

void BufrEngineState::exitProcess(int status) { std::exit(status); }

unsigned char* BufrDecoder::decodeSection3(unsigned char* section) {
  ZLOG(LogStream::DEBUG) << " BufrDecoder::decodeSection3()" << std::endl;
  int length = 0;
  if (!readSectionLength(3, section, length)) return nullptr;
  _section3Len = length;
  ZLOG(LogStream::DEBUG) << " section3Len = " << length << std::endl;
  if (section + 7 > _messageEnd) {
    ZLOG(LogStream::PROBLEM) << "Section 3 runs past the end of the message"
                             << std::endl;
    return nullptr;
  }
  ZLOG(LogStream::DEBUG) << "BufrDecoder:Output of Section 3 - Description:"
                         << "\n 1  2  3  4  5  6  7  8  9 10 11 12 13 14 15 "
                            "16 17 18 19 20"
                         << std::endl;
  dumpOctets(section, 20, 0, length);

  // The list starts at octet 8; two spare zero octets let an odd list
  // end in a whole descriptor without reading past the copy.
  int listOctets = length > 7 ? length - 7 : 0;
  unsigned char* octets = new unsigned char[listOctets + 2]();
  for (int i = 0; i < listOctets; ++i) octets[i] = section[7 + i];
  expandDescriptors(octets);
  delete[] octets;
  if (_descriptors.length() == 0) {
    ZLOG(LogStream::PROBLEM) << "Unable to expand descriptors." << std::endl;
    return nullptr;
  }
  printDescriptorLists();
  _numDescriptors = _descriptors.length();
  _compressed = (section[6] & 0x40) != 0;
  _subsets = (section[4] << 8) | section[5];
  BufrEngineState::get().bytesConsumed += length;
  return section + length;
}

int BufrDecoder::readDescriptor() {
  int f = _descPtr[0] >> 6;
  int x = _descPtr[0] & 0x3F;
  int y = _descPtr[1];
  _descPtr += 2;
  return f * 100000 + x * 1000 + y;
}

bool BufrDecoder::expansionTooLarge() {
  if (_expansionTooLarge) return true;
  if (_descriptors.length() <= kMaxDescriptors &&
      ++_expansionSteps <= kMaxExpansionSteps)
    return false;
  ZLOG(LogStream::PROBLEM) << "Descriptor expansion exceeds "
                           << kMaxDescriptors << " descriptors or "
                           << kMaxExpansionSteps << " steps; giving up"
                           << std::endl;
  _expansionTooLarge = true;
  _descriptors.setLength(0);
  return true;
}

void BufrDecoder::expandDescriptors(const unsigned char* octets) {
  _replDescList.setLength(0);
  _nestedRepList.setLength(0);
  _expansionTooLarge = false;
  _expansionSteps = 0;
  _sequenceDepth = 0;

  int listLength = _section3Len - 8;
  ZLOG(LogStream::DEBUG) << "BufrDecoder:Output of Descriptor Buffer:"
                         << "\n 1  2  3  4  5  6  7  8  9 10 11 12 13 14 15 "
                            "16 17 18 19 20"
                         << std::endl;
  dumpOctets(octets, 20, 0, listLength > 0 ? listLength : 0);
  SeqOf<int> raw;
  _descPtr = octets;
  for (int offset = 0; offset < listLength; offset += 2) {
    raw.append(readDescriptor());
    ZLOG(LogStream::DEBUG) << "Descriptor " << raw.length() - 1 << " = "
                           << raw[raw.length() - 1] << std::endl;
  }

  SeqOf<int> group;
  SeqOf<int> delayedList;
  bool inDelayed = false;
  int remaining = 0;
  // The group of a delayed replication closes after its x descriptors of
  // the raw list; a nested replication or a sequence counts as one.
  auto groupStep = [&]() {
    if (remaining != 0) {
      --remaining;
      return;
    }
    _replDescList.append(group);
    group.setLength(0);
    inDelayed = false;
    _replPending = false;
  };

  const SeqOf<int>& list = raw;
  for (int i = 0; i < list.length() && !_expansionTooLarge; ++i) {
    int x, y;
    int d = list[i];
    int f = splitDescriptor(d, x, y);
    if (i == 0) {
      ZLOG(LogStream::DEBUG) << "Output of descriptors defined in section 3...."
                             << std::endl;
    }
    ZLOG(LogStream::DEBUG) << "LIST : " << i << " = " << d << std::endl;
    if (f == 1 && y == 0) {
      if (i + 1 >= list.length()) break;  // no factor: the group is dropped
      int factor = list[i + 1];
      beginDelayedReplication(factor, delayedList);
      _descriptors.append(factor);
      ++i;
      inDelayed = true;
      remaining = x;
      groupStep();
    } else if (f == 1 && !inDelayed) {
      expandFixedReplication(x, y, i, raw);
      i += x;
    } else if (f == 1) {
      expandNestedReplication(x, y, group, i, raw);
      i += x;
      groupStep();
    } else if (f == 2) {
      if (inDelayed) {
        group.append(d);
        groupStep();
      } else {
        _descriptors.append(d);
      }
    } else if (f == 3 && inDelayed) {
      SeqOf<int> members;
      if (lookupSequence(d, members)) {
        for (int k = 0; k < members.length(); ++k)
          group.append(members.at(k));
      } else {
        ZLOG(LogStream::PROBLEM) << "Invalid sequence des = " << d
                                 << std::endl;
      }
      groupStep();
    } else if (f == 3) {
      expandSequence(d);
    } else if (inDelayed) {
      group.append(d);
      groupStep();
    } else {
      int scratch = 0;
      element(d, group, delayedList, scratch);
    }
    expansionTooLarge();
  }
  if (_expansionTooLarge) _descriptors.setLength(0);
}

void BufrDecoder::beginDelayedReplication(int factor, SeqOf<int>& list) {
  list.setLength(0);
  list.append(factor);
  _replPending = true;
  _factorSeen = false;
}

bool BufrDecoder::element(int descriptor, SeqOf<int>& group, SeqOf<int>& list,
                          int& index) {
  if (isDelayedReplicator(descriptor)) {
    ZLOG(LogStream::VERBOSE) << "Descriptor [" << descriptor
                             << "] is a delayed replicator." << std::endl;
    _descriptors.append(descriptor);
    return true;
  }
  if (_replPending)
    group.append(descriptor);
  else
    _descriptors.append(descriptor);
  ZLOG(LogStream::DEBUG) << "In BufrDecoder::element, descList length = "
                         << list.length() << ", descListPtr = " << index
                         << std::endl;
  if (index + 1 == list.length()) return true;
  ++index;
  return false;
}

bool BufrDecoder::lookupSequence(int descriptor, SeqOf<int>& members) {
  SeqOf<int> list;
  if (StaticBufrInfo::instance().tableDSequence(descriptor, list)) {
    const SeqOf<int>& entries = list;
    for (int i = 0; i < entries.length(); ++i) members.append(entries[i]);
    return true;
  }
  if (BufrEngineState::get().tablesLoaded) {
    ZLOG(LogStream::PROBLEM) << "Descriptor " << descriptor << " does not exist "
                             << "in table D." << std::endl;
  } else {
    ZLOG(LogStream::PROBLEM) << "Unable to re-initialize Tables." << std::endl;
  }
  _descriptors.setLength(0);
  return false;
}

// A delayed replication inside a sequence ends the sequence at its factor;
// the next sequence expanded then supplies the replicated group.
bool BufrDecoder::expandSequence(int descriptor) {
  if (_expansionTooLarge) return false;
  if (_sequenceDepth >= kMaxSequenceDepth) {
    ZLOG(LogStream::PROBLEM) << "Sequences nested too deep at descriptor "
                             << descriptor << std::endl;
    _descriptors.setLength(0);
    return false;
  }
  SeqOf<int> members;
  SeqOf<int> group;
  if (!lookupSequence(descriptor, members)) return false;
  ++_sequenceDepth;
  int index = 0;
  bool valid = true;
  while (index < members.length() && !expansionTooLarge()) {
    int x, y;
    int m = members.at(index);
    int f = splitDescriptor(m, x, y);
    if (f == 1 && y > 0) {
      expandFixedReplication(x, y, index, members);
      index += x + 1;
    } else if (f == 1) {
      if (index + 1 >= members.length()) break;  // a factor is missing
      beginDelayedReplication(members.at(index + 1),
                              members);
      index = 0;  // the factor alone is left, and the sequence ends at it
    } else if (f == 0) {
      if (element(m, group, members, index)) break;
    } else if (f == 2) {
      _descriptors.append(m);
      ++index;
    } else if (f == 3) {
      expandSequence(m);
      ++index;
    } else {
      ZLOG(LogStream::PROBLEM) << "Invalid descriptor: " << m << std::endl;
      _descriptors.setLength(0);
      valid = false;
      break;
    }
  }
  --_sequenceDepth;
  if (!valid) return false;
  if (_replPending) {
    if (!_factorSeen) {
      _factorSeen = true;
    } else {
      _replDescList.append(group);
      _replPending = false;
      _factorSeen = false;
    }
  }
  return true;
}

void BufrDecoder::expandFixedReplication(int x, int y, int& index,
                                         SeqOf<int>& list) {
  const SeqOf<int>& members = list;
  for (int repetition = 0; repetition < y; ++repetition) {
    SeqOf<int> group;
    int cursor = index + 1;
    for (int k = 0; k < x && cursor < members.length(); ++k) {
      if (expansionTooLarge()) return;
      int dx, dy;
      int d = members[cursor];
      int f = splitDescriptor(d, dx, dy);
      if (f == 0) {
        element(d, group, list, cursor);
      } else if (f == 2) {
        _descriptors.append(d);
        ++cursor;
      } else if (f == 3) {
        expandSequence(d);
        ++cursor;
      } else if (f == 1) {
        ZLOG(LogStream::DEBUG) << "Nested replication - not expected"
                               << std::endl;
      } else {
        ZLOG(LogStream::PROBLEM)
            << "Unexpected replicated descriptor code for f = " << f << ": "
            << d << std::endl;
        _descriptors.setLength(0);
        return;
      }
    }
  }
}

void BufrDecoder::expandNestedReplication(int x, int y, SeqOf<int>& group,
                                          int index, SeqOf<int>& list) {
  const SeqOf<int>& members = list;
  for (int repetition = 0; repetition < y; ++repetition) {
    int base = index + 1;
    int n = 0;
    while (n < x && base + n < members.length()) {
      int x2, y2;
      int d = members[base + n];
      int f = splitDescriptor(d, x2, y2);
      if (f == 1 && y2 == 0) {
        // The delayed replication, its factor and its x2 members are
        // x2 + 2 of the x descriptors of the fixed one.
        if (base + n + 1 < members.length()) group.append(members[base + n + 1]);
        SeqOf<int> nested;
        for (int j = 0; j < x2 && base + n + 2 + j < members.length(); ++j) {
          int m = members[base + n + 2 + j];
          int mx, my;
          int mf = splitDescriptor(m, mx, my);
          if (mf == 0 || mf == 2) {
            nested.append(m);
          } else if (mf == 3 && !lookupSequence(m, nested)) {
            ZLOG(LogStream::PROBLEM) << "Not in the Table D = " << m
                                     << std::endl;
          }
        }
        _nestedRepList.append(nested);
        n += x2 + 2;
      } else if (f == 1) {
        ZLOG(LogStream::DEBUG) << "Need to implement for this" << std::endl;
        base += x2;
        ++n;
      } else if (f == 3) {
        if (!lookupSequence(d, group)) {
          ZLOG(LogStream::PROBLEM) << "Invalid sequence des = " << d
                                   << std::endl;
          BufrEngineState::get().fatalTableMiss(1);
        }
        ++n;
      } else {
        group.append(d);  // elements and operators alike
        ++n;
      }
    }
  }
}

void BufrDecoder::printDescriptorLists() {
  if (logGate(logStream(), LogStream::DEBUG, __FILE__, __LINE__)) return;
  const SeqOf<int>& flat = _descriptors;
  logStream() << "Output of element descriptors...." << std::endl;
  for (int i = 0; i < flat.length(); ++i)
    logStream() << "_descriptors[" << i << "]= " << flat[i] << std::endl;
  const SeqOf<SeqOf<int>>& groups = _replDescList;
  if (groups.length() > 0)
    logStream() << "Output of replicated descriptors...." << std::endl;
  for (int g = 0; g < groups.length(); ++g) {
    if (g > 0) logStream() << "--- next sequence ---" << std::endl;
    for (int k = 0; k < groups[g].length(); ++k)
      logStream() << "_replDescList[" << g << "][" << k << "]= " << groups[g][k]
                  << std::endl;
  }
  const SeqOf<SeqOf<int>>& nested = _nestedRepList;
  for (int g = 0; g < nested.length(); ++g) {
    logStream() << "--- next sequence ---" << std::endl;
    for (int k = 0; k < nested[g].length(); ++k)
      logStream() << "_nestedRepList[" << g << "][" << k << "]= "
                  << nested[g][k] << std::endl;
  }
  logEnd(logStream());
}
