// bufrdump: decodes the first message of each file named with the engine
// that the decoders use, and prints what it gave. This is what an operator
// runs to see why a file went to a bad directory, so it is pointed at whole
// directories of broken files: nothing it meets stops the run.
#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sysexits.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "BufrDecoder.h"
#include "Directory.h"
#include "DumpPrinter.h"
#include "LogCapture.h"
#include "LogStream.h"
#include "ToolSupport.h"
#include "PlainBufrDecoder.h"
#include "StaticBufrInfo.h"

namespace {

const char kUsage[] = "usage: bufrdump [--json] [--home DIR] FILE|DIR...\n";

const char kHelp[] =
    "\n"
    "Decodes the first BUFR message of each FILE with the decoders' engine\n"
    "and prints what it gave. A DIR stands for the regular files in it, in\n"
    "the order of their names. The tables are read from $ZEPH_HOME/data.\n"
    "\n"
    "  --json      one JSON object to a line instead of the table\n"
    "  --home DIR  read the tables from DIR/data\n"
    "  --help      this text\n"
    "\n"
    "Each file gets a line \"FILE: decoded\" or \"FILE: FAILED\". Under a\n"
    "failed file stand its reasons; under a decoded one the observation\n"
    "time, data category, number of subsets, the form (standard or\n"
    "compressed), and a table of its values:\n"
    "  index       place of the value in the message, from 0\n"
    "  subset      data subset, from 0\n"
    "  descriptor  the element, F XX YYY\n"
    "  rep         repetition inside a replication, from 0 (0 outside one)\n"
    "  value       the shortest number that reads back as the decoded float,\n"
    "              'characters', \"missing\" or \"not in table B\"\n"
    "  name, unit  what Table B says of the element\n"
    "A closing line counts the files decoded and failed.\n"
    "\n"
    "In JSON a file's header has \"file\", \"ok\", \"obTime\",\n"
    "\"dataCategory\", \"subsets\", \"compressed\" (null when it failed)\n"
    "and, on failure, \"error\"; each value has \"subset\", \"descriptor\",\n"
    "\"value\", \"repetition\" and \"text\"; the closing line has \"files\",\n"
    "\"decoded\" and \"failed\".\n"
    "\n"
    "The engine's log goes to standard error, each line behind the name of\n"
    "its file.\n"
    "\n"
    "Exit status: 0 every file decoded, 1 some did not, 2 the tables did not\n"
    "load, 64 a bad option.\n";

// A message states its length in three octets; a file holds one behind a
// WMO heading of a few dozen octets. Anything larger is not a message.
const off_t kMaxFileSize = (off_t(1) << 24) + 4096;

std::string systemReason(const char* what) {
  return std::string(what) + ": " + std::strerror(errno);
}

// Writes captured log lines behind the name they belong to. Standard output
// is flushed first, so that no line of one stream breaks into the other.
void relay(const std::string& name, const std::vector<std::string>& lines) {
  std::fflush(stdout);
  for (const std::string& line : lines)
    std::fprintf(stderr, "%s: %s\n", name.c_str(), line.c_str());
  std::fflush(stderr);
}

// The texts of the PROBLEM lines: why a message failed.
std::vector<std::string> problemsIn(const std::vector<std::string>& lines) {
  static const std::string kProblem = "PROBLEM: ";
  std::vector<std::string> problems;
  for (const std::string& line : lines)
    if (line.compare(0, kProblem.size(), kProblem) == 0)
      problems.push_back(line.substr(kProblem.size()));
  if (problems.empty()) problems.push_back("no BUFR message decoded");
  return problems;
}

// The whole file and one zero octet behind it, as the decoders hand it over.
bool readMessageFile(const std::string& path, std::vector<unsigned char>& bytes,
                     std::string& reason) {
  // Not blocking: a pipe named by mistake must not stop the run.
  int fd = open(path.c_str(), O_RDONLY | O_NONBLOCK);
  if (fd < 0) {
    reason = systemReason("cannot read");
    return false;
  }
  struct stat info;
  bool ok = false;
  if (fstat(fd, &info) != 0) {
    reason = systemReason("cannot read");
  } else if (!S_ISREG(info.st_mode)) {
    reason = "not a regular file";
  } else if (info.st_size > kMaxFileSize) {
    reason = std::to_string(info.st_size) +
             " octets: larger than a BUFR message can be";
  } else {
    bytes.assign(info.st_size + 1, 0);
    size_t got = 0;
    ok = true;
    while (ok && got < size_t(info.st_size)) {
      ssize_t n = read(fd, bytes.data() + got, info.st_size - got);
      if (n < 0 && errno != EINTR) {
        reason = systemReason("cannot read");
        ok = false;
      } else if (n == 0) {
        break;  // The file shrank meanwhile: decode what is there.
      } else if (n > 0) {
        got += n;
      }
    }
    bytes.resize(got + 1);
  }
  close(fd);
  return ok;
}

class Dumper {
 public:
  Dumper(PlainBufrDecoder& decoder, bool json)
      : _decoder(decoder), _printer(json) {}

