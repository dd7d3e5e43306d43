#ifndef ZEPH_TESTS_DECODER_DECODERSITE_H_
#define ZEPH_TESTS_DECODER_DECODERSITE_H_

#include <memory>
#include <string>
#include <vector>

#include "ChildProgram.h"
#include "ProductSite.h"

extern const double kPatience;  // seconds; the machine may be busy

// A product message that names `id` where a decoder of several products
// looks for it: five characters behind the first point.
std::string naming(const std::string& id);

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
                 const std::string& name, const std::string& as = "");

  std::unique_ptr<ChildProgram> start(std::vector<std::string> argv);
  std::unique_ptr<ChildProgram> notifier();
  // With a name the stand-in takes that named target; its target's text,
  // which a decoder gets as its first argument, is kept in `_parent`.
  std::unique_ptr<ChildProgram> controller(const std::string& name = "");
  std::unique_ptr<ChildProgram> decoder(const std::string& product,
                                        const char* program = BUFR_DECODER);

  // Everything the children logged: the log files and standard error.
  std::string logs();
  // The registration a decoder sends: its child report, its pattern, its
  // ready. Answers the pattern.
  std::string expectRegistration(ChildProgram& parent, pid_t child);
  // Sends a product and waits for the ready that follows its handling.
  void sendProduct(ChildProgram& parent, const std::string& text);
  static std::vector<std::string> drain(ChildProgram& program, double seconds);

  std::string _parent;
};

#endif  // ZEPH_TESTS_DECODER_DECODERSITE_H_
