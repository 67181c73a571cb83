#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "platform/imageformats/arrays/array_image.h"
#include "platform/imageformats/codec/codec_module.h"

namespace imageformats {

// The codec of a format that is an array behind a header.
class CArrayCodec final : public CCodecModule {
 public:
  struct SFormat {
    const char* name;  // in GetCodecByName
    // Whether content begins so. `head` holds what there is of the first kHeadBytes, `size` is that of the file, 0 when
    // it is not known.
    bool (*begins)(std::span<const std::uint8_t> head, std::uint64_t size);
    SArrayPicture (*read)(std::shared_ptr<const CInput> input);
    bool mayBeGzip;  // whether files are also compressed as a whole
  };
  static constexpr std::size_t kHeadBytes = 1024;

  explicit CArrayCodec(const SFormat& format) noexcept : m_format(format) {}

  const char* Name() const noexcept override { return m_format.name; }
  bool Matches(const CInput& input) const noexcept override;
  bool MayMatch(const CInput& input) const noexcept override;
  // What is compressed is looked at where it may be unpacked.
  bool IsSettledByFirstLook(const CInput& input) const noexcept override;
  std::unique_ptr<COpenedImage> Open(std::shared_ptr<const CInput> input) const override;

 private:
  const SFormat m_format;
};

}  // namespace imageformats
