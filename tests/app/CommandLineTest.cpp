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

TEST(CommandLine, ReceiveBufferCapTakesByteCountsWithBinarySuffixes) {
  const struct {
    QStringList args;
    qint64 cap;
    bool error;
  } cases[] = {
      {{"telmon"}, qint64{8} << 20, false},
      {{"telmon", "--receive-buffer-cap", "65536"}, 65536, false},
      {{"telmon", "--receive-buffer-cap=64K"}, 65536, false},
      {{"telmon", "--receive-buffer-cap=16m"}, qint64{16} << 20, false},
      {{"telmon", "--receive-buffer-cap=1G"}, qint64{1} << 30, false},
      {{"telmon", "--receive-buffer-cap=0"}, 0, true},
      {{"telmon", "--receive-buffer-cap=-5"}, 0, true},
      {{"telmon", "--receive-buffer-cap=lots"}, 0, true},
      {{"telmon", "--receive-buffer-cap=5000G"}, 0, true},
  };
  for (const auto& c : cases) {
    const auto cl = CommandLine::Parse(c.args);
    EXPECT_EQ(cl.receiveBufferCap, c.cap) << c.args.join(' ').toStdString();
    EXPECT_EQ(!cl.error.isEmpty(), c.error) << c.args.join(' ').toStdString();
  }
}
