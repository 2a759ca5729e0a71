#include "watches/WatchListStore.h"

#include "views/KeyedListModel.h"
#include "watches/ChannelTagFile.h"
#include "watches/TypedChannelIds.h"

namespace telmon {

std::unique_ptr<QSettings> OpenWatchListSettings() {
  return std::make_unique<QSettings>(QSettings::NativeFormat, QSettings::UserScope,
                                     QString::fromLatin1(kWatchListOrganisation),
                                     QString::fromLatin1(kWatchListApplication));
}

QString WatchListStore::Read(const QString& name, const QString& defaultValue) const {
  const QVariant value = settings_.value(name);
  if (!value.isValid()) {
    return defaultValue;
  }
  // A hand-edited file can hold other kinds of values: a list ("a, b", or several strings in
  // one value) reads back as its items joined as written, bytes as text. None of them may read
  // as empty, or the slot would show "<empty>" and the next Save would rename it.
  switch (value.typeId()) {
    case QMetaType::QStringList:
      return value.toStringList().join(QStringLiteral(", "));
    case QMetaType::QVariantList: {
      QStringList items;
      for (const QVariant& item : value.toList()) {
        items.append(item.toString());
      }
      return items.join(QStringLiteral(", "));
    }
    case QMetaType::QByteArray:
      return QString::fromUtf8(value.toByteArray());
    default:
      break;
  }
  if (!value.canConvert<QString>()) {
    return QStringLiteral("(%1)").arg(QLatin1String(value.typeName()));  // a rectangle, say
  }
  return value.toString();
}

void WatchListStore::Write(const QString& name, const QString& value) {
  settings_.setValue(name, value);
  settings_.sync();
}

QString WatchListStore::ValueName(const char* slotTemplate, int slot) {
  QString name = QString::fromLatin1(slotTemplate);
  name.replace(QLatin1Char('|'), QString::number(slot));
  return name;
}

WatchLists::WatchLists(WatchListStore& store, Prompter& prompter, QString appTitle)
    : store_(store), prompter_(prompter), appTitle_(std::move(appTitle)) {}

void WatchLists::Open() {
  const QString empty = QString::fromLatin1(kEmptySlot);
  for (int slot = 1; slot <= kWatchListSlots; ++slot) {
    WatchListRow& row = Row(slot);
    row.name = TrimBlanks(store_.Read(WatchListStore::ValueName("List|Desc", slot), empty));
    row.date = store_.Read(WatchListStore::ValueName("List|Date", slot), QString());
    if (row.name.isEmpty()) {
      row.name = empty;
    }
    if (row.name == empty) {
      row.date.clear();
    }
  }
}

QString WatchLists::DateText(const QDateTime& when) {
  return when.toString(QStringLiteral("yyyy-MM-dd HH:mm"));
}

bool WatchLists::Save(int slot, KeyedListModel& watches, const QDateTime& now) {
  if (!Valid(slot) || watches.IsEmpty()) {
    prompter_.Beep();
    return false;
  }
  WatchListRow& row = Row(slot);
  const bool wasEmpty = row.name == QLatin1String(kEmptySlot);
  const QString name = wasEmpty ? QStringLiteral("List") + QString::number(slot) : row.name;
  const QString date = DateText(now);
  store_.Write(WatchListStore::ValueName("List|", slot), SavedWatchListText(watches));
  store_.Write(WatchListStore::ValueName("List|Desc", slot), name);
  store_.Write(WatchListStore::ValueName("List|Date", slot), date);
  row.name = name;
  row.date = date;
  return wasEmpty;
}

void WatchLists::Clear(int slot) {
  if (!Valid(slot)) {
    return;
  }
  Row(slot) = WatchListRow{QString::fromLatin1(kEmptySlot), QString()};
  store_.Write(WatchListStore::ValueName("List|", slot), QString::fromLatin1(kEmptySlot));
  store_.Write(WatchListStore::ValueName("List|Desc", slot), QStringLiteral(" "));
  store_.Write(WatchListStore::ValueName("List|Date", slot), QStringLiteral(" "));
}

void WatchLists::Load(int slot) {
  if (!CanRename(slot)) {
    prompter_.Beep();
    return;
  }
  if (store_.Read(WatchListStore::ValueName("List|", slot), QString()).isEmpty()) {
    prompter_.Beep();
    return;
  }
  prompter_.Show(QStringLiteral("TELM-0045: Not implemented."), appTitle_, PromptIcon::Exclamation);
}

bool WatchLists::CanRename(int slot) const {
  return Valid(slot) &&
         rows_.at(static_cast<std::size_t>(slot - 1)).name != QLatin1String(kEmptySlot);
}

bool WatchLists::Rename(int slot, const QString& newName) {
  if (!CanRename(slot) || newName.isEmpty() || newName == QLatin1String(kEmptySlot)) {
    return false;
  }
  store_.Write(WatchListStore::ValueName("List|Desc", slot), newName);
  Row(slot).name = newName;
  return true;
}

}  // namespace telmon
