// telmon-check against the I/O server simulator as a real process, over an SQLite or a
// PostgreSQL realtime database: the demo sequence passes, a failing expectation fails at its
// timeout and the run goes on, a killed simulator stops the run at its step and the release is
// still tried, and the records are those the window's dialogs write for the same change.

#include "check/CheckCommandLine.h"
#include "check/CheckSession.h"
#include "check/ConsolePrompter.h"
#include "check/Reports.h"
#include "check/SequenceRunner.h"
#include "journal/SharedJournal.h"
#include "tests/e2e/E2eSupport.h"
#include "tests/platform/SiteDatabaseFixture.h"
#include "util/UtilityXMLDOMFunctions.h"
#include "watches/ChangeChanValueModel.h"
#include "watches/ChangeChanValuesModel.h"
#include "watches/ui/BulkWritesPage.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QThread>

#include <QLineEdit>
#include <QPushButton>
#include <QTimer>
#include <csignal>

#include <gtest/gtest.h>

using namespace telmon;
using namespace telmon::check;
using namespace telmon::e2e;
using namespace telmon::test;

namespace {

class CheckEndToEnd : public ::testing::TestWithParam<Backend> {
 protected:
  void SetUp() override {
    if (GetParam() == Backend::Postgresql) {
      if (!PostgresqlAvailable()) {
        GTEST_SKIP() << "no PostgreSQL server for the tests (TELMON_TEST_PG unset)";
      }
      realtime_ = std::make_unique<ScratchDatabase>(Backend::Postgresql);
      QString error;
      ASSERT_TRUE(SiteSchema::InitConnection(realtime_->ConnectionString(), &error));
    }
    port_ = FreeLoopbackPort();
    QString error;
    ASSERT_TRUE(site_.Create(port_, &error, realtime_ ? realtime_->ConnectionString() : QString()))
        << error.toStdString();
    ASSERT_TRUE(sim_.Start(site_, port_)) << sim_.Output().toStdString();
    qputenv("HALVO5_SYSTEM_FOLDER", site_.Folder().toUtf8());
    qputenv(AccountVariable, "super");
    QFile password(site_.Folder() + QStringLiteral("/password"));
    ASSERT_TRUE(password.open(QIODevice::WriteOnly));
    password.write("super-demo\n");
    password.close();
    prompter_ = std::make_unique<ConsolePrompter>(password.fileName(), nullptr);
    session_ = std::make_unique<CheckSession>(*prompter_, clock_, nullptr);
    ASSERT_TRUE(session_->Start(1, &error, QStringLiteral("127.0.0.1"))) << error.toStdString();
    ASSERT_TRUE(session_->WaitForFullInfo(30000));
    ASSERT_TRUE(session_->EditGate().AskWhetherUserWantsToEnableEditing());
  }

  RunReport Run(const QByteArray& yaml, RunnerOptions options = {}) {
    const LoadResult loaded = LoadSequenceText(yaml, QStringLiteral("t.yaml"));
    EXPECT_TRUE(loaded.sequence) << loaded.error.toStdString();
    SequenceRunner runner(*session_, std::move(options));
    return loaded.sequence ? runner.Run(*loaded.sequence) : RunReport{};
  }

  std::unique_ptr<ScratchDatabase> realtime_;
  int port_ = 0;
  DemoSite site_;
  SimProcess sim_;
  SystemClock clock_;
  std::unique_ptr<ConsolePrompter> prompter_;
  std::unique_ptr<CheckSession> session_;
};

// The command records from `firstId` on, each as its four stored texts.
QStringList Records(const DemoSite& site, int firstId, int count) {
  QStringList records;
  for (int id = firstId; id < firstId + count; ++id) {
    records << site.Scalar(QStringLiteral("SELECT commandtext || '|' || extra1 || '|' || extra2 || "
                                          "'|' || callercode FROM H5IOCOMMAND WHERE id = %1")
                               .arg(id))
                   .toString();
  }
  return records;
}

int LastRecordId(const DemoSite& site) {
  return site.Scalar(QStringLiteral("SELECT coalesce(max(id), 0) FROM H5IOCOMMAND")).toInt();
}

}  // namespace

