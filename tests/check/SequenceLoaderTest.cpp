// Sequence files: every kind of step read with its fields, and every fault refused with the
// line and column where it is, before anything could be sent.

#include "check/Sequence.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace telmon::check;

namespace {

QByteArray Steps(const char* body) { return QByteArray("name: t\nsteps:\n") + body; }

LoadResult Load(const QByteArray& text) { return LoadSequenceText(text, QStringLiteral("s.yaml")); }

}  // namespace

TEST(SequenceLoader, ReadsEveryKindOfStep) {
  const LoadResult r = Load(Steps(
      "  - force: {channel: 1216, value: \"42.750\"}\n"
      "  - force: {channel: 1219, wave: {min: 0, max: 1e2, period: 30}}\n"
      "  - force: {channel: 1217, value: ~}\n"
      "  - write: {channel: 1046, value: \"&H0D\"}\n"
      "  - mode-code: {mode: 1, value: 14}\n"
      "  - mode-code: {mode: 2}\n"
      "  - random: {device: all, on: yes}\n"
      "  - random: {device: 4, on: false}\n"
      "  - expect-value: {channel: 1216, equals: \"42.75\"}\n"
      "  - expect-value: {channel: 1219, near: 50, tolerance: -5, timeout: 1.5}\n"
      "  - expect-value: {channel: 7, matches: \"^ON\"}\n"
      "  - expect-device: {device: 2, watchdog-ok: true, random: false, failover: \"Active\"}\n"
      "  - wait: 0.25\n"
      "  - expect-alarm: {source: device, id: 3, condition: Watchdog failure, state: "
      "active-unack, timeout: 40}\n"
      "  - expect-no-alarm: {source: Channel, id: 17}\n"));
  ASSERT_TRUE(r.sequence) << r.error.toStdString();
  const std::vector<Step>& s = r.sequence->steps;
  ASSERT_EQ(s.size(), 15U);
  EXPECT_EQ(s[13].kind, StepKind::ExpectAlarm);
  EXPECT_EQ(s[13].alarmSource, "DEVICE");
  EXPECT_EQ(s[13].alarmSourceId, 3);
  EXPECT_EQ(*s[13].alarmCondition, "Watchdog failure");
  EXPECT_EQ(*s[13].alarmState, "ACTIVE_UNACK");
  EXPECT_EQ(s[13].timeoutMs, 40000);
  EXPECT_EQ(s[13].Title(), "expect-alarm device 3 'Watchdog failure' ACTIVE_UNACK");
  EXPECT_EQ(s[14].kind, StepKind::ExpectNoAlarm);
  EXPECT_FALSE(s[14].alarmCondition);
  EXPECT_FALSE(s[14].alarmState);
  EXPECT_EQ(s[14].Title(), "expect-no-alarm channel 17");
  EXPECT_FALSE(s[14].NeedsEditRights());
  EXPECT_EQ(s[0].kind, StepKind::Force);
  EXPECT_EQ(*s[0].value, "42.750");  // the text as typed, not a re-formatted number
  EXPECT_EQ(s[0].line, 3);
  EXPECT_EQ(s[0].column, 5);
  EXPECT_EQ(s[1].wave->max, "1e2");
  EXPECT_FALSE(s[1].value);
  EXPECT_TRUE(s[2].isNull);
  EXPECT_EQ(*s[3].value, "&H0D");
  EXPECT_EQ(s[4].mode, 1);
  EXPECT_EQ(s[4].modeValue, 14);
  EXPECT_EQ(s[5].Title(), "mode-code 2 = 11/12");
  EXPECT_FALSE(s[6].device);
  EXPECT_TRUE(s[6].on);
  EXPECT_EQ(*s[7].device, 4);
  EXPECT_EQ(s[8].timeoutMs, 10000);
  EXPECT_EQ(s[9].match, ValueMatch::Near);
  EXPECT_EQ(s[9].tolerance, 5);
  EXPECT_EQ(s[9].timeoutMs, 1500);
  EXPECT_EQ(s[10].match, ValueMatch::Matches);
  EXPECT_EQ(*s[11].failover, "Active");
  EXPECT_EQ(s[12].waitMs, 250);
  EXPECT_TRUE(r.sequence->NeedsEditRights());
}

