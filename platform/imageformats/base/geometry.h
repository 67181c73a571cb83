#pragma once

#include <cstdint>

namespace imageformats {

struct SSize {
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  friend bool operator==(const SSize&, const SSize&) = default;
};

}  // namespace imageformats
