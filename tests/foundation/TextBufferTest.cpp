#include "TextBuffer.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "SearchEnvironment.h"
#include "TestSupport.h"

namespace {

std::vector<std::string> linesOf(const TextBuffer& buffer) {
  std::vector<std::string> lines;
  for (int i = 0; i < buffer.numLines(); ++i) lines.push_back(buffer[i].chars());
  return lines;
}

class TextBufferTest : public ::testing::Test {
 protected:
  SearchEnvironment env;
  TempDir dir;
};

TEST_F(TextBufferTest, CommentsContinuationAndLongLines) {
  std::string longLine(500, 'x');
  writeFile(dir.file("t.txt"),
            "text // comment\n"
            "// only a comment\n"
            "\n"
            "first \\\n"
            "second\n"
            "joined \\\n"
            "// the comment ends it\n" +
                longLine + "\n"
                "last without newline \\");
  TextBuffer buffer(dir.file("t.txt").c_str());
  EXPECT_EQ((std::vector<std::string>{"text ", "", "first second", "joined ",
                                      longLine, "last without newline "}),
            linesOf(buffer));
}

TEST_F(TextBufferTest, IncludesTakeTheirPlace) {
  writeFile(dir.file("inner.txt"), "inner 1\ninner 2 // note\n");
  writeFile(dir.file("main.txt"), "before\n#include \"" + dir.file("inner.txt") +
                                      "\"\n#include without quotes\n"
                                      "#include \"missing.txt\"\nafter\n");
  TextBuffer buffer(dir.file("main.txt").c_str());
  EXPECT_EQ((std::vector<std::string>{"before", "inner 1", "inner 2 ",
                                      "#include without quotes", "after"}),
            linesOf(buffer));

  writeFile(dir.file("self.txt"),
            "x\n#include \"" + dir.file("self.txt") + "\"\n");
  StderrCapture err;
  TextBuffer self(dir.file("self.txt").c_str());
  EXPECT_EQ(16, self.numLines());  // one line per level, then it stops
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
