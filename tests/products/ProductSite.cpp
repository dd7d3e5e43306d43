#include "ProductSite.h"

#include <dirent.h>
#include <stdlib.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "BufrEngineState.h"
#include "InfoFileServer.h"
#include "dmNotify.h"

namespace fs = std::filesystem;

void ProductSiteTest::SetUp() {
  fs::create_directories(root.file("home/data"));
  for (const auto& entry : fs::directory_iterator(ZEPH_SOURCE_DIR "/site/data"))
    fs::copy_file(entry.path(),
                  root.file("home/data/") + entry.path().filename().string(),
                  fs::copy_options::overwrite_existing);
  setenv("ZEPH_HOME", root.file("home").c_str(), 1);
  setenv("ZEPH_DATA", root.file("data").c_str(), 1);
  unsetenv("FILE_SERVER_DEFAULT_PATHS");
  resetInfoFileServerForTests();
  BufrEngineState::get().patternCache.clear();
  clearSentNotifications();
}

void ProductSiteTest::makeProductDirectories(const ProductTraits& traits) {
  _input = data(traits.dataDirectory);
  _bad = data(traits.badDirectory);
  fs::create_directories(_input);
  fs::create_directories(_bad);
}

void ProductSiteTest::makePointDirectory(const std::string& relative,
                                         const std::string& templateName) {
  fs::create_directories(data(relative));
  fs::copy_file(ZEPH_SITE_TEMPLATES "/" + templateName + ".nc",
                data(relative) + "/template",
                fs::copy_options::overwrite_existing);
}

void ProductSiteTest::put(const std::string& name, const std::string& bytes) {
  std::ofstream out(_input + "/" + name, std::ios::binary);
  out << bytes;
}

std::vector<std::string> ProductSiteTest::names(const std::string& directory) {
  std::vector<std::string> found;
  std::error_code error;
  for (const auto& entry : fs::directory_iterator(directory, error))
    found.push_back(entry.path().filename().string());
  std::sort(found.begin(), found.end());
  return found;
}

std::string readBinary(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string((std::istreambuf_iterator<char>(in)),
                     std::istreambuf_iterator<char>());
}
