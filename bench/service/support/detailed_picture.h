#pragma once

#include "tests/support/file_bytes.h"
#include "tests/support/test_picture.h"

namespace qvbench {

// An RGB picture with some detail everywhere.
qvtest::STestPicture MakeDetailedPicture(std::uint32_t width, std::uint32_t height);

// As the service stores its thumbnails: quality 0.8, 4:2:0.
qvtest::SFileBytes EncodeThumbnail(const qvtest::STestPicture& picture);
qvtest::SFileBytes MakeJpeg(std::uint32_t width, std::uint32_t height);

}  // namespace qvbench
