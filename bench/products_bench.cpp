// Runs directories of product files through their decoders into fresh
// data trees, as the decoder process does, and prints files/s and
// stations (or observations)/s.
//
// Model soundings: beside the whole road, in the same run and over the same
// files, it measures the decoding alone and the store's index alone
// (finding or making each station's record and releasing its handle,
// without writing the values), so that the time splits into decoding,
// index and netCDF writes, the writes being what the whole road costs
// beyond the other two.
//
// POES and GOES soundings, high-density and QuikScat winds: files/s and
// observations (subsets)/s, without the design's pause of 0.3 s between
// files, which throttles a feed and would be nearly all of the time; and
// how many times the decoding alone of the same files the road takes
// without the waits of the point files it makes.
//
// ACARS reports: 1,000 files of 20 reports each into a fresh data tree,
// files/s and reports/s, split like the model's into decoding, the store's
// index (its two syncs of each new record included) and the rest.
//
//   products_bench [FILES [ACARS_FILES]]
//                               (default 320 model files, a quarter as many
//                                of each satellite family, 1,000 ACARS files)
//
// The files are the sample files of site/samples/model, copied under new
// names with one of four run minutes in Section 1: four runs of each model,
// as a day of operations brings, and each copy of a run rewrites the
// records of the copy before it. The store makes each run's point file by
// copying the template and waiting a second before it renames the copy (so
// that no reader opens a half-copied file); those waits are counted apart.
#include <stdlib.h>
#include <sys/stat.h>

#include <chrono>
#include <ctime>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <vector>

#include "AcarsBufrDecoder.h"
#include "LogStream.h"
#include "ModelBufrDecoder.h"
#include "NetcdfPointData.h"
#include "GOESBufrDecoder.h"
#include "HDWBufrDecoder.h"
#include "PlainBufrDecoder.h"
#include "POESBufrDecoder.h"
#include "QuikScatBufrDecoder.h"
#include "SatelliteSoundingDecoder.h"
#include "StaticBufrInfo.h"
#include "TableBEntry.h"
#include "dmNotify.h"

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;
const char* const kModels[4] = {"ETA", "RUC", "AVN", "NGM"};