TEST_P(CheckEndToEnd, TheDemoSequencePasses) {
  const LoadResult loaded =
      LoadSequenceFile(QStringLiteral(TELMON_SOURCE_DIR "/docs/sequences/demo.yaml"));
  ASSERT_TRUE(loaded.sequence) << loaded.error.toStdString();
  SequenceRunner runner(*session_, RunnerOptions{});
  const RunReport report = runner.Run(*loaded.sequence);
  EXPECT_TRUE(report.AllPassed()) << TableReport(report).toStdString();
  EXPECT_EQ(report.results.back().detail,
            "left forced (no command puts a forced channel back): 1216, 1219");
}

TEST_P(CheckEndToEnd, AFailingExpectationFailsAtItsTimeoutAndTheRunGoesOn) {
  const RunReport report =
      Run("name: failing\nsteps:\n"
          "  - force: {channel: 1217, value: \"5\"}\n"
          "  - expect-value: {channel: 1217, equals: \"5\", timeout: 15}\n"
          "  - expect-value: {channel: 1217, equals: \"6\", timeout: 1}\n"
          "  - expect-value: {channel: 1217, near: 6, tolerance: 1, timeout: 5}\n"
          "  - random: {device: 4, on: true}\n");
  ASSERT_EQ(report.results.size(), 6U);
  EXPECT_TRUE(report.results[1].passed()) << report.results[1].observed.toStdString();
  const StepResult& failed = report.results[2];
  EXPECT_EQ(failed.outcome, StepOutcome::Failed);
  EXPECT_EQ(failed.detail, "timed out after 1 s");
  EXPECT_GE(failed.elapsedMs, 1000);
  EXPECT_EQ(failed.observed, "5");
  // A reading exactly the tolerance away is near enough.
  EXPECT_TRUE(report.results[3].passed()) << report.results[3].detail.toStdString();
  EXPECT_LT(report.results[3].elapsedMs, 5000);
  EXPECT_TRUE(report.results[4].passed());
  EXPECT_EQ(report.results[5].title, "release");
  EXPECT_EQ(report.results[5].observed, "device 4 back to polling");
  EXPECT_FALSE(report.AllPassed());
  EXPECT_TRUE(WaitFor([&] { return session_->Device(4)->random == false; }, 15000));

  // The JUnit report, read back as XML.
  const xml::XmlDocument doc =
      xml::ParseXmlDocument(nullptr, QString::fromUtf8(JUnitReport(report, "telmon-check")));
  ASSERT_TRUE(doc);
  const xml::XmlElement suite = xml::SelectSingleNode(doc, "/testsuites/testsuite");
  EXPECT_EQ(xml::GetAttributeText(suite, "name"), "failing");
  EXPECT_EQ(xml::GetAttributeText(suite, "tests"), "6");
  EXPECT_EQ(xml::GetAttributeText(suite, "failures"), "1");
  const std::vector<xml::XmlElement> failures = xml::SelectNodes(doc, "//testcase/failure");
  ASSERT_EQ(failures.size(), 1U);
  EXPECT_EQ(xml::GetAttributeText(failures[0], "message"), "observed: 5; timed out after 1 s");
  EXPECT_EQ(xml::GetAttributeText(failures[0]->parent, "name"),
            "3 (line 5): expect-value 1217 equals 6");
  EXPECT_TRUE(TapReport(report).contains(
      QLatin1String("not ok 3 - 3 (line 5): expect-value 1217 equals 6 # ")));
}

INSTANTIATE_TEST_SUITE_P(Backends, CheckEndToEnd,
                         ::testing::Values(Backend::Sqlite, Backend::Postgresql), BackendName);

using CheckFaults = CheckEndToEnd;

