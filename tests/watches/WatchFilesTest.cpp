// Tag files read back from disk in every shape a chosen file can have, the add-channel lists
// built from configuration records and block rows, and the saved watch lists in a real
// per-user store in a temporary home.

#include "platform/testing/ScriptedPrompter.h"
#include "tests/util/QStringPrinter.h"
#include "tests/views/ViewsTestSupport.h"
#include "views/BlockListviewManager.h"
#include "views/ChannelConfigInfoManager.h"
#include "watches/AddChannelWatchLogic.h"
#include "watches/ChannelTagFile.h"
#include "watches/WatchListStore.h"

#include <QDir>
#include <QFile>
#include <QRect>
#include <QSettings>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace telmon {
namespace {

using ReadStatus = ChannelTagFileRead::Status;

QString Write(const QTemporaryDir& dir, const char* name, const QByteArray& bytes) {
  const QString path = dir.filePath(QLatin1String(name));
  QFile file(path);
  EXPECT_TRUE(file.open(QIODevice::WriteOnly));
  file.write(bytes);
  return path;
}

TEST(ChannelTagFiles, ReadBackEveryKindOfFile) {
  QTemporaryDir dir;
  QByteArray binary;
  for (int i = 0; i < 256; ++i) {
    binary.append(static_cast<char>(i));
  }
  const ChannelTagFileRead saved = ReadChannelTagFile(Write(dir, "saved.txt", "12,7"));
  EXPECT_EQ(saved.status, ReadStatus::Ok);
  EXPECT_EQ(saved.text, "12,7");
  const ChannelTagFileRead lines = ReadChannelTagFile(Write(dir, "lines.txt", "12\r\n7\r\n"));
  EXPECT_EQ(lines.text, "12\r\n7\r\n");
  const ChannelTagFileRead empty = ReadChannelTagFile(Write(dir, "empty.txt", ""));
  EXPECT_EQ(empty.status, ReadStatus::Ok);
  EXPECT_EQ(empty.text, QString());
  const ChannelTagFileRead bin = ReadChannelTagFile(Write(dir, "binary.bin", binary));
  EXPECT_EQ(bin.status, ReadStatus::Ok);
  EXPECT_EQ(bin.text.size(), 256);
  EXPECT_EQ(bin.text.toLatin1(), binary);

  EXPECT_EQ(ReadChannelTagFile(dir.filePath(QStringLiteral("missing.txt"))).status,
            ReadStatus::Missing);
  EXPECT_EQ(ReadChannelTagFile(QString()).status, ReadStatus::Missing);

  const ChannelTagFileRead folder = ReadChannelTagFile(dir.path());
  EXPECT_EQ(folder.status, ReadStatus::Failed);
  EXPECT_EQ(folder.errorNumber, 75);
  EXPECT_EQ(folder.errorDescription, "Path/File access error");
}

TEST(ChannelTagFiles, FiftyMegabytesAreRefusedUnread) {
  QTemporaryDir dir;
  const QString path = dir.filePath(QStringLiteral("big.txt"));
  QFile file(path);
  ASSERT_TRUE(file.open(QIODevice::WriteOnly));
  ASSERT_TRUE(file.resize(50LL * 1024 * 1024));
  file.close();
  const ChannelTagFileRead big = ReadChannelTagFile(path);
  EXPECT_EQ(big.status, ReadStatus::Failed);
  EXPECT_EQ(big.errorNumber, 7);
  EXPECT_EQ(big.errorDescription, "Out of memory");
  EXPECT_TRUE(big.text.isEmpty());
}

TEST(ChannelTagFiles, UnreadableFileFailsWithPermissionDenied) {
  QTemporaryDir dir;
  const QString path = Write(dir, "locked.txt", "1,2");
  QFile::setPermissions(path, QFileDevice::WriteOwner);
  QFile probe(path);
  if (probe.open(QIODevice::ReadOnly)) {
    GTEST_SKIP() << "running with privileges that read any file";
  }
  const ChannelTagFileRead locked = ReadChannelTagFile(path);
  EXPECT_EQ(locked.status, ReadStatus::Failed);
  EXPECT_EQ(locked.errorNumber, 70);
}

TEST(ChannelTagFiles, SavedTextReadsBackThroughTheParser) {
  QTemporaryDir dir;
  const QString path = dir.filePath(QStringLiteral("round.txt"));
  QString error;
  ASSERT_TRUE(WriteChannelTagFile(path, QStringLiteral("12,7,1001"), &error))
      << error.toStdString();
  const ChannelTagFileRead read = ReadChannelTagFile(path);
  ScriptedPrompter prompter;
  EXPECT_EQ(*TypedIdsToIds(read.text, prompter, QStringLiteral("Telmon")), (IdList{12, 7, 1001}));
}

// Configuration records from "ChannelConfigUpdate" events and block rows from "BlockUpdate"
// events, as the connection delivers them.
class ChannelListEntriesTest : public ::testing::Test {
 protected:
  void Channel(int id, int block, const char* name) {
    test::ParsedEvents events(QStringLiteral("<Event eventtype=\"ChannelConfigUpdate\" ID=\"%1\" "
                                             "Name=\"%2\" DeviceID=\"1\" BlockID=\"%3\"/>")
                                  .arg(id)
                                  .arg(QLatin1String(name))
                                  .arg(block));
    configs.UpdateConfigInfo(events[0]);
  }
  void Block(int id, bool hdr, bool disabled) {
    test::ParsedEvents events(
        QStringLiteral("<Event eventtype=\"BlockUpdate\" BlockID=\"%1\" BlockName=\"B%1\" "
                       "IsHDRBlock=\"%2\" Disabled=\"%3\"/>")
            .arg(id)
            .arg(hdr ? QStringLiteral("True") : QStringLiteral("False"))
            .arg(disabled ? QStringLiteral("True") : QStringLiteral("False")));
    blocks.UpdateOneItemInLsv(events[0]);
  }
  QStringList Texts(const ChannelListEntries& entries) {
    QStringList texts;
    for (const ListEntry& e : entries.entries) {
      texts.push_back(e.text + QLatin1Char('=') + QString::number(e.id));
    }
    return texts;
  }

