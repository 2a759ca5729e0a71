// Two DAHS of the demo site in one process, each session against its own simulator: every
// session keeps to its own plant, journal and messages; the plant state holds what the
// simulators sent, typed; and the journal says what became of a command that could not leave.

#include "ioslink/IosCommands.h"
#include "ioslink/IosConnection.h"
#include "iossim/DemoSite.h"
#include "iossim/Simulator.h"
#include "journal/OperationJournal.h"
#include "journal/SiteStateModel.h"
#include "platform/SqlConnection.h"
#include "platform/testing/ScriptedPrompter.h"
#include "session/SiteSession.h"
#include "tests/util/QStringPrinter.h"
#include "util/Clock.h"
#include "views/DeviceOperations.h"
#include "views/IEditGate.h"
#include "views/KeyedListModel.h"

#include <QSet>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QTest>

#include <gtest/gtest.h>

#include <array>
#include <memory>

namespace telmon {
namespace {

struct Sink final : IRaiseMsg {
  QStringList texts;
  void RaiseMsg(std::int32_t /*msgType*/, const QString& text) override { texts << text; }
};

class GrantedEdits final : public IEditGate {
 public:
  bool EditsAllowed() const override { return true; }
  bool AskWhetherUserWantsToEnableEditing() override { return true; }
};

class TwoSessions : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(dir_.isValid());
    QString error;
    ASSERT_TRUE(iossim::WriteDemoSite(dir_.path(), &error)) << error.toStdString();
    for (int dahs : {1, 2}) {
      iossim::SimOptions options;
      options.settingsSource = dir_.path();
      options.dahsId = dahs;
      options.port = 0;
      options.seed = 25;
      auto& sim = sims_[static_cast<std::size_t>(dahs - 1)];
      sim = std::make_unique<iossim::Simulator>(options, clock_);
      ASSERT_TRUE(sim->Start(&error)) << error.toStdString();
      // DAHS n listens on the looked-up port + n - 1.
      Rows(dahs, QStringLiteral("UPDATE H5LOOKUP SET lookupvalue = '%1' WHERE lookupkey = "
                                "'IOS:TcpListenPortForMonitorConnections'")
                     .arg(sim->Port() - (dahs - 1)));
    }
    qputenv("HALVO5_SYSTEM_FOLDER", dir_.path().toUtf8());
    for (int dahs : {1, 2}) {
      const auto i = static_cast<std::size_t>(dahs - 1);
      sessions_[i] = std::make_unique<SiteSession>(
          SiteSessionServices{sinks_[i], prompter_, clock_, QStringLiteral("telmon-test"),
                              dir_.filePath(QStringLiteral("journal%1.sqlite").arg(dahs)),
                              QStringLiteral("127.0.0.1")});
      ASSERT_TRUE(sessions_[i]->Assemble(
          dahs, QStringLiteral("1"),
          [](IPrivilegeGate& /*gate*/) { return std::make_unique<GrantedEdits>(); }, &error))
          << error.toStdString();
    }
  }

  // The first column of each row of `sql` on DAHS `dahs`'s configuration database.
  QStringList Rows(int dahs, const QString& sql) const {
    SqlConnection connection(
        QStringLiteral("sqlite:") + dir_.filePath(QStringLiteral("dahs%1.sqlite").arg(dahs)),
        OpenMode::ReadWrite);
    QString error;
    QSqlDatabase* db = connection.Database(&error);
    EXPECT_NE(db, nullptr) << error.toStdString();
    QStringList rows;
    if (db == nullptr) {
      return rows;
    }
    QSqlQuery query(*db);
    EXPECT_TRUE(query.exec(sql)) << sql.toStdString();
    while (query.next()) {
      rows << query.value(0).toString();
    }
    return rows;
  }

  SiteSession& S(int dahs) { return *sessions_[static_cast<std::size_t>(dahs - 1)]; }
  Sink& Messages(int dahs) { return sinks_[static_cast<std::size_t>(dahs - 1)]; }

