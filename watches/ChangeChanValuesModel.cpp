#include "watches/ChangeChanValuesModel.h"

#include "util/ErrorInfo.h"
#include "util/TextConversionFunctions.h"
#include "watches/EnteredValue.h"
#include "watches/IChannelValueWriter.h"

namespace telmon {

ChangeChanValuesModel::ChangeChanValuesModel(ChangeValueServices services)
    : services_(std::move(services)) {}

bool ChangeChanValuesModel::Change() {
  // The records go out together, on the writer's worker when it has one, so that a long list
  // never holds the window; those listed before a failure are written all the same.
  std::vector<ChannelValue> items;
  auto writeListed = [&] {
    if (!items.empty()) {
      services_.writer.WriteChannelValueRecordsThen(QLatin1String(CallerCode), std::move(items), {},
                                                    [](const ChannelWriteOutcome&) {});
    }
  };
  try {
    const Value value = DecideEnteredValue(chkNullValue, txtNewValue, HexWidth::Bits16);
    const bool given = IsValueGiven(value);
    for (const QString& piece : ids_.split(QLatin1Char('\t'))) {
      if (!IsNumeric(piece)) {
        continue;  // the empty piece before the leading TAB, and anything that is no ID
      }
      const std::optional<std::int32_t> id = ToInt32(piece);
      if (!id) {
        throw TelmonError(ErrorNumber::Overflow, QStringLiteral("Overflow"));
      }
      if (*id > 0 && given) {
        items.push_back({*id, value});
      }
    }
  } catch (...) {
    writeListed();
    ReportFailure(services_.prompter, services_.title, QStringLiteral("TELM-0050: "));
    return false;
  }
  writeListed();
  return true;
}

}  // namespace telmon
