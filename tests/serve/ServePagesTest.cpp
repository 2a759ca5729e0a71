// The pages, the metrics and the event-stream messages rendered from snapshots, the exposure
// rules, the watch page's channel list and the hand-over between the Qt thread and the HTTP
// threads, without a session.

#include "serve/HttpServer.h"
#include "serve/Login.h"
#include "serve/Pages.h"
#include "serve/ServeCommandLine.h"
#include "serve/SiteWatcher.h"
#include "serve/Snapshot.h"

#include "watches/WatchListStore.h"

#include <QFile>
#include <QSettings>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <thread>

namespace telmon::serve {
namespace {

SiteSnapshot TwoDahs() {
  SiteSnapshot site;
  DahsSnapshot one;
  one.dahsId = 1;
  one.title = "DAHS 1 Unit <1>";
  one.linkUp = true;
  one.linkText = "Connected";
  one.devices = {{"ID", "Name"},
                 {{"1K", {{"1", ""}, {"PLC & <b>", ""}}},
                  {"2K", {{"2", "random"}, {"Analyzer", "random"}}},
                  {"3K", {{"3", "fault"}, {"Probe", ""}}}}};
  one.queueFigures = {{"Q \"one\"", 4, 2, true}};
  one.devicesRandom = 1;
  one.forcedChannels = 2;
  one.eventsReceived = 77;
  DahsSnapshot two;
  two.dahsId = 2;
  two.title = "DAHS 2";
  two.linkText = "Closed";
  site.dahs = {one, two};
  site.tickSeconds = 0.0025;
  return site;
}

TEST(ServeRoutes, AddressesNameTheirPages) {
  const struct {
    const char* path;
    Route::Kind kind;
    std::int32_t dahs;
  } cases[] = {
      {"/", Route::Kind::Overview, 0},
      {"/state", Route::Kind::SiteState, 0},
      {"/journal", Route::Kind::Journal, 0},
      {"/dahs/1/devices", Route::Kind::Devices, 1},
      {"/dahs/12/queues", Route::Kind::Queues, 12},
      {"/dahs/2/blocks", Route::Kind::Blocks, 2},
      {"/dahs/2/watch", Route::Kind::Watch, 2},
      {"/dahs/x/devices", Route::Kind::None, 0},
      {"/dahs/1", Route::Kind::None, 0},
      {"/dahs//devices", Route::Kind::None, 0},
      {"/dahs/1/devices/", Route::Kind::None, 0},
      {"/dahs/9999999999/devices", Route::Kind::None, 0},
      {"/other", Route::Kind::None, 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.path);
    const Route route = ParseRoute(c.path);
    EXPECT_EQ(route.kind, c.kind);
    if (c.kind != Route::Kind::None) {
      EXPECT_EQ(route.dahsId, c.dahs);
    }
  }
}

TEST(ServePages, ListRowsCarryTheDesktopTextsEscapedAndTheirColours) {
  const SiteSnapshot site = TwoDahs();
  const Page page = RenderPage(site, {Route::Kind::Devices, 1});
  EXPECT_EQ(page.status, 200);
  EXPECT_EQ(page.stream, "/events?page=%2Fdahs%2F1%2Fdevices");
  EXPECT_NE(page.main.find("<tr data-key=\"1K\"><td data-h=\"ID\">1</td><td data-h=\"Name\">"
                           "PLC &amp; &lt;b&gt;</td></tr>"),
            std::string::npos)
      << page.main;
  // A row in a colour: the row carries it; a cell in another colour carries its own.
  EXPECT_NE(page.main.find("<tr class=\"random\" data-key=\"2K\"><td data-h=\"ID\">2</td>"
                           "<td data-h=\"Name\">Analyzer</td></tr>"),
            std::string::npos);
  EXPECT_NE(page.main.find("<tr class=\"fault\" data-key=\"3K\"><td data-h=\"ID\">3</td>"
                           "<td data-h=\"Name\" class=\"plain\">Probe</td></tr>"),
            std::string::npos);
  EXPECT_NE(page.main.find("<h1>DAHS 1 Unit &lt;1&gt;: Devices</h1>"), std::string::npos);
  EXPECT_NE(page.main.find("IOS link: up (Connected)"), std::string::npos);
  EXPECT_NE(RenderPage(site, {Route::Kind::Queues, 2}).main.find("IOS link: down (Closed)"),
            std::string::npos);
}

TEST(ServePages, UnknownPagesAndDahsAnswer404WithoutAStream) {
  const SiteSnapshot site = TwoDahs();
  for (const Route& route : {Route{Route::Kind::None, 0}, Route{Route::Kind::Devices, 3},
                             Route{Route::Kind::Watch, 7}}) {
    const Page page = RenderPage(site, route);
    EXPECT_EQ(page.status, 404);
    EXPECT_TRUE(page.stream.empty());
  }
}

TEST(ServePages, TheOverviewFlagsWhatNeedsLooking) {
  const Page page = RenderPage(TwoDahs(), {Route::Kind::Overview, 0});
  EXPECT_NE(page.main.find("<section class=\"dahs alert\" id=\"dahs1\">"), std::string::npos);
  EXPECT_NE(page.main.find("<li class=\"fault\"><span>Random values</span> <b>1</b></li>"),
            std::string::npos);
  EXPECT_NE(page.main.find("<li class=\"fault\"><span>Forced channels</span> <b>2</b></li>"),
            std::string::npos);
  EXPECT_NE(page.main.find("<li><span>Watchdog not OK</span> <b>0</b></li>"), std::string::npos);
  // DAHS 2's link is down: that alone is worth a look.
  EXPECT_NE(page.main.find("<section class=\"dahs alert\" id=\"dahs2\">"), std::string::npos);
  EXPECT_NE(page.main.find("Last full refresh: none yet"), std::string::npos);
  EXPECT_EQ(page.main.find("Not Polling Device(s)"), std::string::npos);
  // Alarms only once their database has been read.
  EXPECT_EQ(page.main.find("Active alarms"), std::string::npos);
  SiteSnapshot site = TwoDahs();
  site.dahs[1].alarmsActive = 3;
  site.dahs[1].alarmsUnacknowledged = 1;
  site.dahs[0].notPolling = true;
  site.dahs[0].lastFullRefresh = "14:05:09";
  const Page withAlarms = RenderPage(site, {Route::Kind::Overview, 0});
  EXPECT_NE(withAlarms.main.find("<p class=\"fault\">Not Polling Device(s)</p>"),
            std::string::npos);
  EXPECT_NE(withAlarms.main.find("Last full refresh: 14:05:09"), std::string::npos);
  EXPECT_NE(withAlarms.main.find("<li class=\"fault\"><span>Active alarms</span> <b>3</b></li>"
                                 "<li class=\"fault\"><span>Unacknowledged</span> <b>1</b></li>"),
            std::string::npos);
  const std::string metrics = RenderMetrics(site);
  EXPECT_NE(metrics.find("telmon_alarms_active{dahs=\"2\"} 3\n"), std::string::npos);
  EXPECT_NE(metrics.find("telmon_not_polling{dahs=\"1\"} 1\n"), std::string::npos);
  EXPECT_NE(metrics.find("telmon_alarms_unacknowledged{dahs=\"2\"} 1\n"), std::string::npos);
  EXPECT_EQ(metrics.find("telmon_alarms_active{dahs=\"1\"}"), std::string::npos);
}

TEST(ServePages, TheDocumentLoadsOnlyOurOwnScriptAndStyle) {
  const SiteSnapshot site = TwoDahs();
  const std::string doc = RenderDocument(site, RenderPage(site, {Route::Kind::Overview, 0}));
  EXPECT_NE(doc.find("<script src=\"/app.js\" defer></script>"), std::string::npos);
  EXPECT_NE(doc.find("<link rel=\"stylesheet\" href=\"/app.css\">"), std::string::npos);
  EXPECT_NE(doc.find("<main data-stream=\"/events?page=%2F\">"), std::string::npos);
  EXPECT_NE(doc.find("<a href=\"/dahs/2/devices\" class=\"down\">DAHS 2</a>"), std::string::npos);
  // Nothing inline and nothing from elsewhere.
  EXPECT_EQ(doc.find("<script>"), std::string::npos);
  EXPECT_EQ(doc.find("style="), std::string::npos);
  EXPECT_EQ(doc.find("http"), std::string::npos);
}

TEST(ServePages, TheWatchPageShowsValuesReadAndRefusesWhatTheDialogRefuses) {
  SiteSnapshot site = TwoDahs();
  site.dahs[0].watched[1216] = {"NOx <raw>", "10.5", "2026-01-01T00:00:00", true};
  const WatchQuery watch = ParseWatchIds("1216, 1217");
  ASSERT_EQ(watch.ids, (std::vector<std::int32_t>{1216, 1217}));
  const Page page = RenderPage(site, {Route::Kind::Watch, 1}, watch);
  EXPECT_EQ(page.stream, "/events?page=%2Fdahs%2F1%2Fwatch&ids=1216%2C%201217");
  EXPECT_NE(
      page.main.find("<td data-h=\"Name\">NOx &lt;raw&gt;</td><td data-h=\"Value\">10.5</td>"),
      std::string::npos);
  // Not read yet.
  EXPECT_NE(page.main.find("<tr data-key=\"1217\"><td data-h=\"Channel\">1217</td>"
                           "<td data-h=\"Name\"></td><td data-h=\"Value\">\u2026</td>"),
            std::string::npos);

  const struct {
    const char* text;
    const char* error;
  } refused[] = {{"12a", "'12a' is not valid."},
                 {"0", "'0' is not valid."},
                 {"99999999999", "Overflow"},
                 {"1-40000", "40000 channels are more than a watch list holds"}};
  for (const auto& r : refused) {
    SCOPED_TRACE(r.text);
    const WatchQuery bad = ParseWatchIds(r.text);
    EXPECT_EQ(bad.error, r.error);
    EXPECT_TRUE(bad.ids.empty());
    const Page refusedPage = RenderPage(site, {Route::Kind::Watch, 1}, bad);
    EXPECT_NE(refusedPage.main.find("<p class=\"error\">" + EscapeHtml(r.error) + "</p>"),
              std::string::npos);
    EXPECT_EQ(refusedPage.main.find("<table>"), std::string::npos);
  }
}

TEST(ServePages, EventStreamMessagesCarryEveryLine) {
  EXPECT_EQ(StreamMessage("<p>a</p>"), "event: page\ndata: <p>a</p>\n\n");
  EXPECT_EQ(StreamMessage("one\ntwo\n"), "event: page\ndata: one\ndata: two\ndata: \n\n");
}

TEST(ServeMetrics, PrometheusTextPerDahs) {
  const std::string text = RenderMetrics(TwoDahs());
  for (const char* line : {
           "# TYPE telmon_link_up gauge\ntelmon_link_up{dahs=\"1\"} 1\ntelmon_link_up{dahs=\"2\"} "
           "0\n",
           "telmon_devices{dahs=\"1\",state=\"all\"} 3\n",
           "telmon_devices{dahs=\"1\",state=\"random\"} 1\n",
           "telmon_queue_size{dahs=\"1\",queue=\"Q \\\"one\\\"\"} 4\n",
           "telmon_queue_io_failures{dahs=\"1\",queue=\"Q \\\"one\\\"\"} 2\n",
           "telmon_queue_paused{dahs=\"1\",queue=\"Q \\\"one\\\"\"} 1\n",
           "telmon_forced_channels{dahs=\"1\"} 2\n",
           "# TYPE telmon_events_received_total counter\ntelmon_events_received_total{dahs=\"1\"} "
           "77\n",
           "telmon_receive_resyncs_total{dahs=\"2\"} 0\n",
           "telmon_tick_duration_seconds 0.002500\n",
       }) {
    EXPECT_NE(text.find(line), std::string::npos) << line << "\nin\n" << text;
  }
  // Every family is declared once, before its samples.
  EXPECT_EQ(text.find("# TYPE telmon_link_up"), text.rfind("# TYPE telmon_link_up"));
  EXPECT_EQ(text.back(), '\n');
}

TEST(ServeExposure, AwayFromTheLoopbackOnlyWithTlsAndAToken) {
  const struct {
    const char* address;
    bool tls;
    bool token;
    const char* refusal;  // the start of the message; empty: allowed
    bool login = false;
  } cases[] = {
      {"127.0.0.1", false, false, ""},
      {"127.0.0.5", false, false, ""},
      {"::1", false, false, ""},
      {"localhost", false, false, ""},
      {"0.0.0.0", false, true, "refusing to serve on 0.0.0.0 without TLS"},
      {"192.168.1.20", false, false, "refusing to serve on 192.168.1.20 without TLS"},
      {"::", true, false, "refusing to serve on :: without a token or a sign-in"},
      {"10.0.0.1", true, true, ""},
      {"10.0.0.1", true, false, "", true},
      {"10.0.0.1", false, false, "refusing to serve on 10.0.0.1 without TLS", true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.address);
    ServerOptions options;
    options.address = c.address;
    if (c.tls) {
      options.certFile = "cert.pem";
      options.keyFile = "key.pem";
    }
    if (c.token) {
      options.token = "0123456789abcdef";
    }
    options.login = c.login;
    const std::string refusal = CheckExposure(options);
    if (std::string(c.refusal).empty()) {
      EXPECT_EQ(refusal, "");
    } else {
      EXPECT_EQ(refusal.rfind(c.refusal, 0), 0U) << refusal;
    }
  }
}

TEST(ServeExposure, OnTheLoopbackOnlyLoopbackNamesAreAnswered) {
  ServerOptions loopback;
  ServerOptions proxied;
  proxied.allowedHosts = {"Telmon.Site.Example"};
  ServerOptions exposed;
  exposed.address = "0.0.0.0";
  ServerOptions exposedNamed = exposed;
  exposedNamed.allowedHosts = {"telmon.site.example"};
  const struct {
    const char* host;
    bool loopback;
    bool proxied;
    bool exposed;
    bool exposedNamed;
  } cases[] = {
      {"127.0.0.1:8080", true, true, true, false},
      {"localhost:8080", true, true, true, false},
      {"LOCALHOST", true, true, true, false},
      {"[::1]:8080", true, true, true, false},
      {"127.9.9.9", true, true, true, false},
      {"attacker.example:8080", false, false, true, false},
      {"127.0.0.1.attacker.example", false, false, true, false},
      {"telmon.site.example", false, true, true, true},
      {"telmon.site.example:443", false, true, true, true},
      {"", false, false, true, false},
      {"[::1", false, false, true, false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.host);
    EXPECT_EQ(HostAllowed(c.host, loopback), c.loopback);
    EXPECT_EQ(HostAllowed(c.host, proxied), c.proxied);
    EXPECT_EQ(HostAllowed(c.host, exposed), c.exposed);
    EXPECT_EQ(HostAllowed(c.host, exposedNamed), c.exposedNamed);
  }
}

TEST(ServeCommandLineTest, ReadsOptionsAndRefusesBadOnes) {
  QTemporaryDir dir;
  const QString token = dir.filePath(QStringLiteral("token"));
  const QString shortToken = dir.filePath(QStringLiteral("short"));
  for (const auto& [file, text] :
       {std::pair{token, "  0123456789abcdefXYZ\n"}, std::pair{shortToken, "abc\n"}}) {
    QFile f(file);
    ASSERT_TRUE(f.open(QIODevice::WriteOnly));
    f.write(text);
  }
  QString error;
  const ServeCommandLine cl = ServeCommandLine::Parse(
      {QStringLiteral("telmon-serve"), QStringLiteral("--listen"), QStringLiteral("0.0.0.0"),
       QStringLiteral("--port"), QStringLiteral("9000"), QStringLiteral("--token-file"), token,
       QStringLiteral("--dahs"), QStringLiteral("2,1")},
      &error);
  EXPECT_EQ(error, QString());
  EXPECT_EQ(cl.server.address, "0.0.0.0");
  EXPECT_EQ(cl.server.port, 9000);
  EXPECT_EQ(cl.server.token, "0123456789abcdefXYZ");
  EXPECT_EQ(cl.dahsIds, (std::vector<std::int32_t>{2, 1}));

  const struct {
    QStringList args;
    QString error;
  } bad[] = {
      {{QStringLiteral("--port"), QStringLiteral("70000")},
       QStringLiteral("--port takes a number from 0 to 65535, not '70000'")},
      {{QStringLiteral("--port")}, QStringLiteral("--port needs a value")},
      {{QStringLiteral("--token-file"), shortToken},
       QStringLiteral("the token in %1 is shorter than 16 characters").arg(shortToken)},
      {{QStringLiteral("--dahs"), QStringLiteral("1,x")},
       QStringLiteral("--dahs takes DAHS numbers separated by commas, not '1,x'")},
      {{QStringLiteral("--write")}, QStringLiteral("unknown option '--write'")},
  };
  for (const auto& b : bad) {
    ServeCommandLine::Parse(QStringList{QStringLiteral("telmon-serve")} + b.args, &error);
    EXPECT_EQ(error.toStdString(), b.error.toStdString());
  }
}

TEST(ServeWatchLists, ASavedListIsFoundByItsName) {
  QTemporaryDir dir;
  QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, dir.path());
  {
    const std::unique_ptr<QSettings> settings = OpenWatchListSettings();
    WatchListStore store(*settings);
    store.Write(WatchListStore::ValueName("List|", 2), QStringLiteral("1216;1217;10007;"));
    store.Write(WatchListStore::ValueName("List|Desc", 2), QStringLiteral("U1 gases"));
    store.Write(WatchListStore::ValueName("List|Desc", 3), QStringLiteral("<empty>"));
    store.Write(WatchListStore::ValueName("List|", 3), QStringLiteral("5;"));
  }
  EXPECT_EQ(SavedWatchList("U1 gases"), std::optional<std::string>("1216,1217,10007"));
  EXPECT_EQ(SavedWatchList(" U1 gases "), std::optional<std::string>("1216,1217,10007"));
  EXPECT_EQ(SavedWatchList("<empty>"), std::nullopt);
  EXPECT_EQ(SavedWatchList("U1"), std::nullopt);
  EXPECT_EQ(SavedWatchList(""), std::nullopt);
}

TEST(ServeSettings, EveryDahsSectionOnce) {
  QTemporaryDir dir;
  const QString file = dir.filePath(QStringLiteral("Halvo5.INI"));
  QFile f(file);
  ASSERT_TRUE(f.open(QIODevice::WriteOnly));
  f.write("[Site]\nSiteID=X\n[DAHS3]\nA=1\n  [dahs1]  \n; [DAHS9]\n[DAHS3]\n[DAHSx]\n[DAHS0]\n");
  f.close();
  EXPECT_EQ(DahsSections(file), (std::vector<std::int32_t>{1, 3}));
  EXPECT_TRUE(DahsSections(dir.filePath(QStringLiteral("missing"))).empty());
}

TEST(ServeHub, AWaitingStreamWakesAtPublishAndAtStop) {
  SnapshotHub hub;
  EXPECT_EQ(hub.Current()->version, 0U);
  std::shared_ptr<const SiteSnapshot> seen;
  std::thread waiter([&] { seen = hub.WaitNewer(0, std::chrono::hours(1)); });
  SiteSnapshot site = TwoDahs();
  hub.Publish(site);
  waiter.join();
  ASSERT_EQ(seen->version, 1U);
  EXPECT_EQ(seen->dahs.size(), 2U);
  // What was published stays as it was while newer ones come.
  hub.Publish(SiteSnapshot{});
  EXPECT_EQ(seen->dahs.size(), 2U);
  EXPECT_EQ(hub.Current()->version, 2U);
  std::thread stopped([&] { seen = hub.WaitNewer(2, std::chrono::hours(1)); });
  hub.Stop();
  stopped.join();
  EXPECT_TRUE(hub.Stopped());
  EXPECT_EQ(seen->version, 2U);
}

TEST(ServeWatches, WishesExpire) {
  WatchRegistry watches;
  const auto t0 = WatchRegistry::Clock::now();
  watches.Want(1, {5, 3}, t0);
  watches.Want(1, {4}, t0 + std::chrono::seconds(20));
  watches.Want(2, {9}, t0);
  EXPECT_EQ(watches.Wanted(1, t0), (std::vector<std::int32_t>{3, 4, 5}));
  EXPECT_EQ(watches.Wanted(1, t0 + std::chrono::seconds(10)), (std::vector<std::int32_t>{4}));
  // Gone for good once expired.
  EXPECT_EQ(watches.Wanted(1, t0), (std::vector<std::int32_t>{4}));
  EXPECT_EQ(watches.Wanted(2, t0), (std::vector<std::int32_t>{9}));
  EXPECT_TRUE(watches.Wanted(3, t0).empty());
}

TEST(ServeLogin, BasicAuthorizationHeaders) {
  using Pair = std::pair<std::string, std::string>;
  const struct {
    const char* header;
    std::optional<Pair> expected;
  } cases[] = {
      {"Basic dGVjaDp0ZWNoLWRlbW8=", Pair{"tech", "tech-demo"}},
      {"Basic dGVjaDpwYXNzOndpdGg6Y29sb25z", Pair{"tech", "pass:with:colons"}},
      {"Basic dGVjaDo=", Pair{"tech", ""}},
      {"Basic OnBhc3N3b3Jk", std::nullopt},  // no account
      {"Basic bm9jb2xvbg==", std::nullopt},  // no colon
      {"Basic !!!", std::nullopt},
      {"Bearer dGVjaDp0ZWNoLWRlbW8=", std::nullopt},
      {"", std::nullopt},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.header);
    EXPECT_EQ(ParseBasicAuthorization(c.header), c.expected);
  }
}

