#pragma once

// Real site databases for the tests: an SQLite file in a temporary folder, or a fresh database
// on the PostgreSQL server that scripts/test starts (PGHOST, PGPORT, PGUSER, TELMON_TEST_PG).

#include "platform/SiteSchema.h"
#include "platform/SqlConnection.h"

#include <QSqlError>
#include <QSqlQuery>
#include <QSqlRecord>
#include <QTemporaryDir>
#include <QUuid>

#include <gtest/gtest.h>

#include <memory>

namespace telmon::test {

enum class Backend { Sqlite, Postgresql };

inline std::string BackendName(const ::testing::TestParamInfo<Backend>& info) {
  return info.param == Backend::Sqlite ? "Sqlite" : "Postgresql";
}

inline bool PostgresqlAvailable() { return qEnvironmentVariableIsSet("TELMON_TEST_PG"); }

inline QString PostgresqlServerAddress() {
  return QStringLiteral("postgresql://%1@%2:%3/")
      .arg(qEnvironmentVariable("PGUSER"), qEnvironmentVariable("PGHOST"),
           qEnvironmentVariable("PGPORT"));
}

// One empty database, dropped again when the object goes.
class ScratchDatabase {
 public:
  explicit ScratchDatabase(Backend backend) {
    if (backend == Backend::Sqlite) {
      connection_ = QStringLiteral("sqlite:") + dir_.filePath(QStringLiteral("site.db"));
      return;
    }
    name_ =
        QStringLiteral("telmon_t_") + QUuid::createUuid().toString(QUuid::Id128).left(16).toLower();
    Admin(QStringLiteral("CREATE DATABASE %1").arg(name_));
    connection_ = PostgresqlServerAddress() + name_;
  }
  ~ScratchDatabase() {
    if (!name_.isEmpty()) {
      Admin(QStringLiteral("DROP DATABASE IF EXISTS %1 WITH (FORCE)").arg(name_));
    }
  }
  ScratchDatabase(const ScratchDatabase&) = delete;
  ScratchDatabase& operator=(const ScratchDatabase&) = delete;

  const QString& ConnectionString() const { return connection_; }
  QString Folder() const { return dir_.path(); }

  // Creates the schema up to `version`.
  void Init(int version = SiteSchema::CurrentVersion) {
    SqlConnection connection(connection_, OpenMode::Create);
    QString error;
    QSqlDatabase* db = connection.Database(&error);
    ASSERT_NE(db, nullptr) << error.toStdString();
    ASSERT_TRUE(SiteSchema::UpgradeTo(*db, version, &error)) << error.toStdString();
  }

  // Runs one statement with bound values on a connection of its own.
  void Exec(const QString& sql, const QVariantList& values = {}) {
    SqlConnection connection(connection_, OpenMode::Create);
    QString error;
    QSqlDatabase* db = connection.Database(&error);
    ASSERT_NE(db, nullptr) << error.toStdString();
    QSqlQuery query(*db);
    if (values.isEmpty()) {
      ASSERT_TRUE(query.exec(sql)) << query.lastError().text().toStdString();
      return;
    }
    ASSERT_TRUE(query.prepare(sql)) << query.lastError().text().toStdString();
    for (int i = 0; i < values.size(); ++i) {
      query.bindValue(i, values[i]);
    }
    ASSERT_TRUE(query.exec()) << query.lastError().text().toStdString();
  }

  // The rows a SELECT returns, each as a list of column values.
  QList<QVariantList> Rows(const QString& sql, const QVariantList& values = {}) {
    SqlConnection connection(connection_, OpenMode::ReadWrite);
    QString error;
    QSqlDatabase* db = connection.Database(&error);
    QList<QVariantList> rows;
    EXPECT_NE(db, nullptr) << error.toStdString();
    if (db == nullptr) {
      return rows;
    }
    QSqlQuery query(*db);
    EXPECT_TRUE(query.prepare(sql)) << query.lastError().text().toStdString();
    for (int i = 0; i < values.size(); ++i) {
      query.bindValue(i, values[i]);
    }
    EXPECT_TRUE(query.exec()) << query.lastError().text().toStdString();
    while (query.next()) {
      QVariantList row;
      for (int c = 0; c < query.record().count(); ++c) {
        row.append(query.value(c));
      }
      rows.append(row);
    }
    return rows;
  }

 private:
  void Admin(const QString& sql) {
    SqlConnection admin(PostgresqlServerAddress() + QStringLiteral("postgres"),
                        OpenMode::ReadWrite);
    QString error;
    QSqlDatabase* db = admin.Database(&error);
    ASSERT_NE(db, nullptr) << error.toStdString();
    QSqlQuery query(*db);
    ASSERT_TRUE(query.exec(sql)) << query.lastError().text().toStdString();
  }

  QTemporaryDir dir_;
  QString name_;
  QString connection_;
};

// Skips the test when the backend is PostgreSQL and no server was started for the tests.
#define TELMON_REQUIRE_BACKEND(backend)                                            \
  do {                                                                             \
    if ((backend) == ::telmon::test::Backend::Postgresql &&                        \
        !::telmon::test::PostgresqlAvailable()) {                                  \
      GTEST_SKIP() << "no PostgreSQL server for the tests (TELMON_TEST_PG unset)"; \
    }                                                                              \
  } while (false)

// Collects what a QObject's Message signal or a message sink reports.
struct MessageLog {
  std::vector<std::pair<std::int32_t, QString>> entries;
  void Add(std::int32_t type, const QString& text) { entries.emplace_back(type, text); }
  QString All() const {
    QString all;
    for (const auto& [type, text] : entries) {
      all += QString::number(type) + QStringLiteral(": ") + text + QLatin1Char('\n');
    }
    return all;
  }
};

}  // namespace telmon::test
