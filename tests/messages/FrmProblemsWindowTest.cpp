// The messages window as the operator meets it: opened after rows were collected and closed, the
// timestamp column, Save As on a read-only file, and printing on a computer without a printer.

#include "messages/frmProblems.h"
#include "platform/testing/ScriptedPrompter.h"

#include <QAction>
#include <QApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHeaderView>
#include <QPrinterInfo>
#include <QTemporaryDir>
#include <QTreeView>
#include <QtTest/QTest>

#include <gtest/gtest.h>

#include <ostream>

inline void PrintTo(const QString& s, std::ostream* os) { *os << '"' << s.toStdString() << '"'; }

namespace telmon {
namespace {

class FrmProblemsWindowTest : public ::testing::Test {
 protected:
  // True when `row` is the view's current, selected row and lies wholly inside its viewport.
  static bool SelectedAndInView(const QTreeView& view, int row) {
    const QModelIndex index = view.model()->index(row, 0);
    return view.currentIndex().row() == row && view.selectionModel()->isRowSelected(row) &&
           view.viewport()->rect().contains(view.visualRect(index));
  }

  ManualClock clock_;
  MessageTypes types_;
  MessageLogModel model_{clock_, types_};
  ScriptedPrompter prompter_;
};

TEST_F(FrmProblemsWindowTest, OpeningShowsTheNewestRowSelectedAndInView) {
  // Rows collected before the window exists, and while it exists but was never shown.
  for (int i = 0; i < 60; ++i) model_.AddMsg(1, QStringLiteral("before %1").arg(i));
  frmProblems window(model_, prompter_, QStringLiteral("Telmon"));
  for (int i = 0; i < 60; ++i) window.AddMsg(1, QStringLiteral("hidden %1").arg(i));
  window.resize(600, 250);
  window.show();
  ASSERT_TRUE(QTest::qWaitForWindowExposed(&window));
  EXPECT_TRUE(QTest::qWaitFor([&] { return SelectedAndInView(*window.List(), 119); }, 5000))
      << "current row " << window.List()->currentIndex().row();
  EXPECT_EQ(model_.SelectedKey(), QStringLiteral("119K"));

  // Hidden again and reopened after more rows: the newest is shown again.
  window.hide();
  for (int i = 0; i < 30; ++i) window.AddMsg(1, QStringLiteral("later %1").arg(i));
  window.show();
  EXPECT_TRUE(QTest::qWaitFor([&] { return SelectedAndInView(*window.List(), 149); }, 5000));

  // With "Auto Select Newest Message" off the operator's choice is what reopening shows.
  window.Action("mnuOptions_AutoSelNewest")->trigger();
  window.List()->setCurrentIndex(model_.index(3, 0));
  window.hide();
  window.AddMsg(1, QStringLiteral("not selected"));
  window.show();
  EXPECT_TRUE(QTest::qWaitFor([&] { return SelectedAndInView(*window.List(), 3); }, 5000));

  // Closing the log, even as the only window shown, never ends the program (Qt counts only
  // windows that quit on close when it decides that the last window has gone).
  EXPECT_FALSE(window.testAttribute(Qt::WA_QuitOnClose));
}

TEST_F(FrmProblemsWindowTest, TimestampColumnShowsTheWholeTimestamp) {
  frmProblems window(model_, prompter_, QStringLiteral("Telmon"));
  window.resize(500, 250);
  window.show();
  ASSERT_TRUE(QTest::qWaitForWindowExposed(&window));
  DateTimeFormats formats;
  formats.shortDate = QStringLiteral("dd MMM yyyy");
  formats.longTime = QStringLiteral("HH:mm:ss");
  model_.SetDateTimeFormats(formats);
  clock_.SetNow(QDateTime(QDate(2026, 11, 21), QTime(23, 58, 48)));
  window.AddMsg(1, QStringLiteral("first"));
  window.AddMsg(4, QStringLiteral("a message long enough to need a wide second column, wider "
                                  "than the window itself"));
  QTreeView* list = window.List();
  const QString stamp = model_.Row(0).column1;
  EXPECT_EQ(stamp, QStringLiteral("21 Nov 2026 23:58:48"));
  const auto fits = [&](int column, const QString& text) {
    return list->columnWidth(column) >= list->fontMetrics().horizontalAdvance(text) + 4;
  };
  EXPECT_TRUE(QTest::qWaitFor([&] { return fits(0, stamp); }, 5000))
      << "column 1 is " << list->columnWidth(0) << " pixels for '" << stamp.toStdString() << "'";
  EXPECT_TRUE(fits(1, model_.Row(1).text));
  // Never narrower than the title.
  EXPECT_GE(list->columnWidth(0), list->header()->sectionSizeHint(0));

  // Rows collected before a window was made fit once it opens.
  frmProblems later(model_, prompter_, QStringLiteral("Telmon"));
  later.resize(500, 250);
  later.show();
  ASSERT_TRUE(QTest::qWaitForWindowExposed(&later));
  EXPECT_TRUE(QTest::qWaitFor(
      [&] {
        return later.List()->columnWidth(1) >=
               later.List()->fontMetrics().horizontalAdvance(model_.Row(1).text) + 4;
      },
      5000));
}

TEST_F(FrmProblemsWindowTest, SaveAsRefusesAReadOnlyFileAndLeavesItAsItWas) {
  frmProblems window(model_, prompter_, QStringLiteral("Telmon"));
  window.AddEntry(QStringLiteral("t"), QStringLiteral("one"), 0);
  QTemporaryDir dir;
  const QString locked = dir.filePath(QStringLiteral("locked.txt"));
  {
    QFile file(locked);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("keep me");
  }
  ASSERT_TRUE(QFile::setPermissions(locked, QFile::ReadOwner | QFile::ReadGroup));
  const QString other = dir.filePath(QStringLiteral("other.txt"));

  // Refused, asked again on the same name, then saved under another name.
  prompter_.QueueSaveFile(locked);
  prompter_.QueueSaveFile(other);
  window.Action("mnuFile_SaveToFile")->trigger();
  ASSERT_EQ(prompter_.Questions().size(), 1U);
  const PromptQuestion refusal = prompter_.Questions()[0];
  EXPECT_EQ(refusal.text, QStringLiteral("The file '%1' is read-only and was left as it is. "
                                         "Choose another file name.")
                              .arg(locked));
  EXPECT_EQ(refusal.title, QStringLiteral("Save As"));
  EXPECT_EQ(refusal.icon, PromptIcon::Exclamation);
  ASSERT_EQ(prompter_.Records().size(), 3U);  // dialog, refusal, dialog
  EXPECT_EQ(prompter_.Records().at(2).request.initialFileName, locked);
  QFile kept(locked);
  ASSERT_TRUE(kept.open(QIODevice::ReadOnly));
  EXPECT_EQ(kept.readAll(), QByteArray("keep me"));
  QFile saved(other);
  ASSERT_TRUE(saved.open(QIODevice::ReadOnly));
  EXPECT_EQ(saved.readAll(), QByteArray("1\tt\tone\r\n"));

  // Refused, then cancelled: nothing is written and no error follows.
  prompter_.Clear();
  prompter_.QueueSaveFile(locked);
  prompter_.QueueSaveFile(std::nullopt);
  window.Action("mnuFile_SaveToFile")->trigger();
  EXPECT_EQ(prompter_.Questions().size(), 1U);
  EXPECT_EQ(QFileInfo(locked).size(), 7);
}

TEST_F(FrmProblemsWindowTest, PrintingWithoutAPrinterNamesThePdfFileInFull) {
  if (!QPrinterInfo::defaultPrinter().isNull()) {
    GTEST_SKIP() << "a default printer is installed; not printing on it from a test";
  }
  frmProblems window(model_, prompter_, QStringLiteral("Telmon"));
  window.setWindowTitle(QStringLiteral("Telmon Messages"));
  window.AddEntry(QStringLiteral("t"), QStringLiteral("one"), 0);
  QTemporaryDir dir;
  window.SetPdfFolder(dir.path());
  prompter_.QueueAnswer(PromptAnswer::Ok);
  window.Action("mnuFile_Print")->trigger();
  ASSERT_EQ(prompter_.Questions().size(), 1U);
  const QString text = prompter_.Questions()[0].text;
  const QString prefix =
      QStringLiteral("Messages will be printed to '") + dir.path() + QStringLiteral("/Messages ");
  ASSERT_TRUE(text.startsWith(prefix)) << text.toStdString();
  ASSERT_TRUE(text.endsWith(QStringLiteral(".pdf'."))) << text.toStdString();
  const QString pdfPath = text.mid(29, text.size() - 31);
  QFile pdf(pdfPath);
  ASSERT_TRUE(pdf.open(QIODevice::ReadOnly)) << pdfPath.toStdString();
  EXPECT_TRUE(pdf.read(4) == "%PDF");
  // Only the PDF is left behind: the temporary text file is gone.
  EXPECT_EQ(QDir(dir.path()).entryList(QDir::Files), QStringList{QFileInfo(pdfPath).fileName()});
}

}  // namespace
}  // namespace telmon
