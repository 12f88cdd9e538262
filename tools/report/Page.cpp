// The frame of the page and its style. No state.
#include "tools/report/Page.h"

#include "tools/report/Html.h"

namespace tool {
namespace {

// Colours come in two sets; each stands out from its background at 4.5:1 where it is text,
// at 3:1 where it is drawn.
constexpr const char* kStyle = R"css(
:root { color-scheme: light dark; --back: #fff; --card: #f6f7f9; --edge: #d5d9df; --text: #1b1f24;
  --dim: #555d68; --grid: #d9dde3; --video: #0b5cad; --audio: #a34a00; --other: #6b3fa0;
  --good: #17692f; --mended: #7a5300; --bad: #b3141d; --fill: #2f6fb3; --free: #e3e8ee; }
@media (prefers-color-scheme: dark) {
  :root { --back: #14171a; --card: #1d2125; --edge: #363c43; --text: #e7eaed; --dim: #a5adb7;
    --grid: #31373e; --video: #6cb2ff; --audio: #f2a35e; --other: #c3a1f2; --good: #6fcf86;
    --mended: #e6bd5c; --bad: #ff8a8a; --fill: #4f94dc; --free: #2a3037; }
}
* { box-sizing: border-box; }
body { margin: 0 auto; max-width: 64rem; padding: 1rem; background: var(--back); color: var(--text);
  font: 1rem/1.5 system-ui, sans-serif; overflow-wrap: anywhere; }
h1 { font-size: 1.5rem; margin: 0.5rem 0; line-height: 1.25; }
h2 { font-size: 1.15rem; margin: 0 0 0.5rem; }
h3 { font-size: 1rem; margin: 0.9rem 0 0.3rem; }
section { background: var(--card); border: 1px solid var(--edge); border-radius: 8px;
  padding: 1rem; margin: 1rem 0; }
p { margin: 0.25rem 0 0.75rem; }
figure { margin: 0 0 1.25rem; }
figure:last-child { margin-bottom: 0; }
figcaption { margin-bottom: 0.25rem; }
.verdict { font-size: 1.1rem; font-weight: 600; }
.good { color: var(--good); } .mended { color: var(--mended); } .problem { color: var(--bad); }
.dim { color: var(--dim); }
dl { display: grid; grid-template-columns: repeat(auto-fill, minmax(12rem, 1fr)); gap: 0.5rem 1rem;
  margin: 0; }
dt { color: var(--dim); font-size: 0.85rem; }
dd { margin: 0; }
ul { margin: 0; padding-left: 1.2rem; }
.findings { list-style: none; padding: 0; }
.findings li { padding-left: 5.5rem; text-indent: -5.5rem; margin: 0.25rem 0; }
.findings b { display: inline-block; width: 5.5rem; text-indent: 0; font-weight: 600; }
.scroll { overflow-x: auto; }
table { border-collapse: collapse; width: 100%; font-size: 0.9rem; }
th, td { text-align: left; vertical-align: top; padding: 0.3rem 0.9rem 0.3rem 0;
  border-bottom: 1px solid var(--edge); overflow-wrap: normal; }
td:last-child { overflow-wrap: anywhere; min-width: 8rem; }
th:first-child, td:first-child { width: 14rem; }
th { color: var(--dim); font-weight: 500; }
.legend { font-size: 0.85rem; color: var(--dim); display: flex; flex-wrap: wrap; gap: 0 1.2rem;
  padding: 0; margin: 0 0 0.25rem; list-style: none; }
.legend svg { width: 28px; height: 12px; margin-right: 0.35rem; vertical-align: middle; }
img { max-width: 100%; max-height: 20rem; border-radius: 4px; }
details { margin: 0.15rem 0; }
details details { margin-left: 1.1rem; }
summary { cursor: pointer; }
svg { overflow: visible; }
.chart { display: block; margin-left: 4.4rem; width: calc(100% - 4.4rem); }
.chart text { font-size: 12px; fill: var(--dim); }
.halo { paint-order: stroke; stroke: var(--card); stroke-width: 3px; stroke-linejoin: round; }
.grid { stroke: var(--grid); } .tick { stroke: var(--dim); }
.line { fill: none; stroke-width: 1.6px; vector-effect: non-scaling-stroke;
  stroke-linejoin: round; }
.area { stroke-width: 1.2px; vector-effect: non-scaling-stroke; fill-opacity: 0.25;
  stroke-linejoin: round; }
.band { stroke: none; fill-opacity: 0.3; }
.rule { fill: none; stroke: var(--dim); stroke-dasharray: 4 4; vector-effect: non-scaling-stroke; }
.video { stroke: var(--video); } .area.video, .band.video { fill: var(--video); }
.audio { stroke: var(--audio); } .area.audio, .band.audio { fill: var(--audio); }
.other { stroke: var(--other); } .area.other, .band.other { fill: var(--other); }
.dash1 { stroke-dasharray: 7 4; } .dash2 { stroke-dasharray: 2 3; } .dash3 { stroke-dasharray: 9 3 2 3; }
.should { fill: none; stroke: var(--dim); stroke-width: 1.5px; }
.hit { fill: var(--good); } .miss { fill: var(--bad); }
.map { display: block; width: 100%; }
.cell { fill: var(--free); } .full { fill: var(--fill); }
.hurt { fill: none; stroke: var(--bad); stroke-width: 1.6; }
.gone { fill: none; stroke: var(--dim); stroke-width: 0.6; stroke-dasharray: 1.5 1.5; }
@media (max-width: 40rem) {
  th:first-child, td:first-child { width: auto; }
  body { padding: 0.6rem; } dl { grid-template-columns: repeat(auto-fill, minmax(8.5rem, 1fr)); }
  section { padding: 0.75rem; } .wide { display: none; }
  .findings li { padding-left: 0; text-indent: 0; } .findings b { width: auto; margin-right: 0.4rem; }
}
@media print { section { break-inside: avoid; } }
)css";

// Marks, centred.
constexpr const char* kMarks =
    "<svg width=\"0\" height=\"0\" style=\"position:absolute\" aria-hidden=\"true\"><defs>"
    "<circle id=\"ring\" r=\"5\"/><circle id=\"dot\" r=\"3\"/>"
    "<path id=\"cross\" d=\"M-4-2.5L-2.5-4L0-1.5L2.5-4L4-2.5L1.5 0L4 2.5L2.5 4L0 1.5L-2.5 4"
    "L-4 2.5L-1.5 0Z\"/></defs></svg>\n";

std::string Row(const char* cell, const std::vector<std::string>& cells) {
  std::string row;
  for (const std::string& inner : cells) row += Element(cell, inner);
  return Element("tr", row) + "\n";
}

}  // namespace

std::string Section(const char* heading, const std::string& body) {
  if (body.empty()) return "";
  return Element("section", Element("h2", heading) + "\n" + body) + "\n";
}

std::string Figure(const std::string& name, const std::string& words, const std::string& legend,
                   const std::string& picture) {
  return Element("figure", Element("figcaption", words, "id=\"" + name + "\"") + legend + picture) +
         "\n";
}

std::string Table(const std::vector<std::string>& headings, const Rows& rows) {
  std::string body;
  for (const std::vector<std::string>& row : rows) body += Row("td", row);
  const std::string table = Element("thead", Row("th", headings)) + Element("tbody", body);
  return Element("div", Element("table", table), "class=\"scroll\"") + "\n";
}

std::string Folded(const std::string& summary, const std::string& body) {
  return Element("details", Element("summary", summary) + body) + "\n";
}

std::string PageStart(const std::string& title) {
  return "<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\"/>\n"
         "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; "
         "style-src 'unsafe-inline'; img-src data:\"/>\n"
         "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\"/>\n" +
         Element("title", Escaped(title)) + Element("style", kStyle) + "</head>\n<body>\n" + kMarks;
}

std::string PageEnd() { return "</body></html>\n"; }

}  // namespace tool
