#pragma once

#include "iossim/DemoSiteScale.h"

#include <QString>

namespace telmon::iossim {

// Writes a complete demo site into `dir`: the settings file "Halvo5.INI" and the SQLite
// databases it names, with devices, queues, blocks, channels and accounts for two DAHS units.
// Returns false and sets `error` when the folder or a database cannot be written.
// `scale` makes each DAHS's plant bigger (DemoSiteScale.h).
bool WriteDemoSite(const QString& dir, QString* error, const DemoScale& scale = {});

// Writes the lookups, accounts and I/O configuration of demo DAHS `dahsId` into an existing
// site database (any connection string, with the schema already in place), for sites that
// keep their data on a database server.
bool WriteDemoDahsDatabase(const QString& connectionString, int dahsId, QString* error,
                           const DemoScale& scale = {});

}  // namespace telmon::iossim