TEST_P(CheckFaults, AKilledSimulatorStopsTheRunAtItsStepAndTheReleaseIsStillTried) {
  RunnerOptions options;
  options.reconnectMs = 1000;
  options.stepDone = [this](const Step* step, const StepResult&) {
    if (step != nullptr && step->kind == StepKind::ExpectDevice) {
      QTimer::singleShot(300, session_.get(), [this] { sim_.Kill(); });
    }
  };
  const RunReport report =
      Run("steps:\n"
          "  - random: {device: 4, on: true}\n"
          "  - expect-device: {device: 4, random: true}\n"
          "  - wait: 60\n"
          "  - force: {channel: 1216, value: \"1\"}\n",
          options);
  ASSERT_EQ(report.results.size(), 5U);
  EXPECT_EQ(report.stopReason,
            "the I/O server closed the connection during step 3 (line 4: wait 60 s)");
  EXPECT_EQ(report.results[2].outcome, StepOutcome::Failed);
  EXPECT_LT(report.results[2].elapsedMs, 30000);
  EXPECT_EQ(report.results[3].outcome, StepOutcome::NotRun);
  EXPECT_EQ(report.results[4].outcome, StepOutcome::Failed);
  EXPECT_EQ(report.results[4].detail,
            "devices not put back to polling: not connected to the I/O server");
  const QByteArray junit = JUnitReport(report, "telmon-check");
  EXPECT_TRUE(junit.contains("errors=\"1\"")) << junit.toStdString();
  EXPECT_TRUE(junit.contains("<skipped/>"));
}

// The same change made through the window's dialogs and page, then through telmon-check: the
// command records are the same, byte for byte.
TEST_P(CheckFaults, RecordsAreThoseTheWindowsDialogsWrite) {
  Monitor monitor;
  ASSERT_TRUE(monitor.Start(site_));
  ASSERT_TRUE(monitor.WaitForFullRefresh(site_));
  frmMain& w = *monitor.window;
  const int before = LastRecordId(site_);
  ChangeValueServices services{w.ChannelConfigs(), *w.ValueWriter(), w, monitor.prompter,
                               QStringLiteral("Telmon")};
  ChangeChanValueModel force(services);
  force.SetChannelID(1216);
  force.SetNewValueText(QStringLiteral("&H1F"));
  ASSERT_TRUE(force.Change());
  ChangeChanValueModel wave(services);
  wave.SetChannelID(1220);
  wave.SetMinText(QStringLiteral("-1.5"));
  wave.SetMaxText(QStringLiteral("2.25"));
  wave.SetPeriodText(QStringLiteral("45"));
  ASSERT_TRUE(wave.Change());
  ChangeChanValuesModel write(services);
  write.SetChannelIDList(QStringLiteral("\t1046"));
  write.txtNewValue = QStringLiteral("&HFFFF");
  ASSERT_TRUE(write.Change());
  monitor.prompter.QueueAnswer(PromptAnswer::Yes);
  monitor.prompter.QueueCredentials(Credentials{"super", "super-demo"});
  w.BulkWrites()->txtWriteToAllMCChannels()->setText(QStringLiteral("13"));
  w.BulkWrites()->Button(QStringLiteral("cmdWriteToAllMCChannels"))->click();
  // The bulk write runs on the database worker; its report comes after its last record.
  ASSERT_TRUE(WaitFor([&] { return monitor.HasMessage(QStringLiteral("Wrote '13' to ")); }, 30000))
      << monitor.Messages().join('\n').toStdString();
  const int windowCount = LastRecordId(site_) - before;
  ASSERT_GT(windowCount, 4);

  const RunReport report =
      Run("steps:\n"
          "  - force: {channel: 1216, value: \"&H1F\"}\n"
          "  - force: {channel: 1220, wave: {min: -1.5, max: 2.25, period: 45}}\n"
          "  - write: {channel: 1046, value: \"&HFFFF\"}\n"
          "  - mode-code: {mode: 0, value: 13}\n");
  EXPECT_TRUE(report.AllPassed()) << TableReport(report).toStdString();
  ASSERT_EQ(LastRecordId(site_) - before, 2 * windowCount);
  const QStringList fromWindow = Records(site_, before + 1, windowCount);
  EXPECT_EQ(Records(site_, before + 1 + windowCount, windowCount), fromWindow);
  EXPECT_TRUE(fromWindow[0].startsWith(QLatin1String("<Command action=\"WriteToChannel\"")))
      << fromWindow[0].toStdString();
}

