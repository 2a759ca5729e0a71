#pragma once

// Real network peers that misbehave, for the database fault tests (loopback only): a port
// that refuses, a listener that accepts and never answers, and a proxy in front of a real
// server that stops forwarding when it sees a given text go by.

#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace telmon::test {

inline int ListeningSocket(int* port) {
  const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
  const int on = 1;
  ::setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = 0;
  ::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address);
  ::listen(fd, 64);
  socklen_t length = sizeof address;
  ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length);
  *port = ntohs(address.sin_port);
  return fd;
}

// A loopback port with nothing listening on it.
inline int RefusedPort() {
  int port = 0;
  ::close(ListeningSocket(&port));
  return port;
}

// Polls `fds` for input until `stop`; calls `ready` for each that has some.
class PollLoop {
 public:
  ~PollLoop() { Stop(); }
  void Start(std::function<void()> step) {
    thread_ = std::thread([this, step = std::move(step)] {
      while (!stop_) {
        step();
      }
    });
  }
  void Stop() {
    stop_ = true;
    if (thread_.joinable()) {
      thread_.join();
    }
  }

 private:
  std::atomic<bool> stop_{false};
  std::thread thread_;
};

// Accepts every connection and never sends a byte: a host that takes the connection and then
// drops every packet, as far as the client can tell.
class SilentListener {
 public:
  SilentListener() {
    listener_ = ListeningSocket(&port_);
    loop_.Start([this] {
      pollfd p{listener_, POLLIN, 0};
      if (::poll(&p, 1, 20) > 0) {
        const int fd = ::accept(listener_, nullptr, nullptr);
        if (fd >= 0) {
          const std::lock_guard lock(mutex_);
          accepted_.push_back(fd);
        }
      }
    });
  }
  ~SilentListener() {
    loop_.Stop();
    for (const int fd : accepted_) {
      ::close(fd);
    }
    ::close(listener_);
  }
  SilentListener(const SilentListener&) = delete;
  SilentListener& operator=(const SilentListener&) = delete;

  int Port() const { return port_; }
  int Accepted() {
    const std::lock_guard lock(mutex_);
    return static_cast<int>(accepted_.size());
  }

 private:
  int listener_ = -1;
  int port_ = 0;
  std::mutex mutex_;
  std::vector<int> accepted_;
  PollLoop loop_;
};

// Forwards loopback connections to `targetPort`. When the client side of a connection sends
// a chunk holding the trigger text (its `count`-th occurrence over all connections), the
// proxy acts once: it stops forwarding that connection before the chunk (the server never
// sees it) or after it (the server acts, its answer never comes back), or calls `onTrigger`
// after forwarding the chunk and then goes on. A stopped connection stays open and silent.
class StallingProxy {
 public:
  enum class Action { StallBefore, StallAfter, CallAfter };

  explicit StallingProxy(int targetPort) : target_(targetPort) {
    listener_ = ListeningSocket(&port_);
    loop_.Start([this] { Step(); });
  }
  ~StallingProxy() {
    loop_.Stop();
    for (const Pair& pair : pairs_) {
      ::close(pair.client);
      ::close(pair.server);
    }
    ::close(listener_);
  }
  StallingProxy(const StallingProxy&) = delete;
  StallingProxy& operator=(const StallingProxy&) = delete;

  int Port() const { return port_; }
  void Arm(std::string trigger, Action action, int count = 1,
           std::function<void()> onTrigger = {}) {
    const std::lock_guard lock(mutex_);
    trigger_ = std::move(trigger);
    action_ = action;
    remaining_ = count;
    onTrigger_ = std::move(onTrigger);
  }
  bool Triggered() const { return triggered_; }
  // Every later byte of every connection is held back, new connections included.
  void StallEverything() { stallAll_ = true; }
  void Resume() { stallAll_ = false; }

 private:
  struct Pair {
    int client;
    int server;
    bool stalled = false;
  };

  static int Connect(int port) {
    const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    if (::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
      ::close(fd);
      return -1;
    }
    return fd;
  }

  void Step() {
    std::vector<pollfd> fds{{listener_, POLLIN, 0}};
    if (!stallAll_) {
      for (const Pair& pair : pairs_) {
        if (!pair.stalled) {
          fds.push_back({pair.client, POLLIN, 0});
          fds.push_back({pair.server, POLLIN, 0});
        }
      }
    }
    if (::poll(fds.data(), fds.size(), 20) <= 0) {
      return;
    }
    if ((fds[0].revents & POLLIN) != 0) {
      const int client = ::accept(listener_, nullptr, nullptr);
      const int server = client >= 0 ? Connect(target_) : -1;
      if (server >= 0) {
        pairs_.push_back({client, server});
      } else if (client >= 0) {
        ::close(client);
      }
    }
    for (std::size_t i = 1; i < fds.size(); ++i) {
      if ((fds[i].revents & (POLLIN | POLLHUP | POLLERR)) == 0) {
        continue;
      }
      Pair* pair = nullptr;
      for (Pair& p : pairs_) {
        if (p.client == fds[i].fd || p.server == fds[i].fd) {
          pair = &p;
        }
      }
      if (pair == nullptr || pair->stalled) {
        continue;
      }
      const bool fromClient = fds[i].fd == pair->client;
      char buffer[65536];
      const ssize_t n = ::read(fds[i].fd, buffer, sizeof buffer);
      if (n <= 0) {
        ::shutdown(fromClient ? pair->server : pair->client, SHUT_WR);
        pair->stalled = true;  // nothing more to forward
        continue;
      }
      std::function<void()> call;
      if (fromClient && Matches(buffer, static_cast<std::size_t>(n))) {
        if (action_ == Action::StallBefore) {
          pair->stalled = true;
          continue;
        }
        if (action_ == Action::StallAfter) {
          pair->stalled = true;
        } else {
          call = onTrigger_;
        }
      }
      Send(fromClient ? pair->server : pair->client, buffer, static_cast<std::size_t>(n));
      if (call) {
        call();
      }
    }
  }

  bool Matches(const char* data, std::size_t size) {
    const std::lock_guard lock(mutex_);
    if (remaining_ <= 0 || trigger_.empty() ||
        std::string(data, size).find(trigger_) == std::string::npos) {
      return false;
    }
    if (--remaining_ > 0) {
      return false;
    }
    triggered_ = true;
    return true;
  }

  static void Send(int fd, const char* data, std::size_t size) {
    while (size > 0) {
      const ssize_t n = ::send(fd, data, size, MSG_NOSIGNAL);
      if (n <= 0) {
        return;
      }
      data += n;
      size -= static_cast<std::size_t>(n);
    }
  }

  int target_;
  int listener_ = -1;
  int port_ = 0;
  std::vector<Pair> pairs_;
  std::mutex mutex_;
  std::string trigger_;
  Action action_ = Action::StallBefore;
  int remaining_ = 0;
  std::function<void()> onTrigger_;
  std::atomic<bool> triggered_{false};
  std::atomic<bool> stallAll_{false};
  PollLoop loop_;
};

}  // namespace telmon::test
