#include "check/Sequence.h"

#include "alarms/AlarmTypes.h"

#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>

#include <yaml-cpp/yaml.h>

#include <algorithm>
#include <cmath>
#include <initializer_list>
#include <limits>
#include <string_view>

namespace telmon::check {

namespace {

// A fault in the file, where yaml-cpp saw it.
struct Fault {
  YAML::Mark mark;
  QString what;
};

[[noreturn]] void Refuse(const YAML::Node& node, const QString& what) {
  throw Fault{node.Mark(), what};
}

QString Q(const std::string& text) { return QString::fromStdString(text); }

void RequireMap(const YAML::Node& node, const QString& what) {
  if (!node.IsMap()) {
    Refuse(node, what + QStringLiteral(" must be a mapping of fields"));
  }
}

void AllowOnly(const YAML::Node& map, std::initializer_list<std::string_view> keys) {
  for (auto it = map.begin(); it != map.end(); ++it) {
    const std::string key = it->first.IsScalar() ? it->first.Scalar() : std::string();
    if (std::find(keys.begin(), keys.end(), key) == keys.end()) {
      Refuse(it->first, QStringLiteral("unknown field '%1'").arg(Q(key)));
    }
  }
}

YAML::Node Field(const YAML::Node& map, const char* key) {
  const YAML::Node node = map[key];
  if (!node.IsDefined()) {
    Refuse(map, QStringLiteral("missing field '%1'").arg(QLatin1String(key)));
  }
  return node;
}

QString Scalar(const YAML::Node& node, const char* key) {
  if (!node.IsScalar()) {
    Refuse(node, QStringLiteral("'%1' must be a single value").arg(QLatin1String(key)));
  }
  return Q(node.Scalar());
}

double Number(const YAML::Node& node, const char* key) {
  bool ok = false;
  const double value = Scalar(node, key).toDouble(&ok);
  if (!ok || !std::isfinite(value)) {
    Refuse(node, QStringLiteral("'%1' must be a number").arg(QLatin1String(key)));
  }
  return value;
}

std::int32_t Id(const YAML::Node& node, const char* key) {
  bool ok = false;
  const int value = Scalar(node, key).toInt(&ok);
  if (!ok || value < 1) {
    Refuse(node, QStringLiteral("'%1' must be a whole number from 1 to %2")
                     .arg(QLatin1String(key))
                     .arg(std::numeric_limits<std::int32_t>::max()));
  }
  return value;
}

bool Boolean(const YAML::Node& node, const char* key) {
  bool value = false;
  if (!node.IsScalar() || !YAML::convert<bool>::decode(node, value)) {
    Refuse(node, QStringLiteral("'%1' must be true or false").arg(QLatin1String(key)));
  }
  return value;
}

int Milliseconds(const YAML::Node& node, const char* key) {
  const double seconds = Number(node, key);
  if (seconds < 0 || seconds > 86400) {
    Refuse(node,
           QStringLiteral("'%1' must be between 0 and 86400 seconds").arg(QLatin1String(key)));
  }
  return static_cast<int>(std::lround(seconds * 1000));
}

void ReadTimeout(const YAML::Node& map, Step& step) {
  if (const YAML::Node t = map["timeout"]; t.IsDefined()) {
    step.timeoutMs = Milliseconds(t, "timeout");
  }
}

// The value of a Force or Write step: YAML null stands for the dialogs' "Null" box.
void ReadValue(const YAML::Node& node, Step& step) {
  if (node.IsNull()) {
    step.isNull = true;
    step.value = QString();
    return;
  }
  step.value = Scalar(node, "value");
}

void ReadForce(const YAML::Node& map, Step& step) {
  AllowOnly(map, {"channel", "value", "wave"});
  step.channel = Id(Field(map, "channel"), "channel");
  if (const YAML::Node wave = map["wave"]; wave.IsDefined()) {
    RequireMap(wave, QStringLiteral("'wave'"));
    AllowOnly(wave, {"min", "max", "period"});
    // Numbers are checked here; the boxes take the text exactly as written.
    const auto limit = [&wave](const char* key) {
      Number(Field(wave, key), key);
      return Scalar(wave[key], key);
    };
    step.wave = WaveSpec{limit("min"), limit("max"), limit("period")};
  }
  if (const YAML::Node value = map["value"]; value.IsDefined()) {
    ReadValue(value, step);
  } else if (!step.wave) {
    Refuse(map, QStringLiteral("missing field 'value' (or 'wave')"));
  }
}

void ReadWrite(const YAML::Node& map, Step& step) {
  AllowOnly(map, {"channel", "value"});
  step.channel = Id(Field(map, "channel"), "channel");
  ReadValue(Field(map, "value"), step);
}

void ReadModeCode(const YAML::Node& map, Step& step) {
  AllowOnly(map, {"mode", "value"});
  const YAML::Node mode = Field(map, "mode");
  const QString modeText = Scalar(mode, "mode");
  if (modeText != QLatin1String("0") && modeText != QLatin1String("1") &&
      modeText != QLatin1String("2")) {
    Refuse(mode, QStringLiteral("'mode' must be 0 (every MC channel), 1 (analyzer MC channels) "
                                "or 2 (analyzer MC channels, 11/12)"));
  }
  step.mode = modeText.toInt();
  if (step.mode == 2) {
    // Writes 12 to O2 channels and 11 to the other analyzer channels: no value of its own.
    if (map["value"].IsDefined()) {
      Refuse(map["value"], QStringLiteral("mode 2 writes 11 and 12; it takes no 'value'"));
    }
    return;
  }
  const YAML::Node value = Field(map, "value");
  bool ok = false;
  step.modeValue = Scalar(value, "value").toInt(&ok);
  if (!ok || step.modeValue < std::numeric_limits<std::int16_t>::min() ||
      step.modeValue > std::numeric_limits<std::int16_t>::max()) {
    Refuse(value, QStringLiteral("'value' must be a whole number from -32768 to 32767"));
  }
}

void ReadRandom(const YAML::Node& map, Step& step) {
  AllowOnly(map, {"device", "on"});
  const YAML::Node device = Field(map, "device");
  if (!(device.IsScalar() && device.Scalar() == "all")) {
    step.device = Id(device, "device");
  }
  step.on = Boolean(Field(map, "on"), "on");
}

void ReadExpectValue(const YAML::Node& map, Step& step) {
  AllowOnly(map, {"channel", "equals", "near", "tolerance", "matches", "timeout"});
  step.channel = Id(Field(map, "channel"), "channel");
  const int given = static_cast<int>(map["equals"].IsDefined()) +
                    static_cast<int>(map["near"].IsDefined()) +
                    static_cast<int>(map["matches"].IsDefined());
  if (given != 1) {
    Refuse(map, QStringLiteral("give exactly one of 'equals', 'near' (with 'tolerance') and "
                               "'matches'"));
  }
  if (map["equals"].IsDefined()) {
    step.match = ValueMatch::Equals;
    step.expected = Scalar(map["equals"], "equals");
  } else if (map["near"].IsDefined()) {
    step.match = ValueMatch::Near;
    step.expected = QString::number(Number(map["near"], "near"), 'g', 17);
    step.tolerance = std::fabs(Number(Field(map, "tolerance"), "tolerance"));
  } else {
    step.match = ValueMatch::Matches;
    step.expected = Scalar(map["matches"], "matches");
    if (!QRegularExpression(step.expected).isValid()) {
      Refuse(map["matches"], QStringLiteral("'matches' is not a valid regular expression"));
    }
  }
  if (step.match != ValueMatch::Near && map["tolerance"].IsDefined()) {
    Refuse(map["tolerance"], QStringLiteral("'tolerance' goes with 'near' only"));
  }
  ReadTimeout(map, step);
}

void ReadExpectDevice(const YAML::Node& map, Step& step) {
  AllowOnly(map, {"device", "watchdog-ok", "random", "failover", "timeout"});
  step.device = Id(Field(map, "device"), "device");
  if (const YAML::Node n = map["watchdog-ok"]; n.IsDefined()) {
    step.watchdogOk = Boolean(n, "watchdog-ok");
  }
  if (const YAML::Node n = map["random"]; n.IsDefined()) {
    step.random = Boolean(n, "random");
  }
  if (const YAML::Node n = map["failover"]; n.IsDefined()) {
    step.failover = Scalar(n, "failover");
  }
  if (!step.watchdogOk && !step.random && !step.failover) {
    Refuse(map, QStringLiteral("give at least one of 'watchdog-ok', 'random' and 'failover'"));
  }
  ReadTimeout(map, step);
}

// source: device, block or channel; id; condition and state optional.
void ReadExpectAlarm(const YAML::Node& map, Step& step) {
  AllowOnly(map, {"source", "id", "condition", "state", "timeout"});
  const YAML::Node source = Field(map, "source");
  const QString kind = Scalar(source, "source").toUpper();
  if (kind != AlarmSourceKind::Device && kind != AlarmSourceKind::Block &&
      kind != AlarmSourceKind::Channel) {
    Refuse(source, QStringLiteral("'source' must be device, block or channel"));
  }
  step.alarmSource = kind;
  step.alarmSourceId = Id(Field(map, "id"), "id");
  if (const YAML::Node n = map["condition"]; n.IsDefined()) {
    step.alarmCondition = Scalar(n, "condition");
  }
  if (const YAML::Node n = map["state"]; n.IsDefined()) {
    const QString state = Scalar(n, "state").toUpper().replace(QLatin1Char('-'), QLatin1Char('_'));
    if (AlarmStateFromCode(state) == AlarmState::Unknown) {
      Refuse(n, QStringLiteral("'state' must be active-unack, active-ack, cleared-unack or "
                               "shelved"));
    }
    step.alarmState = state;
  }
  ReadTimeout(map, step);
}

struct StepReader {
  const char* name;
  StepKind kind;
  void (*read)(const YAML::Node&, Step&);
};

constexpr std::initializer_list<StepReader> kReaders = {
    {"force", StepKind::Force, ReadForce},
    {"write", StepKind::Write, ReadWrite},
    {"mode-code", StepKind::ModeCode, ReadModeCode},
    {"random", StepKind::Random, ReadRandom},
    {"expect-value", StepKind::ExpectValue, ReadExpectValue},
    {"expect-device", StepKind::ExpectDevice, ReadExpectDevice},
    {"expect-alarm", StepKind::ExpectAlarm, ReadExpectAlarm},
    {"expect-no-alarm", StepKind::ExpectNoAlarm, ReadExpectAlarm},
};

Step ReadStep(const YAML::Node& node) {
  if (!node.IsMap() || node.size() != 1) {
    Refuse(node, QStringLiteral("a step is one of force, write, mode-code, random, "
                                "expect-value, expect-device, expect-alarm, expect-no-alarm, "
                                "wait, with its fields"));
  }
  const auto entry = node.begin();
  const std::string name = entry->first.IsScalar() ? entry->first.Scalar() : std::string();
  Step step;
  step.line = node.Mark().line + 1;
  step.column = node.Mark().column + 1;
  if (name == "wait") {
    step.kind = StepKind::Wait;
    step.waitMs = Milliseconds(entry->second, "wait");
    return step;
  }
  for (const StepReader& reader : kReaders) {
    if (name == reader.name) {
      step.kind = reader.kind;
      RequireMap(entry->second, QStringLiteral("step '%1'").arg(Q(name)));
      reader.read(entry->second, step);
      return step;
    }
  }
  Refuse(entry->first, QStringLiteral("unknown step '%1'").arg(Q(name)));
}

Sequence ReadSequence(const YAML::Node& root) {
  RequireMap(root, QStringLiteral("the sequence"));
  AllowOnly(root, {"name", "steps"});
  Sequence sequence;
  if (const YAML::Node name = root["name"]; name.IsDefined()) {
    sequence.name = Scalar(name, "name");
  }
  const YAML::Node steps = Field(root, "steps");
  if (!steps.IsSequence() || steps.size() == 0) {
    Refuse(steps, QStringLiteral("'steps' must be a list of at least one step"));
  }
  for (const YAML::Node& step : steps) {
    sequence.steps.push_back(ReadStep(step));
  }
  return sequence;
}

QString Position(const QString& source, const YAML::Mark& mark) {
  if (mark.is_null()) {
    return source;
  }
  return QStringLiteral("%1:%2:%3").arg(source).arg(mark.line + 1).arg(mark.column + 1);
}

}  // namespace

LoadResult LoadSequenceText(const QByteArray& text, const QString& sourceName) {
  LoadResult result;
  if (text.size() > MaxSequenceFileBytes) {
    result.error = QStringLiteral("%1: the file is larger than %2 bytes; refused")
                       .arg(sourceName)
                       .arg(MaxSequenceFileBytes);
    return result;
  }
  try {
    result.sequence = ReadSequence(YAML::Load(text.toStdString()));
  } catch (const Fault& fault) {
    result.error = Position(sourceName, fault.mark) + QStringLiteral(": ") + fault.what;
  } catch (const YAML::Exception& e) {
    result.error = Position(sourceName, e.mark) + QStringLiteral(": ") + Q(e.msg);
  }
  return result;
}

LoadResult LoadSequenceFile(const QString& path) {
  QFile file(path);
  const QFileInfo info(path);
  if (info.exists() && info.size() > MaxSequenceFileBytes) {
    return {std::nullopt, QStringLiteral("%1: the file is larger than %2 bytes; refused")
                              .arg(path)
                              .arg(MaxSequenceFileBytes)};
  }
  if (!file.open(QIODevice::ReadOnly)) {
    return {std::nullopt,
            QStringLiteral("%1: cannot read the file (%2)").arg(path, file.errorString())};
  }
  return LoadSequenceText(file.read(MaxSequenceFileBytes + 1), path);
}

QString Step::Title() const {
  const QString ch = QString::number(channel);
  switch (kind) {
    case StepKind::Force:
      return wave ? QStringLiteral("force %1 wave %2..%3/%4 s")
                        .arg(ch, wave->min, wave->max, wave->period)
                  : QStringLiteral("force %1 = %2")
                        .arg(ch, isNull ? QStringLiteral("Null") : *value);
    case StepKind::Write:
      return QStringLiteral("write %1 = %2").arg(ch, isNull ? QStringLiteral("Null") : *value);
    case StepKind::ModeCode:
      return mode == 2 ? QStringLiteral("mode-code 2 = 11/12")
                       : QStringLiteral("mode-code %1 = %2").arg(mode).arg(modeValue);
    case StepKind::Random:
      return QStringLiteral("random %1 %2")
          .arg(device ? QString::number(*device) : QStringLiteral("all"),
               on ? QStringLiteral("on") : QStringLiteral("off"));
    case StepKind::ExpectValue:
      return QStringLiteral("expect-value %1 %2 %3")
          .arg(ch,
               match == ValueMatch::Equals ? QStringLiteral("equals")
               : match == ValueMatch::Near ? QStringLiteral("near")
                                           : QStringLiteral("matches"),
               match == ValueMatch::Near
                   ? expected + QStringLiteral(" ±") + QString::number(tolerance)
                   : expected);
    case StepKind::ExpectDevice:
      return QStringLiteral("expect-device %1").arg(*device);
    case StepKind::ExpectAlarm:
    case StepKind::ExpectNoAlarm:
      return QStringLiteral("%1 %2 %3%4%5")
          .arg(kind == StepKind::ExpectAlarm ? QStringLiteral("expect-alarm")
                                             : QStringLiteral("expect-no-alarm"),
               alarmSource.toLower())
          .arg(alarmSourceId)
          .arg(alarmCondition ? QStringLiteral(" '") + *alarmCondition + QLatin1Char('\'')
                              : QString(),
               alarmState ? QLatin1Char(' ') + *alarmState : QString());
    case StepKind::Wait:
      return QStringLiteral("wait %1 s").arg(waitMs / 1000.0);
  }
  return {};
}

bool Step::NeedsEditRights() const {
  return kind == StepKind::Force || kind == StepKind::Write || kind == StepKind::ModeCode ||
         kind == StepKind::Random;
}

bool Sequence::NeedsEditRights() const {
  return std::any_of(steps.begin(), steps.end(), [](const Step& s) { return s.NeedsEditRights(); });
}

}  // namespace telmon::check