INSTANTIATE_TEST_SUITE_P(Sqlite, CheckFaults, ::testing::Values(Backend::Sqlite), BackendName);

TEST_P(CheckEndToEnd, TheRealtimeDatabaseGoingAwayFailsTheExpectationClearly) {
  if (GetParam() != Backend::Postgresql) {
    GTEST_SKIP() << "an SQLite file stays readable while open";
  }
  realtime_.reset();  // drops the database, ending every connection to it
  const RunReport report =
      Run("steps:\n"
          "  - expect-value: {channel: 1216, matches: \".*\", timeout: 2}\n"
          "  - wait: 0\n");
  ASSERT_EQ(report.results.size(), 3U);
  EXPECT_EQ(report.results[0].outcome, StepOutcome::Failed);
  EXPECT_TRUE(report.results[0].detail.startsWith(
      QLatin1String("the realtime database could not be read: ")))
      << report.results[0].detail.toStdString();
  EXPECT_TRUE(report.results[1].passed());
}

namespace {

struct ProgramRun {
  int exitCode = -1;
  QString out;
  QString err;
};

// telmon-check as the operator starts it; `whileRunning` is called once it has started.
ProgramRun RunProgram(const QStringList& args,
                      const std::function<void(QProcess&)>& whileRunning = {}) {
  QProcess process;
  process.start(QStringLiteral(TELMON_CHECK_PATH),
                QStringList{QStringLiteral("/DAHSID=1")} + args +
                    QStringList{QStringLiteral("--ios-host"), QStringLiteral("127.0.0.1")});
  process.closeWriteChannel();  // no terminal: nothing to type a password into
  if (whileRunning) {
    whileRunning(process);
  }
  process.waitForFinished(120000);
  return {process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
          QString::fromUtf8(process.readAllStandardOutput()),
          QString::fromUtf8(process.readAllStandardError())};
}

}  // namespace

