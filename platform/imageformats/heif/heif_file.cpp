#include "platform/imageformats/heif/heif_file.h"

#include <algorithm>
#include <bit>
#include <new>
#include <string>
#include <string_view>
#include <utility>

#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/base/integers.h"

namespace imageformats {

namespace {

constexpr std::size_t kMostHeifMetadata = 4u << 20;

// Whether one of the brands, which follow the size and the type of the first box, is in the list.
bool HasBrand(const CInput& input, std::string_view list) noexcept {
  const auto bytes = input.Head();
  const std::string_view head(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  if (head.size() < 16 || head.substr(4, 4) != "ftyp") return false;
  const std::size_t size = static_cast<std::size_t>(bytes[2]) << 8 | bytes[3];
  const std::size_t end = std::min(head.size(), bytes[0] == 0 && bytes[1] == 0 ? size : head.size());
  for (std::size_t at = 8; at + 4 <= end; at += 4) {
    // The version of the brand stands behind the first one.
    if (at != 12 && list.find(head.substr(at, 4)) != std::string_view::npos) return true;
  }
  return false;
}

// A file that was cut ends within one of its outermost boxes.
void RequireWholeBoxes(const CInput& input) {
  for (std::uint64_t at = 0; at < input.Size();) {
    Require(input.Size() - at >= 8, "The HEIF file is truncated");
    std::uint64_t size = ReadInteger(input, at, 4, true);
    if (size == 0) return;
    if (size == 1) {
      Require(input.Size() - at >= 16, "The HEIF file is truncated");
      size = ReadInteger(input, at + 8, 8, true);
    }
    Require(size >= 8, "The HEIF file has a box of an impossible size");
    Require(size <= input.Size() - at, "The HEIF file is truncated");
    at += size;
  }
}

}  // namespace

bool IsAvif(const CInput& input) noexcept { return HasBrand(input, "avif avis"); }

bool IsHeif(const CInput& input) noexcept {
  return HasBrand(input, "avif avis heic heix heim heis hevc hevx mif1 mif2 msf1");
}

const heif_reader& CHeifFile::ReaderFunctions() noexcept {
  static const heif_reader functions = [] {
    heif_reader reader{};
    reader.reader_api_version = 1;
    reader.get_position = [](void* self) { return static_cast<SReader*>(self)->position; };
    reader.seek = [](std::int64_t position, void* self) {
      static_cast<SReader*>(self)->position = position;
      return 0;
    };
    reader.read = [](void* data, std::size_t size, void* self) {
      auto& file = *static_cast<SReader*>(self);
      if (file.position < 0) return -1;
      const std::size_t got = file.input->ReadAt(static_cast<std::uint64_t>(file.position), data, size);
      file.position += static_cast<std::int64_t>(got);
      return got == size ? 0 : -1;
    };
    reader.wait_for_file_size = [](std::int64_t size, void* self) {
      const std::uint64_t there = static_cast<SReader*>(self)->input->Size();
      return size >= 0 && static_cast<std::uint64_t>(size) <= there ? heif_reader_grow_status_size_reached
                                                                    : heif_reader_grow_status_size_beyond_eof;
    };
    return reader;
  }();
  return functions;
}

CHeifFile::CHeifFile(std::shared_ptr<const CInput> input)
    : m_input(std::move(input)),
      m_reader{m_input.get(), 0},
      m_library(HeifLibrary()),
      m_context(m_library.contextAlloc()) {
  if (!m_context) throw std::bad_alloc();
  RequireWholeBoxes(*m_input);
  m_library.contextSetThreads(m_context.get(), 0);
  Throw(m_library.contextRead(m_context.get(), &ReaderFunctions(), &m_reader, nullptr));
  heif_image_handle* picture = nullptr;
  Throw(m_library.contextGetPrimary(m_context.get(), &picture));
  m_picture.reset(picture);
  Require(m_picture != nullptr, "The HEIF file has no picture");
}

void CHeifFile::Throw(const heif_error& error) const {
  if (error.code == heif_error_Ok) return;
  const std::string_view message = error.message != nullptr ? error.message : "";
  std::string text;
  if (error.code == heif_error_Unsupported_feature || error.code == heif_error_Unsupported_filetype) {
    throw CUnsupportedError(text.append("The HEIF picture is not supported: ").append(message));
  }
  throw CDamagedError(text.append("The HEIF data are damaged: ").append(message));
}

SSize CHeifFile::Size() const noexcept {
  return {static_cast<std::uint32_t>(std::max(0, m_library.handleGetWidth(m_picture.get()))),
          static_cast<std::uint32_t>(std::max(0, m_library.handleGetHeight(m_picture.get())))};
}

std::uint32_t CHeifFile::Bits() const {
  const int bits = m_library.handleGetBits(m_picture.get());
  Require(bits <= 16, "The HEIF picture has an impossible depth");
  return bits <= 0 ? 8 : static_cast<std::uint32_t>(bits);
}

bool CHeifFile::HasAlpha() const noexcept { return m_library.handleHasAlpha(m_picture.get()) != 0; }
bool CHeifFile::IsPremultiplied() const noexcept { return m_library.handleIsPremultiplied(m_picture.get()) != 0; }

std::vector<std::uint8_t> CHeifFile::Profile() const {
  const std::size_t size = m_library.handleGetProfileSize(m_picture.get());
  if (size == 0 || size > kMostHeifMetadata) return {};
  std::vector<std::uint8_t> profile(size);
  if (m_library.handleGetProfile(m_picture.get(), profile.data()).code != heif_error_Ok) profile.clear();
  return profile;
}

std::vector<std::uint8_t> CHeifFile::Exif() const {
  constexpr std::size_t kOffsetBytes = 4;  // of EXIF's own header, before it
  heif_item_id id = 0;
  if (m_library.handleListMetadata(m_picture.get(), "Exif", &id, 1) != 1) return {};
  const std::size_t size = m_library.handleGetMetadataSize(m_picture.get(), id);
  if (size <= kOffsetBytes || size > kMostHeifMetadata) return {};
  std::vector<std::uint8_t> exif(size);
  if (m_library.handleGetMetadata(m_picture.get(), id, exif.data()).code != heif_error_Ok) return {};
  exif.erase(exif.begin(), exif.begin() + kOffsetBytes);
  return exif;
}

CHeifOwner<heif_image> CHeifFile::Decode() const {
  const CHeifOwner<heif_decoding_options> options(m_library.optionsAlloc());
  if (!options) throw std::bad_alloc();
  if (options->version >= 3) options->strict_decoding = 1;
#if LIBHEIF_HAVE_VERSION(1, 15, 0)
  // Of the decoders for AV1, the one that works on the calling thread.
  if (options->version >= 4) options->decoder_id = "aom";
#endif
  const bool isWide = Bits() > 8, isLittle = std::endian::native == std::endian::little;
  heif_chroma chroma = HasAlpha() ? heif_chroma_interleaved_RGBA : heif_chroma_interleaved_RGB;
  if (isWide && HasAlpha()) {
    chroma = isLittle ? heif_chroma_interleaved_RRGGBBAA_LE : heif_chroma_interleaved_RRGGBBAA_BE;
  } else if (isWide) {
    chroma = isLittle ? heif_chroma_interleaved_RRGGBB_LE : heif_chroma_interleaved_RRGGBB_BE;
  }
  heif_image* image = nullptr;
  const heif_error error = m_library.decode(m_picture.get(), &image, heif_colorspace_RGB, chroma, options.get());
  CHeifOwner<heif_image> owner(image);
  Throw(error);
  Require(image != nullptr, "The HEIF file has no picture");
  return owner;
}

}  // namespace imageformats