  // Every device, queue and block of the DAHS reported, and every channel's configuration.
  bool Full(int dahs) {
    const auto count = [&](const char* table) {
      return Rows(dahs, QStringLiteral("SELECT COUNT(*) FROM %1").arg(QLatin1String(table)))
          .value(0)
          .toInt();
    };
    const int devices = count("H5IODEVICE");
    const int queues = count("H5IOQUEUE");
    const int blocks = count("H5IOBLOCK");
    const int channels = count("H5IOCHANNEL");
    return QTest::qWaitFor(
        [&] {
          SiteSession& s = S(dahs);
          return s.Plant().Devices().size() == devices && s.QueuesModel()->RowCount() == queues &&
                 s.BlocksModel()->RowCount() == blocks &&
                 static_cast<int>(s.Configs().Count()) == channels;
        },
        20000);
  }

  QTemporaryDir dir_;
  SystemClock clock_;
  ScriptedPrompter prompter_;
  std::array<std::unique_ptr<iossim::Simulator>, 2> sims_;
  std::array<Sink, 2> sinks_;
  std::array<std::unique_ptr<SiteSession>, 2> sessions_;
};

TEST_F(TwoSessions, EachKeepsToItsOwnPlantJournalAndMessages) {
  ASSERT_TRUE(Full(1));
  ASSERT_TRUE(Full(2));
  for (int dahs : {1, 2}) {
    SCOPED_TRACE(dahs);
    SiteSession& s = S(dahs);
    // The plant holds this DAHS's devices, typed from the simulator's events, and no other's.
    QSet<std::int32_t> expected;
    for (const QString& id : Rows(dahs, QStringLiteral("SELECT deviceid FROM H5IODEVICE"))) {
      expected.insert(id.toInt());
    }
    QSet<std::int32_t> seen;
    for (const DeviceRecord& d : s.Plant().Devices()) {
      seen.insert(d.id);
      const QString where = QStringLiteral(" FROM H5IODEVICE WHERE deviceid = %1").arg(d.id);
      EXPECT_EQ(d.name, Rows(dahs, QStringLiteral("SELECT name") + where).value(0));
      EXPECT_EQ(d.driver, Rows(dahs, QStringLiteral("SELECT drivername") + where).value(0));
      EXPECT_EQ(d.watchdogTimeout,
                Rows(dahs, QStringLiteral("SELECT watchdogtimeout") + where).value(0).toInt());
      EXPECT_EQ(d.random, std::optional<bool>(false));
      EXPECT_FALSE(d.failoverStatus.isEmpty());
    }
    EXPECT_EQ(seen, expected);
    // Blocks: the HDR and disabled flags as configured, read from the plant state.
    for (const QString& id : Rows(dahs, QStringLiteral("SELECT blockid FROM H5IOBLOCK"))) {
      const QString where = QStringLiteral(" FROM H5IOBLOCK WHERE blockid = ") + id;
      const BlockRecord* block = s.Plant().Block(id.toInt());
      ASSERT_NE(block, nullptr) << id.toStdString();
      EXPECT_EQ(block->hdr, Rows(dahs, QStringLiteral("SELECT ishdr") + where).value(0) == "1");
      EXPECT_EQ(s.Blocks().IsHDRBlock(id.toInt()), block->hdr.value_or(false));
      EXPECT_EQ(block->disabled,
                Rows(dahs, QStringLiteral("SELECT disabled") + where).value(0) == "1");
      EXPECT_EQ(block->deviceId,
                Rows(dahs, QStringLiteral("SELECT deviceid") + where).value(0).toInt());
    }
    for (const QString& name : Rows(dahs, QStringLiteral("SELECT qname FROM H5IOQUEUE"))) {
      const QueueRecord* queue = s.Plant().Queue(name);
      ASSERT_NE(queue, nullptr) << name.toStdString();
      EXPECT_TRUE(queue->counters[QueueEvent::Size].has_value());
      EXPECT_EQ(queue->paused, std::optional<bool>(false));
    }
  }
  // DAHS 1's faulty analyzer is not OK there, in the plant and in the site state alike; DAHS 2
  // has no faulty device.
  const QStringList faulty =
      Rows(1, QStringLiteral("SELECT deviceid FROM H5IODEVICE WHERE faulty = 1"));
  ASSERT_EQ(faulty.size(), 1);
  ASSERT_TRUE(
      QTest::qWaitFor([&] { return !S(1).Plant().Device(faulty[0].toInt())->watchdogOk; }, 20000));
  bool listed = false;
  for (const SiteStateModel::Item& item : S(1).SiteState().Items()) {
    listed = listed ||
             (item.group == SiteStateModel::Group::WatchdogNotOk && item.id == faulty[0].toInt());
  }
  EXPECT_TRUE(listed);
  EXPECT_TRUE(
      Rows(2, QStringLiteral("SELECT deviceid FROM H5IODEVICE WHERE faulty = 1")).isEmpty());

  // Random values on DAHS 2 only: its plant and journal follow, DAHS 1's do not.
  S(2).DeviceOps()->PollAll(1);
  ASSERT_TRUE(QTest::qWaitFor(
      [&] {
        for (const DeviceRecord& d : S(2).Plant().Devices()) {
          if (d.random != std::optional<bool>(true)) {
            return false;
          }
        }
        return true;
      },
      20000));
  QTest::qWait(1500);  // a publish round of the other simulator
  for (const DeviceRecord& d : S(1).Plant().Devices()) {
    EXPECT_EQ(d.random, std::optional<bool>(false)) << d.id;
  }
  const std::vector<JournalEntry> two = S(2).Journal().ReadAll();
  ASSERT_EQ(two.size(), 1U);
  EXPECT_EQ(two[0].dahs, 2);
  EXPECT_EQ(two[0].operation, "Random values on (all)");
  EXPECT_EQ(two[0].command, IosCommands::SetAllDevicesToRandomMode(true));
  EXPECT_EQ(two[0].outcome, "sent");
  EXPECT_TRUE(S(1).Journal().ReadAll().empty());
  S(2).DeviceOps()->PollAll(0);
  for (int dahs : {1, 2}) {
    EXPECT_EQ(Messages(dahs).texts.filter(QStringLiteral("TELM-0030: Connected to IOS.")).size(), 1)
        << Messages(dahs).texts.join('\n').toStdString();
  }
}

