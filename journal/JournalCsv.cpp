#include "journal/JournalCsv.h"

#include <QStringList>

namespace telmon {

namespace {

const QString kCrLf = QStringLiteral("\r\n");

QString CsvLine(const QStringList& fields) {
  QString line;
  for (qsizetype i = 0; i < fields.size(); ++i) {
    if (i > 0) {
      line += QLatin1Char(',');
    }
    line += CsvField(fields[i]);
  }
  return line + kCrLf;
}

}  // namespace

QString CsvField(const QString& text) {
  static const QString kSpecial = QStringLiteral(",\"\r\n");
  bool quote = false;
  for (const QChar c : text) {
    quote = quote || kSpecial.contains(c);
  }
  if (!quote) {
    return text;
  }
  QString quoted = text;
  quoted.replace(QLatin1Char('"'), QStringLiteral("\"\""));
  return QLatin1Char('"') + quoted + QLatin1Char('"');
}

namespace {

QByteArray HeaderLine() {
  return CsvLine({QStringLiteral("Time (UTC)"), QStringLiteral("Time (local)"),
                  QStringLiteral("DAHS"), QStringLiteral("Account"), QStringLiteral("Computer"),
                  QStringLiteral("Operation"), QStringLiteral("Targets"),
                  QStringLiteral("Previous"), QStringLiteral("Value"), QStringLiteral("Command"),
                  QStringLiteral("Outcome")})
      .toUtf8();
}

void AppendLine(const JournalEntry& e, QByteArray& out) {
  out += CsvLine({e.timeUtc.toString(Qt::ISODateWithMs), e.timeLocal, QString::number(e.dahs),
                  e.account, e.computer, e.operation, e.targets, e.previous, e.value, e.command,
                  e.outcome})
             .toUtf8();
}

}  // namespace

QByteArray JournalCsv(const std::vector<const JournalEntry*>& entries) {
  QByteArray bytes = HeaderLine();
  for (const JournalEntry* e : entries) {
    AppendLine(*e, bytes);
  }
  return bytes;
}

ChunkedWrite WriteJournalCsv(const QString& path, const std::vector<JournalEntry>& entries,
                             const ProgressFn& progress) {
  return WriteFileInChunks(
      path, HeaderLine(), entries.size(),
      [&entries](std::size_t i, QByteArray& out) { AppendLine(entries[i], out); }, progress);
}

}  // namespace telmon
