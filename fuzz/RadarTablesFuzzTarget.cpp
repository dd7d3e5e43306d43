// Feeds arbitrary text to the radar tables of the point store: the
// product table, the radar table, the TDWR list, the radars in use, the
// tilt groups, and a data access table whose radar keys the key look-up
// learns. The input is those six files in that order, cut at NUL bytes.
// Whatever they hold, each table is read to its end, every look-up
// answers, and nothing reads outside its arrays.
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "DM_DataAccessInfo.h"
#include "DM_RadarInfo.h"
#include "RadarAccessKey.h"
#include "TextTablesFuzz.h"

namespace {

const char* const kFiles[] = {"radarInfo.txt",  "radarInfoMaster.txt",
                              "tdwrRadars.txt", "radarsInUse.txt",
                              "tiltAngleGroups.txt", "dataInfo.txt"};
const size_t kParts = sizeof kFiles / sizeof kFiles[0];
// Look-ups by the products of the table: enough to reach each path.
const int kProductsAsked = 8;

void lookUpProducts() {
  int count = radarInfoCount();
  for (int i = 0; i < count && i < kProductsAsked; ++i) {
    DM_RadarInfo info = radarInfoAt(i);
    DM_RadarInfo byCode(info._key);
    DM_RadarInfo byVerraid('v', info.verraid);
    productCodeEnumeration(info._key);
    // The products at the radars, at tilts in and out of the groups.
    for (const char* radar : {"kftg", "KFTG", "knat", "tden", "none"}) {
      for (float tilt : {0.5f, 0.54f, -0.9f, 90.0f, 91.0f})
        DM_GetRadarAccessKeyHashKey("", info._key, tilt, info.value4,
                                    info.value3, radar);
    }
  }
  radarInfoAt(-1);
  radarInfoAt(count);
  productCodeEnumeration(-1);
  DM_GetRadarAccessKeyHashKey("", -1, 0.0f, 0, 0.0f, "");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  TextTablesFuzz& tables = TextTablesFuzz::instance();
  std::vector<std::string> parts = TextTablesFuzz::parts(data, size, kParts);
  for (size_t i = 0; i < kParts; ++i) tables.write(kFiles[i], parts[i]);
  // As a fresh process: every table is read again from the files.
  resetRadarTablesForTests();
  resetRadarKeysForTests();
  resetDataAccessInfoForTests();
  lookUpProducts();
  for (float tilt : {0.05f, 0.55f, 45.0f, -0.95f}) groupedTilt(tilt);
  isTdwrRadar("tden");
  radarId("kcys");
  return 0;
}
