#pragma once

// Channel tag files: the channel IDs of the watch list joined by ",", one line, no line
// terminator, single-byte text. The watch list saves them and the add-channel dialog loads
// them back into its typed-ID box, where they are parsed like typed text.

#include <QString>

#include <cstdint>

namespace telmon {

class KeyedListModel;

// What a watch row is, by its tag: a channel for "C<id>" and for the channel's realtime point
// "<id>C" (the form the watch view tags its rows with, so that the tick reads them), an
// address for "A<address>", anything else otherwise. channelId receives the ID's text.
enum class WatchRowKind { Channel, Address, Other };
WatchRowKind WatchRowKindOf(const QString& tag, QString* channelId = nullptr);

// Larger files are refused: even the largest watch list's tags are a small fraction of this,
// and the typed-ID box would take seconds to lay out more.
inline constexpr std::int64_t kMaxChannelTagFileBytes = 4 * 1024 * 1024;

struct ChannelTagFileRead {
  enum class Status {
    Ok,       // text holds the whole content
    Missing,  // no such file: nothing to load
    Failed,   // errorNumber and errorDescription say why
  };
  Status status = Status::Ok;
  QString text;
  long errorNumber = 0;
  QString errorDescription;
};

// Reads a whole tag file as single-byte text, refusing folders, unreadable files and files
// over maxBytes.
ChannelTagFileRead ReadChannelTagFile(const QString& path,
                                      std::int64_t maxBytes = kMaxChannelTagFileBytes);

// Writes the text as single-byte text, replacing any file of that name; false with the
// reason in *errorDescription on failure.
bool WriteChannelTagFile(const QString& path, const QString& text, QString* errorDescription);

// The channel IDs of the rows tagged "C", in display order, joined by ","; address rows
// ("A") are left out.
QString ChannelTagsText(KeyedListModel& watches);

// The same IDs each followed by ";" ("12;7;"), as a saved watch list holds them.
QString SavedWatchListText(KeyedListModel& watches);

// The whole list as clipboard text: header captions joined by TAB, then per row CR LF, the
// row text and TAB before each further cell; nothing after the last row.
QString ListClipboardText(KeyedListModel& list);

}  // namespace telmon
