// Channel configuration records, the watch list, and the channel tick against a real SQLite
// realtime table.

#include "platform/DatabaseWorker.h"
#include "views/ChannelConfigInfoManager.h"
#include "views/ChannelListviewManager.h"
#include "views/ChannelUpdateTick.h"
#include "views/ChannelValueTexts.h"
#include "views/ViewErrors.h"

#include "platform/testing/ScriptedPrompter.h"
#include "tests/platform/SiteDatabaseFixture.h"
#include "tests/views/ViewsTestSupport.h"

#include <QAbstractItemModelTester>
#include <QCoreApplication>
#include <QElapsedTimer>

#include <future>

#include <gtest/gtest.h>

namespace telmon {
namespace {

using test::ParsedEvents;

QString Config(const QString& attributes) {
  return QStringLiteral("<Event eventtype=\"ChannelConfigUpdate\" ") + attributes + "/>";
}

void ApplyConfig(ChannelConfigInfoManager& configs, const QString& fragment) {
  const ParsedEvents events(fragment);
  for (xml::XmlElement event : events.All()) {
    configs.UpdateConfigInfo(event);
  }
}

TEST(ChannelConfigInfoManager, KeysOverwritesAndFailures) {
  ChannelConfigInfoManager configs;
  ApplyConfig(configs, Config("ID=\"17\" Name=\"NOx\" DeviceID=\"3\" BlockID=\"4\" "
                              "Scaling=\"0-100\" Address=\"40001\" OscillationMin=\"1.5\"") +
                           Config("ID=\"AI-3\" Name=\"Aux\" DeviceID=\"3\"") +
                           Config("ID=\"17\" Name=\"NOx 2\" DeviceID=\"5\" BlockID=\"0\""));
  ASSERT_EQ(configs.Count(), 2u);
  const ChannelConfigInfo* nox = configs.Item("17");
  ASSERT_NE(nox, nullptr);
  EXPECT_EQ(nox, configs.Item("17C"));
  EXPECT_EQ(nox->Key, "17C");
  EXPECT_EQ(nox->Name, "NOx 2");
  EXPECT_EQ(nox->DeviceID, 5);
  EXPECT_EQ(nox->BlockID, 0);
  EXPECT_EQ(nox->Scaling, "");  // every update is a complete description
  EXPECT_EQ(nox->OscillationMin, "");
  EXPECT_EQ(configs.Item("AI-3")->Key, "AI-3");
  EXPECT_EQ(configs.NewEnum().front()->Key, "17C");  // insertion order
  EXPECT_EQ(configs.Item("18"), nullptr);

  // A bad device ID fails after the record is created and named; the rest stays as it was.
  const ParsedEvents bad(Config("ID=\"17\" Name=\"Renamed\" Address=\"x\"") +
                         Config("ID=\"20\" Name=\"New\" DeviceID=\"abc\"") +
                         Config("ID=\"21\" Name=\"Big\" DeviceID=\"99999999999\""));
  EXPECT_THROW(configs.UpdateConfigInfo(bad[0]), TelmonError);
  EXPECT_EQ(configs.Item("17")->Name, "Renamed");
  EXPECT_EQ(configs.Item("17")->DeviceID, 5);
  EXPECT_EQ(configs.Item("17")->Address, "");
  EXPECT_THROW(configs.UpdateConfigInfo(bad[1]), TelmonError);
  EXPECT_EQ(configs.Item("20")->Name, "New");
  try {
    configs.UpdateConfigInfo(bad[2]);
    FAIL();
  } catch (const TelmonError& e) {
    EXPECT_EQ(e.number(), ErrorNumber::Overflow);
  }

  configs.ClearAllConfigInfo();
  EXPECT_EQ(configs.Item("17"), nullptr);
  EXPECT_EQ(configs.Count(), 0u);
}

class ChannelPage : public ::testing::Test {
 protected:
  void SetUp() override {
    ApplyConfig(configs_, Config("ID=\"5\" Name=\"NOx\" DeviceID=\"2\" BlockID=\"1\" "
                                 "Scaling=\"0-500\" Address=\"40001\" OtherInfo=\"  ppm \"") +
                              Config("ID=\"6\" Name=\"SO2\" DeviceID=\"2\" BlockID=\"1\"") +
                              Config("ID=\"7\" Name=\"Flow\" DeviceID=\"3\" BlockID=\"2\"") +
                              Config("ID=\"8\" Name=\"Spare\" DeviceID=\"3\" BlockID=\"0\"") +
                              Config("ID=\"9\" Name=\"Late\" DeviceID=\"2\" BlockID=\"1\""));
    services_.sink = &sink_;
    services_.prompter = &prompter_;
    services_.configs = &configs_;
    services_.appTitle = QStringLiteral("Telmon");
    services_.formats =
        DateTimeFormats::FromLocale(QLocale(QLocale::English, QLocale::UnitedStates));
    manager_.Setup(services_, model_, 3);
  }