double since(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

std::string readAll(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string((std::istreambuf_iterator<char>(in)),
                     std::istreambuf_iterator<char>());
}

struct File {
  std::string name;
  std::string bytes;
};

// Copies of the samples, the minute of Section 1 (octet 17 of an edition 3
// Section 1) made the copy's own.
std::vector<File> makeFiles(int count) {
  std::vector<File> samples;
  for (const auto& entry :
       fs::directory_iterator(ZEPH_SOURCE_DIR "/site/samples/model")) {
    std::string name = entry.path().filename().string();
    if (entry.is_regular_file() && name.rfind("JUS", 0) == 0 &&
        name.find("NOTLOCAL") == std::string::npos)
      samples.push_back({name, readAll(entry.path().string())});
  }
  std::vector<File> files;
  for (int i = 0; i < count && !samples.empty(); ++i) {
    File f = samples[i % samples.size()];
    size_t message = f.bytes.find("BUFR");
    if (message != std::string::npos && message + 24 < f.bytes.size())
      f.bytes[message + 8 + 16] = char((i / samples.size()) % 4);
    char suffix[16];
    std::snprintf(suffix, sizeof suffix, "_%04d", i);
    f.name += suffix;
    files.push_back(f);
  }
  return files;
}

// A fresh site: the sample tables, the model's directories and templates.
std::string makeSite(const std::string& root) {
  fs::create_directories(root + "/home/data");
  for (const auto& entry : fs::directory_iterator(ZEPH_SOURCE_DIR "/site/data"))
    fs::copy_file(entry.path(),
                  root + "/home/data/" + entry.path().filename().string());
  std::string input = root + "/data" + kModelTraits.dataDirectory;
  fs::create_directories(input);
  fs::create_directories(root + "/data" + kModelTraits.badDirectory);
  for (const char* model : kModels) {
    std::string point = root + "/data/point/model/" + model + "/netcdf";
    fs::create_directories(point);
    fs::copy_file(std::string(ZEPH_SITE_TEMPLATES "/model") + model + ".nc",
                  point + "/template");
  }
  setenv("ZEPH_HOME", (root + "/home").c_str(), 1);
  setenv("ZEPH_DATA", (root + "/data").c_str(), 1);
  return input;
}

std::vector<unsigned char> asBuffer(const std::string& bytes) {
  std::vector<unsigned char> buffer(bytes.begin(), bytes.end());
  buffer.push_back(0);
  return buffer;
}

double decodeOnly(const std::vector<File>& files) {
  PlainBufrDecoder decoder;
  Clock::time_point start = Clock::now();
  for (const File& f : files) {
    std::vector<unsigned char> buffer = asBuffer(f.bytes);
    decoder.decodeMessage(buffer.data(), buffer.size());
  }
  return since(start);
}

// The store's calls to the index for every station, in a tree of its own:
// what write2NetcdfFile costs without the values written.
double indexOnly(const std::vector<File>& files, const std::string& root) {
  makeSite(root);
  NetcdfPointData* data[4];
  for (int m = 0; m < 4; ++m)
    data[m] = NetcdfPointData::getNetcdfPointData(
        (root + "/data/point/model/" + kModels[m] + "/netcdf").c_str(), true,
        false);
  PlainBufrDecoder decoder;
  double seconds = 0;
  for (const File& f : files) {
    std::vector<unsigned char> buffer = asBuffer(f.bytes);
    if (!decoder.decodeMessage(buffer.data(), buffer.size())) continue;
    int model = f.name[3] - 'A';
    if (model < 0 || model > 3 || data[model] == nullptr) continue;
    SeqOf<TextString> ids;
    SeqOf<double> offsets;
    for (int i = 0; i < decoder.decodedValues().length(); ++i) {
      const BufrValues& v = decoder.decodedValues().at(i);
      if (v.descriptor() == 1015) ids.append(v.text());
      if (v.descriptor() == 4194) offsets.append(v.value());
    }
    Clock::time_point start = Clock::now();
    for (int s = 0; s < ids.length() && s < offsets.length(); ++s) {
      SeqOf<TextString> id(1, &ids.at(s));
      double run = decoder.obTime().seconds();
      double times[2] = {run, run + offsets.at(s)};
      long record;
      bool isNew;
      int* handle = data[model]->getFileHandleAndRecord(id, SeqOf<double>(2, times),
                                                        record, isNew);
      if (handle) data[model]->releaseHandle(handle);
    }
    seconds += since(start);
  }
  return seconds;
}

// A product's traits without the pause between files.
const ProductTraits& unpaused(const ProductTraits& traits) {
  static std::vector<ProductTraits*> copies;
  copies.push_back(new ProductTraits(traits));
  copies.back()->pauses = false;
  return *copies.back();
}

// The satellite decoders without their pause between files.
class UnpausedSoundings : public SatelliteSoundingDecoder {
 public:
  UnpausedSoundings(const ProductTraits& traits, const SoundingFamily& family)
      : SatelliteSoundingDecoder(unpaused(traits), family) {}
};

// Copies of a family's sample files in its input directory; the set-up of
// the decoder, made by `decoder`, handles them, as it does what lies there
// at start. The decoding alone of the same files is measured beside.
void satelliteFamily(const char* name, const char* samples,
                     const ProductTraits& traits, const char* pointDirectory,
                     const char* templateName, int count,
                     const std::string& root,
                     const std::function<ProductDecoder*()>& decoder) {
  makeSite(root);
  std::string input = root + "/data" + traits.dataDirectory;
  fs::create_directories(input);
  fs::create_directories(root + "/data" + traits.badDirectory);
  fs::create_directories(root + "/data" + pointDirectory);
  fs::copy_file(std::string(ZEPH_SITE_TEMPLATES "/") + templateName + ".nc",
                root + "/data" + pointDirectory + "/template");
  std::vector<File> sources;
  for (const auto& entry :
       fs::directory_iterator(std::string(ZEPH_SOURCE_DIR "/site/samples/") + samples))
    if (entry.is_regular_file() &&
        entry.path().filename().string().find('.') == std::string::npos)
      sources.push_back({entry.path().filename().string(), readAll(entry.path().string())});
  long observations = 0;
  PlainBufrDecoder counter;
  std::vector<File> copies;
  for (int i = 0; i < count && !sources.empty(); ++i) {
    const File& f = sources[i % sources.size()];
    char suffix[16];
    std::snprintf(suffix, sizeof suffix, "_%04d", i);
    std::ofstream(input + "/" + f.name + suffix, std::ios::binary) << f.bytes;
    copies.push_back(f);
    std::vector<unsigned char> buffer = asBuffer(f.bytes);
    if (counter.decodeMessage(buffer.data(), buffer.size()))
      observations += counter.subsets();
  }
  Clock::time_point start = Clock::now();
  delete decoder();
  double whole = since(start);
  int pointFiles = 0;
  for (const auto& entry : fs::directory_iterator(root + "/data" + pointDirectory))
    pointFiles += entry.path().filename() != "template";
  std::printf("\n%s: %d files, %ld observations in %.2f s (no pause between "
              "files)\n", name, count, observations, whole);
  std::printf("%.1f files/s, %.1f observations/s; %d point files made, whose "
              "one-second waits are %.0f %% of the time\n",
              count / whole, observations / whole, pointFiles,
              100 * pointFiles / whole);
  double decoding = decodeOnly(copies);
  double rest = whole - pointFiles;
  std::printf("without the waits %.3f s, %.1f times the decoding alone of the "
              "same files (%.4f s)\n", rest, rest / decoding, decoding);
}


// The first octet of Section 4's data in an edition 3 message: behind
// Sections 0 and 1, the optional 2, 3 and Section 4's own four octets.
size_t dataOffset(const std::string& bytes) {
  size_t message = bytes.find("BUFR");
  if (message == std::string::npos || message + 18 > bytes.size())
    return std::string::npos;
  auto length = [&](size_t at) {
    if (at + 3 > bytes.size()) return bytes.size();
    return size_t(uint8_t(bytes[at])) << 16 | size_t(uint8_t(bytes[at + 1])) << 8 |
           uint8_t(bytes[at + 2]);
  };
  size_t section = message + 8;
  bool section2 = uint8_t(bytes[section + 7]) & 0x80;
  section += length(section);
  if (section2) section += length(section);
  section += length(section);
  return section + 4 <= bytes.size() ? section + 4 : std::string::npos;
}

void putBits(std::string& bytes, size_t bit, unsigned value, int width) {
  for (int b = 0; b < width; ++b, ++bit) {
    unsigned char mask = 0x80u >> (bit % 8);
    char& octet = bytes[bit / 8];
    octet = (value >> (width - 1 - b)) & 1 ? char(octet | mask) : char(octet & ~mask);
  }
}

// A report's registration and second, each where its bits lie in Section 4:
// the main ACARS sample has one element after the other, no operator and no
// replication, so the widths of Table B place every value.
struct ReportBits {
  size_t registration, second;
};

std::vector<ReportBits> reportBits(const std::string& bytes, PlainBufrDecoder& decoder) {
  std::vector<ReportBits> reports;
  std::vector<unsigned char> buffer = asBuffer(bytes);
  size_t data = dataOffset(bytes);
  if (data == std::string::npos || !decoder.decodeMessage(buffer.data(), buffer.size()))
    return reports;
  size_t bit = data * 8;
  for (int i = 0; i < decoder.decodedValues().length(); ++i) {
    int d = decoder.decodedValues().at(i).descriptor();
    TableBEntry entry;
    if (!StaticBufrInfo::instance().tableBEntry(d, entry)) return {};
    if (d == 1008) reports.push_back({bit, 0});
    if (d == 4006 && !reports.empty()) reports.back().second = bit;
    bit += entry.bits();
  }
  return bit <= bytes.size() * 8 ? reports : std::vector<ReportBits>();
}

// Copies of the main ACARS sample, each report of its own: report n of all
// (file i, report k: n = 20 i + k) is aircraft n % 1000 at its sample time
// with second n / 1000 % 60. So 20,000 records of 1,000 aircraft in the
// sample's two hourly files, each file's table of ids below its 2,000 rows.
std::vector<File> makeAcarsFiles(int count) {
  const std::string name = "IUAX01_KWBC_202406011230";
  File sample{name, readAll(ZEPH_SOURCE_DIR "/site/samples/acars/" + name)};
  PlainBufrDecoder decoder;
  std::vector<ReportBits> bits = reportBits(sample.bytes, decoder);
  std::vector<File> files;
  for (int i = 0; i < count && !bits.empty(); ++i) {
    File f = sample;
    for (size_t k = 0; k < bits.size(); ++k) {
      long n = long(i) * long(bits.size()) + long(k);
      char id[16];
      std::snprintf(id, sizeof id, "B%05ld  ", n % 1000);
      for (int c = 0; c < 8; ++c) putBits(f.bytes, bits[k].registration + 8 * c, uint8_t(id[c]), 8);
      putBits(f.bytes, bits[k].second, unsigned(n / 1000 % 60), 6);
    }
    char suffix[16];
    std::snprintf(suffix, sizeof suffix, "_%04d", i);
    f.name += suffix;
    files.push_back(f);
  }
  // The copies must decode to what was put in.
  if (!files.empty()) {
    std::vector<unsigned char> buffer = asBuffer(files.back().bytes);
    decoder.decodeMessage(buffer.data(), buffer.size());
    long n = long(count - 1) * long(bits.size());
    char id[16];
    std::snprintf(id, sizeof id, "B%05ld", n % 1000);
    for (int i = 0; i < decoder.decodedValues().length(); ++i) {
      const BufrValues& v = decoder.decodedValues().at(i);
      if ((v.descriptor() == 1008 && v.text() != id) ||
          (v.descriptor() == 4006 && long(v.value()) != n / 1000 % 60))
        return {};
      if (v.descriptor() == 4006) std::snprintf(id, sizeof id, "B%05ld", ++n % 1000);
    }
  }
  return files;
}

// The store's index alone, for every report of the files, in a tree of its
// own: finding or making each record (its sync included) and releasing its
// handle (a sync again), without the values written.
double acarsIndexOnly(const std::vector<File>& files, const std::string& root) {
  makeSite(root);
  std::string point = root + "/data/point/acars/netcdf";
  fs::create_directories(point);
  fs::copy_file(ZEPH_SITE_TEMPLATES "/acars.nc", point + "/template");
  NetcdfPointData* data = NetcdfPointData::getNetcdfPointData(point.c_str(), true, false);
  PlainBufrDecoder decoder;
  double seconds = 0;
  for (const File& f : files) {
    std::vector<unsigned char> buffer = asBuffer(f.bytes);
    if (data == nullptr || !decoder.decodeMessage(buffer.data(), buffer.size())) continue;
    SeqOf<TextString> ids;
    SeqOf<double> times;
    const SeqOf<BufrValues>& v = decoder.decodedValues();
    for (int i = 0; i < v.length(); ++i) {
      if (v.at(i).descriptor() == 1008) ids.append(v.at(i).text());
      if (v.at(i).descriptor() == 4001 && i + 5 < v.length())
        times.append(AbsTime(int(v.at(i).value()), int(v.at(i + 1).value()),
                             int(v.at(i + 2).value()), int(v.at(i + 3).value()),
                             int(v.at(i + 4).value()), int(v.at(i + 5).value()))
                         .seconds());
    }
    Clock::time_point start = Clock::now();
    for (int r = 0; r < ids.length() && r < times.length(); ++r) {
      long record;
      bool isNew;
      int* handle = data->getFileHandleAndRecord(SeqOf<TextString>(1, &ids.at(r)),
                                                 SeqOf<double>(1, &times.at(r)), record,
                                                 isNew);
      if (handle) data->releaseHandle(handle);
    }
    seconds += since(start);
  }
  return seconds;
}

int countFiles(const std::string& directory) {
  int n = 0;
  for (const auto& entry : fs::directory_iterator(directory))
    n += entry.path().filename() != "template";
  return n;
}

// ACARS has no pause between files: the directory is run as the driver
// runs it, after the set-up.
bool acarsReports(int count, const std::string& root) {
  std::vector<File> files = makeAcarsFiles(count);
  if (files.empty()) {
    std::fprintf(stderr, "products_bench: no ACARS files made\n");
    return false;
  }
  makeSite(root + "/whole");
  std::string input = root + "/whole/data" + kAcarsTraits.dataDirectory;
  std::string point = root + "/whole/data/point/acars/netcdf";
  fs::create_directories(input);
  fs::create_directories(root + "/whole/data" + kAcarsTraits.badDirectory);
  fs::create_directories(point);
  fs::copy_file(ZEPH_SITE_TEMPLATES "/acars.nc", point + "/template");
  for (const File& f : files) std::ofstream(input + "/" + f.name, std::ios::binary) << f.bytes;
  clearSentNotifications();
  Clock::time_point start = Clock::now();
  std::clock_t cpuStart = std::clock();
  {
    AcarsBufrDecoder decoder;
    decoder.processBufrDirectory();
  }
  double whole = since(start);
  double cpu = double(std::clock() - cpuStart) / CLOCKS_PER_SEC;
  size_t reports = sentNotifications().size();
  int left = countFiles(input) + countFiles(root + "/whole/data" + kAcarsTraits.badDirectory);
  int pointFiles = countFiles(point);
  double decoding = decodeOnly(files);
  double index = acarsIndexOnly(files, root + "/index");
  double rest = whole - decoding - index;
  std::printf("\nACARS: %zu files, %zu reports stored, %d files left over or bad, "
              "in %.2f s, %.2f s of it on the CPU (no pause between files)\n",
              files.size(), reports, left, whole, cpu);
  std::printf("%.1f files/s, %.1f reports/s; without the one-second waits of the %d "
              "point files made: %.1f files/s\n", files.size() / whole, reports / whole,
              pointFiles, files.size() / (whole - pointFiles));
  std::printf("decoding     %6.3f s  %5.1f %%\n", decoding, 100 * decoding / whole);
  std::printf("store index  %6.3f s  %5.1f %%  (records made, two syncs each, handles "
              "released; with the point files' waits)\n", index, 100 * index / whole);
  std::printf("netCDF writes and the rest %6.3f s  %5.1f %%\n", rest, 100 * rest / whole);
  return left == 0 && reports == files.size() * 20;
}

}  // namespace

