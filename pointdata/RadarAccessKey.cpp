// The radar keys of the data access table, learnt once for the process:
// the pattern of the keys of one radar of each kind in use (an 88D and a
// TDWR), and the national key set.

#include "RadarAccessKey.h"

#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>

#include "DM_DataAccessInfo.h"
#include "DM_RadarInfo.h"
#include "Dict.h"
#include "LogStream.h"
#include "StopWatch.h"
#include "TextBuffer.h"

namespace {

const char* const kNationalRadar = "knat";
const int kTiltEntries = 910;  // tenths of a degree from -0.9 to 90
const int kTiltOffset = 9;
const int kMinTiltLines = 10;

struct RadarKeys {
  bool made = false;
  Dict<RadarAccessKey, unsigned long> dict;
  bool haveTilts = false;
  float tilts[kTiltEntries];
};

std::unique_ptr<RadarKeys>& keysHolder() {
  static std::unique_ptr<RadarKeys> keys;
  if (!keys) keys.reset(new RadarKeys);
  return keys;
}

long roundHalfAway(double x) { return static_cast<long>(x < 0 ? x - 0.5 : x + 0.5); }

// A float's part of a hash: equal values give equal parts, and a value no
// long holds (from a table or a caller, not a tilt) gives 0.
unsigned long hashPart(double x) {
  const double kLimit = 1e15;
  if (!(x > -kLimit && x < kLimit)) return 0;
  return static_cast<unsigned long>(roundHalfAway(x));
}

bool inTiltRange(float tilt) { return tilt >= -0.9f && tilt <= 90.0f; }

void makeTiltTable(RadarKeys& k) {
  TextBuffer lines("tiltAngleGroups.txt");
  k.haveTilts = lines.numLines() > kMinTiltLines;
  if (!k.haveTilts) return;
  for (int i = 0; i < kTiltEntries; ++i) k.tilts[i] = (i - kTiltOffset) * 0.1f;
  for (int l = 0; l < lines.numLines(); ++l) {
    float group, low, high;
    // Asked the way round that a number that isn't one fails too.
    if (sscanf(lines[l].chars(), "%f %f %f", &group, &low, &high) != 3 ||
        !(low >= -0.9f && high <= 90.0f && group >= low && group <= high))
      continue;
    long from = roundHalfAway(10.0 * low);
    for (long i = from; i < 10.0 * high + 0.5; ++i) {
      if (i + kTiltOffset < 0 || i + kTiltOffset >= kTiltEntries) continue;
      bool aroundZero = from <= 0 && 10.0 * high + 0.5 >= 0;
      k.tilts[i + kTiltOffset] = aroundZero ? 0.0f : group;
    }
  }
}

RadarAccessKey keyOf(const DM_DataAccessInfo& info, int radar) {
  RadarAccessKey key;
  key.productCode = info.dataKind();
  key.tilt = info.spanFloat();
  key.third = info.limit();
  key.fourth = info.flagsFloat();
  key.radar = radar;
  return key;
}

// The pattern of the keys of one radar: those of `site`, or with a site
// below 0, of the first radar met. The count of radar kinds rises when
// the run of keys ended at another radar's.
void generateForSite(RadarKeys& k, int national, int site, int& count) {
  ZLOG(LogStream::DEBUG) << "Generating data access keys for main site "
                         << site << std::endl;
  bool begun = false;
  int before = count;
  for (int i = 0; i < dataAccessKeyCount(); ++i) {
    unsigned long key = dataAccessKeyAt(i);
    if ((key & kRadarKeyBit) == 0) continue;
    int r = radarOfKey(key);
    if (r == national) break;
    if (begun && r != site) {
      ++count;
      break;
    }
    if (!begun && site < 0) site = r;
    if (!begun && r != site) continue;
    begun = true;
    DM_DataAccessInfo info(key);
    float tilt = info.spanFloat();
    if (k.haveTilts && inTiltRange(tilt) &&
        tilt != k.tilts[static_cast<int>(10 * tilt + 0.5f) + kTiltOffset])
      continue;
    k.dict.insert(keyOf(info, 0), key & kRadarKeyProductMask);
  }
  if (count > before) {
    ZLOG(LogStream::DEBUG) << "number of radar types = " << count << std::endl;
  }
  ZLOG(LogStream::DEBUG) << "Size of _dict = " << k.dict.length() << std::endl;
}

void generateNational(RadarKeys& k, int national) {
  bool begun = false;
  for (int i = dataAccessKeyCount() - 1; i >= 0; --i) {
    unsigned long key = dataAccessKeyAt(i);
    if ((key & kRadarKeyBit) == 0) continue;
    if (radarOfKey(key) != national) {
      if (begun) break;
      continue;
    }
    begun = true;
    k.dict.insert(keyOf(DM_DataAccessInfo(key), national), key);
  }
}


SeqOf<TextString> namesInUse(SeqOf<int>& statuses) {
  SeqOf<TextString> names;
  TextBuffer lines("radarsInUse.txt");
  for (int i = 0; i < lines.numLines(); ++i) {
    TextString line = lines[i];
    line.stripTrailingBlanks();
    if (line.isEmpty() || line.chars()[line.length() - 1] == 'z') continue;
    char name[64];
    int unused, status;
    if (sscanf(line.chars(), "%63s %d %d", name, &unused, &status) != 3 ||
        strcmp(name, kNationalRadar) == 0)
      continue;
    names.append(name);
    statuses.append(status);
  }
  return names;
}

// One walk over the radars in use: each kind's first radar has its keys
// generated, until two kinds are done. With `onlyKind` 0 or 1 the walk
// takes only radars of that kind (1 TDWR).
int walkRadars(RadarKeys& k, int national, const SeqOf<TextString>& names,
               const SeqOf<int>& statuses, bool dedicatedOnly, int onlyKind) {
  int count = 0;
  int firstKind = -1;
  for (int i = 0; i < names.length() && count < 2; ++i) {
    int status = statuses.at(i);
    if (dedicatedOnly && (status == 0 || status == 3)) continue;
    int kind = isTdwrRadar(names.at(i)) ? 1 : 0;
    if (onlyKind >= 0 && kind != onlyKind) continue;
    if (firstKind < 0) {
      firstKind = kind;
      ZLOG(LogStream::DEBUG) << "Radar type = " << kind << std::endl;
      ZLOG(LogStream::DEBUG) << "Radar name = " << names.at(i) << std::endl;
    } else if (kind == firstKind) {
      continue;
    }
    generateForSite(k, national, radarId(names.at(i)), count);
    if (onlyKind >= 0) break;
  }
  return count;
}

RadarKeys& learntKeys(int national) {
  RadarKeys& k = *keysHolder();
  if (k.made) return k;
  k.made = true;
  StopWatch watch;
  watch.start();
  makeTiltTable(k);
  SeqOf<int> statuses;
  SeqOf<TextString> names = namesInUse(statuses);
  int count = walkRadars(k, national, names, statuses, true, -1);
  if (count == 0) {
    ZLOG(LogStream::EVENT)
        << "No dedicated 88D and TDWR radars found, so generating keys from "
           "the first dedicated 88D and TDWR radars"
        << std::endl;
    walkRadars(k, national, names, statuses, false, -1);
  } else if (count == 1) {
    ZLOG(LogStream::EVENT)
        << "Found either a dedicated 88D or TDWR radar, so generating keys "
           "for the other radar type"
        << std::endl;
    // The kind that is done is that of the first dedicated radar.
    int done = 0;
    for (int i = 0; i < names.length(); ++i)
      if (statuses.at(i) != 0 && statuses.at(i) != 3) {
        done = isTdwrRadar(names.at(i)) ? 1 : 0;
        break;
      }
    walkRadars(k, national, names, statuses, false, 1 - done);
  }
  generateNational(k, national);
  watch.stop();
  if (watch.elapsed() > 1.0) {
    ZLOG(LogStream::DEBUG) << "DM_GetRadarAccessKeyHashKey initialization "
                           << "took approximately " << watch.elapsed()
                           << " seconds." << std::endl;
  }
  return k;
}

}  // namespace

