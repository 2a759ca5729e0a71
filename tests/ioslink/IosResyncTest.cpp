// The receive buffer's safety valve: text that can never parse is kept as long as it is small,
// and dropped up to the next event once more than the cap is pending, so the pages recover.

#include "ioslink/IosConnection.h"
#include "ioslink/IosReceiveBuffer.h"

#include "IosLinkTestPeer.h"

#include <QLocale>

#include <gtest/gtest.h>

#include <algorithm>

namespace telmon {
namespace {

using testing::FakeIos;
using testing::RecordingHandlers;
using testing::RecordingSink;

QByteArray Device(int id) {
  return QByteArrayLiteral(R"(<Event eventtype="DeviceUpdate" DeviceID=")") +
         QByteArray::number(id) + R"(" Desc="padding to look like a real row of a device"/>)";
}

// An event whose attribute quote never closes: nothing after it can parse.
const QByteArray Unclosed = R"(<Event eventtype="DeviceUpdate" DeviceID="0 Desc=x/>)";

QStringList EventsOf(const xml::XmlDocument& doc) {
  QStringList ids;
  for (xml::XmlElement e : xml::SelectNodes(doc, "//Event")) {
    ids << xml::GetAttributeText(e, "DeviceID") + xml::GetAttributeText(e, "QName");
  }
  return ids;
}

TEST(IosReceiveBufferResyncTest, DropsUpToTheNextEventAtOrAfterTheFirstFailingByte) {
  struct Case {
    const char* name;
    QByteArray text;
    qsizetype cap;
    bool resyncs;
    qsizetype dropped;
    QStringList events;
    QByteArray pending;
  };
  const QByteArray q = R"(<Event eventtype="QUpdate" QName="A"/>)";
  const QByteArray open = R"(<Event eventtype="ChannelConfigUpdate" ID="9">)";
  const std::vector<Case> cases = {
      {"at the cap nothing happens",
       Unclosed + Device(1),
       Unclosed.size() + Device(1).size(),
       false,
       0,
       {},
       Unclosed + Device(1)},
      {"unclosed quote: the next event is kept",
       Unclosed + Device(1) + Device(2) + "<Event e",
       10,
       true,
       Unclosed.size(),
       {"1", "2"},
       "<Event e"},
      {"no failing byte known: the first element goes",
       open + q + Device(3) + "<Ev",
       10,
       true,
       open.size(),
       {"A", "3"},
       "<Ev"},
      {"no event after the failure: all goes",
       Unclosed + "<Other a='1'/>",
       10,
       true,
       Unclosed.size() + 14,
       {},
       ""},
      {"a cut event start is kept", Unclosed + "<Eve", 10, true, Unclosed.size(), {}, "<Eve"},
      {"a cap of 0 never resyncs", Unclosed + Device(1), 0, false, 0, {}, Unclosed + Device(1)},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    IosReceiveBuffer buffer;
    EXPECT_FALSE(buffer.Append(c.text));
    const auto resync = buffer.Resynchronise(c.cap);
    ASSERT_EQ(resync.has_value(), c.resyncs);
    if (resync) {
      EXPECT_EQ(resync->unparsedBytes, c.text.size());
      EXPECT_EQ(resync->droppedBytes, c.dropped);
      EXPECT_EQ(EventsOf(resync->doc), c.events);
    }
    EXPECT_EQ(buffer.Pending(), c.pending);
  }
}

