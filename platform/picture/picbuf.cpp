#include "picture/qvpicbuf.h"

#include <cstdlib>
#include <cstring>
#include <limits>

#include "platform/picture/picbuf_shape.h"
#include "system/qvstatus.h"

std::uint64_t ExactRowBytes(std::uint32_t width, std::uint32_t bpc, std::uint32_t components) noexcept {
  if (width == 0 || width > kMaxPictureSide || (bpc != 8 && bpc != 16)) return 0;
  if (components == 0 || components > kMaxPictureComponents) return 0;
  return std::uint64_t{width} * components * (bpc / 8);
}

bool IsUsablePicture(const SQvPicBuf& picture) noexcept {
  const std::uint64_t row = ExactRowBytes(picture.width, picture.bpc, picture.components);
  if (row == 0 || picture.height == 0 || picture.height > kMaxPictureSide || picture.data == nullptr) return false;
  return picture.widthBytes >= row && std::uint64_t{picture.widthBytes} * picture.height <= picture.dataSize;
}

namespace {

// Bytes from row to row; 0 when the shape is impossible.
std::uint64_t RowStep(std::uint32_t width, std::uint32_t widthBytes, std::uint32_t bpc, std::uint32_t components) {
  const std::uint64_t exact = ExactRowBytes(width, bpc, components);
  if (widthBytes != 0) return widthBytes >= exact && exact != 0 ? widthBytes : 0;
  const std::uint64_t step = components <= 4 ? (exact + 3) / 4 * 4 : exact;
  return step <= std::numeric_limits<std::uint32_t>::max() ? step : 0;
}

}  // namespace

void CQvPicBufAPI::Init(SQvPicBuf* picture) noexcept {
  if (picture != nullptr) *picture = SQvPicBuf{};
}

std::int32_t CQvPicBufAPI::Reinit(SQvPicBuf* picture, std::uint32_t width, std::uint32_t height,
                                  std::uint32_t widthBytes, std::uint32_t bpc, std::uint32_t components,
                                  bool clear) noexcept {
  if (picture == nullptr) return kQvFailure;
  const std::uint64_t step = RowStep(width, widthBytes, bpc, components);
  const std::uint64_t size = step * height;
  if (size == 0 || height > kMaxPictureSide || size > kMaxPictureBytes ||
      size > std::numeric_limits<std::size_t>::max()) {
    Free(picture);
    return kQvFailure;
  }
  const auto bytes = static_cast<std::size_t>(size);
  void* data = picture->data;
  if (data != nullptr && picture->dataSize == bytes) {
    if (clear) std::memset(data, 0, bytes);
  } else {
    Free(picture);
    data = clear ? std::calloc(bytes, 1) : std::malloc(bytes);
    if (data == nullptr) return kQvFailure;
  }
  *picture = SQvPicBuf{width, height, static_cast<std::uint32_t>(step), bpc, components, bytes, data};
  return kQvOk;
}

void CQvPicBufAPI::Free(SQvPicBuf* picture) noexcept {
  if (picture == nullptr) return;
  std::free(picture->data);
  *picture = SQvPicBuf{};
}
