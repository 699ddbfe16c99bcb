#include "html_page.h"

#include <picture/markup.h>

namespace pcicim {

std::string link(std::string_view url, std::string_view text) {
  if (url.empty()) return markupText(text);
  return "<a href=\"" + markupText(url) + "\">" + markupText(text) + "</a>";
}

std::string HtmlPage::text() const {
  const std::string host = markupText(hostName);
  const std::string own = markupText(title);
  std::string out =
      "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\"/>\n"
      "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\"/>\n<title>" +
      (title.empty() ? "" : own + " - ") + host +
      " - PCI topology</title>\n<link rel=\"stylesheet\" href=\"/style.css\"/>\n"
      "<link rel=\"icon\" href=\"/icon.svg\"/>\n</head>\n<body>\n"
      "<a class=\"skip\" href=\"#content\">Skip to the content</a>\n";
  if (!title.empty()) {
    out += "<nav aria-label=\"Where you are\"><ol><li><a href=\"/\">" + host +
           "</a></li><li aria-current=\"page\">" + own + "</li></ol></nav>\n";
  }
  out += "<main id=\"content\">\n<h1>" + (title.empty() ? host : own) + "</h1>\n" + content +
         "</main>\n<footer><p>PCI topology as CIM classes publish it. CIM clients ask at "
         "<code>/cimom</code>.</p></footer>\n</body>\n</html>\n";
  return out;
}

std::string_view styleSheet() {
  return R"(:root {
  color-scheme: light dark;
  --page: #ffffff;
  --text: #1b1f24;
  --quiet: #4a5561;
  --line: #b4c0cd;
  --band: #f0f3f6;
  --link: #0b5cad;
}
@media (prefers-color-scheme: dark) {
  :root {
    --page: #14181d;
    --text: #e8ebef;
    --quiet: #aeb7c2;
    --line: #455262;
    --band: #1d232a;
    --link: #7db8f5;
  }
}
* { box-sizing: border-box; }
body {
  margin: 0 auto;
  padding: 1rem;
  max-width: 110rem;
  background: var(--page);
  color: var(--text);
  font: 1rem/1.5 Arial, "Liberation Sans", "DejaVu Sans", sans-serif;
}
h1, h2, h3 { line-height: 1.25; overflow-wrap: anywhere; }
a { color: var(--link); unicode-bidi: isolate; }
a:focus-visible, .wide:focus-visible { outline: 3px solid var(--link); outline-offset: 2px; }
.skip { position: absolute; left: -100rem; }
.skip:focus { left: 1rem; background: var(--page); padding: 0.5rem; }
nav ol { display: flex; flex-wrap: wrap; gap: 0.25rem; list-style: none; margin: 0; padding: 0; }
nav li { overflow-wrap: anywhere; }
nav li + li::before { content: "/ "; color: var(--quiet); }
.wide { overflow-x: auto; }
table { border-collapse: collapse; margin: 0.5rem 0 1rem; }
caption { text-align: left; color: var(--quiet); padding-bottom: 0.25rem; }
th, td { border: 1px solid var(--line); padding: 0.25rem 0.5rem; text-align: left; vertical-align: top; }
thead th, tbody tr:nth-child(even) { background: var(--band); }
tbody th { font-weight: normal; white-space: nowrap; }
td { overflow-wrap: anywhere; min-width: 7rem; max-width: 36rem; }
td.number { text-align: right; font-variant-numeric: tabular-nums; }
img { max-width: 100%; height: auto; border: 1px solid var(--line); }
footer, .quiet { color: var(--quiet); }
)";
}

std::string_view icon() {
  return "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 16 16\"><rect width=\"16\" "
         "height=\"16\" rx=\"3\" fill=\"#43909c\"/><rect x=\"3\" y=\"3\" width=\"10\" height=\"4\" "
         "fill=\"#ffffff\"/><rect x=\"3\" y=\"9\" width=\"4\" height=\"4\" fill=\"#ffffff\"/>"
         "</svg>\n";
}

}  // namespace pcicim
