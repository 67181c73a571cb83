#include "platform/imageformats/gif/gif_frame.h"

#include <algorithm>
#include <string>

#include "platform/imageformats/base/format_error.h"

namespace imageformats {

namespace {

[[noreturn]] void ThrowGifError(int error) {
  const char* text = GifErrorString(error);
  throw CDamagedError(std::string("The GIF data is damaged: ") + (text != nullptr ? text : "no reason is known"));
}

}  // namespace

CGifFrame::CGifFrame(const CInput& input) : m_input(input) {
  int error = 0;
  m_gif.reset(DGifOpen(this, Feed, &error));
  if (!m_gif) ThrowGifError(error);
  FindFrame();
}

int CGifFrame::Feed(GifFileType* gif, GifByteType* out, int size) {
  auto& input = static_cast<CGifFrame*>(gif->UserData)->m_input;
  return static_cast<int>(input.Read(out, static_cast<std::size_t>(size)));
}

void CGifFrame::FindFrame() {
  for (;;) {
    GifRecordType kind = UNDEFINED_RECORD_TYPE;
    if (DGifGetRecordType(m_gif.get(), &kind) != GIF_OK) ThrowGifError(m_gif->Error);
    Require(kind == IMAGE_DESC_RECORD_TYPE || kind == EXTENSION_RECORD_TYPE, "The GIF file has no picture");
    if (kind == EXTENSION_RECORD_TYPE) {
      SkipExtension();
      continue;
    }
    if (DGifGetImageDesc(m_gif.get()) != GIF_OK) ThrowGifError(m_gif->Error);
    return;
  }
}

void CGifFrame::SkipExtension() {
  int code = 0;
  GifByteType* block = nullptr;
  if (DGifGetExtension(m_gif.get(), &code, &block) != GIF_OK) ThrowGifError(m_gif->Error);
  while (block != nullptr) {
    if (DGifGetExtensionNext(m_gif.get(), &block) != GIF_OK) ThrowGifError(m_gif->Error);
  }
}

SColorTable CGifFrame::Colors() const noexcept {
  const ColorMapObject* map = m_gif->Image.ColorMap != nullptr ? m_gif->Image.ColorMap : m_gif->SColorMap;
  SColorTable table;
  if (map == nullptr) {
    table.count = 2;
    table.colors[1] = {255, 255, 255};
    return table;
  }
  table.count = static_cast<std::uint32_t>(std::clamp(map->ColorCount, 0, 256));
  for (std::uint32_t i = 0; i < table.count; ++i) {
    table.colors[i] = {map->Colors[i].Red, map->Colors[i].Green, map->Colors[i].Blue};
  }
  return table;
}

void CGifFrame::ReadLine(std::uint8_t* indices) {
  if (DGifGetLine(m_gif.get(), indices, m_gif->Image.Width) != GIF_OK) ThrowGifError(m_gif->Error);
}

}  // namespace imageformats
