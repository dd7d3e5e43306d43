#ifndef ZEPH_POINTDATA_POINTINDEXREADER_H_
#define ZEPH_POINTDATA_POINTINDEXREADER_H_

#include <climits>
#include <new>

struct PointFileStructure;
struct PointNetcdfFileInfo;

// Reads of the index variables of a point file into the arrays of a file
// record. Each checks the variable's type and number of dimensions before
// it reads, and the library checks the extent: a file whose variables
// don't have the form that the index needs gives a failed read, never a
// write outside the caller's array. All answer false on any failure.
class PointIndexReader {
 public:
  static bool recordCount(int ncid, int recordDim, long& count);

  // `count` ints from `start` of an int variable of one dimension; a
  // single value may also come from a scalar.
  static bool readInts(int ncid, int varId, long start, long count, int* out);
  static bool readFloats(int ncid, int varId, long start, long count,
                         float* out);
  // Any numeric variable of one dimension, converted.
  static bool readDoubles(int ncid, int varId, long start, long count,
                          double* out);
  // `rows` rows of `rowLength` chars from row `start` of a char variable
  // of two dimensions; with `rows` -1, one row of a variable of one.
  static bool readChars(int ncid, int varId, long start, long rows,
                        long rowLength, char* out);
  // Whether a variable outside the records has room for `rows` rows of
  // `rowLength` (0: a variable of one dimension). A table is sized by the
  // structure, which an override may have set beyond the file's own
  // variables: it isn't made larger than what can be read into it.
  static bool holds(int ncid, int varId, long rows, long rowLength);

  // The tables of level 1. A file without records has none of its own,
  // whatever the template held: no ids, no bins set, no overflow.
  static bool readNStaticIds(int ncid, const PointFileStructure& s,
                             PointNetcdfFileInfo* info, long nRecords);
  static bool readGlobalInventory(int ncid, const PointFileStructure& s,
                                  PointNetcdfFileInfo* info, long nRecords);
  static bool readFirstOverflow(int ncid, const PointFileStructure& s,
                                PointNetcdfFileInfo* info, long nRecords);
};

// A new array of `count` zeroed elements, or null when it can't be had:
// the count comes from a file and isn't trusted to be sane.
template <class T>
T* newIndexArray(long count) {
  const long kMaxElements = 1L << 31;
  if (count < 1 || count > kMaxElements) return nullptr;
  return new (std::nothrow) T[count]();
}

// The elements of a table of `rows` rows of `width`, or -1 where the
// product doesn't fit: sizes from an override are any number.
inline long tableSize(long rows, long width) {
  if (rows < 0 || width < 0 || (width > 0 && rows > LONG_MAX / width))
    return -1;
  return rows * width;
}

#endif  // ZEPH_POINTDATA_POINTINDEXREADER_H_
