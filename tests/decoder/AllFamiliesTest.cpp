// All seven decoders in one process over one data tree that holds the
// sample files of every family and bad files among them, against the same
// files handled by seven processes of one decoder each: every file ends
// deleted or in its product's bad directory, the same files in both, and
// the point files of both trees are the same to the last value. A mapping
// of one product leaking into another through the caches that the
// decoders of a process share would show as a difference.
#include <gtest/gtest.h>
#include <signal.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "DecoderSite.h"

namespace {

namespace fs = std::filesystem;
const std::string kSamples = ZEPH_SOURCE_DIR "/site/samples/";

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
      std::string input = tree + family.traits->dataDirectory;
      std::string good;
      for (const std::string& name : names(kSamples + family.samples)) {
        if (fs::is_directory(kSamples + family.samples + "/" + name) ||
            name.find('.') != std::string::npos)
          continue;  // recipes, definitions, expected values
        fs::copy_file(kSamples + family.samples + "/" + name, input + "/" + name);
        if (good.empty() && !marked(name)) good = name;
      }
      ASSERT_FALSE(good.empty()) << family.word;
      std::string bytes = readBinary(kSamples + family.samples + "/" + good);
      writeFile(input + "/" + good + "_CUT", bytes.substr(0, bytes.size() / 2));
      std::string garbage(bytes.size(), '\0');
      for (size_t i = 0; i < garbage.size(); ++i)
        garbage[i] = static_cast<char>((i * 7919 + 13) % 251);
      writeFile(input + "/" + good + "_GARBAGE", "BUFR" + garbage);
    }
  }

  bool inputsEmpty(const std::string& tree) {
    for (const SiteFamily& family : siteFamilies())
      if (!names(tree + family.traits->dataDirectory).empty()) return false;
    return true;
  }

  // Starts the decoders of a tree, each with the tree as its ZEPH_DATA.
  void launch(const std::string& tree, const std::vector<std::string>& products) {
    setenv("ZEPH_DATA", tree.c_str(), 1);
    _parent = "DATA_CONTROLLER";  // nobody: the files are there at the start
    for (const std::string& product : products)
      _children.push_back(decoder(product));
  }
  // Waits until every input directory of the trees is empty, and ends the
  // decoders with SIGTERM.
  void finish(const std::vector<std::string>& trees) {
    auto done = [&] {
      for (const std::string& tree : trees)
        if (!inputsEmpty(tree)) return false;
      return true;
    };
    for (int i = 0; i < kPatience * 5 && !done(); ++i) usleep(100000);
    for (auto& child : _children) {
      int status = child->stop(SIGTERM);
      EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    }
  }

  std::vector<std::unique_ptr<ChildProgram>> _children;

  static std::string ncdump(const std::string& path) {
    std::string out = path + ".cdl";
    std::string command = "ncdump '" + path + "' > '" + out + "'";
    if (std::system(command.c_str()) != 0) return "ncdump failed";
    std::string text = readFile(out);
    fs::remove(out);
    return text;
  }
};

TEST_F(AllFamiliesTest, OneProcessStoresWhatSevenWould) {
  const std::string together = root.file("data");
  const std::string alone = root.file("alone");
  makeSite(alone);
  putFiles(together);
  putFiles(alone);

  std::vector<std::string> words;
  std::string all;
  for (const SiteFamily& family : siteFamilies()) {
    words.push_back(family.word);
    all += std::string(family.word) + "+";
  }
  launch(together, {all});
  launch(alone, words);
  finish({together, alone});

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
