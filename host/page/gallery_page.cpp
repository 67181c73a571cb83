#include "host/page/gallery_page.h"

#include <fmt/format.h>

#include <filesystem>
#include <optional>

#include "host/host_error.h"
#include "host/output/html.h"
#include "host/output/picture.h"
#include "host/output/text.h"
#include "host/page/card.h"
#include "host/page/page_parts.h"

namespace qvhost {
namespace {

namespace fs = std::filesystem;

constexpr std::int64_t kPicturesInFolder = 1000;

constexpr const char* kGalleryHead = R"(<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<meta name="generator" content="qvthumbs">
<meta name="referrer" content="no-referrer">
<title>{}</title>
)";

// Pages that were written before they named their generator are known by their style.
bool IsOwnPage(std::string_view head) {
  return head.starts_with("<!DOCTYPE html>") &&
         (head.find("<meta name=\"generator\" content=\"qvthumbs\">") != head.npos ||
          head.find(":root { color-scheme: light dark; --card: #f2f2f4; --text: #1c1c1e;") != head.npos);
}

std::string GalleryBody(const std::string& title) {
  constexpr std::string_view kPlace = "{title}";
  std::string body(kPageBody);
  return body.replace(body.find(kPlace), kPlace.size(), HtmlText(title));
}

std::string ScriptElement(const CJson& document) {
  return fmt::format("<script type=\"application/json\">{}</script>", ScriptJson(document));
}

std::string PicturesFolder(const COutputTarget& page) {
  return (fs::path(page.Path()).parent_path() / "pictures").string();
}

void MakeFolder(const fs::path& folder) {
  std::error_code error;
  fs::create_directories(folder, error);
  if (error)
    throw CHostError(fmt::format("cannot make the folder {}: {}", Printable(folder.string()), error.message()));
}

}  // namespace

COutputTarget GalleryTarget(const std::string& name) { return COutputTarget(name, &IsOwnPage); }

COutputTarget GalleryFolderTarget(const std::string& folder) {
  const fs::path path(folder);
  std::error_code error;
  if (fs::exists(path, error) && !fs::is_directory(path, error)) {
    throw CHostError(fmt::format("{} is no folder; name a new one", Printable(folder)));
  }
  MakeFolder(path);
  COutputTarget page((path / "index.html").string(), &IsOwnPage);
  if (!page.Present() && fs::exists(PicturesFolder(page), error)) {
    throw CHostError(
        fmt::format("{} holds pictures that are not those of a gallery; name a new folder", Printable(folder)));
  }
  return page;
}

CGalleryPage::CGalleryPage(const COutputTarget& target, const std::string& title, bool picturesApart)
    : m_file(target), m_folder(picturesApart ? PicturesFolder(target) : std::string()) {
  m_file.Write(fmt::format(kGalleryHead, HtmlText(title)));
  m_file.Write("<style>\n");
  m_file.Write(kPageStyle);
  m_file.Write("</style>\n</head>\n<body>\n");
  m_file.Write(GalleryBody(title));
}

void CGalleryPage::Add(const SGalleryEntry& entry) { Write(CardOf(entry.path, entry.reason), entry); }

void CGalleryPage::Write(CJson card, const SGalleryEntry& entry) {
  card["href"] = FileUrl(entry.path);
  if (entry.hasInfo) AddFacts(entry.info, true, &card);
  const bool isApart = !entry.jpeg.empty() && !m_folder.empty();
  if (isApart) {
    card["file"] = WritePictureFile(entry.jpeg, "");
    if (!entry.larger.empty()) card["larger"] = WritePictureFile(entry.larger, "-large");
    ++m_pictures;
  }
  m_file.Write(ScriptElement(card));
  if (!entry.jpeg.empty() && !isApart) {
    m_file.Write(fmt::format("<script type=\"text/base64\">{}</script>", Base64(entry.jpeg)));
  }
  m_file.Write("\n");
}

std::string CGalleryPage::WritePictureFile(const std::string& jpeg, const char* tail) const {
  const std::string group = fmt::format("{:03}", m_pictures / kPicturesInFolder);
  const std::string name = fmt::format("{:06}{}.jpg", m_pictures, tail);
  if (m_pictures % kPicturesInFolder == 0) MakeFolder(fs::path(m_folder) / group);
  WriteJpeg(jpeg, PictureTarget((fs::path(m_folder) / group / name).string()));
  return "pictures/" + group + "/" + name;
}

void CGalleryPage::AddPlate(const SPlateLayout& plate, const std::vector<SGalleryEntry>& entries) {
  m_file.Write(ScriptElement({{"plate", {{"rows", plate.rows}, {"columns", plate.columns}}},
                              {"title", fmt::format("{} · {} of {} wells", plate.name, entries.size(),
                                                    plate.rows * plate.columns)}}) +
               "\n");
  for (std::size_t i = 0; i < entries.size(); ++i) {
    const SImagedWell& well = plate.wells[i];
    CJson card = CardOf(entries[i].path, entries[i].reason);
    card["well"] = WellName(well.row, well.column);
    card["row"] = well.row;
    card["column"] = well.column;
    card["fields"] = well.fields;
    Write(std::move(card), entries[i]);
  }
}

void CGalleryPage::Finish() {
  m_file.Write("<script>\n");
  m_file.Write(kPageScript);
  m_file.Write(kStillPageScript);
  m_file.Write("</script>\n</body>\n</html>\n");
  m_file.Commit();
}

std::string LivePage(const std::string& title) {
  return fmt::format(kGalleryHead, HtmlText(title)) +
         "<link rel=\"stylesheet\" href=\"gallery.css\">\n</head>\n<body>\n" + GalleryBody(title) +
         "<script src=\"gallery.js\"></script>\n</body>\n</html>\n";
}

}  // namespace qvhost
