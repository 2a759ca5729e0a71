// Arbitrary bytes from the I/O server, cut into arbitrary arrivals, through the receive buffer
// (framing) and the event dispatch, as the connection runs them on each arrival. Whenever the
// stream in one piece parses completely, every way of cutting it must dispatch exactly the
// same events in the same order and leave nothing pending: where TCP happens to cut the
// stream must never change what the operator sees. Any crash, sanitizer report or differing
// dispatch is a finding.

#include "ioslink/IosEventDispatch.h"
#include "ioslink/IosReceiveBuffer.h"
#include "util/UtilityXMLDOMFunctions.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <vector>

using namespace telmon;

namespace {

// Everything dispatch hands on, in order. The end of a configuration burst is left out: it is
// announced once per arrival by design, so its count follows the cuts.
class Recorder final : public IIosEventHandlers, public IRaiseMsg {
 public:
  QStringList seen;

  void OnDeviceUpdate(xml::XmlElement e) override { Add("device", e); }
  void OnQueueUpdate(xml::XmlElement e) override { Add("queue", e); }
  void OnBlockUpdate(xml::XmlElement e) override { Add("block", e); }
  void OnChannelConfigFullUpdate() override { seen << QStringLiteral("config-full"); }
  void OnChannelConfigUpdate(xml::XmlElement e) override { Add("config", e); }
  void OnChannelConfigBurstEnd() override {}
  void OnIOSSettingsUpdate(xml::XmlElement e) override { Add("settings", e); }
  void OnMessageEvent(std::int32_t msgType, const QString& text) override {
    seen << QStringLiteral("message %1 %2").arg(msgType).arg(text);
  }
  void RaiseMsg(std::int32_t msgType, const QString& text) override {
    seen << QStringLiteral("raised %1 %2").arg(msgType).arg(text);
  }

 private:
  void Add(const char* kind, xml::XmlElement e) {
    seen << QString::fromLatin1(kind) + QLatin1Char(' ') + xml::NodeXml(e);
  }
};

struct Outcome {
  QStringList events;
  qsizetype pending = 0;
};

// One connection's worth of arrivals; `cuts` are the ascending positions where one arrival
// ends and the next begins.
Outcome Receive(const QByteArray& stream, const std::vector<qsizetype>& cuts) {
  IosReceiveBuffer buffer;
  Recorder recorder;
  qsizetype from = 0;
  auto arrive = [&](qsizetype to) {
    const xml::XmlDocument doc = buffer.Append(stream.mid(from, to - from));
    if (doc) {
      DispatchEvents(doc, &recorder, recorder);
    }
    from = to;
  };
  for (qsizetype cut : cuts) {
    arrive(cut);
  }
  arrive(stream.size());
  return {recorder.seen, buffer.PendingSize()};
}

void Require(bool condition, const char* what, const Outcome& whole, const Outcome& cut) {
  if (condition) {
    return;
  }
  std::fprintf(stderr, "%s\n-- in one piece (%lld pending):\n%s\n-- cut (%lld pending):\n%s\n",
               what, static_cast<long long>(whole.pending),
               qPrintable(whole.events.join(QLatin1Char('\n'))),
               static_cast<long long>(cut.pending), qPrintable(cut.events.join(QLatin1Char('\n'))));
  std::abort();
}

// Cut patterns: arrivals of a byte each (of a few bytes each for longer streams, which keeps
// the run fast), and a few random cuttings whose number and places depend on the input, so
// that the fuzzer explores them as it changes the bytes.
std::vector<std::vector<qsizetype>> CutPatterns(const QByteArray& stream) {
  constexpr qsizetype kMostArrivals = 384;
  std::vector<std::vector<qsizetype>> patterns;
  const qsizetype n = stream.size();
  const qsizetype step = n / kMostArrivals + 1;
  std::vector<qsizetype> small;
  for (qsizetype i = step; i < n; i += step) {
    small.push_back(i);
  }
  patterns.push_back(std::move(small));
  std::seed_seq seed(stream.begin(), stream.end());
  std::mt19937 random(seed);
  for (int p = 0; p < 3 && n > 1; ++p) {
    std::vector<qsizetype> cuts;
    const int count = static_cast<int>(random() % 8) + 1;
    for (int c = 0; c < count; ++c) {
      cuts.push_back(static_cast<qsizetype>(random() % static_cast<std::uint32_t>(n - 1)) + 1);
    }
    std::sort(cuts.begin(), cuts.end());
    cuts.erase(std::unique(cuts.begin(), cuts.end()), cuts.end());
    patterns.push_back(std::move(cuts));
  }
  return patterns;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const QByteArray stream(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
  const Outcome whole = Receive(stream, {});
  // Only a stream that parses completely promises the same events however it is cut; other
  // streams must still be survived whatever the cuts.
  const bool complete = !stream.isEmpty() && whole.pending == 0;
  for (const std::vector<qsizetype>& cuts : CutPatterns(stream)) {
    const Outcome cut = Receive(stream, cuts);
    if (complete) {
      Require(cut.events == whole.events, "the cut stream dispatched other events", whole, cut);
      Require(cut.pending == 0, "the cut stream left text pending", whole, cut);
    }
  }
  return 0;
}
