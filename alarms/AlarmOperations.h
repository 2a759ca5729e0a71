#pragma once

// Acknowledging and shelving alarms: changes of the site, so they need edit mode (asked for
// as every change asks, with its privilege check), are written to the alarms database with
// the account that enabled edit mode, and are journaled with their outcome. Failures are
// reported in the messages window (TELM-9020, TELM-9021) and leave the alarms as they were.

#include "alarms/AlarmStore.h"
#include "journal/IOperationJournal.h"
#include "util/Clock.h"
#include "util/IRaiseMsg.h"
#include "views/IEditGate.h"

#include <functional>
#include <vector>

namespace telmon {

struct AlarmOperationServices {
  IEditGate& gate;
  IOperationJournal& journal;
  IRaiseMsg& sink;
  const IClock& clock;
  // The account that enabled edit mode.
  std::function<QString()> account;
};

class AlarmOperations {
 public:
  AlarmOperations(AlarmStore& store, AlarmOperationServices services);

  // The number of alarms changed; empty when edit mode was refused, nothing was chosen or the
  // database failed. The monitor's own alarms are passed over: they end when the change does.
  std::optional<int> Acknowledge(const std::vector<AlarmRow>& alarms);
  std::optional<int> Shelve(const std::vector<AlarmRow>& alarms, int minutes);

  // "15 min", "1 h", "8 h" ...: the shelving times the page offers, in minutes.
  static const std::vector<int>& ShelveChoices();
  static QString DurationText(int minutes);

 private:
  bool Allowed();
  static std::vector<std::int64_t> Ids(const std::vector<AlarmRow>& alarms);
  static QString Targets(const std::vector<AlarmRow>& alarms);
  void Journal(const QString& operation, const std::vector<AlarmRow>& alarms, const QString& value,
               const QString& command, const QString& outcome);

  AlarmStore& store_;
  AlarmOperationServices services_;
};

}  // namespace telmon
