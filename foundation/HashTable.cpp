#include "HashTable.h"

bool isHashPrime(unsigned n) {
  if (n % 2 == 0 && n > 2) return false;
  if (n < 9) return true;
  for (unsigned d = 3; d * d <= n; d += 2)
    if (n % d == 0) return false;
  return true;
}

unsigned hashBucketCount(unsigned wanted) {
  unsigned n = (wanted & ~1u) + 3;
  while (!isHashPrime(n)) n += 2;
  return n;
}
