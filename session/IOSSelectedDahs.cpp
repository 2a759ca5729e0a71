#include "session/IOSSelectedDahs.h"

#include "platform/SiteSettingsReader.h"
#include "platform/SqlConnection.h"
#include "util/Clock.h"
#include "util/ErrorInfo.h"
#include "util/TextConversionFunctions.h"

namespace telmon {

namespace {

void PassOn(IRaiseMsg& sink, const QStringList& messages, std::int32_t msgType) {
  for (const QString& text : messages) {
    sink.RaiseMsg(msgType, text);
  }
}

}  // namespace

bool IOSSelectedDahs::Load(IRaiseMsg& sink, std::int32_t dahsId, const QString& source,
                           const ConnectionStrings& forced) {
  Clear();
  try {
    if (LoadFrom(sink, dahsId, source, forced)) {
      return true;
    }
  } catch (...) {
    const ErrorInfo error = CurrentErrorInfo();
    sink.RaiseMsg(MsgType::Error,
                  QStringLiteral("IOS/TELM-0662: %1, %2").arg(error.number).arg(error.description));
  }
  Clear();
  return false;
}

bool IOSSelectedDahs::LoadFrom(IRaiseMsg& sink, std::int32_t dahsId, const QString& source,
                               const ConnectionStrings& forced) {
  SiteSettingsReader reader;
  const bool opened = reader.Open(source);
  sourceName_ = reader.SourceName();
  // Notes from a successful open are progress; the reason an open failed is an error.
  PassOn(sink, reader.TakeMessages(), opened ? MsgType::Progress : MsgType::Error);
  if (!opened || (dahsId != 0 && !reader.LoadDahs(dahsId))) {
    PassOn(sink, reader.TakeMessages(), MsgType::Error);
    sink.RaiseMsg(MsgType::PortLookup,
                  QStringLiteral("IOS/TELM-0661: couldn't load DAHS%1 from '%2'")
                      .arg(dahsId)
                      .arg(reader.SourceName()));
    return false;
  }
  settings_ = reader.Settings();
  QString ConnectionStrings::*const members[] = {
      &ConnectionStrings::config, &ConnectionStrings::alarms, &ConnectionStrings::data,
      &ConnectionStrings::dataShortTerm, &ConnectionStrings::realtime};
  for (const auto member : members) {
    if (!(forced.*member).isEmpty()) {
      settings_.connections.*member = forced.*member;
      forced_ = true;
    }
  }
  return true;
}

void IOSSelectedDahs::Clear() {
  const IClock* clock = clock_;
  const QString source = sourceName_;
  *this = IOSSelectedDahs(clock);
  sourceName_ = source;
}

QDateTime IOSSelectedDahs::Now() const {
  return clock_ != nullptr ? clock_->Now() : QDateTime::currentDateTime();
}

QString IOSSelectedDahs::DahsCompleteName() const {
  if (settings_.dahsDescription.isEmpty()) {
    return settings_.siteId;
  }
  return settings_.dahsDescription + QStringLiteral(" (") + settings_.siteId + QLatin1Char(')');
}

QStringList IOSSelectedDahs::GetInfoArray() const {
  auto line = [](const char* name, const QString& value) {
    return QLatin1String(name) + QLatin1Char('=') + value;
  };
  auto number = [](std::int32_t value) { return QString::number(value); };
  return {
      line("AutoOutputEnabled", BooleanText(settings_.autoOutputEnabled)),
      line("AutoOutputEnabledEx", number(settings_.autoOutputEnabledEx)),
      line("AutoOutputEnabledExRedundantDasTimeout",
           number(settings_.autoOutputEnabledExRedundantDasTimeout)),
      line("AutoOutputEnabledOverride", number(settings_.autoOutputEnabledOverride)),
      line("ExtraTraceMsgsEnabled", BooleanText(settings_.extraTraceMsgsEnabled)),
      line("LogFlushEnabled", BooleanText(settings_.logFlushEnabled)),
      line("HalvoDir", settings_.halvoDir),
      line("HalvoLogsDir", settings_.halvoLogsDir),
      line("HalvoSystemDir", settings_.halvoSystemDir),
      line("SqlConnectionString_Alarms", MaskConnectionString(settings_.connections.alarms)),
      line("SqlConnectionString_Config", MaskConnectionString(settings_.connections.config)),
      line("SqlConnectionString_Data", MaskConnectionString(settings_.connections.data)),
      line("SqlConnectionString_DataShortTerm",
           MaskConnectionString(settings_.connections.dataShortTerm)),
      line("SqlConnectionString_Realtime", MaskConnectionString(settings_.connections.realtime)),
      line("SqlConnectionStringsAreForced", BooleanText(forced_)),
      line("DahsID", number(settings_.dahsId)),
      line("DahsDescription", settings_.dahsDescription),
      line("Now", Now().toString(Qt::ISODate)),
      line("DahsCompleteName", DahsCompleteName()),
      line("HDREnabled", BooleanText(settings_.hdrEnabled)),
      line("SiteID", settings_.siteId),
      line("LanguageID", settings_.languageId),
  };
}

}  // namespace telmon
