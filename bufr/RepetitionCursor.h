#ifndef ZEPH_BUFR_REPETITIONCURSOR_H_
#define ZEPH_BUFR_REPETITIONCURSOR_H_

#include "SeqOf.h"

// Hands out the repetition index of each member of the delayed groups that
// were unrolled into the working list, in the order the list is read.
// Operators in a group take a place too, but give no value.
class RepetitionCursor {
 public:
  RepetitionCursor() : _pos(0), _active(false) {}

  SeqOf<int>& sequence() { return _sequence; }
  void restartSubset() { _pos = 0; }
  void begin() { _active = true; }

  // 0 outside a repetition; ends the repetition at the end of the list.
  int next() {
    if (!_active) return 0;
    if (_pos >= _sequence.length()) {
      end();
      return 0;
    }
    int repetition = static_cast<const SeqOf<int>&>(_sequence)[_pos++];
    if (_pos >= _sequence.length()) end();
    return repetition;
  }
  void skip() {
    if (!_active) return;
    if (++_pos >= _sequence.length()) end();
  }

 private:
  void end() {
    _active = false;
    _pos = 0;
  }

  SeqOf<int> _sequence;
  int _pos;
  bool _active;
};

#endif  // ZEPH_BUFR_REPETITIONCURSOR_H_
