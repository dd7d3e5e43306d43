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
// POES and GOES soundings: files/s and observations (subsets)/s, without
// the design's pause of 0.3 s between files, which throttles a feed and
// would be nearly all of the time.
//
//   products_bench [FILES]      (default 320 model files, a quarter as many
//                                of each satellite family)
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
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "LogStream.h"
#include "ModelBufrDecoder.h"
#include "NetcdfPointData.h"
#include "GOESBufrDecoder.h"
#include "PlainBufrDecoder.h"
#include "POESBufrDecoder.h"
#include "SatelliteSoundingDecoder.h"
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

// The satellite decoders without their pause between files.
class UnpausedSoundings : public SatelliteSoundingDecoder {
 public:
  UnpausedSoundings(const ProductTraits& traits, const SoundingFamily& family)
      : SatelliteSoundingDecoder(unpaused(traits), family) {}

 private:
  static const ProductTraits& unpaused(const ProductTraits& traits) {
    static std::vector<ProductTraits*> copies;
    copies.push_back(new ProductTraits(traits));
    copies.back()->pauses = false;
    return *copies.back();
  }
};

// Copies of a family's sample files in its input directory; the set-up of
// the decoder handles them, as it does what lies there at start.
void satelliteFamily(const char* name, const char* samples,
                     const ProductTraits& traits, const SoundingFamily& family,
                     const char* pointDirectory, const char* templateName,
                     int count, const std::string& root) {
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
  for (int i = 0; i < count && !sources.empty(); ++i) {
    const File& f = sources[i % sources.size()];
    char suffix[16];
    std::snprintf(suffix, sizeof suffix, "_%04d", i);
    std::ofstream(input + "/" + f.name + suffix, std::ios::binary) << f.bytes;
    std::vector<unsigned char> buffer = asBuffer(f.bytes);
    if (counter.decodeMessage(buffer.data(), buffer.size()))
      observations += counter.subsets();
  }
  Clock::time_point start = Clock::now();
  { UnpausedSoundings decoder(traits, family); }
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
}

}  // namespace

int main(int argc, char** argv) {
  int count = argc > 1 ? std::atoi(argv[1]) : 320;
  if (count < 1) count = 320;
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
  satelliteFamily("POES soundings", "poes", kPoesTraits, kPoesFamily,
                  "/point/POES/netcdf", "poes", (count + 3) / 4, root + "/poes");
  satelliteFamily("GOES soundings", "goes", kGoesTraits, kGoesFamily,
                  "/point/GOES/netcdf", "goes", (count + 3) / 4, root + "/goes");
  fs::remove_all(root);
  return left == 0 ? 0 : 1;
}
