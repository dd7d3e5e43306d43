#ifndef ZEPH_BUFR_BUFRVALUES_H_
#define ZEPH_BUFR_BUFRVALUES_H_

#include "TextString.h"

// One decoded value of a BUFR message. The value field doubles as a flag:
// kMissing when all bits were 1 (or the width was 0), kCharacter when the
// element is text (see `text`), kNotInTableB when the descriptor is unknown.
class BufrValues {
 public:
  static constexpr float kMissing = -99999.0f;
  static constexpr float kCharacter = -99999.9f;
  static constexpr float kNotInTableB = 99999.0f;

  BufrValues() : _subset(0), _descriptor(0), _value(0), _repetition(0) {}
  BufrValues(int subset, int descriptor, float value, int repetition,
             const TextString& text)
      : _subset(subset),
        _descriptor(descriptor),
        _value(value),
        _repetition(repetition),
        _text(text) {}

  int subset() const { return _subset; }
  int descriptor() const { return _descriptor; }
  float value() const { return _value; }
  int repetition() const { return _repetition; }
  TextString text() const { return _text; }
  bool hasText() const { return !_text.isEmpty(); }

  bool setSubset(int subset) {
    _subset = subset;
    return true;
  }
  bool setDescriptor(int descriptor) {
    _descriptor = descriptor;
    return true;
  }
  bool setValue(float value) {
    _value = value;
    return true;
  }
  bool setRepetition(int repetition) {
    _repetition = repetition;
    return true;
  }
  bool setText(const TextString& text) {
    _text = text;
    return true;
  }

  bool operator==(const BufrValues& o) const {
    return _subset == o._subset && _descriptor == o._descriptor &&
           _value == o._value && _repetition == o._repetition &&
           _text == o._text;
  }

 private:
  int _subset;
  int _descriptor;
  float _value;
  int _repetition;
  TextString _text;
};

#endif  // ZEPH_BUFR_BUFRVALUES_H_
