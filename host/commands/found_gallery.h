#pragma once

#include <vector>

#include "host/find/picture_query.h"
#include "host/output/output_target.h"
#include "host/session/sqlite.h"

namespace qvhost {

// Writes a gallery of what was found, of the thumbnails and texts in the database, and tells so. Throws CHostError or
// SQLite::Exception.
void WriteFoundGallery(const std::vector<SFoundPicture>& found, const COutputTarget& target, SQLite::Database& db);

}  // namespace qvhost
