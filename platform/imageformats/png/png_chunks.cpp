#include "platform/imageformats/png/png_chunks.h"

#include <algorithm>
#include <cstring>

#include "platform/imageformats/base/inflater.h"

namespace imageformats {

namespace {

constexpr std::uint8_t kSignature[8] = {0x89, 'P', 'N', 'G', 0x0D, 0x0A, 0x1A, 0x0A};

}  // namespace

bool IsPng(const CInput& input) noexcept {
  const auto head = input.Head();
  return head.size() >= sizeof kSignature && std::memcmp(head.data(), kSignature, sizeof kSignature) == 0;
}

std::optional<SPngChunk> PngChunkAt(const CInput& input, std::uint64_t offset) noexcept {
  std::uint8_t header[8];
  if (input.ReadAt(offset, header, sizeof header) != sizeof header) return std::nullopt;
  const SPngChunk chunk{PngWord(header + 4), PngWord(header), offset + 8};
  if (chunk.size > 0x7FFFFFFFu || chunk.data + chunk.size + 4 > input.Size()) return std::nullopt;
  return chunk;
}

bool CopyPngContent(const CInput& input, const SPngChunk& chunk, std::uint8_t* out) {
  std::uint8_t tag[4], stored[4];
  if (input.ReadAt(chunk.data - 4, tag, 4) != 4) return false;
  if (input.ReadAt(chunk.data, out, chunk.size) != chunk.size) return false;
  if (input.ReadAt(chunk.data + chunk.size, stored, 4) != 4) return false;
  return libdeflate_crc32(libdeflate_crc32(0, tag, 4), out, chunk.size) == PngWord(stored);
}

std::optional<std::vector<std::uint8_t>> ReadPngContent(const CInput& input, const SPngChunk& chunk, std::size_t most) {
  if (chunk.size > most) return std::nullopt;
  std::vector<std::uint8_t> content(chunk.size + std::size_t{1});  // never null
  if (!CopyPngContent(input, chunk, content.data())) return std::nullopt;
  content.pop_back();
  return content;
}

std::optional<std::vector<std::uint8_t>> Inflate(std::span<const std::uint8_t> stream, std::size_t most) {
  const CInflaterPtr decompressor = NewInflater();
  for (std::size_t size = std::min(std::max<std::size_t>(stream.size() * 4, 4096), most);; size *= 4) {
    std::vector<std::uint8_t> out(std::min(size, most));
    std::size_t actual = 0;
    const auto result =
        libdeflate_zlib_decompress(decompressor.get(), stream.data(), stream.size(), out.data(), out.size(), &actual);
    if (result == LIBDEFLATE_SUCCESS) {
      out.resize(actual);
      return out;
    }
    if (result != LIBDEFLATE_INSUFFICIENT_SPACE || size >= most) return std::nullopt;
  }
}

bool InflateExactly(std::span<const std::uint8_t> stream, std::span<std::uint8_t> out) {
  const CInflaterPtr decompressor = NewInflater();
  return libdeflate_zlib_decompress(decompressor.get(), stream.data(), stream.size(), out.data(), out.size(),
                                    nullptr) == LIBDEFLATE_SUCCESS;
}

}  // namespace imageformats
