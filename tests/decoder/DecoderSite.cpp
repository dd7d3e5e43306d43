#include "DecoderSite.h"

#include <unistd.h>

#include <filesystem>
#include <fstream>

namespace fs = std::filesystem;

namespace {
const std::string kSamples = ZEPH_SOURCE_DIR "/site/samples/";
}  // namespace

const double kPatience = 60;

std::string naming(const std::string& id) {
  std::string text = "input.wmo " + id + " KWBC 221200";
  text.resize(48, '-');
  return text;
}

void DecoderSiteTest::SetUp() {
  ProductSiteTest::SetUp();
  makeSite(root.file("data"));
  std::ofstream config(root.file("home/data/zeph.config"));
  config << "SeqOfTextString = namedTargets\n"
         << "SocketConnection.namedTargets: NOTIFICATION_SERVER, 127.0.0.1, "
         << freePort() << ", DATA_CONTROLLER, 127.0.0.1, " << freePort()
         << "\n";
  setenv("LOG_DIR", root.file("logs").c_str(), 1);
}

const std::vector<SiteFamily>& siteFamilies() {
  static const std::vector<SiteFamily> families = {
      {"model", &kModelTraits, "model",
       {{"/point/model/ETA/netcdf", "modelETA"},
        {"/point/model/RUC/netcdf", "modelRUC"},
        {"/point/model/AVN/netcdf", "modelAVN"},
        {"/point/model/NGM/netcdf", "modelNGM"}}},
      {"goes", &kGoesTraits, "goes", {{"/point/GOES/netcdf", "goes"}}},
      {"poes", &kPoesTraits, "poes", {{"/point/POES/netcdf", "poes"}}},
      {"acars", &kAcarsTraits, "acars", {{"/point/acars/netcdf", "acars"}}},
      {"csw", &kHdwTraits, "hdw", {{"/point/CSW/netcdf", "csw"}}},
      {"prof", &kProfilerTraits, "profiler",
       {{"/point/prof/netcdf", "profiler"}, {"/point/CAP/netcdf", "profilerCAP"}}},
      {"quikscat", &kQuikScatTraits, "quikscat",
       {{"/point/QuikScat/netcdf", "quikscat"}}},
  };
  return families;
}

void DecoderSiteTest::makeSite(const std::string& data) {
  for (const SiteFamily& family : siteFamilies()) {
    fs::create_directories(data + family.traits->dataDirectory);
    fs::create_directories(data + family.traits->badDirectory);
    for (const auto& point : family.pointDirectories) {
      fs::create_directories(data + point.first);
      fs::copy_file(ZEPH_SITE_TEMPLATES "/" + point.second + ".nc",
                    data + point.first + "/template",
                    fs::copy_options::overwrite_existing);
    }
  }
}

void DecoderSiteTest::putSample(const ProductTraits& t, const std::string& family,
                                const std::string& name, const std::string& as) {
  fs::copy_file(kSamples + family + "/" + name,
                dir(t) + "/" + (as.empty() ? name : as));
}

std::unique_ptr<ChildProgram> DecoderSiteTest::start(std::vector<std::string> argv) {
  auto child = std::make_unique<ChildProgram>(argv, root.file("children.err"));
  EXPECT_TRUE(child->started());
  return child;
}

std::unique_ptr<ChildProgram> DecoderSiteTest::notifier() {
  auto child = start({STAND_IN_NOTIFIER});
  EXPECT_EQ("listening", child->waitFor("listening", kPatience));
  return child;
}

std::unique_ptr<ChildProgram> DecoderSiteTest::controller(const std::string& name) {
  auto child = name.empty() ? start({STAND_IN_CONTROLLER})
                            : start({STAND_IN_CONTROLLER, name});
  std::string line = child->waitFor("target ", kPatience);
  EXPECT_FALSE(line.empty());
  _parent = line.substr(7);
  return child;
}

std::unique_ptr<ChildProgram> DecoderSiteTest::decoder(const std::string& product,
                                                       const char* program) {
  return start({program, _parent, "42", product});
}

std::string DecoderSiteTest::logs() {
  std::string all = readFile(root.file("children.err"));
  if (fs::exists(root.file("logs")))
    for (const auto& entry : fs::recursive_directory_iterator(root.file("logs")))
      if (entry.is_regular_file()) all += readFile(entry.path().string());
  return all;
}

std::string DecoderSiteTest::expectRegistration(ChildProgram& parent, pid_t child) {
  EXPECT_EQ("ChildTargetMsg id=42 pid=" + std::to_string(child),
            parent.waitFor("ChildTargetMsg", kPatience));
  std::string request = parent.waitFor("DataReqMsg pattern=", kPatience);
  EXPECT_EQ("ReadyMsg", parent.waitFor("ReadyMsg", kPatience));
  return request.empty() ? "" : request.substr(19);
}

void DecoderSiteTest::sendProduct(ChildProgram& parent, const std::string& text) {
  parent.writeLine("product 7 " + text);
  EXPECT_EQ("sent 0", parent.waitFor("sent ", kPatience));
  EXPECT_EQ("ReadyMsg", parent.waitFor("ReadyMsg", kPatience));
}

std::vector<std::string> DecoderSiteTest::drain(ChildProgram& program, double seconds) {
  std::vector<std::string> lines;
  std::string line;
  while (program.readLine(&line, seconds)) lines.push_back(line);
  return lines;
}
