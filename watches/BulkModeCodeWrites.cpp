#include "watches/BulkModeCodeWrites.h"

#include "platform/Prompter.h"
#include "util/ErrorInfo.h"
#include "util/IRaiseMsg.h"
#include "util/TextConversionFunctions.h"
#include "views/ChannelConfigInfoManager.h"
#include "views/IEditGate.h"
#include "watches/ChangeValueServices.h"
#include "watches/IChannelValueWriter.h"

#include <exception>
#include <memory>

namespace telmon {

namespace {

bool IsMcAddress(const QString& address) {
  const QString suffix = address.right(4).toUpper();
  return suffix == QLatin1String("MC75") || suffix == QLatin1String("MC60");
}

bool Has(const QString& name, const char* word, Qt::CaseSensitivity cs) {
  return name.contains(QLatin1String(word), cs);
}

// The analyzer rule that includes the name: 1 to 6 in the order tested, 0 for none. Some words
// are compared in exact case on purpose ("O2" also matches "SO2" but not "so2").
int AnalyzerRule(const QString& name) {
  if (Has(name, "NOx", Qt::CaseInsensitive)) {
    return 1;
  }
  if (Has(name, "O2", Qt::CaseSensitive)) {
    return 2;
  }
  if (Has(name, "CO", Qt::CaseSensitive)) {
    return 3;
  }
  if (Has(name, "NH3", Qt::CaseSensitive) && !Has(name, "Inj", Qt::CaseInsensitive)) {
    return 4;
  }
  if (Has(name, "opacity", Qt::CaseInsensitive)) {
    return 5;
  }
  return Has(name, "PM", Qt::CaseSensitive) ? 6 : 0;
}

std::int32_t ChannelIdOfKey(const QString& key) {
  QString digits = key;
  digits.remove(QLatin1Char('C'));
  const std::optional<std::int32_t> id = ToInt32(digits);
  if (!id) {
    throw IsNumeric(digits) ? TelmonError(ErrorNumber::Overflow, QStringLiteral("Overflow"))
                            : TelmonError::TypeMismatch();
  }
  return *id;
}

// The busy indicator on for the scope's lifetime, however it ends.
class BusyScope {
 public:
  explicit BusyScope(const std::function<void(bool)>& busy) : busy_(busy) { Set(true); }
  ~BusyScope() { Set(false); }
  BusyScope(const BusyScope&) = delete;
  BusyScope& operator=(const BusyScope&) = delete;