TEST(SequenceLoader, RefusesFaultsWithLineAndColumn) {
  struct Case {
    const char* text;
    const char* error;
  };
  const Case cases[] = {
      {"steps:\n  - forse: {channel: 1}\n", "s.yaml:2:5: unknown step 'forse'"},
      {"steps:\n  - force: {value: 1}\n", "s.yaml:2:12: missing field 'channel'"},
      {"steps:\n  - force: {channel: 1}\n", "s.yaml:2:12: missing field 'value' (or 'wave')"},
      {"steps:\n  - force: {channel: abc, value: 1}\n",
       "s.yaml:2:22: 'channel' must be a whole number from 1 to 2147483647"},
      {"steps:\n  - force: {channel: 0, value: 1}\n", "s.yaml:2:22: 'channel' must be a whole"},
      {"steps:\n  - force: {channel: 1, value: [1, 2]}\n", "s.yaml:2:32: 'value' must be a single"},
      {"steps:\n  - force: {channel: 1, wave: {min: a, max: 2, period: 3}}\n",
       "s.yaml:2:37: 'min' must be a number"},
      {"steps:\n  - write: {channel: 1, value: 2, colour: red}\n",
       "s.yaml:2:35: unknown field 'colour'"},
      {"steps:\n  - mode-code: {mode: 3, value: 1}\n", "s.yaml:2:23: 'mode' must be 0"},
      {"steps:\n  - mode-code: {mode: 0, value: 40000}\n", "s.yaml:2:33: 'value' must be a whole"},
      {"steps:\n  - mode-code: {mode: 2, value: 11}\n", "s.yaml:2:33: mode 2 writes 11 and 12"},
      {"steps:\n  - random: {device: 4, on: maybe}\n", "s.yaml:2:29: 'on' must be true or false"},
      {"steps:\n  - expect-value: {channel: 1, equals: 1, matches: x}\n",
       "s.yaml:2:19: give exactly one of"},
      {"steps:\n  - expect-value: {channel: 1, near: 1}\n", "missing field 'tolerance'"},
      {"steps:\n  - expect-value: {channel: 1, matches: \"(\"}\n",
       "not a valid regular expression"},
      {"steps:\n  - expect-value: {channel: 1, equals: 1, timeout: -1}\n",
       "s.yaml:2:52: 'timeout' must be between 0 and 86400 seconds"},
      {"steps:\n  - expect-device: {device: 1}\n", "give at least one of"},
      {"steps:\n  - expect-alarm: {source: pump, id: 1}\n",
       "s.yaml:2:28: 'source' must be device, block or channel"},
      {"steps:\n  - expect-alarm: {source: device}\n", "missing field 'id'"},
      {"steps:\n  - expect-no-alarm: {source: block, id: 2, state: gone}\n",
       "'state' must be active-unack, active-ack, cleared-unack or shelved"},
      {"steps:\n  - expect-alarm: {source: block, id: 2, priority: 1}\n",
       "unknown field 'priority'"},
      // Every kind of step refuses a field it does not know (a misspelt one would be ignored).
      {"steps:\n  - force: {channel: 1, value: 2, colour: red}\n", "unknown field 'colour'"},
      {"steps:\n  - force: {channel: 1, wave: {min: 1, max: 2, period: 3, phase: 1}}\n",
       "unknown field 'phase'"},
      {"steps:\n  - mode-code: {mode: 0, value: 1, colour: red}\n", "unknown field 'colour'"},
      {"steps:\n  - random: {device: 4, on: true, colour: red}\n",
       "s.yaml:2:35: unknown field 'colour'"},
      {"steps:\n  - expect-value: {channel: 1, equals: 1, colour: red}\n",
       "unknown field 'colour'"},
      {"steps:\n  - expect-device: {device: 1, random: true, colour: red}\n",
       "unknown field 'colour'"},
      {"steps:\n  - wait: soon\n", "s.yaml:2:11: 'wait' must be a number"},
      {"steps:\n  - force: 12\n", "s.yaml:2:12: step 'force' must be a mapping"},
      {"steps:\n  - {wait: 1, force: {channel: 1, value: 1}}\n", "s.yaml:2:5: a step is one of"},
      {"steps: []\n", "s.yaml:1:8: 'steps' must be a list of at least one step"},
      {"name: x\n", "missing field 'steps'"},
      {"stepz:\n  - wait: 1\n", "s.yaml:1:1: unknown field 'stepz'"},
      {"steps:\n  - wait: 1\n - wait: 2\n", "s.yaml:3:"},  // malformed YAML
      {"steps: [\"unterminated\n", "s.yaml:"},
      {"- just\n- a list\n", "s.yaml:1:1: the sequence must be a mapping"},
  };
  for (const Case& c : cases) {
    const LoadResult r = Load(c.text);
    EXPECT_FALSE(r.sequence) << c.text;
    EXPECT_TRUE(r.error.startsWith(QLatin1String(c.error)) ||
                r.error.contains(QLatin1String(c.error)))
        << c.text << "\n  got: " << r.error.toStdString();
  }
}

TEST(SequenceLoader, HugeOrHostileFilesAreRefusedWithoutBlowUp) {
  QTemporaryDir dir;
  const QString big = dir.filePath(QStringLiteral("big.yaml"));
  {
    QFile f(big);
    ASSERT_TRUE(f.open(QIODevice::WriteOnly));
    const QByteArray line("  - wait: 0\n");
    f.write("steps:\n");
    for (int i = 0; i < 10 * 1024 * 1024 / line.size(); ++i) {
      f.write(line);
    }
  }
  LoadResult r = LoadSequenceFile(big);
  EXPECT_FALSE(r.sequence);
  EXPECT_TRUE(r.error.contains(QLatin1String("larger than"))) << r.error.toStdString();

  // Nesting deep enough to exhaust a recursive parser's stack.
  r = Load(QByteArray("steps: ") + QByteArray(100000, '[') + QByteArray(100000, ']'));
  EXPECT_FALSE(r.sequence);
  EXPECT_FALSE(r.error.isEmpty());

  r = LoadSequenceFile(dir.filePath(QStringLiteral("missing.yaml")));
  EXPECT_TRUE(r.error.contains(QLatin1String("cannot read the file"))) << r.error.toStdString();
}
