#pragma once

// The Queues page: the queue list and the counter reset.

#include "views/QueueListviewManager.h"
#include "views/ui/KeyedListView.h"

#include <QPushButton>
#include <QWidget>

namespace telmon {

inline constexpr char ResetCountersCaption[] = "Reset Counters";
inline constexpr char ResetCountersToolTip[] =
    "Reset the queue counters to zero (there is an automatic reset on the first of the month)";

class QueuesPage : public QWidget {
  Q_OBJECT

 public:
  QueuesPage(KeyedListModel& queues, QueueListviewManager& manager, QWidget* parent = nullptr);

  KeyedListView* lsvQueues() const { return lsvQueues_; }
  QPushButton* cmdResetCounters() const { return cmdResetCounters_; }

 private:
  KeyedListView* lsvQueues_;
  QPushButton* cmdResetCounters_;
};

}  // namespace telmon
