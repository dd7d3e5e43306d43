// The radar product table, the code table beside it, the radar table and
// the list of TDWR radars: process-wide, each read at its first use.

#include "DM_RadarInfo.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "Config.h"
#include "Dict.h"
#include "InfoFileServer.h"
#include "LogStream.h"
#include "SeqOf.h"
#include "TextBuffer.h"

namespace {

const int kPieces = 18;

struct RadarTables {
  bool productsRead = false;
  Dict<int, DM_RadarInfo> byCode;
  Dict<int, DM_RadarInfo> byVerraid;
  SeqOf<int> codes;  // file order
  Dict<int, int> codeTable;
  bool radarsRead = false;
  Dict<TextString, int> radars;
  bool tdwrRead = false;
  SeqOf<TextString> tdwr;
};

std::unique_ptr<RadarTables>& tablesHolder() {
  static std::unique_ptr<RadarTables> tables;
  if (!tables) tables.reset(new RadarTables);
  return tables;
}

int number(const TextString& piece) {
  return static_cast<int>(strtol(piece.chars(), nullptr, 10));
}

// Of two products of one enumeration, that of the higher value1, value4,
// value2 stays; of equal ones, the first.
bool ranksAbove(const DM_RadarInfo& a, const DM_RadarInfo& b) {
  if (a.value1 != b.value1) return a.value1 > b.value1;
  if (a.value4 != b.value4) return a.value4 > b.value4;
  return a.value2 > b.value2;
}

// The product table; a table that can't be read is tried again at the
// next use.
RadarTables& products() {
  RadarTables& t = *tablesHolder();
  if (t.productsRead) return t;
  TextString name = "radarInfo";
  Config::instance().get("radarStationInfo.dictName", name);
  name += ".txt";
  ZLOG(LogStream::EVENT) << "keyName " << name << std::endl;
  DM_RadarInfoDictServer server(name);
  t.byCode.clear();
  t.codes.setLength(0);
  if (!server.read(t.byCode, t.codes)) {
    ZLOG(LogStream::PROBLEM) << "Unable to read radarStationInfo file"
                             << std::endl;
    return t;
  }
  t.productsRead = true;
  for (int i = 0; i < t.codes.length(); ++i) {
    DM_RadarInfo info;
    t.byCode.lookup(t.codes.at(i), &info);
    t.codeTable.insert(info._key, info.verraid);
    DM_RadarInfo held;
    if (!t.byVerraid.lookup(info.verraid, &held) || ranksAbove(info, held))
      t.byVerraid.insert(info.verraid, info);
  }
  return t;
}

RadarTables& radars() {
  RadarTables& t = *tablesHolder();
  if (t.radarsRead) return t;
  t.radarsRead = true;
  TextBuffer lines("radarInfoMaster.txt");
  for (int i = 0; i < lines.numLines(); ++i) {
    char name[64];
    float lat, lon;
    int id;
    if (sscanf(lines[i].chars(), "%63s %f %f %d\n", name, &lat, &lon, &id) != 4)
      continue;
    TextString text(name);
    t.radars.insert(text, id);
    text.toUpper();
    t.radars.insert(text, id);
  }
  return t;
}

}  // namespace

DM_RadarInfo::DM_RadarInfo()
    : _key(-1), value1(-1), value2(-1), value3(-1.0f), value4(-1),
      switch1(false), switch2(false), switch3(false), switch4(false),
      switch5(false), switch6(false), switch7(false), switch8(false),
      verraid(-1) {}

DM_RadarInfo::DM_RadarInfo(int messageCode) : DM_RadarInfo() {
  ZLOG(LogStream::DEBUG) << "constructor: _key = " << messageCode << std::endl;
  if (!products().byCode.lookup(messageCode, this)) {
    ZLOG(LogStream::BUG) << "Unable to read MessageCode " << messageCode
                         << " from dictionary" << std::endl;
  }
}

DM_RadarInfo::DM_RadarInfo(char, int verraidValue) : DM_RadarInfo() {
  ZLOG(LogStream::DEBUG) << "constructor: verraid = " << verraidValue
                         << std::endl;
  if (!products().byVerraid.lookup(verraidValue, this)) {
    ZLOG(LogStream::BUG) << "Unable to read verraid " << verraidValue
                         << " from dictionary" << std::endl;
  }
}

bool DM_RadarInfoDictServer::readEntry(int& key, DM_RadarInfo& record) {
  TextString line;
  while (_parser.nextLine(line)) {
    SeqOf<TextString> p;
    if (TextFileParser::tokens(line, '|', p) < kPieces) {
      ZLOG(LogStream::PROBLEM) << "Too few fields at " << _parser.location()
                               << std::endl;
      continue;
    }
    record = DM_RadarInfo();
    record._key = number(p.at(0));
    record.value1 = number(p.at(1));
    record.value2 = number(p.at(2));
    record.value3 = static_cast<float>(atof(p.at(3).chars()));
    record.value4 = number(p.at(4));
    record.text1 = p.at(5);
    record.text2 = p.at(6);
    record.text3 = p.at(7);
    bool* first[] = {&record.switch1, &record.switch2, &record.switch3,
                     &record.switch4};
    for (int i = 0; i < 4; ++i) *first[i] = p.at(8 + i) == "y";
    record.text4 = p.at(12);
    bool* second[] = {&record.switch5, &record.switch6, &record.switch7,
                      &record.switch8};
    for (int i = 0; i < 4; ++i) *second[i] = p.at(13 + i) == "y";
    record.verraid = number(p.at(17));
    key = record._key;
    return true;
  }
  return false;
}

int radarInfoCount() { return products().codes.length(); }

DM_RadarInfo radarInfoAt(int index) {
  RadarTables& t = products();
  DM_RadarInfo info;
  if (index >= 0 && index < t.codes.length())
    t.byCode.lookup(t.codes.at(index), &info);
  return info;
}

int productCodeEnumeration(int messageCode) {
  RadarTables& t = products();
  int verraid = 0;
  if (t.codeTable.lookup(messageCode, &verraid)) return verraid;
  ZLOG(LogStream::PROBLEM) << "Unable to get the product code enumeration "
                           << "from Dictionary for product " << messageCode
                           << std::endl;
  return t.codeTable.length();
}

int radarId(const TextString& name) {
  int id = -1;
  return radars().radars.lookup(name, &id) ? id : -1;
}

bool isTdwrRadar(const TextString& name) {
  RadarTables& t = *tablesHolder();
  if (!t.tdwrRead) {
    t.tdwrRead = true;
    const char* kName = "tdwrRadars.txt";
    if (!infoFileExists(kName)) {
      ZLOG(LogStream::EVENT) << "No TDWR radars for this site" << std::endl;
      return false;
    }
    TextString path = findInfoFile(kName);
    ZLOG(LogStream::EVENT) << "TDWR file name = " << path << std::endl;
    FILE* file = fopen(path.chars(), "r");
    if (file == nullptr) {
      ZLOG(LogStream::PROBLEM) << "Unable to open " << path << ", error = "
                               << strerror(errno) << std::endl;
      return false;
    }
    char word[256];
    while (fscanf(file, "%255s", word) == 1)
      if (word[0] != '#') t.tdwr.append(word);
    fclose(file);
    ZLOG(LogStream::EVENT) << t.tdwr.length() << " TDWR radars read"
                           << std::endl;
  }
  return t.tdwr.findFirst(name) >= 0;
}

void resetRadarTablesForTests() { tablesHolder().reset(); }
