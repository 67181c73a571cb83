#include "platform/imageformats/wsi/wsi_image.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <utility>

#include "platform/imageformats/base/text.h"
#include "platform/imageformats/base/units.h"
#include "platform/imageformats/codec/exif.h"
#include "platform/imageformats/render/display.h"
#include "platform/imageformats/wsi/slide_bytes.h"
#include "platform/imageformats/wsi/slide_tiles.h"

namespace imageformats {

namespace {

constexpr std::uint32_t kBlockWidth = 2048;  // pixels; of a multiple of the tiles' width
constexpr std::uint32_t kBlockHeight = 256;  // where the tiles' height is not known
constexpr std::uint32_t kMaxTile = 2048;

// Over white, three bytes a pixel.
void BlendArgbOverWhite(const std::uint32_t* argb, std::size_t pixels, std::uint8_t* rgb) noexcept {
  for (std::size_t i = 0; i < pixels; ++i, rgb += 3) {
    const std::uint32_t p = argb[i], through = 255 - (p >> 24);
    rgb[0] = static_cast<std::uint8_t>(std::min(((p >> 16) & 255) + through, 255u));
    rgb[1] = static_cast<std::uint8_t>(std::min(((p >> 8) & 255) + through, 255u));
    rgb[2] = static_cast<std::uint8_t>(std::min((p & 255) + through, 255u));
  }
}

std::string LevelProperty(std::int32_t level, const char* name) {
  return "openslide.level[" + std::to_string(level) + "]." + name;
}

std::uint32_t TileSide(const CSlide& slide, std::int32_t level, const char* name, std::uint32_t fallback) {
  const double side = slide.NumberProperty(LevelProperty(level, name));
  return side >= 16 && side <= kMaxTile ? static_cast<std::uint32_t>(side) : fallback;
}

SQvImageInfo InfoOf(const CSlide& slide) {
  const SSize size = slide.LevelSize(0);
  SQvImageInfo info = PlainInfo(size, 3, 8);
  info.tileWidth = TileSide(slide, 0, "tile-width", size.width);
  info.tileHeight = TileSide(slide, 0, "tile-height", size.height);
  info.compression = kQvCompressionOther;
  return info;
}

}  // namespace

CSlide::CSlide(const std::shared_ptr<const CInput>& input) {
  CheckSlideTiles(input);
  m_handle.reset(openslide_open(input->NativePath().c_str()));
  if (!m_handle) throw CDamagedError("The file is not a whole-slide file");
  Check();
}

void CSlide::Check() const {
  if (const char* error = openslide_get_error(m_handle.get())) {
    throw CDamagedError(std::string("The slide is damaged: ") + error);
  }
}

std::int32_t CSlide::LevelCount() const { return openslide_get_level_count(m_handle.get()); }

SSize CSlide::LevelSize(std::int32_t level) const {
  std::int64_t width = 0, height = 0;
  openslide_get_level_dimensions(m_handle.get(), level, &width, &height);
  Check();
  constexpr std::int64_t kMax = std::numeric_limits<std::uint32_t>::max() / 3;
  if (width < 1 || height < 1 || width > kMax || height > kMax) throw CDamagedError("The slide has an impossible size");
  return {static_cast<std::uint32_t>(width), static_cast<std::uint32_t>(height)};
}

std::string CSlide::Property(const std::string& name) const {
  const char* value = openslide_get_property_value(m_handle.get(), name.c_str());
  return value ? value : "";
}

double CSlide::NumberProperty(const std::string& name) const { return LeadingNumber(Property(name)); }

void CSlide::ReadRegion(std::uint32_t* pixels, std::int32_t level, std::uint32_t x, std::uint32_t y, SSize size) {
  // OpenSlide takes the corner in pixels of level 0.
  const double scale = openslide_get_level_downsample(m_handle.get(), level);
  openslide_read_region(m_handle.get(), pixels, std::llround(x * scale), std::llround(y * scale), level, size.width,
                        size.height);
  Check();
}

std::vector<SAssociatedImage> CSlide::AssociatedImages() const {
  constexpr std::int64_t kMaxSide = 1 << 16;
  std::vector<SAssociatedImage> images;
  const char* const* names = openslide_get_associated_image_names(m_handle.get());
  Check();
  for (; names != nullptr && *names != nullptr; ++names) {
    std::int64_t width = 0, height = 0;
    openslide_get_associated_image_dimensions(m_handle.get(), *names, &width, &height);
    Check();
    if (width < 1 || height < 1 || width > kMaxSide || height > kMaxSide) continue;
    images.push_back({*names, {static_cast<std::uint32_t>(width), static_cast<std::uint32_t>(height)}});
  }
  return images;
}

void CSlide::ReadAssociated(const std::string& name, std::uint32_t* pixels) {
  openslide_read_associated_image(m_handle.get(), name.c_str(), pixels);
  Check();
}

CWsiImage::CWsiImage(std::shared_ptr<const CInput> input)
    : m_input(std::move(input)), m_slide(m_input), m_bytes(SlideBytes(*m_input)), m_info(InfoOf(m_slide)) {}

std::int32_t CWsiImage::LevelFor(SSize wanted) const {
  std::int32_t best = 0;
  for (std::int32_t level = 1; level < m_slide.LevelCount(); ++level) {
    const SSize size = m_slide.LevelSize(level);
    if (size.width >= wanted.width && size.height >= wanted.height) best = level;
  }
  return best;
}

SSize CWsiImage::BlockSize(std::int32_t level) const {
  const std::uint32_t tile = TileSide(m_slide, level, "tile-width", kBlockWidth);
  return {std::max(kBlockWidth / tile, 1u) * tile, TileSide(m_slide, level, "tile-height", kBlockHeight)};
}

template <class Visitor>
void CWsiImage::ForEachBlock(std::int32_t level, CRenderGuard& guard, Visitor&& visit) {
  const SSize size = m_slide.LevelSize(level);
  guard.CheckPixels(size.width, size.height);
  const SSize block = BlockSize(level);
  const std::uint64_t pixels = std::uint64_t{std::min(block.width, size.width)} * block.height;
  std::vector<std::uint32_t> argb = guard.NewVector<std::uint32_t>(pixels);
  std::vector<std::uint8_t> rgb = guard.NewVector<std::uint8_t>(pixels * 3);
  for (std::uint32_t y = 0; y < size.height; y += block.height) {
    for (std::uint32_t x = 0; x < size.width; x += block.width) {
      guard.CheckTime();
      const SSize part{std::min(block.width, size.width - x), std::min(block.height, size.height - y)};
      m_slide.ReadRegion(argb.data(), level, x, y, part);
      BlendArgbOverWhite(argb.data(), std::size_t{part.width} * part.height, rgb.data());
      visit(x, y, part, rgb.data());
    }
  }
}

void CWsiImage::Read(SQvPicBuf& picture, CRenderGuard& guard) {
  auto* const pixels = static_cast<std::uint8_t*>(picture.data);
  ForEachBlock(0, guard, [&](std::uint32_t x, std::uint32_t y, SSize part, const std::uint8_t* rgb) {
    const std::size_t rowBytes = std::size_t{part.width} * 3;
    for (std::uint32_t row = 0; row < part.height; ++row) {
      std::memcpy(pixels + std::size_t{y + row} * picture.widthBytes + std::size_t{x} * 3, rgb + row * rowBytes,
                  rowBytes);
    }
  });
}

void CWsiImage::Render(const SRenderRequest& request, SQvPicBuf& picture, CRenderGuard& guard) {
  const std::int32_t level = LevelFor({request.width, request.height});
  const SSize size = m_slide.LevelSize(level);
  const SSize reduced = ReducedSize(size, {request.width, request.height}, EOrientation::kTopLeft);
  CAreaReducer reducer(size, reduced, 3, ESampleType::kU8, guard);
  ForEachBlock(level, guard, [&](std::uint32_t x, std::uint32_t y, SSize part, const std::uint8_t* rgb) {
    reducer.AddBand(x, y, part.width, part.height, rgb, std::size_t{part.width} * 3);
  });
  DisplayAverages(reducer.Finish(), SDisplaySettings{}, picture);
}

void CWsiImage::RenderAssociated(const std::string& name, SQvPicBuf& picture, CRenderGuard& guard) {
  const std::vector<SAssociatedImage> images = m_slide.AssociatedImages();
  const auto found =
      std::find_if(images.begin(), images.end(), [&](const SAssociatedImage& image) { return image.name == name; });
  Require(found != images.end(), "The slide holds no such image");
  const SSize size = found->size;
  guard.CheckPixels(size.width, size.height);
  const std::uint64_t pixels = std::uint64_t{size.width} * size.height;
  std::vector<std::uint32_t> argb = guard.NewVector<std::uint32_t>(pixels);
  std::vector<std::uint8_t> rgb = guard.NewVector<std::uint8_t>(pixels * 3);
  m_slide.ReadAssociated(name, argb.data());
  guard.CheckTime();
  BlendArgbOverWhite(argb.data(), static_cast<std::size_t>(pixels), rgb.data());
  const SSize reduced = ReducedSize(size, {picture.width, picture.height}, EOrientation::kTopLeft);
  CAreaReducer reducer(size, reduced, 3, ESampleType::kU8, guard);
  reducer.AddBand(0, 0, size.width, size.height, rgb.data(), std::size_t{size.width} * 3);
  DisplayAverages(reducer.Finish(), SDisplaySettings{}, picture);
}

SImageMetadata CWsiImage::Metadata() {
  SImageMetadata metadata = PlainMetadata(m_info, "Whole slide", 3);
  metadata.picture.planes.planes.front().modality = kQvModalityBrightfield;
  metadata.text.description = TextOf(m_slide.Property(OPENSLIDE_PROPERTY_NAME_COMMENT));
  metadata.text.info1 = TextOf(m_slide.Property(OPENSLIDE_PROPERTY_NAME_VENDOR));
  const double x = PlausibleLength(m_slide.NumberProperty(OPENSLIDE_PROPERTY_NAME_MPP_X));
  const double y = m_slide.NumberProperty(OPENSLIDE_PROPERTY_NAME_MPP_Y);
  if (x > 0.0) metadata.calibration = metadata.picture.calibration = x;
  if (x > 0.0 && y > 0.0) metadata.aspect = y / x;
  if (const double power = m_slide.NumberProperty(OPENSLIDE_PROPERTY_NAME_OBJECTIVE_POWER); power > 0.0) {
    metadata.objective = metadata.picture.objectiveName = TextOf(NumberText(power, 2) + "x");
    metadata.picture.objectiveMagnification = power;
    metadata.text.optics = metadata.objective;
  }
  const std::string date = m_slide.Property("tiff.DateTime");
  ParseExifDate(date.c_str(), std::nullopt, &metadata.text.date, &metadata.acquisitionTime);
  return metadata;
}

}  // namespace imageformats
