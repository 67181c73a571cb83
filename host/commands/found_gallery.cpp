#include "host/commands/found_gallery.h"

#include "host/commands/gallery_report.h"
#include "host/files/image_file.h"
#include "host/find/known_rows.h"
#include "host/page/gallery_page.h"
#include "host/session/cache_rows.h"
#include "host/session/interrupt.h"

namespace qvhost {
namespace {

// The larger one when there are two.
std::string ReadThumbnail(CCacheRows& rows, const std::string& location) {
  SQvThumbnailDescription description;
  description.location = CQvStringUtils::UTF8toW(location);
  description.flags = 1;
  std::string jpeg = rows.ReadJpeg(description);
  if (!jpeg.empty()) return jpeg;
  description.flags = 0;
  return rows.ReadJpeg(description);
}

}  // namespace

void WriteFoundGallery(const std::vector<SFoundPicture>& found, const COutputTarget& target, SQLite::Database& db) {
  CCacheRows thumbnails(db.getFilename());
  const CKnownRows rows(db);
  CGalleryPage page(target, "Found", false);
  for (const SFoundPicture& picture : found) {
    CInterrupt::ThrowIfRequested("interrupted; no gallery was written");
    SGalleryEntry entry;
    entry.path = RealPath(CQvStringUtils::UTF8toW(picture.location));
    target.RequireOtherThan(entry.path);
    entry.jpeg = ReadThumbnail(thumbnails, picture.location);
    if (entry.jpeg.empty()) entry.reason = "no thumbnail yet";
    if (auto info = rows.ReadTexts(picture.textRow)) {
      entry.info = std::move(*info);
      entry.hasInfo = true;
    }
    page.Add(entry);
  }
  page.Finish();
  ReportGallery(target, static_cast<std::int64_t>(found.size()));
}

}  // namespace qvhost
