#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "platform/imageformats/base/integers.h"

namespace imageformats {

constexpr std::uint32_t PngTag(const char (&name)[5]) noexcept {
  return static_cast<std::uint32_t>(static_cast<unsigned char>(name[0])) << 24 |
         static_cast<std::uint32_t>(static_cast<unsigned char>(name[1])) << 16 |
         static_cast<std::uint32_t>(static_cast<unsigned char>(name[2])) << 8 | static_cast<unsigned char>(name[3]);
}

// PNG's integers are of four bytes, the highest first.
inline std::uint32_t PngWord(const std::uint8_t* bytes) noexcept {
  return static_cast<std::uint32_t>(IntegerAt(bytes, 4, true));
}

struct SPngChunk {
  std::uint32_t tag = 0;
  std::uint32_t size = 0;
  std::uint64_t data = 0;  // offset of its content

  bool IsCritical() const noexcept { return (tag & 0x20000000u) == 0; }
};

bool IsPng(const CInput& input) noexcept;

// The chunk that starts at `offset`; nothing when the data ends before its end.
std::optional<SPngChunk> PngChunkAt(const CInput& input, std::uint64_t offset) noexcept;
inline std::optional<SPngChunk> FirstPngChunk(const CInput& input) noexcept { return PngChunkAt(input, 8); }
inline std::optional<SPngChunk> NextPngChunk(const CInput& input, const SPngChunk& chunk) noexcept {
  return PngChunkAt(input, chunk.data + chunk.size + 4);
}

// The content, its CRC verified; nothing when it is damaged or longer than `most`.
std::optional<std::vector<std::uint8_t>> ReadPngContent(const CInput& input, const SPngChunk& chunk, std::size_t most);
// Copies the content to `out`, its CRC verified; false when it is damaged.
bool CopyPngContent(const CInput& input, const SPngChunk& chunk, std::uint8_t* out);

// Decompresses a zlib stream whose size is not known; nothing when it is damaged or gives more than `most`.
std::optional<std::vector<std::uint8_t>> Inflate(std::span<const std::uint8_t> stream, std::size_t most);
// Decompresses a zlib stream to exactly `out`; false when it is damaged or of another size.
bool InflateExactly(std::span<const std::uint8_t> stream, std::span<std::uint8_t> out);

}  // namespace imageformats
