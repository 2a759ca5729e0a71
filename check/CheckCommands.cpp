#include "check/CheckCommands.h"

#include "alarms/AlarmListManager.h"
#include "alarms/AlarmStore.h"
#include "check/Reports.h"
#include "check/SequenceRunner.h"
#include "views/ChannelListviewManager.h"
#include "watches/TypedChannelIds.h"

#include <QDateTime>
#include <QElapsedTimer>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>

namespace telmon::check {

namespace {

void Print(std::FILE* out, const QString& text) {
  std::fputs(text.toUtf8().constData(), out);
  std::fflush(out);
}

QString Header(KeyedListModel& model, int column) {
  return model.headerData(column, Qt::Horizontal, Qt::DisplayRole).toString();
}

QString CsvField(const QString& text) {
  if (!text.contains(QLatin1Char(',')) && !text.contains(QLatin1Char('"')) &&
      !text.contains(QLatin1Char('\n'))) {
    return text;
  }
  return QLatin1Char('"') + QString(text).replace(QLatin1Char('"'), QStringLiteral("\"\"")) +
         QLatin1Char('"');
}

}  // namespace

QString ModelTable(KeyedListModel& model) {
  const int columns = model.columnCount({});
  std::vector<qsizetype> widths(static_cast<std::size_t>(columns));
  std::vector<QStringList> rows(1);
  for (int c = 0; c < columns; ++c) {
    rows[0] << Header(model, c);
  }
  for (int r = 0; r < model.RowCount(); ++r) {
    QStringList row;
    for (int c = 0; c < columns; ++c) {
      row << model.SubItem(model.RowAt(r), c);
    }
    rows.push_back(row);
  }
  for (const QStringList& row : rows) {
    for (int c = 0; c < columns; ++c) {
      widths[static_cast<std::size_t>(c)] =
          std::max(widths[static_cast<std::size_t>(c)], row[c].size());
    }
  }
  QString text;
  for (const QStringList& row : rows) {
    QString line;
    for (int c = 0; c < columns; ++c) {
      line += row[c].leftJustified(widths[static_cast<std::size_t>(c)] + 2);
    }
    text += line.trimmed() + QLatin1Char('\n');
  }
  return text;
}

QJsonArray ModelJson(KeyedListModel& model) {
  QJsonArray rows;
  for (int r = 0; r < model.RowCount(); ++r) {
    QJsonObject row;
    for (int c = 0; c < model.columnCount({}); ++c) {
      row.insert(Header(model, c), model.SubItem(model.RowAt(r), c));
    }
    rows.append(row);
  }
  return rows;
}

int StatusCommand(CheckSession& session, const CheckCommandLine& cl, std::FILE* out) {
  if (cl.json) {
    QJsonObject all;
    all.insert(QStringLiteral("dahs"), session.Settings().DahsID());
    all.insert(QStringLiteral("devices"), ModelJson(session.DevicesModel()));
    all.insert(QStringLiteral("queues"), ModelJson(session.QueuesModel()));
    all.insert(QStringLiteral("blocks"), ModelJson(session.BlocksModel()));
    Print(out, QString::fromUtf8(QJsonDocument(all).toJson(QJsonDocument::Indented)));
    return ExitPassed;
  }
  Print(out, QStringLiteral("Devices\n") + ModelTable(session.DevicesModel()) +
                 QStringLiteral("\nQueues\n") + ModelTable(session.QueuesModel()) +
                 QStringLiteral("\nBlocks\n") + ModelTable(session.BlocksModel()));
  return ExitPassed;
}

int AlarmsCommand(CheckSession& session, const CheckCommandLine& cl, std::FILE* out) {
  AlarmStore store(session.Settings().SqlConnectionString_Alarms(), session.Settings().DahsID());
  QString error;
  auto rows = store.ReadCurrent(&error);
  if (!rows) {
    Print(stderr,
          QStringLiteral("telmon-check: the alarms database could not be read: %1\n").arg(error));
    return ExitUsage;
  }
  KeyedListModel model;
  AlarmListManager list(model);
  list.InitializeLsv();
  list.UpdateLsv(std::move(*rows));
  if (cl.json) {
    QJsonArray alarms = ModelJson(model);
    for (qsizetype i = 0; i < alarms.size(); ++i) {
      QJsonObject row = alarms[i].toObject();
      row.insert(QStringLiteral("id"),
                 static_cast<qint64>(list.Alarms()[static_cast<std::size_t>(i)].id));
      row.insert(QStringLiteral("stateCode"), list.Alarms()[static_cast<std::size_t>(i)].stateCode);
      alarms[i] = row;
    }
    QJsonObject all;
    all.insert(QStringLiteral("dahs"), session.Settings().DahsID());
    all.insert(QStringLiteral("count"), list.Count());
    all.insert(QStringLiteral("unack"), list.UnackCount());
    all.insert(QStringLiteral("alarms"), alarms);
    Print(out, QString::fromUtf8(QJsonDocument(all).toJson(QJsonDocument::Indented)));
    return ExitPassed;
  }
  Print(out, AlarmListManager::PanelText(list.Count(), list.UnackCount()) + QStringLiteral("\n") +
                 ModelTable(model));
  return ExitPassed;
}

namespace {

// One realtime read of the watched channels, one line each; false when the read failed.
bool PrintReading(CheckSession& session, const std::vector<std::int32_t>& ids, bool csv,
                  std::FILE* out) {
  QStringList ioids;
  for (const std::int32_t id : ids) {
    ioids << QString::number(id) + QLatin1Char('C');
  }
  const std::optional<CurrentValues> values = session.Dbil().ReadCurrentValues(
      session.Settings().SqlConnectionString_Realtime(), QDateTime(), ioids.join(QLatin1Char(',')));
  const QString now = QTime::currentTime().toString(QStringLiteral("HH:mm:ss"));
  if (!values) {
    Print(stderr, QStringLiteral("%1  the realtime database could not be read\n").arg(now));
    return false;
  }
  for (qsizetype i = 0; i < ioids.size(); ++i) {
    const auto it = values->constFind(ioids[i]);
    const bool found = it != values->constEnd();
    const QString value = found ? ChannelListviewManager::ValueText(*it) : QString();
    const QString stamp = found ? it->timestamp.toString(Qt::ISODate) : QString();
    const QString id = QString::number(ids[static_cast<std::size_t>(i)]);
    Print(out, csv ? QStringList{now, id, CsvField(value), stamp}.join(QLatin1Char(',')) +
                         QLatin1Char('\n')
                   : QStringLiteral("%1  %2  %3  %4\n")
                         .arg(now, -8)
                         .arg(id, -8)
                         .arg(value, -16)
                         .arg(stamp));
  }
  return true;
}

}  // namespace

int WatchCommand(CheckSession& session, const CheckCommandLine& cl, Interrupts& interrupts,
                 std::FILE* out) {
  // The add-channel dialog's rules and its list limit.
  const TypedChannelIds parsed = ParseTypedChannelIds(cl.argument, 32767);
  if (parsed.status != TypedChannelIds::Status::Ok) {
    Print(stderr,
          parsed.status == TypedChannelIds::Status::Invalid
              ? QStringLiteral("'") + parsed.invalidPiece + QStringLiteral("' is not valid.\n")
          : parsed.status == TypedChannelIds::Status::Overflow
              ? QStringLiteral("Overflow\n")
              : QStringLiteral("%1 channels are more than a watch list holds\n").arg(parsed.count));
    return ExitUsage;
  }
  bool interrupted = false;
  QObject::connect(&interrupts, &Interrupts::Interrupted, &session,
                   [&interrupted] { interrupted = true; });
  Print(out, cl.csv ? QStringLiteral("read,channel,value,timestamp\n")
                    : QStringLiteral("%1  %2  %3  %4\n")
                          .arg(QStringLiteral("read"), -8)
                          .arg(QStringLiteral("channel"), -8)
                          .arg(QStringLiteral("value"), -16)
                          .arg(QStringLiteral("timestamp")));
  QElapsedTimer running;
  running.start();
  const qint64 limitMs = cl.seconds ? static_cast<qint64>(*cl.seconds * 1000) : -1;
  int code = ExitPassed;
  while (!interrupted) {
    if (!PrintReading(session, parsed.ids, cl.csv, out)) {
      code = ExitFailed;
    }
    if (limitMs >= 0 && running.elapsed() + 2000 > limitMs) {
      break;
    }
    RunUntil([&interrupted] { return interrupted; }, 2000);
  }
  return interrupted ? ExitInterrupted : code;
}

int RunCommand(CheckSession& session, const Sequence& sequence, const CheckCommandLine& cl,
               Interrupts& interrupts, std::FILE* out) {
  SequenceRunner runner(session, RunnerOptions{});
  bool interrupted = false;
  QObject::connect(&interrupts, &Interrupts::Interrupted, &runner, [&runner, &interrupted] {
    interrupted = true;
    runner.Interrupt();
  });
  const RunReport report = runner.Run(sequence);
  Print(out, cl.tap ? TapReport(report) : TableReport(report));
  if (!cl.junitFile.isEmpty()) {
    QString error;
    if (!WriteJUnitFile(report, QStringLiteral("telmon-check"), cl.junitFile, &error)) {
      Print(stderr, QStringLiteral("telmon-check: ") + error + QLatin1Char('\n'));
      return ExitUsage;
    }
  }
  if (interrupted) {
    return ExitInterrupted;
  }
  return report.AllPassed() ? ExitPassed : ExitFailed;
}

}  // namespace telmon::check