class IosResyncTest : public ::testing::Test {
 protected:
  void SetUp() override { QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates)); }

  void Connect(qsizetype cap) {
    IosLinkSettings s;
    s.lookupValue = [this](const QString&, const QString&) { return QString::number(ios_.Port()); };
    s.hostName = [] { return QStringLiteral("127.0.0.1"); };
    if (cap >= 0) {
      s.receiveBufferCap = cap;
    }
    connection_ = std::make_unique<IosConnection>(sink_, s);
    connection_->SetEventHandlers(&handlers_);
    connection_->ConnectToIOS();
    ASSERT_TRUE(ios_.WaitForMonitor());
    ASSERT_TRUE(QTest::qWaitFor([&] { return connection_->BytesReceivedText() == "Connected"; }));
    sink_.messages.clear();
  }

  // Sends bytes as one write, waits until the monitor has taken them in and notes how much
  // text it keeps.
  void Arrive(const QByteArray& bytes) {
    const auto target = connection_->BytesReceivedTotal() + static_cast<quint64>(bytes.size());
    ios_.Send(bytes);
    ASSERT_TRUE(QTest::qWaitFor(
        [&] {
          return connection_->BytesReceivedTotal() >= target && connection_->EventsWaiting() == 0;
        },
        60000));
    maxPending_ = std::max(maxPending_, connection_->PendingBytes());
  }

  int DevicesShown() const {
    return static_cast<int>(handlers_.calls.filter(QStringLiteral("Device:")).size());
  }

  FakeIos ios_;
  RecordingSink sink_;
  RecordingHandlers handlers_;
  std::unique_ptr<IosConnection> connection_;
  qsizetype maxPending_ = 0;
};

TEST_F(IosResyncTest, AHostileStreamStaysUnderTheCapAndLaterEventsAreShown) {
  Connect(-1);  // the default cap
  const qsizetype cap = IosLinkSettings::DefaultReceiveBufferCap;
  Arrive(Unclosed);
  // About 20 MiB of valid events in 64 KiB writes, well past the cap.
  QByteArray chunk;
  int id = 1;
  while (chunk.size() < 64 * 1024) {
    chunk += Device(id++);
  }
  const int perChunk = id - 1;
  const int chunks = 320;
  for (int i = 0; i < chunks; ++i) {
    QByteArray numbered;
    for (int k = 1; k <= perChunk; ++k) {
      numbered += Device(i * perChunk + k);
    }
    Arrive(numbered);
  }
  EXPECT_LE(maxPending_, cap + chunk.size()) << "the kept text outgrew the cap";
  EXPECT_EQ(sink_.Count(QStringLiteral("TELM-9001: ")), 1);
  // The arrivals before the resynchronisation each failed, as they always have.
  EXPECT_GE(sink_.Count(QStringLiteral("TELM-0032: ")), 100);
  // Every valid event, including the ones held back while the stream was stuck, is shown.
  EXPECT_EQ(DevicesShown(), chunks * perChunk);
  EXPECT_EQ(handlers_.calls.last(), QStringLiteral("Device:%1").arg(chunks * perChunk));
}

TEST_F(IosResyncTest, OneMessagePerResynchronisationWithTheByteCounts) {
  const qsizetype cap = 4096;
  Connect(cap);
  int id = 1;
  auto events = [&](int count) {
    QByteArray text;
    for (int k = 0; k < count; ++k) {
      text += Device(id++);
    }
    return text;
  };
  for (int round = 0; round < 2; ++round) {
    Arrive(Unclosed);
    qsizetype pending = Unclosed.size();
    int arrivals = 1;
    while (pending <= cap) {
      const QByteArray text = events(10);
      pending += text.size();
      ++arrivals;
      Arrive(text);
    }
    EXPECT_EQ(sink_.Count(QStringLiteral("TELM-0032: ")), arrivals);
    ASSERT_EQ(sink_.Count(QStringLiteral("TELM-9001: ")), 1);
    EXPECT_EQ(sink_.messages.back(),
              std::make_pair(std::int32_t{4},
                             QStringLiteral("TELM-9001: The I/O server's stream could not be "
                                            "parsed for %1 bytes; resynchronising at the next "
                                            "event (%2 bytes dropped).")
                                 .arg(QLocale().toString(pending))
                                 .arg(Unclosed.size())));
    EXPECT_EQ(DevicesShown(), id - 1);
    EXPECT_EQ(connection_->PendingBytes(), 0);
    // Valid text after the resynchronisation parses as before.
    Arrive(events(3));
    EXPECT_EQ(DevicesShown(), id - 1);
    sink_.messages.clear();
  }
}

}  // namespace
}  // namespace telmon
