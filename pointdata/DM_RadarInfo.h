#ifndef ZEPH_POINTDATA_DM_RADARINFO_H_
#define ZEPH_POINTDATA_DM_RADARINFO_H_

#include "TextFileDictServer.h"
#include "TextString.h"

// One product of the radar product table ("radarInfo.txt", or the name
// configured as "radarStationInfo.dictName", with ".txt"): its message
// code, its product code enumeration (`verraid`), and values, texts and
// switches that are carried as the table holds them. A line is 18 pieces
// split at '|':
//
//   code|v1|v2|v3|v4|text1|text2|text3|s1|s2|s3|s4|text4|s5|s6|s7|s8|verraid
//
// a switch being on where its piece is "y". A product that isn't found
// has -1 in its numbers and empty texts.
class DM_RadarInfo {
 public:
  DM_RadarInfo();
  // The product of a message code.
  explicit DM_RadarInfo(int messageCode);
  // The product of an enumeration; `tag` only tells this form apart. Of
  // several products of one enumeration, the one of the higher value1,
  // value4, value2 in that order.
  DM_RadarInfo(char tag, int verraid);

  bool isValid() const { return _key >= 0; }

  int _key;
  int value1;
  int value2;
  float value3;
  int value4;
  TextString text1;
  TextString text2;
  TextString text3;
  bool switch1;
  bool switch2;
  bool switch3;
  bool switch4;
  TextString text4;
  bool switch5;
  bool switch6;
  bool switch7;
  bool switch8;
  int verraid;
};

// The product table's reader.
class DM_RadarInfoDictServer : public TextFileDictServer<int, DM_RadarInfo> {
 public:
  explicit DM_RadarInfoDictServer(const TextString& fileName)
      : TextFileDictServer<int, DM_RadarInfo>(fileName) {}
  ~DM_RadarInfoDictServer() override = default;

 protected:
  bool readEntry(int& key, DM_RadarInfo& record) override;
};

// The products in file order.
int radarInfoCount();
DM_RadarInfo radarInfoAt(int index);
// The product code enumeration of a message code; the size of the code
// table, after logging, for a code that isn't there.
int productCodeEnumeration(int messageCode);
// The id of a radar by its name, in lower or upper case, from
// "radarInfoMaster.txt"; -1 if it isn't there.
int radarId(const TextString& name);
// Whether "tdwrRadars.txt" names the radar.
bool isTdwrRadar(const TextString& name);

// Forgets every radar table. For tests only: a process reads them once.
void resetRadarTablesForTests();

#endif  // ZEPH_POINTDATA_DM_RADARINFO_H_
