#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "bench/decoders/decoders.h"

// A file that decoders are compared on.
struct SFile {
  std::string name;
  std::string kind;  // files of one kind are summed up together
  std::function<void(const std::filesystem::path&)> write;
  std::vector<SBox> boxes;
};

// Files that one decoder of the platform's own is for.
struct SGroup {
  std::string name;
  std::vector<SDecoder> (*decoders)(const std::filesystem::path& file, const SBox& box);
  std::vector<SFile> files;
};

// The groups, with the files in `samples` behind the made ones; an empty path for none.
std::vector<SGroup> MakeGroups(const std::filesystem::path& samples);
