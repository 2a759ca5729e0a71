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

struct TextColumn {
  int column;
  const char* attribute;
};
// The order the IOS's fields are applied in, "Size" twice included.
constexpr std::array<TextColumn, 11> kTextColumns = {{
    {QueueListviewManager::ColDriver, "DriverName"},
    {QueueListviewManager::ColPortTarget, "PortName"},
    {QueueListviewManager::ColSize, "Size"},
    {QueueListviewManager::ColPeak, "PeakSize"},
    {QueueListviewManager::ColSize, "Size"},
    {QueueListviewManager::ColServiced, "RequestsServiced"},
    {QueueListviewManager::ColIOSuccess, "IOSuccessCount"},
    {QueueListviewManager::ColIOFailure, "IOFailureCount"},
    {QueueListviewManager::ColDelayCount, "DelayCount"},
    {QueueListviewManager::ColCommOpenErrors, "CommOpenErrors"},
    {QueueListviewManager::ColRedundantWritesCancelled, "DupWriteCancelCount"},
}};

}  // namespace

QueueListviewManager::QueueListviewManager()
    : ListviewManagerBase(PageTraits{kColumns, Placeholder, true, "//Event[@eventtype=\"QUpdate\"]",
                                     "TELM-0048", "QName"}) {}

void QueueListviewManager::UpdateOneItemInLsv(xml::XmlElement event) {
  if (lsv_ == nullptr) {
    return;
  }
  KeyedListModel::Batch batch(*lsv_);
  const RowRef row = PrepareRow(event);
  for (const TextColumn& entry : kTextColumns) {
    WriteText(row, entry.column, event, entry.attribute);
  }
  // The status text stays when an event omits "IsPaused", but the colour goes back to normal.
  ColorRef color = Colors::WindowText;
  if (const std::optional<bool> paused = xml::GetAttributeBoolean(event, "IsPaused")) {
    if (*paused) {
      color = Colors::Red;
    }
    lsv_->SetSubItem(row, ColStatus,
                     *paused ? QStringLiteral("Paused") : QStringLiteral("Running"));
  }
  ApplyColor(row, color);
}

void QueueListviewManager::ResetCounters() {
  const QString command = IosCommands::ResetQCounters();
  Send(command);
  if (journal_ != nullptr) {
    journal_->Record({QStringLiteral("Reset queue counters"),
                      QStringLiteral("all queues"),
                      {},
                      command,
                      JournalOutcome::Sent,
                      NoAccount,
                      {}});
  }
}

}  // namespace telmon
