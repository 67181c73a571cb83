#include "platform/imageformats/wsi/wsi_detect.h"

#include <openslide/openslide.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <new>
#include <optional>
#include <string_view>

#include "platform/imageformats/tiff/directory/ifd_reader.h"

namespace imageformats {

namespace {

constexpr std::uint16_t kTileWidth = 322;
constexpr std::uint16_t kFirstHighPrivateTag = 65400;
// ImageDescription, Make, Model, Software, XMP: where a scanner says that it was one.
constexpr std::uint16_t kWords[] = {270, 271, 272, 305, 700};
// A file of more directories is not looked through.
constexpr int kMaxDirectories = 64;

struct SSigns {
  bool tiled = false, words = false, privateTags = false;
};

SSigns SignsIn(const tiff::CIfdReader& directory) noexcept {
  SSigns signs;
  for (std::size_t i = 0; i < directory.EntryCount(); ++i) {
    const std::uint16_t tag = directory.Entry(i).tag;
    signs.tiled |= tag == kTileWidth;
    signs.privateTags |= tag >= kFirstHighPrivateTag;
    signs.words |= std::find(std::begin(kWords), std::end(kWords), tag) != std::end(kWords);
  }
  return signs;
}

bool IsSignedFurtherOn(tiff::CIfdReader& directory) {
  for (int i = 1; directory.NextOffset() != 0; ++i) {
    if (i >= kMaxDirectories || !directory.Read(directory.NextOffset())) return true;
    const SSigns signs = SignsIn(directory);
    if (signs.words || signs.privateTags) return true;
  }
  return false;
}

}  // namespace

bool MayBeSlideTiff(const CInput& input) noexcept {
  try {
    std::optional<tiff::CIfdReader> directory = tiff::CIfdReader::Open(input);
    if (!directory) return false;
    directory->Read(directory->FirstOffset());
    const SSigns first = SignsIn(*directory);
    return first.privateTags || (first.tiled && (first.words || IsSignedFurtherOn(*directory)));
  } catch (const std::bad_alloc&) {
    // Whoever opens the file says so.
  }
  return false;
}

bool MayBeSlidePreview(const CInput& input) noexcept {
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

bool IsSlide(const CInput& input) noexcept {
  if (!input.IsFile()) return false;
  const char* vendor = openslide_detect_vendor(input.NativePath().c_str());
  return vendor != nullptr && std::strcmp(vendor, "generic-tiff") != 0;
}

}  // namespace imageformats
