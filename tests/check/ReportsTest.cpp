// The three reports of a run, to the byte: what a person reads in the table, what a TAP
// harness parses and what a build server reads from the JUnit file. One run holds every
// outcome: a pass with and without a reading, a failure, a step never run and the release.

#include "check/Reports.h"

#include <gtest/gtest.h>

using namespace telmon::check;

namespace {

RunReport EveryOutcome(const QString& stopReason = QString()) {
  RunReport report;
  report.name = QStringLiteral("night's check");
  report.stopReason = stopReason;
  report.results = {
      {QStringLiteral("force 1216 to 5"), 3, StepOutcome::Passed, QString(), QString(), 1500},
      {QStringLiteral("expect-value 1217 equals 6"), 4, StepOutcome::Failed, QStringLiteral("5"),
       QStringLiteral("timed out after 1 s"), 1002},
      {QStringLiteral("wait 60 s"), 5, StepOutcome::NotRun, QString(), QString(), 0},
      {QStringLiteral("release"), 0, StepOutcome::Passed, QStringLiteral("device 4 back"),
       QStringLiteral("it's left forced: 1216"), 25},
  };
  return report;
}

}  // namespace

TEST(Reports, TableNamesEachStepItsOutcomeTimeAndReading) {
  // The step column is as wide as the longest name, up to 60 characters.
  EXPECT_EQ(TableReport(EveryOutcome()).toStdString(),
            "night's check\n"
            "step                                    result     time s  observed\n"
            "1 (line 3): force 1216 to 5             pass        1.500  \n"
            "2 (line 4): expect-value 1217 equals 6  FAIL        1.002  5\n"
            "                                        timed out after 1 s\n"
            "3 (line 5): wait 60 s                   not run     0.000  \n"
            "4: release                              pass        0.025  device 4 back\n"
            "                                        it's left forced: 1216\n"
            "2 of 4 passed in 2.527 s: FAIL\n");
  RunReport longNames = EveryOutcome();
  longNames.results[0].title = QString(70, QLatin1Char('x'));
  const QStringList lines = TableReport(longNames).split(QLatin1Char('\n'));
  EXPECT_EQ(lines[1].indexOf(QLatin1String("result")), 62) << lines[1].toStdString();
  EXPECT_EQ(lines[2].indexOf(QLatin1String("pass")), 84) << lines[2].toStdString();
  RunReport passed = EveryOutcome();
  passed.results.erase(passed.results.begin() + 1, passed.results.begin() + 3);
  EXPECT_TRUE(TableReport(passed).endsWith(QLatin1String("2 of 2 passed in 1.525 s: PASS\n")));
  EXPECT_TRUE(TableReport(EveryOutcome(QStringLiteral("the link closed")))
                  .endsWith(QLatin1String("Stopped: the link closed\n2 of 4 passed in 2.527 s: "
                                          "FAIL\n")));
}

TEST(Reports, TapMarksFailuresSkipsAndQuotesTheirReadings) {
  EXPECT_EQ(TapReport(EveryOutcome(QStringLiteral("the link closed"))).toStdString(),
            "TAP version 13\n"
            "1..4\n"
            "ok 1 - 1 (line 3): force 1216 to 5 # 1.500 s\n"
            "not ok 2 - 2 (line 4): expect-value 1217 equals 6 # 1.002 s\n"
            "  ---\n"
            "  observed: '5'\n"
            "  message: 'timed out after 1 s'\n"
            "  ...\n"
            "not ok 3 - 3 (line 5): wait 60 s # SKIP not run\n"
            "  ---\n"
            "  observed: ''\n"
            "  ...\n"
            "ok 4 - 4: release # 0.025 s\n"
            "  ---\n"
            "  observed: 'device 4 back'\n"
            "  message: 'it''s left forced: 1216'\n"
            "  ...\n"
            "# Stopped: the link closed\n");
}

TEST(Reports, JUnitHasOneCaseAStepWithItsFailureSkipOrOutput) {
  EXPECT_EQ(JUnitReport(EveryOutcome(), QStringLiteral("telmon-check")).toStdString(),
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
            "<testsuites>\n"
            "  <testsuite name=\"night's check\" tests=\"4\" failures=\"1\" errors=\"0\" "
            "skipped=\"1\" time=\"2.527\">\n"
            "    <testcase classname=\"telmon-check\" name=\"1 (line 3): force 1216 to 5\" "
            "time=\"1.500\"/>\n"
            "    <testcase classname=\"telmon-check\" name=\"2 (line 4): expect-value 1217 equals "
            "6\" time=\"1.002\">\n"
            "      <failure message=\"observed: 5; timed out after 1 s\">timed out after 1 "
            "s</failure>\n"
            "    </testcase>\n"
            "    <testcase classname=\"telmon-check\" name=\"3 (line 5): wait 60 s\" "
            "time=\"0.000\">\n"
            "      <skipped/>\n"
            "    </testcase>\n"
            "    <testcase classname=\"telmon-check\" name=\"4: release\" time=\"0.025\">\n"
            "      <system-out>device 4 back\n"
            "it's left forced: 1216</system-out>\n"
            "    </testcase>\n"
            "  </testsuite>\n"
            "</testsuites>\n");
  RunReport stopped = EveryOutcome(QStringLiteral("the link <closed>"));
  stopped.name.clear();
  const std::string junit = JUnitReport(stopped, QStringLiteral("telmon-check")).toStdString();
  EXPECT_NE(junit.find("<testsuite name=\"telmon-check\" tests=\"4\" failures=\"1\" errors=\"1\""),
            std::string::npos)
      << junit;
  EXPECT_NE(junit.find("<system-err>Stopped: the link &lt;closed&gt;</system-err>\n  "
                       "</testsuite>"),
            std::string::npos)
      << junit;
}
