#pragma once

#include <cstdint>
#include <string>

#include "host/session/image_view.h"
#include "host/session/sqlite.h"

// A database says in PRAGMA user_version which view its thumbnails were made with. Values that are no mark of ours, and
// 0, mean the default view.
namespace qvhost {

// 0 for the default view.
std::int32_t ViewMark(const SQvImageView& view);

std::int32_t ReadViewMark(const SQLite::Database& db);

// Marks a file that has no tables yet, or nothing at all; leaves any other as it is. Throws SQLite::Exception.
void MarkNewDatabase(const std::string& path, std::int32_t mark);

}  // namespace qvhost
