#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/file_bytes.h"
#include "tests/support/test_picture.h"

namespace qvtest {

// How OpenJPEG shall write a test file.
struct SJpeg2000Recipe {
  bool isFile = true;  // JP2; else a bare codestream
  std::uint32_t tileWidth = 0, tileHeight = 0;
  int resolutions = 3;
  bool isSigned = false;         // samples are stored less by half of the range
  std::uint32_t chromaStep = 1;  // pixels from one chroma sample to the next, of three components as YCC
  std::uint32_t originX = 0, originY = 0;
  bool hasAlpha = false;  // the last component
  int color = 0;          // OPJ_COLOR_SPACE; 0: by the number of components
};

// Lossless; components are stored as they are, without a colour transform.
SFileBytes EncodeJpeg2000(const STestPicture& picture, const SJpeg2000Recipe& recipe = {});

// A box of a JP2 file, and a file of boxes around a codestream: the header's, and its image header.
SFileBytes Jp2Box(const std::string& type, const SFileBytes& content);
SFileBytes Jp2File(const std::vector<SFileBytes>& headerBoxes, const SFileBytes& codestream);

}  // namespace qvtest
