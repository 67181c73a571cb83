#pragma once

#include <cstdint>
#include <string>

#include "host/session/database_choice.h"
#include "imageformats/iqvimageformatmanager.h"
#include "picture/qvpicture.h"

namespace qvhost {

// Overviews in a square box of any size, which the cache, whose boxes are fixed, does not keep. The components must be
// loaded. No database is needed and none is written.

struct SSizedPicture {
  CQvPicture picture;  // 8-bit RGB, never larger than the box nor than the file's own; no pixels on failure
  bool fromCache = false;
  std::string failure;  // for people
};

// Of a file, rendered in the view of the process; no pixels, with the reason for people, on failure.
CQvPicture RenderSizedPicture(IQvImageFormatManager& manager, const std::string& path, std::uint32_t side,
                              bool highQuality, std::string* failure);

// The same, or scaled from the stored thumbnail when the database of `database`
// holds one of the unchanged file that is large enough.
SSizedPicture MakeSizedPicture(const std::string& path, std::uint32_t side, bool highQuality,
                               const SDatabaseOptions& database);

}  // namespace qvhost
