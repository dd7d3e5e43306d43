// All seven decoders in one process over one data tree that holds the
// sample files of every family and bad files among them, against the same
// files handled by seven processes of one decoder each: every file ends
// deleted or in its product's bad directory, the same files in both, and
// the point files of both trees are the same to the last value. A mapping
// of one product leaking into another through the caches that the
// decoders of a process share would show as a difference.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>

#include <filesystem>
#include <string>
#include <vector>

#include "DecoderSite.h"

namespace {

// The samples whose names say what is wrong with them.
bool marked(const std::string& name) {
  for (const char* mark : {"OUTSIDE", "FAULTS", "NOTIME", "NOREG", "OFFGLOBE",
                           "BOUND", "NOTLOCAL"})
    if (name.find(mark) != std::string::npos) return true;
  return false;
}

class AllFamiliesTest : public DecoderSiteTest {
 protected:
  // The samples of every family, good and bad, and two bad files more for
  // each: a good file cut in half and a garbage file under a good name.
  void putFiles(const std::string& tree) {
    for (const SiteFamily& family : siteFamilies()) {
      std::string input = tree + family.traits->dataDirectory + "/";
      std::string folder = kSamples + family.samples + "/";
      std::string good;
      for (const std::string& name : sampleFiles(family)) {
        std::filesystem::copy_file(folder + name, input + name);
        if (good.empty() && !marked(name)) good = name;
      }
      ASSERT_FALSE(good.empty()) << family.word;
      std::string bytes = readBinary(folder + good);
      writeFile(input + good + "_CUT", bytes.substr(0, bytes.size() / 2));
      std::string garbage(bytes.size(), '\0');
      for (size_t i = 0; i < garbage.size(); ++i)
        garbage[i] = static_cast<char>((i * 7919 + 13) % 251);
      writeFile(input + good + "_GARBAGE", "BUFR" + garbage);
    }
  }

  bool inputsEmpty(const std::string& tree) {
    for (const SiteFamily& family : siteFamilies())
      if (!names(tree + family.traits->dataDirectory).empty()) return false;
    return true;
  }

  static std::string ncdump(const std::string& path) {
    return commandOutput("ncdump '" + path + "'");
  }
};

TEST_F(AllFamiliesTest, OneProcessStoresWhatSevenWould) {
  const std::string together = root.file("data");
  const std::string alone = root.file("alone");
  makeSite(alone);
  putFiles(together);
  putFiles(alone);

  // Each decoder has its tree as its ZEPH_DATA and nobody as its parent:
  // the files are there at the start.
  _parent = "DATA_CONTROLLER";
  std::vector<std::unique_ptr<ChildProgram>> children;
  std::string all;
  setenv("ZEPH_DATA", alone.c_str(), 1);
  for (const SiteFamily& family : siteFamilies()) {
    children.push_back(decoder(family.word));
    all += std::string(family.word) + "+";
  }
  setenv("ZEPH_DATA", together.c_str(), 1);
  children.push_back(decoder(all));
  waitUntil([&] { return inputsEmpty(together) && inputsEmpty(alone); },
            kPatience * 5);
  for (auto& child : children) {
    int status = child->stop(SIGTERM);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
  }

  int pointFiles = 0;
  for (const SiteFamily& family : siteFamilies()) {
    SCOPED_TRACE(family.word);
    EXPECT_TRUE(names(together + family.traits->dataDirectory).empty());
    EXPECT_EQ(names(alone + family.traits->badDirectory),
              names(together + family.traits->badDirectory));
    for (const auto& point : family.pointDirectories) {
      std::vector<std::string> files = names(together + point.first);
      EXPECT_EQ(names(alone + point.first), files) << point.first;
      for (const std::string& name : files) {
        if (name == "template") continue;
        ++pointFiles;
        EXPECT_EQ(ncdump(alone + point.first + "/" + name),
                  ncdump(together + point.first + "/" + name))
            << point.first << "/" << name;
      }
    }
  }
  EXPECT_LE(10, pointFiles);
  std::string log = logs();
  for (const char* line : {"Object for decoding Model Sounding data created",
                           "Object for decoding Seawinds data created"})
    EXPECT_NE(std::string::npos, log.find(line)) << line;
}

}  // namespace
