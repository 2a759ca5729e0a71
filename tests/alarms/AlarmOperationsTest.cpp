// Acknowledging and shelving through the real edit-mode switch and privilege check, written to
// a real alarms database and a real operator journal.

#include "alarms/AlarmOperations.h"
#include "journal/OperationJournal.h"
#include "platform/SecurityPrivilegeGate.h"
#include "platform/testing/ScriptedPrompter.h"
#include "session/EditModeController.h"
#include "tests/alarms/AlarmTestSupport.h"
#include "tests/support/JournalAndAccounts.h"
#include "tests/util/QStringPrinter.h"
#include "util/Clock.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace telmon::test {
namespace {

class Sink final : public IRaiseMsg {
 public:
  // Errors only: the privilege check's notes are not what these tests look at.
  void RaiseMsg(std::int32_t type, const QString& text) override {
    if (type == MsgType::Error) {
      texts << QString::number(type) + QStringLiteral(": ") + text;
    }
  }
  QStringList texts;
};

class AlarmOperationsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    test::AddSiteAccounts(site_.Connection(),
                          {{QStringLiteral("tech"), 100}, {QStringLiteral("super"), 251}});
    clock_.SetNow(At(14, 10, 0));
    site_.Raise(DeviceWatchdog(3), At(14, 9, 0));
    site_.Raise(Condition(AlarmSourceKind::Channel, 17, QStringLiteral("Out of range"), 3),
                At(14, 9, 5));
    QObject::connect(&edit_, &EditModeController::EditModeChanged, &journal_,
                     [this](bool) { journal_.SetEditAccount(edit_.EditAccount()); });
  }
  // Answers the edit-mode question with Yes and the privilege check with `account`.
  void EnableEditsAs(const QString& account) {
    prompter_.QueueAnswer(PromptAnswer::Yes);
    prompter_.QueueCredentials(Credentials{account, QStringLiteral("pw")});
  }

  AlarmDatabase site_{Backend::Sqlite};
  QTemporaryDir dir_;
  ManualClock clock_;
  Sink sink_;
  ScriptedPrompter prompter_;
  OperationJournal journal_{
      dir_.filePath(QStringLiteral("j.sqlite")), {1, QStringLiteral("PC")}, sink_, clock_};
  SecurityPrivilegeGate gate_{
      prompter_, clock_, sink_,
      SecuritySettings{"S", "EN", site_.Connection(), site_.Connection(), "Telmon", "1"}};
  EditModeController edit_{prompter_, gate_, sink_, QStringLiteral("Telmon"), {}};
  AlarmOperations ops_{site_.Store(),
                       {edit_, journal_, sink_, clock_, [this] { return edit_.EditAccount(); }}};
};

TEST_F(AlarmOperationsTest, WithoutEditRightsNothingIsAcknowledgedShelvedOrJournaled) {
  const std::vector<AlarmRow> rows = site_.Current();
  EnableEditsAs(QStringLiteral("tech"));  // level 100: refused
  EXPECT_FALSE(ops_.Acknowledge(rows));
  prompter_.QueueAnswer(PromptAnswer::No);  // no edit mode wanted
  EXPECT_FALSE(ops_.Shelve(rows, 60));
  ASSERT_GE(prompter_.Questions().size(), 2U);
  EXPECT_EQ(prompter_.Questions()[0].text,
            QStringLiteral("Edits are not enabled. Do you want to enable edits now?"));
  EXPECT_FALSE(edit_.EditsAllowed());
  EXPECT_EQ(Summary(site_.Current()), (QStringList{"3 Watchdog failure ACTIVE_UNACK 1 -",
                                                   "17 Out of range ACTIVE_UNACK 1 -"}));
  EXPECT_TRUE(journal_.ReadAll().empty());
  EXPECT_EQ(site_.History().size(), 2);
}

TEST_F(AlarmOperationsTest, AcknowledgeAndShelveAreWrittenWithTheAccountAndJournaled) {
  std::vector<AlarmRow> rows = site_.Current();
  EnableEditsAs(QStringLiteral("super"));
  ASSERT_EQ(ops_.Acknowledge({rows[0]}), 1);
  EXPECT_EQ(prompter_.Questions().size(), 1U);
  EXPECT_TRUE(edit_.EditsAllowed());
  clock_.SetNow(At(14, 11, 0));
  // The monitor's own alarms are not in the database and are passed over.
  AlarmRow own;
  own.monitorOwn = true;
  ASSERT_EQ(ops_.Shelve({rows[1], own}, 60), 1);
  rows = site_.Current();
  EXPECT_EQ(Summary(rows),
            (QStringList{"3 Watchdog failure ACTIVE_ACK 1 super", "17 Out of range SHELVED 1 -"}));
  EXPECT_EQ(rows[0].acknowledged, At(14, 10, 0));
  EXPECT_EQ(rows[1].shelvedUntil.toString(Qt::ISODate), QStringLiteral("2024-03-14T12:00:00"));
  EXPECT_EQ(rows[1].shelvedBy, QStringLiteral("super"));
  EXPECT_EQ(test::JournalLines(journal_.ReadAll()),
            (QStringList{"Acknowledge alarms|super|alarm 1: Device 3 (CEMS A) Watchdog failure||"
                         "H5ALARM acknowledge 1|record written",
                         "Shelve alarms|super|alarm 2: Channel 17 Out of range|1 h|"
                         "H5ALARM shelve 2 until 2024-03-14T12:00:00|record written"}));
  EXPECT_TRUE(sink_.texts.isEmpty()) << sink_.texts.join(QLatin1Char('\n')).toStdString();
  // Nothing chosen: nothing asked, nothing journaled.
  EXPECT_FALSE(ops_.Acknowledge({}));
  EXPECT_EQ(journal_.ReadAll().size(), 2U);
}

TEST_F(AlarmOperationsTest, ADatabaseFailureIsReportedAndJournaledAsTheOutcome) {
  const std::vector<AlarmRow> rows = site_.Current();
  EnableEditsAs(QStringLiteral("super"));
  site_.Db().Exec(QStringLiteral("DROP TABLE H5ALARMHISTORY"));
  EXPECT_FALSE(ops_.Acknowledge(rows));
  EXPECT_FALSE(ops_.Shelve(rows, 15));
  ASSERT_EQ(sink_.texts.size(), 2);
  EXPECT_TRUE(
      sink_.texts[0].startsWith(QStringLiteral("4: TELM-9020: Could not acknowledge alarms 1,2: ")))
      << sink_.texts[0].toStdString();
  EXPECT_TRUE(
      sink_.texts[1].startsWith(QStringLiteral("4: TELM-9021: Could not shelve alarms 1,2: ")))
      << sink_.texts[1].toStdString();
  const auto entries = journal_.ReadAll();
  ASSERT_EQ(entries.size(), 2U);
  EXPECT_EQ(entries[0].outcome, sink_.texts[0].mid(3));
  EXPECT_EQ(entries[1].value, QStringLiteral("15 min"));
  EXPECT_EQ(Summary(site_.Current()), (QStringList{"3 Watchdog failure ACTIVE_UNACK 1 -",
                                                   "17 Out of range ACTIVE_UNACK 1 -"}));
}

}  // namespace
}  // namespace telmon::test
