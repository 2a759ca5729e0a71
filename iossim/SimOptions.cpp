#include "iossim/SimOptions.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QRandomGenerator>

#include <limits>

namespace telmon::iossim {

namespace {

struct Parsed {
  QCommandLineParser parser;
  QString error;

  // The value of `name` as a whole number in [min, max]; records an error otherwise.
  template <typename T>
  std::optional<T> Number(const QString& name, long long min, long long max) {
    if (!parser.isSet(name)) {
      return std::nullopt;
    }
    bool ok = false;
    const long long v = parser.value(name).toLongLong(&ok);
    if (!ok || v < min || v > max) {
      error = QStringLiteral("--%1 needs a whole number from %2 to %3, not '%4'")
                  .arg(name)
                  .arg(min)
                  .arg(max)
                  .arg(parser.value(name));
      return std::nullopt;
    }
    return static_cast<T>(v);
  }
};

void AddOptions(QCommandLineParser& p) {
  p.setApplicationDescription(QStringLiteral(
      "Simulated I/O server: serves monitors on TCP and keeps the realtime database moving."));
  p.addHelpOption();
  p.addVersionOption();
  p.addOptions({
      {QStringLiteral("settings"), QStringLiteral("Folder (or file) of Halvo5.INI."),
       QStringLiteral("dir")},
      {QStringLiteral("dahs"), QStringLiteral("DAHS number (default 1)."), QStringLiteral("n")},
      {QStringLiteral("port"), QStringLiteral("Listen port (0 = any free port)."),
       QStringLiteral("port")},
      {QStringLiteral("host"), QStringLiteral("Listen address (default 127.0.0.1)."),
       QStringLiteral("addr")},
      {QStringLiteral("faulty-device"), QStringLiteral("Device that never answers (repeatable)."),
       QStringLiteral("id")},
      {QStringLiteral("seed"), QStringLiteral("Seed of the random streams."), QStringLiteral("n")},
      {QStringLiteral("split-events"), QStringLiteral("Split every event over several writes.")},
      {QStringLiteral("pack"), QStringLiteral("Gather many events into each write.")},
      {QStringLiteral("send-unknown"),
       QStringLiteral("Send events of unknown types now and then.")},
      {QStringLiteral("send-garbage"), QStringLiteral("Send bytes that are not XML now and then.")},
      {QStringLiteral("chaos-ms"),
       QStringLiteral("Interval of --send-unknown/--send-garbage (default 5000)."),
       QStringLiteral("ms")},
      {QStringLiteral("close-after"),
       QStringLiteral("Close each connection after this many bytes."), QStringLiteral("bytes")},
      {QStringLiteral("stall-ms"), QStringLiteral("Pause this long after every write."),
       QStringLiteral("ms")},
      {QStringLiteral("event-rate"), QStringLiteral("Extra update events per second."),
       QStringLiteral("n")},
      {QStringLiteral("verbose"), QStringLiteral("Log every command received.")},
      {QStringLiteral("trace"),
       QStringLiteral("Answer every command with a trace message (type 8) first.")},
      {QStringLiteral("release-forced-after"),
       QStringLiteral("Return a forced channel to the plant's source this long after it was "
                      "last forced (default: never)."),
       QStringLiteral("seconds")},
  });
}

bool ReadNumbers(Parsed& p, SimOptions* o) {
  constexpr long long IntMax = std::numeric_limits<int>::max();
  if (auto v = p.Number<int>(QStringLiteral("dahs"), 1, 999)) o->dahsId = *v;
  if (auto v = p.Number<quint16>(QStringLiteral("port"), 0, 65535)) o->port = *v;
  if (auto v = p.Number<std::uint64_t>(QStringLiteral("seed"), 0,
                                       std::numeric_limits<long long>::max())) {
    o->seed = *v;
  }
  if (auto v = p.Number<int>(QStringLiteral("chaos-ms"), 10, IntMax)) o->chaosIntervalMs = *v;
  if (auto v = p.Number<std::int64_t>(QStringLiteral("close-after"), 1,
                                      std::numeric_limits<long long>::max())) {
    o->faults.closeAfterBytes = *v;
  }
  if (auto v = p.Number<int>(QStringLiteral("stall-ms"), 0, 600000)) o->faults.stallMs = *v;
  if (auto v = p.Number<int>(QStringLiteral("event-rate"), 0, 1000000)) o->eventRate = *v;
  if (auto v = p.Number<int>(QStringLiteral("release-forced-after"), 1, 31536000)) {
    o->releaseForcedAfterS = *v;
  }
  for (const QString& text : p.parser.values(QStringLiteral("faulty-device"))) {
    bool ok = false;
    const int id = text.toInt(&ok);
    if (!ok) {
      p.error = QStringLiteral("--faulty-device needs a device ID, not '%1'").arg(text);
    }
    o->faultyDevices.push_back(id);
  }
  return p.error.isEmpty();
}

}  // namespace

OptionsOutcome ParseSimOptions(const QStringList& arguments, SimOptions* options,
                               QString* message) {
  Parsed p;
  AddOptions(p.parser);
  if (!p.parser.parse(arguments)) {
    *message = p.parser.errorText();
    return OptionsOutcome::Error;
  }
  if (p.parser.isSet(QStringLiteral("help"))) {
    *message = p.parser.helpText();
    return OptionsOutcome::ShowHelp;
  }
  if (p.parser.isSet(QStringLiteral("version"))) {
    *message = QCoreApplication::applicationName() + QLatin1Char(' ') +
               QCoreApplication::applicationVersion();
    return OptionsOutcome::ShowHelp;
  }
  if (!p.parser.positionalArguments().isEmpty()) {
    *message = QStringLiteral("unexpected argument '%1'").arg(p.parser.positionalArguments()[0]);
    return OptionsOutcome::Error;
  }
  SimOptions o;
  o.seed = QRandomGenerator::global()->generate64() >> 1;
  o.settingsSource = p.parser.value(QStringLiteral("settings"));
  if (p.parser.isSet(QStringLiteral("host")) &&
      !o.host.setAddress(p.parser.value(QStringLiteral("host")))) {
    *message = QStringLiteral("--host needs an IP address, not '%1'")
                   .arg(p.parser.value(QStringLiteral("host")));
    return OptionsOutcome::Error;
  }
  o.faults.splitEvents = p.parser.isSet(QStringLiteral("split-events"));
  o.faults.pack = p.parser.isSet(QStringLiteral("pack"));
  o.sendUnknown = p.parser.isSet(QStringLiteral("send-unknown"));
  o.sendGarbage = p.parser.isSet(QStringLiteral("send-garbage"));
  o.verbose = p.parser.isSet(QStringLiteral("verbose"));
  o.trace = p.parser.isSet(QStringLiteral("trace"));
  if (!ReadNumbers(p, &o)) {
    *message = p.error;
    return OptionsOutcome::Error;
  }
  *options = o;
  return OptionsOutcome::Run;
}

}  // namespace telmon::iossim
