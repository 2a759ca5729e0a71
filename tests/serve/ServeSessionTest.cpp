// telmon-serve's watcher against in-process simulators of both demo DAHS: the published
// lists show exactly what telmon-check status prints for the same session, a device switched to
// random values changes its row in a live event stream, and a DAHS whose I/O server goes away
// shows its link down and comes back on its own.

#include "check/CheckCommands.h"
#include "ioslink/IosCommands.h"
#include "iossim/DemoSite.h"
#include "iossim/Simulator.h"
#include "journal/OperationJournal.h"
#include "platform/SqlConnection.h"
#include "serve/HttpServer.h"
#include "serve/ServeCommandLine.h"
#include "serve/SiteWatcher.h"
#include "session/SiteSession.h"
#include "util/Clock.h"
#include "views/KeyedListModel.h"

#include <httplib.h>

#include <QSqlQuery>
#include <QTemporaryDir>
#include <QTest>

#include <gtest/gtest.h>

#include <array>
#include <future>
#include <mutex>
#include <set>
#include <thread>

namespace telmon::serve {
namespace {

// The table telmon-check status prints, from a published list.
QString PublishedTable(const Table& table) {
  KeyedListModel model;
  for (const std::string& header : table.headers) {
    model.AddColumn({QString::fromStdString(header), 1000, Qt::AlignLeft, {}});
  }
  for (const Row& row : table.rows) {
    KeyedListModel::RowRef ref =
        model.AddRow(QString::fromStdString(row.key), QString::fromStdString(row.cells[0].text));
    for (std::size_t c = 1; c < row.cells.size(); ++c) {
      model.SetSubItem(ref, static_cast<int>(c), QString::fromStdString(row.cells[c].text));
    }
  }
  return check::ModelTable(model);
}

class ServeSessions : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(dir_.isValid());
    QString error;
    ASSERT_TRUE(iossim::WriteDemoSite(dir_.path(), &error)) << error.toStdString();
    for (int dahs : {1, 2}) {
      StartSim(dahs, 0);
      // DAHS n listens on the looked-up port + n - 1.
      Exec(dahs, QStringLiteral("UPDATE H5LOOKUP SET lookupvalue = '%1' WHERE lookupkey = "
                                "'IOS:TcpListenPortForMonitorConnections'")
                     .arg(Sim(dahs).Port() - (dahs - 1)));
    }
    qputenv("HALVO5_SYSTEM_FOLDER", dir_.path().toUtf8());
    WatcherOptions options;
    options.iosHost = QStringLiteral("127.0.0.1");
    options.journalFile = dir_.filePath(QStringLiteral("journal.sqlite"));
    options.publishMs = 50;
    options.reconnectMs = 300;
    options.watchReadMs = 300;
    options.log = nullptr;
    watcher_ = std::make_unique<SiteWatcher>(hub_, watches_, options);
    ASSERT_TRUE(watcher_->Start(DahsSections(dir_.filePath(QStringLiteral("Halvo5.INI"))), &error))
        << error.toStdString();
    ASSERT_EQ(hub_.Current()->dahs.size(), 2U);
  }

  void StartSim(int dahs, quint16 port) {
    iossim::SimOptions options;
    options.settingsSource = dir_.path();
    options.dahsId = dahs;
    options.port = port;
    options.seed = 30;
    auto& sim = sims_[static_cast<std::size_t>(dahs - 1)];
    sim = std::make_unique<iossim::Simulator>(options, clock_);
    QString error;
    ASSERT_TRUE(sim->Start(&error)) << error.toStdString();
  }

  void Exec(int dahs, const QString& sql) {
    SqlConnection connection(
        QStringLiteral("sqlite:") + dir_.filePath(QStringLiteral("dahs%1.sqlite").arg(dahs)),
        OpenMode::ReadWrite);
    QString error;
    QSqlDatabase* db = connection.Database(&error);
    ASSERT_NE(db, nullptr) << error.toStdString();
    QSqlQuery query(*db);
    ASSERT_TRUE(query.exec(sql)) << sql.toStdString();
  }

  iossim::Simulator& Sim(int dahs) { return *sims_[static_cast<std::size_t>(dahs - 1)]; }

  // Every list of the DAHS filled and published.
  bool Published(int dahs) {
    return QTest::qWaitFor(
        [&] {
          const auto site = hub_.Current();
          const DahsSnapshot* d = site->Dahs(dahs);
          return d != nullptr && d->linkUp && d->devices.rows.size() == 7 &&
                 d->queues.rows.size() == 3 && d->blocks.rows.size() == 12;
        },
        20000);
  }

  QTemporaryDir dir_;
  SystemClock clock_;
  std::array<std::unique_ptr<iossim::Simulator>, 2> sims_;
  SnapshotHub hub_;
  WatchRegistry watches_;
  std::unique_ptr<SiteWatcher> watcher_;
};

