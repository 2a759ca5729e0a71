#include "serve/HttpServer.h"

#include <httplib.h>
#include <sodium.h>

#include <algorithm>
#include <cctype>

#include <arpa/inet.h>
#include <sys/socket.h>

namespace telmon::serve {

namespace {

const char* const kSecurityPolicy =
    "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self'; "
    "connect-src 'self'; form-action 'self'; base-uri 'none'; frame-ancestors 'none'";

// The library listens with a backlog of a handful of connections; a burst of browsers (every
// phone reconnecting after a restart) would overflow it and leave half-open connections that
// never get an answer. Listening again on the bound socket raises the backlog.
template <class Base>
class WideBacklog final : public Base {
 public:
  using Base::Base;
  void RaiseBacklog(int backlog) { ::listen(this->svr_sock_, backlog); }
};

bool SameSecret(const std::string& given, const std::string& token) {
  return given.size() == token.size() &&
         sodium_memcmp(given.data(), token.data(), token.size()) == 0;
}

// The value of cookie `name` in a Cookie header.
std::string CookieValue(const std::string& header, const std::string& name) {
  std::size_t at = 0;
  while (at < header.size()) {
    std::size_t end = header.find(';', at);
    if (end == std::string::npos) {
      end = header.size();
    }
    std::size_t start = header.find_first_not_of(' ', at);
    if (start != std::string::npos && start < end) {
      const std::string pair = header.substr(start, end - start);
      const std::size_t eq = pair.find('=');
      if (eq != std::string::npos && pair.substr(0, eq) == name) {
        return pair.substr(eq + 1);
      }
    }
    at = end + 1;
  }
  return {};
}

WatchQuery ReadWatch(const httplib::Request& req, const WatchParser& parser,
                     const WatchListLookup& lists) {
  if (req.has_param("list") && lists) {
    const std::string name = req.get_param_value("list");
    const std::optional<std::string> ids = lists(name);
    if (!ids) {
      WatchQuery unknown;
      unknown.error = "No saved watch list is named '" + name + "'.";
      return unknown;
    }
    return parser(*ids);
  }
  if (!req.has_param("ids")) {
    return {};
  }
  return parser(req.get_param_value("ids"));
}

}  // namespace

bool IsLoopbackAddress(const std::string& address) {
  if (address == "localhost") {
    return true;
  }
  in_addr v4{};
  if (inet_pton(AF_INET, address.c_str(), &v4) == 1) {
    return (ntohl(v4.s_addr) >> 24) == 127;
  }
  in6_addr v6{};
  if (inet_pton(AF_INET6, address.c_str(), &v6) == 1) {
    return IN6_IS_ADDR_LOOPBACK(&v6);
  }
  return false;
}

bool HostAllowed(const std::string& hostHeader, const ServerOptions& options) {
  // The name without its port: "[::1]:8080" -> "::1", "name:8080" -> "name".
  std::string name = hostHeader;
  if (!name.empty() && name.front() == '[') {
    const std::size_t close = name.find(']');
    name = close == std::string::npos ? std::string() : name.substr(1, close - 1);
  } else if (const std::size_t colon = name.find(':'); colon != std::string::npos) {
    name = name.substr(0, colon);
  }
  std::transform(name.begin(), name.end(), name.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  for (const std::string& allowed : options.allowedHosts) {
    std::string lower = allowed;
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    if (name == lower) {
      return true;
    }
  }
  if (!IsLoopbackAddress(options.address)) {
    return options.allowedHosts.empty();
  }
  return !name.empty() && IsLoopbackAddress(name);
}

std::string CheckExposure(const ServerOptions& options) {
  if (IsLoopbackAddress(options.address)) {
    return {};
  }
  if (options.certFile.empty() || options.keyFile.empty()) {
    return "refusing to serve on " + options.address +
           " without TLS: give --tls-cert and --tls-key, or bind to 127.0.0.1 behind a "
           "reverse proxy";
  }
  if (options.token.empty() && !options.login) {
    return "refusing to serve on " + options.address +
           " without a token or a sign-in: give --token-file or --login, or bind to 127.0.0.1 "
           "behind a reverse proxy";
  }
  return {};
}

HttpServer::HttpServer(ServerOptions options, SnapshotHub& hub, WatchRegistry& watches,
                       WatchParser parser)
    : options_(std::move(options)), hub_(hub), watches_(watches), parser_(std::move(parser)) {}

HttpServer::~HttpServer() { Stop(); }

bool HttpServer::Bind(std::string* error) {
  *error = CheckExposure(options_);
  if (!error->empty()) {
    return false;
  }
  if (options_.login && desk_ == nullptr) {
    *error = "no sign-in desk for --login";
    return false;
  }
  if (sodium_init() < 0) {
    *error = "libsodium could not start";
    return false;
  }
  if (!options_.certFile.empty() || !options_.keyFile.empty()) {
    auto tls = std::make_unique<WideBacklog<httplib::SSLServer>>(options_.certFile.c_str(),
                                                                 options_.keyFile.c_str());
    if (!tls->is_valid()) {
      *error = "the TLS certificate " + options_.certFile + " or its key " + options_.keyFile +
               " could not be loaded";
      return false;
    }
    server_ = std::move(tls);
  } else {
    server_ = std::make_unique<WideBacklog<httplib::Server>>();
  }
  // One thread per open event stream, and a few for the pages.
  const auto threads = static_cast<std::size_t>(options_.maxStreams) + 8;
  server_->new_task_queue = [threads] { return new httplib::ThreadPool(threads); };
  server_->set_read_timeout(5, 0);
  server_->set_write_timeout(options_.writeTimeout);
  server_->set_payload_max_length(std::size_t{64} * 1024);
  Routes();
  if (options_.port == 0) {
    port_ = server_->bind_to_any_port(options_.address);
  } else {
    port_ = server_->bind_to_port(options_.address, options_.port) ? options_.port : -1;
  }
  if (port_ <= 0) {
    *error = "cannot listen on " + options_.address + " port " + std::to_string(options_.port);
    return false;
  }
  const int backlog = options_.maxStreams + 64;
  if (auto* tls = dynamic_cast<WideBacklog<httplib::SSLServer>*>(server_.get())) {
    tls->RaiseBacklog(backlog);
  } else {
    static_cast<WideBacklog<httplib::Server>*>(server_.get())->RaiseBacklog(backlog);
  }
  return true;
}

void HttpServer::Start() {
  thread_ = std::thread([this] { server_->listen_after_bind(); });
}

void HttpServer::Stop() {
  hub_.Stop();
  if (desk_ != nullptr) {
    desk_->Close();
  }
  if (server_) {
    server_->stop();
  }
  if (thread_.joinable()) {
    thread_.join();
  }
}

std::shared_ptr<const std::string> HttpServer::Rendered(const SiteSnapshot& site,
                                                        const Route& route,
                                                        const WatchQuery& watch) {
  const std::string key = std::to_string(static_cast<int>(route.kind)) + "/" +
                          std::to_string(route.dahsId) + "?" + watch.idsText;
  {
    const std::lock_guard lock(renderedMutex_);
    const auto it = rendered_.find(key);
    if (it != rendered_.end() && it->second.version == site.version) {
      return it->second.html;
    }
  }
  auto html = std::make_shared<const std::string>(RenderPage(site, route, watch).main);
  const std::lock_guard lock(renderedMutex_);
  RenderedPage& page = rendered_[key];
  if (page.version <= site.version) {
    page = {site.version, html};
  }
  // Watch pages name their channels in the key: forget pages nobody asked for lately.
  if (rendered_.size() > 256) {
    for (auto it = rendered_.begin(); it != rendered_.end();) {
      it = it->second.version + 100 < site.version ? rendered_.erase(it) : std::next(it);
    }
  }
  return html;
}

bool HttpServer::Authorized(const void* request) const {
  if (options_.token.empty() && !options_.login) {
    return true;
  }
  const auto& req = *static_cast<const httplib::Request*>(request);
  if (options_.login) {
    const std::string session = CookieValue(req.get_header_value("Cookie"), SessionCookie);
    if (!session.empty() && !sessions_.Account(session, SessionStore::Clock::now()).empty()) {
      return true;
    }
  }
  if (options_.token.empty()) {
    return false;
  }
  const std::string bearer = "Bearer ";
  const std::string authorization = req.get_header_value("Authorization");
  if (authorization.rfind(bearer, 0) == 0 &&
      SameSecret(authorization.substr(bearer.size()), options_.token)) {
    return true;
  }
  return SameSecret(CookieValue(req.get_header_value("Cookie"), TokenCookie), options_.token);
}

void HttpServer::Routes() {
  httplib::Server& s = *server_;
  httplib::Headers headers{{"Content-Security-Policy", kSecurityPolicy},
                           {"X-Content-Type-Options", "nosniff"},
                           {"Referrer-Policy", "no-referrer"},
                           {"X-Frame-Options", "DENY"},
                           {"Cache-Control", "no-store"}};
  if (!options_.certFile.empty()) {
    headers.emplace("Strict-Transport-Security", "max-age=31536000");
  }
  s.set_default_headers(headers);

  s.set_pre_routing_handler([this](const httplib::Request& req, httplib::Response& res) {
    if (req.method != "GET" && req.method != "HEAD") {
      res.status = 405;
      res.set_header("Allow", "GET, HEAD");
      res.set_content("Method Not Allowed: this server only shows the site.\n", "text/plain");
      return httplib::Server::HandlerResponse::Handled;
    }
    if (!HostAllowed(req.get_header_value("Host"), options_)) {
      res.status = 403;
      res.set_content("Forbidden: this server does not answer to that host name.\n", "text/plain");
      return httplib::Server::HandlerResponse::Handled;
    }
    // A token in the address, once: it becomes a cookie the script never sees, and the
    // address loses it.
    if (!options_.token.empty() && req.has_param("token") &&
        SameSecret(req.get_param_value("token"), options_.token)) {
      res.status = 303;
      res.set_header("Set-Cookie", std::string(TokenCookie) + "=" + options_.token +
                                       "; Path=/; HttpOnly; Secure; SameSite=Strict");
      std::string location = req.path;
      char separator = '?';
      for (const auto& [name, value] : req.params) {
        if (name != "token") {
          location += separator + EscapeQuery(name) + "=" + EscapeQuery(value);
          separator = '&';
        }
      }
      res.set_header("Location", location);
      return httplib::Server::HandlerResponse::Handled;
    }
    if (Authorized(&req)) {
      return httplib::Server::HandlerResponse::Unhandled;
    }
    std::string refusal = "Unauthorized: open the address once with ?token=<the token>.";
    if (options_.login) {
      refusal = "Unauthorized: sign in with a site account.";
      if (const auto basic = ParseBasicAuthorization(req.get_header_value("Authorization"))) {
        const std::optional<LoginOutcome> outcome =
            desk_->Ask(basic->first, basic->second, std::chrono::seconds(20));
        if (outcome && outcome->granted) {
          res.set_header("Set-Cookie",
                         std::string(SessionCookie) + "=" +
                             sessions_.Open(basic->first, SessionStore::Clock::now()) +
                             "; Path=/; HttpOnly; Secure; SameSite=Strict");
          return httplib::Server::HandlerResponse::Unhandled;
        }
        refusal = outcome ? outcome->message : "The privilege service did not answer.";
      }
    }
    res.status = 401;
    res.set_header("WWW-Authenticate", options_.login
                                           ? "Basic realm=\"telmon-serve\", charset=\"UTF-8\""
                                           : "Bearer realm=\"telmon-serve\"");
    res.set_content(refusal + "\n", "text/plain; charset=utf-8");
    return httplib::Server::HandlerResponse::Handled;
  });

  s.Get("/app.js", [](const httplib::Request&, httplib::Response& res) {
    res.set_content(kScript, "text/javascript; charset=utf-8");
  });
  s.Get("/app.css", [](const httplib::Request&, httplib::Response& res) {
    res.set_content(kStyle, "text/css; charset=utf-8");
  });
  s.Get("/metrics", [this](const httplib::Request&, httplib::Response& res) {
    res.set_content(RenderMetrics(*hub_.Current()), "text/plain; version=0.0.4; charset=utf-8");
  });
  s.Get("/events", [this](const httplib::Request& req, httplib::Response& res) {
    const Route route = ParseRoute(req.get_param_value("page"));
    if (route.kind == Route::Kind::None) {
      res.status = 404;
      res.set_content("No such page.\n", "text/plain");
      return;
    }
    if (streams_.load() >= options_.maxStreams) {
      res.status = 503;
      res.set_header("Retry-After", "10");
      res.set_content("Too many event streams.\n", "text/plain");
      return;
    }
    if (req.method == "HEAD") {
      res.set_content("", "text/event-stream");
      return;
    }
    const WatchQuery watch = ReadWatch(req, parser_, lists_);
    struct State {
      std::uint64_t version = 0;
      std::shared_ptr<const std::string> sent;
      bool first = true;
    };
    auto state = std::make_shared<State>();
    ++streams_;
    res.set_header("X-Accel-Buffering", "no");
    res.set_chunked_content_provider(
        "text/event-stream",
        [this, route, watch, state](std::size_t /*offset*/, httplib::DataSink& sink) {
          if (state->first) {
            state->first = false;
            if (!sink.write("retry: 2000\n\n", 13)) {
              return false;
            }
          }
          const std::shared_ptr<const SiteSnapshot> site =
              hub_.WaitNewer(state->version, options_.heartbeat);
          if (hub_.Stopped()) {
            return false;
          }
          if (route.kind == Route::Kind::Watch && !watch.ids.empty()) {
            watches_.Want(route.dahsId, watch.ids, WatchRegistry::Clock::now());
          }
          if (site->version == state->version) {
            // Nothing new: a comment shows a client that left.
            return sink.write(": idle\n\n", 8);
          }
          state->version = site->version;
          std::shared_ptr<const std::string> html = Rendered(*site, route, watch);
          if (state->sent && (html == state->sent || *html == *state->sent)) {
            return true;
          }
          const std::string message = StreamMessage(*html);
          if (!sink.write(message.data(), message.size())) {
            return false;
          }
          state->sent = std::move(html);
          return true;
        },
        [this](bool /*success*/) { --streams_; });
  });
  s.Get(R"(/.*)", [this](const httplib::Request& req, httplib::Response& res) {
    const Route route = ParseRoute(req.path);
    const WatchQuery watch = ReadWatch(req, parser_, lists_);
    if (route.kind == Route::Kind::Watch && !watch.ids.empty()) {
      watches_.Want(route.dahsId, watch.ids, WatchRegistry::Clock::now());
    }
    const std::shared_ptr<const SiteSnapshot> site = hub_.Current();
    const Page page = RenderPage(*site, route, watch);
    res.status = page.status;
    res.set_content(RenderDocument(*site, page), "text/html; charset=utf-8");
  });
}

}  // namespace telmon::serve
