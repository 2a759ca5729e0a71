#include "alarms/AlarmOperations.h"

#include <QStringList>

namespace telmon {

namespace {

QString IdList(const std::vector<std::int64_t>& ids) {
  QStringList parts;
  for (const std::int64_t id : ids) {
    parts.append(QString::number(id));
  }
  return parts.join(QLatin1Char(','));
}

}  // namespace

AlarmOperations::AlarmOperations(AlarmStore& store, AlarmOperationServices services)
    : store_(store), services_(std::move(services)) {}

const std::vector<int>& AlarmOperations::ShelveChoices() {
  static const std::vector<int> choices = {15, 60, 240, 480, 1440};
  return choices;
}

QString AlarmOperations::DurationText(int minutes) {
  if (minutes % 60 == 0) {
    return QStringLiteral("%1 h").arg(minutes / 60);
  }
  return QStringLiteral("%1 min").arg(minutes);
}

bool AlarmOperations::Allowed() {
  if (!services_.gate.EditsAllowed()) {
    services_.gate.AskWhetherUserWantsToEnableEditing();
  }
  return services_.gate.EditsAllowed();
}

std::vector<std::int64_t> AlarmOperations::Ids(const std::vector<AlarmRow>& alarms) {
  std::vector<std::int64_t> ids;
  for (const AlarmRow& a : alarms) {
    if (!a.monitorOwn) {
      ids.push_back(a.id);
    }
  }
  return ids;
}

QString AlarmOperations::Targets(const std::vector<AlarmRow>& alarms) {
  QStringList parts;
  for (const AlarmRow& a : alarms) {
    if (!a.monitorOwn) {
      parts.append(
          QStringLiteral("alarm %1: %2 %3").arg(a.id).arg(AlarmSourceText(a), a.condition));
    }
  }
  return parts.join(QStringLiteral("; "));
}

void AlarmOperations::Journal(const QString& operation, const std::vector<AlarmRow>& alarms,
                              const QString& value, const QString& command,
                              const QString& outcome) {
  JournalOperation op;
  op.operation = operation;
  op.targets = Targets(alarms);
  op.value = value;
  op.command = command;
  op.outcome = outcome;
  services_.journal.Record(op);
}

std::optional<int> AlarmOperations::Acknowledge(const std::vector<AlarmRow>& alarms) {
  const std::vector<std::int64_t> ids = Ids(alarms);
  if (ids.empty() || !Allowed()) {
    return std::nullopt;
  }
  const QString who = services_.account();
  QString error;
  const auto count = store_.Acknowledge(ids, who, services_.clock.Now(), &error);
  const QString command = QStringLiteral("H5ALARM acknowledge %1").arg(IdList(ids));
  if (!count) {
    const QString text =
        QStringLiteral("TELM-9020: Could not acknowledge alarms %1: %2").arg(IdList(ids), error);
    services_.sink.RaiseMsg(MsgType::Error, text);
    Journal(QStringLiteral("Acknowledge alarms"), alarms, QString(), command, text);
    return std::nullopt;
  }
  Journal(QStringLiteral("Acknowledge alarms"), alarms, QString(), command,
          JournalOutcome::RecordWritten);
  return count;
}

std::optional<int> AlarmOperations::Shelve(const std::vector<AlarmRow>& alarms, int minutes) {
  const std::vector<std::int64_t> ids = Ids(alarms);
  if (ids.empty() || minutes <= 0 || !Allowed()) {
    return std::nullopt;
  }
  const QString who = services_.account();
  const QDateTime now = services_.clock.Now();
  const QDateTime until = now.addSecs(static_cast<qint64>(minutes) * 60);
  QString error;
  const auto count = store_.Shelve(ids, who, until, now, &error);
  const QString command =
      QStringLiteral("H5ALARM shelve %1 until %2").arg(IdList(ids), until.toString(Qt::ISODate));
  if (!count) {
    const QString text =
        QStringLiteral("TELM-9021: Could not shelve alarms %1: %2").arg(IdList(ids), error);
    services_.sink.RaiseMsg(MsgType::Error, text);
    Journal(QStringLiteral("Shelve alarms"), alarms, DurationText(minutes), command, text);
    return std::nullopt;
  }
  Journal(QStringLiteral("Shelve alarms"), alarms, DurationText(minutes), command,
          JournalOutcome::RecordWritten);
  return count;
}

}  // namespace telmon
