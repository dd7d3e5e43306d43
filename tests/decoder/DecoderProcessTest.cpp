// The decoder executable as a child process between a stand-in data
// controller and a stand-in notification server, all on 127.0.0.1 over a
// site under a temporary root: registration, products, readies and
// notifications as they pass between real processes.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "DecoderSite.h"
#include "ModelBufrDecoder.h"
#include "dmNotify.h"

namespace {

using DecoderProcessTest = DecoderSiteTest;

// One decoder: any product message wakes it; the files of its directory
// are stored, the stand-in notification server hears of every data time
// that the same files give a decoder in this process, and a ready answers.
TEST_F(DecoderProcessTest, SingleDecoderFromProductToNotification) {
  std::vector<std::string> samples = sampleFiles(siteFamilies().front());
  ASSERT_GE(samples.size(), 8u);

  // What a decoder notifies for these files, found in this process.
  std::string oracle = root.file("oracle");
  makeSite(oracle);
  setenv("ZEPH_DATA", oracle.c_str(), 1);
  for (const std::string& name : samples)
    std::filesystem::copy_file(kSamples + "model/" + name,
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
  EXPECT_FALSE(server->readLine(&line, 0.5)) << line;
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
  std::string line;
  EXPECT_FALSE(server->readLine(&line, 0.5)) << line;

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

}  // namespace
