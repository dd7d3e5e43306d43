#include "DecoderSite.h"

#include <stdio.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

namespace fs = std::filesystem;

const double kPatience = 60;
const std::string kSamples = ZEPH_SOURCE_DIR "/site/samples/";

std::string naming(const std::string& id) {
  std::string text = "input.wmo " + id + " KWBC 221200";
  text.resize(48, '-');
  return text;
}

std::string commandOutput(const std::string& command) {
  std::string out;
  FILE* pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) return out;
  char chunk[4096];
  for (size_t n; (n = fread(chunk, 1, sizeof chunk, pipe)) > 0;)
    out.append(chunk, n);
  pclose(pipe);
  return out;
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
       {{"/point/prof/netcdf", "profiler"},
        {"/point/CAP/netcdf", "profilerCAP"}}},
      {"quikscat", &kQuikScatTraits, "quikscat",
       {{"/point/QuikScat/netcdf", "quikscat"}}},
  };
  return families;
}

std::vector<std::string> sampleFiles(const SiteFamily& family) {
  std::vector<std::string> files;
  const std::string folder = kSamples + family.samples + "/";
  for (const std::string& name : ProductSiteTest::names(folder))
    if (!fs::is_directory(folder + name) && name.find('.') == std::string::npos)
      files.push_back(name);
  return files;
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

std::unique_ptr<ChildProgram> DecoderSiteTest::controller(
    const std::string& name) {
  auto child = name.empty() ? start({STAND_IN_CONTROLLER})
                            : start({STAND_IN_CONTROLLER, name});
  std::string line = child->waitFor("target ", kPatience);
  EXPECT_FALSE(line.empty());
  _parent = line.substr(7);
  return child;
}

std::string DecoderSiteTest::logs() {
  std::string all = readFile(root.file("children.err"));
  if (fs::exists(root.file("logs")))
    for (const auto& e : fs::recursive_directory_iterator(root.file("logs")))
      if (e.is_regular_file()) all += readFile(e.path().string());
  return all;
}

std::string DecoderSiteTest::expectRegistration(ChildProgram& parent,
                                                pid_t child) {
  EXPECT_EQ("ChildTargetMsg id=42 pid=" + std::to_string(child),
            parent.waitFor("ChildTargetMsg", kPatience));
  std::string request = parent.waitFor("DataReqMsg pattern=", kPatience);
  EXPECT_EQ("ReadyMsg", parent.waitFor("ReadyMsg", kPatience));
  return request.empty() ? "" : request.substr(19);
}

void DecoderSiteTest::sendProduct(ChildProgram& parent,
                                  const std::string& text) {
  parent.writeLine("product 7 " + text);
  EXPECT_EQ("sent 0", parent.waitFor("sent ", kPatience));
  EXPECT_EQ("ReadyMsg", parent.waitFor("ReadyMsg", kPatience));
}
