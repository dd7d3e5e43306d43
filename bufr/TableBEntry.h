#ifndef ZEPH_BUFR_TABLEBENTRY_H_
#define ZEPH_BUFR_TABLEBENTRY_H_

#include "TextString.h"

// What Table B says of one element descriptor. The description is the key
// by which netCDF templates name the element.
class TableBEntry {
 public:
  TableBEntry() : _descriptor(0), _exponent(0), _increment(0), _bits(0) {}

  int descriptor() const { return _descriptor; }
  TextString description() const { return _description; }
  TextString units() const { return _units; }
  // A value is divided by 10 to this power.
  int exponent() const { return _exponent; }
  // The reference value, added before scaling.
  int increment() const { return _increment; }
  int bits() const { return _bits; }

  bool setDescriptor(int d) {
    _descriptor = d;
    return true;
  }
  bool setDescription(const TextString& t) {
    _description = t;
    return true;
  }
  bool setUnits(const TextString& t) {
    _units = t;
    return true;
  }
  bool setExponent(int e) {
    _exponent = e;
    return true;
  }
  bool setIncrement(int i) {
    _increment = i;
    return true;
  }
  bool setBits(int b) {
    _bits = b;
    return true;
  }

 private:
  int _descriptor;
  TextString _description;
  TextString _units;
  int _exponent;
  int _increment;
  int _bits;
};

#endif  // ZEPH_BUFR_TABLEBENTRY_H_
