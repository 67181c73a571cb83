#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "platform/imageformats/base/geometry.h"
#include "platform/imageformats/base/input.h"
#include "platform/imageformats/heif/heif_library.h"

namespace imageformats {

// HEIF (ISO/IEC 23008-12) and AVIF, by the brands at the file's start.
bool IsHeif(const CInput& input) noexcept;
bool IsAvif(const CInput& input) noexcept;

// An opened file and its primary picture. One thread at a time.
class CHeifFile {
 public:
  // Throws CDamagedError, also for a file that ends too early, and CUnsupportedError for one that this libheif does not
  // know, or without the library.
  explicit CHeifFile(std::shared_ptr<const CInput> input);
  CHeifFile(const CHeifFile&) = delete;
  CHeifFile& operator=(const CHeifFile&) = delete;

  // As shown, turned and cropped.
  SSize Size() const noexcept;
  std::uint32_t Bits() const;
  bool HasAlpha() const noexcept;
  bool IsPremultiplied() const noexcept;
  // Empty when there is none.
  std::vector<std::uint8_t> Profile() const;
  std::vector<std::uint8_t> Exif() const;

  // The picture's pixels, RGB or with opacity, interleaved; of more than 8 bits as words. Throws as the constructor.
  CHeifOwner<heif_image> Decode() const;

 private:
  // What libheif reads from.
  struct SReader {
    const CInput* input;
    std::int64_t position;
  };
  static const heif_reader& ReaderFunctions() noexcept;
  void Throw(const heif_error& error) const;

  std::shared_ptr<const CInput> m_input;
  SReader m_reader;
  const SHeifLibrary& m_library;
  CHeifOwner<heif_context> m_context;
  CHeifOwner<heif_image_handle> m_picture;
};

}  // namespace imageformats
