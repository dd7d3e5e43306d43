// Keys found in products by the site's list of key beginnings, and by
// lists made for the edges. The list is read once a process, so each case
// runs in a child process of its own.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "ProductKey.h"
#include "TestSupport.h"

namespace {

const char* const kNone = "(none)";

// The key of each message, found in a child process with ZEPH_HOME at
// `home`; `before(i)` runs in the child ahead of message i. The child's
// log goes to `dir`'s "log".
std::vector<std::string> keysFound(
    const TempDir& dir, const std::string& home,
    const std::vector<std::string>& messages,
    const std::function<void(size_t)>& before = [](size_t) {}) {
  pid_t pid = fork();
  if (pid == 0) {
    setenv("ZEPH_HOME", home.c_str(), 1);
    if (!freopen(dir.file("log").c_str(), "w", stderr)) _exit(1);
    std::string out;
    for (size_t i = 0; i < messages.size(); ++i) {
      before(i);
      const char* key = findKey(messages[i].c_str(),
                                static_cast<int>(messages[i].size()));
      out += std::string(key ? key : kNone) + '\t';
    }
    writeFile(dir.file("keys"), out);
    _exit(0);
  }
  waitpid(pid, nullptr, 0);
  std::istringstream all(readFile(dir.file("keys")));
  std::vector<std::string> keys;
  for (std::string key; std::getline(all, key, '\t');) keys.push_back(key);
  return keys;
}

TEST(ProductKeyTest, TheSiteListFindsTheHeadingOfEachFamily) {
  TempDir tmp;
  std::string bufr("\r\r\nBUFR\0\0\x10\x04JUSA", 14);
  std::vector<std::string> messages = {
      "JUSA41 KWBC 221200" + bufr, "JUSB51 KWBC" + bufr,
      "IUTX01 KNES" + bufr,        "IUSA11 KNES" + bufr,
      "IUAX02 KWBC" + bufr,        "JUTY03 KNES" + bufr,
      "IUPT03 KBOU" + bufr,        "ISXX01 KNES" + bufr,
      // behind the sequence line of a feed; the first position wins
      "\001\r\r\n123 \r\r\nIUSB12 KNES 221846 JUSA41",
      "SAUS70 KWBC 221200" + bufr.substr(0, 8),
      // a line end stays in the key; a short message gives what it has
      "ISXX01\r\r\nBUFR", "zzzzzJUSC61",
      // a hit near the end ends there; without a blank, 20 characters
      "xxxxxxxxxxxxxxxxxxxxxxxxIUAA01", "IUPA" + std::string(26, 'x'),
      std::string("JUSD7\0 abc", 10)};
  std::vector<std::string> expected = {
      "JUSA41", "JUSB51", "IUTX01", "IUSA11", "IUAX02", "JUTY03",
      "IUPT03", "ISXX01", "IUSB12", kNone, "ISXX01\r\r\nBUFR", "JUSC61",
      "IUAA01", "IUPA" + std::string(16, 'x'), "JUSD7"};
  EXPECT_EQ(keysFound(tmp, ZEPH_SOURCE_DIR "/site", messages), expected);
}

TEST(ProductKeyTest, AMissingListIsReadOnceItIsThere) {
  TempDir home;
  std::string list = home.file("data/patterns.txt");
  std::vector<std::string> keys = keysFound(
      home, home.path(), {"xx JUSA41 KWBC", "xx JUSA41 KWBC", "IU IUTX"},
      [&](size_t i) {
        // the list appears after the first try, and its loss later
        // changes nothing
        if (i == 1) {
          mkdir(home.file("data").c_str(), 0755);
          writeFile(list, "\n  JU\tIUT \n");
        }
        if (i == 2) unlink(list.c_str());
      });
  EXPECT_EQ(keys, (std::vector<std::string>{kNone, "JUSA41", "IUTX"}));
  std::string log = readFile(home.file("log"));
  EXPECT_NE(log.find("unable to open " + list), std::string::npos);
  EXPECT_EQ(countOf(log, "Unable to read the patterns file"), 1);
}

}  // namespace
