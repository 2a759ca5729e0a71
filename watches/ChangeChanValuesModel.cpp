#include "watches/ChangeChanValuesModel.h"

#include "util/ErrorInfo.h"
#include "util/TextConversionFunctions.h"
#include "watches/EnteredValue.h"
#include "watches/IChannelValueWriter.h"

namespace telmon {

ChangeChanValuesModel::ChangeChanValuesModel(ChangeValueServices services)
    : services_(std::move(services)) {}

bool ChangeChanValuesModel::Change() {
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
        services_.writer.WriteChannelValueRecord(QLatin1String(CallerCode), *id, value);
      }
    }
  } catch (...) {
    ReportFailure(services_.prompter, services_.title, QStringLiteral("TELM-0050: "));
    return false;
  }
  return true;
}

}  // namespace telmon