  test::CollectingSink sink;
  test::LoopbackPeer peer;
  KeyedListModel blocksModel;
  ChannelConfigInfoManager configs;
  BlockListviewManager blocks;
};

TEST_F(ChannelListEntriesTest, HdrAndDisabledBlocksAreHiddenUnlessAllAreShown) {
  blocks.Setup(sink, peer, blocksModel);
  Block(10, false, false);
  Block(20, true, false);
  Block(30, false, true);
  Channel(1, 0, "  no block  ");
  Channel(2, 10, "Flow");
  Channel(3, 20, "Hdr");
  Channel(4, 30, "Off");
  Channel(5, 10, "Flow 2");
  EXPECT_EQ(Texts(BuildChannelListEntries(configs, &blocks, false)),
            (QStringList{"1: no block=1", "2: Flow=2", "5: Flow 2=5"}));
  EXPECT_EQ(Texts(BuildChannelListEntries(configs, &blocks, true)).size(), 5);
  EXPECT_TRUE(sink.messages.empty());

  const std::vector<ListEntry> blockEntries = BuildBlockListEntries(blocksModel);
  ASSERT_EQ(blockEntries.size(), 3U);
  EXPECT_EQ(blockEntries[1].text, "20: B20");
  EXPECT_EQ(blockEntries[1].id, 20);
}

// The block question is asked once per run of records in one block, however long the run; a
// record without a block keeps the verdict of the block before it (an HDR block's, here).
TEST_F(ChannelListEntriesTest, EachRunOfABlockIsAskedOnce) {
  blocks.Setup(sink, peer, blocksModel);
  Block(10, false, false);
  Block(20, true, false);
  Channel(1, 10, "a");
  Channel(2, 10, "b");
  Channel(3, 10, "c");
  Channel(4, 20, "hdr 1");
  Channel(5, 20, "hdr 2");
  Channel(6, 0, "no block after hdr");
  Channel(7, 10, "d");
  Channel(8, 0, "no block after 10");
  QList<std::int32_t> asked;
  const auto listed = [&](std::int32_t block) {
    asked.append(block);
    return !blocks.IsHDRBlock(block) && !blocks.IsBlockDisabled(block);
  };
  EXPECT_EQ(Texts(BuildChannelListEntriesByBlock(configs, listed, false)),
            (QStringList{"1: a=1", "2: b=2", "3: c=3", "7: d=7", "8: no block after 10=8"}));
  EXPECT_EQ(asked, (QList<std::int32_t>{10, 20, 10}));
  EXPECT_EQ(Texts(BuildChannelListEntries(configs, &blocks, false)),
            Texts(BuildChannelListEntriesByBlock(configs, listed, false)));
  asked.clear();
  EXPECT_EQ(BuildChannelListEntriesByBlock(configs, listed, true).entries.size(), 8U);
  EXPECT_TRUE(asked.isEmpty());  // showing all asks nothing
}

TEST_F(ChannelListEntriesTest, ListStopsAtTheLimit) {
  for (int id = 1; id <= 40; ++id) {
    Channel(id, 0, "c");
  }
  const ChannelListEntries limited = BuildChannelListEntries(configs, nullptr, true, 32);
  EXPECT_EQ(limited.entries.size(), 32U);
  EXPECT_TRUE(limited.truncated);
  EXPECT_FALSE(BuildChannelListEntries(configs, nullptr, true, 40).truncated);
}

// The per-user store in a temporary home: the file the program writes, read back raw.
class WatchListStoreTest : public ::testing::Test {
 protected:
  void SetUp() override {
    QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, home.path());
    settings = OpenWatchListSettings();
    store = std::make_unique<WatchListStore>(*settings);
    lists = std::make_unique<WatchLists>(*store, prompter, QStringLiteral("Telmon"));
    lists->Open();
  }
  QString Raw(const char* name) {
    QSettings reread(QSettings::NativeFormat, QSettings::UserScope, QStringLiteral("Quarn"),
                     QStringLiteral("TELM"));
    return reread.value(QLatin1String(name), QStringLiteral("(missing)")).toString();
  }
  void Watch(const QStringList& tags) {
    for (const QString& tag : tags) {
      watches.InsertRowsAt(watches.RowCount(), {{tag, tag, tag, 0}});
    }
  }