TEST(ServeLogin, SessionsAreRandomAndExpire) {
  SessionStore sessions(std::chrono::seconds(60));
  const auto t0 = SessionStore::Clock::now();
  const std::string a = sessions.Open("tech", t0);
  const std::string b = sessions.Open("super", t0);
  EXPECT_EQ(a.size(), 64U);
  EXPECT_NE(a, b);
  EXPECT_EQ(sessions.Account(a, t0 + std::chrono::seconds(59)), "tech");
  EXPECT_EQ(sessions.Account(b, t0), "super");
  EXPECT_EQ(sessions.Account(a, t0 + std::chrono::seconds(61)), "");
  EXPECT_EQ(sessions.Account("", t0), "");
  EXPECT_EQ(sessions.Account(a.substr(1), t0), "");
}

TEST(ServeLogin, TheDeskHandsEachSignInToTheQtSideAndBack) {
  LoginDesk desk;
  std::optional<LoginOutcome> outcome;
  std::thread http([&] { outcome = desk.Ask("tech", "secret", std::chrono::seconds(20)); });
  std::vector<LoginDesk::Request> pending;
  while (pending.empty()) {
    pending = desk.TakePending();
    std::this_thread::yield();
  }
  ASSERT_EQ(pending.size(), 1U);
  EXPECT_EQ(pending[0].account, "tech");
  EXPECT_EQ(pending[0].password, "secret");
  pending[0].Answer({false, "The account name or the password is wrong."});
  http.join();
  ASSERT_TRUE(outcome);
  EXPECT_FALSE(outcome->granted);
  EXPECT_EQ(outcome->message, "The account name or the password is wrong.");
  // Unanswered: the HTTP thread gives up; closed: refused at once.
  EXPECT_FALSE(desk.Ask("tech", "x", std::chrono::milliseconds(20)));
  desk.Close();
  EXPECT_FALSE(desk.Ask("tech", "x", std::chrono::hours(1)));
}

}  // namespace
}  // namespace telmon::serve
