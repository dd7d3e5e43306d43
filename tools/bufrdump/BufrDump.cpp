// bufrdump: decodes the first message of each file named with the engine
// that the decoders use, and prints what it gave. This is what an operator
// runs to see why a file went to a bad directory.
//
//   bufrdump [--json] [--home DIR] FILE...
//
// The tables are those under $ZEPH_HOME/data, or under DIR/data. Exit
// status 0 when every file decoded, 1 otherwise.
#include <stdlib.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "BufrDecoder.h"
#include "LogStream.h"
#include "PlainBufrDecoder.h"
#include "StaticBufrInfo.h"

namespace {

void usage() {
  std::fprintf(stderr, "usage: bufrdump [--json] [--home DIR] FILE...\n");
}

// JSON text of arbitrary octets: control and non-ASCII octets are written
// as \u00XX, so that the output is plain ASCII whatever the message held.
std::string jsonText(const char* text) {
  std::string out = "\"";
  for (const unsigned char* p = reinterpret_cast<const unsigned char*>(text);
       *p; ++p) {
    if (*p == '"' || *p == '\\') {
      out += '\\';
      out += static_cast<char>(*p);
    } else if (*p < 0x20 || *p >= 0x7F) {
      char escaped[8];
      std::snprintf(escaped, sizeof escaped, "\\u%04x", *p);
      out += escaped;
    } else {
      out += static_cast<char>(*p);
    }
  }
  return out + "\"";
}

std::string descriptorText(int descriptor) {
  char text[16];
  std::snprintf(text, sizeof text, "%d %02d %03d", descriptor / 100000,
                (descriptor / 1000) % 100, descriptor % 1000);
  return text;
}

void printJson(const char* file, bool ok, const PlainBufrDecoder& decoder) {
  std::printf(
      "{\"file\": %s, \"ok\": %s, \"obTime\": \"%s\", \"dataCategory\": %d, "
      "\"subsets\": %d, \"compressed\": %s}\n",
      jsonText(file).c_str(), ok ? "true" : "false",
      decoder.obTime().format("%Y-%m-%dT%H:%M:%SZ").chars(),
      decoder.dataCategory(), decoder.subsets(),
      decoder.compressed() ? "true" : "false");
  const SeqOf<BufrValues>& values = decoder.decodedValues();
  for (int i = 0; i < values.length(); ++i) {
    const BufrValues& v = values.at(i);
    std::printf(
        "{\"subset\": %d, \"descriptor\": %d, \"value\": %.9g, "
        "\"repetition\": %d, \"text\": %s}\n",
        v.subset(), v.descriptor(), v.value(), v.repetition(),
        jsonText(v.text().chars()).c_str());
  }
}

void printTable(const char* file, bool ok, const PlainBufrDecoder& decoder) {
  std::printf("%s: %s\n", file, ok ? "decoded" : "FAILED");
  std::printf("  observation time %s, data category %d, %d subset%s, %s\n",
              decoder.obTime().format("%Y-%m-%d %H:%M:%S GMT").chars(),
              decoder.dataCategory(), decoder.subsets(),
              decoder.subsets() == 1 ? "" : "s",
              decoder.compressed() ? "compressed" : "standard");
  std::printf("  %6s %6s %-10s %-3s %16s  %s\n", "index", "subset",
              "descriptor", "rep", "value", "element");
  const SeqOf<BufrValues>& values = decoder.decodedValues();
  for (int i = 0; i < values.length(); ++i) {
    const BufrValues& v = values.at(i);
    TableBEntry entry;
    StaticBufrInfo::instance().tableBEntry(v.descriptor(), entry);
    std::string shown;
    char number[32];
    if (v.value() == BufrValues::kCharacter) {
      shown = "'" + std::string(v.text().chars()) + "'";
    } else if (v.value() == BufrValues::kMissing) {
      shown = "missing";
    } else if (v.value() == BufrValues::kNotInTableB) {
      shown = "not in table B";
    } else {
      std::snprintf(number, sizeof number, "%.9g", v.value());
      shown = number;
    }
    std::printf("  %6d %6d %-10s %3d %16s  %s %s\n", i, v.subset(),
                descriptorText(v.descriptor()).c_str(), v.repetition(),
                shown.c_str(), entry.description().chars(),
                entry.units().chars());
  }
}

bool readWhole(const char* path, std::vector<unsigned char>& bytes) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return false;
  bytes.assign(std::istreambuf_iterator<char>(in),
               std::istreambuf_iterator<char>());
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  bool json = false;
  std::vector<const char*> files;
  for (int i = 1; i < argc; ++i) {
    if (std::strcmp(argv[i], "--json") == 0) {
      json = true;
    } else if (std::strcmp(argv[i], "--home") == 0 && i + 1 < argc) {
      setenv("ZEPH_HOME", argv[++i], 1);
    } else if (argv[i][0] == '-') {
      usage();
      return 2;
    } else {
      files.push_back(argv[i]);
    }
  }
  if (files.empty()) {
    usage();
    return 2;
  }
  // A tool's log belongs on the terminal, not in log files of its own.
  LogStream& log = LogStream::instance();
  for (LogStream::Sink sink : {LogStream::FILE_SINK, LogStream::COLLECTIVE})
    log.setFilter(nullptr, nullptr, sink, 0xFFFFFFFF, false);

  PlainBufrDecoder decoder;
  if (!BufrDecoder::tablesLoaded()) {
    std::fprintf(stderr, "bufrdump: the BUFR tables under %s/data did not "
                         "load whole\n",
                 getenv("ZEPH_HOME") ? getenv("ZEPH_HOME") : "");
  }
  bool allDecoded = true;
  for (const char* file : files) {
    std::vector<unsigned char> bytes;
    bool ok = false;
    if (!readWhole(file, bytes)) {
      std::fprintf(stderr, "bufrdump: cannot read %s: %s\n", file,
                   std::strerror(errno));
    } else {
      // As the decoders hand it over: the file and one zero octet.
      bytes.push_back(0);
      ok = decoder.decodeMessage(bytes.data(), bytes.size());
    }
    if (json)
      printJson(file, ok, decoder);
    else
      printTable(file, ok, decoder);
    allDecoded = allDecoded && ok;
  }
  return allDecoded ? 0 : 1;
}
