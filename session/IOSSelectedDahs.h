#pragma once

// The settings of the one DAHS this program watches: identity, site and language, connection
// strings, folders and switches, loaded once at start-up through the settings library and read
// by every other part of the program.

#include "platform/H5DBIL.h"
#include "platform/SiteSettingsReader.h"
#include "util/IRaiseMsg.h"

#include <QDateTime>
#include <QString>
#include <QStringList>

#include <cstdint>

namespace telmon {

class IClock;

class IOSSelectedDahs {
 public:
  // `clock` supplies Now(); the system clock when null.
  explicit IOSSelectedDahs(const IClock* clock = nullptr) : clock_(clock) {}

  // Loads DAHS `dahsId` (0: the site-wide part only) from `source` (the settings file or its
  // folder; empty = the file named by the environment). Non-empty strings in `forced` replace
  // the stored connection strings. Reports through `sink`; false when loading failed, and the
  // properties are then empty.
  bool Load(IRaiseMsg& sink, std::int32_t dahsId, const QString& source = QString(),
            const ConnectionStrings& forced = ConnectionStrings());

  bool AutoOutputEnabled() const { return settings_.autoOutputEnabled; }
  std::int32_t AutoOutputEnabledEx() const { return settings_.autoOutputEnabledEx; }
  std::int32_t AutoOutputEnabledExRedundantDasTimeout() const {
    return settings_.autoOutputEnabledExRedundantDasTimeout;
  }
  std::int32_t AutoOutputEnabledOverride() const { return settings_.autoOutputEnabledOverride; }
  bool ExtraTraceMsgsEnabled() const { return settings_.extraTraceMsgsEnabled; }
  bool LogFlushEnabled() const { return settings_.logFlushEnabled; }
  const QString& HalvoDir() const { return settings_.halvoDir; }
  const QString& HalvoLogsDir() const { return settings_.halvoLogsDir; }
  const QString& HalvoSystemDir() const { return settings_.halvoSystemDir; }
  const QString& SqlConnectionString_Alarms() const { return settings_.connections.alarms; }
  const QString& SqlConnectionString_Config() const { return settings_.connections.config; }
  const QString& SqlConnectionString_Data() const { return settings_.connections.data; }
  const QString& SqlConnectionString_DataShortTerm() const {
    return settings_.connections.dataShortTerm;
  }
  const QString& SqlConnectionString_Realtime() const { return settings_.connections.realtime; }
  bool SqlConnectionStringsAreForced() const { return forced_; }
  std::int32_t DahsID() const { return settings_.dahsId; }
  const QString& DahsDescription() const { return settings_.dahsDescription; }
  QDateTime Now() const;
  QString DahsCompleteName() const;
  bool HDREnabled() const { return settings_.hdrEnabled; }
  const QString& SiteID() const { return settings_.siteId; }
  const QString& LanguageID() const { return settings_.languageId; }
  const QString& JournalConnection() const { return settings_.journalConnection; }
  // "Name=value" for every property, in declaration order, passwords masked; for display.
  QStringList GetInfoArray() const;

  // The five connection strings together, as the database interface takes them.
  const ConnectionStrings& Connections() const { return settings_.connections; }
  // The settings file the last Load read from.
  const QString& SourceName() const { return sourceName_; }

 private:
  void Clear();
  bool LoadFrom(IRaiseMsg& sink, std::int32_t dahsId, const QString& source,
                const ConnectionStrings& forced);

  const IClock* clock_;
  // The settings as the reader gave them, with forced connection strings applied.
  DahsSettings settings_;
  bool forced_ = false;
  QString sourceName_;
};

}  // namespace telmon
