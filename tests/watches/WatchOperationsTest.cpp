// The watch operations on a real watch list: adding through the dialog's answer, the
// change-value decisions, removing, the tag file and clipboard texts byte for byte, and Read
// All Data over a loopback socket.

#include "platform/testing/ScriptedPrompter.h"
#include "tests/util/QStringPrinter.h"
#include "tests/views/ViewsTestSupport.h"
#include "views/ChannelConfigInfoManager.h"
#include "views/ChannelListviewManager.h"
#include "watches/ChannelTagFile.h"
#include "watches/WatchOperations.h"

#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace telmon {
namespace {

class Edits final : public IEditGate {
 public:
  bool allowed = true;
  bool grantOnAsk = false;
  int asked = 0;
  bool EditsAllowed() const override { return allowed; }
  bool AskWhetherUserWantsToEnableEditing() override {
    ++asked;
    allowed = allowed || grantOnAsk;
    return allowed;
  }
};

class ValueDialogs final : public IChangeValueDialogs {
 public:
  QStringList opened;
  void ShowChangeChanValue(std::int32_t id) override {
    opened.push_back(QStringLiteral("one:") + QString::number(id));
  }
  void ShowChangeChanValues(const QString& ids) override {
    opened.push_back(QStringLiteral("many:") + ids);
  }
};

class Dialogs final : public IWatchDialogs {
 public:
  AddChannelChoice next;
  QStringList busy;
  AddChannelChoice ShowAddChannelWatch() override { return next; }
  void ShowWatchLists() override {}
  void SetMainBusy(bool on) override { busy.push_back(on ? "on" : "off"); }
};

class WatchOperationsTest : public ::testing::Test {
 protected:
  WatchOperationsTest() {
    ChannelPageServices services;
    services.sink = &sink;
    services.prompter = &prompter;
    services.configs = &configs;
    services.appTitle = QStringLiteral("Telmon");
    channels.Setup(services, model, 0);
  }

  // Rows with the given tags, top to bottom.
  void AddRows(const QStringList& tags) {
    for (const QString& tag : tags) {
      model.InsertRowsAt(model.RowCount(), {{tag, tag, tag, 0}});
    }
  }
  QStringList Tags() {
    QStringList tags;
    for (int i = 0; i < model.RowCount(); ++i) {
      tags.push_back(model.Tag(model.RowAt(i)));
    }
    return tags;
  }

