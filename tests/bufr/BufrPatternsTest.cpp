#include <gtest/gtest.h>
#include <stdlib.h>

#include <fstream>
#include <set>
#include <string>

#include "BufrTestSupport.h"
#include "StaticBufrInfo.h"

namespace {

class BufrPatternsTest : public BufrTest {
 protected:
  // A decoder of its own pattern file: the cache is keyed by file name.
  TextString patterns(const char* name, const std::string& content,
                      std::unique_ptr<TestDecoder>& reader) {
    writeFile(home.file("data/") + name, content);
    reader.reset(new TestDecoder(name));
    return reader->getBufrPatterns();
  }
  // Whether the designator of `code` takes `digits`; false without one.
  static bool takes(const TestDecoder& reader, const char* code,
                    const char* digits) {
    regex_t* designator = nullptr;
    return reader.designators().lookup(TextString(code), &designator) &&
           BufrDecoder::matchesDesignator(TextString(digits), *designator);
  }
};

TEST_F(BufrPatternsTest, PatternFileGivesRequestCodesAndDesignators) {
  std::unique_ptr<TestDecoder> reader;
  TextString pattern = patterns("two.txt",
                                "Two pattern lines 2\n"
                                "IUAX0[12] 0[12]\n"
                                "JUSA4     4[0-9]\n",
                                reader);
  EXPECT_STREQ("IUAX0[12]|JUSA4", pattern.chars());
  EXPECT_EQ(2, reader->prefixes().length());
  EXPECT_TRUE(reader->prefixes().lookup(TextString("IUAX")));
  EXPECT_TRUE(reader->prefixes().lookup(TextString("JUSA")));
  EXPECT_TRUE(takes(*reader, "IUAX", "01"));
  EXPECT_FALSE(takes(*reader, "IUAX", "03"));

  // Read once: the second call is served from the cache.
  unlink(home.file("data/two.txt").c_str());
  EXPECT_STREQ("IUAX0[12]|JUSA4", reader->getBufrPatterns().chars());

  EXPECT_STREQ("JUSA", BufrDecoder::upperCaseLetters("JUSA4[0-9]").chars());
  EXPECT_STREQ("UAZ", BufrDecoder::upperCaseLetters("iU[A-Z]0").chars());
}

TEST_F(BufrPatternsTest, DesignatorRules) {
  std::unique_ptr<TestDecoder> reader;
  StderrCapture err;
  TextString pattern = patterns("rules.txt",
                                "Designator rules here 7\n"
                                "JUSA4     4[0-9]\n"
                                "JUSA5     5[0-9]\n"
                                "IUPT03\n"
                                "ISXX0     0([\n"
                                "IUTX0     0[1-9]\n"
                                "IUTN0",
                                reader);
  // A line without a blank is all alternative, newline and all; a line
  // without a newline keeps the designator of the line before; and a file
  // shorter than its count gives its last line once more.
  EXPECT_STREQ("JUSA4|JUSA5|IUPT03\n|ISXX0|IUTX0|IUTN0|IUTN0",
               pattern.chars());
  EXPECT_TRUE(takes(*reader, "JUSA", "41"));
  EXPECT_FALSE(takes(*reader, "JUSA", "51"));
  // A line of ten characters or less: an empty designator, matching all.
  EXPECT_TRUE(takes(*reader, "IUPT", "zz"));
  // A bad expression leaves the code without a designator.
  EXPECT_TRUE(reader->prefixes().lookup(TextString("ISXX")));
  EXPECT_FALSE(reader->designators().lookup(TextString("ISXX")));
  EXPECT_TRUE(takes(*reader, "IUTN", "07"));
  std::string log = err.text();
  EXPECT_EQ(1, countOf(log, "BUG: index out of range in TextString::"
                            "checkIndex() "));
  EXPECT_NE(std::string::npos,
            log.find("PROBLEM: Error in regional designator pattern: 0([ for "
                     "WMO code ISXX not stored in dictionary.\n"));
}

TEST_F(BufrPatternsTest, MissingOrEmptyPatternFiles) {
  std::unique_ptr<TestDecoder> reader(new TestDecoder("absent.txt"));
  StderrCapture err;
  EXPECT_TRUE(reader->getBufrPatterns().isEmpty());
  EXPECT_NE(std::string::npos,
            err.text().find("PROBLEM: Unable to get bufr pattern from " +
                            home.file("data/absent.txt") + "\n"));
  EXPECT_EQ(0, reader->prefixes().length());
  // Nothing was cached: the file is read once it is there.
  writeFile(home.file("data/absent.txt"), "Now it exists 1\nIUAX0     01\n");
  EXPECT_STREQ("IUAX0", reader->getBufrPatterns().chars());

  std::unique_ptr<TestDecoder> none;
  EXPECT_TRUE(patterns("zero.txt", "No lines at all 0\nIUAX0\n", none)
                  .isEmpty());
  writeFile(home.file("data/zero.txt"), "One line now 1\nIUAX0\n");
  EXPECT_STREQ("IUAX0\n", none->getBufrPatterns().chars());
  std::unique_ptr<TestDecoder> garbled;
  EXPECT_TRUE(patterns("nocount.txt", "no count\nIUAX0\n", garbled).isEmpty());
}

TEST_F(BufrPatternsTest, TemplateNamesFeedVariables) {
  // A template made from CDL by ncgen, as the site's are.
  writeFile(home.file("t.cdl"),
            "netcdf t {\n"
            "dimensions:\n  recNum = UNLIMITED ;\n"
            "variables:\n"
            "  float temp(recNum) ;\n"
            "    temp:tblBname = \"TEMPERATURE/AIR TEMPERATURE  | PRESSURE |"
            "WIND SPEED\" ;\n"
            "  float wind(recNum) ;\n"
            "    wind:units = \"m/s\" ;\n"
            "    wind:tblBname = \"WIND SPEED\" ;\n"
            "  float other(recNum) ;\n"
            "    other:units = \"1\" ;\n"
            "}\n");
  std::string nc = home.file("t.nc");
  ASSERT_EQ(0, system(("ncgen -o " + nc + " " + home.file("t.cdl")).c_str()));
  Dict<TextString, TextString> dict =
      BufrDecoder::readTemplateDict(TextString(nc.c_str()), "tblBname");
  EXPECT_EQ(3, dict.length());
  TextString name;
  ASSERT_TRUE(dict.lookup(TextString("TEMPERATURE/AIR TEMPERATURE"), &name));
  EXPECT_STREQ("temp", name.chars());
  // A leading blank stays with the token; trailing ones go.
  EXPECT_TRUE(dict.lookup(TextString(" PRESSURE")));
  // The later variable in file order wins.
  ASSERT_TRUE(dict.lookup(TextString("WIND SPEED"), &name));
  EXPECT_STREQ("wind", name.chars());

  // A descriptor finds its variable through its Table B description.
  ASSERT_TRUE(BufrDecoder::ncVarNameForDescriptor(12001, name, dict));
  EXPECT_STREQ("temp", name.chars());
  EXPECT_FALSE(BufrDecoder::ncVarNameForDescriptor(7004, name, dict));
  EXPECT_FALSE(BufrDecoder::ncVarNameForDescriptor(62255, name, dict));
  EXPECT_TRUE(BufrDecoder::printDict(dict));

  StderrCapture err;
  EXPECT_EQ(0, BufrDecoder::readTemplateDict(
                   TextString(home.file("none.nc").c_str()), "tblBname")
                   .length());
  writeFile(home.file("bad.nc"), "CDF\001 certainly not a netCDF file");
  EXPECT_EQ(0, BufrDecoder::readTemplateDict(
                   TextString(home.file("bad.nc").c_str()), "tblBname")
                   .length());
  std::string log = err.text();
  EXPECT_NE(std::string::npos,
            log.find("PROBLEM: Unable to open " + home.file("none.nc") + ", "));
  EXPECT_NE(std::string::npos,
            log.find("PROBLEM: Unable to open " + home.file("bad.nc") + ", "));
}

// The site's files as a decoder finds them: every pattern line gives a
// code of four letters with a designator that compiles, and every Table B
// name that a template gives is a description of the site's Table B.
TEST(SiteFilesTest, PatternsAndTemplatesFitTheTables) {
  setenv("ZEPH_HOME", ZEPH_SOURCE_DIR "/site", 1);
  for (const char* file :
       {"modelBufrPattern.txt", "POESBufrPattern.txt", "GOESBufrPattern.txt",
        "acarsBufrPattern.txt", "CSWBufrPattern.txt", "profBufrPattern.txt",
        "quikscatBufrPattern.txt"}) {
    SCOPED_TRACE(file);
    TestDecoder decoder(file);
    EXPECT_FALSE(decoder.getBufrPatterns().isEmpty());
    ASSERT_GT(decoder.prefixes().length(), 0);
    for (int i = 0; i < decoder.prefixes().length(); ++i) {
      TextString code = decoder.prefixes().keyAt(i);
      EXPECT_EQ(4u, code.length()) << code;
      EXPECT_TRUE(decoder.designators().lookup(code)) << code;
    }
  }

  std::set<std::string> descriptions;
  std::ifstream tableB(ZEPH_SOURCE_DIR "/site/data/bufrTableB");
  std::string line;
  while (std::getline(tableB, line)) {
    size_t first = line.find('|');
    descriptions.insert(line.substr(first + 1, line.find('|', first + 1) -
                                                   first - 1));
  }
  for (const char* name :
       {"acars", "modelETA", "modelRUC", "modelAVN", "modelNGM", "poes", "goes",
        "csw", "profiler", "profilerCAP", "quikscat"}) {
    std::string path = std::string(ZEPH_SITE_TEMPLATES) + "/" + name + ".nc";
    Dict<TextString, TextString> dict =
        BufrDecoder::readTemplateDict(TextString(path.c_str()), "tblBname");
    EXPECT_GT(dict.length(), 5) << path;
    for (int i = 0; i < dict.length(); ++i)
      EXPECT_EQ(1u, descriptions.count(dict.keyAt(i).chars()))
          << name << ": " << dict.keyAt(i);
  }
}

}  // namespace
