// How the page looks: on a light and on a dark screen, on a narrow one, and on paper.
#pragma once

#include <string_view>

namespace tavrine {

inline constexpr std::string_view kPageStyle = R"(
:root {
  color-scheme: light dark;
  --page: #f4f6f9; --card: #ffffff; --ink: #18212f; --soft: #5a677a; --line: #dfe5ed;
  --rail: #e8edf3; --blue: #2f6fde; --violet: #8250df; --teal: #0f8c8c; --green: #1a7f45; --amber: #a85d00;
  --red: #c62a2f; --green-wash: #e3f5ea; --amber-wash: #fdf0d8; --red-wash: #fde6e6;
  --plain-wash: #e9eef5;
}
@media screen and (prefers-color-scheme: dark) {
  :root {
    --page: #0d1219; --card: #161d27; --ink: #e4eaf2; --soft: #94a2b6; --line: #29333f;
    --rail: #252f3c; --blue: #6ba4ff; --violet: #b794f6; --teal: #4fd1c5; --green: #56d486; --amber: #f0b445;
    --red: #ff7b7b; --green-wash: #12301f; --amber-wash: #372a10; --red-wash: #3a191b;
    --plain-wash: #232d3a;
  }
}
* { box-sizing: border-box; }
body {
  margin: 0; background: var(--page); color: var(--ink);
  font: 15px/1.5 system-ui, -apple-system, "Segoe UI", Roboto, "Noto Sans", sans-serif;
}
header, main, footer { max-width: 1240px; margin: 0 auto; padding: 0 24px; }
header { padding-top: 36px; }
h1 { font-size: 28px; line-height: 1.2; margin: 0 0 2px; letter-spacing: -0.02em; }
h2 { font-size: 19px; margin: 40px 0 12px; letter-spacing: -0.01em; }
h2 small { color: var(--soft); font-size: 14px; font-weight: 400; margin-left: 8px; }
h3 { font-size: 16px; margin: 0; overflow-wrap: anywhere; }
p { margin: 0; }
h3, td, dd, li, p, pre { unicode-bidi: isolate; }
.soft, footer, header p { color: var(--soft); }
.none { color: var(--soft); font-style: italic; }
.tiles { display: grid; gap: 12px; grid-template-columns: repeat(auto-fit, minmax(150px, 1fr));
  margin: 24px 0 0; }
.tiles div, article, .table { background: var(--card); border: 1px solid var(--line);
  border-radius: 12px; }
.tiles div { padding: 12px 16px 14px; display: flex; flex-direction: column-reverse;
  justify-content: flex-end; }
.tiles dt { color: var(--soft); font-size: 13px; }
.tiles dd { margin: 0; font-size: 24px; line-height: 1.3; font-weight: 650;
  letter-spacing: -0.02em; }
article { padding: 18px 20px; margin-bottom: 14px; break-inside: avoid; }
.head { display: flex; flex-wrap: wrap; align-items: center; gap: 4px 10px; margin-bottom: 10px; }
.badge { border-radius: 999px; padding: 1px 10px; font-size: 12.5px; font-weight: 600;
  white-space: nowrap; background: var(--plain-wash); }
.good { color: var(--green); background: var(--green-wash); }
.fair { color: var(--amber); background: var(--amber-wash); }
.bad { color: var(--red); background: var(--red-wash); }
.facts { display: flex; flex-wrap: wrap; gap: 6px 28px; margin: 0 0 12px; }
.facts dt { color: var(--soft); font-size: 12.5px; }
.facts dd { margin: 0; font-weight: 550; overflow-wrap: anywhere; }
.table { overflow-x: auto; }
article .table { border: 0; border-radius: 0; }
table { border-collapse: collapse; width: 100%; font-size: 14px; }
th { text-align: left; font-weight: 550; font-size: 12.5px; color: var(--soft); }
th, td { padding: 7px 14px; border-top: 1px solid var(--line); vertical-align: middle;
  white-space: nowrap; }
thead th { border-top: 0; }
article th:first-child, article td:first-child { padding-left: 0; }
article th:last-child, article td:last-child { padding-right: 0; }
.number { text-align: right; font-variant-numeric: tabular-nums; }
td.long { white-space: normal; overflow-wrap: anywhere; min-width: 260px; }
td.mono { font: 12.5px/1.45 ui-monospace, "DejaVu Sans Mono", Menlo, monospace; }
td.gauge { min-width: 150px; }
.gauge span { display: flex; justify-content: space-between; gap: 12px;
  font-variant-numeric: tabular-nums; }
svg { display: block; width: 100%; }
.bar { height: 6px; margin-top: 3px; }
.rail { fill: var(--rail); }
.fill { fill: var(--blue); }
.bar.violet .fill { fill: var(--violet); }
.bar.teal .fill { fill: var(--teal); }
.hot { color: var(--red); font-weight: 650; }
.charts { display: grid; gap: 16px 28px; grid-template-columns: repeat(auto-fit, minmax(280px, 1fr)); }
figure { margin: 6px 0 0; display: grid; grid-template-columns: auto 1fr; gap: 4px 8px; }
figcaption { grid-column: 1 / -1; font-size: 13px; color: var(--soft); }
figcaption b { color: var(--ink); font-weight: 600; margin-right: 6px; }
figure svg { height: 120px; border-left: 1px solid var(--line);
  border-bottom: 1px solid var(--line); }
.levels { display: flex; flex-direction: column; justify-content: space-between;
  text-align: right; min-width: 44px; }
.ends { grid-column: 2; display: flex; justify-content: space-between; }
.levels, .ends { font-size: 11.5px; color: var(--soft); font-variant-numeric: tabular-nums; }
.grid { stroke: var(--line); fill: none; vector-effect: non-scaling-stroke; }
.curve { fill: none; stroke: var(--blue); stroke-width: 2; stroke-linejoin: round;
  vector-effect: non-scaling-stroke; }
.curve.validation { stroke: var(--amber); stroke-dasharray: 5 4; }
.curve.throughput { stroke: var(--violet); }
.key { color: var(--amber); }
ul { list-style: none; margin: 0; padding: 0; }
li { display: flex; flex-wrap: wrap; align-items: baseline; gap: 2px 10px; padding: 10px 16px;
  border-top: 1px solid var(--line); break-inside: avoid; }
li:first-child { border-top: 0; }
li b { font-weight: 600; overflow-wrap: anywhere; }
li p, li .soft { overflow-wrap: anywhere; }
li p { flex: 1 1 260px; }
details { margin-top: 12px; }
summary { cursor: pointer; color: var(--soft); font-size: 13px; }
pre { margin: 8px 0 0; padding: 12px 14px; border-radius: 8px; background: var(--page);
  font: 12.5px/1.5 ui-monospace, "DejaVu Sans Mono", Menlo, monospace; white-space: pre-wrap;
  overflow-wrap: anywhere; }
footer { padding-top: 28px; padding-bottom: 40px; font-size: 13px; }
@media (max-width: 640px) {
  header, main, footer { padding-left: 14px; padding-right: 14px; }
  header { padding-top: 22px; }
  h1 { font-size: 23px; }
  .tiles { grid-template-columns: repeat(2, 1fr); gap: 8px; }
  .tiles dd { font-size: 20px; }
  .tiles div:last-child:nth-child(odd) { grid-column: 1 / -1; }
  article { padding: 14px; }
  th, td { padding: 7px 10px; }
  article th, article td { padding-left: 6px; padding-right: 6px; }
  td.gauge { min-width: 84px; }
  .spare, .gauge .spare { display: none; }
}
@media print {
  :root { color-scheme: light; --page: #fff; --card: #fff; --ink: #000; --soft: #444;
    --line: #bbb; --rail: #ddd; }
  body { font-size: 11pt; }
  header, main, footer { max-width: none; padding: 0; }
  .table { overflow: visible; }
  th, td { white-space: normal; padding: 5px 8px; }
  .number, .gauge span { white-space: nowrap; }
  .gauge .spare { display: none; }
  .tiles { grid-template-columns: repeat(4, 1fr); }
  .tiles dd { font-size: 15pt; }
  .badge { border: 1px solid currentColor; }
  details { display: none; }
  h2 { break-after: avoid; }
}
)";

}  // namespace tavrine
