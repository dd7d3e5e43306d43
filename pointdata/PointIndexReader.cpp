#include "PointIndexReader.h"

#include <netcdf.h>

#include <cstring>
#include <memory>

#include "PointFileStructure.h"
#include "PointNetcdfFileInfo.h"

namespace {

bool variableForm(int ncid, int varId, nc_type& type, int& rank) {
  if (varId < 0) return false;
  return ncvarinq(ncid, varId, nullptr, &type, &rank, nullptr, nullptr) >= 0;
}

// The version 2 calls take as many start and count entries as the
// variable has dimensions, so the rank is checked against the caller's
// arrays of one entry before anything is read.
bool readRange(int ncid, int varId, nc_type wanted, long start, long count,
               void* out) {
  nc_type type;
  int rank;
  if (count < 1 || !variableForm(ncid, varId, type, rank) || type != wanted)
    return false;
  if (rank > 1 || (rank == 0 && (start != 0 || count != 1))) return false;
  long s[1] = {start};
  long c[1] = {count};
  return ncvarget(ncid, varId, s, c, out) >= 0;
}

template <class T>
bool convertRange(int ncid, int varId, nc_type type, long start, long count,
                  double* out) {
  std::unique_ptr<T[]> values(newIndexArray<T>(count));
  if (!values || !readRange(ncid, varId, type, start, count, values.get()))
    return false;
  for (long i = 0; i < count; ++i) out[i] = static_cast<double>(values[i]);
  return true;
}

}  // namespace

bool PointIndexReader::recordCount(int ncid, int recordDim, long& count) {
  long length = -1;
  if (recordDim < 0 || ncdiminq(ncid, recordDim, nullptr, &length) < 0 ||
      length < 0)
    return false;
  count = length;
  return true;
}

bool PointIndexReader::readInts(int ncid, int varId, long start, long count,
                                int* out) {
  return readRange(ncid, varId, NC_INT, start, count, out);
}

bool PointIndexReader::readFloats(int ncid, int varId, long start, long count,
                                  float* out) {
  return readRange(ncid, varId, NC_FLOAT, start, count, out);
}

bool PointIndexReader::readDoubles(int ncid, int varId, long start, long count,
                                   double* out) {
  nc_type type;
  int rank;
  if (!variableForm(ncid, varId, type, rank)) return false;
  switch (type) {
    case NC_DOUBLE:
      return readRange(ncid, varId, NC_DOUBLE, start, count, out);
    case NC_FLOAT:
      return convertRange<float>(ncid, varId, type, start, count, out);
    case NC_INT:
      return convertRange<int>(ncid, varId, type, start, count, out);
    case NC_SHORT:
      return convertRange<short>(ncid, varId, type, start, count, out);
    case NC_BYTE:
      return convertRange<signed char>(ncid, varId, type, start, count, out);
    default:
      return false;
  }
}

bool PointIndexReader::readChars(int ncid, int varId, long start, long rows,
                                 long rowLength, char* out) {
  if (rows == -1) return readRange(ncid, varId, NC_CHAR, start, rowLength, out);
  nc_type type;
  int rank;
  if (rows < 1 || rowLength < 1 || !variableForm(ncid, varId, type, rank) ||
      type != NC_CHAR || rank != 2)
    return false;
  long s[2] = {start, 0};
  long c[2] = {rows, rowLength};
  return ncvarget(ncid, varId, s, c, out) >= 0;
}

bool PointIndexReader::holds(int ncid, int varId, long rows, long rowLength) {
  int rank = 0;
  int dims[NC_MAX_VAR_DIMS];
  if (varId < 0 || nc_inq_varndims(ncid, varId, &rank) != NC_NOERR ||
      rank != (rowLength > 0 ? 2 : 1) ||
      nc_inq_vardimid(ncid, varId, dims) != NC_NOERR)
    return false;
  size_t length[2] = {0, 0};
  for (int d = 0; d < rank; ++d)
    if (nc_inq_dimlen(ncid, dims[d], &length[d]) != NC_NOERR) return false;
  return rows <= static_cast<long>(length[0]) &&
         (rank == 1 || rowLength <= static_cast<long>(length[1]));
}

bool PointIndexReader::readNStaticIds(int ncid, const PointFileStructure& s,
                                      PointNetcdfFileInfo* info,
                                      long nRecords) {
  if (s.nStaticIdsVar < 0 || nRecords == 0) {
    info->nStaticIds = 0;
    return true;
  }
  int value = 0;
  if (!readInts(ncid, s.nStaticIdsVar, 0, 1, &value)) return false;
  // The count indexes the table in memory: a value the table can't hold
  // is held at its edge.
  if (value < 0) value = 0;
  info->nStaticIds = value > s.maxStaticIds ? s.maxStaticIds : value;
  return true;
}

bool PointIndexReader::readGlobalInventory(int ncid,
                                           const PointFileStructure& s,
                                           PointNetcdfFileInfo* info,
                                           long nRecords) {
  info->globalInventory = 0;
  if (s.nBins <= 1 || s.globalInventoryVar < 0) return true;
  if (!s.inventoryIsChar) {
    if (nRecords == 0) return true;
    int bits = 0;
    if (!readInts(ncid, s.globalInventoryVar, 0, 1, &bits)) return false;
    info->globalInventory = bits;
    return true;
  }
  if (info->globalInventoryChars == nullptr) {
    if (!holds(ncid, s.globalInventoryVar, s.nBins, 0)) return false;
    info->globalInventoryChars = newIndexArray<char>(s.nBins);
    if (info->globalInventoryChars == nullptr) return false;
  }
  if (nRecords == 0) {
    std::memset(info->globalInventoryChars, 0, s.nBins);
    return true;
  }
  return readChars(ncid, s.globalInventoryVar, 0, -1, s.nBins,
                   info->globalInventoryChars);
}

bool PointIndexReader::readFirstOverflow(int ncid, const PointFileStructure& s,
                                         PointNetcdfFileInfo* info,
                                         long nRecords) {
  if (s.firstOverflowVar < 0) {
    info->firstOverflow = 0;  // no table: every record is searched
    return true;
  }
  if (nRecords == 0) {
    info->firstOverflow = -1;
    return true;
  }
  int value = 0;
  if (!readInts(ncid, s.firstOverflowVar, 0, 1, &value)) return false;
  info->firstOverflow = value;
  return true;
}
