// The two watch dialogs on the offscreen platform, and the clipboard: what the operator
// sees and clicks, what comes back, and what stays for the next use.

#include "platform/testing/ScriptedPrompter.h"
#include "tests/support/Accessibly.h"
#include "tests/support/ScreenTexts.h"
#include "tests/util/QStringPrinter.h"
#include "tests/views/ViewsTestSupport.h"
#include "views/BlockListviewManager.h"
#include "views/ChannelConfigInfoManager.h"
#include "views/ChannelListviewManager.h"
#include "views/ui/ListFilterEdit.h"
#include "watches/WatchOperations.h"
#include "watches/ui/QtWatchDialogs.h"
#include "watches/ui/frmAddChannelWatch.h"
#include "watches/ui/frmWatchLists.h"

#include <QApplication>
#include <QCheckBox>
#include <QClipboard>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QGuiApplication>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QTabBar>
#include <QTemporaryDir>
#include <QTimer>
#include <QTreeWidget>

#include <gtest/gtest.h>

namespace telmon {
namespace {

class AddChannelWatchTest : public ::testing::Test {
 protected:
  AddChannelWatchTest() {
    blocks.Setup(sink, peer, blocksModel);
    test::ParsedEvents events(QStringLiteral(
        "<Events><Event eventtype=\"BlockUpdate\" BlockID=\"4\" BlockName=\"Stack\"/>"
        "<Event eventtype=\"BlockUpdate\" BlockID=\"9\" BlockName=\"Hdr\" IsHDRBlock=\"True\"/>"
        "<Event eventtype=\"ChannelConfigUpdate\" ID=\"11\" Name=\"NOx\" DeviceID=\"1\" "
        "BlockID=\"4\"/>"
        "<Event eventtype=\"ChannelConfigUpdate\" ID=\"12\" Name=\"SO2 \" DeviceID=\"1\" "
        "BlockID=\"4\"/>"
        "<Event eventtype=\"ChannelConfigUpdate\" ID=\"13\" Name=\"Hist\" DeviceID=\"1\" "
        "BlockID=\"9\"/></Events>"));
    blocks.UpdateOneItemInLsv(events[0]);
    blocks.UpdateOneItemInLsv(events[1]);
    for (std::size_t i = 2; i < 5; ++i) {
      configs.UpdateConfigInfo(events[i]);
    }
  }
  AddChannelWatchSources Sources() {
    return AddChannelWatchSources{&configs, &blocks, &blocksModel, &prompter, "Telmon"};
  }

