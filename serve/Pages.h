#pragma once

// The pages of telmon-serve, rendered from a published snapshot: the site overview, each
// DAHS's devices, queues and blocks with the desktop pages' texts and colours, the watch page,
// the site state and the journal's latest entries; the metrics in the Prometheus text format;
// and the event-stream message that carries a page's new content. Every page's content sits in
// its <main> element, which is what the event stream replaces, so a page and its live updates
// are always the same rendering.

#include "serve/Snapshot.h"

#include <cstdint>
#include <string>
#include <vector>

namespace telmon::serve {

// The channels of a watch page as the address gives them; the HTTP side reads `?ids=` with
// the add-channel dialog's rules.
struct WatchQuery {
  std::string idsText;
  std::vector<std::int32_t> ids;
  std::string error;  // the dialog's message for text it refuses
};

struct Page {
  int status = 200;
  std::string title;
  std::string main;    // the content of <main>
  std::string stream;  // the address of the page's event stream; empty: none
};

// Which page an address names.
struct Route {
  enum class Kind { None, Overview, Devices, Queues, Blocks, Watch, SiteState, Journal };
  Kind kind = Kind::None;
  std::int32_t dahsId = 0;
};
Route ParseRoute(const std::string& path);

// The page at `route` (404 for a DAHS the site does not have).
Page RenderPage(const SiteSnapshot& site, const Route& route, const WatchQuery& watch = {});
// The whole document around a page.
std::string RenderDocument(const SiteSnapshot& site, const Page& page);
// One event-stream message carrying `html` as the page's new content.
std::string StreamMessage(const std::string& html);
std::string RenderMetrics(const SiteSnapshot& site);

std::string EscapeHtml(const std::string& text);
// "%XX" for every byte outside the unreserved characters.
std::string EscapeQuery(const std::string& text);

// The script and style sheet the pages load from the server itself.
extern const char* const kScript;
extern const char* const kStyle;

}  // namespace telmon::serve
