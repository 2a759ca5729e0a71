#pragma once

// The simulator's side of the site database: it reads the I/O configuration and lookups, takes
// pending channel writes from the command table and marks them done, and rewrites the
// realtime table every second in one transaction.

#include "iossim/SimConfig.h"
#include "iossim/SimPlant.h"
#include "platform/SqlConnection.h"

#include <QSqlQuery>
#include <QString>

#include <cstdint>
#include <memory>
#include <vector>

namespace telmon::iossim {

struct CommandRecord {
  std::int64_t id = 0;
  QString commandText;
};

class SimDatabase {
 public:
  SimDatabase(const QString& configConnection, const QString& realtimeConnection,
              const QString& siteId);

  bool LoadConfig(int dahsId, SimConfig* config, QString* error);
  QString Lookup(const QString& key, const QString& defaultValue, QString* error);
  bool StoreLookup(const QString& key, const QString& value, QString* error);

  bool WriteRealtime(const std::vector<RealtimePoint>& points, QString* error);

  // Unprocessed records of the site, oldest first.
  std::optional<std::vector<CommandRecord>> PendingCommands(QString* error);
  bool MarkDone(std::int64_t id, const QString& result, QString* error);

 private:
  QSqlDatabase* Config(QString* error);
  QSqlDatabase* Realtime(QString* error);

  SqlConnection config_;
  SqlConnection realtime_;
  QString siteId_;
};

}  // namespace telmon::iossim
