#pragma once

// Bulk mode-code writes of the "Bulk Writes" page without its widgets: one value written as
// "WriteToChannel" records (caller TELM-0075) to every channel whose address ends in an MC
// register, or to those of them that belong to analyzers. Meant for simulated devices; edit
// mode is the only gate.

#include <QString>

#include <cstdint>
#include <functional>
#include <vector>

namespace telmon {

class ChannelConfigInfoManager;
class IChannelValueWriter;
class IEditGate;
class IRaiseMsg;
class Prompter;
struct ChannelValue;
struct ChannelWriteOutcome;

struct BulkWriteServices {
  const ChannelConfigInfoManager& configs;
  IChannelValueWriter& writer;
  IEditGate& editGate;
  IRaiseMsg& sink;
  Prompter& prompter;
  QString title;
};

class BulkModeCodeWrites {
 public:
  enum class Mode { AllMC = 0, AnalyzerMC = 1, AnalyzerMC1112 = 2 };
  static constexpr char CallerCode[] = "TELM-0075";

  explicit BulkModeCodeWrites(BulkWriteServices services);

  // The two value boxes.
  QString txtWriteToAllMCChannels;
  QString txtWriteToAllCemsInfoMCChannels;

  // The page's buttons.
  void cmdWriteToAllMCChannels();
  void cmdWrite00ToAllMCChannels();
  void cmdWrite13ToAllMCChannels();
  void cmdWriteToAllCemsInfoMCChannels();
  void cmdWriteMC00ToAllCemsInfoMCChannels();
  void cmdWriteMC14ToAllCemsInfoMCChannels();
  void cmdWriteMC1112ToAllCemsInfoMCChannels();

  // Called with true before the records are written and with false after them (the page shows
  // the hourglass), never around the questions and messages before them.
  void SetBusyIndicator(std::function<void(bool)> busy) { busy_ = std::move(busy); }

  // The checks, the channel choice and the writes; reports TELM-0074, TELM-0076, TELM-0077.
  void BulkWrite(Mode mode, std::int32_t value);

  // The channels a mode writes and their values, in collection order. `lastValue` is the value
  // set for the last MC record examined. Throws (after filling what was chosen so far) when a
  // chosen record's key is no channel ID.
  static void ChooseChannels(const ChannelConfigInfoManager& configs, Mode mode, std::int16_t value,
                             std::vector<ChannelValue>& chosen, std::int16_t& lastValue);

 private:
  void StartFromBox(const QString& text, Mode mode, const QString& codePrefix);

  // Writes the records with the busy indicator on; `done` follows the last of them.
  void WriteRecords(std::vector<ChannelValue> chosen,
                    std::function<void(const ChannelWriteOutcome&)> done);

  BulkWriteServices services_;
  std::function<void(bool)> busy_;
};

}  // namespace telmon
