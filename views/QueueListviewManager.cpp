#include "views/QueueListviewManager.h"

#include "ioslink/IosCommands.h"

#include <array>

namespace telmon {

namespace {

const std::array<ListColumn, QueueListviewManager::ColumnCount> kColumns = {{
    {QStringLiteral("Queue Name"), 2300, Qt::AlignLeft, QStringLiteral("ID")},
    {QStringLiteral("Driver"), 1200, Qt::AlignLeft, {}},
    {QStringLiteral("Port/Target"), 1500, Qt::AlignLeft, {}},
    {QStringLiteral("Size"), 600, Qt::AlignRight, {}},
    {QStringLiteral("Peak"), 600, Qt::AlignRight, {}},
    {QStringLiteral("Serviced"), 1000, Qt::AlignRight, {}},
    {QStringLiteral("I/O Success"), 1000, Qt::AlignRight, {}},
    {QStringLiteral("I/O Failure"), 1000, Qt::AlignRight, {}},
    {QStringLiteral("Delay Count"), 1000, Qt::AlignRight, {}},
    {QStringLiteral("Redundant Writes Cancelled"), 1000, Qt::AlignRight, {}},
    {QStringLiteral("Comm Open Errors"), 750, Qt::AlignRight, {}},
    {QStringLiteral("Status"), 800, Qt::AlignRight, {}},
}};

using Q = QueueListviewManager;
// The column of each counter, in the order of QueueEvent::Counter.
constexpr std::array<int, QueueEvent::CounterCount> kCounterColumns = {
    Q::ColSize,      Q::ColPeak,       Q::ColServiced,       Q::ColIOSuccess,
    Q::ColIOFailure, Q::ColDelayCount, Q::ColCommOpenErrors, Q::ColRedundantWritesCancelled};

}  // namespace

QueueListviewManager::QueueListviewManager()
    : ListviewManagerBase(PageTraits{kColumns, Placeholder, true, "//Event[@eventtype=\"QUpdate\"]",
                                     "TELM-0048", "QName"}) {}

void QueueListviewManager::UpdateOneItemInLsv(xml::XmlElement event) {
  if (lsv_ == nullptr) {
    return;
  }
  Apply(QueueEvent::Parse(event));
}

const QueueRecord* QueueListviewManager::Apply(const QueueEvent& event) {
  if (lsv_ == nullptr) {
    return nullptr;
  }
  Show(event);
  return plant_->Apply(event);
}

void QueueListviewManager::Show(const QueueEvent& event) {
  KeyedListModel::Batch batch(*lsv_);
  const RowRef row = PrepareRowFor(event.name);
  WriteText(row, ColDriver, event.driver);
  WriteText(row, ColPortTarget, event.portName);
  for (std::size_t i = 0; i < QueueEvent::CounterCount; ++i) {
    WriteText(row, kCounterColumns[i], event.counterTexts[i]);
  }
  // The status text stays when an event omits "IsPaused", but the colour goes back to normal.
  ColorRef color = Colors::WindowText;
  if (event.paused) {
    if (*event.paused) {
      color = Colors::Red;
    }
    lsv_->SetSubItem(row, ColStatus,
                     *event.paused ? QStringLiteral("Paused") : QStringLiteral("Running"));
  }
  ApplyColor(row, color);
}

void QueueListviewManager::ResetCounters() {
  const QString command = IosCommands::ResetQCounters();
  if (journaled_ == nullptr) {
    Send(command);
    return;
  }
  journaled_->Send(command, {QStringLiteral("Reset queue counters"),
                             QStringLiteral("all queues"),
                             {},
                             {},
                             {},
                             NoAccount,
                             {}});
}

}  // namespace telmon
