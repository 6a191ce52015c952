// SPDX-License-Identifier: Apache-2.0
#include "tools/vtmail/page_html.h"

namespace page {

namespace {

constexpr std::string_view sheet = R"(:root {
  color-scheme: light dark;
  --paper: #fff; --ink: #1c1e21; --quiet: #5a616b; --line: #d9dde3; --tint: #f4f6f8;
  --link: #0b57a4; --alarm: #8a3b00; --alarm-tint: #fff4e5;
}
@media (prefers-color-scheme: dark) {
  :root {
    --paper: #16181c; --ink: #e6e8eb; --quiet: #a2aab5; --line: #363b43; --tint: #1f2328;
    --link: #8ab8f5; --alarm: #ffb77a; --alarm-tint: #33261a;
  }
}
* { box-sizing: border-box; }
body {
  margin: 0; background: var(--paper); color: var(--ink);
  font: 1rem/1.5 system-ui, "Segoe UI", "DejaVu Sans", sans-serif; overflow-wrap: anywhere;
}
header, main { max-width: 72rem; margin: 0 auto; padding: 0 1rem; }
header { padding-top: .75rem; font-weight: 600; }
main { padding-bottom: 3rem; }
h1 { font-size: 1.5rem; line-height: 1.25; margin: .75rem 0; }
h2 { font-size: 1.1rem; margin: 1.75rem 0 .5rem; }
a { color: var(--link); text-underline-offset: .15em; }
a:focus-visible, summary:focus-visible { outline: 3px solid var(--link); outline-offset: 2px; }
header a { color: inherit; text-decoration: none; }
.quiet { color: var(--quiet); }
nav { display: flex; flex-wrap: wrap; gap: .25rem 1.25rem; margin: .75rem 0; }
table { width: 100%; border-collapse: collapse; }
th, td { text-align: left; vertical-align: top; padding: .4rem .75rem .4rem 0; }
tr { border-bottom: 1px solid var(--line); }
thead th { color: var(--quiet); font-size: .875rem; font-weight: 600; }
tbody th { font-weight: 600; }
.mails { table-layout: fixed; }
.mails td { color: var(--quiet); }
.mails .from { width: 25%; }
.mails .to { width: 20%; }
.mails .arrived { width: 11.5rem; }
.mails .number { width: 5rem; }
.mails .number { text-align: right; padding-right: 0; }
.mails .number, time { font-variant-numeric: tabular-nums; white-space: nowrap; }
.fields th { width: 11rem; color: var(--quiet); font-weight: 400; }
.fields { border-top: 1px solid var(--line); }
pre {
  margin: 0; padding: .75rem 1rem; background: var(--tint);
  border: 1px solid var(--line); border-radius: .4rem; white-space: pre-wrap;
  font: .9rem/1.5 ui-monospace, "DejaVu Sans Mono", monospace;
}
ul { margin: .25rem 0; padding-left: 1.25rem; }
ul ul ul ul ul ul ul { padding-left: 0; }
.tree, .tree ul { list-style: none; }
.tree { padding-left: 0; }
.tree ul { border-left: 1px solid var(--line); }
.defects {
  margin-top: 1.5rem; padding: .5rem 1rem;
  background: var(--alarm-tint); border-left: .3rem solid var(--alarm);
}
.defects h2 { margin-top: .25rem; color: var(--alarm); }
summary { cursor: pointer; font-size: 1.1rem; font-weight: 600; margin-top: 1.75rem; }
@media (max-width: 40rem) {
  .mails thead {
    position: absolute; width: 1px; height: 1px; overflow: hidden; clip-path: inset(50%);
  }
  .mails, .mails tbody, .mails tr, .mails th, .mails td { display: block; padding: 0; }
  .mails tr { padding: .6rem 0; }
  .mails td::before { content: attr(data-name) " "; font-size: .875rem; }
  .mails .number { width: auto; text-align: left; }
  .fields th, .fields td { display: block; width: auto; padding: 0; }
  .fields tr { display: block; padding: .4rem 0; }
}
)";

}  // namespace

std::string_view styleSheet() { return sheet; }

}  // namespace page
