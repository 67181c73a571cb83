#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

// A file that no program would call odd, and that takes long for its size.
struct SHonestFile {
  std::string name;
  std::function<void(const std::filesystem::path&)> write;
};

// `side`: of the square pictures, in pixels; those of formats whose sides end at 65500 are no larger.
std::vector<SHonestFile> HonestFiles(std::uint32_t side);
