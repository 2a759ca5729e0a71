#include "views/ChannelListviewManager.h"

#include "util/ErrorInfo.h"
#include "util/TextConversionFunctions.h"
#include "util/Value.h"
#include "views/ViewErrors.h"

#include <QLocale>
#include <QSet>

#include <array>

namespace telmon {

namespace {

const std::array<ListColumn, ChannelListviewManager::ColumnCount> kColumns = {{
    {QStringLiteral("Channel ID / Address"), 3000, Qt::AlignLeft, {}},
    {QStringLiteral("Value"), 950, Qt::AlignLeft, {}},
    {QStringLiteral("TStamp"), 1200, Qt::AlignLeft, {}},
    {QStringLiteral("Scaling"), 1000, Qt::AlignLeft, {}},
    {QStringLiteral("Device"), 800, Qt::AlignRight, {}},
    {QStringLiteral("Channel Info"), 2000, Qt::AlignLeft, {}},
}};

}  // namespace

void ChannelListviewManager::Setup(const ChannelPageServices& services, KeyedListModel& lsv,
                                   int smallIconIndex) {
  services_ = services;
  lsv_ = &lsv;
  iconIndex_ = smallIconIndex;
  texts_.Clear();  // the formats may have changed
  InitializeLsv();
}

void ChannelListviewManager::Teardown() {
  services_.sink = nullptr;
  services_.prompter = nullptr;
  lsv_ = nullptr;
}

void ChannelListviewManager::InitializeLsv() {
  if (lsv_ == nullptr) {
    return;
  }
  lsv_->Clear();
  lsv_->SetSorted(false);
  for (const ListColumn& column : kColumns) {
    lsv_->AddColumn(column);
  }
}

IoidList ChannelListviewManager::ReadListOfIOIDsInLsv() {
  try {
    IoidList list;
    if (lsv_ != nullptr) {
      list.ioids.reserve(lsv_->RowCount() + 2);
      for (int i = 0; i < lsv_->RowCount(); ++i) {
        list.ioids.push_back(lsv_->Tag(lsv_->RowAt(i)));
      }
    }
    list.ioids.push_back(QLatin1String(AllCommsOk));
    list.ioids.push_back(QLatin1String(AllDataRefreshed));
    return list;
  } catch (...) {
    Report("TELM-0051");
    return {};
  }
}

QString ChannelListviewManager::GetListOfIOIDsInLsv() { return ReadListOfIOIDsInLsv().Text(); }

void ChannelListviewManager::UpdateLsv(const CurrentValues& values) {
  if (lsv_ == nullptr) {
    return;
  }
  try {
    KeyedListModel::Batch batch(*lsv_);
    for (const CurrentValueItem& item : values) {
      const RowRef row = lsv_->FindKey(item.ioid);
      if (row == nullptr) {
        continue;  // a server-wide point, or a row removed since the read
      }
      const ChannelValueTexts::Texts& texts = texts_.For(item, services_.formats);
      lsv_->SetSubItem(row, ColValue, texts.value);
      lsv_->SetSubItem(row, ColTStamp, texts.stamp);
    }
    texts_.EndOfRead(values.size());
  } catch (...) {
    Report("TELM-0052");
  }
}

void ChannelListviewManager::UpdateLsvWithChannelConfigInfo() {
  if (lsv_ == nullptr || services_.configs == nullptr) {
    return;
  }
  try {
    KeyedListModel::Batch batch(*lsv_);
    for (int i = 0; i < lsv_->RowCount(); ++i) {
      const RowRef row = lsv_->RowAt(i);
      const QString tag = lsv_->Tag(row);
      if (tag.isEmpty()) {
        continue;
      }
      if (const ChannelConfigInfo* record = services_.configs->Item(tag)) {
        FillLsvRowFromConfigInfo(row, *record);
      }
    }
  } catch (...) {
    Report("TELM-0053");
  }
}

void ChannelListviewManager::AddLsvRowsForChannelIDs(const IdList& channelIds) {
  if (lsv_ == nullptr) {
    return;
  }
  std::vector<Pending> rows;
  rows.reserve(channelIds.size());
  QSet<QString> seen;
  for (const std::int32_t id : channelIds) {
    QString ioid = ChannelIoid(id);
    if (lsv_->FindKey(ioid) != nullptr || seen.contains(ioid)) {
      AddRows(rows);
      throw ListError::KeyNotUniqueError();
    }
    seen.insert(ioid);
    const ChannelConfigInfo* record =
        services_.configs != nullptr ? services_.configs->Item(ioid) : nullptr;
    rows.push_back(Pending{std::move(ioid), record});
  }
  AddRows(rows);
}

void ChannelListviewManager::AddLsvRowsForChannelIDList(const QString& channelIdList) {
  if (lsv_ == nullptr) {
    return;
  }
  const IdListText parsed = ParseIdListText(channelIdList);
  AddLsvRowsForChannelIDs(parsed.ids);
  if (parsed.overflow) {
    throw TelmonError(ErrorNumber::Overflow, QStringLiteral("Overflow"));
  }
}

void ChannelListviewManager::AddLsvRowsForBlockIDList(const IdList& blockIds) {
  if (lsv_ == nullptr || services_.configs == nullptr) {
    return;
  }
  const QSet<std::int32_t> wanted(blockIds.begin(), blockIds.end());
  std::vector<Pending> rows;
  // Membership is decided once per run of equal block IDs, starting from block 0 and "not
  // wanted"; channels without a block (block 0) are never added.
  std::int32_t previousBlock = 0;
  bool member = false;
  for (const auto& record : services_.configs->NewEnum()) {
    if (record->BlockID != previousBlock) {
      member = wanted.contains(record->BlockID);
      previousBlock = record->BlockID;
    }
    if (!member || record->BlockID == 0) {
      continue;
    }
    if (lsv_->FindKey(record->Key) != nullptr) {
      AddRows(rows);
      throw ListError::KeyNotUniqueError();
    }
    rows.push_back(Pending{record->Key, record.get()});
  }
  if (rows.empty()) {
    if (services_.prompter != nullptr) {
      services_.prompter->Show(
          QStringLiteral("The selected block(s) do not have any associated channels."),
          services_.appTitle, PromptIcon::Exclamation);
    }
    return;
  }
  AddRows(rows);
}

void ChannelListviewManager::AddLsvRowsForBlockIDListValue(const QVariant& blockIds) {
  try {
    if (blockIds.typeId() != QMetaType::QVariantList) {
      throw TelmonError::TypeMismatch();
    }
    IdList ids;
    for (const QVariant& id : blockIds.toList()) {
      bool ok = false;
      ids.push_back(id.toInt(&ok));
      if (!ok) {
        throw TelmonError::TypeMismatch();
      }
    }
    AddLsvRowsForBlockIDList(ids);
  } catch (...) {
    Report("TELM-9003");
  }
}

QString ChannelListviewManager::ValueText(const CurrentValueItem& item) {
  if (!item.numericValue && item.textValue.isEmpty()) {
    return QStringLiteral("(null)");
  }
  return Value(item.numericValue.value_or(0.0)).ToText() + item.textValue;
}

QString ChannelListviewManager::DefaultDateTimeText(const QDateTime& value,
                                                    const DateTimeFormats& formats) {
  if (!value.isValid()) {
    return {};
  }
  if (value.date() == ZeroDate()) {
    return FormatDateTimeStyle(value, 1, formats);
  }
  if (value.time() == QTime(0, 0)) {
    return FormatDateTimeStyle(value, 13, formats);
  }
  return FormatDateTimeStyle(value, 11, formats);
}

// Inserts the rows as one block below the selection and selects the last, which is where the
// same rows added one by one, each selected in turn, would end up.
QString ChannelListviewManager::TooManyRowsText(qsizetype has, qsizetype adding) {
  const QLocale grouped(QLocale::English, QLocale::UnitedStates);
  return QStringLiteral(
             "TELM-9012: The watch list holds at most %1 channels; it has %2, and %3 more would "
             "make %4. Nothing was added.")
      .arg(grouped.toString(MaxWatchedRows), grouped.toString(static_cast<qlonglong>(has)),
           grouped.toString(static_cast<qlonglong>(adding)),
           grouped.toString(static_cast<qlonglong>(has + adding)));
}

void ChannelListviewManager::AddRows(const std::vector<Pending>& rows) {
  if (rows.empty()) {
    return;
  }
  const auto adding = static_cast<qsizetype>(rows.size());
  if (lsv_->RowCount() + adding > MaxWatchedRows) {
    const QString text = TooManyRowsText(lsv_->RowCount(), adding);
    if (services_.prompter != nullptr) {
      services_.prompter->Show(text, services_.appTitle, PromptIcon::Exclamation);
    } else if (services_.sink != nullptr) {
      services_.sink->RaiseMsg(MsgType::Error, text);
    }
    return;
  }
  std::vector<KeyedListModel::NewRow> newRows;
  newRows.reserve(rows.size());
  for (const Pending& entry : rows) {
    QString text = entry.ioid;
    if (entry.record != nullptr) {
      text += QStringLiteral(": ") + entry.record->Name;
    }
    newRows.push_back(KeyedListModel::NewRow{entry.ioid, text, entry.ioid, iconIndex_});
  }
  const int position = InsertPosition();
  const RowRef last = lsv_->InsertRowsAt(position, std::move(newRows));
  {
    KeyedListModel::Batch batch(*lsv_);
    for (std::size_t i = 0; i < rows.size(); ++i) {
      if (rows[i].record != nullptr) {
        FillLsvRowFromConfigInfo(lsv_->RowAt(position + static_cast<int>(i)), *rows[i].record);
      }
    }
  }
  lsv_->Select(last);
}

void ChannelListviewManager::FillLsvRowFromConfigInfo(RowRef row, const ChannelConfigInfo& record) {
  lsv_->SetSubItem(row, ColScaling, record.Scaling);
  lsv_->SetSubItem(row, ColDevice, QString::number(record.DeviceID));
  QString info = record.Address;
  const QString other = record.OtherInfo.trimmed();
  if (!other.isEmpty()) {
    info += QStringLiteral("; ") + other;
  }
  lsv_->SetSubItem(row, ColChannelInfo, info);
}

int ChannelListviewManager::InsertPosition() {
  const int selected = lsv_->SelectedPosition();
  return selected >= 0 ? selected + 1 : 0;
}

void ChannelListviewManager::Report(const char* code) {
  if (services_.sink != nullptr) {
    services_.sink->RaiseMsg(MsgType::Error,
                             ListError::CurrentFailureText(QString::fromLatin1(code)));
  }
}

}  // namespace telmon
