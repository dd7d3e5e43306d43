#ifndef ZEPH_TESTS_DECODER_DECODERSITE_H_
#define ZEPH_TESTS_DECODER_DECODERSITE_H_

#include <chrono>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "ChildProgram.h"
#include "ProductSite.h"

extern const double kPatience;  // seconds; the machine may be busy
extern const std::string kSamples;  // the sample site's folders

// A product message that names `id` where a decoder of several products
// looks for it: five characters behind the first point.
std::string naming(const std::string& id);
// What a shell command writes on standard output.
std::string commandOutput(const std::string& command);

// Polls `done` every tenth of a second; false when `seconds` pass first.
template <class Condition>
bool waitUntil(Condition done, double seconds) {
  auto end = std::chrono::steady_clock::now() +
             std::chrono::duration<double>(seconds);
  while (!done()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }
  return true;
}

// A product family as a decoder process finds it: its word, its
// directories, its sample folder, its point directories with the name of
// each one's template.
struct SiteFamily {
  const char* word;
  const ProductTraits* traits;
  const char* samples;
  std::vector<std::pair<std::string, std::string>> pointDirectories;
};
const std::vector<SiteFamily>& siteFamilies();
// The data files of a family's sample folder, without the recipes,
// definitions and expected values beside them.
std::vector<std::string> sampleFiles(const SiteFamily& family);

// A site under a temporary root for decoder processes: the directories of
// every family with their point directories, a configuration of
// its own whose notification server and data controller stand at free
// ports, and a log directory. The children run with standard error in
// one file.
class DecoderSiteTest : public ProductSiteTest {
 protected:
  void SetUp() override;

  void makeSite(const std::string& data);
  std::string dir(const ProductTraits& t) { return data(t.dataDirectory); }
  void putSample(const ProductTraits& t, const std::string& family,
                 const std::string& name, const std::string& as = "") {
    std::filesystem::copy_file(kSamples + family + "/" + name,
                               dir(t) + "/" + (as.empty() ? name : as));
  }

  std::unique_ptr<ChildProgram> start(std::vector<std::string> argv) {
    auto child =
        std::make_unique<ChildProgram>(argv, root.file("children.err"));
    EXPECT_TRUE(child->started());
    return child;
  }
  std::unique_ptr<ChildProgram> notifier() {
    auto child = start({STAND_IN_NOTIFIER});
    EXPECT_EQ("listening", child->waitFor("listening", kPatience));
    return child;
  }
  // With a name the stand-in takes that named target; its target's text,
  // which a decoder gets as its first argument, is kept in `_parent`.
  std::unique_ptr<ChildProgram> controller(const std::string& name = "");
  std::unique_ptr<ChildProgram> decoder(const std::string& product,
                                        const char* program = BUFR_DECODER) {
    return start({program, _parent, "42", product});
  }

  // Everything the children logged: the log files and standard error.
  std::string logs();
  // The registration a decoder sends: its child report, its pattern, its
  // ready. Answers the pattern.
  std::string expectRegistration(ChildProgram& parent, pid_t child);
  // Sends a product and waits for the ready that follows its handling.
  void sendProduct(ChildProgram& parent, const std::string& text);

  std::string _parent;
};

#endif  // ZEPH_TESTS_DECODER_DECODERSITE_H_
