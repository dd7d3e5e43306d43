#ifndef ZEPH_TESTS_BUFR_BUFRBUILDER_H_
#define ZEPH_TESTS_BUFR_BUFRBUILDER_H_

#include <cstdint>
#include <string>
#include <vector>

// Packs values most significant bit first, as Section 4 holds them.
class BitWriter {
 public:
  void put(uint64_t value, int bits);
  void putOnes(int bits);
  void putText(const std::string& text, int octets);
  void putDescriptor(int descriptor);
  const std::vector<uint8_t>& bytes() const { return _bytes; }
  long bitCount() const { return _bits; }

 private:
  std::vector<uint8_t> _bytes;
  long _bits = 0;
};

// An edition 3 message as the tests need it, down to the odd cases that no
// encoder would write: wrong lengths, a missing end, operators of any kind.
struct BufrMessage {
  std::string heading = "IUSN45 KWBC 221200\r\r\n";
  int category = 2;
  int year = 4, month = 2, day = 29, hour = 12, minute = 30;
  bool section2 = false;
  std::vector<uint8_t> section2Content = {1, 2, 3, 4};
  int subsets = 1;
  bool compressed = false;
  std::vector<int> descriptors;
  std::vector<uint8_t> data;  // Section 4 behind its four octets
  std::string end = "7777";
  // Extra octets of Section 4, beyond the data, e.g. to pass the short
  // data limit.
  int dataPadding = 0;
  // Overrides of the section lengths written into the message; -1 keeps
  // the true length.
  int section1Length = -1, section3Length = -1, section4Length = -1;
  // Section 3 holds an odd number of octets (no pad octet).
  bool oddSection3 = false;

  std::vector<uint8_t> build() const;
};

#endif  // ZEPH_TESTS_BUFR_BUFRBUILDER_H_
