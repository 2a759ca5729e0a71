#pragma once

// The site databases a benchmark runs on: one in an SQLite file and, when TELMON_TEST_PG says
// the test server is up (scripts/pg-test-server), one on PostgreSQL, dropped again at the end.
// Each has the site's tables and is then handed to `fill`. A case's argument 0 picks one:
// 0 for SQLite, 1 for PostgreSQL (empty when there is no server).

#include "platform/SiteSchema.h"
#include "platform/SqlConnection.h"

#include <QSqlQuery>
#include <QTemporaryDir>
#include <QUuid>

#include <benchmark/benchmark.h>

#include <functional>

namespace telmon::bench {

class SiteDatabases {
 public:
  explicit SiteDatabases(const std::function<void(const QString&)>& fill = {}) {
    sqlite_ = QStringLiteral("sqlite:") + dir_.filePath(QStringLiteral("bench.db"));
    Prepare(sqlite_, fill);
    if (!qEnvironmentVariableIsSet("TELMON_TEST_PG")) {
      return;
    }
    pgName_ = QStringLiteral("telmon_b_") + QUuid::createUuid().toString(QUuid::Id128).left(12);
    if (Admin(QStringLiteral("CREATE DATABASE %1").arg(pgName_))) {
      postgresql_ = Server() + pgName_;
      Prepare(postgresql_, fill);
    }
  }
  ~SiteDatabases() {
    if (!pgName_.isEmpty()) {
      Admin(QStringLiteral("DROP DATABASE IF EXISTS %1 WITH (FORCE)").arg(pgName_));
    }
  }
  SiteDatabases(const SiteDatabases&) = delete;
  SiteDatabases& operator=(const SiteDatabases&) = delete;

  const QString& Of(const benchmark::State& state) const {
    return state.range(0) == 0 ? sqlite_ : postgresql_;
  }

 private:
  static void Prepare(const QString& connection, const std::function<void(const QString&)>& fill) {
    {
      SqlConnection link(connection, OpenMode::Create);
      QSqlDatabase* db = link.Database(nullptr);
      if (db == nullptr || !SiteSchema::Init(*db, nullptr)) {
        return;
      }
    }
    if (fill) {
      fill(connection);
    }
  }
  static QString Server() {
    return QStringLiteral("postgresql://%1@%2:%3/")
        .arg(qEnvironmentVariable("PGUSER"), qEnvironmentVariable("PGHOST"),
             qEnvironmentVariable("PGPORT"));
  }
  static bool Admin(const QString& sql) {
    SqlConnection admin(Server() + QStringLiteral("postgres"), OpenMode::ReadWrite);
    QSqlDatabase* db = admin.Database(nullptr);
    return db != nullptr && QSqlQuery(*db).exec(sql);
  }

  QTemporaryDir dir_;
  QString sqlite_;
  QString postgresql_;
  QString pgName_;
};

}  // namespace telmon::bench
