#ifndef ZEPH_BUFR_COMPRESSEDCOLUMNS_H_
#define ZEPH_BUFR_COMPRESSEDCOLUMNS_H_

#include <vector>

#include "TextString.h"

// The values of a compressed message in the order the message holds them:
// element by element, each element a column of one value per subset, with
// texts only for character elements. A decoder keeps one from message to
// message, so that its arrays are allocated once and then reused; the
// caller bounds the number of values before it adds a column.
class CompressedColumns {
 public:
  void reset(int subsets) {
    _subsets = subsets;
    _descriptors.clear();
    _repetitions.clear();
    _textStart.clear();
    _values.clear();
    _texts.clear();
  }

  int count() const { return static_cast<int>(_descriptors.size()); }
  long valueCount() const { return static_cast<long>(_values.size()); }

  // Room for one more column; its values are written through the answer.
  float* add(int descriptor, int repetition, bool character) {
    _descriptors.push_back(descriptor);
    _repetitions.push_back(repetition);
    _textStart.push_back(character ? static_cast<long>(_texts.size()) : -1);
    if (character) _texts.resize(_texts.size() + _subsets);
    _values.resize(_values.size() + _subsets);
    return _values.data() + _values.size() - _subsets;
  }
  // The texts of the last column added, or null if it holds no texts.
  TextString* lastTexts() {
    long start = _textStart.back();
    return start < 0 ? nullptr : _texts.data() + start;
  }

  int descriptor(int column) const { return _descriptors[column]; }
  int repetition(int column) const { return _repetitions[column]; }
  bool hasTexts(int column) const { return _textStart[column] >= 0; }
  float value(int column, int subset) const {
    return _values[static_cast<long>(column) * _subsets + subset];
  }
  const TextString& text(int column, int subset) const {
    return _texts[_textStart[column] + subset];
  }

 private:
  int _subsets = 0;
  std::vector<int> _descriptors;
  std::vector<int> _repetitions;
  std::vector<long> _textStart;
  std::vector<float> _values;
  std::vector<TextString> _texts;
};

#endif  // ZEPH_BUFR_COMPRESSEDCOLUMNS_H_
