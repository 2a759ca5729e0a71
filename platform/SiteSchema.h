#pragma once

// The site database schema, created and upgraded in numbered steps. Each step runs in its own
// transaction and records the version it reached in SCHEMA_VERSION, so an older database is
// brought up to date in place, keeping its rows, and an interrupted upgrade resumes cleanly.

#include <QSqlDatabase>
#include <QString>

namespace telmon::SiteSchema {

// 1: lookups, command records, realtime values. 2: accounts. 3: I/O configuration.
// 4: alarms and their history.
inline constexpr int CurrentVersion = 4;

// The schema version of the open database; 0 when it has no schema yet, -1 on a read error.
int Version(QSqlDatabase& db, QString* error = nullptr);

// Creates or upgrades the schema up to `targetVersion`. A database newer than this program
// is left alone and reported.
bool UpgradeTo(QSqlDatabase& db, int targetVersion, QString* error);
inline bool Init(QSqlDatabase& db, QString* error) { return UpgradeTo(db, CurrentVersion, error); }

// Opens (creating an SQLite file when needed) the database a connection string names and
// brings its schema up to date.
bool InitConnection(const QString& connectionString, QString* error);

}  // namespace telmon::SiteSchema
