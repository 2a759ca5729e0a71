#include "app/CommandLine.h"

#include <gtest/gtest.h>

using namespace telmon;

TEST(CommandLine, DahsSwitchAndOptions) {
  const auto cl = CommandLine::Parse(
      {"telmon", "/DAHSID=3", "--message-log", "/tmp/log.txt", "--screenshots=/tmp/shots"});
  EXPECT_EQ(cl.dahsId, 3);
  EXPECT_EQ(cl.messageLogFile, "/tmp/log.txt");
  EXPECT_EQ(cl.screenshotDir, "/tmp/shots");
  EXPECT_TRUE(cl.error.isEmpty());
}

TEST(CommandLine, MissingOrBadSwitchMeansDahsZero) {
  EXPECT_EQ(CommandLine::Parse({"telmon"}).dahsId, 0);
  EXPECT_EQ(CommandLine::Parse({"telmon", "/DAHSID=x"}).dahsId, 0);
  EXPECT_EQ(CommandLine::Parse({"telmon", "/dahsid=2"}).dahsId, 2);
}

TEST(CommandLine, UnknownArgumentAndMissingValueAreErrors) {
  EXPECT_FALSE(CommandLine::Parse({"telmon", "stray"}).error.isEmpty());
  EXPECT_FALSE(CommandLine::Parse({"telmon", "--message-log"}).error.isEmpty());
  EXPECT_TRUE(CommandLine::Parse({"telmon", "--help"}).help);
}
