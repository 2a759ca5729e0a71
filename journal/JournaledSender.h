#pragma once

// The one way out for the commands of operations that change the I/O server, a device or a
// channel value: each command goes to the sender, and the journal records the operation, named
// by its caller, with the exact command and what became of it ("sent", or the message of the
// failure that kept it from leaving). Commands that only ask the server for information pass
// through unrecorded.

#include "ioslink/ICommandSender.h"
#include "journal/IOperationJournal.h"

#include <optional>

namespace telmon {

class JournaledSender final : public ICommandSender {
 public:
  // `journal` null: nothing is recorded.
  JournaledSender(ICommandSender& sender, IOperationJournal* journal)
      : sender_(sender), journal_(journal) {}

  // While a Scope lives, every command sent through the journaled is recorded as its operation.
  class [[nodiscard]] Scope {
   public:
    Scope(const Scope&) = delete;
    Scope& operator=(const Scope&) = delete;
    ~Scope() {
      if (journaled_ != nullptr) {
        journaled_->open_.reset();
      }
    }

   private:
    friend class JournaledSender;
    explicit Scope(JournaledSender* journaled) : journaled_(journaled) {}
    JournaledSender* journaled_;
  };
  // The operation the next commands belong to (its command and outcome are filled in). With
  // no journaled the scope does nothing.
  static Scope Journaled(JournaledSender* journaled, JournalOperation operation);

  // Sends `command` as `operation`.
  SendOutcome Send(const QString& command, JournalOperation operation);
  SendOutcome SendCommand(const QString& command) override;

  // What the journal says of a command's outcome.
  static QString OutcomeText(const SendOutcome& outcome);

 private:
  ICommandSender& sender_;
  IOperationJournal* journal_;
  std::optional<JournalOperation> open_;
};

}  // namespace telmon
