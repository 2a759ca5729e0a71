// The messages window offscreen: menus, hiding on close, save and print through the operator
// prompts, the font option.

#include "messages/frmProblems.h"
#include "platform/testing/ScriptedPrompter.h"
#include "tests/support/ScreenTexts.h"

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QFile>
#include <QMenu>
#include <QMenuBar>
#include <QTemporaryDir>
#include <QTreeView>

#include <gtest/gtest.h>

#include <ostream>

inline void PrintTo(const QString& s, std::ostream* os) { *os << '"' << s.toStdString() << '"'; }

namespace telmon {
namespace {

class FrmProblemsTest : public ::testing::Test {
 protected:
  ManualClock clock_;
  MessageTypes types_;
  MessageLogModel model_{clock_, types_};
  ScriptedPrompter prompter_;
  frmProblems window_{model_, prompter_, QStringLiteral("Telmon")};
};

// The window's menus, their options' defaults and the list's columns as the operator knows
// them, read from the window.
TEST_F(FrmProblemsTest, ShowsTheMenusAndColumnsOperatorsKnow) {
  test::ExpectShown(
      test::ScreenTexts(&window_),
      {
          R"t(window "Messages")t",
          R"t(menu "File": "Print" | "Save" | "Export List..." | - | "Close")t",
          R"t(menu "Edit": "Copy" | "Clear")t",
          R"t(menu "Options": "Auto Select Newest Message" [x] | "Collect and Show New Messages" [x] | - | "Collect and Display Trace Messages" [ ] | - | "Use &Monospace Font" [ ])t",
          R"t(column 0 "Timestamp")t",
          R"t(column 1 "Message")t",
      });
  EXPECT_FALSE(window_.ShowTraceMessages());
  EXPECT_FALSE(window_.UseMonospaceFont());
  EXPECT_EQ(window_.List()->font().family(), QStringLiteral("MS Sans Serif"));
  EXPECT_EQ(window_.List()->font().pointSize(), 8);
  window_.SetColumn2Title(QStringLiteral("Text"));
  EXPECT_EQ(window_.Column2Title(), QStringLiteral("Text"));
  EXPECT_EQ(window_.List()->model()->headerData(1, Qt::Horizontal).toString(),
            QStringLiteral("Text"));
}

TEST_F(FrmProblemsTest, OptionsDriveTheLog) {
  window_.Action("mnuOptions_CollectNewMsgs")->trigger();
  window_.AddMsg(1, QStringLiteral("dropped"));
  EXPECT_EQ(window_.EntryCount(), 0);
  window_.Action("mnuOptions_CollectNewMsgs")->trigger();
  window_.SetShowTraceMessages(true);
  window_.AddMsg(8, QStringLiteral("trace"));
  EXPECT_EQ(window_.EntryCount(), 1);

  window_.SetUseMonospaceFont(true);
  EXPECT_TRUE(window_.UseMonospaceFont());
  EXPECT_EQ(window_.List()->font().family(), QStringLiteral("Courier New"));
  EXPECT_EQ(window_.List()->font().pointSize(), 9);
  window_.Action("mnuOptions_UseMonospaceFont")->trigger();
  EXPECT_FALSE(window_.UseMonospaceFont());
  EXPECT_EQ(window_.List()->font().family(), QStringLiteral("MS Sans Serif"));
  EXPECT_EQ(window_.List()->font().pointSize(), 8);
}

TEST_F(FrmProblemsTest, ClosingHidesUntilTheProgramEnds) {
  window_.show();
  window_.AddMsg(1, QStringLiteral("kept"));
  EXPECT_FALSE(window_.close());
  EXPECT_TRUE(window_.isHidden());
  window_.AddMsg(1, QStringLiteral("still collected"));
  EXPECT_EQ(window_.EntryCount(), 2);
  window_.show();
  window_.Action("mnuFile_Close")->trigger();
  EXPECT_TRUE(window_.isHidden());
  window_.show();
  window_.AllowClose();
  EXPECT_TRUE(window_.close());
}

TEST_F(FrmProblemsTest, SelectionFollowsTheNewestRow) {
  window_.show();
  for (int i = 0; i < 3; ++i) window_.AddMsg(1, QString::number(i));
  EXPECT_EQ(window_.List()->currentIndex().row(), 2);
  window_.Action("mnuOptions_AutoSelNewest")->trigger();
  window_.List()->setCurrentIndex(model_.index(0, 0));
  window_.AddMsg(1, QStringLiteral("new"));
  EXPECT_EQ(window_.List()->currentIndex().row(), 0);
  EXPECT_EQ(model_.SelectedKey(), QStringLiteral("0K"));
}

TEST_F(FrmProblemsTest, SaveCopyAndPrintGoThroughThePrompts) {
  window_.AddEntry(QStringLiteral("t"), QStringLiteral("one"), 0);
  window_.AddEntry(QStringLiteral("t"), QStringLiteral("two"), 0);
  QTemporaryDir dir;
  const QString path = dir.filePath(QStringLiteral("log.txt"));
  prompter_.QueueSaveFile(path);
  window_.Action("mnuFile_SaveToFile")->trigger();
  const auto& request = prompter_.Records().at(0).request;
  EXPECT_EQ(request.title, QStringLiteral("Save As"));
  EXPECT_TRUE(request.initialFileName.contains(QStringLiteral("MessageLog ")));
  EXPECT_TRUE(request.initialFileName.endsWith(QStringLiteral(".txt")));
  EXPECT_EQ(request.filter, QStringLiteral("Text Files (*.txt)|*.txt|All Files (*.*)|*.*"));
  QFile file(path);
  ASSERT_TRUE(file.open(QIODevice::ReadOnly));
  EXPECT_EQ(file.readAll(), QByteArray("1\tt\tone\r\n2\tt\ttwo\r\n"));

  prompter_.Clear();
  prompter_.QueueSaveFile(std::nullopt);
  window_.Action("mnuFile_SaveToFile")->trigger();
  prompter_.QueueSaveFile(dir.filePath(QStringLiteral("no/such/folder/log.txt")));
  window_.Action("mnuFile_SaveToFile")->trigger();
  ASSERT_EQ(prompter_.Questions().size(), 1U);
  EXPECT_TRUE(prompter_.Questions()[0].text.startsWith(QStringLiteral("Error 75, ")));
  EXPECT_EQ(prompter_.Questions()[0].icon, PromptIcon::Exclamation);
  EXPECT_EQ(prompter_.Questions()[0].title, QStringLiteral("Telmon"));

  window_.Action("mnuView_Copy")->trigger();
  EXPECT_EQ(QApplication::clipboard()->text(), QStringLiteral("1\tt\tone\r\n2\tt\ttwo"));

  prompter_.Clear();
  prompter_.QueueAnswer(PromptAnswer::Cancel);
  window_.Action("mnuFile_Print")->trigger();
  ASSERT_EQ(prompter_.Questions().size(), 1U);
  EXPECT_TRUE(
      prompter_.Questions()[0].text.startsWith(QStringLiteral("Messages will be printed to '")));
  EXPECT_EQ(prompter_.Questions()[0].buttons, PromptButtons::OkCancel);
  EXPECT_EQ(prompter_.Questions()[0].icon, PromptIcon::Information);

  window_.Action("mnuView_Clear")->trigger();
  EXPECT_EQ(model_.rowCount(), 0);
}

}  // namespace
}  // namespace telmon
