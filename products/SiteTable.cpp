#include "SiteTable.h"

#include <cmath>
#include <cstdio>
#include <cstring>

#include "Dict.h"
#include "InfoFileServer.h"
#include "LogStream.h"
#include "TextBuffer.h"

namespace {

const float kKilometresToADegree = 111.1f;
const double kRadiansToADegree = 0.017453292519943295;

Dict<TextString, SiteTable*>& tables() {
  static Dict<TextString, SiteTable*>* dict =
      new Dict<TextString, SiteTable*>;
  return *dict;
}

const SiteTable& emptyTable() {
  static const SiteTable* empty = new SiteTable;
  return *empty;
}

}  // namespace

const SiteTable* SiteTable::read(const TextString& fileName) {
  SiteTable* table = nullptr;
  if (tables().lookup(fileName, &table)) return table;
  TextBuffer lines(fileName);
  if (lines.numLines() == 0) {
    std::fprintf(stderr, "could not open %s\n", fileName.chars());
    std::fprintf(stderr, "for reading in ::readStaticPlotInfoPV\n");
    return &emptyTable();
  }
  TextString path = findInfoFile(fileName);
  table = new SiteTable;
  for (int i = 0; i < lines.numLines(); ++i) table->parse(lines[i], path);
  tables().insert(fileName, table);
  return table;
}

void SiteTable::forgetAllForTests() {
  Dict<TextString, SiteTable*>& dict = tables();
  for (int i = 0; i < dict.length(); ++i) delete dict.valueAt(i);
  dict.clear();
}

// A line of fewer than four fields has no position: it is logged and left
// out, so that no sounding is ever matched to a site without a place.
bool SiteTable::parse(const TextString& line, const TextString& path) {
  SiteRecord site;
  int fields = std::sscanf(line.chars(), "%d %11s %f %f %d %f %23s",
                           &site.number, site.id, &site.lat, &site.lon,
                           &site.fifth, &site.weight, site.name);
  if (fields < 4) {
    ZLOG(LogStream::PROBLEM) << "Line error in " << path << " [" << line
                             << "]" << std::endl;
    return false;
  }
  if (fields < 7) std::memcpy(site.name, site.id, sizeof site.id);
  _records.append(site);
  return true;
}

// Distances are in degrees of latitude, the longitude's shrunk by the
// cosine of the latitude: near enough over the radius of a grid cell.
// A site at exactly the radius is within it.
const SiteRecord* SiteTable::nearest(float lat, float lon, float radius,
                                     float floor) const {
  float limit = radius / kKilometresToADegree;
  float best = limit * limit;
  float cosLat = static_cast<float>(std::cos(lat * kRadiansToADegree));
  const SiteRecord* found = nullptr;
  for (int i = 0; i < _records.length(); ++i) {
    const SiteRecord& site = _records.at(i);
    if (site.weight < floor) continue;
    float dLat = lat - site.lat;
    if (std::fabs(dLat) > limit) continue;
    float dLon = (lon - site.lon) * cosLat;
    if (std::fabs(dLon) > limit) continue;
    float distance = dLat * dLat + dLon * dLon;
    if (distance > best) continue;
    found = &site;
    best = distance;
    limit = std::sqrt(distance);
  }
  return found;
}