TEST_P(CheckFaults, TheProgramsCommandsAndExitCodes) {
  const QString password = site_.Folder() + QStringLiteral("/password");
  const QString sequence = site_.Folder() + QStringLiteral("/s.yaml");
  const auto writeSequence = [&](const QByteArray& text) {
    QFile f(sequence);
    ASSERT_TRUE(f.open(QIODevice::WriteOnly));
    f.write(text);
  };

  ProgramRun run = RunProgram({QStringLiteral("status"), QStringLiteral("--json")});
  ASSERT_EQ(run.exitCode, ExitPassed) << run.err.toStdString();
  const QJsonObject status = QJsonDocument::fromJson(run.out.toUtf8()).object();
  EXPECT_EQ(status.value(QStringLiteral("devices")).toArray().size(), 7);
  EXPECT_EQ(status.value(QStringLiteral("devices")).toArray()[0].toObject().value("ID"), "1");

  // The watch list's typed IDs: one read for a second's watch, a bad piece named.
  run = RunProgram({QStringLiteral("watch"), QStringLiteral("1216,1217"), QStringLiteral("--csv"),
                    QStringLiteral("--seconds"), QStringLiteral("1")});
  ASSERT_EQ(run.exitCode, ExitPassed) << run.err.toStdString();
  const QStringList lines = run.out.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
  ASSERT_EQ(lines.size(), 3) << run.out.toStdString();
  EXPECT_EQ(lines[0], "read,channel,value,timestamp");
  EXPECT_EQ(lines[1].section(QLatin1Char(','), 1, 1), "1216");
  EXPECT_EQ(lines[2].section(QLatin1Char(','), 1, 1), "1217");
  run = RunProgram({QStringLiteral("watch"), QStringLiteral("1216,1x")});
  EXPECT_EQ(run.exitCode, ExitUsage);
  EXPECT_EQ(run.err, "'1x' is not valid.\n");

  // A fault in the file: refused before anything is connected or sent.
  const int records = LastRecordId(site_);
  writeSequence("steps:\n  - force: {channel: 1216, value: 1}\n  - wiat: 1\n");
  run = RunProgram({QStringLiteral("run"), sequence, QStringLiteral("--password-file"), password});
  EXPECT_EQ(run.exitCode, ExitUsage);
  EXPECT_TRUE(run.err.contains(sequence + QStringLiteral(":3:5: unknown step 'wiat'")))
      << run.err.toStdString();

  // A wrong password: nothing is sent.
  writeSequence("steps:\n  - force: {channel: 1216, value: 1}\n");
  QFile wrong(site_.Folder() + QStringLiteral("/wrong"));
  ASSERT_TRUE(wrong.open(QIODevice::WriteOnly));
  wrong.write("nope\n");
  wrong.close();
  run = RunProgram(
      {QStringLiteral("run"), sequence, QStringLiteral("--password-file"), wrong.fileName()});
  EXPECT_EQ(run.exitCode, ExitNoRights) << run.err.toStdString();
  EXPECT_EQ(LastRecordId(site_), records);

  // A failing step: exit 1, TAP on the output, JUnit in the file.
  writeSequence("steps:\n  - expect-value: {channel: 1216, equals: \"-999\", timeout: 0.5}\n");
  const QString junit = site_.Folder() + QStringLiteral("/junit.xml");
  run = RunProgram(
      {QStringLiteral("run"), sequence, QStringLiteral("--tap"), QStringLiteral("--junit"), junit});
  EXPECT_EQ(run.exitCode, ExitFailed) << run.err.toStdString();
  EXPECT_TRUE(run.out.startsWith(QLatin1String("TAP version 13\n1..2\nnot ok 1 - ")))
      << run.out.toStdString();
  QFile file(junit);
  ASSERT_TRUE(file.open(QIODevice::ReadOnly));
  const xml::XmlDocument doc = xml::ParseXmlDocument(nullptr, QString::fromUtf8(file.readAll()));
  ASSERT_TRUE(doc);
  EXPECT_EQ(xml::SelectNodes(doc, "/testsuites/testsuite/testcase/failure").size(), 1U);

  // Ctrl-C during a wait: the release puts the device back once, then a non-zero exit. Both
  // switches are in the journal, under the account that was granted edit rights, and in the
  // site's shared journal when the settings file names one.
  writeSequence("steps:\n  - random: {device: 4, on: true}\n  - wait: 60\n");
  const QString journal = site_.Folder() + QStringLiteral("/journal.sqlite");
  std::unique_ptr<ScratchDatabase> shared;
  if (PostgresqlAvailable()) {
    shared = std::make_unique<ScratchDatabase>(Backend::Postgresql);
    QString error;
    SqlConnection server(shared->ConnectionString(), OpenMode::ReadWrite);
    ASSERT_NE(server.Database(&error), nullptr) << error.toStdString();
    ASSERT_TRUE(SharedJournal::InitSchema(*server.Database(&error), &error)) << error.toStdString();
    QFile ini(site_.Folder() + QStringLiteral("/Halvo5.INI"));
    ASSERT_TRUE(ini.open(QIODevice::Append));
    ini.write(("\n[Telmon]\nJournal = " + shared->ConnectionString() + "\n").toUtf8());
  }
  run = RunProgram(
      {QStringLiteral("run"), sequence, QStringLiteral("--password-file"), password,
       QStringLiteral("--journal"), journal},
      [this](QProcess& p) {
        // Once the program has switched the device (this session sees the
        // device's events too), it is in its wait.
        EXPECT_TRUE(
            WaitFor([this] { return session_->Device(4)->random == std::optional(true); }, 30000));
        ::kill(static_cast<pid_t>(p.processId()), SIGINT);
      });
  EXPECT_EQ(run.exitCode, ExitInterrupted) << run.err.toStdString();
  EXPECT_TRUE(run.out.contains(QLatin1String("interrupted (Ctrl-C)"))) << run.out.toStdString();
  EXPECT_EQ(run.out.count(QLatin1String("device 4 back to polling")), 1) << run.out.toStdString();
  OperationJournal read(journal, {}, *session_, clock_);
  QStringList entries;
  for (const JournalEntry& e : read.ReadAll()) {
    entries << e.operation + QLatin1Char('|') + e.account + QLatin1Char('|') + e.outcome;
  }
  EXPECT_EQ(entries, QStringList({"Random values on|super|sent", "Random values off|super|sent"}));
  if (shared) {
    QStringList sent;
    for (const QVariantList& row : shared->Rows(QStringLiteral(
             "SELECT operation || '|' || account || '|' || local_seq FROM telmon_journal "
             "ORDER BY seq"))) {
      sent << row[0].toString();
    }
    EXPECT_EQ(sent, QStringList({"Random values on|super|1", "Random values off|super|2"}));
  }
}

