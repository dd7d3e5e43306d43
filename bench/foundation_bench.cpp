// Measures the foundation containers against the standard library in one
// run: Dict lookups of int keys (the decoder does one for every value it
// decodes), TextString copies and SeqOf appends.
#include <chrono>
#include <cstdio>
#include <string>
#include <unordered_map>
#include <vector>

#include "Dict.h"
#include "SeqOf.h"
#include "TextString.h"

namespace {

using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

// Keys shaped like BUFR descriptors: a few thousand spread over 0..63999.
std::vector<int> descriptorKeys() {
  std::vector<int> keys;
  for (int x = 0; x < 64; ++x)
    for (int y = 0; y < 60; ++y) keys.push_back(x * 1000 + y * 3 + 1);
  return keys;
}

void report(const char* what, double ours, double theirs, long operations) {
  std::printf("%-34s %10.1f ns/op  std %8.1f ns/op  ratio %5.2f\n", what,
              ours * 1e9 / operations, theirs * 1e9 / operations,
              ours / theirs);
}

void benchDictLookups() {
  std::vector<int> keys = descriptorKeys();
  Dict<int, int> dict;
  std::unordered_map<int, int> map;
  for (int k : keys) {
    dict.insert(k, k / 7);
    map[k] = k / 7;
  }
  const int rounds = 2000;
  long hits = 0;
  Clock::time_point start = Clock::now();
  for (int r = 0; r < rounds; ++r)
    for (int k : keys) {
      int v;
      if (dict.lookup(k + (r & 1), &v)) hits += v;
    }
  double ours = secondsSince(start);
  start = Clock::now();
  for (int r = 0; r < rounds; ++r)
    for (int k : keys) {
      auto it = map.find(k + (r & 1));
      if (it != map.end()) hits += it->second;
    }
  double theirs = secondsSince(start);
  report("Dict<int,int> lookup", ours, theirs, long(rounds) * keys.size());
  std::printf("  (checksum %ld)\n", hits);
}

void benchTextCopies() {
  const long count = 20000000;
  TextString text("TEMPERATURE/DRY-BULB TEMPERATURE");
  std::string str("TEMPERATURE/DRY-BULB TEMPERATURE");
  long total = 0;
  Clock::time_point start = Clock::now();
  for (long i = 0; i < count; ++i) {
    TextString copy(text);
    total += copy.length();
  }
  double ours = secondsSince(start);
  start = Clock::now();
  for (long i = 0; i < count; ++i) {
    std::string copy(str);
    total += copy.size();
  }
  double theirs = secondsSince(start);
  report("TextString copy (32 chars)", ours, theirs, count);
  std::printf("  (checksum %ld)\n", total);
}

void benchSeqAppends() {
  const int rounds = 2000, perRound = 10000;
  long total = 0;
  Clock::time_point start = Clock::now();
  for (int r = 0; r < rounds; ++r) {
    SeqOf<int> seq;
    for (int i = 0; i < perRound; ++i) seq.append(i);
    total += seq.length();
  }
  double ours = secondsSince(start);
  start = Clock::now();
  for (int r = 0; r < rounds; ++r) {
    std::vector<int> vec;
    for (int i = 0; i < perRound; ++i) vec.push_back(i);
    total += vec.size();
  }
  double theirs = secondsSince(start);
  report("SeqOf<int> append", ours, theirs, long(rounds) * perRound);
  std::printf("  (checksum %ld)\n", total);
}

}  // namespace

int main() {
  benchDictLookups();
  benchTextCopies();
  benchSeqAppends();
  return 0;
}
