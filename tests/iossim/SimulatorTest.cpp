#include "iossim/SimPlant.h"
#include "platform/SqlConnection.h"
#include "tests/iossim/SimTestClient.h"

#include <QElapsedTimer>
#include <QRegularExpression>
#include <QSqlQuery>
#include <QSqlRecord>
#include <QTcpServer>

namespace telmon::iossim::testing {
namespace {

const QByteArray FullRefresh =
    "<Command action=\"GetFullDeviceInfo\" /><Command action=\"GetFullQueueInfo\" />"
    "<Command action=\"GetFullBlockInfo\" /><Command action=\"GetIOSSettings\" />"
    "<Command action=\"GetChannelConfigInfo\" />";

class SimulatorTest : public DemoSiteTest {
 protected:
  // Rows of `sql` from DAHS 1's database, each row's columns joined with "|".
  QStringList Rows(const QString& sql) {
    SqlConnection c(QStringLiteral("sqlite:") + Path(QStringLiteral("dahs1.sqlite")),
                    OpenMode::ReadOnly);
    QString error;
    QSqlDatabase* db = c.Database(&error);
    EXPECT_NE(db, nullptr) << error.toStdString();
    QStringList rows;
    if (db == nullptr) return rows;
    QSqlQuery q(*db);
    EXPECT_TRUE(q.exec(sql));
    while (q.next()) {
      QStringList cols;
      for (int i = 0; i < q.record().count(); ++i) cols << q.value(i).toString();
      rows << cols.join(QLatin1Char('|'));
    }
    return rows;
  }

