// Throughput of the receive path. 100,000 mixed update events travel from a peer socket over
// the loopback interface in 64 KiB writes and are framed, parsed and dispatched to handlers
// that do nothing; the baseline is one bare libxml2 parse of the same bytes in the same run.
// Two framing cases that would be quadratic without the structure scanner are measured against
// a single parse of the same text: one 20 MB event arriving in 64 KiB pieces, and a stream
// arriving one byte at a time.

#include "bench/support/BenchProgram.h"
#include "bench/support/StandIns.h"
#include "ioslink/IosConnection.h"
#include "ioslink/IosReceiveBuffer.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTcpServer>
#include <QTcpSocket>

#include <benchmark/benchmark.h>
#include <libxml/parser.h>

namespace telmon {
namespace {

constexpr int EventCount = 100000;
constexpr qsizetype ChunkSize = 64 * 1024;

QByteArray MixedEvent(int i) {
  switch (i % 5) {
    case 0:
      return QStringLiteral(
                 R"(<Event eventtype="DeviceUpdate" DeviceID="%1" Name="PLC-%1 Stack Analyzer" )"
                 R"(IPAddress="10.20.1.%2" Status="Polling" PollCount="%3" ErrorCount="0"/>)")
          .arg(i)
          .arg(i % 250)
          .arg(i * 37)
          .toLatin1();
    case 1:
      return QStringLiteral(
                 R"(<Event eventtype="QUpdate" QName="Queue %1" Requests="%2" Responses="%2" )"
                 R"(Timeouts="0" AvgResponseMsec="12.25" Pending="1"/>)")
          .arg(i % 40)
          .arg(i * 11)
          .toLatin1();
    case 2:
      return QStringLiteral(
                 R"(<Event eventtype="BlockUpdate" BlockID="%1" DeviceID="%2" Address="40001" )"
                 R"(Length="64" Enabled="-1" LastReadTime="2024-03-14 07:08:09" ReadCount="%3"/>)")
          .arg(i)
          .arg(i % 40)
          .arg(i * 3)
          .toLatin1();
    case 3:
      return QStringLiteral(
                 R"(<Event eventtype="ChannelConfigUpdate" ID="%1" Name="Stack %2 NOx" )"
                 R"(BlockID="%2" Offset="3" DataSource="PLC" Units="ppm" Decimals="1"/>)")
          .arg(i)
          .arg(i % 300)
          .toLatin1();
    default:
      return QStringLiteral(
                 R"(<Event eventtype="Message" MsgType="1" Desc="Device %1 answered after retry"/>)")
          .arg(i % 40)
          .toLatin1();
  }
}

const QByteArray& MixedStream() {
  static const QByteArray stream = [] {
    QByteArray s;
    for (int i = 0; i < EventCount; ++i) s += MixedEvent(i);
    return s;
  }();
  return stream;
}

struct CountingHandlers final : IIosEventHandlers {
  std::int64_t events = 0;
  void OnDeviceUpdate(xml::XmlElement) override { ++events; }
  void OnQueueUpdate(xml::XmlElement) override { ++events; }
  void OnBlockUpdate(xml::XmlElement) override { ++events; }
  void OnChannelConfigFullUpdate() override { ++events; }
  void OnChannelConfigUpdate(xml::XmlElement) override { ++events; }
  void OnChannelConfigBurstEnd() override {}
  void OnIOSSettingsUpdate(xml::XmlElement) override { ++events; }
  void OnMessageEvent(std::int32_t, const QString&) override { ++events; }
};

bool WaitFor(const std::function<bool()>& done, int timeoutMs = 60000) {
  QElapsedTimer timer;
  timer.start();
  while (!done()) {
    if (timer.elapsed() > timeoutMs) return false;
    QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
  }
  return true;
}

void BM_LoopbackToDispatch(benchmark::State& state) {
  const QByteArray& stream = MixedStream();
  QTcpServer server;
  server.listen(QHostAddress::LocalHost, 0);
  bench::QuietSink sink;
  CountingHandlers handlers;
  IosLinkSettings settings;
  settings.lookupValue = [&](const QString&, const QString&) {
    return QString::number(server.serverPort());
  };
  settings.hostName = [] { return QStringLiteral("127.0.0.1"); };
  IosConnection link(sink, settings);
  link.SetEventHandlers(&handlers);
  link.ConnectToIOS();
  if (!WaitFor([&] { return server.hasPendingConnections(); })) {
    state.SkipWithError("no connection");
    return;
  }
  QTcpSocket* peer = server.nextPendingConnection();
  WaitFor([&] { return link.SocketState() == QAbstractSocket::ConnectedState; });
  for (auto _ : state) {
    const std::int64_t target = handlers.events + EventCount;
    for (qsizetype at = 0; at < stream.size(); at += ChunkSize) {
      peer->write(stream.mid(at, ChunkSize));
    }
    if (!WaitFor([&] { return handlers.events >= target; })) {
      state.SkipWithError("events lost");
      return;
    }
  }
  state.SetItemsProcessed(state.iterations() * EventCount);
  state.SetBytesProcessed(state.iterations() * stream.size());
  state.counters["parse_failures"] = static_cast<double>(sink.count);
}
BENCHMARK(BM_LoopbackToDispatch)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_FramingAndDispatchIn64KiBChunks(benchmark::State& state) {
  const QByteArray& stream = MixedStream();
  bench::QuietSink sink;
  CountingHandlers handlers;
  for (auto _ : state) {
    IosReceiveBuffer buffer;
    for (qsizetype at = 0; at < stream.size(); at += ChunkSize) {
      if (const xml::XmlDocument doc = buffer.Append(stream.mid(at, ChunkSize))) {
        for (xml::XmlElement e : xml::SelectNodes(doc, "//Event")) {
          benchmark::DoNotOptimize(e);
          ++handlers.events;
        }
      }
    }
  }
  state.SetItemsProcessed(state.iterations() * EventCount);
}
BENCHMARK(BM_FramingAndDispatchIn64KiBChunks)->Unit(benchmark::kMillisecond);

// Baseline: libxml2 alone parsing the same bytes once, wrapped in one root element.
void BM_BareLibxml2Parse(benchmark::State& state) {
  const QByteArray wrapped = "<Z>" + MixedStream() + "</Z>";
  for (auto _ : state) {
    xmlDoc* doc = xmlReadMemory(wrapped.constData(), static_cast<int>(wrapped.size()), nullptr,
                                "UTF-8", XML_PARSE_NONET | XML_PARSE_NOBLANKS);
    benchmark::DoNotOptimize(doc);
    xmlFreeDoc(doc);
  }
  state.SetItemsProcessed(state.iterations() * EventCount);
}
BENCHMARK(BM_BareLibxml2Parse)->Unit(benchmark::kMillisecond);

QByteArray LargeEvent(qsizetype size) {
  QByteArray big = R"(<Event eventtype="ChannelConfigUpdate" ID="1">)";
  const QByteArray child = R"(<Chan ID="123456" Name="Stack 1 NOx corrected" Units="lb/hr"/>)";
  big.reserve(size + 100);
  while (big.size() < size) big += child;
  return big + "</Event>";
}

void BM_TwentyMegabyteEventIn64KiBChunks(benchmark::State& state) {
  const QByteArray big = LargeEvent(20 * 1024 * 1024);
  for (auto _ : state) {
    IosReceiveBuffer buffer;
    int documents = 0;
    for (qsizetype at = 0; at < big.size(); at += ChunkSize) {
      documents += buffer.Append(big.mid(at, ChunkSize)) ? 1 : 0;
    }
    if (documents != 1) state.SkipWithError("event not framed");
  }
  state.SetBytesProcessed(state.iterations() * big.size());
}
BENCHMARK(BM_TwentyMegabyteEventIn64KiBChunks)->Unit(benchmark::kMillisecond);

void BM_TwentyMegabyteEventOneParse(benchmark::State& state) {
  const QByteArray big = LargeEvent(20 * 1024 * 1024);
  for (auto _ : state) {
    benchmark::DoNotOptimize(ParseLatin1Fragment(big));
  }
  state.SetBytesProcessed(state.iterations() * big.size());
}
BENCHMARK(BM_TwentyMegabyteEventOneParse)->Unit(benchmark::kMillisecond);

void BM_EveryByteAlone(benchmark::State& state) {
  const QByteArray stream = MixedStream().left(256 * 1024);
  for (auto _ : state) {
    IosReceiveBuffer buffer;
    for (char c : stream) {
      benchmark::DoNotOptimize(buffer.Append(QByteArray(1, c)));
    }
  }
  state.SetBytesProcessed(state.iterations() * stream.size());
}
BENCHMARK(BM_EveryByteAlone)->Unit(benchmark::kMillisecond);

void BM_EveryByteAloneBaselineOneParse(benchmark::State& state) {
  const QByteArray stream = MixedStream().left(256 * 1024);
  const qsizetype end = stream.lastIndexOf("/>") + 2;
  for (auto _ : state) {
    benchmark::DoNotOptimize(ParseLatin1Fragment(QByteArrayView(stream).first(end)));
  }
  state.SetBytesProcessed(state.iterations() * end);
}
BENCHMARK(BM_EveryByteAloneBaselineOneParse)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace telmon

int main(int argc, char** argv) {
  telmon::bench::BenchProgram<QCoreApplication> program(argc, argv);
  program.Run();
  return 0;
}
