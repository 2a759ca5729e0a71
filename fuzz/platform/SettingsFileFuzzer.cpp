// Arbitrary bytes as the site's settings file, through the reader the program starts with: the
// site-wide section, then a few DAHS sections. A file the reader refuses must say why, naming
// the file; a file it accepts must give a site identifier; reading the same file twice must
// give the same settings. Any crash, sanitizer report or broken rule is a finding.

#include "platform/SiteSettingsReader.h"

#include <QByteArray>
#include <QFile>
#include <QString>

#include <cstdint>
#include <cstdlib>
#include <string>

using namespace telmon;

namespace {

void Check(bool condition) {
  if (!condition) {
    std::abort();
  }
}

// One settings file for the whole run, in a folder of its own.
const QString& SettingsPath() {
  static const QString path = [] {
    std::string folder = "/tmp/telmon-settings-fuzz.XXXXXX";
    Check(mkdtemp(folder.data()) != nullptr);
    return QString::fromStdString(folder) + QStringLiteral("/Halvo5.INI");
  }();
  return path;
}

bool AllNameTheFile(const QStringList& messages, const QString& source) {
  return !messages.isEmpty() &&
         std::all_of(messages.begin(), messages.end(),
                     [&](const QString& m) { return m.startsWith(source + QStringLiteral(": ")); });
}

QStringList Fields(const DahsSettings& s) {
  const ConnectionStrings& c = s.connections;
  return {s.siteId,
          s.languageId,
          s.halvoDir,
          s.halvoLogsDir,
          s.dahsDescription,
          c.config,
          c.alarms,
          c.data,
          c.dataShortTerm,
          c.realtime,
          QString::number(s.dahsId),
          QString::number(s.autoOutputEnabledEx),
          QString::number(s.hdrEnabled),
          QString::number(s.extraTraceMsgsEnabled)};
}

// Opens the file and reads the DAHS sections; the settings that result, or none.
std::optional<QStringList> Read(std::int32_t dahs) {
  SiteSettingsReader reader;
  if (!reader.Open(SettingsPath())) {
    Check(AllNameTheFile(reader.TakeMessages(), reader.SourceName()));
    return std::nullopt;
  }
  const QStringList opened = reader.TakeMessages();
  Check(!opened.isEmpty() && opened.back().startsWith(QStringLiteral("Read site settings from '")));
  Check(!reader.Settings().siteId.isEmpty());
  Check(reader.Settings().siteId == reader.Settings().siteId.trimmed());
  QStringList fields = Fields(reader.Settings());
  for (std::int32_t id : {1, dahs}) {
    const bool loaded = reader.LoadDahs(id);
    const QStringList messages = reader.TakeMessages();
    Check(loaded ? messages.isEmpty() : AllNameTheFile(messages, reader.SourceName()));
    Check(!loaded || reader.Settings().dahsId == id);
    fields << QString::number(loaded) << Fields(reader.Settings());
  }
  return fields;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  QFile file(SettingsPath());
  Check(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
  Check(file.write(reinterpret_cast<const char*>(data), static_cast<qint64>(size)) ==
        static_cast<qint64>(size));
  file.close();
  // A DAHS number from the text itself, so that the fuzzer can reach sections it writes.
  const std::int32_t dahs = size > 0 ? static_cast<std::int32_t>(data[size - 1] % 8) : 2;
  const std::optional<QStringList> first = Read(dahs);
  const std::optional<QStringList> again = Read(dahs);
  Check(first == again);
  return 0;
}