// The simulator raises an out-of-range alarm for a channel forced beyond its range and clears
// it when the value is back: the alarm steps follow it, and the alarms command lists what is
// left (cleared, waiting for an acknowledgement).
TEST_P(CheckFaults, AlarmStepsAndTheAlarmsCommandFollowTheSimulatorsAlarms) {
  const RunReport report =
      Run("name: alarms\nsteps:\n"
          "  - force: {channel: 1216, value: \"500\"}\n"
          "  - expect-alarm: {source: channel, id: 1216, condition: Out of range, "
          "state: active-unack, timeout: 15}\n"
          "  - force: {channel: 1216, value: \"50\"}\n"
          "  - expect-no-alarm: {source: channel, id: 1216, condition: Out of range, timeout: 15}\n"
          "  - expect-alarm: {source: device, id: 424242, timeout: 0.5}\n");
  ASSERT_EQ(report.results.size(), 6U);
  for (int i = 0; i < 4; ++i) {
    EXPECT_TRUE(report.results[static_cast<std::size_t>(i)].passed())
        << i << ": " << report.results[static_cast<std::size_t>(i)].detail.toStdString();
  }
  EXPECT_EQ(report.results[1].observed, "'Out of range' ACTIVE_UNACK");
  EXPECT_EQ(report.results[3].observed, "'Out of range' CLEARED_UNACK");
  EXPECT_FALSE(report.results[4].passed());
  EXPECT_EQ(report.results[4].observed, "(no alarm)");
  EXPECT_EQ(report.results[4].detail, "timed out after 0.5 s");

  const ProgramRun run = RunProgram({QStringLiteral("alarms"), QStringLiteral("--json")});
  ASSERT_EQ(run.exitCode, ExitPassed) << run.err.toStdString();
  const QJsonObject all = QJsonDocument::fromJson(run.out.toUtf8()).object();
  bool found = false;
  for (const QJsonValue& v : all.value(QStringLiteral("alarms")).toArray()) {
    const QJsonObject a = v.toObject();
    if (a.value(QStringLiteral("Source")).toString().startsWith(QLatin1String("Channel 1216 ")) &&
        a.value(QStringLiteral("Condition")).toString() == QLatin1String("Out of range")) {
      found = true;
      EXPECT_EQ(a.value(QStringLiteral("State")).toString(), "Cleared, unacknowledged");
      EXPECT_EQ(a.value(QStringLiteral("stateCode")).toString(), "CLEARED_UNACK");
      EXPECT_EQ(a.value(QStringLiteral("Priority")).toString(), "Medium");
    }
  }
  EXPECT_TRUE(found) << run.out.toStdString();
  EXPECT_EQ(all.value(QStringLiteral("count")).toInt(),
            all.value(QStringLiteral("alarms")).toArray().size());
}
