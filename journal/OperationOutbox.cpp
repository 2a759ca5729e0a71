#include "journal/OperationOutbox.h"

namespace telmon {

OperationOutbox::Scope OperationOutbox::Journaled(OperationOutbox* outbox,
                                                  JournalOperation operation) {
  if (outbox != nullptr) {
    outbox->open_ = std::move(operation);
  }
  return Scope(outbox);
}

SendOutcome OperationOutbox::Send(const QString& command, JournalOperation operation) {
  const Scope scope = Journaled(this, std::move(operation));
  return SendCommand(command);
}

SendOutcome OperationOutbox::SendCommand(const QString& command) {
  SendOutcome outcome = sender_.SendCommand(command);
  if (open_ && journal_ != nullptr) {
    JournalOperation entry = *open_;
    entry.command = command;
    entry.outcome = OutcomeText(outcome);
    journal_->Record(entry);
  }
  return outcome;
}

QString OperationOutbox::OutcomeText(const SendOutcome& outcome) {
  if (outcome.sent) {
    return JournalOutcome::Sent;
  }
  return outcome.failure.isEmpty() ? QStringLiteral("not sent") : outcome.failure;
}

}  // namespace telmon
