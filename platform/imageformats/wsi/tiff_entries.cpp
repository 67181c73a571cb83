#include "platform/imageformats/wsi/tiff_entries.h"

#include <cstring>

namespace imageformats {

std::optional<CTiffEntries> CTiffEntries::Of(const CInput& input) noexcept {
  const auto head = input.Head();
  if (head.size() < 16) return std::nullopt;
  const bool little = std::memcmp(head.data(), "II", 2) == 0, big = std::memcmp(head.data(), "MM", 2) == 0;
  if (!little && !big) return std::nullopt;
  CTiffEntries entries(input, big);
  const std::uint64_t version = entries.Read(2, 2);
  if (version != 42 && version != 43) return std::nullopt;
  entries.m_isBig = version == 43;
  return entries;
}

}  // namespace imageformats
