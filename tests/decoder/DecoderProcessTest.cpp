// The decoder executable as a child process between a stand-in data
// controller and a stand-in notification server, all on 127.0.0.1 over a
// site under a temporary root: registration, products, readies and
// notifications as they pass between real processes.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "GOESBufrDecoder.h"
#include "ModelBufrDecoder.h"
#include "ChildProgram.h"
#include "ProductSite.h"
#include "dmNotify.h"

namespace {

namespace fs = std::filesystem;
const std::string kSamples = ZEPH_SOURCE_DIR "/site/samples/";
const double kPatience = 60;  // seconds; the machine may be busy

int freePort() {
  int fd = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  bind(fd, reinterpret_cast<sockaddr*>(&address), size);
  getsockname(fd, reinterpret_cast<sockaddr*>(&address), &size);
  close(fd);
  return ntohs(address.sin_port);
}

// A product message that names `id` where a decoder of several products
// looks for it: five characters behind the first point.
std::string naming(const std::string& id) {
  std::string text = "input.wmo " + id + " KWBC 221200";
  text.resize(48, '-');
  return text;
}

class DecoderProcessTest : public ProductSiteTest {
 protected:
  void SetUp() override {
    ProductSiteTest::SetUp();
    makeSite(root.file("data"));
    std::ofstream config(root.file("home/data/zeph.config"));
    config << "SeqOfTextString = namedTargets\n"
           << "SocketConnection.namedTargets: NOTIFICATION_SERVER, 127.0.0.1, "
           << freePort() << ", DATA_CONTROLLER, 127.0.0.1, " << freePort()
           << "\n";
    setenv("LOG_DIR", root.file("logs").c_str(), 1);
  }

  void makeSite(const std::string& data) {
    for (const ProductTraits* t : {&kModelTraits, &kGoesTraits, &kPoesTraits}) {
      fs::create_directories(data + t->dataDirectory);
      fs::create_directories(data + t->badDirectory);
    }
    auto point = [&](const std::string& relative, const std::string& name) {
      fs::create_directories(data + relative);
      fs::copy_file(ZEPH_SITE_TEMPLATES "/" + name + ".nc",
                    data + relative + "/template",
                    fs::copy_options::overwrite_existing);
    };
    for (const char* model : {"ETA", "RUC", "AVN", "NGM"})
      point(std::string("/point/model/") + model + "/netcdf",
            std::string("model") + model);
    point("/point/GOES/netcdf", "goes");
    point("/point/POES/netcdf", "poes");
  }

  std::string dir(const ProductTraits& t) { return data(t.dataDirectory); }
  void putSample(const ProductTraits& t, const std::string& family,
                 const std::string& name) {
    fs::copy_file(kSamples + family + "/" + name, dir(t) + "/" + name);
  }

