#include "alarms/AlarmTypes.h"

namespace telmon {

QString AlarmStateCode(AlarmState state) {
  switch (state) {
    case AlarmState::ActiveUnack:
      return QStringLiteral("ACTIVE_UNACK");
    case AlarmState::ActiveAck:
      return QStringLiteral("ACTIVE_ACK");
    case AlarmState::ClearedUnack:
      return QStringLiteral("CLEARED_UNACK");
    case AlarmState::Shelved:
      return QStringLiteral("SHELVED");
    case AlarmState::Unknown:
      break;
  }
  return QString();
}

AlarmState AlarmStateFromCode(const QString& code) {
  for (const AlarmState s : {AlarmState::ActiveUnack, AlarmState::ActiveAck,
                             AlarmState::ClearedUnack, AlarmState::Shelved}) {
    if (code == AlarmStateCode(s)) {
      return s;
    }
  }
  return AlarmState::Unknown;
}

int AlarmStateRank(AlarmState state) { return static_cast<int>(state); }

QString AlarmPriorityText(int priority) {
  switch (priority) {
    case 1:
      return QStringLiteral("Critical");
    case 2:
      return QStringLiteral("High");
    case 3:
      return QStringLiteral("Medium");
    case 4:
      return QStringLiteral("Low");
    default:
      return QStringLiteral("Priority %1").arg(priority);
  }
}

QString AlarmSourceText(const AlarmRow& row) {
  QString kind;
  if (row.sourceKind == AlarmSourceKind::Device) {
    kind = QStringLiteral("Device");
  } else if (row.sourceKind == AlarmSourceKind::Block) {
    kind = QStringLiteral("Block");
  } else if (row.sourceKind == AlarmSourceKind::Channel) {
    kind = QStringLiteral("Channel");
  } else {
    kind = row.sourceKind.isEmpty() ? QStringLiteral("(no source)") : row.sourceKind;
  }
  QString text = kind + QLatin1Char(' ') + QString::number(row.sourceId);
  if (!row.sourceName.isEmpty()) {
    text += QStringLiteral(" (") + row.sourceName + QLatin1Char(')');
  }
  return text;
}

}  // namespace telmon
