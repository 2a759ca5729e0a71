#include "watches/ChannelTagFile.h"

#include "util/ErrorInfo.h"
#include "views/KeyedListModel.h"

#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

#include <algorithm>

namespace telmon {

namespace {

constexpr long kFileNotFound = 53;
constexpr long kPermissionDenied = 70;
constexpr long kPathFileAccessError = 75;

ChannelTagFileRead Failure(long number, const QString& description) {
  ChannelTagFileRead result;
  result.status = ChannelTagFileRead::Status::Failed;
  result.errorNumber = number;
  result.errorDescription = description;
  return result;
}

bool AllDigits(QStringView text) {
  return !text.isEmpty() &&
         std::all_of(text.begin(), text.end(), [](QChar c) { return c.isDigit(); });
}

// The ID of each channel row, in display order.
QStringList ChannelIds(KeyedListModel& watches) {
  QStringList ids;
  for (int i = 0; i < watches.RowCount(); ++i) {
    QString id;
    if (WatchRowKindOf(watches.Tag(watches.RowAt(i)), &id) == WatchRowKind::Channel) {
      ids.push_back(id);
    }
  }
  return ids;
}

}  // namespace

WatchRowKind WatchRowKindOf(const QString& tag, QString* channelId) {
  QString id;
  WatchRowKind kind = WatchRowKind::Other;
  if (tag.startsWith(QLatin1Char('C'))) {
    kind = WatchRowKind::Channel;
    id = tag.mid(1);
  } else if (tag.startsWith(QLatin1Char('A'))) {
    kind = WatchRowKind::Address;
  } else if (tag.endsWith(QLatin1Char('C')) && AllDigits(QStringView(tag).chopped(1))) {
    kind = WatchRowKind::Channel;
    id = tag.chopped(1);
  }
  if (channelId != nullptr) {
    *channelId = id;
  }
  return kind;
}

ChannelTagFileRead ReadChannelTagFile(const QString& path, std::int64_t maxBytes) {
  const QFileInfo info(path);
  if (path.isEmpty() || !info.exists()) {
    ChannelTagFileRead missing;
    missing.status = ChannelTagFileRead::Status::Missing;
    return missing;
  }
  if (info.isDir()) {
    return Failure(kPathFileAccessError, QStringLiteral("Path/File access error"));
  }
  if (info.size() > maxBytes) {
    return Failure(ErrorNumber::OutOfMemory, QStringLiteral("Out of memory"));
  }
  QFile file(path);
  if (!file.open(QIODevice::ReadOnly)) {
    return file.exists() ? Failure(kPermissionDenied, QStringLiteral("Permission denied"))
                         : Failure(kFileNotFound, QStringLiteral("File not found"));
  }
  // Read no more than the limit even when the file grew since it was measured.
  const QByteArray bytes = file.read(maxBytes + 1);
  if (bytes.size() > maxBytes) {
    return Failure(ErrorNumber::OutOfMemory, QStringLiteral("Out of memory"));
  }
  if (file.error() != QFileDevice::NoError) {
    return Failure(kPathFileAccessError, file.errorString());
  }
  ChannelTagFileRead result;
  result.text = QString::fromLatin1(bytes);
  return result;
}

bool WriteChannelTagFile(const QString& path, const QString& text, QString* errorDescription) {
  QSaveFile file(path);
  if (!file.open(QIODevice::WriteOnly) || file.write(text.toLatin1()) < 0 || !file.commit()) {
    if (errorDescription != nullptr) {
      *errorDescription = file.errorString();
    }
    return false;
  }
  return true;
}

QString ChannelTagsText(KeyedListModel& watches) {
  return ChannelIds(watches).join(QLatin1Char(','));
}

QString SavedWatchListText(KeyedListModel& watches) {
  QString text;
  for (const QString& id : ChannelIds(watches)) {
    text += id + QLatin1Char(';');
  }
  return text;
}

QString ListClipboardText(KeyedListModel& list) {
  QStringList headers;
  for (int column = 0; column < list.ColumnCount(); ++column) {
    headers.push_back(list.Column(column).title);
  }
  QString text = headers.join(QLatin1Char('\t'));
  KeyedListModel& rows = list;
  for (int i = 0; i < rows.RowCount(); ++i) {
    const KeyedListModel::RowRef row = rows.RowAt(i);
    text += QStringLiteral("\r\n") + rows.Text(row);
    for (int column = 1; column < rows.ColumnCount(); ++column) {
      text += QLatin1Char('\t') + rows.SubItem(row, column);
    }
  }
  return text;
}

}  // namespace telmon
