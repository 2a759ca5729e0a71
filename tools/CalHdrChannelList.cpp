#include "tools/CalHdrChannelList.h"

#include "util/ErrorInfo.h"
#include "util/IRaiseMsg.h"

#include <QHash>

#include <utility>
#include <vector>

namespace telmon {

namespace {

// A map with case-insensitive keys that returns its entries in insertion order.
class OrderedTextMap {
 public:
  QString* Find(const QString& key) {
    const auto it = index_.constFind(key.toLower());
    return it == index_.constEnd() ? nullptr : &entries_[*it].second;
  }
  void Add(const QString& key, const QString& value) {
    index_.insert(key.toLower(), entries_.size());
    entries_.emplace_back(key, value);
  }
  const std::vector<std::pair<QString, QString>>& Entries() const { return entries_; }

 private:
  std::vector<std::pair<QString, QString>> entries_;
  QHash<QString, std::size_t> index_;
};

bool Contains(const QString& text, const char* part, Qt::CaseSensitivity cs) {
  return text.contains(QLatin1String(part), cs);
}

// Narrows the stored prefix of a known group by one more channel of the group.
void NarrowPrefix(QString& prefix, const ChannelConfigInfo& channel, IRaiseMsg& sink) {
  if (prefix.startsWith(channel.Name, Qt::CaseInsensitive)) {
    return;  // a channel named like the prefix itself changes nothing
  }
  const QString common = CommonLeadingWords(prefix, channel.Name);
  if (common.isEmpty()) {
    sink.RaiseMsg(MsgType::Error, QStringLiteral("[TELM-0060] Could not find prefix for '") +
                                      prefix + QStringLiteral("' and ") + channel.Address +
                                      QStringLiteral(" '") + channel.Name + QStringLiteral("'"));
    return;
  }
  if (common != prefix) {
    prefix = common;
  }
}

void FillGrid(const OrderedTextMap& groups, CalHdrGrid& grid) {
  OrderedTextMap prefixes;
  for (const auto& [key, prefix] : groups.Entries()) {
    if (prefixes.Find(prefix) == nullptr) {
      prefixes.Add(prefix, prefix);
    }
  }
  std::size_t row = 0;
  for (const auto& [prefix, unused] : prefixes.Entries()) {
    if (row >= grid.size()) {
      break;  // the grid has a fixed number of rows; the rest are not shown
    }
    grid[row].prefix = prefix;
    grid[row].span = EstimatedSpan(prefix);
    ++row;
  }
}

}  // namespace

QString AddressPrefix(const QString& address) {
  const qsizetype last = address.lastIndexOf(QLatin1Char('.'));
  if (last <= 0) {
    return {};
  }
  const qsizetype secondLast = address.lastIndexOf(QLatin1Char('.'), last - 1);
  return secondLast < 0 ? QString() : address.left(secondLast);
}

QString AddressKeyword(const QString& address) {
  const qsizetype last = address.lastIndexOf(QLatin1Char('.'));
  return last < 0 ? QString() : address.mid(last + 1);
}

QString CommonLeadingWords(const QString& a, const QString& b) {
  const QStringList wordsA = a.split(QLatin1Char(' '));
  const QStringList wordsB = b.split(QLatin1Char(' '));
  QStringList common;
  for (qsizetype i = 0; i < wordsA.size() && i < wordsB.size(); ++i) {
    if (wordsA[i].compare(wordsB[i], Qt::CaseInsensitive) != 0) {
      break;
    }
    common << wordsA[i];
  }
  return common.join(QLatin1Char(' '));
}

QString EstimatedSpan(const QString& namePrefix) {
  struct Rule {
    const char* part;
    Qt::CaseSensitivity cs;
    const char* span;
  };
  // The first rule that holds decides: "CO2" before "O2", the low ranges before their gas.
  // "CO", "opacity" and "NH3" keep their own rules, the place for a gas-specific default.
  static constexpr Rule Rules[] = {
      {"NOx/L", Qt::CaseInsensitive, "10"},    {"NOx", Qt::CaseInsensitive, "100"},
      {"SO2/L", Qt::CaseInsensitive, "100"},   {"SO2", Qt::CaseSensitive, "1000"},
      {"CO2", Qt::CaseSensitive, "20"},        {"O2", Qt::CaseSensitive, "21"},
      {"CO/L", Qt::CaseInsensitive, "10"},     {"CO", Qt::CaseInsensitive, "100"},
      {"opacity", Qt::CaseInsensitive, "100"}, {"NH3", Qt::CaseInsensitive, "100"},
  };
  for (const Rule& rule : Rules) {
    if (Contains(namePrefix, rule.part, rule.cs)) {
      return QLatin1String(rule.span);
    }
  }
  return QStringLiteral("100");
}

bool IsCalHistoryAddress(const QString& address) {
  return Contains(address, "CalHistory", Qt::CaseInsensitive) ||
         Contains(address, "CemsInfoHistoryCal", Qt::CaseInsensitive);
}

void LoadCalHdrList(const ChannelConfigInfoManager::Records& channels, IRaiseMsg& sink,
                    CalHdrGrid& grid) {
  try {
    grid.fill(CalHdrRow{});
    OrderedTextMap groups;  // address prefix -> channel-name prefix
    for (const auto& record : channels) {
      if (!IsCalHistoryAddress(record->Address)) {
        continue;
      }
      const QString key = AddressPrefix(record->Address);
      if (key.isEmpty()) {
        continue;
      }
      if (QString* prefix = groups.Find(key)) {
        NarrowPrefix(*prefix, *record, sink);
      } else {
        groups.Add(key, record->Name);
      }
    }
    FillGrid(groups, grid);
  } catch (...) {
    const ErrorInfo error = CurrentErrorInfo();
    sink.RaiseMsg(MsgType::Error,
                  QStringLiteral("TELM-0061: %1, %2").arg(error.number).arg(error.description));
  }
}

}  // namespace telmon