  test::CollectingSink sink;
  ScriptedPrompter prompter;
  ChannelConfigInfoManager configs;
  KeyedListModel model;
  ChannelListviewManager channels;
  test::LoopbackPeer peer;
  Edits edits;
  ValueDialogs values;
  Dialogs dialogs;
  WatchOperations ops{WatchServices{prompter, peer, edits, values, dialogs, "Telmon"}, channels};
};

TEST_F(WatchOperationsTest, AddChannelAddsTheListBelowTheSelectionUnderAnHourglass) {
  AddRows({"C1", "C2"});
  model.Select(model.RowAt(0));
  dialogs.next = AddChannelChoice{true, false, {5, 7}};
  ops.AddChannel();
  EXPECT_EQ(Tags(), (QStringList{"C1", "5C", "7C", "C2"}));
  EXPECT_EQ(dialogs.busy, (QStringList{"on", "off"}));

  dialogs.next = AddChannelChoice{false, false, {9}};
  ops.AddChannel();
  EXPECT_EQ(model.RowCount(), 4);
}

TEST_F(WatchOperationsTest, AddChannelReportsADuplicateInItsOwnBox) {
  dialogs.next = AddChannelChoice{true, false, {5, 5}};
  ops.AddChannel();
  ASSERT_EQ(prompter.Questions().size(), 1U);
  EXPECT_EQ(prompter.Questions()[0].text, "TELM-0001: 35602, Key is not unique in collection");
  EXPECT_EQ(prompter.Questions()[0].icon, PromptIcon::Exclamation);
  EXPECT_EQ(dialogs.busy, (QStringList{"on", "off"}));
}

TEST_F(WatchOperationsTest, BlockChoiceIsRefusedByTheWatchViewWithoutRows) {
  dialogs.next = AddChannelChoice{true, true, {3, 4}};
  ops.AddChannel();
  EXPECT_TRUE(model.IsEmpty());
  EXPECT_EQ(sink.Texts(), QStringList{QStringLiteral("TELM-9003: 13, Type mismatch")});
  EXPECT_TRUE(prompter.Records().empty());
  // A real list of block IDs takes the block path itself.
  channels.AddLsvRowsForBlockIDListValue(QVariantList{3, 4});
  EXPECT_EQ(
      prompter.Texts(),
      QStringList{QStringLiteral("The selected block(s) do not have any associated channels.")});
}

TEST_F(WatchOperationsTest, AddPlcAddressIsNotImplemented) {
  ops.AddPlcAddress();
  ASSERT_EQ(prompter.Questions().size(), 1U);
  EXPECT_EQ(prompter.Questions()[0].text, "Not implemented.");
  EXPECT_EQ(prompter.Questions()[0].title, "Telmon");
  EXPECT_EQ(prompter.Questions()[0].icon, PromptIcon::Exclamation);
}

struct ChangeCase {
  const char* name;
  bool multiSelect;
  QStringList tags;
  QStringList opened;
  QStringList shown;
};

TEST_F(WatchOperationsTest, ChangeValueDecidesByTheSelection) {
  const QString mixed = QStringLiteral("Channels and addresses cannot be changed together.");
  const std::vector<ChangeCase> cases = {
      {"nothing", true, {}, {}, {}},
      {"one channel", true, {"C12"}, {"one:12"}, {}},
      {"two channels", true, {"C12", "C7"}, {"many:\t12\t7"}, {}},
      {"channel and address", true, {"C12", "A3"}, {}, {mixed}},
      {"one address", true, {"A3"}, {}, {}},
      {"two addresses", true, {"A3", "A4"}, {}, {}},
      {"single mode, each channel", false, {"C12", "A3", "C7"}, {"one:12", "one:7"}, {}},
      {"watch view's own tags", true, {"12C", "7C"}, {"many:\t12\t7"}, {}},
      {"watch view's tag and address", true, {"12C", "A3"}, {}, {mixed}},
      {"neither channel nor address", true, {"X1", "12"}, {}, {}},
  };
  for (const ChangeCase& c : cases) {
    values.opened.clear();
    prompter.Clear();
    ops.ChangeValue(WatchSelection{c.multiSelect, c.tags});
    EXPECT_EQ(values.opened, c.opened) << c.name;
    EXPECT_EQ(prompter.Texts(), c.shown) << c.name;
  }
}

TEST_F(WatchOperationsTest, ChangeValueAsksForEditsAndStopsSilentlyWhenRefused) {
  edits.allowed = false;
  ops.ChangeValue(WatchSelection{true, {"C12"}});
  EXPECT_EQ(edits.asked, 1);
  EXPECT_TRUE(values.opened.isEmpty());

  edits.grantOnAsk = true;
  ops.ChangeValue(WatchSelection{true, {"C12"}});
  EXPECT_EQ(edits.asked, 2);
  EXPECT_EQ(values.opened, QStringList{QStringLiteral("one:12")});
}

TEST_F(WatchOperationsTest, RemoveTakesOnlyTheCurrentRowAndRemoveAllEmptiesFromTheTop) {
  ops.Remove();     // nothing selected
  ops.RemoveAll();  // empty list
  AddRows({"C1", "A2", "3C", "C4"});
  model.Select(model.RowAt(1));
  ops.Remove();
  EXPECT_EQ(Tags(), (QStringList{"C1", "3C", "C4"}));

  std::vector<QStringList> seen;
  QObject::connect(
      &model, &QAbstractItemModel::rowsRemoved, &model,
      [&](const QModelIndex&, int first, int) { seen.push_back({QString::number(first)}); });
  ops.RemoveAll();
  EXPECT_TRUE(model.IsEmpty());
  EXPECT_EQ(seen, (std::vector<QStringList>{{"0"}, {"0"}, {"0"}}));
}

TEST_F(WatchOperationsTest, RemoveAllLeavesARowThatIsNeitherChannelNorAddress) {
  AddRows({"X1", "C2"});
  ops.RemoveAll();
  EXPECT_EQ(Tags(), (QStringList{"X1", "C2"}));
}

TEST_F(WatchOperationsTest, TagFileHoldsChannelIdsOnlyOnOneLine) {
  QTemporaryDir dir;
  const QString path = dir.filePath(QStringLiteral("tags.txt"));
  AddRows({"C12", "A3", "7C"});
  prompter.QueueSaveFile(path);
  ops.SaveChannelTagsToFile();
  QFile file(path);
  ASSERT_TRUE(file.open(QIODevice::ReadOnly));
  EXPECT_EQ(file.readAll(), QByteArray("12,7"));
  ASSERT_EQ(prompter.Records().size(), 1U);
  const FileDialogRequest& request = prompter.Records()[0].request;
  EXPECT_EQ(request.title, "Save Channel Tags To File");
  EXPECT_EQ(request.filter, "Files (*.txt)|*.txt");
  EXPECT_EQ(request.defaultExtension, "txt");
  EXPECT_TRUE(request.promptOverwrite);
  EXPECT_TRUE(request.requireExistingFolder);
}

TEST_F(WatchOperationsTest, TagFileCasesAddressesOnlyCancelAndUnwritable) {
  QTemporaryDir dir;
  const QString path = dir.filePath(QStringLiteral("tags.txt"));
  AddRows({"A3"});
  prompter.QueueSaveFile(path);
  ops.SaveChannelTagsToFile();
  EXPECT_EQ(QFileInfo(path).size(), 0);
  EXPECT_TRUE(QFileInfo::exists(path));

  prompter.QueueSaveFile(std::nullopt);
  ops.SaveChannelTagsToFile();  // cancelled: nothing written, nothing shown
  prompter.QueueSaveFile(dir.filePath(QStringLiteral("no/such/folder/tags.txt")));
  ops.SaveChannelTagsToFile();
  const QStringList texts = prompter.Texts();
  ASSERT_FALSE(texts.isEmpty());
  EXPECT_TRUE(texts.back().startsWith(QStringLiteral("TELM-0084: 75, ")))
      << texts.back().toStdString();
}

TEST_F(WatchOperationsTest, CopyTextIsHeaderThenCrLfRowsWithTabs) {
  AddRows({"C1", "C2"});
  model.SetSubItem(model.RowAt(0), ChannelListviewManager::ColValue, QStringLiteral("12.5"));
  const CopyableLists lists{nullptr, nullptr, nullptr, &model};
  EXPECT_EQ(WatchOperations::CopyText(QStringLiteral("Channels"), lists),
            "Channel ID / Address\tValue\tTStamp\tScaling\tDevice\tChannel Info"
            "\r\nC1\t12.5\t\t\t\t"
            "\r\nC2\t\t\t\t\t");
  EXPECT_EQ(WatchOperations::CopyText(QStringLiteral("Devices"), lists), QString());
  EXPECT_EQ(WatchOperations::CopyText(QString(), lists), QString());
  KeyedListModel empty;
  EXPECT_EQ(WatchOperations::CopyText(QStringLiteral("Queues"),
                                      CopyableLists{nullptr, &empty, nullptr, nullptr}),
            QString());
}

TEST_F(WatchOperationsTest, ReadAllDataSendsTheCommandOnTheSocket) {
  ops.ReadAllData();
  EXPECT_EQ(peer.Received(), QByteArray("<Command action=\"RefreshAllData\" />"));
}

}  // namespace
}  // namespace telmon
