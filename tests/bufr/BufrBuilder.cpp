#include "BufrBuilder.h"

void BitWriter::put(uint64_t value, int bits) {
  for (int i = bits - 1; i >= 0; --i) {
    if (_bits % 8 == 0) _bytes.push_back(0);
    if ((value >> i) & 1) _bytes.back() |= uint8_t(0x80 >> (_bits % 8));
    ++_bits;
  }
}

void BitWriter::putOnes(int bits) {
  for (int i = 0; i < bits; ++i) put(1, 1);
}

void BitWriter::putText(const std::string& text, int octets) {
  for (int i = 0; i < octets; ++i)
    put(i < static_cast<int>(text.size()) ? uint8_t(text[i]) : ' ', 8);
}

void BitWriter::putDescriptor(int descriptor) {
  put(descriptor / 100000, 2);
  put((descriptor / 1000) % 100, 6);
  put(descriptor % 1000, 8);
}

namespace {

void putLength(std::vector<uint8_t>& out, size_t at, long length) {
  out[at] = uint8_t(length >> 16);
  out[at + 1] = uint8_t(length >> 8);
  out[at + 2] = uint8_t(length);
}

// Appends a section whose first three octets are its length.
void appendSection(std::vector<uint8_t>& out, std::vector<uint8_t> body,
                   int overrideLength) {
  putLength(body, 0, overrideLength >= 0 ? overrideLength : long(body.size()));
  out.insert(out.end(), body.begin(), body.end());
}

}  // namespace

std::vector<uint8_t> BufrMessage::build() const {
  std::vector<uint8_t> out(heading.begin(), heading.end());
  size_t start = out.size();
  const char* indicator = "BUFR";
  out.insert(out.end(), indicator, indicator + 4);
  out.insert(out.end(), {0, 0, 0, 3});

  std::vector<uint8_t> s1 = {0,        0, 0, 0, 0, 7, 0,
                             uint8_t(section2 ? 0x80 : 0), uint8_t(category),
                             0,        13, 0, uint8_t(year), uint8_t(month),
                             uint8_t(day), uint8_t(hour), uint8_t(minute), 0};
  appendSection(out, s1, section1Length);
  if (section2) {
    std::vector<uint8_t> s2 = {0, 0, 0, 0};
    s2.insert(s2.end(), section2Content.begin(), section2Content.end());
    appendSection(out, s2, -1);
  }
  std::vector<uint8_t> s3 = {0, 0, 0, 0, uint8_t(subsets >> 8),
                             uint8_t(subsets),
                             uint8_t(0x80 | (compressed ? 0x40 : 0))};
  BitWriter list;
  for (int d : descriptors) list.putDescriptor(d);
  s3.insert(s3.end(), list.bytes().begin(), list.bytes().end());
  if (!oddSection3) s3.push_back(0);
  appendSection(out, s3, section3Length);

  std::vector<uint8_t> s4 = {0, 0, 0, 0};
  s4.insert(s4.end(), data.begin(), data.end());
  s4.insert(s4.end(), dataPadding, 0);
  if (s4.size() % 2) s4.push_back(0);
  appendSection(out, s4, section4Length);
  out.insert(out.end(), end.begin(), end.end());
  putLength(out, start + 4, long(out.size() - start));
  return out;
}
