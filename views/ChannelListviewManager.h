#pragma once

// The Channels/Addresses page: the channels and PLC addresses the operator watches, each row
// keyed and tagged by its IOID, with the live value read from the realtime database on every
// channel tick and the configuration columns taken from the channel configuration records.

#include "platform/H5DBIL.h"
#include "platform/Prompter.h"
#include "util/IRaiseMsg.h"
#include "util/UtilityFunctions.h"
#include "views/ChannelConfigInfoManager.h"
#include "views/ChannelIdList.h"
#include "views/ChannelValueTexts.h"
#include "views/KeyedListModel.h"

#include <QString>
#include <QVariant>

#include <cstdint>
#include <vector>

namespace telmon {

// Where the page reports to and asks the operator, and what it reads configuration from.
struct ChannelPageServices {
  IRaiseMsg* sink = nullptr;
  Prompter* prompter = nullptr;
  const ChannelConfigInfoManager* configs = nullptr;  // none: block lists add nothing
  QString appTitle;
  DateTimeFormats formats = DateTimeFormats::FromLocale(QLocale::system());
};

class ChannelListviewManager {
 public:
  using RowRef = KeyedListModel::RowRef;
  enum Column {
    ColChannel,
    ColValue,
    ColTStamp,
    ColScaling,
    ColDevice,
    ColChannelInfo,
    ColumnCount
  };
  // The most rows the page takes: one tick reads every row, and this many are read and shown
  // well within the tick's two seconds (the same ceiling as the add-channel dialog's list).
  static constexpr int MaxWatchedRows = 32767;
  // "TELM-9012: The watch list holds at most 32,767 channels; it has <n>, and <m> more would
  // make <n + m>. Nothing was added."
  static QString TooManyRowsText(qsizetype has, qsizetype adding);

  static constexpr char AllCommsOk[] = "IOS.AllCommsOk";
  static constexpr char AllDataRefreshed[] = "IOS.AllDataRefreshed";

  void Setup(const ChannelPageServices& services, KeyedListModel& lsv, int smallIconIndex);
  void Teardown();
  void InitializeLsv();
  // The read list: the row tags in order, then the two server-wide points; a failure is
  // reported as TELM-0051 and gives an empty list.
  IoidList ReadListOfIOIDsInLsv();
  // The same joined with ",".
  QString GetListOfIOIDsInLsv();
  void UpdateLsv(const CurrentValues& values);
  void UpdateLsvWithChannelConfigInfo();
  // Adds a row "<id>C" for each ID just below the selected row (or at the top), selecting
  // each new row. Throws on a duplicate IOID, after adding the IDs before it.
  void AddLsvRowsForChannelIDs(const IdList& channelIds);
  // The same for a ";" list text: each numeric entry is added, others are skipped; an entry
  // out of range throws after the entries before it were added.
  void AddLsvRowsForChannelIDList(const QString& channelIdList);
  // Adds a row for every configured channel of the given blocks; block 0 never matches.
  void AddLsvRowsForBlockIDList(const IdList& blockIds);
  // The same for a loosely typed argument: a list of block IDs is added as above; anything
  // else (the add-channel dialog's joined text, for one) is a type mismatch, reported as
  // TELM-9003 with no row added.
  void AddLsvRowsForBlockIDListValue(const QVariant& blockIds);

  KeyedListModel* Lsv() const { return lsv_; }

  // The value cell of a realtime point: "(null)" for no value at all, else the number (null
  // as 0) immediately followed by the text.
  static QString ValueText(const CurrentValueItem& item);
  // The system's default date-and-time text.
  static QString DefaultDateTimeText(const QDateTime& value, const DateTimeFormats& formats);

 private:
  struct Pending {
    QString ioid;
    const ChannelConfigInfo* record;
  };
  void AddRows(const std::vector<Pending>& rows);
  void FillLsvRowFromConfigInfo(RowRef row, const ChannelConfigInfo& record);
  int InsertPosition();
  void Report(const char* code);

  ChannelPageServices services_;
  KeyedListModel* lsv_ = nullptr;
  int iconIndex_ = -1;
  ChannelValueTexts texts_;
};

}  // namespace telmon
