// Feeds arbitrary text to the data access table of the point store and to
// the functions that read names of the data tree: the table, then lines
// of file names and paths, then lines of descriptions, cut at NUL bytes.
// Every key of the table is read with all that hangs on it (its parts,
// its file names, its files), each name is parsed as a file time, a file
// path and a redbook graphic, and made a file of a directory that is
// listed for its times, and each description is looked up in the two
// groups. Whatever the bytes, each answers, in bounded time, and nothing
// reads outside its arrays.
#include <sys/stat.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "AbsTime.h"
#include "DM_DataAccessInfo.h"
#include "DataTime.h"
#include "SeqOf.h"
#include "TextTablesFuzz.h"
#include "dmDataAccessFns.h"
#include "dmRedbookFns.h"

namespace {

// The keys read with everything that hangs on them.
const int kKeysAsked = 64;
// The names made files of the listed directory, and their longest form.
const size_t kNamesListed = 32;
const size_t kMaxNameLength = 200;
const AbsTime kTime(1717243200);  // 1 June 2024, 12:00 GMT

void readKey(unsigned long key) {
  DM_DataAccessInfo info(key);
  info.spanSeconds();
  info.fileClass();
  info.fileName();
  std::unique_ptr<SeqOf<unsigned long> > leaves(info.leafKeys());
  dmFileName(key, kTime, true);
  dmFileName(key, kTime, false);
  dmTemplateName(key, 123);
  dmDirectory(key);
  std::unique_ptr<SeqOf<AbsTime> > times(dmFileTimes(key, false));
}

std::vector<std::string> lines(const std::string& text) {
  std::vector<std::string> out(1);
  for (char c : text) {
    if (c == '\n')
      out.emplace_back();
    else
      out.back() += c;
  }
  return out;
}

// The names as files of one directory, listed with the prefixes and
// suffixes of the first keys, then removed.
void listNames(const std::vector<std::string>& names) {
  std::string dir = TextTablesFuzz::instance().directory() + "/names";
  mkdir(dir.c_str(), 0700);
  std::vector<std::string> made;
  for (size_t i = 0; i < names.size() && made.size() < kNamesListed; ++i) {
    std::string name = names[i].substr(0, kMaxNameLength);
    for (char& c : name)
      if (c == '/') c = '_';
    if (name.empty() || name == ".") continue;
    std::string path = dir + "/" + name;
    if (FILE* file = fopen(path.c_str(), "w")) {
      fclose(file);
      made.push_back(path);
    }
  }
  std::unique_ptr<SeqOf<AbsTime> > plain(dmFileTimes(dir.c_str(), "", ""));
  for (int i = 0; i < dataAccessKeyCount() && i < 4; ++i) {
    DM_DataAccessInfo info(dataAccessKeyAt(i));
    std::unique_ptr<SeqOf<AbsTime> > times(
        dmFileTimes(dir.c_str(), info.baseName(), info.extension()));
  }
  for (const std::string& path : made) unlink(path.c_str());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  TextTablesFuzz& tables = TextTablesFuzz::instance();
  std::vector<std::string> parts = TextTablesFuzz::parts(data, size, 3);
  // A redbook name may move files within its directory of the data tree:
  // no name or table may lead out of the fuzzer's own directory.
  for (const std::string& part : parts)
    if (part.find("..") != std::string::npos) return 0;
  tables.write("dataInfo.txt", parts[0]);
  resetDataAccessInfoForTests();
  resetRedbookLookupsForTests();
  for (int i = 0; i < dataAccessKeyCount() && i < kKeysAsked; ++i)
    readKey(dataAccessKeyAt(i));
  listNames(lines(parts[1]));
  for (const std::string& name : lines(parts[1])) {
    AbsTime time;
    dmParseFileTime(name.c_str(), time);
    dmParseFilePath(name.c_str(), time);
    unsigned long key = 0;
    DataTime dataTime;
    TextString newPath;
    redbookFileInfo(name.c_str(), key, dataTime, newPath);
  }
  for (const std::string& description : lines(parts[2])) {
    dmGroupKey11001(description.c_str());
    dmGroupKey9000(description.c_str());
  }
  return 0;
}
