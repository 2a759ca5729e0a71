#include "platform/SiteSettingsReader.h"

#include "platform/SqlConnection.h"
#include "util/TextConversionFunctions.h"

#include <INIReader.h>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <array>
#include <string>

namespace telmon {

namespace {

const char* const SiteSection = "Site";
const char* const TelmonSection = "Telmon";

struct ConnectionKey {
  const char* key;
  QString ConnectionStrings::*member;
};

const std::array<ConnectionKey, 5> ConnectionKeys = {{
    {"SqlConnectionString_Config", &ConnectionStrings::config},
    {"SqlConnectionString_Alarms", &ConnectionStrings::alarms},
    {"SqlConnectionString_Data", &ConnectionStrings::data},
    {"SqlConnectionString_DataShortTerm", &ConnectionStrings::dataShortTerm},
    {"SqlConnectionString_Realtime", &ConnectionStrings::realtime},
}};

std::optional<bool> ParseBool(const QString& text) {
  const QString word = text.trimmed().toLower();
  if (word == QStringLiteral("yes") || word == QStringLiteral("on")) {
    return true;
  }
  if (word == QStringLiteral("no") || word == QStringLiteral("off")) {
    return false;
  }
  return ToBoolean(word);
}

}  // namespace

SiteSettingsReader::SiteSettingsReader() = default;
SiteSettingsReader::~SiteSettingsReader() = default;

QString SiteSettingsReader::DefaultSource(QString* error) {
  const QString folder = qEnvironmentVariable(SystemFolderVariable).trimmed();
  if (folder.isEmpty()) {
    if (error != nullptr) {
      *error = QStringLiteral(
                   "the environment variable %1 is not set; it must name the folder that holds "
                   "%2")
                   .arg(QLatin1String(SystemFolderVariable), QLatin1String(SettingsFileName));
    }
    return {};
  }
  return QDir(folder).filePath(QLatin1String(SettingsFileName));
}

QStringList SiteSettingsReader::TakeMessages() {
  QStringList taken;
  taken.swap(messages_);
  return taken;
}

bool SiteSettingsReader::Open(const QString& source) {
  ini_.reset();
  settings_ = DahsSettings();
  QString path = source;
  if (path.isEmpty()) {
    QString error;
    path = DefaultSource(&error);
    if (path.isEmpty()) {
      sourceName_ = QLatin1String(SettingsFileName);
      messages_.append(error);
      return false;
    }
  } else if (QFileInfo(path).isDir()) {
    path = QDir(path).filePath(QLatin1String(SettingsFileName));
  }
  sourceName_ = QDir::cleanPath(QFileInfo(path).absoluteFilePath());
  if (!QFileInfo(sourceName_).isFile()) {
    Fail(QStringLiteral("the settings file does not exist"));
    return false;
  }
  ini_ = std::make_unique<INIReader>(QFile::encodeName(sourceName_).toStdString());
  const int parseError = ini_->ParseError();
  if (parseError != 0) {
    Fail(parseError < 0 ? QStringLiteral("the settings file can't be read")
                        : QStringLiteral("syntax error on line %1").arg(parseError));
    ini_.reset();
    return false;
  }
  settings_.halvoSystemDir = QFileInfo(sourceName_).absolutePath();
  if (!ReadSiteSection()) {
    ini_.reset();
    return false;
  }
  messages_.append(QStringLiteral("Read site settings from '%1'").arg(sourceName_));
  return true;
}

bool SiteSettingsReader::ReadSiteSection() {
  if (!ini_->HasSection(SiteSection)) {
    Fail(QStringLiteral("no section [Site]"));
    return false;
  }
  settings_.siteId = Text(SiteSection, "SiteID").value_or(QString()).trimmed();
  if (settings_.siteId.isEmpty()) {
    Fail(QStringLiteral("[Site] SiteID: missing or empty; every site needs an identifier"));
    return false;
  }
  settings_.languageId = Text(SiteSection, "LanguageID").value_or(QStringLiteral("EN")).trimmed();
  settings_.halvoDir = Text(SiteSection, "HalvoDir").value_or(settings_.halvoSystemDir).trimmed();
  settings_.halvoLogsDir = Text(SiteSection, "HalvoLogsDir")
                               .value_or(QDir(settings_.halvoDir).filePath(QStringLiteral("Logs")))
                               .trimmed();
  return ReadConnections(SiteSection, false) &&
         ReadBool(SiteSection, "ExtraTraceMsgsEnabled", &settings_.extraTraceMsgsEnabled) &&
         ReadBool(SiteSection, "LogFlushEnabled", &settings_.logFlushEnabled) &&
         ReadTelmonSection();
}

bool SiteSettingsReader::ReadTelmonSection() {
  const QString journal = Text(TelmonSection, "Journal").value_or(QString()).trimmed();
  QString error;
  const std::optional<DatabaseAddress> address =
      journal.isEmpty() ? std::nullopt : ParseConnectionString(journal, &error);
  if (!journal.isEmpty() && !address) {
    Fail(QStringLiteral("[Telmon] Journal: %1").arg(error));
    return false;
  }
  if (address && address->kind != DatabaseKind::Postgresql) {
    Fail(QStringLiteral("[Telmon] Journal: '%1' is not a postgresql:// connection string")
             .arg(MaskConnectionString(journal)));
    return false;
  }
  settings_.journalConnection = journal;
  return true;
}

bool SiteSettingsReader::LoadDahs(std::int32_t dahsId) {
  if (!ini_) {
    messages_.append(QStringLiteral("the settings file is not open"));
    return false;
  }
  const std::string section = "DAHS" + std::to_string(dahsId);
  const char* name = section.c_str();
  if (!ini_->HasSection(section)) {
    // A section without any setting reads as missing, so the message says what to add.
    Fail(QStringLiteral("no section [%1] (it needs at least a Description line)")
             .arg(QString::fromStdString(section)));
    return false;
  }
  DahsSettings& s = settings_;
  s.dahsId = dahsId;
  s.dahsDescription = Text(name, "Description").value_or(QString()).trimmed();
  return ReadBool(name, "AutoOutputEnabled", &s.autoOutputEnabled) &&
         ReadInt(name, "AutoOutputEnabledEx", &s.autoOutputEnabledEx) &&
         ReadInt(name, "AutoOutputEnabledExRedundantDasTimeout",
                 &s.autoOutputEnabledExRedundantDasTimeout) &&
         ReadInt(name, "AutoOutputEnabledOverride", &s.autoOutputEnabledOverride) &&
         ReadBool(name, "HDREnabled", &s.hdrEnabled) &&
         ReadBool(name, "ExtraTraceMsgsEnabled", &s.extraTraceMsgsEnabled) &&
         ReadBool(name, "LogFlushEnabled", &s.logFlushEnabled) && ReadConnections(name, true);
}

bool SiteSettingsReader::ReadConnections(const char* section, bool keepMissing) {
  for (const ConnectionKey& entry : ConnectionKeys) {
    const std::optional<QString> text = Text(section, entry.key);
    if (text || !keepMissing) {
      settings_.connections.*entry.member = ResolveConnection(text.value_or(QString()).trimmed());
    }
  }
  return true;
}

std::optional<QString> SiteSettingsReader::Text(const char* section, const char* key) const {
  if (!ini_->HasValue(section, key)) {
    return std::nullopt;
  }
  return QString::fromStdString(ini_->Get(section, key, std::string()));
}

bool SiteSettingsReader::ReadBool(const char* section, const char* key, bool* value) {
  const std::optional<QString> text = Text(section, key);
  if (!text || text->trimmed().isEmpty()) {
    return true;
  }
  const std::optional<bool> parsed = ParseBool(*text);
  if (!parsed) {
    Fail(QStringLiteral("[%1] %2: '%3' is not true or false")
             .arg(QLatin1String(section), QLatin1String(key), *text));
    return false;
  }
  *value = *parsed;
  return true;
}

bool SiteSettingsReader::ReadInt(const char* section, const char* key, std::int32_t* value) {
  const std::optional<QString> text = Text(section, key);
  if (!text || text->trimmed().isEmpty()) {
    return true;
  }
  bool ok = false;
  const int parsed = text->trimmed().toInt(&ok);
  if (!ok) {
    Fail(QStringLiteral("[%1] %2: '%3' is not a whole number")
             .arg(QLatin1String(section), QLatin1String(key), *text));
    return false;
  }
  *value = parsed;
  return true;
}

// An SQLite file named relative to the settings file lives next to it, wherever the program
// was started from.
QString SiteSettingsReader::ResolveConnection(const QString& text) const {
  const QString prefix = QStringLiteral("sqlite:");
  if (!text.startsWith(prefix, Qt::CaseInsensitive)) {
    return text;
  }
  const QString path = text.mid(prefix.size());
  if (path.isEmpty() || QDir::isAbsolutePath(path) || path.startsWith(QStringLiteral("//"))) {
    return text;
  }
  return prefix + QDir::cleanPath(QDir(settings_.halvoSystemDir).filePath(path));
}

}  // namespace telmon
