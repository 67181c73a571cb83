#pragma once

#include <cstddef>
#include <cstdint>
#include <new>

#include "platform/imageformats/base/new_picture.h"
#include "platform/imageformats/codec/codec_module.h"

namespace imageformats {

// Failing is what most inputs do; anything but these exceptions is a finding.
template <class Body>
void Attempt(Body&& body) {
  try {
    body();
  } catch (const CFormatError&) {
  } catch (const std::bad_alloc&) {
  }
}

// Much less than a host gets: an input that unfolds to many pixels is slow and teaches nothing.
inline SRenderLimits SmallLimits() { return {64u << 20, 1u << 22, std::chrono::seconds(5)}; }

inline void RenderAt(COpenedImage& image, std::uint32_t width, std::uint32_t height, bool fast,
                     const SViewChoice& view = {}) {
  CRenderGuard guard(SmallLimits());
  CQvPicture picture = NewPicture(width, height, 8, 3);
  image.Render({width, height, fast, kAllChannels, view}, *picture.Get(), guard);
}

// Opens, describes, renders small and large, and reads.
inline void Exercise(const CCodecModule& codec, const std::shared_ptr<const CInput>& input) {
  Attempt([&] {
    const auto image = codec.Open(input);
    Attempt([&] { image->Metadata(); });
    Attempt([&] {
      CQvByteArray bytes;
      image->CustomTag(L"QvCustomTag:ThumbailJpg", bytes);
    });
    Attempt([&] { RenderAt(*image, 5, 4, true); });
    Attempt([&] {
      const std::optional<SPlate> plate = image->Plate();
      CRenderGuard guard(SmallLimits());
      CQvPicture picture = NewPicture(7, 5, 8, 3);
      if (plate) image->RenderWell(static_cast<std::uint32_t>(plate->wells.size()) - 1, {7, 5}, *picture.Get(), guard);
    });
    Attempt([&] {
      for (const SAssociatedImage& associated : image->AssociatedImages()) {
        CRenderGuard guard(SmallLimits());
        CQvPicture picture = NewPicture(7, 5, 8, 3);
        image->RenderAssociated(associated.name, *picture.Get(), guard);
      }
    });
    Attempt([&] { RenderAt(*image, 48, 18, false); });
    Attempt([&] { RenderAt(*image, 5, 4, true, {EPlaneChoice::kMaximum, 0, 1, 1}); });
    Attempt([&] { RenderAt(*image, 5, 4, true, {EPlaneChoice::kGiven, 0x80000000u, 0xFFFFFFFFu, 0, 5, true}); });
    const SQvImageInfo& info = image->Info();
    if (std::uint64_t{info.width} * info.height > 1u << 18) return;
    Attempt([&] {
      CRenderGuard guard(SmallLimits());
      CQvPicture picture = NewPicture(info.width, info.height, info.bpcInMemory, info.components);
      image->Read(*picture.Get(), guard);
    });
  });
}

inline void Exercise(const CCodecModule& codec, const std::uint8_t* data, std::size_t size) {
  Attempt([&] { Exercise(codec, CInput::FromMemory(data, size)); });
}

}  // namespace imageformats
