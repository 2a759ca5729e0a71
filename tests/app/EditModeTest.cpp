#include "platform/testing/ScriptedPrompter.h"
#include "session/EditModeController.h"

#include <QStringList>

#include <gtest/gtest.h>

#include <deque>
#include <vector>

using namespace telmon;

namespace {

// Privilege answers scripted per check; empty = the security service cannot be used.
struct ScriptedGate : IPrivilegeGate {
  std::deque<std::optional<PrivilegeCheck>> answers;
  std::vector<int> levels;
  std::optional<PrivilegeCheck> CheckPrivilege(int level) override {
    levels.push_back(level);
    auto a = answers.front();
    answers.pop_front();
    return a;
  }
};

struct Sink : IRaiseMsg {
  QStringList texts;
  void RaiseMsg(std::int32_t, const QString& t) override { texts << t; }
};

struct EditModeFixture : ::testing::Test {
  ScriptedPrompter prompter;
  ScriptedGate gate;
  Sink sink;
  bool anyRandom = false;
  int pollAllCalls = 0;
  EditModeController edit{
      prompter, gate, sink, "Telmon", {[this] { return anyRandom; }, [this] { ++pollAllCalls; }}};
  std::vector<bool> changes;
  void SetUp() override {
    QObject::connect(&edit, &EditModeController::EditModeChanged, &edit,
                     [this](bool on) { changes.push_back(on); });
  }
  void GrantOn() {
    gate.answers.push_back(PrivilegeCheck{PrivilegeResult::Granted, "super"});
    edit.SetEditMode(true);
  }
};

}  // namespace

TEST_F(EditModeFixture, GrantedAtLevel250SwitchesOn) {
  GrantOn();
  EXPECT_TRUE(edit.EditsAllowed());
  EXPECT_EQ(gate.levels, std::vector<int>{250});
  EXPECT_EQ(changes, std::vector<bool>{true});
}

TEST_F(EditModeFixture, RefusedOrCancelledLeavesItOffWithoutMessage) {
  gate.answers.push_back(PrivilegeCheck{PrivilegeResult::Refused, "tech"});
  gate.answers.push_back(PrivilegeCheck{PrivilegeResult::Cancelled, ""});
  edit.SetEditMode(true);
  edit.SetEditMode(true);
  EXPECT_FALSE(edit.EditsAllowed());
  EXPECT_TRUE(sink.texts.isEmpty());
  EXPECT_EQ(changes, (std::vector<bool>{false, false}));
}

TEST_F(EditModeFixture, UnusableSecurityReportsTelm0059) {
  gate.answers.push_back(std::nullopt);
  edit.SetEditMode(true);
  EXPECT_FALSE(edit.EditsAllowed());
  EXPECT_EQ(sink.texts, QStringList{"TELM-0059: can't use security"});
}

TEST_F(EditModeFixture, SwitchingOffAsksAboutRandomDevices) {
  GrantOn();
  anyRandom = true;
  prompter.QueueAnswer(PromptAnswer::Cancel);
  EXPECT_TRUE(edit.SetEditMode(false));
  EXPECT_TRUE(edit.EditsAllowed());
  const auto q = prompter.Questions().back();
  EXPECT_EQ(q.text, "Do you want to set all devices back to polling mode?");
  EXPECT_EQ(q.buttons, PromptButtons::YesNoCancel);

  prompter.QueueAnswer(PromptAnswer::No);
  EXPECT_FALSE(edit.SetEditMode(false));
  EXPECT_FALSE(edit.EditsAllowed());
  EXPECT_EQ(pollAllCalls, 0);

  GrantOn();
  prompter.QueueAnswer(PromptAnswer::Yes);
  edit.SetEditMode(false);
  EXPECT_FALSE(edit.EditsAllowed());
  EXPECT_EQ(pollAllCalls, 1);
}

TEST_F(EditModeFixture, NoRandomDevicesSwitchesOffWithoutQuestion) {
  GrantOn();
  edit.SetEditMode(false);
  EXPECT_FALSE(edit.EditsAllowed());
  EXPECT_TRUE(prompter.Questions().empty());
}

TEST_F(EditModeFixture, QuestionAnsweredNoSkipsThePrivilegeCheck) {
  prompter.QueueAnswer(PromptAnswer::No);
  EXPECT_FALSE(edit.AskWhetherUserWantsToEnableEditing());
  EXPECT_TRUE(gate.levels.empty());
  const auto q = prompter.Questions().front();
  EXPECT_EQ(q.text, "Edits are not enabled. Do you want to enable edits now?");
  EXPECT_EQ(q.icon, PromptIcon::Exclamation);
  EXPECT_EQ(q.buttons, PromptButtons::YesNo);

  prompter.QueueAnswer(PromptAnswer::Yes);
  gate.answers.push_back(PrivilegeCheck{PrivilegeResult::Granted, "super"});
  EXPECT_TRUE(edit.AskWhetherUserWantsToEnableEditing());
  EXPECT_TRUE(edit.AskWhetherUserWantsToEnableEditing());  // already on: no second question
  EXPECT_EQ(prompter.Questions().size(), 2U);
}
