#pragma once

#include <openslide/openslide.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/imageformats/codec/codec_module.h"
#include "platform/imageformats/render/orientation.h"

namespace imageformats {

// Owns OpenSlide's handle. Operations throw DamagedError with OpenSlide's text.
class Slide {
 public:
  explicit Slide(const std::shared_ptr<const Input>& input);

  std::int32_t LevelCount() const;
  SSize LevelSize(std::int32_t level) const;
  // Empty when the slide has no such property.
  std::string Property(const std::string& name) const;
  double NumberProperty(const std::string& name) const;  // 0 when missing or no number
  // Premultiplied ARGB, native words; x and y in pixels of the level.
  void ReadRegion(std::uint32_t* pixels, std::int32_t level, std::uint32_t x, std::uint32_t y, SSize size);

 private:
  struct SClose {
    void operator()(openslide_t* slide) const { openslide_close(slide); }
  };
  void Check() const;

  std::unique_ptr<openslide_t, SClose> m_handle;
};

// An opened whole-slide file.
class WsiImage final : public OpenedImage {
 public:
  explicit WsiImage(std::shared_ptr<const Input> input);

  const SQvImageInfo& Info() const override { return m_info; }
  void Read(SQvPicBuf& picture, RenderGuard& guard) override;
  void Render(const SRenderRequest& request, SQvPicBuf& picture, RenderGuard& guard) override;
  SImageMetadata Metadata() override;

 private:
  // Calls take(x, y, size, rgb) for blocks that cover the level; rgb is packed.
  template <class Take>
  void ForEachBlock(std::int32_t level, RenderGuard& guard, Take&& take);
  // The smallest level that still covers the wanted size.
  std::int32_t LevelFor(SSize wanted) const;
  SSize BlockSize(std::int32_t level) const;

  std::shared_ptr<const Input> m_input;
  Slide m_slide;
  SQvImageInfo m_info;
};

}  // namespace imageformats
