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

constexpr std::uint16_t kImageDescription = 270, kSoftware = 305, kTileWidth = 322, kXmp = 700;
constexpr std::uint16_t kFirstHighPrivateTag = 65400;

// The first bytes of a text; empty when it cannot be read.
struct STextStart {
  STextStart(const tiff::CIfdReader& directory, const tiff::SIfdEntry& entry) noexcept {
    size = static_cast<std::size_t>(std::min<std::uint64_t>(entry.count, sizeof bytes));
    if (!directory.ReadValues(entry, bytes, size)) size = 0;
  }
  std::string_view Text() const noexcept { return {reinterpret_cast<const char*>(bytes), size}; }

  std::uint8_t bytes[1024] = {};
  std::size_t size = 0;
};

// Microscopes' files, of which every one would be asked for in vain.
bool IsOmeOrImageJ(const tiff::CIfdReader& directory, const tiff::SIfdEntry& description) noexcept {
  const STextStart start(directory, description);
  return start.Text().starts_with("ImageJ=") ||
         start.Text().find("openmicroscopy.org/Schemas/OME") != std::string_view::npos;
}

// Every program writes its name; these are the ones that the library knows scanners by.
bool IsScanners(const tiff::CIfdReader& directory, const tiff::SIfdEntry& software) noexcept {
  const STextStart start(directory, software);
  return start.Text().starts_with("MedScan") || start.Text().starts_with("Philips");
}

// A scanner's TIFF says whose it is in one of these, or has tags of its own.
bool NamesItsMaker(const tiff::CIfdReader& directory) noexcept {
  bool found = false;
  for (std::size_t i = 0; i < directory.EntryCount(); ++i) {
    const tiff::SIfdEntry entry = directory.Entry(i);
    if (entry.tag == kImageDescription && IsOmeOrImageJ(directory, entry)) return false;
    found = found || entry.tag == kImageDescription || entry.tag == kXmp ||
            (entry.tag == kSoftware && IsScanners(directory, entry));
  }
  return found;
}

}  // namespace

bool MayBeSlideTiff(const CInput& input) noexcept {
  try {
    std::optional<tiff::CIfdReader> directory = tiff::CIfdReader::Open(input);
    if (!directory) return false;
    directory->Read(directory->FirstOffset());
    bool isTiled = false;
    for (std::size_t i = 0; i < directory->EntryCount(); ++i) {
      const std::uint16_t tag = directory->Entry(i).tag;
      if (tag >= kFirstHighPrivateTag) return true;
      isTiled = isTiled || tag == kTileWidth;
    }
    return isTiled && NamesItsMaker(*directory);
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
