#include "serve/Snapshot.h"

namespace telmon::serve {

const DahsSnapshot* SiteSnapshot::Dahs(std::int32_t dahsId) const {
  for (const DahsSnapshot& d : dahs) {
    if (d.dahsId == dahsId) {
      return &d;
    }
  }
  return nullptr;
}

SnapshotHub::SnapshotHub() : current_(std::make_shared<const SiteSnapshot>()) {}

void SnapshotHub::Publish(SiteSnapshot snapshot) {
  {
    const std::lock_guard lock(mutex_);
    snapshot.version = current_->version + 1;
    current_ = std::make_shared<const SiteSnapshot>(std::move(snapshot));
  }
  changed_.notify_all();
}

std::shared_ptr<const SiteSnapshot> SnapshotHub::Current() const {
  const std::lock_guard lock(mutex_);
  return current_;
}

std::shared_ptr<const SiteSnapshot> SnapshotHub::WaitNewer(
    std::uint64_t seen, std::chrono::milliseconds timeout) const {
  std::unique_lock lock(mutex_);
  changed_.wait_for(lock, timeout, [&] { return stopped_ || current_->version > seen; });
  return current_;
}

void SnapshotHub::Stop() {
  {
    const std::lock_guard lock(mutex_);
    stopped_ = true;
  }
  changed_.notify_all();
}

bool SnapshotHub::Stopped() const {
  const std::lock_guard lock(mutex_);
  return stopped_;
}

void WatchRegistry::Want(std::int32_t dahsId, const std::vector<std::int32_t>& ids,
                         Clock::time_point now) {
  const std::lock_guard lock(mutex_);
  auto& wanted = wanted_[dahsId];
  for (const std::int32_t id : ids) {
    wanted[id] = now;
  }
}

std::vector<std::int32_t> WatchRegistry::Wanted(std::int32_t dahsId, Clock::time_point since) {
  const std::lock_guard lock(mutex_);
  std::vector<std::int32_t> ids;
  auto& wanted = wanted_[dahsId];
  for (auto it = wanted.begin(); it != wanted.end();) {
    if (it->second < since) {
      it = wanted.erase(it);
    } else {
      ids.push_back(it->first);
      ++it;
    }
  }
  return ids;
}

}  // namespace telmon::serve
