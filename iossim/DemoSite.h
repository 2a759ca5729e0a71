#pragma once

#include <QString>

namespace telmon::iossim {

// Writes a complete demo site into `dir`: the settings file "Halvo5.INI" and the SQLite
// databases it names, with devices, queues, blocks, channels and accounts for two DAHS units.
// Returns false and sets `error` when the folder or a database cannot be written.
bool WriteDemoSite(const QString& dir, QString* error);

// Writes the lookups, accounts and I/O configuration of demo DAHS `dahsId` into an existing
// site database (any connection string, with the schema already in place), for sites that
// keep their data on a database server.
bool WriteDemoDahsDatabase(const QString& connectionString, int dahsId, QString* error);

}  // namespace telmon::iossim
