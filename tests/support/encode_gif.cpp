#include "tests/support/encode_gif.h"

#include <gif_lib.h>

#include <stdexcept>

namespace qvtest {

namespace {

void Check(int result) {
  if (result != GIF_OK) throw std::runtime_error("giflib cannot write the file");
}

int Append(GifFileType* gif, const GifByteType* bytes, int size) {
  auto& file = *static_cast<SFileBytes*>(gif->UserData);
  file.insert(file.end(), bytes, bytes + size);
  return size;
}

void PutFrame(GifFileType* gif, const SGifFrame& frame) {
  GraphicsControlBlock control{DISPOSAL_UNSPECIFIED, false, static_cast<int>(frame.delay), frame.transparent};
  GifByteType block[4];
  EGifGCBToExtension(&control, block);
  Check(EGifPutExtension(gif, GRAPHICS_EXT_FUNC_CODE, sizeof block, block));
  const STestPicture& indices = frame.indices;
  Check(EGifPutImageDesc(gif, static_cast<int>(frame.x), static_cast<int>(frame.y), static_cast<int>(indices.width),
                         static_cast<int>(indices.height), frame.interlaced, nullptr));
  constexpr std::uint32_t kStart[] = {0, 4, 2, 1}, kStep[] = {8, 8, 4, 2};
  const std::size_t passes = frame.interlaced ? 4 : 1;
  for (std::size_t pass = 0; pass < passes; ++pass) {
    const std::uint32_t step = frame.interlaced ? kStep[pass] : 1;
    for (std::uint32_t y = frame.interlaced ? kStart[pass] : 0; y < indices.height; y += step) {
      std::vector<GifPixelType> row;
      for (std::uint32_t x = 0; x < indices.width; ++x) row.push_back(static_cast<GifPixelType>(indices.At(x, y)));
      Check(EGifPutLine(gif, row.data(), static_cast<int>(row.size())));
    }
  }
}

}  // namespace

SFileBytes EncodeGif(const std::vector<SGifFrame>& frames, const SGifRecipe& recipe) {
  SFileBytes file;
  GifFileType* gif = EGifOpen(&file, Append, nullptr);
  if (gif == nullptr) throw std::bad_alloc();
  EGifSetGifVersion(gif, true);
  ColorMapObject* colors = GifMakeMapObject(static_cast<int>(recipe.colors.size()), nullptr);
  for (std::size_t i = 0; i < recipe.colors.size(); ++i) {
    colors->Colors[i] = {recipe.colors[i][0], recipe.colors[i][1], recipe.colors[i][2]};
  }
  const STestPicture& first = frames.front().indices;
  Check(EGifPutScreenDesc(gif, static_cast<int>(recipe.width == 0 ? first.width : recipe.width),
                          static_cast<int>(recipe.height == 0 ? first.height : recipe.height), 8, 0, colors));
  GifFreeMapObject(colors);
  if (!recipe.comment.empty()) Check(EGifPutComment(gif, recipe.comment.c_str()));
  for (const SGifFrame& frame : frames) PutFrame(gif, frame);
  Check(EGifCloseFile(gif, nullptr));
  return file;
}

}  // namespace qvtest
