#pragma once

// The HTTP side of telmon-serve: read-only by construction. Every route answers GET and HEAD
// only; any other method gets 405 before anything else is looked at. The handlers run on the
// library's own threads and read nothing but published snapshots; the one thing they hand back
// to the Qt thread is which channels a watch page asks for.

#include "serve/Login.h"
#include "serve/Pages.h"
#include "serve/Snapshot.h"

#include <atomic>
#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace httplib {
class Server;
}

namespace telmon::serve {

struct ServerOptions {
  std::string address = "127.0.0.1";
  int port = 8080;  // 0: any free port
  std::string certFile;
  std::string keyFile;
  std::string token;   // empty: no token asked for
  bool login = false;  // site accounts may sign in (HTTP Basic on GET, then a session cookie)
  // Host names the pages answer to besides the loopback's; on the loopback nothing else is
  // answered, so a web page elsewhere cannot reach the pages through a name it points here.
  std::vector<std::string> allowedHosts;
  int maxStreams = 128;
  std::chrono::milliseconds heartbeat{15000};
  std::chrono::seconds writeTimeout{5};
};

bool IsLoopbackAddress(const std::string& address);
// Whether a request's Host header names this server: on the loopback, a loopback name or one
// of `allowed`; elsewhere anything unless `allowed` names some.
bool HostAllowed(const std::string& hostHeader, const ServerOptions& options);
// Why the server must not start with these options; empty when it may. Away from the loopback
// interface the pages need TLS, and a token or the sign-in with a site account.
std::string CheckExposure(const ServerOptions& options);

// Reads `?ids=` with the add-channel dialog's rules.
using WatchParser = std::function<WatchQuery(const std::string& idsText)>;
// The channel IDs of a saved watch list (`?list=`); empty for an unknown name.
using WatchListLookup = std::function<std::optional<std::string>(const std::string& name)>;

class HttpServer {
 public:
  HttpServer(ServerOptions options, SnapshotHub& hub, WatchRegistry& watches, WatchParser parser);
  ~HttpServer();
  HttpServer(const HttpServer&) = delete;
  HttpServer& operator=(const HttpServer&) = delete;

  // Checks the options, loads the certificate and binds; false with `error` set.
  bool Bind(std::string* error);
  int Port() const { return port_; }
  int OpenStreams() const { return streams_.load(); }
  // Where sign-ins go while ServerOptions::login is on; set before Bind.
  void SetLoginDesk(LoginDesk* desk) { desk_ = desk; }
  // Where `?list=NAME` is looked up; without it only `?ids=` names channels.
  void SetWatchLists(WatchListLookup lookup) { lists_ = std::move(lookup); }
  // Serves on a thread of its own until Stop.
  void Start();
  void Stop();

  static constexpr const char* TokenCookie = "telmon_token";
  static constexpr const char* SessionCookie = "telmon_session";

 private:
  void Routes();
  // The content of a page at a snapshot's version, rendered once for every stream showing it.
  std::shared_ptr<const std::string> Rendered(const SiteSnapshot& site, const Route& route,
                                              const WatchQuery& watch);
  bool Authorized(const void* request) const;

  ServerOptions options_;
  SnapshotHub& hub_;
  WatchRegistry& watches_;
  WatchParser parser_;
  WatchListLookup lists_;
  std::unique_ptr<httplib::Server> server_;
  std::thread thread_;
  int port_ = 0;
  std::atomic<int> streams_{0};
  LoginDesk* desk_ = nullptr;
  mutable SessionStore sessions_;  // its own lock
  struct RenderedPage {
    std::uint64_t version = 0;
    std::shared_ptr<const std::string> html;
  };
  std::mutex renderedMutex_;
  std::map<std::string, RenderedPage> rendered_;
};

}  // namespace telmon::serve
