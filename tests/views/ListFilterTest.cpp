// The filter over a list and the list's CSV export: the filter narrows what the view shows
// and nothing else; selection, device commands and the copied text go by the model.

#include "platform/ListExport.h"
#include "tests/views/PageRig.h"
#include "util/CsvFile.h"
#include "views/ui/ListFilterEdit.h"

#include <QAbstractItemModelTester>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QKeyEvent>
#include <QTemporaryDir>
#include <QTest>

#include <gtest/gtest.h>

namespace telmon {
namespace {

QStringList ShownTexts(const QAbstractItemModel& model) {
  QStringList texts;
  for (int row = 0; row < model.rowCount(); ++row) {
    texts << model.index(row, 0).data().toString();
  }
  return texts;
}

KeyedListModel& FillModel(KeyedListModel& model) {
  model.AddColumn({"ID", 500, Qt::AlignLeft, "id"});
  model.AddColumn({"Name", 1500, Qt::AlignLeft, "name"});
  const char* rows[][2] = {{"101", "Stack a.b"}, {"102", "NOx (1+1)"}, {"103", "nox *"}};
  for (const auto& row : rows) {
    model.SetSubItem(model.AddRow(QString::fromLatin1(row[0]), QString::fromLatin1(row[0])), 1,
                     QString::fromLatin1(row[1]));
  }
  return model;
}

TEST(ListFilter, TextIsLiteralAnyCaseAnyCell) {
  KeyedListModel model;
  ListFilterProxy proxy;
  QAbstractItemModelTester tester(&proxy, QAbstractItemModelTester::FailureReportingMode::Fatal);
  proxy.setSourceModel(&FillModel(model));
  const struct {
    QString text;
    QStringList shown;
  } cases[] = {
      {"", {"101", "102", "103"}},
      {"NOX", {"102", "103"}},
      {"102", {"102"}},
      {"(1+1)", {"102"}},
      {"*", {"103"}},
      {".", {"101"}},
      {"a.b|nox", {}},
      {QString(10000, QLatin1Char('x')), {}},
  };
  for (const auto& c : cases) {
    proxy.SetFilterText(c.text);
    EXPECT_EQ(ShownTexts(proxy), c.shown) << c.text.left(20).toStdString();
  }
  // Rows come and go as their cells change under a set filter.
  proxy.SetFilterText("nox");
  model.SetSubItem(model.FindKey("101"), 1, "NOx now");
  model.SetSubItem(model.FindKey("103"), 1, "O2");
  model.Flush();
  EXPECT_EQ(ShownTexts(proxy), QStringList({"101", "102"}));
  model.RemoveRow(model.FindKey("102"));
  EXPECT_EQ(ShownTexts(proxy), QStringList({"101"}));
}

TEST(ListFilter, DeviceButtonsActOnTheDevicePickedInTheFilteredList) {
  test::PageRig rig;
  KeyedListModel& model = rig.devices;
  DeviceListviewManager& devices = rig.deviceList;
  DevicesPage& page = rig.devicesPage;
  page.show();
  const QString events = QStringLiteral(
      "<Event eventtype=\"DeviceUpdate\" DeviceID=\"3\" WatchdogStatusOk=\"true\"/>"
      "<Event eventtype=\"DeviceUpdate\" DeviceID=\"4\" WatchdogStatusOk=\"true\"/>"
      "<Event eventtype=\"DeviceUpdate\" DeviceID=\"5\" WatchdogStatusOk=\"true\"/>");
  rig.Devices(events);
  auto* filter = page.findChild<ListFilterEdit*>();
  ASSERT_NE(filter, nullptr);
  KeyedListView* view = page.lsvDevices();
  view->setCurrentIndex(view->ViewIndex(0));
  filter->setText("5");  // the selected device 3 is hidden: nothing is selected
  EXPECT_EQ(view->model()->rowCount(), 1);
  EXPECT_EQ(model.Selected(), nullptr);
  view->setCurrentIndex(view->model()->index(0, 0));
  EXPECT_EQ(devices.GetSelectedDeviceID(), 5);
  // Updates arriving while filtered keep the choice.
  rig.Devices(events);
  model.Flush();
  page.cmdSetClock()->click();
  EXPECT_EQ(rig.peer.Received(), QByteArray("<Command action=\"SetDeviceClock\" id=\"5\"/>"));
  QTest::keyClick(filter, Qt::Key_Escape);
  EXPECT_TRUE(filter->text().isEmpty());
  EXPECT_EQ(view->model()->rowCount(), 3);
  EXPECT_EQ(devices.GetSelectedDeviceID(), 5);
}

TEST(ListExport, WritesRfc4180BytesAndLeavesNothingOnFailure) {
  KeyedListModel model;
  FillModel(model);
  model.SetSubItem(model.FindKey("101"), 1, QStringLiteral("say \"hi\", \u00b5g\r\nnext"));
  model.SetSubItem(model.FindKey("103"), 1, QStringLiteral(" padded"));
  QTemporaryDir dir;
  ScriptedPrompter prompter;
  const QString path = dir.filePath("list.csv");
  prompter.QueueSaveFile(path);
  EXPECT_EQ(ExportListToCsv(model, prompter, "Blocks.csv"), path);
  QFile file(path);
  ASSERT_TRUE(file.open(QIODevice::ReadOnly));
  const QByteArray written = file.readAll();
  EXPECT_EQ(written, QByteArray("ID,Name\r\n"
                                "101,\"say \"\"hi\"\", \xc2\xb5g\r\nnext\"\r\n"
                                "102,NOx (1+1)\r\n"
                                "103,\" padded\"\r\n"));
  // Places no one may write, root included: under a file, and a kernel file.
  for (const QString& bad : {path + "/sub.csv", QStringLiteral("/proc/version")}) {
    prompter.QueueSaveFile(bad);
    EXPECT_TRUE(ExportListToCsv(model, prompter, "Blocks.csv").isEmpty());
    ASSERT_FALSE(prompter.Questions().empty());
    EXPECT_TRUE(
        prompter.Questions().back().text.startsWith("Could not export the list to " + bad + ": "))
        << bad.toStdString();
  }
  EXPECT_EQ(QDir(dir.path()).entryList(QDir::Files), QStringList({"list.csv"}));
  EXPECT_EQ(QFileInfo(path).size(), written.size());
}

}  // namespace
}  // namespace telmon