 private:
  void Set(bool on) const {
    if (busy_) {
      busy_(on);
    }
  }
  const std::function<void(bool)>& busy_;
};

}  // namespace

BulkModeCodeWrites::BulkModeCodeWrites(BulkWriteServices services)
    : services_(std::move(services)) {}

void BulkModeCodeWrites::ChooseChannels(const ChannelConfigInfoManager& configs, Mode mode,
                                        std::int16_t value, std::vector<ChannelValue>& chosen,
                                        std::int16_t& lastValue) {
  lastValue = value;
  for (const auto& record : configs.NewEnum()) {
    if (!IsMcAddress(record->Address)) {
      continue;
    }
    std::int16_t recordValue = value;
    if (mode != Mode::AllMC) {
      const int rule = AnalyzerRule(record->Name);
      if (mode == Mode::AnalyzerMC1112) {
        recordValue = rule == 2 && !Has(record->Name, "SO2", Qt::CaseInsensitive) ? 12 : 11;
        lastValue = recordValue;
      }
      if (rule == 0) {
        continue;
      }
    }
    chosen.push_back({ChannelIdOfKey(record->Key), Value(static_cast<int>(recordValue))});
  }
}

void BulkModeCodeWrites::BulkWrite(Mode mode, std::int32_t value) {
  try {
    if (!IsNumeric(txtWriteToAllMCChannels)) {
      services_.prompter.Show(QStringLiteral("Value to write must be numeric. [TELM-0074]"),
                              services_.title, PromptIcon::Exclamation);
      return;
    }
    if (!services_.editGate.EditsAllowed()) {
      services_.editGate.AskWhetherUserWantsToEnableEditing();
      if (!services_.editGate.EditsAllowed()) {
        return;
      }
    }
    if (value < -32768 || value > 32767) {
      throw TelmonError(ErrorNumber::Overflow, QStringLiteral("Overflow"));
    }
    std::vector<ChannelValue> chosen;
    std::int16_t lastValue = 0;
    std::exception_ptr failure;
    try {
      ChooseChannels(services_.configs, mode, static_cast<std::int16_t>(value), chosen, lastValue);
    } catch (...) {
      failure = std::current_exception();
    }
    // The channels chosen before a failure are written all the same: each write is the
    // operator's, and the report below says where it stopped. The report comes once the last
    // record is written or reported; a cancelled write ends with the writer's note instead.
    const std::size_t count = chosen.size();
    WriteRecords(
        std::move(chosen), [this, failure, lastValue, count](const ChannelWriteOutcome& outcome) {
          try {
            if (failure) {
              std::rethrow_exception(failure);
            }
            if (!outcome.cancelled) {
              services_.sink.RaiseMsg(MsgType::Progress,
                                      QStringLiteral("Wrote '") + QString::number(lastValue) +
                                          QStringLiteral("' to ") + QString::number(count) +
                                          QStringLiteral(" channels [TELM-0076]"));
            }
          } catch (...) {
            ReportFailure(services_.prompter, services_.title, QStringLiteral("TELM-0077: "));
          }
        });
  } catch (...) {
    ReportFailure(services_.prompter, services_.title, QStringLiteral("TELM-0077: "));
  }
}

void BulkModeCodeWrites::WriteRecords(std::vector<ChannelValue> chosen,
                                      std::function<void(const ChannelWriteOutcome&)> done) {
  // The busy indicator stays on until the last record is written or reported, which may be
  // after this returns when the writer works on a thread of its own.
  auto busy = std::make_shared<BusyScope>(busy_);
  services_.writer.WriteChannelValueRecordsThen(
      QLatin1String(CallerCode), std::move(chosen), QStringLiteral("Bulk mode-code write"),
      [busy, done = std::move(done)](const ChannelWriteOutcome& outcome) mutable {
        busy.reset();
        done(outcome);
      });
}

void BulkModeCodeWrites::StartFromBox(const QString& text, Mode mode, const QString& codePrefix) {
  try {
    const std::optional<std::int32_t> value = ToInt32(text);
    if (!value) {
      throw IsNumeric(text) ? TelmonError(ErrorNumber::Overflow, QStringLiteral("Overflow"))
                            : TelmonError::TypeMismatch();
    }
    BulkWrite(mode, *value);
  } catch (...) {
    ReportFailure(services_.prompter, services_.title, codePrefix);
  }
}

void BulkModeCodeWrites::cmdWriteToAllMCChannels() {
  StartFromBox(txtWriteToAllMCChannels, Mode::AllMC, QStringLiteral("TELM-0073: "));
}

void BulkModeCodeWrites::cmdWrite00ToAllMCChannels() {
  txtWriteToAllMCChannels = QStringLiteral("00");
  cmdWriteToAllMCChannels();
}

void BulkModeCodeWrites::cmdWrite13ToAllMCChannels() {
  txtWriteToAllMCChannels = QStringLiteral("13");
  cmdWriteToAllMCChannels();
}

void BulkModeCodeWrites::cmdWriteToAllCemsInfoMCChannels() {
  StartFromBox(txtWriteToAllCemsInfoMCChannels, Mode::AnalyzerMC, QStringLiteral("TELM-0072: "));
}

void BulkModeCodeWrites::cmdWriteMC00ToAllCemsInfoMCChannels() {
  txtWriteToAllCemsInfoMCChannels = QStringLiteral("00");
  cmdWriteToAllCemsInfoMCChannels();
}

void BulkModeCodeWrites::cmdWriteMC14ToAllCemsInfoMCChannels() {
  txtWriteToAllCemsInfoMCChannels = QStringLiteral("14");
  cmdWriteToAllCemsInfoMCChannels();
}

void BulkModeCodeWrites::cmdWriteMC1112ToAllCemsInfoMCChannels() {
  try {
    BulkWrite(Mode::AnalyzerMC1112, 11);
  } catch (...) {
    ReportFailure(services_.prompter, services_.title, QStringLiteral("TELM-0071: "));
  }
}

}  // namespace telmon
