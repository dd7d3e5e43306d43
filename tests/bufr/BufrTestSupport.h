#ifndef ZEPH_TESTS_BUFR_BUFRTESTSUPPORT_H_
#define ZEPH_TESTS_BUFR_BUFRTESTSUPPORT_H_

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "BufrBuilder.h"
#include "BufrDecoder.h"
#include "PlainBufrDecoder.h"
#include "TestSupport.h"

using TestDecoder = PlainBufrDecoder;

// Reaches the bit reader and the engine's state of a decoder.
class BufrDecoderTestPeer {
 public:
  explicit BufrDecoderTestPeer(BufrDecoder& d) : _d(d) {}
  void attach(std::vector<uint8_t>& data) {
    _d._dataBuffer = data.data();
    _d._dataLength = data.size();
    _d._readPtr = data.data();
    _d._bitPos = 0;
    _d._overrun = false;
  }
  void detach() {
    _d._dataBuffer = nullptr;
    _d._dataLength = 0;
  }
  unsigned peekBits(int n) { return _d.peekBits(n); }
  int readSignedBits(int n) { return _d.readSignedBits(n); }
  int takeBits(int n) { return _d.takeBits(n); }
  TextString getCharacters(int n) { return _d.getCharacters(n); }
  void moveBits(int n) { _d.moveBits(n); }
  int bitPos() const { return _d._bitPos; }
  long octet() const { return _d._readPtr - _d._dataBuffer; }
  bool overrun() const { return _d._overrun; }
  int readDescriptor(const unsigned char* octets) {
    _d._descPtr = octets;
    return _d.readDescriptor();
  }

 private:
  BufrDecoder& _d;
};

// A fresh set of small tables under a temporary ZEPH_HOME, the operators'
// saved state and the compressed reader cleared, and a decoder.
class BufrTest : public ::testing::Test {
 protected:
  static const char* const kTableB;
  static const char* const kTableD;

  void SetUp() override;
  void TearDown() override;
  // Writes the three files (null: leave the file out) and loads them.
  bool loadTables(const char* tableB, const char* tableD,
                  const char* replication = "31001|\n");
  bool decode(const BufrMessage& message);
  bool decodeBytes(const std::vector<uint8_t>& bytes);
  // "descriptor=value" or "descriptor='text'" per value, with "/r" for a
  // repetition other than 0 and "sN:" in front of a subset other than 0.
  std::string values() const;
  std::vector<int> descriptors() const;
  std::vector<std::vector<int>> groups() const;

  TempDir home;
  std::unique_ptr<TestDecoder> decoder;
};

#endif  // ZEPH_TESTS_BUFR_BUFRTESTSUPPORT_H_
