#include "watches/ChangeChanValueModel.h"

#include "ioslink/ICommandSender.h"
#include "ioslink/IosCommands.h"
#include "journal/JournaledSender.h"
#include "platform/Prompter.h"
#include "util/ErrorInfo.h"
#include "util/TextConversionFunctions.h"
#include "util/UtilityXMLDOMFunctions.h"
#include "views/ChannelConfigInfoManager.h"
#include "watches/EnteredValue.h"
#include "watches/IChannelValueWriter.h"

namespace telmon {

void ReportFailure(Prompter& prompter, const QString& title, const QString& codePrefix) {
  const ErrorInfo info = CurrentErrorInfo();
  prompter.Show(codePrefix + QString::number(info.number) + QStringLiteral(", ") + info.description,
                title, PromptIcon::Exclamation);
}

namespace {

bool IsForceable(const QString& dataSource) {
  return dataSource == QLatin1String(IosCommands::DataSource::ForcedValue) ||
         dataSource == QLatin1String(IosCommands::DataSource::TriangleWave);
}

}  // namespace

ChangeChanValueModel::ChangeChanValueModel(ChangeValueServices services, QObject* parent)
    : QObject(parent), services_(std::move(services)) {}

void ChangeChanValueModel::SetChannelID(std::int32_t channelId) {
  try {
    ApplyChannel(channelId);
  } catch (...) {
    ReportFailure(services_.prompter, services_.title, QStringLiteral("TELM-0041: "));
  }
  Q_EMIT Changed();
}

void ChangeChanValueModel::ApplyChannel(std::int32_t channelId) {
  option_ = FixedOption;
  channelId_ = channelId;
  const ChannelConfigInfo* record = services_.configs.Item(QString::number(channelId));
  const ChannelConfigInfo none;
  const ChannelConfigInfo& info = record != nullptr ? *record : none;
  valueRange_ = info.Scaling;
  if (info.DataSource == QLatin1String(IosCommands::DataSource::TriangleWave)) {
    option_ = WaveOption;
    // Through the boxes' own rules, as typing would: the new value starts at the minimum.
    SetMinText(info.OscillationMin);
    SetMaxText(info.OscillationMax);
    SetPeriodText(info.OscillationPeriod);
  }
  waveEnabled_ = IsForceable(info.DataSource);
}

void ChangeChanValueModel::SetNewValueText(const QString& text) {
  newValue_ = text;
  Q_EMIT Changed();
}

void ChangeChanValueModel::SetNullValue(bool checked) {
  nullValue_ = checked;
  Q_EMIT Changed();
}

void ChangeChanValueModel::SelectOption(int option) {
  option_ = option == WaveOption ? WaveOption : FixedOption;
  Q_EMIT Changed();
}

void ChangeChanValueModel::WaveBoxChanged() {
  option_ = WaveOption;
  if (!IsNumeric(period_)) {
    period_ = QStringLiteral("120");
  }
}

void ChangeChanValueModel::SetMinText(const QString& text) {
  min_ = text;
  WaveBoxChanged();
  newValue_ = text;
  Q_EMIT Changed();
}

void ChangeChanValueModel::SetMaxText(const QString& text) {
  max_ = text;
  WaveBoxChanged();
  Q_EMIT Changed();
}

void ChangeChanValueModel::SetPeriodText(const QString& text) {
  period_ = text;
  option_ = WaveOption;
  Q_EMIT Changed();
}

QString ChangeChanValueModel::ForceCommand(const Value& entered) const {
  if (!waveEnabled_) {
    return {};
  }
  // Blank text forces an empty value, as Null does.
  const Value value = IsValueGiven(entered) ? entered : Value::Null();
  if (option_ == FixedOption) {
    return IosCommands::ForceChannelValue(channelId_, value);
  }
  return IosCommands::ForceChannelValueWave(channelId_, value, DecimalFromText(min_),
                                            DecimalFromText(max_), DecimalFromText(period_));
}

bool ChangeChanValueModel::Change() {
  Value value;
  try {
    value = DecideEnteredValue(nullValue_, newValue_, HexWidth::Bits32);
    if (channelId_ <= 0) {
      return true;
    }
    if (IsValueGiven(value)) {
      services_.writer.WriteChannelValueRecord(QLatin1String(CallerCode), channelId_, value);
    }
  } catch (...) {
    ReportFailure(services_.prompter, services_.title, QStringLiteral("TELM-0039: "));
    return false;
  }
  try {
    const QString command = ForceCommand(value);
    if (!command.isEmpty()) {
      SendForce(command, value);
    }
  } catch (...) {
    ReportFailure(services_.prompter, services_.title, QStringLiteral("TELM-0040: "));
    return false;
  }
  return true;
}

void ChangeChanValueModel::SendForce(const QString& command, const Value& value) const {
  if (services_.journaled == nullptr) {
    services_.sender.SendCommand(command);
    return;
  }
  const ChannelConfigInfo* config = services_.configs.Item(QString::number(channelId_));
  const QString target = config == nullptr
                             ? QString::number(channelId_)
                             : QString::number(channelId_) + QLatin1Char(' ') + config->Name;
  const QString text = IsValueGiven(value) ? xml::VariantToXmlText(value) : QString();
  services_.journaled->Send(
      command,
      {QStringLiteral("ForceChannelValue"),
       target,
       option_ == FixedOption
           ? text
           : QStringLiteral("%1 (wave %2 to %3, half period %4 s)").arg(text, min_, max_, period_),
       {},
       {},
       QString(),
       {},
       services_.previousValue ? services_.previousValue(channelId_) : QString()});
}

}  // namespace telmon
