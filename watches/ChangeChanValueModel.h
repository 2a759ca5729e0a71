#pragma once

// The one-channel value dialog without its window: the controls' state, their rules and the
// "C&hange" operation. A change writes the "WriteToChannel" record (caller TELM-0038) and, for
// a channel whose data source is forceable, also sends "ForceChannelValue" to the I/O server.

#include "util/Value.h"
#include "watches/ChangeValueServices.h"

#include <QObject>
#include <QString>

#include <cstdint>

namespace telmon {

class ChangeChanValueModel : public QObject {
  Q_OBJECT

 public:
  static constexpr char CallerCode[] = "TELM-0038";
  static constexpr int FixedOption = 0;
  static constexpr int WaveOption = 1;

  explicit ChangeChanValueModel(ChangeValueServices services, QObject* parent = nullptr);

  // Fills the value range and, for a wave channel, the wave boxes from the channel's record,
  // and enables the options for a forceable channel (TELM-0041 on failure).
  void SetChannelID(std::int32_t channelId);
  std::int32_t ChannelID() const { return channelId_; }

  // Control state, as the dialog shows it.
  const QString& txtNewValue() const { return newValue_; }
  bool chkNullValue() const { return nullValue_; }
  bool NewValueEnabled() const { return !nullValue_; }
  const QString& txtValueRange() const { return valueRange_; }
  int optRandomValues() const { return option_; }
  // Both options, the wave labels and the wave boxes.
  bool WaveControlsEnabled() const { return waveEnabled_; }
  const QString& txtMin() const { return min_; }
  const QString& txtMax() const { return max_; }
  const QString& txtPeriod() const { return period_; }

  // The operator's edits; each emits Changed.
  void SetNewValueText(const QString& text);
  void SetNullValue(bool checked);
  void SelectOption(int option);
  void SetMinText(const QString& text);
  void SetMaxText(const QString& text);
  void SetPeriodText(const QString& text);

  // "C&hange": true when the dialog is to close; false when a failure was reported
  // (TELM-0039, TELM-0040) and the dialog stays open, steps already done left done.
  bool Change();

 Q_SIGNALS:
  void Changed();

 private:
  void SendForce(const QString& command, const Value& value) const;
  void ApplyChannel(std::int32_t channelId);
  void WaveBoxChanged();
  QString ForceCommand(const Value& entered) const;

  ChangeValueServices services_;
  std::int32_t channelId_ = 0;
  QString newValue_;
  bool nullValue_ = false;
  QString valueRange_ = QStringLiteral("(N/A)");
  int option_ = FixedOption;
  bool waveEnabled_ = false;
  QString min_;
  QString max_;
  QString period_;
};

}  // namespace telmon
