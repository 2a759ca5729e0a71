#include "views/ChannelIdList.h"

#include "util/TextConversionFunctions.h"

namespace telmon {

QString ChannelIoid(std::int32_t id) { return QString::number(id) + QLatin1Char('C'); }

QString JoinIdList(const IdList& ids, QChar separator) {
  QString text;
  text.reserve(static_cast<qsizetype>(ids.size()) * 8);
  for (std::size_t i = 0; i < ids.size(); ++i) {
    if (i > 0) {
      text += separator;
    }
    text += QString::number(ids[i]);
  }
  return text;
}

IdListText ParseIdListText(const QString& text) {
  IdListText result;
  for (const QString& entry : text.split(QLatin1Char(';'))) {
    if (!IsNumeric(entry)) {
      continue;
    }
    const std::optional<std::int32_t> id = ToInt32(entry);
    if (!id) {
      result.overflow = true;
      break;
    }
    result.ids.push_back(*id);
  }
  return result;
}

}  // namespace telmon