  // A file, a directory, or a name that isn't there.
  void dumpArgument(const std::string& name) {
    struct stat info;
    if (stat(name.c_str(), &info) != 0)
      _printer.failed(name, {systemReason("cannot read")});
    else if (S_ISDIR(info.st_mode))
      dumpDirectory(name);
    else
      dumpFile(name);
  }

  void finish() const { _printer.summary(); }
  bool allDecoded() const { return _printer.failedCount() == 0; }

 private:
  void dumpFile(const std::string& path) {
    std::vector<unsigned char> bytes;
    std::string reason;
    if (!readMessageFile(path, bytes, reason)) {
      _printer.failed(path, {reason});
      return;
    }
    LogCapture capture;
    capture.begin();
    bool ok = _decoder.decodeMessage(bytes.data(), bytes.size());
    std::vector<std::string> log = capture.end();
    relay(path, log);
    if (ok)
      _printer.decoded(path, _decoder);
    else
      _printer.failed(path, problemsIn(log));
  }

  // Regular files only, sorted by name; what lies deeper is not looked at.
  void dumpDirectory(const std::string& path) {
    Directory dir;
    dir.directory = path.c_str();
    dir.sorted = true;
    dir.showHidden = true;
    LogCapture capture;
    capture.begin();
    dir.scan();
    std::vector<std::string> log = capture.end();
    if (!log.empty()) {
      _printer.failed(path, problemsIn(log));
      return;
    }
    std::string prefix = path.back() == '/' ? path : path + "/";
    for (int i = 0; i < dir.length(); ++i) {
      std::string file = prefix + dir[i].chars();
      struct stat info;
      if (stat(file.c_str(), &info) != 0) {
        _printer.failed(file, {systemReason("cannot read")});
      } else if (S_ISREG(info.st_mode)) {
        dumpFile(file);
      } else if (dir[i] != "." && dir[i] != "..") {
        relay(file, {"not a regular file, skipped"});
      }
    }
  }

  PlainBufrDecoder& _decoder;
  DumpPrinter _printer;
};

// Without its tables the engine reads nothing right; say where they were
// looked for and how to point at them.
void reportMissingTables(const std::vector<std::string>& log) {
  relay("bufrdump", log);
  const StaticBufrInfo& info = StaticBufrInfo::instance();
  const char* home = getenv("ZEPH_HOME");
  std::fprintf(stderr,
               "bufrdump: the BUFR tables did not load; looked for\n"
               "  %s\n  %s\n  %s\n"
               "ZEPH_HOME is %s%s%s. Set ZEPH_HOME, or give --home DIR, to the "
               "directory whose data/ holds bufrTableB, bufrTableD and "
               "replDescTbl.\n",
               info.tableBFile().chars(), info.tableDFile().chars(),
               info.replDescFile().chars(), home ? "\"" : "",
               home ? home : "not set", home ? "\"" : "");
}

}  // namespace

int main(int argc, char** argv) {
  bool json = false;
  std::vector<std::string> names;
  bool options = true;
  for (int i = 1; i < argc; ++i) {
    std::string arg = argv[i];
    if (options && arg == "--json") {
      json = true;
    } else if (options && arg == "--help") {
      std::printf("%s%s", kUsage, kHelp);
      return 0;
    } else if (options && arg == "--home" && i + 1 < argc) {
      setenv("ZEPH_HOME", argv[++i], 1);
    } else if (options && arg == "--") {
      options = false;
    } else if (options && arg[0] == '-') {
      std::fprintf(stderr, "bufrdump: bad option %s\n%s", arg.c_str(), kUsage);
      return EX_USAGE;
    } else {
      names.push_back(arg);
    }
  }
  if (names.empty()) {
    std::fprintf(stderr, "%s", kUsage);
    return EX_USAGE;
  }
  setUpToolLog("tools/bufrdump");

  LogCapture capture;
  capture.begin();
  PlainBufrDecoder decoder;
  std::vector<std::string> tableLog = capture.end();
  if (!BufrDecoder::tablesLoaded()) {
    reportMissingTables(tableLog);
    return 2;
  }
  relay("bufrdump", tableLog);

  Dumper dumper(decoder, json);
  for (const std::string& name : names) dumper.dumpArgument(name);
  dumper.finish();
  return dumper.allDecoded() ? 0 : 1;
}