  std::unique_ptr<ChildProgram> start(std::vector<std::string> argv) {
    auto child = std::make_unique<ChildProgram>(argv, root.file("children.err"));
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
  std::unique_ptr<ChildProgram> controller(const std::string& name = "") {
    auto child = name.empty() ? start({STAND_IN_CONTROLLER})
                              : start({STAND_IN_CONTROLLER, name});
    std::string line = child->waitFor("target ", kPatience);
    EXPECT_FALSE(line.empty());
    _parent = line.substr(7);
    return child;
  }
  std::unique_ptr<ChildProgram> decoder(const std::string& product,
                                        const char* program = BUFR_DECODER) {
    return start({program, _parent, "42", product});
  }

  // Everything the children logged: the log files and standard error.
  std::string logs() {
    std::string all = readFile(root.file("children.err"));
    if (fs::exists(root.file("logs")))
      for (const auto& entry : fs::recursive_directory_iterator(root.file("logs")))
        if (entry.is_regular_file()) all += readFile(entry.path().string());
    return all;
  }

  // The registration a decoder sends: its child report, its pattern, its
  // ready. Answers the pattern.
  std::string expectRegistration(ChildProgram& parent, pid_t child) {
    EXPECT_EQ("ChildTargetMsg id=42 pid=" + std::to_string(child),
              parent.waitFor("ChildTargetMsg", kPatience));
    std::string request = parent.waitFor("DataReqMsg pattern=", kPatience);
    EXPECT_EQ("ReadyMsg", parent.waitFor("ReadyMsg", kPatience));
    return request.empty() ? "" : request.substr(19);
  }

  // Sends a product and waits for the ready that follows its handling.
  void sendProduct(ChildProgram& parent, const std::string& text) {
    parent.writeLine("product 7 " + text);
    EXPECT_EQ("sent 0", parent.waitFor("sent ", kPatience));
    EXPECT_EQ("ReadyMsg", parent.waitFor("ReadyMsg", kPatience));
  }

  static std::vector<std::string> drain(ChildProgram& program, double seconds) {
    std::vector<std::string> lines;
    std::string line;
    while (program.readLine(&line, seconds)) lines.push_back(line);
    return lines;
  }

  std::string _parent;
};

// One decoder: any product message wakes it; the files of its directory
// are stored, the stand-in notification server hears of every data time
// that the same files give a decoder in this process, and a ready answers.
TEST_F(DecoderProcessTest, SingleDecoderFromProductToNotification) {
  std::vector<std::string> samples;
  for (const std::string& name : names(kSamples + "model"))
    if (name.rfind("JUS", 0) == 0) samples.push_back(name);
  ASSERT_GE(samples.size(), 8u);

  // What a decoder notifies for these files, found in this process.
  std::string oracle = root.file("oracle");
  makeSite(oracle);
  setenv("ZEPH_DATA", oracle.c_str(), 1);
  for (const std::string& name : samples)
    fs::copy_file(kSamples + "model/" + name,
                  oracle + kModelTraits.dataDirectory + "/" + name);
  std::vector<std::string> expected;
  {
    ModelBufrDecoder model;
    model.processBufrDirectory();
    for (const SentNotification& n : sentNotifications())
      expected.push_back("DataMgmtMsg key=" + std::to_string(n.key) + " time=" +
                         std::to_string(n.dataTime.refTime().seconds()));
  }
  setenv("ZEPH_DATA", root.file("data").c_str(), 1);
  ASSERT_FALSE(expected.empty());

  auto server = notifier();
  auto parent = controller();
  auto child = decoder("Model");
  EXPECT_NE(std::string::npos,
            expectRegistration(*parent, child->pid()).find("JUSA4"));
  for (const std::string& name : samples) putSample(kModelTraits, "model", name);
  sendProduct(*parent, "anything at all");  // one decoder: no id needed

  EXPECT_TRUE(names(dir(kModelTraits)).empty());
  EXPECT_TRUE(names(data(kModelTraits.badDirectory)).empty());
  for (const char* model : {"ETA", "RUC", "AVN", "NGM"}) {
    std::string point = std::string("/point/model/") + model + "/netcdf";
    EXPECT_EQ(names(oracle + point), names(data(point))) << model;
  }
  std::vector<std::string> heard;
  std::string line;
  while (heard.size() < expected.size() && server->readLine(&line, kPatience))
    heard.push_back(line.substr(0, line.find(" (")));
  EXPECT_EQ(expected, heard);
  EXPECT_TRUE(drain(*server, 0.5).empty());
}

// Two decoders: a message reaches only the decoder whose pattern finds
// the id in it; a message that names nothing wakes none, and each is
// answered by a ready.
TEST_F(DecoderProcessTest, SeveralDecodersEachTakeTheirOwnProduct) {
  auto server = notifier();
  auto parent = controller();
  auto child = decoder("GOES and POES");
  std::string pattern = expectRegistration(*parent, child->pid());
  EXPECT_NE(std::string::npos, pattern.find("IUSA1"));
  EXPECT_NE(std::string::npos, pattern.find("|IUT"));
  putSample(kGoesTraits, "goes", "IUSA11_KNES_202403221846");
  putSample(kPoesTraits, "poes", "IUTX01_KNES_202403221342");

  sendProduct(*parent, "too.short IUTX01");
  sendProduct(*parent, naming("IUAX01"));
  EXPECT_EQ(1u, names(dir(kGoesTraits)).size());
  EXPECT_EQ(1u, names(dir(kPoesTraits)).size());
  EXPECT_TRUE(drain(*server, 0.5).empty());

  sendProduct(*parent, naming("IUTX01"));
  EXPECT_TRUE(names(dir(kPoesTraits)).empty());
  EXPECT_EQ(1u, names(dir(kGoesTraits)).size());
  EXPECT_FALSE(server->waitFor("DataMgmtMsg", kPatience).empty());
  sendProduct(*parent, naming("IUSA11"));
  EXPECT_TRUE(names(dir(kGoesTraits)).empty());

  std::string log = logs();
  for (const char* line :
       {"Product id information not contained in ipc message",
        "IUAX01 is not a valid Product ID for this decoder.",
        "Object for decoding GOES Sounding data created",
        "Object for decoding POES Sounding data created"})
    EXPECT_NE(std::string::npos, log.find(line)) << line;
}

// Refusals at start end the process with 1 and say why; the parent hears
// of the child all the same once its arguments are there.
TEST_F(DecoderProcessTest, RefusalsAtStart) {
  auto parent = controller();
  struct Case {
    std::vector<std::string> args;
    const char* line;
  } cases[] = {
      {{BUFR_DECODER}, " passed 0 arguments, expected 3, exiting"},
      {{BUFR_DECODER, _parent, "42"}, " passed 2 arguments, expected 3, exiting"},
      {{BUFR_DECODER, _parent, "42", "hdw"},
       "No decoder objects were created for hdw data. Exiting."},
  };
  for (const Case& c : cases) {
    auto child = start(c.args);
    int status = child->waitExit(kPatience);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 1) << status;
    EXPECT_NE(std::string::npos, logs().find(c.line)) << c.line;
  }
  EXPECT_EQ("ChildTargetMsg id=42 pid=", parent->waitFor("ChildTargetMsg", kPatience)
                                             .substr(0, 25));
  // A fourth argument is taken and ignored.
  auto child = start({BUFR_DECODER, _parent, "42", "model", "surplus"});
  expectRegistration(*parent, child->pid());
}

// Nobody listens where the parent should be: the decoder goes on and
// registers each period, so a controller that starts late, and one that
// restarts, hears of it. The period is the test decoder's two seconds.
TEST_F(DecoderProcessTest, RegistersAgainEachPeriod) {
  _parent = "DATA_CONTROLLER";
  auto child = decoder("brisk", BRISK_DECODER);
  sleep(1);
  for (int round = 0; round < 2; ++round) {
    SCOPED_TRACE(round);
    auto parent = controller("DATA_CONTROLLER");
    EXPECT_NE("", parent->waitFor("DataReqMsg pattern=JUSA4", kPatience));
    EXPECT_EQ("ReadyMsg", parent->waitFor("ReadyMsg", kPatience));
    sendProduct(*parent, "wake up");
    parent->writeLine("quit");
    EXPECT_EQ(0, parent->waitExit(kPatience));
  }
  std::string log = logs();
  EXPECT_NE(std::string::npos,
            log.find("No messages in time period. Re-registering."));
  EXPECT_EQ(-1, child->waitExit(0.1));  // still running
}

// Without a notification server the files are stored and deleted as ever;
// only the send fails.
TEST_F(DecoderProcessTest, NotificationServerDown) {
  auto parent = controller();
  auto child = decoder("goes");
  expectRegistration(*parent, child->pid());
  putSample(kGoesTraits, "goes", "IUSA11_KNES_202403221846");
  sendProduct(*parent, "wake up");
  EXPECT_TRUE(names(dir(kGoesTraits)).empty());
  EXPECT_TRUE(names(data(kGoesTraits.badDirectory)).empty());
  EXPECT_LT(1u, names(data("/point/GOES/netcdf")).size());  // beside the template
  EXPECT_NE(std::string::npos, logs().find("Target not available"));
}

}  // namespace
