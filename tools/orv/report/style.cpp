#include "tools/orv/report/sections.h"  // IWYU pragma: keep

namespace orv::tool {

// Below 44em, on phones and in narrow windows, the cells of a row are below each other.
const char kReportStyle[] = R"(
:root {
  color-scheme: light dark;
  --text: #1b1f24; --quiet: #57606a; --paper: #ffffff; --raised: #f4f6f8; --line: #d3d9e0;
  --link: #0a56b0; --bad: #b3231b; --bad-paper: #fdeeec; --warn: #8a5300; --warn-line: #d98d1c;
  --warn-paper: #fdf4e3; --good: #2f8f4e; --good-paper: #e8f5ec;
}
@media (prefers-color-scheme: dark) {
  :root {
    --text: #e6e9ed; --quiet: #9fa9b4; --paper: #14171b; --raised: #1d2127; --line: #363d46;
    --link: #7db5ff; --bad: #ff9d94; --bad-paper: #3a1d1b; --warn: #f0bd6a; --warn-line: #c98a2b;
    --warn-paper: #33270f; --good: #4fae70; --good-paper: #15301f;
  }
}
* { box-sizing: border-box; }
body {
  margin: 0 auto; padding: 1.5rem clamp(1rem, 3vw, 2.5rem) 3rem; max-width: 84rem;
  font: 1rem/1.5 system-ui, sans-serif; color: var(--text); background: var(--paper);
  overflow-wrap: anywhere;
}
h1 { margin: 0; font-size: 1.9rem; line-height: 1.2; }
h2 { margin: 2.5rem 0 .75rem; padding-top: .75rem; font-size: 1.35rem;
     border-top: 1px solid var(--line); }
p { margin: .5rem 0; max-width: 48rem; }
p.bad, p.note { padding: .6rem .9rem; border-left: .25rem solid var(--bad);
                background: var(--bad-paper); }
p.note { border-color: var(--warn); background: var(--warn-paper); }
.verdict { margin: 1.25rem 0; padding: .9rem 1.1rem; border-radius: .4rem;
           border-left: .35rem solid var(--good); background: var(--good-paper); }
.verdict.error { border-color: var(--bad); background: var(--bad-paper); }
.verdict.warning { border-color: var(--warn-line); background: var(--warn-paper); }
.verdict p { max-width: 62rem; }
.verdict .result { margin: 0; font-size: 1.2rem; font-weight: 600; }
.verdict ol { margin: .5rem 0 0; padding-left: 1.4rem; max-width: 62rem; }
.verdict li { margin: .6rem 0; }
.verdict li p { margin: .1rem 0; color: var(--quiet); }
.verdict li.error strong { color: var(--bad); }
.verdict li.warning strong { color: var(--warn); }
details { margin: 1.25rem 0 0; }
summary { cursor: pointer; font-weight: 600; }
details table { margin-top: .5rem; }
details > table > caption { display: none; }
.top { margin: 1rem 0 0; font-size: .84rem; }
a { color: var(--link); }
small { display: block; color: var(--quiet); font-size: .84em; font-weight: 400; }
dl { display: grid; grid-template-columns: repeat(auto-fill, minmax(min(20rem, 100%), 1fr));
     gap: .75rem; margin: 1.25rem 0 0; }
dl div { padding: .6rem .9rem; border-radius: .4rem; background: var(--raised); }
dt { font-size: .84em; color: var(--quiet); }
dd { margin: 0; }
table { width: 100%; margin: 1.25rem 0 0; border-collapse: collapse; font-size: .92rem; }
caption { padding: .35rem 0; text-align: left; font-weight: 600; font-size: 1.05rem; }
th, td { padding: .35rem .75rem .35rem 0; text-align: left; vertical-align: top; }
tr { border-bottom: 1px solid var(--line); }
thead th { color: var(--quiet); font-size: .84rem; font-weight: 600; white-space: nowrap; }
tbody th { font-weight: 500; }
td { font-variant-numeric: tabular-nums; }
tr.item th { font-weight: 600; }
tr.bad, tr.error { background: var(--bad-paper); }
tr.warning { background: var(--warn-paper); }
tr.good { background: var(--good-paper); }
tr.bad th, tr.error th, tr.warning th, tr.good th { padding-left: .5rem; }
/* The columns of these are wide enough for words, so that only longer paths are broken. */
.wide { overflow-wrap: break-word; }
.record .wide, .log .wide, .page .wide, .model .wide { table-layout: fixed; }
.page .wide thead th:nth-child(1) { width: 20%; }
.model .wide thead th:nth-child(1) { width: 5rem; }
.model .wide thead th:nth-child(2) { width: 14rem; }
.model .wide thead th:nth-child(4) { width: 26%; }
.log .wide thead th:nth-child(1) { width: 8rem; }
.log .wide thead th:nth-child(2) { width: 5.5rem; }
.log .wide thead th:nth-child(3) { width: 15rem; }
.log .groups thead th:nth-child(1) { width: auto; }
.log .groups thead th:nth-child(2) { width: 4.5rem; }
.log .groups thead th:nth-child(3) { width: 5.5rem; }
.log .groups thead th:nth-child(4) { width: 9rem; }
.log .groups thead th:nth-child(5) { width: 8rem; }
.record .wide thead th:nth-child(1) { width: 26%; }
.record .wide thead th:nth-child(2) { width: 17%; }
.record .wide thead th:nth-child(3) { width: 24%; }
.record .wide thead th:nth-child(4) { width: 15%; }
.columns { columns: 24rem; column-gap: 3rem; }
.columns table { margin: 0 0 1.5rem; break-inside: avoid; }
.columns caption { break-after: avoid; }
.columns tr:not(.item) th { white-space: nowrap; }
.pictures { display: flex; flex-wrap: wrap; gap: 1.5rem; margin-top: 1rem; }
figure { margin: 0; max-width: 100%; width: var(--width); }
img { display: block; width: 100%; height: auto; background: #ffffff;
      outline: 1px solid var(--line); outline-offset: -1px; }
figcaption { margin-top: .4rem; }
footer { margin-top: 3rem; color: var(--quiet); font-size: .84rem; }
@media (max-width: 44em) {
  table.wide, .wide caption, .wide tbody, .wide tr, .wide th, .wide td { display: block; }
  .wide thead { position: absolute; width: 1px; height: 1px; overflow: hidden;
                clip-path: inset(50%); }
  .wide tr { padding: .5rem 0; }
  .wide tr.bad, .wide tr.error, .wide tr.warning, .wide tr.good {
    padding: .5rem .6rem; margin: 0 -.6rem; }
  .wide tbody th { padding: 0 0 .2rem; font-weight: 600; }
  .wide tr[class] th { padding-left: 0; }
  .wide td { display: grid; grid-template-columns: 7rem minmax(0, 1fr); padding: .1rem 0; }
  .wide td:has(> div:empty) { display: none; }
  .wide td::before { content: attr(data-title); color: var(--quiet); }
}
@media print {
  :root { font-size: 8pt; color-scheme: light; --text: #000000; --quiet: #444444; --paper: #ffffff;
          --raised: #f2f2f2; --line: #bbbbbb; --link: #000000; --bad: #8c1a14;
          --bad-paper: #f5f0ef; --warn: #5c3a00;
          --warn-paper: #f5f3ee; --good-paper: #eff4f0; }
  body { padding: 0; max-width: none; }
  th, td { padding: .15rem .75rem .15rem 0; }
  a { text-decoration: none; }
  dl { grid-template-columns: repeat(3, 1fr); gap: .4rem; }
  dl div { padding: .3rem .5rem; }
  h2 { margin-top: 1rem; }
  .top, .verdict a, details:not([open]) { display: none; }
  /* Two small planes beside or below the first picture, which has the size of the page. */
  figure:first-child img { max-height: 180mm; width: auto; max-width: 100%; }
  figure:not(:first-child) { width: min(var(--width), 45mm); }
  tr, figure, dl div, li { break-inside: avoid; }
  h2, caption, summary { break-after: avoid; }
}
)";

}  // namespace orv::tool