TEST_F(ServeSessions, ThePublishedListsAreTheTextsTelmonCheckPrints) {
  for (int dahs : {1, 2}) {
    SCOPED_TRACE(dahs);
    ASSERT_TRUE(Published(dahs));
    SiteSession* session = watcher_->Session(dahs);
    ASSERT_NE(session, nullptr);
    // Settle, then compare one snapshot with the session's own lists at the same moment.
    QTest::qWait(300);
    watcher_->PublishNow();
    const auto site = hub_.Current();
    const DahsSnapshot& d = *site->Dahs(dahs);
    EXPECT_EQ(PublishedTable(d.devices), check::ModelTable(*session->DevicesModel()));
    EXPECT_EQ(PublishedTable(d.blocks), check::ModelTable(*session->BlocksModel()));
    EXPECT_EQ(PublishedTable(d.queues), check::ModelTable(*session->QueuesModel()));
    EXPECT_EQ(d.devices.headers.front(), "ID");
  }
  // DAHS 1's demo plant has a block that fails to read, counted and shown in the desktop's
  // fault colour; its disabled block in the disabled colour.
  ASSERT_TRUE(QTest::qWaitFor([&] { return hub_.Current()->Dahs(1)->failingBlocks >= 1; }, 20000));
  const auto site = hub_.Current();
  std::set<std::string> tones;
  for (const Row& row : site->Dahs(1)->blocks.rows) {
    tones.insert(row.cells.front().tone);
  }
  EXPECT_EQ(tones, (std::set<std::string>{"", "fault", "disabled"}));
}

TEST_F(ServeSessions, ADeviceSwitchedToRandomChangesItsRowInTheEventStream) {
  ASSERT_TRUE(Published(2));
  ServerOptions options;
  options.port = 0;
  options.heartbeat = std::chrono::milliseconds(500);
  HttpServer server(options, hub_, watches_, ParseWatchIds);
  std::string error;
  ASSERT_TRUE(server.Bind(&error)) << error;
  server.Start();

  std::mutex mutex;
  std::string text;
  bool stop = false;
  std::thread reader([&] {
    httplib::Client client("127.0.0.1", server.Port());
    client.set_read_timeout(20, 0);
    client.Get("/events?page=%2Fdahs%2F2%2Fdevices", [&](const char* data, std::size_t size) {
      const std::lock_guard lock(mutex);
      text.append(data, size);
      return !stop;
    });
  });
  const auto streamed = [&](const std::string& piece) {
    return QTest::qWaitFor(
        [&] {
          const std::lock_guard lock(mutex);
          return text.find(piece) != std::string::npos;
        },
        20000);
  };
  EXPECT_TRUE(streamed("<tr data-key=\"24K\">"));
  {
    const std::lock_guard lock(mutex);
    EXPECT_EQ(text.find("<tr class=\"random\" data-key=\"24K\">"), std::string::npos);
  }
  // As the window would switch it: the command goes to DAHS 2's I/O server.
  ASSERT_TRUE(watcher_->Session(2)->SendCommand(IosCommands::SetDeviceToRandomMode(24, true)).sent);
  EXPECT_TRUE(streamed("<tr class=\"random\" data-key=\"24K\">"));
  {
    const std::lock_guard lock(mutex);
    stop = true;
  }
  hub_.Publish(*hub_.Current());  // wakes the stream so it sees the reader has gone
  reader.join();
  server.Stop();
  // DAHS 1 is untouched.
  for (const Row& row : hub_.Current()->Dahs(1)->devices.rows) {
    EXPECT_NE(row.cells.front().tone, "random");
  }
}

TEST_F(ServeSessions, ADahsWhoseServerWentAwayShowsItAndReconnects) {
  ASSERT_TRUE(Published(1));
  ASSERT_TRUE(Published(2));
  const quint16 port = Sim(1).Port();
  sims_[0].reset();
  ASSERT_TRUE(QTest::qWaitFor([&] { return !hub_.Current()->Dahs(1)->linkUp; }, 20000));
  EXPECT_TRUE(hub_.Current()->Dahs(2)->linkUp);
  EXPECT_EQ(hub_.Current()->Dahs(1)->linkText, "Closed");
  QTest::qWait(700);  // a few failed attempts
  StartSim(1, port);
  ASSERT_TRUE(Published(1));
  EXPECT_GE(hub_.Current()->Dahs(1)->reconnects, 1U);
}

TEST_F(ServeSessions, ADahsThatCannotStartSaysWhyAndTheOthersRun) {
  SnapshotHub hub;
  WatcherOptions options;
  options.iosHost = QStringLiteral("127.0.0.1");
  options.log = nullptr;
  options.publishMs = 50;
  SiteWatcher watcher(hub, watches_, options);
  QString error;
  ASSERT_TRUE(watcher.Start({2, 9}, &error)) << error.toStdString();
  ASSERT_TRUE(QTest::qWaitFor(
      [&] {
        const auto site = hub.Current();
        return site->Dahs(2) != nullptr && site->Dahs(2)->linkUp &&
               site->Dahs(2)->devices.rows.size() == 7;
      },
      20000));
  const DahsSnapshot* missing = hub.Current()->Dahs(9);
  ASSERT_NE(missing, nullptr);
  EXPECT_FALSE(missing->linkUp);
  EXPECT_EQ(missing->linkText, "TELM-0005: can't load settings from Halvo INI file.");
  EXPECT_EQ(watcher.Session(9), nullptr);
  EXPECT_TRUE(RenderPage(*hub.Current(), {Route::Kind::Overview, 0})
                  .main.find("IOS link: down (TELM-0005: can&#39;t load settings from Halvo INI "
                             "file.)") != std::string::npos);
}

