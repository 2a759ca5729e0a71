#pragma once

// A real alarms database for the tests (an SQLite file, or a fresh PostgreSQL database when
// the test script started a server) with the site schema, and short ways to write alarms.

#include "alarms/AlarmStore.h"
#include "tests/platform/SiteDatabaseFixture.h"

#include <QStringList>

#include <memory>

namespace telmon::test {

inline QDateTime At(int day, int h, int m, int s = 0) {
  return QDateTime(QDate(2024, 3, day), QTime(h, m, s));
}

inline AlarmCondition Condition(const QString& kind, std::int32_t id, const QString& condition,
                                int priority = 1, const QString& name = QString()) {
  return {kind,      id,       name,
          condition, priority, condition + QStringLiteral(" of ") + QString::number(id)};
}

inline AlarmCondition DeviceWatchdog(std::int32_t id = 3) {
  return Condition(AlarmSourceKind::Device, id, QStringLiteral("Watchdog failure"), 1,
                   QStringLiteral("CEMS A"));
}

// "sourceId condition state active ackby", one per current alarm in page order.
inline QStringList Summary(const std::vector<AlarmRow>& rows) {
  QStringList lines;
  for (const AlarmRow& r : rows) {
    lines << QStringLiteral("%1 %2 %3 %4 %5")
                 .arg(r.sourceId)
                 .arg(r.condition, r.stateCode)
                 .arg(r.active ? 1 : 0)
                 .arg(r.acknowledgedBy.isEmpty() ? QStringLiteral("-") : r.acknowledgedBy);
  }
  return lines;
}

class AlarmDatabase {
 public:
  explicit AlarmDatabase(Backend backend) : db_(std::make_unique<ScratchDatabase>(backend)) {
    db_->Init();
    store_ = std::make_unique<AlarmStore>(db_->ConnectionString(), 1);
  }
  ScratchDatabase& Db() { return *db_; }
  AlarmStore& Store() { return *store_; }
  const QString& Connection() const { return db_->ConnectionString(); }

  std::vector<AlarmRow> Current() {
    QString error;
    const auto rows = store_->ReadCurrent(&error);
    EXPECT_TRUE(rows.has_value()) << error.toStdString();
    return rows ? *rows : std::vector<AlarmRow>{};
  }
  void Raise(const AlarmCondition& c, const QDateTime& at) {
    QString error;
    ASSERT_TRUE(store_->Raise(c, at, &error)) << error.toStdString();
  }
  void Clear(const AlarmCondition& c, const QDateTime& at) {
    QString error;
    ASSERT_TRUE(store_->Clear(c.sourceKind, c.sourceId, c.condition, at, &error))
        << error.toStdString();
  }
  // "event state who" of the history, oldest first.
  QStringList History() {
    QStringList lines;
    for (const QVariantList& row : db_->Rows(QStringLiteral(
             "SELECT sourceid, event, state, who FROM H5ALARMHISTORY ORDER BY id"))) {
      lines << QStringLiteral("%1 %2 %3 %4")
                   .arg(row[0].toInt())
                   .arg(row[1].toString(), row[2].toString(),
                        row[3].toString().isEmpty() ? QStringLiteral("-") : row[3].toString());
    }
    return lines;
  }

 private:
  std::unique_ptr<ScratchDatabase> db_;
  std::unique_ptr<AlarmStore> store_;
};

}  // namespace telmon::test
