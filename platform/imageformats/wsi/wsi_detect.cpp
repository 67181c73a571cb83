#include "platform/imageformats/wsi/wsi_detect.h"

#include <openslide/openslide.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <string_view>

namespace imageformats {

namespace {

constexpr std::uint64_t kMaxTags = 4096;
constexpr std::uint16_t kTileWidth = 322;
constexpr std::uint16_t kFirstHighPrivateTag = 65400;

// Integers of a TIFF file; 0 where the file ends.
class TiffNumbers {
 public:
  TiffNumbers(const Input& input, bool bigEndian) : m_input(input), m_bigEndian(bigEndian) {}

  std::uint64_t Read(std::uint64_t offset, std::size_t bytes) const noexcept {
    std::array<std::uint8_t, 8> raw{};
    m_input.ReadAt(offset, raw.data(), bytes);
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < bytes; ++i) value = value << 8 | raw[m_bigEndian ? i : bytes - 1 - i];
    return value;
  }

 private:
  const Input& m_input;
  bool m_bigEndian;
};

}  // namespace

bool MayBeSlideTiff(const Input& input) noexcept {
  const auto head = input.Head();
  if (head.size() < 16) return false;
  const bool little = std::memcmp(head.data(), "II", 2) == 0, big = std::memcmp(head.data(), "MM", 2) == 0;
  if (!little && !big) return false;
  const TiffNumbers numbers(input, big);
  const std::uint64_t version = numbers.Read(2, 2);
  if (version != 42 && version != 43) return false;
  const bool isBig = version == 43;
  const std::uint64_t directory = isBig ? numbers.Read(8, 8) : numbers.Read(4, 4);
  const std::uint64_t count = std::min(numbers.Read(directory, isBig ? 8 : 2), kMaxTags);
  const std::uint64_t first = directory + (isBig ? 8 : 2), size = isBig ? 20 : 12;
  for (std::uint64_t i = 0; i < count; ++i) {
    const std::uint64_t tag = numbers.Read(first + i * size, 2);
    if (tag == kTileWidth || tag >= kFirstHighPrivateTag) return true;
  }
  return false;
}

bool MayBeSlidePreview(const Input& input) noexcept {
  const auto head = input.Head();
  if (head.size() < 3 || head[0] != 0xFF || head[1] != 0xD8 || head[2] != 0xFF) return false;
  const std::wstring& path = input.Path().Str();
  const std::size_t dot = path.find_last_of(L"./\\");
  if (dot == std::wstring::npos || path[dot] != L'.') return false;
  const std::wstring_view extension = std::wstring_view(path).substr(dot);
  constexpr std::wstring_view kUsual[] = {L".jpg", L".jpeg", L".jpe", L".jfif", L".jif", L".thm"};
  return std::none_of(std::begin(kUsual), std::end(kUsual),
                      [&](std::wstring_view usual) { return CQvStringUtils::EqualNoCase(extension, usual); });
}

bool IsSlide(const Input& input) noexcept {
  if (!input.IsFile()) return false;
  const char* vendor = openslide_detect_vendor(input.NativePath().c_str());
  return vendor != nullptr && std::strcmp(vendor, "generic-tiff") != 0;
}

}  // namespace imageformats
