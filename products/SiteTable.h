#ifndef ZEPH_PRODUCTS_SITETABLE_H_
#define ZEPH_PRODUCTS_SITETABLE_H_

#include "SeqOf.h"
#include "TextString.h"

// A site of a ".spi" table (static plot information).
struct SiteRecord {
  int number = 0;
  float lat = 0;
  float lon = 0;
  float weight = 40000.0f;  // the floor test of the search
  int fifth = 0;            // read, not used
  char id[12] = {};
  char name[24] = {};
};

// The sites of one ".spi" file, found along the search paths. A line reads
// "number id lat lon fifth weight name"; the last three fields may be
// left out. Each file is read once and kept for the life of the process.
class SiteTable {
 public:
  // The table of `fileName`: never null; empty when the file can't be had.
  static const SiteTable* read(const TextString& fileName);
  // Forgets every table, so that the next read takes the files again.
  // For tests only: a process reads a table once.
  static void forgetAllForTests();

  int length() const { return _records.length(); }
  const SiteRecord& at(int index) const { return _records.at(index); }

  // The nearest site within `radius` kilometres whose weight isn't below
  // `floor`; null if none. At equal distance the later site wins.
  const SiteRecord* nearest(float lat, float lon, float radius,
                            float floor) const;

 private:
  bool parse(const TextString& line, const TextString& path);

  SeqOf<SiteRecord> _records;
};

#endif  // ZEPH_PRODUCTS_SITETABLE_H_
