#include "host/commands/gallery_page.h"

#include <fmt/format.h>

#include <filesystem>
#include <optional>

#include "host/output/html.h"
#include "host/output/scale_bar.h"
#include "host/output/text.h"

namespace qvhost {
namespace {

constexpr const char* kHead = R"(<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<meta name="generator" content="qvthumbs">
<title>{0}</title>
<style>
:root {{ color-scheme: light dark; --card: #f2f2f4; --text: #1c1c1e; --dim: #6c6c70; --bad: #a5322a; --page: #fff; }}
@media (prefers-color-scheme: dark) {{
  :root {{ --card: #242427; --text: #ececee; --dim: #9a9aa0; --bad: #ff8a80; --page: #18181a; }}
}}
body {{ margin: 1.5rem; background: var(--page); color: var(--text); font: 14px/1.4 system-ui, sans-serif; }}
header {{ display: flex; gap: 1rem; align-items: baseline; flex-wrap: wrap; }}
h1 {{ font-size: 1.4rem; margin: 0; }}
h2 {{ font-size: 1rem; margin: 1.5rem 0 .5rem; color: var(--dim); overflow-wrap: anywhere; }}
input[type=search] {{ font: inherit; padding: .3rem .6rem; min-width: 16rem; }}
section {{ display: grid; grid-template-columns: repeat(auto-fill, minmax(220px, 1fr)); gap: .8rem; }}
figure {{ margin: 0; background: var(--card); border-radius: 6px; overflow: hidden; display: flex;
         flex-direction: column; }}
figure a, figure .none {{ display: flex; height: 180px; align-items: center; justify-content: center;
                         background: #000; }}
figure .none {{ background: none; color: var(--bad); padding: 0 1rem; text-align: center; overflow: auto; }}
img {{ max-width: 100%; max-height: 180px; }}
.shot {{ position: relative; display: inline-flex; min-width: 0; }}
.bar {{ position: absolute; right: 4%; bottom: 7px; height: 4px; min-width: 1px; background: #fff;
       outline: 1px solid #000; }}
.bar b {{ position: absolute; bottom: 4px; right: 50%; transform: translateX(50%); white-space: nowrap; color: #fff;
         font: 600 11px/1.3 system-ui, sans-serif; paint-order: stroke;
         text-shadow: 0 0 2px #000, 0 0 2px #000, 1px 1px 1px #000, -1px -1px 1px #000, 1px -1px 1px #000,
                      -1px 1px 1px #000; }}
main.plain .bar {{ display: none; }}
section.plate {{ grid-template-columns: 1.8rem repeat(var(--columns), minmax(0, 1fr)); gap: 2px; max-width: 1600px;
                font-size: 11px; text-align: center; align-items: center; }}
.plate a, .plate s {{ aspect-ratio: 1; background: #000; }}
.plate s {{ background: var(--card); }}
.plate s.bad {{ background: var(--bad); }}
.plate img {{ width: 100%; height: 100%; object-fit: contain; display: block; }}
figcaption {{ padding: .5rem .6rem .6rem; overflow-wrap: anywhere; }}
figcaption b {{ font-weight: 600; display: block; }}
figcaption span {{ color: var(--dim); display: block; font-size: 12px; }}
</style>
</head>
<body>
<header><h1>{0}</h1><input type="search" placeholder="Filter by name or text" aria-label="Filter">
<label><input type="checkbox" checked> Scale bars</label></header>
<main>
)";

constexpr const char* kTail = R"(</main>
<script>
document.querySelector('input[type=checkbox]').addEventListener('change', event => {
  document.querySelector('main').classList.toggle('plain', !event.target.checked);
});
document.querySelector('input[type=search]').addEventListener('input', event => {
  const wanted = event.target.value.toLowerCase();
  for (const section of document.querySelectorAll('section.plate')) {
    let any = false;
    for (const well of section.children) {
      const found = well.title.toLowerCase().includes(wanted);
      if (well.title) well.style.opacity = found ? '' : 0.15;
      any = any || (found && well.title);
    }
    section.style.display = any ? '' : 'none';
    section.previousElementSibling.hidden = !any;
  }
  for (const section of document.querySelectorAll('section:not(.plate)')) {
    let any = false;
    for (const figure of section.children) {
      figure.hidden = !figure.textContent.toLowerCase().includes(wanted);
      figure.style.display = figure.hidden ? 'none' : '';
      any = any || !figure.hidden;
    }
    section.previousElementSibling.hidden = !any;
  }
});
</script>
</body>
</html>
)";

// Pages that were written before they named their generator are known by their style.
bool IsOwnPage(std::string_view head) {
  return head.starts_with("<!DOCTYPE html>") &&
         (head.find("<meta name=\"generator\" content=\"qvthumbs\">") != head.npos ||
          head.find(":root { color-scheme: light dark; --card: #f2f2f4; --text: #1c1c1e;") != head.npos);
}

std::string Caption(const SGalleryEntry& entry) {
  std::string caption =
      fmt::format("<figcaption><b>{}</b>", HtmlText(std::filesystem::path(entry.path).filename().string()));
  if (!entry.hasInfo) return caption + "</figcaption>";
  for (const auto& [label, value] : entry.info.Lines()) {
    const std::string_view name = label;
    if (name == "File size") break;
    const bool plain = name == "Size" || name == "Pixels" || name == "Loops" || name == "Acquired";
    caption += fmt::format("<span>{}{}</span>", plain ? "" : label + ": ", HtmlText(value));
  }
  return caption + "</figcaption>";
}

// Laid over the picture by the page, so that it stays sharp, and the pixels stay as they are.
std::string ScaleBar(const SGalleryEntry& entry) {
  const double width = entry.hasInfo ? entry.info.calibration * entry.info.image.width : 0.0;
  const std::optional<SScaleBar> bar = ChooseScaleBar(width);
  if (!bar) return {};
  return fmt::format("<i class=\"bar\" style=\"width:{:.2f}%\" title=\"along the picture's width\"><b>{}</b></i>",
                     bar->share * 100.0, bar->label);
}

std::string EmptyCell(std::uint32_t row, std::uint32_t column) {
  return fmt::format("<s title=\"{}: no image\"></s>", WellName(row, column));
}

std::string WellCell(const SWell& well, const SGalleryEntry& entry) {
  std::string title = WellName(well.row, well.column) + ": " + std::filesystem::path(entry.path).filename().string();
  if (well.fields > 1) title += fmt::format(", the first of {} fields", well.fields);
  if (entry.jpeg.empty())
    return fmt::format("<s class=\"bad\" title=\"{}: {}\"></s>", HtmlText(title), HtmlText(entry.reason));
  return fmt::format(
      "<a href=\"{}\" title=\"{}\"><img loading=\"lazy\" alt=\"\" src=\"data:image/jpeg;base64,{}\"></a>",
      HtmlText(FileUrl(entry.path)), HtmlText(title), Base64(entry.jpeg));
}

}  // namespace

COutputTarget GalleryTarget(const std::string& name) { return COutputTarget(name, &IsOwnPage); }

CGalleryPage::CGalleryPage(const COutputTarget& target, const std::string& title) : m_file(target) {
  m_file.Write(fmt::format(kHead, HtmlText(title)));
}

void CGalleryPage::BeginFolder(const std::string& folder) {
  if (m_inFolder && folder == m_folder) return;
  EndSection();
  m_folder = folder;
  m_inFolder = true;
  m_file.Write(fmt::format("<h2>{}</h2>\n<section>\n", HtmlText(folder)));
}

void CGalleryPage::Add(const SGalleryEntry& entry) {
  BeginFolder(std::filesystem::path(entry.path).parent_path().string());
  m_file.Write("<figure>");
  if (entry.jpeg.empty()) {
    m_file.Write(fmt::format("<div class=\"none\">{}</div>", HtmlText(entry.reason)));
  } else {
    m_file.Write(
        fmt::format("<a href=\"{}\"><span class=\"shot\"><img loading=\"lazy\" alt=\"\" "
                    "src=\"data:image/jpeg;base64,{}\">{}</span></a>",
                    HtmlText(FileUrl(entry.path)), Base64(entry.jpeg), ScaleBar(entry)));
  }
  m_file.Write(Caption(entry) + "</figure>\n");
}

void CGalleryPage::EndSection() {
  if (m_inFolder) m_file.Write("</section>\n");
  m_inFolder = false;
}

void CGalleryPage::AddPlate(const SPlateLayout& plate, const std::vector<SGalleryEntry>& entries) {
  EndSection();
  m_file.Write(
      fmt::format("<h2>{} \u00B7 {} of {} wells</h2>\n<section class=\"plate\" style=\"--columns:{}\">\n<b></b>",
                  HtmlText(plate.name), entries.size(), plate.rows * plate.columns, plate.columns));
  for (std::uint32_t column = 0; column < plate.columns; ++column) m_file.Write(fmt::format("<b>{}</b>", column + 1));
  std::size_t next = 0;
  for (std::uint32_t row = 0; row < plate.rows; ++row) {
    m_file.Write(fmt::format("\n<b>{}</b>", RowName(row)));
    for (std::uint32_t column = 0; column < plate.columns; ++column) {
      const bool isThere = next < entries.size() && plate.wells[next].row == row && plate.wells[next].column == column;
      m_file.Write(isThere ? WellCell(plate.wells[next], entries[next]) : EmptyCell(row, column));
      next += isThere;
    }
  }
  m_file.Write("</section>\n");
}

void CGalleryPage::Finish() {
  EndSection();
  m_file.Write(kTail);
  m_file.Commit();
}

}  // namespace qvhost
