#include "app/IOSSelectedDahs.h"

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
  CopyFrom(reader.Settings());
  QString ConnectionStrings::*const members[] = {
      &ConnectionStrings::config, &ConnectionStrings::alarms, &ConnectionStrings::data,
      &ConnectionStrings::dataShortTerm, &ConnectionStrings::realtime};
  for (const auto member : members) {
    if (!(forced.*member).isEmpty()) {
      connections_.*member = forced.*member;
      forced_ = true;
    }
  }
  return true;
}

void IOSSelectedDahs::CopyFrom(const DahsSettings& s) {
  autoOutputEnabled_ = s.autoOutputEnabled;
  autoOutputEnabledEx_ = s.autoOutputEnabledEx;
  redundantDasTimeout_ = s.autoOutputEnabledExRedundantDasTimeout;
  autoOutputEnabledOverride_ = s.autoOutputEnabledOverride;
  extraTraceMsgsEnabled_ = s.extraTraceMsgsEnabled;
  logFlushEnabled_ = s.logFlushEnabled;
  halvoDir_ = s.halvoDir;
  halvoLogsDir_ = s.halvoLogsDir;
  halvoSystemDir_ = s.halvoSystemDir;
  connections_ = s.connections;
  dahsId_ = s.dahsId;
  dahsDescription_ = s.dahsDescription;
  hdrEnabled_ = s.hdrEnabled;
  siteId_ = s.siteId;
  languageId_ = s.languageId;
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
  if (dahsDescription_.isEmpty()) {
    return siteId_;
  }
  return dahsDescription_ + QStringLiteral(" (") + siteId_ + QLatin1Char(')');
}

QStringList IOSSelectedDahs::GetInfoArray() const {
  auto line = [](const char* name, const QString& value) {
    return QLatin1String(name) + QLatin1Char('=') + value;
  };
  auto number = [](std::int32_t value) { return QString::number(value); };
  return {
      line("AutoOutputEnabled", BooleanText(autoOutputEnabled_)),
      line("AutoOutputEnabledEx", number(autoOutputEnabledEx_)),
      line("AutoOutputEnabledExRedundantDasTimeout", number(redundantDasTimeout_)),
      line("AutoOutputEnabledOverride", number(autoOutputEnabledOverride_)),
      line("ExtraTraceMsgsEnabled", BooleanText(extraTraceMsgsEnabled_)),
      line("LogFlushEnabled", BooleanText(logFlushEnabled_)),
      line("HalvoDir", halvoDir_),
      line("HalvoLogsDir", halvoLogsDir_),
      line("HalvoSystemDir", halvoSystemDir_),
      line("SqlConnectionString_Alarms", MaskConnectionString(connections_.alarms)),
      line("SqlConnectionString_Config", MaskConnectionString(connections_.config)),
      line("SqlConnectionString_Data", MaskConnectionString(connections_.data)),
      line("SqlConnectionString_DataShortTerm", MaskConnectionString(connections_.dataShortTerm)),
      line("SqlConnectionString_Realtime", MaskConnectionString(connections_.realtime)),
      line("SqlConnectionStringsAreForced", BooleanText(forced_)),
      line("DahsID", number(dahsId_)),
      line("DahsDescription", dahsDescription_),
      line("Now", Now().toString(Qt::ISODate)),
      line("DahsCompleteName", DahsCompleteName()),
      line("HDREnabled", BooleanText(hdrEnabled_)),
      line("SiteID", siteId_),
      line("LanguageID", languageId_),
  };
}

}  // namespace telmon
