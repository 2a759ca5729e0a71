#pragma once

// The settings of the one DAHS this program watches: identity, site and language, connection
// strings, folders and switches, loaded once at start-up through the settings library and read
// by every other part of the program.

#include "platform/H5DBIL.h"
#include "util/IRaiseMsg.h"

#include <QDateTime>
#include <QString>
#include <QStringList>

#include <cstdint>

namespace telmon {

class IClock;
struct DahsSettings;

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

  bool AutoOutputEnabled() const { return autoOutputEnabled_; }
  std::int32_t AutoOutputEnabledEx() const { return autoOutputEnabledEx_; }
  std::int32_t AutoOutputEnabledExRedundantDasTimeout() const { return redundantDasTimeout_; }
  std::int32_t AutoOutputEnabledOverride() const { return autoOutputEnabledOverride_; }
  bool ExtraTraceMsgsEnabled() const { return extraTraceMsgsEnabled_; }
  bool LogFlushEnabled() const { return logFlushEnabled_; }
  const QString& HalvoDir() const { return halvoDir_; }
  const QString& HalvoLogsDir() const { return halvoLogsDir_; }
  const QString& HalvoSystemDir() const { return halvoSystemDir_; }
  const QString& SqlConnectionString_Alarms() const { return connections_.alarms; }
  const QString& SqlConnectionString_Config() const { return connections_.config; }
  const QString& SqlConnectionString_Data() const { return connections_.data; }
  const QString& SqlConnectionString_DataShortTerm() const { return connections_.dataShortTerm; }
  const QString& SqlConnectionString_Realtime() const { return connections_.realtime; }
  bool SqlConnectionStringsAreForced() const { return forced_; }
  std::int32_t DahsID() const { return dahsId_; }
  const QString& DahsDescription() const { return dahsDescription_; }
  QDateTime Now() const;
  QString DahsCompleteName() const;
  bool HDREnabled() const { return hdrEnabled_; }
  const QString& SiteID() const { return siteId_; }
  const QString& LanguageID() const { return languageId_; }
  // "Name=value" for every property, in declaration order, passwords masked; for display.
  QStringList GetInfoArray() const;

  // The five connection strings together, as the database interface takes them.
  const ConnectionStrings& Connections() const { return connections_; }
  // The settings file the last Load read from.
  const QString& SourceName() const { return sourceName_; }

 private:
  void Clear();
  void CopyFrom(const DahsSettings& settings);
  bool LoadFrom(IRaiseMsg& sink, std::int32_t dahsId, const QString& source,
                const ConnectionStrings& forced);

  const IClock* clock_;
  bool autoOutputEnabled_ = false;
  std::int32_t autoOutputEnabledEx_ = 0;
  std::int32_t redundantDasTimeout_ = 0;
  std::int32_t autoOutputEnabledOverride_ = 0;
  bool extraTraceMsgsEnabled_ = false;
  bool logFlushEnabled_ = false;
  QString halvoDir_;
  QString halvoLogsDir_;
  QString halvoSystemDir_;
  ConnectionStrings connections_;
  bool forced_ = false;
  std::int32_t dahsId_ = 0;
  QString dahsDescription_;
  bool hdrEnabled_ = false;
  QString siteId_;
  QString languageId_;
  QString sourceName_;
};

}  // namespace telmon
