#include "tools/samples/exports.h"

#include <webp/encode.h>

#include <stdexcept>

#include "tools/samples/photographs.h"

namespace {

void PutLittle(CBytes& bytes, std::uint32_t value, int size) {
  for (int i = 0; i < size; ++i) bytes.push_back(static_cast<std::uint8_t>(value >> 8 * i));
}

}  // namespace

CBytes EncodeBmp(const SRgbImage& image) {
  const std::uint32_t row = (3 * static_cast<std::uint32_t>(image.width) + 3) / 4 * 4;
  const std::uint32_t pixels = row * static_cast<std::uint32_t>(image.height);
  CBytes bytes = {'B', 'M'};
  for (const std::uint32_t field : {54 + pixels, 0u, 54u, 40u}) PutLittle(bytes, field, 4);
  PutLittle(bytes, static_cast<std::uint32_t>(image.width), 4);
  PutLittle(bytes, static_cast<std::uint32_t>(image.height), 4);
  PutLittle(bytes, 1, 2);
  PutLittle(bytes, 24, 2);
  for (const std::uint32_t field : {0u, pixels, 0u, 0u, 0u, 0u}) PutLittle(bytes, field, 4);
  for (int y = image.height - 1; y >= 0; --y) {
    for (int x = 0; x < image.width; ++x) {
      const std::uint8_t* pixel = image.Pixel(x, y);
      bytes.insert(bytes.end(), {pixel[2], pixel[1], pixel[0]});
    }
    bytes.resize((bytes.size() - 54 + 3) / 4 * 4 + 54);
  }
  return bytes;
}

CBytes EncodePpm(const SRgbImage& image) {
  const std::string head =
      "P6\n# a day at the bench\n" + std::to_string(image.width) + " " + std::to_string(image.height) + "\n255\n";
  CBytes bytes(head.begin(), head.end());
  bytes.insert(bytes.end(), image.pixels.begin(), image.pixels.end());
  return bytes;
}

CBytes EncodeWebp(const SRgbImage& image) {
  std::uint8_t* out = nullptr;
  const std::size_t size = WebPEncodeRGB(image.pixels.data(), image.width, image.height, 3 * image.width, 80, &out);
  if (size == 0) throw std::runtime_error("libwebp cannot write the picture");
  const CBytes bytes(out, out + size);
  WebPFree(out);
  return bytes;
}

void MakeExports(const SContext& context) {
  const int width = context.Side(800), height = context.Side(600);
  const auto seed = [&](const char* name) { return context.SeedFor(name); };
  const auto write = [&](const std::string& name, const CBytes& bytes) {
    context.output.Write("Exports/" + name, bytes);
  };
  write("agar plate.bmp", EncodeBmp(RenderAgarPlate(width, height, seed("bmp"))));
  write("well plate.gif", EncodeGif(RenderWellPlate(width, height, seed("gif"))));
  write("agar plate.ppm", EncodePpm(RenderAgarPlate(width, height, seed("ppm"))));
  write("group hike.webp", EncodeWebp(RenderMountains(width, height, seed("webp"))));
  write("agar plate.jp2", EncodeJpeg2000(RenderAgarPlate(width, height, seed("jp2"))));
  write("slide level.dcm", EncodeDicomSlide(RenderAgarPlate(width, height, seed("dcm")), 256, 0.5));
}

void MakeOptionalExports([[maybe_unused]] const SContext& context) {
#if defined(QV_SAMPLES_HEIF) || defined(QV_SAMPLES_JXL)
  const auto picture = [&](const char* name) {
    return RenderAgarPlate(context.Side(800), context.Side(600), context.SeedFor(name));
  };
#endif
#ifdef QV_SAMPLES_HEIF
  if (CanEncodeHeif(false)) context.output.Write("Exports/agar plate.heic", EncodeHeif(picture("heic"), false));
  if (CanEncodeHeif(true)) context.output.Write("Exports/agar plate.avif", EncodeHeif(picture("avif"), true));
#endif
#ifdef QV_SAMPLES_JXL
  context.output.Write("Exports/agar plate.jxl", EncodeJxl(picture("jxl")));
#endif
}