  QStringList Keys() {
    QStringList keys;
    for (int i = 0; i < model_.RowCount(); ++i) {
      keys << model_.Key(model_.RowAt(i));
    }
    return keys;
  }

  ChannelConfigInfoManager configs_;
  KeyedListModel model_;
  QAbstractItemModelTester tester_{&model_, QAbstractItemModelTester::FailureReportingMode::Fatal};
  test::CollectingSink sink_;
  ScriptedPrompter prompter_;
  ChannelPageServices services_;
  ChannelListviewManager manager_;
};

TEST_F(ChannelPage, ChannelListLandsBelowTheSelectionInOrder) {
  EXPECT_EQ(manager_.GetListOfIOIDsInLsv(), "IOS.AllCommsOk,IOS.AllDataRefreshed");
  manager_.AddLsvRowsForChannelIDList("1;2");
  model_.Select(model_.FindKey("1C"));
  manager_.AddLsvRowsForChannelIDList("5;x;;7.0");
  EXPECT_EQ(Keys(), (QStringList{"1C", "5C", "7C", "2C"}));
  EXPECT_EQ(model_.Selected(), model_.FindKey("7C"));
  EXPECT_EQ(manager_.GetListOfIOIDsInLsv(), "1C,5C,7C,2C,IOS.AllCommsOk,IOS.AllDataRefreshed");
  const auto nox = model_.FindKey("5C");
  EXPECT_EQ(model_.Text(nox), "5C: NOx");
  EXPECT_EQ(model_.SubItem(nox, ChannelListviewManager::ColScaling), "0-500");
  EXPECT_EQ(model_.SubItem(nox, ChannelListviewManager::ColDevice), "2");
  EXPECT_EQ(model_.SubItem(nox, ChannelListviewManager::ColChannelInfo), "40001; ppm");
  EXPECT_EQ(model_.IconIndex(nox), 3);
  EXPECT_EQ(model_.Text(model_.FindKey("1C")), "1C");
}

TEST_F(ChannelPage, DuplicateChannelFailsAfterAddingTheOnesBefore) {
  manager_.AddLsvRowsForChannelIDList("5");
  try {
    manager_.AddLsvRowsForChannelIDList("6;5;7");
    FAIL() << "duplicate accepted";
  } catch (const TelmonError& e) {
    EXPECT_EQ(e.number(), ListError::KeyNotUnique);
  }
  EXPECT_EQ(Keys(), (QStringList{"5C", "6C"}));
  // The row added before the failure is whole, and the selection is on it: the next add lands
  // below it.
  const auto so2 = model_.FindKey("6C");
  EXPECT_EQ(model_.Text(so2), "6C: SO2");
  EXPECT_EQ(model_.SubItem(so2, ChannelListviewManager::ColDevice), "2");
  EXPECT_EQ(model_.Selected(), so2);
  manager_.AddLsvRowsForChannelIDList("9");
  EXPECT_EQ(Keys(), (QStringList{"5C", "6C", "9C"}));
  EXPECT_EQ(model_.SubItem(model_.FindKey("9C"), ChannelListviewManager::ColDevice), "2");
  model_.Select(model_.FindKey("6C"));
  EXPECT_THROW(manager_.AddLsvRowsForChannelIDList("8;8"), TelmonError);
  EXPECT_EQ(Keys(), (QStringList{"5C", "6C", "8C", "9C"}));
  EXPECT_EQ(model_.Selected(), model_.FindKey("8C"));
  EXPECT_THROW(manager_.AddLsvRowsForChannelIDList("99999999999"), TelmonError);
}

// A ";" list text and the IDs it names: numeric entries in order, duplicates kept, reading
// stopped at the first entry too large for 32 bits; joined again it is the same list.
TEST(ChannelIdList, TextAndIdsRoundTrip) {
  const struct {
    QString text;
    IdList ids;
    bool overflow;
    QString joined;
  } cases[] = {
      {"", {}, false, ""},
      {"5", {5}, false, "5"},
      {"5;x;;7.0", {5, 7}, false, "5;7"},
      {"8;8;-3", {8, 8, -3}, false, "8;8;-3"},
      {"2147483647;1", {2147483647, 1}, false, "2147483647;1"},
      {"6;99999999999;7", {6}, true, "6"},
      {"99999999999", {}, true, ""},
  };
  for (const auto& c : cases) {
    const IdListText parsed = ParseIdListText(c.text);
    EXPECT_EQ(parsed.ids, c.ids) << c.text.toStdString();
    EXPECT_EQ(parsed.overflow, c.overflow) << c.text.toStdString();
    EXPECT_EQ(JoinIdList(parsed.ids, QLatin1Char(';')), c.joined);
    EXPECT_EQ(ParseIdListText(c.joined).ids, c.ids);
  }
  EXPECT_EQ(JoinIdList({12, 7, 1001}, QLatin1Char(',')), "12,7,1001");
  EXPECT_EQ(ChannelIoid(-3), "-3C");
}

// The IDs as numbers take the same way as the text: each becomes its row "<id>C" below the
// selection, a duplicate (in the list or on the page) fails after the ones before it, and the
// read list names the rows in order before the two server-wide points.
TEST_F(ChannelPage, ChannelIdsAddRowsAndTheReadListNamesThem) {
  manager_.AddLsvRowsForChannelIDs({5, 9});
  model_.Select(model_.FindKey("5C"));
  manager_.AddLsvRowsForChannelIDs({7, 1234});
  EXPECT_EQ(Keys(), (QStringList{"5C", "7C", "1234C", "9C"}));
  EXPECT_EQ(model_.Text(model_.FindKey("7C")), "7C: Flow");
  EXPECT_EQ(model_.Text(model_.FindKey("1234C")), "1234C");
  const IoidList read = manager_.ReadListOfIOIDsInLsv();
  EXPECT_EQ(read.ioids,
            (QStringList{"5C", "7C", "1234C", "9C", "IOS.AllCommsOk", "IOS.AllDataRefreshed"}));
  EXPECT_EQ(read.Text(), "5C,7C,1234C,9C,IOS.AllCommsOk,IOS.AllDataRefreshed");
  EXPECT_EQ(manager_.GetListOfIOIDsInLsv(), read.Text());

  for (const IdList& ids : {IdList{6, 6, 8}, IdList{6, 9, 8}}) {
    model_.Select(model_.FindKey("1234C"));
    try {
      manager_.AddLsvRowsForChannelIDs(ids);
      FAIL() << "duplicate accepted";
    } catch (const TelmonError& e) {
      EXPECT_EQ(e.number(), ListError::KeyNotUnique);
    }
    EXPECT_EQ(Keys(), (QStringList{"5C", "7C", "1234C", "6C", "9C"}));
    EXPECT_EQ(model_.Selected(), model_.FindKey("6C"));
    model_.RemoveRow(model_.FindKey("6C"));
  }
  EXPECT_TRUE(prompter_.Questions().empty());
}

// In a list text, whichever of a duplicate and a too-large entry comes first decides the
// failure; the entries before it are added either way.
TEST_F(ChannelPage, TheFirstBadEntryOfAListTextDecidesItsFailure) {
  manager_.AddLsvRowsForChannelIDList("5");
  const struct {
    QString text;
    long number;
    QStringList keys;
  } cases[] = {
      {"6;5;99999999999;7", ListError::KeyNotUnique, {"5C", "6C"}},
      {"6;99999999999;5;7", ErrorNumber::Overflow, {"5C", "6C"}},
  };
  for (const auto& c : cases) {
    model_.Select(model_.FindKey("5C"));
    try {
      manager_.AddLsvRowsForChannelIDList(c.text);
      FAIL() << c.text.toStdString();
    } catch (const TelmonError& e) {
      EXPECT_EQ(e.number(), c.number) << c.text.toStdString();
    }
    EXPECT_EQ(Keys(), c.keys) << c.text.toStdString();
    model_.RemoveRow(model_.FindKey("6C"));
  }
}

TEST_F(ChannelPage, BlockListTestsEachRunOnceAndNeverBlockZero) {
  manager_.AddLsvRowsForBlockIDList({0});
  ASSERT_EQ(prompter_.Questions().size(), 1u);
  EXPECT_EQ(prompter_.Questions()[0].text,
            "The selected block(s) do not have any associated channels.");
  EXPECT_EQ(prompter_.Questions()[0].icon, PromptIcon::Exclamation);
  EXPECT_EQ(prompter_.Questions()[0].title, "Telmon");
  EXPECT_EQ(model_.RowCount(), 0);
  manager_.AddLsvRowsForBlockIDList({1});
  EXPECT_EQ(Keys(), (QStringList{"5C", "6C", "9C"}));
  model_.Select(model_.FindKey("5C"));
  manager_.AddLsvRowsForBlockIDList({2, 0});
  EXPECT_EQ(Keys(), (QStringList{"5C", "7C", "6C", "9C"}));
  EXPECT_EQ(prompter_.Questions().size(), 1u);
  EXPECT_THROW(manager_.AddLsvRowsForBlockIDList({2}), TelmonError);
}

// The block list as the add-channel dialog hands it over: a list of block numbers, or a failure
// reported once and nothing added.
// The page takes at most MaxWatchedRows rows: a list that would pass it is refused whole,
// with the reason, before any of it is added.
TEST_F(ChannelPage, AListThatWouldPassTheCapIsRefusedWhole) {
  auto ids = [](int from, int to) {
    QStringList list;
    for (int id = from; id <= to; ++id) {
      list << QString::number(id);
    }
    return list.join(';');
  };
  manager_.AddLsvRowsForChannelIDList(ids(10, 32769));
  ASSERT_EQ(model_.RowCount(), 32760);
  manager_.AddLsvRowsForChannelIDList(ids(40001, 40008));
  EXPECT_EQ(model_.RowCount(), 32760);
  ASSERT_EQ(prompter_.Questions().size(), 1u);
  EXPECT_EQ(prompter_.Questions()[0].text,
            "TELM-9012: The watch list holds at most 32,767 channels; it has 32,760, and 8 more "
            "would make 32,768. Nothing was added.");
  EXPECT_EQ(prompter_.Questions()[0].icon, PromptIcon::Exclamation);
  manager_.AddLsvRowsForChannelIDList(ids(40001, 40007));
  EXPECT_EQ(model_.RowCount(), ChannelListviewManager::MaxWatchedRows);
  manager_.AddLsvRowsForBlockIDList({1});
  EXPECT_EQ(model_.RowCount(), ChannelListviewManager::MaxWatchedRows);
  EXPECT_EQ(prompter_.Questions().size(), 2u);
}

TEST_F(ChannelPage, BlockListValueMustBeAListOfNumbers) {
  manager_.AddLsvRowsForBlockIDListValue(QVariant(1));
  manager_.AddLsvRowsForBlockIDListValue(QVariantList{1, QStringLiteral("two")});
  EXPECT_EQ(model_.RowCount(), 0);
  EXPECT_EQ(sink_.Texts(), QStringList({QStringLiteral("TELM-9003: 13, Type mismatch"),
                                        QStringLiteral("TELM-9003: 13, Type mismatch")}));
  manager_.AddLsvRowsForBlockIDListValue(QVariantList{2});
  EXPECT_EQ(Keys(), (QStringList{"7C"}));
}

// The kept texts stay while they are at most twice a read's points and 64 more, and go at once
// past that; what is asked afterwards is formatted again, the same.
TEST(ChannelValueTexts, KeptTextsAreBoundedByWhatOneReadHolds) {
  const DateTimeFormats formats =
      DateTimeFormats::FromLocale(QLocale(QLocale::English, QLocale::UnitedStates));
  const QDateTime stamp(QDate(2024, 3, 14), QTime(14, 5, 9));
  ChannelValueTexts texts;
  auto ask = [&](int point) {
    const QString ioid = QString::number(point) + QLatin1Char('C');
    return texts.For(CurrentValueItem{ioid, stamp, point * 1.5, QString()}, formats).value;
  };
  for (int point = 0; point < 2 * 3 + 64; ++point) ask(point);
  texts.EndOfRead(3);
  EXPECT_EQ(texts.Size(), 2 * 3 + 64);
  ask(1000);
  texts.EndOfRead(3);
  EXPECT_EQ(texts.Size(), 0);
  EXPECT_EQ(ask(3), QStringLiteral("4.5"));
  EXPECT_EQ(texts.For(CurrentValueItem{"9C", stamp, 2.0, QString()}, formats).stamp,
            QStringLiteral("3/14/24 2:05:09 PM"));
}

TEST_F(ChannelPage, ValuesAndConfigurationRefresh) {
  manager_.AddLsvRowsForChannelIDList("5;6;7;10");
  const QDateTime stamp(QDate(2024, 3, 14), QTime(14, 5, 9));
  CurrentValues values;
  values.insert("5C", {"5C", stamp, std::nullopt, {}});
  values.insert("6C", {"6C", stamp, std::nullopt, "abc"});
  values.insert("7C", {"7C", stamp, 12.5, {}});
  values.insert("gone", {"gone", stamp, 1.0, {}});
  manager_.UpdateLsv(values);
  auto value = [this](const char* key) {
    return model_.SubItem(model_.FindKey(key), ChannelListviewManager::ColValue);
  };
  EXPECT_EQ(value("5C"), "(null)");
  EXPECT_EQ(value("6C"), "0abc");
  EXPECT_EQ(value("7C"), "12.5");
  EXPECT_EQ(value("10C"), "");
  EXPECT_EQ(model_.SubItem(model_.FindKey("7C"), ChannelListviewManager::ColTStamp),
            "3/14/24 2:05:09 PM");

  ApplyConfig(configs_, Config("ID=\"10\" Name=\"Added\" DeviceID=\"4\" Scaling=\"%\" "
                               "Address=\"A1\" OtherInfo=\"  \""));
  manager_.UpdateLsvWithChannelConfigInfo();
  const auto added = model_.FindKey("10C");
  EXPECT_EQ(model_.Text(added), "10C");  // the row text is not relabelled
  EXPECT_EQ(model_.SubItem(added, ChannelListviewManager::ColScaling), "%");
  EXPECT_EQ(model_.SubItem(added, ChannelListviewManager::ColChannelInfo), "A1");
  EXPECT_TRUE(sink_.messages.empty());
}

// Texts are kept from tick to tick; each change of value, text or time stamp (the same instant
// in another time spec included) shows, and a row added again is filled again.
TEST_F(ChannelPage, RepeatedTicksShowEveryChange) {
  manager_.AddLsvRowsForChannelIDList("5");
  const QDateTime local(QDate(2024, 3, 14), QTime(14, 5, 9));
  const QDateTime utc = local.toUTC();
  struct Tick {
    std::optional<double> numeric;
    QString text;
    QDateTime stamp;
    const char* value;
  };
  const Tick ticks[] = {
      {12.5, {}, local, "12.5"},
      {12.5, {}, local, "12.5"},
      {13.0, {}, local, "13"},
      {13.0, "x", local, "13x"},
      {std::nullopt, {}, local, "(null)"},
      {std::nullopt, {}, utc, "(null)"},
      {1e20, {}, utc, "100000000000000000000"},
  };
  for (const Tick& t : ticks) {
    CurrentValues values;
    values.insert("5C", {"5C", t.stamp, t.numeric, t.text});
    manager_.UpdateLsv(values);
    const auto row = model_.FindKey("5C");
    EXPECT_EQ(model_.SubItem(row, ChannelListviewManager::ColValue), t.value);
    EXPECT_EQ(model_.SubItem(row, ChannelListviewManager::ColTStamp),
              ChannelListviewManager::DefaultDateTimeText(t.stamp, services_.formats));
  }
  model_.RemoveRow(model_.FindKey("5C"));
  manager_.AddLsvRowsForChannelIDList("5");
  CurrentValues same;
  same.insert("5C", {"5C", utc, 1e20, {}});
  manager_.UpdateLsv(same);
  EXPECT_EQ(model_.SubItem(model_.FindKey("5C"), ChannelListviewManager::ColValue),
            "100000000000000000000");
}

// The main window's panels as the tick leaves them.
struct RecordingPanels final : IChannelTickPanels {
  void SetChannelUpdateTime(const QString& text) override { updateTime = text; }
  void SetAllRefreshTime(const QString& text) override { allRefresh = text; }
  void SetAllRefreshToolTip(const QString& text) override { toolTip = text; }
  void SetNotPollingVisible(bool visible) override { notPolling = visible; }
  void BeginBusy() override { ++busy; }
  void EndBusy() override {
    --busy;
    ++ticks;
  }
  QString updateTime = "(update)";
  QString allRefresh = "(last all refresh time)";
  QString toolTip = AllRefreshDefaultToolTip;
  std::optional<bool> notPolling;
  int busy = 0;
  int ticks = 0;
};

class ChannelTick : public ChannelPage {
 protected:
  void SetUp() override {
    ChannelPage::SetUp();
    db_.Init();
    QObject::connect(
        &dbil_, &H5DBIL::Message, &dbil_,
        [this](std::int32_t type, const QString& text) { sink_.RaiseMsg(type, text); });
  }
  void Put(const QString& ioid, const QVariant& number, const QString& text) {
    db_.Exec(QStringLiteral("INSERT INTO H5REALTIME (ioid, tstamp, numvalue, textvalue) "
                            "VALUES (?, ?, ?, ?)"),
             {ioid, QDateTime(QDate(2024, 3, 14), QTime(9, 30, 0)), number, text});
  }
  ChannelUpdateTick Tick(ChannelListviewManager* channels) {
    return ChannelUpdateTick(dbil_, db_.ConnectionString(), channels, clock_, panels_, sink_,
                             services_.formats);
  }

