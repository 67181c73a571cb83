#pragma once

#include <openslide/openslide.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/imageformats/codec/codec_module.h"
#include "platform/imageformats/render/orientation.h"

namespace imageformats {

// Owns OpenSlide's handle. Operations throw CDamagedError with OpenSlide's text.
class CSlide {
 public:
  explicit CSlide(const std::shared_ptr<const CInput>& input);

  std::int32_t LevelCount() const;
  SSize LevelSize(std::int32_t level) const;
  // Empty when the slide has no such property.
  std::string Property(const std::string& name) const;
  double NumberProperty(const std::string& name) const;  // 0 when missing or no number
  // What lies in the file beside the slide.
  std::vector<SAssociatedImage> AssociatedImages() const;
  // Premultiplied ARGB of all of it, native words.
  void ReadAssociated(const std::string& name, std::uint32_t* pixels);
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
class CWsiImage final : public COpenedImage {
 public:
  explicit CWsiImage(std::shared_ptr<const CInput> input);

  const SQvImageInfo& Info() const override { return m_info; }
  std::uint64_t SourceBytes() const override { return m_bytes; }
  void Read(SQvPicBuf& picture, CRenderGuard& guard) override;
  void Render(const SRenderRequest& request, SQvPicBuf& picture, CRenderGuard& guard) override;
  std::vector<SAssociatedImage> AssociatedImages() override { return m_slide.AssociatedImages(); }
  void RenderAssociated(const std::string& name, SQvPicBuf& picture, CRenderGuard& guard) override;
  SImageMetadata Metadata() override;

 private:
  // Calls take(x, y, size, rgb) for blocks that cover the level; rgb is packed.
  template <class Visitor>
  void ForEachBlock(std::int32_t level, CRenderGuard& guard, Visitor&& visit);
  // The smallest level that still covers the wanted size.
  std::int32_t LevelFor(SSize wanted) const;
  SSize BlockSize(std::int32_t level) const;

  std::shared_ptr<const CInput> m_input;
  CSlide m_slide;
  std::uint64_t m_bytes;
  SQvImageInfo m_info;
};

}  // namespace imageformats