  // Sends the full refresh and waits for all of it (the channel list comes last).
  void Refresh(SimTestClient& client, int channels) {
    client.Send(FullRefresh);
    ASSERT_TRUE(client.WaitFor([&] {
      return client.Count(QStringLiteral("ChannelConfigUpdate")) >= channels &&
             client.Messages().filter(QStringLiteral("channel(s)")).size() == 1;
    })) << client.Size()
        << " events";
  }
};

TEST_F(SimulatorTest, FullRefreshMatchesTheConfiguration) {
  Simulator* sim = Start(Options(1));
  SimTestClient client;
  ASSERT_TRUE(client.Connect(sim->Port()));
  const QStringList channels = Rows(QStringLiteral(
      "SELECT channelid, name, deviceid, blockid, address, scaling, otherinfo, datasource, "
      "oscillationmin, oscillationmax, oscillationperiod FROM H5IOCHANNEL WHERE dahsid = 1 "
      "ORDER BY channelid"));
  ASSERT_GT(channels.size(), 200);
  Refresh(client, static_cast<int>(channels.size()));

  const auto devices = client.OfType(QStringLiteral("DeviceUpdate"));
  EXPECT_EQ(devices.size(),
            static_cast<std::size_t>(Rows(QStringLiteral("SELECT deviceid FROM H5IODEVICE WHERE "
                                                         "dahsid = 1"))
                                         .size()));
  for (const SimEvent& d : devices) {
    for (const char* attr : {"DeviceID", "DeviceName", "DriverName", "PLCType", "Connection",
                             "PortName", "WatchdogTimeout", "WatchdogStatusStr", "WatchdogStatusOk",
                             "GenerateRandomValues", "FailoverStatus"}) {
      EXPECT_TRUE(d.attrs.contains(QLatin1String(attr))) << attr << " in " << d.xml.toStdString();
    }
  }
  EXPECT_EQ(client.Count(QStringLiteral("QUpdate")), 3);
  EXPECT_EQ(client.Count(QStringLiteral("BlockUpdate")), 12);
  EXPECT_EQ(client.Count(QStringLiteral("IOSSettingsUpdate")), 1);
  ASSERT_EQ(client.Count(QStringLiteral("ChannelConfigFullUpdate")), 1);

  QStringList sent;
  for (const SimEvent& c : client.OfType(QStringLiteral("ChannelConfigUpdate"))) {
    QStringList cols;
    for (const char* a : {"ID", "Name", "DeviceID", "BlockID", "Address", "Scaling", "OtherInfo",
                          "DataSource", "OscillationMin", "OscillationMax", "OscillationPeriod"}) {
      cols << c.Attr(a);
    }
    sent << cols.join(QLatin1Char('|'));
  }
  EXPECT_EQ(sent, channels);
  const SimEvent* flow =
      client.Find(QStringLiteral("ChannelConfigUpdate"), "Name", QStringLiteral("U1 Stack Flow"));
  ASSERT_NE(flow, nullptr);
  EXPECT_TRUE(flow->xml.contains("<Limits Low=\"0\" High=\"1500\" Units=\"kscfh\"/></Event>"));
}

TEST_F(SimulatorTest, DeviceCommandsChangeStateForEveryMonitor) {
  Simulator* sim = Start(Options(1));
  SimTestClient a;
  SimTestClient b;
  ASSERT_TRUE(a.Connect(sim->Port()));
  ASSERT_TRUE(b.Connect(sim->Port()));
  ASSERT_TRUE(a.WaitFor([&] { return sim->ClientCount() == 2; }));

  a.Send("<Command action=\"SetDeviceToRandomMode\" id=\"1\" value=\"1\"/>");
  const auto randomOn = [](const SimTestClient& c) {
    const SimEvent* e = c.FindLast(QStringLiteral("DeviceUpdate"), "DeviceID", QStringLiteral("1"));
    return e != nullptr && e->Attr("GenerateRandomValues") == QLatin1String("True");
  };
  ASSERT_TRUE(b.WaitFor([&] { return randomOn(a) && randomOn(b); }));
  ASSERT_TRUE(a.WaitFor([&] { return !a.Messages().filter("random").isEmpty(); }));
  const QString answer = QStringLiteral("1:device 1 (U1 Process PLC) now generates random values");
  EXPECT_TRUE(a.Messages().contains(answer));
  EXPECT_FALSE(b.Messages().contains(answer)) << "the answer goes to the monitor that asked";

  std::size_t mark = a.Size();
  a.Send("<Command action=\"DoFailover\" id=\"2\"/>");
  ASSERT_TRUE(a.WaitFor([&] { return !a.Messages(mark).filter("Failed over").isEmpty(); }));
  const SimEvent* two =
      a.Find(QStringLiteral("DeviceUpdate"), "DeviceID", QStringLiteral("2"), mark);
  const SimEvent* three =
      a.Find(QStringLiteral("DeviceUpdate"), "DeviceID", QStringLiteral("3"), mark);
  ASSERT_TRUE(two != nullptr && three != nullptr);
  EXPECT_TRUE(two->Attr("FailoverStatus").startsWith(QStringLiteral("Standby")));
  EXPECT_TRUE(three->Attr("FailoverStatus").startsWith(QStringLiteral("Active")));

  mark = a.Size();
  a.Send(
      "<Command action=\"DoFailover\" id=\"1\"/><Command action=\"EraseHDRForDevice\" "
      "id=\"1\"/><Command action=\"SetDeviceClock\" id=\"6\"/><Command "
      "action=\"SetDeviceIPAddress\" id=\"4\" value=\"10.0.0.300\"/><Command "
      "action=\"SetDeviceToRandomMode\" id=\"*\" value=\"yes\"/>");
  ASSERT_TRUE(a.WaitFor([&] {
    return a.Messages(mark).filter(QRegularExpression("^4:")).size() == 5;
  })) << a.Messages(mark).join('\n').toStdString();

  a.Send("<Command action=\"SetDeviceToRandomMode\" id=\"*\" value=\"0\"/>");
  ASSERT_TRUE(b.WaitFor([&] { return !randomOn(b); }));
  ASSERT_TRUE(a.WaitFor(
      [&] { return a.Messages().contains(QStringLiteral("1:All 7 devices are polled again")); }));
}

TEST_F(SimulatorTest, BadCommandsGetAnErrorMessageAndTheLinkGoesOn) {
  Simulator* sim = Start(Options(1));
  SimTestClient c;
  ASSERT_TRUE(c.Connect(sim->Port()));
  c.Send(
      "<Command action=\"MakeCoffee\"/>garbage<Command action=\"SetURP\" value=\"x\"/>"
      "<Cmd/><Command action=\"WriteToChannel\" id=\"1\" value=\"2\" />"
      "<Command action=\"SetLogLevel\" value=\"2\"/><Command action=\"GetIOSSettings\" />");
  ASSERT_TRUE(c.WaitFor([&] { return c.Messages().size() == 7; }))
      << c.Messages().join("\n").toStdString();
  const QStringList m = c.Messages();
  EXPECT_EQ(m[0], QStringLiteral("4:Unknown command action 'MakeCoffee' ignored"));
  EXPECT_EQ(m[1], QStringLiteral("4:Text outside any command ignored: garbage"));
  EXPECT_EQ(m[2], QStringLiteral("4:Command SetURP needs a numeric value (got 'x')"));
  EXPECT_EQ(m[3], QStringLiteral("4:Element <Cmd> is not a command; ignored"));
  EXPECT_TRUE(m[4].startsWith(QStringLiteral("4:WriteToChannel")));
  EXPECT_EQ(m[5], QStringLiteral("1:Log level set to 2"));
  const auto settings = c.OfType(QStringLiteral("IOSSettingsUpdate"));
  ASSERT_EQ(settings.size(), 2u);  // the change itself, then the answer to the request
  EXPECT_EQ(settings.back().Attr("LogLevel"), QStringLiteral("2"));
}

// The same request through a plain, a split and a packed output gives the same events.
TEST_F(SimulatorTest, SplitAndPackedOutputDeliverTheSameEvents) {
  QList<QByteArray> reference;
  for (const char* mode : {"plain", "split", "pack"}) {
    SimOptions o = Options(2);
    o.faults.splitEvents = QByteArray(mode) == "split";
    o.faults.pack = QByteArray(mode) == "pack";
    Simulator* sim = Start(o);
    SimTestClient c;
    ASSERT_TRUE(c.Connect(sim->Port()));
    c.Send("<Command action=\"GetChannelConfigInfo\" />");
    // The split output sends byte by byte: slow under the sanitizers on a busy machine.
    ASSERT_TRUE(c.WaitFor([&] { return !c.Messages().filter("channel(s)").isEmpty(); }, 90000))
        << mode;
    QList<QByteArray> events;
    for (const SimEvent& e : c.OfType(QStringLiteral("ChannelConfigUpdate"))) events << e.xml;
    EXPECT_TRUE(c.Junk().isEmpty()) << mode;
    if (reference.isEmpty()) {
      reference = events;
      ASSERT_GT(reference.size(), 200);
    } else {
      EXPECT_EQ(events, reference) << mode;
    }
    if (o.faults.splitEvents) {
      EXPECT_GT(c.Reads(), 100) << "the pieces arrive one by one";
    }
  }
}

TEST_F(SimulatorTest, CloseAfterAByteCountAndInjectedEvents) {
  SimOptions o = Options(2);
  o.faults.closeAfterBytes = 1000;
  Simulator* sim = Start(o);
  SimTestClient c;
  ASSERT_TRUE(c.Connect(sim->Port()));
  c.Send("<Command action=\"GetChannelConfigInfo\" />");
  ASSERT_TRUE(c.WaitFor([&] { return c.Socket().state() == QAbstractSocket::UnconnectedState; }));
  EXPECT_EQ(c.Received().size(), 1000);

  SimOptions chaos = Options(2);
  chaos.sendUnknown = chaos.sendGarbage = true;
  chaos.chaosIntervalMs = 20;
  Simulator* noisy = Start(chaos);
  SimTestClient n;
  ASSERT_TRUE(n.Connect(noisy->Port()));
  // The garbage may well stop this client's framing for good; the bytes tell what was sent.
  ASSERT_TRUE(n.WaitFor([&] {
    return n.Received().contains("eventtype=\"AlarmUpdate\"") &&
           n.Received().contains("eventtype=\"message\"") && n.Received().contains("not XML");
  }));
}

TEST_F(SimulatorTest, UrpIsKeptInTheSiteLookupsRidOnlyInMemory) {
  Simulator* sim = Start(Options(1));
  SimTestClient c;
  ASSERT_TRUE(c.Connect(sim->Port()));
  c.Send("<Command action=\"SetURP\" value=\"3\"/><Command action=\"SetRID\" value=\"40\"/>");
  ASSERT_TRUE(c.WaitFor([&] { return c.Count(QStringLiteral("IOSSettingsUpdate")) == 2; }));
  EXPECT_EQ(c.OfType(QStringLiteral("IOSSettingsUpdate")).back().Attr("RID"), QStringLiteral("40"));
  EXPECT_EQ(Rows(QStringLiteral("SELECT lookupvalue FROM H5LOOKUP WHERE lookupkey = "
                                "'IOS:UnscheduledRequestPriority'")),
            QStringList{QStringLiteral("3")});
  sims_.clear();
  Simulator* restarted = Start(Options(1));
  SimTestClient d;
  ASSERT_TRUE(d.Connect(restarted->Port()));
  d.Send("<Command action=\"GetIOSSettings\" />");
  ASSERT_TRUE(d.WaitFor([&] { return d.Count(QStringLiteral("IOSSettingsUpdate")) == 1; }));
  const SimEvent s = d.OfType(QStringLiteral("IOSSettingsUpdate")).front();
  EXPECT_EQ(s.Attr("URP"), QStringLiteral("3"));
  EXPECT_EQ(s.Attr("RID"), QStringLiteral("0"));
}

TEST_F(SimulatorTest, ExtraEventRateAndStalledOutput) {
  SimOptions o = Options(2);
  o.eventRate = 400;
  Simulator* busy = Start(o);
  SimTestClient c;
  ASSERT_TRUE(c.Connect(busy->Port()));
  QElapsedTimer t;
  t.start();
  ASSERT_TRUE(c.WaitFor([&] { return c.Size() >= 400; }, 5000));
  EXPECT_GE(t.elapsed(), 700) << "the rate is per second, not a burst";

  SimOptions slow = Options(2);
  slow.faults.stallMs = 250;
  Simulator* stalled = Start(slow);
  SimTestClient s;
  ASSERT_TRUE(s.Connect(stalled->Port()));
  t.restart();
  s.Send("<Command action=\"GetIOSSettings\" /><Command action=\"GetIOSSettings\" />");
  ASSERT_TRUE(s.WaitFor([&] { return s.Count(QStringLiteral("IOSSettingsUpdate")) == 2; }));
  EXPECT_GE(t.elapsed(), 2 * 250) << "four writes with a pause after each";
}

TEST_F(SimulatorTest, PortComesFromTheLookupPlusTheDahsNumber) {
  QTcpServer probe;
  ASSERT_TRUE(probe.listen(QHostAddress::LocalHost, 0));
  const quint16 base = probe.serverPort();
  probe.close();
  {
    SqlConnection c(QStringLiteral("sqlite:") + Path(QStringLiteral("dahs2.sqlite")),
                    OpenMode::ReadWrite);
    QString error;
    QSqlQuery q(*c.Database(&error));
    ASSERT_TRUE(q.exec(QStringLiteral("UPDATE H5LOOKUP SET lookupvalue = '%1' WHERE lookupkey = "
                                      "'IOS:TcpListenPortForMonitorConnections'")
                           .arg(base - 1)));
  }
  SimOptions o = Options(2);
  o.port.reset();
  Simulator* sim = Start(o);
  EXPECT_EQ(sim->Port(), base);
  EXPECT_EQ(sim->ListenText(), QStringLiteral("127.0.0.1:%1").arg(base));
}

TEST_F(SimulatorTest, StartFailsClearlyWithoutASite) {
  SimOptions o = Options(1);
  o.settingsSource = Path(QStringLiteral("nowhere"));
  Simulator sim(o, clock_);
  QString error;
  EXPECT_FALSE(sim.Start(&error));
  EXPECT_TRUE(error.contains(QStringLiteral("does not exist"))) << error.toStdString();
  o = Options(3);
  Simulator noDahs(o, clock_);
  EXPECT_FALSE(noDahs.Start(&error));
  EXPECT_TRUE(error.contains(QStringLiteral("DAHS3"))) << error.toStdString();
}

}  // namespace
}  // namespace telmon::iossim::testing
