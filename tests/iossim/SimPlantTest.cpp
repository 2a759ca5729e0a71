#include "iossim/DemoSitePlant.h"
#include "iossim/SimPlant.h"
#include "iossim/SimValues.h"
#include "util/Clock.h"

#include <gtest/gtest.h>
#include <QRegularExpression>
#include <QSignalSpy>

#include <algorithm>

namespace telmon::iossim {
namespace {

// Unit 1 of the demo: device 6 (the ammonia analyzer) never answers; devices 2 and 3 are a
// redundant pair; the stack flow is polled through block 110.
class PlantTest : public ::testing::Test {
 protected:
  PlantTest() : plant_(config_, clock_, 7) {
    connect_ = QObject::connect(&plant_, &SimPlant::Broadcast, &plant_,
                                [this](const QList<QByteArray>& e) { broadcast_ << e; });
  }

  void Run(int ms) {
    for (int t = SimPlant::TickMs; t <= ms; t += SimPlant::TickMs) {
      clock_.Advance(SimPlant::TickMs);
      plant_.Tick();
      if (t % 1000 == 0 || t == ms) {
        plant_.PublishChanges();
      }
    }
  }

  // IOID of the unit 1 channel with that name.
  QString Ioid(const char* name) const {
    for (const ChannelConfig& ch : config_.channels) {
      if (ch.name == QStringLiteral("U1 ") + QLatin1String(name))
        return QString::number(ch.id) + 'C';
    }
    ADD_FAILURE() << "no channel " << name;
    return {};
  }
  int Id(const char* name) const { return Ioid(name).chopped(1).toInt(); }

  // A copy, so that a snapshot taken in the same expression may go.
  std::optional<RealtimePoint> Point(const std::vector<RealtimePoint>& points,
                                     const QString& ioid) {
    const auto it = std::find_if(points.begin(), points.end(),
                                 [&](const RealtimePoint& p) { return p.ioid == ioid; });
    if (it == points.end()) return std::nullopt;
    return *it;
  }

  QStringList BroadcastWith(const QByteArray& needle) const {
    QStringList out;
    for (const QByteArray& e : broadcast_) {
      if (e.contains(needle)) out << QString::fromLatin1(e);
    }
    return out;
  }

