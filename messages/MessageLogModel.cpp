#include "messages/MessageLogModel.h"

#include <QStringList>

#include <cstdlib>
#include <limits>

namespace telmon {

namespace {

const QString& Crlf() {
  static const QString s = QStringLiteral("\r\n");
  return s;
}

}  // namespace

MessageLogModel::MessageLogModel(const IClock& clock, const MessageTypes& types,
                                 std::shared_ptr<MessageLogCounters> counters, QObject* parent)
    : QAbstractTableModel(parent),
      clock_(clock),
      types_(types),
      counters_(counters ? std::move(counters) : std::make_shared<MessageLogCounters>()),
      formats_(DateTimeFormats::FromLocale(QLocale::system())) {}

int MessageLogModel::rowCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : static_cast<int>(rows_.size());
}

int MessageLogModel::columnCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : 2;
}

QVariant MessageLogModel::data(const QModelIndex& index, int role) const {
  if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid)) {
    return {};
  }
  const MessageLogRow& row = Row(index.row());
  switch (role) {
    case Qt::DisplayRole:
      return index.column() == 0 ? row.column1 : row.text;
    case Qt::ForegroundRole:
      return row.colour != 0 ? QVariant(ToQColor(row.colour)) : QVariant();
    case KeyRole:
      return row.key;
    case ColourTagRole:
      return static_cast<qint64>(row.colour);
    default:
      return {};
  }
}

QVariant MessageLogModel::headerData(int section, Qt::Orientation orientation, int role) const {
  if (orientation == Qt::Horizontal && role == Qt::DisplayRole && section >= 0 && section < 2) {
    return titles_[section];
  }
  return {};
}

void MessageLogModel::SetDateTimeFormats(const DateTimeFormats& formats) {
  formats_ = formats;
  stamp_.clear();
}

void MessageLogModel::SetColumn1Title(const QString& title) {
  titles_[0] = title;
  Q_EMIT headerDataChanged(Qt::Horizontal, 0, 0);
}

void MessageLogModel::SetColumn2Title(const QString& title) {
  titles_[1] = title;
  Q_EMIT headerDataChanged(Qt::Horizontal, 1, 1);
}

std::int32_t MessageLogModel::EntryCount() const {
  return static_cast<std::int32_t>(rows_.size()) - dividers_;
}

void MessageLogModel::AddEntry(const QString& column1, const QString& text, ColorRef colour) {
  if (!text.contains(QLatin1Char('\r')) && !text.contains(QLatin1Char('\n'))) {
    AddOneRow(column1, text, colour);
    return;
  }
  QString normalised = text;
  normalised.replace(Crlf(), QStringLiteral("\r"));
  normalised.replace(QLatin1Char('\n'), QLatin1Char('\r'));
  const QStringList lines = normalised.split(QLatin1Char('\r'));
  for (qsizetype i = 0; i < lines.size(); ++i) {
    AddOneRow(column1, i == 0 ? lines[i] : QStringLiteral("    ") + lines[i], colour);
  }
}

void MessageLogModel::AddOneRow(const QString& column1, const QString& line, ColorRef colour) {
  if (!collectNewMessages_) {
    return;
  }
  const bool hadSelection = selectedSequence_.has_value();
  MessageLogCounters& c = *counters_;
  const int row = static_cast<int>(rows_.size());
  beginInsertRows(QModelIndex(), row, row);
  rows_.push_back(
      MessageLogRow{column1, line, QString::number(c.entryCounter) + QLatin1Char('K'), colour});
  if (column1 == DividerText()) {
    ++dividers_;
  }
  endInsertRows();
  const std::int64_t sequence = firstSequence_ + row;
  const bool select = autoSelectNewest_ || !hadSelection;

  ++c.entryCounter;
  if (c.entryCounter == std::numeric_limits<std::int32_t>::max()) {
    c.entryCounter = 0;
  }
  TrimIfDue();

  Q_EMIT EntryAdded(column1, line, colour);
  if (select) {
    selectedSequence_ = sequence;
    Q_EMIT SelectionRequested(static_cast<int>(sequence - firstSequence_));
  }
}