  QTemporaryDir home;
  ScriptedPrompter prompter;
  KeyedListModel watches;
  std::unique_ptr<QSettings> settings;
  std::unique_ptr<WatchListStore> store;
  std::unique_ptr<WatchLists> lists;
  const QDateTime when{QDate(2026, 3, 4), QTime(7, 5, 59)};
};

TEST_F(WatchListStoreTest, FreshStoreShowsTenEmptySlots) {
  for (const WatchListRow& row : lists->Rows()) {
    EXPECT_EQ(row.name, "<empty>");
    EXPECT_EQ(row.date, QString());
  }
}

TEST_F(WatchListStoreTest, SaveWritesIdsNameAndDate) {
  Watch({"C12", "A3", "C7"});
  EXPECT_TRUE(lists->Save(3, watches, when));  // an empty slot: rename starts
  EXPECT_EQ(Raw("List3"), "12;7;");
  EXPECT_EQ(Raw("List3Desc"), "List3");
  EXPECT_EQ(Raw("List3Date"), "2026-03-04 07:05");
  EXPECT_TRUE(QFile::exists(home.filePath(QStringLiteral("Quarn/TELM.conf"))));
  EXPECT_FALSE(lists->Save(3, watches, when));  // named now: the name stays
  EXPECT_EQ(Raw("List1"), "(missing)");

  EXPECT_TRUE(lists->Rename(3, QStringLiteral("Stack A")));
  EXPECT_FALSE(lists->Rename(3, QString()));
  EXPECT_FALSE(lists->Rename(3, QStringLiteral("<empty>")));
  EXPECT_FALSE(lists->Rename(4, QStringLiteral("unused slot")));
  EXPECT_EQ(Raw("List3Desc"), "Stack A");
  EXPECT_EQ(Raw("List4Desc"), "(missing)");
}

TEST_F(WatchListStoreTest, AddressesOnlySaveEmptyTextAndEmptyWatchListBeeps) {
  lists->Save(2, watches, when);
  lists->Save(0, watches, when);
  EXPECT_EQ(prompter.BeepCount(), 2);
  Watch({"A3"});
  lists->Save(2, watches, when);
  EXPECT_EQ(Raw("List2"), "");
}

TEST_F(WatchListStoreTest, ClearWritesEmptyMarkerAndSingleBlanks) {
  Watch({"C12"});
  lists->Save(5, watches, when);
  lists->Clear(5);
  EXPECT_EQ(Raw("List5"), "<empty>");
  EXPECT_EQ(Raw("List5Desc"), " ");
  EXPECT_EQ(Raw("List5Date"), " ");
  WatchLists reopened(*store, prompter, QStringLiteral("Telmon"));
  reopened.Open();
  EXPECT_EQ(reopened.Rows()[4].name, "<empty>");
  EXPECT_EQ(reopened.Rows()[4].date, QString());
  EXPECT_FALSE(reopened.CanRename(5));
}

TEST_F(WatchListStoreTest, LoadIsNotImplementedOrBeeps) {
  lists->Load(1);  // "<empty>"
  Watch({"C12"});
  lists->Save(1, watches, when);
  lists->Load(1);
  EXPECT_EQ(prompter.BeepCount(), 1);
  EXPECT_EQ(prompter.Texts(), QStringList{QStringLiteral("TELM-0045: Not implemented.")});
  EXPECT_EQ(prompter.Questions()[0].icon, PromptIcon::Exclamation);
  settings->setValue(QStringLiteral("List1"), QString());
  lists->Load(1);
  EXPECT_EQ(prompter.BeepCount(), 2);
}

