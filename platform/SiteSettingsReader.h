#pragma once

// The settings library: reads the site's settings file "Halvo5.INI" (INI format, UTF-8) from
// the folder named by HALVO5_SYSTEM_FOLDER. Section [Site] holds the site-wide settings and
// one section [DAHS<n>] each DAHS's own; a DAHS section may override the connection strings.
// An optional section [Telmon] holds what only this program reads.
// Problems are collected as messages that name the file, the section and the key.

#include "platform/H5DBIL.h"

#include <QDateTime>
#include <QString>
#include <QStringList>

#include <cstdint>
#include <memory>

class INIReader;

namespace telmon {

inline constexpr char SystemFolderVariable[] = "HALVO5_SYSTEM_FOLDER";
inline constexpr char SettingsFileName[] = "Halvo5.INI";

struct DahsSettings {
  bool autoOutputEnabled = false;
  std::int32_t autoOutputEnabledEx = 0;
  std::int32_t autoOutputEnabledExRedundantDasTimeout = 0;
  std::int32_t autoOutputEnabledOverride = 0;
  bool extraTraceMsgsEnabled = false;
  bool logFlushEnabled = false;
  QString halvoDir;
  QString halvoLogsDir;
  QString halvoSystemDir;
  ConnectionStrings connections;
  std::int32_t dahsId = 0;
  QString dahsDescription;
  bool hdrEnabled = false;
  QString siteId;
  QString languageId;
  // [Telmon] Journal: the site's shared operator journal (a PostgreSQL connection string);
  // empty: each computer keeps its journal to itself.
  QString journalConnection;
};

class SiteSettingsReader {
 public:
  SiteSettingsReader();
  ~SiteSettingsReader();
  SiteSettingsReader(const SiteSettingsReader&) = delete;
  SiteSettingsReader& operator=(const SiteSettingsReader&) = delete;

  // The settings file named by the environment; empty with `error` set when the variable is
  // missing or empty.
  static QString DefaultSource(QString* error);

  // Opens the settings file (a file, or a folder holding "Halvo5.INI"; empty = the default
  // source) and reads the site-wide section.
  bool Open(const QString& source);
  // Reads section [DAHS<n>] over the site-wide values.
  bool LoadDahs(std::int32_t dahsId);

  const DahsSettings& Settings() const { return settings_; }
  // The file that was (or would have been) read; what messages call the source.
  const QString& SourceName() const { return sourceName_; }
  QDateTime Now() const { return QDateTime::currentDateTime(); }
  // Messages collected since the last call, oldest first.
  QStringList TakeMessages();

 private:
  bool ReadSiteSection();
  bool ReadTelmonSection();
  bool ReadConnections(const char* section, bool keepMissing);
  std::optional<QString> Text(const char* section, const char* key) const;
  bool ReadBool(const char* section, const char* key, bool* value);
  bool ReadInt(const char* section, const char* key, std::int32_t* value);
  QString ResolveConnection(const QString& text) const;
  void Fail(const QString& text) { messages_.append(sourceName_ + QStringLiteral(": ") + text); }

  std::unique_ptr<INIReader> ini_;
  QString sourceName_;
  DahsSettings settings_;
  QStringList messages_;
};

}  // namespace telmon
