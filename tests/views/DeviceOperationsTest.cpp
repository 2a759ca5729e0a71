// The device buttons end to end: real privilege checks against SQLite accounts, the scripted
// operator, and the bytes that reach a loopback IOS.

#include "views/DeviceOperations.h"

#include "platform/AccountStore.h"
#include "platform/SecurityPrivilegeGate.h"
#include "platform/testing/ScriptedPrompter.h"
#include "tests/platform/SiteDatabaseFixture.h"
#include "tests/views/ViewsTestSupport.h"
#include "util/Clock.h"

#include <gtest/gtest.h>

namespace telmon {
namespace {

// Edit mode as the main window keeps it: asking turns it on when the operator says Yes.
class EditMode final : public IEditGate {
 public:
  explicit EditMode(Prompter& prompter) : prompter_(prompter) {}
  bool EditsAllowed() const override { return on; }
  bool AskWhetherUserWantsToEnableEditing() override {
    if (!on &&
        prompter_.Ask({QStringLiteral("Edits are not enabled. Do you want to enable edits now?"),
                       QStringLiteral("Telmon"), PromptIcon::Exclamation, PromptButtons::YesNo,
                       std::nullopt}) == PromptAnswer::Yes) {
      on = true;
    }
    return on;
  }
  bool on = false;

 private:
  Prompter& prompter_;
};

class DeviceOperationsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    db_.Init();
    AddAccount("tech", 251);
    AddAccount("viewer", 100);
    devices_.Setup(sink_, peer_, model_);
    const test::ParsedEvents events(QStringLiteral(
        "<Event eventtype=\"DeviceUpdate\" DeviceID=\"12\" WatchdogStatusOk=\"true\"/>"));
    devices_.UpdateOneItemInLsv(events[0]);
  }

  void AddAccount(const char* name, int level) {
    SqlConnection connection(db_.ConnectionString(), OpenMode::ReadWrite);
    QString error;
    QSqlDatabase* db = connection.Database(&error);
    ASSERT_NE(db, nullptr);
    AccountStore store(*db);
    ASSERT_TRUE(store.AddAccount(QString::fromLatin1(name), level, QStringLiteral("pw"),
                                 PasswordHashCost::Minimum(), &error));
  }
  void SelectDevice() { model_.Select(model_.FindKey("12K")); }
  void SelectPlaceholder() {
    devices_.InitializeLsv();
    model_.Select(model_.RowAt(0));
  }
  void SignInAs(const char* account) {
    prompter_.QueueCredentials(Credentials{QString::fromLatin1(account), QStringLiteral("pw")});
  }
  PromptQuestion LastQuestion() const {
    const auto questions = prompter_.Questions();
    return questions.empty() ? PromptQuestion{} : questions.back();
  }

  test::ScratchDatabase db_{test::Backend::Sqlite};
  ScriptedPrompter prompter_;
  ManualClock clock_;
  test::CollectingSink sink_;
  test::LoopbackPeer peer_;
  KeyedListModel model_;
  DeviceListviewManager devices_;
  EditMode edit_{prompter_};
  SecurityPrivilegeGate gate_{
      prompter_, clock_, sink_,
      SecuritySettings{"S", "EN", db_.ConnectionString(), db_.ConnectionString(), "Telmon", "1"}};
  DeviceOperations ops_{devices_, {&edit_, &gate_, &prompter_, &sink_, "Telmon", "PLANT1"}};
};

TEST_F(DeviceOperationsTest, RandomModeButtonsPassTheEditGate) {
  prompter_.QueueAnswer(PromptAnswer::No);
  ops_.PollAll(1);
  ASSERT_EQ(prompter_.Questions().size(), 1u);
  EXPECT_EQ(prompter_.Questions()[0].text,
            "Edits are not enabled. Do you want to enable edits now?");
  prompter_.QueueAnswer(PromptAnswer::Yes);
  ops_.PollAll(1);
  ops_.PollSelected(0);  // nothing selected: nothing sent, nothing shown
  SelectDevice();
  ops_.PollSelected(1);
  ops_.PollAll(0);
  EXPECT_EQ(prompter_.Questions().size(), 2u);
  EXPECT_EQ(peer_.Received(),
            QByteArray("<Command action=\"SetDeviceToRandomMode\" id=\"*\" value=\"1\"/>"
                       "<Command action=\"SetDeviceToRandomMode\" id=\"12\" value=\"1\"/>"
                       "<Command action=\"SetDeviceToRandomMode\" id=\"*\" value=\"0\"/>"));
}

