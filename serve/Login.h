#pragma once

// Signing in to telmon-serve with a site account. The browser sends the account and password
// with HTTP Basic authentication on an ordinary GET (so no route accepts anything but GET and
// HEAD); the HTTP thread hands them to the Qt thread, which asks the same privilege service the
// window asks, with its lockout, and hands back the outcome. A granted sign-in opens a session
// whose random identifier lives in an HttpOnly, Secure, SameSite=Strict cookie.

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace telmon::serve {

struct LoginOutcome {
  bool granted = false;
  std::string message;  // what the privilege service said, for the browser
};

// The hand-over between the HTTP threads and the Qt thread.
class LoginDesk {
 public:
  struct Request {
    std::string account;
    std::string password;
    // Called once, on the Qt thread.
    void Answer(LoginOutcome outcome);

   private:
    friend class LoginDesk;
    struct Slot;
    std::shared_ptr<Slot> slot;
  };

  // On an HTTP thread: waits for the Qt thread's answer; empty after `timeout` or once closed.
  std::optional<LoginOutcome> Ask(std::string account, std::string password,
                                  std::chrono::milliseconds timeout);
  // On the Qt thread: the requests waiting, oldest first.
  std::vector<Request> TakePending();
  void Close();

 private:
  std::mutex mutex_;
  std::deque<Request> pending_;
  bool closed_ = false;
};

// The open sessions of signed-in accounts.
class SessionStore {
 public:
  using Clock = std::chrono::steady_clock;
  explicit SessionStore(std::chrono::seconds lifetime = std::chrono::hours(12))
      : lifetime_(lifetime) {}
  // A new session's identifier (64 hexadecimal digits from the system's random source).
  std::string Open(const std::string& account, Clock::time_point now);
  // The account of a session still open; empty for none.
  std::string Account(const std::string& id, Clock::time_point now);

 private:
  struct Session {
    std::string account;
    Clock::time_point expires;
  };
  std::chrono::seconds lifetime_;
  std::mutex mutex_;
  std::map<std::string, Session> sessions_;
};

// Account and password from an "Authorization: Basic ..." header; empty when it is not one.
std::optional<std::pair<std::string, std::string>> ParseBasicAuthorization(
    const std::string& header);

}  // namespace telmon::serve