int main(int argc, char** argv) {
  int count = argc > 1 ? std::atoi(argv[1]) : 320;
  if (count < 1) count = 320;
  int acarsCount = argc > 2 ? std::atoi(argv[2]) : 1000;
  if (acarsCount < 1) acarsCount = 1000;
  recordNotifications(true);
  LogStream& log = LogStream::instance();
  for (int sink = 0; sink < LogStream::NUM_SINKS; ++sink)
    log.setFilter(nullptr, nullptr, LogStream::Sink(sink), 0xFFFFFFFF, false);
  char pattern[] = "/tmp/model_bench.XXXXXX";
  if (mkdtemp(pattern) == nullptr) return 1;
  std::string root = pattern;
  std::vector<File> files = makeFiles(count);
  if (files.empty()) {
    std::fprintf(stderr, "model_bench: no sample files\n");
    return 1;
  }

  std::string input = makeSite(root + "/whole");
  for (const File& f : files) std::ofstream(input + "/" + f.name, std::ios::binary) << f.bytes;
  clearSentNotifications();
  Clock::time_point start = Clock::now();
  {
    ModelBufrDecoder decoder;
    decoder.processBufrDirectory();
  }
  double whole = since(start);
  size_t stations = sentNotifications().size();
  size_t left = std::distance(fs::directory_iterator(input), fs::directory_iterator());

  double decoding = decodeOnly(files);
  double index = indexOnly(files, root + "/index");
  double writes = whole - decoding - index;
  int pointFiles = 0;
  for (const char* model : kModels)
    for (const auto& entry : fs::directory_iterator(
             root + "/whole/data/point/model/" + model + "/netcdf"))
      pointFiles += entry.path().filename() != "template";
  std::printf("%zu model files, %zu stations stored, %zu files left over, "
              "in %.2f s\n", files.size(), stations, left, whole);
  std::printf("%.1f files/s, %.1f stations/s\n", files.size() / whole,
              stations / whole);
  std::printf("decoding     %6.3f s  %5.1f %%\n", decoding, 100 * decoding / whole);
  std::printf("store index  %6.3f s  %5.1f %%  (records found or made, handles "
              "released)\n", index, 100 * index / whole);
  std::printf("  of which   %6.3f s  %5.1f %%  the one-second wait of each of the "
              "%d point files made\n", double(pointFiles), 100 * pointFiles / whole,
              pointFiles);
  std::printf("netCDF writes and the rest %6.3f s  %5.1f %%\n", writes,
              100 * writes / whole);
  int quarter = (count + 3) / 4;
  satelliteFamily("POES soundings", "poes", kPoesTraits, "/point/POES/netcdf",
                  "poes", quarter, root + "/poes",
                  [] { return new UnpausedSoundings(kPoesTraits, kPoesFamily); });
  satelliteFamily("GOES soundings", "goes", kGoesTraits, "/point/GOES/netcdf",
                  "goes", quarter, root + "/goes",
                  [] { return new UnpausedSoundings(kGoesTraits, kGoesFamily); });
  satelliteFamily("High-density winds", "hdw", kHdwTraits, "/point/CSW/netcdf",
                  "csw", quarter, root + "/hdw",
                  [] { return new HDWBufrDecoder(unpaused(kHdwTraits)); });
  satelliteFamily("QuikScat winds", "quikscat", kQuikScatTraits,
                  "/point/QuikScat/netcdf", "quikscat", quarter,
                  root + "/quikscat", [] {
                    return new QuikScatBufrDecoder(unpaused(kQuikScatTraits));
                  });
  bool acars = acarsReports(acarsCount, root + "/acars");
  fs::remove_all(root);
  return left == 0 && acars ? 0 : 1;
}