unsigned long hashKey(const RadarAccessKey& key) {
  return static_cast<unsigned long>(key.productCode) * 131071UL +
         hashPart(key.tilt * 100.0) * 8191UL +
         static_cast<unsigned long>(key.third) * 127UL +
         hashPart(key.fourth) * 31UL +
         static_cast<unsigned long>(key.radar);
}

float groupedTilt(float tilt) {
  RadarKeys& k = *keysHolder();
  if (!k.made) makeTiltTable(k);
  if (!k.haveTilts || !inTiltRange(tilt)) return tilt;
  return k.tilts[roundHalfAway(10.0 * tilt) + kTiltOffset];
}

unsigned long DM_GetRadarAccessKeyHashKey(const TextString&, int messageCode,
                                          float tilt, int third, float fourth,
                                          const TextString& radarName) {
  int national = radarId(kNationalRadar);
  RadarKeys& k = learntKeys(national);
  RadarAccessKey key;
  key.productCode = productCodeEnumeration(messageCode);
  int id = radarId(radarName);
  unsigned long shift = 0;
  key.radar = 0;
  if (id == national)
    key.radar = id;
  else
    shift = static_cast<unsigned long>(id);
  key.tilt = groupedTilt(tilt);
  key.third = third;
  key.fourth = fourth;
  unsigned long value = 0;
  if (!k.dict.lookup(key, &value)) return 0;
  unsigned long result = ((shift * 65536UL) | value) & 0xFFFFFFFFUL;
  return DM_DataAccessInfo(result).isValid() ? result : 0;
}

void resetRadarKeysForTests() { keysHolder().reset(); }
