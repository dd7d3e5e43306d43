// Targets from text, their comparison, the named targets of the
// configuration and the settings of the sockets.
#include <arpa/inet.h>
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "Config.h"
#include "Connection.h"
#include "IpcTestSupport.h"
#include "NamedTargets.h"
#include "TestSupport.h"

namespace {

std::string textOf(const IPC_Target& target) {
  std::ostringstream out;
  out << target;
  return out.str();
}

TEST(TargetTest, TextFormsAndTheirMessages) {
  configureNamedTargets();
  struct Case {
    const char* text;
    int kind;
    std::string shown;
    const char* line;  // in the log, or "" for none
  };
  const std::vector<Case> cases = {
      {"NULL", 0, "unknown IPC address", ""},
      {"127.0.0.1/0x10/7", 2, loopbackName() + "/16/7", ""},
      {"localhost/5000/010", 2, loopbackName() + "/5000/8", ""},
      {"NOTIFICATION_SERVER", 1, "NOTIFICATION_SERVER", ""},
      {"unknown IPC address", 0, "unknown IPC address",
       "Can't name IPC_Target: unknown IPC address"},
      {"a/b", 0, "unknown IPC address", "Not a known named target"},
      {"HALF", 0, "unknown IPC address", "Can't name IPC_Target: HALF"},
      {"nohost.invalid/1/2", 0, "unknown IPC address",
       "Can't create an IPC target with invalid host: nohost.invalid"},
  };
  for (const Case& c : cases) {
    StderrCapture err;
    IPC_Target target(c.text);
    EXPECT_EQ(c.kind, target.kind()) << c.text;
    EXPECT_EQ(c.shown, textOf(target)) << c.text;
    std::string text = err.text();
    EXPECT_TRUE(*c.line ? text.find(c.line) != std::string::npos : text.empty())
        << c.text << ": " << text;
  }
  IPC_Target named("NOTIFICATION_SERVER");
  EXPECT_EQ(20001, ntohs(named.address().sin_port));
  StderrCapture err;
  EXPECT_TRUE(IPC_Target("NO_SUCH", false).isNull());
  EXPECT_EQ("", err.text());
}

TEST(TargetTest, BadTriplesAreLeftOut) {
  SeqOf<TextString> triples;
  for (const char* item :
       {"A", "127.0.0.1", "1", "B", "nohost.invalid", "2", "C", "localhost"})
    triples.append(item);
  Dict<TextString, IPC_Target> table;
  StderrCapture err;
  readNamedTargets(triples, table);
  EXPECT_EQ(1, table.length());
  EXPECT_TRUE(table.lookup("A"));
  std::string text = err.text();
  EXPECT_NE(std::string::npos,
            text.find("Can't create an IPC target with invalid host: "
                      "nohost.invalid"));
  EXPECT_NE(std::string::npos,
            text.find("Warning: no host and/or port specified for last"));
}

TEST(TargetTest, EqualityOrderAndHash) {
  const IPC_Target a = IPC_Target::anonymous(0x7f000001, 5000, 1);
  const IPC_Target samePortOtherId = IPC_Target::anonymous(0x7f000001, 5000, 2);
  const IPC_Target otherPort = IPC_Target::anonymous(0x7f000001, 5001, 1);
  const IPC_Target x = IPC_Target::named("X", 0x7f000001, 1);
  const IPC_Target xElsewhere = IPC_Target::named("X", 0x0a000001, 2);
  EXPECT_EQ(a, samePortOtherId);
  EXPECT_EQ(hashKey(a), hashKey(samePortOtherId));
  EXPECT_NE(a, otherPort);
  EXPECT_EQ(x, xElsewhere);
  EXPECT_EQ(IPC_Target(), IPC_Target());
  EXPECT_EQ(47u, hashKey(IPC_Target()));
  EXPECT_TRUE(IPC_Target() < x && x < a && a < otherPort);
  EXPECT_FALSE(otherPort < a);
  IPC_Target bad(7, a.address(), "", 0);
  StderrCapture err;
  EXPECT_FALSE(bad == bad);
  EXPECT_NE(std::string::npos,
            err.text().find("IPC_Target::operator== failed.  Bad type."));
}

TEST(TargetTest, SettingsAndTheirBounds) {
  const struct {
    bool configured;
    int value;
    int bufferSize;
    long timeoutSeconds;
  } cases[] = {
      {false, 0, 0, 180},     {true, 0, 0, 180},          {true, 1, 1, 60},
      {true, 3, 3, 180},      {true, 262143, 262143, 60 * 262143L},
      {true, 262144, 0, 60 * 262144L}, {true, -5, 0, 180},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(c.bufferSize, socketBufferSizeOf(c.configured, c.value))
        << c.value;
    EXPECT_EQ(c.timeoutSeconds, sendTimeoutOf(c.configured, c.value).tv_sec)
        << c.value;
  }
}

TEST(TargetTest, ProcessTargetRefusesAnonymous) {
  StderrCapture err;
  EXPECT_FALSE(
      Connection::setProcessTarget(IPC_Target::anonymous(0x7f000001, 1, 1)));
  EXPECT_NE(std::string::npos,
            err.text().find("Can't rename our target to a anonymous target."));
}

}  // namespace