void MessageLogModel::TrimIfDue() {
  if (maxEntryCount_ <= 0 || static_cast<std::int64_t>(rows_.size()) <= maxEntryCount_) {
    return;
  }
  const std::int32_t tick = clock_.TickMs();
  MessageLogCounters& c = *counters_;
  // A flood of messages pays for one removal per interval, not one per row.
  if (std::llabs(static_cast<std::int64_t>(tick) - c.lastTrimTick) < TrimIntervalMs) {
    return;
  }
  const int excess = static_cast<int>(rows_.size()) - maxEntryCount_;
  beginRemoveRows(QModelIndex(), 0, excess - 1);
  for (int i = 0; i < excess; ++i) {
    if (rows_.front().column1 == DividerText()) {
      --dividers_;
    }
    rows_.pop_front();
  }
  firstSequence_ += excess;
  if (selectedSequence_ && *selectedSequence_ < firstSequence_) {
    selectedSequence_.reset();
  }
  endRemoveRows();
  c.lastTrimTick = tick;
}

void MessageLogModel::AddProblemDivider(const QString& text) { AddEntry(DividerText(), text, 0); }

QString MessageLogModel::Timestamp(const QDateTime& time) const {
  return FormatDateTimeStyle(time, 13, formats_) + QLatin1Char(' ') +
         FormatDateTimeStyle(time, 1, formats_);
}

void MessageLogModel::AddMsg(std::int32_t msgType, const QString& text) {
  if (types_.IsTraceType(msgType) && !showTraceMessages_) {
    return;
  }
  // Messages come in bursts within the same second; their rows share one timestamp text.
  const QDateTime now = clock_.Now();
  // Date and time of day as stored: no time zone conversion, which would cost more than the
  // formatting saved.
  const qint64 second = now.date().toJulianDay() * 86400 + now.time().msecsSinceStartOfDay() / 1000;
  if (second != stampSecond_ || stamp_.isEmpty()) {
    stamp_ = Timestamp(now);
    stampSecond_ = second;
  }
  AddEntry(stamp_, text, types_.Colour(msgType));
}

void MessageLogModel::AddProblemEntry(const QDateTime& time, const QString& text, ColorRef colour) {
  AddEntry(Timestamp(time), text, colour);
}

void MessageLogModel::AddProblemEntryArray(const QDateTime& time, const QVariant& value) {
  // A missing or null value converts to an empty text or list, which adds nothing.
  if (value.typeId() == QMetaType::QStringList || value.typeId() == QMetaType::QVariantList) {
    for (const QString& element : value.toStringList()) {
      AddProblemEntry(time, element, 0);
    }
    return;
  }
  const QString text = value.toString();
  if (!text.isEmpty()) {
    AddProblemEntry(time, text, 0);
  }
}

void MessageLogModel::Clear() {
  beginResetModel();
  firstSequence_ += static_cast<std::int64_t>(rows_.size());
  rows_.clear();
  dividers_ = 0;
  selectedSequence_.reset();
  endResetModel();
}

void MessageLogModel::SetSelectedRow(int row) {
  if (row < 0 || row >= rowCount()) {
    selectedSequence_.reset();
  } else {
    selectedSequence_ = firstSequence_ + row;
  }
}

int MessageLogModel::SelectedRow() const {
  return selectedSequence_ ? static_cast<int>(*selectedSequence_ - firstSequence_) : -1;
}

std::optional<QString> MessageLogModel::SelectedKey() const {
  const int row = SelectedRow();
  if (row < 0) {
    return std::nullopt;
  }
  return Row(row).key;
}

QString MessageLogModel::LogText(bool lineNumbers) const {
  const qsizetype width = QString::number(rows_.size()).size();
  QString out;
  for (std::size_t i = 0; i < rows_.size(); ++i) {
    if (i > 0) {
      out += Crlf();
    }
    if (lineNumbers) {
      out += QStringLiteral("%1").arg(i + 1, static_cast<int>(width), 10, QLatin1Char('0')) +
             QLatin1Char('\t');
    }
    out += rows_[i].column1 + QLatin1Char('\t') + rows_[i].text;
  }
  return out;
}

QString MessageLogModel::PrintText(const QString& caption, const QDateTime& printedAt) const {
  QString out = caption + QStringLiteral("         Printed ") +
                FormatDateTimeStyle(printedAt, 10, formats_) + Crlf() + Crlf() + Crlf();
  for (const MessageLogRow& row : rows_) {
    out += row.column1 + QLatin1Char(' ') + row.text + Crlf();
  }
  return out;
}

}  // namespace telmon
