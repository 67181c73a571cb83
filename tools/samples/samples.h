#pragma once

#include <cstdint>
#include <filesystem>

struct SSampleOptions {
  std::filesystem::path folder;
  int count = 30;  // ordinary pictures, beside the named ones that are always made
  std::uint64_t seed = 1;
  int sizePercent = 100;         // of the pictures' sides
  bool optionalFormats = false;  // also those that only some builds can write: the files differ from build to build
};

// Makes the little lab; the number of files made. The same options give the same bytes, without optionalFormats. Throws
// std::runtime_error.
int MakeSamples(const SSampleOptions& options);