  test::ScratchDatabase db_{test::Backend::Sqlite};
  H5DBIL dbil_;
  ManualClock clock_;
  RecordingPanels panels_;
};

TEST_F(ChannelTick, EmptyPageStillReadsTheServerPoints) {
  Put("IOS.AllCommsOk", 0, {});
  Put("IOS.AllDataRefreshed", QVariant(), "<AllDataRefreshed Start=\"2024-03-14 09:00:00\"/>");
  Tick(&manager_).Run();
  EXPECT_EQ(panels_.updateTime, "2:05:09 PM");
  EXPECT_EQ(panels_.notPolling, std::optional<bool>(true));
  EXPECT_EQ(panels_.allRefresh, "In progress...");
  EXPECT_EQ(panels_.toolTip, "All Data Refreshed (Started 3/14/24 9:00:00 AM)");
  EXPECT_EQ(panels_.busy, 0);
  EXPECT_TRUE(sink_.messages.empty()) << sink_.Texts().join('\n').toStdString();
}

TEST_F(ChannelTick, RowsPanelsAndIndicatorFollowTheDatabase) {
  manager_.AddLsvRowsForChannelIDList("5;7");
  Put("5C", 3.25, {});
  Put("7C", QVariant(), "OFF");
  Put("IOS.AllCommsOk", 1, {});
  Put("IOS.AllDataRefreshed", QVariant(),
      "<AllDataRefreshed Start=\"2024-03-14 09:00:00\" Finish=\"2024-03-14T09:01:02\"/>");
  Tick(&manager_).Run();
  EXPECT_EQ(model_.SubItem(model_.FindKey("5C"), ChannelListviewManager::ColValue), "3.25");
  EXPECT_EQ(model_.SubItem(model_.FindKey("7C"), ChannelListviewManager::ColValue), "0OFF");
  EXPECT_EQ(model_.SubItem(model_.FindKey("7C"), ChannelListviewManager::ColTStamp),
            "3/14/24 9:30:00 AM");
  EXPECT_EQ(panels_.notPolling, std::optional<bool>(false));
  EXPECT_EQ(panels_.allRefresh, "3/14/24 9:01:02 AM");

  db_.Exec("UPDATE H5REALTIME SET textvalue = 'garbage' WHERE ioid = 'IOS.AllDataRefreshed'");
  db_.Exec("DELETE FROM H5REALTIME WHERE ioid = 'IOS.AllCommsOk'");
  Tick(&manager_).Run();
  EXPECT_EQ(panels_.allRefresh, "(none)");
  EXPECT_EQ(panels_.toolTip, AllRefreshDefaultToolTip);
  EXPECT_EQ(panels_.notPolling, std::optional<bool>(false));  // unchanged when the point is gone
}

TEST_F(ChannelTick, FailedReadLeavesQuestionMarksAndRows) {
  manager_.AddLsvRowsForChannelIDList("5");
  Put("5C", 1, {});
  Tick(&manager_).Run();
  ASSERT_EQ(model_.SubItem(model_.FindKey("5C"), ChannelListviewManager::ColValue), "1");
  QFile::remove(db_.Folder() + "/site.db");
  H5DBIL fresh;
  ChannelUpdateTick(fresh, db_.ConnectionString(), &manager_, clock_, panels_, sink_,
                    services_.formats)
      .Run();
  EXPECT_EQ(panels_.updateTime, "??");
  EXPECT_EQ(panels_.allRefresh, "??");
  EXPECT_EQ(model_.SubItem(model_.FindKey("5C"), ChannelListviewManager::ColValue), "1");
  EXPECT_EQ(panels_.busy, 0);

  // Without a watch page nothing is read at all.
  Tick(nullptr).Run();
  EXPECT_EQ(panels_.updateTime, "??");
  EXPECT_EQ(panels_.ticks, 3);
}

// On a worker the window only starts the read; what it shows follows when the read comes back.
// A tick that falls due while the read still runs starts no second one: the rows keep their
// values and the update-time panel says how old they are.
TEST_F(ChannelTick, OnAWorkerATickStillReadingIsNotStartedAgain) {
  struct CountingObserver final : IChannelTickObserver {
    void TickRead(const QDateTime&, const CurrentValues* values) override {
      reads.push_back(values != nullptr);
    }
    std::vector<bool> reads;
  } observer;
  const QString c = db_.ConnectionString();
  DatabaseWorker worker(
      QStringLiteral("PLANT1"), QString(), {c, c, c, c, c},
      [this](std::int32_t type, const QString& text) { sink_.RaiseMsg(type, text); });
  ChannelUpdateTick tick = Tick(&manager_);
  tick.SetWorker(&worker);
  tick.SetObserver(&observer);
  auto waitForRead = [&] {
    QElapsedTimer timer;
    timer.start();
    while (tick.Reading() && timer.elapsed() < 10000) {
      QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
    }
    return !tick.Reading();
  };
  manager_.AddLsvRowsForChannelIDList("5");
  Put("5C", 1, {});
  tick.Run();
  EXPECT_EQ(panels_.updateTime, "(update)");  // nothing shown before the read is back
  ASSERT_TRUE(waitForRead());
  EXPECT_EQ(panels_.updateTime, "2:05:09 PM");
  EXPECT_EQ(model_.SubItem(model_.FindKey("5C"), ChannelListviewManager::ColValue), "1");

  // The worker is held up: the next read waits behind it.
  std::promise<void> release;
  std::shared_future<void> released = release.get_future().share();
  worker.Post([released](H5DBIL&) { released.wait(); });
  db_.Exec("UPDATE H5REALTIME SET numvalue = 2");
  clock_.Advance(2000);
  tick.Run();
  EXPECT_TRUE(tick.Reading());
  clock_.Advance(2000);
  tick.Run();
  EXPECT_EQ(panels_.updateTime, "2:05:09 PM (4 s old)");
  clock_.Advance(2000);
  tick.Run();
  EXPECT_EQ(panels_.updateTime, "2:05:09 PM (6 s old)");
  EXPECT_EQ(model_.SubItem(model_.FindKey("5C"), ChannelListviewManager::ColValue), "1");
  release.set_value();
  ASSERT_TRUE(waitForRead());
  // The one read that ran shows the time of the tick that started it.
  EXPECT_EQ(panels_.updateTime, "2:05:11 PM");
  EXPECT_EQ(model_.SubItem(model_.FindKey("5C"), ChannelListviewManager::ColValue), "2");
  EXPECT_EQ(observer.reads, (std::vector<bool>{true, true}));
  EXPECT_EQ(panels_.busy, 0);
  EXPECT_TRUE(sink_.messages.empty()) << sink_.Texts().join('\n').toStdString();
  tick.SetWorker(nullptr);
}

}  // namespace
}  // namespace telmon
