#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "BufrTestSupport.h"

namespace {

const char kStation[] = "1001=72 1002=403 1015='STERLING' 12001=273.1";

class BufrReaderTest : public BufrTest {
 protected:
  // One subset of a station: block, number, name and temperature.
  BufrMessage station() {
    BufrMessage m;
    m.descriptors = {1001, 1002, 1015, 12001};
    BitWriter w;
    w.put(72, 7);
    w.put(403, 10);
    w.putText("STERLING VA", 20);
    w.put(2731, 12);
    m.data = w.bytes();
    m.dataPadding = 64;
    return m;
  }
};

TEST_F(BufrReaderTest, BitReaderAcrossOctets) {
  BufrDecoderTestPeer peer(*decoder);
  std::vector<uint8_t> data = {0xA5, 0x3C, 0xF0, 0x00};
  peer.attach(data);
  peer.moveBits(3);
  EXPECT_EQ(0x29u, peer.peekBits(8));  // 00101 001
  EXPECT_EQ(3, peer.bitPos());
  EXPECT_EQ(0, peer.octet());
  peer.moveBits(13);  // to octet 2: 1111 0000
  EXPECT_EQ(15u, peer.peekBits(4));
  EXPECT_EQ(-1, peer.readSignedBits(4));
  EXPECT_EQ(0xF00u, peer.peekBits(12));
  EXPECT_EQ(-1, peer.takeBits(4));
  EXPECT_EQ(2, peer.octet());
  EXPECT_EQ(4, peer.bitPos());
  EXPECT_EQ(0, peer.readSignedBits(4));
  EXPECT_FALSE(peer.overrun());
  // Nothing is read past the end: the reader answers zero and says so.
  EXPECT_EQ(0u, peer.peekBits(17));
  EXPECT_TRUE(peer.overrun());
  peer.detach();

  BitWriter w;
  w.put(0, 3);
  w.putText("ABCDEFGH", 8);
  w.put(0, 5);
  std::vector<uint8_t> text = w.bytes();
  peer.attach(text);
  peer.moveBits(3);
  EXPECT_STREQ("ABCDEFGH", peer.getCharacters(8).chars());
  EXPECT_EQ(3, peer.bitPos());  // reading characters doesn't move
  EXPECT_TRUE(peer.getCharacters(9).isEmpty());
  EXPECT_TRUE(peer.overrun());
  peer.detach();
}

TEST_F(BufrReaderTest, SectionOneAndOnlyTheFirstMessage) {
  ASSERT_TRUE(decode(station()));
  EXPECT_EQ(2, decoder->dataCategory());
  EXPECT_EQ(1, decoder->subsets());
  EXPECT_FALSE(decoder->compressed());
  EXPECT_EQ(AbsTime(2004, 2, 29, 12, 30, 0), decoder->obTime());
  BufrMessage m = station();
  m.year = 100;
  ASSERT_TRUE(decode(m));
  EXPECT_EQ(2000, decoder->obTime().year());
  m.year = 99;
  m.day = 28;  // 1999 had no 29 February
  m.category = 4;
  ASSERT_TRUE(decode(m));
  EXPECT_EQ(1999, decoder->obTime().year());
  EXPECT_EQ(4, decoder->dataCategory());

  std::vector<uint8_t> bytes = station().build();
  BufrMessage second = station();
  second.data[0] = 0x20;  // another block number
  std::vector<uint8_t> more = second.build();
  bytes.insert(bytes.end(), more.begin(), more.end());
  ASSERT_TRUE(decodeBytes(bytes));
  EXPECT_EQ(kStation, values());
}

// Changes to the frame of a good message: whether it still decodes, to the
// same values, and the lines of its log.
TEST_F(BufrReaderTest, FramingOfTheSections) {
  BufrMessage good = station();
  // Section 4 is followed by "7777" and the one spare octet of the buffer.
  int remaining = 4 + int(good.data.size()) + good.dataPadding;
  remaining += remaining % 2 + 5;
  const std::string tooLong = std::to_string(remaining - 3);
  const struct {
    const char* name;
    std::function<void(BufrMessage&)> change;
    bool decodes;
    std::vector<std::string> lines;
  } cases[] = {
      {"as made", [](BufrMessage&) {}, true,
       {"EVENT: Message is in standard format.  Subsets: 1\n",
        "EVENT: Section 5 consists of the end-of-message sentinel \"7777\" "
        "as expected.\n"}},
      {"no heading", [](BufrMessage& m) { m.heading = ""; }, true, {}},
      {"heading of 119 octets",
       [](BufrMessage& m) { m.heading = std::string(119, 'x'); }, true, {}},
      {"heading of 120 octets",
       [](BufrMessage& m) { m.heading = std::string(120, 'x'); }, false,
       {"PROBLEM: Failed to decode Section 0\n"}},
      // Section 2 is skipped by its length, whatever it holds.
      {"section 2",
       [](BufrMessage& m) {
         m.section2 = true;
         m.section2Content = std::vector<uint8_t>(37, 0xFF);
       },
       true, {}},
      {"wrong end", [](BufrMessage& m) { m.end = "7778"; }, true,
       {"EVENT: Section 5 does not consist of the expected end-of-message "
        "sentinel \"7777\".\n"}},
      // The last four octets aren't "7777": no matter.
      {"section 4 over the end",
       [&](BufrMessage& m) { m.section4Length = remaining - 4; }, true, {}},
      {"section 4 into the spare octet",
       [&](BufrMessage& m) { m.section4Length = remaining - 3; }, false,
       {"PROBLEM: Section 4 length of " + tooLong +
            " bytes > remaining msg length of " + std::to_string(remaining) +
            " bytes\n",
        "PROBLEM: Failed to decode Section 4\n"}},
      {"section 1 too long",
       [](BufrMessage& m) { m.section1Length = 0xFFFFFF; }, false, {}},
      {"section 3 too long",
       [](BufrMessage& m) { m.section3Length = 5000; }, false, {}},
      {"no descriptors", [](BufrMessage& m) { m.descriptors = {}; }, false,
       {"PROBLEM: Unable to expand descriptors.\n",
        "PROBLEM: Failed to decode Section 3\n"}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    BufrMessage m = station();
    c.change(m);
    StderrCapture err;
    EXPECT_EQ(c.decodes, decode(m));
    std::string log = err.text();
    for (const std::string& line : c.lines)
      EXPECT_NE(std::string::npos, log.find(line)) << line;
    if (c.decodes) {
      EXPECT_EQ(kStation, values());
    }
  }
}

// Whatever the bytes, the reader stays inside its buffers and answers.
TEST_F(BufrReaderTest, TruncatedAndCorruptMessagesFailCleanly) {
  StderrCapture err;
  std::vector<uint8_t> whole = station().build();
  for (size_t n = 0; n < whole.size(); ++n) {
    std::vector<uint8_t> part(whole.begin(), whole.begin() + n);
    // Told the true size of a cut file, the reader finds no room for
    // Section 5 behind Section 4, or less.
    EXPECT_FALSE(decoder->decodeMessage(part.data(), part.size())) << n;
  }

  std::vector<uint8_t> garbage = {'B', 'U', 'F', 'R'};
  for (int i = 0; i < 200; ++i) garbage.push_back(uint8_t(i * 37 + 11));
  EXPECT_FALSE(decodeBytes(garbage));

  // A pseudo-random walk over single-octet damage of a good message.
  unsigned seed = 12345;
  for (int round = 0; round < 3000; ++round) {
    std::vector<uint8_t> damaged = whole;
    for (int k = 0; k < 3; ++k) {
      seed = seed * 1103515245u + 12345u;
      size_t at = (seed >> 8) % damaged.size();
      seed = seed * 1103515245u + 12345u;
      damaged[at] = uint8_t(seed >> 16);
    }
    decodeBytes(damaged);
  }
  // And the decoder is whole afterwards.
  EXPECT_TRUE(decode(station()));
}

}  // namespace
