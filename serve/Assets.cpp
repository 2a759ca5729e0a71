// The script and the style sheet of the pages, served from /app.js and /app.css. The script
// only follows the page's event stream and puts each new content in place; the pages work
// without it, as a reload shows the same.

#include "serve/Pages.h"

namespace telmon::serve {

const char* const kScript = R"JS('use strict';
(function () {
  var main = document.querySelector('main');
  var address = main && main.getAttribute('data-stream');
  if (!address || !window.EventSource) {
    return;
  }
  var stream = new EventSource(address);
  stream.addEventListener('page', function (event) {
    var doc = new DOMParser().parseFromString('<main>' + event.data + '</main>', 'text/html');
    var fresh = doc.querySelector('main');
    if (!fresh) {
      return;
    }
    var input = main.querySelector('input');
    if (input && document.activeElement === input) {
      var kept = fresh.querySelector('input');
      if (kept) {
        kept.replaceWith(input);
      }
    }
    main.replaceChildren.apply(main, Array.prototype.slice.call(fresh.childNodes));
    document.body.classList.remove('stale');
  });
  stream.addEventListener('error', function () {
    document.body.classList.add('stale');
  });
})();
)JS";

const char* const kStyle = R"CSS(:root {
  color-scheme: light dark;
  --fg: #111; --bg: #fff; --line: #ccc; --fault: #c00000; --random: #0000e0;
  --disabled: #909090; --other: #806000; --up: #087a20; --head: #eee;
}
@media (prefers-color-scheme: dark) {
  :root {
    --fg: #e8e8e8; --bg: #161616; --line: #444; --fault: #ff6b6b; --random: #8fb3ff;
    --disabled: #7a7a7a; --other: #e0c060; --up: #5fd07a; --head: #262626;
  }
}
* { box-sizing: border-box; }
html, body { margin: 0; padding: 0; background: var(--bg); color: var(--fg);
  font: 15px/1.35 system-ui, sans-serif; max-width: 100%; overflow-wrap: anywhere; }
header nav, nav.tabs { display: flex; flex-wrap: wrap; gap: .25rem .75rem; padding: .5rem; }
header { border-bottom: 1px solid var(--line); }
a { color: inherit; }
nav a[aria-current] { font-weight: bold; }
nav a.down { color: var(--fault); }
main { padding: .5rem; }
body.stale main { opacity: .6; }
h1 { font-size: 1.25rem; margin: .25rem 0 .5rem; }
h2 { font-size: 1.1rem; margin: .25rem 0; }
table { border-collapse: collapse; width: 100%; }
th, td { border-bottom: 1px solid var(--line); padding: .2rem .4rem; text-align: left;
  vertical-align: top; }
th { background: var(--head); }
.fault { color: var(--fault); }
.random { color: var(--random); }
.disabled { color: var(--disabled); }
.other { color: var(--other); }
.plain { color: var(--fg); }
.link.up { color: var(--up); }
.link.down, .error { color: var(--fault); }
section.dahs { border: 1px solid var(--line); border-radius: 6px; padding: .5rem;
  margin-bottom: .75rem; }
section.dahs.alert { border-color: var(--fault); }
ul.counts { list-style: none; padding: 0; margin: 0; display: grid;
  grid-template-columns: repeat(auto-fill, minmax(9rem, 1fr)); gap: .25rem .75rem; }
form { margin: .5rem 0; }
input { max-width: 100%; font: inherit; }
@media (max-width: 48rem) {
  table, thead, tbody, tr, td { display: block; width: 100%; }
  thead { display: none; }
  tr { border: 1px solid var(--line); border-radius: 6px; margin-bottom: .5rem; padding: .25rem; }
  td { border: 0; padding: .1rem .25rem; display: flex; gap: .5rem; }
  td::before { content: attr(data-h); flex: 0 0 40%; color: var(--disabled); }
}
)CSS";

}  // namespace telmon::serve
