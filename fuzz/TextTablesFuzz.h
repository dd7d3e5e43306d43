#ifndef ZEPH_FUZZ_TEXTTABLESFUZZ_H_
#define ZEPH_FUZZ_TEXTTABLESFUZZ_H_

// What the fuzz targets of the point store's text tables share: an input
// is several files cut at NUL bytes, written into a directory of their own
// that is the one search path, so that each table is read from the bytes
// as a site's file would be.

#include <ftw.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "Config.h"
#include "InfoFileServer.h"
#include "LogStream.h"

class TextTablesFuzz {
 public:
  // The process-wide directory, made at the first call, and the log
  // silenced: the tables log each line they can't read.
  static TextTablesFuzz& instance() {
    static TextTablesFuzz tables;
    return tables;
  }

  // The input cut at NUL bytes into at most `count` parts; missing parts
  // are empty.
  static std::vector<std::string> parts(const uint8_t* data, size_t size,
                                        size_t count) {
    std::vector<std::string> out(1);
    for (size_t i = 0; i < size; ++i) {
      if (data[i] == 0 && out.size() < count)
        out.emplace_back();
      else
        out.back() += static_cast<char>(data[i]);
    }
    out.resize(count);
    return out;
  }

  // Writes the file `name`, a path below the directory, with `text`.
  void write(const char* name, const std::string& text) {
    std::string path = _dir + "/" + name;
    FILE* file = fopen(path.c_str(), "wb");
    if (file == nullptr) abort();
    fwrite(text.data(), 1, text.size(), file);
    fclose(file);
  }

  const std::string& directory() const { return _dir; }

 private:
  TextTablesFuzz() {
    char pattern[] = "/tmp/zeph_tables_fuzz.XXXXXX";
    if (mkdtemp(pattern) == nullptr) abort();
    _dir = pattern;
    setenv("FILE_SERVER_DEFAULT_PATHS", (_dir + "/").c_str(), 1);
    setenv("ZEPH_DATA", (_dir + "/data").c_str(), 1);
    resetInfoFileServerForTests();
    LogStream& log = LogStream::instance();
    for (int sink = 0; sink < LogStream::NUM_SINKS; ++sink)
      log.setFilter(nullptr, nullptr, LogStream::Sink(sink), 0xFFFFFFFF,
                    false);
    // The names the tables are known by, whatever a configuration says.
    Config::instance().set("DataAccessInfo.dictName", TextString("dataInfo"));
    Config::instance().set("radarStationInfo.dictName",
                           TextString("radarInfo"));
  }
  // Everything below the directory goes with it, also what the store
  // made there.
  ~TextTablesFuzz() {
    nftw(_dir.c_str(), removeOne, 8, FTW_DEPTH | FTW_PHYS);
  }
  static int removeOne(const char* path, const struct stat*, int,
                       struct FTW*) {
    remove(path);
    return 0;
  }

  std::string _dir;
};

#endif  // ZEPH_FUZZ_TEXTTABLESFUZZ_H_
