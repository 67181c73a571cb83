#include <gif_lib.h>

#include <stdexcept>

#include "tools/samples/exports.h"

namespace {

constexpr int kLevels = 6;  // of each primary colour

int AppendBytes(GifFileType* gif, const GifByteType* bytes, int size) {
  auto& file = *static_cast<CBytes*>(gif->UserData);
  file.insert(file.end(), bytes, bytes + size);
  return size;
}

GifPixelType NearestColor(const std::uint8_t* pixel) {
  const auto level = [](int value) { return (value * (kLevels - 1) + 127) / 255; };
  return static_cast<GifPixelType>((level(pixel[0]) * kLevels + level(pixel[1])) * kLevels + level(pixel[2]));
}

void PutPicture(GifFileType* gif, const SRgbImage& image) {
  ColorMapObject* colors = GifMakeMapObject(256, nullptr);
  for (int i = 0; i < kLevels * kLevels * kLevels; ++i) {
    const auto value = [](int level) { return static_cast<GifByteType>(level * 255 / (kLevels - 1)); };
    colors->Colors[i] = {value(i / (kLevels * kLevels)), value(i / kLevels % kLevels), value(i % kLevels)};
  }
  bool done = EGifPutScreenDesc(gif, image.width, image.height, 8, 0, colors) == GIF_OK &&
              EGifPutImageDesc(gif, 0, 0, image.width, image.height, false, nullptr) == GIF_OK;
  GifFreeMapObject(colors);
  for (int y = 0; y < image.height && done; ++y) {
    std::vector<GifPixelType> row;
    for (int x = 0; x < image.width; ++x) row.push_back(NearestColor(image.Pixel(x, y)));
    done = EGifPutLine(gif, row.data(), image.width) == GIF_OK;
  }
  if (!done) throw std::runtime_error("giflib cannot write the picture");
}

}  // namespace

CBytes EncodeGif(const SRgbImage& image) {
  CBytes bytes;
  GifFileType* gif = EGifOpen(&bytes, AppendBytes, nullptr);
  if (gif == nullptr) throw std::bad_alloc();
  PutPicture(gif, image);
  if (EGifCloseFile(gif, nullptr) != GIF_OK) throw std::runtime_error("giflib cannot write the picture");
  return bytes;
}
