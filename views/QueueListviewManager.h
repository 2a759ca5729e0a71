#pragma once

// The Queues page: one row per request queue of the IOS, kept current by "QUpdate" events.

#include "journal/JournaledSender.h"
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
  // One event already read: into the plant state, then onto the page.
  const QueueRecord* Apply(const QueueEvent& event);
  // Asks the IOS to zero the counters; the page changes with the next events.
  void ResetCounters();
  // Where the reset goes out, journaled; none: the page's own sender, unjournaled.
  void SetJournaledSender(JournaledSender* journaled) { journaled_ = journaled; }

 private:
  void Show(const QueueEvent& event);
  void ClearPlant() override { plant_->ClearQueues(); }
  JournaledSender* journaled_ = nullptr;
};

}  // namespace telmon
