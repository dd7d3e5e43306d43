// Corrupted copies of each product's sample files (cut short, bits
// flipped, section lengths that lie) through processBufrDirectory. Whatever
// the bytes: no crash, nothing left in the input directory, every file
// deleted or moved to the bad directory, and every point file the store
// wrote reads back whole. ZEPH_CAMPAIGN_FILES sets the number of files a
// product (default 60); a campaign of thousands runs in the sanitizer
// build.
#include <gtest/gtest.h>
#include <netcdf.h>
#include <stdlib.h>

#include <filesystem>
#include <cstdio>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "AcarsBufrDecoder.h"
#include "BufrEngineState.h"
#include "HDWBufrDecoder.h"
#include "ModelBufrDecoder.h"
#include "ProductSite.h"
#include "ProfBufrDecoder.h"
#include "QuikScatBufrDecoder.h"
#include "SatelliteSoundingDecoder.h"
#include "dmNotify.h"

namespace {

// A product's traits without the pause between files, which only
// throttles a feed: a campaign of thousands would wait minutes for it.
const ProductTraits& unpaused(const ProductTraits& traits) {
  static std::vector<std::unique_ptr<ProductTraits>> copies;
  copies.emplace_back(new ProductTraits(traits));
  copies.back()->pauses = false;
  return *copies.back();
}

class UnpausedSoundings : public SatelliteSoundingDecoder {
 public:
  UnpausedSoundings(const ProductTraits& traits, const SoundingFamily& family)
      : SatelliteSoundingDecoder(unpaused(traits), family) {}
};

class UnpausedProfiler : public ProfBufrDecoder {
 public:
  UnpausedProfiler() : ProfBufrDecoder(unpaused(kProfilerTraits)) {}
};

struct CampaignProduct {
  const char* name;
  const ProductTraits* traits;
  std::function<ProductDecoder*()> make;
  const char* samples;  // below site/samples, files of the product's names
  std::vector<std::pair<std::string, std::string>> pointDirectories;
};

std::vector<CampaignProduct> products() {
  return {
      {"model", &kModelTraits, [] { return new ModelBufrDecoder; }, "model",
       {{"/point/model/ETA/netcdf", "modelETA"},
        {"/point/model/RUC/netcdf", "modelRUC"},
        {"/point/model/AVN/netcdf", "modelAVN"},
        {"/point/model/NGM/netcdf", "modelNGM"}}},
      {"poes", &kPoesTraits,
       [] { return new UnpausedSoundings(kPoesTraits, kPoesFamily); }, "poes",
       {{"/point/POES/netcdf", "poes"}}},
      {"goes", &kGoesTraits,
       [] { return new UnpausedSoundings(kGoesTraits, kGoesFamily); }, "goes",
       {{"/point/GOES/netcdf", "goes"}}},
      {"acars", &kAcarsTraits, [] { return new AcarsBufrDecoder; }, "acars",
       {{"/point/acars/netcdf", "acars"}}},
      {"profiler", &kProfilerTraits, [] { return new UnpausedProfiler; },
       "profiler",
       {{"/point/prof/netcdf", "profiler"},
        {"/point/CAP/netcdf", "profilerCAP"}}},
      {"hdw", &kHdwTraits,
       [] { return new HDWBufrDecoder(unpaused(kHdwTraits)); }, "hdw",
       {{"/point/CSW/netcdf", "csw"}}},
      {"quikscat", &kQuikScatTraits,
       [] { return new QuikScatBufrDecoder(unpaused(kQuikScatTraits)); },
       "quikscat", {{"/point/QuikScat/netcdf", "quikscat"}}},
  };
}

int campaignSize() {
  const char* value = getenv("ZEPH_CAMPAIGN_FILES");
  int n = value ? atoi(value) : 0;
  return n > 0 ? n : 60;
}

// One of three harms, at a place drawn from the whole file.
std::string corrupt(const std::string& file, std::mt19937& random) {
  std::string bytes = file;
  size_t start = bytes.find("BUFR");
  switch (random() % 3) {
    case 0:
      bytes.resize(random() % bytes.size());
      break;
    case 1:
      for (int n = 1 + random() % 8; n > 0; --n)
        bytes[random() % bytes.size()] ^= char(1 << (random() % 8));
      break;
    default: {
      // The total length, or the length of Section 1, 3 or 4.
      size_t at = start == std::string::npos ? 0 : start + 4;
      if (start != std::string::npos && random() % 2) {
        size_t section = start + 8;
        for (int hops = random() % 3; hops > 0 && section + 3 < bytes.size();
             --hops)
          section += (size_t(uint8_t(bytes[section])) << 16) |
                     (size_t(uint8_t(bytes[section + 1])) << 8) |
                     uint8_t(bytes[section + 2]);
        at = section;
      }
      for (int k = 0; k < 3 && at + k < bytes.size(); ++k)
        bytes[at + k] = char(random());
    }
  }
  return bytes;
}

// Every variable of every point file, read whole.
void expectReadable(const std::string& directory) {
  for (const std::string& name : ProductSiteTest::names(directory)) {
    if (name == "template") continue;
    std::string path = directory + "/" + name;
    int ncid;
    ASSERT_EQ(NC_NOERR, nc_open(path.c_str(), NC_NOWRITE, &ncid)) << path;
    int variables = 0;
    nc_inq_nvars(ncid, &variables);
    for (int v = 0; v < variables; ++v) {
      int dims, ids[NC_MAX_VAR_DIMS];
      nc_inq_varndims(ncid, v, &dims);
      nc_inq_vardimid(ncid, v, ids);
      size_t size = 1;
      for (int d = 0; d < dims; ++d) {
        size_t length;
        nc_inq_dimlen(ncid, ids[d], &length);
        size *= length;
      }
      std::vector<double> values(size + 1);
      nc_type type;
      nc_inq_vartype(ncid, v, &type);
      if (type == NC_CHAR) {
        std::vector<char> text(size + 1);
        EXPECT_EQ(NC_NOERR, nc_get_var_text(ncid, v, text.data())) << path;
      } else {
        EXPECT_EQ(NC_NOERR, nc_get_var_double(ncid, v, values.data())) << path;
      }
    }
    nc_close(ncid);
  }
}

class CorruptionCampaignTest : public ProductSiteTest {};

TEST_F(CorruptionCampaignTest, EveryFileIsDeletedOrMovedAndStoredRecordsRead) {
  const int count = campaignSize();
  // A harm that names a sequence missing from Table D inside a replication
  // ends a decoder process; here it fails the message like any other.
  BufrEngineState& engine = BufrEngineState::get();
  void (*fatalTableMiss)(int) = engine.fatalTableMiss;
  engine.fatalTableMiss = [](int) {};
  for (const CampaignProduct& product : products()) {
    SCOPED_TRACE(product.name);
    SetUp();
    makeProductDirectories(*product.traits);
    for (const auto& point : product.pointDirectories)
      makePointDirectory(point.first, point.second);
    std::string samples =
        ZEPH_SOURCE_DIR "/site/samples/" + std::string(product.samples);
    std::vector<std::string> files;
    // The sample files are the regular files without an extension.
    for (const std::string& name : names(samples))
      if (name.find('.') == std::string::npos &&
          std::filesystem::is_regular_file(samples + "/" + name))
        files.push_back(name);
    ASSERT_FALSE(files.empty());
    std::mt19937 random(20261123);
    for (int i = 0; i < count; ++i) {
      const std::string& source = files[i % files.size()];
      char suffix[16];
      snprintf(suffix, sizeof suffix, "_c%05d", i);
      put(source + suffix, corrupt(readBinary(samples + "/" + source), random));
    }
    std::unique_ptr<ProductDecoder> decoder;
    {
      StderrCapture quiet;
      decoder.reset(product.make());  // POES and GOES run the directory here
      decoder->processBufrDirectory();
    }
    // Both fates occur: some harms leave a message that still stores.
    EXPECT_TRUE(names(input()).empty());
    EXPECT_GT(names(bad()).size(), 0u);
    EXPECT_LT(names(bad()).size(), size_t(count));
    EXPECT_GT(sentNotifications().size(), 0u);
    std::printf("%s: %d files, %zu moved to the bad directory, the rest "
                "deleted; %zu stations stored\n",
                product.name, count, names(bad()).size(),
                sentNotifications().size());
    for (const auto& point : product.pointDirectories)
      expectReadable(data(point.first));
  }
  engine.fatalTableMiss = fatalTableMiss;
}

}  // namespace
