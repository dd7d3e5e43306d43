// The decoder list and the product message handlers in this process, with
// real decoders over a site under a temporary root: which words make which
// decoders, which decoder a product id reaches, and what a product message
// must hold before it wakes one.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "BufrDecoder.h"
#include "BufrDriver.h"
#include "DecoderSite.h"

namespace {

using DecoderListTest = DecoderSiteTest;

TEST_F(DecoderListTest, ProductWordsMakeDecodersInTableOrder) {
  const std::string model = "Model Soundings";
  const std::string goes = "GOES Soundings";
  const std::string poes = "POES Soundings";
  struct Case {
    const char* name;
    std::vector<std::string> made;
  } cases[] = {
      {"MODEL", {model}},
      {"ACARS", {"Acars"}},
      {"CSW-prof-QuikScat", {"High", "Prof", "Quik"}},
      {"poesgoes", {goes, poes}},  // the table's order, not the name's
      {"xxGOESxxModelxx", {model, goes}},
      {"hdw", {}},  // the high-density winds' word is "csw"
      {"", {}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    BufrDecoderList list;
    EXPECT_EQ(!c.made.empty(), list.createDecoders(c.name));
    std::vector<std::string> made;
    for (int i = 0; i < list.length(); ++i)
      made.push_back(list.decoderAt(i)->decoder->productName().chars());
    // Names may differ in case from the table's; compare what was made.
    ASSERT_EQ(c.made.size(), made.size());
    for (size_t i = 0; i < made.size(); ++i)
      EXPECT_NE(std::string::npos, made[i].find(c.made[i].substr(0, 4)))
          << made[i];
    EXPECT_EQ(nullptr, list.decoderAt(-1));
    EXPECT_EQ(nullptr, list.decoderAt(list.length()));
  }
}

TEST_F(DecoderListTest, PatternsAndProductIds) {
  BufrDecoderList list;
  ASSERT_TRUE(list.createDecoders("goes+poes+model"));
  std::string pattern = list.dataRequestPattern().chars();
  std::string model = list.decoderAt(0)->pattern.chars();
  std::string goes = list.decoderAt(1)->pattern.chars();
  std::string poes = list.decoderAt(2)->pattern.chars();
  ASSERT_FALSE(model.empty());
  EXPECT_EQ(model + "|" + goes + "|" + poes, pattern);
  EXPECT_EQ(36000, list.shortestPeriod());

  struct Case {
    const char* id;
    int decoder;  // -1: none
  } cases[] = {{"JUSA41", 0}, {"IUSA11", 1}, {"IUTX01", 2},
               {"xIUTX01", 2},  // the match may lie anywhere
               {"IUAX01", -1}, {"", -1}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.id);
    BufrDecoderList::DecoderObjectInfo* found = list.findDecoder(c.id);
    EXPECT_EQ(c.decoder < 0 ? nullptr : list.decoderAt(c.decoder), found);
  }
}

// A message with one decoder per product: only a message that names a
// product wakes its decoder, which then handles every file of its
// directory. A file still there afterwards was never looked at.
TEST_F(DecoderListTest, MultipleHandlerTakesTheIdBehindTheFirstPoint) {
  ASSERT_TRUE(decoderList().createDecoders("goes poes"));
  const std::string goesFile = dir(kGoesTraits) + "/IUSA11_KNES_202403221846";
  auto padded = [](std::string text, size_t size) {
    text.resize(size, ' ');
    return text;
  };
  struct Case {
    std::string message;
    const char* line;  // what the handler logs; empty for none
    bool handled;
  } cases[] = {
      {padded("x.wmo IUSA11 KNES", 39), "PROBLEM: Product id information "
                                        "not contained in ipc message", false},
      {padded("no point at all, IUSA11 KNES", 40),
       "PROBLEM: Product ID not found in notification message.", false},
      {padded("x.wmo IUAX01 KWBC . IUSA11", 40),
       "PROBLEM: IUAX01 is not a valid Product ID for this decoder.", false},
      {padded("", 38) + ".IU", "PROBLEM:  is not a valid Product ID", false},
      {padded("x.wmo IUSA11 KNES", 40), "", true},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.message);
    writeFile(goesFile, readBinary(kSamples + "goes/IUSA11_KNES_202403221846"));
    StderrCapture err;
    std::string text = c.message;
    processMsg_Multiple(0, static_cast<long>(text.size()),
                        reinterpret_cast<unsigned char*>(&text[0]));
    std::string log = err.text();
    if (*c.line) {
      EXPECT_NE(std::string::npos, log.find(c.line)) << log;
    }
    EXPECT_EQ(c.handled, names(dir(kGoesTraits)).empty());
    EXPECT_EQ(c.handled ? decoderList().decoderAt(0) : nullptr, currentDecoder);
  }
}

}  // namespace
