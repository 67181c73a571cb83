#include "bench/service/support/detailed_picture.h"

#include "tests/support/encode_jpeg.h"

namespace qvbench {

qvtest::STestPicture MakeDetailedPicture(std::uint32_t width, std::uint32_t height) {
  qvtest::STestPicture picture = qvtest::BlackPicture(width, height, 3);
  for (std::uint32_t y = 0; y < height; ++y) {
    for (std::uint32_t x = 0; x < width; ++x) {
      const std::uint32_t block = ((x / 9) * 37 + (y / 7) * 91) % 160;
      picture.At(x, y, 0) = static_cast<std::uint16_t>(block + (x * 5 + y * 3) % 32);
      picture.At(x, y, 1) = static_cast<std::uint16_t>((x + y) % 200);
      picture.At(x, y, 2) = static_cast<std::uint16_t>(255 - block);
    }
  }
  return picture;
}

qvtest::SFileBytes EncodeThumbnail(const qvtest::STestPicture& picture) {
  qvtest::SJpegRecipe recipe;
  recipe.quality = 80;
  recipe.chromaX = recipe.chromaY = 2;
  return qvtest::EncodeJpeg(picture, recipe);
}

qvtest::SFileBytes MakeJpeg(std::uint32_t width, std::uint32_t height) {
  return EncodeThumbnail(MakeDetailedPicture(width, height));
}

}  // namespace qvbench
