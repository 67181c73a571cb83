#include "tests/imageformats/support/encode_png.h"

#include <png.h>

#include <stdexcept>

namespace {

void OnWrite(png_structp png, png_bytep data, std::size_t size) {
  auto& bytes = *static_cast<SFileBytes*>(png_get_io_ptr(png));
  bytes.insert(bytes.end(), data, data + size);
}

void OnFlush(png_structp) {}

int ColorType(const STestPicture& picture, const SPngRecipe& recipe) {
  if (recipe.palette) return PNG_COLOR_TYPE_PALETTE;
  constexpr int kTypes[] = {PNG_COLOR_TYPE_GRAY, PNG_COLOR_TYPE_GRAY_ALPHA, PNG_COLOR_TYPE_RGB, PNG_COLOR_TYPE_RGBA};
  return kTypes[picture.components - 1];
}

void SetColors(png_structp png, png_infop info, const SPngRecipe& recipe) {
  if (recipe.palette) {
    std::vector<png_color> colors;
    for (const auto& c : recipe.colors) colors.push_back({c[0], c[1], c[2]});
    png_set_PLTE(png, info, colors.data(), static_cast<int>(colors.size()));
  }
  if (!recipe.paletteOpacity.empty()) {
    png_set_tRNS(png, info, recipe.paletteOpacity.data(), static_cast<int>(recipe.paletteOpacity.size()), nullptr);
  }
  if (!recipe.transparent.empty()) {
    png_color_16 color = {};
    color.gray = color.red = recipe.transparent[0];
    if (recipe.transparent.size() == 3) {
      color.green = recipe.transparent[1];
      color.blue = recipe.transparent[2];
    }
    png_set_tRNS(png, info, nullptr, 0, &color);
  }
  if (recipe.significantBits != 0) {
    const auto bits = static_cast<png_byte>(recipe.significantBits);
    const png_color_8 significant = {bits, bits, bits, bits, bits};
    png_set_sBIT(png, info, &significant);
  }
  if (recipe.gamma != 0.0) png_set_gAMA(png, info, recipe.gamma);
  if (!recipe.profile.empty()) {
    png_set_iCCP(png, info, "profile", PNG_COMPRESSION_TYPE_BASE, recipe.profile.data(),
                 static_cast<png_uint_32>(recipe.profile.size()));
  }
}

void SetTexts(png_structp png, png_infop info, const SPngRecipe& recipe) {
  std::vector<png_text> texts;
  const auto add = [&texts](const std::vector<std::pair<std::string, std::string>>& list, int compression) {
    for (const auto& [keyword, text] : list) {
      png_text one = {};
      one.compression = compression;
      one.key = const_cast<char*>(keyword.c_str());
      one.text = const_cast<char*>(text.c_str());
      one.text_length = text.size();
      texts.push_back(one);
    }
  };
  add(recipe.texts, PNG_TEXT_COMPRESSION_NONE);
  add(recipe.compressedTexts, PNG_TEXT_COMPRESSION_zTXt);
  add(recipe.unicodeTexts, PNG_ITXT_COMPRESSION_zTXt);
  if (!texts.empty()) png_set_text(png, info, texts.data(), static_cast<int>(texts.size()));
  if (recipe.modified[0] != 0) {
    const auto byte = [&](std::size_t i) { return static_cast<png_byte>(recipe.modified[i]); };
    const png_time time = {static_cast<png_uint_16>(recipe.modified[0]), byte(1), byte(2), byte(3), byte(4), byte(5)};
    png_set_tIME(png, info, &time);
  }
  if (!recipe.exif.empty()) {
    SFileBytes exif = recipe.exif;
    png_set_eXIf_1(png, info, static_cast<png_uint_32>(exif.size()), exif.data());
  }
}

// A row in the file's order: big-endian, or packed bits.
SFileBytes PackedRow(const STestPicture& picture, std::uint32_t y) {
  const std::size_t samples = std::size_t{picture.width} * picture.components;
  SFileBytes row((samples * picture.bits + 7) / 8);
  for (std::size_t i = 0; i < samples; ++i) {
    const std::uint32_t value = picture.samples[y * samples + i];
    if (picture.bits == 16) {
      row[2 * i] = static_cast<std::uint8_t>(value >> 8);
      row[2 * i + 1] = static_cast<std::uint8_t>(value);
    } else {
      const std::size_t bit = i * picture.bits;
      row[bit / 8] = static_cast<std::uint8_t>(row[bit / 8] | value << (8 - picture.bits - bit % 8));
    }
  }
  return row;
}

}  // namespace

SFileBytes EncodePng(const STestPicture& picture, const SPngRecipe& recipe) {
  SFileBytes bytes;
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  png_infop info = png_create_info_struct(png);
  png_set_write_fn(png, &bytes, OnWrite, OnFlush);
  if (recipe.dataChunk != 0) png_set_compression_buffer_size(png, recipe.dataChunk);
  png_set_IHDR(png, info, picture.width, picture.height, static_cast<int>(picture.bits), ColorType(picture, recipe),
               recipe.interlaced ? PNG_INTERLACE_ADAM7 : PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
               PNG_FILTER_TYPE_DEFAULT);
  png_set_filter(png, PNG_FILTER_TYPE_BASE, recipe.filters < 0 ? PNG_ALL_FILTERS : recipe.filters);
  SetColors(png, info, recipe);
  SetTexts(png, info, recipe);
  png_write_info(png, info);
  std::vector<SFileBytes> rows;
  std::vector<png_bytep> pointers;
  for (std::uint32_t y = 0; y < picture.height; ++y) rows.push_back(PackedRow(picture, y));
  for (SFileBytes& row : rows) pointers.push_back(row.data());
  png_write_image(png, pointers.data());
  png_write_end(png, info);
  png_destroy_write_struct(&png, &info);
  return bytes;
}
