#include "tools/CalHdrWrite.h"

#include "platform/Prompter.h"
#include "tools/CalHdrValues.h"
#include "util/Clock.h"
#include "util/ErrorInfo.h"
#include "util/IRaiseMsg.h"
#include "util/TextConversionFunctions.h"
#include "util/UtilityFunctions.h"
#include "views/IEditGate.h"
#include "watches/IChannelValueWriter.h"

namespace telmon {

namespace {

void ReportCaught(IRaiseMsg& sink, const char* code) {
  const ErrorInfo error = CurrentErrorInfo();
  sink.RaiseMsg(MsgType::Error, QStringLiteral("%1: %2, %3")
                                    .arg(QLatin1String(code))
                                    .arg(error.number)
                                    .arg(error.description));
}

// The channel ID of a record: its key with every "C" removed.
std::int32_t ChannelId(const ChannelConfigInfo& channel) {
  const QString id = QString(channel.Key).remove(QLatin1Char('C'));
  const auto value = IsNumeric(id) ? ToInt32(id) : std::nullopt;
  if (!value) {
    throw TelmonError::TypeMismatch();
  }
  return *value;
}

// Edit mode and the span table; empty when the write stops here.
std::optional<CalHdrSpanTable> Prepare(const CalHdrGrid& grid,
                                       const CalHdrWriteServices& services) {
  try {
    if (!services.edit.EditsAllowed() && !services.edit.AskWhetherUserWantsToEnableEditing()) {
      return std::nullopt;
    }
    CalHdrSpanTable spans = CalHdrSpanTable::FromGrid(grid);
    if (spans.Empty()) {
      services.prompter.Show(QStringLiteral("No spans are specified. [TELM-0062]"),
                             services.appTitle, PromptIcon::Exclamation);
      return std::nullopt;
    }
    return spans;
  } catch (...) {
    ReportCaught(services.sink, "TELM-0065");
    return std::nullopt;
  }
}

}  // namespace

std::optional<int> WriteCalHdrChannels(const CalHdrGrid& grid,
                                       const ChannelConfigInfoManager::Records& channels,
                                       const CalHdrWriteServices& services) {
  const std::optional<CalHdrSpanTable> spans = Prepare(grid, services);
  if (!spans) {
    return std::nullopt;
  }
  // The values are written in groups of records rather than one transaction each; a failed
  // record is reported by the writer itself and the channel still counts. The report comes
  // once the last record is written or reported; a cancelled write ends with the writer's note.
  const QString callerCode = QLatin1String(CalHdrCallerCode);
  std::vector<ChannelValue> values;
  try {
    CalHdrInjectionTimes times;  // group numbering restarts with every write
    CalHdrChannelContext context{*spans, times, RoundDownToPeriod(Now(services.clock), 86400)};
    for (const auto& channel : channels) {
      if (!IsCalHistoryAddress(channel->Address) || AddressPrefix(channel->Address).isEmpty()) {
        continue;
      }
      const QString value = CalHdrChannelValue(channel->Name, channel->Address, context);
      if (!value.isEmpty()) {
        values.push_back({ChannelId(*channel), Value(value)});
      }
    }
  } catch (...) {
    // The channels met before the failure are written, as they would have been one by one.
    const ErrorInfo error = CurrentErrorInfo();
    services.writer.WriteChannelValueRecordsThen(
        callerCode, std::move(values), QStringLiteral("Cal HDR write"),
        [services, error](const ChannelWriteOutcome&) {
          services.sink.RaiseMsg(
              MsgType::Error,
              QStringLiteral("TELM-0066: %1, %2").arg(error.number).arg(error.description));
        });
    return std::nullopt;
  }
  const auto count = static_cast<int>(values.size());
  services.writer.WriteChannelValueRecordsThen(
      callerCode, std::move(values), QStringLiteral("Cal HDR write"),
      [services, count](const ChannelWriteOutcome& outcome) {
        if (outcome.cancelled) {
          return;
        }
        const QString done =
            QStringLiteral("Wrote data to %1 cal HDR channels [TELM-0064]").arg(count);
        services.sink.RaiseMsg(MsgType::Progress, done);
        services.prompter.Show(done, services.appTitle, PromptIcon::Information);
      });
  return count;
}

}  // namespace telmon