TEST_F(ServeSessions, AWatchPageGetsRealtimeValues) {
  ASSERT_TRUE(Published(1));
  watches_.Want(1, {1216, 999999}, WatchRegistry::Clock::now());
  ASSERT_TRUE(QTest::qWaitFor(
      [&] {
        const auto site = hub_.Current();
        const auto& watched = site->Dahs(1)->watched;
        const auto it = watched.find(1216);
        return it != watched.end() && it->second.read;
      },
      20000));
  const auto site = hub_.Current();
  const WatchedValue& v = site->Dahs(1)->watched.at(1216);
  EXPECT_FALSE(v.name.empty());
  EXPECT_FALSE(v.value.empty());
  EXPECT_FALSE(site->Dahs(1)->watched.at(999999).read);
  EXPECT_TRUE(site->Dahs(2)->watched.empty());
  // The alarms databases are read alongside.
  EXPECT_TRUE(QTest::qWaitFor([&] { return hub_.Current()->Dahs(2)->alarmsActive >= 0; }, 5000));
}

TEST_F(ServeSessions, TheJournalPageShowsTheLatestEntriesNewestFirst) {
  ASSERT_TRUE(Published(1));
  struct Quiet final : IRaiseMsg {
    void RaiseMsg(std::int32_t /*msgType*/, const QString& /*text*/) override {}
  } quiet;
  // The window's journal, in the file telmon-serve reads.
  OperationJournal window(dir_.filePath(QStringLiteral("journal.sqlite")),
                          {1, QStringLiteral("pc")}, quiet, clock_);
  for (int i = 1; i <= 60; ++i) {
    window.Record({QStringLiteral("WriteToChannel"),
                   QStringLiteral("1216 NOx"),
                   QString::number(i),
                   QStringLiteral("<cmd/>"),
                   QStringLiteral("record written"),
                   QStringLiteral("tech"),
                   {},
                   QString::number(i - 1)});
  }
  ASSERT_TRUE(QTest::qWaitFor([&] { return hub_.Current()->journal.size() == 50; }, 10000));
  const auto site = hub_.Current();
  EXPECT_EQ(site->journal.front().value, "60");
  EXPECT_EQ(site->journal.front().previous, "59");
  EXPECT_EQ(site->journal.back().value, "11");
  EXPECT_EQ(site->journal.front().account, "tech");
  const Page page = RenderPage(*site, {Route::Kind::Journal, 0});
  EXPECT_NE(
      page.main.find("<td data-h=\"Operation\">WriteToChannel</td><td data-h=\"Targets\">"
                     "1216 NOx</td><td data-h=\"Previous\">59</td><td data-h=\"Value\">60</td>"),
      std::string::npos);
}

TEST_F(ServeSessions, FiveWrongPasswordsLockTheAccountAsInTheWindow) {
  ASSERT_TRUE(Published(1));
  LoginDesk desk;
  watcher_->AnswerLogins(&desk, 100);
  ServerOptions options;
  options.port = 0;
  options.login = true;
  HttpServer server(options, hub_, watches_, ParseWatchIds);
  server.SetLoginDesk(&desk);
  std::string error;
  ASSERT_TRUE(server.Bind(&error)) << error;
  server.Start();
  // The sign-in is checked on this (the Qt) thread: the browser's request runs beside it.
  const auto signIn = [&](const std::string& basic) {
    auto answer = std::async(std::launch::async, [&server, basic] {
      httplib::Client client("127.0.0.1", server.Port());
      client.set_read_timeout(30, 0);
      auto r = client.Get("/", {{"Authorization", "Basic " + basic}});
      return r ? std::pair{r->status, r->body} : std::pair{-1, std::string()};
    });
    EXPECT_TRUE(QTest::qWaitFor(
        [&] { return answer.wait_for(std::chrono::seconds(0)) == std::future_status::ready; },
        30000));
    return answer.get();
  };
  // tech:tech-demo, tech:wrong
  const std::string right = "dGVjaDp0ZWNoLWRlbW8=";
  const std::string wrong = "dGVjaDp3cm9uZw==";
  EXPECT_EQ(signIn(right).first, 200);
  for (int i = 0; i < 5; ++i) {
    SCOPED_TRACE(i);
    EXPECT_EQ(signIn(wrong), (std::pair{401, std::string("The account name or the password is "
                                                         "wrong.\n")}));
  }
  const auto locked = signIn(right);
  EXPECT_EQ(locked.first, 401);
  EXPECT_EQ(locked.second.rfind(
                "The account 'tech' is locked after repeated wrong passwords. Try again in ", 0),
            0U)
      << locked.second;
  server.Stop();
}

}  // namespace
}  // namespace telmon::serve
