#include "serve/Pages.h"

#include <cstdio>
#include <sstream>

namespace telmon::serve {

namespace {

std::string Number(std::int64_t n) { return std::to_string(n); }

bool ParseDahsNumber(const std::string& text, std::int32_t* id) {
  if (text.empty() || text.size() > 9) {
    return false;
  }
  std::int32_t value = 0;
  for (const char c : text) {
    if (c < '0' || c > '9') {
      return false;
    }
    value = value * 10 + (c - '0');
  }
  *id = value;
  return true;
}

std::string ClassAttr(const std::string& tone) {
  return tone.empty() ? std::string() : " class=\"" + EscapeHtml(tone) + "\"";
}

void RenderTable(std::ostringstream& out, const Table& table) {
  out << "<table><thead><tr>";
  for (const std::string& h : table.headers) {
    out << "<th>" << EscapeHtml(h) << "</th>";
  }
  out << "</tr></thead><tbody>";
  for (const Row& row : table.rows) {
    const std::string rowTone = row.cells.empty() ? std::string() : row.cells.front().tone;
    out << "<tr" << ClassAttr(rowTone) << " data-key=\"" << EscapeHtml(row.key) << "\">";
    for (std::size_t c = 0; c < row.cells.size(); ++c) {
      const Cell& cell = row.cells[c];
      const std::string header = c < table.headers.size() ? table.headers[c] : std::string();
      out << "<td data-h=\"" << EscapeHtml(header) << "\""
          << (cell.tone != rowTone ? ClassAttr(cell.tone.empty() ? "plain" : cell.tone) : "") << ">"
          << EscapeHtml(cell.text) << "</td>";
    }
    out << "</tr>";
  }
  out << "</tbody></table>";
}

void RenderLinkBadge(std::ostringstream& out, const DahsSnapshot& d) {
  out << "<p class=\"link " << (d.linkUp ? "up" : "down")
      << "\">IOS link: " << (d.linkUp ? "up" : "down") << " (" << EscapeHtml(d.linkText) << ")</p>";
}

void RenderDahsTabs(std::ostringstream& out, const DahsSnapshot& d, Route::Kind current) {
  const std::string base = "/dahs/" + Number(d.dahsId);
  const struct {
    Route::Kind kind;
    const char* path;
    const char* caption;
  } tabs[] = {{Route::Kind::Devices, "/devices", "Devices"},
              {Route::Kind::Queues, "/queues", "Queues"},
              {Route::Kind::Blocks, "/blocks", "Blocks"},
              {Route::Kind::Watch, "/watch", "Watch"}};
  out << "<nav class=\"tabs\">";
  for (const auto& tab : tabs) {
    out << "<a href=\"" << base << tab.path << "\""
        << (tab.kind == current ? " aria-current=\"page\"" : "") << ">" << tab.caption << "</a>";
  }
  out << "</nav>";
}

void RenderOverview(std::ostringstream& out, const SiteSnapshot& site) {
  out << "<h1>Site overview</h1>";
  if (site.dahs.empty()) {
    out << "<p>No DAHS is configured.</p>";
  }
  for (const DahsSnapshot& d : site.dahs) {
    const bool alert = !d.linkUp || d.notPolling || d.devicesRandom > 0 ||
                       d.devicesWatchdogNotOk > 0 || d.forcedChannels > 0 || d.failingBlocks > 0 ||
                       d.alarmsActive > 0;
    out << "<section class=\"dahs" << (alert ? " alert" : "") << "\" id=\"dahs" << d.dahsId
        << "\"><h2><a href=\"/dahs/" << d.dahsId << "/devices\">" << EscapeHtml(d.title)
        << "</a></h2>";
    RenderLinkBadge(out, d);
    const auto item = [&out](const char* caption, int count) {
      out << "<li" << (count > 0 ? " class=\"fault\"" : "") << "><span>" << caption << "</span> <b>"
          << count << "</b></li>";
    };
    if (d.notPolling) {
      out << "<p class=\"fault\">Not Polling Device(s)</p>";
    }
    out << "<ul class=\"counts\">";
    out << "<li><span>Devices</span> <b>" << d.devices.rows.size() << "</b></li>";
    item("Random values", d.devicesRandom);
    item("Watchdog not OK", d.devicesWatchdogNotOk);
    item("Forced channels", d.forcedChannels);
    item("Failing blocks", d.failingBlocks);
    item("Paused queues", d.queuesPaused);
    if (d.alarmsActive >= 0) {
      item("Active alarms", d.alarmsActive);
      item("Unacknowledged", d.alarmsUnacknowledged);
    }
    out << "</ul><p class=\"refresh\">Last full refresh: "
        << (d.lastFullRefresh.empty() ? std::string("none yet") : EscapeHtml(d.lastFullRefresh))
        << "</p></section>";
  }
}

void RenderWatch(std::ostringstream& out, const DahsSnapshot& d, const WatchQuery& watch) {
  out << "<h1>" << EscapeHtml(d.title) << ": watch</h1>";
  RenderDahsTabs(out, d, Route::Kind::Watch);
  out << "<form method=\"get\" action=\"/dahs/" << d.dahsId
      << "/watch\"><label>Channel IDs <input name=\"ids\" value=\"" << EscapeHtml(watch.idsText)
      << "\" inputmode=\"numeric\" placeholder=\"1216, 1300-1310\"></label> "
         "<button>Watch</button></form>";
  if (!watch.error.empty()) {
    out << "<p class=\"error\">" << EscapeHtml(watch.error) << "</p>";
    return;
  }
  if (watch.ids.empty()) {
    return;
  }
  if (d.realtimeReadFailed) {
    out << "<p class=\"error\">The realtime database could not be read.</p>";
  }
  out << "<table><thead><tr><th>Channel</th><th>Name</th><th>Value</th><th>Time</th></tr>"
         "</thead><tbody>";
  for (const std::int32_t id : watch.ids) {
    const auto it = d.watched.find(id);
    const bool known = it != d.watched.end();
    out << "<tr data-key=\"" << id << "\"><td data-h=\"Channel\">" << id
        << "</td><td data-h=\"Name\">" << (known ? EscapeHtml(it->second.name) : std::string())
        << "</td><td data-h=\"Value\">"
        << (known && it->second.read ? EscapeHtml(it->second.value) : std::string("\u2026"))
        << "</td><td data-h=\"Time\">" << (known ? EscapeHtml(it->second.stamp) : std::string())
        << "</td></tr>";
  }
  out << "</tbody></table>";
}

void RenderSiteState(std::ostringstream& out, const SiteSnapshot& site) {
  out << "<h1>Site state</h1>";
  for (const DahsSnapshot& d : site.dahs) {
    out << "<section><h2>" << EscapeHtml(d.title) << "</h2>";
    if (d.siteState.empty()) {
      out << "<p>Nothing left changed.</p></section>";
      continue;
    }
    Table table{{"Group", "ID", "Name", "Detail"}, {}};
    for (const StateItem& item : d.siteState) {
      table.rows.push_back(
          {std::to_string(item.id),
           {{item.group, ""}, {std::to_string(item.id), ""}, {item.name, ""}, {item.detail, ""}}});
    }
    RenderTable(out, table);
    out << "</section>";
  }
}

void RenderJournal(std::ostringstream& out, const SiteSnapshot& site) {
  out << "<h1>Journal</h1>";
  if (site.journal.empty()) {
    out << "<p>No entries.</p>";
    return;
  }
  Table table{{"Time", "DAHS", "Account", "Operation", "Targets", "Previous", "Value", "Outcome"},
              {}};
  for (const JournalLine& line : site.journal) {
    table.rows.push_back({line.time,
                          {{line.time, ""},
                           {std::to_string(line.dahs), ""},
                           {line.account, ""},
                           {line.operation, ""},
                           {line.targets, ""},
                           {line.previous, ""},
                           {line.value, ""},
                           {line.outcome, ""}}});
  }
  RenderTable(out, table);
}

std::string StreamAddress(const std::string& path, const WatchQuery& watch) {
  std::string address = "/events?page=" + EscapeQuery(path);
  if (!watch.idsText.empty()) {
    address += "&ids=" + EscapeQuery(watch.idsText);
  }
  return address;
}

std::string MetricLabel(const std::string& text) {
  std::string out;
  for (const char c : text) {
    if (c == '\\' || c == '"') {
      out += '\\';
      out += c;
    } else if (c == '\n') {
      out += "\\n";
    } else {
      out += c;
    }
  }
  return out;
}

}  // namespace

Route ParseRoute(const std::string& path) {
  if (path == "/") {
    return {Route::Kind::Overview, 0};
  }
  if (path == "/state") {
    return {Route::Kind::SiteState, 0};
  }
  if (path == "/journal") {
    return {Route::Kind::Journal, 0};
  }
  const std::string prefix = "/dahs/";
  if (path.rfind(prefix, 0) != 0) {
    return {};
  }
  const std::size_t slash = path.find('/', prefix.size());
  Route route;
  if (slash == std::string::npos ||
      !ParseDahsNumber(path.substr(prefix.size(), slash - prefix.size()), &route.dahsId)) {
    return {};
  }
  const std::string page = path.substr(slash);
  if (page == "/devices") {
    route.kind = Route::Kind::Devices;
  } else if (page == "/queues") {
    route.kind = Route::Kind::Queues;
  } else if (page == "/blocks") {
    route.kind = Route::Kind::Blocks;
  } else if (page == "/watch") {
    route.kind = Route::Kind::Watch;
  }
  return route;
}

Page RenderPage(const SiteSnapshot& site, const Route& route, const WatchQuery& watch) {
  Page page;
  std::ostringstream out;
  std::string path;
  switch (route.kind) {
    case Route::Kind::None:
      page.status = 404;
      page.title = "Not found";
      page.main = "<h1>Not found</h1>";
      return page;
    case Route::Kind::Overview:
      page.title = "Site overview";
      path = "/";
      RenderOverview(out, site);
      break;
    case Route::Kind::SiteState:
      page.title = "Site state";
      path = "/state";
      RenderSiteState(out, site);
      break;
    case Route::Kind::Journal:
      page.title = "Journal";
      path = "/journal";
      RenderJournal(out, site);
      break;
    default: {
      const DahsSnapshot* d = site.Dahs(route.dahsId);
      if (d == nullptr) {
        page.status = 404;
        page.title = "Not found";
        page.main = "<h1>No DAHS " + Number(route.dahsId) + " on this site</h1>";
        return page;
      }
      path = "/dahs/" + Number(d->dahsId);
      if (route.kind == Route::Kind::Watch) {
        page.title = d->title + ": watch";
        path += "/watch";
        RenderWatch(out, *d, watch);
        break;
      }
      const char* caption = route.kind == Route::Kind::Devices  ? "Devices"
                            : route.kind == Route::Kind::Queues ? "Queues"
                                                                : "Blocks";
      const Table& table = route.kind == Route::Kind::Devices  ? d->devices
                           : route.kind == Route::Kind::Queues ? d->queues
                                                               : d->blocks;
      page.title = d->title + ": " + caption;
      path += route.kind == Route::Kind::Devices  ? "/devices"
              : route.kind == Route::Kind::Queues ? "/queues"
                                                  : "/blocks";
      out << "<h1>" << EscapeHtml(d->title) << ": " << caption << "</h1>";
      RenderDahsTabs(out, *d, route.kind);
      RenderLinkBadge(out, *d);
      RenderTable(out, table);
      break;
    }
  }
  page.main = out.str();
  page.stream = StreamAddress(path, watch);
  return page;
}

std::string RenderDocument(const SiteSnapshot& site, const Page& page) {
  std::ostringstream out;
  out << "<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\">"
         "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">"
         "<meta name=\"color-scheme\" content=\"light dark\">"
         "<title>"
      << EscapeHtml(page.title)
      << " - telmon-serve</title><link rel=\"stylesheet\" href=\"/app.css\">"
         "<script src=\"/app.js\" defer></script></head><body><header><nav class=\"site\">"
         "<a href=\"/\">Overview</a>";
  for (const DahsSnapshot& d : site.dahs) {
    out << "<a href=\"/dahs/" << d.dahsId << "/devices\" class=\"" << (d.linkUp ? "up" : "down")
        << "\">DAHS " << d.dahsId << "</a>";
  }
  out << "<a href=\"/state\">Site state</a><a href=\"/journal\">Journal</a></nav></header><main";
  if (!page.stream.empty()) {
    out << " data-stream=\"" << EscapeHtml(page.stream) << "\"";
  }
  out << ">" << page.main << "</main></body></html>\n";
  return out.str();
}

std::string StreamMessage(const std::string& html) {
  std::string message = "event: page\n";
  std::size_t start = 0;
  while (true) {
    const std::size_t end = html.find('\n', start);
    message += "data: " + html.substr(start, end == std::string::npos ? end : end - start) + "\n";
    if (end == std::string::npos) {
      break;
    }
    start = end + 1;
  }
  return message + "\n";
}

std::string RenderMetrics(const SiteSnapshot& site) {
  std::ostringstream out;
  const auto family = [&out](const char* name, const char* type, const char* help) {
    out << "# HELP " << name << ' ' << help << "\n# TYPE " << name << ' ' << type << '\n';
  };
  const auto each = [&](const char* name, const auto& value) {
    for (const DahsSnapshot& d : site.dahs) {
      out << name << "{dahs=\"" << d.dahsId << "\"} " << value(d) << '\n';
    }
  };
  family("telmon_link_up", "gauge", "Whether the link to the DAHS's I/O server is up.");
  each("telmon_link_up", [](const DahsSnapshot& d) { return d.linkUp ? 1 : 0; });
  family("telmon_devices", "gauge", "Devices of the DAHS by state.");
  for (const DahsSnapshot& d : site.dahs) {
    const auto state = [&](const char* s, std::size_t n) {
      out << "telmon_devices{dahs=\"" << d.dahsId << "\",state=\"" << s << "\"} " << n << '\n';
    };
    state("all", d.devices.rows.size());
    state("polling", static_cast<std::size_t>(d.devicesPolling));
    state("random", static_cast<std::size_t>(d.devicesRandom));
    state("watchdog_not_ok", static_cast<std::size_t>(d.devicesWatchdogNotOk));
  }
  family("telmon_not_polling", "gauge",
         "Whether the I/O server says some device is not being polled (IOS.AllCommsOk).");
  each("telmon_not_polling", [](const DahsSnapshot& d) { return d.notPolling ? 1 : 0; });
  family("telmon_queue_size", "gauge", "Requests waiting in each I/O queue.");
  for (const DahsSnapshot& d : site.dahs) {
    for (const QueueFigures& q : d.queueFigures) {
      out << "telmon_queue_size{dahs=\"" << d.dahsId << "\",queue=\"" << MetricLabel(q.name)
          << "\"} " << q.size << '\n';
    }
  }
  family("telmon_queue_io_failures", "gauge", "I/O failures each queue reports.");
  for (const DahsSnapshot& d : site.dahs) {
    for (const QueueFigures& q : d.queueFigures) {
      out << "telmon_queue_io_failures{dahs=\"" << d.dahsId << "\",queue=\"" << MetricLabel(q.name)
          << "\"} " << q.ioFailures << '\n';
    }
  }
  family("telmon_queue_paused", "gauge", "Whether each queue is paused.");
  for (const DahsSnapshot& d : site.dahs) {
    for (const QueueFigures& q : d.queueFigures) {
      out << "telmon_queue_paused{dahs=\"" << d.dahsId << "\",queue=\"" << MetricLabel(q.name)
          << "\"} " << (q.paused ? 1 : 0) << '\n';
    }
  }
  family("telmon_failing_blocks", "gauge", "Blocks with a fail count above zero.");
  each("telmon_failing_blocks", [](const DahsSnapshot& d) { return d.failingBlocks; });
  family("telmon_alarms_active", "gauge", "Active alarms of the DAHS.");
  for (const DahsSnapshot& d : site.dahs) {
    if (d.alarmsActive >= 0) {
      out << "telmon_alarms_active{dahs=\"" << d.dahsId << "\"} " << d.alarmsActive << '\n';
    }
  }
  family("telmon_alarms_unacknowledged", "gauge", "Alarms of the DAHS not yet acknowledged.");
  for (const DahsSnapshot& d : site.dahs) {
    if (d.alarmsActive >= 0) {
      out << "telmon_alarms_unacknowledged{dahs=\"" << d.dahsId << "\"} " << d.alarmsUnacknowledged
          << '\n';
    }
  }
  family("telmon_forced_channels", "gauge", "Channels whose data source is a forced value.");
  each("telmon_forced_channels", [](const DahsSnapshot& d) { return d.forcedChannels; });
  family("telmon_events_received_total", "counter", "Events received from the I/O server.");
  each("telmon_events_received_total", [](const DahsSnapshot& d) { return d.eventsReceived; });
  family("telmon_receive_bytes_total", "counter", "Bytes received from the I/O server.");
  each("telmon_receive_bytes_total", [](const DahsSnapshot& d) { return d.bytesReceived; });
  family("telmon_receive_resyncs_total", "counter",
         "Times the receive buffer was resynchronised after text it could not parse.");
  each("telmon_receive_resyncs_total", [](const DahsSnapshot& d) { return d.resyncs; });
  family("telmon_tick_duration_seconds", "gauge", "Time the latest snapshot took to build.");
  char tick[32];
  std::snprintf(tick, sizeof tick, "%.6f", site.tickSeconds);
  out << "telmon_tick_duration_seconds " << tick << '\n';
  return out.str();
}

std::string EscapeHtml(const std::string& text) {
  std::string out;
  out.reserve(text.size());
  for (const char c : text) {
    switch (c) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '"':
        out += "&quot;";
        break;
      case '\'':
        out += "&#39;";
        break;
      default:
        out += c;
    }
  }
  return out;
}

std::string EscapeQuery(const std::string& text) {
  static const char hex[] = "0123456789ABCDEF";
  std::string out;
  for (const char c : text) {
    const auto u = static_cast<unsigned char>(c);
    if ((u >= 'A' && u <= 'Z') || (u >= 'a' && u <= 'z') || (u >= '0' && u <= '9') || u == '-' ||
        u == '_' || u == '.' || u == '~') {
      out += c;
    } else {
      out += '%';
      out += hex[u >> 4];
      out += hex[u & 15];
    }
  }
  return out;
}

}  // namespace telmon::serve
