// The wire forms against bytes worked out by hand, and each read back.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "ArgPkg.h"
#include "DataTimeWire.h"
#include "IPC_Target.h"
#include "IpcTestSupport.h"
#include "Marshalling.h"
#include "TestSupport.h"

namespace {

const AbsTime kNoon(2008, 6, 5, 12, 0, 0);  // 0x4847d540
const unsigned long kLoopback = 0x7f000001;

template <class T>
std::string wire(const T& value) {
  std::vector<char> buffer(length(value) + 1, 'X');
  char* end = serialize(value, buffer.data());
  EXPECT_EQ(buffer.data() + length(value), end);
  EXPECT_EQ('X', buffer.back()) << "wrote past its length";
  return hexOf(buffer.data(), length(value));
}

// Reads `hex` back and writes it again: the bytes must come out the same,
// all of them consumed.
template <class T>
std::string rewired(const std::string& hex, T* read = nullptr) {
  std::vector<char> bytes = bytesOf(hex);
  T value{};
  char* end = quantize(value, bytes.data(), bytes.data() + bytes.size());
  EXPECT_EQ(bytes.data() + bytes.size(), end);
  if (read) *read = value;
  return wire(value);
}

struct WireCase {
  const char* name;
  std::string written;
  std::string expected;
  std::function<std::string(const std::string&)> rewrite;
};

template <class T>
WireCase wireCase(const char* name, const T& value, const char* hex) {
  return {name, wire(value), unspaced(hex),
          [](const std::string& h) { return rewired<T>(h); }};
}

// A time of kNoon with the parts asked for; 0 leaves a part out.
DataTime noon(long forecast, bool period, long alternate = 0, int key = 0,
              int flags = 0) {
  DataTime t(kNoon);
  if (period) t.setValidPeriod(kNoon, kNoon + 21600, true);
  if (forecast) t.setForecast(forecast);
  if (alternate) t.setAlternateRef(kNoon - alternate);
  if (key) t.setKey(key);
  if (flags) t.setFlags(flags);
  return t;
}

TEST(WireFormTest, EachTypeAsTheTableWritesIt) {
  const unsigned char threeBytes[] = {1, 2, 255};
  const std::vector<WireCase> cases = {
      wireCase("int", -2, "fffffffe"),
      wireCase("char", 'A', "00000041"),
      wireCase("unsigned char", static_cast<unsigned char>(200), "000000c8"),
      wireCase("short", static_cast<short>(-2), "fffffffe"),
      wireCase("unsigned short", static_cast<unsigned short>(65535),
               "0000ffff"),
      wireCase("unsigned int", 0x01020304u, "01020304"),
      wireCase("long", -5L, "fffffffb"),
      wireCase("unsigned long", 4000000000ul, "ee6b2800"),
      wireCase("float", 1.5f, "3fc00000"),
      wireCase("double", -2.0, "c0000000 00000000"),
      wireCase("bool", true, "00000001"),
      wireCase("text abc", TextString("abc"), "00000003 00000003 61626300"),
      wireCase("empty text", TextString(), "00000000 00000000"),
      wireCase("text of four", TextString("abcd"),
               "00000004 00000004 61626364"),
      wireCase("SeqOf<char>", SeqOf<char>(3, "xyz"),
               "00000003 00000003 78797a00"),
      wireCase("SeqOf<unsigned char>", SeqOf<unsigned char>(3, threeBytes),
               "00000003 00000001 00000002 000000ff"),
      wireCase("AbsTime", kNoon, "4847d540"),
      wireCase("empty TimeRange", TimeRange(), "00000000 00000000 00000000"),
      wireCase("TimeRange", TimeRange(kNoon + 3600, kNoon),
               "00000001 4847d540 4847e350"),
      wireCase("DataTime 768", DataTime(kNoon), "00000300 4847d540"),
      wireCase("DataTime 1792", DataTime(kNoon, 3600),
               "00000700 4847d540 00000e10"),
      wireCase("DataTime valid period", noon(0, true),
               "00000800 4847d540 00000001 4847d540 484829a0"),
      wireCase("DataTime key", noon(3600, false, 0, 7),
               "00001700 4847d540 00000e10 00000007"),
      wireCase("DataTime alternate", noon(3600, false, 600),
               "00002500 4847d540 00000e10 4847d2e8"),
      wireCase("DataTime all parts", noon(3600, true, 600, 9),
               "00003c00 4847d540 00000e10 00000001 4847d540 484829a0 "
               "4847d2e8 00000009"),
      wireCase("DataTime low flags end it", noon(0, false, 0, 0, 0x306),
               "00000306 4847d540"),
      wireCase(
          "anonymous target", IPC_Target::anonymous(kLoopback, 5000, 4242),
          "00000002 00000002 7f000001 00001388 00001092 00000000 00000000"),
      wireCase("named target", IPC_Target::named("NS", kLoopback, 7000),
               "00000001 00000002 7f000001 00001b58 00000000 "
               "00000002 00000002 4e530000"),
  };
  for (const WireCase& c : cases) {
    EXPECT_EQ(c.expected, c.written) << c.name;
    EXPECT_EQ(c.expected, c.rewrite(c.expected)) << c.name;
  }
}

TEST(WireFormTest, ReadingMakesTheValuesBack) {
  EXPECT_TRUE(rewired<bool>("0000ff00") == "00000001");  // any word is true
  short cut = 0;
  rewired<short>("00012345", &cut);  // the word read is cut to 16 bits
  EXPECT_EQ(0x2345, cut);
  // A text's first length is only a limit: within it, the second rules.
  EXPECT_EQ(unspaced("00000003 00000003 61626300"),
            rewired<TextString>("00000002 00000003 61626300"));
  TimeRange range;
  rewired<TimeRange>("00000000 4847d540 4847e350", &range);
  EXPECT_TRUE(range.isEmpty());  // without a duration, whatever the times
  // A time's valid period comes back from the fields that travelled.
  for (const DataTime& sent :
       {DataTime(kNoon), DataTime(kNoon, 3600), noon(3600, true, 600, 9),
        noon(3600, false, 0, 7)}) {
    DataTime got;
    rewired<DataTime>(wire(sent), &got);
    EXPECT_EQ(sent.valid(), got.valid()) << sent.text();
    EXPECT_EQ(sent.alternateRef(), got.alternateRef()) << sent.text();
    EXPECT_EQ(sent.key(), got.key()) << sent.text();
    EXPECT_EQ(sent.flags(), got.flags()) << sent.text();
  }
}

// Each package form written and read back by its own quantize.
template <class Pkg>
std::string packageBytes(const Pkg& pkg) {
  std::vector<char> buffer(pkg.length());
  EXPECT_EQ(buffer.data() + buffer.size(), pkg.serialize(buffer.data()));
  return hexOf(buffer.data(), buffer.size());
}

template <class Pkg>
void expectPackageRoundTrip(const Pkg& sent, const char* name) {
  std::vector<char> bytes = bytesOf(packageBytes(sent));
  Pkg got;
  EXPECT_EQ(bytes.data() + bytes.size(),
            got.quantize(bytes.data(), bytes.data() + bytes.size()))
      << name;
  EXPECT_EQ(packageBytes(sent), packageBytes(got)) << name;
}

TEST(WireFormTest, EveryPackageFormRoundTrips) {
  const unsigned char bytes[] = {9, 8, 7, 6, 5};
  SeqOf<unsigned char> product(5, bytes);
  expectPackageRoundTrip(ArgPkg0(), "ArgPkg0");
  expectPackageRoundTrip(ArgPkg1<TextString>("ACARS.*"), "pattern");
  expectPackageRoundTrip(ArgPkg1<AbsTime>(kNoon), "time");
  expectPackageRoundTrip(ArgPkg2<unsigned long, int>(3, 4242), "child");
  expectPackageRoundTrip(
      ArgPkg2<long, SeqOf<char>>(-1, SeqOf<char>(5, "a b c")), "product");
  expectPackageRoundTrip(
      ArgPkg2<unsigned long, DataTime>(1001, DataTime(kNoon, 3600)), "notify");
  expectPackageRoundTrip(
      ArgPkg3<long, long, SeqOf<unsigned char>>(1, -2, product), "comms3");
  expectPackageRoundTrip(ArgPkg4<TextString, long, long, SeqOf<unsigned char>>(
                             "route", 3, 4, product),
                         "comms4");
}

}  // namespace