  ManualClock clock_;
  SimConfig config_ = DemoUnitConfig(1);
  SimPlant plant_;
  QList<QByteArray> broadcast_;
  QMetaObject::Connection connect_;
};

TEST_F(PlantTest, FaultyDeviceFailsItsBlockPausesItsQueueAndTimesOut) {
  Run(4000);
  EXPECT_TRUE(plant_.AllCommsOk()) << "within the watchdog time nobody is late yet";
  Run(8000);
  EXPECT_FALSE(plant_.AllCommsOk());
  const QStringList device6 = BroadcastWith("DeviceID=\"6\" DeviceName");
  ASSERT_FALSE(device6.isEmpty());
  EXPECT_TRUE(device6.last().contains("WatchdogStatusOk=\"False\""))
      << device6.last().toStdString();
  EXPECT_TRUE(device6.last().contains("Timed out")) << device6.last().toStdString();
  EXPECT_FALSE(device6.last().contains("RecentClock")) << "a silent device has no clock reading";
  const QStringList block111 = BroadcastWith("BlockID=\"111\"");
  ASSERT_FALSE(block111.isEmpty());
  EXPECT_FALSE(block111.last().contains("FailCount=\"0\""));
  EXPECT_FALSE(BroadcastWith("QName=\"ModbusTCP ETH2\"").filter("IsPaused=\"True\"").isEmpty());
  EXPECT_FALSE(BroadcastWith("IOFailureCount=\"0\"").isEmpty()) << "healthy queues stay at 0";
  // Random values stand in for the missing device, but that is no polling either.
  EXPECT_TRUE(plant_.SetRandomMode(6, true).ok);
  Run(500);
  EXPECT_TRUE(
      BroadcastWith("DeviceID=\"6\" DeviceName").last().contains("WatchdogStatusOk=\"True\""));
  EXPECT_FALSE(plant_.AllCommsOk());
}

TEST_F(PlantTest, PolledChannelsMoveWithTheirBlockAndRandomModeFillsTheRange) {
  Run(3000);
  auto points = plant_.RealtimeSnapshot();
  const auto flow = Point(points, Ioid("Stack Flow"));
  ASSERT_TRUE(flow.has_value());
  ASSERT_TRUE(flow->numeric.has_value());
  EXPECT_GT(*flow->numeric, 300.0);
  EXPECT_LT(*flow->numeric, 1500.0);
  EXPECT_EQ(Point(points, QStringLiteral("IOS.AllCommsOk"))->numeric, 1.0);
  const QDateTime polledAt = flow->stamp;
  EXPECT_TRUE(plant_.SetRandomMode(5, true).ok);  // the flow monitor
  Run(1000);
  points = plant_.RealtimeSnapshot();
  EXPECT_GT(Point(points, Ioid("Stack Flow"))->stamp, polledAt);
  EXPECT_FALSE(
      BroadcastWith("DeviceID=\"5\" DeviceName").filter("GenerateRandomValues=\"True\"").isEmpty());
  EXPECT_FALSE(
      BroadcastWith("BlockID=\"110\"").filter("DeviceIsGenRandomValues=\"True\"").isEmpty());
  EXPECT_FALSE(plant_.SetRandomMode(99, true).ok);
}

TEST_F(PlantTest, TriangleWaveAndForcedValues) {
  const int wave = Id("Test SO2 Wave 1");
  const int forced = Id("Test NOx Forced 1");
  const auto r =
      plant_.ForceChannel(wave, QStringLiteral("0"), QStringLiteral("TriangleWave"),
                          QStringLiteral("0"), QStringLiteral("100"), QStringLiteral("10"));
  ASSERT_TRUE(r.ok) << r.message.toStdString();
  std::vector<double> seen;
  for (int i = 0; i < 4; ++i) {
    seen.push_back(*Point(plant_.RealtimeSnapshot(), Ioid("Test SO2 Wave 1"))->numeric);
    clock_.Advance(5000);
  }
  EXPECT_EQ(seen, (std::vector<double>{0, 50, 100, 50}));
  EXPECT_TRUE(plant_.ForceChannel(forced, QString(), QStringLiteral("ForcedValue"), {}, {}, {}).ok);
  const auto nullValue = Point(plant_.RealtimeSnapshot(), Ioid("Test NOx Forced 1"));
  EXPECT_FALSE(nullValue->numeric.has_value());
  EXPECT_EQ(nullValue->text, QString());
  EXPECT_TRUE(
      plant_.ForceChannel(forced, QStringLiteral("abc"), QStringLiteral("ForcedValue"), {}, {}, {})
          .ok);
  EXPECT_EQ(Point(plant_.RealtimeSnapshot(), Ioid("Test NOx Forced 1"))->text,
            QStringLiteral("abc"));
  EXPECT_FALSE(plant_
                   .ForceChannel(Id("Stack Flow"), QStringLiteral("5"),
                                 QStringLiteral("ForcedValue"), {}, {}, {})
                   .ok)
      << "a polled channel cannot be forced";
  EXPECT_FALSE(plant_
                   .ForceChannel(wave, QStringLiteral("5"), QStringLiteral("TriangleWave"),
                                 QStringLiteral("0"), QStringLiteral("x"), QStringLiteral("1"))
                   .ok);
  Run(20000);
  EXPECT_EQ(BroadcastWith("DataSource=\"Calculated\"").size(), 0)
      << "without a hold, forced channels stay forced";
}

// With a hold of 10 s, the configured test channels go back to the plant 10 s after the start,
// a forced one 10 s after it was last forced (by command or write), and a write forces a
// released channel again as it was configured.
TEST_F(PlantTest, ForcedChannelsGoBackToThePlantAfterTheHold) {
  plant_.ReleaseForcedAfter(10000);
  const int forced = Id("Test NOx Forced 1");
  const int wave = Id("Test SO2 Wave 1");
  const auto updates = [&](int id) {
    return BroadcastWith(QStringLiteral("ID=\"%1\" Name").arg(id).toLatin1());
  };
  const auto source = [&](int id) {
    static const QRegularExpression re(QStringLiteral(R"re(DataSource="([^"]*)")re"));
    const QStringList all = updates(id);
    return all.isEmpty() ? QString() : re.match(all.last()).captured(1);
  };
  const auto value = [&](const char* name) {
    return Point(plant_.RealtimeSnapshot(), Ioid(name))->numeric;
  };
  Run(5000);
  EXPECT_TRUE(
      plant_.ForceChannel(forced, QStringLiteral("7"), QStringLiteral("ForcedValue"), {}, {}, {})
          .ok);
  Run(6000);
  EXPECT_EQ(source(wave), QStringLiteral("Calculated"));
  EXPECT_EQ(source(forced), QStringLiteral("ForcedValue"));
  EXPECT_EQ(plant_.QueueWrite(1, forced, QStringLiteral("8")), QStringLiteral("OK"));
  Run(9000);
  EXPECT_EQ(value("Test NOx Forced 1"), 8.0) << "the write restarted the hold";
  Run(1000);
  EXPECT_EQ(source(forced), QStringLiteral("Calculated"));
  EXPECT_NE(value("Test NOx Forced 1"), 8.0) << "the value comes from the plant again";

  EXPECT_EQ(plant_.QueueWrite(2, forced, QStringLiteral("9.5")), QStringLiteral("OK"));
  EXPECT_EQ(source(forced), QStringLiteral("ForcedValue"));
  EXPECT_EQ(value("Test NOx Forced 1"), 9.5);
  EXPECT_EQ(plant_.QueueWrite(3, wave, QStringLiteral("1")),
            QStringLiteral("OK; channel %1 follows its triangle wave").arg(wave));
  EXPECT_TRUE(updates(wave).last().contains(
      R"(DataSource="TriangleWave" OscillationMin="0" OscillationMax="100" OscillationPeriod="30")"))
      << updates(wave).last().toStdString();
  Run(10000);
  EXPECT_EQ(source(forced), QStringLiteral("Calculated"));
  EXPECT_EQ(source(wave), QStringLiteral("Calculated"));
  EXPECT_EQ(updates(forced).size(), 4) << "forced, released, forced again, released";
}

TEST_F(PlantTest, WritesGoThroughTheQueueAndALaterWriteCancelsAnEarlierOne) {
  QSignalSpy finished(&plant_, &SimPlant::WriteFinished);
  const int mc = Id("Stack NOx MC60");  // block 105 of the CEMS controller
  EXPECT_EQ(plant_.QueueWrite(1, mc, QStringLiteral("13")), std::nullopt);
  EXPECT_EQ(plant_.QueueWrite(2, mc, QStringLiteral("14")), std::nullopt);
  ASSERT_EQ(finished.size(), 1);
  EXPECT_EQ(finished[0][0].toLongLong(), 1);
  EXPECT_TRUE(finished[0][1].toString().startsWith("Cancelled"));
  Run(500);
  ASSERT_EQ(finished.size(), 2);
  EXPECT_EQ(finished[1][1].toString(), QStringLiteral("OK"));
  EXPECT_EQ(Point(plant_.RealtimeSnapshot(), Ioid("Stack NOx MC60"))->numeric, 14.0);
  EXPECT_FALSE(
      BroadcastWith("QName=\"ModbusTCP ETH1\"").filter("DupWriteCancelCount=\"1\"").isEmpty());
  EXPECT_TRUE(plant_.QueueWrite(3, 9999, QStringLiteral("1"))->startsWith("Failed"));
  // The NH3 analyzer's mode code (device 6) cannot be written: the device does not answer.
  EXPECT_EQ(plant_.QueueWrite(4, Id("Stack NH3 MC60"), QStringLiteral("1")), std::nullopt);
  Run(6000);
  ASSERT_EQ(finished.size(), 3);
  EXPECT_TRUE(finished[2][1].toString().startsWith("Failed"))
      << finished[2][1].toString().toStdString();
}

TEST_F(PlantTest, RefreshAllDataRunsFromStartToFinish) {
  Run(6000);
  EXPECT_FALSE(plant_.RefreshInProgress()) << "the start-up read finished";
  EXPECT_TRUE(plant_.RefreshAllData().ok);
  EXPECT_TRUE(plant_.RefreshInProgress());
  const QString during =
      Point(plant_.RealtimeSnapshot(), QStringLiteral("IOS.AllDataRefreshed"))->text;
  EXPECT_TRUE(during.endsWith(QStringLiteral("Finish=\"\"/>"))) << during.toStdString();
  Run(7000);
  EXPECT_FALSE(plant_.RefreshInProgress());
  const QString after =
      Point(plant_.RealtimeSnapshot(), QStringLiteral("IOS.AllDataRefreshed"))->text;
  EXPECT_TRUE(after.contains(QRegularExpression(
      R"(^<AllDataRefreshed Start="\d{4}-\d\d-\d\d \d\d:\d\d:\d\d" Finish="\d{4}-\d\d-\d\d \d\d:\d\d:\d\d"/>$)")))
      << after.toStdString();
  EXPECT_FALSE(BroadcastWith("All data refreshed").isEmpty());
}

TEST_F(PlantTest, ServerSettingsAndCounters) {
  Run(2000);
  EXPECT_FALSE(plant_.SetLogLevel(3).ok);
  EXPECT_TRUE(plant_.SetLogLevel(-1).ok);
  EXPECT_EQ(plant_.ResetLog().message, QStringLiteral("IOS log stopped"));
  EXPECT_FALSE(plant_.Settings().logActive);
  EXPECT_EQ(plant_.ResetLog().message, QStringLiteral("IOS log started"));
  const OpResult rid = plant_.SetRid(5);
  EXPECT_TRUE(rid.ok);
  EXPECT_EQ(rid.msgType, 2);
  EXPECT_EQ(plant_.Settings().ridMs, 10);
  EXPECT_FALSE(plant_.SetUrp(0).ok);
  EXPECT_TRUE(plant_.SetUrp(4).ok);
  EXPECT_EQ(
      plant_.SettingsInfo(),
      QByteArray("<Event eventtype=\"IOSSettingsUpdate\" LogLevel=\"-1\" IsLogActive=\"True\" "
                 "URP=\"4\" RID=\"10\"/>"));
  broadcast_.clear();
  EXPECT_TRUE(plant_.ResetQueueCounters().ok);
  EXPECT_EQ(broadcast_.size(), 3);
  for (const QByteArray& q : broadcast_) {
    EXPECT_TRUE(q.contains("RequestsServiced=\"0\" IOSuccessCount=\"0\" IOFailureCount=\"0\""))
        << q.toStdString();
  }
}

TEST(SimValues, TriangleWaveAndPlainNumbers) {
  EXPECT_EQ(TriangleWave(10, 20, 4, 0), 10);
  EXPECT_EQ(TriangleWave(10, 20, 4, 2), 15);
  EXPECT_EQ(TriangleWave(10, 20, 4, 4), 20);
  EXPECT_EQ(TriangleWave(10, 20, 4, 7), 12.5);
  EXPECT_EQ(TriangleWave(10, 20, 4, 8), 10);
  EXPECT_EQ(TriangleWave(10, 20, 0, 3), 10);
  EXPECT_EQ(PlainNumber(12.5), QStringLiteral("12.5"));
  EXPECT_EQ(PlainNumber(1500), QStringLiteral("1500"));
  EXPECT_EQ(PlainNumber(0.001), QStringLiteral("0.001"));
  EXPECT_EQ(PlainNumber(-0.0000001), QStringLiteral("0"));
  EXPECT_EQ(PlainNumber(1e20), QStringLiteral("100000000000000000000"));
}

}  // namespace
}  // namespace telmon::iossim
