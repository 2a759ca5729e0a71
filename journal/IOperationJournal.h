#pragma once

// The seam every operation that changes the I/O server, a device or a channel value reports
// through once it has acted. The operation says what it did; the journal adds when, where
// (DAHS, computer) and, unless the operation names one, who (the account that enabled edit
// mode, or "-"). Journaling never stops an operation: an implementation reports its own
// failures and returns.

#include <QDateTime>
#include <QString>

#include <cstdint>
#include <vector>

namespace telmon {

// One channel written by an operation and the value written to it.
struct JournalChannelWrite {
  std::int32_t channelId = 0;
  QString value;
};

// What an operation tells the journal.
struct JournalOperation {
  QString operation;  // "Random values on (all)", "WriteToChannel", ...
  QString targets;    // device or channel IDs with their configured names
  QString value;
  QString command;  // the exact command sent or record written
  QString outcome;  // "sent", "record written", or the failure message
  // Empty: the account that enabled edit mode, or "-" while edit mode is off.
  QString account;
  // Channels written, for the site state; empty for other operations.
  std::vector<JournalChannelWrite> channels;
  // What the target had before: a channel's value at the last update before the change, a
  // setting's last value; empty where it is not known.
  QString previous;
};

// One stored entry.
struct JournalEntry {
  std::int64_t id = 0;
  QDateTime timeUtc;
  QString timeLocal;
  std::int32_t dahs = 0;
  QString account;
  QString computer;
  QString operation;
  QString targets;
  QString value;
  QString command;
  QString outcome;
  QString previous;
};

namespace JournalOutcome {
inline const QString Sent = QStringLiteral("sent");
inline const QString RecordWritten = QStringLiteral("record written");
}  // namespace JournalOutcome

inline const QString NoAccount = QStringLiteral("-");

class IOperationJournal {
 public:
  virtual ~IOperationJournal() = default;
  virtual void Record(const JournalOperation& operation) = 0;
};

// For the parts and tests that journal nothing.
class NullOperationJournal final : public IOperationJournal {
 public:
  void Record(const JournalOperation& /*operation*/) override {}
};

}  // namespace telmon
