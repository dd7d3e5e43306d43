#ifndef ZEPH_BUFR_VALUECODING_H_
#define ZEPH_BUFR_VALUECODING_H_

// How the bits of a value become a number; shared by the standard and the
// compressed reader, which must agree to the last bit.
#include <cmath>
#include <cstdint>
#include <limits>

#include "TextString.h"

namespace value_coding {

inline bool isDelayedReplicator(int descriptor) {
  return descriptor == 31000 || descriptor == 31001 || descriptor == 31002;
}

// Formed in double precision and rounded once to single. A scale that an
// operator has pushed far enough gives what a float can't hold: infinity.
// `divisor` is 10 to the exponent, which a caller reading many values of
// one element computes once.
inline float scaledBy(int64_t raw, int reference, double divisor) {
  double value = static_cast<double>(raw + reference) / divisor;
  const double largest = std::numeric_limits<float>::max();
  if (value > largest) return std::numeric_limits<float>::infinity();
  if (value < -largest) return -std::numeric_limits<float>::infinity();
  return static_cast<float>(value);
}

inline float scaled(int64_t raw, int reference, int exponent) {
  return scaledBy(raw, reference, std::pow(10.0, exponent));
}

// A replication count is the value cut to an int; what lies beyond an int
// (a factor widened by an operator) is held at its edge, where the bounds
// on unrolling refuse it.
inline int countOf(float value) {
  if (!(value > -2147483520.0f)) return std::numeric_limits<int>::min();
  if (!(value < 2147483520.0f)) return std::numeric_limits<int>::max();
  return static_cast<int>(value);
}

inline bool allOnes(unsigned raw, int width) {
  unsigned mask = width >= 32 ? 0xFFFFFFFFu : (1u << width) - 1;
  return (raw & mask) == mask;
}

}  // namespace value_coding

#endif  // ZEPH_BUFR_VALUECODING_H_