  test::CollectingSink sink;
  test::LoopbackPeer peer;
  ScriptedPrompter prompter;
  KeyedListModel blocksModel;
  BlockListviewManager blocks;
  ChannelConfigInfoManager configs;
};

// The dialog's tabs, frames and buttons as the operator knows them, read from the dialog: the
// first tab's frame is shown, the other two wait behind their tabs.
TEST_F(AddChannelWatchTest, ShowsTheTabsAndCaptionsOperatorsKnow) {
  frmAddChannelWatch dialog(Sources());
  test::ExpectShown(
      test::ScreenTexts(&dialog),
      {
          R"t(window "Add Channel Watch")t",
          R"t(tab 0 "Channel List" key "Channels")t",
          R"t(tab 1 "Channel IDs" key "ChannelIDs")t",
          R"t(tab 2 "Block List" key "Blocks")t",
          R"t(label "Select one or more channels:")t",
          R"t(check "Use extended selection mode (Shift and Control keys)" [ ])t",
          R"t(check "Show all channels" [ ] tip "Shows CGA/linearity, HDR, and disabled channels")t",
          R"t((hidden) label "Channels IDs to add:")t",
          R"t((hidden) label "Example: 11120, 11121, 10910-10915, 10922, u0007")t",
          R"t((hidden) button "Load Channel IDs From File")t",
          R"t((hidden) button "Clear")t",
          R"t((hidden) label "Select one or more blocks:")t",
          R"t(button "OK")t",
          R"t(button "&Cancel")t",
      });
}

// The lists as loaded: channels by ID and trimmed name, carrying their IDs; the HDR block's
// channel only when all are shown; the extended list in place of the simple one when chosen.
TEST_F(AddChannelWatchTest, ListsAsLoaded) {
  frmAddChannelWatch dialog(Sources());
  ASSERT_EQ(dialog.lstChannels()->count(), 2);  // the HDR block's channel is hidden
  EXPECT_EQ(dialog.lstChannels()->item(1)->text(), "12: SO2");
  EXPECT_EQ(dialog.lstChannels()->item(1)->data(Qt::UserRole).toInt(), 12);
  dialog.chkShowAllChannels()->setChecked(true);
  EXPECT_EQ(dialog.lstChannels()->count(), 3);
  EXPECT_EQ(dialog.lstChannelsEx()->count(), 3);
  EXPECT_EQ(dialog.lstBlocks()->count(), 2);
  EXPECT_EQ(dialog.lstBlocks()->item(0)->text(), "4: Stack");
  EXPECT_TRUE(dialog.lstChannelsEx()->isHidden());
  dialog.chkUseExtendedSelect()->setChecked(true);
  EXPECT_TRUE(dialog.lstChannels()->isHidden());
  EXPECT_FALSE(dialog.lstChannelsEx()->isHidden());
}

TEST_F(AddChannelWatchTest, OkWithNothingSelectedBeepsAndStaysOpen) {
  frmAddChannelWatch dialog(Sources());
  dialog.show();
  for (int tab : {0, 2}) {
    dialog.TabStripAdd()->setCurrentIndex(tab);
    dialog.cmdOK_Click();
    EXPECT_TRUE(dialog.isVisible());
    EXPECT_FALSE(dialog.OK());
  }
  EXPECT_EQ(prompter.BeepCount(), 2);
}

TEST_F(AddChannelWatchTest, SelectionBecomesTheIdListAndIsCleared) {
  frmAddChannelWatch dialog(Sources());
  dialog.show();
  dialog.lstChannels()->item(1)->setSelected(true);
  dialog.lstChannels()->item(0)->setSelected(true);
  dialog.cmdOK_Click();
  EXPECT_TRUE(dialog.OK());
  EXPECT_FALSE(dialog.Blocks());
  EXPECT_EQ(dialog.IDList(), "11;12");
  EXPECT_EQ(dialog.IDs(), (IdList{11, 12}));
  EXPECT_TRUE(dialog.lstChannels()->selectedItems().isEmpty());
  EXPECT_FALSE(dialog.isVisible());

  dialog.show();
  dialog.TabStripAdd()->setCurrentIndex(2);
  dialog.lstBlocks()->item(1)->setSelected(true);
  dialog.cmdOK_Click();
  EXPECT_TRUE(dialog.Blocks());
  EXPECT_EQ(dialog.IDList(), "9");
}

// A channel the filter hides is never added: typing deselects it, and a select-all made while
// it is hidden does not reach it.
TEST_F(AddChannelWatchTest, ChannelsTheFilterHidesAreNotAdded) {
  frmAddChannelWatch dialog(Sources());
  dialog.show();
  dialog.lstChannels()->item(1)->setSelected(true);  // 12: SO2
  dialog.lstChannels()->item(0)->setSelected(true);  // 11: NOx
  dialog.txtFilterChannels()->setText(QStringLiteral("nOX"));
  EXPECT_TRUE(dialog.lstChannels()->item(1)->isHidden());
  EXPECT_FALSE(dialog.lstChannels()->item(1)->isSelected());
  dialog.txtFilterChannels()->clear();
  EXPECT_FALSE(dialog.lstChannels()->item(1)->isSelected());  // not selected again
  dialog.cmdOK_Click();
  EXPECT_EQ(dialog.IDList(), "11");

  dialog.show();
  dialog.chkUseExtendedSelect()->setChecked(true);
  dialog.txtFilterChannels()->setText(QStringLiteral("so2"));
  dialog.lstChannelsEx()->selectAll();
  dialog.lstChannelsEx()->item(0)->setSelected(true);  // hidden, selected by other means
  dialog.cmdOK_Click();
  EXPECT_EQ(dialog.IDList(), "12");

  dialog.show();
  dialog.txtFilterChannels()->setText(QStringLiteral("nox"));
  dialog.lstChannelsEx()->item(1)->setSelected(true);  // only a hidden one selected
  dialog.cmdOK_Click();
  EXPECT_TRUE(dialog.isVisible());
  EXPECT_EQ(prompter.BeepCount(), 1);
  EXPECT_TRUE(dialog.lstChannelsEx()->selectedItems().isEmpty());
}

TEST_F(AddChannelWatchTest, TypedIdsAndCancelKeepTheDialogsState) {
  frmAddChannelWatch dialog(Sources());
  dialog.show();
  dialog.TabStripAdd()->setCurrentIndex(1);
  dialog.txtChanIDs()->setText(QStringLiteral("10910-10912, u7"));
  dialog.cmdOK_Click();
  EXPECT_EQ(dialog.IDList(), "10910;10911;10912;17;27;37;47;57;67;77;87;97");

  dialog.show();
  dialog.txtChanIDs()->setText(QStringLiteral("5-"));
  dialog.cmdOK_Click();
  EXPECT_TRUE(dialog.isVisible());
  EXPECT_EQ(prompter.Texts().back(), "'5-' is not valid.");

  dialog.TabStripAdd()->setCurrentIndex(0);
  dialog.lstChannels()->item(0)->setSelected(true);
  auto* cancel = dialog.findChild<QPushButton*>(QStringLiteral("cmdCancel"));
  ASSERT_NE(cancel, nullptr);
  cancel->click();
  EXPECT_FALSE(dialog.OK());
  EXPECT_FALSE(dialog.isVisible());
  EXPECT_TRUE(dialog.lstChannels()->selectedItems().isEmpty());
  EXPECT_EQ(dialog.txtChanIDs()->text(), "5-");
  EXPECT_EQ(dialog.TabStripAdd()->currentIndex(), 0);
}

TEST_F(AddChannelWatchTest, LoadingTagFilesReplacesTheTextOrReports) {
  QTemporaryDir dir;
  const QString saved = dir.filePath(QStringLiteral("tags.txt"));
  QFile file(saved);
  ASSERT_TRUE(file.open(QIODevice::WriteOnly));
  file.write("12,7");
  file.close();
  frmAddChannelWatch dialog(Sources());
  dialog.txtChanIDs()->setText(QStringLiteral("old"));
  prompter.QueueOpenFile(dir.filePath(QStringLiteral("missing.txt")));
  dialog.cmdLoadChannelIDs_Click();
  EXPECT_EQ(dialog.txtChanIDs()->text(), "old");
  prompter.QueueOpenFile(saved);
  dialog.cmdLoadChannelIDs_Click();
  EXPECT_EQ(dialog.txtChanIDs()->text(), "12,7");
  prompter.QueueOpenFile(dir.path());
  dialog.cmdLoadChannelIDs_Click();
  EXPECT_EQ(prompter.Texts().back(), "TELM-0083: 75, Path/File access error");
  EXPECT_EQ(dialog.txtChanIDs()->text(), "12,7");
  const FileDialogRequest& request = prompter.Records().front().request;
  EXPECT_EQ(request.title, "Open Channel Tag File");
  EXPECT_EQ(request.filter, "All files (*.*)|*.*");
  EXPECT_EQ(request.defaultExtension, "txt");
  EXPECT_EQ(request.initialFolder, QDir::homePath());
}

// The toolbar's Save writes the watch list's tags; loaded back into the typed-ID box, the
// whole file arrives and gives back exactly the list that was saved.
TEST_F(AddChannelWatchTest, ALongTagFileSavedByTheToolbarLoadsBackWhole) {
  struct NoEdits final : IEditGate {
    bool EditsAllowed() const override { return false; }
    bool AskWhetherUserWantsToEnableEditing() override { return false; }
  } edits;
  struct NoValueDialogs final : IChangeValueDialogs {
    void ShowChangeChanValue(std::int32_t) override {}
    void ShowChangeChanValues(const QString&) override {}
  } values;
  struct NoWatchDialogs final : IWatchDialogs {
    AddChannelChoice ShowAddChannelWatch() override { return {}; }
    void ShowWatchLists() override {}
    void SetMainBusy(bool) override {}
  } dialogs;
  KeyedListModel watches;
  ChannelListviewManager channels;
  ChannelPageServices services;
  services.sink = &sink;
  services.prompter = &prompter;
  services.configs = &configs;
  channels.Setup(services, watches, 0);
  std::vector<KeyedListModel::NewRow> rows;
  QStringList ids;
  for (int id = 10000; id <= 19999; ++id) {
    const QString key = QString::number(id) + QLatin1Char('C');
    rows.push_back({key, QString::number(id), key});
    ids.append(QString::number(id));
  }
  watches.InsertRowsAt(0, std::move(rows));
  WatchOperations operations({prompter, peer, edits, values, dialogs, "Telmon"}, channels);
  QTemporaryDir dir;
  const QString path = dir.filePath(QStringLiteral("watch.txt"));
  prompter.QueueSaveFile(path);
  operations.SaveChannelTagsToFile();
  ASSERT_EQ(QFileInfo(path).size(), 59999);

  frmAddChannelWatch dialog(Sources());
  dialog.show();
  dialog.TabStripAdd()->setCurrentIndex(1);
  prompter.QueueOpenFile(path);
  dialog.cmdLoadChannelIDs_Click();
  EXPECT_EQ(dialog.txtChanIDs()->text().size(), 59999);
  prompter.QueueAnswer(PromptAnswer::Yes);
  dialog.cmdOK_Click();
  EXPECT_EQ(prompter.Texts().last(), "Are you sure you want to add 9999 channels?");
  EXPECT_TRUE(dialog.OK());
  // Compared whole, printed short: the list is 59,999 characters.
  EXPECT_TRUE(dialog.IDList() == ids.join(QLatin1Char(';')))
      << dialog.IDList().size() << " characters, ending "
      << dialog.IDList().right(20).toStdString();
}

// Text put into the typed-ID box by an accessibility tool is what OK reads.
TEST_F(AddChannelWatchTest, TypedIdsSetThroughAccessibilityAreTaken) {
  frmAddChannelWatch dialog(Sources());
  for (const AccessPath path : {AccessPath::Value, AccessPath::Replace, AccessPath::Insert}) {
    SCOPED_TRACE(AccessPathName(path));
    dialog.show();
    dialog.TabStripAdd()->setCurrentIndex(1);
    SetTextAccessibly(dialog.txtChanIDs(), QStringLiteral("7, 3-4"), path);
    dialog.cmdOK_Click();
    EXPECT_TRUE(dialog.OK());
    EXPECT_EQ(dialog.IDList(), "7;3;4");
  }
}

TEST_F(AddChannelWatchTest, OneIdPerLineFileFailsOnOk) {
  QTemporaryDir dir;
  const QString lines = dir.filePath(QStringLiteral("lines.txt"));
  QFile file(lines);
  ASSERT_TRUE(file.open(QIODevice::WriteOnly));
  file.write("12\r\n7");
  file.close();
  frmAddChannelWatch dialog(Sources());
  dialog.show();
  dialog.TabStripAdd()->setCurrentIndex(1);
  prompter.QueueOpenFile(lines);
  dialog.cmdLoadChannelIDs_Click();
  dialog.cmdOK_Click();
  EXPECT_TRUE(dialog.isVisible());
  ASSERT_FALSE(prompter.Texts().isEmpty());
  EXPECT_TRUE(prompter.Texts().back().endsWith(QStringLiteral("' is not valid.")));
}

TEST_F(AddChannelWatchTest, MoreThan32767ChannelsAreCutWithOneWarning) {
  ChannelConfigInfoManager many;
  QString xml = QStringLiteral("<Events>");
  for (int id = 1; id <= 32768; ++id) {
    xml += QStringLiteral("<Event ID=\"%1\" Name=\"c\" DeviceID=\"1\"/>").arg(id);
  }
  test::ParsedEvents events(xml + QStringLiteral("</Events>"));
  for (const xml::XmlElement& e : events.All()) {
    many.UpdateConfigInfo(e);
  }
  AddChannelWatchSources sources = Sources();
  sources.configs = &many;
  frmAddChannelWatch dialog(sources);
  EXPECT_EQ(dialog.lstChannels()->count(), 32767);
  EXPECT_EQ(
      prompter.Texts(),
      QStringList{QStringLiteral("TELM-0043: The listbox only shows the first 32,767 channels.")});
}

class WatchListsDialogTest : public ::testing::Test {
 protected:
  void SetUp() override {
    QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, home.path());
    settings = OpenWatchListSettings();
    store = std::make_unique<WatchListStore>(*settings);
    lists = std::make_unique<WatchLists>(*store, prompter, QStringLiteral("Telmon"));
  }
  QTemporaryDir home;
  ScriptedPrompter prompter;
  KeyedListModel watches;
  std::unique_ptr<QSettings> settings;
  std::unique_ptr<WatchListStore> store;
  std::unique_ptr<WatchLists> lists;
};

// The dialog's columns and buttons as the operator knows them, read from the dialog.
TEST_F(WatchListsDialogTest, ShowsTheColumnsAndButtonsOperatorsKnow) {
  frmWatchLists dialog(*lists, watches);
  test::ExpectShown(test::ScreenTexts(&dialog), {
                                                    R"t(window "Watch Lists")t",
                                                    R"t(column 0 "List Name")t",
                                                    R"t(column 1 "Last Changed")t",
                                                    R"t(button "Load List")t",
                                                    R"t(button "Save List")t",
                                                    R"t(button "Clear List")t",
                                                    R"t(button "Close")t",
                                                });
}

TEST_F(WatchListsDialogTest, SaveIntoAnEmptySlotNamesItAndStartsRenaming) {
  watches.InsertRowsAt(0, {{"12C", "12C", "C12", 0}});
  frmWatchLists dialog(*lists, watches);
  dialog.show();
  QTreeWidget* lsv = dialog.lsvWatchLists();
  ASSERT_EQ(lsv->topLevelItemCount(), 10);
  EXPECT_EQ(lsv->topLevelItem(2)->text(0), "<empty>");
  EXPECT_FALSE(lsv->topLevelItem(2)->flags() & Qt::ItemIsEditable);
  lsv->setCurrentItem(lsv->topLevelItem(2));
  dialog.cmdSave_Click();
  EXPECT_EQ(lsv->topLevelItem(2)->text(0), "List3");
  EXPECT_TRUE(lsv->topLevelItem(2)->flags() & Qt::ItemIsEditable);
  EXPECT_NE(lsv->viewport()->findChild<QLineEdit*>(), nullptr);  // the name is being edited
  EXPECT_EQ(settings->value(QStringLiteral("List3")).toString(), "12;");

  lsv->topLevelItem(2)->setText(0, QString());  // an edit ending empty stores nothing
  EXPECT_EQ(settings->value(QStringLiteral("List3Desc")).toString(), "List3");
  EXPECT_EQ(lsv->topLevelItem(2)->text(0), "List3");
  lsv->topLevelItem(2)->setText(0, QStringLiteral("Morning"));
  EXPECT_EQ(settings->value(QStringLiteral("List3Desc")).toString(), "Morning");

  dialog.cmdClear_Click();
  EXPECT_EQ(lsv->topLevelItem(2)->text(0), "<empty>");
  EXPECT_EQ(lsv->topLevelItem(2)->text(1), QString());
}

// Neither edits nor value changes take part in opening the watch lists.
class NoEdits final : public IEditGate {
 public:
  bool EditsAllowed() const override { return false; }
  bool AskWhetherUserWantsToEnableEditing() override { return false; }
};
class NoValueDialogs final : public IChangeValueDialogs {
 public:
  void ShowChangeChanValue(std::int32_t) override {}
  void ShowChangeChanValues(const QString&) override {}
};

// "Load/Save Channel List..." opens the Watch Lists dialog, modal over the main window, on the
// lists saved in the operator's store.
TEST_F(WatchListsDialogTest, LoadSaveChannelListOpensTheDialogOnTheSavedLists) {
  settings->setValue(QStringLiteral("List2"), QStringLiteral("12;"));
  settings->setValue(QStringLiteral("List2Desc"), QStringLiteral("Stack A"));
  settings->setValue(QStringLiteral("List2Date"), QStringLiteral("2026-03-04 07:05"));
  settings->sync();
  QWidget main;
  KeyedListModel blocksModel;
  QtWatchDialogs dialogs(main, {nullptr, nullptr, &blocksModel, &prompter, "Telmon"}, watches);
  test::LoopbackPeer peer;
  NoEdits edits;
  NoValueDialogs values;
  ChannelListviewManager channels;
  WatchOperations ops{WatchServices{prompter, peer, edits, values, dialogs, "Telmon"}, channels};
  QStringList seen;
  QTimer::singleShot(0, [&seen, &main] {
    auto* dialog = qobject_cast<frmWatchLists*>(QApplication::activeModalWidget());
    ASSERT_NE(dialog, nullptr);
    EXPECT_EQ(dialog->parentWidget(), &main);
    QTreeWidget* lsv = dialog->lsvWatchLists();
    seen << dialog->windowTitle();
    for (int row = 0; row < 3; ++row) {
      seen << lsv->topLevelItem(row)->text(0) + " " + lsv->topLevelItem(row)->text(1);
    }
    dialog->reject();
  });
  ops.LoadSaveChannelList();
  EXPECT_EQ(seen, (QStringList{"Watch Lists", "<empty> ", "Stack A 2026-03-04 07:05", "<empty> "}));
  EXPECT_TRUE(prompter.Questions().empty());
}

TEST(WatchClipboard, CopyPutsTheTextOnTheClipboardOnlyWhenThereIsOne) {
  QClipboard* clipboard = QGuiApplication::clipboard();
  clipboard->setText(QStringLiteral("before"));
  KeyedListModel devices;
  devices.AddColumn(ListColumn{QStringLiteral("ID"), 100, Qt::AlignLeft, {}});
  devices.AddColumn(ListColumn{QStringLiteral("Name"), 100, Qt::AlignLeft, {}});
  const CopyableLists lists{&devices, nullptr, nullptr, nullptr};
  WatchOperations::CopyDataToClipboard(QStringLiteral("Devices"), lists);
  EXPECT_EQ(clipboard->text(), "before");
  devices.SetSubItem(devices.AddRow(QStringLiteral("3K"), QStringLiteral("3")), 1,
                     QStringLiteral("PLC 3"));
  WatchOperations::CopyDataToClipboard(QString(), lists);  // the Bulk Writes page has no key
  EXPECT_EQ(clipboard->text(), "before");
  WatchOperations::CopyDataToClipboard(QStringLiteral("Devices"), lists);
  EXPECT_EQ(clipboard->text(), "ID\tName\r\n3\tPLC 3");
}

}  // namespace
}  // namespace telmon
