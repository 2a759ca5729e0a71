#include "serve/Login.h"

#include <sodium.h>

namespace telmon::serve {

struct LoginDesk::Request::Slot {
  std::mutex mutex;
  std::condition_variable answered;
  std::optional<LoginOutcome> outcome;
};

void LoginDesk::Request::Answer(LoginOutcome outcome) {
  {
    const std::lock_guard lock(slot->mutex);
    slot->outcome = std::move(outcome);
  }
  slot->answered.notify_all();
}

std::optional<LoginOutcome> LoginDesk::Ask(std::string account, std::string password,
                                           std::chrono::milliseconds timeout) {
  Request request;
  request.account = std::move(account);
  request.password = std::move(password);
  request.slot = std::make_shared<Request::Slot>();
  std::shared_ptr<Request::Slot> slot = request.slot;
  {
    const std::lock_guard lock(mutex_);
    if (closed_) {
      return std::nullopt;
    }
    pending_.push_back(std::move(request));
  }
  std::unique_lock lock(slot->mutex);
  slot->answered.wait_for(lock, timeout, [&] { return slot->outcome.has_value(); });
  return slot->outcome;
}

std::vector<LoginDesk::Request> LoginDesk::TakePending() {
  const std::lock_guard lock(mutex_);
  std::vector<Request> taken(std::make_move_iterator(pending_.begin()),
                             std::make_move_iterator(pending_.end()));
  pending_.clear();
  return taken;
}

void LoginDesk::Close() {
  std::deque<Request> left;
  {
    const std::lock_guard lock(mutex_);
    closed_ = true;
    left.swap(pending_);
  }
  for (Request& r : left) {
    r.Answer({false, "telmon-serve is stopping"});
  }
}

std::string SessionStore::Open(const std::string& account, Clock::time_point now) {
  unsigned char bytes[32];
  randombytes_buf(bytes, sizeof bytes);
  char hex[sizeof bytes * 2 + 1];
  sodium_bin2hex(hex, sizeof hex, bytes, sizeof bytes);
  const std::lock_guard lock(mutex_);
  for (auto it = sessions_.begin(); it != sessions_.end();) {
    it = it->second.expires < now ? sessions_.erase(it) : std::next(it);
  }
  sessions_[hex] = {account, now + lifetime_};
  return hex;
}

std::string SessionStore::Account(const std::string& id, Clock::time_point now) {
  const std::lock_guard lock(mutex_);
  const auto it = sessions_.find(id);
  if (it == sessions_.end() || it->second.expires < now) {
    return {};
  }
  return it->second.account;
}

std::optional<std::pair<std::string, std::string>> ParseBasicAuthorization(
    const std::string& header) {
  const std::string basic = "Basic ";
  if (header.rfind(basic, 0) != 0 || header.size() > 4096) {
    return std::nullopt;
  }
  const std::string encoded = header.substr(basic.size());
  std::string decoded(encoded.size(), '\0');
  std::size_t length = 0;
  if (sodium_base642bin(reinterpret_cast<unsigned char*>(decoded.data()), decoded.size(),
                        encoded.data(), encoded.size(), nullptr, &length, nullptr,
                        sodium_base64_VARIANT_ORIGINAL) != 0) {
    return std::nullopt;
  }
  decoded.resize(length);
  const std::size_t colon = decoded.find(':');
  if (colon == std::string::npos || colon == 0) {
    return std::nullopt;
  }
  return std::pair{decoded.substr(0, colon), decoded.substr(colon + 1)};
}

}  // namespace telmon::serve
