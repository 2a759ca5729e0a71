#include "journal/JournaledSender.h"

namespace telmon {

JournaledSender::Scope JournaledSender::Journaled(JournaledSender* journaled,
                                                  JournalOperation operation) {
  if (journaled != nullptr) {
    journaled->open_ = std::move(operation);
  }
  return Scope(journaled);
}

SendOutcome JournaledSender::Send(const QString& command, JournalOperation operation) {
  const Scope scope = Journaled(this, std::move(operation));
  return SendCommand(command);
}

SendOutcome JournaledSender::SendCommand(const QString& command) {
  SendOutcome outcome = sender_.SendCommand(command);
  if (open_ && journal_ != nullptr) {
    JournalOperation entry = *open_;
    entry.command = command;
    entry.outcome = OutcomeText(outcome);
    journal_->Record(entry);
  }
  return outcome;
}

QString JournaledSender::OutcomeText(const SendOutcome& outcome) {
  if (outcome.sent) {
    return JournalOutcome::Sent;
  }
  return outcome.failure.isEmpty() ? QStringLiteral("not sent") : outcome.failure;
}

}  // namespace telmon
