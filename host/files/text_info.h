#pragma once

#include <array>
#include <string>
#include <utility>
#include <vector>

#include "host/output/json.h"
#include "thumbnailcache/iqvthumbnailcache.h"

namespace qvhost {

// The text information of one image file, as the service gives it.
struct STextInfo {
  SQvImageTextInfo texts;
  SQvImageInfo image;
  double calibration = 0.0;  // micrometres per pixel, 0 unknown
  CQvStringW objective;
  double acquisitionTime = 0.0;  // Julian day number, 0 unknown
  std::int64_t fileSize = 0;
  std::array<std::uint32_t, 4> loops{};  // time, z, stage positions, channels

  // `path` is absolute. False when the service cannot read the file.
  bool Read(IQvThumbnailCache& service, const std::string& path);

  // Everything that is written in words: the texts and the objective.
  std::vector<CQvStringW> AllTexts() const;
  // What is known, as a label and a value for people.
  std::vector<std::pair<std::string, std::string>> Lines() const;
  CJson Json() const;
  // The names of all that Json may hold, without those of the loops and texts as objects; and what it holds, by these
  // names.
  static std::vector<std::string> FieldNames();
  CJson Fields() const;
};

}  // namespace qvhost