TEST_F(DeviceOperationsTest, ChangeIPAddressAsksGatesAndNotifies) {
  ops_.ChangeIPAddress();
  EXPECT_EQ(LastQuestion().text, "Select a device first.");
  EXPECT_EQ(LastQuestion().icon, PromptIcon::Exclamation);

  SelectDevice();
  SignInAs("viewer");
  ops_.ChangeIPAddress();
  EXPECT_EQ(LastQuestion().text, "Access denied.  [TELM-0080]");
  EXPECT_EQ(sink_.Texts().last(), "Account 'viewer' does not have privileges. [TELM-0081]");

  SignInAs("tech");
  prompter_.QueueInput(QString());
  ops_.ChangeIPAddress();
  EXPECT_EQ(prompter_.Records().back().text, "New IP Address for device 12");
  EXPECT_EQ(prompter_.Records().back().title, "Telmon");

  edit_.on = true;  // no privilege is asked for in edit mode
  prompter_.QueueInput(QStringLiteral("abc"));
  ops_.ChangeIPAddress();
  EXPECT_EQ(LastQuestion().text,
            "Restart Halvo I/O Service 5 for the new IP address to take effect.\r\n\r\n"
            "If there is a redundant DAS, you must make this same change on the other DAS.\r\n\r\n"
            "Restart this application. [TELM-0084]");
  EXPECT_EQ(LastQuestion().icon, PromptIcon::Critical);
  EXPECT_EQ(prompter_.PendingAnswers(), 0u);
  EXPECT_EQ(peer_.Received(),
            QByteArray("<Command action=\"SetDeviceIPAddress\" id=\"12\" value=\"abc\"/>"));

  SelectPlaceholder();
  ops_.ChangeIPAddress();
  EXPECT_EQ(LastQuestion().text,
            "No device is selected. Cannot change IP address.\r\n\r\n"
            "1. (Re)start Halvo I/O Service 5 and restart this application.\r\n"
            "2. Make sure devices are configured for site 'PLANT1'.\r\n[TELM-0083]");
}

TEST_F(DeviceOperationsTest, EraseAndFailoverConfirmWithNoAsDefault) {
  SelectDevice();
  SignInAs("tech");
  ops_.EraseHDR();  // confirmation answered with the default button
  const PromptQuestion erase = LastQuestion();
  EXPECT_EQ(erase.text,
            "Are you sure you want to erase all historical data in this device?\r\n\r\n"
            "This operation cannot be undone.");
  EXPECT_EQ(erase.icon, PromptIcon::Critical);
  EXPECT_EQ(erase.buttons, PromptButtons::YesNo);
  EXPECT_EQ(erase.defaultButton, std::optional<PromptAnswer>(PromptAnswer::No));

  SignInAs("viewer");
  ops_.Failover();
  EXPECT_EQ(LastQuestion().text, "Access denied.  [TELM-0069]");
  EXPECT_EQ(sink_.Texts().last(), "Account 'viewer' does not have privileges. [TELM-0070]");

  SignInAs("tech");
  prompter_.QueueAnswer(PromptAnswer::Yes);
  ops_.Failover();
  EXPECT_EQ(LastQuestion().text, "Do a failover?");
  EXPECT_EQ(LastQuestion().icon, PromptIcon::Exclamation);
  EXPECT_EQ(LastQuestion().defaultButton, std::optional<PromptAnswer>(PromptAnswer::No));

  ops_.SetClock();  // no gate, no question, even with edit mode off
  EXPECT_EQ(peer_.Received(), QByteArray("<Command action=\"DoFailover\" id=\"12\"/>"
                                         "<Command action=\"SetDeviceClock\" id=\"12\"/>"));
}

TEST_F(DeviceOperationsTest, UnusableSecurityIsReportedPerOperation) {
  SelectDevice();
  SecurityPrivilegeGate broken(prompter_, clock_, sink_,
                               SecuritySettings{"S", "EN", "sqlite:/nonexistent/site.db",
                                                "sqlite:/nonexistent/site.db", "Telmon", "1"});
  DeviceOperations ops(devices_, {&edit_, &broken, &prompter_, &sink_, "Telmon", "PLANT1"});
  ops.EraseHDR();
  ops.Failover();
  ops.ChangeIPAddress();
  const QStringList texts = sink_.Texts();
  EXPECT_TRUE(texts.contains("TELM-0057: can't use security")) << texts.join('\n').toStdString();
  EXPECT_TRUE(texts.contains("TELM-0058: can't use security"));
  EXPECT_TRUE(texts.contains("TELM-0079: can't use security"));
  EXPECT_TRUE(prompter_.Questions().empty());
  EXPECT_EQ(peer_.Received(), QByteArray());
}

TEST_F(DeviceOperationsTest, PlaceholderSelectionIsReportedAndSendsNothing) {
  SelectPlaceholder();
  edit_.on = true;
  prompter_.QueueAnswer(PromptAnswer::Yes);
  ops_.EraseHDR();
  prompter_.QueueAnswer(PromptAnswer::Yes);
  ops_.Failover();
  ops_.SetClock();
  ops_.PollSelected(1);
  ops_.PollSelected(0);
  // The random/poll buttons own no code: their failure carries none.
  EXPECT_EQ(sink_.Texts(),
            (QStringList{"TELM-0002: 13, Type mismatch", "TELM-0003: 13, Type mismatch",
                         "TELM-0004: 13, Type mismatch", "Error 13, Type mismatch",
                         "Error 13, Type mismatch"}));
  EXPECT_EQ(peer_.Received(), QByteArray());
}

}  // namespace
}  // namespace telmon
