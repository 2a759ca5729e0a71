#pragma once

// A realtime database in a temporary folder with `rows` current values, points "1C" to
// "<rows>C", for the benchmarks that read them back.

#include "platform/SiteSchema.h"
#include "platform/SqlConnection.h"

#include <QDateTime>
#include <QSqlQuery>
#include <QTemporaryDir>

namespace telmon::bench {

struct RealtimeSite {
  QTemporaryDir dir;
  QString connection;
  explicit RealtimeSite(int rows) {
    connection = QStringLiteral("sqlite:") + dir.filePath(QStringLiteral("rt.db"));
    SqlConnection sql(connection, OpenMode::Create);
    QSqlDatabase* db = sql.Database(nullptr);
    if (db == nullptr || !SiteSchema::Init(*db, nullptr) || !db->transaction()) {
      return;
    }
    QSqlQuery insert(*db);
    insert.prepare(QStringLiteral(
        "INSERT INTO H5REALTIME (ioid, tstamp, numvalue, textvalue) VALUES (?, ?, ?, '')"));
    for (int i = 1; i <= rows; ++i) {
      insert.bindValue(0, QString::number(i) + QLatin1Char('C'));
      insert.bindValue(1, QDateTime::currentDateTime());
      insert.bindValue(2, i * 0.5);
      insert.exec();
    }
    insert.finish();
    db->commit();
  }
};

}  // namespace telmon::bench
