#include "app/CommandLine.h"
#include "util/ErrorInfo.h"

#include <gtest/gtest.h>

using namespace telmon;

TEST(CommandLine, DahsSwitchAndOptions) {
  const auto cl = CommandLine::Parse({"telmon", "/DAHSID=3", "--message-log", "/tmp/log.txt",
                                      "--screenshots=/tmp/shots", "--journal", "/tmp/j.sqlite"});
  EXPECT_EQ(cl.DahsId(), 3);
  EXPECT_EQ(cl.messageLogFile, "/tmp/log.txt");
  EXPECT_EQ(cl.screenshotDir, "/tmp/shots");
  EXPECT_EQ(cl.journalFile, "/tmp/j.sqlite");
  EXPECT_TRUE(cl.ignored.isEmpty());
  EXPECT_TRUE(cl.IgnoredNote().isEmpty());
}

TEST(CommandLine, MissingSwitchMeansDahsZeroAndAnyCaseIsRead) {
  EXPECT_EQ(CommandLine::Parse({"telmon"}).DahsId(), 0);
  EXPECT_EQ(CommandLine::Parse({"telmon", "/dahsid=2"}).DahsId(), 2);
  EXPECT_EQ(CommandLine::Parse({"telmon", "/DAHSID=-7"}).DahsId(), -7);
  EXPECT_EQ(CommandLine::Parse({"telmon", "/DAHSID=2147483647"}).DahsId(), 2147483647);
}

TEST(CommandLine, AValueThatIsNotA32BitIntegerIsAnErrorWithItsNumber) {
  struct Case {
    const char* arg;
    long number;
    const char* description;
  };
  for (const Case& c :
       {Case{"/DAHSID=x", 13, "Type mismatch"}, Case{"/DAHSID=", 13, "Type mismatch"},
        Case{"/DAHSID=2147483648", 6, "Overflow"}, Case{"/DAHSID=-99999999999", 6, "Overflow"}}) {
    const auto cl = CommandLine::Parse({"telmon", c.arg});
    try {
      (void)cl.DahsId();
      ADD_FAILURE() << c.arg << " converted";
    } catch (const TelmonError& e) {
      EXPECT_EQ(e.number(), c.number) << c.arg;
      EXPECT_EQ(e.description().toStdString(), c.description) << c.arg;
    }
  }
}

TEST(CommandLine, UnknownArgumentsAreIgnoredAndNamedOnce) {
  const auto cl = CommandLine::Parse({"telmon", "/SITE=4", "/DAHSID=1", "stray", "/DAHSID=5",
                                      "-style", "fusion", "--message-log"});
  EXPECT_EQ(cl.DahsId(), 1);
  EXPECT_TRUE(cl.messageLogFile.isEmpty());
  EXPECT_EQ(cl.IgnoredNote(),
            "Command line: ignored \"/SITE=4\", \"stray\", \"/DAHSID=5\", \"--message-log\" (not "
            "used by this program).");

  const auto missing = CommandLine::Parse({"telmon", "--screenshots"});
  EXPECT_TRUE(missing.screenshotDir.isEmpty());
  EXPECT_EQ(missing.IgnoredNote(),
            "Command line: ignored \"--screenshots\" (not used by this program).");
  EXPECT_TRUE(CommandLine::Parse({"telmon", "--help"}).help);
  EXPECT_TRUE(CommandLine::Parse({"telmon", "--help"}).ignored.isEmpty());
}

TEST(CommandLine, ReceiveBufferCapTakesByteCountsWithBinarySuffixes) {
  const struct {
    QStringList args;
    qint64 cap;
    bool ignored;  // a cap that is no byte count keeps the default and is named
  } cases[] = {
      {{"telmon"}, qint64{8} << 20, false},
      {{"telmon", "--receive-buffer-cap", "65536"}, 65536, false},
      {{"telmon", "--receive-buffer-cap=64K"}, 65536, false},
      {{"telmon", "--receive-buffer-cap=16m"}, qint64{16} << 20, false},
      {{"telmon", "--receive-buffer-cap=1G"}, qint64{1} << 30, false},
      {{"telmon", "--receive-buffer-cap=0"}, qint64{8} << 20, true},
      {{"telmon", "--receive-buffer-cap=-5"}, qint64{8} << 20, true},
      {{"telmon", "--receive-buffer-cap=lots"}, qint64{8} << 20, true},
      {{"telmon", "--receive-buffer-cap=5000G"}, qint64{8} << 20, true},
  };
  for (const auto& c : cases) {
    const auto cl = CommandLine::Parse(c.args);
    EXPECT_EQ(cl.receiveBufferCap, c.cap) << c.args.join(' ').toStdString();
    EXPECT_EQ(!cl.ignored.isEmpty(), c.ignored) << c.args.join(' ').toStdString();
  }
  // The trends' memory budget is read the same way.
  EXPECT_EQ(CommandLine::Parse({"telmon"}).trendMemory, qint64{256} << 20);
  EXPECT_EQ(CommandLine::Parse({"telmon", "--trend-memory=1G"}).trendMemory, qint64{1} << 30);
  const auto bad = CommandLine::Parse({"telmon", "--trend-memory", "lots"});
  EXPECT_EQ(bad.trendMemory, qint64{256} << 20);
  EXPECT_EQ(bad.ignored, QStringList{"--trend-memory=lots"});
}