TEST_F(TwoSessions, ACommandThatCannotLeaveIsJournaledWithItsFailure) {
  ASSERT_TRUE(Full(2));
  SiteSession& s = S(2);
  s.DisconnectFromIOS();
  ASSERT_EQ(s.Link()->SocketState(), 0);  // a real socket, closed
  Messages(2).texts.clear();
  KeyedListModel& devices = *s.DevicesModel();
  devices.Select(devices.FindKey(QStringLiteral("21K")));
  s.DeviceOps()->PollSelected(1);
  s.Queues().ResetCounters();

  const QString failure = QStringLiteral(
      "TELM-0027: Error 40006, Wrong protocol or connection state for the requested transaction "
      "or request");
  EXPECT_EQ(Messages(2).texts, (QStringList{failure, failure}));
  const std::vector<JournalEntry> entries = s.Journal().ReadAll();
  ASSERT_EQ(entries.size(), 2U);
  EXPECT_EQ(entries[0].operation, "Random values on");
  EXPECT_TRUE(entries[0].targets.startsWith(QStringLiteral("21 ")));
  EXPECT_EQ(entries[0].command, IosCommands::SetDeviceToRandomMode(21, true));
  EXPECT_EQ(entries[0].outcome, failure);
  EXPECT_EQ(entries[1].operation, "Reset queue counters");
  EXPECT_EQ(entries[1].command, IosCommands::ResetQCounters());
  EXPECT_EQ(entries[1].outcome, failure);
  // The other DAHS went on as it was.
  EXPECT_TRUE(S(1).Journal().ReadAll().empty());
  EXPECT_NE(S(1).Link()->SocketState(), 0);
}

}  // namespace
}  // namespace telmon
