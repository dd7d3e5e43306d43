#include "TextBuffer.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "SearchEnvironment.h"
#include "TestSupport.h"

namespace {

class TextBufferTest : public ::testing::Test {
 protected:
  // The lines a buffer makes of `text`, written to `name`.
  std::vector<std::string> linesOf(const char* name, const std::string& text) {
    writeFile(dir.file(name), text);
    TextBuffer buffer(dir.file(name).c_str());
    std::vector<std::string> lines;
    for (int i = 0; i < buffer.numLines(); ++i)
      lines.push_back(buffer[i].chars());
    return lines;
  }

  SearchEnvironment env;
  TempDir dir;
};

TEST_F(TextBufferTest, CommentsContinuationAndLongLines) {
  std::string longLine(500, 'x');
  EXPECT_EQ((std::vector<std::string>{"text ", "", "first second", "joined ",
                                      longLine, "last without newline "}),
            linesOf("t.txt",
                    "text // comment\n// only a comment\n\nfirst \\\nsecond\n"
                    "joined \\\n// the comment ends it\n" +
                        longLine + "\nlast without newline \\"));
}

TEST_F(TextBufferTest, IncludesTakeTheirPlace) {
  writeFile(dir.file("inner.txt"), "inner 1\ninner 2 // note\n");
  EXPECT_EQ((std::vector<std::string>{"before", "inner 1", "inner 2 ",
                                      "#include without quotes", "after"}),
            linesOf("main.txt", "before\n#include \"" + dir.file("inner.txt") +
                                    "\"\n#include without quotes\n"
                                    "#include \"missing.txt\"\nafter\n"));
  std::string self = "x\n#include \"" + dir.file("self.txt") + "\"\n";
  StderrCapture err;
  // One line per level, then it stops.
  EXPECT_EQ(16u, linesOf("self.txt", self).size());
  EXPECT_EQ(1, countOf(err.text(), "PROBLEM: Includes nested too deeply; "));
}

TEST_F(TextBufferTest, MissingFileAndWrite) {
  EXPECT_EQ(0, TextBuffer(dir.file("none.txt").c_str()).numLines());
  writeFile(dir.file("in.txt"), "a\n\nb // c\n");
  TextBuffer buffer(dir.file("in.txt").c_str());
  env.set("ZEPH_HOME", dir.path());
  EXPECT_TRUE(buffer.write("${ZEPH_HOME}/out.txt"));
  EXPECT_EQ("a\n\nb \n", readFile(dir.file("out.txt")));
  EXPECT_FALSE(buffer.write(dir.file("no/such/dir.txt").c_str()));
}

}  // namespace
