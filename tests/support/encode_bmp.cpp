#include "tests/support/encode_bmp.h"

#include <algorithm>

namespace qvtest {

namespace {

void PutLittle(SFileBytes& bytes, std::size_t at, std::uint64_t value, std::size_t size) {
  if (bytes.size() < at + size) bytes.resize(at + size);
  for (std::size_t i = 0; i < size; ++i) bytes[at + i] = static_cast<std::uint8_t>(value >> 8 * i);
}

// From the bitmap's header on.
void PutInfoHeader(SFileBytes& file, std::uint32_t width, std::uint32_t height, std::uint32_t bits,
                   const SBmpRecipe& recipe) {
  file.resize(14 + recipe.headerSize);
  PutLittle(file, 14, recipe.headerSize, 4);
  const std::size_t side = recipe.headerSize == 12 ? 2 : 4;
  PutLittle(file, 18, width, side);
  PutLittle(file, 18 + side, recipe.topDown ? 0 - std::uint64_t{height} : height, side);
  PutLittle(file, 18 + 2 * side, 1, 2);
  PutLittle(file, 20 + 2 * side, bits, 2);
  if (recipe.headerSize == 12) return;
  PutLittle(file, 30, recipe.compression, 4);
  PutLittle(file, 46, recipe.colors.size(), 4);
  const std::size_t masks = recipe.compression == 6 || recipe.headerSize >= 56 ? 4 : recipe.compression == 3 ? 3 : 0;
  if (recipe.headerSize == 64) return;
  for (std::size_t i = 0; i < masks; ++i) PutLittle(file, 54 + 4 * i, recipe.masks[i], 4);
}

}  // namespace

SFileBytes BmpFile(std::uint32_t width, std::uint32_t height, std::uint32_t bits, const SFileBytes& pixels,
                   const SBmpRecipe& recipe) {
  SFileBytes file = BytesOf("BM");
  PutInfoHeader(file, width, height, bits, recipe);
  for (const auto& color : recipe.colors) {
    file.insert(file.end(), {color[2], color[1], color[0]});
    if (recipe.headerSize != 12) file.push_back(0);
  }
  PutLittle(file, 10, file.size(), 4);
  file.insert(file.end(), pixels.begin(), pixels.end());
  if (!recipe.profile.empty()) {
    PutLittle(file, 14 + 56, 0x4D424544, 4);
    PutLittle(file, 14 + 112, file.size() - 14, 4);
    PutLittle(file, 14 + 116, recipe.profile.size(), 4);
    file.insert(file.end(), recipe.profile.begin(), recipe.profile.end());
  }
  PutLittle(file, 2, file.size(), 4);
  return file;
}

SFileBytes BmpRows(const STestPicture& picture, std::uint32_t bits, bool topDown) {
  const std::size_t rowBytes = (std::size_t{picture.width} * bits + 31) / 32 * 4;
  SFileBytes rows(rowBytes * picture.height);
  for (std::uint32_t y = 0; y < picture.height; ++y) {
    const std::size_t row = (topDown ? y : picture.height - 1 - y) * rowBytes;
    for (std::uint32_t x = 0; x < picture.width; ++x) {
      const std::size_t bit = std::size_t{x} * bits;
      if (bits == 24) {
        for (std::uint32_t c = 0; c < 3; ++c)
          rows[row + 3 * x + c] = static_cast<std::uint8_t>(picture.At(x, y, 2 - c));
      } else if (bits > 8) {
        PutLittle(rows, row + bit / 8, picture.At(x, y), bits / 8);
      } else {
        rows[row + bit / 8] |= static_cast<std::uint8_t>(picture.At(x, y) << (8 - bits - bit % 8));
      }
    }
  }
  return rows;
}

}  // namespace qvtest
