#pragma once

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <string>

namespace qvhost {

// ".tif" of "Cells.TIF". Only the letters of ASCII are lower-cased: extensions of image files have no others.
inline std::string LowerCaseExtension(const std::filesystem::path& path) {
  std::string extension = path.extension().string();
  std::transform(extension.begin(), extension.end(), extension.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return extension;
}

}  // namespace qvhost