// Values other tools or a person wrote into the watch-list file: other types, a list, bytes, and
// text with a comma. Returns the lists as read back.
class OddWatchListValuesTest : public WatchListStoreTest {
 protected:
  std::unique_ptr<WatchLists> WriteOddValuesAndOpen() {
    Watch({"C12"});
    lists->Save(1, watches, when);
    settings->setValue(QStringLiteral("List2Desc"), QStringList{"a", "b"});
    settings->setValue(QStringLiteral("List3Desc"), 42);
    settings->setValue(QStringLiteral("List4Date"), QByteArray("\x00\xff", 2));
    settings->sync();
    settings->setValue(QStringLiteral("List5Desc"), QRect(1, 2, 3, 4));
    settings->sync();
    {
      // As a person edits the file: a list value written as text with a comma.
      QFile conf(home.filePath(QStringLiteral("Quarn/TELM.conf")));
      EXPECT_TRUE(conf.open(QIODevice::Append));
      conf.write("List7Desc=Stack A, Stack B\nList7Date=2026-01-02 03:04\n");
    }
    settings->sync();
    auto odd = std::make_unique<WatchLists>(*store, prompter, QStringLiteral("Telmon"));
    odd->Open();
    return odd;
  }
  // The slots around the odd values read as they were written.
  void ExpectUntouched(const WatchLists& read) {
    EXPECT_EQ(read.Rows()[0].name, "List1");
    EXPECT_EQ(read.Rows()[0].date, "2026-03-04 07:05");
    EXPECT_EQ(read.Rows()[1].name, "a, b");
    EXPECT_EQ(read.Rows()[6].name, "Stack A, Stack B");
    for (std::size_t slot = 7; slot < read.Rows().size(); ++slot) {
      EXPECT_EQ(read.Rows()[slot].name, "<empty>") << slot + 1;
      EXPECT_EQ(read.Rows()[slot].date, QString()) << slot + 1;
    }
    EXPECT_EQ(Raw("List1"), "12;");
    EXPECT_EQ(Raw("List1Desc"), "List1");
    EXPECT_EQ(Raw("List1Date"), "2026-03-04 07:05");
    EXPECT_EQ(Raw("List6"), "(missing)");
  }
};

TEST_F(OddWatchListValuesTest, ValuesOfOtherTypesReadAsTextAndSavesKeepTheirSlots) {
  const std::unique_ptr<WatchLists> odd = WriteOddValuesAndOpen();
  EXPECT_EQ(odd->Rows()[0].name, "List1");
  // Read as text, not as "<empty>": a later Save keeps the name rather than renaming the slot.
  EXPECT_EQ(odd->Rows()[1].name, "a, b");
  EXPECT_EQ(odd->Rows()[2].name, "42");
  EXPECT_EQ(odd->Rows()[3].date, QString());  // unnamed: no date shown
  EXPECT_EQ(odd->Rows()[4].name, "(QRect)");
  EXPECT_EQ(odd->Rows()[6].name, "Stack A, Stack B");
  EXPECT_EQ(odd->Rows()[6].date, "2026-01-02 03:04");
  EXPECT_EQ(store->Read(QStringLiteral("List4Date"), QString()), QString::fromUtf8("\x00\xff", 2));
  for (const int slot : {2, 7}) {
    EXPECT_TRUE(odd->CanRename(slot)) << slot;
    EXPECT_FALSE(odd->Save(slot, watches, when)) << slot;  // a named slot: no renaming starts
  }
  EXPECT_EQ(Raw("List2Desc"), "a, b");
  EXPECT_EQ(Raw("List7Desc"), "Stack A, Stack B");
  ExpectUntouched(*odd);
}

// A store that cannot be written keeps every slot on disk as it was, and says nothing.
TEST_F(OddWatchListValuesTest, AReadOnlyStoreKeepsEverySlotAndSaysNothing) {
  const std::unique_ptr<WatchLists> odd = WriteOddValuesAndOpen();
  const QString folder = home.filePath(QStringLiteral("Quarn"));
  QFile::setPermissions(home.filePath(QStringLiteral("Quarn/TELM.conf")), QFileDevice::ReadOwner);
  QFile::setPermissions(folder, QFileDevice::ReadOwner | QFileDevice::ExeOwner);
  const bool writable = QFile(folder + QStringLiteral("/probe")).open(QIODevice::WriteOnly);
  if (!writable) {
    odd->Save(6, watches, when);
  }
  QFile::setPermissions(folder,
                        QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
  if (writable) {
    GTEST_SKIP() << "running with privileges that write any file";
  }
  EXPECT_TRUE(prompter.Questions().empty());
  EXPECT_EQ(prompter.BeepCount(), 0);
  const std::unique_ptr<QSettings> again = OpenWatchListSettings();
  WatchListStore reread(*again);
  WatchLists reopened(reread, prompter, QStringLiteral("Telmon"));
  reopened.Open();
  ExpectUntouched(reopened);
}

}  // namespace
}  // namespace telmon
