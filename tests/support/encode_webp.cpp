#include "tests/support/encode_webp.h"

#include <webp/encode.h>

#include <stdexcept>

namespace qvtest {

namespace {

SFileBytes Taken(std::uint8_t* bytes, std::size_t size) {
  if (size == 0) throw std::runtime_error("libwebp cannot write the file");
  SFileBytes file(bytes, bytes + size);
  WebPFree(bytes);
  return file;
}

std::vector<std::uint8_t> Packed(const STestPicture& picture) {
  return {picture.samples.begin(), picture.samples.end()};
}

void PutLittle(SFileBytes& bytes, std::uint64_t value, std::size_t size) {
  for (std::size_t i = 0; i < size; ++i) bytes.push_back(static_cast<std::uint8_t>(value >> 8 * i));
}

}  // namespace

SFileBytes EncodeWebp(const STestPicture& picture) {
  WebPConfig config;
  WebPPicture source;
  if (!WebPConfigInit(&config) || !WebPPictureInit(&source)) throw std::runtime_error("libwebp is of another version");
  config.lossless = config.exact = source.use_argb = 1;
  source.width = static_cast<int>(picture.width);
  source.height = static_cast<int>(picture.height);
  const std::vector<std::uint8_t> rows = Packed(picture);
  const int stride = source.width * static_cast<int>(picture.components);
  WebPMemoryWriter writer;
  WebPMemoryWriterInit(&writer);
  source.writer = WebPMemoryWrite;
  source.custom_ptr = &writer;
  const bool done = (picture.components == 4 ? WebPPictureImportRGBA(&source, rows.data(), stride)
                                             : WebPPictureImportRGB(&source, rows.data(), stride)) &&
                    WebPEncode(&config, &source);
  WebPPictureFree(&source);
  if (!done) throw std::runtime_error("libwebp cannot write the file");
  return Taken(writer.mem, writer.size);
}

SFileBytes EncodeLossyWebp(const STestPicture& picture, float quality) {
  const std::vector<std::uint8_t> rows = Packed(picture);
  const int width = static_cast<int>(picture.width), height = static_cast<int>(picture.height);
  std::uint8_t* bytes = nullptr;
  const std::size_t size = picture.components == 4
                               ? WebPEncodeRGBA(rows.data(), width, height, 4 * width, quality, &bytes)
                               : WebPEncodeRGB(rows.data(), width, height, 3 * width, quality, &bytes);
  return Taken(bytes, size);
}

SFileBytes WebpChunk(const std::string& tag, const SFileBytes& content) {
  SFileBytes chunk = BytesOf(tag);
  PutLittle(chunk, content.size(), 4);
  chunk.insert(chunk.end(), content.begin(), content.end());
  if (content.size() % 2 != 0) chunk.push_back(0);
  return chunk;
}

SFileBytes WebpFile(const std::vector<SFileBytes>& chunks) {
  const SFileBytes content = Concatenated(chunks);
  SFileBytes file = BytesOf("RIFF");
  PutLittle(file, content.size() + 4, 4);
  return Concatenated({file, BytesOf("WEBP"), content});
}

SFileBytes WebpPixels(const SFileBytes& file) { return {file.begin() + 12, file.end()}; }

SFileBytes WebpCanvas(std::uint8_t flags, std::uint32_t width, std::uint32_t height) {
  SFileBytes content = {flags, 0, 0, 0};
  PutLittle(content, width - 1, 3);
  PutLittle(content, height - 1, 3);
  return WebpChunk("VP8X", content);
}

SFileBytes WebpFrame(std::uint32_t x, std::uint32_t y, const STestPicture& picture, std::uint32_t milliseconds) {
  SFileBytes content;
  for (const std::uint32_t value : {x / 2, y / 2, picture.width - 1, picture.height - 1, milliseconds}) {
    PutLittle(content, value, 3);
  }
  content.push_back(0);
  return WebpChunk("ANMF", Concatenated({content, WebpPixels(EncodeWebp(picture))}));
}

}  // namespace qvtest
