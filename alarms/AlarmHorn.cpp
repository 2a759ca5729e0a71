#include "alarms/AlarmHorn.h"

namespace telmon {

bool AlarmHorn::Sounds(const AlarmRow& row) {
  return !row.monitorOwn && row.state == AlarmState::ActiveUnack && row.priority >= 1 &&
         row.priority <= 2;
}

bool AlarmHorn::Update(const std::vector<AlarmRow>& rows) {
  standing_.clear();
  sounding_ = false;
  QSet<Activation> stillSilenced;
  for (const AlarmRow& row : rows) {
    if (!Sounds(row)) {
      continue;
    }
    const Activation a{row.id, row.raised.isValid() ? row.raised.toMSecsSinceEpoch() : 0};
    standing_.push_back(a);
    if (silenced_.contains(a)) {
      stillSilenced.insert(a);
    } else {
      sounding_ = true;
    }
  }
  silenced_ = std::move(stillSilenced);
  return sounding_;
}

void AlarmHorn::Silence() {
  for (const Activation& a : standing_) {
    silenced_.insert(a);
  }
  sounding_ = false;
}

}  // namespace telmon
