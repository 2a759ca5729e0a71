#pragma once

// The Queues page: one row per request queue of the IOS, kept current by "QUpdate" events.

#include "journal/IOperationJournal.h"
#include "views/ListviewManagerBase.h"

namespace telmon {

class QueueListviewManager final : public ListviewManagerBase {
 public:
  static constexpr char Placeholder[] = "(no queue information)";
  enum Column {
    ColQueueName,
    ColDriver,
    ColPortTarget,
    ColSize,
    ColPeak,
    ColServiced,
    ColIOSuccess,
    ColIOFailure,
    ColDelayCount,
    ColRedundantWritesCancelled,
    ColCommOpenErrors,
    ColStatus,
    ColumnCount
  };

  QueueListviewManager();

  void UpdateOneItemInLsv(xml::XmlElement event) override;
  // Asks the IOS to zero the counters; the page changes with the next events.
  void ResetCounters();
  void SetJournal(IOperationJournal* journal) { journal_ = journal; }

 private:
  IOperationJournal* journal_ = nullptr;
};

}  // namespace telmon
