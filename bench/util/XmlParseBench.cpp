// Parsing a full refresh's worth of update events: the fragment parser with the "//Event"
// selection the receive path runs, against libxml2's own xmlReadMemory of the same bytes in the
// same run, so the figure to read is the ratio between them.

#include "util/UtilityXMLDOMFunctions.h"

#include <QString>

#include <benchmark/benchmark.h>
#include <libxml/parser.h>

namespace {

using namespace telmon::xml;

QString DeviceUpdate(int i) {
  return QStringLiteral(
             R"(<Event eventtype="DeviceUpdate" DeviceID="%1" Name="PLC-%1 Stack %2 Analyzer" )"
             R"(DeviceType="ModbusTCP" IPAddress="10.20.%2.%3" Port="502" Enabled="-1" )"
             R"(RandomMode="0" Status="Polling" LastPollTime="2024-03-14 07:08:%4" )"
             R"(PollCount="%5" ErrorCount="%6" LastError="" Redundant="0" Primary="-1" )"
             R"(Description="Stack %2 CEMS analyzer rack, NOx/CO/O2 channels" TimeoutMsec="3000"/>)")
      .arg(i)
      .arg(i % 7)
      .arg(i % 250)
      .arg(i % 60, 2, 10, QLatin1Char('0'))
      .arg(i * 37)
      .arg(i % 5);
}

QString QUpdate(int i) {
  return QStringLiteral(
             R"(<Event eventtype="QUpdate" QName="Queue %1" DeviceID="%2" Requests="%3" )"
             R"(Responses="%4" Timeouts="%5" Errors="0" AvgResponseMsec="%6.25" MaxResponseMsec="%7" )"
             R"(Pending="%8" LastRequestTime="2024-03-14 07:08:09" Scheduled="-1" )"
             R"(LastResponseTime="2024-03-14 07:08:09" RetryCount="3" Priority="%8"/>)")
      .arg(i)
      .arg(i % 40)
      .arg(i * 11)
      .arg(i * 11 - i % 3)
      .arg(i % 3)
      .arg(i % 90)
      .arg(i % 400)
      .arg(i % 4);
}

QString BlockUpdate(int i) {
  return QStringLiteral(
             R"(<Event eventtype="BlockUpdate" BlockID="%1" DeviceID="%2" QName="Queue %3" )"
             R"(StartAddress="4%4" Length="%5" Enabled="%6" ScanRateMsec="1000" )"
             R"(LastReadTime="2024-03-14 07:08:09.%7" ReadCount="%8" ErrorCount="0" )"
             R"(AvgReadMsec="12.5" Status="OK" AddressType="HoldingRegister" )"
             R"(Description="Block %1 of queue %3" MaxReadMsec="48"/>)")
      .arg(i)
      .arg(i % 40)
      .arg(i % 12)
      .arg(i * 16, 4, 10, QLatin1Char('0'))
      .arg(16 + i % 48)
      .arg(i % 9 == 0 ? 0 : -1)
      .arg(i % 1000, 3, 10, QLatin1Char('0'))
      .arg(i * 3);
}

// About 1 MB: 3,000 events in the mix a full refresh of a large site produces.
const QString& UpdateEvents() {
  static const QString text = [] {
    QString s;
    for (int i = 0; i < 3000; ++i) {
      s += i % 3 == 0 ? DeviceUpdate(i) : i % 3 == 1 ? QUpdate(i) : BlockUpdate(i);
    }
    return s;
  }();
  return text;
}

QByteArray WrappedUtf8() {
  return QByteArray("<") + FragmentWrapperName + ">" + UpdateEvents().toUtf8() + "</" +
         FragmentWrapperName + ">";
}

void BM_BareXmlReadMemory(benchmark::State& state) {
  const QByteArray bytes = WrappedUtf8();
  for (auto _ : state) {
    xmlDoc* doc = xmlReadMemory(bytes.constData(), static_cast<int>(bytes.size()), nullptr, "UTF-8",
                                XML_PARSE_NOBLANKS);
    benchmark::DoNotOptimize(doc);
    xmlFreeDoc(doc);
  }
  state.SetBytesProcessed(state.iterations() * bytes.size());
  state.counters["input_bytes"] = static_cast<double>(bytes.size());
}

void BM_ParseXmlFragmentSelectEvents(benchmark::State& state) {
  const QString& text = UpdateEvents();
  for (auto _ : state) {
    const XmlDocument doc = ParseXmlFragment(nullptr, text);
    const auto events = SelectNodes(doc, "//Event");
    if (events.size() != 3000) {
      state.SkipWithError("events lost");
    }
  }
  state.SetBytesProcessed(state.iterations() * WrappedUtf8().size());
}

void BM_ParseXmlFragmentUtf8SelectEvents(benchmark::State& state) {
  const QByteArray bytes = UpdateEvents().toUtf8();
  for (auto _ : state) {
    const XmlDocument doc = ParseXmlFragmentUtf8(bytes);
    const auto events = SelectNodes(doc, "//Event");
    if (events.size() != 3000) {
      state.SkipWithError("events lost");
    }
  }
  state.SetBytesProcessed(state.iterations() * WrappedUtf8().size());
}

BENCHMARK(BM_BareXmlReadMemory)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ParseXmlFragmentSelectEvents)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ParseXmlFragmentUtf8SelectEvents)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
