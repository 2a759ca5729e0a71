#pragma once

// The running log of the program's and the IOS's messages: two columns (timestamp, message
// text), one row per line of a message, a unique key per row and a colour per row. It keeps
// the rules of the messages window without any widget: splitting multi-line messages, the
// collect and trace options, trimming to the newest rows in bursts, and which row is selected.

#include "platform/MessageTypes.h"
#include "util/Clock.h"
#include "util/ColorRef.h"
#include "util/UtilityFunctions.h"

#include <QAbstractTableModel>
#include <QDateTime>
#include <QString>
#include <QVariant>

#include <cstdint>
#include <deque>
#include <memory>
#include <optional>

namespace telmon {

// Shared by every log of the program, so that row keys stay unique across them.
struct MessageLogCounters {
  std::int32_t entryCounter = 0;
  std::int32_t lastTrimTick = 0;
};

struct MessageLogRow {
  QString column1;  // timestamp, or the divider text
  QString text;     // one line of the message
  QString key;      // counter + "K"
  ColorRef colour = 0;
};

class MessageLogModel : public QAbstractTableModel {
  Q_OBJECT

 public:
  static constexpr std::int32_t DefaultMaxEntryCount = 200;
  static constexpr std::int32_t TrimIntervalMs = 4000;
  // Column-1 text of a divider row; dividers are not counted as entries.
  static QString DividerText() { return QStringLiteral("----------"); }
  enum Role { KeyRole = Qt::UserRole, ColourTagRole };

  MessageLogModel(const IClock& clock, const MessageTypes& types,
                  std::shared_ptr<MessageLogCounters> counters = nullptr,
                  QObject* parent = nullptr);

  int rowCount(const QModelIndex& parent = QModelIndex()) const override;
  int columnCount(const QModelIndex& parent = QModelIndex()) const override;
  QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
  QVariant headerData(int section, Qt::Orientation orientation,
                      int role = Qt::DisplayRole) const override;

  std::int32_t EntryCount() const;
  void AddEntry(const QString& column1, const QString& text, ColorRef colour);
  void AddProblemDivider(const QString& text);
  void AddMsg(std::int32_t msgType, const QString& text);
  void AddProblemEntry(const QDateTime& time, const QString& text, ColorRef colour);
  // A string or a list of strings; nothing for a null or empty value.
  void AddProblemEntryArray(const QDateTime& time, const QVariant& value);
  void Clear();

  // The timestamp text of a row: short date, a blank, long time.
  QString Timestamp(const QDateTime& time) const;
  void SetDateTimeFormats(const DateTimeFormats& formats);

  // The whole log as Copy and Save produce it: rows joined by CR LF, each "number TAB
  // timestamp TAB text" with the number zero-padded to the digits of the row count.
  QString LogText(bool lineNumbers) const;
  // The printout: caption, "Printed" and the time, a blank line, then "timestamp text" rows.
  QString PrintText(const QString& caption, const QDateTime& printedAt) const;

  const MessageLogRow& Row(int row) const { return rows_[static_cast<std::size_t>(row)]; }

  bool AutoSelectNewest() const { return autoSelectNewest_; }
  void SetAutoSelectNewest(bool on) { autoSelectNewest_ = on; }
  bool CollectNewMessages() const { return collectNewMessages_; }
  void SetCollectNewMessages(bool on) { collectNewMessages_ = on; }
  bool ShowTraceMessages() const { return showTraceMessages_; }
  void SetShowTraceMessages(bool on) { showTraceMessages_ = on; }
  bool UseMonospaceFont() const { return useMonospaceFont_; }
  void SetUseMonospaceFont(bool on) { useMonospaceFont_ = on; }
  // 0 or less: no limit.
  std::int32_t MaxEntryCount() const { return maxEntryCount_; }
  void SetMaxEntryCount(std::int32_t max) { maxEntryCount_ = max; }

  QString Column1Title() const { return titles_[0]; }
  void SetColumn1Title(const QString& title);
  QString Column2Title() const { return titles_[1]; }
  void SetColumn2Title(const QString& title);

  // The selected row as the view reports it (-1 for none), and its key.
  void SetSelectedRow(int row);
  int SelectedRow() const;
  std::optional<QString> SelectedKey() const;

  MessageLogCounters& Counters() { return *counters_; }

 Q_SIGNALS:
  // One row was appended (the file log writes it).
  void EntryAdded(const QString& column1, const QString& text, ColorRef colour);
  // The view should select this row and scroll it into view.
  void SelectionRequested(int row);

 private:
  void AddOneRow(const QString& column1, const QString& line, ColorRef colour);
  void TrimIfDue();

  const IClock& clock_;
  const MessageTypes& types_;
  std::shared_ptr<MessageLogCounters> counters_;
  DateTimeFormats formats_;
  std::deque<MessageLogRow> rows_;
  // Rows are numbered by a running sequence so that the selection survives trimming.
  std::int64_t firstSequence_ = 0;
  std::optional<std::int64_t> selectedSequence_;
  std::int32_t dividers_ = 0;
  QString stamp_;  // timestamp text of the last AddMsg, and its second
  qint64 stampSecond_ = 0;
  std::int32_t maxEntryCount_ = DefaultMaxEntryCount;
  bool autoSelectNewest_ = true;
  bool collectNewMessages_ = true;
  bool showTraceMessages_ = false;
  bool useMonospaceFont_ = false;
  QString titles_[2] = {QStringLiteral("Timestamp"), QStringLiteral("Message")};
};

}  // namespace telmon
