#include "host/thumbnails/stored_thumbnail.h"

#include <filesystem>
#include <optional>

#include "host/files/image_file.h"
#include "host/host_error.h"
#include "host/session/cache_rows.h"
#include "host/session/database_form.h"
#include "host/session/view_mark.h"
#include "host/shards/reading_uri.h"

namespace qvhost {
namespace {

std::string Read(const std::string& path, bool highQuality, const SDatabaseOptions& options) {
  const SDatabaseChoice choice = ChooseDatabase(options);
  std::error_code error;
  if (!std::filesystem::is_regular_file(choice.path, error)) return {};
  const std::optional<std::string> uri = FindReadingUri(choice.path);
  if (!uri) return {};
  const bool mayWrite = uri->ends_with("mode=rw");
  SQLite::Database db =
      OpenConnection(*uri, (mayWrite ? SQLite::OPEN_READWRITE : SQLite::OPEN_READONLY) | SQLite::OPEN_URI);
  db.exec("PRAGMA query_only=ON");
  if (!FindForeignForm(db).empty()) return {};
  if (ReadViewMark(db) != (choice.view ? ViewMark(*choice.view) : 0)) return {};
  CCacheRows rows(std::move(db));
  for (const bool high : {true, false}) {
    SQvThumbnailDescription description;
    std::string reason;
    if (highQuality && !high) break;
    if (!DescribeFile(path, high, &description, &reason)) return {};
    if (rows.IsCurrent(description)) return rows.ReadJpeg(description);
  }
  return {};
}

}  // namespace

std::string ReadStoredThumbnail(const std::string& path, bool highQuality, const SDatabaseOptions& options) {
  try {
    return Read(path, highQuality, options);
  } catch (const CHostError&) {
  } catch (const SQLite::Exception&) {
  }
  return {};
}

}  // namespace qvhost
